// Strings from string tables: the resource handle first, then the chain of
// extension modules.
#include <gtest/gtest.h>
#include <qnlith/framework.h>

#include "test_modules.h"

using namespace testmodules;

TEST(StringResource, FoundInTheResourceHandleThenInTheChain) {
  CString text(L"old");
  EXPECT_TRUE(text.LoadString(100)) << "the program's own table while no handle is set";
  EXPECT_EQ(text, L"%Y-%m-%d %H:%M");
  // Ids 17 and 18 are the test module's alone (the library, in the chain
  // when linked, holds 1 to 9).
  EXPECT_FALSE(text.LoadString(17)) << "the program has no string 17";
  EXPECT_TRUE(text.IsEmpty());
  EXPECT_EQ(AfxFindStringResourceHandle(17), nullptr);

  HINSTANCE module = AfxLoadLibraryEx(wide(QN_TEST_RES).c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
  ASSERT_NE(module, nullptr);
  EXPECT_TRUE(text.LoadString(module, 1));
  EXPECT_EQ(text, L"Hello from the module");
  EXPECT_FALSE(text.LoadString(nullptr, 1));

  // An extension module's resources come after the resource handle's.
  AFX_EXTENSION_MODULE record{};
  ASSERT_TRUE(AfxInitExtensionModule(record, module));
  new CDynLinkLibrary(record, FALSE);
  EXPECT_EQ(AfxFindStringResourceHandle(17), module);
  EXPECT_TRUE(text.LoadString(17));
  EXPECT_EQ(text, L"First of block two");
  EXPECT_EQ(AfxFindStringResourceHandle(100), AfxGetResourceHandle());
  AfxTermExtensionModule(record, FALSE);
  EXPECT_FALSE(text.LoadString(17)) << "gone with the module's link";

  AfxSetResourceHandle(module);
  EXPECT_EQ(AfxGetResourceHandle(), module);
  EXPECT_TRUE(text.LoadString(1));
  EXPECT_EQ(text, L"Hello from the module");
  EXPECT_TRUE(text.LoadString(100));
  EXPECT_EQ(text.Left(3), L"abc") << "the module's string 100 hides the program's";
  EXPECT_FALSE(text.LoadString(101)) << "the program's table is no longer searched";
  AfxSetResourceHandle(nullptr);
  EXPECT_EQ(AfxGetResourceHandle(), GetModuleHandleW(nullptr));
  EXPECT_NE(AfxFreeLibrary(module), 0);
}

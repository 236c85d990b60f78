#include <gtest/gtest.h>
#include <qnlith/qnlith.h>

#include "support/thrown_text.h"
#include "test_modules.h"

using namespace testmodules;

namespace {

using ModuleText = WithTestModule;

std::wstring text(const cString& s) { return s.c_str(); }

}  // namespace

TEST_F(ModuleText, ResourceIdsHoldANumberAndALibrary) {
  const cResourceLibrary library{cModuleHandle(module)};
  cResourceId plain(7);
  EXPECT_EQ(plain.id(), 7u);
  EXPECT_EQ(static_cast<DWORD>(plain), 7u);
  EXPECT_EQ(&plain.resourceLibrary(), &cResourceLibrary::defaultResourceLibrary());
  const cResourceId bound(0x10001, library);
  EXPECT_EQ(&bound.resourceLibrary(), &library);
  plain = bound;
  EXPECT_EQ(plain.id(), 0x10001u);
  EXPECT_EQ(&plain.resourceLibrary(), &library);
  const cResourceId copy(plain);
  EXPECT_EQ(&copy.resourceLibrary(), &library);

  const cDynamicLinkLibrary dll(wide(QN_TEST_MODULE).c_str());
  const cResourceId ofDll(2, dll);
  EXPECT_EQ(&ofDll.resourceLibrary(), static_cast<const cResourceLibrary*>(&dll));
  EXPECT_EQ(text(cResourceString(ofDll)), L"Second string");
}

TEST_F(ModuleText, ResourceStringsNeverThrow) {
  const cResourceLibrary library{cModuleHandle(module)};
  EXPECT_EQ(text(cResourceString(1, library)), L"Hello from the module");
  EXPECT_EQ(text(cResourceString(cResourceId(17, library))), L"First of block two");
  EXPECT_EQ(text(cResourceString(1)), L"Main program string");
  EXPECT_TRUE(cResourceString(3, library).isEmpty());

  // A library whose module has no file name: the miss can't be worded,
  // and still nothing escapes.
  HMODULE data = LoadLibraryExW(wide(QN_TEST_RES).c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
  ASSERT_NE(data, nullptr);
  const cResourceLibrary dataLibrary{cModuleHandle(data)};
  EXPECT_EQ(text(cResourceString(1, dataLibrary)), L"Hello from the module");
  EXPECT_TRUE(cResourceString(3, dataLibrary).isEmpty());
  cString s(L"old");
  s.loadString(cResourceId(3, dataLibrary));
  EXPECT_TRUE(s.isEmpty()) << "a failure clears the string";
  s = L"old";
  s.tryToLoadString(cResourceId(3, dataLibrary));
  EXPECT_TRUE(s.isEmpty());

  // The constructor of cString lets the failure through.
  EXPECT_EQ(thrownText([&] { cString thrown(cResourceId(3, dataLibrary)); }),
            L"cResourceLibrary :: fileName():: GetModuleFileName failed");
  const cString loaded(cResourceId(2, library));
  EXPECT_EQ(text(loaded), L"Second string");
  FreeLibrary(data);

  cString main;
  main.loadString(1);
  EXPECT_EQ(text(main), L"Main program string") << "a plain number reads the main program";
}

TEST_F(ModuleText, FormatMessageFromAResource) {
  const cResourceLibrary library{cModuleHandle(module)};
  cString s;
  s.formatMessage(cResourceId(70, library), L"one", 2);
  EXPECT_EQ(text(s), L"Inserts: one and 2.");
  s = L"kept";
  EXPECT_EQ(thrownText([&] { s.formatMessage(cResourceId(3, library), L"x"); }),
            L"cString::formatMessage() Out Of Memory")
      << "an empty text formats to nothing";
  EXPECT_EQ(text(s), L"kept");
}

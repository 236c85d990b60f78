#include <gtest/gtest.h>
#include <qnlith/framework.h>

TEST(ExtensionModule, JoinsAndLeavesTheChain) {
  AFX_MODULE_STATE* program = AfxGetModuleState();
  ASSERT_NE(program, nullptr);
  CDynLinkLibrary* before = program->m_pFirstLibrary;

  // The early hook moved the program's list aside; the module's static
  // initialisers then built a list of their own.
  auto* programClasses = reinterpret_cast<CRuntimeClass*>(0x800);
  auto* classes = reinterpret_cast<CRuntimeClass*>(0x1000);
  program->m_pSavedClassInit = programClasses;
  program->m_pClassInit = classes;
  AFX_EXTENSION_MODULE record{};
  auto module = reinterpret_cast<HMODULE>(0x2000);
  EXPECT_TRUE(AfxInitExtensionModule(record, module));
  EXPECT_EQ(record.pFirstSharedClass, classes);
  EXPECT_EQ(program->m_pClassInit, programClasses) << "the program's list is back";
  EXPECT_EQ(program->m_pSavedClassInit, nullptr);

  new CDynLinkLibrary(record, FALSE);
  ASSERT_NE(program->m_pFirstLibrary, before);
  EXPECT_EQ(program->m_pFirstLibrary->m_hModule, module);
  EXPECT_EQ(program->m_pFirstLibrary->m_pNextDLL, before);

  AfxTermExtensionModule(record, FALSE);
  EXPECT_EQ(program->m_pFirstLibrary, before);
  EXPECT_FALSE(record.bInitialized);
}

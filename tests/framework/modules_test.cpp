#include <gtest/gtest.h>
#include <qnlith/framework.h>

#include <string>
#include <thread>
#include <vector>

#include "test_modules.h"

using namespace testmodules;

TEST(FrameworkModules, LoadAndFreeGoThroughTheLayer) {
  HINSTANCE module = AfxLoadLibrary(wide(QN_TEST_MODULE).c_str());
  ASSERT_NE(module, nullptr);
  EXPECT_TRUE(isLoaded(QN_TEST_MODULE));
  EXPECT_EQ(AfxLoadLibrary(wide(QN_TEST_MODULE_NAME).c_str()), module);
  EXPECT_NE(GetProcAddress(module, "qnTestAdd"), nullptr);
  EXPECT_NE(AfxFreeLibrary(module), 0);
  EXPECT_TRUE(isLoaded(QN_TEST_MODULE));
  EXPECT_NE(AfxFreeLibrary(module), 0);
  EXPECT_FALSE(isLoaded(QN_TEST_MODULE));

  SetLastError(0);
  EXPECT_EQ(AfxLoadLibrary(L"libqn-no-such-module.so"), nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_MOD_NOT_FOUND));
  EXPECT_EQ(AfxFreeLibrary(module), 0);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_MOD_NOT_FOUND));

  HINSTANCE data = AfxLoadLibraryEx(wide(QN_TEST_RES).c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
  ASSERT_NE(data, nullptr);
  EXPECT_NE(AfxFreeLibrary(data), 0);
}

TEST(FrameworkModules, ThreadsLoadingAndFreeingTogetherKeepTheCount) {
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([] {
      for (int i = 0; i < 50; ++i) {
        HINSTANCE module = AfxLoadLibrary(wide(QN_TEST_MODULE).c_str());
        ASSERT_NE(module, nullptr);
        ASSERT_NE(AfxFreeLibrary(module), 0);
      }
    });
  HINSTANCE held = AfxLoadLibrary(wide(QN_TEST_MODULE).c_str());
  for (auto& thread : threads) thread.join();
  EXPECT_TRUE(isLoaded(QN_TEST_MODULE)) << "the reference taken beside the threads still holds";
  EXPECT_NE(AfxFreeLibrary(held), 0);
  EXPECT_FALSE(isLoaded(QN_TEST_MODULE));
}

#include <gtest/gtest.h>
#include <qnlith/framework.h>

#include <string>
#include <thread>
#include <vector>

#include "test_modules.h"

using namespace testmodules;

// The counting and the error codes are the layer's; the framework adds its
// lock, and the threads below show that no count is lost under it.
TEST(FrameworkModules, DataFilesLoadThroughTheLayerToo) {
  HINSTANCE data = AfxLoadLibraryEx(wide(QN_TEST_RES).c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
  ASSERT_NE(data, nullptr);
  EXPECT_NE(FindResourceW(data, MAKEINTRESOURCEW(1), MAKEINTRESOURCEW(6)), nullptr);
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

// The platform flags are set once at load from what the system reports; the
// query functions ask afresh on every call.
#include <gtest/gtest.h>
#include <qnlith/qnlith.h>

#include <cstdlib>
#include <string>

#include "support/run_program.h"

namespace {

// Flags of a fresh process that loads the library under the given version,
// in the order: Win32 Win32S NT NTNewShell 95 98 9x ME 2000 XP 2003 Vista Server2008.
std::string flagsUnder(const char* version) {
  const std::string command = std::string("QNLITH_OS_VERSION='") + version + "' " + QNLITH_PLATFORM_FLAGS_PROBE;
  std::string flags = runProgram(command).output;
  if (!flags.empty() && flags.back() == '\n') flags.pop_back();
  return flags;
}

}  // namespace

TEST(cPlatform, FlagsFollowTheReportedVersionAtLoad) {
  //                             W S N N 9 9 9 M 2 X 2 V S
  EXPECT_EQ(flagsUnder("2 5 1 1"), "1011000001000");  // XP
  EXPECT_EQ(flagsUnder("1 4 90 0"), "1000001100000");  // ME
  EXPECT_EQ(flagsUnder("1 4 0 0"), "1000101000000");   // 95
  EXPECT_EQ(flagsUnder("1 4 10 0"), "1000011000000");  // 98
  EXPECT_EQ(flagsUnder("2 5 0 1"), "1011000010000");   // 2000
  EXPECT_EQ(flagsUnder("2 5 2 3"), "1011000000100");   // 2003
  EXPECT_EQ(flagsUnder("2 6 1 1"), "1011000000010");   // Vista: the minor version plays no part
  EXPECT_EQ(flagsUnder("2 6 1 3"), "1011000000001");   // Server 2008
  EXPECT_EQ(flagsUnder("2 10 0 1"), "1011000000000");  // today's member
  EXPECT_EQ(flagsUnder("2 3 51 1"), "1010000000000");  // NT 3.51: no new shell
  EXPECT_EQ(flagsUnder("0 3 10 0"), "1000000000000");  // Win32s: isWin32S stays false
}

TEST(cPlatform, QueriesAskAfreshAndFlagsDoNot) {
  const bool ntAtLoad = cPlatform::isWinNT();
  setenv("QNLITH_OS_VERSION", "1 4 10 0", 1);
  EXPECT_TRUE(queryWindows98Version());
  EXPECT_FALSE(queryWindowsNTVersion());
  EXPECT_TRUE(queryExplorerShell());
  EXPECT_EQ(cPlatform::isWinNT(), ntAtLoad);
  setenv("QNLITH_OS_VERSION", "0 1 0 0", 1);
  EXPECT_TRUE(queryWin32SVersion());
  EXPECT_FALSE(cPlatform::isWin32S());
  EXPECT_TRUE(cPlatform::isWin32());
  unsetenv("QNLITH_OS_VERSION");
  EXPECT_EQ(queryDisplayHas256Colors(), 1u);
}

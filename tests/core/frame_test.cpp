// The library's start and stop order, its own module object and the
// location text of its string table.
#include <gtest/gtest.h>
#include <qnlith/qnlith.h>

#include <string>

#include "support/run_program.h"

TEST(LibraryFrame, StartsAndStopsInItsOrder) {
  const ProgramOutcome probe = runProgram(QNLITH_FRAME_PROBE " " QNLITH_LIBRARY);
  const std::string& log = probe.output;
  EXPECT_EQ(probe.status, 0) << log;
  const std::string start =
      "AfxGetModuleState\n"          // the early hook, before any static initialiser
      "RegisterWindowMessageW\n";    // the first static initialiser
  // The flags of cPlatform, one query at a time: NT; NT and the shell; 98;
  // 95; 95, 98 and ME for 9x; 2000; ME; XP; 2003; Vista; Server 2008.
  std::string flags;
  for (int i = 0; i < 14; ++i) flags += "GetVersionExW\n";
  const std::string entry =
      "AfxInitExtensionModule\n"
      "AfxGetModuleState\n"          // inside it
      "AfxGetModuleState\n";         // the new chain link joins
  const std::string rest =
      "loaded\n"
      "own module handle\n"
      "AfxTermExtensionModule\n"     // the entry's last step at unload
      "AfxGetModuleState\n"          // inside it
      "unloaded\n";
  EXPECT_EQ(log, start + flags + entry + rest);
}

TEST(LibraryFrame, OwnModuleObjectAndLocationText) {
  EXPECT_NE(getQuenlithModuleHandle(), nullptr);
  EXPECT_EQ(getQuenlithModuleHandle(), static_cast<HINSTANCE>(getQuenlithDLL().handle()));
  EXPECT_NE(getQuenlithModuleHandle(), GetModuleHandleW(nullptr));
  EXPECT_EQ(cNotifierMessageId(), cNotifierMessageId());
  EXPECT_GE(cNotifierMessageId(), 0xC000u);

  EXPECT_EQ(formatCodeLocation(L"x", L"f", L"g", 7), L"\"x in file f\nin function g\nat line 7.\"\n");
  EXPECT_EQ(cResourceString(1, getQuenlithDLL()), L"Exception Caught");
  EXPECT_EQ(cResourceString(9, getQuenlithDLL()), L"Exception thrown in cDebugTrace :: trace()");
  // A bare number reads the main program, which has no such string.
  EXPECT_TRUE(cResourceString(2).isEmpty());

  HRSRC group = FindResourceW(getQuenlithModuleHandle(), L"ICON", MAKEINTRESOURCEW(14));
  ASSERT_NE(group, nullptr);
  EXPECT_EQ(SizeofResource(getQuenlithModuleHandle(), group), 6u + 2 * 14) << "a group of two images";
  EXPECT_NE(FindResourceW(getQuenlithModuleHandle(), MAKEINTRESOURCEW(2), MAKEINTRESOURCEW(24)), nullptr);
}

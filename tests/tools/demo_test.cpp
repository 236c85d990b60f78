// qnlith demo, run as a user without a display or a terminal would run it.
#include <gtest/gtest.h>

#include <string>

#include "support/run_program.h"

namespace {

// No display and, in a session of its own, no controlling terminal: the box
// must go to standard error and answer by itself.
ProgramOutcome headlessDemo() {
  return runProgram(std::string("setsid -w env -u DISPLAY -u WAYLAND_DISPLAY ") + QNLITH_TOOL + " demo 2>&1 </dev/null");
}

}  // namespace

TEST(DemoCommand, WalksFromStringsToTheRoadOfOneEvent) {
  const ProgramOutcome run = headlessDemo();
  ASSERT_EQ(run.status, 0) << run.output;
  const std::string& out = run.output;
  EXPECT_NE(out.find("  format                             [left    |    42|+3.142|0xff|narrow]\n"), std::string::npos)
      << out;
  EXPECT_NE(out.find("cException: cString :: asUint() - 'ff' is an Invalid number at index 0\n"), std::string::npos);
  EXPECT_NE(out.find("  cException of 5000 keeps           783\n"), std::string::npos);

  // The fault's text in the box, the box before the wait's end, and the
  // thread's exit code of 1 from cThreadStartProc.
  const std::size_t box = out.find("[Error] qnlith\nAn integer divide by 0 violation occurred at \naddress 0x");
  ASSERT_NE(box, std::string::npos) << out;
  const std::size_t file = out.find(std::string(" in file ") + QNLITH_TOOL + "\n(no one to ask: answered OK)\n", box);
  EXPECT_NE(file, std::string::npos) << out;
  const std::size_t end = out.find("4. waitFor returned true; the thread ended with exit code 1 and is no longer running.");
  EXPECT_NE(end, std::string::npos) << out;
  EXPECT_LT(box, end);
}

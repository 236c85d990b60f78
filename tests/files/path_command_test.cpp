// qnlith path: the path algebra on the command line.
#include <gtest/gtest.h>

#include <string>

#include "support/run_program.h"

namespace {

// Runs the tool with the arguments (already quoted for the shell).
ProgramOutcome qnlith(const std::string& arguments) {
  return runProgram(std::string(QNLITH_TOOL) + " " + arguments + " 2>&1");
}

}  // namespace

TEST(PathCommand, ShowsTheAlgebra) {
  ProgramOutcome run = qnlith("path split 'C:\\data\\a.txt'");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.output, "drive:     \"C:\"\ndirectory: \"\\data\\\"\nname:      \"a\"\nextension: \".txt\"\n");
  EXPECT_EQ(qnlith("path make C data a txt").output, "C:data\\a.txt\n");
  EXPECT_EQ(qnlith("path make 'C:\\data' a .txt").output, "C:\\data\\a.txt\n");
  EXPECT_EQ(qnlith("path make '' a.txt").output, "a.txt\n");
  EXPECT_EQ(qnlith("path peel 'C:\\data\\'").output, "data\\\n");
  EXPECT_EQ(qnlith("path shorten abcdefghijklmnopqrstuvwxyz 26").output, "abcdefghij...nopqrstuvwxyz\n");
  EXPECT_EQ(qnlith("path shorten abc -1").output, "abc  (unchanged)\n");
  EXPECT_EQ(qnlith("path absolute /").output, "/\n");
}

TEST(PathCommand, BadUsageIsReported) {
  ProgramOutcome run = qnlith("path peel ''");
  EXPECT_EQ(run.status, 2);
  EXPECT_NE(run.output.find("an empty path has no last component"), std::string::npos);
  EXPECT_EQ(qnlith("path shorten abc x").status, 2);
  EXPECT_EQ(qnlith("path nothing").status, 2);
  EXPECT_EQ(qnlith("path").status, 2);
}

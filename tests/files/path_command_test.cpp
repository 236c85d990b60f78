// qnlith path: the path algebra on the command line.
#include <gtest/gtest.h>
#include <stdio.h>
#include <sys/wait.h>

#include <string>

namespace {

struct Outcome {
  std::string output;
  int status;
};

// Runs the tool with the arguments (already quoted for the shell).
Outcome qnlith(const std::string& arguments) {
  Outcome run{{}, -1};
  FILE* pipe = ::popen((std::string(QNLITH_TOOL) + " " + arguments + " 2>&1").c_str(), "r");
  if (pipe == nullptr) return run;
  char buffer[256];
  while (std::fgets(buffer, sizeof buffer, pipe) != nullptr) run.output += buffer;
  const int status = ::pclose(pipe);
  run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return run;
}

}  // namespace

TEST(PathCommand, ShowsTheAlgebra) {
  Outcome run = qnlith("path split 'C:\\data\\a.txt'");
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
  Outcome run = qnlith("path peel ''");
  EXPECT_EQ(run.status, 2);
  EXPECT_NE(run.output.find("an empty path has no last component"), std::string::npos);
  EXPECT_EQ(qnlith("path shorten abc x").status, 2);
  EXPECT_EQ(qnlith("path nothing").status, 2);
  EXPECT_EQ(qnlith("path").status, 2);
}

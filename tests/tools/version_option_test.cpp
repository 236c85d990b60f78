// qnlith --version: the tool's version and that of the library it runs with.
#include <gtest/gtest.h>

#include <regex>
#include <string>

#include "support/run_program.h"

TEST(VersionOption, NamesTheToolAndTheLibraryItRunsWith) {
  const ProgramOutcome run = runProgram(std::string(QNLITH_TOOL) + " --version 2>&1");
  ASSERT_EQ(run.status, 0) << run.output;
  std::smatch parts;
  ASSERT_TRUE(std::regex_match(run.output, parts,
                               std::regex("qnlith ([0-9]+\\.[0-9]+\\.[0-9]+\\.[0-9]+)\n"
                                          "library ([0-9.]+) \\((/.*/libQnlith50\\.so[0-9.]*)\\)\n")))
      << run.output;
  // Built together here, the two agree; the library is the one of this build.
  EXPECT_EQ(parts[1], parts[2]);
  EXPECT_NE(parts[3].str().find(QNLITH_BUILD_DIR), std::string::npos) << parts[3];
  // --help names the option.
  EXPECT_NE(runProgram(std::string(QNLITH_TOOL) + " --help").output.find("  qnlith --version\n"), std::string::npos);
}

// Every numeric argument of the tool is read whole: a number it can't
// represent is refused with a clear message and a non-zero status, never
// wrapped into another.
#include <gtest/gtest.h>

#include <string>

#include "support/run_program.h"

TEST(ToolNumbers, RefusesWhatItCannotRepresent) {
  struct Case {
    std::string arguments;
    int status;
    const char* output;  // a part of what it prints
  };
  const Case cases[] = {
      {"error 5", 0, "Error was: (5) "},
      {"error 0x5", 0, "Error was: (5) "},
      {"error 4294967295", 0, ""},
      {"error 0xFFFFFFFF", 0, ""},
      {"error 99999999999", 2, "qnlith error: the error code must be a whole number from 0 to 4294967295, not '99999999999'"},
      {"error 4294967296", 2, "not '4294967296'"},
      {"error 0x100000000", 2, "not '0x100000000'"},
      {"error 184467440737095516160", 2, "not '184467440737095516160'"},
      {"error -1", 2, "not '-1'"},
      {"error 12abc", 2, "not '12abc'"},
      {"error 0x", 2, "not '0x'"},
      {"error ''", 2, "not ''"},
      {"error ' 5'", 2, "not ' 5'"},
      {"message /no/such.msg 99999999999", 2,
       "qnlith message: the message number must be a whole number from 0 to 4294967295, not '99999999999'"},
      {"message /no/such.msg x", 2, "not 'x'"},
      {"path shorten abcdef 3", 0, ""},
      {"path shorten abcdef 2147483648", 2,
       "qnlith path: the limit must be a whole number from -2147483648 to 2147483647, not '2147483648'"},
      {"path shorten abcdef -2147483649", 2, "not '-2147483649'"},
      {"path shorten abcdef 1e3", 2, "not '1e3'"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.arguments);
    const ProgramOutcome run = runProgram(std::string(QNLITH_TOOL) + " " + c.arguments + " 2>&1");
    EXPECT_EQ(run.status, c.status) << run.output;
    EXPECT_NE(run.output.find(c.output), std::string::npos) << run.output;
  }
}

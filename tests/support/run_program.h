// Runs a command line through the shell and keeps what it printed and how it
// ended, for tests of the tool and of probe programs.
#pragma once

#include <stdio.h>
#include <sys/wait.h>

#include <string>

struct ProgramOutcome {
  std::string output;
  int status;  // the exit status, or -1 when the program did not exit
};

inline ProgramOutcome runProgram(const std::string& commandLine) {
  ProgramOutcome run{{}, -1};
  FILE* pipe = ::popen(commandLine.c_str(), "r");
  if (pipe == nullptr) return run;
  char buffer[256];
  while (std::fgets(buffer, sizeof buffer, pipe) != nullptr) run.output += buffer;
  const int status = ::pclose(pipe);
  run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return run;
}

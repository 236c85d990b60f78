// The qnlith tool's commands. Each command lives in its own file and
// registers itself with a static QnlithCommand object.
#pragma once

#include <string>
#include <vector>

using QnlithArguments = std::vector<std::wstring>;

struct QnlithCommand {
  // Registers the command; `usage` is one line per form, each without the
  // leading "qnlith ".
  QnlithCommand(const char* name, const char* usage, int (*run)(const QnlithArguments& arguments));

  const char* name;
  const char* usage;
  int (*run)(const QnlithArguments& arguments);
};

// Writes wide text to standard output or standard error in UTF-8.
void qnlithOut(const std::wstring& text);
void qnlithErr(const std::wstring& text);

// Prints "qnlith <name>: <problem>" and the command's usage to standard error;
// returns the exit status for bad usage.
int qnlithUsageError(const char* name, const std::wstring& problem);

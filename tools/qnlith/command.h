// The qnlith tool's commands. Each command lives in its own file and
// registers itself with a static QnlithCommand object.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
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

// Reads a whole-number argument of a command: decimal, or hexadecimal with
// 0x, with a minus sign only where `low` is negative. Anything else, or a
// value outside low..high, is refused: the usage error is printed, naming
// `what`, and false returned, with the exit status in `status`.
bool qnlithNumber(const char* name, const wchar_t* what, const std::wstring& text, std::int64_t low,
                  std::int64_t high, std::int64_t& value, int& status);

// The unsigned part of that: decimal digits, or 0x and hexadecimal digits,
// nothing larger than `limit`. A leading 0 is no octal prefix: 010 is ten.
bool qnlithParseNumber(std::wstring_view text, std::uint64_t limit, std::uint64_t& value);

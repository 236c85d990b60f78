// qnlith: the library on the command line.
#include <qnlith/qnlith.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

#include "command.h"
#include "qnlith_version.h"

namespace {

std::vector<const QnlithCommand*>& commands() {
  static std::vector<const QnlithCommand*> all;
  return all;
}

std::string narrow(const std::wstring& text) {
  if (text.empty()) return {};
  const int n = WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0, nullptr, nullptr);
  std::string out(static_cast<std::size_t>(n), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), out.data(), n, nullptr, nullptr);
  return out;
}

std::wstring widen(const char* text) {
  const int n = MultiByteToWideChar(CP_UTF8, 0, text, -1, nullptr, 0);
  std::wstring out(static_cast<std::size_t>(n), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, text, -1, out.data(), n);
  out.resize(n > 0 ? static_cast<std::size_t>(n - 1) : 0);
  return out;
}

const QnlithCommand* find(const char* name) {
  for (auto* c : commands())
    if (std::strcmp(c->name, name) == 0) return c;
  return nullptr;
}

void printUsage(std::FILE* to, const QnlithCommand& command) {
  const char* line = command.usage;
  while (*line) {
    const char* end = std::strchr(line, '\n');
    const std::size_t n = end ? static_cast<std::size_t>(end - line) : std::strlen(line);
    std::fprintf(to, "  qnlith %.*s\n", static_cast<int>(n), line);
    line += n + (end ? 1 : 0);
  }
}

void printHelp() {
  std::puts("usage: qnlith <command> [arguments]\n\ncommands:");
  auto sorted = commands();
  std::sort(sorted.begin(), sorted.end(),
            [](const QnlithCommand* a, const QnlithCommand* b) { return std::strcmp(a->name, b->name) < 0; });
  for (auto* c : sorted) printUsage(stdout, *c);
  std::puts("  qnlith --help\n  qnlith --version");
}

// The tool's version, and that of the library it runs with as the library's
// version resource gives it: the two come from different packages.
int printVersion() {
  std::printf("qnlith %s\n", QNLITH_VERSION_TEXT);
  wchar_t path[MAX_PATH];
  HMODULE library = GetModuleHandleW(L"libQnlith50.so." QNLITH_SOVERSION_TEXT);
  if (library == nullptr || GetModuleFileNameW(library, path, MAX_PATH) == 0) return 0;
  try {
    cFileVersion version{cString(path)};
    std::printf("library %s (%s)\n", narrow(version.queryValue(cFileVersion::FileVersion).c_str()).c_str(),
                narrow(path).c_str());
  } catch (const cException&) {
    // A library without its version resource still runs the tool.
  }
  return 0;
}

}  // namespace

QnlithCommand::QnlithCommand(const char* name, const char* usage, int (*run)(const QnlithArguments&))
    : name(name), usage(usage), run(run) {
  commands().push_back(this);
}

void qnlithOut(const std::wstring& text) { std::fputs(narrow(text).c_str(), stdout); }

void qnlithErr(const std::wstring& text) { std::fputs(narrow(text).c_str(), stderr); }

int qnlithUsageError(const char* name, const std::wstring& problem) {
  std::fprintf(stderr, "qnlith %s: %s\nusage:\n", name, narrow(problem).c_str());
  if (auto* c = find(name)) printUsage(stderr, *c);
  return 2;
}

bool qnlithParseNumber(std::wstring_view text, std::uint64_t limit, std::uint64_t& value) {
  unsigned base = 10;
  if (text.size() > 2 && text[0] == L'0' && (text[1] == L'x' || text[1] == L'X')) {
    base = 16;
    text.remove_prefix(2);
  }
  if (text.empty()) return false;
  value = 0;
  for (wchar_t c : text) {
    unsigned digit;
    if (c >= L'0' && c <= L'9')
      digit = static_cast<unsigned>(c - L'0');
    else if (base == 16 && c >= L'a' && c <= L'f')
      digit = static_cast<unsigned>(c - L'a' + 10);
    else if (base == 16 && c >= L'A' && c <= L'F')
      digit = static_cast<unsigned>(c - L'A' + 10);
    else
      return false;
    // Checked before it grows, so that no input can wrap it into range.
    if (value > (limit - digit) / base) return false;
    value = value * base + digit;
  }
  return true;
}

bool qnlithNumber(const char* name, const wchar_t* what, const std::wstring& text, std::int64_t low,
                  std::int64_t high, std::int64_t& value, int& status) {
  std::wstring_view digits = text;
  const bool negative = !digits.empty() && digits[0] == L'-';
  if (negative) digits.remove_prefix(1);
  const std::uint64_t limit = negative ? (low < 0 ? 0 - static_cast<std::uint64_t>(low) : 0)
                                       : (high < 0 ? 0 : static_cast<std::uint64_t>(high));
  std::uint64_t magnitude = 0;
  bool inRange = (!negative || low < 0) && qnlithParseNumber(digits, limit, magnitude);
  if (inRange) {
    value = static_cast<std::int64_t>(negative ? 0 - magnitude : magnitude);
    inRange = value >= low && value <= high;
  }
  if (inRange) return true;
  std::wstring problem = std::wstring(what) + L" must be a whole number from " + std::to_wstring(low) + L" to " +
                         std::to_wstring(high) + L", not '" + text + L"'";
  status = qnlithUsageError(name, problem);
  return false;
}

int main(int argc, char** argv) {
  if (argc < 2) {
    printHelp();
    return 2;
  }
  if (std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0 || std::strcmp(argv[1], "help") == 0) {
    printHelp();
    return 0;
  }
  if (std::strcmp(argv[1], "--version") == 0) return printVersion();
  const QnlithCommand* command = find(argv[1]);
  if (command == nullptr) {
    std::fprintf(stderr, "qnlith: unknown command '%s'; see qnlith --help\n", argv[1]);
    return 2;
  }
  QnlithArguments arguments;
  for (int i = 2; i < argc; ++i) arguments.push_back(widen(argv[i]));
  return command->run(arguments);
}

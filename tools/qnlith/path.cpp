// qnlith path: the path algebra of cFileSystem on the command line.
#include <qnlith/qnlith.h>


#include "command.h"

namespace {

const char* const Name = "path";

std::wstring quoted(const cString& text) { return L"\"" + std::wstring(text.c_str(), text.length()) + L"\""; }

void line(const wchar_t* label, const cString& text) { qnlithOut(std::wstring(label) + quoted(text) + L"\n"); }

int split(const QnlithArguments& a) {
  if (a.size() != 1) return qnlithUsageError(Name, L"split expects one path");
  cString drive, dir, name, extension;
  cFileSystem::splitPath(a[0].c_str(), drive, dir, name, extension);
  line(L"drive:     ", drive);
  line(L"directory: ", dir);
  line(L"name:      ", name);
  line(L"extension: ", extension);
  return 0;
}

int make(const QnlithArguments& a) {
  cString path;
  if (a.size() == 2) path = cFileSystem::makePath(cString(a[0].c_str()), cString(a[1].c_str()));
  else if (a.size() == 3) path = cFileSystem::makePath(a[0].c_str(), a[1].c_str(), a[2].c_str());
  else if (a.size() == 4) path = cFileSystem::makePath(a[0].c_str(), a[1].c_str(), a[2].c_str(), a[3].c_str());
  else return qnlithUsageError(Name, L"make expects a directory and a name, with an extension and a drive");
  qnlithOut(std::wstring(path.c_str()) + L"\n");
  return 0;
}

int absolute(const QnlithArguments& a) {
  if (a.size() != 1) return qnlithUsageError(Name, L"absolute expects one path");
  qnlithOut(std::wstring(cFileSystem::absolutePath(a[0].c_str()).c_str()) + L"\n");
  return 0;
}

int peel(const QnlithArguments& a) {
  if (a.size() != 1) return qnlithUsageError(Name, L"peel expects one path");
  if (a[0].empty()) return qnlithUsageError(Name, L"an empty path has no last component");
  qnlithOut(std::wstring(cFileSystem::peelDirectory(a[0].c_str()).c_str()) + L"\n");
  return 0;
}

int shorten(const QnlithArguments& a) {
  if (a.size() != 2) return qnlithUsageError(Name, L"shorten expects a text and a limit");
  std::int64_t limit;
  int status;
  if (!qnlithNumber(Name, L"the limit", a[1], INT32_MIN, INT32_MAX, limit, status)) return status;
  cString text(a[0].c_str());
  const bool shortened = cFileSystem::shortenName(text, static_cast<int>(limit));
  qnlithOut(std::wstring(text.c_str()) + (shortened ? L"\n" : L"  (unchanged)\n"));
  return 0;
}

int path(const QnlithArguments& arguments) {
  if (arguments.empty()) return qnlithUsageError(Name, L"expects an operation");
  const std::wstring& operation = arguments[0];
  const QnlithArguments rest(arguments.begin() + 1, arguments.end());
  if (operation == L"split") return split(rest);
  if (operation == L"make") return make(rest);
  if (operation == L"absolute") return absolute(rest);
  if (operation == L"peel") return peel(rest);
  if (operation == L"shorten") return shorten(rest);
  return qnlithUsageError(Name, L"unknown operation '" + operation + L"'");
}

const QnlithCommand command(Name,
                            "path split <path>\n"
                            "path make <dir> <name> [<extension>]\n"
                            "path make <drive> <dir> <name> <extension>\n"
                            "path absolute <path>\n"
                            "path peel <path>\n"
                            "path shorten <text> <limit>",
                            path);

}  // namespace

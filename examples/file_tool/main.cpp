// file_tool <directory>: walks the tree below the directory with
// cFileSystem's searches and prints each .txt file with its number of lines
// and its first line, read with cTextFile; then a total. cTextFile ends a
// line at CR LF, as Windows writes text: a file with bare LF line ends reads
// as fewer, longer lines.
//
// Paths are Win32 paths: the library takes / and \ alike, and composes
// with a backslash, which the layer below maps to the Linux file system.
#include <qnlith/qnlith.h>

#include <cstdio>
#include <cwchar>
#include <string>

namespace {

std::string utf8(const cString& text) {
  char* bytes = text.asChar();
  std::string out(bytes);
  delete[] bytes;
  return out;
}

struct Totals {
  unsigned files = 0;
  unsigned lines = 0;
};

// cTextFile hands out bytes one for one; the files here are UTF-8, so a
// line is turned back into text through the layer's code page.
cString decode(const cString& bytes) {
  std::string narrow;
  for (DWORD i = 0; i < bytes.length(); ++i) narrow += static_cast<char>(bytes[i] & 0xFF);
  const int n = MultiByteToWideChar(CP_UTF8, 0, narrow.data(), static_cast<int>(narrow.size()), nullptr, 0);
  std::wstring wide(static_cast<std::size_t>(n), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, narrow.data(), static_cast<int>(narrow.size()), wide.data(), n);
  return cString(wide.c_str());
}

void readText(const cString& path, const cString& shown, Totals& totals) {
  cTextFile file;
  if (!file.read(path)) {
    std::fprintf(stderr, "file_tool: cannot read %s\n", utf8(path).c_str());
    return;
  }
  cString line, first;
  unsigned lines = 0;
  bool more = true;
  while (more) {
    more = file.nextLine(line);
    // Text after the last line end comes with false.
    if (!more && line.isEmpty()) break;
    if (lines++ == 0) first = line;
  }
  std::printf("%s: %u lines, first: %s\n", utf8(shown).c_str(), lines, utf8(decode(first)).c_str());
  ++totals.files;
  totals.lines += lines;
}

void walk(const cString& directory, const cString& shown, Totals& totals) {
  cFileInformation entry;
  bool found = cFileSystem::findFirstFile(cFileSystem::makePath(directory, cString(L"*")), entry);
  for (; found; found = cFileSystem::findNextFile(entry)) {
    const cString name = entry.name();
    const cString path = cFileSystem::makePath(directory, name);
    const cString relative = shown.isEmpty() ? name : cFileSystem::makePath(shown, name);
    if (entry.attributes() & FILE_ATTRIBUTE_DIRECTORY) {
      // "." and ".." are no valid directories.
      if (entry.isValidDirectory()) walk(path, relative, totals);
    } else if (std::wcscmp(cString::lowerCase(cFileSystem::splitExtension(name)).c_str(), L".txt") == 0) {
      readText(path, relative, totals);
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fputs("usage: file_tool <directory>\n", stderr);
    return 2;
  }
  const int n = MultiByteToWideChar(CP_UTF8, 0, argv[1], -1, nullptr, 0);
  std::wstring root(static_cast<std::size_t>(n), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, argv[1], -1, root.data(), n);
  const cString directory(root.c_str());
  if (!cFileSystem::isDirectory(directory)) {
    std::fprintf(stderr, "file_tool: %s is no directory\n", argv[1]);
    return 1;
  }
  Totals totals;
  walk(directory, L"", totals);
  std::printf("%u text files, %u lines\n", totals.files, totals.lines);
  return 0;
}

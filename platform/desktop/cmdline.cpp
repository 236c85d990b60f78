#include "desktop/cmdline.h"

namespace qn {

std::vector<std::wstring> splitCommandLine(std::wstring_view line) {
  std::vector<std::wstring> arguments;
  std::size_t i = 0;
  const std::size_t n = line.size();
  for (;;) {
    while (i < n && (line[i] == L' ' || line[i] == L'\t')) ++i;
    if (i >= n) break;
    std::wstring argument;
    bool quoted = false;
    while (i < n) {
      const wchar_t c = line[i];
      if (c == L'\\') {
        std::size_t slashes = 0;
        while (i < n && line[i] == L'\\') ++slashes, ++i;
        if (i < n && line[i] == L'"') {
          argument.append(slashes / 2, L'\\');
          if (slashes % 2 == 1) {
            argument += L'"';
            ++i;
          }
        } else {
          argument.append(slashes, L'\\');
        }
        continue;
      }
      if (c == L'"') {
        if (quoted && i + 1 < n && line[i + 1] == L'"') {
          argument += L'"';
          i += 2;
          continue;
        }
        quoted = !quoted;
        ++i;
        continue;
      }
      if (!quoted && (c == L' ' || c == L'\t')) break;
      argument += c;
      ++i;
    }
    arguments.push_back(std::move(argument));
  }
  return arguments;
}

}  // namespace qn

#include <qnlith/qnlith.h>

#include <cstdio>

int main() {
  cString text;
  text.format(L"%s %u", L"installed", 50u);
  try {
    cString(L"5x").asUint();
  } catch (const cException& e) {
    cString line = text + L": " + e.text;
    char* narrow = line.asChar();
    std::puts(narrow);
    delete[] narrow;
    return 0;
  }
  return 1;
}

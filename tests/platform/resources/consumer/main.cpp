#include <qnlith/qnlith.h>

#include <cstdio>

int main() {
  const cResourceString text(1);
  char* narrow = text.asChar();
  std::puts(narrow);
  delete[] narrow;
  return text.isEmpty() ? 1 : 0;
}

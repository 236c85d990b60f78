// Prints cPlatform's flags as set when the library loaded, one letter each.
#include <qnlith/qnlith.h>

#include <cstdio>

int main() {
  const bool flags[] = {cPlatform::isWin32(),   cPlatform::isWin32S(),  cPlatform::isWinNT(),
                        cPlatform::isNTNewShell(), cPlatform::isWin95(), cPlatform::isWin98(),
                        cPlatform::isWin9x(),   cPlatform::isWinME(),   cPlatform::isWin2000(),
                        cPlatform::isWinXP(),   cPlatform::isWin2003(), cPlatform::isWinVista(),
                        cPlatform::isWinServer2008()};
  for (bool f : flags) std::putchar(f ? '1' : '0');
  std::putchar('\n');
  return 0;
}

#include <qnlith/win32/gdi.h>

#include "errors/errors.h"

namespace {

// The one device context there is: the screen's. Its value is only a token.
struct ScreenContext {
  int unused;
};
ScreenContext screen;

HDC screenContext() { return reinterpret_cast<HDC>(&screen); }

}  // namespace

HDC WINAPI GetDC(HWND window) {
  if (window != nullptr) {
    SetLastError(ERROR_INVALID_WINDOW_HANDLE);
    return nullptr;
  }
  return screenContext();
}

int WINAPI ReleaseDC(HWND window, HDC dc) { return dc == screenContext() ? 1 : 0; }

int WINAPI GetDeviceCaps(HDC dc, int index) {
  if (dc != screenContext()) return 0;
  switch (index) {
    case NUMCOLORS: return -1;  // more than 8 bits per pixel
    case BITSPIXEL: return 32;
    case PLANES: return 1;
    case COLORRES: return 24;
    case SIZEPALETTE: return 0;
    case HORZRES: return 1920;
    case VERTRES: return 1080;
    case HORZSIZE: return 508;
    case VERTSIZE: return 286;
    case LOGPIXELSX:
    case LOGPIXELSY: return 96;
    default: return 0;
  }
}

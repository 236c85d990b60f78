/// @file
/// The screen's device context, for the questions programs ask of the display.
#pragma once

#include <qnlith/win32/types.h>

/// Indexes of GetDeviceCaps, by their documented numbers.
///@{
#define HORZSIZE 4
#define VERTSIZE 6
#define HORZRES 8
#define VERTRES 10
#define BITSPIXEL 12
#define PLANES 14
#define NUMBRUSHES 16
#define NUMPENS 18
#define NUMFONTS 22
#define NUMCOLORS 24
#define RASTERCAPS 38
#define LOGPIXELSX 88
#define LOGPIXELSY 90
#define SIZEPALETTE 104
#define COLORRES 108
///@}

extern "C" {
/// GetDC(NULL) is the screen; a window handle is not supported here and
/// gives NULL. The screen is a true-colour display of 32 bits per pixel.
WINBASEAPI HDC WINAPI GetDC(HWND window);
/// Gives back a device context of GetDC; 1 when it was released, else 0.
WINBASEAPI int WINAPI ReleaseDC(HWND window, HDC dc);
/// One capability of the device by its index (NUMCOLORS of a true-colour
/// display is -1); 0 for an unknown index or device context.
WINBASEAPI int WINAPI GetDeviceCaps(HDC dc, int index);
}

// qnlith resources <module> --extract <dir>: the images of a module as PNG
// files.
#pragma once

#include <qnlith/win32.h>

#include <string>

// Writes every icon and cursor image, every frame of an animated cursor and
// every bitmap of the module into the directory (created if missing), and
// prints each file written. 0 when all were written, 1 otherwise.
int qnlithExtractImages(HMODULE module, const std::wstring& directory);

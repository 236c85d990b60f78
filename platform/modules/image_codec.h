// Decoders of the image formats found in resources and image files:
// device-independent bitmaps (with the AND mask of icons and cursors), PNG
// (through libpng), icon and cursor files and directories, and RIFF "ACON"
// animated cursors. Every decoder reads through a bounded view and refuses
// what it can't read whole: no decoder reads outside its data.
#pragma once

#include <vector>
#include <qnlith/win32/types.h>

#include "../errors/api.h"
#include "bytes.h"

namespace qn {

// Pixels as R, G, B, A bytes, rows from the top, not premultiplied.
struct ImageFrame {
  LONG width = 0;
  LONG height = 0;
  LONG xHotspot = 0;
  LONG yHotspot = 0;
  std::vector<BYTE> rgba;
};

struct AnimationStep {
  UINT frame;
  DWORD jiffies;  // sixtieths of a second
};

struct DecodedImage {
  std::vector<ImageFrame> frames;
  std::vector<AnimationStep> steps;  // empty unless animated
};

// The largest image made here, in pixels; larger ones fail as out of memory.
constexpr std::size_t MaxImagePixels = std::size_t{1} << 26;

// A bitmap's info header, colour table and bits. With `iconMask` the
// header's height counts both the colour bitmap and the AND mask that
// follows it, as icon and cursor images store them.
QN_INTERNAL bool decodeDib(Bytes dib, bool iconMask, ImageFrame& frame);

QN_INTERNAL bool isPng(Bytes data);
QN_INTERNAL bool decodePng(Bytes png, ImageFrame& frame);

// The bits of an RT_ICON or RT_CURSOR resource; a cursor's begin with the
// hot spot (two 16-bit numbers).
QN_INTERNAL bool decodeIconBits(Bytes bits, bool cursor, ImageFrame& frame);

// One entry of an icon or cursor directory, as resources (14-byte entries
// ending in an id) or files (16-byte entries ending in an offset) hold them.
struct IconDirectoryEntry {
  LONG width;
  LONG height;
  WORD bitCount;
  DWORD bytes;
  DWORD idOrOffset;
  WORD xHotspot;  // cursor files
  WORD yHotspot;
};

// Reads a directory: `fromFile` for .ico/.cur files, else a group
// resource. `cursor` is set from the directory's type field.
QN_INTERNAL bool readIconDirectory(Bytes data, bool fromFile, bool& cursor, std::vector<IconDirectoryEntry>& entries);

// The index of the entry that best fits the size: the least difference in
// width and height, then the deepest colour (the shallowest with
// `monochrome`), then the first. -1 for no entries.
QN_INTERNAL int bestIconEntry(const std::vector<IconDirectoryEntry>& entries, LONG width, LONG height,
                              bool monochrome);

// An .ico or .cur file: the image that best fits the size.
QN_INTERNAL bool decodeIconFile(Bytes file, LONG width, LONG height, bool monochrome, bool& cursor,
                                ImageFrame& frame);

QN_INTERNAL bool isAnimatedCursor(Bytes data);
// Frames are chosen for the size as decodeIconFile chooses them.
QN_INTERNAL bool decodeAnimatedCursor(Bytes riff, LONG width, LONG height, bool monochrome, DecodedImage& image);

// A .bmp file: file header, then a device-independent bitmap.
QN_INTERNAL bool decodeBitmapFile(Bytes file, ImageFrame& frame);

// Nearest-neighbour scaling to the size; the hot spot moves with it.
// False when the size is too large.
QN_INTERNAL bool scaleFrame(ImageFrame& frame, LONG width, LONG height);

// Black or white by luminance, alpha kept.
QN_INTERNAL void makeMonochrome(ImageFrame& frame);

}  // namespace qn

// The pixels of the test images: make_images writes them into icon, cursor,
// bitmap and animated-cursor files, and the tests expect them back after
// the resource compiler, the linker and the platform layer have had them.
#pragma once

#include <cstdint>

namespace patterns {

struct Rgba {
  std::uint8_t r, g, b, a;
  bool operator==(const Rgba& o) const { return r == o.r && g == o.g && b == o.b && a == o.a; }
};

// Icon 1, image of 16 x 16 at 8 bits a pixel: palette colours, the two left
// columns masked out.
inline Rgba paletteColor(int index) {
  return {static_cast<std::uint8_t>(index), static_cast<std::uint8_t>(255 - index),
          static_cast<std::uint8_t>((index * 7) & 255), 255};
}
inline int icon16Index(int x, int y) { return (x + y * 16) % 256; }
inline Rgba icon16(int x, int y) { return x < 2 ? Rgba{0, 0, 0, 0} : paletteColor(icon16Index(x, y)); }

// Icon 1, image of 32 x 32 at 32 bits with alpha.
inline Rgba icon32(int x, int y) {
  return {static_cast<std::uint8_t>(x * 8), static_cast<std::uint8_t>(y * 8), 128,
          static_cast<std::uint8_t>(((x + y) * 4 + 1) & 255)};
}

// Icon 1, image of 48 x 48 stored as PNG.
inline Rgba icon48(int x, int y) {
  return {static_cast<std::uint8_t>(x * 5), static_cast<std::uint8_t>(y * 5), 200, static_cast<std::uint8_t>(255 - x)};
}

// Cursor 200, image of 32 x 32 at 4 bits, hot spot (3, 5), the two bottom
// rows masked out.
constexpr int CursorHotX = 3, CursorHotY = 5;
inline Rgba cursorColor(int index) {
  return {static_cast<std::uint8_t>(index * 16), static_cast<std::uint8_t>(index * 8), static_cast<std::uint8_t>(255 - index * 16), 255};
}
inline int cursorIndex(int x, int y) { return (x / 2 + y) % 16; }
inline Rgba cursor32(int x, int y) { return y >= 30 ? Rgba{0, 0, 0, 0} : cursorColor(cursorIndex(x, y)); }

// Bitmap 400: 5 x 3 at 24 bits (rows padded).
inline Rgba picture(int x, int y) {
  return {static_cast<std::uint8_t>(x * 50), static_cast<std::uint8_t>(y * 100), 7, 255};
}

// Bitmap 401: 6 x 2 at 8 bits, run-length encoded: the top row a run of
// six of index 5, the bottom row three of index 1 and then 2, 3, 4.
inline Rgba rleColor(int index) {
  return {static_cast<std::uint8_t>(index * 40), 0, static_cast<std::uint8_t>(255 - index * 40), 255};
}
inline Rgba rle(int x, int y) {
  if (y == 0) return rleColor(5);
  return rleColor(x < 3 ? 1 : x - 1);
}

// Bitmap 402: 2 x 2 at 32 bits whose fourth byte is alpha.
inline Rgba alphaBitmap(int x, int y) {
  return {static_cast<std::uint8_t>(10 + x), static_cast<std::uint8_t>(20 + y), 30, static_cast<std::uint8_t>(x == 0 ? 0 : 128 + y)};
}

// Animated cursor 300: three frames of 32 x 32, one colour each, four steps
// in the order 0 1 2 1 with rates 5 10 15 20.
constexpr int AniFrames = 3, AniSteps = 4;
constexpr int AniSequence[AniSteps] = {0, 1, 2, 1};
constexpr int AniRates[AniSteps] = {5, 10, 15, 20};
inline Rgba aniFrame(int frame) {
  return {static_cast<std::uint8_t>(frame * 80), static_cast<std::uint8_t>(255 - frame * 80), 50, 255};
}
inline int aniHotX(int frame) { return frame; }
inline int aniHotY(int frame) { return frame + 1; }

// String 100: longer than any buffer of 4096 characters.
constexpr int LongStringLength = 5000;
inline wchar_t longStringChar(int i) { return static_cast<wchar_t>(L'a' + i % 26); }

}  // namespace patterns

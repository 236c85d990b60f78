// Writes the image files and generated script fragments that the test
// resource scripts name, from the patterns the tests expect back.
//   make_images <output folder>
#include <png.h>

#include <cstdio>
#include <cstdint>
#include <string>
#include <vector>

#include "patterns.h"

namespace {

using patterns::Rgba;

struct Out {
  std::vector<std::uint8_t> bytes;
  void u8(unsigned v) { bytes.push_back(static_cast<std::uint8_t>(v)); }
  void u16(unsigned v) {
    u8(v & 255);
    u8((v >> 8) & 255);
  }
  void u32(std::uint32_t v) {
    u16(v & 0xFFFF);
    u16(v >> 16);
  }
  void text(const char* s) {
    while (*s) u8(static_cast<unsigned char>(*s++));
  }
  void append(const std::vector<std::uint8_t>& more) { bytes.insert(bytes.end(), more.begin(), more.end()); }
  void pad(std::size_t alignment) {
    while (bytes.size() % alignment) u8(0);
  }
  void patch32(std::size_t at, std::uint32_t v) {
    for (int i = 0; i < 4; ++i) bytes[at + i] = static_cast<std::uint8_t>(v >> (8 * i));
  }
};

void infoHeader(Out& o, int width, int height, int bits, std::uint32_t compression = 0, std::uint32_t colors = 0) {
  o.u32(40);
  o.u32(static_cast<std::uint32_t>(width));
  o.u32(static_cast<std::uint32_t>(height));
  o.u16(1);
  o.u16(static_cast<unsigned>(bits));
  o.u32(compression);
  o.u32(0);
  o.u32(0);
  o.u32(0);
  o.u32(colors);
  o.u32(0);
}

// The AND mask of an icon image, rows from the bottom, 1 = transparent.
template <typename Transparent>
void andMask(Out& o, int width, int height, Transparent transparent) {
  const int stride = (width + 31) / 32 * 4;
  for (int y = height - 1; y >= 0; --y) {
    std::vector<std::uint8_t> row(static_cast<std::size_t>(stride), 0);
    for (int x = 0; x < width; ++x)
      if (transparent(x, y)) row[static_cast<std::size_t>(x / 8)] |= static_cast<std::uint8_t>(0x80 >> (x % 8));
    o.append(row);
  }
}

// A colour table of BITMAPINFO: blue, green, red and a reserved zero.
template <typename ColorOf>
void palette(Out& o, int count, ColorOf colorOf) {
  for (int i = 0; i < count; ++i) {
    const Rgba c = colorOf(i);
    o.u8(c.b), o.u8(c.g), o.u8(c.r), o.u8(0);
  }
}

std::vector<std::uint8_t> icon16() {
  Out o;
  infoHeader(o, 16, 32, 8, 0, 256);
  palette(o, 256, patterns::paletteColor);
  for (int y = 15; y >= 0; --y)
    for (int x = 0; x < 16; ++x) o.u8(static_cast<unsigned>(patterns::icon16Index(x, y)));
  andMask(o, 16, 16, [](int x, int) { return x < 2; });
  return o.bytes;
}

std::vector<std::uint8_t> icon32() {
  Out o;
  infoHeader(o, 32, 64, 32);
  for (int y = 31; y >= 0; --y)
    for (int x = 0; x < 32; ++x) {
      const Rgba c = patterns::icon32(x, y);
      o.u8(c.b), o.u8(c.g), o.u8(c.r), o.u8(c.a);
    }
  andMask(o, 32, 32, [](int, int) { return false; });
  return o.bytes;
}

std::vector<std::uint8_t> icon48() {
  std::vector<std::uint8_t> pixels;
  for (int y = 0; y < 48; ++y)
    for (int x = 0; x < 48; ++x) {
      const Rgba c = patterns::icon48(x, y);
      pixels.insert(pixels.end(), {c.r, c.g, c.b, c.a});
    }
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  image.width = 48;
  image.height = 48;
  image.format = PNG_FORMAT_RGBA;
  png_alloc_size_t size = 0;
  png_image_write_to_memory(&image, nullptr, &size, 0, pixels.data(), 0, nullptr);
  std::vector<std::uint8_t> png(size);
  if (!png_image_write_to_memory(&image, png.data(), &size, 0, pixels.data(), 0, nullptr)) return {};
  png.resize(size);
  return png;
}

std::vector<std::uint8_t> cursor32() {
  Out o;
  infoHeader(o, 32, 64, 4, 0, 16);
  palette(o, 16, patterns::cursorColor);
  for (int y = 31; y >= 0; --y)
    for (int x = 0; x < 32; x += 2)
      o.u8(static_cast<unsigned>(patterns::cursorIndex(x, y) << 4 | patterns::cursorIndex(x + 1, y)));
  andMask(o, 32, 32, [](int, int y) { return y >= 30; });
  return o.bytes;
}

std::vector<std::uint8_t> solid32(Rgba c) {
  Out o;
  infoHeader(o, 32, 64, 32);
  for (int i = 0; i < 32 * 32; ++i) o.u8(c.b), o.u8(c.g), o.u8(c.r), o.u8(0);
  andMask(o, 32, 32, [](int, int) { return false; });
  return o.bytes;
}

struct DirectoryImage {
  int width, height, colors, bits, hotX, hotY;
  std::vector<std::uint8_t> data;
};

// An .ico (type 1) or .cur (type 2) file.
std::vector<std::uint8_t> iconFile(int type, const std::vector<DirectoryImage>& images) {
  Out o;
  o.u16(0), o.u16(static_cast<unsigned>(type)), o.u16(static_cast<unsigned>(images.size()));
  std::uint32_t offset = static_cast<std::uint32_t>(6 + 16 * images.size());
  for (const auto& i : images) {
    o.u8(i.width == 256 ? 0 : static_cast<unsigned>(i.width));
    o.u8(i.height == 256 ? 0 : static_cast<unsigned>(i.height));
    o.u8(static_cast<unsigned>(i.colors)), o.u8(0);
    o.u16(type == 2 ? static_cast<unsigned>(i.hotX) : 1);
    o.u16(type == 2 ? static_cast<unsigned>(i.hotY) : static_cast<unsigned>(i.bits));
    o.u32(static_cast<std::uint32_t>(i.data.size()));
    o.u32(offset);
    offset += static_cast<std::uint32_t>(i.data.size());
  }
  for (const auto& i : images) o.append(i.data);
  return o.bytes;
}

std::vector<std::uint8_t> bitmapFile(const std::vector<std::uint8_t>& dib, std::uint32_t headerAndTable) {
  Out o;
  o.text("BM");
  o.u32(static_cast<std::uint32_t>(14 + dib.size()));
  o.u32(0);
  o.u32(14 + headerAndTable);
  o.append(dib);
  return o.bytes;
}

std::vector<std::uint8_t> picture() {
  Out o;
  infoHeader(o, 5, 3, 24);
  for (int y = 2; y >= 0; --y) {
    for (int x = 0; x < 5; ++x) {
      const Rgba c = patterns::picture(x, y);
      o.u8(c.b), o.u8(c.g), o.u8(c.r);
    }
    o.u8(0);  // rows are padded to four bytes
  }
  return bitmapFile(o.bytes, 40);
}

std::vector<std::uint8_t> rle() {
  Out o;
  infoHeader(o, 6, 2, 8, 1, 6);
  palette(o, 6, patterns::rleColor);
  const std::uint8_t bits[] = {3, 1, 0, 3, 2, 3, 4, 0, 0, 0, 6, 5, 0, 0, 0, 1};
  o.bytes.insert(o.bytes.end(), std::begin(bits), std::end(bits));
  o.patch32(20, sizeof bits);
  return bitmapFile(o.bytes, 40 + 6 * 4);
}

std::vector<std::uint8_t> alphaBitmap() {
  Out o;
  infoHeader(o, 2, 2, 32);
  for (int y = 1; y >= 0; --y)
    for (int x = 0; x < 2; ++x) {
      const Rgba c = patterns::alphaBitmap(x, y);
      o.u8(c.b), o.u8(c.g), o.u8(c.r), o.u8(c.a);
    }
  return bitmapFile(o.bytes, 40);
}

void chunk(Out& o, const char* id, const std::vector<std::uint8_t>& body) {
  o.text(id);
  o.u32(static_cast<std::uint32_t>(body.size()));
  o.append(body);
  o.pad(2);
}

std::vector<std::uint8_t> spinner() {
  Out header;
  header.u32(36), header.u32(patterns::AniFrames), header.u32(patterns::AniSteps);
  header.u32(0), header.u32(0), header.u32(0), header.u32(0);
  header.u32(10);  // default rate, overridden by the rate chunk
  header.u32(3);   // frames are icon files, a sequence follows
  Out rates, sequence, frames;
  for (int i = 0; i < patterns::AniSteps; ++i) {
    rates.u32(static_cast<std::uint32_t>(patterns::AniRates[i]));
    sequence.u32(static_cast<std::uint32_t>(patterns::AniSequence[i]));
  }
  frames.text("fram");
  for (int f = 0; f < patterns::AniFrames; ++f)
    chunk(frames, "icon",
          iconFile(2, {{32, 32, 0, 32, patterns::aniHotX(f), patterns::aniHotY(f), solid32(patterns::aniFrame(f))}}));
  Out body;
  body.text("ACON");
  Out info;
  info.text("INFO");
  chunk(info, "INAM", {'s', 'p', 'i', 'n', 0, 0});
  chunk(body, "LIST", info.bytes);
  chunk(body, "anih", header.bytes);
  chunk(body, "rate", rates.bytes);
  chunk(body, "seq ", sequence.bytes);
  chunk(body, "LIST", frames.bytes);
  Out riff;
  chunk(riff, "RIFF", body.bytes);
  return riff.bytes;
}

std::vector<std::uint8_t> notACursor() {
  Out o;
  o.text("RIFF");
  o.u32(12);
  o.text("WAVEfmt ");
  o.u32(0);
  return o.bytes;
}

bool write(const std::string& path, const std::vector<std::uint8_t>& bytes) {
  std::FILE* f = std::fopen(path.c_str(), "wb");
  if (f == nullptr) return false;
  const bool ok = std::fwrite(bytes.data(), 1, bytes.size(), f) == bytes.size();
  return std::fclose(f) == 0 && ok;
}

std::vector<std::uint8_t> longStringScript() {
  Out o;
  o.text("STRINGTABLE\nBEGIN\n  100 \"");
  for (int i = 0; i < patterns::LongStringLength; ++i) o.u8(static_cast<unsigned>(patterns::longStringChar(i)));
  o.text("\"\nEND\n");
  return o.bytes;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fputs("usage: make_images <output folder>\n", stderr);
    return 2;
  }
  const std::string dir = argv[1];
  const auto png = icon48();
  const bool ok =
      !png.empty() &&
      write(dir + "/colors.ico", iconFile(1, {{16, 16, 0, 8, 0, 0, icon16()}, {32, 32, 0, 32, 0, 0, icon32()},
                                              {48, 48, 0, 32, 0, 0, png}})) &&
      write(dir + "/pointer.cur",
            iconFile(2, {{32, 32, 16, 4, patterns::CursorHotX, patterns::CursorHotY, cursor32()}})) &&
      write(dir + "/picture.bmp", picture()) && write(dir + "/rle.bmp", rle()) &&
      write(dir + "/alpha.bmp", alphaBitmap()) && write(dir + "/spinner.ani", spinner()) &&
      write(dir + "/notacursor.bin", notACursor()) && write(dir + "/long_string.rci", longStringScript());
  if (!ok) {
    std::fprintf(stderr, "make_images: could not write the images to %s\n", dir.c_str());
    return 1;
  }
  return 0;
}

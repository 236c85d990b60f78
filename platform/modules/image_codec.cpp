#include "modules/image_codec.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <png.h>

namespace qn {

namespace {

constexpr DWORD BiRgb = 0;
constexpr DWORD BiRle8 = 1;
constexpr DWORD BiRle4 = 2;
constexpr DWORD BiBitfields = 3;
constexpr DWORD BiAlphaBitfields = 6;

struct Rgba {
  BYTE r, g, b, a;
};

bool sizeAllowed(std::uint64_t width, std::uint64_t height) {
  return width > 0 && height > 0 && width <= 0x8000 && height <= 0x8000 && width * height <= MaxImagePixels;
}

void allocate(ImageFrame& frame, LONG width, LONG height) {
  frame.width = width;
  frame.height = height;
  frame.rgba.assign(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4, 0);
}

void put(ImageFrame& frame, LONG x, LONG y, Rgba c) {
  BYTE* p = frame.rgba.data() + (static_cast<std::size_t>(y) * static_cast<std::size_t>(frame.width) + static_cast<std::size_t>(x)) * 4;
  p[0] = c.r;
  p[1] = c.g;
  p[2] = c.b;
  p[3] = c.a;
}

// A colour channel under a bit mask, widened to eight bits.
BYTE channel(DWORD value, DWORD mask) {
  if (mask == 0) return 0;
  int shift = 0;
  while (((mask >> shift) & 1) == 0) ++shift;
  const DWORD field = mask >> shift;
  int bits = 0;
  while (bits < 32 && ((field >> bits) & 1)) ++bits;
  const std::uint64_t max = (std::uint64_t{1} << bits) - 1;
  return static_cast<BYTE>((static_cast<std::uint64_t>((value & mask) >> shift) * 255 + max / 2) / max);
}

// Indices of a run-length encoded bitmap (8 or 4 bits a pixel), rows from
// the bottom. Pixels the encoding skips keep index 0.
bool decodeRle(Bytes data, int bits, LONG width, LONG rows, std::vector<BYTE>& indices) {
  indices.assign(static_cast<std::size_t>(width) * static_cast<std::size_t>(rows), 0);
  LONG x = 0, y = 0;
  auto set = [&](BYTE index) {
    if (x < width && y < rows) indices[static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x)] = index;
    ++x;
  };
  std::size_t pos = 0;
  while (y < rows) {
    BYTE count, value;
    if (!data.u8(pos, count) || !data.u8(pos + 1, value)) return false;
    pos += 2;
    if (count > 0) {
      for (int i = 0; i < count; ++i) set(bits == 8 ? value : static_cast<BYTE>(i % 2 == 0 ? value >> 4 : value & 15));
      continue;
    }
    if (value == 0) {  // end of line
      x = 0;
      ++y;
    } else if (value == 1) {  // end of bitmap
      break;
    } else if (value == 2) {  // move
      BYTE dx, dy;
      if (!data.u8(pos, dx) || !data.u8(pos + 1, dy)) return false;
      pos += 2;
      x += dx;
      y += dy;
    } else {  // a run of literal pixels, padded to 16 bits
      const std::size_t bytes = bits == 8 ? value : (std::size_t{value} + 1) / 2;
      Bytes run;
      if (!data.slice(pos, bytes, run)) return false;
      for (int i = 0; i < value; ++i) {
        const BYTE b = run.data()[bits == 8 ? i : i / 2];
        set(bits == 8 ? b : static_cast<BYTE>(i % 2 == 0 ? b >> 4 : b & 15));
      }
      pos += alignUp(bytes, 2);
    }
  }
  return true;
}

// `bitsOffset` 0: the bits follow the colour table.
bool decodeDibAt(Bytes dib, bool iconMask, std::size_t bitsOffset, ImageFrame& frame) {
  DWORD headerSize;
  if (!dib.u32(0, headerSize) || !dib.has(0, headerSize)) return false;
  LONG width, height;
  WORD planes, bitCount;
  DWORD compression = BiRgb, colorsUsed = 0;
  std::size_t entrySize = 4;
  DWORD masks[4] = {0, 0, 0, 0};
  std::size_t offset = headerSize;
  if (headerSize == 12) {
    width = dib.word(4);
    height = dib.word(6);
    planes = dib.word(8);
    bitCount = dib.word(10);
    entrySize = 3;
  } else if (headerSize >= 40) {
    width = static_cast<LONG>(dib.dword(4));
    height = static_cast<LONG>(dib.dword(8));
    planes = dib.word(12);
    bitCount = dib.word(14);
    compression = dib.dword(16);
    colorsUsed = dib.dword(32);
    if (compression == BiBitfields || compression == BiAlphaBitfields) {
      const std::size_t count = compression == BiAlphaBitfields ? 4 : 3;
      if (headerSize >= 40 + 4 * count) {
        for (std::size_t i = 0; i < 4 && 40 + 4 * i + 4 <= headerSize; ++i) masks[i] = dib.dword(40 + 4 * i);
        if (compression == BiBitfields && headerSize < 56) masks[3] = 0;
      } else {
        for (std::size_t i = 0; i < count; ++i)
          if (!dib.u32(40 + 4 * i, masks[i])) return false;
        offset += 4 * count;
      }
    }
  } else {
    return false;
  }
  if (planes > 1 || width <= 0 || height == 0 || height == INT32_MIN) return false;
  const bool topDown = height < 0;
  LONG rows = topDown ? -height : height;
  if (iconMask) {
    if (topDown || rows < 2) return false;
    rows /= 2;
  }
  if (!sizeAllowed(static_cast<std::uint64_t>(width), static_cast<std::uint64_t>(rows))) return false;

  switch (compression) {
    case BiRgb:
      if (bitCount != 1 && bitCount != 4 && bitCount != 8 && bitCount != 16 && bitCount != 24 && bitCount != 32)
        return false;
      break;
    case BiRle8:
      if (bitCount != 8 || iconMask || topDown) return false;
      break;
    case BiRle4:
      if (bitCount != 4 || iconMask || topDown) return false;
      break;
    case BiBitfields:
    case BiAlphaBitfields:
      if (bitCount != 16 && bitCount != 32) return false;
      break;
    default:
      return false;  // JPEG and PNG inside a bitmap are not read
  }

  // Colour table.
  std::vector<Rgba> palette;
  std::size_t tableCount = colorsUsed;
  if (bitCount <= 8) {
    const std::size_t full = std::size_t{1} << bitCount;
    if (tableCount == 0) tableCount = full;
    if (tableCount > full) return false;
  } else if (tableCount > 0x10000) {
    return false;
  }
  Bytes table;
  if (!dib.slice(offset, tableCount * entrySize, table)) return false;
  if (bitCount <= 8) {
    palette.resize(std::size_t{1} << bitCount, Rgba{0, 0, 0, 255});
    for (std::size_t i = 0; i < tableCount; ++i)
      palette[i] = Rgba{table.data()[i * entrySize + 2], table.data()[i * entrySize + 1], table.data()[i * entrySize], 255};
  }
  offset += tableCount * entrySize;
  if (bitsOffset != 0) {
    if (bitsOffset < offset) return false;
    offset = bitsOffset;
  }

  allocate(frame, width, rows);
  const Bytes bits = dib.from(offset);
  const std::size_t stride = (static_cast<std::size_t>(width) * bitCount + 31) / 32 * 4;
  auto rowOf = [&](LONG fileRow) { return topDown ? fileRow : rows - 1 - fileRow; };

  if (compression == BiRle8 || compression == BiRle4) {
    std::vector<BYTE> indices;
    if (!decodeRle(bits, bitCount, width, rows, indices)) return false;
    for (LONG r = 0; r < rows; ++r)
      for (LONG x = 0; x < width; ++x)
        put(frame, x, rowOf(r), palette[indices[static_cast<std::size_t>(r) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x)]]);
    return true;
  }

  if (!bits.has(0, stride * static_cast<std::size_t>(rows))) return false;
  bool alphaMask = masks[3] != 0;
  if (compression == BiRgb && bitCount == 16) {
    masks[0] = 0x7C00;
    masks[1] = 0x03E0;
    masks[2] = 0x001F;
  }
  bool anyAlpha = false;
  for (LONG r = 0; r < rows; ++r) {
    const BYTE* row = bits.data() + static_cast<std::size_t>(r) * stride;
    const LONG y = rowOf(r);
    for (LONG x = 0; x < width; ++x) {
      Rgba c{0, 0, 0, 255};
      const auto ux = static_cast<std::size_t>(x);
      switch (bitCount) {
        case 1: c = palette[(row[ux / 8] >> (7 - ux % 8)) & 1]; break;
        case 4: c = palette[(row[ux / 2] >> (ux % 2 == 0 ? 4 : 0)) & 15]; break;
        case 8: c = palette[row[ux]]; break;
        case 16: {
          const DWORD v = static_cast<DWORD>(row[ux * 2] | (row[ux * 2 + 1] << 8));
          c = Rgba{channel(v, masks[0]), channel(v, masks[1]), channel(v, masks[2]),
                   alphaMask ? channel(v, masks[3]) : BYTE{255}};
          break;
        }
        case 24: c = Rgba{row[ux * 3 + 2], row[ux * 3 + 1], row[ux * 3], 255}; break;
        case 32: {
          const BYTE* p = row + ux * 4;
          if (compression == BiRgb) {
            c = Rgba{p[2], p[1], p[0], p[3]};
          } else {
            const DWORD v = static_cast<DWORD>(p[0]) | (static_cast<DWORD>(p[1]) << 8) | (static_cast<DWORD>(p[2]) << 16) |
                            (static_cast<DWORD>(p[3]) << 24);
            c = Rgba{channel(v, masks[0]), channel(v, masks[1]), channel(v, masks[2]),
                     alphaMask ? channel(v, masks[3]) : p[3]};
          }
          if (c.a != 0) anyAlpha = true;
          break;
        }
      }
      put(frame, x, y, c);
    }
  }
  // A 32-bit image whose fourth byte is 0 throughout carries no alpha: the
  // mask (icons) or nothing (bitmaps) says what shows.
  const bool useAlpha = bitCount == 32 && (alphaMask || anyAlpha);
  if (bitCount == 32 && !useAlpha)
    for (std::size_t i = 3; i < frame.rgba.size(); i += 4) frame.rgba[i] = 255;
  if (!iconMask) return true;

  const std::size_t maskStride = (static_cast<std::size_t>(width) + 31) / 32 * 4;
  Bytes mask;
  if (!bits.slice(stride * static_cast<std::size_t>(rows), maskStride * static_cast<std::size_t>(rows), mask))
    return false;
  if (useAlpha) return true;
  for (LONG r = 0; r < rows; ++r) {
    const BYTE* row = mask.data() + static_cast<std::size_t>(r) * maskStride;
    const LONG y = rowOf(r);
    for (LONG x = 0; x < width; ++x)
      if ((row[static_cast<std::size_t>(x) / 8] >> (7 - x % 8)) & 1) put(frame, x, y, Rgba{0, 0, 0, 0});
  }
  return true;
}

}  // namespace

bool decodeDib(Bytes dib, bool iconMask, ImageFrame& frame) { return decodeDibAt(dib, iconMask, 0, frame); }

bool isPng(Bytes data) { return data.startsWith("\x89PNG\r\n\x1A\n", 8); }

bool decodePng(Bytes png, ImageFrame& frame) {
  if (!isPng(png)) return false;
  png_image image;
  std::memset(&image, 0, sizeof image);
  image.version = PNG_IMAGE_VERSION;
  if (!png_image_begin_read_from_memory(&image, png.data(), png.size())) return false;
  if (!sizeAllowed(image.width, image.height)) {
    png_image_free(&image);
    return false;
  }
  image.format = PNG_FORMAT_RGBA;
  allocate(frame, static_cast<LONG>(image.width), static_cast<LONG>(image.height));
  if (!png_image_finish_read(&image, nullptr, frame.rgba.data(), 0, nullptr)) {
    png_image_free(&image);
    return false;
  }
  return true;
}

bool decodeIconBits(Bytes bits, bool cursor, ImageFrame& frame) {
  LONG x = 0, y = 0;
  if (cursor) {
    if (!bits.has(0, 4)) return false;
    x = bits.word(0);
    y = bits.word(2);
    bits = bits.from(4);
  }
  if (!(isPng(bits) ? decodePng(bits, frame) : decodeDib(bits, true, frame))) return false;
  frame.xHotspot = x;
  frame.yHotspot = y;
  return true;
}

bool readIconDirectory(Bytes data, bool fromFile, bool& cursor, std::vector<IconDirectoryEntry>& entries) {
  WORD reserved, type, count;
  if (!data.u16(0, reserved) || !data.u16(2, type) || !data.u16(4, count)) return false;
  if (reserved != 0 || (type != 1 && type != 2) || count == 0) return false;
  cursor = type == 2;
  const std::size_t entrySize = fromFile ? 16 : 14;
  Bytes table;
  if (!data.slice(6, std::size_t{count} * entrySize, table)) return false;
  entries.clear();
  for (std::size_t i = 0; i < count; ++i) {
    const Bytes e = table.from(i * entrySize);
    IconDirectoryEntry entry{};
    if (!fromFile && cursor) {
      // Cursor groups hold 16-bit sizes, the height counting the AND mask.
      entry.width = e.word(0);
      entry.height = e.word(2) / 2;
    } else {
      entry.width = e.data()[0] == 0 ? 256 : e.data()[0];
      entry.height = e.data()[1] == 0 ? 256 : e.data()[1];
    }
    entry.bitCount = e.word(6);
    if (fromFile && cursor) {
      entry.xHotspot = e.word(4);
      entry.yHotspot = e.word(6);
      entry.bitCount = 0;
    }
    if (entry.bitCount == 0 && !(!fromFile && cursor)) {
      const BYTE colors = e.data()[2];
      entry.bitCount = colors == 2 ? 1 : colors == 16 ? 4 : colors != 0 ? 8 : 32;
    }
    entry.bytes = e.dword(8);
    entry.idOrOffset = fromFile ? e.dword(12) : e.word(12);
    entries.push_back(entry);
  }
  return true;
}

int bestIconEntry(const std::vector<IconDirectoryEntry>& entries, LONG width, LONG height, bool monochrome) {
  int best = -1;
  std::int64_t bestDistance = 0;
  for (std::size_t i = 0; i < entries.size(); ++i) {
    const auto& e = entries[i];
    const std::int64_t distance = std::llabs(std::int64_t{e.width} - width) + std::llabs(std::int64_t{e.height} - height);
    bool better = best < 0 || distance < bestDistance;
    if (!better && distance == bestDistance) {
      const WORD bestDepth = entries[static_cast<std::size_t>(best)].bitCount;
      better = monochrome ? e.bitCount < bestDepth : e.bitCount > bestDepth;
    }
    if (better) {
      best = static_cast<int>(i);
      bestDistance = distance;
    }
  }
  return best;
}

bool decodeIconFile(Bytes file, LONG width, LONG height, bool monochrome, bool& cursor, ImageFrame& frame) {
  std::vector<IconDirectoryEntry> entries;
  if (!readIconDirectory(file, true, cursor, entries)) return false;
  const int chosen = bestIconEntry(entries, width, height, monochrome);
  const auto& entry = entries[static_cast<std::size_t>(chosen)];
  Bytes image;
  if (!file.slice(entry.idOrOffset, entry.bytes, image)) return false;
  if (!(isPng(image) ? decodePng(image, frame) : decodeDib(image, true, frame))) return false;
  frame.xHotspot = cursor ? entry.xHotspot : 0;
  frame.yHotspot = cursor ? entry.yHotspot : 0;
  return true;
}

bool isAnimatedCursor(Bytes data) {
  return data.startsWith("RIFF", 4) && data.has(8, 4) && std::memcmp(data.data() + 8, "ACON", 4) == 0;
}

bool decodeAnimatedCursor(Bytes riff, LONG width, LONG height, bool monochrome, DecodedImage& image) {
  if (!isAnimatedCursor(riff)) return false;
  const Bytes body = riff.from(0);
  const std::size_t end = std::min<std::size_t>(body.size(), std::size_t{body.dword(4)} + 8);
  Bytes header, rates, sequence;
  std::vector<Bytes> frames;
  // Chunks: four-letter id, 32-bit size, data padded to an even length.
  auto chunks = [](Bytes data, std::size_t offset, std::size_t limit, auto&& visit) {
    while (offset + 8 <= limit) {
      Bytes chunk;
      if (!data.slice(offset + 8, data.dword(offset + 4), chunk) || offset + 8 + chunk.size() > limit) return false;
      if (!visit(data.data() + offset, chunk)) return false;
      offset = alignUp(offset + 8 + chunk.size(), 2);
    }
    return true;
  };
  const bool wellFormed = chunks(body, 12, end, [&](const BYTE* id, Bytes chunk) {
    if (std::memcmp(id, "anih", 4) == 0) header = chunk;
    else if (std::memcmp(id, "rate", 4) == 0) rates = chunk;
    else if (std::memcmp(id, "seq ", 4) == 0) sequence = chunk;
    else if (std::memcmp(id, "LIST", 4) == 0 && chunk.startsWith("fram", 4))
      return chunks(chunk, 4, chunk.size(), [&](const BYTE* sub, Bytes frame) {
        if (std::memcmp(sub, "icon", 4) == 0) frames.push_back(frame);
        return frames.size() <= 0x10000;
      });
    return true;
  });
  if (!wellFormed || header.size() < 36) return false;
  const DWORD frameCount = header.dword(4);
  DWORD stepCount = header.dword(8);
  const DWORD defaultRate = header.dword(28);
  const DWORD attributes = header.dword(32);
  if ((attributes & 1) == 0) return false;  // frames must be icon or cursor images
  if (frameCount == 0 || frameCount > frames.size()) return false;
  if (stepCount == 0) stepCount = frameCount;
  if (stepCount > 0x10000) return false;
  if (!sequence.empty() && sequence.size() < std::size_t{stepCount} * 4) return false;
  if (sequence.empty() && stepCount > frameCount) return false;
  if (!rates.empty() && rates.size() < std::size_t{stepCount} * 4) return false;

  image.frames.assign(frameCount, ImageFrame{});
  for (DWORD i = 0; i < frameCount; ++i) {
    bool cursor;
    if (!decodeIconFile(frames[i], width, height, monochrome, cursor, image.frames[i])) return false;
  }
  image.steps.clear();
  for (DWORD i = 0; i < stepCount; ++i) {
    const DWORD frame = sequence.empty() ? i : sequence.dword(std::size_t{i} * 4);
    if (frame >= frameCount) return false;
    image.steps.push_back({frame, rates.empty() ? defaultRate : rates.dword(std::size_t{i} * 4)});
  }
  return true;
}

bool decodeBitmapFile(Bytes file, ImageFrame& frame) {
  DWORD bitsOffset;
  if (!file.startsWith("BM", 2) || !file.u32(10, bitsOffset) || bitsOffset < 14) return false;
  return decodeDibAt(file.from(14), false, bitsOffset - 14, frame);
}

bool scaleFrame(ImageFrame& frame, LONG width, LONG height) {
  if (width == frame.width && height == frame.height) return true;
  if (!sizeAllowed(static_cast<std::uint64_t>(width), static_cast<std::uint64_t>(height))) return false;
  ImageFrame scaled;
  allocate(scaled, width, height);
  for (LONG y = 0; y < height; ++y) {
    const std::size_t sy = static_cast<std::size_t>(std::int64_t{y} * frame.height / height);
    for (LONG x = 0; x < width; ++x) {
      const std::size_t sx = static_cast<std::size_t>(std::int64_t{x} * frame.width / width);
      std::memcpy(scaled.rgba.data() + (static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x)) * 4,
                  frame.rgba.data() + (sy * static_cast<std::size_t>(frame.width) + sx) * 4, 4);
    }
  }
  scaled.xHotspot = static_cast<LONG>(std::int64_t{frame.xHotspot} * width / frame.width);
  scaled.yHotspot = static_cast<LONG>(std::int64_t{frame.yHotspot} * height / frame.height);
  frame = std::move(scaled);
  return true;
}

void makeMonochrome(ImageFrame& frame) {
  for (std::size_t i = 0; i + 3 < frame.rgba.size(); i += 4) {
    BYTE* p = frame.rgba.data() + i;
    const int luminance = (p[0] * 299 + p[1] * 587 + p[2] * 114) / 1000;
    p[0] = p[1] = p[2] = luminance >= 128 ? 255 : 0;
  }
}

}  // namespace qn

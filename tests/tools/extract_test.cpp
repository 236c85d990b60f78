// qnlith resources <module> --extract <dir>: every image of the test modules
// (ELF, PE and .res twins) and of a .res file written here with the depths
// the twins lack, read back by libpng and compared pixel for pixel with the
// images they were made from.
#include <gtest/gtest.h>
#include <png.h>

#include <cstdint>
#include <cstdio>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "patterns.h"
#include "support/run_program.h"
#include "support/scratch.h"

namespace {

using patterns::Rgba;

struct Picture {
  int width = 0, height = 0;
  std::vector<Rgba> pixels;
  std::map<std::string, std::string> text;
};

// A PNG file as libpng reads it: 8-bit RGBA, and its text chunks.
bool readPng(const std::string& path, Picture& picture) {
  std::FILE* file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) return false;
  png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  bool ok = false;
  if (setjmp(png_jmpbuf(png)) == 0) {
    png_init_io(png, file);
    png_read_png(png, info, PNG_TRANSFORM_IDENTITY, nullptr);
    if (png_get_color_type(png, info) == PNG_COLOR_TYPE_RGB_ALPHA && png_get_bit_depth(png, info) == 8) {
      picture.width = static_cast<int>(png_get_image_width(png, info));
      picture.height = static_cast<int>(png_get_image_height(png, info));
      png_bytepp rows = png_get_rows(png, info);
      for (int y = 0; y < picture.height; ++y)
        for (int x = 0; x < picture.width; ++x) {
          const png_bytep p = rows[y] + 4 * x;
          picture.pixels.push_back({p[0], p[1], p[2], p[3]});
        }
      png_textp text = nullptr;
      const int count = png_get_text(png, info, &text, nullptr);
      for (int i = 0; i < count; ++i) picture.text[text[i].key] = text[i].text;
      ok = true;
    }
  }
  png_destroy_read_struct(&png, &info, nullptr);
  std::fclose(file);
  return ok;
}

struct Expected {
  const char* file;
  int width, height;
  std::function<Rgba(int, int)> pixel;
  int hotX = -1, hotY = -1;  // -1: no hot spot chunks
};

void expectPicture(const std::string& directory, const Expected& row) {
  SCOPED_TRACE(row.file);
  Picture picture;
  ASSERT_TRUE(readPng(directory + "/" + row.file, picture));
  ASSERT_EQ(picture.width, row.width);
  ASSERT_EQ(picture.height, row.height);
  int wrong = 0;
  for (int y = 0; y < row.height; ++y)
    for (int x = 0; x < row.width; ++x) {
      const Rgba got = picture.pixels[static_cast<std::size_t>(y * row.width + x)], want = row.pixel(x, y);
      if (!(got == want) && wrong++ < 3)
        ADD_FAILURE() << "pixel " << x << "," << y << ": " << int(got.r) << " " << int(got.g) << " " << int(got.b)
                      << " " << int(got.a) << ", expected " << int(want.r) << " " << int(want.g) << " "
                      << int(want.b) << " " << int(want.a);
    }
  EXPECT_EQ(wrong, 0);
  if (row.hotX < 0) {
    EXPECT_TRUE(picture.text.empty());
  } else {
    EXPECT_EQ(picture.text["hotspot-x"], std::to_string(row.hotX));
    EXPECT_EQ(picture.text["hotspot-y"], std::to_string(row.hotY));
  }
}

ProgramOutcome extract(const std::string& module, const std::string& directory) {
  return runProgram(std::string(QNLITH_TOOL) + " resources '" + module + "' --extract '" + directory + "' 2>&1");
}

// The test modules' images, as make_images wrote them.
std::vector<Expected> testModuleImages() {
  std::vector<Expected> rows = {
      {"icon_1_0409.png", 16, 16, patterns::icon16},
      {"icon_2_0409.png", 32, 32, patterns::icon32},
      {"icon_3_0409.png", 48, 48, patterns::icon48},
      {"cursor_1_0409.png", 32, 32, patterns::cursor32, patterns::CursorHotX, patterns::CursorHotY},
      {"bitmap_400_0409.png", 5, 3, patterns::picture},
      {"bitmap_401_0409.png", 6, 2, patterns::rle},
      {"bitmap_402_0409.png", 2, 2, patterns::alphaBitmap},
  };
  static const char* const frames[] = {"ANICURSORS_300_0409_frame0.png", "ANICURSORS_300_0409_frame1.png",
                                       "ANICURSORS_300_0409_frame2.png"};
  for (int f = 0; f < patterns::AniFrames; ++f)
    rows.push_back({frames[f], 32, 32, [f](int, int) { return patterns::aniFrame(f); }, patterns::aniHotX(f),
                    patterns::aniHotY(f)});
  return rows;
}

// A .res file: the empty first entry, then each resource with a numbered
// type and name.
struct ResWriter {
  std::vector<std::uint8_t> bytes;
  void u8(unsigned v) { bytes.push_back(static_cast<std::uint8_t>(v)); }
  void u16(unsigned v) { u8(v & 255), u8(v >> 8); }
  void u32(std::uint32_t v) { u16(v & 0xFFFF), u16(v >> 16); }
  void entry(unsigned type, unsigned name, unsigned language, const std::vector<std::uint8_t>& data,
             unsigned flags = 0x1030) {
    u32(static_cast<std::uint32_t>(data.size()));
    u32(32);
    u16(0xFFFF), u16(type), u16(0xFFFF), u16(name);
    u32(0), u16(flags), u16(language), u32(0), u32(0);
    bytes.insert(bytes.end(), data.begin(), data.end());
    while (bytes.size() % 4) u8(0);
  }
  ResWriter() { entry(0, 0, 0, {}, 0); }
};

struct Dib {
  std::vector<std::uint8_t> bytes;
  void u8(unsigned v) { bytes.push_back(static_cast<std::uint8_t>(v)); }
  void u16(unsigned v) { u8(v & 255), u8(v >> 8); }
  void u32(std::uint32_t v) { u16(v & 0xFFFF), u16(v >> 16); }
};

Rgba paletteEntry(int bits, int index) {
  if (bits == 1) return index ? Rgba{250, 240, 5, 255} : Rgba{3, 7, 90, 255};
  return {static_cast<std::uint8_t>(index * 13), static_cast<std::uint8_t>(255 - index * 3),
          static_cast<std::uint8_t>(index * 29 % 256), 255};
}

int indexAt(int bits, int x, int y) { return (x * 3 + y * 5) % (1 << (bits > 8 ? 8 : bits)); }

// A bitmap of `bits` (1, 4, 8 with a colour table; 24, 32 direct), rows
// from the bottom, each padded to four bytes; with `mask`, the height
// doubled and an AND mask behind, as icon and cursor images store them.
std::vector<std::uint8_t> makeDib(int width, int height, int bits, const std::function<bool(int, int)>* mask,
                                  const std::function<Rgba(int, int)>& direct) {
  Dib d;
  d.u32(40), d.u32(static_cast<std::uint32_t>(width)), d.u32(static_cast<std::uint32_t>(mask ? 2 * height : height));
  d.u16(1), d.u16(static_cast<unsigned>(bits)), d.u32(0), d.u32(0), d.u32(0), d.u32(0);
  d.u32(bits <= 8 ? (1u << bits) : 0), d.u32(0);
  if (bits <= 8)
    for (int i = 0; i < (1 << bits); ++i) {
      const Rgba c = paletteEntry(bits, i);
      d.u8(c.b), d.u8(c.g), d.u8(c.r), d.u8(0);
    }
  const int stride = (width * bits + 31) / 32 * 4;
  for (int y = height - 1; y >= 0; --y) {
    std::vector<std::uint8_t> row(static_cast<std::size_t>(stride), 0);
    for (int x = 0; x < width; ++x) {
      if (bits <= 8) {
        const int bit = x * bits;
        row[static_cast<std::size_t>(bit / 8)] |=
            static_cast<std::uint8_t>(indexAt(bits, x, y) << (8 - bits - bit % 8));
      } else {
        const Rgba c = direct(x, y);
        const std::size_t at = static_cast<std::size_t>(x * bits / 8);
        row[at] = c.b, row[at + 1] = c.g, row[at + 2] = c.r;
        if (bits == 32) row[at + 3] = c.a;
      }
    }
    d.bytes.insert(d.bytes.end(), row.begin(), row.end());
  }
  if (mask) {
    const int maskStride = (width + 31) / 32 * 4;
    for (int y = height - 1; y >= 0; --y) {
      std::vector<std::uint8_t> row(static_cast<std::size_t>(maskStride), 0);
      for (int x = 0; x < width; ++x)
        if ((*mask)(x, y)) row[static_cast<std::size_t>(x / 8)] |= static_cast<std::uint8_t>(0x80 >> (x % 8));
      d.bytes.insert(d.bytes.end(), row.begin(), row.end());
    }
  }
  return d.bytes;
}

Rgba directColour(int x, int y) {
  return {static_cast<std::uint8_t>(x * 20 + 1), static_cast<std::uint8_t>(y * 30 + 2), 77, 0};
}

}  // namespace

TEST(ExtractCommand, WritesEveryImageOfTheTestModulesPixelForPixel) {
  const struct {
    const char* kind;
    std::string module;
  } modules[] = {{"ELF module", QN_TEST_MODULE}, {"PE image", QN_TEST_PE}, {".res file", QN_TEST_RES}};
  for (const auto& module : modules) {
    SCOPED_TRACE(module.kind);
    ScratchDirectory scratch;
    const std::string directory = scratch.path().string() + "/images";
    const ProgramOutcome run = extract(module.module, directory);
    ASSERT_EQ(run.status, 0) << run.output;
    const auto rows = testModuleImages();
    for (const auto& row : rows) {
      EXPECT_NE(run.output.find(std::string("  wrote ") + directory + "/" + row.file + " ("), std::string::npos)
          << row.file << " missing in:\n" << run.output;
      expectPicture(directory, row);
    }
    EXPECT_NE(run.output.find("  skipped ANICURSORS_301_0409: not an animated cursor\n"), std::string::npos)
        << run.output;
    EXPECT_NE(run.output.find("  " + std::to_string(rows.size()) + " images written to " + directory + "\n"),
              std::string::npos)
        << run.output;
  }
}

TEST(ExtractCommand, ReadsEveryDepthWithAndWithoutMasksAndEachLanguage) {
  ScratchDirectory scratch;
  const std::function<bool(int, int)> leftColumns = [](int x, int) { return x < 4; };
  const std::function<bool(int, int)> topRows = [](int, int y) { return y < 3; };
  const auto indexed = [](int bits) { return [bits](int x, int y) { return paletteEntry(bits, indexAt(bits, x, y)); }; };
  const auto masked = [](std::function<Rgba(int, int)> colour, std::function<bool(int, int)> mask) {
    return [colour, mask](int x, int y) { return mask(x, y) ? Rgba{0, 0, 0, 0} : colour(x, y); };
  };
  const auto opaque = [](int x, int y) {
    Rgba c = directColour(x, y);
    c.a = 255;
    return c;
  };

  ResWriter res;
  res.entry(2, 10, 0x0409, makeDib(9, 3, 1, nullptr, directColour));  // odd width: padded rows
  res.entry(2, 11, 0x0409, makeDib(5, 2, 4, nullptr, directColour));
  res.entry(2, 12, 0x0409, makeDib(3, 3, 8, nullptr, directColour));
  res.entry(2, 13, 0x0409, makeDib(3, 2, 24, nullptr, directColour));
  res.entry(2, 14, 0x0409, makeDib(2, 2, 32, nullptr, directColour));  // alpha all 0: opaque
  // One name, two languages, two pictures.
  res.entry(2, 20, 0x0407, makeDib(2, 1, 24, nullptr, [](int, int) { return Rgba{1, 2, 3, 0}; }));
  res.entry(2, 20, 0x0409, makeDib(2, 1, 24, nullptr, [](int, int) { return Rgba{4, 5, 6, 0}; }));
  res.entry(3, 30, 0x0409, makeDib(32, 32, 1, &leftColumns, directColour));
  res.entry(3, 31, 0x0409, makeDib(16, 16, 4, &topRows, directColour));
  res.entry(3, 32, 0x0409, makeDib(16, 16, 24, &leftColumns, directColour));
  std::vector<std::uint8_t> cursor = {7, 0, 9, 0};  // the hot spot first
  const auto cursorBits = makeDib(32, 32, 1, &topRows, directColour);
  cursor.insert(cursor.end(), cursorBits.begin(), cursorBits.end());
  res.entry(1, 40, 0x0409, cursor);
  const std::string module = scratch.path().string() + "/depths.res";
  {
    std::FILE* file = std::fopen(module.c_str(), "wb");
    ASSERT_NE(file, nullptr);
    std::fwrite(res.bytes.data(), 1, res.bytes.size(), file);
    std::fclose(file);
  }

  const std::string directory = scratch.path().string() + "/out";
  const ProgramOutcome run = extract(module, directory);
  ASSERT_EQ(run.status, 0) << run.output;
  const Expected rows[] = {
      {"bitmap_10_0409.png", 9, 3, indexed(1)},
      {"bitmap_11_0409.png", 5, 2, indexed(4)},
      {"bitmap_12_0409.png", 3, 3, indexed(8)},
      {"bitmap_13_0409.png", 3, 2, opaque},
      {"bitmap_14_0409.png", 2, 2, opaque},
      {"bitmap_20_0407.png", 2, 1, [](int, int) { return Rgba{1, 2, 3, 255}; }},
      {"bitmap_20_0409.png", 2, 1, [](int, int) { return Rgba{4, 5, 6, 255}; }},
      {"icon_30_0409.png", 32, 32, masked(indexed(1), leftColumns)},
      {"icon_31_0409.png", 16, 16, masked(indexed(4), topRows)},
      {"icon_32_0409.png", 16, 16, masked(opaque, leftColumns)},
      {"cursor_40_0409.png", 32, 32, masked(indexed(1), topRows), 7, 9},
  };
  for (const auto& row : rows) expectPicture(directory, row);
  EXPECT_NE(run.output.find("  11 images written to " + directory + "\n"), std::string::npos) << run.output;
}

TEST(ExtractCommand, ReportsWhatItCannotDo) {
  ScratchDirectory scratch;
  // A directory below a missing one is not made: the command says so.
  ProgramOutcome run = extract(QN_TEST_RES, scratch.path().string() + "/missing/out");
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(run.output.find("qnlith resources: cannot make " + scratch.path().string() + "/missing/out: "), std::string::npos)
      << run.output;
  // A module that is none.
  run = extract(scratch.path().string() + "/nothing.dll", scratch.path().string() + "/out");
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(run.output.find("qnlith resources: cannot read the resources of "), std::string::npos) << run.output;
  // Usage.
  run = runProgram(std::string(QNLITH_TOOL) + " resources '" + QN_TEST_RES + "' --extract 2>&1");
  EXPECT_EQ(run.status, 2);
  EXPECT_NE(run.output.find("resources <module> --extract <dir>"), std::string::npos) << run.output;
}

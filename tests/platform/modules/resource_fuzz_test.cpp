// Malformed resource data fails cleanly and never reads outside its bytes:
// the readers see mutated copies of real files in buffers of exactly their
// size, so that the sanitizer build catches any read past the end.
#include <gtest/gtest.h>
#include <qnlith/win32.h>

#include <cstring>
#include <functional>
#include <memory>
#include <random>

#include "../../../platform/modules/elf_reader.h"
#include "../../../platform/modules/image_codec.h"
#include "../../../platform/modules/pe_reader.h"
#include "../../../platform/modules/res_reader.h"
#include "resources/test_modules.h"

using namespace testmodules;

namespace {

using Reader = std::function<bool(qn::Bytes)>;

// Touches every byte a reader handed out, so that a view reaching outside
// the data shows up under the sanitizer.
std::size_t touch(const qn::ResourceDirectory& directory) {
  std::size_t sum = 0;
  for (const auto& entry : directory.entries())
    for (std::size_t i = 0; i < entry.data.size(); ++i) sum += entry.data.data()[i];
  return sum;
}

bool readRes(qn::Bytes data) {
  qn::ResourceDirectory directory;
  const bool ok = qn::readResFile(data, directory);
  touch(directory);
  return ok;
}

bool readPe(qn::Bytes data) {
  qn::ResourceDirectory directory;
  const bool ok = qn::readPeResources(data, directory) != qn::PeResult::Malformed;
  touch(directory);
  return ok;
}

bool readElf(qn::Bytes data) {
  qn::ResourceDirectory directory;
  const bool ok = qn::readElfFileResources(data, directory) != qn::ElfResult::Malformed;
  touch(directory);
  return ok;
}

bool readIcon(qn::Bytes data) {
  qn::ImageFrame frame;
  bool cursor;
  return qn::decodeIconFile(data, 32, 32, false, cursor, frame);
}

bool readAnimation(qn::Bytes data) {
  qn::DecodedImage image;
  return qn::decodeAnimatedCursor(data, 32, 32, false, image);
}

bool readBitmap(qn::Bytes data) {
  qn::ImageFrame frame;
  return qn::decodeBitmapFile(data, frame);
}

// Mutations: a flipped byte, a field set to an extreme, a cut, and runs of
// those. Returns how many of the mutants the reader still accepted.
int fuzz(const std::vector<std::uint8_t>& original, const Reader& read, int rounds, unsigned seed) {
  std::mt19937 random(seed);
  int accepted = 0;
  for (int round = 0; round < rounds; ++round) {
    std::vector<std::uint8_t> bytes = original;
    const int edits = 1 + static_cast<int>(random() % 4);
    for (int e = 0; e < edits && !bytes.empty(); ++e) {
      const std::size_t at = random() % bytes.size();
      switch (random() % 4) {
        case 0: bytes[at] ^= static_cast<std::uint8_t>(1u << (random() % 8)); break;
        case 1: bytes[at] = static_cast<std::uint8_t>(random()); break;
        case 2: {
          static const std::uint32_t extremes[] = {0, 0xFFFFFFFFu, 0x80000000u, 0x7FFFFFFFu, 0xFFFF, 1, 0x10000};
          const std::uint32_t v = extremes[random() % 7];
          for (std::size_t i = 0; i < 4 && at + i < bytes.size(); ++i) bytes[at + i] = static_cast<std::uint8_t>(v >> (8 * i));
          break;
        }
        default: bytes.resize(at); break;
      }
    }
    // An exact-size heap copy: one byte further is outside the allocation.
    std::unique_ptr<std::uint8_t[]> exact(new std::uint8_t[bytes.size() + (bytes.empty() ? 1 : 0)]);
    if (!bytes.empty()) std::memcpy(exact.get(), bytes.data(), bytes.size());
    if (read(qn::Bytes(exact.get(), bytes.size()))) ++accepted;
  }
  return accepted;
}

}  // namespace

TEST(ResourceFuzz, MutatedFilesFailCleanly) {
  struct Target {
    const char* name;
    std::vector<std::uint8_t> bytes;
    Reader read;
    int rounds;
  };
  const std::string data = QN_TEST_DATA;
  const Target targets[] = {
      {"res", readFile(QN_TEST_RES), readRes, 3000},
      {"pe", readFile(QN_TEST_PE), readPe, 3000},
      {"elf", readFile(QN_TEST_MODULE), readElf, 300},
      {"ico", readFile(data + "/colors.ico"), readIcon, 3000},
      {"cur", readFile(data + "/pointer.cur"), readIcon, 2000},
      {"ani", readFile(data + "/spinner.ani"), readAnimation, 2000},
      {"bmp", readFile(data + "/picture.bmp"), readBitmap, 2000},
      {"rle", readFile(data + "/rle.bmp"), readBitmap, 2000},
  };
  for (const auto& t : targets) {
    SCOPED_TRACE(t.name);
    ASSERT_FALSE(t.bytes.empty());
    ASSERT_TRUE(t.read(qn::Bytes(t.bytes.data(), t.bytes.size()))) << "the unchanged file reads";
    const int accepted = fuzz(t.bytes, t.read, t.rounds, 20240601u);
    EXPECT_LT(accepted, t.rounds) << "some mutants must be refused";
    for (std::size_t cut : {std::size_t{0}, std::size_t{1}, std::size_t{7}, t.bytes.size() / 3})
      EXPECT_FALSE(t.read(qn::Bytes(t.bytes.data(), cut))) << "cut to " << cut;
  }
}

TEST(ResourceFuzz, BrokenFilesGiveAnErrorThroughTheApi) {
  const std::string dir = scratch();

  // A .res file cut inside its second entry.
  auto res = readFile(QN_TEST_RES);
  res.resize(100);
  writeFile(dir + "/cut.res", res);
  SetLastError(0);
  EXPECT_EQ(LoadLibraryExW(wide(dir + "/cut.res").c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE), nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_BAD_EXE_FORMAT));

  // A PE image whose first type entry points back to the root: a loop.
  auto pe = readFile(QN_TEST_PE);
  std::uint32_t peOffset;
  std::memcpy(&peOffset, pe.data() + 0x3C, 4);
  std::uint16_t sections, optional;
  std::memcpy(&sections, pe.data() + peOffset + 6, 2);
  std::memcpy(&optional, pe.data() + peOffset + 20, 2);
  std::size_t root = 0;
  for (std::uint16_t i = 0; i < sections; ++i) {
    const std::uint8_t* s = pe.data() + peOffset + 24 + optional + 40 * i;
    if (std::memcmp(s, ".rsrc", 5) == 0) std::memcpy(&root, s + 20, 4);
  }
  ASSERT_NE(root, 0u);
  const std::uint32_t loop = 0x80000000u;
  std::memcpy(pe.data() + root + 16 + 4, &loop, 4);
  writeFile(dir + "/loop.dll", pe);
  SetLastError(0);
  EXPECT_EQ(LoadLibraryExW(wide(dir + "/loop.dll").c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE), nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_BAD_EXE_FORMAT));
  // The same with an offset outside the section.
  const std::uint32_t outside = 0x80000000u | 0x00FFFFF0u;
  std::memcpy(pe.data() + root + 16 + 4, &outside, 4);
  writeFile(dir + "/outside.dll", pe);
  EXPECT_EQ(LoadLibraryExW(wide(dir + "/outside.dll").c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE), nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_BAD_EXE_FORMAT));

  // An icon image whose header claims 3 bits a pixel, and one cut short.
  HMODULE module = LoadLibraryExW(wide(QN_TEST_RES).c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
  ASSERT_NE(module, nullptr);
  HRSRC icon = FindResourceW(module, MAKEINTRESOURCEW(1), RT_ICON);
  ASSERT_NE(icon, nullptr);
  const auto* original = static_cast<const std::uint8_t*>(LockResource(LoadResource(module, icon)));
  std::vector<std::uint8_t> bits(original, original + SizeofResource(module, icon));
  FreeLibrary(module);
  bits[14] = 3;
  SetLastError(0);
  EXPECT_EQ(CreateIconFromResourceEx(bits.data(), static_cast<DWORD>(bits.size()), TRUE, 0x00030000, 0, 0, 0), nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_DATA));
  bits[14] = 8;
  HICON repaired = CreateIconFromResourceEx(bits.data(), static_cast<DWORD>(bits.size()), TRUE, 0x00030000, 0, 0, 0);
  EXPECT_NE(repaired, nullptr);
  DestroyIcon(repaired);
  EXPECT_EQ(CreateIconFromResourceEx(bits.data(), static_cast<DWORD>(bits.size() - 1), TRUE, 0x00030000, 0, 0, 0),
            nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_DATA));
}

// qnlith resources on a .res file made here byte by byte: every resource it
// can read is listed, and each one it cannot is named with its reason.
#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

#include "support/run_program.h"
#include "support/scratch.h"

namespace {

// A .res file: an empty entry, then entries with a header of type, name,
// flags and language, each padded to 32 bits.
class ResFile {
 public:
  ResFile() { add(0, u"", 0, u"", 0, {}); }

  // A type or name is a number when its text is empty.
  void add(std::uint16_t typeId, const std::u16string& typeText, std::uint16_t nameId,
           const std::u16string& nameText, std::uint16_t language, const std::vector<std::uint8_t>& data) {
    std::vector<std::uint8_t> header;
    field(header, typeId, typeText);
    field(header, nameId, nameText);
    while (header.size() % 4) header.push_back(0);
    put32(header, 0);                  // data version
    put16(header, 0);                  // memory flags
    put16(header, language);
    put32(header, 0);                  // version
    put32(header, 0);                  // characteristics
    put32(bytes_, static_cast<std::uint32_t>(data.size()));
    put32(bytes_, static_cast<std::uint32_t>(header.size() + 8));
    bytes_.insert(bytes_.end(), header.begin(), header.end());
    bytes_.insert(bytes_.end(), data.begin(), data.end());
    while (bytes_.size() % 4) bytes_.push_back(0);
  }

  void write(const std::string& path) const {
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(bytes_.data()),
                                                static_cast<std::streamsize>(bytes_.size()));
  }

 private:
  static void put16(std::vector<std::uint8_t>& out, std::uint16_t v) {
    out.push_back(static_cast<std::uint8_t>(v));
    out.push_back(static_cast<std::uint8_t>(v >> 8));
  }
  static void put32(std::vector<std::uint8_t>& out, std::uint32_t v) {
    put16(out, static_cast<std::uint16_t>(v));
    put16(out, static_cast<std::uint16_t>(v >> 16));
  }
  static void field(std::vector<std::uint8_t>& out, std::uint16_t id, const std::u16string& text) {
    if (text.empty()) {
      put16(out, 0xFFFF);
      put16(out, id);
      return;
    }
    for (char16_t c : text) put16(out, c);
    put16(out, 0);
  }
  std::vector<std::uint8_t> bytes_;
};

// A string block whose first string is the text.
std::vector<std::uint8_t> stringBlock(const std::u16string& text) {
  std::vector<std::uint8_t> block;
  block.push_back(static_cast<std::uint8_t>(text.size()));
  block.push_back(0);
  for (char16_t c : text) {
    block.push_back(static_cast<std::uint8_t>(c));
    block.push_back(static_cast<std::uint8_t>(c >> 8));
  }
  for (int i = 1; i < 16; ++i) block.insert(block.end(), {0, 0});
  return block;
}

}  // namespace

TEST(ResourcesCommand, ListsWhatItCanReadAndNamesWhatItCannot) {
  ScratchDirectory scratch;
  const std::string dir = scratch.path().string();
  ResFile res;
  // Bitmap 0 comes first in the directory: it must be read like any other.
  res.add(2, u"", 0, u"", 0x409, {1, 2, 3});
  res.add(2, u"", 1, u"", 0x409, {4, 5, 6, 7});
  res.add(6, u"", 1, u"", 0x409, stringBlock(u"Hello"));
  // A name held as the text "#5" can't be asked for: "#5" means the number 5.
  res.add(10, u"", 0, u"#5", 0x409, {9});
  res.add(0, u"CUSTOM", 7, u"", 0x407, {1, 2});
  res.write(dir + "/mixed.res");
  ResFile clean;
  clean.add(2, u"", 0, u"", 0x409, {1});
  clean.write(dir + "/clean.res");

  const ProgramOutcome run = runProgram(std::string(QNLITH_TOOL) + " resources " + dir + "/mixed.res 2>&1");
  EXPECT_EQ(run.status, 1) << "a resource it could not read makes the run fail";
  const std::string& out = run.output;
  const char* expected[] = {
      "  type \"CUSTOM\"\n    name 7, language 0x0407, 2 bytes\n",
      "  type 2 (RT_BITMAP)\n    name 0, language 0x0409, 3 bytes\n    name 1, language 0x0409, 4 bytes\n",
      "  type 6 (RT_STRING)\n    name 1, language 0x0409, 42 bytes\n      string 0: \"Hello\"\n",
      "qnlith resources: " ,
      "mixed.res: cannot read type 10 (RT_RCDATA), name \"#5\": ",
  };
  for (const char* part : expected) EXPECT_NE(out.find(part), std::string::npos) << part << "\n--- in ---\n" << out;
  EXPECT_EQ(out.find("no resources"), std::string::npos) << out;

  const ProgramOutcome ok = runProgram(std::string(QNLITH_TOOL) + " resources " + dir + "/clean.res 2>&1");
  EXPECT_EQ(ok.status, 0) << ok.output;
  EXPECT_NE(ok.output.find("    name 0, language 0x0409, 1 bytes\n"), std::string::npos) << ok.output;
}

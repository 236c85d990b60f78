// cTextFile: reading lines, writing bytes, and its own handle's exclusion.
#include <gtest/gtest.h>
#include <qnlith/qnlith.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/scratch.h"

namespace {

std::wstring text(const cString& s) { return std::wstring(s.c_str(), s.length()); }

struct Line {
  std::wstring text;
  bool result;
  bool operator==(const Line&) const = default;
};

void PrintTo(const Line& line, std::ostream* os) {
  *os << ::testing::PrintToString(line.text) << (line.result ? " true" : " false");
}

// Every call of nextLine until it gives false, and one call beyond.
std::vector<Line> lines(cTextFile& file) {
  std::vector<Line> out;
  cString line(L"stale");
  for (;;) {
    const bool result = file.nextLine(line);
    out.push_back(Line{text(line), result});
    if (!result) break;
  }
  const bool again = file.nextLine(line);
  out.push_back(Line{text(line), again});
  return out;
}

std::vector<Line> linesOf(const ScratchDirectory& dir, const std::string& content) {
  dir.write("lines.txt", content);
  cTextFile file;
  EXPECT_TRUE(file.read(cString(dir.wide("lines.txt").c_str())));
  return lines(file);
}

}  // namespace

TEST(cTextFile, NextLineExamples) {
  ScratchDirectory dir;
  EXPECT_EQ(linesOf(dir, "one\r\ntwo"), (std::vector<Line>{{L"one", true}, {L"two", false}, {L"", false}}));
  EXPECT_EQ(linesOf(dir, "one\r\n\r\ntwo\r\n"),
            (std::vector<Line>{{L"one", true}, {L"", true}, {L"two", true}, {L"", false}, {L"", false}}));
  EXPECT_EQ(linesOf(dir, "one\r"), (std::vector<Line>{{L"one", true}, {L"", false}, {L"", false}}));
  EXPECT_EQ(linesOf(dir, "one\n"), (std::vector<Line>{{L"one", true}, {L"", false}, {L"", false}}));
  // A lone line end inside the text: the byte behind it joins the line.
  EXPECT_EQ(linesOf(dir, "a\nb\nc"), (std::vector<Line>{{L"abc", true}, {L"", false}, {L"", false}}));
  EXPECT_EQ(linesOf(dir, "a\r\rb\r\n"), (std::vector<Line>{{L"a\rb", true}, {L"", false}, {L"", false}}));
  EXPECT_EQ(linesOf(dir, "a\n\nb"), (std::vector<Line>{{L"a", true}, {L"b", false}, {L"", false}}));

  cTextFile unread;
  cString line(L"stale");
  EXPECT_FALSE(unread.nextLine(line));
  EXPECT_TRUE(line.isEmpty());
}

TEST(cTextFile, BytesBecomeCharactersBySignExtension) {
  ScratchDirectory dir;
  const auto got = linesOf(dir, "caf\xE9\r\n");
  ASSERT_FALSE(got.empty());
  EXPECT_EQ(got[0].text, (std::wstring{L'c', L'a', L'f', static_cast<wchar_t>(0xFFE9)}));

  // The byte order mark is no mark here: its bytes are characters.
  const auto marked = linesOf(dir, std::string("\xFF\xFE\0\0x", 5));
  ASSERT_FALSE(marked.empty());
  EXPECT_EQ(marked[0].text, (std::wstring{static_cast<wchar_t>(0xFFFF), static_cast<wchar_t>(0xFFFE), 0, 0, L'x'}));
}

TEST(cTextFile, ReadFailuresAndEmptyFiles) {
  ScratchDirectory dir;
  dir.write("three.txt", "abc");
  cTextFile file;
  ASSERT_TRUE(file.read(cString(dir.wide("three.txt").c_str())));
  EXPECT_EQ(file.size(), 3u);
  EXPECT_STREQ(file.c_str(), "abc");

  cTextFile other;
  EXPECT_FALSE(other.read(cString(dir.wide("missing.txt").c_str())));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
  EXPECT_EQ(other.size(), 0u);
  EXPECT_FALSE(other.read(cString(dir.wide("three.txt").c_str()))) << "the first object's handle shares nothing";
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
  EXPECT_FALSE(file.read(cString(dir.wide("three.txt").c_str()))) << "not even with the object itself";
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
  EXPECT_EQ(file.size(), 3u) << "a failed open changes neither text nor size";
  EXPECT_STREQ(file.c_str(), "abc");

  dir.write("empty.txt", "");
  cTextFile empty;
  EXPECT_TRUE(empty.read(cString(dir.wide("empty.txt").c_str())));
  EXPECT_EQ(empty.size(), 0u);
  EXPECT_STREQ(empty.c_str(), "");
  cString line(L"stale");
  EXPECT_FALSE(empty.nextLine(line));
  EXPECT_TRUE(line.isEmpty());
}

TEST(cTextFile, ASecondReadGoesOnFromTheOldPosition) {
  ScratchDirectory dir;
  dir.write("first.txt", "12345\r\n");
  dir.write("second.txt", "abcdefghij\r\n");
  cTextFile file;
  ASSERT_TRUE(file.read(cString(dir.wide("first.txt").c_str())));
  cString line;
  EXPECT_TRUE(file.nextLine(line));
  EXPECT_EQ(text(line), L"12345");
  ASSERT_TRUE(file.read(cString(dir.wide("second.txt").c_str())));
  EXPECT_TRUE(file.nextLine(line));
  EXPECT_EQ(text(line), L"hij") << "the position stayed at 7";
}

TEST(cTextFile, WriteGivesTheBytesOfTheText) {
  ScratchDirectory dir;
  {
    cTextFile plain;
    EXPECT_TRUE(plain.write(cString(dir.wide("plain.txt").c_str()), L"one\r\ntwo"));
    EXPECT_STREQ(plain.c_str(), "one\r\ntwo") << "the text field holds what was written";
    EXPECT_EQ(plain.size(), 0u) << "the size field keeps its value";
    EXPECT_FALSE(plain.read(cString(dir.wide("plain.txt").c_str()))) << "its own handle is still open";
  }
  EXPECT_EQ(dir.read("plain.txt"), "one\r\ntwo");
  {
    cTextFile marked(true);
    EXPECT_TRUE(marked.write(cString(dir.wide("marked.txt").c_str()), L"one"));
  }
  EXPECT_EQ(dir.read("marked.txt"), std::string("\xFF\xFE\0\0one", 7));

  dir.write("long.txt", "0123456789");
  {
    cTextFile over;
    EXPECT_TRUE(over.write(cString(dir.wide("long.txt").c_str()), L"abc"));
  }
  EXPECT_EQ(dir.read("long.txt"), "abc3456789") << "the file isn't cut";

  cTextFile blocked;
  cTextFile holder;
  ASSERT_TRUE(holder.read(cString(dir.wide("long.txt").c_str())));
  EXPECT_FALSE(blocked.write(cString(dir.wide("long.txt").c_str()), L"zzz"));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
  EXPECT_EQ(dir.read("long.txt"), "abc3456789");
}

TEST(cTextFile, WriteGivesTheWholeNarrowForm) {
  ScratchDirectory dir;
  struct Row {
    std::wstring text;
    std::string bytes;
  };
  const Row rows[] = {
      {L"na\u00EFve caf\u00E9 \U0001F600 end\n", "na\xC3\xAFve caf\xC3\xA9 \xF0\x9F\x98\x80 end\n"},
      {L"\u4E2D\u6587", "\xE4\xB8\xAD\xE6\x96\x87"},
      {std::wstring(1000, L'\u00E9'), [] {
         std::string bytes;
         for (int i = 0; i < 1000; ++i) bytes += "\xC3\xA9";
         return bytes;
       }()},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(::testing::PrintToString(row.text));
    const cString text(row.text.data(), static_cast<DWORD>(row.text.size()));
    {
      cTextFile file;
      ASSERT_TRUE(file.write(cString(dir.wide("narrow.txt").c_str()), text));
    }
    EXPECT_EQ(dir.read("narrow.txt"), row.bytes);
    std::filesystem::remove(dir.path("narrow.txt"));
  }
}

TEST(cTextFile, CopiesHaveTheirOwnTextAndNoHandle) {
  ScratchDirectory dir;
  dir.write("a.txt", "one\r\ntwo\r\n");
  cTextFile original;
  ASSERT_TRUE(original.read(cString(dir.wide("a.txt").c_str())));
  cString line;
  EXPECT_TRUE(original.nextLine(line));
  {
    cTextFile copy(original);
    EXPECT_EQ(copy.size(), original.size());
    EXPECT_NE(copy.c_str(), original.c_str());
    EXPECT_TRUE(copy.nextLine(line));
    EXPECT_EQ(text(line), L"two") << "the copy goes on from the same position";
    cTextFile assigned;
    assigned = copy;
    EXPECT_STREQ(assigned.c_str(), "one\r\ntwo\r\n");
  }
  cTextFile other;
  EXPECT_FALSE(other.read(cString(dir.wide("a.txt").c_str()))) << "the original still holds the file";
  EXPECT_TRUE(original.nextLine(line));
  EXPECT_EQ(text(line), L"two");
}

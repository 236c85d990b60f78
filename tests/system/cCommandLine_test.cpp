// The classification table of cCommandLine, and records reused across calls.
#include <gtest/gtest.h>
#include <qnlith/qnlith.h>

#include <string>

#include "support/scratch.h"

namespace {

struct Expected {
  const wchar_t* element;
  eArgumentType type;
  wchar_t switchChar;
  int asInt;
  int asHex;
  const wchar_t* asString;
};

}  // namespace

TEST(cCommandLine, ClassifiesEachElementByTheTable) {
  const Expected table[] = {
      {L"word", eArgumentString, L' ', 0, 0, L"word"},
      {L"-v", eArgumentSwitch, L'v', 0, 0, L""},
      {L"+v", eArgumentSwitch, L'v', 0, 0, L""},
      {L"/v", eArgumentSwitch, L'v', 0, 0, L""},
      {L"/V", eArgumentSwitch, L'v', 0, 0, L""},
      {L"-verbose", eArgumentSwitch, L'v', 0, 0, L""},
      {L"/n:12", eArgumentNumber, L'n', 12, 18, L""},
      {L"/n:ff", eArgumentNumber, L'n', 0, 255, L""},
      {L"/n:abc", eArgumentNumber, L'n', 0, 2748, L""},
      {L"/n:0x10", eArgumentNumber, L'n', 0, 16, L""},
      {L"/f:name", eArgumentString, L'f', 0, 0, L"name"},
      {L"/f:two words", eArgumentString, L'f', 0, 0, L"two"},
      {L"/usr/bin", eArgumentSwitch, L'u', 0, 0, L""},
      {L"-5", eArgumentSwitch, L'5', 0, 0, L""},
      {L"", eArgumentString, L' ', 0, 0, L""},
  };
  for (const auto& row : table) {
    const wchar_t* vector[] = {L"program", row.element};
    cCommandLine line(2, vector);
    cArgument argument;
    ASSERT_TRUE(line.getNextArgument(argument)) << row.element;
    EXPECT_EQ(argument.type(), row.type) << row.element;
    EXPECT_EQ(argument.switchChar(), row.switchChar) << row.element;
    EXPECT_EQ(argument.asInt(), row.asInt) << row.element;
    EXPECT_EQ(argument.asHex(), row.asHex) << row.element;
    EXPECT_EQ(std::wstring(argument.asString().c_str()), row.asString) << row.element;
    EXPECT_EQ(argument.index(), 1);
  }
}

TEST(cCommandLine, EdgesOfValuesAndOfTheList) {
  const std::wstring longWord = L"/f:" + std::wstring(255, L'w');
  const std::wstring fits = L"/f:" + std::wstring(254, L'w');
  const wchar_t* vector[] = {L"program", L"/f:", L"-", fits.c_str(), longWord.c_str(), L"/f:  "};
  cCommandLine line(6, vector);
  cArgument argument;
  ASSERT_TRUE(line.getNextArgument(argument));
  EXPECT_EQ(argument.type(), eArgumentNone);
  EXPECT_EQ(argument.switchChar(), L'f');
  EXPECT_TRUE(argument.asString().isEmpty());

  ASSERT_TRUE(line.getNextArgument(argument));
  EXPECT_EQ(argument.type(), eArgumentSwitch);
  EXPECT_EQ(argument.switchChar(), L'\0');

  ASSERT_TRUE(line.getNextArgument(argument));
  EXPECT_EQ(argument.type(), eArgumentString);
  EXPECT_EQ(argument.asString().length(), 254u);

  ASSERT_TRUE(line.getNextArgument(argument));
  EXPECT_EQ(argument.type(), eArgumentNone) << "255 characters do not fit";
  EXPECT_TRUE(argument.asString().isEmpty());

  ASSERT_TRUE(line.getNextArgument(argument));
  EXPECT_EQ(argument.type(), eArgumentNone);

  EXPECT_FALSE(line.getNextArgument(argument));
  EXPECT_EQ(argument.index(), 6);
  EXPECT_EQ(argument.type(), eArgumentNone);

  cCommandLine empty(1, vector);
  EXPECT_FALSE(empty.getNextArgument(argument));
  cCommandLine none(0, vector);
  EXPECT_FALSE(none.getNextArgument(argument));
}

TEST(cCommandLine, AReusedRecordKeepsWhatLaterCallsDoNotSet) {
  const wchar_t* vector[] = {L"program", L"/t:text", L"/x", L"plain", L"/n:20"};
  cCommandLine line(5, vector);
  cArgument argument;
  ASSERT_TRUE(line.getNextArgument(argument));
  ASSERT_TRUE(line.getNextArgument(argument));
  EXPECT_EQ(argument.type(), eArgumentSwitch);
  EXPECT_EQ(argument.asString(), L"text") << "a switch keeps the earlier text";
  ASSERT_TRUE(line.getNextArgument(argument));
  EXPECT_EQ(argument.type(), eArgumentString);
  EXPECT_EQ(argument.switchChar(), L'x') << "a word keeps the earlier letter";
  ASSERT_TRUE(line.getNextArgument(argument));
  EXPECT_EQ(argument.type(), eArgumentNumber);
  EXPECT_EQ(argument.asInt(), 20);
  EXPECT_EQ(argument.asHex(), 32);
  EXPECT_EQ(argument.asString(), L"plain") << "a number keeps the earlier word";
  EXPECT_EQ(argument.index(), 4);

  // A copy of the walker goes on from the same place.
  cCommandLine again(5, vector);
  again = line;
  EXPECT_FALSE(again.getNextArgument(argument));
}

TEST(cProcess, StartsAScriptAndRefusesAMissingFile) {
  ScratchDirectory dir;
  const std::string marker = dir.path("marker").string();
  dir.script("start me.sh", "printf '%s|' \"$@\" > '" + marker + "'\necho END >> '" + marker + "'\n");
  EXPECT_TRUE(cProcess::start(cString(dir.wide("start me.sh").c_str()), cString(L"one \"two three\" ;rm -rf x")));
  EXPECT_EQ(dir.await("marker", "END\n"), "one|two three|;rm|-rf|x|END\n");

  SetLastError(0);
  EXPECT_FALSE(cProcess::start(cString(L"/no/such/file.exe"), cString()));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
}

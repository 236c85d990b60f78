// Numbered messages from the message file, and the words for system errors.
#include <gtest/gtest.h>
#include <qnlith/qnlith.h>

#include <string>

namespace {

std::wstring wide(const char* text) { return std::wstring(text, text + std::char_traits<char>::length(text)); }

std::wstring failureOf(DWORD number) {
  try {
    messageText(number);
  } catch (const cException& e) {
    return e.text;
  }
  return L"(none)";
}

}  // namespace

// Each test runs in a process of its own, so the stored name starts unset.
TEST(MessageFile, UnsetNameLoadsNothingAndTheDefaultIsStoredOnRequest) {
  EXPECT_TRUE(messageText(1).isEmpty()) << "no name is stored yet, so nothing loads";
  setMessageFile(nullptr);
  EXPECT_TRUE(messageText(1).isEmpty()) << "a null name stores no default";
  const wchar_t* first = messageFile();
  EXPECT_STREQ(first, L"QNLITH.MSG");
  EXPECT_EQ(messageFile(), first);
}

TEST(MessageFile, SetNameIsAPrivateCopy) {
  std::wstring name = wide(QN_TEST_MESSAGE_FILE);
  setMessageFile(name.c_str());
  const wchar_t* stored = messageFile();
  EXPECT_NE(stored, name.c_str());
  name.assign(name.size(), L'z');
  EXPECT_EQ(std::wstring(messageFile()), wide(QN_TEST_MESSAGE_FILE));
  setMessageFile(nullptr);
  EXPECT_EQ(std::wstring(messageFile()), wide(QN_TEST_MESSAGE_FILE));
}

TEST(MessageFile, MessagesKeepTheirInsertsAndLineEnds) {
  setMessageFile(wide(QN_TEST_MESSAGE_FILE).c_str());
  EXPECT_EQ(messageText(1, L"C:"), L"Disk %1 is full.\r\n");
  EXPECT_EQ(messageText(2), L"Two lines,\r\n kept as they are.\r\n") << "escapes still apply";
  EXPECT_EQ(failureOf(77), L"cPlatform ::  messageText - Message not Found");
  EXPECT_EQ(failureOf(3), L"cPlatform ::  messageText - Message not Found") << "over 1023 characters";
  setMessageFile(L"/no/such/QNLITH.MSG");
  EXPECT_TRUE(messageText(1).isEmpty());
}

TEST(SystemErrorText, WordsTheCodeAndKeepsTheSystemsEnding) {
  const cString known = systemErrorMessageText(2);
  EXPECT_EQ(known.find(L"Error was: (2) "), 0);
  EXPECT_GT(known.length(), 15u);
  EXPECT_EQ(known[static_cast<int>(known.length()) - 1], L'\n');
  EXPECT_EQ(findErrorMessageText(2), known);
  EXPECT_EQ(systemErrorMessageText(0xDEAD0000u), L"Error was: (3735879680) ");
  EXPECT_EQ(findErrorMessageText(0xDEAD0000u), systemErrorMessageText(0xDEAD0000u));
}

// The exception vocabulary: bounded text, copies, narrow what(), the
// framework-side exception and the bare-text failure.
#include <gtest/gtest.h>
#include <qnlith/qnlith.h>

#include <memory>
#include <string>

#include "../../failure/bareText.h"

TEST(Exception, TextIsBoundedTo783Characters) {
  const std::wstring fits(783, L'x');
  EXPECT_EQ(std::wstring(cException(fits.c_str()).text), fits);
  const std::wstring longer = fits + L"yz";
  EXPECT_EQ(std::wstring(cException(longer.c_str()).text), fits);
  EXPECT_EQ(std::wstring(cException(L"").text), L"");
}

TEST(Exception, CopyKeepsTextAndWhatIsNarrowAndFresh) {
  auto source = std::make_unique<cException>(L"cFile :: read (0x5) \u00FC");
  const cException copy(*source);
  source.reset();
  EXPECT_STREQ(copy.message(), L"cFile :: read (0x5) \u00FC");

  try {
    throw copy;
  } catch (const std::exception& e) {
    const char* first = e.what();
    const char* second = e.what();
    EXPECT_NE(first, second) << "each call allocates anew";
    EXPECT_STREQ(first, "cFile :: read (0x5) \xC3\xBC");
    delete[] first;
    delete[] second;
  }
}

TEST(Exception, FrameworkExceptionCopiesItsText) {
  auto source = std::make_unique<cMfcException>(L"framework failure");
  EXPECT_TRUE(source->m_bAutoDelete);
  const cMfcException copy(*source);
  source.reset();
  EXPECT_FALSE(copy.m_bAutoDelete);

  cMfcException reader(copy);
  wchar_t buffer[64] = L"untouched";
  EXPECT_EQ(reader.GetErrorMessage(buffer, 1), 1);
  EXPECT_STREQ(buffer, L"");
  EXPECT_EQ(reader.GetErrorMessage(buffer, 64), 1);
  EXPECT_STREQ(buffer, L"framework failure");
  EXPECT_EQ(reader.GetErrorMessage(buffer, 10), 1);
  EXPECT_STREQ(buffer, L"framework");

  cMfcException empty{cString()};
  EXPECT_EQ(empty.GetErrorMessage(buffer, 64), 1);
  EXPECT_STREQ(buffer, L"");

  empty = reader;
  EXPECT_EQ(empty.text, L"framework failure");
}

TEST(Exception, BareTextPassesHandlersOfExceptionClasses) {
  auto throwIt = [] { throwBareText(L"Index < size()"); };
  bool caughtAsStdException = false;
  const wchar_t* caughtText = nullptr;
  try {
    try {
      throwIt();
    } catch (const std::exception&) {
      caughtAsStdException = true;
    }
  } catch (wchar_t* text) {
    caughtText = text;
  }
  EXPECT_FALSE(caughtAsStdException);
  EXPECT_STREQ(caughtText, L"Index < size()");

  void* caughtAsVoid = nullptr;
  try {
    throwIt();
  } catch (void* p) {
    caughtAsVoid = p;
  }
  EXPECT_NE(caughtAsVoid, nullptr);
}

#include <gtest/gtest.h>
#include <qnlith/qnlith.h>

#include <string>

#include "support/box_recorder.h"
#include "support/error_info.h"
#include "support/program_path.h"

TEST(MessageBoxes, TitlesAndCaptions) {
  BoxRecorder boxes;
  // No framework thread object: the module path.
  cMessageBox plain;
  EXPECT_EQ(std::wstring(plain.title.c_str()), programPath());
  plain.setTitle(L"Set title");
  EXPECT_EQ(plain.show(L"Text", MB_OK, 0), cMessageBox::Ok);
  EXPECT_EQ(boxes.last().caption, L"failure_tests") << "without a parent the framework chooses the caption";
  EXPECT_EQ(boxes.last().text, L"Text");

  cMessageBox given(L"", nullptr);
  EXPECT_TRUE(given.title.isEmpty()) << "the title as given, and nothing looked for";

  CWinApp app(L"Application name");
  CWnd main;
  ASSERT_TRUE(main.CreateEx(0, nullptr, L"Main window caption", 0, 0, 0, 1, 1, nullptr, nullptr));
  app.m_pMainWnd = &main;
  cMessageBox withMain(&main);
  EXPECT_EQ(std::wstring(withMain.title.c_str()), L"Main window caption");
  withMain.setTitle(L"Own title");
  withMain.show(L"Owned text", MB_YESNO, 7);
  EXPECT_EQ(boxes.last().caption, L"Own title") << "with a parent the box shows the title";
  EXPECT_EQ(boxes.last().style, MB_YESNO);

  // An empty title keeps the default: the main window's caption.
  cException failure(L"It failed");
  EXPECT_FALSE(showExceptionMessageBox(failure, &main, cString(), false));
  EXPECT_EQ(boxes.last().text, L"It failed");
  EXPECT_EQ(boxes.last().caption, L"Main window caption");
  EXPECT_EQ(boxes.last().style, 0x10010u);
  EXPECT_FALSE(showExceptionMessageBox(failure, &main, cString(L"Given"), false));
  EXPECT_EQ(boxes.last().caption, L"Given");

  main.DestroyWindow();
  cMessageBox deadMain(&main);
  EXPECT_EQ(std::wstring(deadMain.title.c_str()), programPath()) << "a main window that is gone counts as none";
  app.m_pMainWnd = nullptr;
}

TEST(MessageBoxes, RetryChoice) {
  BoxRecorder boxes;
  cException failure(L"Retry me");
  boxes.answerWith(IDRETRY);
  EXPECT_TRUE(showExceptionMessageBox(failure, nullptr, cString(L"Title"), true));
  EXPECT_EQ(boxes.last().style, 0x10015u);
  EXPECT_EQ(boxes.last().text, L"Retry me");
  boxes.answerWith(IDCANCEL);
  EXPECT_FALSE(showExceptionMessageBox(failure, nullptr, cString(L"Title"), true));
  boxes.answerWith(IDOK);
  EXPECT_FALSE(showExceptionMessageBox(failure, nullptr, cString(L"Title"), false));
  EXPECT_EQ(boxes.last().style, 0x10010u);
  boxes.answerWith(0);  // a box that could not be shown
  EXPECT_FALSE(showExceptionMessageBox(failure, nullptr, cString(L"Title"), true));
  cException empty(L"");
  boxes.answerWith(IDOK);
  showExceptionMessageBox(empty, nullptr, cString(), false);
  EXPECT_EQ(boxes.last().text, L"") << "no replacement text for a cException";
}

TEST(MessageBoxes, TitlesFromTheStringTable) {
  BoxRecorder boxes;
  CWnd owner;
  ASSERT_TRUE(owner.CreateEx(0, nullptr, L"Owner caption", 0, 0, 0, 1, 1, nullptr, nullptr));
  cMessageBox titled(&owner);
  titled.setTitle(cResourceId(501));
  EXPECT_EQ(std::wstring(titled.title.c_str()), L"Title from the string table");

  cException failure(L"With a resource title");
  EXPECT_FALSE(showExceptionMessageBox(failure, &owner, cResourceId(501), false));
  EXPECT_EQ(boxes.last().caption, L"Title from the string table");
  EXPECT_EQ(boxes.last().text, L"With a resource title");
  // The id 0 stands for an empty title, which keeps the default.
  EXPECT_FALSE(showExceptionMessageBox(failure, &owner, cResourceId(0), false));
  EXPECT_EQ(boxes.last().caption, programPath());
  boxes.answerWith(IDRETRY);
  EXPECT_TRUE(showExceptionMessageBox(failure, &owner, cResourceId(501), true));
  EXPECT_EQ(boxes.last().style, 0x10015u);
}

TEST(MessageBoxes, FrameworkExceptionsAndCOMErrors) {
  BoxRecorder boxes;
  CWnd owner;
  ASSERT_TRUE(owner.CreateEx(0, nullptr, L"Owner", 0, 0, 0, 1, 1, nullptr, nullptr));
  cMfcException mfc(L"Framework failure");
  showExceptionMessageBox(mfc, &owner, cString());
  EXPECT_EQ(boxes.last().text, L"Framework failure");
  EXPECT_EQ(boxes.last().caption, L"") << "an empty title replaces the default here";
  EXPECT_EQ(boxes.last().style, 0x10010u);
  cMfcException blank(L"");
  showExceptionMessageBox(blank, &owner, cString(L"T"));
  EXPECT_EQ(boxes.last().text, L"Windows Exception text not available");
  EXPECT_EQ(boxes.last().caption, L"T");

  FixedErrorInfo info(L"The object says why");
  _com_error described(E_FAIL, &info, true);
  EXPECT_EQ(std::wstring(formatCOMException(described).c_str()), L"COM Error (80004005): The object says why");
  EXPECT_EQ(info.references, 2u) << "the reference taken for the description is let go";
  FixedErrorInfo silent(nullptr);
  _com_error undescribed(static_cast<HRESULT>(0x80040201), &silent, true);
  EXPECT_EQ(std::wstring(formatCOMException(undescribed).c_str()), L"COM Error (80040201): IDispatch error #1");
  _com_error bare(static_cast<HRESULT>(0x80040200));
  EXPECT_EQ(std::wstring(formatCOMException(bare).c_str()), L"COM Error (80040200): Unknown error 0x80040200");
  _com_error system(static_cast<HRESULT>(5));
  const std::wstring withSystemText = formatCOMException(system).c_str();
  EXPECT_EQ(withSystemText.find(L"COM Error (5): "), 0u);
  EXPECT_NE(withSystemText.back(), L'\n') << "the system's text comes without its line break";

  boxes.answerWith(IDRETRY);
  EXPECT_TRUE(showExceptionMessageBox(described, &owner, cString(L"COM"), true));
  EXPECT_EQ(boxes.last().text, L"COM Error (80004005): The object says why");
  EXPECT_EQ(boxes.last().caption, L"COM");
  EXPECT_EQ(boxes.last().style, 0x10015u);
}

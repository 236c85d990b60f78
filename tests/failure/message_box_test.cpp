#include <gtest/gtest.h>
#include <qnlith/qnlith.h>
#include <unistd.h>

#include <cstring>
#include <string>

namespace {

struct Box {
  std::wstring text, caption;
  unsigned style = 0;
};
Box box;
int answer = IDOK;

int recordBox(const wchar_t* text, const wchar_t* caption, unsigned style) {
  box = {text, caption, style};
  return answer;
}

struct Hooked {
  Hooked() { previous = qnSetMessageBoxHook(recordBox); }
  ~Hooked() { qnSetMessageBoxHook(previous); }
  QnMessageBoxHook previous;
};

std::wstring modulePath() {
  char path[4096];
  const ssize_t n = readlink("/proc/self/exe", path, sizeof path - 1);
  path[n > 0 ? n : 0] = '\0';
  return std::wstring(path, path + std::strlen(path));
}

struct Described : IErrorInfo {
  explicit Described(const wchar_t* text) : text(text) {}
  HRESULT QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
  ULONG AddRef() override { return ++references; }
  ULONG Release() override { return --references; }
  HRESULT GetGUID(GUID*) override { return E_NOTIMPL; }
  HRESULT GetSource(BSTR*) override { return E_NOTIMPL; }
  HRESULT GetDescription(BSTR* description) override {
    *description = text != nullptr ? SysAllocString(text) : nullptr;
    return S_OK;
  }
  HRESULT GetHelpFile(BSTR*) override { return E_NOTIMPL; }
  HRESULT GetHelpContext(DWORD*) override { return E_NOTIMPL; }
  const wchar_t* text;
  ULONG references = 1;
};

}  // namespace

TEST(MessageBoxes, TitlesAndCaptions) {
  Hooked hooked;
  answer = IDOK;
  // No framework thread object: the module path.
  cMessageBox plain;
  EXPECT_EQ(std::wstring(plain.title.c_str()), modulePath());
  plain.setTitle(L"Set title");
  EXPECT_EQ(plain.show(L"Text", MB_OK, 0), cMessageBox::Ok);
  EXPECT_EQ(box.caption, L"failure_tests") << "without a parent the framework chooses the caption";
  EXPECT_EQ(box.text, L"Text");

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
  EXPECT_EQ(box.caption, L"Own title") << "with a parent the box shows the title";
  EXPECT_EQ(box.style, MB_YESNO);
  cMessageBox copy(withMain);
  EXPECT_EQ(copy.parent, &main);
  EXPECT_EQ(std::wstring(copy.title.c_str()), L"Own title");

  // An empty title keeps the default: the main window's caption.
  cException failure(L"It failed");
  EXPECT_FALSE(showExceptionMessageBox(failure, &main, cString(), false));
  EXPECT_EQ(box.text, L"It failed");
  EXPECT_EQ(box.caption, L"Main window caption");
  EXPECT_EQ(box.style, 0x10010u);
  EXPECT_FALSE(showExceptionMessageBox(failure, &main, cString(L"Given"), false));
  EXPECT_EQ(box.caption, L"Given");

  main.DestroyWindow();
  cMessageBox deadMain(&main);
  EXPECT_EQ(std::wstring(deadMain.title.c_str()), modulePath()) << "a main window that is gone counts as none";
  app.m_pMainWnd = nullptr;
}

TEST(MessageBoxes, RetryChoice) {
  Hooked hooked;
  cException failure(L"Retry me");
  answer = IDRETRY;
  EXPECT_TRUE(showExceptionMessageBox(failure, nullptr, cString(L"Title"), true));
  EXPECT_EQ(box.style, 0x10015u);
  EXPECT_EQ(box.text, L"Retry me");
  answer = IDCANCEL;
  EXPECT_FALSE(showExceptionMessageBox(failure, nullptr, cString(L"Title"), true));
  answer = IDOK;
  EXPECT_FALSE(showExceptionMessageBox(failure, nullptr, cString(L"Title"), false));
  EXPECT_EQ(box.style, 0x10010u);
  answer = 0;  // a box that could not be shown
  EXPECT_FALSE(showExceptionMessageBox(failure, nullptr, cString(L"Title"), true));
  cException empty(L"");
  answer = IDOK;
  showExceptionMessageBox(empty, nullptr, cString(), false);
  EXPECT_EQ(box.text, L"") << "no replacement text for a cException";
}

TEST(MessageBoxes, TitlesFromTheStringTable) {
  Hooked hooked;
  answer = IDOK;
  CWnd owner;
  ASSERT_TRUE(owner.CreateEx(0, nullptr, L"Owner caption", 0, 0, 0, 1, 1, nullptr, nullptr));
  cMessageBox titled(&owner);
  titled.setTitle(cResourceId(501));
  EXPECT_EQ(std::wstring(titled.title.c_str()), L"Title from the string table");

  cException failure(L"With a resource title");
  EXPECT_FALSE(showExceptionMessageBox(failure, &owner, cResourceId(501), false));
  EXPECT_EQ(box.caption, L"Title from the string table");
  EXPECT_EQ(box.text, L"With a resource title");
  // The id 0 stands for an empty title, which keeps the default.
  EXPECT_FALSE(showExceptionMessageBox(failure, &owner, cResourceId(0), false));
  EXPECT_EQ(box.caption, modulePath());
  answer = IDRETRY;
  EXPECT_TRUE(showExceptionMessageBox(failure, &owner, cResourceId(501), true));
  EXPECT_EQ(box.style, 0x10015u);
}

TEST(MessageBoxes, FrameworkExceptionsAndCOMErrors) {
  Hooked hooked;
  answer = IDOK;
  CWnd owner;
  ASSERT_TRUE(owner.CreateEx(0, nullptr, L"Owner", 0, 0, 0, 1, 1, nullptr, nullptr));
  cMfcException mfc(L"Framework failure");
  showExceptionMessageBox(mfc, &owner, cString());
  EXPECT_EQ(box.text, L"Framework failure");
  EXPECT_EQ(box.caption, L"") << "an empty title replaces the default here";
  EXPECT_EQ(box.style, 0x10010u);
  cMfcException blank(L"");
  showExceptionMessageBox(blank, &owner, cString(L"T"));
  EXPECT_EQ(box.text, L"Windows Exception text not available");
  EXPECT_EQ(box.caption, L"T");

  Described info(L"The object says why");
  _com_error described(E_FAIL, &info, true);
  EXPECT_EQ(std::wstring(formatCOMException(described).c_str()), L"COM Error (80004005): The object says why");
  EXPECT_EQ(info.references, 2u) << "the reference taken for the description is let go";
  Described silent(nullptr);
  _com_error undescribed(static_cast<HRESULT>(0x80040201), &silent, true);
  EXPECT_EQ(std::wstring(formatCOMException(undescribed).c_str()), L"COM Error (80040201): IDispatch error #1");
  _com_error bare(static_cast<HRESULT>(0x80040200));
  EXPECT_EQ(std::wstring(formatCOMException(bare).c_str()), L"COM Error (80040200): Unknown error 0x80040200");
  _com_error system(static_cast<HRESULT>(5));
  const std::wstring withSystemText = formatCOMException(system).c_str();
  EXPECT_EQ(withSystemText.find(L"COM Error (5): "), 0u);
  EXPECT_NE(withSystemText.back(), L'\n') << "the system's text comes without its line break";

  answer = IDRETRY;
  EXPECT_TRUE(showExceptionMessageBox(described, &owner, cString(L"COM"), true));
  EXPECT_EQ(box.text, L"COM Error (80004005): The object says why");
  EXPECT_EQ(box.caption, L"COM");
  EXPECT_EQ(box.style, 0x10015u);
}

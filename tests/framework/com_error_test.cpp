#include <gtest/gtest.h>
#include <qnlith/framework.h>

#include "support/error_info.h"

TEST(ComError, ErrorMessageFallsBackToTheDispatchNumberOrTheCode) {
  const _com_error dispatch(static_cast<HRESULT>(0x80040201));
  EXPECT_STREQ(dispatch.ErrorMessage(), L"IDispatch error #1");
  EXPECT_EQ(dispatch.ErrorMessage(), dispatch.ErrorMessage()) << "made once and kept";
  EXPECT_EQ(dispatch.WCode(), 1);
  EXPECT_STREQ(_com_error(static_cast<HRESULT>(0x80040200)).ErrorMessage(), L"Unknown error 0x80040200");
  EXPECT_STREQ(_com_error(static_cast<HRESULT>(0x8004FFFF)).ErrorMessage(), L"IDispatch error #65023");
  EXPECT_STREQ(_com_error(static_cast<HRESULT>(0x80050000)).ErrorMessage(), L"Unknown error 0x80050000");
  EXPECT_EQ(_com_error::WCodeToHRESULT(1), static_cast<HRESULT>(0x80040201));
  EXPECT_EQ(_com_error::WCodeToHRESULT(0xFFFF), static_cast<HRESULT>(0x8004FFFF));

  // Where the system has a text, it comes without its line break.
  wchar_t* system = nullptr;
  const DWORD length = FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
                                      nullptr, 5, 0x400, reinterpret_cast<LPWSTR>(&system), 0, nullptr);
  ASSERT_GT(length, 1u);
  std::wstring expected(system);
  LocalFree(system);
  while (!expected.empty() && (expected.back() == L'\n' || expected.back() == L'\r')) expected.pop_back();
  EXPECT_EQ(std::wstring(_com_error(5).ErrorMessage()), expected);
}

TEST(ComError, HoldsItsErrorObjectByReference) {
  FixedErrorInfo info(L"Described");
  {
    _com_error error(E_FAIL, &info, true);
    EXPECT_EQ(info.references, 2u);
    IErrorInfo* taken = error.ErrorInfo();
    EXPECT_EQ(taken, &info);
    EXPECT_EQ(info.references, 3u);
    taken->Release();
    _com_error copy(error);
    EXPECT_EQ(info.references, 3u);
    _com_error other(E_POINTER);
    other = copy;
    EXPECT_EQ(info.references, 4u);
    EXPECT_EQ(other.Error(), E_FAIL);
  }
  EXPECT_EQ(info.references, 1u);
  EXPECT_EQ(_com_error(E_FAIL).ErrorInfo(), nullptr);
}

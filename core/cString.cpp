#include <qnlith/core/cString.h>
#include <qnlith/failure/cException.h>
#include <qnlith/win32/codepage.h>
#include <qnlith/win32/crtstring.h>
#include <qnlith/win32/format.h>
#include <qnlith/win32/message.h>
#include <qnlith/win32/oleauto.h>

#include <cwchar>

#include "trace.h"

const int cString::npos = -1;

cString::cString() : base() {}

cString::cString(const cString& source) : base(source) {}

cString::cString(const base& source) : base(source) {}

cString::cString(const wchar_t* source) : base(source) {}

cString::cString(const char* source) : base(source) {}

cString::cString(const wchar_t* source, DWORD count) : base() {
  if (count == 0 || source == nullptr) return;
  wchar_t* buffer = GetBuffer(static_cast<int>(count));
  wcsncpy_s(buffer, count + 1, source, count);
  // A shorter source leaves zeroes, not stale memory, up to the count.
  for (DWORD i = static_cast<DWORD>(wcslen(buffer)); i < count; ++i) buffer[i] = L'\0';
  ReleaseBuffer(static_cast<int>(count));
}

cString::cString(const char* source, DWORD count) : base() {
  if (count == 0 || source == nullptr) return;
  wchar_t* buffer = GetBuffer(static_cast<int>(count));
  // A multi-byte character yields one wide character, so the text may be
  // shorter than the count; the length is what the conversion produced.
  const int converted =
      MultiByteToWideChar(GetACP(), 0, source, static_cast<int>(count), buffer, static_cast<int>(count) + 1);
  ReleaseBuffer(converted);
}

cString::~cString() {}

cString& cString::operator=(const cString& source) {
  if (this == &source) return *this;
  base::operator=(source);
  return *this;
}

wchar_t* cString::c_str() { return const_cast<wchar_t*>(GetString()); }

const wchar_t* cString::c_str() const { return GetString(); }

char* cString::asChar() const {
  const int n = static_cast<int>(length()) + 1;
  // Room for the terminator with every character; more only where a
  // character needs several bytes, so that no text is lost.
  const int needed = WideCharToMultiByte(GetACP(), 0, c_str(), n, nullptr, 0, nullptr, nullptr);
  const int room = needed > n ? needed : n;
  char* buffer = new char[room];
  WideCharToMultiByte(GetACP(), 0, c_str(), n, buffer, room, nullptr, nullptr);
  return buffer;
}

wchar_t* cString::asWchar() const {
  const DWORD n = length() + 1;
  wchar_t* buffer = new wchar_t[n];
  wcscpy_s(buffer, n, c_str());
  return buffer;
}

wchar_t* cString::allocateSysString() const {
  wchar_t* text = SysAllocString(c_str());
  if (text == nullptr) throw cException(L"cString :: allocateSysString() failed!");
  return text;
}

DWORD cString::length() const { return static_cast<DWORD>(GetLength()); }

DWORD cString::size() const { return length() * 2; }

wchar_t cString::operator[](DWORD index) const { return (*this)[static_cast<int>(index)]; }

wchar_t cString::operator[](int index) const { return base::operator[](index); }

bool cString::isEmpty() const { return length() == 0; }

void cString::clear() { Empty(); }

DWORD cString::asUint(bool hexadecimal) const {
  const cString digits = upperCase(*this);
  DWORD value = 0;
  DWORD index = 0;
  DWORD radix = hexadecimal ? 16 : 10;
  if (digits.length() > 2 && digits[0] == L'0' && digits[1] == L'X') {
    index = 2;
    radix = 16;
  }
  for (; index < digits.length(); ++index) {
    const wchar_t c = digits[index];
    DWORD digit;
    if (c >= L'0' && c <= L'9') {
      digit = static_cast<DWORD>(c) - 48;
    } else if (radix == 16 && c >= L'A' && c <= L'F') {
      digit = static_cast<DWORD>(c) - 55;
    } else {
      cString text;
      text.format(L"cString :: asUint() - '%s' is an Invalid number at index %u", c_str(), index);
      QNLITH_TRACE(0x0800000000000040ull, text.c_str());
      throw cException(text.c_str());
    }
    value = value * radix + digit;
  }
  return value;
}

void cString::lowerCase() { MakeLower(); }

void cString::upperCase() { MakeUpper(); }

void cString::stripLeading() { TrimLeft(); }

void cString::stripTrailing() { TrimRight(); }

bool cString::stripQuotes() {
  if (isEmpty()) return false;
  bool removedLeading = false;
  if ((*this)[0] == L'"') {
    Delete(0, 1);
    removedLeading = true;
  }
  if (!isEmpty() && (*this)[static_cast<int>(length()) - 1] == L'"') Delete(static_cast<int>(length()) - 1, 1);
  return removedLeading;
}

void cString::remove(DWORD position) {
  if (position < length()) Delete(static_cast<int>(position), static_cast<int>(length() - position));
}

void cString::remove(DWORD position, DWORD count) {
  if (position < length()) Delete(static_cast<int>(position), static_cast<int>(count));
}

void cString::insert(const wchar_t* text, int position) { Insert(position, text); }

void cString::insert(wchar_t character, int position) { Insert(position, character); }

void cString::replace(const wchar_t* oldText, const wchar_t* newText) { Replace(oldText, newText); }

void cString::reverse() { MakeReverse(); }

int cString::find(const cString& text) const { return Find(text.c_str(), 0); }

int cString::find(wchar_t character, int start) const { return Find(character, start); }

int cString::find(const wchar_t* text, int start) const { return Find(text, start); }

int cString::reverseFind(wchar_t character) const { return ReverseFind(character); }

bool cString::includes(const cString& text) const { return find(text) != -1; }

cString cString::lowerCase(const cString& text) {
  cString copy(text);
  copy.lowerCase();
  return copy;
}

cString cString::upperCase(const cString& text) {
  cString copy(text);
  copy.upperCase();
  return copy;
}

cString cString::fromInt(int value, const cString& format) {
  cString text;
  text.format(format.c_str(), value);
  return text;
}

cString cString::fromUint(DWORD value, const cString& format) {
  cString text;
  text.format(format.c_str(), value);
  return text;
}

cString cString::fromBool(bool value) { return value ? cString(L"true") : cString(L"false"); }

cString cString::subString(int start) const { return cString(Mid(start)); }

cString cString::subString(int start, int count) const { return cString(Mid(start, count)); }

cString cString::vaFormat(const wchar_t* format, va_list arguments) {
  wchar_t text[4096];
  if (_vsnwprintf_s(text, 4096, 4095, format, arguments) == -1) {
    text[4095] = L'\0';
    QNLITH_TRACE(0x40, L"cString :: vaFormat string too big, truncated");
  }
  return cString(text);
}

void cString::format(const wchar_t* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  *this = vaFormat(format, arguments);
  va_end(arguments);
}

void cString::formatMessage(const wchar_t* format, va_list& arguments) {
  wchar_t* buffer = nullptr;
  const DWORD n = FormatMessageW(FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_ALLOCATE_BUFFER, format, 0, 0,
                                 reinterpret_cast<LPWSTR>(&buffer), 0, &arguments);
  if (n == 0 || buffer == nullptr) throw cException(L"cString::formatMessage() Out Of Memory");
  *this = cString(buffer);
  LocalFree(buffer);
}

void cString::formatMessage(const wchar_t* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  try {
    formatMessage(format, arguments);
  } catch (...) {
    va_end(arguments);
    throw;
  }
  va_end(arguments);
}

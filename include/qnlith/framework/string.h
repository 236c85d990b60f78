// The framework's counted wide string. Copies share one block of storage,
// counted atomically, until one of them changes (copy on write).
#pragma once

#include <cstdarg>
#include <qnlith/framework/api.h>
#include <qnlith/win32/types.h>

// Character traits of the C run time, and the string traits that bind the
// framework's allocator. Only the wide form is provided.
template <typename BaseType>
class ChTraitsCRT;
template <typename BaseType, class CharTraits = ChTraitsCRT<BaseType>>
class StrTraitMFC_DLL;
template <typename BaseType, class StringTraits>
class CStringT;

template <>
class ChTraitsCRT<wchar_t> {
 public:
  typedef wchar_t XCHAR;
  typedef char YCHAR;
};

template <>
class StrTraitMFC_DLL<wchar_t, ChTraitsCRT<wchar_t>> : public ChTraitsCRT<wchar_t> {};

namespace qn {
struct StringData;
}

template <>
class QN_FRAMEWORK_API CStringT<wchar_t, StrTraitMFC_DLL<wchar_t, ChTraitsCRT<wchar_t>>> {
 public:
  typedef wchar_t XCHAR;
  typedef wchar_t* PXSTR;
  typedef const wchar_t* PCXSTR;
  typedef char YCHAR;
  typedef const char* PCYSTR;

  CStringT() noexcept;
  CStringT(const CStringT& source) noexcept;
  CStringT(CStringT&& source) noexcept;
  CStringT(PCXSTR source);
  // Narrow text in the ANSI code page.
  CStringT(PCYSTR source);
  CStringT(PCXSTR source, int length);
  CStringT(PCYSTR source, int length);
  explicit CStringT(XCHAR ch, int repeat = 1);
  ~CStringT();

  CStringT& operator=(const CStringT& source) noexcept;
  CStringT& operator=(CStringT&& source) noexcept;
  CStringT& operator=(PCXSTR source);
  CStringT& operator=(PCYSTR source);
  CStringT& operator=(XCHAR ch);

  CStringT& operator+=(const CStringT& text);
  CStringT& operator+=(PCXSTR text);
  CStringT& operator+=(PCYSTR text);
  CStringT& operator+=(XCHAR ch);
  CStringT& operator+=(YCHAR ch);
  void Append(PCXSTR text, int length);
  void AppendChar(XCHAR ch);

  int GetLength() const noexcept;
  bool IsEmpty() const noexcept;
  void Empty() noexcept;
  PCXSTR GetString() const noexcept;
  operator PCXSTR() const noexcept;

  // The index GetLength() reads the terminator; any other index outside the
  // text throws the framework's invalid-argument exception.
  XCHAR GetAt(int index) const;
  XCHAR operator[](int index) const;
  void SetAt(int index, XCHAR ch);

  // Writable room for at least minLength characters and a terminator; the
  // text stays until ReleaseBuffer sets the new length (-1: up to the first 0).
  PXSTR GetBuffer();
  PXSTR GetBuffer(int minLength);
  PXSTR GetBufferSetLength(int length);
  void ReleaseBuffer(int newLength = -1);
  void Preallocate(int length);
  void FreeExtra();

  int Compare(PCXSTR text) const;
  int CompareNoCase(PCXSTR text) const;
  int Collate(PCXSTR text) const;

  CStringT& MakeLower();
  CStringT& MakeUpper();
  CStringT& MakeReverse();
  CStringT& TrimLeft();
  CStringT& TrimLeft(XCHAR target);
  CStringT& TrimLeft(PCXSTR targets);
  CStringT& TrimRight();
  CStringT& TrimRight(XCHAR target);
  CStringT& TrimRight(PCXSTR targets);
  CStringT& Trim();
  CStringT& Trim(XCHAR target);
  CStringT& Trim(PCXSTR targets);

  // Each returns the new length.
  int Delete(int index, int count = 1);
  int Insert(int index, XCHAR ch);
  int Insert(int index, PCXSTR text);
  // Each returns the number of replacements or removals.
  int Replace(PCXSTR oldText, PCXSTR newText);
  int Replace(XCHAR oldChar, XCHAR newChar);
  int Remove(XCHAR ch);

  int Find(XCHAR ch, int start = 0) const noexcept;
  int Find(PCXSTR text, int start = 0) const noexcept;
  int ReverseFind(XCHAR ch) const noexcept;
  int FindOneOf(PCXSTR characters) const noexcept;

  CStringT Mid(int first) const;
  CStringT Mid(int first, int count) const;
  CStringT Left(int count) const;
  CStringT Right(int count) const;
  CStringT SpanIncluding(PCXSTR characters) const;
  CStringT SpanExcluding(PCXSTR characters) const;
  CStringT Tokenize(PCXSTR tokens, int& start) const;

  // printf-style formatting in the platform's wide dialect.
  void Format(PCXSTR format, ...);
  void FormatV(PCXSTR format, va_list arguments);
  void AppendFormat(PCXSTR format, ...);
  void AppendFormatV(PCXSTR format, va_list arguments);

  // The string resource nID of the module that AfxFindStringResourceHandle
  // names, or of the given module. False, and the string empty, when there
  // is none (an empty string resource is none).
  BOOL LoadString(UINT nID);
  BOOL LoadString(HINSTANCE hInstance, UINT nID);

  // How many strings share this one's storage (for tests and diagnostics).
  int GetShareCount() const noexcept;

 private:
  void ensureUnique(int capacity);
  void assign(PCXSTR text, int length);
  PXSTR text() const noexcept;

  qn::StringData* data_;
};

typedef CStringT<wchar_t, StrTraitMFC_DLL<wchar_t, ChTraitsCRT<wchar_t>>> CStringW;
typedef CStringW CString;

QN_FRAMEWORK_API CStringW operator+(const CStringW& left, const CStringW& right);
QN_FRAMEWORK_API CStringW operator+(const CStringW& left, const wchar_t* right);
QN_FRAMEWORK_API CStringW operator+(const wchar_t* left, const CStringW& right);
QN_FRAMEWORK_API CStringW operator+(const CStringW& left, wchar_t right);
QN_FRAMEWORK_API CStringW operator+(wchar_t left, const CStringW& right);

inline bool operator==(const CStringW& a, const CStringW& b) { return a.Compare(b) == 0; }
inline bool operator==(const CStringW& a, const wchar_t* b) { return a.Compare(b) == 0; }
inline bool operator==(const wchar_t* a, const CStringW& b) { return b.Compare(a) == 0; }
inline bool operator!=(const CStringW& a, const CStringW& b) { return a.Compare(b) != 0; }
inline bool operator!=(const CStringW& a, const wchar_t* b) { return a.Compare(b) != 0; }
inline bool operator!=(const wchar_t* a, const CStringW& b) { return b.Compare(a) != 0; }
inline bool operator<(const CStringW& a, const CStringW& b) { return a.Compare(b) < 0; }
inline bool operator>(const CStringW& a, const CStringW& b) { return a.Compare(b) > 0; }
inline bool operator<=(const CStringW& a, const CStringW& b) { return a.Compare(b) <= 0; }
inline bool operator>=(const CStringW& a, const CStringW& b) { return a.Compare(b) >= 0; }

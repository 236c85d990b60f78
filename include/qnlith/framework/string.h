/// @file
/// The framework's counted wide string. Copies share one block of storage,
/// counted atomically, until one of them changes (copy on write).
#pragma once

#include <cstdarg>
#include <qnlith/framework/api.h>
#include <qnlith/win32/types.h>

/// Character traits of the C run time, and the string traits that bind the
/// framework's allocator. Only the wide form is provided.
template <typename BaseType>
class ChTraitsCRT;
template <typename BaseType, class CharTraits = ChTraitsCRT<BaseType>>
class StrTraitMFC_DLL;
template <typename BaseType, class StringTraits>
class CStringT;

template <>
/// The wide character traits: the string's own and the other character type.
class ChTraitsCRT<wchar_t> {
 public:
  /// The string's character type.
  typedef wchar_t XCHAR;
  /// The other (narrow) character type.
  typedef char YCHAR;
};

template <>
/// The string traits of the wide string over the framework's allocator.
class StrTraitMFC_DLL<wchar_t, ChTraitsCRT<wchar_t>> : public ChTraitsCRT<wchar_t> {};

namespace qn {
struct StringData;
}

template <>
/// The framework's wide string: counted, zero-terminated, copy on write.
/// Memory exhaustion throws CMemoryException; an index outside the text
/// throws CInvalidArgException.
class QN_FRAMEWORK_API CStringT<wchar_t, StrTraitMFC_DLL<wchar_t, ChTraitsCRT<wchar_t>>> {
 public:
  /// The character type, and pointers to its text.
  ///@{
  typedef wchar_t XCHAR;
  typedef wchar_t* PXSTR;
  typedef const wchar_t* PCXSTR;
  ///@}
  /// The narrow character type, and a pointer to its text.
  ///@{
  typedef char YCHAR;
  typedef const char* PCYSTR;
  ///@}

  /// An empty string.
  CStringT() noexcept;
  /// Shares the source's storage (a move takes it over).
  ///@{
  CStringT(const CStringT& source) noexcept;
  CStringT(CStringT&& source) noexcept;
  ///@}
  /// The text up to its terminator; null gives an empty string.
  CStringT(PCXSTR source);
  /// Narrow text in the ANSI code page.
  CStringT(PCYSTR source);
  /// Exactly length characters of wide text, or length bytes of narrow text.
  ///@{
  CStringT(PCXSTR source, int length);
  CStringT(PCYSTR source, int length);
  ///@}
  /// The character repeated.
  explicit CStringT(XCHAR ch, int repeat = 1);
  /// Releases this string's share of the storage.
  ~CStringT();

  /// Takes the text of a string, wide or narrow text, or one character;
  /// returns this string.
  ///@{
  CStringT& operator=(const CStringT& source) noexcept;
  CStringT& operator=(CStringT&& source) noexcept;
  CStringT& operator=(PCXSTR source);
  CStringT& operator=(PCYSTR source);
  CStringT& operator=(XCHAR ch);
  ///@}

  /// Appends a string, text or one character; returns this string.
  ///@{
  CStringT& operator+=(const CStringT& text);
  CStringT& operator+=(PCXSTR text);
  CStringT& operator+=(PCYSTR text);
  CStringT& operator+=(XCHAR ch);
  CStringT& operator+=(YCHAR ch);
  ///@}
  /// Appends length characters of the text.
  void Append(PCXSTR text, int length);
  /// Appends one character.
  void AppendChar(XCHAR ch);

  /// The number of characters, without the terminator.
  int GetLength() const noexcept;
  /// Whether the length is 0.
  bool IsEmpty() const noexcept;
  /// Makes the string empty.
  void Empty() noexcept;
  /// The zero-terminated text, owned by the string and valid until it changes.
  ///@{
  PCXSTR GetString() const noexcept;
  operator PCXSTR() const noexcept;
  ///@}

  /// The index GetLength() reads the terminator; any other index outside the
  /// text throws the framework's invalid-argument exception.
  ///@{
  XCHAR GetAt(int index) const;
  XCHAR operator[](int index) const;
  ///@}
  /// Replaces the character at an index inside the text; another index throws
  /// CInvalidArgException.
  void SetAt(int index, XCHAR ch);

  /// Writable room for at least minLength characters and a terminator; the
  /// text stays until ReleaseBuffer sets the new length (-1: up to the first 0).
  ///@{
  PXSTR GetBuffer();
  PXSTR GetBuffer(int minLength);
  ///@}
  /// Writable room for exactly length characters, the length set to it.
  PXSTR GetBufferSetLength(int length);
  /// Ends a GetBuffer: the length becomes newLength, or the text up to its first 0.
  void ReleaseBuffer(int newLength = -1);
  /// Reserves room for length characters without changing the text.
  void Preallocate(int length);
  /// Gives back room beyond the text.
  void FreeExtra();

  /// Negative, zero or positive as this string sorts before, with or after the
  /// text: by code (Compare), ignoring case (CompareNoCase), or by the locale (Collate).
  ///@{
  int Compare(PCXSTR text) const;
  int CompareNoCase(PCXSTR text) const;
  int Collate(PCXSTR text) const;
  ///@}

  /// Changes the case of every character, or reverses their order, in place;
  /// returns this string.
  ///@{
  CStringT& MakeLower();
  CStringT& MakeUpper();
  CStringT& MakeReverse();
  ///@}
  /// Removes white space, the character, or any of the characters at the start,
  /// the end, or both; returns this string.
  ///@{
  CStringT& TrimLeft();
  CStringT& TrimLeft(XCHAR target);
  CStringT& TrimLeft(PCXSTR targets);
  CStringT& TrimRight();
  CStringT& TrimRight(XCHAR target);
  CStringT& TrimRight(PCXSTR targets);
  CStringT& Trim();
  CStringT& Trim(XCHAR target);
  CStringT& Trim(PCXSTR targets);
  ///@}

  /// Each returns the new length.
  ///@{
  int Delete(int index, int count = 1);
  int Insert(int index, XCHAR ch);
  int Insert(int index, PCXSTR text);
  ///@}
  /// Each returns the number of replacements or removals.
  ///@{
  int Replace(PCXSTR oldText, PCXSTR newText);
  int Replace(XCHAR oldChar, XCHAR newChar);
  int Remove(XCHAR ch);
  ///@}

  /// The index of the first occurrence at or after start, the last occurrence,
  /// or the first of any of the characters; -1 when there is none.
  ///@{
  int Find(XCHAR ch, int start = 0) const noexcept;
  int Find(PCXSTR text, int start = 0) const noexcept;
  int ReverseFind(XCHAR ch) const noexcept;
  int FindOneOf(PCXSTR characters) const noexcept;
  ///@}

  /// A part of the text: from first (for count characters), the first or last
  /// count, or the leading run of characters in (not in) the set. Ranges are
  /// cut to the text, so the result may be empty.
  ///@{
  CStringT Mid(int first) const;
  CStringT Mid(int first, int count) const;
  CStringT Left(int count) const;
  CStringT Right(int count) const;
  CStringT SpanIncluding(PCXSTR characters) const;
  CStringT SpanExcluding(PCXSTR characters) const;
  ///@}
  /// The next token from start, separated by any of the tokens' characters;
  /// start moves past it, to -1 with an empty result at the end.
  CStringT Tokenize(PCXSTR tokens, int& start) const;

  /// printf-style formatting in the platform's wide dialect.
  /// The result replaces (Format) or extends (AppendFormat) the string; an
  /// invalid format throws CInvalidArgException.
  ///@{
  void Format(PCXSTR format, ...);
  void FormatV(PCXSTR format, va_list arguments);
  void AppendFormat(PCXSTR format, ...);
  void AppendFormatV(PCXSTR format, va_list arguments);
  ///@}

  /// The string resource nID of the module that AfxFindStringResourceHandle
  /// names, or of the given module. False, and the string empty, when there
  /// is none (an empty string resource is none).
  ///@{
  BOOL LoadString(UINT nID);
  BOOL LoadString(HINSTANCE hInstance, UINT nID);
  ///@}

  /// How many strings share this one's storage (for tests and diagnostics).
  int GetShareCount() const noexcept;

 private:
  void ensureUnique(int capacity);
  void assign(PCXSTR text, int length);
  PXSTR text() const noexcept;

  qn::StringData* data_;
};

/// The framework's wide string under its usual names.
///@{
typedef CStringT<wchar_t, StrTraitMFC_DLL<wchar_t, ChTraitsCRT<wchar_t>>> CStringW;
typedef CStringW CString;
///@}

/// A new string of the two parts.
///@{
QN_FRAMEWORK_API CStringW operator+(const CStringW& left, const CStringW& right);
QN_FRAMEWORK_API CStringW operator+(const CStringW& left, const wchar_t* right);
QN_FRAMEWORK_API CStringW operator+(const wchar_t* left, const CStringW& right);
QN_FRAMEWORK_API CStringW operator+(const CStringW& left, wchar_t right);
QN_FRAMEWORK_API CStringW operator+(wchar_t left, const CStringW& right);
///@}

/// Comparisons by character code, as Compare does.
///@{
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
///@}

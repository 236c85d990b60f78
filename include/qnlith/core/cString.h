/// @file
/// cString: the library's text value, a counted wide string whose copies
/// share storage until one of them changes.
#pragma once

#include <cstdarg>
#include <qnlith/core/api.h>
#include <qnlith/framework/string.h>

class cResourceId;

/// The library's text value: a counted wide string over the framework's
/// string class whose copies share storage until one changes; length counts
/// characters, size bytes (two a character), and failures throw cException.
class QNLITH_API cString : public CStringT<wchar_t, StrTraitMFC_DLL<wchar_t, ChTraitsCRT<wchar_t>>> {
 public:
  /// The framework string this class extends.
  typedef CStringT<wchar_t, StrTraitMFC_DLL<wchar_t, ChTraitsCRT<wchar_t>>> base;

  /// The result of a search that finds nothing.
  static const int npos;

  /// An empty string.
  cString();
  /// A copy that shares the source's storage until either changes.
  ///@{
  cString(const cString& source);
  cString(const base& source);
  ///@}
  /// The text up to its terminator, narrow text converted through the
  /// system's code page; a null pointer gives an empty string.
  ///@{
  cString(const wchar_t* source);
  cString(const char* source);
  ///@}
  /// Exactly count characters (wide) or count bytes (narrow) of the source.
  ///@{
  cString(const wchar_t* source, DWORD count);
  cString(const char* source, DWORD count);
  ///@}
  /// The string resource the id names, from the id's library; what that load
  /// throws reaches the caller.
  cString(const cResourceId& id);
  /// Releases this string's share of the storage.
  ~cString();

  /// Takes the source's text, sharing its storage; returns this string.
  cString& operator=(const cString& source);

  /// A look at the string's own storage; the non-constant form does not make
  /// the storage private first, so a write through it reaches every copy.
  /// Valid until the string changes; never freed by the caller.
  ///@{
  wchar_t* c_str();
  const wchar_t* c_str() const;
  ///@}
  /// New blocks of length() + 1 elements, the text with its terminator
  /// (narrow through the system's code page), for the caller to release with delete[].
  ///@{
  char* asChar() const;
  wchar_t* asWchar() const;
  ///@}
  /// A new automation string, the caller's to release with SysFreeString;
  /// throws cException when none can be had.
  wchar_t* allocateSysString() const;

  /// The number of characters, without the terminator.
  DWORD length() const;
  /// The number of bytes, twice the length, without the terminator.
  DWORD size() const;
  /// The character at the index; the index length() reads the terminator and
  /// any other index outside the text raises the framework's invalid-argument failure.
  ///@{
  wchar_t operator[](DWORD index) const;
  wchar_t operator[](int index) const;
  ///@}
  /// True when the string has no characters.
  bool isEmpty() const;
  /// Makes the string empty.
  void clear();
  /// The text as an unsigned number, hexadecimal when asked or when it begins
  /// with 0x, else decimal, wrapping on overflow; 0 for an empty string, and cException naming
  /// the index of the first character that is no digit.
  DWORD asUint(bool hexadecimal = false) const;

  /// Changes every character to lower (upper) case in place.
  ///@{
  void lowerCase();
  void upperCase();
  ///@}
  /// Removes white space at the start (the end).
  ///@{
  void stripLeading();
  void stripTrailing();
  ///@}
  /// Removes a double quote at either end; true only when a leading one went.
  bool stripQuotes();
  /// Removes everything from the position on, or count characters from it;
  /// a position at or past the end changes nothing.
  ///@{
  void remove(DWORD position);
  void remove(DWORD position, DWORD count);
  ///@}
  /// Inserts the text or character before the position; a negative position
  /// counts as 0, one past the end as the end.
  ///@{
  void insert(const wchar_t* text, int position);
  void insert(wchar_t character, int position);
  ///@}
  /// Replaces every occurrence of the old text, left to right; an empty old text replaces nothing.
  void replace(const wchar_t* oldText, const wchar_t* newText);
  /// Reverses the order of the characters.
  void reverse();

  /// The index of the first occurrence at or after start (0 when not given),
  /// or npos when there is none.
  ///@{
  int find(const cString& text) const;
  int find(wchar_t character, int start = 0) const;
  int find(const wchar_t* text, int start = 0) const;
  ///@}
  /// The index of the last occurrence, or npos.
  int reverseFind(wchar_t character) const;
  /// Whether the text occurs in this string; an empty text always does.
  bool includes(const cString& text) const;

  /// A lower-case (upper-case) copy; the argument stays as it was.
  ///@{
  static cString lowerCase(const cString& text);
  static cString upperCase(const cString& text);
  ///@}
  /// The number formatted by the printf-style format, as format() does it.
  ///@{
  static cString fromInt(int value, const cString& format = L"%d");
  static cString fromUint(DWORD value, const cString& format = L"%u");
  ///@}
  /// "true" or "false".
  static cString fromBool(bool value);
  /// The characters from start to the end, or count of them; what lies
  /// outside the text is left out, so the result may be empty.
  ///@{
  cString subString(int start) const;
  cString subString(int start, int count) const;
  ///@}

  /// printf-style formatting into at most 4095 characters; longer text is cut.
  static cString vaFormat(const wchar_t* format, va_list arguments);
  /// Sets this string to vaFormat of the format and the arguments.
  void format(const wchar_t* format, ...);

  /// Message-style formatting with numbered inserts (%1, %2!d!, ...) into this
  /// string, the format given or the string resource of the id; any failure
  /// throws cException "cString::formatMessage() Out Of Memory" and keeps the old text.
  ///@{
  void formatMessage(const wchar_t* format, va_list& arguments);
  void formatMessage(const wchar_t* format, ...);
  void formatMessage(cResourceId id, ...);
  ///@}
  /// Sets this string to the string resource (a plain number reads the main
  /// program's table); any failure leaves it empty and nothing is thrown.
  ///@{
  void loadString(DWORD id);
  void loadString(const cResourceId& id);
  ///@}
  /// Sets this string to the id's string resource, empty when missing; never throws.
  void tryToLoadString(const cResourceId& id);
};

// cString: the library's text value, a counted wide string whose copies
// share storage until one of them changes.
#pragma once

#include <cstdarg>
#include <qnlith/core/api.h>
#include <qnlith/framework/string.h>

class cResourceId;

class QNLITH_API cString : public CStringT<wchar_t, StrTraitMFC_DLL<wchar_t, ChTraitsCRT<wchar_t>>> {
 public:
  typedef CStringT<wchar_t, StrTraitMFC_DLL<wchar_t, ChTraitsCRT<wchar_t>>> base;

  // The result of a search that finds nothing.
  static const int npos;

  cString();
  cString(const cString& source);
  cString(const base& source);
  cString(const wchar_t* source);
  cString(const char* source);
  // Exactly count characters (wide) or count bytes (narrow) of the source.
  cString(const wchar_t* source, DWORD count);
  cString(const char* source, DWORD count);
  cString(const cResourceId& id);
  ~cString();

  cString& operator=(const cString& source);

  // A look at the string's own storage; the non-constant form does not make
  // the storage private first, so a write through it reaches every copy.
  wchar_t* c_str();
  const wchar_t* c_str() const;
  // New blocks for the caller to release with delete[].
  char* asChar() const;
  wchar_t* asWchar() const;
  // A new automation string, the caller's to release.
  wchar_t* allocateSysString() const;

  DWORD length() const;
  DWORD size() const;
  wchar_t operator[](DWORD index) const;
  wchar_t operator[](int index) const;
  bool isEmpty() const;
  void clear();
  DWORD asUint(bool hexadecimal = false) const;

  void lowerCase();
  void upperCase();
  void stripLeading();
  void stripTrailing();
  bool stripQuotes();
  void remove(DWORD position);
  void remove(DWORD position, DWORD count);
  void insert(const wchar_t* text, int position);
  void insert(wchar_t character, int position);
  void replace(const wchar_t* oldText, const wchar_t* newText);
  void reverse();

  int find(const cString& text) const;
  int find(wchar_t character, int start = 0) const;
  int find(const wchar_t* text, int start = 0) const;
  int reverseFind(wchar_t character) const;
  bool includes(const cString& text) const;

  static cString lowerCase(const cString& text);
  static cString upperCase(const cString& text);
  static cString fromInt(int value, const cString& format = L"%d");
  static cString fromUint(DWORD value, const cString& format = L"%u");
  static cString fromBool(bool value);
  cString subString(int start) const;
  cString subString(int start, int count) const;

  // printf-style formatting into at most 4095 characters; longer text is cut.
  static cString vaFormat(const wchar_t* format, va_list arguments);
  void format(const wchar_t* format, ...);

  // Message-style formatting with numbered inserts (%1, %2!d!, ...).
  void formatMessage(const wchar_t* format, va_list& arguments);
  void formatMessage(const wchar_t* format, ...);
  void formatMessage(cResourceId id, ...);
  void loadString(DWORD id);
  void loadString(const cResourceId& id);
  void tryToLoadString(const cResourceId& id);
};

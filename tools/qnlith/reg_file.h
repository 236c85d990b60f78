// The registry editor's text format, "Windows Registry Editor Version 5.00":
// the files that move keys and values between a Windows machine and this
// store. Values are kept as their type and stored bytes, so that a value
// written and read back is the same to the byte.
#pragma once

#include <qnlith/win32.h>

#include <string>
#include <string_view>
#include <vector>

namespace regfile {

struct Value {
  std::wstring name;  // empty for the default value, written "@"
  bool remove = false;  // "name"=-
  DWORD type = REG_NONE;
  std::string bytes;  // as stored: strings in UTF-16LE
};

struct Key {
  std::wstring path;  // from the root's full name on, e.g. HKEY_CURRENT_USER\Software
  bool remove = false;  // [-path]: the key and everything below it
  std::vector<Value> values;
  std::size_t line = 0;
};

// The text of a file: UTF-16LE after its byte order mark, as the Windows
// editor writes it, or UTF-8 with or without one.
std::wstring decode(std::string_view file);

// UTF-16LE with its byte order mark, as the Windows editor writes it.
std::string encode(std::wstring_view text);

// Reads a whole file; on a fault, returns false and says where and what in
// `error`, and `keys` is not to be used.
bool parse(std::wstring_view text, std::vector<Key>& keys, std::wstring& error);

// Hex bytes separated by commas ("01,ff,2"), as after "hex:".
bool parseHex(std::wstring_view text, std::string& bytes);

// The pieces of a file, each with its line ends (CR LF).
std::wstring header();
std::wstring keyLine(std::wstring_view path);
std::wstring valueLine(const std::wstring& name, DWORD type, const std::string& bytes);

}  // namespace regfile

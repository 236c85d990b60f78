#include "reg_file.h"

#include <cwctype>

#include "../../platform/text/unicode.h"

namespace regfile {

namespace {

constexpr std::wstring_view Signature = L"Windows Registry Editor Version 5.00";
constexpr std::size_t LineWidth = 80;

const wchar_t* const HexDigits = L"0123456789abcdef";

std::wstring_view trim(std::wstring_view s) {
  while (!s.empty() && std::iswspace(static_cast<wint_t>(s.front()))) s.remove_prefix(1);
  while (!s.empty() && std::iswspace(static_cast<wint_t>(s.back()))) s.remove_suffix(1);
  return s;
}

int hexValue(wchar_t c) {
  if (c >= L'0' && c <= L'9') return c - L'0';
  if (c >= L'a' && c <= L'f') return c - L'a' + 10;
  if (c >= L'A' && c <= L'F') return c - L'A' + 10;
  return -1;
}

bool startsWithNoCase(std::wstring_view s, std::wstring_view prefix) {
  if (s.size() < prefix.size()) return false;
  for (std::size_t i = 0; i < prefix.size(); ++i)
    if (std::towlower(static_cast<wint_t>(s[i])) != std::towlower(static_cast<wint_t>(prefix[i]))) return false;
  return true;
}

std::wstring quote(std::wstring_view text) {
  std::wstring out = L"\"";
  for (wchar_t c : text) {
    if (c == L'\\' || c == L'"') out += L'\\';
    out += c;
  }
  return out + L"\"";
}

// Reads a quoted text at the start of `s` (escapes \\ and \"), leaving `s`
// behind the closing quote.
bool unquote(std::wstring_view& s, std::wstring& out) {
  if (s.empty() || s.front() != L'"') return false;
  out.clear();
  for (std::size_t i = 1; i < s.size(); ++i) {
    if (s[i] == L'\\' && i + 1 < s.size() && (s[i + 1] == L'\\' || s[i + 1] == L'"')) {
      out += s[++i];
    } else if (s[i] == L'"') {
      s.remove_prefix(i + 1);
      return true;
    } else {
      out += s[i];
    }
  }
  return false;
}

// Whether a REG_SZ's bytes are exactly what the quoted form gives back:
// well-formed text with one terminator and nothing that breaks a line.
bool fitsQuoted(const std::string& bytes, std::wstring& text) {
  if (bytes.size() < 2 || bytes.size() % 2 != 0 || bytes[bytes.size() - 1] != 0 || bytes[bytes.size() - 2] != 0)
    return false;
  text = qn::utf16leToWide(bytes.data(), bytes.size() - 2);
  if (text.find_first_of(std::wstring_view(L"\0\r\n", 3)) != std::wstring::npos) return false;
  return qn::wideToUtf16le(text) == std::string_view(bytes).substr(0, bytes.size() - 2);
}

}  // namespace

bool parseHex(std::wstring_view s, std::string& bytes) {
  bytes.clear();
  s = trim(s);
  if (s.empty()) return true;
  for (;;) {
    const std::size_t comma = s.find(L',');
    const std::wstring_view token = trim(s.substr(0, comma));
    if (token.empty() || token.size() > 2) return false;
    int value = 0;
    for (wchar_t c : token) {
      const int digit = hexValue(c);
      if (digit < 0) return false;
      value = value * 16 + digit;
    }
    bytes += static_cast<char>(value);
    if (comma == std::wstring_view::npos) return true;
    s.remove_prefix(comma + 1);
  }
}

namespace {

// The data after "=": a quoted string, dword:, hex:, hex(type): or "-".
bool parseData(std::wstring_view s, Value& value) {
  s = trim(s);
  std::wstring text;
  if (s == L"-") {
    value.remove = true;
    return true;
  }
  if (!s.empty() && s.front() == L'"') {
    if (!unquote(s, text) || !trim(s).empty()) return false;
    value.type = REG_SZ;
    value.bytes = qn::wideToUtf16le(text);
    value.bytes.append(2, '\0');
    return true;
  }
  if (startsWithNoCase(s, L"dword:")) {
    s.remove_prefix(6);
    s = trim(s);
    if (s.empty() || s.size() > 8) return false;
    DWORD number = 0;
    for (wchar_t c : s) {
      const int digit = hexValue(c);
      if (digit < 0) return false;
      number = number * 16 + static_cast<DWORD>(digit);
    }
    value.type = REG_DWORD;
    value.bytes.assign(reinterpret_cast<const char*>(&number), 4);
    return true;
  }
  if (startsWithNoCase(s, L"hex:")) {
    value.type = REG_BINARY;
    return parseHex(s.substr(4), value.bytes);
  }
  if (startsWithNoCase(s, L"hex(")) {
    const std::size_t close = s.find(L"):");
    if (close == std::wstring_view::npos || close == 4 || close > 12) return false;
    DWORD type = 0;
    for (wchar_t c : s.substr(4, close - 4)) {
      const int digit = hexValue(c);
      if (digit < 0) return false;
      type = type * 16 + static_cast<DWORD>(digit);
    }
    value.type = type;
    return parseHex(s.substr(close + 2), value.bytes);
  }
  return false;
}

// One logical line: the physical ones joined where a line ends in a
// backslash, as the editor wraps long hex data.
struct Line {
  std::wstring text;
  std::size_t number;
};

std::vector<Line> logicalLines(std::wstring_view text) {
  std::vector<Line> lines;
  std::size_t number = 0;
  bool continuing = false;
  while (!text.empty()) {
    std::size_t end = text.find(L'\n');
    std::wstring_view raw = text.substr(0, end);
    text.remove_prefix(end == std::wstring_view::npos ? text.size() : end + 1);
    if (!raw.empty() && raw.back() == L'\r') raw.remove_suffix(1);
    ++number;
    std::wstring_view line = continuing ? trim(raw) : raw;
    const std::wstring_view right = trim(line);
    const bool continues = !right.empty() && right.back() == L'\\' && right.front() != L';' &&
                           (continuing || right.front() != L'[');
    if (continues) line = right.substr(0, right.size() - 1);
    if (continuing)
      lines.back().text += line;
    else
      lines.push_back({std::wstring(line), number});
    continuing = continues;
  }
  return lines;
}

}  // namespace

std::wstring decode(std::string_view file) {
  if (file.size() >= 2 && static_cast<unsigned char>(file[0]) == 0xFF && static_cast<unsigned char>(file[1]) == 0xFE)
    return qn::utf16leToWide(file.data() + 2, file.size() - 2);
  if (file.size() >= 3 && file.substr(0, 3) == "\xEF\xBB\xBF") file.remove_prefix(3);
  return qn::utf8ToWide(file);
}

std::string encode(std::wstring_view text) { return "\xFF\xFE" + qn::wideToUtf16le(text); }

bool parse(std::wstring_view text, std::vector<Key>& keys, std::wstring& error) {
  keys.clear();
  bool signed_ = false;
  for (const Line& line : logicalLines(text)) {
    const std::wstring_view s = trim(line.text);
    auto fail = [&](const wchar_t* problem) {
      error = L"line " + std::to_wstring(line.number) + L": " + problem;
      return false;
    };
    if (s.empty() || s.front() == L';') continue;
    if (!signed_) {
      if (s == L"REGEDIT4") return fail(L"files of the older format REGEDIT4 are not supported");
      if (s != Signature) return fail(L"not a registry file: the first line must be \"Windows Registry Editor Version 5.00\"");
      signed_ = true;
      continue;
    }
    if (s.front() == L'[') {
      if (s.back() != L']') return fail(L"a key line must end with ']'");
      Key key;
      key.line = line.number;
      std::wstring_view path = s.substr(1, s.size() - 2);
      if (!path.empty() && path.front() == L'-') {
        key.remove = true;
        path.remove_prefix(1);
      }
      if (path.empty()) return fail(L"a key line names no key");
      key.path = path;
      keys.push_back(std::move(key));
      continue;
    }
    if (keys.empty()) return fail(L"a value comes before any key");
    if (keys.back().remove) return fail(L"a value below a key that is being deleted");
    Value value;
    std::wstring_view rest = s;
    if (rest.front() == L'@') {
      rest.remove_prefix(1);
    } else if (!unquote(rest, value.name)) {
      return fail(L"a value line must start with a quoted name or '@'");
    }
    rest = trim(rest);
    if (rest.empty() || rest.front() != L'=') return fail(L"'=' expected after the value's name");
    rest.remove_prefix(1);
    if (!parseData(rest, value)) return fail(L"the value's data can't be read");
    keys.back().values.push_back(std::move(value));
  }
  if (!signed_) {
    error = L"not a registry file: it is empty";
    return false;
  }
  return true;
}

std::wstring header() { return std::wstring(Signature) + L"\r\n\r\n"; }

std::wstring keyLine(std::wstring_view path) { return L"[" + std::wstring(path) + L"]\r\n"; }

std::wstring valueLine(const std::wstring& name, DWORD type, const std::string& bytes) {
  std::wstring line = name.empty() ? L"@=" : quote(name) + L"=";
  std::wstring text;
  if (type == REG_SZ && fitsQuoted(bytes, text)) return line + quote(text) + L"\r\n";
  if (type == REG_DWORD && bytes.size() == 4) {
    DWORD number = 0;
    for (int i = 3; i >= 0; --i) number = number * 256 + static_cast<unsigned char>(bytes[i]);
    line += L"dword:";
    for (int shift = 28; shift >= 0; shift -= 4) line += HexDigits[(number >> shift) & 0xF];
    return line + L"\r\n";
  }
  if (type == REG_BINARY) {
    line += L"hex:";
  } else {
    std::wstring digits;
    for (DWORD t = type; t != 0 || digits.empty(); t >>= 4) digits.insert(digits.begin(), HexDigits[t & 0xF]);
    line += L"hex(" + digits + L"):";
  }
  std::size_t column = line.size();
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const auto b = static_cast<unsigned char>(bytes[i]);
    line += HexDigits[b >> 4];
    line += HexDigits[b & 0xF];
    column += 2;
    if (i + 1 == bytes.size()) break;
    line += L',';
    ++column;
    if (column > LineWidth - 4) {
      line += L"\\\r\n  ";
      column = 2;
    }
  }
  return line + L"\r\n";
}

}  // namespace regfile

// qnlith reg: read and change the registry store, and move keys in and out
// as files of the registry editor's text format.
#include <qnlith/qnlith.h>

#include <algorithm>
#include <cstdio>
#include <cwctype>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>

#include "command.h"
#include "../../platform/text/unicode.h"
#include "reg_file.h"

namespace {

const char* const Usage =
    "reg query <key> [<value>]               show a key's values and subkeys, or one value\n"
    "reg add <key> [<value> <type> <data>...] create a key; set a value (\"\" names the default)\n"
    "reg delete <key> [<value>]              delete a key with all below it, or one value\n"
    "reg export <key> <file>                 write a key and all below it as a .reg file (- for output)\n"
    "reg import <file>                       apply a .reg file (- for input)";

struct Root {
  const wchar_t* name;
  const wchar_t* alias;
  HKEY key;
};

const Root Roots[] = {
    {L"HKEY_CLASSES_ROOT", L"HKCR", HKEY_CLASSES_ROOT},
    {L"HKEY_CURRENT_USER", L"HKCU", HKEY_CURRENT_USER},
    {L"HKEY_LOCAL_MACHINE", L"HKLM", HKEY_LOCAL_MACHINE},
    {L"HKEY_USERS", L"HKU", HKEY_USERS},
};

bool equalNoCase(std::wstring_view a, std::wstring_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i)
    if (std::towupper(static_cast<wint_t>(a[i])) != std::towupper(static_cast<wint_t>(b[i]))) return false;
  return true;
}

// A key given on the command line or in a file: its root and the rest.
struct KeyPath {
  const Root* root = nullptr;
  std::wstring below;
  std::wstring full() const { return below.empty() ? root->name : root->name + (L"\\" + below); }
};

bool splitKey(const std::wstring& text, KeyPath& path) {
  const std::size_t slash = text.find(L'\\');
  const std::wstring first = text.substr(0, slash);
  for (const Root& root : Roots) {
    if (equalNoCase(first, root.name) || equalNoCase(first, root.alias)) {
      path.root = &root;
      path.below = slash == std::wstring::npos ? L"" : text.substr(slash + 1);
      return true;
    }
  }
  return false;
}

int failure(const std::wstring& what, LONG error) {
  cString text = findErrorMessageText(static_cast<DWORD>(error));
  text.stripTrailing();
  qnlithErr(L"qnlith reg: " + what + L": " + text.c_str() + L"\n");
  return 1;
}

// Opens a key of a path, the root itself for an empty one.
LONG openKey(const KeyPath& path, REGSAM access, HKEY& key) {
  return RegOpenKeyExW(path.root->key, path.below.c_str(), 0, access, &key);
}

std::vector<std::wstring> subkeyNames(HKEY key, LONG& error) {
  std::vector<std::wstring> names;
  std::wstring name(256, L'\0');
  for (DWORD i = 0;; ++i) {
    DWORD size = static_cast<DWORD>(name.size());
    error = RegEnumKeyExW(key, i, name.data(), &size, nullptr, nullptr, nullptr, nullptr);
    if (error == ERROR_NO_MORE_ITEMS) {
      error = ERROR_SUCCESS;
      return names;
    }
    if (error != ERROR_SUCCESS) return names;
    names.emplace_back(name.data(), size);
  }
}

// The values of a key as the file writes them, in the order the key keeps.
LONG writeValues(HKEY key, std::wstring& out) {
  std::wstring name(16384, L'\0');
  for (DWORD i = 0;; ++i) {
    DWORD size = static_cast<DWORD>(name.size());
    LONG e = RegEnumValueW(key, i, name.data(), &size, nullptr, nullptr, nullptr, nullptr);
    if (e == ERROR_NO_MORE_ITEMS) return ERROR_SUCCESS;
    if (e != ERROR_SUCCESS) return e;
    const std::wstring valueName(name.data(), size);
    DWORD type = 0, bytes = 0;
    if ((e = qnRegQueryValueBytes(key, valueName.c_str(), &type, nullptr, &bytes)) != ERROR_SUCCESS) return e;
    std::string data(bytes, '\0');
    e = qnRegQueryValueBytes(key, valueName.c_str(), &type, reinterpret_cast<BYTE*>(data.data()), &bytes);
    if (e != ERROR_SUCCESS) return e;
    data.resize(bytes);
    out += regfile::valueLine(valueName, type, data);
  }
}

// A key, its values and everything below it, depth first.
LONG writeTree(HKEY key, const std::wstring& path, bool recurse, std::wstring& out) {
  out += regfile::keyLine(path);
  if (LONG e = writeValues(key, out); e != ERROR_SUCCESS) return e;
  out += L"\r\n";
  LONG e;
  const auto names = subkeyNames(key, e);
  if (e != ERROR_SUCCESS) return e;
  for (const auto& name : names) {
    if (!recurse) {
      out += regfile::keyLine(path + L"\\" + name);
      continue;
    }
    HKEY child = nullptr;
    if ((e = RegOpenKeyExW(key, name.c_str(), 0, KEY_READ, &child)) != ERROR_SUCCESS) return e;
    e = writeTree(child, path + L"\\" + name, true, out);
    RegCloseKey(child);
    if (e != ERROR_SUCCESS) return e;
  }
  return ERROR_SUCCESS;
}

// Deletes a subkey and everything below it; a missing one is no failure.
LONG deleteTree(HKEY parent, const std::wstring& name) {
  HKEY key = nullptr;
  LONG e = RegOpenKeyExW(parent, name.c_str(), 0, KEY_READ, &key);
  if (e == ERROR_FILE_NOT_FOUND) return ERROR_SUCCESS;
  if (e != ERROR_SUCCESS) return e;
  const auto names = subkeyNames(key, e);
  for (std::size_t i = 0; e == ERROR_SUCCESS && i < names.size(); ++i) e = deleteTree(key, names[i]);
  RegCloseKey(key);
  return e == ERROR_SUCCESS ? RegDeleteKeyW(parent, name.c_str()) : e;
}

bool readFile(const std::wstring& name, std::string& contents) {
  if (name == L"-") {
    contents.assign(std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>());
    return true;
  }
  std::ifstream in(qn::wideToUtf8(name), std::ios::binary);
  if (!in) return false;
  std::ostringstream buffer;
  buffer << in.rdbuf();
  contents = buffer.str();
  return true;
}

int query(const QnlithArguments& a) {
  KeyPath path;
  if (a.size() < 2 || a.size() > 3 || !splitKey(a[1], path)) return qnlithUsageError("reg", L"query needs a key");
  HKEY key = nullptr;
  if (LONG e = openKey(path, KEY_READ, key); e != ERROR_SUCCESS) return failure(path.full(), e);
  std::wstring out;
  LONG e;
  if (a.size() == 3) {
    DWORD type = 0, size = 0;
    e = qnRegQueryValueBytes(key, a[2].c_str(), &type, nullptr, &size);
    std::string data(size, '\0');
    if (e == ERROR_SUCCESS) e = qnRegQueryValueBytes(key, a[2].c_str(), &type, reinterpret_cast<BYTE*>(data.data()), &size);
    if (e == ERROR_SUCCESS) out = regfile::valueLine(a[2], type, data.substr(0, size));
  } else {
    e = writeTree(key, path.full(), false, out);
  }
  RegCloseKey(key);
  if (e != ERROR_SUCCESS) return failure(a.size() == 3 ? path.full() + L" " + a[2] : path.full(), e);
  for (std::size_t crlf; (crlf = out.find(L"\r\n")) != std::wstring::npos;) out.erase(crlf, 1);
  qnlithOut(out);
  return 0;
}

// The bytes of a value given on the command line; the problem with them,
// or an empty text.
std::wstring valueFromArguments(const QnlithArguments& a, DWORD& type, std::string& bytes) {
  const std::wstring& typeName = a[3];
  auto strings = [&](std::size_t first, std::size_t last) {
    std::wstring text;
    for (std::size_t i = first; i < last; ++i) text += a[i] + L'\0';
    return qn::wideToUtf16le(text);
  };
  // The one number of a number type: what it is or why it can't be.
  auto number = [&](const wchar_t* type, std::uint64_t limit, std::uint64_t& value) -> std::wstring {
    const std::wstring range = std::wstring(type) + L" takes one number from 0 to " + std::to_wstring(limit) +
                               L", in decimal or as 0x and hexadecimal digits";
    if (a.size() != 5) return range;
    if (!qnlithParseNumber(a[4], limit, value)) return range + L", not " + a[4];
    return L"";
  };
  std::uint64_t value = 0;
  if (equalNoCase(typeName, L"REG_SZ") || equalNoCase(typeName, L"REG_EXPAND_SZ")) {
    if (a.size() != 5) return L"a string type takes one text";
    type = equalNoCase(typeName, L"REG_SZ") ? REG_SZ : REG_EXPAND_SZ;
    bytes = strings(4, 5);
  } else if (equalNoCase(typeName, L"REG_MULTI_SZ")) {
    type = REG_MULTI_SZ;
    bytes = strings(4, a.size()) + std::string(2, '\0');
  } else if (equalNoCase(typeName, L"REG_DWORD")) {
    if (std::wstring problem = number(L"REG_DWORD", 0xFFFFFFFFu, value); !problem.empty()) return problem;
    type = REG_DWORD;
    const auto n = static_cast<DWORD>(value);
    bytes.assign(reinterpret_cast<const char*>(&n), 4);
  } else if (equalNoCase(typeName, L"REG_QWORD")) {
    if (std::wstring problem = number(L"REG_QWORD", ~std::uint64_t{0}, value); !problem.empty()) return problem;
    type = REG_QWORD;
    bytes.assign(reinterpret_cast<const char*>(&value), 8);
  } else if (equalNoCase(typeName, L"REG_BINARY") || equalNoCase(typeName, L"REG_NONE")) {
    type = equalNoCase(typeName, L"REG_BINARY") ? REG_BINARY : REG_NONE;
    std::wstring hex;
    for (std::size_t i = 4; i < a.size(); ++i) hex += (i > 4 ? L"," : L"") + a[i];
    if (!regfile::parseHex(hex, bytes)) return L"binary data is hex bytes separated by commas, as 01,ff,20";
  } else {
    return L"unknown type: " + typeName;
  }
  return L"";
}

int add(const QnlithArguments& a) {
  KeyPath path;
  if (a.size() < 2 || a.size() == 3 || !splitKey(a[1], path)) return qnlithUsageError("reg", L"add needs a key");
  DWORD type = REG_NONE;
  std::string bytes;
  if (a.size() > 3) {
    if (const std::wstring problem = valueFromArguments(a, type, bytes); !problem.empty())
      return qnlithUsageError("reg", problem);
  }
  HKEY key = nullptr;
  LONG e = RegCreateKeyExW(path.root->key, path.below.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr);
  if (e != ERROR_SUCCESS) return failure(path.full(), e);
  if (a.size() > 3)
    e = qnRegSetValueBytes(key, a[2].c_str(), type, reinterpret_cast<const BYTE*>(bytes.data()),
                           static_cast<DWORD>(bytes.size()));
  RegCloseKey(key);
  return e == ERROR_SUCCESS ? 0 : failure(path.full() + L" " + a[2], e);
}

int deleteKeyOrValue(const QnlithArguments& a) {
  KeyPath path;
  if (a.size() < 2 || a.size() > 3 || !splitKey(a[1], path)) return qnlithUsageError("reg", L"delete needs a key");
  if (a.size() == 3) {
    HKEY key = nullptr;
    LONG e = openKey(path, KEY_SET_VALUE, key);
    if (e == ERROR_SUCCESS) {
      e = RegDeleteValueW(key, a[2].c_str());
      RegCloseKey(key);
    }
    return e == ERROR_SUCCESS ? 0 : failure(path.full() + L" " + a[2], e);
  }
  if (path.below.empty()) return qnlithUsageError("reg", L"a root key can't be deleted");
  HKEY key = nullptr;
  if (LONG e = openKey(path, KEY_READ, key); e != ERROR_SUCCESS) return failure(path.full(), e);
  RegCloseKey(key);
  const LONG e = deleteTree(path.root->key, path.below);
  return e == ERROR_SUCCESS ? 0 : failure(path.full(), e);
}

int exportKeys(const QnlithArguments& a) {
  KeyPath path;
  if (a.size() != 3 || !splitKey(a[1], path)) return qnlithUsageError("reg", L"export needs a key and a file");
  HKEY key = nullptr;
  if (LONG e = openKey(path, KEY_READ, key); e != ERROR_SUCCESS) return failure(path.full(), e);
  std::wstring text = regfile::header();
  const LONG e = writeTree(key, path.full(), true, text);
  RegCloseKey(key);
  if (e != ERROR_SUCCESS) return failure(path.full(), e);
  if (a[2] == L"-") {
    for (std::size_t crlf; (crlf = text.find(L"\r\n")) != std::wstring::npos;) text.erase(crlf, 1);
    qnlithOut(text);
    return 0;
  }
  std::ofstream out(qn::wideToUtf8(a[2]), std::ios::binary | std::ios::trunc);
  const std::string bytes = regfile::encode(text);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  out.close();
  if (!out) {
    qnlithErr(L"qnlith reg: can't write " + a[2] + L"\n");
    return 1;
  }
  return 0;
}

LONG applyKey(const regfile::Key& file, const KeyPath& path);

int importKeys(const QnlithArguments& a) {
  if (a.size() != 2) return qnlithUsageError("reg", L"import needs a file");
  std::string contents;
  if (!readFile(a[1], contents)) {
    qnlithErr(L"qnlith reg: can't read " + a[1] + L"\n");
    return 1;
  }
  // The whole file is read and checked before anything changes.
  std::vector<regfile::Key> keys;
  std::wstring problem;
  if (!regfile::parse(regfile::decode(contents), keys, problem)) {
    qnlithErr(L"qnlith reg: " + a[1] + L": " + problem + L"\n");
    return 1;
  }
  std::vector<KeyPath> paths(keys.size());
  for (std::size_t i = 0; i < keys.size(); ++i) {
    if (!splitKey(keys[i].path, paths[i]) || (keys[i].remove && paths[i].below.empty())) {
      qnlithErr(L"qnlith reg: " + a[1] + L": line " + std::to_wstring(keys[i].line) + L": no key of a root: " +
                keys[i].path + L"\n");
      return 1;
    }
  }
  // One transaction a store: a large file is applied in one sync to disk,
  // and one that fails half way leaves the store as it was.
  std::vector<HKEY> batches;
  for (const KeyPath& path : paths) {
    if (std::find(batches.begin(), batches.end(), path.root->key) != batches.end()) continue;
    if (LONG e = qnRegBeginBatch(path.root->key); e != ERROR_SUCCESS) {
      for (HKEY root : batches) qnRegEndBatch(root, FALSE);
      return failure(path.root->name, e);
    }
    batches.push_back(path.root->key);
  }
  LONG e = ERROR_SUCCESS;
  std::wstring failed;
  for (std::size_t i = 0; e == ERROR_SUCCESS && i < keys.size(); ++i) {
    e = applyKey(keys[i], paths[i]);
    if (e != ERROR_SUCCESS) failed = paths[i].full();
  }
  for (HKEY root : batches) {
    const LONG end = qnRegEndBatch(root, e == ERROR_SUCCESS);
    if (e == ERROR_SUCCESS && end != ERROR_SUCCESS) {
      e = end;
      failed = a[1];
    }
  }
  return e == ERROR_SUCCESS ? 0 : failure(failed, e);
}

// Applies one key of a file: deletes it with all below it, or creates it
// and sets and deletes its values.
LONG applyKey(const regfile::Key& file, const KeyPath& path) {
  if (file.remove) return deleteTree(path.root->key, path.below);
  HKEY key = nullptr;
  LONG e = RegCreateKeyExW(path.root->key, path.below.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr);
  if (e != ERROR_SUCCESS) return e;
  for (const auto& value : file.values) {
    if (value.remove) {
      e = RegDeleteValueW(key, value.name.c_str());
      if (e == ERROR_FILE_NOT_FOUND) e = ERROR_SUCCESS;
    } else {
      e = qnRegSetValueBytes(key, value.name.c_str(), value.type, reinterpret_cast<const BYTE*>(value.bytes.data()),
                             static_cast<DWORD>(value.bytes.size()));
    }
    if (e != ERROR_SUCCESS) break;
  }
  RegCloseKey(key);
  return e;
}

int reg(const QnlithArguments& a) {
  if (a.empty()) return qnlithUsageError("reg", L"which operation?");
  if (a[0] == L"query") return query(a);
  if (a[0] == L"add") return add(a);
  if (a[0] == L"delete") return deleteKeyOrValue(a);
  if (a[0] == L"export") return exportKeys(a);
  if (a[0] == L"import") return importKeys(a);
  return qnlithUsageError("reg", L"unknown operation: " + a[0]);
}

const QnlithCommand command("reg", Usage, reg);

}  // namespace

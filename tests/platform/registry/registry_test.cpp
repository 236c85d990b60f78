// The registry calls against their documented Win32 results.
#include <gtest/gtest.h>
#include <qnlith/win32.h>

#include <cstring>
#include <string>
#include <vector>

#include "support/temporary_registry.h"

namespace {

HKEY create(HKEY parent, const wchar_t* path, REGSAM access = KEY_ALL_ACCESS, DWORD* disposition = nullptr) {
  HKEY key = nullptr;
  EXPECT_EQ(RegCreateKeyExW(parent, path, 0, nullptr, 0, access, nullptr, &key, disposition), ERROR_SUCCESS) << path;
  return key;
}

HKEY open(HKEY parent, const wchar_t* path, REGSAM access = KEY_READ) {
  HKEY key = nullptr;
  EXPECT_EQ(RegOpenKeyExW(parent, path, 0, access, &key), ERROR_SUCCESS) << path;
  return key;
}

LONG setString(HKEY key, const wchar_t* name, const std::wstring& text, DWORD type = REG_SZ) {
  return RegSetValueExW(key, name, 0, type, reinterpret_cast<const BYTE*>(text.c_str()),
                        static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
}

LONG setDword(HKEY key, const wchar_t* name, DWORD value) {
  return RegSetValueExW(key, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value), 4);
}

std::vector<std::wstring> subkeys(HKEY key) {
  std::vector<std::wstring> names;
  for (DWORD i = 0;; ++i) {
    wchar_t name[256];
    DWORD size = 256;
    const LONG e = RegEnumKeyExW(key, i, name, &size, nullptr, nullptr, nullptr, nullptr);
    if (e == ERROR_NO_MORE_ITEMS) return names;
    EXPECT_EQ(e, ERROR_SUCCESS);
    if (e != ERROR_SUCCESS) return names;
    EXPECT_EQ(size, std::wcslen(name));
    names.emplace_back(name);
  }
}

}  // namespace

TEST(Registry, CreateMakesParentsAndReportsDisposition) {
  TemporaryRegistry store;
  DWORD disposition = 0;
  HKEY deep = create(HKEY_CURRENT_USER, L"Software\\Qn\\Deep\\Key", KEY_ALL_ACCESS, &disposition);
  EXPECT_EQ(disposition, static_cast<DWORD>(REG_CREATED_NEW_KEY));
  HKEY again = create(HKEY_CURRENT_USER, L"software\\QN\\deep\\KEY", KEY_ALL_ACCESS, &disposition);
  EXPECT_EQ(disposition, static_cast<DWORD>(REG_OPENED_EXISTING_KEY)) << "an existing key is success";
  EXPECT_NE(deep, again) << "each open gives a handle of its own";

  HKEY parent = open(HKEY_CURRENT_USER, L"SOFTWARE\\qn");
  EXPECT_EQ(subkeys(parent), std::vector<std::wstring>{L"Deep"}) << "names keep the case they were created with";

  for (HKEY k : {deep, again, parent}) EXPECT_EQ(RegCloseKey(k), ERROR_SUCCESS);
}

// The paths RegOpenKeyExW and RegCreateKeyExW take and refuse, one row an
// answer; the parent is HKEY_CURRENT_USER with Software\Qn made first.
TEST(Registry, PathAnswers) {
  TemporaryRegistry store;
  RegCloseKey(create(HKEY_CURRENT_USER, L"Software\\Qn"));
  const std::wstring longest = L"Software\\" + std::wstring(255, L'x'), tooLong = L"Software\\" + std::wstring(256, L'x');
  const struct {
    const char* what;
    const wchar_t* path;
    LONG open, create;
  } rows[] = {
      {"a trailing backslash is ignored", L"Software\\Qn\\", ERROR_SUCCESS, ERROR_SUCCESS},
      {"a leading backslash", L"\\Software", ERROR_BAD_PATHNAME, ERROR_BAD_PATHNAME},
      {"an empty name inside", L"Software\\\\Qn", ERROR_INVALID_PARAMETER, ERROR_INVALID_PARAMETER},
      {"a missing key", L"Software\\Qn\\Nothing", ERROR_FILE_NOT_FOUND, ERROR_SUCCESS},
      {"a name of 255 characters", longest.c_str(), ERROR_FILE_NOT_FOUND, ERROR_SUCCESS},
      {"a name of 256 characters", tooLong.c_str(), ERROR_INVALID_PARAMETER, ERROR_INVALID_PARAMETER},
      {"no path", nullptr, ERROR_SUCCESS, ERROR_INVALID_PARAMETER},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    HKEY key = reinterpret_cast<HKEY>(1);
    EXPECT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, row.path, 0, KEY_READ, &key), row.open);
    if (row.open != ERROR_SUCCESS) {
      EXPECT_EQ(key, nullptr) << "a failed open leaves no handle";
    }
    if (key != nullptr && key != HKEY_CURRENT_USER) RegCloseKey(key);
    key = nullptr;
    EXPECT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, row.path, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr),
              row.create);
    if (key != nullptr) RegCloseKey(key);
  }
}

TEST(Registry, PredefinedRootsAndWhereTheyLive) {
  TemporaryRegistry store;
  // An empty subkey on a root gives the root itself back.
  HKEY root = nullptr;
  EXPECT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"", 0, KEY_READ, &root), ERROR_SUCCESS);
  EXPECT_EQ(root, HKEY_LOCAL_MACHINE);
  EXPECT_EQ(RegCloseKey(HKEY_LOCAL_MACHINE), ERROR_SUCCESS) << "closing a root does nothing";

  // The classes root is the machine's SOFTWARE\Classes.
  RegCloseKey(create(HKEY_CLASSES_ROOT, L".qnx"));
  HKEY viaMachine = open(HKEY_LOCAL_MACHINE, L"Software\\Classes\\.qnx");
  RegCloseKey(viaMachine);
  EXPECT_EQ(subkeys(HKEY_CLASSES_ROOT), std::vector<std::wstring>{L".qnx"});

  RegCloseKey(create(HKEY_USERS, L".DEFAULT"));
  RegCloseKey(create(HKEY_CURRENT_USER, L"UserOnly"));
  EXPECT_EQ(subkeys(HKEY_USERS), std::vector<std::wstring>{L".DEFAULT"});
  EXPECT_EQ(subkeys(HKEY_CURRENT_USER), std::vector<std::wstring>{L"UserOnly"});
  EXPECT_EQ(subkeys(HKEY_LOCAL_MACHINE), std::vector<std::wstring>{L"SOFTWARE"});

  // The same roots as 32-bit values, not sign-extended.
  HKEY narrow = reinterpret_cast<HKEY>(static_cast<std::uintptr_t>(0x80000001u));
  EXPECT_EQ(subkeys(narrow), std::vector<std::wstring>{L"UserOnly"});

  HKEY key = nullptr;
  EXPECT_EQ(RegOpenKeyExW(HKEY_CURRENT_CONFIG, L"x", 0, KEY_READ, &key), ERROR_INVALID_HANDLE);
  EXPECT_EQ(RegOpenKeyExW(reinterpret_cast<HKEY>(0x1234), L"x", 0, KEY_READ, &key), ERROR_INVALID_HANDLE);
  EXPECT_EQ(RegOpenKeyExW(nullptr, L"x", 0, KEY_READ, &key), ERROR_INVALID_HANDLE);
}

TEST(Registry, ClosedAndForeignHandlesAreInvalid) {
  TemporaryRegistry store;
  HKEY key = create(HKEY_CURRENT_USER, L"Closing");
  EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
  SetLastError(1234);
  EXPECT_EQ(RegCloseKey(key), ERROR_INVALID_HANDLE);
  DWORD value = 1;
  EXPECT_EQ(setDword(key, L"v", value), ERROR_INVALID_HANDLE);
  EXPECT_EQ(RegQueryValueExW(key, L"v", nullptr, nullptr, nullptr, nullptr), ERROR_INVALID_HANDLE);
  EXPECT_EQ(GetLastError(), 1234u) << "registry calls return their error and leave the last error alone";

  // Another open handle to the same key is unaffected.
  HKEY a = create(HKEY_CURRENT_USER, L"Closing");
  HKEY b = open(HKEY_CURRENT_USER, L"Closing", KEY_ALL_ACCESS);
  EXPECT_EQ(RegCloseKey(a), ERROR_SUCCESS);
  EXPECT_EQ(setDword(b, L"v", 7), ERROR_SUCCESS);
  EXPECT_EQ(RegCloseKey(b), ERROR_SUCCESS);
}

TEST(Registry, StringSizesCountTheCallersWideCharacters) {
  TemporaryRegistry store;
  HKEY key = create(HKEY_CURRENT_USER, L"Strings");
  // Each row: a string set with its terminator, the size a wide call
  // reports (four bytes a character) and the UTF-16 bytes the store keeps.
  const struct {
    const wchar_t* name;
    DWORD type;
    std::wstring text;
    DWORD wide, stored;
  } rows[] = {
      {L"Greeting", REG_SZ, L"hello", 24, 12},
      {L"Empty", REG_SZ, L"", 4, 2},
      {L"Smile", REG_SZ, L"a\U0001F600", 12, 8},
      {L"Path", REG_EXPAND_SZ, L"%HOME%\\x", 36, 18},
      {L"List", REG_MULTI_SZ, std::wstring(L"one\0two\0", 8), 36, 18},
      {nullptr, REG_SZ, L"default", 32, 16},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << "value " << (row.name ? row.name : L"(default)"));
    ASSERT_EQ(setString(key, row.name, row.text, row.type), ERROR_SUCCESS);
    DWORD type = 0, size = 0;
    EXPECT_EQ(RegQueryValueExW(key, row.name, nullptr, &type, nullptr, &size), ERROR_SUCCESS);
    EXPECT_EQ(type, row.type);
    EXPECT_EQ(size, row.wide);
    std::vector<wchar_t> buffer(size / sizeof(wchar_t) + 4, L'#');
    EXPECT_EQ(RegQueryValueExW(key, row.name, nullptr, &type, reinterpret_cast<BYTE*>(buffer.data()), &size),
              ERROR_SUCCESS);
    EXPECT_EQ(size, row.wide);
    EXPECT_EQ(std::wstring(buffer.data(), row.text.size() + 1), std::wstring(row.text.c_str(), row.text.size() + 1));
    EXPECT_EQ(buffer[row.text.size() + 1], L'#') << "nothing written behind the size";
    size = 0;
    EXPECT_EQ(qnRegQueryValueBytes(key, row.name, &type, nullptr, &size), ERROR_SUCCESS);
    EXPECT_EQ(size, row.stored);
  }
  unsigned char raw[32];
  DWORD type = 0, size = sizeof raw;
  EXPECT_EQ(qnRegQueryValueBytes(key, L"List", &type, raw, &size), ERROR_SUCCESS);
  EXPECT_EQ(std::memcmp(raw, "o\0n\0e\0\0\0t\0w\0o\0\0\0\0\0", 18), 0) << "the store keeps UTF-16LE";

  EXPECT_EQ(RegQueryValueExW(key, L"Nothing", nullptr, &type, nullptr, &size), ERROR_FILE_NOT_FOUND);
  RegCloseKey(key);
}

// One row per documented answer of RegQueryValueExW to a value and a
// buffer; guard bytes behind the buffer catch a write beyond its size.
TEST(Registry, QueryValueAnswers) {
  TemporaryRegistry store;
  HKEY key = create(HKEY_CURRENT_USER, L"Answers");
  constexpr DWORD NoBuffer = 0xFFFFFFFF;
  constexpr unsigned char Guard = 0xAB;
  const struct {
    const char* what;
    DWORD type;
    std::wstring data;  // set with exactly these characters, no more
    DWORD capacity;
    LONG result;
    DWORD size;
    std::wstring read;  // what the buffer holds afterwards, up to `size`
  } rows[] = {
      {"terminated, size query", REG_SZ, std::wstring(L"abc", 4), NoBuffer, ERROR_SUCCESS, 16, L""},
      {"terminated, exact buffer", REG_SZ, std::wstring(L"abc", 4), 16, ERROR_SUCCESS, 16, std::wstring(L"abc", 4)},
      {"terminated, one character short", REG_SZ, std::wstring(L"abc", 4), 12, ERROR_MORE_DATA, 16, L""},
      {"terminated, odd size short", REG_SZ, std::wstring(L"abc", 4), 15, ERROR_MORE_DATA, 16, L""},
      {"unterminated, size query", REG_SZ, L"abc", NoBuffer, ERROR_SUCCESS, 12, L""},
      {"unterminated, room for the terminator", REG_SZ, L"abc", 16, ERROR_SUCCESS, 16, std::wstring(L"abc", 4)},
      {"unterminated, no room for it", REG_SZ, L"abc", 12, ERROR_SUCCESS, 12, L"abc"},
      {"unterminated, part of a character spare", REG_SZ, L"abc", 14, ERROR_SUCCESS, 12, L"abc"},
      {"unterminated expandable", REG_EXPAND_SZ, L"%X%", 40, ERROR_SUCCESS, 16, std::wstring(L"%X%", 4)},
      {"empty and unterminated", REG_SZ, L"", 4, ERROR_SUCCESS, 4, std::wstring(1, L'\0')},
      {"embedded nulls kept whole", REG_SZ, std::wstring(L"a\0b\0c", 6), 24, ERROR_SUCCESS, 24,
       std::wstring(L"a\0b\0c", 6)},
      {"a list is not terminated for the caller", REG_MULTI_SZ, std::wstring(L"x\0y", 3), 40, ERROR_SUCCESS, 12,
       std::wstring(L"x\0y", 3)},
      {"beyond the basic plane", REG_SZ, std::wstring(L"\U0001F600", 2), 8, ERROR_SUCCESS, 8,
       std::wstring(L"\U0001F600", 2)},
      {"300 characters into MAX_PATH", REG_SZ, std::wstring(300, L'p') + L'\0', MAX_PATH * sizeof(wchar_t),
       ERROR_MORE_DATA, 301 * sizeof(wchar_t), L""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    ASSERT_EQ(RegSetValueExW(key, L"v", 0, row.type, reinterpret_cast<const BYTE*>(row.data.data()),
                             static_cast<DWORD>(row.data.size() * sizeof(wchar_t))),
              ERROR_SUCCESS);
    const DWORD capacity = row.capacity == NoBuffer ? 0 : row.capacity;
    std::vector<unsigned char> buffer(capacity + 64, Guard);
    DWORD type = 0, size = capacity;
    EXPECT_EQ(RegQueryValueExW(key, L"v", nullptr, &type, row.capacity == NoBuffer ? nullptr : buffer.data(), &size),
              row.result);
    EXPECT_EQ(type, row.type);
    EXPECT_EQ(size, row.size);
    for (std::size_t i = capacity; i < buffer.size(); ++i) ASSERT_EQ(buffer[i], Guard) << "guard byte " << i - capacity;
    if (row.result == ERROR_SUCCESS && row.capacity != NoBuffer) {
      EXPECT_EQ(std::wstring(reinterpret_cast<const wchar_t*>(buffer.data()), size / sizeof(wchar_t)), row.read);
    }
  }
  RegCloseKey(key);
}

// Answers of Windows at the edges of the value calls.
TEST(Registry, ValueEdges) {
  TemporaryRegistry store;
  HKEY key = create(HKEY_CURRENT_USER, L"Edges");

  // Data that can't be read is refused for every type, never a crash.
  const auto* unmapped = reinterpret_cast<const BYTE*>(std::uintptr_t{16});
  for (DWORD type : {REG_NONE, REG_SZ, REG_EXPAND_SZ, REG_BINARY, REG_DWORD, REG_DWORD_BIG_ENDIAN, REG_LINK,
                     REG_MULTI_SZ, REG_RESOURCE_LIST, REG_QWORD}) {
    SCOPED_TRACE(testing::Message() << "type " << type);
    EXPECT_EQ(RegSetValueExW(key, L"bad", 0, type, unmapped, 8), ERROR_NOACCESS);
    EXPECT_EQ(RegSetValueExW(key, L"bad", 0, type, nullptr, 4), ERROR_NOACCESS);
    EXPECT_EQ(qnRegSetValueBytes(key, L"bad", type, unmapped, 8), ERROR_NOACCESS);
  }
  EXPECT_EQ(RegQueryValueExW(key, L"bad", nullptr, nullptr, nullptr, nullptr), ERROR_FILE_NOT_FOUND)
      << "nothing was stored";

  // A missing value sets the size to 0.
  DWORD type = 77, size = 1234;
  EXPECT_EQ(RegQueryValueExW(key, L"missing", nullptr, &type, nullptr, &size), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(size, 0u);

  // One variable as both type and size: the size is read first.
  const BYTE four[4] = {1, 2, 3, 4};
  ASSERT_EQ(RegSetValueExW(key, L"four", 0, REG_BINARY, four, 4), ERROR_SUCCESS);
  BYTE out[4] = {};
  DWORD both = 4;
  EXPECT_EQ(RegQueryValueExW(key, L"four", nullptr, &both, out, &both), ERROR_SUCCESS);
  EXPECT_EQ(std::memcmp(out, four, 4), 0);

  // A name buffer too small: 234, nothing copied, the data's type and size
  // reported all the same.
  ASSERT_EQ(setString(key, L"LongerName", L"text"), ERROR_SUCCESS);
  wchar_t name[4] = {L'k', L'e', L'e', L'p'};
  DWORD nameSize = 4, dataSize = sizeof out;
  type = 0;
  BYTE data[32];
  std::memset(data, 0xAB, sizeof data);
  EXPECT_EQ(RegEnumValueW(key, 1, name, &nameSize, nullptr, &type, data, &dataSize), ERROR_MORE_DATA);
  EXPECT_EQ(std::wstring(name, 4), L"keep");
  EXPECT_EQ(type, static_cast<DWORD>(REG_SZ));
  EXPECT_EQ(dataSize, 5 * sizeof(wchar_t));
  EXPECT_EQ(data[0], 0xAB) << "no data copied";
  RegCloseKey(key);
}

TEST(Registry, OtherTypesAreBytes) {
  TemporaryRegistry store;
  HKEY key = create(HKEY_CURRENT_USER, L"Bytes");
  ASSERT_EQ(setDword(key, L"Count", 0xA), ERROR_SUCCESS);
  DWORD type = 0, value = 0, size = 4;
  EXPECT_EQ(RegQueryValueExW(key, L"count", nullptr, &type, reinterpret_cast<BYTE*>(&value), &size), ERROR_SUCCESS);
  EXPECT_EQ(type, static_cast<DWORD>(REG_DWORD));
  EXPECT_EQ(value, 0xAu);

  const unsigned char blob[] = {1, 2, 3, 0, 5};
  ASSERT_EQ(RegSetValueExW(key, L"Blob", 0, REG_BINARY, blob, 5), ERROR_SUCCESS);
  unsigned char out[8] = {};
  size = 2;
  EXPECT_EQ(RegQueryValueExW(key, L"Blob", nullptr, &type, out, &size), ERROR_MORE_DATA);
  EXPECT_EQ(size, 5u);
  size = sizeof out;
  EXPECT_EQ(RegQueryValueExW(key, L"Blob", nullptr, &type, out, &size), ERROR_SUCCESS);
  EXPECT_EQ(size, 5u);
  EXPECT_EQ(std::memcmp(out, blob, 5), 0);

  ASSERT_EQ(RegSetValueExW(key, L"Nothing", 0, REG_NONE, nullptr, 0), ERROR_SUCCESS);
  EXPECT_EQ(RegQueryValueExW(key, L"Nothing", nullptr, &type, nullptr, &size), ERROR_SUCCESS);
  EXPECT_EQ(size, 0u);
  EXPECT_EQ(RegSetValueExW(key, L"Bad", 0, REG_BINARY, nullptr, 4), ERROR_NOACCESS);
  EXPECT_EQ(RegQueryValueExW(key, L"Blob", nullptr, &type, out, nullptr), ERROR_INVALID_PARAMETER);
  DWORD reserved = 0;
  EXPECT_EQ(RegQueryValueExW(key, L"Blob", &reserved, &type, nullptr, &size), ERROR_INVALID_PARAMETER);

  // Setting a value again replaces type and data and keeps the first name.
  ASSERT_EQ(setString(key, L"COUNT", L"ten"), ERROR_SUCCESS);
  EXPECT_EQ(RegQueryValueExW(key, L"Count", nullptr, &type, nullptr, &size), ERROR_SUCCESS);
  EXPECT_EQ(type, static_cast<DWORD>(REG_SZ));
  wchar_t name[16];
  DWORD nameSize = 16;
  EXPECT_EQ(RegEnumValueW(key, 0, name, &nameSize, nullptr, nullptr, nullptr, nullptr), ERROR_SUCCESS);
  EXPECT_EQ(std::wstring(name), L"Count");

  EXPECT_EQ(RegDeleteValueW(key, L"blob"), ERROR_SUCCESS);
  EXPECT_EQ(RegDeleteValueW(key, L"Blob"), ERROR_FILE_NOT_FOUND);
  RegCloseKey(key);
}

TEST(Registry, NamesCompareWithoutCaseBeyondAscii) {
  TemporaryRegistry store;
  HKEY key = create(HKEY_CURRENT_USER, L"\u00C4rger");
  DWORD disposition = 0;
  for (const wchar_t* other : {L"\u00E4RGER", L"\u00E4rger"}) {
    RegCloseKey(create(HKEY_CURRENT_USER, other, KEY_ALL_ACCESS, &disposition));
    EXPECT_EQ(disposition, static_cast<DWORD>(REG_OPENED_EXISTING_KEY));
  }
  ASSERT_EQ(setDword(key, L"\u041C\u043E\u0441\u043A\u0432\u0430", 1), ERROR_SUCCESS);  // Moskva
  EXPECT_EQ(RegQueryValueExW(key, L"\u041C\u041E\u0421\u041A\u0412\u0410", nullptr, nullptr, nullptr, nullptr),
            ERROR_SUCCESS);
  ASSERT_EQ(setDword(key, L"\u03BF\u03B4\u03CC\u03C2", 1), ERROR_SUCCESS);  // final sigma matches the capital
  EXPECT_EQ(RegQueryValueExW(key, L"\u039F\u0394\u038C\u03A3", nullptr, nullptr, nullptr, nullptr), ERROR_SUCCESS);
  EXPECT_EQ(RegQueryValueExW(key, L"\u03BF\u03B4\u03CC\u03C3", nullptr, nullptr, nullptr, nullptr), ERROR_SUCCESS);
  EXPECT_EQ(RegQueryValueExW(key, L"\u03BF\u03B4\u03CC", nullptr, nullptr, nullptr, nullptr), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(subkeys(HKEY_CURRENT_USER), std::vector<std::wstring>{L"\u00C4rger"});
  RegCloseKey(key);
}

// What a handle may do by the rights it was opened with, one row a mask.
TEST(Registry, AccessMasksAreChecked) {
  TemporaryRegistry store;
  RegCloseKey(create(HKEY_CURRENT_USER, L"Guarded\\Child"));
  HKEY setup = open(HKEY_CURRENT_USER, L"Guarded", KEY_ALL_ACCESS);
  ASSERT_EQ(setDword(setup, L"v", 1), ERROR_SUCCESS);
  const struct {
    const char* what;
    REGSAM access;
    LONG set, query, enumerate, deleteValue, createBelow;
  } rows[] = {
      {"KEY_READ", KEY_READ, ERROR_ACCESS_DENIED, ERROR_SUCCESS, ERROR_SUCCESS, ERROR_ACCESS_DENIED, ERROR_SUCCESS},
      {"KEY_WRITE", KEY_WRITE, ERROR_SUCCESS, ERROR_ACCESS_DENIED, ERROR_ACCESS_DENIED, ERROR_SUCCESS, ERROR_SUCCESS},
      {"KEY_QUERY_VALUE", KEY_QUERY_VALUE, ERROR_ACCESS_DENIED, ERROR_SUCCESS, ERROR_ACCESS_DENIED,
       ERROR_ACCESS_DENIED, ERROR_SUCCESS},
      {"KEY_ENUMERATE_SUB_KEYS", KEY_ENUMERATE_SUB_KEYS, ERROR_ACCESS_DENIED, ERROR_ACCESS_DENIED, ERROR_SUCCESS,
       ERROR_ACCESS_DENIED, ERROR_SUCCESS},
      {"GENERIC_READ | GENERIC_WRITE", GENERIC_READ | GENERIC_WRITE, ERROR_SUCCESS, ERROR_SUCCESS, ERROR_SUCCESS,
       ERROR_SUCCESS, ERROR_SUCCESS},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    HKEY key = open(HKEY_CURRENT_USER, L"Guarded", row.access);
    EXPECT_EQ(setDword(key, L"v", 1), row.set);
    EXPECT_EQ(RegQueryValueExW(key, L"v", nullptr, nullptr, nullptr, nullptr), row.query);
    wchar_t name[16];
    DWORD size = 16;
    EXPECT_EQ(RegEnumKeyExW(key, 0, name, &size, nullptr, nullptr, nullptr, nullptr), row.enumerate);
    EXPECT_EQ(RegDeleteValueW(key, L"v"), row.deleteValue);
    ASSERT_EQ(setDword(setup, L"v", 1), ERROR_SUCCESS);
    // Creating below a key is checked against the key, not the handle's mask.
    HKEY made = nullptr;
    EXPECT_EQ(RegCreateKeyExW(key, L"Made", 0, nullptr, 0, KEY_READ, nullptr, &made, nullptr), row.createBelow);
    RegCloseKey(made);
    RegCloseKey(key);
  }
  RegCloseKey(setup);
}

TEST(Registry, EnumerationIsOrderedAndBounded) {
  TemporaryRegistry store;
  HKEY key = create(HKEY_CURRENT_USER, L"List");
  for (const wchar_t* name : {L"beta", L"Gamma", L"alpha", L"ALPHA2"}) RegCloseKey(create(key, name));
  EXPECT_EQ(subkeys(key), (std::vector<std::wstring>{L"alpha", L"ALPHA2", L"beta", L"Gamma"}));

  wchar_t name[8];
  std::wcscpy(name, L"keep");
  DWORD size = 5;  // "ALPHA2" needs 7 with its terminator
  EXPECT_EQ(RegEnumKeyExW(key, 1, name, &size, nullptr, nullptr, nullptr, nullptr), ERROR_MORE_DATA);
  EXPECT_EQ(std::wstring(name), L"keep") << "nothing is copied when the name doesn't fit";
  size = 8;
  EXPECT_EQ(RegEnumKeyExW(key, 4, name, &size, nullptr, nullptr, nullptr, nullptr), ERROR_NO_MORE_ITEMS);
  EXPECT_EQ(std::wstring(name), L"keep");

  // Values come in the order they were first set.
  for (const wchar_t* value : {L"z", L"a", L"m"}) ASSERT_EQ(setDword(key, value, 1), ERROR_SUCCESS);
  ASSERT_EQ(setDword(key, L"Z", 2), ERROR_SUCCESS);
  std::wstring order;
  for (DWORD i = 0;; ++i) {
    DWORD type = 0, value = 0, dataSize = 4;
    size = 8;
    const LONG e = RegEnumValueW(key, i, name, &size, nullptr, &type, reinterpret_cast<BYTE*>(&value), &dataSize);
    if (e == ERROR_NO_MORE_ITEMS) break;
    ASSERT_EQ(e, ERROR_SUCCESS);
    EXPECT_EQ(type, static_cast<DWORD>(REG_DWORD));
    order += name;
    order += std::to_wstring(value);
  }
  EXPECT_EQ(order, L"z2a1m1");

  DWORD subKeys = 0, maxSubKey = 0, values = 0, maxValueName = 0, maxValue = 0;
  EXPECT_EQ(RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, &subKeys, &maxSubKey, nullptr, &values, &maxValueName,
                             &maxValue, nullptr, nullptr),
            ERROR_SUCCESS);
  EXPECT_EQ(subKeys, 4u);
  EXPECT_EQ(maxSubKey, 6u);
  EXPECT_EQ(values, 3u);
  EXPECT_EQ(maxValueName, 1u);
  EXPECT_EQ(maxValue, 4u);
  RegCloseKey(key);
}

TEST(Registry, DeletingKeys) {
  TemporaryRegistry store;
  HKEY child = create(HKEY_CURRENT_USER, L"Doomed\\Child");
  HKEY top = open(HKEY_CURRENT_USER, L"Doomed", KEY_READ);
  EXPECT_EQ(RegDeleteKeyW(HKEY_CURRENT_USER, L"Doomed"), ERROR_ACCESS_DENIED) << "a key with subkeys stays";
  EXPECT_EQ(RegDeleteKeyW(HKEY_CURRENT_USER, L"Doomed\\Nothing"), ERROR_FILE_NOT_FOUND);
  ASSERT_EQ(setDword(child, L"v", 1), ERROR_SUCCESS);
  EXPECT_EQ(RegDeleteKeyW(top, L"child"), ERROR_SUCCESS) << "a read handle may delete below it";

  // Handles to a deleted key report it.
  EXPECT_EQ(setDword(child, L"v", 2), ERROR_KEY_DELETED);
  EXPECT_EQ(RegQueryValueExW(child, L"v", nullptr, nullptr, nullptr, nullptr), ERROR_KEY_DELETED);
  HKEY below = nullptr;
  EXPECT_EQ(RegCreateKeyExW(child, L"x", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &below, nullptr), ERROR_KEY_DELETED);
  EXPECT_EQ(RegCloseKey(child), ERROR_SUCCESS);

  // Recreating the name makes a new key; the old values are gone.
  HKEY fresh = create(HKEY_CURRENT_USER, L"Doomed\\Child");
  EXPECT_EQ(RegQueryValueExW(fresh, L"v", nullptr, nullptr, nullptr, nullptr), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(RegDeleteKeyW(fresh, L""), ERROR_SUCCESS) << "an empty subkey deletes the key itself";
  EXPECT_EQ(RegDeleteKeyW(top, L""), ERROR_SUCCESS);
  EXPECT_EQ(RegDeleteKeyW(HKEY_CURRENT_USER, L""), ERROR_ACCESS_DENIED);
  EXPECT_EQ(RegDeleteKeyW(HKEY_CURRENT_USER, nullptr), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(subkeys(HKEY_CURRENT_USER), std::vector<std::wstring>{});
  RegCloseKey(fresh);
  RegCloseKey(top);
}

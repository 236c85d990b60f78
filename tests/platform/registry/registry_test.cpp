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
                        static_cast<DWORD>(2 * text.size() + 2));
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

  HKEY missing = reinterpret_cast<HKEY>(1);
  EXPECT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, L"Software\\Qn\\Nothing", 0, KEY_READ, &missing), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(missing, nullptr);

  // A trailing backslash is ignored; a leading one or an empty name is not.
  HKEY trailing = open(HKEY_CURRENT_USER, L"Software\\Qn\\");
  HKEY bad = nullptr;
  EXPECT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, L"\\Software", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &bad, nullptr),
            ERROR_BAD_PATHNAME);
  EXPECT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, L"\\Software", 0, KEY_READ, &bad), ERROR_BAD_PATHNAME);
  EXPECT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, L"Software\\\\Qn", 0, KEY_READ, &bad), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, nullptr, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &bad, nullptr),
            ERROR_INVALID_PARAMETER);
  const std::wstring longest(255, L'x'), tooLong(256, L'x');
  RegCloseKey(create(deep, longest.c_str()));
  EXPECT_EQ(RegCreateKeyExW(deep, tooLong.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &bad, nullptr),
            ERROR_INVALID_PARAMETER);

  for (HKEY k : {deep, again, parent, trailing}) EXPECT_EQ(RegCloseKey(k), ERROR_SUCCESS);
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

TEST(Registry, StringValuesHaveWindowsSizes) {
  TemporaryRegistry store;
  HKEY key = create(HKEY_CURRENT_USER, L"Strings");
  ASSERT_EQ(setString(key, L"Greeting", L"hello"), ERROR_SUCCESS);

  DWORD type = 0, size = 0;
  EXPECT_EQ(RegQueryValueExW(key, L"greeting", nullptr, &type, nullptr, &size), ERROR_SUCCESS) << "a size query";
  EXPECT_EQ(type, static_cast<DWORD>(REG_SZ));
  EXPECT_EQ(size, 12u) << "five characters and the terminator, two bytes each";

  // A buffer of size / 2 wchar_t always holds the text.
  std::vector<wchar_t> buffer(size / 2, L'#');
  EXPECT_EQ(RegQueryValueExW(key, L"GREETING", nullptr, &type, reinterpret_cast<BYTE*>(buffer.data()), &size),
            ERROR_SUCCESS);
  EXPECT_EQ(std::wstring(buffer.data()), L"hello");
  EXPECT_EQ(size, 12u);

  wchar_t small[4] = {L'a', L'b', L'c', L'd'};
  size = 8;
  EXPECT_EQ(RegQueryValueExW(key, L"Greeting", nullptr, &type, reinterpret_cast<BYTE*>(small), &size),
            ERROR_MORE_DATA);
  EXPECT_EQ(size, 12u) << "the size needed";

  ASSERT_EQ(setString(key, L"Empty", L""), ERROR_SUCCESS);
  EXPECT_EQ(RegQueryValueExW(key, L"Empty", nullptr, &type, nullptr, &size), ERROR_SUCCESS);
  EXPECT_EQ(size, 2u) << "an empty string keeps its terminator";

  // A character beyond U+FFFF is a surrogate pair on disk: four bytes.
  ASSERT_EQ(setString(key, L"Wide", L"a\U0001F600"), ERROR_SUCCESS);
  EXPECT_EQ(RegQueryValueExW(key, L"Wide", nullptr, &type, nullptr, &size), ERROR_SUCCESS);
  EXPECT_EQ(size, 8u);
  std::vector<wchar_t> wide(size / 2, L'#');
  EXPECT_EQ(RegQueryValueExW(key, L"Wide", nullptr, &type, reinterpret_cast<BYTE*>(wide.data()), &size),
            ERROR_SUCCESS);
  EXPECT_EQ(std::wstring(wide.data()), L"a\U0001F600");

  // REG_MULTI_SZ with its double terminator; the stored bytes are UTF-16LE.
  const wchar_t multi[] = L"one\0two\0";
  ASSERT_EQ(RegSetValueExW(key, L"List", 0, REG_MULTI_SZ, reinterpret_cast<const BYTE*>(multi), 18), ERROR_SUCCESS);
  unsigned char raw[32];
  size = sizeof raw;
  EXPECT_EQ(qnRegQueryValueBytes(key, L"List", &type, raw, &size), ERROR_SUCCESS);
  EXPECT_EQ(type, static_cast<DWORD>(REG_MULTI_SZ));
  ASSERT_EQ(size, 18u);
  EXPECT_EQ(std::memcmp(raw, "o\0n\0e\0\0\0t\0w\0o\0\0\0\0\0", 18), 0);

  // A missing value, the default value, and a value in a name's other case.
  EXPECT_EQ(RegQueryValueExW(key, L"Nothing", nullptr, &type, nullptr, &size), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(RegQueryValueExW(key, nullptr, nullptr, &type, nullptr, &size), ERROR_FILE_NOT_FOUND);
  ASSERT_EQ(setString(key, nullptr, L"default"), ERROR_SUCCESS);
  EXPECT_EQ(RegQueryValueExW(key, L"", nullptr, &type, nullptr, &size), ERROR_SUCCESS);
  EXPECT_EQ(size, 16u);
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

TEST(Registry, AccessMasksAreChecked) {
  TemporaryRegistry store;
  RegCloseKey(create(HKEY_CURRENT_USER, L"Guarded\\Child"));
  HKEY reader = open(HKEY_CURRENT_USER, L"Guarded", KEY_READ);
  EXPECT_EQ(setDword(reader, L"v", 1), ERROR_ACCESS_DENIED);
  EXPECT_EQ(RegDeleteValueW(reader, L"v"), ERROR_ACCESS_DENIED);
  EXPECT_EQ(RegQueryValueExW(reader, L"v", nullptr, nullptr, nullptr, nullptr), ERROR_FILE_NOT_FOUND);
  // Creating below a key is checked against the key, not the handle's mask.
  HKEY made = create(reader, L"Made");
  RegCloseKey(made);

  HKEY writer = open(HKEY_CURRENT_USER, L"Guarded", KEY_WRITE);
  EXPECT_EQ(setDword(writer, L"v", 1), ERROR_SUCCESS);
  EXPECT_EQ(RegQueryValueExW(writer, L"v", nullptr, nullptr, nullptr, nullptr), ERROR_ACCESS_DENIED);
  wchar_t name[16];
  DWORD size = 16;
  EXPECT_EQ(RegEnumKeyExW(writer, 0, name, &size, nullptr, nullptr, nullptr, nullptr), ERROR_ACCESS_DENIED);

  HKEY query = open(HKEY_CURRENT_USER, L"Guarded", KEY_QUERY_VALUE);
  EXPECT_EQ(RegQueryValueExW(query, L"v", nullptr, nullptr, nullptr, nullptr), ERROR_SUCCESS);
  EXPECT_EQ(RegEnumKeyExW(query, 0, name, &size, nullptr, nullptr, nullptr, nullptr), ERROR_ACCESS_DENIED);
  HKEY enumerate = open(HKEY_CURRENT_USER, L"Guarded", KEY_ENUMERATE_SUB_KEYS);
  EXPECT_EQ(RegEnumKeyExW(enumerate, 0, name, &size, nullptr, nullptr, nullptr, nullptr), ERROR_SUCCESS);
  HKEY generic = open(HKEY_CURRENT_USER, L"Guarded", GENERIC_READ | GENERIC_WRITE);
  EXPECT_EQ(setDword(generic, L"w", 2), ERROR_SUCCESS);
  EXPECT_EQ(RegQueryValueExW(generic, L"w", nullptr, nullptr, nullptr, nullptr), ERROR_SUCCESS);
  for (HKEY k : {reader, writer, query, enumerate, generic}) RegCloseKey(k);
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

TEST(RegistryStrings, ASizeCountedInWideCharactersOfThisPortReadsNoFurther) {
  // Ported code often gives (length + 1) * sizeof(wchar_t): twice the
  // Windows count here. The text and its terminator are stored; nothing
  // behind the caller's characters is read.
  TemporaryRegistry store;
  HKEY key = nullptr;
  ASSERT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, L"Software\\Sizes", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key,
                            nullptr),
            ERROR_SUCCESS);
  auto* text = new wchar_t[4]{L'a', L'b', L'c', L'\0'};
  ASSERT_EQ(RegSetValueExW(key, L"s", 0, REG_SZ, reinterpret_cast<const BYTE*>(text), 4 * sizeof(wchar_t)),
            ERROR_SUCCESS);
  delete[] text;
  DWORD size = 0, type = 0;
  ASSERT_EQ(RegQueryValueExW(key, L"s", nullptr, &type, nullptr, &size), ERROR_SUCCESS);
  EXPECT_EQ(size, 8u) << "three characters and the terminator, two bytes each";
  RegCloseKey(key);
}

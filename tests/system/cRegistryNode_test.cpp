#include <gtest/gtest.h>
#include <qnlith/qnlith.h>

#include <memory>
#include <string>

#include "support/temporary_registry.h"
#include "support/thrown_text.h"

namespace {

bool exists(HKEY root, const wchar_t* path) {
  HKEY key = nullptr;
  if (RegOpenKeyExW(root, path, 0, KEY_READ, &key) != ERROR_SUCCESS) return false;
  RegCloseKey(key);
  return true;
}

// A value read straight from the store, bypassing the class.
DWORD storedDword(HKEY root, const wchar_t* path, const wchar_t* name, LONG* error = nullptr) {
  HKEY key = nullptr;
  DWORD value = 0, size = 4;
  LONG e = RegOpenKeyExW(root, path, 0, KEY_READ, &key);
  if (e == ERROR_SUCCESS) {
    e = RegQueryValueExW(key, name, nullptr, nullptr, reinterpret_cast<BYTE*>(&value), &size);
    RegCloseKey(key);
  }
  if (error != nullptr) *error = e;
  return value;
}

}  // namespace

TEST(cRegistryNode, OnlyTheExactMachineRootNameLeavesTheUsersRoot) {
  TemporaryRegistry store;
  { cRegistryNode node(L"Software\\ByName", L"HKEY_LOCAL_MACHINE", true); }
  EXPECT_TRUE(exists(HKEY_LOCAL_MACHINE, L"Software\\ByName"));
  EXPECT_FALSE(exists(HKEY_CURRENT_USER, L"Software\\ByName"));

  int n = 0;
  for (const wchar_t* name : {L"hkey_local_machine", L"HKEY_USERS", L"", L"HKEY_CURRENT_USER", L"HKLM"}) {
    const std::wstring base = L"Software\\Other" + std::to_wstring(n++);
    cRegistryNode node;
    EXPECT_TRUE(node.open(base.c_str(), name, true)) << name;
    EXPECT_TRUE(exists(HKEY_CURRENT_USER, base.c_str())) << name;
    EXPECT_FALSE(exists(HKEY_LOCAL_MACHINE, base.c_str())) << name;
  }
}

TEST(cRegistryNode, ConstructorsThrowWithTheKeyThatFailed) {
  TemporaryRegistry store;
  EXPECT_EQ(thrownText([] { cRegistryNode node(L"Software\\Missing", L"HKEY_LOCAL_MACHINE", false); }),
            L"cRegistryNode-Invalid Root key: 'Software\\Missing'")
      << "the text names the base key, not the root";
  EXPECT_FALSE(exists(HKEY_LOCAL_MACHINE, L"Software\\Missing"));
  EXPECT_EQ(thrownText([] { cRegistryNode node(HKEY_CURRENT_USER, L"Software\\Missing", L"", false); }),
            L"cRegistryNode-Invalid Root key: 'Software\\Missing'");

  { cRegistryNode made(HKEY_CURRENT_USER, L"Software\\Base", L"", true); }
  EXPECT_EQ(thrownText([] { cRegistryNode node(HKEY_CURRENT_USER, L"Software\\Base", L"Sec\\Tion", false); }),
            L"cRegistryNode-Invalid Section key: 'Software\\Base\\Sec\\Tion'");

  // With create set, the base, the section and the keys above them are made.
  cRegistryNode node(HKEY_CURRENT_USER, L"Software\\New\\Base", L"Deep\\Section", true);
  EXPECT_TRUE(exists(HKEY_CURRENT_USER, L"Software\\New\\Base\\Deep\\Section"));
  EXPECT_TRUE(node.writeValueToKey(L"v", DWORD{5}));
  EXPECT_EQ(storedDword(HKEY_CURRENT_USER, L"Software\\New\\Base\\Deep\\Section", L"v"), 5u);
}

TEST(cRegistryNode, SectionKeys) {
  TemporaryRegistry store;
  cRegistryNode node(HKEY_CURRENT_USER, L"App", L"", true);
  node.setSectionKey(L"Window\\Main");
  ASSERT_TRUE(node.writeValueToKey(L"Width", DWORD{640}));
  EXPECT_EQ(storedDword(HKEY_CURRENT_USER, L"App\\Window\\Main", L"Width"), 640u);

  // The same name again closes the key and opens it anew: a key deleted
  // and made again meanwhile is reached once more.
  ASSERT_EQ(RegDeleteKeyW(HKEY_CURRENT_USER, L"App\\Window\\Main"), ERROR_SUCCESS);
  HKEY again = nullptr;
  ASSERT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, L"App\\Window\\Main", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &again,
                            nullptr),
            ERROR_SUCCESS);
  RegCloseKey(again);
  EXPECT_FALSE(node.writeValueToKey(L"Width", DWORD{800})) << "the old key is gone";
  node.setSectionKey(L"Window\\Main");
  EXPECT_TRUE(node.writeValueToKey(L"Width", DWORD{800}));
  EXPECT_EQ(storedDword(HKEY_CURRENT_USER, L"App\\Window\\Main", L"Width"), 800u);

  // An empty section falls back to the base key.
  node.setSectionKey(L"");
  ASSERT_TRUE(node.writeValueToKey(L"Base", true));
  EXPECT_EQ(storedDword(HKEY_CURRENT_USER, L"App", L"Base"), 1u);

  // A section that can't be reached throws and leaves the base key current.
  cRegistryNode strict(HKEY_CURRENT_USER, L"App", L"", false);
  EXPECT_EQ(thrownText([&] { strict.setSectionKey(L"Nowhere"); }), L"cRegistryNode-Invalid Section key: 'App\\Nowhere'");
  EXPECT_TRUE(strict.writeValueToKey(L"AfterThrow", DWORD{3}));
  EXPECT_EQ(storedDword(HKEY_CURRENT_USER, L"App", L"AfterThrow"), 3u);
}

TEST(cRegistryNode, PathsAreComposedFromTheBaseKeyText) {
  TemporaryRegistry store;
  cRegistryNode node(HKEY_CURRENT_USER, L"First", L"Section", true);
  EXPECT_TRUE(node.createKey(L"Made\\Below"));
  EXPECT_TRUE(exists(HKEY_CURRENT_USER, L"First\\Made\\Below")) << "not below the open section";
  EXPECT_TRUE(node.keyExists(L"Section"));
  EXPECT_TRUE(node.keyExists(L"made"));
  EXPECT_FALSE(node.keyExists(L"Made\\Nothing"));

  // A new base key changes later paths, not the keys already open.
  node.setBaseKey(L"Second");
  EXPECT_TRUE(node.writeValueToKey(L"v", DWORD{1}));
  EXPECT_EQ(storedDword(HKEY_CURRENT_USER, L"First\\Section", L"v"), 1u);
  EXPECT_FALSE(node.keyExists(L"Section"));
  EXPECT_TRUE(node.createKey(L"Other"));
  EXPECT_TRUE(exists(HKEY_CURRENT_USER, L"Second\\Other"));
  node.setSectionKey(L"Other");
  EXPECT_TRUE(node.writeValueToKey(L"w", DWORD{2}));
  EXPECT_EQ(storedDword(HKEY_CURRENT_USER, L"Second\\Other", L"w"), 2u);

  // An empty base key makes paths start with a backslash, which the
  // registry refuses.
  HKEY top = nullptr;
  ASSERT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, L"Top", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &top, nullptr),
            ERROR_SUCCESS);
  RegCloseKey(top);
  cRegistryNode rooted(HKEY_CURRENT_USER, L"", L"", false);
  EXPECT_FALSE(rooted.keyExists(L"Top"));
  EXPECT_FALSE(rooted.createKey(L"Top"));
  EXPECT_EQ(thrownText([&] { rooted.setSectionKey(L"Top"); }), L"cRegistryNode-Invalid Section key: '\\Top'");
  EXPECT_TRUE(rooted.writeValueToKey(L"AtTheRoot", DWORD{9})) << "the base key is the root itself";
  EXPECT_EQ(storedDword(HKEY_CURRENT_USER, L"", L"AtTheRoot"), 9u);
}

TEST(cRegistryNode, ValuesAndTheirTypes) {
  TemporaryRegistry store;
  cRegistryNode node(HKEY_CURRENT_USER, L"Values", L"", true);

  ASSERT_TRUE(node.writeValueToKey(L"Flag", true));
  DWORD number = 0;
  EXPECT_TRUE(node.readValueFromKey(L"Flag", number));
  EXPECT_EQ(number, 1u) << "a boolean is a REG_DWORD";
  ASSERT_TRUE(node.writeValueToKey(L"Seven", DWORD{7}));
  bool flag = false;
  EXPECT_TRUE(node.readValueFromKey(L"seven", flag));
  EXPECT_TRUE(flag);
  ASSERT_TRUE(node.writeValueToKey(L"Zero", false));
  EXPECT_TRUE(node.readValueFromKey(L"Zero", flag));
  EXPECT_FALSE(flag);

  // A binary value of four bytes is no REG_DWORD: the boolean stays as it was.
  HKEY raw = nullptr;
  ASSERT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, L"Values", 0, KEY_ALL_ACCESS, &raw), ERROR_SUCCESS);
  const BYTE four[4] = {1, 0, 0, 0};
  ASSERT_EQ(RegSetValueExW(raw, L"Binary", 0, REG_BINARY, four, 4), ERROR_SUCCESS);
  flag = true;
  EXPECT_FALSE(node.readValueFromKey(L"Binary", flag));
  EXPECT_TRUE(flag);
  number = 99;
  EXPECT_FALSE(node.readValueFromKey(L"Binary", number));

  // A string write stores the terminator: as UTF-16 in the store, as
  // wchar_t to a caller of the wide calls.
  const struct {
    const wchar_t* name;
    const wchar_t* text;
    DWORD stored, wide;
  } strings[] = {
      {L"Empty", L"", 2, 4},
      {L"Name", L"Qnlith", 14, 28},
      {L"Smile", L"\U0001F600 caf\u00E9", 16, 28},
  };
  for (const auto& row : strings) {
    SCOPED_TRACE(testing::Message() << "value " << row.name);
    ASSERT_TRUE(node.writeValueToKey(row.name, cString(row.text)));
    DWORD type = 0, size = 0;
    ASSERT_EQ(qnRegQueryValueBytes(raw, row.name, &type, nullptr, &size), ERROR_SUCCESS);
    EXPECT_EQ(type, static_cast<DWORD>(REG_SZ));
    EXPECT_EQ(size, row.stored);
    ASSERT_EQ(RegQueryValueExW(raw, row.name, nullptr, &type, nullptr, &size), ERROR_SUCCESS);
    EXPECT_EQ(size, row.wide);
    cString text;
    EXPECT_TRUE(node.readValueFromKey(row.name, text));
    EXPECT_EQ(text, row.text);
  }
  cString text;
  EXPECT_TRUE(node.readValueFromKey(L"NAME", text));
  EXPECT_EQ(text, L"Qnlith");

  // A short string read as a number fails and stays inside the target.
  ASSERT_TRUE(node.writeValueToKey(L"Letter", cString(L"a")));
  EXPECT_FALSE(node.readValueFromKey(L"Letter", number));
  flag = false;
  EXPECT_FALSE(node.readValueFromKey(L"Letter", flag));
  EXPECT_FALSE(flag);

  // Strings of the three string types read; of a list only the first item.
  const wchar_t list[] = L"first\0second\0";
  ASSERT_EQ(RegSetValueExW(raw, L"List", 0, REG_MULTI_SZ, reinterpret_cast<const BYTE*>(list), sizeof list), ERROR_SUCCESS);
  EXPECT_TRUE(node.readValueFromKey(L"List", text));
  EXPECT_EQ(text, L"first");
  const std::wstring expand = L"%HOME%\\x";
  ASSERT_EQ(RegSetValueExW(raw, L"Expand", 0, REG_EXPAND_SZ, reinterpret_cast<const BYTE*>(expand.c_str()),
                           static_cast<DWORD>((expand.size() + 1) * sizeof(wchar_t))),
            ERROR_SUCCESS);
  EXPECT_TRUE(node.readValueFromKey(L"Expand", text));
  EXPECT_EQ(text, L"%HOME%\\x") << "not expanded";
  text = L"kept";
  EXPECT_FALSE(node.readValueFromKey(L"Seven", text));
  EXPECT_FALSE(node.readValueFromKey(L"Missing", text));
  EXPECT_EQ(text, L"kept");
  RegCloseKey(raw);
}

TEST(cRegistryNode, StringsReadUpTo2047Characters) {
  TemporaryRegistry store;
  cRegistryNode node(HKEY_CURRENT_USER, L"Long", L"", true);
  const cString longest(std::wstring(2047, L'x').c_str());
  ASSERT_TRUE(node.writeValueToKey(L"Longest", longest));
  cString text;
  EXPECT_TRUE(node.readValueFromKey(L"Longest", text));
  EXPECT_EQ(text.length(), 2047u);
  EXPECT_EQ(text, longest);

  ASSERT_TRUE(node.writeValueToKey(L"TooLong", cString(std::wstring(2048, L'y').c_str())));
  EXPECT_FALSE(node.readValueFromKey(L"TooLong", text));
  EXPECT_EQ(text, longest) << "the target stays as it was";

  // Written whole whatever its characters: the store's copy is the text.
  const std::wstring wide = std::wstring(1000, L'\u00E9') + std::wstring(1047, L'\U0001F600');
  ASSERT_TRUE(node.writeValueToKey(L"Wide", cString(wide.c_str())));
  EXPECT_TRUE(node.readValueFromKey(L"Wide", text));
  EXPECT_EQ(std::wstring(text.c_str()), wide);
  HKEY raw = nullptr;
  ASSERT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, L"Long", 0, KEY_READ, &raw), ERROR_SUCCESS);
  DWORD size = 0;
  ASSERT_EQ(RegQueryValueExW(raw, L"Wide", nullptr, nullptr, nullptr, &size), ERROR_SUCCESS);
  EXPECT_EQ(size, 2048 * sizeof(wchar_t));

  // A value stored without a terminator ends where the buffer does.
  const std::wstring bare(2048, L'z');
  HKEY writer = nullptr;
  ASSERT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, L"Long", 0, KEY_WRITE, &writer), ERROR_SUCCESS);
  ASSERT_EQ(RegSetValueExW(writer, L"Bare", 0, REG_SZ, reinterpret_cast<const BYTE*>(bare.data()),
                           static_cast<DWORD>(bare.size() * sizeof(wchar_t))),
            ERROR_SUCCESS);
  EXPECT_TRUE(node.readValueFromKey(L"Bare", text));
  EXPECT_EQ(std::wstring(text.c_str()), bare);
  RegCloseKey(writer);
  RegCloseKey(raw);
}

TEST(cRegistryNode, EnumeratesSubkeysOfTheCurrentKey) {
  TemporaryRegistry store;
  cRegistryNode node(HKEY_CURRENT_USER, L"Parent", L"", true);
  EXPECT_TRUE(node.createKey(L"b"));
  EXPECT_TRUE(node.createKey(L"A"));
  cString name = L"unchanged";
  EXPECT_TRUE(node.enumKey(0, name));
  EXPECT_EQ(name, L"A");
  EXPECT_TRUE(node.enumKey(1, name));
  EXPECT_EQ(name, L"b");
  EXPECT_FALSE(node.enumKey(2, name));
  EXPECT_EQ(name, L"b") << "behind the last the name stays";

  node.setSectionKey(L"A");
  EXPECT_FALSE(node.enumKey(0, name)) << "the section has no subkeys";

  cRegistryNode closed;
  EXPECT_FALSE(closed.enumKey(0, name));
  EXPECT_FALSE(closed.writeValueToKey(L"v", DWORD{1}));
  DWORD number = 0;
  EXPECT_FALSE(closed.readValueFromKey(L"v", number));
  EXPECT_FALSE(closed.keyExists(L"Parent"));
}

TEST(cRegistryNode, CopiesHoldKeysOfTheirOwn) {
  TemporaryRegistry store;
  auto original = std::make_unique<cRegistryNode>(HKEY_CURRENT_USER, L"Shared", L"Section", true);
  cRegistryNode copy(*original);
  EXPECT_TRUE(copy.writeValueToKey(L"FromCopy", DWORD{1}));
  EXPECT_TRUE(original->writeValueToKey(L"FromOriginal", DWORD{2}));
  original.reset();  // closes only the original's keys
  DWORD number = 0;
  EXPECT_TRUE(copy.readValueFromKey(L"FromOriginal", number));
  EXPECT_EQ(number, 2u);
  EXPECT_EQ(storedDword(HKEY_CURRENT_USER, L"Shared\\Section", L"FromCopy"), 1u);

  // Assignment gives up the target's keys and takes the source's places.
  cRegistryNode target(HKEY_CURRENT_USER, L"Elsewhere", L"", true);
  {
    cRegistryNode source(HKEY_CURRENT_USER, L"Shared", L"", false);
    target = source;
    EXPECT_TRUE(source.writeValueToKey(L"FromSource", DWORD{3}));
  }
  EXPECT_TRUE(target.writeValueToKey(L"FromTarget", DWORD{4}));
  EXPECT_EQ(storedDword(HKEY_CURRENT_USER, L"Shared", L"FromTarget"), 4u);
  EXPECT_TRUE(target.keyExists(L"Section")) << "paths follow the source's base key";
  target.setSectionKey(L"Section");
  EXPECT_TRUE(target.readValueFromKey(L"FromCopy", number));
  EXPECT_EQ(number, 1u);

  const cRegistryNode& itself = target;
  target = itself;
  EXPECT_TRUE(target.writeValueToKey(L"AfterSelf", DWORD{5}));
  cRegistryNode empty;
  cRegistryNode emptyCopy(empty);
  EXPECT_FALSE(emptyCopy.writeValueToKey(L"v", DWORD{1}));
}

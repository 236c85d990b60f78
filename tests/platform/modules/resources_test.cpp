#include <gtest/gtest.h>
#include <qnlith/win32.h>

#include <cstring>
#include <cwchar>
#include <memory>
#include <tuple>

#include "../../../platform/modules/resources.h"
#include "resources/patterns.h"
#include "resources/test_modules.h"

using namespace testmodules;

namespace {

// Holds a module for one test.
class Loaded {
 public:
  Loaded(const std::string& path, DWORD flags = 0)
      : module_(LoadLibraryExW(wide(path).c_str(), nullptr, flags)) {}
  ~Loaded() {
    if (module_) FreeLibrary(module_);
  }
  Loaded(const Loaded&) = delete;
  Loaded& operator=(const Loaded&) = delete;
  operator HMODULE() const { return module_; }

 private:
  HMODULE module_;
};

std::wstring loadString(HMODULE module, UINT id, int size = 4096) {
  std::vector<wchar_t> buffer(static_cast<std::size_t>(size) + 1, L'#');
  const int n = LoadStringW(module, id, buffer.data(), size);
  return std::wstring(buffer.data(), static_cast<std::size_t>(n));
}

std::string bytesOf(HMODULE module, HRSRC resource) {
  const auto data = static_cast<const char*>(LockResource(LoadResource(module, resource)));
  return data ? std::string(data, SizeofResource(module, resource)) : std::string("<none>");
}

std::string stringBlock(HMODULE module, WORD block, WORD language) {
  return bytesOf(module, FindResourceExW(module, RT_STRING, MAKEINTRESOURCEW(block), language));
}

std::wstring nameText(LPCWSTR name) {
  return IS_INTRESOURCE(name) ? L"#" + std::to_wstring(reinterpret_cast<ULONG_PTR>(name)) : std::wstring(name);
}

// Every resource of a module: type, name, language and bytes, in the order
// the enumeration gives them.
using Listing = std::vector<std::tuple<std::wstring, std::wstring, WORD, std::string>>;

Listing listing(HMODULE module) {
  struct Walk {
    HMODULE module;
    Listing out;
  } walk{module, {}};
  EnumResourceTypesW(
      module,
      [](HMODULE m, LPWSTR type, LONG_PTR p) -> BOOL {
        return EnumResourceNamesW(
            m, type,
            [](HMODULE m, LPCWSTR type, LPWSTR name, LONG_PTR p) -> BOOL {
              return EnumResourceLanguagesW(
                  m, type, name,
                  [](HMODULE m, LPCWSTR type, LPCWSTR name, WORD language, LONG_PTR p) -> BOOL {
                    auto& w = *reinterpret_cast<Walk*>(p);
                    w.out.emplace_back(nameText(type), nameText(name), language,
                                       bytesOf(m, FindResourceExW(m, type, name, language)));
                    return TRUE;
                  },
                  p);
            },
            p);
      },
      reinterpret_cast<LONG_PTR>(&walk));
  return walk.out;
}

}  // namespace

TEST(Resources, StringsComeInBlocksOfSixteenAndAreCutToTheBuffer) {
  Loaded module(QN_TEST_MODULE);
  ASSERT_NE(module, nullptr);
  constexpr DWORD Unchecked = ~0u;
  struct Case {
    UINT id;
    int size;
    const wchar_t* text;
    DWORD error;
    const char* why;
  };
  const Case cases[] = {
      {1, 64, L"Hello from the module", Unchecked, "a string of block one"},
      {2, 64, L"Second string", Unchecked, "the next one"},
      {17, 64, L"First of block two", Unchecked, "block two"},
      {18, 64, L"smile \u263A pair \U0001F600 end", Unchecked, "a surrogate pair is one character"},
      {1, 6, L"Hello", Unchecked, "cut to the buffer and terminated"},
      {1, 1, L"", Unchecked, "room for the terminator only"},
      {0x10001, 64, L"Hello from the module", Unchecked, "only the low 16 bits of the id count"},
      {0xFFFF0002, 64, L"Second string", Unchecked, "high bits set"},
      {0x20011, 64, L"First of block two", Unchecked, "high bits over block two"},
      {3, 8, L"", ERROR_RESOURCE_NAME_NOT_FOUND, "a hole in a block"},
      {16, 8, L"", ERROR_RESOURCE_NAME_NOT_FOUND, "a block that is not there"},
      {999, 8, L"", ERROR_RESOURCE_NAME_NOT_FOUND, "far beyond the strings"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    // Guard characters behind the size given.
    std::vector<wchar_t> buffer(static_cast<std::size_t>(c.size) + 4, L'#');
    SetLastError(0);
    EXPECT_EQ(LoadStringW(module, c.id, buffer.data(), c.size), static_cast<int>(std::wcslen(c.text)));
    EXPECT_STREQ(buffer.data(), c.text);
    for (std::size_t i = static_cast<std::size_t>(c.size); i < buffer.size(); ++i) EXPECT_EQ(buffer[i], L'#') << i;
    if (c.error != Unchecked) {
      EXPECT_EQ(GetLastError(), c.error);
    }
  }

  const std::wstring cut = loadString(module, 100, 4096);
  ASSERT_EQ(cut.size(), 4095u);
  for (int i = 0; i < 4095; ++i) ASSERT_EQ(cut[static_cast<std::size_t>(i)], patterns::longStringChar(i)) << i;

  // Size 0: a read-only pointer to the whole text, kept with the module.
  const wchar_t* whole = nullptr;
  EXPECT_EQ(LoadStringW(module, 100, reinterpret_cast<LPWSTR>(&whole), 0), patterns::LongStringLength);
  ASSERT_NE(whole, nullptr);
  EXPECT_EQ(whole[patterns::LongStringLength - 1], patterns::longStringChar(patterns::LongStringLength - 1));
  const wchar_t* again = nullptr;
  LoadStringW(module, 100, reinterpret_cast<LPWSTR>(&again), 0);
  EXPECT_EQ(again, whole);

  SetLastError(0);
  EXPECT_EQ(LoadStringW(module, 1, nullptr, 8), 0);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));

  EXPECT_EQ(loadString(nullptr, 1), L"Main program string") << "null is the main program";
  EXPECT_EQ(loadString(GetModuleHandleW(nullptr), 1), L"Main program string");
}

TEST(Resources, LanguagesFallBackInTheSystemOrder) {
  Loaded module(QN_TEST_MODULE);
  ASSERT_NE(module, nullptr);
  const std::string english = stringBlock(module, 1, 0x0409);
  const std::string german = stringBlock(module, 1, 0x0407);
  ASSERT_NE(english, "<none>");
  ASSERT_NE(german, "<none>");
  EXPECT_NE(english, german);
  // Each row: the block and language asked, and the language whose entry
  // answers. Block 4 has only a neutral entry, block 3 only French.
  struct Case {
    WORD block, asked, answering;
    const char* why;
  };
  const Case cases[] = {
      {1, 0x0409, 0x0409, "the language itself"},
      {1, 0x0407, 0x0407, "another language itself"},
      {1, 0x0000, 0x0409, "neutral asks for the user's language, en-US"},
      {1, 0x0807, 0x0407, "German (Switzerland) takes German's default"},
      {1, 0x040C, 0x0409, "French falls back to en-US"},
      {4, 0x0407, 0x0000, "a neutral entry when no language fits"},
      {3, 0x0409, 0x040C, "the first language, when no other fits"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    const std::string answer = stringBlock(module, c.block, c.asked);
    EXPECT_NE(answer, "<none>");
    EXPECT_EQ(answer, stringBlock(module, c.block, c.answering));
  }
  EXPECT_EQ(loadString(module, 40), L"seulement fran\u00E7ais");
  EXPECT_EQ(loadString(module, 50), L"neutral only");
}

TEST(Resources, LookupByNumberNameAndType) {
  Loaded module(QN_TEST_MODULE);
  ASSERT_NE(module, nullptr);
  HRSRC named = FindResourceW(module, L"named", RT_RCDATA);
  ASSERT_NE(named, nullptr);
  EXPECT_EQ(bytesOf(module, named), std::string("named dataAB"));
  // Each row: two ways of naming one resource, which must find the same entry.
  struct Same {
    LPCWSTR name, type, otherName, otherType;
    const char* why;
  };
  const Same sames[] = {
      {L"NAMED", MAKEINTRESOURCEW(10), L"named", RT_RCDATA, "string names compare without regard to case"},
      {L"#400", RT_BITMAP, MAKEINTRESOURCEW(400), RT_BITMAP, "\"#400\" is the number 400"},
      {MAKEINTRESOURCEW(300), L"anicursors", MAKEINTRESOURCEW(300), L"ANICURSORS", "type names too"},
      {MAKEINTRESOURCEW(1), L"#6", MAKEINTRESOURCEW(1), RT_STRING, "\"#6\" as a type"},
  };
  for (const Same& c : sames) {
    SCOPED_TRACE(c.why);
    HRSRC found = FindResourceW(module, c.name, c.type);
    EXPECT_NE(found, nullptr);
    EXPECT_EQ(found, FindResourceW(module, c.otherName, c.otherType));
  }
  EXPECT_EQ(LoadResource(module, named), LockResource(LoadResource(module, named)));

  struct Miss {
    LPCWSTR name, type;
    DWORD error;
  };
  for (const Miss& miss : {Miss{MAKEINTRESOURCEW(1), RT_DIALOG, ERROR_RESOURCE_TYPE_NOT_FOUND},
                           Miss{MAKEINTRESOURCEW(9), RT_ICON, ERROR_RESOURCE_NAME_NOT_FOUND},
                           Miss{L"other", RT_RCDATA, ERROR_RESOURCE_NAME_NOT_FOUND},
                           Miss{L"#", RT_RCDATA, ERROR_RESOURCE_NAME_NOT_FOUND},
                           Miss{L"#70000", RT_RCDATA, ERROR_RESOURCE_NAME_NOT_FOUND},
                           Miss{L"", RT_RCDATA, ERROR_RESOURCE_NAME_NOT_FOUND},
                           Miss{nullptr, RT_RCDATA, ERROR_RESOURCE_NAME_NOT_FOUND},  // id 0, which it lacks
                           Miss{MAKEINTRESOURCEW(1), nullptr, ERROR_RESOURCE_TYPE_NOT_FOUND}}) {
    SCOPED_TRACE(miss.error);
    SetLastError(0);
    EXPECT_EQ(FindResourceW(module, miss.name, miss.type), nullptr);
    EXPECT_EQ(GetLastError(), miss.error);
  }
  // A module built without resources has no resource section.
  HMODULE platform = GetModuleHandleW(L"libqnplatform.so");
  SetLastError(0);
  EXPECT_EQ(FindResourceW(platform, MAKEINTRESOURCEW(1), RT_STRING), nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_RESOURCE_DATA_NOT_FOUND));
  // A handle of another module or none is refused.
  SetLastError(0);
  EXPECT_EQ(SizeofResource(platform, named), 0u);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_RESOURCE_DATA_NOT_FOUND));
  EXPECT_EQ(SizeofResource(module, reinterpret_cast<HRSRC>(reinterpret_cast<char*>(named) + 1)), 0u);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
  EXPECT_EQ(LoadResource(module, nullptr), nullptr);
  EXPECT_EQ(LockResource(nullptr), nullptr);

  // The message table of messages.mc, one block of ids 1 to 2.
  HRSRC messages = FindResourceW(module, MAKEINTRESOURCEW(1), RT_MESSAGETABLE);
  ASSERT_NE(messages, nullptr);
  const std::string table = bytesOf(module, messages);
  ASSERT_GE(table.size(), 16u);
  DWORD blocks, low, high;
  std::memcpy(&blocks, table.data(), 4);
  std::memcpy(&low, table.data() + 4, 4);
  std::memcpy(&high, table.data() + 8, 4);
  EXPECT_EQ(blocks, 1u);
  EXPECT_EQ(low, 1u);
  EXPECT_EQ(high, 2u);
}

TEST(Resources, EnumerationFollowsDirectoryOrderAndStopsWhenAsked) {
  Loaded module(QN_TEST_MODULE);
  ASSERT_NE(module, nullptr);
  std::vector<std::wstring> types;
  ASSERT_TRUE(EnumResourceTypesW(
      module,
      [](HMODULE, LPWSTR type, LONG_PTR p) -> BOOL {
        reinterpret_cast<std::vector<std::wstring>*>(p)->push_back(nameText(type));
        return TRUE;
      },
      reinterpret_cast<LONG_PTR>(&types)));
  const std::vector<std::wstring> expected = {L"ANICURSORS", L"#1", L"#2", L"#3", L"#6", L"#10", L"#11", L"#12", L"#14"};
  EXPECT_EQ(types, expected);

  int calls = 0;
  SetLastError(0);
  EXPECT_FALSE(EnumResourceNamesW(
      module, RT_STRING,
      [](HMODULE, LPCWSTR, LPWSTR, LONG_PTR p) -> BOOL { return ++*reinterpret_cast<int*>(p) < 2; },
      reinterpret_cast<LONG_PTR>(&calls)));
  EXPECT_EQ(calls, 2);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_RESOURCE_ENUM_USER_STOP));

  std::vector<WORD> languages;
  EXPECT_TRUE(EnumResourceLanguagesW(
      module, RT_STRING, MAKEINTRESOURCEW(1),
      [](HMODULE, LPCWSTR, LPCWSTR, WORD language, LONG_PTR p) -> BOOL {
        reinterpret_cast<std::vector<WORD>*>(p)->push_back(language);
        return TRUE;
      },
      reinterpret_cast<LONG_PTR>(&languages)));
  EXPECT_EQ(languages, (std::vector<WORD>{0x0407, 0x0409}));
  EXPECT_FALSE(EnumResourceNamesW(module, RT_DIALOG, [](HMODULE, LPCWSTR, LPWSTR, LONG_PTR) -> BOOL { return TRUE; }, 0));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_RESOURCE_TYPE_NOT_FOUND));
}

TEST(Resources, PeImageAndResFileReadTheSameAsTheElfModule) {
  Loaded elf(QN_TEST_MODULE);
  Loaded elfData(QN_TEST_MODULE, LOAD_LIBRARY_AS_DATAFILE);
  Loaded pe(QN_TEST_PE, LOAD_LIBRARY_AS_DATAFILE);
  Loaded res(QN_TEST_RES, LOAD_LIBRARY_AS_IMAGE_RESOURCE);
  ASSERT_NE(elf, nullptr);
  ASSERT_NE(elfData, nullptr);
  ASSERT_NE(pe, nullptr);
  ASSERT_NE(res, nullptr);
  const Listing reference = listing(elf);
  ASSERT_EQ(reference.size(), 20u);
  EXPECT_EQ(listing(elfData), reference);
  EXPECT_EQ(listing(pe), reference);
  EXPECT_EQ(listing(res), reference);
  for (HMODULE m : {static_cast<HMODULE>(pe), static_cast<HMODULE>(res)}) {
    EXPECT_EQ(loadString(m, 18), L"smile \u263A pair \U0001F600 end");
    EXPECT_EQ(loadString(m, 100).size(), 4095u);
  }
}

TEST(Resources, MessageTablesGiveTheirTextsAsStored) {
  Loaded module(QN_TEST_MODULE);
  ASSERT_NE(module, nullptr);
  std::wstring text;
  EXPECT_EQ(qn::findMessage(module, 1, 0, text), static_cast<DWORD>(ERROR_SUCCESS));
  EXPECT_EQ(text, L"The first message, with an insert: %1.\n");
  EXPECT_EQ(qn::findMessage(module, 2, 0x0400, text), static_cast<DWORD>(ERROR_SUCCESS));
  EXPECT_EQ(text, L"The second message.\n");
  EXPECT_EQ(qn::findMessage(module, 2, 0x0409, text), static_cast<DWORD>(ERROR_SUCCESS));
  EXPECT_EQ(qn::findMessage(module, 3, 0, text), static_cast<DWORD>(ERROR_MR_MID_NOT_FOUND));
  EXPECT_EQ(qn::findMessage(module, 0, 0, text), static_cast<DWORD>(ERROR_MR_MID_NOT_FOUND));
  EXPECT_EQ(qn::findMessage(module, 1, 0x0407, text), static_cast<DWORD>(ERROR_RESOURCE_LANG_NOT_FOUND));
  EXPECT_EQ(qn::findMessage(GetModuleHandleW(L"libqnplatform.so"), 1, 0, text),
            static_cast<DWORD>(ERROR_RESOURCE_TYPE_NOT_FOUND));
  EXPECT_EQ(qn::findMessage(nullptr, 1, 0, text), static_cast<DWORD>(ERROR_RESOURCE_TYPE_NOT_FOUND))
      << "the main program has strings but no message table";
  Loaded pe(QN_TEST_PE, LOAD_LIBRARY_AS_DATAFILE);
  EXPECT_EQ(qn::findMessage(pe, 1, 0, text), static_cast<DWORD>(ERROR_SUCCESS));
  EXPECT_EQ(text, L"The first message, with an insert: %1.\n");
}

TEST(Resources, Pe32ImagesReadToo) {
  // A 32-bit PE image with one resource, RCDATA 5 in en-US, laid out by hand:
  // headers, one .rsrc section at RVA 0x1000 from file offset 0x200.
  std::vector<std::uint8_t> image(0x400, 0);
  auto put16 = [&](std::size_t at, std::uint16_t v) { std::memcpy(image.data() + at, &v, 2); };
  auto put32 = [&](std::size_t at, std::uint32_t v) { std::memcpy(image.data() + at, &v, 4); };
  image[0] = 'M', image[1] = 'Z';
  put32(0x3C, 0x40);
  std::memcpy(image.data() + 0x40, "PE\0\0", 4);
  put16(0x44, 0x14C);  // i386
  put16(0x46, 1);      // one section
  put16(0x54, 224);    // optional header size
  put16(0x58, 0x10B);  // PE32
  put32(0x58 + 92, 16);
  put32(0x58 + 96 + 16, 0x1000);  // resource directory
  put32(0x58 + 96 + 20, 0x100);
  std::memcpy(image.data() + 0x138, ".rsrc", 5);
  put32(0x138 + 8, 0x100);
  put32(0x138 + 12, 0x1000);
  put32(0x138 + 16, 0x200);
  put32(0x138 + 20, 0x200);
  const std::size_t root = 0x200;
  put16(root + 14, 1), put32(root + 16, 10), put32(root + 20, 0x80000000u | 0x18);
  put16(root + 0x18 + 14, 1), put32(root + 0x28, 5), put32(root + 0x2C, 0x80000000u | 0x30);
  put16(root + 0x30 + 14, 1), put32(root + 0x40, 0x409), put32(root + 0x44, 0x48);
  put32(root + 0x48, 0x1060), put32(root + 0x4C, 4);
  std::memcpy(image.data() + root + 0x60, "pe32", 4);

  const std::string path = scratch() + "/pe32.dll";
  writeFile(path, image);
  Loaded pe(path, LOAD_LIBRARY_AS_DATAFILE);
  ASSERT_NE(pe, nullptr) << GetLastError();
  HRSRC resource = FindResourceExW(pe, RT_RCDATA, MAKEINTRESOURCEW(5), 0x0409);
  EXPECT_EQ(bytesOf(pe, resource), "pe32");
  EXPECT_EQ(listing(pe).size(), 1u);

  // The data entry pointing past its section makes the image malformed.
  put32(root + 0x4C, 0x1000);
  writeFile(path, image);
  SetLastError(0);
  EXPECT_EQ(LoadLibraryExW(wide(path).c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE), nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_BAD_EXE_FORMAT));
}

TEST(Resources, VersionQueriesAnswerInsideTheCallersBlock) {
  // The tool carries the project's version resource.
  const std::wstring file = wide(QNLITH_TOOL);
  DWORD handle = 0;
  const DWORD size = GetFileVersionInfoSizeW(file.c_str(), &handle);
  ASSERT_GT(size, 0u) << GetLastError();
  std::vector<BYTE> block(size + 64, 0xA5);  // guard bytes behind the size given
  ASSERT_TRUE(GetFileVersionInfoW(file.c_str(), 0, size, block.data()));
  for (std::size_t i = size; i < block.size(); ++i) ASSERT_EQ(block[i], 0xA5) << "written past the size at " << i;

  constexpr UINT AnyLength = ~0u;
  struct Case {
    const wchar_t* path;
    BOOL found;
    UINT length;
  };
  const Case cases[] = {
      {L"\\", TRUE, sizeof(VS_FIXEDFILEINFO)},
      {L"", TRUE, sizeof(VS_FIXEDFILEINFO)},
      {L"\\StringFileInfo", TRUE, 0},
      {L"\\VarFileInfo", TRUE, 0},
      {L"\\StringFileInfo\\040904b0", TRUE, 0},
      {L"\\stringfileinfo\\040904B0\\", TRUE, 0},
      {L"\\VarFileInfo\\Translation", TRUE, 4},
      {L"\\StringFileInfo\\040904b0\\ProductName", TRUE, 9},
      {L"\\StringFileInfo\\040904b0\\CompanyName", TRUE, AnyLength},
      {L"\\StringFileInfo\\040904b0\\NoSuchValue", FALSE, 0},
      {L"\\NoSuchBlock", FALSE, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.path, c.path + std::wcslen(c.path)));
    LPVOID value = reinterpret_cast<LPVOID>(1);
    UINT length = 12345;
    ASSERT_EQ(VerQueryValueW(block.data(), c.path, &value, &length), c.found);
    if (!c.found) continue;
    if (c.length != AnyLength) {
      EXPECT_EQ(length, c.length);
    }
    const auto* at = static_cast<const BYTE*>(value);
    EXPECT_TRUE(at >= block.data() && at <= block.data() + size) << "the answer lies in the caller's block";
  }
}

TEST(Resources, BuildHelpersTakeScriptsOfOneNameUtf8MessagesAndToolOptions) {
  Loaded stems(QN_TEST_STEMS, LOAD_LIBRARY_AS_DATAFILE);
  Loaded latin(QN_TEST_LATIN_MESSAGES, LOAD_LIBRARY_AS_DATAFILE);
  ASSERT_NE(stems, nullptr);
  ASSERT_NE(latin, nullptr);
  struct StringCase {
    WORD block, language;
    UINT id;
    const wchar_t* text;
    const char* why;
  };
  const StringCase strings[] = {
      {1, 0x409, 1, L"English strings", "en/strings.rc"},
      {2, 0x407, 17, L"Deutsche Zeichenkette \u00e4\u00f6\u00fc", "de/strings.rc, a script of the same name"},
      {3, 0x409, 40, L"Defined by an option", "app.rc, with an id defined by WINDRES_OPTIONS"},
  };
  for (const StringCase& c : strings) {
    SCOPED_TRACE(c.why);
    EXPECT_NE(FindResourceExW(stems, RT_STRING, MAKEINTRESOURCEW(c.block), c.language), nullptr);
    EXPECT_EQ(loadString(stems, c.id), c.text);
  }
  struct MessageCase {
    HMODULE module;
    DWORD id;
    const wchar_t* text;
    const char* why;
  };
  const MessageCase messages[] = {
      {stems, 2, L"Gr\u00fc\u00dfe \u263A \U0001F600 end", "app.mc in UTF-8, beside app.rc"},
      {latin, 3, L"Caf\u00e9 cr\u00e8me", "a Windows-1252 file read so through WINDMC_OPTIONS"},
  };
  for (const MessageCase& c : messages) {
    SCOPED_TRACE(c.why);
    wchar_t text[128] = {};
    const DWORD n = FormatMessageW(FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_IGNORE_INSERTS, c.module, c.id, 0x409,
                                   text, 128, nullptr);
    ASSERT_GT(n, 0u) << GetLastError();
    EXPECT_EQ(std::wstring(text).substr(0, std::wcslen(c.text)), c.text);
    EXPECT_EQ(std::wstring(text).find_first_not_of(L"\r\n", std::wcslen(c.text)), std::wstring::npos) << "then the line's end only";
  }
}

TEST(Resources, IdZeroIsAnIdLikeAnyOtherForLookupAndEnumeration) {
  // A .res file with bitmaps 0 and 1: the null entry, then two entries.
  std::vector<std::uint8_t> res;
  auto put32 = [&](std::uint32_t v) {
    for (int i = 0; i < 4; ++i) res.push_back(static_cast<std::uint8_t>(v >> (8 * i)));
  };
  auto entry = [&](std::uint16_t type, std::uint16_t name, std::uint16_t language, const std::string& data) {
    put32(static_cast<std::uint32_t>(data.size()));
    put32(32);
    put32(0xFFFFu | (std::uint32_t{type} << 16));
    put32(0xFFFFu | (std::uint32_t{name} << 16));
    put32(0);
    put32(std::uint32_t{language} << 16);
    put32(0);
    put32(0);
    res.insert(res.end(), data.begin(), data.end());
    while (res.size() % 4) res.push_back(0);
  };
  entry(0, 0, 0, "");
  entry(2, 0, 0x409, "zero");
  entry(2, 1, 0x409, "one!");
  const std::string path = scratch() + "/id_zero.res";
  writeFile(path, res);
  Loaded module(path, LOAD_LIBRARY_AS_DATAFILE);
  ASSERT_NE(module, nullptr) << GetLastError();

  const Listing expected = {{L"#2", L"#0", 0x409, "zero"}, {L"#2", L"#1", 0x409, "one!"}};
  EXPECT_EQ(listing(module), expected) << "each name enumeration hands out is found again";
  EXPECT_EQ(bytesOf(module, FindResourceW(module, MAKEINTRESOURCEW(0), RT_BITMAP)), "zero");
  EXPECT_EQ(bytesOf(module, FindResourceW(module, L"#0", RT_BITMAP)), "zero");
}

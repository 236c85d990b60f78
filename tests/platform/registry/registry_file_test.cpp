// `qnlith reg export` and `import`: the registry editor's text format, and
// a round trip that gives back every key and value to the byte.
#include <gtest/gtest.h>
#include <qnlith/win32.h>

#include <cstdint>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "support/run_program.h"
#include "support/temporary_registry.h"

namespace {

// Runs the qnlith tool with the arguments and collects its standard output.
ProgramOutcome qnlith(const std::vector<std::string>& arguments) {
  std::string commandLine = QNLITH_TOOL;
  for (const auto& argument : arguments) commandLine += " '" + argument + "'";
  return runProgram(commandLine);
}

std::string readFile(const std::string& name) {
  std::ifstream in(name, std::ios::binary);
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

void writeFile(const std::string& name, const std::string& bytes) {
  std::ofstream(name, std::ios::binary) << bytes;
}

std::string utf16(const std::string& ascii) {
  std::string out = "\xFF\xFE";
  for (char c : ascii) {
    out += c;
    out += '\0';
  }
  return out;
}

// Everything below a key, in the order the registry lists it.
std::string snapshot(HKEY parent, const std::wstring& path) {
  HKEY key = nullptr;
  if (RegOpenKeyExW(parent, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return "<missing>";
  std::ostringstream out;
  wchar_t name[16384];
  for (DWORD i = 0;; ++i) {
    DWORD size = 16384, type = 0, bytes = 0;
    if (RegEnumValueW(key, i, name, &size, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) break;
    EXPECT_EQ(qnRegQueryValueBytes(key, name, &type, nullptr, &bytes), ERROR_SUCCESS);
    std::string data(bytes, '\0');
    EXPECT_EQ(qnRegQueryValueBytes(key, name, &type, reinterpret_cast<BYTE*>(data.data()), &bytes), ERROR_SUCCESS);
    out << "value " << size << ":";
    for (DWORD c = 0; c < size; ++c) out << static_cast<std::uint32_t>(name[c]) << ",";
    out << " type " << type << " bytes ";
    for (unsigned char b : data) out << static_cast<int>(b) << ",";
    out << "\n";
  }
  std::vector<std::wstring> children;
  for (DWORD i = 0;; ++i) {
    DWORD size = 256;
    if (RegEnumKeyExW(key, i, name, &size, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) break;
    children.emplace_back(name, size);
  }
  for (const auto& child : children) {
    out << "key " << child.size() << "{\n" << snapshot(key, child) << "}\n";
  }
  RegCloseKey(key);
  return out.str();
}

void set(HKEY key, const wchar_t* name, DWORD type, const std::string& bytes) {
  ASSERT_EQ(qnRegSetValueBytes(key, name, type, reinterpret_cast<const BYTE*>(bytes.data()),
                               static_cast<DWORD>(bytes.size())),
            ERROR_SUCCESS);
}

std::string text16(const std::wstring& text, bool terminate = true) {
  std::string out;
  for (wchar_t c : text) {
    out += static_cast<char>(c & 0xFF);
    out += static_cast<char>((c >> 8) & 0xFF);
  }
  if (terminate) out.append(2, '\0');
  return out;
}

}  // namespace

TEST(RegistryFile, ExportWipeImportGivesBackEveryByte) {
  TemporaryRegistry sandbox;
  HKEY key = nullptr;
  ASSERT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, L"Software\\Trip", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr),
            ERROR_SUCCESS);
  set(key, L"", REG_SZ, text16(L"the default"));
  set(key, L"Quotes \"and\" \\slashes\\", REG_SZ, text16(L"C:\\Program Files\\\"x\"\\"));
  set(key, L"Accents", REG_SZ, text16(L"\u00E9t\u00E9 \u041C\u0438\u0440 \xD83D\xDE00"));  // with a surrogate pair
  set(key, L"Empty", REG_SZ, text16(L""));
  set(key, L"Unterminated", REG_SZ, text16(L"abc", false));
  set(key, L"Odd", REG_SZ, std::string("a\0b", 3));
  set(key, L"Lone surrogate", REG_SZ, text16(L"x\xD800y"));
  set(key, L"Two lines", REG_SZ, text16(L"one\r\ntwo"));
  set(key, L"Inner zero", REG_SZ, text16(std::wstring(L"a\0b", 3)));
  set(key, L"Expand", REG_EXPAND_SZ, text16(L"%HOME%\\bin"));
  set(key, L"Multi", REG_MULTI_SZ, text16(std::wstring(L"one\0two\0", 8)));
  set(key, L"Dword", REG_DWORD, std::string("\x0a\x00\x00\x80", 4));
  set(key, L"Short dword", REG_DWORD, std::string("\x01\x02", 2));
  set(key, L"Qword", REG_QWORD, std::string("\x01\x02\x03\x04\x05\x06\x07\x08", 8));
  set(key, L"None", REG_NONE, "");
  set(key, L"Odd type", 0x12345, "\x7f");
  std::string big;
  for (int i = 0; i < 300; ++i) big += static_cast<char>(i * 7);
  set(key, L"Long binary", REG_BINARY, big);
  HKEY child = nullptr;
  ASSERT_EQ(RegCreateKeyExW(key, L"Child ]with[ brackets\\Grand child", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &child,
                            nullptr),
            ERROR_SUCCESS);
  set(child, L"deep", REG_DWORD, std::string("\x07\0\0\0", 4));
  RegCloseKey(child);
  ASSERT_EQ(RegCreateKeyExW(key, L"Empty key", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &child, nullptr), ERROR_SUCCESS);
  RegCloseKey(child);
  RegCloseKey(key);

  const std::string before = snapshot(HKEY_CURRENT_USER, L"Software\\Trip");
  const std::string first = sandbox.directory() + "/first.reg", second = sandbox.directory() + "/second.reg";
  ASSERT_EQ(qnlith({"reg", "export", "HKCU\\Software\\Trip", first}).status, 0);
  ASSERT_EQ(qnlith({"reg", "delete", "HKEY_CURRENT_USER\\Software\\Trip"}).status, 0);
  ASSERT_EQ(snapshot(HKEY_CURRENT_USER, L"Software\\Trip"), "<missing>");
  ASSERT_EQ(qnlith({"reg", "import", first}).status, 0);
  EXPECT_EQ(snapshot(HKEY_CURRENT_USER, L"Software\\Trip"), before);
  ASSERT_EQ(qnlith({"reg", "export", "HKEY_CURRENT_USER\\Software\\Trip", second}).status, 0);
  EXPECT_EQ(readFile(first), readFile(second));

  // The file is what the Windows editor writes: UTF-16LE after a byte order mark, CR LF line ends.
  const std::string file = readFile(first);
  EXPECT_EQ(file.substr(0, 2 + 2 * 38), utf16("Windows Registry Editor Version 5.00\r\n"));
  EXPECT_NE(file.find(utf16("\"Dword\"=dword:8000000a\r\n").substr(2)), std::string::npos);
  EXPECT_NE(file.find(utf16("\"Empty\"=\"\"\r\n").substr(2)), std::string::npos);
  EXPECT_NE(file.find(utf16("\"Unterminated\"=hex(1):61,00,62,00,63,00\r\n").substr(2)), std::string::npos);
  EXPECT_NE(file.find(utf16("\"Odd type\"=hex(12345):7f\r\n").substr(2)), std::string::npos);
}

TEST(RegistryFile, ReadsWhatTheWindowsEditorWrites) {
  TemporaryRegistry sandbox;
  ASSERT_EQ(qnlith({"reg", "add", "HKCU\\Software\\Old\\Gone"}).status, 0);
  ASSERT_EQ(qnlith({"reg", "add", "HKCU\\Software\\Kept", "Stale", "REG_SZ", "x"}).status, 0);
  const std::string text =
      "Windows Registry Editor Version 5.00\r\n"
      "\r\n"
      "; a comment\r\n"
      "[HKEY_CURRENT_USER\\Software\\Kept]\r\n"
      "@=\"default\"\r\n"
      "\"Stale\"=-\r\n"
      "\"Path\"=hex(2):25,00,48,00,4f,00,4d,00,45,00,25,00,00,00\r\n"
      "\"Wrapped\"=hex:00,01,02,03,04,05,06,07,08,09,0a,0b,0c,0d,0e,0f,10,11,12,13,14,15,\\\r\n"
      "  16,17,18,19\r\n"
      "\"Number\"=dword:0000002a\r\n"
      "\"Quoted\"=\"a \\\"b\\\" c:\\\\d\"\r\n"
      "\r\n"
      "[-HKEY_CURRENT_USER\\Software\\Old]\r\n";
  const std::string utf16File = sandbox.directory() + "/windows.reg", utf8File = sandbox.directory() + "/plain.reg";
  writeFile(utf16File, utf16(text));
  std::string lf = text;
  for (std::size_t at; (at = lf.find("\r\n")) != std::string::npos;) lf.erase(at, 1);
  writeFile(utf8File, lf);

  for (const std::string& file : {utf16File, utf8File}) {
    ASSERT_EQ(qnlith({"reg", "import", file}).status, 0) << file;
    HKEY key = nullptr;
    ASSERT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, L"Software\\Kept", 0, KEY_READ, &key), ERROR_SUCCESS);
    wchar_t buffer[64];
    DWORD type = 0, size = sizeof buffer;
    EXPECT_EQ(RegQueryValueExW(key, nullptr, nullptr, &type, reinterpret_cast<BYTE*>(buffer), &size), ERROR_SUCCESS);
    EXPECT_EQ(std::wstring(buffer), L"default");
    EXPECT_EQ(RegQueryValueExW(key, L"Stale", nullptr, &type, nullptr, &size), ERROR_FILE_NOT_FOUND);
    size = sizeof buffer;
    EXPECT_EQ(RegQueryValueExW(key, L"Path", nullptr, &type, reinterpret_cast<BYTE*>(buffer), &size), ERROR_SUCCESS);
    EXPECT_EQ(type, static_cast<DWORD>(REG_EXPAND_SZ));
    EXPECT_EQ(std::wstring(buffer), L"%HOME%");
    size = sizeof buffer;
    EXPECT_EQ(RegQueryValueExW(key, L"Wrapped", nullptr, &type, reinterpret_cast<BYTE*>(buffer), &size), ERROR_SUCCESS);
    EXPECT_EQ(size, 26u) << "the continuation line belongs to the value";
    DWORD number = 0;
    size = 4;
    EXPECT_EQ(RegQueryValueExW(key, L"Number", nullptr, &type, reinterpret_cast<BYTE*>(&number), &size), ERROR_SUCCESS);
    EXPECT_EQ(number, 42u);
    size = sizeof buffer;
    EXPECT_EQ(RegQueryValueExW(key, L"Quoted", nullptr, &type, reinterpret_cast<BYTE*>(buffer), &size), ERROR_SUCCESS);
    EXPECT_EQ(std::wstring(buffer), L"a \"b\" c:\\d");
    RegCloseKey(key);
    EXPECT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, L"Software\\Old", 0, KEY_READ, &key), ERROR_FILE_NOT_FOUND);
  }
}

TEST(RegistryFile, AFaultyFileChangesNothing) {
  TemporaryRegistry sandbox;
  const std::string file = sandbox.directory() + "/bad.reg";
  writeFile(file,
            "Windows Registry Editor Version 5.00\n\n"
            "[HKEY_CURRENT_USER\\Software\\Good]\n\"a\"=dword:00000001\n"
            "\"b\"=hex:0g\n");
  EXPECT_EQ(qnlith({"reg", "import", file}).status, 1);
  HKEY key = nullptr;
  EXPECT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, L"Software\\Good", 0, KEY_READ, &key), ERROR_FILE_NOT_FOUND)
      << "the file is checked whole before anything is applied";

  for (const char* text : {"REGEDIT4\n\n[HKEY_CURRENT_USER\\Software\\Good]\n", "", "[HKEY_CURRENT_USER\\x]\n",
                           "Windows Registry Editor Version 5.00\n[HKEY_NOWHERE\\x]\n",
                           "Windows Registry Editor Version 5.00\n\"v\"=\"before any key\"\n"}) {
    writeFile(file, text);
    EXPECT_EQ(qnlith({"reg", "import", file}).status, 1) << text;
  }
  EXPECT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, L"Software\\Good", 0, KEY_READ, &key), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(qnlith({"reg", "import", sandbox.directory() + "/missing.reg"}).status, 1);
  EXPECT_EQ(qnlith({"reg", "delete", "HKCU"}).status, 2) << "a root is not deleted";
}

TEST(RegistryFile, AddQueryAndDeleteOnTheCommandLine) {
  TemporaryRegistry sandbox;
  for (const auto& arguments : std::vector<std::vector<std::string>>{
           {"reg", "add", "HKCU\\Software\\Cli", "Text", "REG_SZ", "say \"hi\""},
           {"reg", "add", "HKCU\\Software\\Cli", "Count", "REG_DWORD", "0x10"},
           {"reg", "add", "HKCU\\Software\\Cli", "List", "REG_MULTI_SZ", "a", "b"},
           {"reg", "add", "HKCU\\Software\\Cli", "Bytes", "reg_binary", "01,ff", "20"},
           {"reg", "add", "HKCU\\Software\\Cli", "", "REG_SZ", "default"},
           {"reg", "add", "HKCU\\Software\\Cli\\Child"}})
    ASSERT_EQ(qnlith(arguments).status, 0) << arguments[3];
  EXPECT_EQ(qnlith({"reg", "query", "HKEY_CURRENT_USER\\Software\\Cli"}).output,
            "[HKEY_CURRENT_USER\\Software\\Cli]\n"
            "\"Text\"=\"say \\\"hi\\\"\"\n"
            "\"Count\"=dword:00000010\n"
            "\"List\"=hex(7):61,00,00,00,62,00,00,00,00,00\n"
            "\"Bytes\"=hex:01,ff,20\n"
            "@=\"default\"\n"
            "\n"
            "[HKEY_CURRENT_USER\\Software\\Cli\\Child]\n");
  EXPECT_EQ(qnlith({"reg", "query", "HKCU\\Software\\Cli", "count"}).output, "\"count\"=dword:00000010\n");

  for (const auto& arguments : std::vector<std::vector<std::string>>{
           {"reg", "add", "HKCU\\Software\\Cli", "Bad", "REG_DWORD", "4294967296"},
           {"reg", "add", "HKCU\\Software\\Cli", "Bad", "REG_DWORD", "-1"},
           {"reg", "add", "HKCU\\Software\\Cli", "Bad", "REG_BINARY", "1g"},
           {"reg", "add", "HKCU\\Software\\Cli", "Bad", "REG_WHATEVER", "1"},
           {"reg", "add", "NOROOT\\Software\\Cli"},
           {"reg", "frobnicate"}})
    EXPECT_EQ(qnlith(arguments).status, 2) << arguments.back();
  EXPECT_EQ(qnlith({"reg", "query", "HKCU\\Software\\Cli", "Bad"}).status, 1);

  EXPECT_EQ(qnlith({"reg", "delete", "HKCU\\Software\\Cli", "Count"}).status, 0);
  EXPECT_EQ(qnlith({"reg", "query", "HKCU\\Software\\Cli", "Count"}).status, 1);
  EXPECT_EQ(qnlith({"reg", "delete", "HKCU\\Software\\Cli"}).status, 0);
  EXPECT_EQ(qnlith({"reg", "query", "HKCU\\Software\\Cli"}).status, 1);
  EXPECT_EQ(qnlith({"reg", "delete", "HKCU\\Software\\Cli"}).status, 1) << "nothing left to delete";
}

// Every number the command line takes is stored as given or refused whole,
// with a message and a non-zero status; nothing wraps around.
TEST(RegistryFile, NumbersOnTheCommandLineAreTakenWholeOrRefused) {
  TemporaryRegistry sandbox;
  const struct {
    const char* type;
    const char* text;
    bool taken;
    std::uint64_t value;
  } rows[] = {
      {"REG_DWORD", "0", true, 0},
      {"REG_DWORD", "4294967295", true, 0xFFFFFFFFu},
      {"REG_DWORD", "0xFFFFffff", true, 0xFFFFFFFFu},
      {"REG_DWORD", "010", true, 10},
      {"REG_DWORD", "4294967296", false, 0},
      {"REG_DWORD", "99999999999", false, 0},
      {"REG_DWORD", "0x100000000", false, 0},
      {"REG_DWORD", "-1", false, 0},
      {"REG_DWORD", "+1", false, 0},
      {"REG_DWORD", " 1", false, 0},
      {"REG_DWORD", "1 ", false, 0},
      {"REG_DWORD", "1e3", false, 0},
      {"REG_DWORD", "0x", false, 0},
      {"REG_DWORD", "", false, 0},
      {"REG_QWORD", "18446744073709551615", true, ~std::uint64_t{0}},
      {"REG_QWORD", "0x123456789abcdef0", true, 0x123456789abcdef0u},
      {"REG_QWORD", "18446744073709551616", false, 0},
      {"REG_QWORD", "0x10000000000000000", false, 0},
      {"REG_QWORD", "99999999999999999999999", false, 0},
  };
  HKEY key = nullptr;
  ASSERT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, L"Software\\Numbers", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key,
                            nullptr),
            ERROR_SUCCESS);
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << row.type << " '" << row.text << "'");
    RegDeleteValueW(key, L"n");
    const ProgramOutcome run = qnlith({"reg", "add", "HKCU\\Software\\Numbers", "n", row.type, row.text});
    EXPECT_EQ(run.status, row.taken ? 0 : 2);
    std::uint64_t stored = 0;
    DWORD size = sizeof stored;
    const LONG e = RegQueryValueExW(key, L"n", nullptr, nullptr, reinterpret_cast<BYTE*>(&stored), &size);
    if (row.taken) {
      EXPECT_EQ(e, ERROR_SUCCESS);
      EXPECT_EQ(stored, row.value);
    } else {
      EXPECT_EQ(e, ERROR_FILE_NOT_FOUND) << "a refused number stores nothing";
    }
  }
  RegCloseKey(key);
}

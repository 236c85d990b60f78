// The registry used as programs use it: thousands of keys and nodes opened
// and closed in one run, several processes writing at once, names and
// texts beyond ASCII, beyond the basic plane and beyond 260 characters,
// and the buffer idioms of Windows programs with guard bytes behind every
// buffer.
#include <gtest/gtest.h>
#include <qnlith/qnlith.h>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "support/temporary_registry.h"

namespace {

constexpr unsigned char Guard = 0xA5;

HKEY create(HKEY parent, const std::wstring& path) {
  HKEY key = nullptr;
  EXPECT_EQ(RegCreateKeyExW(parent, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr),
            ERROR_SUCCESS)
      << "creating a key";
  return key;
}

LONG setText(HKEY key, const std::wstring& name, const std::wstring& text) {
  // The idiom of every Windows program, in this port's wchar_t.
  return RegSetValueExW(key, name.c_str(), 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                        static_cast<DWORD>((std::wcslen(text.c_str()) + 1) * sizeof(WCHAR)));
}

// A buffer of `bytes` with guard bytes behind it.
struct Guarded {
  explicit Guarded(std::size_t bytes) : size(bytes), memory(bytes + 64, Guard) {}
  BYTE* data() { return memory.data(); }
  bool intact() const {
    for (std::size_t i = size; i < memory.size(); ++i)
      if (memory[i] != Guard) return false;
    return true;
  }
  std::wstring text() const { return reinterpret_cast<const wchar_t*>(memory.data()); }
  std::size_t size;
  std::vector<BYTE> memory;
};

// Reads a string value by asking its size, allocating exactly that many
// bytes (no more: the sanitizer build sees a write beyond them), and
// reading again.
std::wstring askAllocateRead(HKEY key, const std::wstring& name) {
  DWORD type = 0, size = 0;
  EXPECT_EQ(RegQueryValueExW(key, name.c_str(), nullptr, &type, nullptr, &size), ERROR_SUCCESS);
  auto buffer = std::make_unique<BYTE[]>(size);
  EXPECT_EQ(RegQueryValueExW(key, name.c_str(), nullptr, &type, buffer.get(), &size), ERROR_SUCCESS);
  return std::wstring(reinterpret_cast<const wchar_t*>(buffer.get()), size / sizeof(wchar_t) - 1);
}

// Texts beyond ASCII, beyond the basic plane and beyond 260 characters.
std::wstring longText(std::size_t characters, wchar_t seed) {
  const std::wstring pieces[] = {L"caf\u00E9", L"\u041C\u043E\u0441\u043A\u0432\u0430", L"\U0001F600",
                                 L"\u6F22\u5B57", L"\U00010348x"};
  std::wstring text;
  for (std::size_t i = 0; text.size() < characters; ++i) text += pieces[(i + seed) % 5];
  text.resize(characters);
  if (text.back() >= 0xD800 && text.back() <= 0xDFFF) text.back() = L'.';
  return text;
}

}  // namespace

// Keys and nodes opened, written and closed by the thousand: every handle
// a slot of the table has had works, however many came before it.
TEST(RegistryScenario, ThousandsOfKeysAndNodesOpenedWrittenAndClosed) {
  TemporaryRegistry store;
  // Writes wait for the disk; most rounds only open, read and close.
  constexpr int Rounds = 3000, Keys = 50, WriteEvery = 20;
  HKEY root = create(HKEY_CURRENT_USER, L"Software\\Scenario");
  DWORD written[Keys] = {};
  for (int i = 0; i < Rounds; ++i) {
    SCOPED_TRACE(testing::Message() << "round " << i);
    const std::wstring name = L"Key" + std::to_wstring(i % Keys);
    const bool writes = i < Keys || i % WriteEvery == 0 || i >= Rounds - Keys;
    HKEY key = create(root, name);
    if (writes) {
      written[i % Keys] = static_cast<DWORD>(i);
      ASSERT_EQ(RegSetValueExW(key, L"Round", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&written[i % Keys]), 4),
                ERROR_SUCCESS);
    }
    DWORD value = 0, size = sizeof value;
    ASSERT_EQ(RegQueryValueExW(key, L"Round", nullptr, nullptr, reinterpret_cast<BYTE*>(&value), &size),
              ERROR_SUCCESS);
    ASSERT_EQ(value, written[i % Keys]);
    ASSERT_EQ(RegCloseKey(key), ERROR_SUCCESS);

    // A program that makes a fresh node for each setting.
    cRegistryNode node(HKEY_CURRENT_USER, L"Software\\Scenario", cString(name.c_str()), true);
    DWORD read = 0;
    ASSERT_TRUE(node.readValueFromKey(L"Round", read));
    ASSERT_EQ(read, written[i % Keys]);
    if (writes) {
      ASSERT_TRUE(node.writeValueToKey(L"Text", cString(std::to_wstring(i).c_str())));
    }
  }
  DWORD subKeys = 0;
  ASSERT_EQ(RegQueryInfoKeyW(root, nullptr, nullptr, nullptr, &subKeys, nullptr, nullptr, nullptr, nullptr, nullptr,
                             nullptr, nullptr),
            ERROR_SUCCESS);
  EXPECT_EQ(subKeys, static_cast<DWORD>(Keys));
  cRegistryNode last(HKEY_CURRENT_USER, L"Software\\Scenario", L"Key49", false);
  cString text;
  EXPECT_TRUE(last.readValueFromKey(L"Text", text));
  EXPECT_EQ(text, cString(std::to_wstring(Rounds - 1).c_str()));
  RegCloseKey(root);
}

// Four writer processes and this one at the same time: every acknowledged
// value is there and whole, and this process's own keys keep working.
TEST(RegistryScenario, SeveralProcessesWriteAtOnce) {
  TemporaryRegistry store;
  constexpr int Processes = 4;
  constexpr int Writes = 150;
  std::vector<pid_t> writers;
  for (int p = 0; p < Processes; ++p) {
    const std::string prefix = "w" + std::to_string(p) + "_", count = std::to_string(Writes);
    const pid_t pid = ::fork();
    if (pid == 0) {
      const int null = ::open("/dev/null", O_WRONLY);
      ::dup2(null, 1);
      ::execl(QNLITH_REGISTRY_WRITER, "registry_writer", "Shared", prefix.c_str(), count.c_str(), "0",
              static_cast<char*>(nullptr));
      ::_exit(127);
    }
    writers.push_back(pid);
  }
  // Meanwhile: keys of this process opened, written, walked and closed.
  for (int i = 0; i < 300; ++i) {
    HKEY key = create(HKEY_CURRENT_USER, L"Shared\\Mine" + std::to_wstring(i % 7));
    ASSERT_EQ(setText(key, L"\u00C9t\u00E9 " + std::to_wstring(i), longText(300, static_cast<wchar_t>(i))),
              ERROR_SUCCESS);
    wchar_t name[64];
    DWORD nameSize = 64;
    EXPECT_EQ(RegEnumValueW(key, 0, name, &nameSize, nullptr, nullptr, nullptr, nullptr), ERROR_SUCCESS);
    ASSERT_EQ(RegCloseKey(key), ERROR_SUCCESS);
  }
  for (pid_t pid : writers) {
    int status = 0;
    ASSERT_EQ(::waitpid(pid, &status, 0), pid);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "writer status " << status;
  }
  HKEY shared = create(HKEY_CURRENT_USER, L"Shared");
  DWORD values = 0;
  ASSERT_EQ(RegQueryInfoKeyW(shared, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &values, nullptr, nullptr,
                             nullptr, nullptr),
            ERROR_SUCCESS);
  EXPECT_EQ(values, static_cast<DWORD>(Processes * Writes));
  for (int p = 0; p < Processes; ++p) {
    for (int i = 0; i < Writes; ++i) {
      const std::wstring name = L"w" + std::to_wstring(p) + L"_" + std::to_wstring(i);
      DWORD value = 0, size = sizeof value;
      ASSERT_EQ(RegQueryValueExW(shared, name.c_str(), nullptr, nullptr, reinterpret_cast<BYTE*>(&value), &size),
                ERROR_SUCCESS)
          << "value " << i << " of writer " << p;
      EXPECT_EQ(value, static_cast<DWORD>(i));
    }
  }
  RegCloseKey(shared);
}

// Names and data beyond ASCII, beyond the basic plane and beyond 260
// characters, walked with buffers of the sizes RegQueryInfoKeyW reports.
TEST(RegistryScenario, LongNamesAndTextsBeyondAscii) {
  TemporaryRegistry store;
  HKEY key = create(HKEY_CURRENT_USER, longText(200, 1) + L"\\" + longText(210, 2));
  std::vector<std::wstring> names, texts;
  for (int i = 0; i < 40; ++i) {
    names.push_back(std::to_wstring(i) + L" " + longText(261 + 37 * static_cast<std::size_t>(i), static_cast<wchar_t>(i)));
    texts.push_back(longText(5 + 111 * static_cast<std::size_t>(i), static_cast<wchar_t>(i + 3)));
    ASSERT_EQ(setText(key, names.back(), texts.back()), ERROR_SUCCESS);
    HKEY child = create(key, longText(100 + static_cast<std::size_t>(i), static_cast<wchar_t>(i)) + std::to_wstring(i));
    RegCloseKey(child);
  }
  DWORD subKeys = 0, maxSubKey = 0, values = 0, maxName = 0, maxData = 0;
  ASSERT_EQ(RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, &subKeys, &maxSubKey, nullptr, &values, &maxName, &maxData,
                             nullptr, nullptr),
            ERROR_SUCCESS);
  EXPECT_EQ(subKeys, 40u);
  EXPECT_EQ(values, 40u);
  for (DWORD i = 0; i < values; ++i) {
    SCOPED_TRACE(testing::Message() << "value " << i);
    Guarded name((maxName + 1) * sizeof(wchar_t)), data(maxData);
    DWORD nameSize = maxName + 1, dataSize = maxData, type = 0;
    ASSERT_EQ(RegEnumValueW(key, i, reinterpret_cast<wchar_t*>(name.data()), &nameSize, nullptr, &type, data.data(),
                            &dataSize),
              ERROR_SUCCESS);
    EXPECT_TRUE(name.intact());
    EXPECT_TRUE(data.intact());
    EXPECT_EQ(name.text(), names[i]);
    EXPECT_EQ(nameSize, names[i].size());
    EXPECT_EQ(data.text(), texts[i]);
    EXPECT_EQ(askAllocateRead(key, names[i]), texts[i]);
  }
  for (DWORD i = 0; i < subKeys; ++i) {
    Guarded name((maxSubKey + 1) * sizeof(wchar_t));
    DWORD nameSize = maxSubKey + 1;
    ASSERT_EQ(RegEnumKeyExW(key, i, reinterpret_cast<wchar_t*>(name.data()), &nameSize, nullptr, nullptr, nullptr,
                            nullptr),
              ERROR_SUCCESS);
    EXPECT_TRUE(name.intact()) << "subkey " << i;
  }
  RegCloseKey(key);
}

// The three buffer idioms of Windows programs against every call that
// takes a size of wide data, guard bytes behind each buffer.
TEST(RegistryScenario, BufferIdiomsNeverWriteBehindTheBuffer) {
  TemporaryRegistry store;
  HKEY key = create(HKEY_CURRENT_USER, L"Idioms");
  const std::wstring text = longText(300, 0);
  ASSERT_EQ(setText(key, L"Long", text), ERROR_SUCCESS);
  ASSERT_EQ(setText(key, L"Short", L"caf\u00E9 \U0001F600"), ERROR_SUCCESS);

  // wchar_t buf[MAX_PATH]; DWORD cb = sizeof buf;
  struct {
    wchar_t buf[MAX_PATH];
    unsigned char guard[64];
  } frame;
  std::memset(frame.guard, Guard, sizeof frame.guard);
  DWORD cb = sizeof frame.buf, type = 0;
  EXPECT_EQ(RegQueryValueExW(key, L"Long", nullptr, &type, reinterpret_cast<BYTE*>(frame.buf), &cb), ERROR_MORE_DATA);
  EXPECT_EQ(cb, (text.size() + 1) * sizeof(wchar_t)) << "the size it needs";
  cb = sizeof frame.buf;
  EXPECT_EQ(RegQueryValueExW(key, L"Short", nullptr, &type, reinterpret_cast<BYTE*>(frame.buf), &cb), ERROR_SUCCESS);
  EXPECT_EQ(std::wstring(frame.buf), L"caf\u00E9 \U0001F600");
  wchar_t name[MAX_PATH];
  DWORD nameSize = MAX_PATH;
  cb = sizeof frame.buf;
  EXPECT_EQ(RegEnumValueW(key, 0, name, &nameSize, nullptr, &type, reinterpret_cast<BYTE*>(frame.buf), &cb),
            ERROR_MORE_DATA);
  EXPECT_EQ(cb, (text.size() + 1) * sizeof(wchar_t));
  for (unsigned char b : frame.guard) ASSERT_EQ(b, Guard) << "written behind buf";

  // Ask the size, allocate that many bytes, read again: through both calls.
  EXPECT_EQ(askAllocateRead(key, L"Long"), text);
  DWORD size = 0;
  nameSize = MAX_PATH;
  ASSERT_EQ(RegEnumValueW(key, 0, name, &nameSize, nullptr, &type, nullptr, &size), ERROR_SUCCESS);
  Guarded exact(size);
  nameSize = MAX_PATH;
  ASSERT_EQ(RegEnumValueW(key, 0, name, &nameSize, nullptr, &type, exact.data(), &size), ERROR_SUCCESS);
  EXPECT_TRUE(exact.intact());
  EXPECT_EQ(exact.text(), text);

  // The largest size RegQueryInfoKeyW reports holds every value, a value
  // stored without its terminator among them.
  const std::wstring bare = longText(320, 4);
  ASSERT_EQ(RegSetValueExW(key, L"Bare", 0, REG_SZ, reinterpret_cast<const BYTE*>(bare.data()),
                           static_cast<DWORD>(bare.size() * sizeof(wchar_t))),
            ERROR_SUCCESS);
  DWORD maxData = 0;
  ASSERT_EQ(RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &maxData,
                             nullptr, nullptr),
            ERROR_SUCCESS);
  for (const wchar_t* value : {L"Long", L"Short", L"Bare"}) {
    Guarded buffer(maxData);
    size = maxData;
    ASSERT_EQ(RegQueryValueExW(key, value, nullptr, &type, buffer.data(), &size), ERROR_SUCCESS) << value;
    EXPECT_TRUE(buffer.intact()) << value;
  }
  Guarded bareBuffer(maxData);
  size = maxData;
  ASSERT_EQ(RegQueryValueExW(key, L"Bare", nullptr, &type, bareBuffer.data(), &size), ERROR_SUCCESS);
  EXPECT_EQ(bareBuffer.text(), bare) << "terminated, as there is room";
  RegCloseKey(key);
}

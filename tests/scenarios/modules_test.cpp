// Modules as a ported application uses them: plug-ins loaded and unloaded
// again and again while file dialogs move the working directory, from
// folders with long names beyond ASCII, in several processes at once, and
// every Windows buffer idiom against the calls that fill a buffer, with
// guard bytes behind each buffer.
#include <gtest/gtest.h>
#include <qnlith/win32.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <filesystem>
#include <string>
#include <vector>

#include "resources/patterns.h"
#include "resources/test_modules.h"
#include "support/scratch.h"

using namespace testmodules;

namespace {

constexpr wchar_t Guard = static_cast<wchar_t>(0x5A5A5A5A);

std::wstring widen(const std::string& text) {
  const int n = MultiByteToWideChar(CP_UTF8, 0, text.c_str(), -1, nullptr, 0);
  std::wstring out(static_cast<std::size_t>(n), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, text.c_str(), -1, out.data(), n);
  out.resize(static_cast<std::size_t>(n - 1));
  return out;
}

// A copy of the test module deep in folders whose names are long, beyond
// ASCII and beyond the BMP: its whole path is well over 260 characters.
struct DeepPlugin {
  explicit DeepPlugin(const ScratchDirectory& scratch) {
    std::string dir = scratch.path().string();
    for (int i = 0; i < 4; ++i) dir += "/Ordner \xC3\xBC \xF0\x9F\x98\x80 " + std::string(60, 'x') + std::to_string(i);
    std::filesystem::create_directories(dir);
    directory = fullPath(dir);
    file = "Pl\xC3\xBCgin \xF0\x9F\x98\x80.so";
    std::filesystem::copy_file(QN_TEST_MODULE, directory + "/" + file);
    wideFile = widen(file);
    wideStem = wideFile.substr(0, wideFile.size() - 3);
    widePath = widen(directory + "/" + file);
  }
  std::string directory, file;
  std::wstring wideFile, wideStem, widePath;
};

// GetModuleFileNameW through the idioms: a fixed MAX_PATH buffer and a
// growing one, each with guard characters behind the size given.
void expectFileNameIdioms(HMODULE module, const std::wstring& expected) {
  ASSERT_GT(expected.size(), static_cast<std::size_t>(MAX_PATH));
  struct {
    wchar_t buffer[MAX_PATH];
    wchar_t guard[8];
  } fixed;
  std::fill(std::begin(fixed.buffer), std::end(fixed.buffer), L'#');
  std::fill(std::begin(fixed.guard), std::end(fixed.guard), Guard);
  SetLastError(0);
  EXPECT_EQ(GetModuleFileNameW(module, fixed.buffer, sizeof fixed.buffer / sizeof fixed.buffer[0]),
            static_cast<DWORD>(MAX_PATH));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER));
  EXPECT_EQ(fixed.buffer[MAX_PATH - 1], L'\0') << "cut and terminated";
  EXPECT_EQ(std::wstring(fixed.buffer), expected.substr(0, MAX_PATH - 1));
  for (wchar_t g : fixed.guard) EXPECT_EQ(g, Guard) << "written past the buffer";

  // Grow until the answer is shorter than the buffer.
  std::vector<wchar_t> growing;
  DWORD size = 16, n = 0;
  for (;; size *= 2) {
    growing.assign(size + 8, Guard);
    n = GetModuleFileNameW(module, growing.data(), size);
    ASSERT_GT(n, 0u);
    for (DWORD i = size; i < size + 8; ++i) ASSERT_EQ(growing[i], Guard) << "written past " << size;
    if (n < size) break;
    ASSERT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER));
  }
  EXPECT_EQ(std::wstring(growing.data(), n), expected);
  EXPECT_EQ(growing[n], L'\0');
}

// One load cycle as an application with a file dialog goes through it:
// load by a relative path, wander off, find the module again by its name,
// use it, let it go. Returns the shared icon it had, which must then be gone.
HICON loadCycle(const DeepPlugin& plugin, const std::string& elsewhere) {
  HMODULE module;
  {
    InDirectory in(plugin.directory);
    module = LoadLibraryW((L"./" + plugin.wideFile).c_str());
    EXPECT_NE(module, nullptr) << GetLastError();
    if (module == nullptr) return nullptr;
    std::filesystem::current_path(elsewhere);
    EXPECT_EQ(LoadLibraryW(plugin.wideFile.c_str()), module) << "by its base name: " << GetLastError();
    EXPECT_EQ(LoadLibraryW(plugin.wideStem.c_str()), module) << "without its extension";
    EXPECT_EQ(LoadLibraryW(plugin.widePath.c_str()), module) << "by its full path";
    EXPECT_EQ(GetModuleHandleW(plugin.wideFile.c_str()), module);
  }
  HICON icon = LoadIconW(module, MAKEINTRESOURCEW(1));
  EXPECT_NE(icon, nullptr);
  EXPECT_EQ(LoadIconW(module, MAKEINTRESOURCEW(1)), icon);
  for (int i = 0; i < 4; ++i) EXPECT_TRUE(FreeLibrary(module));
  EXPECT_EQ(GetModuleHandleW(plugin.wideFile.c_str()), nullptr) << "the last FreeLibrary unloads it";
  QN_IMAGE_INFO info{};
  EXPECT_FALSE(qnGetImageInfo(icon, &info)) << "its shared icon went with it";
  return icon;
}

}  // namespace

TEST(ModuleScenario, LoadCyclesAcrossDirectoryChanges) {
  ScratchDirectory scratch;
  const DeepPlugin plugin(scratch);
  const std::string places[] = {"/", scratch.path().string(), plugin.directory + "/..", "/tmp"};

  HMODULE module = LoadLibraryW(plugin.widePath.c_str());
  ASSERT_NE(module, nullptr) << GetLastError();
  expectFileNameIdioms(module, plugin.widePath);
  ASSERT_TRUE(FreeLibrary(module));

  std::vector<HICON> icons;
  for (int cycle = 0; cycle < 60; ++cycle) {
    SCOPED_TRACE("cycle " + std::to_string(cycle));
    icons.push_back(loadCycle(plugin, places[cycle % 4]));
    ASSERT_FALSE(HasFailure());
  }
  std::sort(icons.begin(), icons.end());
  EXPECT_EQ(std::adjacent_find(icons.begin(), icons.end()), icons.end()) << "each load had images of its own";
}

TEST(ModuleScenario, SeveralProcessesCycleAtOnce) {
  ScratchDirectory scratch;
  const DeepPlugin plugin(scratch);
  const std::string places[] = {"/", scratch.path().string(), "/tmp"};
  std::vector<pid_t> children;
  for (int p = 0; p < 4; ++p) {
    const pid_t child = fork();
    if (child == 0) {
      alarm(60);
      int failures = 0;
      for (int cycle = 0; cycle < 25; ++cycle) {
        const std::string& place = places[(cycle + p) % 3];
        InDirectory in(plugin.directory);
        HMODULE module = LoadLibraryW((L"./" + plugin.wideFile).c_str());
        std::filesystem::current_path(place);
        if (module == nullptr || LoadLibraryW(plugin.wideFile.c_str()) != module) ++failures;
        wchar_t name[4096];
        if (GetModuleFileNameW(module, name, 4096) != plugin.widePath.size() || plugin.widePath != name) ++failures;
        if (module == nullptr || !FreeLibrary(module) || !FreeLibrary(module)) ++failures;
        if (GetModuleHandleW(plugin.wideFile.c_str()) != nullptr) ++failures;
      }
      _exit(failures > 0 ? 1 : 0);
    }
    children.push_back(child);
  }
  for (pid_t child : children) {
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "process " << child << " status " << status;
  }
}

TEST(ModuleScenario, StringAndVersionBufferIdiomsStayInsideTheirBuffers) {
  HMODULE module = LoadLibraryW(wide(QN_TEST_MODULE).c_str());
  ASSERT_NE(module, nullptr);

  // sizeof buf / sizeof buf[0] with a string longer than the buffer.
  struct {
    wchar_t buffer[64];
    wchar_t guard[8];
  } fixed;
  std::fill(std::begin(fixed.guard), std::end(fixed.guard), Guard);
  EXPECT_EQ(LoadStringW(module, 100, fixed.buffer, sizeof fixed.buffer / sizeof fixed.buffer[0]), 63);
  EXPECT_EQ(fixed.buffer[63], L'\0');
  for (wchar_t g : fixed.guard) EXPECT_EQ(g, Guard);

  // Ask the length (buffer size 0 gives a pointer), allocate, read again.
  const wchar_t* inPlace = nullptr;
  const int length = LoadStringW(module, 100, reinterpret_cast<LPWSTR>(&inPlace), 0);
  ASSERT_EQ(length, patterns::LongStringLength);
  std::vector<wchar_t> exact(static_cast<std::size_t>(length) + 1 + 8, Guard);
  EXPECT_EQ(LoadStringW(module, 100, exact.data(), length + 1), length);
  EXPECT_EQ(std::wmemcmp(exact.data(), inPlace, static_cast<std::size_t>(length)), 0);
  for (std::size_t i = static_cast<std::size_t>(length) + 1; i < exact.size(); ++i) EXPECT_EQ(exact[i], Guard);
  // An id with high bits reads the same string.
  EXPECT_EQ(LoadStringW(module, 0x50064, exact.data(), length + 1), length);
  EXPECT_TRUE(FreeLibrary(module));

  // The version block: size, allocate exactly, fill, query.
  const std::wstring tool = wide(QNLITH_TOOL);
  DWORD handle = 0;
  const DWORD size = GetFileVersionInfoSizeW(tool.c_str(), &handle);
  ASSERT_GT(size, 0u);
  std::vector<BYTE> block(size + 32, 0xA5);
  ASSERT_TRUE(GetFileVersionInfoW(tool.c_str(), 0, size, block.data()));
  for (std::size_t i = size; i < block.size(); ++i) ASSERT_EQ(block[i], 0xA5) << i;
  const BYTE* begin = block.data();
  const BYTE* end = block.data() + size;

  LPVOID value = nullptr;
  UINT bytes = 0;
  ASSERT_TRUE(VerQueryValueW(block.data(), L"\\VarFileInfo\\Translation", &value, &bytes));
  ASSERT_GE(bytes, 4u);
  WORD translation[2];
  std::memcpy(translation, value, sizeof translation);
  for (const wchar_t* node : {L"\\StringFileInfo", L"\\VarFileInfo"}) {
    ASSERT_TRUE(VerQueryValueW(block.data(), node, &value, &bytes));
    EXPECT_EQ(bytes, 0u);
    EXPECT_TRUE(value >= begin && value <= end) << "answers lie in the caller's block";
  }
  wchar_t table[64];
  std::swprintf(table, 64, L"\\StringFileInfo\\%04x%04x", translation[0], translation[1]);
  ASSERT_TRUE(VerQueryValueW(block.data(), table, &value, &bytes));
  EXPECT_EQ(bytes, 0u);
  EXPECT_TRUE(value >= begin && value <= end);
  for (const wchar_t* key : {L"CompanyName", L"FileDescription", L"FileVersion", L"ProductName"}) {
    SCOPED_TRACE(std::string(key, key + std::wcslen(key)));
    ASSERT_TRUE(VerQueryValueW(block.data(), (std::wstring(table) + L"\\" + key).c_str(), &value, &bytes));
    const auto* text = static_cast<const wchar_t*>(value);
    ASSERT_TRUE(value >= begin && static_cast<const BYTE*>(value) + bytes * sizeof(wchar_t) <= end);
    // The copy idiom: (wcslen + 1) * sizeof(WCHAR) bytes, into exactly that many.
    const std::size_t copyBytes = (std::wcslen(text) + 1) * sizeof(WCHAR);
    EXPECT_EQ(copyBytes, bytes * sizeof(WCHAR)) << "the length counts the terminator";
    std::vector<BYTE> copy(copyBytes);
    std::memcpy(copy.data(), text, copyBytes);
    EXPECT_EQ(reinterpret_cast<const wchar_t*>(copy.data())[bytes - 1], L'\0');
  }
}

#include <gtest/gtest.h>
#include <qnlith/win32.h>

#include <climits>
#include <cstring>
#include <unistd.h>

#include "resources/test_modules.h"

using namespace testmodules;

namespace {

const std::wstring modulePath = wide(QN_TEST_MODULE);
const std::wstring moduleName = wide(QN_TEST_MODULE_NAME);

std::wstring fileNameOf(HMODULE module) {
  wchar_t buffer[4096];
  const DWORD n = GetModuleFileNameW(module, buffer, 4096);
  return n == 0 ? std::wstring() : std::wstring(buffer, n);
}

int localFunction() { return 7; }

}  // namespace

TEST(Modules, MainProgramIsTheProcessExecutable) {
  HMODULE main = GetModuleHandleW(nullptr);
  ASSERT_NE(main, nullptr);
  EXPECT_EQ(std::memcmp(main, "\x7F" "ELF", 4), 0) << "a module handle is the address of its image";
  EXPECT_EQ(fileNameOf(nullptr), wide(fullPath("/proc/self/exe")));
  EXPECT_EQ(fileNameOf(main), fileNameOf(nullptr));

  // A name without extension is tried with ".so" and then as it is.
  const std::string program = baseName(fullPath("/proc/self/exe"));
  EXPECT_EQ(GetModuleHandleW(wide(program).c_str()), main);
  EXPECT_EQ(GetModuleHandleW(wide(program + ".").c_str()), main);

  HMODULE found = nullptr;
  ASSERT_TRUE(GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                                 reinterpret_cast<LPCWSTR>(&localFunction), &found));
  EXPECT_EQ(found, main);
  ASSERT_TRUE(GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                                 reinterpret_cast<LPCWSTR>(&LoadLibraryW), &found));
  EXPECT_NE(found, main);
  EXPECT_EQ(found, GetModuleHandleW(L"libqnplatform.so")) << "a versioned file answers to its .so name";
  EXPECT_EQ(found, GetModuleHandleW(L"libqnplatform"));

  SetLastError(0);
  EXPECT_EQ(GetModuleHandleW(L"libnothing-here.so"), nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_MOD_NOT_FOUND));
  EXPECT_FALSE(GetModuleHandleExW(0, L"x", nullptr));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
}

TEST(Modules, FileNameIsCutToTheBufferAsDocumented) {
  const std::wstring path = fileNameOf(nullptr);
  ASSERT_GT(path.size(), 4u);
  std::vector<wchar_t> buffer(path.size() + 8, L'#');

  SetLastError(0);
  EXPECT_EQ(GetModuleFileNameW(nullptr, buffer.data(), static_cast<DWORD>(path.size() + 1)), path.size());
  EXPECT_EQ(std::wstring(buffer.data()), path);
  EXPECT_EQ(GetLastError(), 0u);

  // A path that fills the buffer exactly leaves no room for the terminator.
  EXPECT_EQ(GetModuleFileNameW(nullptr, buffer.data(), static_cast<DWORD>(path.size())), path.size());
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER));
  EXPECT_EQ(std::wstring(buffer.data()), path.substr(0, path.size() - 1));

  std::fill(buffer.begin(), buffer.end(), L'#');
  EXPECT_EQ(GetModuleFileNameW(nullptr, buffer.data(), 4), 4u);
  EXPECT_EQ(std::wstring(buffer.data()), path.substr(0, 3));
  EXPECT_EQ(buffer[4], L'#') << "nothing is written past the buffer";

  SetLastError(0);
  EXPECT_EQ(GetModuleFileNameW(nullptr, buffer.data(), 0), 0u);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER));
  EXPECT_EQ(GetModuleFileNameW(reinterpret_cast<HMODULE>(0x1000), buffer.data(), 10), 0u);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_MOD_NOT_FOUND));
}

TEST(Modules, LoadAndFreeCountReferencesAndTheModuleLeavesWithTheLast) {
  ASSERT_FALSE(isLoaded(QN_TEST_MODULE));
  HMODULE first = LoadLibraryW(modulePath.c_str());
  ASSERT_NE(first, nullptr) << GetLastError();
  EXPECT_TRUE(isLoaded(QN_TEST_MODULE));
  EXPECT_EQ(std::memcmp(first, "\x7F" "ELF", 4), 0);
  EXPECT_EQ(fileNameOf(first), wide(fullPath(QN_TEST_MODULE)));

  // Once loaded, the bare name finds it, with or without its extension.
  HMODULE second = LoadLibraryW(moduleName.c_str());
  EXPECT_EQ(second, first);
  std::wstring stem = moduleName.substr(0, moduleName.size() - 3);
  EXPECT_EQ(GetModuleHandleW(stem.c_str()), first);
  EXPECT_EQ(GetModuleHandleW(moduleName.c_str()), first);

  // GetModuleHandleEx adds a reference unless told not to.
  HMODULE third = nullptr;
  ASSERT_TRUE(GetModuleHandleExW(0, moduleName.c_str(), &third));
  EXPECT_EQ(third, first);
  ASSERT_TRUE(GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT, moduleName.c_str(), &third));

  EXPECT_TRUE(FreeLibrary(first));
  EXPECT_TRUE(FreeLibrary(first));
  EXPECT_TRUE(isLoaded(QN_TEST_MODULE)) << "one reference is still held";
  EXPECT_EQ(fileNameOf(first), wide(fullPath(QN_TEST_MODULE)));
  EXPECT_TRUE(FreeLibrary(first));
  EXPECT_FALSE(isLoaded(QN_TEST_MODULE)) << "the last FreeLibrary unloads the module";

  SetLastError(0);
  EXPECT_EQ(fileNameOf(first), L"");
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_MOD_NOT_FOUND));
  EXPECT_EQ(GetModuleHandleW(moduleName.c_str()), nullptr);
  EXPECT_FALSE(FreeLibrary(first));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_MOD_NOT_FOUND));

  // The layer's own library came with the program: freeing it is harmless.
  HMODULE platform = GetModuleHandleW(L"libqnplatform.so");
  EXPECT_TRUE(FreeLibrary(platform));
  EXPECT_EQ(GetModuleHandleW(L"libqnplatform.so"), platform);
}

TEST(Modules, ExportsByNameAndByOrdinal) {
  HMODULE module = LoadLibraryW(modulePath.c_str());
  ASSERT_NE(module, nullptr);
  using Add = int (*)(int, int);
  using Unary = int (*)(int);
  FARPROC add = GetProcAddress(module, "qnTestAdd");
  ASSERT_NE(add, nullptr);
  EXPECT_EQ(reinterpret_cast<Add>(reinterpret_cast<void*>(add))(2, 3), 5);
  EXPECT_EQ(GetProcAddress(module, MAKEINTRESOURCEA(1)), add);
  EXPECT_EQ(GetProcAddress(module, MAKEINTRESOURCEA(2)), GetProcAddress(module, "qnTestScale"));
  FARPROC negate = GetProcAddress(module, MAKEINTRESOURCEA(7));
  ASSERT_NE(negate, nullptr);
  EXPECT_EQ(reinterpret_cast<Unary>(reinterpret_cast<void*>(negate))(4), -4);

  for (const char* name : {"qnTestMissing", "malloc", ""}) {
    SetLastError(0);
    EXPECT_EQ(GetProcAddress(module, name), nullptr) << name << ": only the module's own definitions count";
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_PROC_NOT_FOUND));
  }
  for (WORD ordinal : {0, 3, 8, 0xFFFF}) {
    SetLastError(0);
    EXPECT_EQ(GetProcAddress(module, MAKEINTRESOURCEA(ordinal)), nullptr) << ordinal;
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_PROC_NOT_FOUND));
  }
  EXPECT_TRUE(FreeLibrary(module));

  // A module without an ordinal table has no ordinals; the program's own
  // unexported functions are not found either.
  HMODULE platform = GetModuleHandleW(L"libqnplatform.so");
  EXPECT_NE(GetProcAddress(platform, "LoadLibraryW"), nullptr);
  EXPECT_EQ(GetProcAddress(platform, MAKEINTRESOURCEA(1)), nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_PROC_NOT_FOUND));
  EXPECT_EQ(GetProcAddress(nullptr, "localFunction"), nullptr);
}

TEST(Modules, LoadFailuresGiveTheWin32Codes) {
  struct Case {
    std::wstring name;
    DWORD error;
  };
  const std::string text = scratch() + "/not-a-module.so";
  writeFile(text, {'h', 'e', 'l', 'l', 'o', '\n'});
  const Case cases[] = {
      {L"/no/such/folder/libx.so", ERROR_MOD_NOT_FOUND},
      {L"libqn-no-such-module.so", ERROR_MOD_NOT_FOUND},
      {L"libqn-no-such-module", ERROR_MOD_NOT_FOUND},
      {wide(text), ERROR_BAD_EXE_FORMAT},
      {wide(QN_TEST_PE), ERROR_BAD_EXE_FORMAT},
      {wide(QN_TEST_RES), ERROR_BAD_EXE_FORMAT},
      {wide(QN_TEST_UNRESOLVED), ERROR_PROC_NOT_FOUND},
      {wide(QN_TEST_LOST_DEPENDENCY), ERROR_MOD_NOT_FOUND},
  };
  for (const auto& c : cases) {
    SetLastError(0);
    EXPECT_EQ(LoadLibraryW(c.name.c_str()), nullptr);
    EXPECT_EQ(GetLastError(), c.error) << std::string(c.name.begin(), c.name.end());
  }
  SetLastError(0);
  EXPECT_EQ(LoadLibraryW(nullptr), nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(LoadLibraryExW(modulePath.c_str(), INVALID_HANDLE_VALUE, 0), nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(LoadLibraryExW(modulePath.c_str(), nullptr, 0x80000000u), nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  // Backslashes separate folders, as on Windows.
  std::wstring backslashed = modulePath;
  for (auto& c : backslashed)
    if (c == L'/') c = L'\\';
  HMODULE module = LoadLibraryW(backslashed.c_str());
  EXPECT_NE(module, nullptr);
  EXPECT_TRUE(FreeLibrary(module));
}

TEST(Modules, DataFilesAreMappedForTheirResourcesOnly) {
  for (const std::string& path : {std::string(QN_TEST_PE), std::string(QN_TEST_RES), std::string(QN_TEST_MODULE)}) {
    SCOPED_TRACE(path);
    HMODULE data = LoadLibraryExW(wide(path).c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
    ASSERT_NE(data, nullptr) << GetLastError();
    EXPECT_TRUE(LDR_IS_DATAFILE(data));
    EXPECT_FALSE(LDR_IS_IMAGEMAPPING(data));
    EXPECT_FALSE(isLoaded(QN_TEST_MODULE)) << "the code of a data file is never loaded";
    HMODULE image = LoadLibraryExW(wide(path).c_str(), nullptr, LOAD_LIBRARY_AS_IMAGE_RESOURCE);
    ASSERT_NE(image, nullptr);
    EXPECT_TRUE(LDR_IS_IMAGEMAPPING(image));
    EXPECT_NE(image, data);

    SetLastError(0);
    EXPECT_EQ(fileNameOf(data), L"");
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_MOD_NOT_FOUND));
    EXPECT_EQ(GetProcAddress(data, "qnTestAdd"), nullptr);
    EXPECT_EQ(GetModuleHandleW(wide(baseName(path)).c_str()), nullptr) << "data files are not modules of the process";
    wchar_t text[64];
    EXPECT_EQ(LoadStringW(data, 1, text, 64), 21);
    EXPECT_STREQ(text, L"Hello from the module");

    EXPECT_TRUE(FreeLibrary(data));
    EXPECT_TRUE(FreeLibrary(image));
    EXPECT_FALSE(FreeLibrary(data));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_MOD_NOT_FOUND));
    EXPECT_EQ(LoadStringW(data, 1, text, 64), 0);
  }
  SetLastError(0);
  EXPECT_EQ(LoadLibraryExW(L"/no/such.res", nullptr, LOAD_LIBRARY_AS_DATAFILE), nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_MOD_NOT_FOUND));
}

TEST(Modules, AnExecutableLoadsForItsResources) {
  HMODULE program = LoadLibraryW(wide(QN_TEST_PROGRAM).c_str());
  ASSERT_NE(program, nullptr) << GetLastError();
  EXPECT_FALSE(LDR_IS_RESOURCE(program));
  EXPECT_EQ(fileNameOf(program), wide(fullPath(QN_TEST_PROGRAM)));
  EXPECT_EQ(LoadLibraryW(wide(QN_TEST_PROGRAM).c_str()), program);
  EXPECT_EQ(GetModuleHandleW(wide(baseName(QN_TEST_PROGRAM) + ".").c_str()), program);
  wchar_t text[64];
  EXPECT_EQ(LoadStringW(program, 1, text, 64), 19);
  EXPECT_STREQ(text, L"Main program string");
  SetLastError(0);
  EXPECT_EQ(GetProcAddress(program, "main"), nullptr) << "its code never runs";
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_PROC_NOT_FOUND));
  EXPECT_TRUE(FreeLibrary(program));
  EXPECT_EQ(LoadStringW(program, 1, text, 64), 19) << "one reference is left";
  EXPECT_TRUE(FreeLibrary(program));
  EXPECT_EQ(GetModuleHandleW(wide(baseName(QN_TEST_PROGRAM) + ".").c_str()), nullptr);
}

TEST(Modules, ErrorModeIsKeptProcessWide) {
  const UINT before = GetErrorMode();
  EXPECT_EQ(SetErrorMode(SEM_FAILCRITICALERRORS), before);
  EXPECT_EQ(GetErrorMode(), static_cast<UINT>(SEM_FAILCRITICALERRORS));
  EXPECT_EQ(SetErrorMode(SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX), static_cast<UINT>(SEM_FAILCRITICALERRORS));
  EXPECT_EQ(SetErrorMode(before), static_cast<UINT>(SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX));
}

TEST(Modules, ALoadedModuleIsFoundByNameWhateverTheWorkingDirectoryBecomes) {
  ASSERT_FALSE(isLoaded(QN_TEST_MODULE));
  char before[PATH_MAX];
  ASSERT_NE(getcwd(before, sizeof before), nullptr);
  const std::string module = fullPath(QN_TEST_MODULE);
  const std::string directory = module.substr(0, module.rfind('/'));
  ASSERT_EQ(chdir(directory.c_str()), 0);
  HMODULE first = LoadLibraryW((L"./" + moduleName).c_str());
  ASSERT_NE(first, nullptr) << GetLastError();
  ASSERT_EQ(chdir("/"), 0);  // as a file dialog may do

  struct Case {
    std::wstring name;
    const char* why;
  };
  const Case cases[] = {
      {moduleName, "the base name"},
      {moduleName.substr(0, moduleName.size() - 3), "the base name without its extension"},
      {wide(module), "the full path"},
      {wide(directory + "/./" + baseName(module)), "a full path with a dot part"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    EXPECT_EQ(GetModuleHandleW(c.name.c_str()), first);
    HMODULE again = LoadLibraryW(c.name.c_str());
    EXPECT_EQ(again, first) << GetLastError();
    EXPECT_EQ(fileNameOf(again), wide(module)) << "the file name is absolute";
  }
  for (int i = 0; i < 4; ++i) EXPECT_TRUE(FreeLibrary(first));
  EXPECT_TRUE(isLoaded(QN_TEST_MODULE)) << "the first reference is still held";
  EXPECT_EQ(fileNameOf(first), wide(module));
  EXPECT_TRUE(FreeLibrary(first));
  EXPECT_FALSE(isLoaded(QN_TEST_MODULE));
  ASSERT_EQ(chdir(before), 0);
}

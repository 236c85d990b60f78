// cFile's sequential reads and writes and its open and close, each beside
// the raw system calls on the same file; cFileSystem's path composing and
// splitting beside a plain std::wstring version of the same rules; whole
// directory searches of 1,000, 4,000 and 16,000 entries beside readdir and
// stat, to show that their cost per entry doesn't grow.
#include <benchmark/benchmark.h>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <qnlith/qnlith.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "baseline_report.h"

namespace {

constexpr DWORD FileSize = 64 << 20;

void removeBenchFile();

// A 64 MiB file for the run, removed when the program ends. The name lives
// on the heap so that it is still there for the removal at exit.
const std::string& benchFile() {
  static const std::string* path = [] {
    const char* base = std::getenv("QNLITH_TEST_TMP");
    std::filesystem::path directory = base != nullptr && *base ? base : "/tmp";
    std::filesystem::create_directories(directory);
    auto* file = new std::string((directory / ("qnlith-bench-" + std::to_string(::getpid()))).string());
    const int fd = ::open(file->c_str(), O_RDWR | O_CREAT | O_TRUNC, 0644);
    std::vector<char> block(1 << 20, 'x');
    for (DWORD done = 0; done < FileSize; done += block.size())
      if (::write(fd, block.data(), block.size()) < 0) break;
    ::close(fd);
    return file;
  }();
  static const bool removal = std::atexit(removeBenchFile) == 0;
  (void)removal;
  return *path;
}

void removeBenchFile() { std::filesystem::remove(benchFile()); }

cString benchName() { return cString(benchFile().c_str()); }

void cFileRead(benchmark::State& state) {
  const DWORD block = static_cast<DWORD>(state.range(0));
  std::vector<char> buffer(block);
  cFile file;
  if (!file.open(benchName(), 0x40)) state.SkipWithError("open failed");
  for (auto _ : state) {
    DWORD count = block;
    file.read(buffer.data(), count);
    if (count < block) file.seek(0, cFile::seekFromStart);
    benchmark::DoNotOptimize(buffer.data());
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * block);
}

void rawRead(benchmark::State& state) {
  const auto block = static_cast<std::size_t>(state.range(0));
  std::vector<char> buffer(block);
  const int fd = ::open(benchFile().c_str(), O_RDONLY | O_CLOEXEC);
  for (auto _ : state) {
    const ssize_t n = ::read(fd, buffer.data(), block);
    if (n < static_cast<ssize_t>(block)) ::lseek(fd, 0, SEEK_SET);
    benchmark::DoNotOptimize(buffer.data());
  }
  ::close(fd);
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * block);
}

void cFileWrite(benchmark::State& state) {
  const DWORD block = static_cast<DWORD>(state.range(0));
  std::vector<char> buffer(block, 'w');
  cFile file;
  if (!file.open(benchName(), 0x41)) state.SkipWithError("open failed");
  DWORD written = 0;
  for (auto _ : state) {
    DWORD count = block;
    file.write(buffer.data(), count);
    written += count;
    if (written >= FileSize) {
      file.seek(0, cFile::seekFromStart);
      written = 0;
    }
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * block);
}

void rawWrite(benchmark::State& state) {
  const auto block = static_cast<std::size_t>(state.range(0));
  std::vector<char> buffer(block, 'w');
  const int fd = ::open(benchFile().c_str(), O_WRONLY | O_CLOEXEC);
  std::size_t written = 0;
  for (auto _ : state) {
    written += static_cast<std::size_t>(::write(fd, buffer.data(), block));
    if (written >= FileSize) {
      ::lseek(fd, 0, SEEK_SET);
      written = 0;
    }
  }
  ::close(fd);
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * block);
}

void cFileOpenClose(benchmark::State& state) {
  const cString name = benchName();
  for (auto _ : state) {
    cFile file;
    file.open(name, 0x40);
    file.close();
  }
}

void rawOpenClose(benchmark::State& state) {
  const std::string& name = benchFile();
  for (auto _ : state) {
    const int fd = ::open(name.c_str(), O_RDONLY | O_CLOEXEC);
    ::close(fd);
  }
}

// The composition and split rules on std::wstring.
std::wstring plainMakePath(const std::wstring& dir, const std::wstring& name) {
  std::wstring out = dir;
  if (!out.empty() && out.back() != L'\\' && out.back() != L'/') out += L'\\';
  out += name;
  return out;
}

void plainSplitPath(const std::wstring& path, std::wstring& dir, std::wstring& name) {
  std::size_t start = path.size() >= 2 && path[1] == L':' ? 2 : 0;
  const std::size_t separator = path.find_last_of(L"\\/");
  const std::size_t nameStart = separator == std::wstring::npos || separator < start ? start : separator + 1;
  dir.assign(path, 0, nameStart);
  name.assign(path, nameStart, std::wstring::npos);
}

const wchar_t* const Directory = L"C:\\Program Files\\Qnlith\\data";
const wchar_t* const Name = L"settings.ini";
const wchar_t* const Path = L"C:\\Program Files\\Qnlith\\data\\settings.ini";

void cFileSystemMakePath(benchmark::State& state) {
  const cString dir(Directory), name(Name);
  for (auto _ : state) benchmark::DoNotOptimize(cFileSystem::makePath(dir, name));
}

void wstringMakePath(benchmark::State& state) {
  const std::wstring dir(Directory), name(Name);
  for (auto _ : state) benchmark::DoNotOptimize(plainMakePath(dir, name));
}

void cFileSystemSplitPath(benchmark::State& state) {
  const cString path(Path);
  cString dir, name;
  for (auto _ : state) {
    cFileSystem::splitPath(path, dir, name);
    benchmark::DoNotOptimize(name.c_str());
  }
}

void wstringSplitPath(benchmark::State& state) {
  const std::wstring path(Path);
  std::wstring dir, name;
  for (auto _ : state) {
    plainSplitPath(path, dir, name);
    benchmark::DoNotOptimize(name.data());
  }
}

// A directory of n empty files for the run, removed when the program ends.
std::map<int, std::string>& searchDirectories() {
  static auto* directories = new std::map<int, std::string>;
  return *directories;
}

void removeSearchDirectories() {
  for (const auto& [n, path] : searchDirectories()) std::filesystem::remove_all(path);
}

const std::string& searchDirectory(int n) {
  auto& directories = searchDirectories();
  auto it = directories.find(n);
  if (it != directories.end()) return it->second;
  static const bool removal = std::atexit(removeSearchDirectories) == 0;
  (void)removal;
  const std::string path = benchFile() + "-dir-" + std::to_string(n);
  std::filesystem::create_directories(path);
  for (int i = 0; i < n; ++i) std::ofstream(path + "/entry" + std::to_string(i) + ".txt");
  return directories.emplace(n, path).first->second;
}

// A whole directory search, per entry: FindFirstFileW and FindNextFileW
// give each entry's attributes, times and size.
void findFiles(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const std::wstring pattern = std::filesystem::path(searchDirectory(n) + "/*").wstring();
  for (auto _ : state) {
    WIN32_FIND_DATAW data;
    HANDLE h = FindFirstFileW(pattern.c_str(), &data);
    while (FindNextFileW(h, &data)) benchmark::DoNotOptimize(data.nFileSizeLow);
    FindClose(h);
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * (n + 2));
}

// The same walk by hand: readdir and a stat of each entry.
void readdirStat(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const std::string& path = searchDirectory(n);
  for (auto _ : state) {
    DIR* dir = ::opendir(path.c_str());
    while (const dirent* d = ::readdir(dir)) {
      struct stat st;
      ::fstatat(::dirfd(dir), d->d_name, &st, 0);
      benchmark::DoNotOptimize(st.st_size);
    }
    ::closedir(dir);
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * (n + 2));
}

}  // namespace

BENCHMARK(findFiles)->Arg(1000)->Arg(4000)->Arg(16000)->Unit(benchmark::kMicrosecond);
BENCHMARK(readdirStat)->Arg(1000)->Arg(4000)->Arg(16000)->Unit(benchmark::kMicrosecond);
BENCHMARK(cFileRead)->Arg(1 << 20)->Arg(4 << 10);
BENCHMARK(rawRead)->Arg(1 << 20)->Arg(4 << 10);
BENCHMARK(cFileWrite)->Arg(1 << 20)->Arg(4 << 10);
BENCHMARK(rawWrite)->Arg(1 << 20)->Arg(4 << 10);
BENCHMARK(cFileOpenClose);
BENCHMARK(rawOpenClose);
BENCHMARK(cFileSystemMakePath);
BENCHMARK(wstringMakePath);
BENCHMARK(cFileSystemSplitPath);
BENCHMARK(wstringSplitPath);

int main(int argc, char** argv) {
  return qnbench::runWithRatios(argc, argv,
                                {{"cFileRead/1048576", "rawRead/1048576"},
                                 {"cFileRead/4096", "rawRead/4096"},
                                 {"cFileWrite/1048576", "rawWrite/1048576"},
                                 {"cFileWrite/4096", "rawWrite/4096"},
                                 {"cFileOpenClose", "rawOpenClose"},
                                 {"cFileSystemMakePath", "wstringMakePath"},
                                 {"cFileSystemSplitPath", "wstringSplitPath"},
                                 {"findFiles/1000", "readdirStat/1000"},
                                 {"findFiles/4000", "readdirStat/4000"},
                                 {"findFiles/16000", "readdirStat/16000"}});
}

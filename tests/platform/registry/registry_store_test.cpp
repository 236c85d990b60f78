// The registry's store: where it lives, who may read it, and that no
// write that returned success is lost to other threads, other processes or
// a process killed at any moment.
#include <gtest/gtest.h>
#include <qnlith/win32.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "registry/registry_payload.h"
#include "support/temporary_registry.h"

namespace {

HKEY create(HKEY parent, const wchar_t* path) {
  HKEY key = nullptr;
  EXPECT_EQ(RegCreateKeyExW(parent, path, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr), ERROR_SUCCESS);
  return key;
}

DWORD readDword(HKEY key, const std::wstring& name, LONG* error = nullptr) {
  DWORD value = 0, size = 4, type = 0;
  const LONG e = RegQueryValueExW(key, name.c_str(), nullptr, &type, reinterpret_cast<BYTE*>(&value), &size);
  if (error != nullptr) *error = e;
  return value;
}

std::string integrityOf(const std::string& file) {
  sqlite3* db = nullptr;
  std::string result;
  if (sqlite3_open_v2(file.c_str(), &db, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK) {
    sqlite3_stmt* s = nullptr;
    if (sqlite3_prepare_v2(db, "PRAGMA integrity_check", -1, &s, nullptr) == SQLITE_OK) {
      while (sqlite3_step(s) == SQLITE_ROW) result += reinterpret_cast<const char*>(sqlite3_column_text(s, 0));
    }
    sqlite3_finalize(s);
  } else {
    result = sqlite3_errmsg(db);
  }
  sqlite3_close(db);
  return result;
}

// A writer process from the helper program, with its acknowledgements on a pipe.
struct Writer {
  pid_t pid = -1;
  int output = -1;
  std::string pending;
  std::vector<long> acknowledged;

  Writer(const std::string& key, const std::string& prefix, long count, std::size_t payload) {
    int fds[2];
    if (::pipe(fds) != 0) return;
    const std::string countText = std::to_string(count), payloadText = std::to_string(payload);
    pid = ::fork();
    if (pid == 0) {
      ::dup2(fds[1], 1);
      ::close(fds[0]);
      ::close(fds[1]);
      ::execl(QNLITH_REGISTRY_WRITER, "registry_writer", key.c_str(), prefix.c_str(), countText.c_str(),
              payloadText.c_str(), static_cast<char*>(nullptr));
      ::_exit(127);
    }
    ::close(fds[1]);
    output = fds[0];
  }

  // Waits for the first acknowledgement, so that a kill lands mid-stream.
  void awaitFirst() {
    char buffer[256];
    ssize_t n;
    while (pending.find('\n') == std::string::npos && (n = ::read(output, buffer, sizeof buffer)) > 0)
      pending.append(buffer, static_cast<std::size_t>(n));
  }

  // Reads acknowledgements until the pipe closes.
  void drain() {
    char buffer[4096];
    ssize_t n;
    while ((n = ::read(output, buffer, sizeof buffer)) > 0) pending.append(buffer, static_cast<std::size_t>(n));
    for (std::size_t start = 0, end; (end = pending.find('\n', start)) != std::string::npos; start = end + 1)
      acknowledged.push_back(std::stol(pending.substr(start, end - start)));
    ::close(output);
  }

  int wait() {
    int status = 0;
    ::waitpid(pid, &status, 0);
    return status;
  }
};

}  // namespace

TEST(RegistryStore, FilesAreTheUsersAndSurviveReopening) {
  TemporaryRegistry sandbox;
  const std::string directory = sandbox.directory() + "/nested/store";
  ::setenv("QNLITH_REGISTRY_DIR", directory.c_str(), 1);
  HKEY key = create(HKEY_CURRENT_USER, L"Kept");
  const DWORD value = 42;
  ASSERT_EQ(RegSetValueExW(key, L"Answer", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value), 4), ERROR_SUCCESS);
  RegCloseKey(create(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Machine"));

  struct stat status;
  ASSERT_EQ(::stat((directory + "/user.db").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600u) << "the user's store is readable by its owner only";
  ASSERT_EQ(::stat(directory.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0700u);
  ASSERT_EQ(::stat((directory + "/machine.db").c_str(), &status), 0);

  // Another place, then back: the store is opened afresh and still holds the value.
  RegCloseKey(key);
  {
    TemporaryRegistry elsewhere;
    HKEY missing = nullptr;
    EXPECT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, L"Kept", 0, KEY_READ, &missing), ERROR_FILE_NOT_FOUND);
  }
  ::setenv("QNLITH_REGISTRY_DIR", directory.c_str(), 1);
  HKEY again = nullptr;
  ASSERT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, L"KEPT", 0, KEY_READ, &again), ERROR_SUCCESS);
  EXPECT_EQ(readDword(again, L"answer"), 42u);
  RegCloseKey(again);

  // A key keeps the store it was opened in when the environment moves on.
  HKEY held = create(HKEY_CURRENT_USER, L"Held");
  {
    TemporaryRegistry elsewhere;
    EXPECT_EQ(RegSetValueExW(held, L"Late", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value), 4), ERROR_SUCCESS);
  }
  ::setenv("QNLITH_REGISTRY_DIR", directory.c_str(), 1);
  EXPECT_EQ(readDword(held, L"Late"), 42u);
  RegCloseKey(held);
}

TEST(RegistryStore, AStoreThatCannotBeMadeReadsEmptyAndRefusesWrites) {
  TemporaryRegistry sandbox;
  // A directory below a plain file can never be created, whatever our rights.
  const std::string file = sandbox.directory() + "/plain";
  std::fclose(std::fopen(file.c_str(), "w"));
  ::setenv("QNLITH_REGISTRY_DIR", (file + "/store").c_str(), 1);

  HKEY key = nullptr;
  EXPECT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, L"Anything", 0, KEY_READ, &key), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, L"Anything", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr),
            ERROR_ACCESS_DENIED);
  const DWORD value = 1;
  EXPECT_EQ(RegSetValueExW(HKEY_CURRENT_USER, L"v", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value), 4),
            ERROR_ACCESS_DENIED);
  wchar_t name[8];
  DWORD size = 8;
  EXPECT_EQ(RegEnumKeyExW(HKEY_LOCAL_MACHINE, 0, name, &size, nullptr, nullptr, nullptr, nullptr),
            ERROR_NO_MORE_ITEMS);
}

TEST(RegistryStore, AForeignFileIsLeftAlone) {
  TemporaryRegistry sandbox;
  {
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open(sandbox.userFile().c_str(), &db), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(db, "CREATE TABLE mine(x)", nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(db);
  }
  HKEY key = nullptr;
  EXPECT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, L"x", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr),
            ERROR_REGISTRY_CORRUPT);
  EXPECT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, L"x", 0, KEY_READ, &key), ERROR_REGISTRY_CORRUPT);
}

TEST(RegistryStore, ThreadsWritingAtOnceLoseNothing) {
  TemporaryRegistry sandbox;
  constexpr int Threads = 4, Writes = 25;
  std::vector<std::thread> threads;
  for (int t = 0; t < Threads; ++t) {
    threads.emplace_back([t] {
      // Each thread makes its own way to the same key, creating it as it goes.
      HKEY key = nullptr;
      ASSERT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, L"Shared\\Threads", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key,
                                nullptr),
                ERROR_SUCCESS);
      for (int i = 0; i < Writes; ++i) {
        const DWORD value = static_cast<DWORD>(t * 1000 + i);
        const std::wstring name = L"t" + std::to_wstring(t) + L"_" + std::to_wstring(i);
        ASSERT_EQ(RegSetValueExW(key, name.c_str(), 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value), 4),
                  ERROR_SUCCESS);
      }
      RegCloseKey(key);
    });
  }
  for (auto& t : threads) t.join();
  HKEY key = create(HKEY_CURRENT_USER, L"Shared\\Threads");
  DWORD values = 0;
  ASSERT_EQ(RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &values, nullptr, nullptr,
                             nullptr, nullptr),
            ERROR_SUCCESS);
  EXPECT_EQ(values, static_cast<DWORD>(Threads * Writes));
  for (int t = 0; t < Threads; ++t)
    for (int i = 0; i < Writes; ++i)
      EXPECT_EQ(readDword(key, L"t" + std::to_wstring(t) + L"_" + std::to_wstring(i)), static_cast<DWORD>(t * 1000 + i));
  RegCloseKey(key);
}

TEST(RegistryStore, ProcessesWritingAtOnceLoseNothing) {
  TemporaryRegistry sandbox;
  constexpr int Processes = 4;
  constexpr long Writes = 40;
  std::vector<Writer> writers;
  for (int p = 0; p < Processes; ++p) writers.emplace_back("Shared\\Processes", "p" + std::to_string(p) + "_", Writes, 0);
  for (auto& w : writers) {
    w.drain();
    const int status = w.wait();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "writer status " << status;
    EXPECT_EQ(w.acknowledged.size(), static_cast<std::size_t>(Writes));
  }
  HKEY key = create(HKEY_CURRENT_USER, L"Shared\\Processes");
  for (int p = 0; p < Processes; ++p) {
    for (long i = 0; i < Writes; ++i) {
      LONG e;
      const DWORD value = readDword(key, L"p" + std::to_wstring(p) + L"_" + std::to_wstring(i), &e);
      EXPECT_EQ(e, ERROR_SUCCESS);
      EXPECT_EQ(value, static_cast<DWORD>(i));
    }
  }
  // All four made their own key below the one they raced to create.
  HKEY shared = create(key, L"shared");
  DWORD subKeys = 0;
  ASSERT_EQ(RegQueryInfoKeyW(shared, nullptr, nullptr, nullptr, &subKeys, nullptr, nullptr, nullptr, nullptr, nullptr,
                             nullptr, nullptr),
            ERROR_SUCCESS);
  EXPECT_EQ(subKeys, static_cast<DWORD>(Processes));
  RegCloseKey(shared);
  RegCloseKey(key);
  EXPECT_EQ(integrityOf(sandbox.userFile()), "ok");
}

TEST(RegistryStore, WritersKilledAtRandomLoseNoAcknowledgedWrite) {
  TemporaryRegistry sandbox;
  std::mt19937 random(std::random_device{}());
  constexpr int Rounds = 4, WritersPerRound = 3;
  constexpr std::size_t Payload = 5000;  // longer than a page, so a torn write would show
  std::vector<std::pair<std::string, long>> acknowledged;
  for (int round = 0; round < Rounds; ++round) {
    std::vector<Writer> writers;
    for (int w = 0; w < WritersPerRound; ++w)
      writers.emplace_back("Crash", "r" + std::to_string(round) + "w" + std::to_string(w) + "_", 0, Payload);
    for (auto& w : writers) {
      w.awaitFirst();
      std::this_thread::sleep_for(std::chrono::milliseconds(std::uniform_int_distribution<int>(5, 80)(random)));
      ::kill(w.pid, SIGKILL);
    }
    for (int w = 0; w < WritersPerRound; ++w) {
      writers[w].drain();
      const int status = writers[w].wait();
      EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << "writer ended early: " << status;
      for (long i : writers[w].acknowledged)
        acknowledged.emplace_back("r" + std::to_string(round) + "w" + std::to_string(w) + "_", i);
    }
  }
  EXPECT_EQ(integrityOf(sandbox.userFile()), "ok");
  EXPECT_FALSE(acknowledged.empty());

  HKEY key = create(HKEY_CURRENT_USER, L"Crash");
  std::vector<BYTE> data(Payload);
  for (const auto& [prefix, i] : acknowledged) {
    const std::wstring name = std::wstring(prefix.begin(), prefix.end()) + std::to_wstring(i);
    DWORD type = 0, size = Payload;
    ASSERT_EQ(RegQueryValueExW(key, name.c_str(), nullptr, &type, data.data(), &size), ERROR_SUCCESS)
        << "acknowledged write lost: " << prefix << i;
    ASSERT_EQ(size, Payload);
    EXPECT_EQ(std::memcmp(data.data(), registryPayload(static_cast<DWORD>(i), Payload).data(), Payload), 0);
  }
  RegCloseKey(key);
}

TEST(RegistryStore, AForkedChildUsesItsOwnConnection) {
  TemporaryRegistry sandbox;
  HKEY key = create(HKEY_CURRENT_USER, L"Forked");
  const DWORD before = 1;
  ASSERT_EQ(RegSetValueExW(key, L"Parent", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&before), 4), ERROR_SUCCESS);
  const pid_t child = ::fork();
  if (child == 0) {
    const DWORD value = 2;
    DWORD seen = 0, size = 4;
    const bool ok =
        RegQueryValueExW(key, L"Parent", nullptr, nullptr, reinterpret_cast<BYTE*>(&seen), &size) == ERROR_SUCCESS &&
        seen == 1 &&
        RegSetValueExW(key, L"Child", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value), 4) == ERROR_SUCCESS;
    ::_exit(ok ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  EXPECT_EQ(readDword(key, L"Child"), 2u);
  RegCloseKey(key);
}

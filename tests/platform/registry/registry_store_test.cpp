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
#include <functional>
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

namespace {

// Runs `change` in a child process of its own, as another program would.
void inAnotherProcess(const std::function<bool()>& change) {
  const pid_t child = ::fork();
  if (child == 0) ::_exit(change() ? 0 : 1);
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

std::wstring valueAt(HKEY key, DWORD index) {
  wchar_t name[32];
  DWORD size = 32;
  const LONG e = RegEnumValueW(key, index, name, &size, nullptr, nullptr, nullptr, nullptr);
  return e == ERROR_SUCCESS ? std::wstring(name, size) : L"error " + std::to_wstring(e);
}

std::wstring subkeyAt(HKEY key, DWORD index) {
  wchar_t name[32];
  DWORD size = 32;
  const LONG e = RegEnumKeyExW(key, index, name, &size, nullptr, nullptr, nullptr, nullptr);
  return e == ERROR_SUCCESS ? std::wstring(name, size) : L"error " + std::to_wstring(e);
}

}  // namespace

// A walk by index that goes on from its last position must see every
// change made between two calls, by this handle, another handle or another
// process: index 2 is always the third entry as the key stands now.
TEST(RegistryStore, WalksByIndexSeeChangesFromAnywhere) {
  TemporaryRegistry sandbox;
  const DWORD one = 1;
  auto setOne = [&](HKEY k, const wchar_t* name) {
    return RegSetValueExW(k, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&one), 4) == ERROR_SUCCESS;
  };
  auto other = [](REGSAM access) {
    HKEY k = nullptr;
    RegOpenKeyExW(HKEY_CURRENT_USER, L"Walked", 0, access, &k);
    return k;
  };
  const struct {
    const char* what;
    std::function<void(HKEY)> change;
    const wchar_t* value2;
    const wchar_t* subkey2;
    int valueCountChange;  // and subkeys the same
  } rows[] = {
      {"nothing changes", [](HKEY) {}, L"v2", L"k2", 0},
      {"this handle deletes the first",
       [](HKEY k) {
         RegDeleteValueW(k, L"v0");
         RegDeleteKeyW(k, L"k0");
       },
       L"v3", L"k3", -1},
      {"another handle deletes the first",
       [&](HKEY) {
         HKEY k = other(KEY_ALL_ACCESS);
         RegDeleteValueW(k, L"v0");
         RegDeleteKeyW(k, L"k0");
         RegCloseKey(k);
       },
       L"v3", L"k3", -1},
      {"another process deletes the first",
       [&](HKEY) {
         inAnotherProcess([&] {
           HKEY k = other(KEY_ALL_ACCESS);
           return RegDeleteValueW(k, L"v0") == ERROR_SUCCESS && RegDeleteKeyW(k, L"k0") == ERROR_SUCCESS;
         });
       },
       L"v3", L"k3", -1},
      {"another process adds one that sorts first",
       [&](HKEY) {
         inAnotherProcess([&] {
           HKEY k = other(KEY_ALL_ACCESS), made = nullptr;
           return setOne(k, L"v9") &&
                  RegCreateKeyExW(k, L"a", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &made, nullptr) == ERROR_SUCCESS;
         });
       },
       L"v2", L"k1", 1},
      {"this handle sets the first again", [&](HKEY k) { setOne(k, L"V0"); }, L"v2", L"k2", 0},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    HKEY key = create(HKEY_CURRENT_USER, L"Walked");
    // A fresh key: five values and five subkeys.
    for (std::wstring name; (name = subkeyAt(key, 0)).rfind(L"error", 0) != 0;) RegDeleteKeyW(key, name.c_str());
    for (std::wstring name; (name = valueAt(key, 0)).rfind(L"error", 0) != 0;) RegDeleteValueW(key, name.c_str());
    for (int i = 0; i < 5; ++i) {
      const std::wstring name = std::to_wstring(i);
      ASSERT_TRUE(setOne(key, (L"v" + name).c_str()));
      HKEY child = create(key, (L"k" + name).c_str());
      RegCloseKey(child);
    }
    EXPECT_EQ(valueAt(key, 0), L"v0");
    EXPECT_EQ(valueAt(key, 1), L"v1");
    EXPECT_EQ(subkeyAt(key, 0), L"k0");
    EXPECT_EQ(subkeyAt(key, 1), L"k1");
    DWORD before = 0, after = 0, subKeys = 0;
    ASSERT_EQ(RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &before, nullptr, nullptr,
                               nullptr, nullptr),
              ERROR_SUCCESS);
    row.change(key);
    EXPECT_EQ(valueAt(key, 2), row.value2);
    EXPECT_EQ(subkeyAt(key, 2), row.subkey2);
    // Counts asked again see the change too.
    ASSERT_EQ(RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, &subKeys, nullptr, nullptr, &after, nullptr, nullptr,
                               nullptr, nullptr),
              ERROR_SUCCESS);
    EXPECT_EQ(after, before + row.valueCountChange);
    EXPECT_EQ(subKeys, 5u + row.valueCountChange);
    RegCloseKey(key);
  }
}

// A batch is one transaction: nothing of it is seen outside before the
// outermost end, and an end without commit undoes all of it.
TEST(RegistryStore, BatchesCommitWholeOrNotAtAll) {
  TemporaryRegistry sandbox;
  HKEY key = create(HKEY_CURRENT_USER, L"Batched");
  auto set = [&](const wchar_t* name, DWORD value) {
    return RegSetValueExW(key, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value), 4);
  };
  // A connection of its own to the file sees what other programs see.
  auto seenElsewhere = [&](const char* name) {
    sqlite3* db = nullptr;
    sqlite3_stmt* s = nullptr;
    bool found = false;
    if (sqlite3_open_v2(sandbox.userFile().c_str(), &db, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK &&
        sqlite3_prepare_v2(db, "SELECT 1 FROM vals WHERE name = ?1", -1, &s, nullptr) == SQLITE_OK) {
      sqlite3_bind_text(s, 1, name, -1, SQLITE_STATIC);
      found = sqlite3_step(s) == SQLITE_ROW;
    }
    sqlite3_finalize(s);
    sqlite3_close(db);
    return found;
  };

  ASSERT_EQ(qnRegBeginBatch(key), ERROR_SUCCESS);
  ASSERT_EQ(qnRegBeginBatch(HKEY_CURRENT_USER), ERROR_SUCCESS) << "batches nest";
  ASSERT_EQ(set(L"a", 1), ERROR_SUCCESS);
  HKEY child = create(key, L"Child");
  EXPECT_EQ(readDword(key, L"a"), 1u) << "the batch's own writes are seen inside it";
  EXPECT_EQ(qnRegEndBatch(HKEY_CURRENT_USER, TRUE), ERROR_SUCCESS);
  EXPECT_FALSE(seenElsewhere("a")) << "not before the outermost end";
  EXPECT_EQ(qnRegEndBatch(key, TRUE), ERROR_SUCCESS);
  EXPECT_TRUE(seenElsewhere("a"));
  RegCloseKey(child);

  ASSERT_EQ(qnRegBeginBatch(key), ERROR_SUCCESS);
  ASSERT_EQ(qnRegBeginBatch(key), ERROR_SUCCESS);
  ASSERT_EQ(set(L"b", 2), ERROR_SUCCESS);
  EXPECT_EQ(qnRegEndBatch(key, FALSE), ERROR_SUCCESS);
  EXPECT_EQ(qnRegEndBatch(key, TRUE), ERROR_OPERATION_ABORTED) << "an inner end without commit undid it";
  LONG e = 0;
  readDword(key, L"b", &e);
  EXPECT_EQ(e, ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(readDword(key, L"a"), 1u) << "the earlier batch stays";
  EXPECT_EQ(qnRegEndBatch(key, TRUE), ERROR_INVALID_PARAMETER) << "no batch is open";

  // Another thread waits for the batch to end rather than joining it.
  ASSERT_EQ(qnRegBeginBatch(key), ERROR_SUCCESS);
  ASSERT_EQ(set(L"c", 3), ERROR_SUCCESS);
  LONG otherResult = -1;
  std::thread other([&] {
    EXPECT_EQ(qnRegEndBatch(key, TRUE), ERROR_INVALID_PARAMETER) << "a batch ends on its own thread";
    otherResult = set(L"d", 4);
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_EQ(qnRegEndBatch(key, FALSE), ERROR_SUCCESS);
  other.join();
  EXPECT_EQ(otherResult, ERROR_SUCCESS);
  readDword(key, L"c", &e);
  EXPECT_EQ(e, ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(readDword(key, L"d"), 4u);
  RegCloseKey(key);
}

// A store of the first schema opens, gains the index its walks use when a
// writer opens it, and keeps every value.
TEST(RegistryStore, AStoreOfTheFirstSchemaIsBroughtUpToDate) {
  TemporaryRegistry sandbox;
  {
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open(sandbox.userFile().c_str(), &db), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(db,
                           "CREATE TABLE keys(id INTEGER PRIMARY KEY AUTOINCREMENT, parent INTEGER NOT NULL, "
                           "name TEXT NOT NULL, fold TEXT NOT NULL, UNIQUE(parent, fold));"
                           "CREATE TABLE vals(id INTEGER PRIMARY KEY, key INTEGER NOT NULL REFERENCES keys(id) "
                           "ON DELETE CASCADE, name TEXT NOT NULL, fold TEXT NOT NULL, type INTEGER NOT NULL, "
                           "data BLOB NOT NULL, UNIQUE(key, fold));"
                           "INSERT INTO keys(id, parent, name, fold) VALUES (1, 0, 'HKEY_CURRENT_USER', "
                           "'HKEY_CURRENT_USER'), (2, 0, 'HKEY_LOCAL_MACHINE', 'HKEY_LOCAL_MACHINE'), "
                           "(3, 0, 'HKEY_USERS', 'HKEY_USERS'), (4, 1, 'Old', 'OLD');"
                           "INSERT INTO vals(key, name, fold, type, data) VALUES (4, 'Kept', 'KEPT', 4, x'07000000');"
                           "PRAGMA application_id = 1366184551; PRAGMA user_version = 1;",
                           nullptr, nullptr, nullptr),
              SQLITE_OK);
    sqlite3_close(db);
  }
  HKEY key = create(HKEY_CURRENT_USER, L"Old");
  EXPECT_EQ(readDword(key, L"kept"), 7u);
  EXPECT_EQ(valueAt(key, 0), L"Kept");
  RegCloseKey(key);
  sqlite3* db = nullptr;
  ASSERT_EQ(sqlite3_open_v2(sandbox.userFile().c_str(), &db, SQLITE_OPEN_READONLY, nullptr), SQLITE_OK);
  sqlite3_stmt* s = nullptr;
  ASSERT_EQ(sqlite3_prepare_v2(db, "SELECT (SELECT count(*) FROM sqlite_schema WHERE name = 'vals_order'), "
                               "(SELECT user_version FROM pragma_user_version)",
                               -1, &s, nullptr),
            SQLITE_OK);
  ASSERT_EQ(sqlite3_step(s), SQLITE_ROW);
  EXPECT_EQ(sqlite3_column_int(s, 0), 1);
  EXPECT_EQ(sqlite3_column_int(s, 1), 2);
  sqlite3_finalize(s);
  sqlite3_close(db);
}

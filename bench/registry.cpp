// A REG_DWORD written and read back through cRegistryNode, beside the same
// through SQLite's prepared statements on the same database, with the same
// durability (WAL, synchronous = FULL). A read alone shows the cost of the
// layers above SQLite without the disk's sync.
//
// Walks by index (RegEnumValueW, RegEnumKeyExW) of keys with 1,000, 4,000
// and 16,000 entries show the cost of one call as a key grows, beside one
// step of a SQLite statement that walks the same rows in the same order.
#include <benchmark/benchmark.h>
#include <qnlith/qnlith.h>
#include <sqlite3.h>
#include <stdlib.h>

#include <cstdio>
#include <filesystem>
#include <map>
#include <string>

#include "baseline_report.h"

namespace {

struct Store {
  std::string directory;
  cRegistryNode* node = nullptr;
  sqlite3* db = nullptr;
  sqlite3_stmt* write = nullptr;
  sqlite3_stmt* read = nullptr;
  sqlite3_int64 key = 0;

  Store() {
    std::string pattern = (std::filesystem::temp_directory_path() / "qnlith-bench-XXXXXX").string();
    directory = mkdtemp(pattern.data());
    setenv("QNLITH_REGISTRY_DIR", directory.c_str(), 1);
    node = new cRegistryNode(HKEY_CURRENT_USER, L"Bench", L"", true);

    sqlite3_open_v2((directory + "/user.db").c_str(), &db, SQLITE_OPEN_READWRITE, nullptr);
    sqlite3_busy_timeout(db, 60000);
    sqlite3_exec(db, "PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL", nullptr, nullptr, nullptr);
    sqlite3_stmt* find = nullptr;
    sqlite3_prepare_v2(db, "SELECT id FROM keys WHERE parent = 1 AND fold = 'BENCH'", -1, &find, nullptr);
    if (sqlite3_step(find) == SQLITE_ROW) key = sqlite3_column_int64(find, 0);
    sqlite3_finalize(find);
    sqlite3_prepare_v2(db,
                       "INSERT INTO vals(key, name, fold, type, data) VALUES(?1, 'Raw', 'RAW', 4, ?2) "
                       "ON CONFLICT(key, fold) DO UPDATE SET type = excluded.type, data = excluded.data",
                       -1, &write, nullptr);
    sqlite3_prepare_v2(db, "SELECT type, data FROM vals WHERE key = ?1 AND fold = 'RAW'", -1, &read, nullptr);
  }

  ~Store() {
    sqlite3_finalize(write);
    sqlite3_finalize(read);
    sqlite3_close(db);
    delete node;
    std::filesystem::remove_all(directory);
  }

  bool rawWrite(DWORD value) {
    sqlite3_bind_int64(write, 1, key);
    sqlite3_bind_blob(write, 2, &value, 4, SQLITE_STATIC);
    const bool ok = sqlite3_step(write) == SQLITE_DONE;
    sqlite3_reset(write);
    return ok;
  }

  bool rawRead(DWORD& value) {
    sqlite3_bind_int64(read, 1, key);
    bool ok = sqlite3_step(read) == SQLITE_ROW && sqlite3_column_int(read, 0) == REG_DWORD &&
              sqlite3_column_bytes(read, 1) == 4;
    if (ok) value = *static_cast<const DWORD*>(sqlite3_column_blob(read, 1));
    sqlite3_reset(read);
    return ok;
  }
};

Store& store() {
  static Store instance;
  return instance;
}

void RegistryNodeWriteRead(benchmark::State& state) {
  cRegistryNode& node = *store().node;
  DWORD i = 0, out = 0;
  for (auto _ : state) {
    if (!node.writeValueToKey(L"Counter", i) || !node.readValueFromKey(L"Counter", out) || out != i)
      state.SkipWithError("registry node failed");
    ++i;
  }
}

void SqliteWriteRead(benchmark::State& state) {
  Store& s = store();
  DWORD i = 0, out = 0;
  for (auto _ : state) {
    if (!s.rawWrite(i) || !s.rawRead(out) || out != i) state.SkipWithError("sqlite failed");
    ++i;
  }
}

void RegistryNodeRead(benchmark::State& state) {
  cRegistryNode& node = *store().node;
  node.writeValueToKey(L"Counter", DWORD{7});
  DWORD out = 0;
  for (auto _ : state) {
    if (!node.readValueFromKey(L"Counter", out)) state.SkipWithError("registry node failed");
    benchmark::DoNotOptimize(out);
  }
}

void SqliteRead(benchmark::State& state) {
  Store& s = store();
  s.rawWrite(7);
  DWORD out = 0;
  for (auto _ : state) {
    if (!s.rawRead(out)) state.SkipWithError("sqlite failed");
    benchmark::DoNotOptimize(out);
  }
}

// A key with n values and n subkeys, made once per size.
HKEY walkedKey(int n) {
  static std::map<int, HKEY> keys;
  store();
  if (auto it = keys.find(n); it != keys.end()) return it->second;
  HKEY key = nullptr;
  const std::wstring name = L"Walk" + std::to_wstring(n);
  RegCreateKeyExW(HKEY_CURRENT_USER, name.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr);
  qnRegBeginBatch(key);
  for (int i = 0; i < n; ++i) {
    const std::wstring item = L"Item" + std::to_wstring(i);
    const DWORD value = static_cast<DWORD>(i);
    RegSetValueExW(key, item.c_str(), 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value), 4);
    HKEY child = nullptr;
    RegCreateKeyExW(key, item.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &child, nullptr);
    RegCloseKey(child);
  }
  qnRegEndBatch(key, TRUE);
  keys[n] = key;
  return key;
}

void RegEnumValue(benchmark::State& state) {
  const auto n = static_cast<DWORD>(state.range(0));
  HKEY key = walkedKey(static_cast<int>(n));
  DWORD index = 0;
  for (auto _ : state) {
    wchar_t name[32];
    DWORD nameSize = 32, type = 0, value = 0, size = 4;
    if (RegEnumValueW(key, index, name, &nameSize, nullptr, &type, reinterpret_cast<BYTE*>(&value), &size) !=
        ERROR_SUCCESS)
      state.SkipWithError("RegEnumValueW failed");
    if (++index == n) index = 0;
  }
}

void RegEnumKey(benchmark::State& state) {
  const auto n = static_cast<DWORD>(state.range(0));
  HKEY key = walkedKey(static_cast<int>(n));
  DWORD index = 0;
  for (auto _ : state) {
    wchar_t name[32];
    DWORD nameSize = 32;
    if (RegEnumKeyExW(key, index, name, &nameSize, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS)
      state.SkipWithError("RegEnumKeyExW failed");
    if (++index == n) index = 0;
  }
}

// One row a step of a statement that walks the rows in the registry's
// order; the statement starts again behind the last.
void SqliteWalk(benchmark::State& state, const char* sql, const char* failure) {
  const int n = static_cast<int>(state.range(0));
  walkedKey(n);
  Store& s = store();
  sqlite3_int64 key = 0;
  sqlite3_stmt* find = nullptr;
  const std::string fold = "WALK" + std::to_string(n);
  sqlite3_prepare_v2(s.db, "SELECT id FROM keys WHERE parent = 1 AND fold = ?1", -1, &find, nullptr);
  sqlite3_bind_text(find, 1, fold.c_str(), -1, SQLITE_STATIC);
  if (sqlite3_step(find) == SQLITE_ROW) key = sqlite3_column_int64(find, 0);
  sqlite3_finalize(find);
  sqlite3_stmt* walk = nullptr;
  sqlite3_prepare_v2(s.db, sql, -1, &walk, nullptr);
  sqlite3_bind_int64(walk, 1, key);
  for (auto _ : state) {
    if (sqlite3_step(walk) != SQLITE_ROW) {
      sqlite3_reset(walk);
      if (sqlite3_step(walk) != SQLITE_ROW) state.SkipWithError(failure);
    }
    benchmark::DoNotOptimize(sqlite3_column_text(walk, 0));
  }
  sqlite3_finalize(walk);
}

void SqliteValueWalk(benchmark::State& state) {
  SqliteWalk(state, "SELECT name, type, data FROM vals WHERE key = ?1 ORDER BY id", "the value walk failed");
}

void SqliteKeyWalk(benchmark::State& state) {
  SqliteWalk(state, "SELECT name FROM keys WHERE parent = ?1 ORDER BY fold", "the key walk failed");
}

// Every value of a key of 16,000, by index from 0, as a program lists them.
void RegEnumAllValues(benchmark::State& state) {
  const auto n = static_cast<DWORD>(state.range(0));
  HKEY key = walkedKey(static_cast<int>(n));
  for (auto _ : state) {
    DWORD count = 0;
    for (DWORD i = 0;; ++i) {
      wchar_t name[32];
      DWORD nameSize = 32, type = 0, value = 0, size = 4;
      if (RegEnumValueW(key, i, name, &nameSize, nullptr, &type, reinterpret_cast<BYTE*>(&value), &size) !=
          ERROR_SUCCESS)
        break;
      ++count;
    }
    if (count != n) state.SkipWithError("walk ended early");
  }
}

}  // namespace

BENCHMARK(RegEnumValue)->Arg(1000)->Arg(4000)->Arg(16000);
BENCHMARK(SqliteValueWalk)->Arg(1000)->Arg(4000)->Arg(16000);
BENCHMARK(RegEnumKey)->Arg(1000)->Arg(4000)->Arg(16000);
BENCHMARK(SqliteKeyWalk)->Arg(1000)->Arg(4000)->Arg(16000);
BENCHMARK(RegEnumAllValues)->Arg(16000)->Unit(benchmark::kMillisecond);
BENCHMARK(RegistryNodeWriteRead)->MinTime(2.0)->UseRealTime();  // the disk flush is waited for, not spent
BENCHMARK(SqliteWriteRead)->MinTime(2.0)->UseRealTime();
BENCHMARK(RegistryNodeRead);
BENCHMARK(SqliteRead);

int main(int argc, char** argv) {
  return qnbench::runWithRatios(argc, argv,
                                {{"RegistryNodeWriteRead/min_time:2.000/real_time", "SqliteWriteRead/min_time:2.000/real_time"},
                                 {"RegistryNodeRead", "SqliteRead"},
                                 {"RegEnumValue/1000", "SqliteValueWalk/1000"},
                                 {"RegEnumValue/4000", "SqliteValueWalk/4000"},
                                 {"RegEnumValue/16000", "SqliteValueWalk/16000"},
                                 {"RegEnumKey/1000", "SqliteKeyWalk/1000"},
                                 {"RegEnumKey/4000", "SqliteKeyWalk/4000"},
                                 {"RegEnumKey/16000", "SqliteKeyWalk/16000"}});
}

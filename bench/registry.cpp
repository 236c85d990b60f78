// A REG_DWORD written and read back through cRegistryNode, beside the same
// through SQLite's prepared statements on the same database, with the same
// durability (WAL, synchronous = FULL). A read alone shows the cost of the
// layers above SQLite without the disk's sync.
#include <benchmark/benchmark.h>
#include <qnlith/qnlith.h>
#include <sqlite3.h>
#include <stdlib.h>

#include <cstdio>
#include <filesystem>
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

}  // namespace

BENCHMARK(RegistryNodeWriteRead)->MinTime(2.0)->UseRealTime();  // the disk flush is waited for, not spent
BENCHMARK(SqliteWriteRead)->MinTime(2.0)->UseRealTime();
BENCHMARK(RegistryNodeRead);
BENCHMARK(SqliteRead);

int main(int argc, char** argv) {
  return qnbench::runWithRatios(argc, argv,
                                {{"RegistryNodeWriteRead/min_time:2.000/real_time", "SqliteWriteRead/min_time:2.000/real_time"},
                                 {"RegistryNodeRead", "SqliteRead"}});
}

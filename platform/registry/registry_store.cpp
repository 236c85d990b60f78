#include "registry/registry_store.h"

#include <fcntl.h>
#include <pthread.h>
#include <pwd.h>
#include <sqlite3.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <map>
#include <unordered_map>
#include <optional>
#include <qnlith/win32/errors.h>
#include <qnlith/win32/registry.h>
#include <thread>

#include "text/unicode.h"

namespace qn::registry {

namespace {

// Another process holds the write lock for one short transaction at a
// time; waiting this long means something is badly stuck.
constexpr int BusyTimeoutMs = 60000;
constexpr int SchemaVersion = 2;
// Stores of the first schema lack the index that walks a key's values in
// order; a writer adds it.
constexpr int FirstSchemaVersion = 1;
const char* const Upgrade = R"(
CREATE INDEX IF NOT EXISTS vals_order ON vals(key, id);
PRAGMA user_version = 2;
)";
// The walks whose positions a connection remembers; more are forgotten.
constexpr std::size_t RememberedWalks = 64;
constexpr int ApplicationId = 0x516E5267;

const char* const Schema = R"(
CREATE TABLE keys(
  id INTEGER PRIMARY KEY AUTOINCREMENT,
  parent INTEGER NOT NULL,
  name TEXT NOT NULL,
  fold TEXT NOT NULL,
  UNIQUE(parent, fold));
CREATE TABLE vals(
  id INTEGER PRIMARY KEY,
  key INTEGER NOT NULL REFERENCES keys(id) ON DELETE CASCADE,
  name TEXT NOT NULL,
  fold TEXT NOT NULL,
  type INTEGER NOT NULL,
  data BLOB NOT NULL,
  UNIQUE(key, fold));
CREATE INDEX vals_order ON vals(key, id);
INSERT INTO keys(id, parent, name, fold) VALUES
  (1, 0, 'HKEY_CURRENT_USER', 'HKEY_CURRENT_USER'),
  (2, 0, 'HKEY_LOCAL_MACHINE', 'HKEY_LOCAL_MACHINE'),
  (3, 0, 'HKEY_USERS', 'HKEY_USERS');
PRAGMA application_id = 1366184551;
PRAGMA user_version = 2;
)";

static_assert(ApplicationId == 1366184551, "the schema text repeats the application id");

enum StatementId {
  Begin, BeginWrite, Commit, Rollback,
  FindChild, KeyExists, InsertKey, HasChildren, DeleteKey,
  SetValue, GetValue, DeleteValue, NthChild, NthValue, NextChild, NextValue, DataVersion, AllChildren, AllValues,
  StatementCount
};

const char* const Sql[StatementCount] = {
    "BEGIN",
    "BEGIN IMMEDIATE",
    "COMMIT",
    "ROLLBACK",
    "SELECT id FROM keys WHERE parent = ?1 AND fold = ?2",
    "SELECT 1 FROM keys WHERE id = ?1",
    "INSERT INTO keys(parent, name, fold) VALUES(?1, ?2, ?3)",
    "SELECT 1 FROM keys WHERE parent = ?1 LIMIT 1",
    "DELETE FROM keys WHERE id = ?1",
    ("INSERT INTO vals(key, name, fold, type, data) VALUES(?1, ?2, ?3, ?4, ?5) "
     "ON CONFLICT(key, fold) DO UPDATE SET type = excluded.type, data = excluded.data"),
    "SELECT type, data FROM vals WHERE key = ?1 AND fold = ?2",
    "DELETE FROM vals WHERE key = ?1 AND fold = ?2",
    "SELECT name, fold FROM keys WHERE parent = ?1 ORDER BY fold LIMIT 1 OFFSET ?2",
    "SELECT name, type, data, id FROM vals WHERE key = ?1 ORDER BY id LIMIT 1 OFFSET ?2",
    "SELECT name, fold FROM keys WHERE parent = ?1 AND fold > ?2 ORDER BY fold LIMIT 1",
    "SELECT name, type, data, id FROM vals WHERE key = ?1 AND id > ?2 ORDER BY id LIMIT 1",
    "PRAGMA data_version",
    "SELECT name FROM keys WHERE parent = ?1",
    "SELECT name, type, data FROM vals WHERE key = ?1",
};

LONG errorFromSqlite(int rc) {
  switch (rc & 0xFF) {
    case SQLITE_OK:
    case SQLITE_ROW:
    case SQLITE_DONE: return ERROR_SUCCESS;
    case SQLITE_BUSY:
    case SQLITE_LOCKED: return ERROR_BUSY;
    case SQLITE_READONLY:
    case SQLITE_PERM:
    case SQLITE_AUTH:
    case SQLITE_CANTOPEN: return ERROR_ACCESS_DENIED;
    case SQLITE_FULL: return ERROR_DISK_FULL;
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB: return ERROR_REGISTRY_CORRUPT;
    case SQLITE_NOMEM: return ERROR_NOT_ENOUGH_MEMORY;
    case SQLITE_TOOBIG: return ERROR_NOT_ENOUGH_MEMORY;
    case SQLITE_CONSTRAINT: return rc == SQLITE_CONSTRAINT_FOREIGNKEY ? ERROR_KEY_DELETED : ERROR_REGISTRY_CORRUPT;
    default: return ERROR_REGISTRY_IO_FAILED;
  }
}

// One use of a prepared statement: bound, stepped, then reset for the next.
class Query {
 public:
  explicit Query(sqlite3_stmt* statement) : s_(statement) {}
  ~Query() { sqlite3_reset(s_); }
  Query(const Query&) = delete;
  Query& operator=(const Query&) = delete;

  Query& bind(int i, std::int64_t value) {
    sqlite3_bind_int64(s_, i, value);
    return *this;
  }
  Query& bind(int i, std::string_view text) {
    sqlite3_bind_text(s_, i, text.empty() ? "" : text.data(), static_cast<int>(text.size()), SQLITE_STATIC);
    return *this;
  }
  Query& bindBlob(int i, const void* data, std::size_t size) {
    sqlite3_bind_blob64(s_, i, size == 0 ? "" : data, size, SQLITE_STATIC);
    return *this;
  }
  int step() { return sqlite3_step(s_); }

  std::int64_t integer(int column) const { return sqlite3_column_int64(s_, column); }
  std::string text(int column) const {
    const auto* p = reinterpret_cast<const char*>(sqlite3_column_text(s_, column));
    return p ? std::string(p, static_cast<std::size_t>(sqlite3_column_bytes(s_, column))) : std::string();
  }
  void blob(int column, std::string& out) const {
    const void* p = sqlite3_column_blob(s_, column);
    const int n = sqlite3_column_bytes(s_, column);
    out.assign(p ? static_cast<const char*>(p) : "", p ? static_cast<std::size_t>(n) : 0);
  }

 private:
  sqlite3_stmt* s_;
};

void makeDirectories(const std::string& directory, mode_t mode) {
  for (std::size_t slash = directory.find('/', 1);; slash = directory.find('/', slash + 1)) {
    const std::string part = directory.substr(0, slash);
    if (!part.empty()) ::mkdir(part.c_str(), mode);
    if (slash == std::string::npos) break;
  }
}

std::string homeDirectory() {
  if (const char* home = std::getenv("HOME"); home != nullptr && home[0] == '/') return home;
  char buffer[4096];
  passwd entry;
  passwd* found = nullptr;
  if (getpwuid_r(getuid(), &entry, buffer, sizeof buffer, &found) == 0 && found != nullptr && found->pw_dir)
    return found->pw_dir;
  return "/";
}

struct Location {
  std::string file;
  bool ownerOnly;
};

Location locate(Store::Kind kind) {
  const bool user = kind == Store::Kind::User;
  const char* const fileName = user ? "/user.db" : "/machine.db";
  if (const char* dir = std::getenv("QNLITH_REGISTRY_DIR"); dir != nullptr && dir[0] != '\0')
    return {std::string(dir) + fileName, user};
  if (!user) return {std::string("/var/lib/qnlith/registry") + fileName, false};
  std::string config;
  if (const char* xdg = std::getenv("XDG_CONFIG_HOME"); xdg != nullptr && xdg[0] == '/')
    config = xdg;
  else
    config = homeDirectory() + "/.config";
  return {config + "/qnlith/registry" + fileName, true};
}

// Makes sure the user's file exists with its owner's rights only before
// SQLite opens it (SQLite gives its -wal and -shm files the same rights).
void prepareFile(const std::string& file, bool ownerOnly) {
  const auto slash = file.rfind('/');
  if (slash != std::string::npos && slash > 0) makeDirectories(file.substr(0, slash), ownerOnly ? 0700 : 0755);
  if (!ownerOnly) return;
  const int fd = ::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (fd < 0) return;
  struct stat status;
  if (::fstat(fd, &status) == 0 && (status.st_mode & 077) != 0) ::fchmod(fd, 0600);
  ::close(fd);
}

}  // namespace

namespace {

// Counts the forks this process came through, so that a connection can
// tell it was made in a parent without asking the kernel on every call.
std::atomic<unsigned> forks{0};

unsigned forkGeneration() {
  static const bool registered = [] {
    pthread_atfork(nullptr, nullptr, [] { forks.fetch_add(1, std::memory_order_relaxed); });
    return true;
  }();
  (void)registered;
  return forks.load(std::memory_order_relaxed);
}

}  // namespace

namespace {

// The turn of one writer of the store among all processes.
class WriterTurn {
 public:
  explicit WriterTurn(int lockFile) : fd_(lockFile) {
    if (fd_ < 0) return;
    while (::flock(fd_, LOCK_EX) != 0) {
      if (errno != EINTR) {
        fd_ = -1;  // SQLite's own lock still keeps writers apart
        return;
      }
    }
  }
  ~WriterTurn() {
    if (fd_ >= 0) ::flock(fd_, LOCK_UN);
  }
  void abandon() { fd_ = -1; }
  WriterTurn(const WriterTurn&) = delete;
  WriterTurn& operator=(const WriterTurn&) = delete;

 private:
  int fd_;
};

}  // namespace

namespace {

// Where a walk by index stopped: the index and the order key of the row it
// gave (a subkey's folded name, a value's row id), valid while the store
// is as it was then.
struct Walk {
  DWORD index = 0;
  std::string fold;
  std::int64_t id = 0;
  std::int64_t version = -1;
  std::int64_t changes = -1;
};

using Walks = std::unordered_map<KeyId, Walk>;

// The walk of `key` that the call for `index` goes on from, if the last
// call gave index - 1 and the store is still as it was then; null otherwise.
const Walk* walkToGoOn(const Walks& walks, KeyId key, DWORD index, const Walk& now) {
  const auto last = walks.find(key);
  if (last == walks.end() || index == 0 || last->second.index != index - 1) return nullptr;
  return last->second.version == now.version && last->second.changes == now.changes ? &last->second : nullptr;
}

// Keeps where a walk stopped, for at most RememberedWalks keys at a time.
void rememberWalk(Walks& walks, KeyId key, Walk now) {
  if (walks.size() >= RememberedWalks && walks.find(key) == walks.end()) walks.clear();
  walks[key] = std::move(now);
}

}  // namespace

struct Store::Connection {
  sqlite3* db = nullptr;
  unsigned generation = forkGeneration();
  bool writable = false;
  // A lock file that writers queue on. SQLite's own wait for its write lock
  // polls with growing sleeps, so a process that writes without pause can
  // starve the others; a blocking lock wakes a waiter as soon as it is free.
  int writers = -1;
  sqlite3_stmt* statements[StatementCount] = {};
  // Where the last walks of keys' subkeys and values stopped.
  Walks keyWalks, valueWalks;
  // The last counts of keys, with the store's state they hold for.
  struct Counted {
    std::int64_t version, changes;
    KeyInfo info;
  };
  std::unordered_map<KeyId, Counted> infos;
  // Open batches of this connection's thread; the first one holds the
  // transaction and the writers' lock.
  unsigned batches = 0;
  bool rolledBack = false;  // an inner batch ended without committing
  std::optional<WriterTurn> batchTurn;

  Query query(StatementId id) { return Query(statements[id]); }

  ~Connection() {
    // A child of fork must not touch the parent's connection: it is left
    // behind unclosed, and a batch's lock, shared with the parent, held.
    if (generation != forkGeneration()) {
      if (batchTurn) batchTurn->abandon();
      return;
    }
    batchTurn.reset();
    for (auto* s : statements) sqlite3_finalize(s);
    if (db != nullptr) sqlite3_close_v2(db);
    if (writers >= 0) ::close(writers);
  }
};


class Store::Transaction {
 public:
  explicit Transaction(Connection& c) : c_(c) {}
  ~Transaction() {
    if (open_ && !sqlite3_get_autocommit(c_.db)) c_.query(Rollback).step();
  }
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  LONG begin(bool write) {
    // Inside a batch the batch's transaction is this one's.
    if (c_.batches > 0) return ERROR_SUCCESS;
    if (write) turn_.emplace(c_.writers);
    const int rc = c_.query(write ? BeginWrite : Begin).step();
    open_ = rc == SQLITE_DONE;
    return open_ ? ERROR_SUCCESS : errorFromSqlite(rc);
  }
  LONG commit() {
    if (!open_) return ERROR_SUCCESS;
    const int rc = c_.query(Commit).step();
    if (rc != SQLITE_DONE) return errorFromSqlite(rc);
    open_ = false;
    return ERROR_SUCCESS;
  }

 private:
  Connection& c_;
  bool open_ = false;
  std::optional<WriterTurn> turn_;  // released after the rollback above
};

namespace {

// Runs SQL text, waiting out a lock that the busy handler can't wait for
// (a change of journal mode takes the database for itself).
int execute(sqlite3* db, const char* sql) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(BusyTimeoutMs);
  for (;;) {
    const int rc = sqlite3_exec(db, sql, nullptr, nullptr, nullptr);
    if ((rc & 0xFF) != SQLITE_BUSY || std::chrono::steady_clock::now() > deadline) return rc;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
}

int readPragma(sqlite3* db, const char* sql, int& value) {
  sqlite3_stmt* s = nullptr;
  int rc = sqlite3_prepare_v2(db, sql, -1, &s, nullptr);
  if (rc == SQLITE_OK) {
    rc = sqlite3_step(s);
    if (rc == SQLITE_ROW) {
      value = sqlite3_column_int(s, 0);
      rc = SQLITE_OK;
    }
  }
  sqlite3_finalize(s);
  return rc;
}

// Brings a new file to the current schema, or checks an existing one.
// Returns a Win32 error.
LONG prepareSchema(sqlite3* db, bool writable) {
  if (writable) {
    if (int rc = execute(db, "BEGIN IMMEDIATE"); rc != SQLITE_OK) return errorFromSqlite(rc);
  }
  int version = 0, application = 0, objects = 0;
  int rc = readPragma(db, "PRAGMA user_version", version);
  if (rc == SQLITE_OK) rc = readPragma(db, "PRAGMA application_id", application);
  if (rc == SQLITE_OK) rc = readPragma(db, "SELECT count(*) FROM sqlite_schema", objects);
  LONG result = errorFromSqlite(rc);
  if (result == ERROR_SUCCESS) {
    if (version == 0 && application == 0 && objects == 0) {
      result = writable ? errorFromSqlite(execute(db, Schema)) : ERROR_FILE_NOT_FOUND;
    } else if ((version != SchemaVersion && version != FirstSchemaVersion) || application != ApplicationId) {
      result = ERROR_REGISTRY_CORRUPT;  // not a store of ours, or of a later schema
    } else if (version == FirstSchemaVersion && writable) {
      result = errorFromSqlite(execute(db, Upgrade));
    }
  }
  if (writable) execute(db, result == ERROR_SUCCESS ? "COMMIT" : "ROLLBACK");
  return result;
}

}  // namespace

Store::Store(std::string path, bool ownerOnly) : path_(std::move(path)), ownerOnly_(ownerOnly) {}

Store::~Store() = default;

Store::Connection* Store::connect() {
  if (connection_ != nullptr && connection_->generation == forkGeneration()) return connection_.get();
  connection_.reset();

  prepareFile(path_, ownerOnly_);
  auto c = std::make_unique<Connection>();
  int rc = sqlite3_open_v2(path_.c_str(), &c->db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX,
                           nullptr);
  if (rc != SQLITE_OK) {
    sqlite3_close_v2(c->db);
    c->db = nullptr;
    unavailable_ = ERROR_ACCESS_DENIED;
    return nullptr;
  }
  sqlite3_extended_result_codes(c->db, 1);
  sqlite3_busy_timeout(c->db, BusyTimeoutMs);
  c->writable = sqlite3_db_readonly(c->db, "main") == 0;
  std::optional<WriterTurn> turn;
  if (c->writable) {
    c->writers = ::open((path_ + "-lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, ownerOnly_ ? 0600 : 0644);
    turn.emplace(c->writers);
    // Keeping -wal and -shm after the last close lets readers without
    // write access to the directory open the store.
    int persist = 1;
    sqlite3_file_control(c->db, "main", SQLITE_FCNTL_PERSIST_WAL, &persist);
    rc = execute(c->db, "PRAGMA journal_mode = WAL");
    if (rc == SQLITE_OK) rc = execute(c->db, "PRAGMA synchronous = FULL");
  }
  if (rc == SQLITE_OK) rc = execute(c->db, "PRAGMA foreign_keys = ON");
  LONG result = rc == SQLITE_OK ? prepareSchema(c->db, c->writable) : errorFromSqlite(rc);
  for (int i = 0; result == ERROR_SUCCESS && i < StatementCount; ++i) {
    rc = sqlite3_prepare_v3(c->db, Sql[i], -1, SQLITE_PREPARE_PERSISTENT, &c->statements[i], nullptr);
    if (rc != SQLITE_OK) result = errorFromSqlite(rc);
  }
  if (result != ERROR_SUCCESS) {
    unavailable_ = result;
    return nullptr;
  }
  unavailable_ = ERROR_SUCCESS;
  connection_ = std::move(c);
  return connection_.get();
}

bool Store::writable() {
  std::lock_guard guard(lock_);
  Connection* c = connect();
  return c != nullptr && c->writable;
}

LONG Store::keyState(Connection& c, KeyId key, LONG present) {
  Query q = c.query(KeyExists);
  const int rc = q.bind(1, key).step();
  if (rc == SQLITE_ROW) return present;
  return rc == SQLITE_DONE ? ERROR_KEY_DELETED : errorFromSqlite(rc);
}

LONG Store::walk(Connection& c, KeyId from, const std::vector<Name>& path, std::size_t& found, KeyId& id) {
  id = from;
  for (found = 0; found < path.size(); ++found) {
    Query q = c.query(FindChild);
    const int rc = q.bind(1, id).bind(2, path[found].fold).step();
    if (rc == SQLITE_DONE) break;
    if (rc != SQLITE_ROW) return errorFromSqlite(rc);
    id = q.integer(0);
  }
  return ERROR_SUCCESS;
}

// A store that can't be opened because its file is missing or out of
// reach reads as empty and refuses writes; any other cause is reported.
LONG Store::readFailure(LONG empty) const {
  return unavailable_ == ERROR_ACCESS_DENIED || unavailable_ == ERROR_FILE_NOT_FOUND ? empty : unavailable_;
}

LONG Store::writeFailure() const {
  return unavailable_ == ERROR_FILE_NOT_FOUND ? ERROR_ACCESS_DENIED : unavailable_;
}

LONG Store::openKey(KeyId from, const std::vector<Name>& path, KeyId& id) {
  std::lock_guard guard(lock_);
  Connection* c = connect();
  if (c == nullptr) {
    id = from;
    return readFailure(path.empty() ? ERROR_SUCCESS : ERROR_FILE_NOT_FOUND);
  }
  std::size_t found;
  if (LONG e = walk(*c, from, path, found, id); e != ERROR_SUCCESS) return e;
  if (found == path.size() && found > 0) return ERROR_SUCCESS;
  return keyState(*c, from, found == path.size() ? ERROR_SUCCESS : ERROR_FILE_NOT_FOUND);
}

LONG Store::createKey(KeyId from, const std::vector<Name>& path, KeyId& id, bool& created) {
  created = false;
  id = from;
  std::lock_guard guard(lock_);
  Connection* c = connect();
  if (c == nullptr) return path.empty() ? readFailure(ERROR_SUCCESS) : writeFailure();
  // Most calls find the key there already, and need no write lock.
  std::size_t found;
  if (LONG e = walk(*c, from, path, found, id); e != ERROR_SUCCESS) return e;
  if (found == path.size()) return found > 0 ? ERROR_SUCCESS : keyState(*c, from, ERROR_SUCCESS);
  if (!c->writable) return ERROR_ACCESS_DENIED;

  Transaction t(*c);
  if (LONG e = t.begin(true); e != ERROR_SUCCESS) return e;
  if (LONG e = walk(*c, from, path, found, id); e != ERROR_SUCCESS) return e;
  if (found == 0) {
    if (LONG e = keyState(*c, from, ERROR_SUCCESS); e != ERROR_SUCCESS) return e;
  }
  for (std::size_t i = found; i < path.size(); ++i) {
    Query q = c->query(InsertKey);
    const int rc = q.bind(1, id).bind(2, path[i].text).bind(3, path[i].fold).step();
    if (rc != SQLITE_DONE) return errorFromSqlite(rc);
    id = sqlite3_last_insert_rowid(c->db);
  }
  if (LONG e = t.commit(); e != ERROR_SUCCESS) return e;
  created = found < path.size();
  return ERROR_SUCCESS;
}

LONG Store::deleteKey(KeyId from, const std::vector<Name>& path) {
  std::lock_guard guard(lock_);
  Connection* c = connect();
  if (c == nullptr) return path.empty() ? writeFailure() : readFailure(ERROR_FILE_NOT_FOUND);
  Transaction t(*c);
  if (LONG e = t.begin(c->writable); e != ERROR_SUCCESS) return e;
  std::size_t found;
  KeyId id;
  if (LONG e = walk(*c, from, path, found, id); e != ERROR_SUCCESS) return e;
  if (found < path.size() || path.empty()) {
    const LONG e = keyState(*c, found == 0 ? from : id, found == path.size() ? ERROR_SUCCESS : ERROR_FILE_NOT_FOUND);
    if (e != ERROR_SUCCESS) return e;
  }
  if (id <= UsersRoot || !c->writable) return ERROR_ACCESS_DENIED;
  {
    Query q = c->query(HasChildren);
    const int rc = q.bind(1, id).step();
    if (rc == SQLITE_ROW) return ERROR_ACCESS_DENIED;
    if (rc != SQLITE_DONE) return errorFromSqlite(rc);
  }
  {
    Query q = c->query(DeleteKey);
    if (const int rc = q.bind(1, id).step(); rc != SQLITE_DONE) return errorFromSqlite(rc);
  }
  return t.commit();
}

LONG Store::setValue(KeyId key, const Name& name, DWORD type, const void* data, std::size_t size) {
  std::lock_guard guard(lock_);
  Connection* c = connect();
  if (c == nullptr) return writeFailure();
  if (!c->writable) return ERROR_ACCESS_DENIED;
  // One statement is one transaction; the key's row must still be there.
  std::optional<WriterTurn> turn;
  if (c->batches == 0) turn.emplace(c->writers);
  Query q = c->query(SetValue);
  const int rc = q.bind(1, key).bind(2, name.text).bind(3, name.fold).bind(4, std::int64_t{type}).bindBlob(5, data, size).step();
  return rc == SQLITE_DONE ? ERROR_SUCCESS : errorFromSqlite(rc);
}

LONG Store::queryValue(KeyId key, const Name& name, DWORD& type, std::string& data) {
  std::lock_guard guard(lock_);
  Connection* c = connect();
  if (c == nullptr) return readFailure(ERROR_FILE_NOT_FOUND);
  {
    Query q = c->query(GetValue);
    const int rc = q.bind(1, key).bind(2, name.fold).step();
    if (rc == SQLITE_ROW) {
      type = static_cast<DWORD>(q.integer(0));
      q.blob(1, data);
      return ERROR_SUCCESS;
    }
    if (rc != SQLITE_DONE) return errorFromSqlite(rc);
  }
  return keyState(*c, key, ERROR_FILE_NOT_FOUND);
}

LONG Store::deleteValue(KeyId key, const Name& name) {
  std::lock_guard guard(lock_);
  Connection* c = connect();
  if (c == nullptr) return writeFailure();
  if (!c->writable) return ERROR_ACCESS_DENIED;
  std::optional<WriterTurn> turn;
  if (c->batches == 0) turn.emplace(c->writers);
  {
    Query q = c->query(DeleteValue);
    const int rc = q.bind(1, key).bind(2, name.fold).step();
    if (rc != SQLITE_DONE) return errorFromSqlite(rc);
  }
  if (sqlite3_changes(c->db) > 0) return ERROR_SUCCESS;
  return keyState(*c, key, ERROR_FILE_NOT_FOUND);
}

// The store's state as this connection sees it inside a read transaction:
// what other connections committed, and what this one changed.
bool Store::stamp(Connection& c, std::int64_t& version, std::int64_t& changes) {
  Query q = c.query(DataVersion);
  if (q.step() != SQLITE_ROW) return false;
  version = q.integer(0);
  changes = sqlite3_total_changes64(c.db);
  return true;
}

// A walk by index goes on from where the last call stopped when it asks
// for the next row of an unchanged key, so walking a key costs the same
// per call whatever its size; any other index is counted out from the
// start.
LONG Store::enumKey(KeyId key, DWORD index, std::string& name) {
  std::lock_guard guard(lock_);
  Connection* c = connect();
  if (c == nullptr) return readFailure(ERROR_NO_MORE_ITEMS);
  Transaction t(*c);
  if (LONG e = t.begin(false); e != ERROR_SUCCESS) return e;
  if (LONG e = keyState(*c, key, ERROR_SUCCESS); e != ERROR_SUCCESS) return e;
  Walk now;
  if (!stamp(*c, now.version, now.changes)) return ERROR_REGISTRY_IO_FAILED;
  const Walk* last = walkToGoOn(c->keyWalks, key, index, now);
  const std::string after = last != nullptr ? last->fold : std::string();
  Query q = last != nullptr ? c->query(NextChild) : c->query(NthChild);
  q.bind(1, key);
  if (last != nullptr)
    q.bind(2, std::string_view(after));
  else
    q.bind(2, std::int64_t{index});
  const int rc = q.step();
  if (rc != SQLITE_ROW) return rc == SQLITE_DONE ? ERROR_NO_MORE_ITEMS : errorFromSqlite(rc);
  name = q.text(0);
  now.index = index;
  now.fold = q.text(1);
  rememberWalk(c->keyWalks, key, std::move(now));
  return t.commit();
}

LONG Store::enumValue(KeyId key, DWORD index, std::string& name, DWORD& type, std::string& data) {
  std::lock_guard guard(lock_);
  Connection* c = connect();
  if (c == nullptr) return readFailure(ERROR_NO_MORE_ITEMS);
  Transaction t(*c);
  if (LONG e = t.begin(false); e != ERROR_SUCCESS) return e;
  if (LONG e = keyState(*c, key, ERROR_SUCCESS); e != ERROR_SUCCESS) return e;
  Walk now;
  if (!stamp(*c, now.version, now.changes)) return ERROR_REGISTRY_IO_FAILED;
  const Walk* last = walkToGoOn(c->valueWalks, key, index, now);
  Query q = last != nullptr ? c->query(NextValue) : c->query(NthValue);
  q.bind(1, key).bind(2, last != nullptr ? last->id : std::int64_t{index});
  const int rc = q.step();
  if (rc != SQLITE_ROW) return rc == SQLITE_DONE ? ERROR_NO_MORE_ITEMS : errorFromSqlite(rc);
  name = q.text(0);
  type = static_cast<DWORD>(q.integer(1));
  q.blob(2, data);
  now.index = index;
  now.id = q.integer(3);
  rememberWalk(c->valueWalks, key, std::move(now));
  return t.commit();
}

LONG Store::beginBatch() {
  lock_.lock();
  Connection* c = connect();
  LONG e = c == nullptr ? writeFailure() : c->writable ? ERROR_SUCCESS : ERROR_ACCESS_DENIED;
  if (e == ERROR_SUCCESS && c->batches == 0) {
    c->batchTurn.emplace(c->writers);
    const int rc = c->query(BeginWrite).step();
    if (rc != SQLITE_DONE) {
      c->batchTurn.reset();
      e = errorFromSqlite(rc);
    }
  }
  if (e != ERROR_SUCCESS) {
    lock_.unlock();
    return e;
  }
  ++c->batches;
  return ERROR_SUCCESS;  // the lock stays with this thread until endBatch
}

LONG Store::endBatch(bool commit) {
  std::unique_lock guard(lock_, std::try_to_lock);
  Connection* c = connection_.get();
  if (!guard.owns_lock() || c == nullptr || c->batches == 0) return ERROR_INVALID_PARAMETER;
  // This thread holds the lock once for the batch and once for this call.
  lock_.unlock();
  if (!commit) c->rolledBack = true;
  if (--c->batches > 0) return ERROR_SUCCESS;
  LONG e = ERROR_SUCCESS;
  if (c->rolledBack) {
    c->query(Rollback).step();
    e = commit ? ERROR_OPERATION_ABORTED : ERROR_SUCCESS;
  } else if (const int rc = c->query(Commit).step(); rc != SQLITE_DONE) {
    c->query(Rollback).step();
    e = errorFromSqlite(rc);
  }
  c->rolledBack = false;
  c->batchTurn.reset();
  return e;
}

LONG Store::queryInfo(KeyId key, KeyInfo& info) {
  info = KeyInfo{};
  std::lock_guard guard(lock_);
  Connection* c = connect();
  if (c == nullptr) return readFailure(ERROR_SUCCESS);
  Transaction t(*c);
  if (LONG e = t.begin(false); e != ERROR_SUCCESS) return e;
  if (LONG e = keyState(*c, key, ERROR_SUCCESS); e != ERROR_SUCCESS) return e;
  // Counting reads the whole key; its answer holds while the store is as
  // it was, so asking again costs no more than a walk's step.
  std::int64_t version, changes;
  if (!stamp(*c, version, changes)) return ERROR_REGISTRY_IO_FAILED;
  if (auto known = c->infos.find(key);
      known != c->infos.end() && known->second.version == version && known->second.changes == changes) {
    info = known->second.info;
    return t.commit();
  }
  int rc;
  std::string data;
  {
    Query q = c->query(AllChildren);
    q.bind(1, key);
    while ((rc = q.step()) == SQLITE_ROW) {
      ++info.subKeys;
      const auto length = static_cast<DWORD>(utf8ToWide(q.text(0)).size());
      if (length > info.maxSubKeyLength) info.maxSubKeyLength = length;
    }
    if (rc != SQLITE_DONE) return errorFromSqlite(rc);
  }
  {
    Query q = c->query(AllValues);
    q.bind(1, key);
    while ((rc = q.step()) == SQLITE_ROW) {
      ++info.values;
      const auto length = static_cast<DWORD>(utf8ToWide(q.text(0)).size());
      if (length > info.maxValueNameLength) info.maxValueNameLength = length;
      q.blob(2, data);
      const auto size = static_cast<DWORD>(callerDataSize(static_cast<DWORD>(q.integer(1)), data));
      if (size > info.maxValueLength) info.maxValueLength = size;
    }
    if (rc != SQLITE_DONE) return errorFromSqlite(rc);
  }
  if (c->infos.size() >= RememberedWalks) c->infos.clear();
  c->infos[key] = {version, changes, info};
  return t.commit();
}

std::size_t callerDataSize(DWORD type, const std::string& stored) {
  if (type != REG_SZ && type != REG_EXPAND_SZ && type != REG_MULTI_SZ && type != REG_LINK) return stored.size();
  const auto* b = reinterpret_cast<const unsigned char*>(stored.data());
  const std::size_t units = stored.size() / 2;
  std::size_t characters = 0;
  bool terminated = false;
  for (std::size_t i = 0; i < units; ++i, ++characters) {
    const unsigned unit = b[2 * i] | (b[2 * i + 1] << 8);
    const unsigned next = i + 1 < units ? (b[2 * i + 2] | (b[2 * i + 3] << 8)) : 0;
    if (unit >= 0xD800 && unit <= 0xDBFF && next >= 0xDC00 && next <= 0xDFFF) ++i;
    terminated = unit == 0;
  }
  const bool addsTerminator = (type == REG_SZ || type == REG_EXPAND_SZ) && !terminated;
  return (characters + (addsTerminator ? 1 : 0)) * sizeof(wchar_t);
}

namespace {

struct Cache {
  std::mutex lock;
  std::shared_ptr<Store> current[2];
  std::map<std::string, std::weak_ptr<Store>> open;
};

Cache& cache() {
  static Cache* instance = new Cache;  // stores outlive every static destructor that may use a key
  return *instance;
}

}  // namespace

std::shared_ptr<Store> Store::atPath(const std::string& file, bool ownerOnly) {
  auto& c = cache();
  std::lock_guard guard(c.lock);
  for (auto it = c.open.begin(); it != c.open.end();) it = it->second.expired() ? c.open.erase(it) : std::next(it);
  if (auto it = c.open.find(file); it != c.open.end()) return it->second.lock();
  std::shared_ptr<Store> store(new Store(file, ownerOnly));
  c.open[file] = store;
  return store;
}

std::shared_ptr<Store> Store::current(Kind kind) {
  const Location where = locate(kind);
  auto& c = cache();
  {
    std::lock_guard guard(c.lock);
    const auto& slot = c.current[kind == Kind::User ? 0 : 1];
    if (slot != nullptr && slot->path_ == where.file) return slot;
  }
  auto store = atPath(where.file, where.ownerOnly);
  std::lock_guard guard(c.lock);
  c.current[kind == Kind::User ? 0 : 1] = store;
  return store;
}

}  // namespace qn::registry

// The registry's persistent store: one SQLite database per store, in WAL
// mode with full synchronisation, so that several threads and processes
// share it and a write that returned success survives any crash.
//
// A store holds a tree of keys under fixed root rows. Every operation is
// one transaction; each returns a Win32 error (ERROR_SUCCESS on success).
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>
#include <qnlith/win32/types.h>

#include "../errors/api.h"
#include "registry_names.h"

struct sqlite3;
struct sqlite3_stmt;

namespace qn::registry {

using KeyId = std::int64_t;

// The root rows, the same in every store.
constexpr KeyId CurrentUserRoot = 1;
constexpr KeyId LocalMachineRoot = 2;
constexpr KeyId UsersRoot = 3;

// Name lengths in the caller's wchar_t, data sizes as callerDataSize.
struct KeyInfo {
  DWORD subKeys = 0;
  DWORD maxSubKeyLength = 0;
  DWORD values = 0;
  DWORD maxValueNameLength = 0;
  DWORD maxValueLength = 0;
};

// The bytes a caller's buffer needs for a value read through the wide
// calls: string data as wchar_t, with room for the terminator that a read
// adds to a REG_SZ or REG_EXPAND_SZ stored without one; other types as
// stored.
QN_INTERNAL std::size_t callerDataSize(DWORD type, const std::string& stored);

class QN_INTERNAL Store {
 public:
  enum class Kind { User, Machine };

  // The store of the user's or the machine's roots at the place the
  // environment names now (QNLITH_REGISTRY_DIR, else the user's
  // configuration directory or /var/lib/qnlith/registry). Never null: a
  // store that can't be opened reads as empty and refuses writes.
  static std::shared_ptr<Store> current(Kind kind);

  // The store in one database file; the user's store is kept private to
  // its owner (file 0600, new directories 0700).
  static std::shared_ptr<Store> atPath(const std::string& file, bool ownerOnly);

  ~Store();
  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;

  const std::string& path() const { return path_; }

  // Whether writes can succeed; opens the database first if need be.
  bool writable();

  // `from` must exist; an empty path names `from` itself.
  LONG openKey(KeyId from, const std::vector<Name>& path, KeyId& id);
  LONG createKey(KeyId from, const std::vector<Name>& path, KeyId& id, bool& created);
  // Fails with ERROR_ACCESS_DENIED for a key with subkeys or a root.
  LONG deleteKey(KeyId from, const std::vector<Name>& path);

  LONG setValue(KeyId key, const Name& name, DWORD type, const void* data, std::size_t size);
  LONG queryValue(KeyId key, const Name& name, DWORD& type, std::string& data);
  LONG deleteValue(KeyId key, const Name& name);

  // Subkeys in the order of their folded names, values in the order they
  // were first set. ERROR_NO_MORE_ITEMS past the last.
  LONG enumKey(KeyId key, DWORD index, std::string& name);
  LONG enumValue(KeyId key, DWORD index, std::string& name, DWORD& type, std::string& data);
  LONG queryInfo(KeyId key, KeyInfo& info);

  // Groups the calling thread's writes into one transaction until the
  // matching endBatch: one sync to disk for thousands of values. Batches
  // nest; other threads of the process wait for the outermost to end, and
  // other processes' writers for its commit. Ending any of them without
  // `commit` undoes the whole batch (the outermost end then fails with
  // ERROR_OPERATION_ABORTED if it asked to commit).
  LONG beginBatch();
  LONG endBatch(bool commit);

 private:
  struct Connection;
  class Transaction;

  Store(std::string path, bool ownerOnly);
  // The connection of this process, opened on first use and again after a
  // fork; null when the database can't be opened (`unavailable_` says why).
  Connection* connect();
  LONG walk(Connection& c, KeyId from, const std::vector<Name>& path, std::size_t& found, KeyId& id);
  LONG keyState(Connection& c, KeyId key, LONG present);
  bool stamp(Connection& c, std::int64_t& version, std::int64_t& changes);
  LONG readFailure(LONG empty) const;
  LONG writeFailure() const;

  std::recursive_mutex lock_;  // recursive for the thread that holds a batch
  std::string path_;
  bool ownerOnly_;
  std::unique_ptr<Connection> connection_;
  LONG unavailable_ = 0;
};

}  // namespace qn::registry

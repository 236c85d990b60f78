// File handles: opening with Win32 dispositions and share modes, data,
// position, size, times and region locks.
//
// A handle's share mode is published as open-file-description locks on a
// few bytes at the top of the file's lock space, which every handle of
// every process that uses this layer sees, this process's own included; an
// opener publishes its own and then tests the others', so that of two
// openers at once at least one sees the other, whatever the process. A
// descriptor that can't hold those locks leaves its share mode in the
// process's record of the file instead. Region locks are kept in that
// record too (exact regions, checked by reads and writes of the process) and
// as OFD write locks for other processes. docs/files.md tells what holds.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <limits>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "errors/errors.h"
#include "files/files.h"
#include "sync/handles.h"
#include "files/paths.h"
#include "files/time.h"

namespace qn {

namespace {

// Kinds of access that share modes govern; each has the bit of the
// FILE_SHARE_ flag that admits it.
constexpr unsigned KindRead = FILE_SHARE_READ;
constexpr unsigned KindWrite = FILE_SHARE_WRITE;
constexpr unsigned KindDelete = FILE_SHARE_DELETE;
constexpr unsigned AllKinds = KindRead | KindWrite | KindDelete;

// What a handle may do.
enum Right : unsigned {
  RightRead = 1,
  RightWrite = 2,
  RightAppend = 4,
  RightDelete = 8,
  RightWriteAttributes = 16,
};

unsigned rightsFrom(DWORD desired) {
  unsigned rights = 0;
  if (desired & (GENERIC_READ | GENERIC_EXECUTE | GENERIC_ALL | FILE_READ_DATA | FILE_EXECUTE)) rights |= RightRead;
  if (desired & (GENERIC_WRITE | GENERIC_ALL | FILE_WRITE_DATA)) rights |= RightWrite;
  if (desired & (GENERIC_WRITE | GENERIC_ALL | FILE_APPEND_DATA)) rights |= RightAppend;
  if (desired & (GENERIC_ALL | DELETE)) rights |= RightDelete;
  if (desired & (GENERIC_WRITE | GENERIC_ALL | FILE_WRITE_ATTRIBUTES)) rights |= RightWriteAttributes;
  return rights;
}

unsigned kindsOf(unsigned rights) {
  unsigned kinds = 0;
  if (rights & RightRead) kinds |= KindRead;
  if (rights & (RightWrite | RightAppend)) kinds |= KindWrite;
  if (rights & RightDelete) kinds |= KindDelete;
  return kinds;
}

struct Opener {
  const void* owner;
  unsigned kinds;
  DWORD share;
};

struct RegionLock {
  const void* owner;
  std::uint64_t offset;
  std::uint64_t length;
};

// What the process itself keeps about one file: the region locks of its
// handles, and the share modes of handles that couldn't publish theirs.
struct SharedFile {
  std::vector<Opener> openers;
  std::vector<RegionLock> locks;
};

struct Identity {
  std::uint64_t device;
  std::uint64_t inode;
  bool operator==(const Identity&) const = default;
};

struct IdentityHash {
  std::size_t operator()(const Identity& id) const { return std::hash<std::uint64_t>()(id.inode * 31 + id.device); }
};

struct Registry {
  std::mutex mutex;  // also makes an open's test and publication one step within the process
  std::unordered_map<Identity, std::weak_ptr<SharedFile>, IdentityHash> files;
  std::size_t unpublished = 0;            // handles whose share mode only `files` knows
  std::atomic<std::size_t> regionLocks{0};  // region locks held by the process's handles
};

Registry& registry() {
  static Registry* instance = new Registry;  // handles may close during static destruction
  return *instance;
}

// Opens without data access take no part in sharing, as in Win32.
bool excludes(unsigned kinds, DWORD share, const Opener& other) {
  if (kinds == 0 || other.kinds == 0) return false;
  return (kinds & ~other.share & AllKinds) != 0 || (other.kinds & ~share & AllKinds) != 0;
}

// Win32's rule, zero lengths included: the last byte of a range is
// offset + length - 1 in unsigned arithmetic, so a zero-length lock at n
// stands between bytes n - 1 and n and conflicts with any range that holds
// both; the range {0, 0} conflicts with nothing.
bool overlaps(std::uint64_t offset, std::uint64_t length, const RegionLock& lock) {
  if ((offset == 0 && length == 0) || (lock.offset == 0 && lock.length == 0)) return false;
  const std::uint64_t last = offset + length - 1;
  const std::uint64_t lockLast = lock.offset + lock.length - 1;
  return offset <= lockLast && last >= lock.offset;
}

// Six bytes at the top of a file's lock space tell, as OFD read locks of
// its handles, which kinds of access they have and which they deny; laid
// out so that the usual combinations are one run of bytes. Every handle of
// every process that uses this layer, this one included, is seen there.
constexpr off_t ShareBase = std::numeric_limits<off_t>::max() - 8;
constexpr int ShareSlots = 6;

int accessSlot(unsigned kind) { return kind == KindRead ? 2 : kind == KindWrite ? 1 : 0; }
int denySlot(unsigned kind) { return kind == KindDelete ? 3 : kind == KindWrite ? 4 : 5; }

bool othersLock(int fd, off_t start, off_t length) {
  struct flock probe {};
  probe.l_type = F_WRLCK;
  probe.l_whence = SEEK_SET;
  probe.l_start = start;
  probe.l_len = length;
  if (::fcntl(fd, F_OFD_GETLK, &probe) != 0) return false;
  return probe.l_type != F_UNLCK;
}

bool publishedExcludes(int fd, unsigned kinds, DWORD share) {
  if (!othersLock(fd, ShareBase, ShareSlots)) return false;
  for (unsigned kind : {KindRead, KindWrite, KindDelete}) {
    if ((kinds & kind) && othersLock(fd, ShareBase + denySlot(kind), 1)) return true;
    if (!(share & kind) && othersLock(fd, ShareBase + accessSlot(kind), 1)) return true;
  }
  return false;
}

bool setLock(int fd, short type, off_t start, off_t length) {
  struct flock request {};
  request.l_type = type;
  request.l_whence = SEEK_SET;
  request.l_start = start;
  request.l_len = length;
  return ::fcntl(fd, F_OFD_SETLK, &request) == 0;
}

// False when the descriptor can't hold the locks (no read access, or a file
// system without OFD locks); then nothing is left published.
bool publishShareMode(int fd, unsigned kinds, DWORD share) {
  bool slot[ShareSlots] = {};
  for (unsigned kind : {KindRead, KindWrite, KindDelete}) {
    if (kinds & kind) slot[accessSlot(kind)] = true;
    if (!(share & kind)) slot[denySlot(kind)] = true;
  }
  for (int i = 0; i < ShareSlots;) {
    if (!slot[i]) {
      ++i;
      continue;
    }
    int end = i;
    while (end < ShareSlots && slot[end]) ++end;
    if (!setLock(fd, F_RDLCK, ShareBase + i, end - i)) {
      setLock(fd, F_UNLCK, ShareBase, ShareSlots);
      return false;
    }
    i = end;
  }
  return true;
}

// The part of a region that the OFD locks can express.
bool systemRegion(std::uint64_t offset, std::uint64_t length, off_t& start, off_t& len) {
  if (length == 0 || offset >= static_cast<std::uint64_t>(ShareBase)) return false;
  const std::uint64_t limit = static_cast<std::uint64_t>(ShareBase) - offset;
  start = static_cast<off_t>(offset);
  len = static_cast<off_t>(std::min(length, limit));
  return true;
}

class FileObject : public KernelObject {
 public:
  FileObject() : KernelObject(ObjectKind::File) {}
  ~FileObject() override;

  int fd = -1;
  unsigned rights = 0;
  bool readableFd = false;
  bool writableFd = false;
  bool hidden = false;
  bool registered = false;  // its share mode is in the process's record, not published
  std::string deleteOnClose;

  // Takes part in the file's sharing unless a handle of this or another
  // process excludes this one: ERROR_SHARING_VIOLATION.
  bool join(unsigned kinds, DWORD share);

  // Whether another handle of the process holds a lock on the bytes.
  bool lockedByOthers(std::uint64_t offset, std::uint64_t length);

  // The process's record of the file, found by its identity when first
  // needed; null with the last error set if the file can't be asked.
  // Called with the registry's lock held.
  SharedFile* record();

 private:
  Identity id{};
  std::shared_ptr<SharedFile> shared;
};

SharedFile* FileObject::record() {
  if (shared != nullptr) return shared.get();
  struct stat st;
  if (::fstat(fd, &st) != 0) {
    failWithErrno();
    return nullptr;
  }
  id = Identity{static_cast<std::uint64_t>(st.st_dev), static_cast<std::uint64_t>(st.st_ino)};
  auto& known = registry().files[id];
  shared = known.lock();
  if (shared == nullptr) {
    shared = std::make_shared<SharedFile>();
    known = shared;
  }
  return shared.get();
}

bool FileObject::join(unsigned kinds, DWORD share) {
  if (kinds == 0) return true;
  auto& r = registry();
  std::lock_guard guard(r.mutex);
  if (r.unpublished > 0) {
    SharedFile* file = record();
    if (file == nullptr) return false;
    for (const auto& other : file->openers)
      if (excludes(kinds, share, other)) return failWith(ERROR_SHARING_VIOLATION);
  }
  // Between processes: publish first, then test. Of two openers that exclude
  // each other, the later test sees the earlier publication, so both can't
  // get in. Both may see each other; each then withdraws and tests again,
  // and one whose rival has withdrawn too tries once more.
  for (int attempt = 0;; ++attempt) {
    if (!publishShareMode(fd, kinds, share)) break;
    if (!publishedExcludes(fd, kinds, share)) return true;
    setLock(fd, F_UNLCK, ShareBase, ShareSlots);
    if (publishedExcludes(fd, kinds, share) || attempt == 64) return failWith(ERROR_SHARING_VIOLATION);
    if (attempt > 0) ::usleep(static_cast<useconds_t>((::getpid() * 7 + attempt * 13) % 50 + 1));
  }
  if (publishedExcludes(fd, kinds, share)) return failWith(ERROR_SHARING_VIOLATION);
  SharedFile* file = record();
  if (file == nullptr) return false;
  file->openers.push_back(Opener{this, kinds, share});
  registered = true;
  ++r.unpublished;
  return true;
}

bool FileObject::lockedByOthers(std::uint64_t offset, std::uint64_t length) {
  if (length == 0) return false;  // moves no byte
  std::lock_guard guard(registry().mutex);
  SharedFile* file = record();
  if (file == nullptr) return false;
  for (const auto& lock : file->locks)
    if (lock.owner != this && overlaps(offset, length, lock)) return true;
  return false;
}

FileObject::~FileObject() {
  auto& r = registry();
  std::lock_guard guard(r.mutex);
  if (shared != nullptr) {
    auto& openers = shared->openers;
    if (registered) {
      openers.erase(std::remove_if(openers.begin(), openers.end(), [this](const Opener& o) { return o.owner == this; }),
                    openers.end());
      --r.unpublished;
    }
    auto& locks = shared->locks;
    const std::size_t before = locks.size();
    locks.erase(std::remove_if(locks.begin(), locks.end(), [this](const RegionLock& l) { return l.owner == this; }),
                locks.end());
    r.regionLocks -= before - locks.size();
    if (shared.use_count() == 1) r.files.erase(id);
  }
  if (!deleteOnClose.empty()) {
    struct stat st;
    struct stat own;
    if (::lstat(deleteOnClose.c_str(), &st) == 0 && ::fstat(fd, &own) == 0 && st.st_ino == own.st_ino &&
        st.st_dev == own.st_dev)
      ::unlink(deleteOnClose.c_str());
  }
  if (fd >= 0) ::close(fd);
}

std::shared_ptr<FileObject> fileOf(HANDLE handle) { return HandleTable::getAs<FileObject>(handle, ObjectKind::File); }

// Opens an existing file with the widest descriptor Linux grants, so that
// locks work whatever the handle's access; the handle's rights are checked
// by the layer itself. `mode` tells which descriptor it became.
int openExisting(const std::string& path, int common, bool needWrite, bool needRead, int& mode) {
  mode = O_RDWR;
  int fd = ::open(path.c_str(), O_RDWR | common);
  if (fd >= 0 || (errno != EACCES && errno != EROFS && errno != ETXTBSY && errno != EPERM)) return fd;
  const int denied = errno;
  // A narrower descriptor of a FIFO would wait for the other end: it is
  // opened without waiting and then made blocking.
  if (!needWrite) {
    mode = O_RDONLY;
    fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | common);
  } else if (!needRead) {
    mode = O_WRONLY;
    fd = ::open(path.c_str(), O_WRONLY | O_NONBLOCK | common);
  } else {
    errno = denied;
    return -1;
  }
  if (fd >= 0) ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) & ~O_NONBLOCK);
  else if (needWrite) errno = denied;
  return fd;
}

int createNew(const std::string& path, int common) {
  return ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | common, 0666);
}

HANDLE failOpen(int fd) {
  if (fd >= 0) ::close(fd);
  return INVALID_HANDLE_VALUE;
}

// The file position a read or write starts at.
bool startOf(const FileObject& file, const OVERLAPPED* overlapped, bool append, std::uint64_t& position) {
  if (overlapped != nullptr) {
    position = (static_cast<std::uint64_t>(overlapped->OffsetHigh) << 32) | overlapped->Offset;
    return true;
  }
  const off_t at = append ? ::lseek(file.fd, 0, SEEK_END) : ::lseek(file.fd, 0, SEEK_CUR);
  if (at < 0) return false;
  position = static_cast<std::uint64_t>(at);
  return true;
}

}  // namespace

int descriptorOf(HANDLE handle) {
  auto file = fileOf(handle);
  return file == nullptr ? -1 : file->fd;
}

bool deleteIsDenied(const std::string& path, const FileStatus& status) {
  auto& r = registry();
  std::lock_guard guard(r.mutex);
  if (r.unpublished > 0) {
    auto it = r.files.find(Identity{status.device, status.inode});
    if (it != r.files.end())
      if (auto file = it->second.lock())
        for (const auto& other : file->openers)
          if (other.kinds != 0 && !(other.share & FILE_SHARE_DELETE)) return true;
  }
  if (status.isLink) return false;
  const int probe = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY);
  if (probe < 0) return false;
  const bool denied = othersLock(probe, ShareBase + denySlot(KindDelete), 1);
  ::close(probe);
  return denied;
}

}  // namespace qn

using qn::FileObject;

HANDLE WINAPI CreateFileW(LPCWSTR fileName, DWORD desiredAccess, DWORD shareMode,
                          LPSECURITY_ATTRIBUTES securityAttributes, DWORD creationDisposition,
                          DWORD flagsAndAttributes, HANDLE templateFile) {
  if (creationDisposition < CREATE_NEW || creationDisposition > TRUNCATE_EXISTING || (shareMode & ~qn::AllKinds)) {
    qn::failWith(ERROR_INVALID_PARAMETER);
    return INVALID_HANDLE_VALUE;
  }
  unsigned rights = qn::rightsFrom(desiredAccess);
  if (flagsAndAttributes & FILE_FLAG_DELETE_ON_CLOSE) rights |= qn::RightDelete;
  if (creationDisposition == TRUNCATE_EXISTING && !(rights & qn::RightWrite)) {
    qn::failWith(ERROR_INVALID_PARAMETER);
    return INVALID_HANDLE_VALUE;
  }
  std::string path;
  if (!qn::toSystemPath(fileName, path)) return INVALID_HANDLE_VALUE;

  const bool inherit = securityAttributes != nullptr && securityAttributes->bInheritHandle;
  int common = O_NOCTTY | (inherit ? 0 : O_CLOEXEC);
  if (flagsAndAttributes & FILE_FLAG_WRITE_THROUGH) common |= O_DSYNC;
  const bool wantsTruncation = creationDisposition == CREATE_ALWAYS || creationDisposition == TRUNCATE_EXISTING;
  const bool needWrite = (rights & (qn::RightWrite | qn::RightAppend)) || wantsTruncation;
  const bool needRead = (rights & qn::RightRead) != 0;

  // Open, or create, as the disposition says. A file that appears or goes
  // between two attempts is tried again.
  int fd = -1;
  int mode = O_RDWR;
  bool existed = false;
  bool directory = false;
  for (int attempt = 0; attempt < 16 && fd < 0; ++attempt) {
    if (creationDisposition != CREATE_NEW) {
      fd = qn::openExisting(path, common, needWrite, needRead, mode);
      if (fd >= 0) {
        existed = true;
        break;
      }
      if (errno == EISDIR) {
        if (!(flagsAndAttributes & FILE_FLAG_BACKUP_SEMANTICS) || creationDisposition == CREATE_ALWAYS ||
            creationDisposition == TRUNCATE_EXISTING) {
          qn::failWith(ERROR_ACCESS_DENIED);
          return INVALID_HANDLE_VALUE;
        }
        mode = O_RDONLY;
        fd = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | common);
        if (fd < 0) {
          qn::failWithPathErrno(path, errno);
          return INVALID_HANDLE_VALUE;
        }
        existed = directory = true;
        break;
      }
      if (errno != ENOENT || creationDisposition == OPEN_EXISTING || creationDisposition == TRUNCATE_EXISTING) {
        qn::failWithPathErrno(path, errno);
        return INVALID_HANDLE_VALUE;
      }
    }
    mode = O_RDWR;
    fd = qn::createNew(path, common);
    if (fd >= 0) break;
    if (errno == EEXIST && creationDisposition == CREATE_NEW) {
      qn::failWith(ERROR_FILE_EXISTS);
      return INVALID_HANDLE_VALUE;
    }
    if (errno != EEXIST) {
      qn::failWithErrno(errno == ENOENT ? ENOTDIR : errno);  // a missing directory on the way
      return INVALID_HANDLE_VALUE;
    }
  }
  if (fd < 0) {
    qn::failWith(ERROR_SHARING_VIOLATION);
    return INVALID_HANDLE_VALUE;
  }

  // Read-only and hidden files refuse what Win32 refuses them.
  const auto name = qn::lastComponent(path);
  if (existed && !directory) {
    struct stat st;
    if (needWrite && ::fstat(fd, &st) == 0 && !(st.st_mode & S_IWUSR)) {
      qn::failWith(ERROR_ACCESS_DENIED);
      return qn::failOpen(fd);
    }
    if (creationDisposition == CREATE_ALWAYS && qn::isHiddenName(name) &&
        !(flagsAndAttributes & FILE_ATTRIBUTE_HIDDEN)) {
      qn::failWith(ERROR_ACCESS_DENIED);
      return qn::failOpen(fd);
    }
  }

  auto file = std::make_shared<FileObject>();
  file->fd = fd;
  file->rights = rights;
  file->readableFd = mode == O_RDONLY || mode == O_RDWR;
  file->writableFd = mode == O_WRONLY || mode == O_RDWR;
  file->hidden = qn::isHiddenName(name);
  if (!file->join(qn::kindsOf(rights), shareMode)) return INVALID_HANDLE_VALUE;  // the object closes fd

  if (existed && wantsTruncation && ::ftruncate(fd, 0) != 0) {
    qn::failWithErrno();
    return INVALID_HANDLE_VALUE;
  }
  struct stat st;
  if ((!existed || wantsTruncation) && (flagsAndAttributes & FILE_ATTRIBUTE_READONLY) && ::fstat(fd, &st) == 0)
    ::fchmod(fd, st.st_mode & 07555);
  if (flagsAndAttributes & FILE_FLAG_RANDOM_ACCESS) ::posix_fadvise(fd, 0, 0, POSIX_FADV_RANDOM);
  if (flagsAndAttributes & FILE_FLAG_SEQUENTIAL_SCAN) ::posix_fadvise(fd, 0, 0, POSIX_FADV_SEQUENTIAL);
  if ((rights & qn::RightAppend) && !(rights & qn::RightWrite)) ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_APPEND);
  if (flagsAndAttributes & FILE_FLAG_DELETE_ON_CLOSE) file->deleteOnClose = path;
  (void)templateFile;  // attributes come from the flags alone

  HANDLE handle = qn::HandleTable::insert(std::move(file));
  if (handle == nullptr) return INVALID_HANDLE_VALUE;
  SetLastError(existed && (creationDisposition == CREATE_ALWAYS || creationDisposition == OPEN_ALWAYS)
                   ? ERROR_ALREADY_EXISTS
                   : ERROR_SUCCESS);
  return handle;
}

BOOL WINAPI ReadFile(HANDLE handle, LPVOID buffer, DWORD bytesToRead, LPDWORD bytesRead, LPOVERLAPPED overlapped) {
  if (bytesRead != nullptr) *bytesRead = 0;
  auto file = qn::fileOf(handle);
  if (file == nullptr) return FALSE;
  if (!(file->rights & qn::RightRead) || !file->readableFd) return qn::failWith(ERROR_ACCESS_DENIED);
  if (bytesRead == nullptr && overlapped == nullptr) return qn::failWith(ERROR_INVALID_PARAMETER);
  if (buffer == nullptr && bytesToRead != 0) return qn::failWith(ERROR_NOACCESS);

  std::uint64_t position = 0;
  const bool locked = qn::registry().regionLocks.load(std::memory_order_acquire) != 0;
  if (overlapped != nullptr || locked) {
    if (!qn::startOf(*file, overlapped, false, position)) return qn::failWithErrno();
    if (locked && file->lockedByOthers(position, bytesToRead)) return qn::failWith(ERROR_LOCK_VIOLATION);
  }
  auto* out = static_cast<char*>(buffer);
  DWORD done = 0;
  while (done < bytesToRead) {
    const std::size_t chunk = std::min<std::size_t>(bytesToRead - done, 0x40000000);
    const ssize_t n = overlapped != nullptr ? ::pread(file->fd, out + done, chunk, static_cast<off_t>(position + done))
                                            : ::read(file->fd, out + done, chunk);
    if (n < 0) {
      if (errno == EINTR) continue;
      if (bytesRead != nullptr) *bytesRead = done;
      return qn::failWithErrno();
    }
    if (n == 0) break;
    done += static_cast<DWORD>(n);
  }
  if (overlapped != nullptr) ::lseek(file->fd, static_cast<off_t>(position + done), SEEK_SET);
  if (bytesRead != nullptr) *bytesRead = done;
  return TRUE;
}

BOOL WINAPI WriteFile(HANDLE handle, LPCVOID buffer, DWORD bytesToWrite, LPDWORD bytesWritten,
                      LPOVERLAPPED overlapped) {
  if (bytesWritten != nullptr) *bytesWritten = 0;
  auto file = qn::fileOf(handle);
  if (file == nullptr) return FALSE;
  if (!(file->rights & (qn::RightWrite | qn::RightAppend)) || !file->writableFd)
    return qn::failWith(ERROR_ACCESS_DENIED);
  if (bytesWritten == nullptr && overlapped == nullptr) return qn::failWith(ERROR_INVALID_PARAMETER);
  if (buffer == nullptr && bytesToWrite != 0) return qn::failWith(ERROR_NOACCESS);

  const bool appendOnly = !(file->rights & qn::RightWrite);
  if (appendOnly) overlapped = nullptr;  // appends go to the end whatever the record says
  std::uint64_t position = 0;
  const bool locked = qn::registry().regionLocks.load(std::memory_order_acquire) != 0;
  if (overlapped != nullptr || locked) {
    if (!qn::startOf(*file, overlapped, appendOnly, position)) return qn::failWithErrno();
    if (locked && file->lockedByOthers(position, bytesToWrite)) return qn::failWith(ERROR_LOCK_VIOLATION);
  }
  const auto* in = static_cast<const char*>(buffer);
  DWORD done = 0;
  while (done < bytesToWrite) {
    const std::size_t chunk = std::min<std::size_t>(bytesToWrite - done, 0x40000000);
    const ssize_t n = overlapped != nullptr ? ::pwrite(file->fd, in + done, chunk, static_cast<off_t>(position + done))
                                            : ::write(file->fd, in + done, chunk);
    if (n < 0) {
      if (errno == EINTR) continue;
      if (bytesWritten != nullptr) *bytesWritten = done;
      return qn::failWithErrno();
    }
    done += static_cast<DWORD>(n);
  }
  if (overlapped != nullptr) ::lseek(file->fd, static_cast<off_t>(position + done), SEEK_SET);
  if (bytesWritten != nullptr) *bytesWritten = done;
  return TRUE;
}

namespace {

// Moves a handle's pointer by a signed distance; the result is the new
// position, or -1 with the last error set.
std::int64_t movePointer(FileObject& file, std::int64_t distance, DWORD method, std::int64_t limit) {
  std::int64_t base;
  switch (method) {
    case FILE_BEGIN: base = 0; break;
    case FILE_CURRENT: base = ::lseek(file.fd, 0, SEEK_CUR); break;
    case FILE_END: {
      struct stat st;
      base = ::fstat(file.fd, &st) == 0 ? st.st_size : -1;
      break;
    }
    default: qn::failWith(ERROR_INVALID_PARAMETER); return -1;
  }
  if (base < 0) {
    qn::failWithErrno();
    return -1;
  }
  std::int64_t target;
  if (__builtin_add_overflow(base, distance, &target)) {
    qn::failWith(ERROR_INVALID_PARAMETER);
    return -1;
  }
  if (target < 0) {
    qn::failWith(ERROR_NEGATIVE_SEEK);
    return -1;
  }
  if (target > limit) {
    qn::failWith(ERROR_INVALID_PARAMETER);
    return -1;
  }
  if (::lseek(file.fd, target, SEEK_SET) < 0) {
    qn::failWithErrno();
    return -1;
  }
  return target;
}

}  // namespace

DWORD WINAPI SetFilePointer(HANDLE handle, LONG distanceToMove, PLONG distanceToMoveHigh, DWORD moveMethod) {
  auto file = qn::fileOf(handle);
  if (file == nullptr) return INVALID_SET_FILE_POINTER;
  std::int64_t distance = distanceToMove;
  std::int64_t limit = 0xFFFFFFFFLL;
  if (distanceToMoveHigh != nullptr) {
    distance = static_cast<std::int64_t>((static_cast<std::uint64_t>(static_cast<DWORD>(*distanceToMoveHigh)) << 32) |
                                         static_cast<DWORD>(distanceToMove));
    limit = std::numeric_limits<std::int64_t>::max();
  }
  const std::int64_t position = movePointer(*file, distance, moveMethod, limit);
  if (position < 0) return INVALID_SET_FILE_POINTER;
  if (distanceToMoveHigh != nullptr) *distanceToMoveHigh = static_cast<LONG>(position >> 32);
  // The one result that looks like a failure says it isn't one.
  if (static_cast<DWORD>(position) == INVALID_SET_FILE_POINTER) SetLastError(ERROR_SUCCESS);
  return static_cast<DWORD>(position);
}

BOOL WINAPI SetFilePointerEx(HANDLE handle, LARGE_INTEGER distanceToMove, PLARGE_INTEGER newFilePointer,
                             DWORD moveMethod) {
  auto file = qn::fileOf(handle);
  if (file == nullptr) return FALSE;
  const std::int64_t position =
      movePointer(*file, distanceToMove.QuadPart, moveMethod, std::numeric_limits<std::int64_t>::max());
  if (position < 0) return FALSE;
  if (newFilePointer != nullptr) newFilePointer->QuadPart = position;
  return TRUE;
}

BOOL WINAPI SetEndOfFile(HANDLE handle) {
  auto file = qn::fileOf(handle);
  if (file == nullptr) return FALSE;
  if (!(file->rights & qn::RightWrite) || !file->writableFd) return qn::failWith(ERROR_ACCESS_DENIED);
  const off_t position = ::lseek(file->fd, 0, SEEK_CUR);
  if (position < 0 || ::ftruncate(file->fd, position) != 0) return qn::failWithErrno();
  return TRUE;
}

BOOL WINAPI FlushFileBuffers(HANDLE handle) {
  auto file = qn::fileOf(handle);
  if (file == nullptr) return FALSE;
  if (!(file->rights & (qn::RightWrite | qn::RightAppend))) return qn::failWith(ERROR_ACCESS_DENIED);
  if (::fsync(file->fd) != 0) return qn::failWithErrno();
  return TRUE;
}

DWORD WINAPI GetFileSize(HANDLE handle, LPDWORD fileSizeHigh) {
  auto file = qn::fileOf(handle);
  if (file == nullptr) return INVALID_FILE_SIZE;
  struct stat st;
  if (::fstat(file->fd, &st) != 0) {
    qn::failWithErrno();
    return INVALID_FILE_SIZE;
  }
  const auto size = static_cast<std::uint64_t>(st.st_size);
  if (fileSizeHigh != nullptr) *fileSizeHigh = static_cast<DWORD>(size >> 32);
  if (static_cast<DWORD>(size) == INVALID_FILE_SIZE) SetLastError(ERROR_SUCCESS);
  return static_cast<DWORD>(size);
}

BOOL WINAPI GetFileSizeEx(HANDLE handle, PLARGE_INTEGER fileSize) {
  auto file = qn::fileOf(handle);
  if (file == nullptr) return FALSE;
  if (fileSize == nullptr) return qn::failWith(ERROR_NOACCESS);
  struct stat st;
  if (::fstat(file->fd, &st) != 0) return qn::failWithErrno();
  fileSize->QuadPart = st.st_size;
  return TRUE;
}

BOOL WINAPI GetFileInformationByHandle(HANDLE handle, LPBY_HANDLE_FILE_INFORMATION information) {
  auto file = qn::fileOf(handle);
  if (file == nullptr) return FALSE;
  if (information == nullptr) return qn::failWith(ERROR_NOACCESS);
  qn::FileStatus status;
  if (!qn::statDescriptor(file->fd, status)) return qn::failWithErrno();
  information->dwFileAttributes = qn::attributesOf(status, file->hidden);
  information->ftCreationTime = qn::creationTimeOf(status);
  information->ftLastAccessTime = qn::fileTimeFromTimespec(status.accessTime);
  information->ftLastWriteTime = qn::fileTimeFromTimespec(status.writeTime);
  information->dwVolumeSerialNumber = static_cast<DWORD>(status.device ^ (status.device >> 32));
  information->nFileSizeHigh = static_cast<DWORD>(status.size >> 32);
  information->nFileSizeLow = static_cast<DWORD>(status.size);
  information->nNumberOfLinks = status.links;
  information->nFileIndexHigh = static_cast<DWORD>(status.inode >> 32);
  information->nFileIndexLow = static_cast<DWORD>(status.inode);
  return TRUE;
}

BOOL WINAPI GetFileTime(HANDLE handle, LPFILETIME creationTime, LPFILETIME lastAccessTime, LPFILETIME lastWriteTime) {
  auto file = qn::fileOf(handle);
  if (file == nullptr) return FALSE;
  qn::FileStatus status;
  if (!qn::statDescriptor(file->fd, status)) return qn::failWithErrno();
  if (creationTime != nullptr) *creationTime = qn::creationTimeOf(status);
  if (lastAccessTime != nullptr) *lastAccessTime = qn::fileTimeFromTimespec(status.accessTime);
  if (lastWriteTime != nullptr) *lastWriteTime = qn::fileTimeFromTimespec(status.writeTime);
  return TRUE;
}

BOOL WINAPI SetFileTime(HANDLE handle, const FILETIME* creationTime, const FILETIME* lastAccessTime,
                        const FILETIME* lastWriteTime) {
  auto file = qn::fileOf(handle);
  if (file == nullptr) return FALSE;
  if (!(file->rights & qn::RightWriteAttributes)) return qn::failWith(ERROR_ACCESS_DENIED);
  // A null time, a zero time and the all-ones time leave that time as it is.
  auto convert = [](const FILETIME* in, timespec& out) {
    out = timespec{0, UTIME_OMIT};
    if (in == nullptr) return true;
    const std::uint64_t ticks = qn::ticksOf(*in);
    if (ticks == 0 || ticks == ~std::uint64_t{0}) return true;
    return qn::timespecFromFileTime(*in, out);
  };
  timespec times[2];
  timespec creation;
  if (!convert(lastAccessTime, times[0]) || !convert(lastWriteTime, times[1]) || !convert(creationTime, creation))
    return qn::failWith(ERROR_INVALID_PARAMETER);
  // Linux keeps the creation time itself; it can't be set.
  if (times[0].tv_nsec == UTIME_OMIT && times[1].tv_nsec == UTIME_OMIT) return TRUE;
  if (::futimens(file->fd, times) != 0) return qn::failWithErrno();
  return TRUE;
}

BOOL WINAPI LockFile(HANDLE handle, DWORD offsetLow, DWORD offsetHigh, DWORD bytesToLockLow, DWORD bytesToLockHigh) {
  auto file = qn::fileOf(handle);
  if (file == nullptr) return FALSE;
  if (!(file->rights & (qn::RightRead | qn::RightWrite | qn::RightAppend))) return qn::failWith(ERROR_ACCESS_DENIED);
  const std::uint64_t offset = (static_cast<std::uint64_t>(offsetHigh) << 32) | offsetLow;
  const std::uint64_t length = (static_cast<std::uint64_t>(bytesToLockHigh) << 32) | bytesToLockLow;
  if (length != 0 && offset + (length - 1) < offset) return qn::failWith(ERROR_INVALID_PARAMETER);

  auto& r = qn::registry();
  std::lock_guard guard(r.mutex);
  qn::SharedFile* shared = file->record();
  if (shared == nullptr) return FALSE;
  for (const auto& lock : shared->locks)
    if (qn::overlaps(offset, length, lock)) return qn::failWith(ERROR_LOCK_VIOLATION);
  off_t start, len;
  if (qn::systemRegion(offset, length, start, len) &&
      !qn::setLock(file->fd, file->writableFd ? F_WRLCK : F_RDLCK, start, len)) {
    if (errno == EAGAIN || errno == EACCES) return qn::failWith(ERROR_LOCK_VIOLATION);
    if (errno != EINVAL && errno != ENOLCK && errno != EOPNOTSUPP && errno != EBADF) return qn::failWithErrno();
  }
  shared->locks.push_back(qn::RegionLock{file.get(), offset, length});
  ++r.regionLocks;
  return TRUE;
}

BOOL WINAPI UnlockFile(HANDLE handle, DWORD offsetLow, DWORD offsetHigh, DWORD bytesToUnlockLow,
                       DWORD bytesToUnlockHigh) {
  auto file = qn::fileOf(handle);
  if (file == nullptr) return FALSE;
  const std::uint64_t offset = (static_cast<std::uint64_t>(offsetHigh) << 32) | offsetLow;
  const std::uint64_t length = (static_cast<std::uint64_t>(bytesToUnlockHigh) << 32) | bytesToUnlockLow;

  auto& r = qn::registry();
  std::lock_guard guard(r.mutex);
  qn::SharedFile* shared = file->record();
  if (shared == nullptr) return FALSE;
  auto& locks = shared->locks;
  // Only a region exactly as it was locked, by this handle, unlocks.
  auto it = std::find_if(locks.begin(), locks.end(), [&](const qn::RegionLock& l) {
    return l.owner == file.get() && l.offset == offset && l.length == length;
  });
  if (it == locks.end()) return qn::failWith(ERROR_NOT_LOCKED);
  locks.erase(it);
  --r.regionLocks;
  off_t start, len;
  if (qn::systemRegion(offset, length, start, len)) qn::setLock(file->fd, F_UNLCK, start, len);
  return TRUE;
}

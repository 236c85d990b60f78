#include "errors/errors.h"

namespace qn::tls {
__thread DWORD lastError __attribute__((tls_model("initial-exec"))) = ERROR_SUCCESS;
}

DWORD WINAPI GetLastError() { return qn::tls::lastError; }

void WINAPI SetLastError(DWORD error) { qn::tls::lastError = error; }

namespace qn {

DWORD win32ErrorFromErrno(int error) {
  switch (error) {
    case 0: return ERROR_SUCCESS;
    case ENOENT: return ERROR_FILE_NOT_FOUND;
    case ENOTDIR: return ERROR_PATH_NOT_FOUND;
    case ELOOP: return ERROR_CANT_RESOLVE_FILENAME;
    case EACCES:
    case EPERM:
    case EROFS: return ERROR_ACCESS_DENIED;
    case EISDIR: return ERROR_ACCESS_DENIED;
    case EBADF: return ERROR_INVALID_HANDLE;
    case EMFILE:
    case ENFILE: return ERROR_TOO_MANY_OPEN_FILES;
    case ENOMEM: return ERROR_NOT_ENOUGH_MEMORY;
    case EEXIST: return ERROR_ALREADY_EXISTS;
    case ENOTEMPTY: return ERROR_DIR_NOT_EMPTY;
    case EXDEV: return ERROR_NOT_SAME_DEVICE;
    case ENOSPC: return ERROR_DISK_FULL;
    case EDQUOT: return ERROR_DISK_QUOTA_EXCEEDED;
    case EFBIG: return ERROR_DISK_FULL;
    case EINVAL: return ERROR_INVALID_PARAMETER;
    case ENAMETOOLONG: return ERROR_FILENAME_EXCED_RANGE;
    case EBUSY: return ERROR_BUSY;
    case ETXTBSY: return ERROR_SHARING_VIOLATION;
    case EAGAIN: return ERROR_LOCK_VIOLATION;
    case EDEADLK: return ERROR_POSSIBLE_DEADLOCK;
    case ENOLCK: return ERROR_LOCK_VIOLATION;
    case EPIPE: return ERROR_BROKEN_PIPE;
    case ESPIPE: return ERROR_SEEK;
    case EIO: return ERROR_GEN_FAILURE;
    case ENXIO:
    case ENODEV: return ERROR_NOT_READY;
    case ENOEXEC: return ERROR_BAD_EXE_FORMAT;
    case E2BIG: return ERROR_BAD_LENGTH;
    case ECHILD: return ERROR_WAIT_NO_CHILDREN;
    case ETIMEDOUT: return ERROR_TIMEOUT;
    case ENOSYS:
    case EOPNOTSUPP: return ERROR_NOT_SUPPORTED;
    case EFAULT: return ERROR_NOACCESS;
    case EOVERFLOW: return ERROR_ARITHMETIC_OVERFLOW;
    case EILSEQ: return ERROR_NO_UNICODE_TRANSLATION;
    case ECANCELED: return ERROR_OPERATION_ABORTED;
    default: return ERROR_GEN_FAILURE;
  }
}

}  // namespace qn

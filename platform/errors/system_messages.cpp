#include "errors/system_messages.h"

#include <algorithm>
#include <iterator>
#include <qnlith/win32/errors.h>

namespace qn {

namespace {

struct SystemMessage {
  DWORD code;
  const wchar_t* text;
};

// Sorted by code. Every code in errors.h has a line here.
constexpr SystemMessage Messages[] = {
    {ERROR_SUCCESS, L"The operation succeeded.\r\n"},
    {ERROR_INVALID_FUNCTION, L"The function is not valid for this object.\r\n"},
    {ERROR_FILE_NOT_FOUND, L"No file with that name exists.\r\n"},
    {ERROR_PATH_NOT_FOUND, L"A folder on the path does not exist.\r\n"},
    {ERROR_TOO_MANY_OPEN_FILES, L"Too many files are open.\r\n"},
    {ERROR_ACCESS_DENIED, L"Permission to access the object was refused.\r\n"},
    {ERROR_INVALID_HANDLE, L"The handle is not a valid open handle.\r\n"},
    {ERROR_NOT_ENOUGH_MEMORY, L"There is not enough memory to carry out this command.\r\n"},
    {ERROR_BAD_FORMAT, L"The file is not in a format that can be loaded.\r\n"},
    {ERROR_INVALID_ACCESS, L"The requested kind of access is not valid.\r\n"},
    {ERROR_INVALID_DATA, L"The data are not valid.\r\n"},
    {ERROR_OUTOFMEMORY, L"Memory ran out before the operation could finish.\r\n"},
    {ERROR_INVALID_DRIVE, L"The drive named does not exist.\r\n"},
    {ERROR_CURRENT_DIRECTORY, L"The current folder cannot be removed.\r\n"},
    {ERROR_NOT_SAME_DEVICE, L"A file cannot be moved to another device this way.\r\n"},
    {ERROR_NO_MORE_FILES, L"No further files match.\r\n"},
    {ERROR_WRITE_PROTECT, L"The medium does not allow writing.\r\n"},
    {ERROR_NOT_READY, L"The device is not ready.\r\n"},
    {ERROR_BAD_LENGTH, L"The program passed a length that is not valid.\r\n"},
    {ERROR_SEEK, L"The position on the device could not be found.\r\n"},
    {ERROR_WRITE_FAULT, L"Writing to the device failed.\r\n"},
    {ERROR_READ_FAULT, L"Reading from the device failed.\r\n"},
    {ERROR_GEN_FAILURE, L"A device attached to the system is not working.\r\n"},
    {ERROR_SHARING_VIOLATION, L"Another process has the file open in a way that does not allow this access.\r\n"},
    {ERROR_LOCK_VIOLATION, L"Another process has locked a part of the file.\r\n"},
    {ERROR_HANDLE_EOF, L"The end of the file was reached.\r\n"},
    {ERROR_HANDLE_DISK_FULL, L"The disk has no room left.\r\n"},
    {ERROR_NOT_SUPPORTED, L"This request is not supported.\r\n"},
    {ERROR_FILE_EXISTS, L"A file with that name is already there.\r\n"},
    {ERROR_CANNOT_MAKE, L"The file or folder could not be created.\r\n"},
    {ERROR_INVALID_PARAMETER, L"A parameter is not valid.\r\n"},
    {ERROR_BROKEN_PIPE, L"The other end of the pipe has been closed.\r\n"},
    {ERROR_OPEN_FAILED, L"The file or device could not be opened.\r\n"},
    {ERROR_BUFFER_OVERFLOW, L"The file name is too long.\r\n"},
    {ERROR_DISK_FULL, L"The disk is full.\r\n"},
    {ERROR_CALL_NOT_IMPLEMENTED, L"This function is not available on this system.\r\n"},
    {ERROR_SEM_TIMEOUT, L"The time allowed for the semaphore has run out.\r\n"},
    {ERROR_INSUFFICIENT_BUFFER, L"The buffer passed to the call is too small.\r\n"},
    {ERROR_INVALID_NAME, L"The file name, folder name or volume label is not well formed.\r\n"},
    {ERROR_MOD_NOT_FOUND, L"The module could not be found.\r\n"},
    {ERROR_PROC_NOT_FOUND, L"The procedure could not be found in the module.\r\n"},
    {ERROR_WAIT_NO_CHILDREN, L"There are no child processes to wait for.\r\n"},
    {ERROR_NEGATIVE_SEEK, L"The file pointer cannot be moved before the start of the file.\r\n"},
    {ERROR_DIR_NOT_EMPTY, L"The folder still holds files or folders.\r\n"},
    {ERROR_NOT_LOCKED, L"The region to unlock was not locked.\r\n"},
    {ERROR_BAD_ARGUMENTS, L"One or more arguments are not right.\r\n"},
    {ERROR_BAD_PATHNAME, L"The path is not valid.\r\n"},
    {ERROR_BUSY, L"The resource is in use.\r\n"},
    {ERROR_ALREADY_EXISTS, L"An object with that name already exists.\r\n"},
    {ERROR_BAD_EXE_FORMAT, L"The file is not a program this system can run.\r\n"},
    {ERROR_ENVVAR_NOT_FOUND, L"The environment variable is not set.\r\n"},
    {ERROR_FILENAME_EXCED_RANGE, L"The file name or path is longer than allowed.\r\n"},
    {ERROR_NO_DATA, L"The pipe is being closed.\r\n"},
    {ERROR_MORE_DATA, L"More data are available than fit.\r\n"},
    {ERROR_NO_WORK_DONE, L"The call did nothing: its result would have been empty.\r\n"},
    {ERROR_WAIT_TIMEOUT, L"The wait ended because its time ran out.\r\n"},
    {ERROR_NO_MORE_ITEMS, L"There are no more items.\r\n"},
    {ERROR_DIRECTORY, L"The name is not a valid folder name.\r\n"},
    {ERROR_NOT_OWNER, L"The calling thread does not own the mutex.\r\n"},
    {ERROR_TOO_MANY_POSTS, L"The semaphore cannot be released that far.\r\n"},
    {ERROR_MR_MID_NOT_FOUND, L"No message text exists for the message number.\r\n"},
    {ERROR_INVALID_ADDRESS, L"The address is not valid for this access.\r\n"},
    {ERROR_ARITHMETIC_OVERFLOW, L"The result is too large for its type.\r\n"},
    {ERROR_OPERATION_ABORTED, L"The operation was cancelled.\r\n"},
    {ERROR_NOACCESS, L"A memory location passed to the call cannot be accessed.\r\n"},
    {ERROR_INVALID_FLAGS, L"The flags are not valid.\r\n"},
    {ERROR_FILE_INVALID, L"The volume of the open file has changed or is gone.\r\n"},
    {ERROR_CANTOPEN, L"A registry key could not be opened.\r\n"},
    {ERROR_CANTREAD, L"A registry key could not be read.\r\n"},
    {ERROR_CANTWRITE, L"A registry key could not be written.\r\n"},
    {ERROR_REGISTRY_CORRUPT, L"The registry store is damaged.\r\n"},
    {ERROR_REGISTRY_IO_FAILED, L"Reading or writing the registry store failed.\r\n"},
    {ERROR_KEY_DELETED, L"The registry key has been marked for deletion.\r\n"},
    {ERROR_SERVICE_REQUEST_TIMEOUT, L"The service did not answer in time.\r\n"},
    {ERROR_NO_UNICODE_TRANSLATION, L"The text holds a character that has no Unicode form here.\r\n"},
    {ERROR_DLL_INIT_FAILED, L"The module's start-up routine failed.\r\n"},
    {ERROR_POSSIBLE_DEADLOCK, L"The operation would have led to a deadlock.\r\n"},
    {ERROR_DISK_QUOTA_EXCEEDED, L"The disk quota has been used up.\r\n"},
    {ERROR_INVALID_WINDOW_HANDLE, L"The window handle is not valid.\r\n"},
    {ERROR_INVALID_INDEX, L"The index is out of range.\r\n"},
    {ERROR_INVALID_THREAD_ID, L"No thread with that id has a message queue.\r\n"},
    {ERROR_TIMEOUT, L"The operation ran out of time.\r\n"},
    {ERROR_INVALID_DATATYPE, L"The data type is not valid.\r\n"},
    {ERROR_RESOURCE_DATA_NOT_FOUND, L"The image file has no resource section.\r\n"},
    {ERROR_RESOURCE_TYPE_NOT_FOUND, L"The image file has no resources of that type.\r\n"},
    {ERROR_RESOURCE_NAME_NOT_FOUND, L"The image file has no resource of that name.\r\n"},
    {ERROR_RESOURCE_LANG_NOT_FOUND, L"The image file has no resource in that language.\r\n"},
    {ERROR_NOT_ENOUGH_QUOTA, L"The quota for this operation has been used up.\r\n"},
    {ERROR_CANT_RESOLVE_FILENAME, L"The name could not be resolved to a file.\r\n"},
    {ERROR_DEVICE_IN_USE, L"The device is in use.\r\n"},
    {ERROR_NOT_A_REPARSE_POINT, L"The file or folder is no reparse point.\r\n"},
};

// HRESULTs of their own, beside those that carry a Win32 code.
constexpr SystemMessage ComMessages[] = {
    {0x80004001u, L"The operation is not implemented.\r\n"},
    {0x80004002u, L"The object does not offer that interface.\r\n"},
    {0x80004003u, L"A pointer is not valid.\r\n"},
    {0x80004004u, L"The operation was aborted.\r\n"},
    {0x80004005u, L"An error of no particular kind occurred.\r\n"},
    {0x8000FFFFu, L"A failure that was not expected occurred.\r\n"},
};

template <std::size_t N>
constexpr bool sortedByCode(const SystemMessage (&table)[N]) {
  for (std::size_t i = 1; i < N; ++i)
    if (table[i - 1].code >= table[i].code) return false;
  return true;
}
// The look-up is a binary search: a line out of order would hide its neighbours.
static_assert(sortedByCode(Messages));
static_assert(sortedByCode(ComMessages));

template <std::size_t N>
const wchar_t* find(const SystemMessage (&table)[N], DWORD code) {
  const auto found = std::lower_bound(std::begin(table), std::end(table), code,
                                      [](const SystemMessage& m, DWORD c) { return m.code < c; });
  return found != std::end(table) && found->code == code ? found->text : nullptr;
}

}  // namespace

const wchar_t* systemMessageText(DWORD code) {
  if ((code & 0xFFFF0000u) == 0x80070000u) return find(Messages, code & 0xFFFFu);
  if (const wchar_t* text = find(Messages, code)) return text;
  return find(ComMessages, code);
}

}  // namespace qn

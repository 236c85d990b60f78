/// @file
/// The registry: keys below four predefined roots, each key holding named
/// values of a Win32 type. Every function returns its error (ERROR_SUCCESS
/// on success) instead of setting the thread's last error.
///
/// Sizes of string data (REG_SZ, REG_EXPAND_SZ, REG_MULTI_SZ, REG_LINK) in
/// RegSetValueExW, RegQueryValueExW, RegEnumValueW and RegQueryInfoKeyW
/// count the caller's wchar_t, four bytes a character, so that
/// `sizeof buf`, `(wcslen(s) + 1) * sizeof(WCHAR)` and "ask the size,
/// allocate, read again" all hold; the store keeps the text as UTF-16LE
/// (qnRegQueryValueBytes shows it). No call writes beyond the size given,
/// and a size a call reports is enough for the next call. Data of every
/// other type is copied byte for byte both ways.
#pragma once

#include <qnlith/win32/types.h>

/// The result of a registry call: ERROR_SUCCESS or an error code.
typedef LONG LSTATUS;
/// The access rights asked for a key (KEY_ flags).
typedef DWORD REGSAM;
struct _FILETIME;

/// The predefined roots: always open, never closed, not valid after a close.
///@{
#define HKEY_CLASSES_ROOT (reinterpret_cast<HKEY>(static_cast<ULONG_PTR>(static_cast<LONG>(0x80000000u))))
#define HKEY_CURRENT_USER (reinterpret_cast<HKEY>(static_cast<ULONG_PTR>(static_cast<LONG>(0x80000001u))))
#define HKEY_LOCAL_MACHINE (reinterpret_cast<HKEY>(static_cast<ULONG_PTR>(static_cast<LONG>(0x80000002u))))
#define HKEY_USERS (reinterpret_cast<HKEY>(static_cast<ULONG_PTR>(static_cast<LONG>(0x80000003u))))
#define HKEY_PERFORMANCE_DATA (reinterpret_cast<HKEY>(static_cast<ULONG_PTR>(static_cast<LONG>(0x80000004u))))
#define HKEY_CURRENT_CONFIG (reinterpret_cast<HKEY>(static_cast<ULONG_PTR>(static_cast<LONG>(0x80000005u))))
///@}

/// Standard and generic access rights, shared with the other kernel objects.
///@{
#ifndef DELETE
#define DELETE 0x00010000L
#endif
#ifndef READ_CONTROL
#define READ_CONTROL 0x00020000L
#endif
#ifndef WRITE_DAC
#define WRITE_DAC 0x00040000L
#endif
#ifndef WRITE_OWNER
#define WRITE_OWNER 0x00080000L
#endif
#ifndef SYNCHRONIZE
#define SYNCHRONIZE 0x00100000L
#endif
#ifndef STANDARD_RIGHTS_REQUIRED
#define STANDARD_RIGHTS_REQUIRED 0x000F0000L
#endif
#ifndef STANDARD_RIGHTS_READ
#define STANDARD_RIGHTS_READ READ_CONTROL
#endif
#ifndef STANDARD_RIGHTS_WRITE
#define STANDARD_RIGHTS_WRITE READ_CONTROL
#endif
#ifndef STANDARD_RIGHTS_EXECUTE
#define STANDARD_RIGHTS_EXECUTE READ_CONTROL
#endif
#ifndef STANDARD_RIGHTS_ALL
#define STANDARD_RIGHTS_ALL 0x001F0000L
#endif
#ifndef MAXIMUM_ALLOWED
#define MAXIMUM_ALLOWED 0x02000000L
#endif
#ifndef GENERIC_READ
#define GENERIC_READ 0x80000000L
#endif
#ifndef GENERIC_WRITE
#define GENERIC_WRITE 0x40000000L
#endif
#ifndef GENERIC_EXECUTE
#define GENERIC_EXECUTE 0x20000000L
#endif
#ifndef GENERIC_ALL
#define GENERIC_ALL 0x10000000L
#endif
///@}

/// Access rights of keys, single and combined as Win32 defines them.
///@{
#define KEY_QUERY_VALUE 0x0001
#define KEY_SET_VALUE 0x0002
#define KEY_CREATE_SUB_KEY 0x0004
#define KEY_ENUMERATE_SUB_KEYS 0x0008
#define KEY_NOTIFY 0x0010
#define KEY_CREATE_LINK 0x0020
#define KEY_WOW64_64KEY 0x0100
#define KEY_WOW64_32KEY 0x0200
#define KEY_WOW64_RES 0x0300
#define KEY_READ ((STANDARD_RIGHTS_READ | KEY_QUERY_VALUE | KEY_ENUMERATE_SUB_KEYS | KEY_NOTIFY) & (~SYNCHRONIZE))
#define KEY_WRITE ((STANDARD_RIGHTS_WRITE | KEY_SET_VALUE | KEY_CREATE_SUB_KEY) & (~SYNCHRONIZE))
#define KEY_EXECUTE ((KEY_READ) & (~SYNCHRONIZE))
#define KEY_ALL_ACCESS                                                                                      \
  ((STANDARD_RIGHTS_ALL | KEY_QUERY_VALUE | KEY_SET_VALUE | KEY_CREATE_SUB_KEY | KEY_ENUMERATE_SUB_KEYS | \
    KEY_NOTIFY | KEY_CREATE_LINK) &                                                                         \
   (~SYNCHRONIZE))
///@}

/// Options of RegCreateKeyExW and RegOpenKeyExW.
///@{
#define REG_OPTION_RESERVED 0x00000000L
#define REG_OPTION_NON_VOLATILE 0x00000000L
#define REG_OPTION_VOLATILE 0x00000001L
#define REG_OPTION_CREATE_LINK 0x00000002L
#define REG_OPTION_BACKUP_RESTORE 0x00000004L
#define REG_OPTION_OPEN_LINK 0x00000008L
///@}

/// What RegCreateKeyExW did: created the key, or opened an existing one.
///@{
#define REG_CREATED_NEW_KEY 0x00000001L
#define REG_OPENED_EXISTING_KEY 0x00000002L
///@}

/// The types of registry values, by their documented numbers.
///@{
#define REG_NONE 0
#define REG_SZ 1
#define REG_EXPAND_SZ 2
#define REG_BINARY 3
#define REG_DWORD 4
#define REG_DWORD_LITTLE_ENDIAN 4
#define REG_DWORD_BIG_ENDIAN 5
#define REG_LINK 6
#define REG_MULTI_SZ 7
#define REG_RESOURCE_LIST 8
#define REG_FULL_RESOURCE_DESCRIPTOR 9
#define REG_RESOURCE_REQUIREMENTS_LIST 10
#define REG_QWORD 11
#define REG_QWORD_LITTLE_ENDIAN 11
///@}

extern "C" {

/// Opens an existing subkey into *result, a handle for RegCloseKey;
/// ERROR_FILE_NOT_FOUND when it is missing. An empty or null subkey on a
/// predefined root gives that root back; on any other key it gives a new
/// handle to the same key.
WINBASEAPI LSTATUS WINAPI RegOpenKeyExW(HKEY key, LPCWSTR subKey, DWORD options, REGSAM access, PHKEY result);

/// Creates the subkey and every missing key above it, or opens it when it
/// exists. `keyClass` and `security` are accepted and not kept; volatile
/// keys are stored like the others. The key's handle goes to *result, for
/// RegCloseKey.
WINBASEAPI LSTATUS WINAPI RegCreateKeyExW(HKEY key, LPCWSTR subKey, DWORD reserved, LPWSTR keyClass, DWORD options,
                                          REGSAM access, const void* security, PHKEY result, LPDWORD disposition);

/// Closes a key handle; ERROR_INVALID_HANDLE for one that is no key.
/// Closing a predefined root succeeds and does nothing.
WINBASEAPI LSTATUS WINAPI RegCloseKey(HKEY key);

/// Reads a value's type and data: ERROR_FILE_NOT_FOUND when missing (the
/// size then set to 0), ERROR_MORE_DATA with the size needed when the buffer
/// is too small, the size alone with a null data pointer. A REG_SZ or
/// REG_EXPAND_SZ stored without its terminator gets one when the buffer has
/// room, and the size then counts it. The size is read before the type is
/// written, so one variable may serve as both.
WINBASEAPI LSTATUS WINAPI RegQueryValueExW(HKEY key, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data,
                                           LPDWORD size);
/// Creates or replaces a value of the given type and data. Stores every
/// whole wchar_t of the size, embedded nulls included (a last partial
/// character is dropped). Data that can't be read gives ERROR_NOACCESS,
/// whatever the type.
WINBASEAPI LSTATUS WINAPI RegSetValueExW(HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data,
                                         DWORD size);
/// Deletes a value; ERROR_FILE_NOT_FOUND when missing.
WINBASEAPI LSTATUS WINAPI RegDeleteValueW(HKEY key, LPCWSTR name);

/// Deletes a key without subkeys (ERROR_ACCESS_DENIED for one with subkeys);
/// an empty subkey deletes `key` itself.
WINBASEAPI LSTATUS WINAPI RegDeleteKeyW(HKEY key, LPCWSTR subKey);

/// Subkeys come in the order of their names compared without case; values
/// in the order they were first set. Name sizes count wchar_t and include
/// the terminator on the way in, not on the way out. A name too long for
/// its buffer gives ERROR_MORE_DATA; RegEnumValueW then still reports the
/// data's type and size. The class is always empty and the last write time
/// zero. Walking a key by consecutive indexes costs the same per call
/// whatever the number of entries. ERROR_NO_MORE_ITEMS past the last.
WINBASEAPI LSTATUS WINAPI RegEnumKeyExW(HKEY key, DWORD index, LPWSTR name, LPDWORD nameSize, LPDWORD reserved,
                                        LPWSTR keyClass, LPDWORD classSize, struct _FILETIME* lastWriteTime);
/// The name, type and data of the value at the index; ERROR_NO_MORE_ITEMS
/// past the last, ERROR_MORE_DATA when a buffer is too small.
WINBASEAPI LSTATUS WINAPI RegEnumValueW(HKEY key, DWORD index, LPWSTR name, LPDWORD nameSize, LPDWORD reserved,
                                        LPDWORD type, LPBYTE data, LPDWORD dataSize);

/// Counts and longest names (in wchar_t, without terminator) and the
/// largest data size (in bytes, as RegQueryValueExW needs them) of a key;
/// each pointer may be null.
WINBASEAPI LSTATUS WINAPI RegQueryInfoKeyW(HKEY key, LPWSTR keyClass, LPDWORD classSize, LPDWORD reserved,
                                           LPDWORD subKeys, LPDWORD maxSubKeyLength, LPDWORD maxClassLength,
                                           LPDWORD values, LPDWORD maxValueNameLength, LPDWORD maxValueLength,
                                           LPDWORD securityDescriptorSize, struct _FILETIME* lastWriteTime);

/// A value's bytes exactly as stored, strings in UTF-16LE as on Windows,
/// for programs that move values between machines. Otherwise as
/// RegQueryValueExW and RegSetValueExW, with plain byte buffers.
///@{
WINBASEAPI LSTATUS WINAPI qnRegQueryValueBytes(HKEY key, LPCWSTR name, LPDWORD type, LPBYTE data, LPDWORD size);
WINBASEAPI LSTATUS WINAPI qnRegSetValueBytes(HKEY key, LPCWSTR name, DWORD type, const BYTE* data, DWORD size);
///@}

/// Groups the calling thread's writes to the store that holds `key` (the
/// user's or the machine's) into one transaction, for imports of many
/// values: one sync to disk at the end instead of one a value. Batches
/// nest. Until the outermost batch ends, the process's other threads wait
/// for the store and other processes' writers for the commit; nothing is
/// visible to them before it. Ending any batch with `commit` FALSE undoes
/// all of it; the outermost end then fails with ERROR_OPERATION_ABORTED if
/// it asked to commit.
///@{
WINBASEAPI LSTATUS WINAPI qnRegBeginBatch(HKEY key);
WINBASEAPI LSTATUS WINAPI qnRegEndBatch(HKEY key, BOOL commit);
///@}
}

// Files, directories, directory searches and volumes. Paths are Win32 paths:
// a backslash separates components as a forward slash does, a drive letter
// is kept as text, and paths may be longer than MAX_PATH characters, as in a
// process that opted into long paths (up to 32,767 characters; Linux allows
// 255 bytes a name and 4,095 bytes a path).
// docs/files.md tells how each call maps onto Linux.
#pragma once

#include <qnlith/win32/types.h>
#include <qnlith/win32/errors.h>
#include <qnlith/win32/time.h>

typedef union _LARGE_INTEGER {
  struct {
    DWORD LowPart;
    LONG HighPart;
  } u;
  struct {
    DWORD LowPart;
    LONG HighPart;
  };
  LONGLONG QuadPart;
} LARGE_INTEGER, *PLARGE_INTEGER;

typedef union _ULARGE_INTEGER {
  struct {
    DWORD LowPart;
    DWORD HighPart;
  } u;
  struct {
    DWORD LowPart;
    DWORD HighPart;
  };
  ULONGLONG QuadPart;
} ULARGE_INTEGER, *PULARGE_INTEGER;

// Only the offset is used: a read or write with a record happens at that
// offset and leaves the file pointer behind the bytes moved.
typedef struct _OVERLAPPED {
  ULONG_PTR Internal;
  ULONG_PTR InternalHigh;
  union {
    struct {
      DWORD Offset;
      DWORD OffsetHigh;
    };
    PVOID Pointer;
  };
  HANDLE hEvent;
} OVERLAPPED, *LPOVERLAPPED;

typedef struct _BY_HANDLE_FILE_INFORMATION {
  DWORD dwFileAttributes;
  FILETIME ftCreationTime;
  FILETIME ftLastAccessTime;
  FILETIME ftLastWriteTime;
  DWORD dwVolumeSerialNumber;
  DWORD nFileSizeHigh;
  DWORD nFileSizeLow;
  DWORD nNumberOfLinks;
  DWORD nFileIndexHigh;
  DWORD nFileIndexLow;
} BY_HANDLE_FILE_INFORMATION, *PBY_HANDLE_FILE_INFORMATION, *LPBY_HANDLE_FILE_INFORMATION;

typedef struct _WIN32_FIND_DATAW {
  DWORD dwFileAttributes;
  FILETIME ftCreationTime;
  FILETIME ftLastAccessTime;
  FILETIME ftLastWriteTime;
  DWORD nFileSizeHigh;
  DWORD nFileSizeLow;
  DWORD dwReserved0;
  DWORD dwReserved1;
  WCHAR cFileName[MAX_PATH];
  WCHAR cAlternateFileName[14];
} WIN32_FIND_DATAW, *PWIN32_FIND_DATAW, *LPWIN32_FIND_DATAW;

// Access rights shared with the registry's header.
#ifndef GENERIC_READ
#define GENERIC_READ 0x80000000u
#endif
#ifndef GENERIC_WRITE
#define GENERIC_WRITE 0x40000000u
#endif
#ifndef GENERIC_EXECUTE
#define GENERIC_EXECUTE 0x20000000u
#endif
#ifndef GENERIC_ALL
#define GENERIC_ALL 0x10000000u
#endif
#ifndef DELETE
#define DELETE 0x00010000u
#endif
#ifndef SYNCHRONIZE
#define SYNCHRONIZE 0x00100000u
#endif
#define FILE_READ_DATA 0x0001u
#define FILE_WRITE_DATA 0x0002u
#define FILE_APPEND_DATA 0x0004u
#define FILE_READ_EA 0x0008u
#define FILE_WRITE_EA 0x0010u
#define FILE_EXECUTE 0x0020u
#define FILE_READ_ATTRIBUTES 0x0080u
#define FILE_WRITE_ATTRIBUTES 0x0100u

#define FILE_SHARE_READ 0x00000001u
#define FILE_SHARE_WRITE 0x00000002u
#define FILE_SHARE_DELETE 0x00000004u

#define CREATE_NEW 1
#define CREATE_ALWAYS 2
#define OPEN_EXISTING 3
#define OPEN_ALWAYS 4
#define TRUNCATE_EXISTING 5

#define FILE_ATTRIBUTE_READONLY 0x00000001u
#define FILE_ATTRIBUTE_HIDDEN 0x00000002u
#define FILE_ATTRIBUTE_SYSTEM 0x00000004u
#define FILE_ATTRIBUTE_DIRECTORY 0x00000010u
#define FILE_ATTRIBUTE_ARCHIVE 0x00000020u
#define FILE_ATTRIBUTE_DEVICE 0x00000040u
#define FILE_ATTRIBUTE_NORMAL 0x00000080u
#define FILE_ATTRIBUTE_TEMPORARY 0x00000100u
#define FILE_ATTRIBUTE_SPARSE_FILE 0x00000200u
#define FILE_ATTRIBUTE_REPARSE_POINT 0x00000400u
#define FILE_ATTRIBUTE_COMPRESSED 0x00000800u
#define FILE_ATTRIBUTE_OFFLINE 0x00001000u
#define FILE_ATTRIBUTE_NOT_CONTENT_INDEXED 0x00002000u
#define FILE_ATTRIBUTE_ENCRYPTED 0x00004000u
#define INVALID_FILE_ATTRIBUTES 0xFFFFFFFFu
#define IO_REPARSE_TAG_SYMLINK 0xA000000Cu

#define FILE_FLAG_WRITE_THROUGH 0x80000000u
#define FILE_FLAG_OVERLAPPED 0x40000000u
#define FILE_FLAG_NO_BUFFERING 0x20000000u
#define FILE_FLAG_RANDOM_ACCESS 0x10000000u
#define FILE_FLAG_SEQUENTIAL_SCAN 0x08000000u
#define FILE_FLAG_DELETE_ON_CLOSE 0x04000000u
#define FILE_FLAG_BACKUP_SEMANTICS 0x02000000u
#define FILE_FLAG_POSIX_SEMANTICS 0x01000000u
#define FILE_FLAG_OPEN_REPARSE_POINT 0x00200000u

#define FILE_BEGIN 0
#define FILE_CURRENT 1
#define FILE_END 2
#define INVALID_SET_FILE_POINTER 0xFFFFFFFFu
#define INVALID_FILE_SIZE 0xFFFFFFFFu

extern "C" {
// Opening. Share modes hold among all handles of the process and, through
// open-file-description locks, against other processes using this layer.
WINBASEAPI HANDLE WINAPI CreateFileW(LPCWSTR fileName, DWORD desiredAccess, DWORD shareMode,
                                     LPSECURITY_ATTRIBUTES securityAttributes, DWORD creationDisposition,
                                     DWORD flagsAndAttributes, HANDLE templateFile);

// Data and position. A handle's file pointer is its own.
WINBASEAPI BOOL WINAPI ReadFile(HANDLE file, LPVOID buffer, DWORD bytesToRead, LPDWORD bytesRead,
                                LPOVERLAPPED overlapped);
WINBASEAPI BOOL WINAPI WriteFile(HANDLE file, LPCVOID buffer, DWORD bytesToWrite, LPDWORD bytesWritten,
                                 LPOVERLAPPED overlapped);
WINBASEAPI DWORD WINAPI SetFilePointer(HANDLE file, LONG distanceToMove, PLONG distanceToMoveHigh,
                                       DWORD moveMethod);
WINBASEAPI BOOL WINAPI SetFilePointerEx(HANDLE file, LARGE_INTEGER distanceToMove, PLARGE_INTEGER newFilePointer,
                                        DWORD moveMethod);
WINBASEAPI BOOL WINAPI SetEndOfFile(HANDLE file);
WINBASEAPI BOOL WINAPI FlushFileBuffers(HANDLE file);

// What is known of an open file.
WINBASEAPI DWORD WINAPI GetFileSize(HANDLE file, LPDWORD fileSizeHigh);
WINBASEAPI BOOL WINAPI GetFileSizeEx(HANDLE file, PLARGE_INTEGER fileSize);
WINBASEAPI BOOL WINAPI GetFileInformationByHandle(HANDLE file, LPBY_HANDLE_FILE_INFORMATION information);
WINBASEAPI BOOL WINAPI GetFileTime(HANDLE file, LPFILETIME creationTime, LPFILETIME lastAccessTime,
                                   LPFILETIME lastWriteTime);
WINBASEAPI BOOL WINAPI SetFileTime(HANDLE file, const FILETIME* creationTime, const FILETIME* lastAccessTime,
                                   const FILETIME* lastWriteTime);

// Exclusive region locks. A region another handle holds makes the call fail
// at once with ERROR_LOCK_VIOLATION, and so do reads and writes through
// other handles of the process that touch it.
WINBASEAPI BOOL WINAPI LockFile(HANDLE file, DWORD offsetLow, DWORD offsetHigh, DWORD bytesToLockLow,
                                DWORD bytesToLockHigh);
WINBASEAPI BOOL WINAPI UnlockFile(HANDLE file, DWORD offsetLow, DWORD offsetHigh, DWORD bytesToUnlockLow,
                                  DWORD bytesToUnlockHigh);

// Names.
WINBASEAPI DWORD WINAPI GetFileAttributesW(LPCWSTR fileName);
WINBASEAPI BOOL WINAPI SetFileAttributesW(LPCWSTR fileName, DWORD fileAttributes);
WINBASEAPI BOOL WINAPI DeleteFileW(LPCWSTR fileName);
WINBASEAPI BOOL WINAPI MoveFileW(LPCWSTR existingFileName, LPCWSTR newFileName);
WINBASEAPI BOOL WINAPI CopyFileW(LPCWSTR existingFileName, LPCWSTR newFileName, BOOL failIfExists);

// Directories and volumes.
WINBASEAPI BOOL WINAPI CreateDirectoryW(LPCWSTR pathName, LPSECURITY_ATTRIBUTES securityAttributes);
WINBASEAPI BOOL WINAPI RemoveDirectoryW(LPCWSTR pathName);
WINBASEAPI DWORD WINAPI GetCurrentDirectoryW(DWORD bufferLength, LPWSTR buffer);
WINBASEAPI BOOL WINAPI SetCurrentDirectoryW(LPCWSTR pathName);
WINBASEAPI DWORD WINAPI GetFullPathNameW(LPCWSTR fileName, DWORD bufferLength, LPWSTR buffer, LPWSTR* filePart);
WINBASEAPI DWORD WINAPI GetShortPathNameW(LPCWSTR longPath, LPWSTR shortPath, DWORD bufferLength);
WINBASEAPI BOOL WINAPI GetDiskFreeSpaceW(LPCWSTR rootPathName, LPDWORD sectorsPerCluster, LPDWORD bytesPerSector,
                                         LPDWORD numberOfFreeClusters, LPDWORD totalNumberOfClusters);
WINBASEAPI BOOL WINAPI GetDiskFreeSpaceExW(LPCWSTR directoryName, PULARGE_INTEGER freeBytesAvailableToCaller,
                                           PULARGE_INTEGER totalNumberOfBytes, PULARGE_INTEGER totalNumberOfFreeBytes);

// Directory searches with Win32 wildcards: case-insensitive `*` and `?`,
// `*.*` for every name, "." and ".." first.
WINBASEAPI HANDLE WINAPI FindFirstFileW(LPCWSTR fileName, LPWIN32_FIND_DATAW findFileData);
WINBASEAPI BOOL WINAPI FindNextFileW(HANDLE findFile, LPWIN32_FIND_DATAW findFileData);
WINBASEAPI BOOL WINAPI FindClose(HANDLE findFile);
}

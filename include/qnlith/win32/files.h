/// @file
/// Files, directories, directory searches and volumes. Paths are Win32 paths:
/// a backslash separates components as a forward slash does, a drive letter
/// is kept as text, and paths may be longer than MAX_PATH characters, as in a
/// process that opted into long paths (up to 32,767 characters; Linux allows
/// 255 bytes a name and 4,095 bytes a path).
/// docs/files.md tells how each call maps onto Linux.
#pragma once

#include <qnlith/win32/types.h>
#include <qnlith/win32/errors.h>
#include <qnlith/win32/time.h>

/// A signed 64-bit integer, also as its low and high 32-bit halves.
typedef union _LARGE_INTEGER {
  /// The two halves, named.
  struct {
    /// The low half.
    DWORD LowPart;
    /// The high half.
    LONG HighPart;
  } u;
  struct {
    /// The low half, without a name for the structure.
    DWORD LowPart;
    /// The high half, without a name for the structure.
    LONG HighPart;
  };
  /// The whole value.
  LONGLONG QuadPart;
} LARGE_INTEGER, *PLARGE_INTEGER;

/// An unsigned 64-bit integer, also as its low and high 32-bit halves.
typedef union _ULARGE_INTEGER {
  /// The two halves, named.
  struct {
    /// The low half.
    DWORD LowPart;
    /// The high half.
    DWORD HighPart;
  } u;
  struct {
    /// The low half, without a name for the structure.
    DWORD LowPart;
    /// The high half, without a name for the structure.
    DWORD HighPart;
  };
  /// The whole value.
  ULONGLONG QuadPart;
} ULARGE_INTEGER, *PULARGE_INTEGER;

/// Only the offset is used: a read or write with a record happens at that
/// offset and leaves the file pointer behind the bytes moved.
typedef struct _OVERLAPPED {
  /// Reserved for the system.
  ///@{
  ULONG_PTR Internal;
  ULONG_PTR InternalHigh;
  ///@}
  union {
    struct {
      /// The file offset of the transfer, low and high 32 bits.
      ///@{
      DWORD Offset;
      DWORD OffsetHigh;
      ///@}
    };
    /// Reserved.
    PVOID Pointer;
  };
  /// Ignored: every transfer completes before the call returns.
  HANDLE hEvent;
} OVERLAPPED, *LPOVERLAPPED;

/// What GetFileInformationByHandle tells of an open file.
typedef struct _BY_HANDLE_FILE_INFORMATION {
  /// The FILE_ATTRIBUTE_ flags.
  DWORD dwFileAttributes;
  /// Creation, last access and last write time (UTC).
  ///@{
  FILETIME ftCreationTime;
  FILETIME ftLastAccessTime;
  FILETIME ftLastWriteTime;
  ///@}
  /// A number of the file system the file lies on.
  DWORD dwVolumeSerialNumber;
  /// The size in bytes, high and low 32 bits.
  ///@{
  DWORD nFileSizeHigh;
  DWORD nFileSizeLow;
  ///@}
  /// The number of names (hard links) of the file.
  DWORD nNumberOfLinks;
  /// A number of the file unique on its volume, high and low 32 bits.
  ///@{
  DWORD nFileIndexHigh;
  DWORD nFileIndexLow;
  ///@}
} BY_HANDLE_FILE_INFORMATION, *PBY_HANDLE_FILE_INFORMATION, *LPBY_HANDLE_FILE_INFORMATION;

/// One entry of a directory search.
typedef struct _WIN32_FIND_DATAW {
  /// The FILE_ATTRIBUTE_ flags.
  DWORD dwFileAttributes;
  /// Creation, last access and last write time (UTC).
  ///@{
  FILETIME ftCreationTime;
  FILETIME ftLastAccessTime;
  FILETIME ftLastWriteTime;
  ///@}
  /// The size in bytes, high and low 32 bits.
  ///@{
  DWORD nFileSizeHigh;
  DWORD nFileSizeLow;
  ///@}
  /// The reparse tag of a reparse point (IO_REPARSE_TAG_SYMLINK for a symbolic link), else 0.
  DWORD dwReserved0;
  /// Reserved.
  DWORD dwReserved1;
  /// The entry's name, without its directory, zero-terminated.
  WCHAR cFileName[MAX_PATH];
  /// The short (8.3) name, empty where the file system has none.
  WCHAR cAlternateFileName[14];
} WIN32_FIND_DATAW, *PWIN32_FIND_DATAW, *LPWIN32_FIND_DATAW;

/// Access rights shared with the registry's header: generic read, write,
/// execute and all, delete, and waiting on the object.
///@{
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
///@}
/// Rights specific to files: read, write and append data, read and write
/// extended attributes, execute, read and write attributes.
///@{
#define FILE_READ_DATA 0x0001u
#define FILE_WRITE_DATA 0x0002u
#define FILE_APPEND_DATA 0x0004u
#define FILE_READ_EA 0x0008u
#define FILE_WRITE_EA 0x0010u
#define FILE_EXECUTE 0x0020u
#define FILE_READ_ATTRIBUTES 0x0080u
#define FILE_WRITE_ATTRIBUTES 0x0100u
///@}

/// Share modes of CreateFileW: what other handles may do while this one is open.
///@{
#define FILE_SHARE_READ 0x00000001u
#define FILE_SHARE_WRITE 0x00000002u
#define FILE_SHARE_DELETE 0x00000004u
///@}

/// Creation dispositions of CreateFileW: create a new file only, create or
/// empty, open an existing one only, open or create, empty an existing one.
///@{
#define CREATE_NEW 1
#define CREATE_ALWAYS 2
#define OPEN_EXISTING 3
#define OPEN_ALWAYS 4
#define TRUNCATE_EXISTING 5
///@}

/// File attributes, as GetFileAttributesW reports them; INVALID_FILE_ATTRIBUTES
/// is its failure result.
///@{
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
///@}
/// The reparse tag of a symbolic link.
#define IO_REPARSE_TAG_SYMLINK 0xA000000Cu

/// Flags of CreateFileW beside the attributes.
///@{
#define FILE_FLAG_WRITE_THROUGH 0x80000000u
#define FILE_FLAG_OVERLAPPED 0x40000000u
#define FILE_FLAG_NO_BUFFERING 0x20000000u
#define FILE_FLAG_RANDOM_ACCESS 0x10000000u
#define FILE_FLAG_SEQUENTIAL_SCAN 0x08000000u
#define FILE_FLAG_DELETE_ON_CLOSE 0x04000000u
#define FILE_FLAG_BACKUP_SEMANTICS 0x02000000u
#define FILE_FLAG_POSIX_SEMANTICS 0x01000000u
#define FILE_FLAG_OPEN_REPARSE_POINT 0x00200000u
///@}

/// Move methods of SetFilePointer: from the start, the current position, the end.
///@{
#define FILE_BEGIN 0
#define FILE_CURRENT 1
#define FILE_END 2
///@}
/// The failure result of SetFilePointer (valid also as a position: check GetLastError).
#define INVALID_SET_FILE_POINTER 0xFFFFFFFFu
/// The failure result of GetFileSize (valid also as a low half: check GetLastError).
#define INVALID_FILE_SIZE 0xFFFFFFFFu

extern "C" {
/// Opens or creates a file by the access, share mode and disposition: a
/// handle for CloseHandle, or INVALID_HANDLE_VALUE on failure. Share modes
/// hold among all handles of the process and, through open-file-description
/// locks, against other processes using this layer.
WINBASEAPI HANDLE WINAPI CreateFileW(LPCWSTR fileName, DWORD desiredAccess, DWORD shareMode,
                                     LPSECURITY_ATTRIBUTES securityAttributes, DWORD creationDisposition,
                                     DWORD flagsAndAttributes, HANDLE templateFile);

/// Reads up to the count of bytes at the file pointer (or the OVERLAPPED
/// offset), the count read going to bytesRead (0 at the end of the file);
/// FALSE on failure. A handle's file pointer is its own.
WINBASEAPI BOOL WINAPI ReadFile(HANDLE file, LPVOID buffer, DWORD bytesToRead, LPDWORD bytesRead,
                                LPOVERLAPPED overlapped);
/// Writes bytes at the file pointer (or the OVERLAPPED offset); FALSE on failure.
WINBASEAPI BOOL WINAPI WriteFile(HANDLE file, LPCVOID buffer, DWORD bytesToWrite, LPDWORD bytesWritten,
                                 LPOVERLAPPED overlapped);
/// Moves the file pointer by a 32-bit (or 64-bit with the high part) distance
/// from the move method's origin; the new low half, INVALID_SET_FILE_POINTER on failure.
WINBASEAPI DWORD WINAPI SetFilePointer(HANDLE file, LONG distanceToMove, PLONG distanceToMoveHigh,
                                       DWORD moveMethod);
/// Moves the file pointer by a 64-bit distance; FALSE on failure.
WINBASEAPI BOOL WINAPI SetFilePointerEx(HANDLE file, LARGE_INTEGER distanceToMove, PLARGE_INTEGER newFilePointer,
                                        DWORD moveMethod);
/// Makes the file pointer the end of the file; FALSE on failure.
WINBASEAPI BOOL WINAPI SetEndOfFile(HANDLE file);
/// Writes the file's buffered data to the disk; FALSE on failure.
WINBASEAPI BOOL WINAPI FlushFileBuffers(HANDLE file);

/// The low half of the file's size, the high half into fileSizeHigh if not
/// null; INVALID_FILE_SIZE on failure.
WINBASEAPI DWORD WINAPI GetFileSize(HANDLE file, LPDWORD fileSizeHigh);
/// The file's size as a 64-bit number; FALSE on failure.
WINBASEAPI BOOL WINAPI GetFileSizeEx(HANDLE file, PLARGE_INTEGER fileSize);
/// Attributes, times, size, links and index of the open file; FALSE on failure.
WINBASEAPI BOOL WINAPI GetFileInformationByHandle(HANDLE file, LPBY_HANDLE_FILE_INFORMATION information);
/// The file's creation, last access and last write times (each pointer may
/// be null); FALSE on failure.
WINBASEAPI BOOL WINAPI GetFileTime(HANDLE file, LPFILETIME creationTime, LPFILETIME lastAccessTime,
                                   LPFILETIME lastWriteTime);
/// Sets the times given (a null pointer leaves that time); FALSE on failure.
WINBASEAPI BOOL WINAPI SetFileTime(HANDLE file, const FILETIME* creationTime, const FILETIME* lastAccessTime,
                                   const FILETIME* lastWriteTime);

/// Exclusive region locks. A region another handle holds makes the call fail
/// at once with ERROR_LOCK_VIOLATION, and so do reads and writes through
/// other handles of the process that touch it. TRUE when the region is locked.
WINBASEAPI BOOL WINAPI LockFile(HANDLE file, DWORD offsetLow, DWORD offsetHigh, DWORD bytesToLockLow,
                                DWORD bytesToLockHigh);
/// Releases a region this handle locked with exactly that offset and length;
/// FALSE (ERROR_NOT_LOCKED) when there is none.
WINBASEAPI BOOL WINAPI UnlockFile(HANDLE file, DWORD offsetLow, DWORD offsetHigh, DWORD bytesToUnlockLow,
                                  DWORD bytesToUnlockHigh);

/// A file's attributes by name; INVALID_FILE_ATTRIBUTES on failure.
WINBASEAPI DWORD WINAPI GetFileAttributesW(LPCWSTR fileName);
/// Sets a file's attributes; FALSE on failure.
WINBASEAPI BOOL WINAPI SetFileAttributesW(LPCWSTR fileName, DWORD fileAttributes);
/// Deletes a file; FALSE on failure.
WINBASEAPI BOOL WINAPI DeleteFileW(LPCWSTR fileName);
/// Renames or moves a file or directory; FALSE on failure (also when the new name exists).
WINBASEAPI BOOL WINAPI MoveFileW(LPCWSTR existingFileName, LPCWSTR newFileName);
/// Copies a file, replacing an existing target unless failIfExists; FALSE on failure.
WINBASEAPI BOOL WINAPI CopyFileW(LPCWSTR existingFileName, LPCWSTR newFileName, BOOL failIfExists);

/// Creates one directory; FALSE on failure (ERROR_ALREADY_EXISTS when it exists).
WINBASEAPI BOOL WINAPI CreateDirectoryW(LPCWSTR pathName, LPSECURITY_ATTRIBUTES securityAttributes);
/// Removes an empty directory; FALSE on failure.
WINBASEAPI BOOL WINAPI RemoveDirectoryW(LPCWSTR pathName);
/// Copies the current directory into the buffer: the characters written
/// without the terminator, or the size needed with it when the buffer is too small; 0 on failure.
WINBASEAPI DWORD WINAPI GetCurrentDirectoryW(DWORD bufferLength, LPWSTR buffer);
/// Changes the process's current directory; FALSE on failure.
WINBASEAPI BOOL WINAPI SetCurrentDirectoryW(LPCWSTR pathName);
/// The absolute form of a path, with filePart (if not null) at its last
/// component: the length written, or the size needed when the buffer is too small; 0 on failure.
WINBASEAPI DWORD WINAPI GetFullPathNameW(LPCWSTR fileName, DWORD bufferLength, LPWSTR buffer, LPWSTR* filePart);
/// The short form of an existing path (the path itself here), as
/// GetFullPathNameW counts; 0 on failure.
WINBASEAPI DWORD WINAPI GetShortPathNameW(LPCWSTR longPath, LPWSTR shortPath, DWORD bufferLength);
/// The cluster and sector geometry of a volume and its free and total
/// clusters; FALSE on failure.
WINBASEAPI BOOL WINAPI GetDiskFreeSpaceW(LPCWSTR rootPathName, LPDWORD sectorsPerCluster, LPDWORD bytesPerSector,
                                         LPDWORD numberOfFreeClusters, LPDWORD totalNumberOfClusters);
/// The free bytes for the caller, total bytes and all free bytes of a volume
/// (each pointer may be null); FALSE on failure.
WINBASEAPI BOOL WINAPI GetDiskFreeSpaceExW(LPCWSTR directoryName, PULARGE_INTEGER freeBytesAvailableToCaller,
                                           PULARGE_INTEGER totalNumberOfBytes, PULARGE_INTEGER totalNumberOfFreeBytes);

/// Starts a directory search with Win32 wildcards (case-insensitive * and ?,
/// and *.* for every name, "." and ".." first): the first match and a search
/// handle for FindClose, or INVALID_HANDLE_VALUE (ERROR_FILE_NOT_FOUND when
/// nothing matched).
WINBASEAPI HANDLE WINAPI FindFirstFileW(LPCWSTR fileName, LPWIN32_FIND_DATAW findFileData);
/// The next match of the search; FALSE with ERROR_NO_MORE_FILES at the end.
WINBASEAPI BOOL WINAPI FindNextFileW(HANDLE findFile, LPWIN32_FIND_DATAW findFileData);
/// Ends a search and frees its handle; FALSE for a handle that is no search.
WINBASEAPI BOOL WINAPI FindClose(HANDLE findFile);
}

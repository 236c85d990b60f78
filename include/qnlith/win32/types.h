/// @file
/// Win32 integer, text and handle types. Win32 is LLP64: long is 32 bits
/// there, so every LONG and DWORD here is a fixed 32-bit type.
#pragma once

#include <cstddef>
#include <cstdint>
#include <qnlith/win32/api.h>

/// The fixed-size integers of Win32 (LLP64: LONG and DWORD are 32 bits, the
/// _PTR types as wide as a pointer), and the result, locale, language and colour codes.
///@{
typedef int BOOL;
typedef unsigned char BYTE;
typedef unsigned char UCHAR;
typedef char CHAR;
typedef std::uint16_t WORD;
typedef std::uint16_t USHORT;
typedef std::int16_t SHORT;
typedef std::uint32_t DWORD;
typedef std::uint32_t ULONG;
typedef std::int32_t LONG;
typedef std::int32_t INT;
typedef std::uint32_t UINT;
typedef std::int64_t LONGLONG;
typedef std::uint64_t ULONGLONG;
typedef std::uint64_t DWORD64;
typedef std::int64_t INT_PTR;
typedef std::uint64_t UINT_PTR;
typedef std::int64_t LONG_PTR;
typedef std::uint64_t ULONG_PTR;
typedef ULONG_PTR DWORD_PTR;
typedef ULONG_PTR SIZE_T;
typedef LONG_PTR SSIZE_T;
typedef LONG HRESULT;
typedef DWORD LCID;
typedef WORD LANGID;
typedef DWORD COLORREF;
///@}

/// Pointers to the integer types and to untyped memory, in their P and LP spellings.
///@{
typedef void VOID;
typedef void* PVOID;
typedef void* LPVOID;
typedef const void* LPCVOID;
typedef BOOL* PBOOL;
typedef BOOL* LPBOOL;
typedef BYTE* PBYTE;
typedef BYTE* LPBYTE;
typedef WORD* PWORD;
typedef WORD* LPWORD;
typedef DWORD* PDWORD;
typedef DWORD* LPDWORD;
typedef LONG* PLONG;
typedef LONG* LPLONG;
typedef UINT* PUINT;
typedef ULONG* PULONG;
///@}

/// Wide (wchar_t, UTF-32 here) and narrow (UTF-8 here) characters and
/// zero-terminated texts; a BSTR is an automation string from SysAllocString.
///@{
typedef wchar_t WCHAR;
typedef WCHAR* PWSTR;
typedef WCHAR* LPWSTR;
typedef const WCHAR* PCWSTR;
typedef const WCHAR* LPCWSTR;
typedef CHAR* PSTR;
typedef CHAR* LPSTR;
typedef const CHAR* PCSTR;
typedef const CHAR* LPCSTR;
typedef WCHAR* BSTR;
typedef WCHAR OLECHAR;
typedef const OLECHAR* LPCOLESTR;
///@}

/// The parameters and result of a window message, as wide as a pointer.
///@{
typedef UINT_PTR WPARAM;
typedef LONG_PTR LPARAM;
typedef LONG_PTR LRESULT;
///@}

/// An object handle of the layer, closed by the call its creator names
/// (CloseHandle for kernel objects, LocalFree for local memory); the
/// distinct handle types below do not convert into one another.
///@{
typedef void* HANDLE;
typedef HANDLE* PHANDLE;
typedef HANDLE* LPHANDLE;
typedef HANDLE HLOCAL;
typedef HANDLE HGLOBAL;

/// Distinct pointer types, so that one kind of handle does not pass for another.
#define QN_DECLARE_HANDLE(name) \
  struct name##__ { int unused; }; \
  typedef struct name##__* name
QN_DECLARE_HANDLE(HINSTANCE);
QN_DECLARE_HANDLE(HWND);
QN_DECLARE_HANDLE(HDC);
QN_DECLARE_HANDLE(HICON);
QN_DECLARE_HANDLE(HBITMAP);
QN_DECLARE_HANDLE(HKEY);
QN_DECLARE_HANDLE(HRSRC);
QN_DECLARE_HANDLE(HMENU);
typedef HINSTANCE HMODULE;
typedef HICON HCURSOR;
typedef HKEY* PHKEY;
///@}

/// The two BOOL values, the const qualifier, the invalid handle (-1), the
/// endless time-out, and the classic path limit of 260 characters with terminator.
///@{
#define TRUE 1
#define FALSE 0
#ifndef CONST
#define CONST const
#endif

#define INVALID_HANDLE_VALUE (reinterpret_cast<HANDLE>(static_cast<LONG_PTR>(-1)))
#define INFINITE 0xFFFFFFFFu
#define MAX_PATH 260
///@}

/// A 16-bit word from two bytes or a 32-bit value from two words (low first),
/// and the low or high word or byte of a value.
///@{
#define MAKEWORD(a, b) (static_cast<WORD>((static_cast<BYTE>(a)) | (static_cast<WORD>(static_cast<BYTE>(b)) << 8)))
#define MAKELONG(a, b) (static_cast<LONG>((static_cast<WORD>(a)) | (static_cast<DWORD>(static_cast<WORD>(b)) << 16)))
#define LOWORD(l) (static_cast<WORD>(static_cast<DWORD_PTR>(l) & 0xFFFF))
#define HIWORD(l) (static_cast<WORD>((static_cast<DWORD_PTR>(l) >> 16) & 0xFFFF))
#define LOBYTE(w) (static_cast<BYTE>(static_cast<DWORD_PTR>(w) & 0xFF))
#define HIBYTE(w) (static_cast<BYTE>((static_cast<DWORD_PTR>(w) >> 8) & 0xFF))
///@}

/// A language id from a primary language and a sublanguage (10 bits and 6
/// bits), its two parts, and the primary languages and sublanguages used here.
///@{
#define MAKELANGID(p, s) (static_cast<WORD>((static_cast<WORD>(s) << 10) | static_cast<WORD>(p)))
#define PRIMARYLANGID(lgid) (static_cast<WORD>(lgid) & 0x3FF)
#define SUBLANGID(lgid) (static_cast<WORD>(lgid) >> 10)
#define LANG_NEUTRAL 0x00
#define LANG_ENGLISH 0x09
#define SUBLANG_NEUTRAL 0x00
#define SUBLANG_DEFAULT 0x01
#define SUBLANG_SYS_DEFAULT 0x02
#define SUBLANG_ENGLISH_US 0x01
///@}

/// Tests of an HRESULT (negative: failure), the common codes, and the
/// HRESULT of a Win32 error code (facility 7).
///@{
#define SUCCEEDED(hr) (static_cast<HRESULT>(hr) >= 0)
#define FAILED(hr) (static_cast<HRESULT>(hr) < 0)
#define S_OK (static_cast<HRESULT>(0))
#define S_FALSE (static_cast<HRESULT>(1))
#define E_OUTOFMEMORY (static_cast<HRESULT>(0x8007000E))
#define E_INVALIDARG (static_cast<HRESULT>(0x80070057))
#define E_FAIL (static_cast<HRESULT>(0x80004005))
#define E_NOTIMPL (static_cast<HRESULT>(0x80004001))
#define E_POINTER (static_cast<HRESULT>(0x80004003))
#define HRESULT_FROM_WIN32(x) \
  (static_cast<HRESULT>(x) <= 0 ? static_cast<HRESULT>(x) \
                                : static_cast<HRESULT>((static_cast<DWORD>(x) & 0x0000FFFF) | (7u << 16) | 0x80000000u))
                                ///@}

/// Taken by the calls that create files, threads and synchronisation objects.
/// Only bInheritHandle has a meaning here, and only for files.
typedef struct _SECURITY_ATTRIBUTES {
  /// The size of the structure in bytes.
  DWORD nLength;
  /// Ignored.
  LPVOID lpSecurityDescriptor;
  /// Whether a child process inherits the handle.
  BOOL bInheritHandle;
} SECURITY_ATTRIBUTES, *PSECURITY_ATTRIBUTES, *LPSECURITY_ATTRIBUTES;

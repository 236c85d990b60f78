/// @file
/// Version resources of module files.
#pragma once

#include <qnlith/win32/types.h>

/// The signature and structure version of a VS_FIXEDFILEINFO.
///@{
#define VS_FFI_SIGNATURE 0xFEEF04BDu
#define VS_FFI_STRUCVERSION 0x00010000u
///@}
/// File flags of the fixed record: debug, pre-release, patched, private
/// build, inferred record, special build.
///@{
#define VS_FF_DEBUG 0x00000001u
#define VS_FF_PRERELEASE 0x00000002u
#define VS_FF_PATCHED 0x00000004u
#define VS_FF_PRIVATEBUILD 0x00000008u
#define VS_FF_INFOINFERRED 0x00000010u
#define VS_FF_SPECIALBUILD 0x00000020u
///@}

/// The fixed part of a version resource: versions, flags, system and type.
typedef struct tagVS_FIXEDFILEINFO {
  /// VS_FFI_SIGNATURE.
  DWORD dwSignature;
  /// The record's version.
  DWORD dwStrucVersion;
  /// The file version, most and least significant 32 bits.
  ///@{
  DWORD dwFileVersionMS;
  DWORD dwFileVersionLS;
  ///@}
  /// The product version, most and least significant 32 bits.
  ///@{
  DWORD dwProductVersionMS;
  DWORD dwProductVersionLS;
  ///@}
  /// Which bits of dwFileFlags are valid.
  DWORD dwFileFlagsMask;
  /// The VS_FF_ flags.
  DWORD dwFileFlags;
  /// The system the file was built for.
  DWORD dwFileOS;
  /// The kind of file (application, library, driver, ...) and its subtype.
  ///@{
  DWORD dwFileType;
  DWORD dwFileSubtype;
  ///@}
  /// The file's date, most and least significant 32 bits (usually 0).
  ///@{
  DWORD dwFileDateMS;
  DWORD dwFileDateLS;
  ///@}
} VS_FIXEDFILEINFO;

extern "C" {
/// The size of the block GetFileVersionInfoW fills for the file: an ELF
/// module with resources, a PE image or a .res file. 0 with
/// ERROR_RESOURCE_TYPE_NOT_FOUND when the file has no version resource,
/// ERROR_FILE_NOT_FOUND when there is no file, ERROR_INVALID_DATA when the
/// resource is malformed. `handle` is set to 0.
WINBASEAPI DWORD WINAPI GetFileVersionInfoSizeW(LPCWSTR fileName, LPDWORD handle);
/// Copies the version resource into `data`, followed by the wide forms of
/// its strings that VerQueryValueW hands out. FALSE, with the failures of
/// GetFileVersionInfoSizeW, or ERROR_INSUFFICIENT_BUFFER when length is too small.
WINBASEAPI BOOL WINAPI GetFileVersionInfoW(LPCWSTR fileName, DWORD handle, DWORD length, LPVOID data);
/// A pointer into the caller's block and a length for one item: a single
/// backslash gives the VS_FIXEDFILEINFO, \\VarFileInfo\\Translation the
/// table of language and code-page pairs, \\StringFileInfo\\ followed by the
/// language, code page and key a
/// string (length in characters, with the terminator). Keys compare without
/// regard to case. FALSE for a missing item or malformed data.
WINBASEAPI BOOL WINAPI VerQueryValueW(LPCVOID block, LPCWSTR subBlock, LPVOID* buffer, PUINT length);
}

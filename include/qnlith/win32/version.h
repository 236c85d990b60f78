// Version resources of module files.
#pragma once

#include <qnlith/win32/types.h>

#define VS_FFI_SIGNATURE 0xFEEF04BDu
#define VS_FFI_STRUCVERSION 0x00010000u
#define VS_FF_DEBUG 0x00000001u
#define VS_FF_PRERELEASE 0x00000002u
#define VS_FF_PATCHED 0x00000004u
#define VS_FF_PRIVATEBUILD 0x00000008u
#define VS_FF_INFOINFERRED 0x00000010u
#define VS_FF_SPECIALBUILD 0x00000020u

typedef struct tagVS_FIXEDFILEINFO {
  DWORD dwSignature;
  DWORD dwStrucVersion;
  DWORD dwFileVersionMS;
  DWORD dwFileVersionLS;
  DWORD dwProductVersionMS;
  DWORD dwProductVersionLS;
  DWORD dwFileFlagsMask;
  DWORD dwFileFlags;
  DWORD dwFileOS;
  DWORD dwFileType;
  DWORD dwFileSubtype;
  DWORD dwFileDateMS;
  DWORD dwFileDateLS;
} VS_FIXEDFILEINFO;

extern "C" {
// The size of the block GetFileVersionInfoW fills for the file: an ELF
// module with resources, a PE image or a .res file. 0 with
// ERROR_RESOURCE_TYPE_NOT_FOUND when the file has no version resource,
// ERROR_FILE_NOT_FOUND when there is no file, ERROR_INVALID_DATA when the
// resource is malformed. `handle` is set to 0.
WINBASEAPI DWORD WINAPI GetFileVersionInfoSizeW(LPCWSTR fileName, LPDWORD handle);
// Copies the version resource into `data`, followed by the wide forms of
// its strings that VerQueryValueW hands out.
WINBASEAPI BOOL WINAPI GetFileVersionInfoW(LPCWSTR fileName, DWORD handle, DWORD length, LPVOID data);
// "\" gives the VS_FIXEDFILEINFO, "\VarFileInfo\Translation" the table of
// language and code-page pairs, "\StringFileInfo\<lang><cp>\<key>" a
// string (length in characters, with the terminator). Keys compare without
// regard to case. FALSE for a missing item or malformed data.
WINBASEAPI BOOL WINAPI VerQueryValueW(LPCVOID block, LPCWSTR subBlock, LPVOID* buffer, PUINT length);
}

/// @file
/// Loadable modules. An HMODULE is the address at which a module starts: for
/// an ELF module in the process the address of its ELF header, for a file
/// opened for its resources only the address of its mapping with the low bit
/// 1 (LOAD_LIBRARY_AS_DATAFILE) or 2 (LOAD_LIBRARY_AS_IMAGE_RESOURCE) set.
/// Module names: a backslash is a path separator; a name whose last part has
/// no extension gets ".so" appended, and a trailing "." means "no
/// extension". See docs/modules.md for the search order.
#pragma once

#include <qnlith/win32/types.h>

/// The address of an exported function, to be cast to its real type.
typedef INT_PTR(WINAPI* FARPROC)();

/// Flags of LoadLibraryExW; the search-path flags are accepted and the
/// normal search applies.
///@{
#define DONT_RESOLVE_DLL_REFERENCES 0x00000001
#define LOAD_LIBRARY_AS_DATAFILE 0x00000002
#define LOAD_WITH_ALTERED_SEARCH_PATH 0x00000008
#define LOAD_IGNORE_CODE_AUTHZ_LEVEL 0x00000010
#define LOAD_LIBRARY_AS_IMAGE_RESOURCE 0x00000020
#define LOAD_LIBRARY_AS_DATAFILE_EXCLUSIVE 0x00000040
#define LOAD_LIBRARY_REQUIRE_SIGNED_TARGET 0x00000080
#define LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR 0x00000100
#define LOAD_LIBRARY_SEARCH_APPLICATION_DIR 0x00000200
#define LOAD_LIBRARY_SEARCH_USER_DIRS 0x00000400
#define LOAD_LIBRARY_SEARCH_SYSTEM32 0x00000800
#define LOAD_LIBRARY_SEARCH_DEFAULT_DIRS 0x00001000
///@}

/// Whether a module handle stands for a file opened as data, as an image
/// resource, or either.
///@{
#define LDR_IS_DATAFILE(handle) ((reinterpret_cast<ULONG_PTR>(handle) & static_cast<ULONG_PTR>(1)) != 0)
#define LDR_IS_IMAGEMAPPING(handle) ((reinterpret_cast<ULONG_PTR>(handle) & static_cast<ULONG_PTR>(2)) != 0)
#define LDR_IS_RESOURCE(handle) (LDR_IS_IMAGEMAPPING(handle) || LDR_IS_DATAFILE(handle))
///@}

/// Flags of GetModuleHandleExW: keep the module for good, don't add a
/// reference, take the name as an address inside the module.
///@{
#define GET_MODULE_HANDLE_EX_FLAG_PIN 0x00000001
#define GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT 0x00000002
#define GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS 0x00000004
///@}

/// Error-mode flags of SetErrorMode.
///@{
#define SEM_FAILCRITICALERRORS 0x0001
#define SEM_NOGPFAULTERRORBOX 0x0002
#define SEM_NOALIGNMENTFAULTEXCEPT 0x0004
#define SEM_NOOPENFILEERRORBOX 0x8000
///@}

/// An export by ordinal of an ELF module. ELF has no ordinals; a module that
/// wants them lists them once, as a module-definition file would:
///
///   QN_EXPORT_ORDINALS({1, QN_ORDINAL_PROC(add)}, {2, QN_ORDINAL_PROC(scale)})
///
/// which defines the exported table `QnOrdinalExports`. GetProcAddress with
/// an ordinal reads that table of the module itself; a module without one
/// has no ordinals (ERROR_PROC_NOT_FOUND).
struct QN_ORDINAL_EXPORT {
  /// The ordinal number.
  WORD ordinal;
  /// The function.
  FARPROC address;
};
/// A function as a table entry's address.
#define QN_ORDINAL_PROC(function) reinterpret_cast<FARPROC>(reinterpret_cast<void (*)()>(&function))
/// Defines the module's table of ordinal exports from the entries given.
#define QN_EXPORT_ORDINALS(...)                                                             \
  extern "C" QN_PLATFORM_API const QN_ORDINAL_EXPORT QnOrdinalExports[];                  \
  extern "C" const QN_ORDINAL_EXPORT QnOrdinalExports[] = {__VA_ARGS__, {0, nullptr}};

extern "C" {
/// Loads an ELF shared object and returns its handle, or null on failure; the dynamic linker's reference counts follow
/// LoadLibrary and FreeLibrary calls one for one. ERROR_MOD_NOT_FOUND for a
/// module that can't be found (or a dependency of it), ERROR_BAD_EXE_FORMAT
/// for a file that is no ELF module of this machine, ERROR_PROC_NOT_FOUND for
/// a symbol the module needs and nobody defines.
WINBASEAPI HMODULE WINAPI LoadLibraryW(LPCWSTR fileName);
/// `file` must be null. With LOAD_LIBRARY_AS_DATAFILE(_EXCLUSIVE) or
/// LOAD_LIBRARY_AS_IMAGE_RESOURCE a PE image, a .res file or an ELF file is
/// mapped for its resources; its code never runs. Null on failure, as LoadLibraryW.
WINBASEAPI HMODULE WINAPI LoadLibraryExW(LPCWSTR fileName, HANDLE file, DWORD flags);
/// Gives back one reference of LoadLibraryW or LoadLibraryExW, unloading the
/// module at the last; FALSE for a handle that is no loaded module.
WINBASEAPI BOOL WINAPI FreeLibrary(HMODULE module);

/// The handle of a module already in the process, by name; null (the name)
/// gives the main program, a missing module null with ERROR_MOD_NOT_FOUND.
/// Does not add a reference.
WINBASEAPI HMODULE WINAPI GetModuleHandleW(LPCWSTR moduleName);
/// The module of a name (or, with GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, of an
/// address) into *module, with a reference unless the flags say otherwise;
/// FALSE with ERROR_MOD_NOT_FOUND when there is none.
WINBASEAPI BOOL WINAPI GetModuleHandleExW(DWORD flags, LPCWSTR moduleName, HMODULE* module);

/// The full path; cut to size - 1 characters and terminated when it does not
/// fit, returning `size` with ERROR_INSUFFICIENT_BUFFER. Fails (0,
/// ERROR_MOD_NOT_FOUND) for files opened as data.
WINBASEAPI DWORD WINAPI GetModuleFileNameW(HMODULE module, LPWSTR fileName, DWORD size);

/// By name, or by ordinal when the high bits of `procName` are zero. Only
/// the module's own definitions are found, not those of its dependencies.
/// Null with ERROR_PROC_NOT_FOUND when there is none.
WINBASEAPI FARPROC WINAPI GetProcAddress(HMODULE module, LPCSTR procName);

/// Sets the process's error mode and returns the previous one.
/// Process-wide. No system dialog exists to suppress here; the mode is kept
/// and reported as Windows keeps it.
WINBASEAPI UINT WINAPI SetErrorMode(UINT mode);
/// The process's error mode.
WINBASEAPI UINT WINAPI GetErrorMode();
}

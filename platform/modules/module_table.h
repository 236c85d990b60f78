// The layer's module registry. An HMODULE is the address at which a module
// starts, as on Windows where it is the image base:
//  - an ELF module in the process (the main program, a library the dynamic
//    linker loaded, or one loaded by LoadLibrary): the address of its ELF
//    header in memory;
//  - a file opened for its resources only (LoadLibraryEx with
//    LOAD_LIBRARY_AS_DATAFILE or LOAD_LIBRARY_AS_IMAGE_RESOURCE, a PE
//    image, a .res file or an ELF file): the address of its read-only
//    mapping, with the low bit 1 (data file) or 2 (image resource) set;
//  - an ELF executable loaded by LoadLibrary, which the dynamic linker
//    refuses to load: the address of its read-only mapping; its code never
//    runs, its resources are there.
// Module handles are not kernel handles: CloseHandle knows nothing of them.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <tuple>
#include <unordered_map>
#include <qnlith/win32/types.h>

#include "../errors/api.h"
#include "resource_directory.h"

namespace qn {

enum class ModuleKind {
  Image,            // an ELF module in the process
  ExecutableImage,  // an ELF executable mapped for its resources
  DataFile,         // LOAD_LIBRARY_AS_DATAFILE
  ImageResource,    // LOAD_LIBRARY_AS_IMAGE_RESOURCE
};

struct Module {
  Module() = default;
  Module(const Module&) = delete;
  Module& operator=(const Module&) = delete;
  ~Module();

  HMODULE handle = nullptr;
  ModuleKind kind = ModuleKind::Image;
  std::string path;  // the full path of the file

  // Image: the dynamic linker's handle while LoadLibrary references are
  // held, one dlopen reference for each.
  void* library = nullptr;
  LONG loads = 0;
  ULONGLONG unloadsSeen = 0;  // the linker's unload count at the last check

  // Mapped files (every kind but Image).
  void* mapping = nullptr;
  std::size_t mappingSize = 0;

  ResourceDirectory resources;
  // 0 when `resources` could be read; ERROR_RESOURCE_DATA_NOT_FOUND when the
  // module has none; ERROR_BAD_EXE_FORMAT when they are malformed.
  DWORD resourceError = 0;

  // Converted texts of string resources handed out by LoadStringW with a
  // buffer size of 0; they live as long as the record.
  std::mutex stringsLock;
  std::unordered_map<UINT, std::wstring> strings;

  // Images loaded with LR_SHARED, one for each name, type and size; they
  // are destroyed with the record, when the module leaves the process.
  using SharedImageKey = std::tuple<bool, WORD, std::wstring, UINT, int, int>;
  std::mutex imagesLock;
  std::map<SharedImageKey, HANDLE> sharedImages;

  bool isData() const { return kind == ModuleKind::DataFile || kind == ModuleKind::ImageResource; }
};

// The module a handle names, null for the main program. Null with the last
// error ERROR_MOD_NOT_FOUND when the handle names no module.
QN_INTERNAL std::shared_ptr<Module> findModule(HMODULE handle);

// The module's resources, or null with the reason in the last error.
QN_INTERNAL const ResourceDirectory* moduleResources(const Module& module);

}  // namespace qn

#include <qnlith/win32/modules.h>
#include <qnlith/win32/errors.h>

#include <atomic>
#include <climits>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <link.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "modules/elf_reader.h"
#include "errors/errors.h"
#include "modules/module_table.h"
#include "modules/pe_reader.h"
#include "modules/res_reader.h"
#include "sync/handles.h"
#include "text/unicode.h"

namespace qn {

namespace {

constexpr DWORD DataFlags = LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_DATAFILE_EXCLUSIVE | LOAD_LIBRARY_AS_IMAGE_RESOURCE;
constexpr DWORD KnownFlags = DONT_RESOLVE_DLL_REFERENCES | DataFlags | LOAD_WITH_ALTERED_SEARCH_PATH |
                             LOAD_IGNORE_CODE_AUTHZ_LEVEL | LOAD_LIBRARY_REQUIRE_SIGNED_TARGET |
                             LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | LOAD_LIBRARY_SEARCH_APPLICATION_DIR |
                             LOAD_LIBRARY_SEARCH_USER_DIRS | LOAD_LIBRARY_SEARCH_SYSTEM32 |
                             LOAD_LIBRARY_SEARCH_DEFAULT_DIRS;

std::atomic<UINT> errorMode{0};

// ---- files ----

bool isFile(const std::string& path) {
  struct stat s;
  return ::stat(path.c_str(), &s) == 0 && S_ISREG(s.st_mode);
}

std::string fullPath(const std::string& path) {
  char resolved[PATH_MAX];
  return ::realpath(path.c_str(), resolved) ? std::string(resolved) : path;
}

// The path made absolute against the working directory, "." and ".." parts
// settled by name; links stay as they are, so the base name is the caller's.
std::string absolutePath(const std::string& path) {
  std::string joined = path;
  if (path.empty() || path[0] != '/') {
    char here[PATH_MAX];
    if (::getcwd(here, sizeof here) == nullptr) return path;
    joined = std::string(here) + "/" + path;
  }
  std::vector<std::string> parts;
  std::size_t start = 0;
  while (start <= joined.size()) {
    std::size_t end = joined.find('/', start);
    if (end == std::string::npos) end = joined.size();
    const std::string part = joined.substr(start, end - start);
    if (part == "..") {
      if (!parts.empty()) parts.pop_back();
    } else if (!part.empty() && part != ".") {
      parts.push_back(part);
    }
    start = end + 1;
  }
  std::string result;
  for (const auto& part : parts) result += "/" + part;
  return result.empty() ? std::string("/") : result;
}

std::string directoryOf(const std::string& path) {
  const auto slash = path.rfind('/');
  return slash == std::string::npos ? std::string(".") : path.substr(0, slash == 0 ? 1 : slash);
}

std::string baseName(const std::string& path) {
  const auto slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string mainProgramPath() {
  static const std::string path = [] {
    char buffer[PATH_MAX];
    const ssize_t n = ::readlink("/proc/self/exe", buffer, sizeof buffer - 1);
    return n > 0 ? std::string(buffer, static_cast<std::size_t>(n)) : std::string();
  }();
  return path;
}

// Maps a whole file read-only; the error is a Win32 number.
bool mapFile(const std::string& path, void*& mapping, std::size_t& size, DWORD& error) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    error = errno == ENOENT || errno == ENOTDIR ? static_cast<DWORD>(ERROR_MOD_NOT_FOUND) : win32ErrorFromErrno(errno);
    return false;
  }
  struct stat s;
  if (::fstat(fd, &s) != 0) {
    error = win32ErrorFromErrno(errno);
    ::close(fd);
    return false;
  }
  if (!S_ISREG(s.st_mode) || s.st_size == 0) {
    error = S_ISDIR(s.st_mode) ? static_cast<DWORD>(ERROR_ACCESS_DENIED) : static_cast<DWORD>(ERROR_BAD_EXE_FORMAT);
    ::close(fd);
    return false;
  }
  size = static_cast<std::size_t>(s.st_size);
  mapping = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, fd, 0);
  const int mapError = errno;
  ::close(fd);
  if (mapping == MAP_FAILED) {
    mapping = nullptr;
    error = win32ErrorFromErrno(mapError);
    return false;
  }
  return true;
}

// ---- names ----

// The native forms a module name stands for: backslashes become slashes; a
// name whose last part has no extension is tried with ".so" and then as it
// is; a trailing dot means "exactly this name".
std::vector<std::string> nativeNames(LPCWSTR name) {
  std::string text = wideToUtf8(name);
  for (char& c : text)
    if (c == '\\') c = '/';
  const std::string last = baseName(text);
  if (!last.empty() && last.back() == '.' && last != "." && last != "..") {
    text.pop_back();
    return {text};
  }
  if (last.find('.') == std::string::npos) return {text + ".so", text};
  return {text};
}

bool hasDirectory(const std::string& name) { return name.find('/') != std::string::npos; }

// A bare module name matches a file of that name, or a versioned shared
// object behind it ("libx.so" matches "libx.so.5").
bool nameMatches(const std::string& file, const std::string& name) {
  if (file == name) return true;
  if (file.size() <= name.size() + 1 || file.compare(0, name.size(), name) != 0 || file[name.size()] != '.')
    return false;
  if (name.size() < 3 || name.compare(name.size() - 3, 3, ".so") != 0) return false;
  return file.find_first_not_of("0123456789.", name.size()) == std::string::npos;
}

// ---- ELF objects in the process ----

struct LoadedObject {
  std::uintptr_t base = 0;
  std::string path;  // as the dynamic linker names it; the main program's from /proc
  ElfW(Addr) bias = 0;
  const ElfW(Phdr)* headers = nullptr;
  ElfW(Half) headerCount = 0;
  bool isMain = false;
};

std::uintptr_t baseOf(const dl_phdr_info& info) {
  static const std::uintptr_t page = static_cast<std::uintptr_t>(::sysconf(_SC_PAGESIZE));
  for (ElfW(Half) i = 0; i < info.dlpi_phnum; ++i)
    if (info.dlpi_phdr[i].p_type == PT_LOAD)
      return info.dlpi_addr + (info.dlpi_phdr[i].p_vaddr & ~(page - 1));
  return info.dlpi_addr;
}

// The absolute paths of objects the dynamic linker names relatively (found
// through a relative search path), taken while the working directory was
// still the one they were found from.
struct RelativeNames {
  std::mutex lock;
  std::unordered_map<std::string, std::string> absolute;
};

RelativeNames& relativeNames() {
  static RelativeNames* instance = new RelativeNames;
  return *instance;
}

std::vector<LoadedObject> loadedObjects();

// Notes the absolute path of every relatively named object; called right
// after the linker loaded something, before the directory can change.
void noteRelativeNames() {
  std::vector<std::string> relative;
  ::dl_iterate_phdr(
      [](dl_phdr_info* info, std::size_t, void* data) {
        if (info->dlpi_name != nullptr && info->dlpi_name[0] != '\0' && info->dlpi_name[0] != '/' &&
            std::strchr(info->dlpi_name, '/') != nullptr)
          static_cast<std::vector<std::string>*>(data)->push_back(info->dlpi_name);
        return 0;
      },
      &relative);
  auto& names = relativeNames();
  std::lock_guard guard(names.lock);
  for (const auto& name : relative) names.absolute[name] = absolutePath(name);
}

std::string objectPath(const std::string& linkerName) {
  if (linkerName.empty() || linkerName[0] == '/') return linkerName;
  auto& names = relativeNames();
  std::lock_guard guard(names.lock);
  const auto it = names.absolute.find(linkerName);
  return it != names.absolute.end() ? it->second : absolutePath(linkerName);
}

std::vector<LoadedObject> loadedObjects() {
  std::vector<LoadedObject> objects;
  ::dl_iterate_phdr(
      [](dl_phdr_info* info, std::size_t, void* data) {
        auto& out = *static_cast<std::vector<LoadedObject>*>(data);
        LoadedObject o;
        o.base = baseOf(*info);
        o.isMain = out.empty();
        o.path = o.isMain ? mainProgramPath() : std::string(info->dlpi_name ? info->dlpi_name : "");
        o.bias = info->dlpi_addr;
        o.headers = info->dlpi_phdr;
        o.headerCount = info->dlpi_phnum;
        // The kernel's vDSO has no file behind it.
        if (o.isMain || o.path.find('/') != std::string::npos) out.push_back(std::move(o));
        return 0;
      },
      &objects);
  for (auto& o : objects) o.path = objectPath(o.path);
  return objects;
}

ULONGLONG unloadCount() {
  ULONGLONG subs = 0;
  ::dl_iterate_phdr(
      [](dl_phdr_info* info, std::size_t size, void* data) {
        if (size >= offsetof(dl_phdr_info, dlpi_subs) + sizeof info->dlpi_subs)
          *static_cast<ULONGLONG*>(data) = info->dlpi_subs;
        return 1;
      },
      &subs);
  return subs;
}

bool objectAt(std::uintptr_t base, LoadedObject& found) {
  for (auto& o : loadedObjects())
    if (o.base == base) {
      found = std::move(o);
      return true;
    }
  return false;
}

HMODULE handleOf(std::uintptr_t address) { return reinterpret_cast<HMODULE>(address); }
std::uintptr_t addressOf(HMODULE module) { return reinterpret_cast<std::uintptr_t>(module); }

void readImageResources(Module& module, const LoadedObject& object) {
  bool any = false, wellFormed = true;
  for (ElfW(Half) i = 0; i < object.headerCount && wellFormed; ++i) {
    const ElfW(Phdr)& h = object.headers[i];
    if (h.p_type != PT_NOTE) continue;
    const Bytes notes(reinterpret_cast<const void*>(object.bias + h.p_vaddr), h.p_memsz);
    wellFormed = forEachResourceNote(notes, h.p_align, [&](Bytes res) {
      any = true;
      return readResFile(res, module.resources);
    });
  }
  module.resources.finish();
  module.resourceError = !wellFormed ? ERROR_BAD_EXE_FORMAT : !any ? ERROR_RESOURCE_DATA_NOT_FOUND : 0;
}

// ---- the registry ----

struct Registry {
  std::mutex lock;
  std::unordered_map<std::uintptr_t, std::shared_ptr<Module>> modules;
};

Registry& registry() {
  static Registry* instance = new Registry;  // outlives static destructors that may free modules
  return *instance;
}

std::shared_ptr<Module> newImageRecord(const LoadedObject& object) {
  auto module = std::make_shared<Module>();
  module->handle = handleOf(object.base);
  module->kind = ModuleKind::Image;
  module->path = fullPath(object.path);
  module->unloadsSeen = unloadCount();
  readImageResources(*module, object);
  return module;
}

// Drops records of images that have left the process. Lock held.
void forgetUnloaded(Registry& r) {
  const ULONGLONG unloads = unloadCount();
  std::vector<LoadedObject> objects;
  bool listed = false;
  for (auto it = r.modules.begin(); it != r.modules.end();) {
    Module& m = *it->second;
    if (m.kind != ModuleKind::Image || m.loads > 0 || m.unloadsSeen == unloads) {
      ++it;
      continue;
    }
    if (!listed) {
      objects = loadedObjects();
      listed = true;
    }
    bool present = false;
    for (const auto& o : objects)
      if (o.base == it->first && fullPath(o.path) == m.path) present = true;
    if (present) {
      m.unloadsSeen = unloads;
      ++it;
    } else {
      it = r.modules.erase(it);
    }
  }
}

// The record of an image in the process, made on first use. Lock held.
std::shared_ptr<Module> imageRecord(Registry& r, const LoadedObject& object) {
  auto& slot = r.modules[object.base];
  if (slot == nullptr || slot->kind != ModuleKind::Image) slot = newImageRecord(object);
  return slot;
}

std::uintptr_t mainProgramBase() {
  static const std::uintptr_t base = [] {
    auto objects = loadedObjects();
    return objects.empty() ? std::uintptr_t{0} : objects.front().base;
  }();
  return base;
}

// A loaded ELF object whose file matches one of the names.
bool findLoadedByName(const std::vector<std::string>& names, LoadedObject& found) {
  const auto objects = loadedObjects();
  for (const auto& name : names) {
    if (hasDirectory(name)) {
      const std::string wanted = fullPath(name);
      for (const auto& o : objects)
        if (fullPath(o.path) == wanted) {
          found = o;
          return true;
        }
    } else {
      for (const auto& o : objects)
        if (nameMatches(baseName(o.path), name)) {
          found = o;
          return true;
        }
    }
  }
  return false;
}

// Why the dynamic linker refused a module, in Win32 terms.
DWORD loaderError(const char* message) {
  const std::string text = message ? message : "";
  if (text.find("undefined symbol") != std::string::npos) return ERROR_PROC_NOT_FOUND;
  if (text.find("cannot open shared object file") != std::string::npos) return ERROR_MOD_NOT_FOUND;
  if (text.find("ELF") != std::string::npos || text.find("file too short") != std::string::npos ||
      text.find("executable") != std::string::npos || text.find("not a dynamic") != std::string::npos)
    return ERROR_BAD_EXE_FORMAT;
  return ERROR_DLL_INIT_FAILED;
}

// The first bytes of a file, to tell its format before the linker sees it.
Bytes fileStart(const std::string& path, BYTE (&buffer)[64]) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return {};
  const ssize_t n = ::read(fd, buffer, sizeof buffer);
  ::close(fd);
  return n > 0 ? Bytes(buffer, static_cast<std::size_t>(n)) : Bytes();
}

HMODULE fail(DWORD error) {
  SetLastError(error);
  return nullptr;
}

// A file mapped for its resources. Lock not held.
std::shared_ptr<Module> mapResourceFile(const std::string& path, ModuleKind kind, DWORD& error) {
  auto module = std::make_shared<Module>();
  module->kind = kind;
  module->path = fullPath(path);
  if (!mapFile(path, module->mapping, module->mappingSize, error)) return nullptr;
  const Bytes file(module->mapping, module->mappingSize);
  bool wellFormed = true;
  module->resourceError = 0;
  if (isElfFile(file)) {
    const auto result = readElfFileResources(file, module->resources);
    wellFormed = result != ElfResult::Malformed;
    if (result == ElfResult::NoResources) module->resourceError = ERROR_RESOURCE_DATA_NOT_FOUND;
  } else if (isPeFile(file)) {
    const auto result = readPeResources(file, module->resources);
    wellFormed = result != PeResult::Malformed;
    if (result == PeResult::NoResources) module->resourceError = ERROR_RESOURCE_DATA_NOT_FOUND;
  } else {
    wellFormed = readResFile(file, module->resources);
  }
  if (!wellFormed) {
    error = ERROR_BAD_EXE_FORMAT;
    return nullptr;
  }
  module->resources.finish();
  auto address = reinterpret_cast<std::uintptr_t>(module->mapping);
  if (kind == ModuleKind::DataFile) address |= 1;
  if (kind == ModuleKind::ImageResource) address |= 2;
  module->handle = handleOf(address);
  module->loads = 1;
  return module;
}

HMODULE registerMapped(std::shared_ptr<Module> module) {
  auto& r = registry();
  std::lock_guard guard(r.lock);
  forgetUnloaded(r);
  // An executable loaded again by path shares its first mapping.
  if (module->kind == ModuleKind::ExecutableImage)
    for (auto& [address, m] : r.modules)
      if (m->kind == ModuleKind::ExecutableImage && m->path == module->path) {
        ++m->loads;
        return m->handle;
      }
  r.modules[addressOf(module->handle)] = module;
  return module->handle;
}

// An executable that LoadLibrary mapped, by its base name or full path;
// `hold` adds a reference.
HMODULE findMappedExecutable(const std::vector<std::string>& names, bool hold) {
  auto& r = registry();
  std::lock_guard guard(r.lock);
  for (const auto& name : names)
    for (auto& [address, m] : r.modules)
      if (m->kind == ModuleKind::ExecutableImage && m->loads > 0 &&
          (hasDirectory(name) ? m->path == fullPath(name) : nameMatches(baseName(m->path), name))) {
        if (hold) ++m->loads;
        return m->handle;
      }
  return nullptr;
}

// Where a module name leads for a data load: a loaded module of that name,
// the program's directory, the current directory.
std::string findDataFile(const std::vector<std::string>& names) {
  for (const auto& name : names)
    if (hasDirectory(name) && isFile(name)) return name;
  LoadedObject loaded;
  if (findLoadedByName(names, loaded)) return loaded.path;
  for (const auto& name : names) {
    if (hasDirectory(name)) continue;
    const std::string beside = directoryOf(mainProgramPath()) + "/" + name;
    if (isFile(beside)) return beside;
    if (isFile(name)) return name;
  }
  return {};
}

HMODULE loadDataFile(const std::vector<std::string>& names, DWORD flags) {
  const std::string path = findDataFile(names);
  if (path.empty()) return fail(ERROR_MOD_NOT_FOUND);
  DWORD error = 0;
  auto module = mapResourceFile(path, (flags & LOAD_LIBRARY_AS_IMAGE_RESOURCE) ? ModuleKind::ImageResource
                                                                                : ModuleKind::DataFile,
                                error);
  if (module == nullptr) return fail(error);
  return registerMapped(std::move(module));
}

// Adds a LoadLibrary reference to an image record. Lock not held.
HMODULE holdImage(void* library, const LoadedObject& object) {
  auto& r = registry();
  std::lock_guard guard(r.lock);
  forgetUnloaded(r);
  auto module = imageRecord(r, object);
  if (library != nullptr) module->library = library;
  ++module->loads;
  return module->handle;
}

// The linker's object for a handle that dlopen gave.
bool objectOfLibrary(void* library, LoadedObject& found) {
  link_map* map = nullptr;
  if (::dlinfo(library, RTLD_DI_LINKMAP, &map) != 0 || map == nullptr) return false;
  // The linker names its objects by the same pointers in both interfaces.
  LoadedObject result;
  bool matched = false;
  struct Search {
    link_map* map;
    std::uintptr_t base;
    bool found;
  } search{map, 0, false};
  ::dl_iterate_phdr(
      [](dl_phdr_info* info, std::size_t, void* data) {
        auto& s = *static_cast<Search*>(data);
        if (info->dlpi_addr == s.map->l_addr && info->dlpi_name == s.map->l_name) {
          s.base = baseOf(*info);
          s.found = true;
          return 1;
        }
        return 0;
      },
      &search);
  if (search.found) matched = objectAt(search.base, result);
  if (matched) found = std::move(result);
  return matched;
}

HMODULE loadImage(const std::vector<std::string>& names) {
  if (HMODULE mapped = findMappedExecutable(names, true)) return mapped;
  // A module already in the process is found first, as its base name.
  std::string path;
  LoadedObject loaded;
  if (findLoadedByName(names, loaded)) {
    if (loaded.isMain) return holdImage(nullptr, loaded);
    path = loaded.path;
  }
  std::vector<std::string> tries;
  if (!path.empty()) {
    tries.push_back(path);
  } else {
    for (const auto& name : names) {
      if (hasDirectory(name)) {
        if (isFile(name)) tries.push_back(name);
        continue;
      }
      const std::string beside = directoryOf(mainProgramPath()) + "/" + name;
      if (isFile(beside)) tries.push_back(beside);
      tries.push_back(name);  // the linker's search: LD_LIBRARY_PATH, run paths, its cache, system folders
      if (isFile(name)) tries.push_back(absolutePath(name));
    }
  }
  // The linker keeps the name it was given; an absolute one stays true
  // whatever the working directory becomes.
  for (auto& candidate : tries)
    if (hasDirectory(candidate)) candidate = absolutePath(candidate);
  DWORD error = ERROR_MOD_NOT_FOUND;
  for (const auto& candidate : tries) {
    if (hasDirectory(candidate)) {
      BYTE start[64];
      const Bytes header = fileStart(candidate, start);
      if (!isElfFile(header)) {
        error = ERROR_BAD_EXE_FORMAT;
        break;
      }
      if (fullPath(candidate) == fullPath(mainProgramPath())) {
        LoadedObject self;
        if (objectAt(mainProgramBase(), self)) return holdImage(nullptr, self);
      }
    }
    ::dlerror();
    void* library = ::dlopen(candidate.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
      error = loaderError(::dlerror());
      // A name the linker's search did not find; the next place may have it.
      if (error == ERROR_MOD_NOT_FOUND) continue;
      if (error == ERROR_BAD_EXE_FORMAT && hasDirectory(candidate)) {
        // An executable the linker won't load: its resources are still there.
        DWORD mapError = 0;
        auto module = mapResourceFile(candidate, ModuleKind::ExecutableImage, mapError);
        if (module != nullptr && isElfExecutable(Bytes(module->mapping, module->mappingSize)))
          return registerMapped(std::move(module));
      }
      break;
    }
    noteRelativeNames();
    LoadedObject object;
    if (!objectOfLibrary(library, object)) {
      ::dlclose(library);
      return fail(ERROR_DLL_INIT_FAILED);
    }
    return holdImage(library, object);
  }
  return fail(error);
}

// Takes a further reference on a module found by GetModuleHandleEx.
bool addReference(HMODULE module, bool pin) {
  auto record = findModule(module);
  if (record == nullptr) return false;
  if (record->kind != ModuleKind::Image) {
    if (!record->isData()) {
      std::lock_guard guard(registry().lock);
      ++record->loads;
    }
    return true;
  }
  const bool isMain = addressOf(record->handle) == mainProgramBase();
  void* library = isMain ? nullptr : ::dlopen(record->path.c_str(), RTLD_NOW | RTLD_NOLOAD | (pin ? RTLD_NODELETE : 0));
  if (!isMain && library == nullptr) {
    SetLastError(ERROR_MOD_NOT_FOUND);
    return false;
  }
  if (pin) {
    // RTLD_NODELETE stays with the object; the extra reference is not needed.
    if (library != nullptr) ::dlclose(library);
    return true;
  }
  std::lock_guard guard(registry().lock);
  if (library != nullptr) record->library = library;
  ++record->loads;
  return true;
}

// The module's own definition of a symbol, not one of its dependencies'.
void* ownSymbol(const Module& module, const char* symbol) {
  const bool isMain = addressOf(module.handle) == mainProgramBase();
  void* library = module.library;
  bool temporary = false;
  if (library == nullptr) {
    library = ::dlopen(isMain ? nullptr : module.path.c_str(), RTLD_LAZY | RTLD_NOLOAD);
    temporary = library != nullptr;
  }
  if (library == nullptr) return nullptr;
  void* address = ::dlsym(library, symbol);
  Dl_info info;
  if (address != nullptr &&
      (::dladdr(address, &info) == 0 || reinterpret_cast<std::uintptr_t>(info.dli_fbase) != addressOf(module.handle)))
    address = nullptr;
  if (temporary) ::dlclose(library);
  return address;
}

}  // namespace

Module::~Module() {
  for (const auto& [key, image] : sharedImages) HandleTable::close(image);
  if (mapping != nullptr) ::munmap(mapping, mappingSize);
}

std::shared_ptr<Module> findModule(HMODULE handle) {
  auto& r = registry();
  const std::uintptr_t address = handle == nullptr ? mainProgramBase() : addressOf(handle);
  {
    std::lock_guard guard(r.lock);
    auto it = r.modules.find(address);
    if (it != r.modules.end()) {
      Module& m = *it->second;
      if (m.kind != ModuleKind::Image || m.loads > 0 || m.unloadsSeen == unloadCount()) return it->second;
      forgetUnloaded(r);
      it = r.modules.find(address);
      if (it != r.modules.end()) return it->second;
    }
  }
  // An image no call of this layer has seen yet.
  LoadedObject object;
  if (!objectAt(address, object)) {
    SetLastError(ERROR_MOD_NOT_FOUND);
    return nullptr;
  }
  std::lock_guard guard(r.lock);
  return imageRecord(r, object);
}

const ResourceDirectory* moduleResources(const Module& module) {
  if (module.resourceError != 0) {
    SetLastError(module.resourceError);
    return nullptr;
  }
  return &module.resources;
}

}  // namespace qn

using namespace qn;

HMODULE WINAPI LoadLibraryW(LPCWSTR fileName) { return LoadLibraryExW(fileName, nullptr, 0); }

HMODULE WINAPI LoadLibraryExW(LPCWSTR fileName, HANDLE file, DWORD flags) {
  if (fileName == nullptr || fileName[0] == L'\0' || file != nullptr || (flags & ~KnownFlags) != 0)
    return fail(ERROR_INVALID_PARAMETER);
  const auto names = nativeNames(fileName);
  if (flags & DataFlags) return loadDataFile(names, flags);
  return loadImage(names);
}

BOOL WINAPI FreeLibrary(HMODULE module) {
  auto& r = registry();
  std::shared_ptr<Module> released;  // a mapping goes outside the lock
  void* library = nullptr;
  {
    std::unique_lock guard(r.lock);
    forgetUnloaded(r);
    auto it = r.modules.find(addressOf(module));
    if (it == r.modules.end()) {
      guard.unlock();
      // An image in the process that no LoadLibrary loaded stays; Windows
      // does not unload what it loaded with the program either.
      LoadedObject object;
      if (module != nullptr && objectAt(addressOf(module), object)) return TRUE;
      return failWith(ERROR_MOD_NOT_FOUND);
    }
    Module& m = *it->second;
    if (m.loads == 0) return TRUE;
    --m.loads;
    if (m.kind == ModuleKind::Image) {
      library = m.library;
      if (m.loads == 0) m.library = nullptr;
    } else if (m.loads == 0) {
      released = std::move(it->second);
      r.modules.erase(it);
    }
  }
  // Destructors of the module run here and may call back into this layer.
  if (library != nullptr && ::dlclose(library) != 0) return failWith(ERROR_MOD_NOT_FOUND);
  if (library != nullptr) {
    // A module that left the process takes its record, and its shared
    // images, with it; another module at its address starts afresh.
    std::lock_guard guard(r.lock);
    forgetUnloaded(r);
  }
  return TRUE;
}

HMODULE WINAPI GetModuleHandleW(LPCWSTR moduleName) {
  if (moduleName == nullptr) return handleOf(mainProgramBase());
  if (moduleName[0] == L'\0') return fail(ERROR_MOD_NOT_FOUND);
  const auto names = nativeNames(moduleName);
  LoadedObject object;
  if (findLoadedByName(names, object)) return handleOf(object.base);
  // Executables mapped by LoadLibrary; files opened as data are not found.
  if (HMODULE mapped = findMappedExecutable(names, false)) return mapped;
  return fail(ERROR_MOD_NOT_FOUND);
}

BOOL WINAPI GetModuleHandleExW(DWORD flags, LPCWSTR moduleName, HMODULE* module) {
  if (module == nullptr) return failWith(ERROR_INVALID_PARAMETER);
  *module = nullptr;
  constexpr DWORD known = GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT |
                          GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS;
  if ((flags & ~known) != 0 ||
      ((flags & GET_MODULE_HANDLE_EX_FLAG_PIN) && (flags & GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT)))
    return failWith(ERROR_INVALID_PARAMETER);
  HMODULE found;
  if (flags & GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS) {
    Dl_info info;
    if (moduleName == nullptr || ::dladdr(moduleName, &info) == 0 || info.dli_fbase == nullptr)
      return failWith(ERROR_MOD_NOT_FOUND);
    found = handleOf(reinterpret_cast<std::uintptr_t>(info.dli_fbase));
  } else {
    found = GetModuleHandleW(moduleName);
    if (found == nullptr) return FALSE;
  }
  if (!(flags & GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT) &&
      !addReference(found, (flags & GET_MODULE_HANDLE_EX_FLAG_PIN) != 0))
    return FALSE;
  *module = found;
  return TRUE;
}

DWORD WINAPI GetModuleFileNameW(HMODULE module, LPWSTR fileName, DWORD size) {
  auto record = findModule(module);
  if (record == nullptr) return 0;
  if (record->isData()) {
    SetLastError(ERROR_MOD_NOT_FOUND);
    return 0;
  }
  if (size == 0 || fileName == nullptr) {
    SetLastError(size == 0 ? ERROR_INSUFFICIENT_BUFFER : ERROR_INVALID_PARAMETER);
    return 0;
  }
  const std::wstring path = utf8ToWide(record->path);
  if (path.size() >= size) {
    std::wmemcpy(fileName, path.data(), size - 1);
    fileName[size - 1] = L'\0';
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return size;
  }
  std::wmemcpy(fileName, path.c_str(), path.size() + 1);
  return static_cast<DWORD>(path.size());
}

FARPROC WINAPI GetProcAddress(HMODULE module, LPCSTR procName) {
  auto record = findModule(module);
  if (record == nullptr) return nullptr;
  if (record->isData()) {
    SetLastError(ERROR_MOD_NOT_FOUND);
    return nullptr;
  }
  void* address = nullptr;
  if (record->kind == ModuleKind::Image && procName != nullptr) {
    const auto value = reinterpret_cast<ULONG_PTR>(procName);
    if ((value >> 16) == 0) {
      const WORD ordinal = static_cast<WORD>(value);
      auto table = static_cast<const QN_ORDINAL_EXPORT*>(ownSymbol(*record, "QnOrdinalExports"));
      for (; ordinal != 0 && table != nullptr && table->ordinal != 0; ++table)
        if (table->ordinal == ordinal) {
          address = reinterpret_cast<void*>(table->address);
          break;
        }
    } else {
      address = ownSymbol(*record, procName);
    }
  }
  if (address == nullptr) {
    SetLastError(ERROR_PROC_NOT_FOUND);
    return nullptr;
  }
  return reinterpret_cast<FARPROC>(address);
}

UINT WINAPI SetErrorMode(UINT mode) { return errorMode.exchange(mode); }

UINT WINAPI GetErrorMode() { return errorMode.load(); }

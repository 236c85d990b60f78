// Loads and unloads the library with dlopen and dlclose, and logs, in
// order, the calls the library makes of the two layers while it starts and
// stops. The calls reach the definitions below first, because a program's
// own symbols come before those of the libraries it loads; each logs and
// hands on to the layer's own definition.
#include <dlfcn.h>
#include <qnlith/framework.h>

#include <cstdio>
#include <string>

namespace {

void note(const char* what) { std::printf("%s\n", what); }

template <typename F>
F next(const char* name) {
  return reinterpret_cast<F>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" {
UINT WINAPI RegisterWindowMessageW(LPCWSTR name) {
  note("RegisterWindowMessageW");
  return next<UINT (*)(LPCWSTR)>("RegisterWindowMessageW")(name);
}
BOOL WINAPI GetVersionExW(LPOSVERSIONINFOW information) {
  note("GetVersionExW");
  return next<BOOL (*)(LPOSVERSIONINFOW)>("GetVersionExW")(information);
}
HMODULE WINAPI LoadLibraryW(LPCWSTR name) {
  note("LoadLibraryW");
  return next<HMODULE (*)(LPCWSTR)>("LoadLibraryW")(name);
}
HMODULE WINAPI LoadLibraryExW(LPCWSTR name, HANDLE file, DWORD flags) {
  note("LoadLibraryExW");
  return next<HMODULE (*)(LPCWSTR, HANDLE, DWORD)>("LoadLibraryExW")(name, file, flags);
}
BOOL WINAPI FreeLibrary(HMODULE module) {
  note("FreeLibrary");
  return next<BOOL (*)(HMODULE)>("FreeLibrary")(module);
}
}

AFX_MODULE_STATE* AfxGetModuleState() {
  note("AfxGetModuleState");
  return next<AFX_MODULE_STATE* (*)()>("_Z17AfxGetModuleStatev")();
}
BOOL AfxInitExtensionModule(AFX_EXTENSION_MODULE& state, HMODULE module) {
  note(module != nullptr ? "AfxInitExtensionModule" : "AfxInitExtensionModule without a module");
  return next<BOOL (*)(AFX_EXTENSION_MODULE&, HMODULE)>(
      "_Z22AfxInitExtensionModuleR20AFX_EXTENSION_MODULEP11HINSTANCE__")(state, module);
}
void AfxTermExtensionModule(AFX_EXTENSION_MODULE& state, BOOL all) {
  note(all ? "AfxTermExtensionModule(all)" : "AfxTermExtensionModule");
  next<void (*)(AFX_EXTENSION_MODULE&, BOOL)>("_Z22AfxTermExtensionModuleR20AFX_EXTENSION_MODULEi")(state, all);
}
int main(int argc, char** argv) {
  if (argc != 2) return 2;
  void* library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    std::printf("dlopen failed: %s\n", dlerror());
    return 1;
  }
  note("loaded");
  // The library's own module object refers to the library without holding it.
  using Handle = HINSTANCE (*)();
  auto handle = reinterpret_cast<Handle>(dlsym(library, "_Z23getQuenlithModuleHandlev"));
  note(handle != nullptr && handle() != nullptr ? "own module handle" : "no own module handle");
  dlclose(library);
  note(dlopen(argv[1], RTLD_NOW | RTLD_NOLOAD) == nullptr ? "unloaded" : "still loaded");
  return 0;
}

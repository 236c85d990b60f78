#include <qnlith/failure/cException.h>
#include <qnlith/failure/errorText.h>
#include <qnlith/framework/modules.h>
#include <qnlith/system/cDynamicLinkLibrary.h>
#include <qnlith/win32/errors.h>
#include <qnlith/win32/resources.h>

#include <cstring>
#include <cwchar>

#include "../core/trace.h"

namespace {

// The low 32 bits of a handle, for the %x of a text.
DWORD low32(const cModuleHandle& module) { return static_cast<DWORD>(reinterpret_cast<std::uintptr_t>(module.handle)); }

}  // namespace

cDynamicLinkLibrary::cDynamicLinkLibrary(const wchar_t* name)
    : cResourceLibrary(), name(), libraryHandle(nullptr), ownsModule(true) {
  open(name);
}

cDynamicLinkLibrary::cDynamicLinkLibrary(const cModuleHandle& module)
    : cResourceLibrary(), name(), libraryHandle(nullptr), ownsModule(false) {
  open(module);
}

cDynamicLinkLibrary::cDynamicLinkLibrary(const cDynamicLinkLibrary& other)
    : cResourceLibrary(), name(), libraryHandle(nullptr), ownsModule(other.ownsModule) {
  if (ownsModule) open(other.name.c_str());
  else open(other.libraryHandle);
}

cDynamicLinkLibrary::~cDynamicLinkLibrary() {
  try {
    close();
  } catch (cException&) {
  }
}

cDynamicLinkLibrary& cDynamicLinkLibrary::operator=(const cDynamicLinkLibrary& other) {
  if (this == &other) return *this;
  throw cException(L"cDynamicLinkLibrary :: operator = Not Implemented");
}

bool cDynamicLinkLibrary::load() {
  const UINT oldMode = SetErrorMode(SEM_FAILCRITICALERRORS);
  libraryHandle = cModuleHandle(AfxLoadLibrary(name.c_str()));
  if (static_cast<HINSTANCE>(libraryHandle) == nullptr && GetLastError() != 0) {
    SetErrorMode(oldMode);
    QNLITH_TRACE(0x4000000000000000, L"cDynamicLinkLibrary :: load(%s) : failed (%s)", name.c_str(),
                 findErrorMessageText(GetLastError()).c_str());
    return false;
  }
  QNLITH_TRACE(0x4000000000000000, L"cDynamicLinkLibrary :: load(%s) : handle 0x%x", name.c_str(), low32(libraryHandle));
  SetErrorMode(oldMode);
  return true;
}

cDynamicLinkLibrary& cDynamicLinkLibrary::open(const wchar_t* moduleName) {
  name = cString(moduleName);
  if (!load()) {
    cString text;
    text.format(L"cDynamicLinkLibrary :: open(%s) failed", name.c_str());
    throw cException(text.c_str());
  }
  return *this;
}

cDynamicLinkLibrary& cDynamicLinkLibrary::open(const cModuleHandle& module) {
  name = fileName(module);
  libraryHandle = module;
  QNLITH_TRACE(0x4000000000000000, L"cDynamicLinkLibrary :: open(%s) : via passed handle 0x%x", name.c_str(),
               low32(libraryHandle));
  return *this;
}

cDynamicLinkLibrary& cDynamicLinkLibrary::close() {
  if (ownsModule) {
    QNLITH_TRACE(0x4000000000000000, L"cDynamicLinkLibrary :: close %s", name.c_str());
    if (AfxFreeLibrary(handle()) == 0) {
      cString text;
      text.format(L"cDynamicLinkLibrary :: close : QnFreeLibrary failed: %s", findErrorMessageText(GetLastError()).c_str());
      QNLITH_TRACE(0x0800000000000040, text.c_str());
      throw cException(text.c_str());
    }
  } else {
    QNLITH_TRACE(0x4000000000000000, L"cDynamicLinkLibrary :: close(reference handle) %s", name.c_str());
  }
  libraryHandle = cModuleHandle(nullptr);
  return *this;
}

FARPROC cDynamicLinkLibrary::procAddress(const wchar_t* procName) const {
  const wchar_t* shown = procName != nullptr ? procName : L"";
  const std::size_t length = std::wcslen(shown);
  if (length >= 512) return nullptr;
  char narrow[512];
  std::memset(narrow, 0, sizeof narrow);
  for (std::size_t i = 0; i < length; ++i) narrow[i] = static_cast<char>(shown[i] & 0xFF);
  FARPROC address = GetProcAddress(handle(), narrow);
  if (address == nullptr) {
    cString text;
    text.format(L"cDynamicLinkLibrary :: procAddress : GetProcAddress(%s): failed", shown);
    QNLITH_TRACE(0x0800000000000040, text.c_str());
    throw cException(text.c_str());
  }
  QNLITH_TRACE(0x4000000000000000, L"cDynamicLinkLibrary :: procAddress (%s) = address 0x%x", shown,
               static_cast<DWORD>(reinterpret_cast<std::uintptr_t>(address)));
  return address;
}

FARPROC cDynamicLinkLibrary::procAddress(DWORD ordinal) const {
  FARPROC address = GetProcAddress(handle(), MAKEINTRESOURCEA(LOWORD(ordinal)));
  if (address == nullptr) {
    cString text;
    text.format(L"cDynamicLinkLibrary(0x%x) :: procAddress : GetProcAddress(by ordinal:%u): failed",
                low32(libraryHandle), ordinal);
    QNLITH_TRACE(0x0800000000000040, text.c_str());
    throw cException(text.c_str());
  }
  QNLITH_TRACE(0x4000000000000000, L"cDynamicLinkLibrary(0x%x) :: procAddress (%x) = 0x%x", low32(libraryHandle),
               ordinal, static_cast<DWORD>(reinterpret_cast<std::uintptr_t>(address)));
  return address;
}

cString cDynamicLinkLibrary::fileName() const { return fileName(handle()); }

cString cDynamicLinkLibrary::fileName(const cModuleHandle& module) const {
  wchar_t buffer[512];
  std::memset(buffer, 0, sizeof buffer);
  if (GetModuleFileNameW(module, buffer, 512) == 0) throw cException(L"cDynamicLinkLibrary :: fileName(): GetModuleFileName failed");
  return cString(buffer);
}

bool cDynamicLinkLibrary::isOpen() const { return libraryHandle.isValid(); }

cModuleHandle cDynamicLinkLibrary::handle() const { return libraryHandle; }

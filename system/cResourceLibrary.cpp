#include <qnlith/failure/cException.h>
#include <qnlith/system/cResourceLibrary.h>
#include <qnlith/win32/message.h>
#include <qnlith/win32/modules.h>
#include <qnlith/win32/resources.h>

#include <cstring>
#include <memory>

#include "../core/trace.h"

cResourceLibrary* cResourceLibrary::DefaultResourceLibrary = nullptr;

void cResourceLibrary::initialize(bool flag) {
  if (flag) {
    DefaultResourceLibrary = new cResourceLibrary();
  } else if (DefaultResourceLibrary != nullptr) {
    delete DefaultResourceLibrary;
  }
}

cResourceLibrary& cResourceLibrary::defaultResourceLibrary() { return *DefaultResourceLibrary; }

void cResourceLibrary::setDefaultResourceLibrary(cResourceLibrary* library) {
  // Handing in the default itself would destroy it before it is stored.
  if (library != nullptr && library == DefaultResourceLibrary) return;
  if (DefaultResourceLibrary != nullptr) delete DefaultResourceLibrary;
  DefaultResourceLibrary = library != nullptr ? library : new cResourceLibrary();
}

cResourceLibrary::cResourceLibrary() : moduleHandle(GetModuleHandleW(nullptr)) {}

cResourceLibrary::cResourceLibrary(const cModuleHandle& module) : moduleHandle(module) {}

cResourceLibrary::cResourceLibrary(const cResourceLibrary& other) : moduleHandle(other.moduleHandle) {}

cResourceLibrary& cResourceLibrary::operator=(const cResourceLibrary& other) {
  if (this != &other) moduleHandle = other.moduleHandle;
  return *this;
}

cResourceLibrary::~cResourceLibrary() {}

cString cResourceLibrary::fileName() const {
  wchar_t buffer[512];
  std::memset(buffer, 0, sizeof buffer);
  if (GetModuleFileNameW(handle(), buffer, 512) == 0) {
    cString text;
    text.format(L"cResourceLibrary :: fileName():: GetModuleFileName failed");
    QNLITH_TRACE(0x0800000000000040, text.c_str());
    throw cException(text.c_str());
  }
  return cString(buffer);
}

bool cResourceLibrary::isOpen() const { return true; }

cModuleHandle cResourceLibrary::handle() const { return moduleHandle; }

cString cResourceLibrary::loadString(DWORD id) const {
  wchar_t buffer[4096];
  if (LoadStringW(handle(), id, buffer, 4096) == 0) {
    cString text;
    text.format(L"cResourceLibrary ::  loadString - String %u (0x%x) not Found in %s", id, id, fileName().c_str());
    QNLITH_TRACE(0x0800000000000040, text.c_str());
    return cString();
  }
  return cString(buffer);
}

cString cResourceLibrary::tryToLoadString(DWORD id) const {
  try {
    return loadString(id);
  } catch (...) {
    return cString();
  }
}

cString cResourceLibrary::loadMessage(DWORD id) const {
  std::unique_ptr<wchar_t[]> buffer(new wchar_t[4096]);
  const DWORD flags = FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_IGNORE_INSERTS;
  HINSTANCE module = handle();
  if (FormatMessageW(flags, module, id, MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT), buffer.get(), 4096, nullptr) == 0) {
    cString text;
    text.format(L"cResourceLibrary() :: loadMessage - Message Id %u not Found in %s!", id, fileName().c_str());
    buffer.reset();
    QNLITH_TRACE(0x0800000000000040, text.c_str());
    throw cException(text.c_str());
  }
  cString text(buffer.get());
  return text;
}

cPointerHandle cResourceLibrary::tryToLoadIcon(DWORD id, int width, int height, DWORD flags) const {
  HANDLE image = LoadImageW(handle(), MAKEINTRESOURCEW(id), IMAGE_ICON, width, height, flags);
  if (image == nullptr) {
    QNLITH_TRACE(0x40, L"cResourceLibrary :: tryToLoadIcon for %u failed, trying cursor", id);
    image = LoadImageW(handle(), MAKEINTRESOURCEW(id), IMAGE_CURSOR, width, height, flags);
    if (image == nullptr) {
      QNLITH_TRACE(0x40, L"cResourceLibrary :: tryToLoadIcon cursor failed also...");
      return cPointerHandle();
    }
  }
  return cPointerHandle(image);
}

cPointerHandle cResourceLibrary::loadIcon(DWORD id, int width, int height, DWORD flags) const {
  cPointerHandle icon = tryToLoadIcon(id, width, height, flags);
  if (icon.isValid()) return icon;
  cString text;
  text.format(L"cResourceLibrary() :: loadIcon Id %u (0x%x) not Found in %s!", id, id, fileName().c_str());
  QNLITH_TRACE(0x0800000000000040, text.c_str());
  throw cException(text.c_str());
}

cPointerHandle cResourceLibrary::loadPointer(DWORD id) const { return loadIcon(id, 0, 0, 0); }

cBitmapHandle cResourceLibrary::tryToLoadBitmap(DWORD id, int width, int height, DWORD flags) const {
  HANDLE image = LoadImageW(handle(), MAKEINTRESOURCEW(id), IMAGE_BITMAP, width, height, flags);
  return image != nullptr ? cBitmapHandle(image) : cBitmapHandle();
}

cBitmapHandle cResourceLibrary::loadBitmap(DWORD id, int width, int height, DWORD flags) const {
  cBitmapHandle bitmap = tryToLoadBitmap(id, width, height, flags);
  if (!bitmap.isValid()) {
    cString text;
    text.format(L"cResourceLibrary() :: loadBitmap Id %u (0x%x) not Found in %s!", id, id, fileName().c_str());
    QNLITH_TRACE(0x0800000000000040, text.c_str());
  }
  return bitmap;
}

cPointerHandle cResourceLibrary::loadAnimatedCursor(DWORD id) const {
  HINSTANCE module = handle();
  HRSRC resource = FindResourceW(module, MAKEINTRESOURCEW(id), L"ANICURSORS");
  if (resource != nullptr) {
    const DWORD size = SizeofResource(module, resource);
    auto bytes = static_cast<PBYTE>(LockResource(LoadResource(module, resource)));
    HICON cursor = CreateIconFromResource(bytes, size, FALSE, 0x00030000);
    if (cursor != nullptr) return cPointerHandle(cursor);
  }
  cString text;
  text.format(L"cResourceLibrary() :: loadAnimatedCursor Id %u (0x%x) not Found in %s!", id, id, fileName().c_str());
  throw cException(text.c_str());
}

#include <qnlith/core/cHandle.h>

void* const cHandle::InvalidHandle = reinterpret_cast<void*>(~std::uintptr_t{0});

cHandle::cHandle(void* handle) : handle(handle) {}
cHandle::cHandle(const cHandle& other) : handle(other.handle) {}
cHandle& cHandle::operator=(const cHandle& other) {
  handle = other.handle;
  return *this;
}
cHandle::~cHandle() {}
bool cHandle::isValid() const { return handle != InvalidHandle; }
cHandle::operator void*() const { return handle; }

cAnchorBlockHandle::cAnchorBlockHandle(void* handle) : cHandle(handle) {}
cAnchorBlockHandle::cAnchorBlockHandle(const cAnchorBlockHandle& other) : cHandle(other) {}
cAnchorBlockHandle& cAnchorBlockHandle::operator=(const cAnchorBlockHandle& other) {
  cHandle::operator=(other);
  return *this;
}
cAnchorBlockHandle::~cAnchorBlockHandle() {}

cModuleHandle::cModuleHandle(void* handle) : cHandle(handle) {}
cModuleHandle::cModuleHandle(const cModuleHandle& other) : cHandle(other) {}
cModuleHandle& cModuleHandle::operator=(const cModuleHandle& other) {
  cHandle::operator=(other);
  return *this;
}
cModuleHandle::~cModuleHandle() {}
cModuleHandle::operator HINSTANCE() const { return static_cast<HINSTANCE>(handle); }

cPointerHandle::cPointerHandle(void* handle) : cHandle(handle) {}
cPointerHandle::cPointerHandle(const cPointerHandle& other) : cHandle(other) {}
cPointerHandle& cPointerHandle::operator=(const cPointerHandle& other) {
  cHandle::operator=(other);
  return *this;
}
cPointerHandle::~cPointerHandle() {}
cPointerHandle::operator HICON() const { return static_cast<HICON>(handle); }

cBitmapHandle::cBitmapHandle(void* handle) : cHandle(handle) {}
cBitmapHandle::cBitmapHandle(const cBitmapHandle& other) : cHandle(other) {}
cBitmapHandle& cBitmapHandle::operator=(const cBitmapHandle& other) {
  cHandle::operator=(other);
  return *this;
}
cBitmapHandle::~cBitmapHandle() {}
cBitmapHandle::operator HBITMAP() const { return static_cast<HBITMAP>(handle); }

// Typed values of system handles. A wrapper carries a handle and owns
// nothing: no destructor of the family releases what it wraps. The one
// invalid value is cHandle::InvalidHandle, the all-ones pointer; a null
// handle counts as valid.
#pragma once

#include <qnlith/core/api.h>
#include <qnlith/win32/types.h>

class QNLITH_API cHandle {
 public:
  static void* const InvalidHandle;

  cHandle(void* handle);
  cHandle(const cHandle& other);
  cHandle& operator=(const cHandle& other);
  virtual ~cHandle();

  virtual bool isValid() const;
  operator void*() const;

  void* handle;
};

// An anchor block; the library has no use of its own for one.
class QNLITH_API cAnchorBlockHandle : public cHandle {
 public:
  cAnchorBlockHandle(void* handle = cHandle::InvalidHandle);
  cAnchorBlockHandle(const cAnchorBlockHandle& other);
  cAnchorBlockHandle& operator=(const cAnchorBlockHandle& other);
  ~cAnchorBlockHandle() override;
};

class QNLITH_API cModuleHandle : public cHandle {
 public:
  cModuleHandle(void* handle = cHandle::InvalidHandle);
  cModuleHandle(const cModuleHandle& other);
  cModuleHandle& operator=(const cModuleHandle& other);
  ~cModuleHandle() override;

  operator HINSTANCE() const;
};

// An icon or a cursor.
class QNLITH_API cPointerHandle : public cHandle {
 public:
  cPointerHandle(void* handle = cHandle::InvalidHandle);
  cPointerHandle(const cPointerHandle& other);
  cPointerHandle& operator=(const cPointerHandle& other);
  ~cPointerHandle() override;

  operator HICON() const;
};

class QNLITH_API cBitmapHandle : public cHandle {
 public:
  cBitmapHandle(void* handle = cHandle::InvalidHandle);
  cBitmapHandle(const cBitmapHandle& other);
  cBitmapHandle& operator=(const cBitmapHandle& other);
  ~cBitmapHandle() override;

  operator HBITMAP() const;
};

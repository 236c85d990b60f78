/// @file
/// Typed values of system handles. A wrapper carries a handle and owns
/// nothing: no destructor of the family releases what it wraps. The one
/// invalid value is cHandle::InvalidHandle, the all-ones pointer; a null
/// handle counts as valid.
#pragma once

#include <qnlith/core/api.h>
#include <qnlith/win32/types.h>

/// A system handle as a value; copying or destroying it never releases the handle.
class QNLITH_API cHandle {
 public:
  /// The only invalid handle value, the all-ones pointer; null is valid.
  static void* const InvalidHandle;

  /// Stores the handle as given.
  cHandle(void* handle);
  /// Copies the value; the handle is not duplicated.
  cHandle(const cHandle& other);
  /// Copies the value; the handle is not duplicated.
  cHandle& operator=(const cHandle& other);
  /// Forgets the value without releasing the handle.
  virtual ~cHandle();

  /// True unless the value is InvalidHandle.
  virtual bool isValid() const;
  /// The raw handle value.
  operator void*() const;

  /// The raw handle value, owned by whoever opened it.
  void* handle;
};

/// An anchor block; the library has no use of its own for one.
class QNLITH_API cAnchorBlockHandle : public cHandle {
 public:
  /// Holds the value (InvalidHandle by default); copies share it and nothing
  /// is released.
  ///@{
  cAnchorBlockHandle(void* handle = cHandle::InvalidHandle);
  cAnchorBlockHandle(const cAnchorBlockHandle& other);
  cAnchorBlockHandle& operator=(const cAnchorBlockHandle& other);
  ~cAnchorBlockHandle() override;
  ///@}
};

/// The handle of a loaded module; whoever loaded it frees it.
class QNLITH_API cModuleHandle : public cHandle {
 public:
  /// Holds the value (InvalidHandle by default); copies share it and nothing
  /// is released.
  ///@{
  cModuleHandle(void* handle = cHandle::InvalidHandle);
  cModuleHandle(const cModuleHandle& other);
  cModuleHandle& operator=(const cModuleHandle& other);
  ~cModuleHandle() override;
  ///@}

  /// The value as a module instance handle.
  operator HINSTANCE() const;
};

/// An icon or a cursor.
class QNLITH_API cPointerHandle : public cHandle {
 public:
  /// Holds the value (InvalidHandle by default); copies share it and nothing
  /// is released.
  ///@{
  cPointerHandle(void* handle = cHandle::InvalidHandle);
  cPointerHandle(const cPointerHandle& other);
  cPointerHandle& operator=(const cPointerHandle& other);
  ~cPointerHandle() override;
  ///@}

  /// The value as an icon handle (cursors share the type).
  operator HICON() const;
};

/// A bitmap; whoever loaded it deletes it.
class QNLITH_API cBitmapHandle : public cHandle {
 public:
  /// Holds the value (InvalidHandle by default); copies share it and nothing
  /// is released.
  ///@{
  cBitmapHandle(void* handle = cHandle::InvalidHandle);
  cBitmapHandle(const cBitmapHandle& other);
  cBitmapHandle& operator=(const cBitmapHandle& other);
  ~cBitmapHandle() override;
  ///@}

  /// The value as a bitmap handle.
  operator HBITMAP() const;
};

/// @file
/// cResourceLibrary: strings, messages, icons, cursors, animated cursors and
/// bitmaps read from a module that is already in the process. It neither
/// loads nor frees the module. Every load reaches the module only through
/// the virtual handle(), and every text names it through the virtual
/// fileName(), so that a subclass redirects the whole class.
#pragma once

#include <qnlith/core/api.h>
#include <qnlith/core/cHandle.h>
#include <qnlith/core/cString.h>

/// Resources of a module already in the process; the module is neither loaded
/// nor freed by this class.
class QNLITH_API cResourceLibrary {
 public:
  /// The process-wide default library, made when the library loads.
  static cResourceLibrary& defaultResourceLibrary();
  /// Destroys the default library and takes this one, which must come from
  /// new; null puts a fresh library of the main program in its place.
  static void setDefaultResourceLibrary(cResourceLibrary* library);

  /// The main program of the process, whichever module the caller lies in.
  cResourceLibrary();
  /// Reads the given module, which must stay loaded while the object is used.
  cResourceLibrary(const cModuleHandle& module);
  /// Refers to the same module.
  ///@{
  cResourceLibrary(const cResourceLibrary& other);
  cResourceLibrary& operator=(const cResourceLibrary& other);
  ///@}
  /// Leaves the module loaded.
  virtual ~cResourceLibrary();

  /// The full path of the module; throws cException when it has none.
  virtual cString fileName() const;
  /// Whether the module handle is valid.
  virtual bool isOpen() const;
  /// The module's handle; the module's holder frees it.
  virtual cModuleHandle handle() const;

  /// The string of that id from the module's string table. A missing string gives an empty string. loadString throws only what
  /// fileName throws; tryToLoadString never throws.
  ///@{
  cString loadString(DWORD id) const;
  cString tryToLoadString(DWORD id) const;
  ///@}
  /// Text of the module's message table, inserts unexpanded; throws when
  /// the message is not there.
  cString loadMessage(DWORD id) const;
  /// An icon or cursor of the module through LoadImageW with the width,
  /// height and flags given; the caller destroys it unless the flags ask for
  /// a shared image (LR_SHARED).
  /// Image loads take the low 16 bits of the id as the resource's number.
  /// An icon request falls back to a cursor of the same id. loadIcon and
  /// loadPointer throw for a missing image; tryToLoadIcon gives an invalid
  /// handle.
  ///@{
  cPointerHandle loadIcon(DWORD id, int width = 0, int height = 0, DWORD flags = 0) const;
  cPointerHandle tryToLoadIcon(DWORD id, int width = 0, int height = 0, DWORD flags = 0) const;
  cPointerHandle loadPointer(DWORD id) const;
  ///@}
  /// A resource of the type "ANICURSORS"; throws when it is missing or no
  /// animated cursor.
  cPointerHandle loadAnimatedCursor(DWORD id) const;
  /// A bitmap of the module through LoadImageW with the arguments given, the
  /// caller's to delete with DeleteObject unless loaded shared.
  /// Both give an invalid handle for a missing bitmap.
  ///@{
  cBitmapHandle loadBitmap(DWORD id, int width = 0, int height = 0, DWORD flags = 0) const;
  cBitmapHandle tryToLoadBitmap(DWORD id, int width = 0, int height = 0, DWORD flags = 0) const;
  ///@}

 protected:
  /// The module read, as given to the constructor.
  cModuleHandle moduleHandle;

 private:
  friend class cLibraryEntry;
  /// Makes (true) or destroys (false) the default library; the library's
  /// entry calls it at load and at unload.
  static void initialize(bool flag);

  static cResourceLibrary* DefaultResourceLibrary;
};

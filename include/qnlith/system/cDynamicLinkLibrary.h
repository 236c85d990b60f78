/// @file
/// cDynamicLinkLibrary: a loadable module as an object. Built by name it
/// loads the module and frees it at its end; built from a module handle it
/// refers to a module somebody else holds and leaves it alone. A
/// construction that fails throws cException, so an object that exists stands
/// for a module. All resource loads of cResourceLibrary read its module.
#pragma once

#include <qnlith/core/cString.h>
#include <qnlith/system/cResourceLibrary.h>
#include <qnlith/win32/modules.h>

/// A loadable module as an object, loaded and freed by it or borrowed from
/// its holder; a failed construction throws cException.
class QNLITH_API cDynamicLinkLibrary : public cResourceLibrary {
 public:
  /// Loads the module by name and owns it; throws cException when it can't be loaded.
  explicit cDynamicLinkLibrary(const wchar_t* name);
  /// Refers to a module somebody else holds, which must stay loaded; throws
  /// cException for an invalid handle.
  explicit cDynamicLinkLibrary(const cModuleHandle& module);
  /// A copy of an owner loads the module again by its name, taking a further
  /// reference; a copy of a reference refers to the same module.
  cDynamicLinkLibrary(const cDynamicLinkLibrary& other);
  /// Frees the module if the object loaded it; a failure to free is dropped.
  ~cDynamicLinkLibrary() override;

  /// The address of an export, by name or by ordinal (the low 16 bits);
  /// throws cException when it is missing. A name of 512 characters or more
  /// gives null.
  FARPROC procAddress(const wchar_t* name) const;
  /// The address of the export with that ordinal; throws cException when missing.
  FARPROC procAddress(DWORD ordinal) const;

  /// The module's full path; throws cException when it has none.
  cString fileName() const override;
  /// Whether the object holds a module.
  bool isOpen() const override;
  /// A copy of the module's handle; whoever loaded the module frees it.
  cModuleHandle handle() const override;
  /// The full path of the given module; throws cException when it has none.
  virtual cString fileName(const cModuleHandle& module) const;

 private:
  cDynamicLinkLibrary& operator=(const cDynamicLinkLibrary& other);

  bool load();
  cDynamicLinkLibrary& open(const wchar_t* name);
  cDynamicLinkLibrary& open(const cModuleHandle& module);
  cDynamicLinkLibrary& close();

  cString name;
  cModuleHandle libraryHandle;
  bool ownsModule;
};

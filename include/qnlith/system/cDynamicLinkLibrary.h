// cDynamicLinkLibrary: a loadable module as an object. Built by name it
// loads the module and frees it at its end; built from a module handle it
// refers to a module somebody else holds and leaves it alone. A
// construction that fails throws cException, so an object that exists stands
// for a module. All resource loads of cResourceLibrary read its module.
#pragma once

#include <qnlith/core/cString.h>
#include <qnlith/system/cResourceLibrary.h>
#include <qnlith/win32/modules.h>

class QNLITH_API cDynamicLinkLibrary : public cResourceLibrary {
 public:
  explicit cDynamicLinkLibrary(const wchar_t* name);
  explicit cDynamicLinkLibrary(const cModuleHandle& module);
  // A copy of an owner loads the module again by its name, taking a further
  // reference; a copy of a reference refers to the same module.
  cDynamicLinkLibrary(const cDynamicLinkLibrary& other);
  ~cDynamicLinkLibrary() override;

  // The address of an export, by name or by ordinal (the low 16 bits);
  // throws cException when it is missing. A name of 512 characters or more
  // gives null.
  FARPROC procAddress(const wchar_t* name) const;
  FARPROC procAddress(DWORD ordinal) const;

  cString fileName() const override;
  bool isOpen() const override;
  cModuleHandle handle() const override;
  // The full path of the given module; throws cException when it has none.
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

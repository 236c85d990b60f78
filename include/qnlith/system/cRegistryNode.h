// cRegistryNode: one place in the registry, a root key, a base key below it
// and optionally a section key below that, held open while the object
// lives. Values are read and written in the innermost open key.
#pragma once

#include <qnlith/core/api.h>
#include <qnlith/core/cString.h>
#include <qnlith/win32/registry.h>

class QNLITH_API cRegistryNode {
 public:
  static const HKEY Classes;
  static const HKEY CurrentUser;
  static const HKEY LocalMachine;
  static const HKEY Users;

  cRegistryNode();
  // Both throw cException when the base key can't be opened (or created),
  // the second also when the section can't be reached.
  cRegistryNode(const cString& base, const cString& rootName, bool create);
  cRegistryNode(HKEY root, const cString& base, const cString& section, bool create);
  // A copy opens keys of its own on the same places, so that each object
  // closes only what it opened.
  cRegistryNode(const cRegistryNode& source);
  cRegistryNode& operator=(const cRegistryNode& source);
  virtual ~cRegistryNode();

  // "HKEY_LOCAL_MACHINE" selects that root; any other name the current user's.
  bool open(const cString& base, const cString& rootName, bool create);
  bool open(const cString& base, HKEY root, bool create);

  // Changes only the text later paths are composed from.
  virtual cRegistryNode& setBaseKey(const cString& base);
  // Opens the section by its full path from the root; throws cException if
  // it can't be reached. An empty name goes back to the base key.
  virtual cRegistryNode& setSectionKey(const cString& section);

  bool keyExists(const cString& subkey) const;
  bool createKey(const cString& subkey) const;
  bool enumKey(DWORD index, cString& name);

  bool readValueFromKey(const cString& name, bool& value);
  bool readValueFromKey(const cString& name, DWORD& value);
  // At most 2047 characters; a longer value reads as a failure.
  bool readValueFromKey(const cString& name, cString& value);
  bool writeValueToKey(const cString& name, bool value) const;
  bool writeValueToKey(const cString& name, DWORD value) const;
  bool writeValueToKey(const cString& name, const cString& value) const;

 private:
  HKEY getKey() const;
  cString composePath(const cString& other) const;
  void closeKeys();

  cString baseKey;
  cString sectionKey;
  HKEY baseHandle;
  HKEY rootHandle;
  HKEY sectionHandle;
  bool createMissing;
};

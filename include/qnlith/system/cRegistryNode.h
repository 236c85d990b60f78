/// @file
/// cRegistryNode: one place in the registry, a root key, a base key below it
/// and optionally a section key below that, held open while the object
/// lives. Values are read and written in the innermost open key.
#pragma once

#include <qnlith/core/api.h>
#include <qnlith/core/cString.h>
#include <qnlith/win32/registry.h>

/// A place in the registry (root, base key, optional section) with its keys
/// held open; values are read and written in the innermost open key.
class QNLITH_API cRegistryNode {
 public:
  /// The predefined roots: classes, the current user, the local machine, all users.
  ///@{
  static const HKEY Classes;
  static const HKEY CurrentUser;
  static const HKEY LocalMachine;
  static const HKEY Users;
  ///@}

  /// A node that is not open: value operations and enumKey return false.
  cRegistryNode();
  /// Both throw cException when the base key can't be opened (or created),
  /// the second also when the section can't be reached.
  ///@{
  cRegistryNode(const cString& base, const cString& rootName, bool create);
  cRegistryNode(HKEY root, const cString& base, const cString& section, bool create);
  ///@}
  /// A copy opens keys of its own on the same places, so that each object
  /// closes only what it opened.
  ///@{
  cRegistryNode(const cRegistryNode& source);
  cRegistryNode& operator=(const cRegistryNode& source);
  ///@}
  /// Closes the keys this object opened.
  virtual ~cRegistryNode();

  /// Opens (or, with create, creates) the base key under the root; false when
  /// it can't be reached. The root name "HKEY_LOCAL_MACHINE" selects that root;
  /// any other name the current user's.
  ///@{
  bool open(const cString& base, const cString& rootName, bool create);
  bool open(const cString& base, HKEY root, bool create);
  ///@}

  /// Changes only the text later paths are composed from.
  virtual cRegistryNode& setBaseKey(const cString& base);
  /// Opens the section by its full path from the root; throws cException if
  /// it can't be reached. An empty name goes back to the base key.
  virtual cRegistryNode& setSectionKey(const cString& section);

  /// Whether the subkey below the current place can be opened.
  bool keyExists(const cString& subkey) const;
  /// Creates (or opens) the subkey below the current place and closes it again; false on failure.
  bool createKey(const cString& subkey) const;
  /// The name of the subkey at the index of the current key; false (name
  /// unchanged) past the last one or on failure.
  bool enumKey(DWORD index, cString& name);

  /// Reads a REG_DWORD value (any non-zero number is true); false when it is
  /// missing or of another type, the target then unchanged.
  ///@{
  bool readValueFromKey(const cString& name, bool& value);
  bool readValueFromKey(const cString& name, DWORD& value);
  ///@}
  /// Reads a REG_SZ, REG_EXPAND_SZ (unexpanded) or the first string of a
  /// REG_MULTI_SZ; at most 2047 characters. False when missing, of another
  /// type, or too long.
  bool readValueFromKey(const cString& name, cString& value);
  /// Writes a REG_DWORD (a boolean as 1 or 0) or a REG_SZ value; false on failure.
  ///@{
  bool writeValueToKey(const cString& name, bool value) const;
  bool writeValueToKey(const cString& name, DWORD value) const;
  bool writeValueToKey(const cString& name, const cString& value) const;
  ///@}

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

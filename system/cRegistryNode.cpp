#include <qnlith/failure/cException.h>
#include <qnlith/failure/errorText.h>
#include <qnlith/system/cRegistryNode.h>
#include <qnlith/win32/errors.h>

#include "../core/trace.h"

namespace {

constexpr REGSAM ReadWrite = KEY_READ | KEY_WRITE;  // 0x2001F
constexpr REGSAM AllAccess = KEY_ALL_ACCESS;  // 0xF003F
constexpr REGSAM ReadOnly = KEY_READ;  // 0x20019
static_assert(ReadWrite == 0x2001F && AllAccess == 0xF003F && ReadOnly == 0x20019);

// The longest text a string read delivers, in characters.
constexpr DWORD MaxTextLength = 2047;

// A key of one's own on the same place: a new handle from the open one.
HKEY duplicateKey(HKEY key, REGSAM access) {
  if (key == nullptr) return nullptr;
  HKEY copy = nullptr;
  RegOpenKeyExW(key, L"", 0, access, &copy);
  return copy;
}

}  // namespace

const HKEY cRegistryNode::Classes = HKEY_CLASSES_ROOT;
const HKEY cRegistryNode::CurrentUser = HKEY_CURRENT_USER;
const HKEY cRegistryNode::LocalMachine = HKEY_LOCAL_MACHINE;
const HKEY cRegistryNode::Users = HKEY_USERS;

cRegistryNode::cRegistryNode()
    : baseHandle(nullptr), rootHandle(nullptr), sectionHandle(nullptr), createMissing(false) {}

cRegistryNode::cRegistryNode(const cString& base, const cString& rootName, bool create)
    : baseKey(base), baseHandle(nullptr), rootHandle(nullptr), sectionHandle(nullptr), createMissing(create) {
  if (!open(base, rootName, create)) {
    cString text;
    text.format(L"cRegistryNode-Invalid Root key: '%s'", baseKey.c_str());
    throw cException(text.c_str());
  }
}

cRegistryNode::cRegistryNode(HKEY root, const cString& base, const cString& section, bool create)
    : baseKey(base), sectionKey(section), baseHandle(nullptr), rootHandle(root), sectionHandle(nullptr),
      createMissing(create) {
  if (!open(base, root, create)) {
    cString text;
    text.format(L"cRegistryNode-Invalid Root key: '%s'", baseKey.c_str());
    throw cException(text.c_str());
  }
  try {
    setSectionKey(section);
  } catch (...) {
    closeKeys();  // no destructor runs for an object that was never made
    throw;
  }
}

// The keys are the source's places, opened anew: each object closes its
// own handles, and neither loses sight of its keys when the other goes.
cRegistryNode::cRegistryNode(const cRegistryNode& source)
    : baseKey(source.baseKey), sectionKey(source.sectionKey), baseHandle(duplicateKey(source.baseHandle, ReadWrite)),
      rootHandle(source.rootHandle), sectionHandle(duplicateKey(source.sectionHandle, AllAccess)),
      createMissing(source.createMissing) {}

cRegistryNode& cRegistryNode::operator=(const cRegistryNode& source) {
  if (&source == this) return *this;
  closeKeys();
  baseKey = source.baseKey;
  sectionKey = source.sectionKey;
  baseHandle = duplicateKey(source.baseHandle, ReadWrite);
  rootHandle = source.rootHandle;
  sectionHandle = duplicateKey(source.sectionHandle, AllAccess);
  createMissing = source.createMissing;
  return *this;
}

cRegistryNode::~cRegistryNode() { closeKeys(); }

void cRegistryNode::closeKeys() {
  if (sectionHandle != nullptr) RegCloseKey(sectionHandle);
  if (baseHandle != nullptr) RegCloseKey(baseHandle);
  sectionHandle = nullptr;
  baseHandle = nullptr;
}

bool cRegistryNode::open(const cString& base, const cString& rootName, bool create) {
  HKEY root = HKEY_CURRENT_USER;
  if (rootName == L"HKEY_CURRENT_USER") root = HKEY_CURRENT_USER;
  if (rootName == L"HKEY_LOCAL_MACHINE") root = HKEY_LOCAL_MACHINE;
  return open(base, root, create);
}

bool cRegistryNode::open(const cString& base, HKEY root, bool create) {
  // Keys this object held before are closed rather than lost.
  closeKeys();
  baseKey = base;
  createMissing = create;
  rootHandle = root;
  if (RegOpenKeyExW(rootHandle, baseKey.c_str(), 0, ReadWrite, &baseHandle) == ERROR_SUCCESS) return true;
  if (!createMissing) return false;
  DWORD disposition;
  return RegCreateKeyExW(rootHandle, baseKey.c_str(), 0, nullptr, 0, AllAccess, nullptr, &baseHandle,
                         &disposition) == ERROR_SUCCESS;
}

cRegistryNode& cRegistryNode::setBaseKey(const cString& base) {
  baseKey = base;
  return *this;
}

cRegistryNode& cRegistryNode::setSectionKey(const cString& section) {
  if (sectionHandle != nullptr) RegCloseKey(sectionHandle);
  sectionHandle = nullptr;
  sectionKey = section;
  if (sectionKey.isEmpty()) return *this;
  const cString path = composePath(sectionKey);
  if (RegOpenKeyExW(rootHandle, path.c_str(), 0, AllAccess, &sectionHandle) == ERROR_SUCCESS) return *this;
  DWORD disposition;
  if (createMissing && RegCreateKeyExW(rootHandle, path.c_str(), 0, nullptr, 0, AllAccess, nullptr, &sectionHandle,
                                       &disposition) == ERROR_SUCCESS)
    return *this;
  sectionHandle = nullptr;
  cString text;
  text.format(L"cRegistryNode-Invalid Section key: '%s'", path.c_str());
  throw cException(text.c_str());
}

bool cRegistryNode::keyExists(const cString& subkey) const {
  const cString path = composePath(subkey);
  HKEY key = nullptr;
  const bool exists = RegOpenKeyExW(rootHandle, path.c_str(), 0, ReadOnly, &key) == ERROR_SUCCESS;
  if (exists) RegCloseKey(key);
  return exists;
}

bool cRegistryNode::createKey(const cString& subkey) const {
  const cString path = composePath(subkey);
  HKEY key = nullptr;
  DWORD disposition;
  if (RegCreateKeyExW(rootHandle, path.c_str(), 0, nullptr, 0, AllAccess, nullptr, &key, &disposition) !=
      ERROR_SUCCESS) {
    QNLITH_TRACE(0x4040, L"cRegistryNode-Unable to create key: '%s'", path.c_str());
    return false;
  }
  RegCloseKey(key);
  return true;
}

bool cRegistryNode::enumKey(DWORD index, cString& name) {
  wchar_t buffer[2048];
  DWORD size = 2048;
  if (RegEnumKeyExW(getKey(), index, buffer, &size, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) return false;
  name = buffer;
  return true;
}

bool cRegistryNode::readValueFromKey(const cString& name, bool& value) {
  DWORD type = 0xFFFFFFFF;
  DWORD data = 0;
  DWORD size = sizeof data;
  const LONG result = RegQueryValueExW(getKey(), name.c_str(), nullptr, &type, reinterpret_cast<LPBYTE>(&data), &size);
  if (result != ERROR_SUCCESS || type != REG_DWORD) return false;
  value = data != 0;
  return true;
}

bool cRegistryNode::readValueFromKey(const cString& name, DWORD& value) {
  DWORD type = 0xFFFFFFFF;
  DWORD size = sizeof value;
  const LONG result = RegQueryValueExW(getKey(), name.c_str(), nullptr, &type, reinterpret_cast<LPBYTE>(&value), &size);
  return result == ERROR_SUCCESS && type == REG_DWORD;
}

bool cRegistryNode::readValueFromKey(const cString& name, cString& value) {
  DWORD type = 0xFFFFFFFF;
  // Room for 2047 characters and a terminator; the character behind them
  // stays null, so a value stored without its terminator ends here too.
  wchar_t buffer[MaxTextLength + 2] = {};
  DWORD size = (MaxTextLength + 1) * sizeof(wchar_t);
  const LONG result =
      RegQueryValueExW(getKey(), name.c_str(), nullptr, &type, reinterpret_cast<LPBYTE>(buffer), &size);
  if (result != ERROR_SUCCESS) {
    QNLITH_TRACE(0x4000, L"readValueFromKey(%s) %s", name.c_str(), findErrorMessageText(result).c_str());
    return false;
  }
  if (type != REG_SZ && type != REG_EXPAND_SZ && type != REG_MULTI_SZ) {
    QNLITH_TRACE(0x4000, L"readValueFromKey(%s) wrong data type %d", name.c_str(), type);
    return false;
  }
  value = buffer;
  return true;
}

bool cRegistryNode::writeValueToKey(const cString& name, bool value) const {
  const DWORD data = value ? 1 : 0;
  return RegSetValueExW(getKey(), name.c_str(), 0, REG_DWORD, reinterpret_cast<const BYTE*>(&data), 4) ==
         ERROR_SUCCESS;
}

bool cRegistryNode::writeValueToKey(const cString& name, DWORD value) const {
  return RegSetValueExW(getKey(), name.c_str(), 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value), 4) ==
         ERROR_SUCCESS;
}

bool cRegistryNode::writeValueToKey(const cString& name, const cString& value) const {
  return RegSetValueExW(getKey(), name.c_str(), 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                        static_cast<DWORD>((value.length() + 1) * sizeof(wchar_t))) == ERROR_SUCCESS;
}

HKEY cRegistryNode::getKey() const { return sectionHandle != nullptr ? sectionHandle : baseHandle; }

cString cRegistryNode::composePath(const cString& other) const { return cString(baseKey + L"\\" + other); }

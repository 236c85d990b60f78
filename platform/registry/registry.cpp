#include <qnlith/win32/errors.h>
#include <qnlith/win32/registry.h>

#include <cerrno>
#include <cstring>
#include <qnlith/win32/threads.h>

#include "sync/handles.h"
#include "registry/registry_store.h"
#include "text/unicode.h"

namespace {

using qn::registry::KeyId;
using qn::registry::Name;
using qn::registry::Store;

// An open key: a row of a store and the rights its handle grants. Keys
// live in the process-wide handle table, so a closed key handle is stale
// for good, as every other kernel handle is.
struct RegistryKey final : qn::KernelObject {
  RegistryKey(std::shared_ptr<Store> store, KeyId id, REGSAM access)
      : KernelObject(qn::ObjectKind::Other), store(std::move(store)), id(id), access(access) {}
  const std::shared_ptr<Store> store;
  const KeyId id;
  const REGSAM access;
};

// The key an operation works on. The classes root has no row of its own:
// it is SOFTWARE\Classes below the machine's root, reached by `prefix`.
struct Target {
  std::shared_ptr<Store> store;
  KeyId id = 0;
  REGSAM access = 0;
  std::vector<Name> prefix;
  bool predefined = false;
};

bool isStringType(DWORD type) {
  return type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ || type == REG_LINK;
}

REGSAM normalise(REGSAM access, bool storeWritable) {
  access &= ~static_cast<REGSAM>(KEY_WOW64_RES);
  if (access & GENERIC_READ) access |= KEY_READ;
  if (access & GENERIC_WRITE) access |= KEY_WRITE;
  if (access & GENERIC_EXECUTE) access |= KEY_EXECUTE;
  if (access & GENERIC_ALL) access |= KEY_ALL_ACCESS;
  if (access & MAXIMUM_ALLOWED) access |= storeWritable ? KEY_ALL_ACCESS : KEY_READ;
  return access & (KEY_ALL_ACCESS | SYNCHRONIZE);
}

bool asksToWrite(REGSAM access) {
  return (access & (KEY_SET_VALUE | KEY_CREATE_SUB_KEY | KEY_CREATE_LINK | DELETE | WRITE_DAC | WRITE_OWNER)) != 0;
}

LONG find(HKEY key, Target& target) {
  const auto value = reinterpret_cast<std::uintptr_t>(key);
  const auto high = static_cast<std::uint32_t>(value >> 32);
  // Predefined roots are 0x80000000 and up, sign-extended or not.
  if ((high == 0 || high == 0xFFFFFFFFu) && (value & 0xFFFFFFF0u) == 0x80000000u) {
    target.predefined = true;
    target.access = KEY_ALL_ACCESS;
    switch (value & 0xF) {
      case 0:
        target.store = Store::current(Store::Kind::Machine);
        target.id = qn::registry::LocalMachineRoot;
        target.prefix = {qn::registry::makeName(L"SOFTWARE"), qn::registry::makeName(L"Classes")};
        return ERROR_SUCCESS;
      case 1:
        target.store = Store::current(Store::Kind::User);
        target.id = qn::registry::CurrentUserRoot;
        return ERROR_SUCCESS;
      case 2:
        target.store = Store::current(Store::Kind::Machine);
        target.id = qn::registry::LocalMachineRoot;
        return ERROR_SUCCESS;
      case 3:
        target.store = Store::current(Store::Kind::Machine);
        target.id = qn::registry::UsersRoot;
        return ERROR_SUCCESS;
      default: return ERROR_INVALID_HANDLE;
    }
  }
  const DWORD lastError = GetLastError();
  auto object = std::dynamic_pointer_cast<RegistryKey>(qn::HandleTable::get(reinterpret_cast<HANDLE>(key)));
  if (object == nullptr) {
    SetLastError(lastError);  // the error is the result, not the thread's
    return ERROR_INVALID_HANDLE;
  }
  target.store = object->store;
  target.id = object->id;
  target.access = object->access;
  return ERROR_SUCCESS;
}

// Finds the key itself for an operation that needs the given rights. A
// missing classes key reads as `missing`, or is made when `create` is set.
LONG findKey(HKEY key, REGSAM needed, Target& target, LONG missing = ERROR_FILE_NOT_FOUND, bool create = false) {
  if (LONG e = find(key, target); e != ERROR_SUCCESS) return e;
  if ((target.access & needed) != needed) return ERROR_ACCESS_DENIED;
  if (target.prefix.empty()) return ERROR_SUCCESS;
  KeyId id;
  bool created;
  const LONG e = create ? target.store->createKey(target.id, target.prefix, id, created)
                        : target.store->openKey(target.id, target.prefix, id);
  if (e != ERROR_SUCCESS) return e == ERROR_FILE_NOT_FOUND ? missing : e;
  target.id = id;
  target.prefix.clear();
  return ERROR_SUCCESS;
}

// The path below the target's row, the classes prefix first.
LONG pathBelow(Target& target, LPCWSTR subKey, std::vector<Name>& path) {
  std::vector<Name> names;
  if (LONG e = qn::registry::splitPath(subKey != nullptr ? subKey : L"", names); e != ERROR_SUCCESS) return e;
  path = std::move(target.prefix);
  for (auto& name : names) path.push_back(std::move(name));
  return ERROR_SUCCESS;
}

LONG newHandle(std::shared_ptr<Store> store, KeyId id, REGSAM access, PHKEY result) {
  HANDLE handle = qn::HandleTable::insert(std::make_shared<RegistryKey>(std::move(store), id, access));
  if (handle == nullptr) return ERROR_NOT_ENOUGH_MEMORY;
  *result = reinterpret_cast<HKEY>(handle);
  return ERROR_SUCCESS;
}

Name valueName(LPCWSTR name) { return qn::registry::makeName(name != nullptr ? name : L""); }

bool valueNameTooLong(LPCWSTR name) {
  return name != nullptr && qn::registry::utf16Length(name) > qn::registry::MaxValueNameLength;
}

// Whether `size` bytes at `data` can be read, without faulting and
// without disturbing errno behind the caller's back.
bool readable(const BYTE* data, DWORD size) {
  if (size == 0) return true;
  if (data == nullptr) return false;
  const int saved = errno;
  const bool bad = IsBadReadPtr(data, size) != FALSE;
  errno = saved;
  return !bad;
}

// A value as the caller's buffers hold it: string data as wchar_t (four
// bytes a character), every other type byte for byte as stored.
struct CallerData {
  std::wstring text;
  const void* bytes = nullptr;
  std::size_t size = 0;
  bool unterminated = false;  // a REG_SZ or REG_EXPAND_SZ without its final null
};

CallerData callerData(DWORD storedType, const std::string& stored, bool raw) {
  CallerData out;
  if (raw || !isStringType(storedType)) {
    out.bytes = stored.data();
    out.size = stored.size();
    return out;
  }
  out.text = qn::utf16leToWide(stored.data(), stored.size());
  out.bytes = out.text.data();
  out.size = out.text.size() * sizeof(wchar_t);
  out.unterminated = (storedType == REG_SZ || storedType == REG_EXPAND_SZ) &&
                     (out.text.empty() || out.text.back() != L'\0');
  return out;
}

// Hands a stored value to the caller: the type, the size and, when the
// buffer is large enough, the data. The size is read before the type is
// written, for callers that pass one variable for both. A string stored
// without its terminator gets one when the buffer has room for it.
LONG deliver(DWORD storedType, const std::string& stored, bool raw, LPDWORD type, LPBYTE data, LPDWORD size) {
  const DWORD capacity = size != nullptr ? *size : 0;
  const CallerData value = callerData(storedType, stored, raw);
  auto needed = static_cast<DWORD>(value.size);
  if (type != nullptr) *type = storedType;
  if (size == nullptr) return ERROR_SUCCESS;
  if (data == nullptr) {
    *size = needed;
    return ERROR_SUCCESS;
  }
  if (capacity < needed) {
    *size = needed;
    return ERROR_MORE_DATA;
  }
  if (needed > 0) std::memcpy(data, value.bytes, needed);
  if (value.unterminated && capacity - needed >= sizeof(wchar_t)) {
    const wchar_t terminator = L'\0';
    std::memcpy(data + needed, &terminator, sizeof terminator);
    needed += sizeof terminator;
  }
  *size = needed;
  return ERROR_SUCCESS;
}

LONG queryValue(HKEY key, LPCWSTR name, bool raw, LPDWORD type, LPBYTE data, LPDWORD size) {
  if (data != nullptr && size == nullptr) return ERROR_INVALID_PARAMETER;
  Target target;
  if (LONG e = findKey(key, KEY_QUERY_VALUE, target); e != ERROR_SUCCESS) return e;
  DWORD storedType = REG_NONE;
  std::string bytes;
  if (LONG e = target.store->queryValue(target.id, valueName(name), storedType, bytes); e != ERROR_SUCCESS) {
    if (e == ERROR_FILE_NOT_FOUND && size != nullptr) *size = 0;
    return e;
  }
  return deliver(storedType, bytes, raw, type, data, size);
}

LONG setValue(HKEY key, LPCWSTR name, DWORD type, const BYTE* data, DWORD size, bool raw) {
  if (!readable(data, size)) return ERROR_NOACCESS;
  if (valueNameTooLong(name)) return ERROR_INVALID_PARAMETER;
  Target target;
  if (LONG e = findKey(key, KEY_SET_VALUE, target, ERROR_FILE_NOT_FOUND, true); e != ERROR_SUCCESS) return e;
  if (raw || !isStringType(type)) return target.store->setValue(target.id, valueName(name), type, data, size);
  // The size counts the caller's wchar_t: every whole character is kept,
  // embedded nulls and all; a last partial character is not one.
  std::wstring text(size / sizeof(wchar_t), L'\0');
  if (!text.empty()) std::memcpy(text.data(), data, text.size() * sizeof(wchar_t));
  const std::string bytes = qn::wideToUtf16le(text);
  return target.store->setValue(target.id, valueName(name), type, bytes.data(), bytes.size());
}

// Copies a name with its terminator if it fits in `capacity` characters.
LONG deliverName(const std::string& utf8, LPWSTR buffer, LPDWORD capacity) {
  const std::wstring name = qn::utf8ToWide(utf8);
  if (name.size() + 1 > *capacity) return ERROR_MORE_DATA;
  std::memcpy(buffer, name.c_str(), (name.size() + 1) * sizeof(wchar_t));
  *capacity = static_cast<DWORD>(name.size());
  return ERROR_SUCCESS;
}

void clearClassAndTime(LPWSTR keyClass, LPDWORD classSize, struct _FILETIME* lastWriteTime) {
  if (keyClass != nullptr && classSize != nullptr && *classSize > 0) keyClass[0] = L'\0';
  if (classSize != nullptr) *classSize = 0;
  if (lastWriteTime != nullptr) std::memset(lastWriteTime, 0, 2 * sizeof(DWORD));
}

}  // namespace

LSTATUS WINAPI RegOpenKeyExW(HKEY key, LPCWSTR subKey, DWORD options, REGSAM access, PHKEY result) {
  if (result == nullptr) return ERROR_INVALID_PARAMETER;
  *result = nullptr;
  Target target;
  if (LONG e = find(key, target); e != ERROR_SUCCESS) return e;
  if (target.predefined && (subKey == nullptr || subKey[0] == L'\0')) {
    *result = key;
    return ERROR_SUCCESS;
  }
  std::vector<Name> path;
  if (LONG e = pathBelow(target, subKey, path); e != ERROR_SUCCESS) return e;
  KeyId id;
  if (LONG e = target.store->openKey(target.id, path, id); e != ERROR_SUCCESS) return e;
  const bool writable = target.store->writable();
  access = normalise(access, writable);
  if (asksToWrite(access) && !writable) return ERROR_ACCESS_DENIED;
  return newHandle(target.store, id, access, result);
}

LSTATUS WINAPI RegCreateKeyExW(HKEY key, LPCWSTR subKey, DWORD reserved, LPWSTR keyClass, DWORD options,
                               REGSAM access, const void* security, PHKEY result, LPDWORD disposition) {
  if (result == nullptr || subKey == nullptr) return ERROR_INVALID_PARAMETER;
  *result = nullptr;
  if (options & REG_OPTION_CREATE_LINK) return ERROR_NOT_SUPPORTED;
  // Creation is checked against the store, not the rights of `key`'s
  // handle: a key opened for reading may still gain subkeys.
  Target target;
  if (LONG e = find(key, target); e != ERROR_SUCCESS) return e;
  if (target.predefined && subKey[0] == L'\0') {
    *result = key;
    if (disposition != nullptr) *disposition = REG_OPENED_EXISTING_KEY;
    return ERROR_SUCCESS;
  }
  std::vector<Name> path;
  if (LONG e = pathBelow(target, subKey, path); e != ERROR_SUCCESS) return e;
  KeyId id;
  bool created;
  if (LONG e = target.store->createKey(target.id, path, id, created); e != ERROR_SUCCESS) return e;
  const bool writable = created || target.store->writable();
  access = normalise(access, writable);
  if (asksToWrite(access) && !writable) return ERROR_ACCESS_DENIED;
  if (LONG e = newHandle(target.store, id, access, result); e != ERROR_SUCCESS) return e;
  if (disposition != nullptr) *disposition = created ? REG_CREATED_NEW_KEY : REG_OPENED_EXISTING_KEY;
  return ERROR_SUCCESS;
}

LSTATUS WINAPI RegCloseKey(HKEY key) {
  Target target;
  if (LONG e = find(key, target); e != ERROR_SUCCESS) return e;
  if (target.predefined) return ERROR_SUCCESS;
  const DWORD lastError = GetLastError();
  const BOOL closed = qn::HandleTable::close(reinterpret_cast<HANDLE>(key));
  SetLastError(lastError);
  return closed ? ERROR_SUCCESS : ERROR_INVALID_HANDLE;
}

LSTATUS WINAPI RegQueryValueExW(HKEY key, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size) {
  if (reserved != nullptr) return ERROR_INVALID_PARAMETER;
  return queryValue(key, name, false, type, data, size);
}

LSTATUS WINAPI RegSetValueExW(HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD size) {
  return setValue(key, name, type, data, size, false);
}

LSTATUS WINAPI qnRegQueryValueBytes(HKEY key, LPCWSTR name, LPDWORD type, LPBYTE data, LPDWORD size) {
  return queryValue(key, name, true, type, data, size);
}

LSTATUS WINAPI qnRegSetValueBytes(HKEY key, LPCWSTR name, DWORD type, const BYTE* data, DWORD size) {
  return setValue(key, name, type, data, size, true);
}

LSTATUS WINAPI RegDeleteValueW(HKEY key, LPCWSTR name) {
  Target target;
  if (LONG e = findKey(key, KEY_SET_VALUE, target); e != ERROR_SUCCESS) return e;
  return target.store->deleteValue(target.id, valueName(name));
}

LSTATUS WINAPI RegDeleteKeyW(HKEY key, LPCWSTR subKey) {
  if (subKey == nullptr) return ERROR_INVALID_PARAMETER;
  // As with creation, the rights of `key`'s handle play no part.
  Target target;
  if (LONG e = find(key, target); e != ERROR_SUCCESS) return e;
  if (target.predefined && subKey[0] == L'\0') return ERROR_ACCESS_DENIED;
  std::vector<Name> path;
  if (LONG e = pathBelow(target, subKey, path); e != ERROR_SUCCESS) return e;
  return target.store->deleteKey(target.id, path);
}

LSTATUS WINAPI RegEnumKeyExW(HKEY key, DWORD index, LPWSTR name, LPDWORD nameSize, LPDWORD reserved,
                             LPWSTR keyClass, LPDWORD classSize, struct _FILETIME* lastWriteTime) {
  if (name == nullptr || nameSize == nullptr || reserved != nullptr) return ERROR_INVALID_PARAMETER;
  Target target;
  if (LONG e = findKey(key, KEY_ENUMERATE_SUB_KEYS, target, ERROR_NO_MORE_ITEMS); e != ERROR_SUCCESS) return e;
  std::string found;
  if (LONG e = target.store->enumKey(target.id, index, found); e != ERROR_SUCCESS) return e;
  if (LONG e = deliverName(found, name, nameSize); e != ERROR_SUCCESS) return e;
  clearClassAndTime(keyClass, classSize, lastWriteTime);
  return ERROR_SUCCESS;
}

LSTATUS WINAPI RegEnumValueW(HKEY key, DWORD index, LPWSTR name, LPDWORD nameSize, LPDWORD reserved, LPDWORD type,
                             LPBYTE data, LPDWORD dataSize) {
  if (name == nullptr || nameSize == nullptr || reserved != nullptr) return ERROR_INVALID_PARAMETER;
  if (data != nullptr && dataSize == nullptr) return ERROR_INVALID_PARAMETER;
  Target target;
  if (LONG e = findKey(key, KEY_QUERY_VALUE, target, ERROR_NO_MORE_ITEMS); e != ERROR_SUCCESS) return e;
  std::string found, bytes;
  DWORD storedType = REG_NONE;
  if (LONG e = target.store->enumValue(target.id, index, found, storedType, bytes); e != ERROR_SUCCESS) return e;
  if (LONG e = deliverName(found, name, nameSize); e != ERROR_SUCCESS) {
    // The name didn't fit; the caller still learns the data's type and size.
    deliver(storedType, bytes, false, type, nullptr, dataSize);
    return e;
  }
  return deliver(storedType, bytes, false, type, data, dataSize);
}

LSTATUS WINAPI RegQueryInfoKeyW(HKEY key, LPWSTR keyClass, LPDWORD classSize, LPDWORD reserved, LPDWORD subKeys,
                                LPDWORD maxSubKeyLength, LPDWORD maxClassLength, LPDWORD values,
                                LPDWORD maxValueNameLength, LPDWORD maxValueLength, LPDWORD securityDescriptorSize,
                                struct _FILETIME* lastWriteTime) {
  if (reserved != nullptr) return ERROR_INVALID_PARAMETER;
  Target target;
  qn::registry::KeyInfo info;
  const LONG e = findKey(key, KEY_QUERY_VALUE, target, ERROR_NO_MORE_ITEMS);
  if (e == ERROR_SUCCESS) {
    if (LONG f = target.store->queryInfo(target.id, info); f != ERROR_SUCCESS) return f;
  } else if (e != ERROR_NO_MORE_ITEMS) {
    return e;  // a missing classes key counts as empty
  }
  if (subKeys != nullptr) *subKeys = info.subKeys;
  if (maxSubKeyLength != nullptr) *maxSubKeyLength = info.maxSubKeyLength;
  if (maxClassLength != nullptr) *maxClassLength = 0;
  if (values != nullptr) *values = info.values;
  if (maxValueNameLength != nullptr) *maxValueNameLength = info.maxValueNameLength;
  if (maxValueLength != nullptr) *maxValueLength = info.maxValueLength;
  if (securityDescriptorSize != nullptr) *securityDescriptorSize = 0;
  clearClassAndTime(keyClass, classSize, lastWriteTime);
  return ERROR_SUCCESS;
}

LSTATUS WINAPI qnRegBeginBatch(HKEY key) {
  Target target;
  if (LONG e = find(key, target); e != ERROR_SUCCESS) return e;
  return target.store->beginBatch();
}

LSTATUS WINAPI qnRegEndBatch(HKEY key, BOOL commit) {
  Target target;
  if (LONG e = find(key, target); e != ERROR_SUCCESS) return e;
  return target.store->endBatch(commit != FALSE);
}

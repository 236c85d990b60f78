#include <qnlith/win32/resources.h>
#include <qnlith/win32/errors.h>

#include <algorithm>
#include <cwchar>

#include "errors/errors.h"
#include "modules/module_table.h"
#include "modules/resources.h"
#include "text/unicode.h"

namespace qn {

namespace {

HRSRC toHandle(const ResourceEntry* entry) { return reinterpret_cast<HRSRC>(const_cast<ResourceEntry*>(entry)); }

// The entry a resource handle stands for in the module.
const ResourceEntry* entryOf(HMODULE module, HRSRC resource, std::shared_ptr<Module>& record) {
  record = findModule(module);
  if (record == nullptr) return nullptr;
  const ResourceDirectory* directory = moduleResources(*record);
  if (directory == nullptr) return nullptr;
  const ResourceEntry* entry = directory->entryAt(resource);
  if (entry == nullptr) SetLastError(ERROR_INVALID_HANDLE);
  return entry;
}

}  // namespace

const ResourceEntry* findResource(const Module& module, LPCWSTR type, LPCWSTR name, WORD language) {
  ResourceName typeName, resourceName;
  if (!ResourceName::fromApi(type, typeName)) {
    SetLastError(ERROR_RESOURCE_TYPE_NOT_FOUND);
    return nullptr;
  }
  if (!ResourceName::fromApi(name, resourceName)) {
    SetLastError(ERROR_RESOURCE_NAME_NOT_FOUND);
    return nullptr;
  }
  const ResourceDirectory* directory = moduleResources(module);
  if (directory == nullptr) return nullptr;
  DWORD error = 0;
  const ResourceEntry* entry = directory->find(typeName, resourceName, language, error);
  if (entry == nullptr) SetLastError(error);
  return entry;
}

const ResourceEntry* findResource(HMODULE module, LPCWSTR type, LPCWSTR name, std::shared_ptr<Module>& record) {
  record = findModule(module);
  return record ? findResource(*record, type, name, MAKELANGID(LANG_NEUTRAL, SUBLANG_NEUTRAL)) : nullptr;
}

bool stringResource(const Module& module, UINT id, std::wstring& text) {
  const ResourceEntry* block =
      findResource(module, RT_STRING, MAKEINTRESOURCEW((id >> 4) + 1), MAKELANGID(LANG_NEUTRAL, SUBLANG_NEUTRAL));
  if (block == nullptr) return false;
  // Sixteen counted UTF-16 strings; an empty one is a hole in the block.
  std::size_t offset = 0;
  for (UINT index = 0; index < 16; ++index) {
    WORD length;
    Bytes chars;
    if (!block->data.u16(offset, length) || !block->data.slice(offset + 2, std::size_t{length} * 2, chars)) {
      SetLastError(ERROR_RESOURCE_NAME_NOT_FOUND);
      return false;
    }
    if (index == (id & 15)) {
      if (length == 0) {
        SetLastError(ERROR_RESOURCE_NAME_NOT_FOUND);
        return false;
      }
      text = utf16leToWide(chars.data(), chars.size());
      return true;
    }
    offset += 2 + std::size_t{length} * 2;
  }
  return false;
}

}  // namespace qn

using namespace qn;

HRSRC WINAPI FindResourceW(HMODULE module, LPCWSTR name, LPCWSTR type) {
  return FindResourceExW(module, type, name, MAKELANGID(LANG_NEUTRAL, SUBLANG_NEUTRAL));
}

HRSRC WINAPI FindResourceExW(HMODULE module, LPCWSTR type, LPCWSTR name, WORD language) {
  auto record = findModule(module);
  if (record == nullptr) return nullptr;
  return toHandle(findResource(*record, type, name, language));
}

DWORD WINAPI SizeofResource(HMODULE module, HRSRC resource) {
  std::shared_ptr<Module> record;
  const ResourceEntry* entry = entryOf(module, resource, record);
  return entry ? static_cast<DWORD>(entry->data.size()) : 0;
}

HGLOBAL WINAPI LoadResource(HMODULE module, HRSRC resource) {
  std::shared_ptr<Module> record;
  const ResourceEntry* entry = entryOf(module, resource, record);
  return entry ? const_cast<BYTE*>(entry->data.data()) : nullptr;
}

LPVOID WINAPI LockResource(HGLOBAL data) { return data; }

BOOL WINAPI FreeResource(HGLOBAL) { return FALSE; }

BOOL WINAPI EnumResourceTypesW(HMODULE module, ENUMRESTYPEPROCW callback, LONG_PTR parameter) {
  auto record = findModule(module);
  if (record == nullptr) return FALSE;
  if (callback == nullptr) return failWith(ERROR_INVALID_PARAMETER);
  const ResourceDirectory* directory = moduleResources(*record);
  if (directory == nullptr) return FALSE;
  const auto types = directory->types();
  if (types.empty()) return failWith(ERROR_RESOURCE_TYPE_NOT_FOUND);
  for (const ResourceName* type : types)
    if (!callback(module, type->forApi(), parameter)) return failWith(ERROR_RESOURCE_ENUM_USER_STOP);
  return TRUE;
}

BOOL WINAPI EnumResourceNamesW(HMODULE module, LPCWSTR type, ENUMRESNAMEPROCW callback, LONG_PTR parameter) {
  auto record = findModule(module);
  if (record == nullptr) return FALSE;
  if (callback == nullptr) return failWith(ERROR_INVALID_PARAMETER);
  const ResourceDirectory* directory = moduleResources(*record);
  if (directory == nullptr) return FALSE;
  ResourceName typeName;
  if (!ResourceName::fromApi(type, typeName)) return failWith(ERROR_RESOURCE_TYPE_NOT_FOUND);
  const auto names = directory->names(typeName);
  if (names.empty()) return failWith(ERROR_RESOURCE_TYPE_NOT_FOUND);
  for (const ResourceName* name : names)
    if (!callback(module, type, name->forApi(), parameter)) return failWith(ERROR_RESOURCE_ENUM_USER_STOP);
  return TRUE;
}

BOOL WINAPI EnumResourceLanguagesW(HMODULE module, LPCWSTR type, LPCWSTR name, ENUMRESLANGPROCW callback,
                                   LONG_PTR parameter) {
  auto record = findModule(module);
  if (record == nullptr) return FALSE;
  if (callback == nullptr) return failWith(ERROR_INVALID_PARAMETER);
  const ResourceDirectory* directory = moduleResources(*record);
  if (directory == nullptr) return FALSE;
  ResourceName typeName, resourceName;
  if (!ResourceName::fromApi(type, typeName)) return failWith(ERROR_RESOURCE_TYPE_NOT_FOUND);
  if (!ResourceName::fromApi(name, resourceName)) return failWith(ERROR_RESOURCE_NAME_NOT_FOUND);
  const auto languages = directory->languages(typeName, resourceName);
  if (languages.empty()) {
    DWORD error = 0;
    directory->find(typeName, resourceName, 0, error);
    return failWith(error);
  }
  for (WORD language : languages)
    if (!callback(module, type, name, language, parameter)) return failWith(ERROR_RESOURCE_ENUM_USER_STOP);
  return TRUE;
}

int WINAPI LoadStringW(HINSTANCE instance, UINT id, LPWSTR buffer, int bufferMax) {
  if (buffer == nullptr || bufferMax < 0) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
  }
  auto record = findModule(instance);
  if (record == nullptr) return 0;
  // A string id is 16 bits wide; the high bits of the parameter go unread.
  id = LOWORD(id);
  std::wstring text;
  if (!stringResource(*record, id, text)) {
    if (bufferMax > 0) buffer[0] = L'\0';
    return 0;
  }
  if (bufferMax == 0) {
    std::lock_guard guard(record->stringsLock);
    auto& kept = record->strings[id];
    if (kept.empty()) kept = std::move(text);
    *reinterpret_cast<LPCWSTR*>(buffer) = kept.c_str();
    return static_cast<int>(kept.size());
  }
  const std::size_t n = std::min(text.size(), static_cast<std::size_t>(bufferMax - 1));
  std::wmemcpy(buffer, text.data(), n);
  buffer[n] = L'\0';
  return static_cast<int>(n);
}

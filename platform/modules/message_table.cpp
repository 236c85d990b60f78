#include <qnlith/win32/errors.h>

#include <algorithm>

#include "modules/resources.h"
#include "text/unicode.h"

namespace qn {

namespace {

constexpr WORD UnicodeEntry = 1;

// Message table data: a count of blocks, each block a range of ids and the
// offset of its first entry; entries are a 16-bit length (header included),
// 16-bit flags (1: UTF-16, 0: the ANSI code page) and the text.
DWORD readMessage(Bytes table, DWORD id, std::wstring& text) {
  DWORD blocks;
  if (!table.u32(0, blocks) || !table.has(4, std::size_t{blocks} * 12)) return ERROR_INVALID_DATA;
  for (DWORD b = 0; b < blocks; ++b) {
    const std::size_t block = 4 + std::size_t{b} * 12;
    const DWORD low = table.dword(block), high = table.dword(block + 4);
    if (id < low || id > high) continue;
    std::size_t offset = table.dword(block + 8);
    for (DWORD skip = id - low;; --skip) {
      WORD length, flags;
      if (!table.u16(offset, length) || !table.u16(offset + 2, flags) || length < 4 || !table.has(offset, length))
        return ERROR_INVALID_DATA;
      if (skip == 0) {
        const Bytes body(table.data() + offset + 4, length - 4u);
        if (flags & UnicodeEntry) {
          text = utf16leToWide(body.data(), body.size() & ~std::size_t{1});
        } else {
          text = utf8ToWide(std::string_view(reinterpret_cast<const char*>(body.data()), body.size()));
        }
        text.resize(std::min(text.size(), text.find(L'\0')));  // entries are padded with zeros
        return ERROR_SUCCESS;
      }
      offset += length;
    }
  }
  return ERROR_MR_MID_NOT_FOUND;
}

}  // namespace

DWORD findMessage(HMODULE module, DWORD id, DWORD language, std::wstring& text) {
  auto record = findModule(module);
  if (record == nullptr) return ERROR_MOD_NOT_FOUND;
  const ResourceDirectory* directory = moduleResources(*record);
  if (directory == nullptr) return ERROR_RESOURCE_TYPE_NOT_FOUND;
  const ResourceName type = ResourceName::number(11), name = ResourceName::number(1);
  const auto present = directory->languages(type, name);
  if (present.empty()) {
    DWORD error = 0;
    directory->find(type, name, 0, error);
    return error;
  }
  std::vector<WORD> wanted;
  if (language == MAKELANGID(LANG_NEUTRAL, SUBLANG_NEUTRAL)) wanted = {0x0000, DefaultUiLanguage};
  else if (language == MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT) || language == MAKELANGID(LANG_NEUTRAL, SUBLANG_SYS_DEFAULT))
    wanted = {DefaultUiLanguage};
  else if (language <= 0xFFFF) wanted = {static_cast<WORD>(language)};
  for (WORD candidate : wanted) {
    if (std::find(present.begin(), present.end(), candidate) == present.end()) continue;
    DWORD error = 0;
    const ResourceEntry* entry = directory->find(type, name, candidate, error);
    return readMessage(entry->data, id, text);
  }
  return ERROR_RESOURCE_LANG_NOT_FOUND;
}

}  // namespace qn

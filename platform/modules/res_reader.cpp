#include "modules/res_reader.h"

#include <vector>

#include "text/unicode.h"

namespace qn {

namespace {

constexpr std::size_t NullEntrySize = 32;

// A type or name field of an entry header: 0xFFFF and a number, or a
// UTF-16 string with its terminator. Advances `offset` past it.
bool readName(Bytes header, std::size_t& offset, ResourceName& name) {
  WORD first;
  if (!header.u16(offset, first)) return false;
  if (first == 0xFFFF) {
    WORD id;
    if (!header.u16(offset + 2, id)) return false;
    name = ResourceName::number(id);
    offset += 4;
    return true;
  }
  std::size_t end = offset;
  for (WORD unit = first; unit != 0; end += 2)
    if (!header.u16(end + 2, unit)) return false;
  name = ResourceName::string(utf16leToWide(header.data() + offset, end - offset));
  offset = end + 2;
  return true;
}

}  // namespace

bool isResFile(Bytes data) {
  static const BYTE nullEntry[NullEntrySize] = {0, 0, 0, 0, 0x20, 0, 0, 0, 0xFF, 0xFF, 0, 0, 0xFF, 0xFF, 0, 0};
  return data.startsWith(reinterpret_cast<const char*>(nullEntry), NullEntrySize);
}

bool readResFile(Bytes data, ResourceDirectory& directory) {
  if (!isResFile(data)) return false;
  std::vector<ResourceEntry> found;
  std::size_t offset = NullEntrySize;
  while (offset < data.size()) {
    DWORD dataSize, headerSize;
    if (!data.u32(offset, dataSize) || !data.u32(offset + 4, headerSize)) return false;
    // The header holds the two sizes, two names of at least 4 bytes each
    // and 16 bytes of version, flags and language.
    Bytes header, body;
    if (headerSize < 32 || !data.slice(offset, headerSize, header) ||
        !data.slice(offset + headerSize, dataSize, body))
      return false;
    std::size_t field = 8;
    ResourceEntry entry;
    if (!readName(header, field, entry.type) || !readName(header, field, entry.name)) return false;
    field = alignUp(field, 4);
    WORD language;
    if (!header.has(field, 16) || !header.u16(field + 6, language)) return false;
    entry.language = language;
    entry.data = body;
    // Entries of type 0 are padding entries, as the one that opens the file.
    if (!(entry.type.isId && entry.type.id == 0)) found.push_back(std::move(entry));
    // Data is padded to four bytes; the last entry may omit its padding.
    offset = alignUp(offset + headerSize + dataSize, 4);
  }
  for (auto& entry : found) directory.add(std::move(entry));
  return true;
}

}  // namespace qn

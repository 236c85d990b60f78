#include "modules/pe_reader.h"

#include <algorithm>
#include <set>
#include <vector>

#include "text/unicode.h"

namespace qn {

namespace {

constexpr WORD Pe32Magic = 0x10B;
constexpr WORD Pe32PlusMagic = 0x20B;
constexpr DWORD ResourceDirectoryIndex = 2;
constexpr DWORD SubdirectoryFlag = 0x80000000u;

struct Section {
  DWORD virtualAddress, virtualSize, rawSize, rawOffset;
};

class PeImage {
 public:
  explicit PeImage(Bytes file) : file_(file) {}

  // Reads the headers; false when they are not those of a PE image.
  bool open(DWORD& resourceRva, DWORD& resourceSize) {
    DWORD peOffset;
    if (!isPeFile(file_) || !file_.u32(0x3C, peOffset) || !file_.startsWith("MZ", 2)) return false;
    Bytes pe;
    if (!file_.slice(peOffset, 24, pe) || !pe.startsWith("PE\0\0", 4)) return false;
    const WORD sectionCount = pe.word(6);
    const WORD optionalSize = pe.word(20);
    Bytes optional;
    if (!file_.slice(peOffset + 24, optionalSize, optional)) return false;
    WORD magic;
    if (!optional.u16(0, magic)) return false;
    std::size_t countOffset;
    if (magic == Pe32Magic) countOffset = 92;
    else if (magic == Pe32PlusMagic) countOffset = 108;
    else return false;
    DWORD directoryCount;
    if (!optional.u32(countOffset, directoryCount)) return false;
    resourceRva = resourceSize = 0;
    if (directoryCount > ResourceDirectoryIndex) {
      const std::size_t entry = countOffset + 4 + 8 * ResourceDirectoryIndex;
      if (!optional.u32(entry, resourceRva) || !optional.u32(entry + 4, resourceSize)) return false;
    }
    Bytes table;
    if (!file_.slice(std::size_t{peOffset} + 24 + optionalSize, std::size_t{sectionCount} * 40, table)) return false;
    for (WORD i = 0; i < sectionCount; ++i) {
      const std::size_t s = std::size_t{i} * 40;
      sections_.push_back({table.dword(s + 12), table.dword(s + 8), table.dword(s + 16), table.dword(s + 20)});
    }
    return true;
  }

  // The file bytes of [rva, rva + size), which must lie in one section's
  // raw data.
  bool at(DWORD rva, DWORD size, Bytes& out) const {
    for (const auto& s : sections_) {
      const std::uint64_t extent = std::max(s.virtualSize, s.rawSize);
      if (rva < s.virtualAddress || rva - s.virtualAddress >= extent) continue;
      const std::uint64_t inSection = rva - s.virtualAddress;
      if (inSection + size > s.rawSize) return false;
      return file_.slice(std::size_t{s.rawOffset} + inSection, size, out);
    }
    return false;
  }

 private:
  Bytes file_;
  std::vector<Section> sections_;
};

class ResourceWalk {
 public:
  ResourceWalk(const PeImage& image, Bytes root) : image_(image), root_(root) {}

  // Walks one directory table; `level` 0 is types, 1 names, 2 languages.
  bool directory(DWORD offset, int level, const ResourceName* type, const ResourceName* name) {
    if (!visited_.insert(offset).second) return false;  // a loop, or a table with two parents
    Bytes table;
    if (!root_.slice(offset, 16, table)) return false;
    const std::size_t count = std::size_t{table.word(12)} + table.word(14);
    Bytes entries;
    if (!root_.slice(std::size_t{offset} + 16, count * 8, entries)) return false;
    for (std::size_t i = 0; i < count; ++i) {
      const DWORD nameField = entries.dword(i * 8);
      const DWORD target = entries.dword(i * 8 + 4);
      ResourceName key;
      if (nameField & SubdirectoryFlag) {
        if (!readString(nameField & ~SubdirectoryFlag, key)) return false;
      } else {
        key = ResourceName::number(static_cast<WORD>(nameField));
      }
      const bool isTable = (target & SubdirectoryFlag) != 0;
      if (level < 2) {
        if (!isTable) return false;
        if (!directory(target & ~SubdirectoryFlag, level + 1, level == 0 ? &key : type, level == 1 ? &key : name))
          return false;
      } else {
        if (isTable || !key.isId || !leaf(target, *type, *name, key.id)) return false;
      }
    }
    return true;
  }

  std::vector<ResourceEntry> found;

 private:
  bool readString(DWORD offset, ResourceName& out) const {
    WORD length;
    Bytes text;
    if (!root_.u16(offset, length) || !root_.slice(std::size_t{offset} + 2, std::size_t{length} * 2, text))
      return false;
    out = ResourceName::string(utf16leToWide(text.data(), text.size()));
    return true;
  }

  bool leaf(DWORD offset, const ResourceName& type, const ResourceName& name, WORD language) {
    DWORD dataRva, size;
    if (!root_.u32(offset, dataRva) || !root_.u32(std::size_t{offset} + 4, size)) return false;
    ResourceEntry entry{type, name, language, {}};
    if (!image_.at(dataRva, size, entry.data)) return false;
    found.push_back(std::move(entry));
    return true;
  }

  const PeImage& image_;
  Bytes root_;
  std::set<DWORD> visited_;
};

}  // namespace

bool isPeFile(Bytes file) { return file.startsWith("MZ", 2); }

PeResult readPeResources(Bytes file, ResourceDirectory& directory) {
  PeImage image(file);
  DWORD rva, size;
  if (!image.open(rva, size)) return PeResult::Malformed;
  if (rva == 0 || size == 0) return PeResult::NoResources;
  // Directory offsets are relative to the start of the resource data, which
  // the data directory sizes; tables may lie anywhere in its section.
  Bytes root;
  if (!image.at(rva, size, root)) return PeResult::Malformed;
  ResourceWalk walk(image, root);
  if (!walk.directory(0, 0, nullptr, nullptr)) return PeResult::Malformed;
  for (auto& entry : walk.found) directory.add(std::move(entry));
  return PeResult::Ok;
}

}  // namespace qn

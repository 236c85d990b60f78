#include "modules/elf_reader.h"

#include <cstring>

#include "modules/res_reader.h"

namespace qn {

namespace {

constexpr DWORD PtInterp = 3;
constexpr DWORD PtNote = 4;
constexpr WORD EtExec = 2;
constexpr WORD EtDyn = 3;

struct ElfHeader {
  bool is64;
  WORD type;
  ULONGLONG entry;
  ULONGLONG phoff;
  WORD phentsize;
  WORD phnum;
};

struct ProgramHeader {
  DWORD type;
  ULONGLONG offset, fileSize, align;
};

bool readHeader(Bytes file, ElfHeader& h) {
  BYTE elfClass, encoding;
  if (!isElfFile(file) || !file.u8(4, elfClass) || !file.u8(5, encoding) || encoding != 1) return false;
  if (elfClass == 2) {
    h.is64 = true;
    if (!file.u16(16, h.type) || !file.u64(24, h.entry) || !file.u64(32, h.phoff) || !file.u16(54, h.phentsize) ||
        !file.u16(56, h.phnum))
      return false;
    return h.phentsize >= 56;
  }
  if (elfClass == 1) {
    h.is64 = false;
    DWORD entry, phoff;
    if (!file.u16(16, h.type) || !file.u32(24, entry) || !file.u32(28, phoff) || !file.u16(42, h.phentsize) ||
        !file.u16(44, h.phnum))
      return false;
    h.entry = entry;
    h.phoff = phoff;
    return h.phentsize >= 32;
  }
  return false;
}

bool readProgramHeader(Bytes file, const ElfHeader& h, WORD index, ProgramHeader& p) {
  Bytes entry;
  if (h.phoff > file.size() || !file.slice(h.phoff + std::size_t{index} * h.phentsize, h.phentsize, entry))
    return false;
  if (h.is64) {
    return entry.u32(0, p.type) && entry.u64(8, p.offset) && entry.u64(32, p.fileSize) && entry.u64(48, p.align);
  }
  DWORD offset, size, align;
  if (!entry.u32(0, p.type) || !entry.u32(4, offset) || !entry.u32(16, size) || !entry.u32(28, align)) return false;
  p.offset = offset;
  p.fileSize = size;
  p.align = align;
  return true;
}

}  // namespace

bool isElfFile(Bytes file) { return file.startsWith("\x7F" "ELF", 4); }

bool forEachResourceNote(Bytes notes, std::size_t alignment, const std::function<bool(Bytes)>& note) {
  if (alignment != 8) alignment = 4;
  std::size_t offset = 0;
  while (offset < notes.size()) {
    DWORD nameSize, descSize, type;
    if (!notes.u32(offset, nameSize) || !notes.u32(offset + 4, descSize) || !notes.u32(offset + 8, type))
      return false;
    const std::size_t name = offset + 12;
    const std::size_t desc = alignUp(name + nameSize, alignment);
    if (!notes.has(name, nameSize) || !notes.has(desc, descSize)) return false;
    if (type == ResourceNoteType && nameSize == sizeof(ResourceNoteOwner) &&
        std::memcmp(notes.data() + name, ResourceNoteOwner, nameSize) == 0) {
      Bytes body;
      notes.slice(desc, descSize, body);
      if (!note(body)) return false;
    }
    offset = alignUp(desc + descSize, alignment);
  }
  return true;
}

ElfResult readElfFileResources(Bytes file, ResourceDirectory& directory) {
  ElfHeader h;
  if (!readHeader(file, h)) return ElfResult::Malformed;
  ResourceDirectory found;
  bool any = false;
  for (WORD i = 0; i < h.phnum; ++i) {
    ProgramHeader p;
    if (!readProgramHeader(file, h, i, p)) return ElfResult::Malformed;
    if (p.type != PtNote) continue;
    Bytes notes;
    if (p.offset > file.size() || !file.slice(p.offset, p.fileSize, notes)) return ElfResult::Malformed;
    const bool wellFormed = forEachResourceNote(notes, p.align, [&](Bytes res) {
      any = true;
      return readResFile(res, found);
    });
    if (!wellFormed) return ElfResult::Malformed;
  }
  if (!any) return ElfResult::NoResources;
  for (const auto& entry : found.entries()) directory.add(entry);
  return ElfResult::Ok;
}

bool isElfExecutable(Bytes file) {
  ElfHeader h;
  if (!readHeader(file, h)) return false;
  if (h.type == EtExec) return true;
  if (h.type != EtDyn || h.entry == 0) return false;
  for (WORD i = 0; i < h.phnum; ++i) {
    ProgramHeader p;
    if (readProgramHeader(file, h, i, p) && p.type == PtInterp) return true;
  }
  return false;
}

}  // namespace qn

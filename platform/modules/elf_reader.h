// Resources of ELF modules. A module built with qnlith_add_resources
// carries each compiled .res file in an ELF note (owner "Qnlith", type 1) in
// an allocated note section, so that the note is mapped with the module and
// listed in its PT_NOTE program headers: the loaded module's resources are
// found from its program headers alone, stripped or not, and the same notes
// can be read from the file without running it.
#pragma once

#include <functional>

#include "../errors/api.h"
#include "bytes.h"
#include "resource_directory.h"

namespace qn {

constexpr char ResourceNoteOwner[] = "Qnlith";
constexpr DWORD ResourceNoteType = 1;

// True when the bytes begin with the ELF identification.
QN_INTERNAL bool isElfFile(Bytes file);

enum class ElfResult { Ok, NoResources, Malformed };

// Calls `note` with the descriptor of every resource note in a run of notes
// (the contents of one PT_NOTE segment) of the given alignment. False when
// the run is malformed.
QN_INTERNAL bool forEachResourceNote(Bytes notes, std::size_t alignment, const std::function<bool(Bytes)>& note);

// Reads the resource notes of an ELF file (either class, little-endian)
// through its program headers.
QN_INTERNAL ElfResult readElfFileResources(Bytes file, ResourceDirectory& directory);

// True for an ELF file of type executable, or a position-independent
// executable (a shared object with an interpreter and an entry point).
QN_INTERNAL bool isElfExecutable(Bytes file);

}  // namespace qn

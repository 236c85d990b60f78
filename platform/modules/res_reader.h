// The .res format that resource compilers write: a run of entries, each a
// header (data size, header size, type, name, memory flags, language, ...)
// and the data, both padded to four bytes, after an empty first entry that
// marks the file. Modules built here carry their resources in this form.
#pragma once

#include "../errors/api.h"
#include "bytes.h"
#include "resource_directory.h"

namespace qn {

// True when the bytes begin with the empty entry that opens a .res file.
QN_INTERNAL bool isResFile(Bytes data);

// Adds every entry of a .res image to the directory. Entries point into
// `data`, which must outlive the directory. False, with nothing added,
// when the data is not a well-formed .res image.
QN_INTERNAL bool readResFile(Bytes data, ResourceDirectory& directory);

}  // namespace qn

// The resource directory of a Windows PE image (PE32 or PE32+) read from
// its file: headers, section table, and the three levels of type, name
// and language below the resource data directory.
#pragma once

#include <qnlith/win32/types.h>

#include "../errors/api.h"
#include "bytes.h"
#include "resource_directory.h"

namespace qn {

// True when the bytes begin with the DOS header of an executable image.
QN_INTERNAL bool isPeFile(Bytes file);

enum class PeResult { Ok, NoResources, Malformed };

// Adds the image's resources to the directory; entries point into `file`.
// Malformed headers or a broken resource directory (an offset outside the
// section, a loop, a directory shared by two parents) give Malformed and
// add nothing.
QN_INTERNAL PeResult readPeResources(Bytes file, ResourceDirectory& directory);

}  // namespace qn

// The one road from a Win32 path to the path Linux opens. Every call of the
// layer that takes a file name goes through `toSystemPath`, so that all of
// them agree on separators, limits, invalid names and error numbers.
#pragma once

#include <string>
#include <string_view>
#include <qnlith/win32/types.h>

#include "../errors/api.h"

namespace qn {

// Checks a Win32 path and gives its Linux form: backslashes become slashes,
// "." and ".." are resolved by the text alone (as Win32 does), trailing dots
// and blanks of the last name go, a drive letter stays as text, and the text
// is UTF-8. Fails, with the last error set, for a null or empty path (3), a
// path longer than LongestPath characters (206) and a name holding a
// wildcard, quote, bar, angle bracket or control character (123). Paths of
// MAX_PATH characters and more are taken, as by a process that opted into
// long paths; Linux itself refuses a name over 255 bytes and a path over
// 4095 bytes (ENAMETOOLONG, 206 too).
QN_INTERNAL bool toSystemPath(LPCWSTR path, std::string& out);

// The longest path Win32 takes in characters, terminator excluded.
constexpr std::size_t LongestPath = 32767;
// The longest name of one component, in characters.
constexpr std::size_t LongestName = 255;

// A name or path from the system as the layer hands it out, such that
// handed back it reaches the same file: a character a Win32 name can't hold
// (a backslash, `* ? < > | "`, a control character, a trailing dot or
// blank) stands as U+F000 plus its code, a byte that is no UTF-8 as U+F000
// plus the byte; toSystemPath turns each back.
QN_INTERNAL std::wstring nameFromSystem(std::string_view name);
QN_INTERNAL std::wstring pathFromSystem(std::string_view path);
// The other way, for text that is no path: stand-ins become what they stand
// for, the rest UTF-8.
QN_INTERNAL std::string nameToSystem(std::wstring_view name);

// The lexical resolution of toSystemPath on wide text, without the checks.
QN_INTERNAL std::wstring normalizePath(std::wstring_view path);

// ERROR_FILE_NOT_FOUND when the directory of a missing path exists,
// ERROR_PATH_NOT_FOUND when that is missing too.
QN_INTERNAL DWORD missingPathError(const std::string& path);

// Sets the last error for a failed system call on `path`: ENOENT becomes 2 or
// 3 as above, anything else goes through the errno mapping. Returns FALSE.
QN_INTERNAL BOOL failWithPathErrno(const std::string& path, int error);

// The last component of a Linux path, a trailing slash ignored.
QN_INTERNAL std::string_view lastComponent(std::string_view path);

// The directory part of a Linux path: "." for a bare name, "/" for the root.
QN_INTERNAL std::string directoryOf(const std::string& path);

}  // namespace qn

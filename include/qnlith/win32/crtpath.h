/// @file
/// The C run time's path functions, wide forms. They work on the text of a
/// path only, with the drive, backslash and forward slash of Win32 paths;
/// _wsearchenv_s also looks at the file system and splits its variable at ':'.
#pragma once

#include <cerrno>
#include <cstddef>
#include <qnlith/win32/types.h>

/// An errno value as a result: 0 for success.
typedef int errno_t;

/// The buffer sizes, in characters with the terminator, that the run time
/// gives a path and its drive, directory, name and extension.
///@{
#define _MAX_PATH 260
#define _MAX_DRIVE 3
#define _MAX_DIR 256
#define _MAX_FNAME 256
#define _MAX_EXT 256
///@}

extern "C" {
/// Composes drive, directory, name and extension (any may be null or empty).
/// EINVAL for a null or zero-sized buffer (left alone), ERANGE when the result
/// does not fit (the buffer becomes empty).
QN_PLATFORM_API errno_t _wmakepath_s(wchar_t* path, std::size_t sizeInWords, const wchar_t* drive,
                                     const wchar_t* dir, const wchar_t* fname, const wchar_t* ext);

/// Splits a path. A part that isn't wanted is passed as null with size 0.
/// EINVAL for a null path or a buffer whose size doesn't agree with its
/// pointer (buffers left alone), ERANGE when a part doesn't fit its buffer
/// (every buffer becomes empty).
QN_PLATFORM_API errno_t _wsplitpath_s(const wchar_t* path, wchar_t* drive, std::size_t driveNumberOfElements,
                                      wchar_t* dir, std::size_t dirNumberOfElements, wchar_t* fname,
                                      std::size_t nameNumberOfElements, wchar_t* ext,
                                      std::size_t extNumberOfElements);

/// Looks for the file in the current directory, then in each directory of the
/// environment variable. The full path of the first hit goes to the buffer.
/// ENOENT (buffer empty) when nothing is found or the name is empty; EINVAL
/// for a null name, variable or buffer; ERANGE for a zero-sized buffer (left
/// alone) or a hit that doesn't fit (buffer empty).
QN_PLATFORM_API errno_t _wsearchenv_s(const wchar_t* filename, const wchar_t* varname, wchar_t* pathname,
                                      std::size_t numberOfElements);
}

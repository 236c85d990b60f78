// The insert language of message texts, apart from where a text comes
// from: FormatMessageW hands it a string, a system text or (from modules)
// a message-table entry, and gets the finished message back.
#pragma once

#include <cstdarg>
#include <string>
#include <string_view>
#include <qnlith/win32/types.h>

#include "../errors/api.h"

namespace qn {

// Where the values of the inserts %1 to %99 come from: an array of DWORD_PTR
// (insert n is element n - 1), or a va_list that is read forward in the
// order of the insert numbers. Neither means the caller gave none.
struct MessageArguments {
  const DWORD_PTR* array = nullptr;
  va_list* list = nullptr;
};

// The longest message, terminator included: far beyond what Windows
// formats in practice, and a bound on what one call may allocate.
constexpr std::size_t MessageLengthLimit = 16 * 1024 * 1024 - 1;

// Expands `pattern` into `out`, reading arguments only as their inserts are
// reached, as FormatMessageW writes into the caller's buffer as it goes.
// `lineWidth` is the low byte of FormatMessageW's flags: 0 keeps the
// pattern's line breaks (each as CR LF), 0xFF turns them into blanks, any
// other value also wraps lines (see wrapLine). With `ignoreInserts` every %
// sequence but %0, %n, %r and %t stays as written. Returns
// ERROR_SUCCESS; ERROR_INVALID_PARAMETER for a lone % at the end, inserts
// without arguments, a malformed or floating-point insert format;
// ERROR_INSUFFICIENT_BUFFER as soon as `out` reaches `capacity` characters.
// On failure `out` holds what was written before it.
QN_INTERNAL DWORD expandMessage(std::wstring_view pattern, const MessageArguments& arguments, bool ignoreInserts,
                                unsigned lineWidth, std::size_t capacity, std::wstring& out);

}  // namespace qn

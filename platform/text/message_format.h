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

// The longest message: 64K characters with the terminator.
constexpr std::size_t MessageLengthLimit = 65535;

// Expands `pattern` into `out`. `lineWidth` is the low byte of
// FormatMessageW's flags: 0 keeps the pattern's line breaks (each as CR LF),
// 0xFF turns them into blanks, any other value also wraps lines at white
// space to at most that many characters. With `ignoreInserts` an insert
// stays as it is written. Returns ERROR_SUCCESS, ERROR_INVALID_PARAMETER
// (inserts without arguments, a malformed or floating-point insert format)
// or ERROR_MORE_DATA (a result beyond MessageLengthLimit).
QN_INTERNAL DWORD expandMessage(std::wstring_view pattern, const MessageArguments& arguments, bool ignoreInserts,
                                unsigned lineWidth, std::wstring& out);

}  // namespace qn

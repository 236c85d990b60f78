// Splitting a command line into arguments as Windows programs do.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "../errors/api.h"

namespace qn {

// Arguments are separated by blanks and tabs. Double quotes group blanks
// into an argument and are removed; inside quotes, two double quotes stand
// for one. Backslashes are literal except before a double quote: 2n of them
// and a quote give n backslashes and a quote that groups; 2n+1 of them and
// a quote give n backslashes and a literal quote.
QN_INTERNAL std::vector<std::wstring> splitCommandLine(std::wstring_view line);

}  // namespace qn

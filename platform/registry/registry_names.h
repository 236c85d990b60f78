// Names of registry keys and values: how they are compared, measured and
// split from a path.
#pragma once

#include <string>
#include <string_view>
#include <vector>
#include <qnlith/win32/types.h>

#include "../errors/api.h"

namespace qn::registry {

// Longest key name and value name, in 16-bit characters.
constexpr std::size_t MaxKeyNameLength = 255;
constexpr std::size_t MaxValueNameLength = 16383;

// The character that stands for c when names are compared without case:
// its capital in the Latin, Greek, Cyrillic and Armenian alphabets (and
// the Roman numerals, circled and full-width letters); any other character
// stands for itself. Fixed here rather than taken from a locale, because
// the store keeps these forms and every process must agree on them.
QN_INTERNAL char32_t foldCase(char32_t c);

// A name as given (UTF-8) and its case-folded form, the store's lookup key.
struct Name {
  std::string text;
  std::string fold;
};

QN_INTERNAL Name makeName(std::wstring_view wide);

// Length in 16-bit characters, as Windows counts it.
QN_INTERNAL std::size_t utf16Length(std::wstring_view wide);

// Splits a subkey path at its backslashes. A single trailing backslash is
// ignored. Fails with ERROR_BAD_PATHNAME for a leading backslash and with
// ERROR_INVALID_PARAMETER for an empty name inside the path or a name
// longer than MaxKeyNameLength.
QN_INTERNAL LONG splitPath(std::wstring_view path, std::vector<Name>& names);

}  // namespace qn::registry

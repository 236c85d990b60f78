// Conversions between the layer's wide text (UTF-32 in wchar_t) and the
// encodings found at its borders: UTF-8 (file names, terminals, the narrow
// code page) and UTF-16LE (resources, registry values, byte order marks).
// Ill-formed input never fails here: each maximal ill-formed subpart becomes
// U+FFFD. Callers that must refuse ill-formed text ask `isWellFormed...`.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "../errors/api.h"

namespace qn {

constexpr char32_t ReplacementCharacter = 0xFFFD;

// Decodes one character from [p, end), advancing p by at least one byte.
// Returns the replacement character for an ill-formed subpart and sets
// `wellFormed` to false then.
QN_INTERNAL char32_t decodeUtf8(const unsigned char*& p, const unsigned char* end, bool& wellFormed);

// Appends the UTF-8 form of c; a surrogate or a value beyond U+10FFFF is
// written as U+FFFD. Returns false in that case.
QN_INTERNAL bool encodeUtf8(char32_t c, std::string& out);

// Bytes that encodeUtf8 writes for c.
QN_INTERNAL std::size_t utf8Length(char32_t c);

QN_INTERNAL std::wstring utf8ToWide(std::string_view text);
QN_INTERNAL std::string wideToUtf8(std::wstring_view text);

// UTF-16 code units in little-endian byte order, as stored on disk.
QN_INTERNAL std::wstring utf16leToWide(const void* data, std::size_t bytes);
QN_INTERNAL std::string wideToUtf16le(std::wstring_view text);

// The next Unicode scalar of wide text: a UTF-16 surrogate pair that stands
// in two wchar_t is joined; a lone surrogate or a value past U+10FFFF is
// reported ill-formed. Advances i by one or two.
QN_INTERNAL char32_t nextWideScalar(std::wstring_view text, std::size_t& i, bool& wellFormed);

// Case-insensitive comparison as Win32 names compare: each UTF-16 unit by
// its upper case, so characters beyond the BMP compare as they are, and no
// other character becomes an ASCII letter (dotless i and long s stay apart
// from I and S). Neither touches errno nor the thread's last error.
QN_INTERNAL wchar_t upperCase(wchar_t c);
QN_INTERNAL std::wstring upperCase(std::wstring_view text);
// Negative, 0 or positive, ordered by upper-case code point, a prefix first.
QN_INTERNAL int compareIgnoringCase(std::wstring_view a, std::wstring_view b);
QN_INTERNAL bool equalIgnoringCase(std::wstring_view a, std::wstring_view b);

}  // namespace qn

#include "text/message_format.h"

#include <array>
#include <vector>
#include <qnlith/win32/errors.h>
#include <qnlith/win32/message.h>

#include "text/wide_format.h"

namespace qn {

namespace {

constexpr int MaximumInsert = 99;

struct Insert {
  int number = 0;
  Directive directive;
  int stars = 0;  // values taken for * width and precision
};

struct Token {
  enum Kind { Text, LineBreak, InsertRef } kind;
  std::wstring_view text;
  std::size_t insert = 0;
};

const std::wstring_view CrLf = L"\r\n";
const std::wstring_view Cr = L"\r";
const std::wstring_view Tab = L"\t";

// Splits the pattern into text, the pattern's own line breaks and inserts.
DWORD tokenize(std::wstring_view pattern, bool ignoreInserts, std::vector<Token>& tokens,
               std::vector<Insert>& inserts) {
  const std::size_t n = pattern.size();
  std::size_t i = 0;
  std::size_t run = 0;
  auto flush = [&](std::size_t end) {
    if (end > run) tokens.push_back({Token::Text, pattern.substr(run, end - run)});
  };
  while (i < n) {
    const wchar_t c = pattern[i];
    if (c == L'\r' || c == L'\n') {
      flush(i);
      i += (c == L'\r' && i + 1 < n && pattern[i + 1] == L'\n') ? 2 : 1;
      tokens.push_back({Token::LineBreak, {}});
      run = i;
      continue;
    }
    if (c != L'%') {
      ++i;
      continue;
    }
    flush(i);
    if (i + 1 >= n) return ERROR_SUCCESS;  // a lone % at the end stands for nothing
    const wchar_t d = pattern[i + 1];
    if (d == L'0') return ERROR_SUCCESS;   // %0 ends the message, without a line break
    if (d >= L'1' && d <= L'9') {
      std::size_t j = i + 2;
      int number = d - L'0';
      if (j < n && pattern[j] >= L'0' && pattern[j] <= L'9') number = number * 10 + (pattern[j++] - L'0');
      std::size_t specBegin = 0, specEnd = 0;
      if (j < n && pattern[j] == L'!') {
        const std::size_t close = pattern.find(L'!', j + 1);
        if (close != std::wstring_view::npos) {
          specBegin = j + 1;
          specEnd = close;
          j = close + 1;
        } else if (!ignoreInserts) {
          return ERROR_INVALID_PARAMETER;
        }
      }
      if (ignoreInserts) {
        tokens.push_back({Token::Text, pattern.substr(i, j - i)});
      } else {
        Insert insert;
        insert.number = number;
        const std::wstring_view format = specEnd > specBegin ? pattern.substr(specBegin, specEnd - specBegin)
                                                             : (specEnd == 0 ? std::wstring_view(L"s") : L"");
        if (format.empty() ||
            parseDirective(format.data(), format.data() + format.size(), insert.directive) != format.size() ||
            insert.directive.isFloating())
          return ERROR_INVALID_PARAMETER;
        insert.stars = (insert.directive.widthFromArgument ? 1 : 0) + (insert.directive.precisionFromArgument ? 1 : 0);
        tokens.push_back({Token::InsertRef, {}, inserts.size()});
        inserts.push_back(insert);
      }
      i = j;
      run = i;
      continue;
    }
    switch (d) {
      case L'n': tokens.push_back({Token::Text, CrLf}); break;
      case L'r': tokens.push_back({Token::Text, Cr}); break;
      case L't': tokens.push_back({Token::Text, Tab}); break;
      default: tokens.push_back({Token::Text, pattern.substr(i + 1, 1)}); break;  // %% %. %! %space and the rest
    }
    i += 2;
    run = i;
  }
  flush(n);
  return ERROR_SUCCESS;
}

// An insert with its width, precision and value settled.
struct ResolvedInsert {
  Directive directive;
  FormatArgument value;
};

void applyWidth(Directive& directive, long long width) {
  if (width < 0) {
    directive.leftAlign = true;
    width = width < -0x7FFFFFFFLL ? 0x7FFFFFFFLL : -width;
  }
  directive.width = static_cast<int>(width > 0x7FFFFFFFLL ? 0x7FFFFFFFLL : width);
}

void applyPrecision(Directive& directive, long long precision) {
  directive.precision = precision < 0 ? -1 : static_cast<int>(precision > 0x7FFFFFFFLL ? 0x7FFFFFFFLL : precision);
}

// An array element as the value its conversion names: 32-bit integers unless
// the format says 64 bits, as on Windows.
FormatArgument fromArrayElement(const Directive& directive, DWORD_PTR raw) {
  FormatArgument value;
  if (directive.isInteger()) {
    const bool isSigned = directive.conversion == L'd' || directive.conversion == L'i';
    switch (directive.size) {
      case FormatSize::LongLong:
      case FormatSize::Pointer: value.integer = raw; break;
      case FormatSize::Char:
        value.integer = isSigned ? static_cast<std::uint64_t>(static_cast<std::int8_t>(raw)) : (raw & 0xFF);
        break;
      case FormatSize::Short:
        value.integer = isSigned ? static_cast<std::uint64_t>(static_cast<std::int16_t>(raw)) : (raw & 0xFFFF);
        break;
      default:
        value.integer = isSigned ? static_cast<std::uint64_t>(static_cast<std::int32_t>(raw)) : (raw & 0xFFFFFFFFu);
        break;
    }
  } else if (directive.conversion == L'c' || directive.conversion == L'C') {
    value.integer = directive.takesNarrowText() ? (raw & 0xFF) : (raw & 0xFFFFFFFFu);
  } else {
    value.pointer = reinterpret_cast<const void*>(raw);
  }
  return value;
}

void resolveFromArray(const std::vector<Insert>& inserts, const DWORD_PTR* array,
                      std::vector<ResolvedInsert>& resolved) {
  for (const Insert& insert : inserts) {
    ResolvedInsert r{insert.directive, {}};
    std::size_t k = static_cast<std::size_t>(insert.number) - 1;
    if (insert.directive.widthFromArgument) applyWidth(r.directive, static_cast<LONG>(array[k++]));
    if (insert.directive.precisionFromArgument) applyPrecision(r.directive, static_cast<LONG>(array[k++]));
    r.value = fromArrayElement(insert.directive, array[k]);
    resolved.push_back(r);
  }
}

// Which values a conversion reads, so that an insert used twice is read once
// and formatted alike.
bool sameArgumentType(const Directive& a, const Directive& b) {
  auto kind = [](const Directive& s) {
    if (s.isInteger()) return s.size == FormatSize::LongLong || s.size == FormatSize::Pointer ? 1 : 2;
    if (s.conversion == L'c' || s.conversion == L'C') return s.takesNarrowText() ? 3 : 4;
    return 5;  // strings and pointers
  };
  return kind(a) == kind(b);
}

// A va_list is read forward once, insert number by insert number, each value
// with the type its insert's format names. A * takes its value from the list
// before the insert's own; as documented for lists, an insert with two *
// also uses up the next insert number.
DWORD resolveFromList(const std::vector<Insert>& inserts, va_list* list, std::vector<ResolvedInsert>& resolved) {
  std::array<int, MaximumInsert + 2> first;
  first.fill(-1);
  std::array<bool, MaximumInsert + 2> usedUp{};
  int highest = 0;
  for (std::size_t i = 0; i < inserts.size(); ++i) {
    const int number = inserts[i].number;
    if (first[number] < 0) first[number] = static_cast<int>(i);
    if (number > highest) highest = number;
  }
  std::array<ResolvedInsert, MaximumInsert + 1> values{};
  for (int number = 1; number <= highest; ++number) {
    if (usedUp[number]) continue;
    if (first[number] < 0) {
      (void)va_arg(*list, DWORD_PTR);  // a value no insert names: one pointer-sized slot
      continue;
    }
    const Insert& insert = inserts[static_cast<std::size_t>(first[number])];
    ResolvedInsert& r = values[number];
    r.directive = insert.directive;
    if (insert.directive.widthFromArgument) applyWidth(r.directive, va_arg(*list, int));
    if (insert.directive.precisionFromArgument) applyPrecision(r.directive, va_arg(*list, int));
    r.value = readFormatArgument(insert.directive, list);
    for (int extra = 1; extra < insert.stars && number + extra <= MaximumInsert; ++extra) usedUp[number + extra] = true;
  }
  for (const Insert& insert : inserts) {
    const ResolvedInsert& read = values[insert.number];
    const Insert& firstUse = inserts[static_cast<std::size_t>(first[insert.number])];
    if (usedUp[insert.number] || insert.directive.widthFromArgument != firstUse.directive.widthFromArgument ||
        insert.directive.precisionFromArgument != firstUse.directive.precisionFromArgument ||
        !sameArgumentType(insert.directive, firstUse.directive))
      return ERROR_INVALID_PARAMETER;
    ResolvedInsert r{insert.directive, read.value};
    if (insert.directive.widthFromArgument) {
      r.directive.width = read.directive.width;
      r.directive.leftAlign = insert.directive.leftAlign || read.directive.leftAlign;
    }
    if (insert.directive.precisionFromArgument) r.directive.precision = read.directive.precision;
    resolved.push_back(r);
  }
  return ERROR_SUCCESS;
}

bool isBlank(wchar_t c) { return c == L' ' || c == L'\t'; }

// Breaks lines at white space so that none is longer than `width`, unless a
// single word is. Existing CR LF pairs stay and start a new line.
std::wstring wrapLines(const std::wstring& text, std::size_t width) {
  std::wstring result;
  result.reserve(text.size() + text.size() / width * 2 + 2);
  const std::size_t n = text.size();
  std::size_t line = 0;
  std::size_t i = 0;
  auto atBreak = [&](std::size_t k) { return text[k] == L'\r' && k + 1 < n && text[k + 1] == L'\n'; };
  while (i < n) {
    if (atBreak(i)) {
      result += CrLf;
      line = 0;
      i += 2;
      continue;
    }
    const std::size_t blanks = i;
    while (i < n && isBlank(text[i])) ++i;
    const std::size_t word = i;
    while (i < n && !isBlank(text[i]) && !atBreak(i)) ++i;
    const std::size_t blankCount = word - blanks;
    const std::size_t wordLength = i - word;
    if (wordLength > 0 && line > 0 && line + blankCount + wordLength > width) {
      result += CrLf;
      line = 0;
    } else {
      result.append(text, blanks, blankCount);
      line += blankCount;
    }
    result.append(text, word, wordLength);
    line += wordLength;
  }
  return result;
}

}  // namespace

DWORD expandMessage(std::wstring_view pattern, const MessageArguments& arguments, bool ignoreInserts,
                    unsigned lineWidth, std::wstring& out) {
  out.clear();
  const std::size_t terminator = pattern.find(L'\0');
  if (terminator != std::wstring_view::npos) pattern = pattern.substr(0, terminator);

  std::vector<Token> tokens;
  std::vector<Insert> inserts;
  if (const DWORD error = tokenize(pattern, ignoreInserts, tokens, inserts); error != ERROR_SUCCESS) return error;

  std::vector<ResolvedInsert> resolved;
  if (!inserts.empty()) {
    if (arguments.array != nullptr) resolveFromArray(inserts, arguments.array, resolved);
    else if (arguments.list != nullptr) {
      if (const DWORD error = resolveFromList(inserts, arguments.list, resolved); error != ERROR_SUCCESS) return error;
    } else {
      return ERROR_INVALID_PARAMETER;
    }
  }

  lineWidth &= FORMAT_MESSAGE_MAX_WIDTH_MASK;
  const std::wstring_view lineBreak = lineWidth == 0 ? CrLf : std::wstring_view(L" ");
  for (const Token& token : tokens) {
    std::wstring_view text = token.text;
    if (token.kind == Token::LineBreak) text = lineBreak;
    if (token.kind == Token::InsertRef) {
      const ResolvedInsert& insert = resolved[token.insert];
      FormatSink measure(nullptr, 0);
      formatArgument(insert.directive, insert.value, measure);
      if (measure.length() > MessageLengthLimit - out.size()) return ERROR_MORE_DATA;
      const std::size_t at = out.size();
      out.resize(at + measure.length());
      FormatSink sink(out.data() + at, measure.length());
      formatArgument(insert.directive, insert.value, sink);
      continue;
    }
    if (text.size() > MessageLengthLimit - out.size()) return ERROR_MORE_DATA;
    out += text;
  }
  if (lineWidth != 0 && lineWidth != FORMAT_MESSAGE_MAX_WIDTH_MASK) {
    out = wrapLines(out, lineWidth);
    if (out.size() > MessageLengthLimit) return ERROR_MORE_DATA;
  }
  return ERROR_SUCCESS;
}

}  // namespace qn

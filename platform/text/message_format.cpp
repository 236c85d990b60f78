#include "text/message_format.h"

#include <algorithm>
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

// Splits the pattern into text, the pattern's own line breaks and inserts,
// up to its end, a %0, or the first fault, whose error it returns: what
// comes before a fault is still written.
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
    if (i + 1 >= n) return ERROR_INVALID_PARAMETER;  // a lone % at the end
    const wchar_t d = pattern[i + 1];
    if (d == L'0') return ERROR_SUCCESS;  // %0 ends the message, without a line break
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
      default:  // %% %. %! %space and the rest: the character, or all of it kept
        tokens.push_back({Token::Text, pattern.substr(ignoreInserts ? i : i + 1, ignoreInserts ? 2 : 1)});
        break;
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

// What type a value slot was read with, so that one read twice is read alike.
enum class SlotKind { Star, Integer64, Integer32, NarrowChar, WideChar, Pointer, Unnamed };

SlotKind kindOf(const Directive& d) {
  if (d.isInteger()) {
    const bool is64 = d.size == FormatSize::LongLong || d.size == FormatSize::Pointer;
    return is64 ? SlotKind::Integer64 : SlotKind::Integer32;
  }
  if (d.conversion == L'c' || d.conversion == L'C') {
    return d.takesNarrowText() ? SlotKind::NarrowChar : SlotKind::WideChar;
  }
  return SlotKind::Pointer;  // strings and pointers
}

// The values of the inserts. An insert's number names the slot of its first
// value (its * width, if any); on its first use its further values follow
// that slot, on a later use they are taken afresh, after the last slot read.
//
// An array's slot n - 1 belongs to insert n. A va_list is read forward, slot
// by slot, only as far as the inserts reached so far need: insert numbers
// take their slots in order, each as many as its first use reads, a number no
// insert names one pointer-sized slot, and, as documented for lists, an
// insert with two * also uses up the next insert number.
class ArgumentReader {
 public:
  ArgumentReader(const MessageArguments& arguments, const std::vector<Insert>& inserts)
      : array_(arguments.array), list_(arguments.list) {
    if (array_ != nullptr || list_ == nullptr) return;
    std::array<const Insert*, MaximumInsert + 2> first{};
    int highest = 0;
    for (const Insert& insert : inserts) {
      if (first[insert.number] == nullptr) first[insert.number] = &insert;
      if (insert.number > highest) highest = insert.number;
    }
    for (int number = 1; number <= highest; ++number) {
      if (usedUp_[number]) continue;
      slotOf_[number] = plan_.size();
      const Insert* insert = first[number];
      if (insert == nullptr) {
        plan_.push_back({SlotKind::Unnamed, nullptr});
        continue;
      }
      for (int star = 0; star < insert->stars; ++star) plan_.push_back({SlotKind::Star, nullptr});
      plan_.push_back({kindOf(insert->directive), &insert->directive});
      if (insert->stars == 2 && number < MaximumInsert) usedUp_[number + 1] = true;
    }
  }

  // Settles one use of an insert.
  DWORD read(const Insert& insert, ResolvedInsert& r) {
    if (array_ == nullptr && list_ == nullptr) return ERROR_INVALID_PARAMETER;
    if (array_ == nullptr && usedUp_[insert.number]) return ERROR_INVALID_PARAMETER;
    const bool firstUse = !used_[insert.number];
    used_[insert.number] = true;
    std::size_t slot = array_ != nullptr ? static_cast<std::size_t>(insert.number) - 1 : slotOf_[insert.number];
    auto next = [&](bool isFirst) {
      if (isFirst) return slot;
      return firstUse ? ++slot : (slot = highest_ + 1);
    };
    r.directive = insert.directive;
    bool isFirst = true;
    long long star = 0;
    if (insert.directive.widthFromArgument) {
      if (!readStar(next(isFirst), star)) return ERROR_INVALID_PARAMETER;
      applyWidth(r.directive, star);
      isFirst = false;
    }
    if (insert.directive.precisionFromArgument) {
      if (!readStar(next(isFirst), star)) return ERROR_INVALID_PARAMETER;
      applyPrecision(r.directive, star);
      isFirst = false;
    }
    if (!readValue(next(isFirst), insert.directive, r.value)) return ERROR_INVALID_PARAMETER;
    return ERROR_SUCCESS;
  }

 private:
  struct Planned {
    SlotKind kind;
    const Directive* directive;
  };
  struct Slot {
    SlotKind kind;
    FormatArgument value;
  };

  void noteRead(std::size_t slot) {
    if (!anyRead_ || slot > highest_) highest_ = slot;
    anyRead_ = true;
  }

  bool readStar(std::size_t slot, long long& value) {
    noteRead(slot);
    if (array_ != nullptr) {
      value = static_cast<LONG>(array_[slot]);
      return true;
    }
    const Slot* read = listSlot(slot, SlotKind::Star, nullptr);
    if (read == nullptr) return false;
    value = static_cast<std::int32_t>(read->value.integer);
    return true;
  }

  bool readValue(std::size_t slot, const Directive& directive, FormatArgument& value) {
    noteRead(slot);
    if (array_ != nullptr) {
      value = fromArrayElement(directive, array_[slot]);
      return true;
    }
    const Slot* read = listSlot(slot, kindOf(directive), &directive);
    if (read == nullptr) return false;
    value = read->value;
    return true;
  }

  // Reads the list forward up to `slot`; null when that slot was read, or is
  // planned, as another type.
  const Slot* listSlot(std::size_t slot, SlotKind kind, const Directive* directive) {
    while (slots_.size() <= slot) {
      const std::size_t at = slots_.size();
      const Planned planned = at < plan_.size() ? plan_[at] : Planned{kind, directive};
      Slot read{planned.kind, {}};
      if (planned.kind == SlotKind::Star) read.value.integer = static_cast<std::uint32_t>(va_arg(*list_, int));
      else if (planned.kind == SlotKind::Unnamed) read.value.integer = va_arg(*list_, DWORD_PTR);
      else read.value = readFormatArgument(*planned.directive, list_);
      slots_.push_back(read);
    }
    return slots_[slot].kind == kind ? &slots_[slot] : nullptr;
  }

  const DWORD_PTR* array_;
  va_list* list_;
  std::vector<Planned> plan_;
  std::vector<Slot> slots_;
  std::array<std::size_t, MaximumInsert + 2> slotOf_{};
  std::array<bool, MaximumInsert + 2> usedUp_{};
  std::array<bool, MaximumInsert + 2> used_{};
  std::size_t highest_ = 0;
  bool anyRead_ = false;
};

// The message as it is written, wrapped to a line width as it goes.
//
// With a width, a line may not reach it: when the W-th character of a line
// is written, the line breaks after its last blank, and the run of blanks
// there is dropped; a line without a blank is cut after W characters. A CR
// or LF starts a new line; a tab is no blank.
class MessageOutput {
 public:
  MessageOutput(std::wstring& out, std::size_t capacity, std::size_t width)
      : out_(out), capacity_(capacity), width_(width) {}

  // False once the message fills the capacity.
  bool put(wchar_t c) {
    out_ += c;
    if (c == L'\r' || c == L'\n') lineStart_ = out_.size();
    else if (width_ != 0 && out_.size() - lineStart_ == width_) wrapLine();
    return out_.size() < capacity_;
  }

  bool put(std::wstring_view text) {
    for (wchar_t c : text)
      if (!put(c)) return false;
    return true;
  }

  std::size_t room() const { return capacity_ > out_.size() ? capacity_ - out_.size() : 0; }

 private:
  void wrapLine() {
    const std::size_t blank = out_.rfind(L' ');
    if (blank == std::wstring::npos || blank < lineStart_) {
      out_ += CrLf;
      lineStart_ = out_.size();
      return;
    }
    std::size_t runStart = blank;
    while (runStart > lineStart_ && out_[runStart - 1] == L' ') --runStart;
    const std::wstring rest = out_.substr(blank + 1);
    out_.resize(runStart);
    out_ += CrLf;
    lineStart_ = out_.size();
    out_ += rest;
  }

  std::wstring& out_;
  std::size_t capacity_;
  std::size_t width_;
  std::size_t lineStart_ = 0;
};

}  // namespace

DWORD expandMessage(std::wstring_view pattern, const MessageArguments& arguments, bool ignoreInserts,
                    unsigned lineWidth, std::size_t capacity, std::wstring& out) {
  out.clear();
  const std::size_t terminator = pattern.find(L'\0');
  if (terminator != std::wstring_view::npos) pattern = pattern.substr(0, terminator);

  std::vector<Token> tokens;
  std::vector<Insert> inserts;
  const DWORD patternError = tokenize(pattern, ignoreInserts, tokens, inserts);

  lineWidth &= FORMAT_MESSAGE_MAX_WIDTH_MASK;
  const std::wstring_view lineBreak = lineWidth == 0 ? CrLf : std::wstring_view(L" ");
  MessageOutput output(out, capacity, lineWidth == FORMAT_MESSAGE_MAX_WIDTH_MASK ? 0 : lineWidth);
  ArgumentReader reader(arguments, inserts);
  std::wstring formatted;
  for (const Token& token : tokens) {
    std::wstring_view text = token.text;
    std::size_t measuredLength = 0;
    if (token.kind == Token::LineBreak) text = lineBreak;
    if (token.kind == Token::InsertRef) {
      ResolvedInsert insert;
      if (const DWORD error = reader.read(inserts[token.insert], insert); error != ERROR_SUCCESS) return error;
      FormatSink measure(nullptr, 0);
      formatArgument(insert.directive, insert.value, measure);
      measuredLength = measure.length();
      // Only what can still fit is formatted; wrapping drops at most a few
      // blanks a line, hence the margin.
      const std::size_t margin = 2 * (FORMAT_MESSAGE_MAX_WIDTH_MASK + 1);
      formatted.resize(std::min(measure.length(), output.room() + margin));
      FormatSink sink(formatted.data(), formatted.size());
      formatArgument(insert.directive, insert.value, sink);
      text = formatted;
    }
    if (!output.put(text) || text.size() < measuredLength) return ERROR_INSUFFICIENT_BUFFER;
  }
  return patternError;
}

}  // namespace qn

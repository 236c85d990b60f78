// The C run time's wcsftime dialect in its "C" locale, written out here
// rather than left to glibc, whose codes, padding and zone text differ.
#include <cerrno>
#include <cwchar>
#include <string>

#include "errors/errors.h"
#include "files/time.h"

namespace {

const wchar_t* const DayNames[7] = {L"Sunday",   L"Monday", L"Tuesday", L"Wednesday",
                                    L"Thursday", L"Friday", L"Saturday"};
const wchar_t* const MonthNames[12] = {L"January", L"February", L"March",     L"April",   L"May",      L"June",
                                       L"July",    L"August",   L"September", L"October", L"November", L"December"};

// The run time refuses a record it could not have made itself.
bool fieldsInRange(const struct tm& t) {
  return t.tm_sec >= 0 && t.tm_sec <= 59 && t.tm_min >= 0 && t.tm_min <= 59 && t.tm_hour >= 0 && t.tm_hour <= 23 &&
         t.tm_mday >= 1 && t.tm_mday <= 31 && t.tm_mon >= 0 && t.tm_mon <= 11 && t.tm_year >= -1900 &&
         t.tm_year <= 8099 && t.tm_wday >= 0 && t.tm_wday <= 6 && t.tm_yday >= 0 && t.tm_yday <= 365;
}

class Writer {
 public:
  explicit Writer(const struct tm& time) : t_(time) {}

  // False at an unknown code or a % that ends the format.
  bool expand(const wchar_t* format) {
    for (const wchar_t* p = format; *p != L'\0'; ++p) {
      if (*p != L'%') {
        out_ += *p;
        continue;
      }
      bool alternate = false;
      if (*++p == L'#') {
        alternate = true;
        ++p;
      }
      if (*p == L'\0' || !code(*p, alternate)) return false;
    }
    return true;
  }

  const std::wstring& text() const { return out_; }

 private:
  bool code(wchar_t c, bool alternate) {
    const int year = t_.tm_year + 1900;
    switch (c) {
      case L'a': out_.append(DayNames[t_.tm_wday], 3); return true;
      case L'A': out_ += DayNames[t_.tm_wday]; return true;
      case L'b': out_.append(MonthNames[t_.tm_mon], 3); return true;
      case L'B': out_ += MonthNames[t_.tm_mon]; return true;
      case L'c': return expand(alternate ? L"%A, %B %d, %Y, %H:%M:%S" : L"%m/%d/%y %H:%M:%S");
      case L'x': return expand(alternate ? L"%A, %B %d, %Y" : L"%m/%d/%y");
      case L'X': return expand(L"%H:%M:%S");
      case L'd': number(t_.tm_mday, 2, alternate); return true;
      case L'H': number(t_.tm_hour, 2, alternate); return true;
      case L'I': number(t_.tm_hour % 12 == 0 ? 12 : t_.tm_hour % 12, 2, alternate); return true;
      case L'j': number(t_.tm_yday + 1, 3, alternate); return true;
      case L'm': number(t_.tm_mon + 1, 2, alternate); return true;
      case L'M': number(t_.tm_min, 2, alternate); return true;
      case L'S': number(t_.tm_sec, 2, alternate); return true;
      case L'p': out_ += t_.tm_hour < 12 ? L"AM" : L"PM"; return true;
      // Weeks start on Sunday (%U) or Monday (%W); days before the first
      // such day of the year are in week 0.
      case L'U': number((t_.tm_yday + 7 - t_.tm_wday) / 7, 2, alternate); return true;
      case L'W': number((t_.tm_yday + 7 - (t_.tm_wday + 6) % 7) / 7, 2, alternate); return true;
      case L'w': number(t_.tm_wday, 1, alternate); return true;
      case L'y': number(year % 100, 2, alternate); return true;
      case L'Y': number(year, 4, alternate); return true;
      case L'z':
      case L'Z': out_ += qn::zoneName(t_.tm_isdst > 0); return true;
      case L'%': out_ += L'%'; return true;
      default: return false;
    }
  }

  // Zero-padded to `width` digits; the # flag drops the leading zeros.
  void number(int value, int width, bool alternate) {
    const std::wstring digits = std::to_wstring(value);
    if (!alternate && static_cast<int>(digits.size()) < width) out_.append(width - digits.size(), L'0');
    out_ += digits;
  }

  const struct tm& t_;
  std::wstring out_;
};

std::size_t fail(wchar_t* destination, std::size_t maxSize, int error) {
  if (destination != nullptr && maxSize > 0) destination[0] = L'\0';
  errno = error;
  return 0;
}

}  // namespace

std::size_t qnWcsftime(wchar_t* destination, std::size_t maxSize, const wchar_t* format, const struct tm* time) {
  if (destination == nullptr || format == nullptr || time == nullptr || !fieldsInRange(*time))
    return fail(destination, maxSize, EINVAL);
  Writer writer(*time);
  bool expanded;
  {
    // The zone's lookup may leave errno set; callers read errno for the
    // result of this call only.
    const qn::ErrnoKeeper keep;
    expanded = writer.expand(format);
  }
  if (!expanded) return fail(destination, maxSize, EINVAL);
  const std::wstring& text = writer.text();
  if (text.size() >= maxSize) return fail(destination, maxSize, ERANGE);
  std::wmemcpy(destination, text.data(), text.size());
  destination[text.size()] = L'\0';
  return text.size();
}

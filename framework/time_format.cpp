// Times and spans as text.
#include <qnlith/framework/exceptions.h>
#include <qnlith/framework/time.h>

#include <cerrno>
#include <climits>
#include <string>

namespace {

// Room for most results at the first try; the run time says only "too
// small", so a longer one doubles the room until it fits.
constexpr int FirstCapacity = 128;

CStringW formatFields(const struct tm& fields, LPCWSTR format) {
  CStringW result;
  if (*format == L'\0') return result;
  for (int capacity = FirstCapacity;; capacity *= 2) {
    wchar_t* buffer = result.GetBuffer(capacity);
    errno = 0;
    const std::size_t length = qnWcsftime(buffer, static_cast<std::size_t>(capacity) + 1, format, &fields);
    const int error = errno;
    result.ReleaseBuffer(static_cast<int>(length));
    // Nothing written and no error: the codes gave no text (an unnamed zone).
    if (length > 0 || error == 0) return result;
    if (error != ERANGE) AfxThrowInvalidArgException();
    if (capacity > INT_MAX / 4) AfxThrowMemoryException();
  }
}

template <typename Convert>
CStringW formatTime(__time64_t time, LPCWSTR format, Convert convert) {
  if (format == nullptr) AfxThrowInvalidArgException();
  if (time == 0) return CStringW();
  struct tm fields;
  if (convert(&fields, &time) != 0) AfxThrowOleException(E_INVALIDARG);
  return formatFields(fields, format);
}

CStringW loaded(UINT id) {
  CStringW format;
  format.LoadString(id);
  return format;
}

// printf's %02ld: a negative part keeps its sign inside the width.
void appendPart(CStringW& out, LONGLONG value) {
  if (value >= 0 && value < 10) out += L'0';
  out += std::to_wstring(value).c_str();
}

}  // namespace

CStringW CTime::Format(LPCWSTR pszFormat) const { return formatTime(m_time, pszFormat, _localtime64_s); }
CStringW CTime::FormatGmt(LPCWSTR pszFormat) const { return formatTime(m_time, pszFormat, _gmtime64_s); }
CStringW CTime::Format(UINT nFormatID) const { return Format(loaded(nFormatID)); }
CStringW CTime::FormatGmt(UINT nFormatID) const { return FormatGmt(loaded(nFormatID)); }

CStringW CTimeSpan::Format(LPCWSTR pszFormat) const {
  if (pszFormat == nullptr) AfxThrowInvalidArgException();
  CStringW result;
  for (const wchar_t* p = pszFormat; *p != L'\0'; ++p) {
    if (*p != L'%') {
      result += *p;
      continue;
    }
    switch (*++p) {
      case L'D': result += std::to_wstring(GetDays()).c_str(); break;
      case L'H': appendPart(result, GetHours()); break;
      case L'M': appendPart(result, GetMinutes()); break;
      case L'S': appendPart(result, GetSeconds()); break;
      case L'%': result += L'%'; break;
      default: AfxThrowInvalidArgException();  // also a % at the end
    }
  }
  return result;
}

CStringW CTimeSpan::Format(UINT nID) const { return Format(loaded(nID)); }

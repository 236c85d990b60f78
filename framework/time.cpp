#include <qnlith/framework/exceptions.h>
#include <qnlith/framework/time.h>

namespace {

// The framework's one way to report a failed result.
[[noreturn]] void throwResult(HRESULT result) {
  if (result == E_OUTOFMEMORY) AfxThrowMemoryException();
  AfxThrowOleException(result);
}

}  // namespace

CTime CTime::GetCurrentTime() noexcept { return CTime(_time64(nullptr)); }

CTime::CTime(int nYear, int nMonth, int nDay, int nHour, int nMin, int nSec, int nDST) : m_time(0) {
  if (nYear < 1900 || nMonth < 1 || nMonth > 12 || nDay < 1 || nDay > 31 || nHour < 0 || nHour > 23 || nMin < 0 ||
      nMin > 59 || nSec < 0 || nSec > 59)
    throwResult(E_FAIL);
  struct tm fields {};
  fields.tm_sec = nSec;
  fields.tm_min = nMin;
  fields.tm_hour = nHour;
  fields.tm_mday = nDay;
  fields.tm_mon = nMonth - 1;
  fields.tm_year = nYear - 1900;
  fields.tm_isdst = nDST;
  m_time = _mktime64(&fields);
  if (m_time == -1) throwResult(E_INVALIDARG);
}

CTime::CTime(const SYSTEMTIME& st, int nDST) : m_time(0) {
  if (st.wYear < 1900) return;
  m_time = CTime(st.wYear, st.wMonth, st.wDay, st.wHour, st.wMinute, st.wSecond, nDST).m_time;
}

CTime::CTime(const FILETIME& ft, int nDST) : m_time(0) {
  FILETIME local;
  if (!FileTimeToLocalFileTime(&ft, &local)) throwResult(E_INVALIDARG);
  SYSTEMTIME st;
  if (!FileTimeToSystemTime(&local, &st)) throwResult(E_INVALIDARG);
  m_time = CTime(st, nDST).m_time;
}

struct tm* CTime::GetLocalTm(struct tm* ptm) const noexcept {
  if (ptm == nullptr) return nullptr;
  return _localtime64_s(ptm, &m_time) == 0 ? ptm : nullptr;
}

struct tm* CTime::GetGmtTm(struct tm* ptm) const noexcept {
  if (ptm == nullptr) return nullptr;
  return _gmtime64_s(ptm, &m_time) == 0 ? ptm : nullptr;
}

bool CTime::GetAsSystemTime(SYSTEMTIME& st) const noexcept {
  struct tm fields;
  if (GetLocalTm(&fields) == nullptr) return false;
  st.wYear = static_cast<WORD>(fields.tm_year + 1900);
  st.wMonth = static_cast<WORD>(fields.tm_mon + 1);
  st.wDayOfWeek = static_cast<WORD>(fields.tm_wday);
  st.wDay = static_cast<WORD>(fields.tm_mday);
  st.wHour = static_cast<WORD>(fields.tm_hour);
  st.wMinute = static_cast<WORD>(fields.tm_min);
  st.wSecond = static_cast<WORD>(fields.tm_sec);
  st.wMilliseconds = 0;
  return true;
}

namespace {

template <typename Field>
int localField(const CTime& time, Field field) {
  struct tm fields;
  return time.GetLocalTm(&fields) != nullptr ? field(fields) : 0;
}

}  // namespace

int CTime::GetYear() const noexcept { return localField(*this, [](const tm& t) { return t.tm_year + 1900; }); }
int CTime::GetMonth() const noexcept { return localField(*this, [](const tm& t) { return t.tm_mon + 1; }); }
int CTime::GetDay() const noexcept { return localField(*this, [](const tm& t) { return t.tm_mday; }); }
int CTime::GetHour() const noexcept { return localField(*this, [](const tm& t) { return t.tm_hour; }); }
int CTime::GetMinute() const noexcept { return localField(*this, [](const tm& t) { return t.tm_min; }); }
int CTime::GetSecond() const noexcept { return localField(*this, [](const tm& t) { return t.tm_sec; }); }
int CTime::GetDayOfWeek() const noexcept { return localField(*this, [](const tm& t) { return t.tm_wday + 1; }); }

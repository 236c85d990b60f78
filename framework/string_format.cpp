#include <qnlith/framework/exceptions.h>
#include <qnlith/framework/string.h>
#include <qnlith/win32/format.h>

#include <climits>

// Formats in two passes: the length first, then the text straight into the
// string's own storage.
void CStringW::FormatV(PCXSTR format, va_list arguments) {
  Empty();
  AppendFormatV(format, arguments);
}

void CStringW::Format(PCXSTR format, ...) {
  va_list arguments;
  va_start(arguments, format);
  FormatV(format, arguments);
  va_end(arguments);
}

void CStringW::AppendFormatV(PCXSTR format, va_list arguments) {
  if (format == nullptr) AfxThrowInvalidArgException();
  va_list counting;
  va_copy(counting, arguments);
  const int added = _vscwprintf(format, counting);
  va_end(counting);
  if (added < 0) AfxThrowInvalidArgException();
  const int old = GetLength();
  if (added > INT_MAX - old - 1) AfxThrowMemoryException();
  PXSTR buffer = GetBuffer(old + added);
  _vsnwprintf_s(buffer + old, static_cast<std::size_t>(added) + 1, _TRUNCATE, format, arguments);
  ReleaseBuffer(old + added);
}

void CStringW::AppendFormat(PCXSTR format, ...) {
  va_list arguments;
  va_start(arguments, format);
  AppendFormatV(format, arguments);
  va_end(arguments);
}

#include <qnlith/win32/format.h>

#include <cerrno>
#include <climits>

#include "text/wide_format.h"

namespace {

// Formats into `buffer` keeping at most `capacity` characters; returns the
// full length of the text, or -1 for a format the dialect rejects.
long long formatInto(wchar_t* buffer, std::size_t capacity, const wchar_t* format, va_list arguments) {
  va_list list;
  va_copy(list, arguments);
  qn::FormatSink sink(buffer, capacity);
  const bool valid = qn::formatWide(sink, format, &list);
  va_end(list);
  return valid ? static_cast<long long>(sink.length()) : -1;
}

int fail(wchar_t* buffer, std::size_t bufferSize, int error) {
  if (buffer != nullptr && bufferSize > 0) buffer[0] = 0;
  errno = error;
  return -1;
}

}  // namespace

int _vsnwprintf_s(wchar_t* buffer, std::size_t bufferSize, std::size_t count, const wchar_t* format,
                  va_list arguments) {
  // A count of 0 is no fault: an empty text fits, any other is cut to nothing.
  if (buffer == nullptr || format == nullptr || bufferSize == 0) return fail(buffer, bufferSize, EINVAL);
  const bool truncate = count == _TRUNCATE;
  // With a count below the buffer's room the count bounds the text; else the buffer does.
  const std::size_t limit = !truncate && count < bufferSize ? count : bufferSize - 1;
  const long long length = formatInto(buffer, limit, format, arguments);
  if (length < 0) return fail(buffer, bufferSize, EINVAL);
  if (static_cast<unsigned long long>(length) <= limit) {
    buffer[length] = 0;
    return static_cast<int>(length);
  }
  if (!truncate && count >= bufferSize) return fail(buffer, bufferSize, ERANGE);
  buffer[limit] = 0;
  return -1;
}

int _snwprintf_s(wchar_t* buffer, std::size_t bufferSize, std::size_t count, const wchar_t* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int result = _vsnwprintf_s(buffer, bufferSize, count, format, arguments);
  va_end(arguments);
  return result;
}

int vswprintf_s(wchar_t* buffer, std::size_t bufferSize, const wchar_t* format, va_list arguments) {
  if (buffer == nullptr || format == nullptr || bufferSize == 0) return fail(buffer, bufferSize, EINVAL);
  const long long length = formatInto(buffer, bufferSize - 1, format, arguments);
  if (length < 0) return fail(buffer, bufferSize, EINVAL);
  if (static_cast<unsigned long long>(length) >= bufferSize) return fail(buffer, bufferSize, ERANGE);
  buffer[length] = 0;
  return static_cast<int>(length);
}

int swprintf_s(wchar_t* buffer, std::size_t bufferSize, const wchar_t* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int result = vswprintf_s(buffer, bufferSize, format, arguments);
  va_end(arguments);
  return result;
}

int _vscwprintf(const wchar_t* format, va_list arguments) {
  if (format == nullptr) return fail(nullptr, 0, EINVAL);
  const long long length = formatInto(nullptr, 0, format, arguments);
  if (length < 0) return fail(nullptr, 0, EINVAL);
  if (length > INT_MAX) return fail(nullptr, 0, ERANGE);
  return static_cast<int>(length);
}

int _scwprintf(const wchar_t* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int result = _vscwprintf(format, arguments);
  va_end(arguments);
  return result;
}

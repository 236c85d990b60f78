#include <qnlith/win32/crtstring.h>

#include <cerrno>
#include <cwchar>

namespace {

errno_t fail(wchar_t* destination, errno_t error) {
  if (destination != nullptr) destination[0] = 0;
  errno = error;
  return error;
}

}  // namespace

errno_t wcsncpy_s(wchar_t* destination, rsize_t destinationSize, const wchar_t* source, rsize_t count) {
  if (destination == nullptr || destinationSize == 0) return fail(nullptr, EINVAL);
  if (source == nullptr) return fail(destination, EINVAL);
  if (count == _TRUNCATE) {
    const std::size_t length = wcsnlen(source, destinationSize);
    if (length < destinationSize) {
      std::wmemmove(destination, source, length);
      destination[length] = 0;
      return 0;
    }
    std::wmemmove(destination, source, destinationSize - 1);
    destination[destinationSize - 1] = 0;
    return STRUNCATE;
  }
  const std::size_t length = wcsnlen(source, count);
  if (length >= destinationSize) return fail(destination, ERANGE);
  std::wmemmove(destination, source, length);
  destination[length] = 0;
  return 0;
}

errno_t wcscpy_s(wchar_t* destination, rsize_t destinationSize, const wchar_t* source) {
  if (destination == nullptr || destinationSize == 0) return fail(nullptr, EINVAL);
  if (source == nullptr) return fail(destination, EINVAL);
  const std::size_t length = wcsnlen(source, destinationSize);
  if (length >= destinationSize) return fail(destination, ERANGE);
  std::wmemmove(destination, source, length + 1);
  return 0;
}

LPWSTR WINAPI lstrcpynW(LPWSTR destination, LPCWSTR source, int maxLength) {
  if (maxLength <= 0) return destination;
  if (destination == nullptr || source == nullptr) return nullptr;
  int i = 0;
  for (; i < maxLength - 1 && source[i] != 0; ++i) destination[i] = source[i];
  destination[i] = 0;
  return destination;
}

#include <qnlith/win32/errors.h>
#include <qnlith/win32/message.h>

#include <algorithm>
#include <cwchar>
#include <new>
#include <string>

#include "text/message_format.h"
#include "modules/resources.h"
#include "errors/system_messages.h"

namespace {

DWORD fail(DWORD error) {
  SetLastError(error);
  return 0;
}

// The system's texts are English; a caller may ask for any form of English
// or for the neutral and default languages.
bool systemHasLanguage(DWORD languageId) {
  if (languageId > 0xFFFF) return false;
  const WORD primary = PRIMARYLANGID(languageId);
  return primary == LANG_NEUTRAL || primary == LANG_ENGLISH;
}

}  // namespace

DWORD WINAPI FormatMessageW(DWORD flags, LPCVOID source, DWORD messageId, DWORD languageId, LPWSTR buffer,
                            DWORD size, va_list* arguments) {
  if (buffer == nullptr) return fail(ERROR_INVALID_PARAMETER);
  const bool allocate = (flags & FORMAT_MESSAGE_ALLOCATE_BUFFER) != 0;
  if (allocate) *reinterpret_cast<LPWSTR*>(buffer) = nullptr;

  // A string, when given, is the source whatever else the flags name.
  const bool fromString = (flags & FORMAT_MESSAGE_FROM_STRING) != 0;
  const bool fromModule = !fromString && (flags & FORMAT_MESSAGE_FROM_HMODULE) != 0;
  const bool fromSystem = !fromString && (flags & FORMAT_MESSAGE_FROM_SYSTEM) != 0;
  std::wstring_view pattern;
  std::wstring moduleText;
  if (fromString) {
    if (source == nullptr) return fail(ERROR_INVALID_PARAMETER);
    pattern = static_cast<const wchar_t*>(source);
  } else if (fromModule) {
    // The module's message table first; what it lacks, the system's texts
    // give if the caller allowed them.
    const DWORD error = qn::findMessage(static_cast<HMODULE>(const_cast<void*>(source)), messageId, languageId,
                                        moduleText);
    if (error == ERROR_SUCCESS) pattern = moduleText;
    else if (!fromSystem) return fail(error);
  }
  if (pattern.data() == nullptr && fromSystem) {
    if (!systemHasLanguage(languageId)) return fail(ERROR_RESOURCE_LANG_NOT_FOUND);
    const wchar_t* text = qn::systemMessageText(messageId);
    if (text == nullptr) return fail(ERROR_MR_MID_NOT_FOUND);
    pattern = text;
  } else if (pattern.data() == nullptr) {
    return fail(ERROR_INVALID_PARAMETER);
  }

  qn::MessageArguments inserts;
  if (flags & FORMAT_MESSAGE_ARGUMENT_ARRAY) inserts.array = reinterpret_cast<const DWORD_PTR*>(arguments);
  else inserts.list = arguments;
  // A fixed buffer is filled as far as it goes; an allocated one grows up to
  // the longest message.
  const std::size_t limit = qn::MessageLengthLimit + 1;
  const std::size_t capacity = allocate || size > limit ? limit : size;
  std::wstring message;
  DWORD error;
  try {
    error = qn::expandMessage(pattern, inserts, (flags & FORMAT_MESSAGE_IGNORE_INSERTS) != 0,
                              flags & FORMAT_MESSAGE_MAX_WIDTH_MASK, capacity, message);
  } catch (const std::bad_alloc&) {
    return fail(ERROR_NOT_ENOUGH_MEMORY);
  }
  if (error == ERROR_INSUFFICIENT_BUFFER) {
    if (allocate || size > limit) return fail(ERROR_MORE_DATA);
    // What fits, terminated, as the buffer was written.
    if (size > 0) {
      const std::size_t kept = std::min<std::size_t>(message.size(), size - 1);
      std::wmemcpy(buffer, message.data(), kept);
      buffer[kept] = L'\0';
    }
    return fail(ERROR_INSUFFICIENT_BUFFER);
  }
  if (error != ERROR_SUCCESS) {
    // The text before the fault stands in the buffer, unterminated.
    if (!allocate) std::wmemcpy(buffer, message.data(), std::min<std::size_t>(message.size(), size));
    return fail(error);
  }
  const DWORD length = static_cast<DWORD>(message.size());
  if (length == 0) return fail(ERROR_NO_WORK_DONE);

  if (allocate) {
    // `size` is the least number of characters to allocate.
    std::size_t characters = length + 1;
    if (size > characters) characters = size < limit ? size : limit;
    auto* block = static_cast<wchar_t*>(LocalAlloc(LMEM_FIXED, characters * sizeof(wchar_t)));
    if (block == nullptr) return 0;
    std::wmemcpy(block, message.c_str(), length + 1);
    *reinterpret_cast<LPWSTR*>(buffer) = block;
    return length;
  }
  std::wmemcpy(buffer, message.c_str(), length + 1);
  return length;
}

#include <qnlith/failure/cException.h>
#include <qnlith/failure/messageText.h>
#include <qnlith/win32/crtstring.h>
#include <qnlith/win32/message.h>
#include <qnlith/win32/modules.h>

#include <cwchar>

#include "../core/trace.h"

namespace {

// Process-wide and unguarded: the caller sets the name while no other
// thread uses it.
wchar_t* storedName = nullptr;

}  // namespace

const wchar_t* messageFile() {
  if (storedName == nullptr) setMessageFile(L"QNLITH.MSG");
  return storedName;
}

void setMessageFile(const wchar_t* name) {
  if (name == nullptr) return;
  const std::size_t length = std::wcslen(name);
  wchar_t* copy = new wchar_t[length + 1];
  wcscpy_s(copy, length + 1, name);
  delete[] storedName;
  storedName = copy;
}

cString messageText(DWORD number, const wchar_t* insert1, const wchar_t* insert2, const wchar_t* insert3,
                    const wchar_t* insert4, const wchar_t* insert5, const wchar_t* insert6, const wchar_t* insert7,
                    const wchar_t* insert8, const wchar_t* insert9) {
  QNLITH_TRACE(0x40, L"Message: %u: %s%s%s%s%s%s%s%s%s%s", number, insert1, insert2, insert3, insert4, insert5,
               insert6, insert7, insert8, insert9, L"");
  wchar_t* buffer = new wchar_t[1024];
  const wchar_t* inserts[10] = {insert1, insert2, insert3, insert4, insert5,
                                insert6, insert7, insert8, insert9, nullptr};
  // The stored name as it stands: null until a name is set or asked for.
  HMODULE module = LoadLibraryW(storedName);
  if (module == nullptr) {
    delete[] buffer;
    return cString();
  }
  const DWORD written = FormatMessageW(
      FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_ARGUMENT_ARRAY | FORMAT_MESSAGE_IGNORE_INSERTS, module, number,
      MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT) /* 0x400 */, buffer, 1024,
      reinterpret_cast<va_list*>(const_cast<wchar_t**>(inserts)));
  if (written == 0) {
    delete[] buffer;
    FreeLibrary(module);
    throw cException(L"cPlatform ::  messageText - Message not Found");
  }
  const cString text(buffer);
  delete[] buffer;
  FreeLibrary(module);
  return text;
}

// Strings from the string tables of modules.
#include <qnlith/framework/extension.h>
#include <qnlith/framework/string.h>
#include <qnlith/win32/resources.h>

BOOL CStringW::LoadString(UINT nID) { return LoadString(AfxFindStringResourceHandle(nID), nID); }

BOOL CStringW::LoadString(HINSTANCE hInstance, UINT nID) {
  // The layer hands out the resource's own text when given no room.
  LPCWSTR text = nullptr;
  const int length = hInstance != nullptr ? LoadStringW(hInstance, nID, reinterpret_cast<LPWSTR>(&text), 0) : 0;
  if (length <= 0) {
    Empty();
    return FALSE;
  }
  assign(text, length);
  return TRUE;
}

#include <qnlith/failure/cMessageBox.h>
#include <qnlith/system/cResourceLibrary.h>
#include <qnlith/win32.h>

#include "errorBoxes.h"

namespace {

bool showText(const cString& text, CWnd* parent, const cString& title, bool retry) {
  cMessageBox box(parent);
  if (!title.isEmpty()) box.setTitle(title.c_str());
  return box.show(text.c_str(), retry ? ErrorBoxWithRetryStyle : ErrorBoxStyle, 0) == cMessageBox::Retry;
}

}  // namespace

cMessageBox::cMessageBox(const CWnd* parent) : parent(parent) {
  CWnd* mainWindow = nullptr;
  if (CWinThread* thread = AfxGetThread()) mainWindow = thread->GetMainWnd();
  if (mainWindow != nullptr && IsWindow(mainWindow->m_hWnd)) {
    mainWindow->GetWindowTextW(title);
  } else {
    wchar_t path[512];
    path[0] = L'\0';
    GetModuleFileNameW(nullptr, path, 512);
    title = path;
  }
}

cMessageBox::cMessageBox(const wchar_t* title, const CWnd* parent) : parent(parent), title(title) {}

cMessageBox::cMessageBox(const cMessageBox& other) : parent(other.parent), title(other.title) {}

cMessageBox& cMessageBox::operator=(const cMessageBox& other) {
  parent = other.parent;
  title = other.title;
  return *this;
}

cMessageBox::~cMessageBox() {}

cMessageBox& cMessageBox::setTitle(const cResourceId& id) {
  title.loadString(id);
  return *this;
}

cMessageBox& cMessageBox::setTitle(const wchar_t* text) {
  title = text;
  return *this;
}

cMessageBox::Response cMessageBox::show(const wchar_t* text, DWORD style, DWORD helpId) {
  if (parent != nullptr) return static_cast<Response>(parent->MessageBoxW(text, title.c_str(), style));
  return static_cast<Response>(AfxMessageBox(text, style, helpId));
}

bool showExceptionMessageBox(cException& exception, CWnd* parent, const cString& title, bool retry) {
  const cString text(exception.text);
  return showText(text, parent, title, retry);
}

bool showExceptionMessageBox(cException& exception, CWnd* parent, const cResourceId& title, bool retry) {
  const cString text(exception.text);
  const cString titleText = title.id() == 0 ? cString() : title.resourceLibrary().loadString(title.id());
  return showText(text, parent, titleText, retry);
}

bool showExceptionMessageBox(_com_error& error, CWnd* parent, const cString& title, bool retry) {
  const cString text = formatCOMException(error);
  return showText(text, parent, title, retry);
}

void showExceptionMessageBox(cMfcException& exception, CWnd* parent, const cString& title) {
  const cString text = frameworkErrorText(exception);
  cMessageBox box(parent);
  box.setTitle(title.c_str());
  box.show(text.c_str(), ErrorBoxStyle, 0);
}

cString formatCOMException(_com_error& error) {
  IErrorInfo* info = error.ErrorInfo();
  BSTR description = nullptr;
  if (info != nullptr) info->GetDescription(&description);
  const cString described(description != nullptr ? description : L"");
  const cString message = described.length() > 0 ? described : cString(error.ErrorMessage());
  cString result;
  result.format(L"COM Error (%x): %s", static_cast<DWORD>(error.Error()), message.c_str());
  if (info != nullptr) info->Release();
  SysFreeString(description);
  return result;
}

// A minimal CWnd: a window with a caption that can be created and destroyed,
// so that a box has an owner and a thread a main window. And AfxMessageBox.
#pragma once

#include <qnlith/framework/api.h>
#include <qnlith/framework/string.h>
#include <qnlith/framework/thread.h>
#include <qnlith/win32/msgbox.h>
#include <qnlith/win32/window.h>

class QN_FRAMEWORK_API CWnd : public CCmdTarget {
 public:
  CWnd();
  // Destroys the window if it still exists.
  ~CWnd() override;

  virtual BOOL CreateEx(DWORD exStyle, LPCWSTR className, LPCWSTR windowName, DWORD style, int x, int y, int width,
                        int height, HWND parent, HMENU menu, LPVOID parameter = nullptr);
  virtual BOOL DestroyWindow();

  HWND GetSafeHwnd() const { return m_hWnd; }
  operator HWND() const { return m_hWnd; }

  void GetWindowTextW(CString& text) const;
  int GetWindowTextW(LPWSTR text, int maxCount) const;
  int GetWindowTextLengthW() const;
  void SetWindowTextW(LPCWSTR text);

  // A box owned by this window; a null caption is the application's name.
  int MessageBoxW(LPCWSTR text, LPCWSTR caption = nullptr, UINT type = MB_OK) const;

  HWND m_hWnd = nullptr;
};

// A box with the program's name as its caption, owned by the calling
// thread's main window if it has a live one. The help id goes nowhere.
QN_FRAMEWORK_API int AfxMessageBox(LPCWSTR text, UINT type = MB_OK, UINT helpId = 0);

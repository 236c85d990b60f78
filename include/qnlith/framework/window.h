/// @file
/// A minimal CWnd: a window with a caption that can be created and destroyed,
/// so that a box has an owner and a thread a main window. And AfxMessageBox.
#pragma once

#include <qnlith/framework/api.h>
#include <qnlith/framework/string.h>
#include <qnlith/framework/thread.h>
#include <qnlith/win32/msgbox.h>
#include <qnlith/win32/window.h>

/// A window with a caption; the object destroys its window at its end.
class QN_FRAMEWORK_API CWnd : public CCmdTarget {
 public:
  /// An object without a window.
  CWnd();
  /// Destroys the window if it still exists.
  ~CWnd() override;

  /// Creates the window with the given styles, caption, position, size and
  /// parent; FALSE on failure, the reason in GetLastError.
  virtual BOOL CreateEx(DWORD exStyle, LPCWSTR className, LPCWSTR windowName, DWORD style, int x, int y, int width,
                        int height, HWND parent, HMENU menu, LPVOID parameter = nullptr);
  /// Destroys the window; FALSE when there is none or that fails.
  virtual BOOL DestroyWindow();

  /// The window's handle, null without a window.
  ///@{
  HWND GetSafeHwnd() const { return m_hWnd; }
  operator HWND() const { return m_hWnd; }
  ///@}

  /// The caption, into the string or into a buffer of maxCount characters (cut
  /// and terminated); the buffer form returns the characters copied.
  ///@{
  void GetWindowTextW(CString& text) const;
  int GetWindowTextW(LPWSTR text, int maxCount) const;
  ///@}
  /// The caption's length in characters.
  int GetWindowTextLengthW() const;
  /// Sets the caption.
  void SetWindowTextW(LPCWSTR text);

  /// A box owned by this window; a null caption is the application's name.
  int MessageBoxW(LPCWSTR text, LPCWSTR caption = nullptr, UINT type = MB_OK) const;

  /// The window's handle, null without a window.
  HWND m_hWnd = nullptr;
};

/// A box with the program's name as its caption, owned by the calling
/// thread's main window if it has a live one. The help id goes nowhere.
QN_FRAMEWORK_API int AfxMessageBox(LPCWSTR text, UINT type = MB_OK, UINT helpId = 0);

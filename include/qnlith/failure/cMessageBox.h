// cMessageBox: one modal box with a parent window and a title, and the
// functions that show a failure in the library's error style.
#pragma once

#include <qnlith/core/api.h>
#include <qnlith/core/cString.h>
#include <qnlith/failure/cException.h>
#include <qnlith/failure/cMfcException.h>
#include <qnlith/framework/comerror.h>
#include <qnlith/framework/window.h>
#include <qnlith/system/cResourceId.h>

class QNLITH_API cMessageBox {
 public:
  // The platform's dialog results, unchanged.
  enum Response {
    Failed = 0,
    Ok = IDOK,
    Cancel = IDCANCEL,
    Abort = IDABORT,
    Retry = IDRETRY,
    Ignore = IDIGNORE,
    Yes = IDYES,
    No = IDNO,
    Close = IDCLOSE,
    Help = IDHELP,
    TryAgain = IDTRYAGAIN,
    Continue = IDCONTINUE
  };

  // The title is the caption of the thread's live main window, else the path
  // of the process's main module.
  cMessageBox(const CWnd* parent = nullptr);
  // Keeps the title as given, even an empty one.
  cMessageBox(const wchar_t* title, const CWnd* parent);
  cMessageBox(const cMessageBox& other);
  cMessageBox& operator=(const cMessageBox& other);
  virtual ~cMessageBox();

  // The string of that id, from the id's library.
  virtual cMessageBox& setTitle(const cResourceId& title);
  virtual cMessageBox& setTitle(const wchar_t* title);
  // Without a parent the framework chooses the caption, whatever the title.
  virtual Response show(const wchar_t* text, DWORD style = MB_OK, DWORD helpId = 0);

  const CWnd* parent;
  cString title;
};

// Each shows the failure's text in an error box (with Retry and Cancel when
// retry is asked for) and returns whether the user chose Retry. An empty
// title keeps the box's default.
QNLITH_API bool showExceptionMessageBox(cException& exception, CWnd* parent, const cString& title, bool retry);
// The title is the string of the id; the id 0 stands for an empty title.
QNLITH_API bool showExceptionMessageBox(cException& exception, CWnd* parent, const cResourceId& title, bool retry);
QNLITH_API bool showExceptionMessageBox(_com_error& error, CWnd* parent, const cString& title, bool retry);
// The title is taken even when empty; an exception without text shows
// "Windows Exception text not available".
QNLITH_API void showExceptionMessageBox(cMfcException& exception, CWnd* parent, const cString& title);

// "COM Error (<code in hex>): <description or the system's message>".
QNLITH_API cString formatCOMException(_com_error& error);

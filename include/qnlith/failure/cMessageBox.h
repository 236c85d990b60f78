/// @file
/// cMessageBox: one modal box with a parent window and a title, and the
/// functions that show a failure in the library's error style.
#pragma once

#include <qnlith/core/api.h>
#include <qnlith/core/cString.h>
#include <qnlith/failure/cException.h>
#include <qnlith/failure/cMfcException.h>
#include <qnlith/framework/comerror.h>
#include <qnlith/framework/window.h>
#include <qnlith/system/cResourceId.h>

/// A modal message box with a parent window and a title; the parent is not owned.
class QNLITH_API cMessageBox {
 public:
  /// The platform's dialog results, unchanged; Failed (0) when no box could be shown.
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

  /// The title is the caption of the thread's live main window, else the path
  /// of the process's main module.
  cMessageBox(const CWnd* parent = nullptr);
  /// Keeps the title as given, even an empty one.
  cMessageBox(const wchar_t* title, const CWnd* parent);
  /// Copies the parent pointer and the title.
  ///@{
  cMessageBox(const cMessageBox& other);
  cMessageBox& operator=(const cMessageBox& other);
  ///@}
  /// Frees the title; the parent window is left alone.
  virtual ~cMessageBox();

  /// The string of that id, from the id's library.
  virtual cMessageBox& setTitle(const cResourceId& title);
  /// Copies the text as the title; returns this box.
  virtual cMessageBox& setTitle(const wchar_t* title);
  /// Shows the text modally in the style's buttons and icon and returns the
  /// button chosen, Failed if the box could not be shown. Without a parent the
  /// framework chooses the caption, whatever the title.
  virtual Response show(const wchar_t* text, DWORD style = MB_OK, DWORD helpId = 0);

  /// The owner window, or null; not owned by the box.
  const CWnd* parent;
  /// The caption used with a parent.
  cString title;
};

/// Each shows the failure's text in an error box (with Retry and Cancel when
/// retry is asked for) and returns whether the user chose Retry. An empty
/// title keeps the box's default; a title given by id is the string of the
/// id, the id 0 standing for an empty title.
///@{
QNLITH_API bool showExceptionMessageBox(cException& exception, CWnd* parent, const cString& title, bool retry);
QNLITH_API bool showExceptionMessageBox(cException& exception, CWnd* parent, const cResourceId& title, bool retry);
QNLITH_API bool showExceptionMessageBox(_com_error& error, CWnd* parent, const cString& title, bool retry);
///@}
/// Shows the framework exception's text in an error box. The title is taken
/// even when empty; an exception without text shows
/// "Windows Exception text not available".
QNLITH_API void showExceptionMessageBox(cMfcException& exception, CWnd* parent, const cString& title);

/// The text "COM Error (code in hex): description", the system's message
/// for the code standing in for a missing description.
QNLITH_API cString formatCOMException(_com_error& error);

/// @file
/// MessageBoxW. A box is shown, in this order, by the hook an application has
/// installed, by a dialog program when a graphical display is there (zenity,
/// else xmessage), as a prompt on the controlling terminal, or else it is
/// written to standard error and answered with its default button. A process
/// without a user is never held.
#pragma once

#include <qnlith/win32/types.h>

/// Button sets of a message box, and the mask of their field.
///@{
#define MB_OK 0x00000000u
#define MB_OKCANCEL 0x00000001u
#define MB_ABORTRETRYIGNORE 0x00000002u
#define MB_YESNOCANCEL 0x00000003u
#define MB_YESNO 0x00000004u
#define MB_RETRYCANCEL 0x00000005u
#define MB_CANCELTRYCONTINUE 0x00000006u
#define MB_TYPEMASK 0x0000000Fu
///@}

/// Icons of a message box (error, question, warning, information), and the mask of their field.
///@{
#define MB_ICONHAND 0x00000010u
#define MB_ICONERROR MB_ICONHAND
#define MB_ICONSTOP MB_ICONHAND
#define MB_ICONQUESTION 0x00000020u
#define MB_ICONEXCLAMATION 0x00000030u
#define MB_ICONWARNING MB_ICONEXCLAMATION
#define MB_ICONASTERISK 0x00000040u
#define MB_ICONINFORMATION MB_ICONASTERISK
#define MB_ICONMASK 0x000000F0u
///@}

/// The default button (first to fourth), and the mask of its field.
///@{
#define MB_DEFBUTTON1 0x00000000u
#define MB_DEFBUTTON2 0x00000100u
#define MB_DEFBUTTON3 0x00000200u
#define MB_DEFBUTTON4 0x00000300u
#define MB_DEFMASK 0x00000F00u
///@}

/// Modality and other options of a message box, accepted as Win32 defines them.
///@{
#define MB_APPLMODAL 0x00000000u
#define MB_SYSTEMMODAL 0x00001000u
#define MB_TASKMODAL 0x00002000u
#define MB_HELP 0x00004000u
#define MB_SETFOREGROUND 0x00010000u
#define MB_DEFAULT_DESKTOP_ONLY 0x00020000u
#define MB_TOPMOST 0x00040000u
#define MB_RIGHT 0x00080000u
#define MB_RTLREADING 0x00100000u
#define MB_SERVICE_NOTIFICATION 0x00200000u
///@}

/// Dialog results: the button the user chose.
///@{
#define IDOK 1
#define IDCANCEL 2
#define IDABORT 3
#define IDRETRY 4
#define IDIGNORE 5
#define IDYES 6
#define IDNO 7
#define IDCLOSE 8
#define IDHELP 9
#define IDTRYAGAIN 10
#define IDCONTINUE 11
///@}

/// The error of a style with an invalid button set or icon.
#define ERROR_INVALID_MSGBOX_STYLE 1438L

/// Shows every box instead of the layer: gets the text and caption as the box
/// would show them and the style, and returns the dialog result.
typedef int (*QnMessageBoxHook)(const wchar_t* text, const wchar_t* caption, unsigned style);

extern "C" {
/// The dialog result (IDOK .. IDCONTINUE), or 0 with the last error set: an
/// owner that is not a window, a style without a valid button set.
/// A null caption shows "Error".
WINBASEAPI int WINAPI MessageBoxW(HWND owner, LPCWSTR text, LPCWSTR caption, UINT style);

/// Installs the hook for the whole process; returns the previous one. Null
/// removes it.
WINBASEAPI QnMessageBoxHook qnSetMessageBoxHook(QnMessageBoxHook hook);
}

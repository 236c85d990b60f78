/// @file
/// Automation strings (BSTR): counted wide strings whose length sits in the
/// four bytes before the first character, followed by a terminator.
///
/// The prefix holds the length as Windows counts it, two bytes per
/// character, so SysStringByteLen is twice SysStringLen although a wchar_t
/// here takes four bytes. Free a BSTR only with SysFreeString.
#pragma once

#include <qnlith/win32/types.h>

extern "C" {
/// A new BSTR holding a copy of the text; null for a null text or no memory.
WINBASEAPI BSTR WINAPI SysAllocString(const OLECHAR* text);
/// A new BSTR of `length` characters copied from `text`, or zeros when it is
/// null; null when there is no memory.
WINBASEAPI BSTR WINAPI SysAllocStringLen(const OLECHAR* text, UINT length);
/// Frees a BSTR; null does nothing.
WINBASEAPI void WINAPI SysFreeString(BSTR text);
/// Characters of a BSTR, without terminator; 0 for null.
WINBASEAPI UINT WINAPI SysStringLen(BSTR text);
/// Bytes the BSTR counts: 2 x SysStringLen; 0 for null.
WINBASEAPI UINT WINAPI SysStringByteLen(BSTR text);
}

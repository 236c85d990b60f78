/// @file
/// Numbered messages of the message file, a loadable module with a message
/// table that the application may name.
#pragma once

#include <qnlith/core/api.h>
#include <qnlith/core/cString.h>

/// The stored name of the message file; the default "QNLITH.MSG" is stored
/// on the first call when no name was set. The library keeps the text.
QNLITH_API const wchar_t* messageFile();
/// Stores a private copy of the name; a null name changes nothing.
QNLITH_API void setMessageFile(const wchar_t* name);
/// The message of that number with up to nine inserts, looked up in every
/// language the platform tries. An empty string when the file can't be loaded; cException
/// "cPlatform ::  messageText - Message not Found" when it lacks the message.
QNLITH_API cString messageText(DWORD number, const wchar_t* insert1 = nullptr, const wchar_t* insert2 = nullptr,
                               const wchar_t* insert3 = nullptr, const wchar_t* insert4 = nullptr,
                               const wchar_t* insert5 = nullptr, const wchar_t* insert6 = nullptr,
                               const wchar_t* insert7 = nullptr, const wchar_t* insert8 = nullptr,
                               const wchar_t* insert9 = nullptr);

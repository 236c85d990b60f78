// Resource lookups the layer's areas share (strings, images, messages).
#pragma once

#include <memory>
#include <string>
#include <qnlith/win32/resources.h>

#include "../errors/api.h"
#include "module_table.h"

namespace qn {

// The entry of a type and name in the module, with the language fallback;
// null with the reason in the last error.
QN_INTERNAL const ResourceEntry* findResource(const Module& module, LPCWSTR type, LPCWSTR name, WORD language);

// The same for a module handle (null: the main program) in the default
// language; `record` keeps the module's record alive while the entry is used.
QN_INTERNAL const ResourceEntry* findResource(HMODULE module, LPCWSTR type, LPCWSTR name,
                                              std::shared_ptr<Module>& record);

// String `id` of the module's string table, converted to wide text. False
// with ERROR_RESOURCE_NAME_NOT_FOUND for an empty entry or a malformed block.
QN_INTERNAL bool stringResource(const Module& module, UINT id, std::wstring& text);

}  // namespace qn

namespace qn {

// The text of message `id` in the message table (RT_MESSAGETABLE 1) of a
// module (null: the main program), as FormatMessageW with
// FORMAT_MESSAGE_FROM_HMODULE finds it. Language 0 tries the neutral
// language and then the user's (en-US); LANG_USER_DEFAULT and
// LANG_SYSTEM_DEFAULT mean the user's language; any other language must be
// in the table exactly. The text comes back as stored, inserts unexpanded.
// Returns ERROR_SUCCESS, or ERROR_MOD_NOT_FOUND, ERROR_RESOURCE_TYPE_NOT_FOUND
// (no message table), ERROR_RESOURCE_LANG_NOT_FOUND, ERROR_MR_MID_NOT_FOUND,
// ERROR_INVALID_DATA (a malformed table).
QN_INTERNAL DWORD findMessage(HMODULE module, DWORD id, DWORD language, std::wstring& text);

}  // namespace qn

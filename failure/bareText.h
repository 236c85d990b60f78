// The bare-text failure: a broken precondition is thrown as a pointer to a
// static wide text that spells out the condition. Only handlers for
// wchar_t* or void* catch it.
#pragma once

[[noreturn]] inline void throwBareText(const wchar_t* condition) { throw const_cast<wchar_t*>(condition); }

/// @file
/// Linkage of the operating-system layer's exported names.
#pragma once

/// Marks a function or datum as exported from the operating-system layer's shared object.
#define QN_PLATFORM_API __attribute__((visibility("default")))
/// Calling conventions of Win32 declarations; empty on x86-64 Linux, where
/// there is one convention.
///@{
#define WINAPI
#define APIENTRY
#define CALLBACK
///@}
/// Marks a Win32 function of the layer as exported.
#define WINBASEAPI QN_PLATFORM_API

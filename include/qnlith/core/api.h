/// @file
/// Linkage of the library's exported classes, functions and data.
#pragma once

/// Marks a class, function or datum as exported from the library's shared object.
#define QNLITH_API __attribute__((visibility("default")))

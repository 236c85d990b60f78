/// @file
/// Linkage of the framework layer's exported names.
#pragma once

/// Marks a class or function as exported from the framework layer's shared object.
#define QN_FRAMEWORK_API __attribute__((visibility("default")))

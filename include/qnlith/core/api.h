// Linkage of the library's exported classes, functions and data.
#pragma once

#define QNLITH_API __attribute__((visibility("default")))

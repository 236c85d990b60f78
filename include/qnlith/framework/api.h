// Linkage of the framework layer's exported names.
#pragma once

#define QN_FRAMEWORK_API __attribute__((visibility("default")))

// Linkage of the operating-system layer's exported names.
#pragma once

#define QN_PLATFORM_API __attribute__((visibility("default")))
#define WINAPI
#define APIENTRY
#define CALLBACK
#define WINBASEAPI QN_PLATFORM_API

// The marks of what is visible outside the shared library.
//
// QVLIB_API: a module may link to it. Everything without the mark is hidden.
// QVLIB_LOCAL: a private member of a marked class that nobody outside can call; calls of it need no indirection.
#pragma once

#if defined(QVLIB_STATIC)
#define QVLIB_API
#define QVLIB_LOCAL
#elif defined(_WIN32)
#if defined(QVLIB_BUILDING)
#define QVLIB_API __declspec(dllexport)
#else
#define QVLIB_API __declspec(dllimport)
#endif
#define QVLIB_LOCAL
#else
#define QVLIB_API __attribute__((visibility("default")))
#define QVLIB_LOCAL __attribute__((visibility("hidden")))
#endif

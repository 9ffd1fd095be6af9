// The export mark of the shared library. Everything that a module may link to carries QVLIB_API; all else is hidden.
#pragma once

#if defined(QVLIB_STATIC)
#define QVLIB_API
#elif defined(_WIN32)
#if defined(QVLIB_BUILDING)
#define QVLIB_API __declspec(dllexport)
#else
#define QVLIB_API __declspec(dllimport)
#endif
#else
#define QVLIB_API __attribute__((visibility("default")))
#endif

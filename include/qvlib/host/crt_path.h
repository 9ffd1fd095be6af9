// The run-time library's path split and join.
//
//     wchar_t drive[3], directory[256], name[256], extension[256];
//     _wsplitpath_s(L"C:\\a\\b.txt", drive, 3, directory, 256, name, 256, extension, 256); // "C:" "\a\" "b" ".txt"
//
// Both look at the text alone. The separators are \ and /. Thread-safe.
#pragma once

#include "qvlib/export.h"

#include <cstddef>

#if !defined(_WIN32)

/// Takes a path apart: a drive (any character and a colon), the directory up to the last separator and with it, the
/// name up to the last dot behind that, and the extension from that dot on. Capacities count the terminator; an output
/// that isn't wanted is null with the capacity 0. 0 on success; 22 for a null path or an output that has only one of
/// pointer and capacity; 34 when a piece doesn't fit. Every output is empty after a failure.
QVLIB_API int _wsplitpath_s(wchar_t const * path, wchar_t * drive, std::size_t driveCapacity, wchar_t * directory,
                            std::size_t directoryCapacity, wchar_t * name, std::size_t nameCapacity,
                            wchar_t * extension, std::size_t extensionCapacity) noexcept;

/// Joins the pieces, of which any may be null: the first character of the drive and a colon, the directory with a
/// separator at its end, the name, the extension with a dot before it. 0 on success; 22 without a buffer; 34 when the
/// path with its terminator exceeds `capacity`, `path` then being empty. No piece may lie in `path`.
QVLIB_API int _wmakepath_s(wchar_t * path, std::size_t capacity, wchar_t const * drive, wchar_t const * directory,
                           wchar_t const * name, wchar_t const * extension) noexcept;

#endif

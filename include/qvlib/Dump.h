// The banners around the dump of an object.
//
//     qvlib::TLDumpOutputBegin(out, L"Order");
//     out << ...;
//     qvlib::TLDumpOutputEnd(out, L"Order");
//
// Thread-compatible, as the stream is.
#pragma once

#include <iosfwd>

#include "qvlib/export.h"

namespace qvlib
{

/// A rule, "Begin dump for " (or "End dump for "), the name, the end of the line with a flush, and a rule. A null name
/// is the empty one.
QVLIB_API void TLDumpOutputBegin(std::wostream & stream, wchar_t const * name);
QVLIB_API void TLDumpOutputEnd(std::wostream & stream, wchar_t const * name);
/// A rule: 80 hyphens and the end of the line.
QVLIB_API void TLDumpOutputSeparator(std::wostream & stream);

/// Empty on purpose: entry points that callers' dump code links to.
QVLIB_API void TLObjectDumpBegin(wchar_t const * name);
QVLIB_API void TLObjectDumpEnd(wchar_t const * name);
QVLIB_API void TLObjectDumpSeparator();

} // namespace qvlib

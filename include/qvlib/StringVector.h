// CStringVector: a vector of strings with a comma-joined form and a stored form.
//
//     qvlib::CStringVector names(2, L"a");
//     names.ToString(); // "a,a"
//
// Stored form, little-endian: a 32-bit version (1), a 32-bit count, then each item as a platform string in its wide
// form.
#pragma once

#include "qvlib/QVString.h"
#include "qvlib/export.h"

#include <vector>

class CArchive;

namespace qvlib
{

/// Thread-compatible.
class QVLIB_API CStringVector : public std::vector<CQVString>
{
public:
    using std::vector<CQVString>::vector;
    CStringVector() = default;
    CStringVector(std::vector<CQVString> const & items) : std::vector<CQVString>(items) {}
    CStringVector(std::vector<CQVString> && items) noexcept : std::vector<CQVString>(std::move(items)) {}

    /// The items joined with commas. Empty items vanish.
    CQVString ToString() const;

    /// Stores the items, or loads items and appends them to those already here. Throws CArchiveException: badSchema for
    /// a version above 1, endOfFile when the archive ends too soon; the items read until then stay.
    void Serialize(CArchive & archive);
};

} // namespace qvlib

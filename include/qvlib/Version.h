// Version: a dotted version number of two to four parts, major.minor[.build[.revision]].
//
// It keeps which parts were given, so 1.2 and 1.2.0 are different values: a part that was not given sorts below 0.
//
//     qvlib::Version const found(L"3.4.5");
//     if (found < qvlib::Version(3, 10))
//         Use(found.ToString(false)); // L"3.4.5"; ToString(2, true) is L"3.04"
//
// Reading never fails for want of digits: what cannot be read is 0 or not given, and what stands behind the last part
// is passed over. FromString says how many parts were read.
#pragma once

#include "qvlib/QVString.h"
#include "qvlib/export.h"

#include <compare>
#include <cstdint>

namespace qvlib
{

/// A plain value. Thread-compatible.
struct QVLIB_API Version
{
    /// 0.0, with no build and no revision.
    static Version const Empty;

    /// Throw argument_out_of_range_exception, with the name of the part, for a negative one: a part that is not given
    /// is left out, not given as -1.
    Version(int major, int minor);
    Version(int major, int minor, int build);
    Version(int major, int minor, int build, int revision);
    /// As FromString, its result dropped.
    Version(wchar_t const * text);

    int Major() const noexcept { return m_major; }
    int Minor() const noexcept { return m_minor; }
    /// 0 when not given.
    int Build() const noexcept { return m_build == kNotGiven ? 0 : m_build; }
    int Revision() const noexcept { return m_revision == kNotGiven ? 0 : m_revision; }
    /// How many parts were given: 2 to 4.
    int Parts() const noexcept { return m_build == kNotGiven ? 2 : m_revision == kNotGiven ? 3 : 4; }

    /// Reads up to four numbers with a full stop between them, in the manner of the platform's scan: blanks and a sign
    /// may stand in front of each number. Gives how many were read, -1 for an empty text (null is one); parts that were
    /// not read become 0, 0, not given, not given. A number beyond 32 bits is the nearest bound. Throws
    /// argument_out_of_range_exception, and changes nothing, when a part was read that is negative; -1 for build and
    /// revision reads as not given.
    int FromString(wchar_t const * text);

    friend bool operator==(Version const & a, Version const & b) noexcept { return a.CompareTo(b) == 0; }
    friend std::strong_ordering operator<=>(Version const & a, Version const & b) noexcept
    {
        return a.CompareTo(b) <=> 0;
    }

    /// The first `parts` parts, 0 for those not given; any number of them below 1 gives four. `padded` writes minor and
    /// build with at least two digits, never the revision. Throws argument_out_of_range_exception with "parts" above 4.
    CQVString ToString(int parts, bool padded) const;
    /// All parts that were given.
    CQVString ToString(bool padded) const { return ToString(Parts(), padded); }
    /// The same into a buffer of `size` characters. False when it is null or has no room for the text and its NUL.
    bool ToString(wchar_t * buffer, int size, int parts, bool padded) const;
    bool ToString(wchar_t * buffer, int size, bool padded) const { return ToString(buffer, size, Parts(), padded); }

private:
    static constexpr std::int32_t kNotGiven = -1;

    constexpr Version() noexcept = default;

    int CompareTo(Version const & other) const noexcept;
    void Init(int major, int minor, int build, int revision);

    std::int32_t m_major = 0;
    std::int32_t m_minor = 0;
    std::int32_t m_build = kNotGiven;
    std::int32_t m_revision = kNotGiven;
};

} // namespace qvlib

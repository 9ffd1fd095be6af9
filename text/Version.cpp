#include "qvlib/Version.h"

#include "qvlib/Exceptions.h"
#include "qvlib/host/crt.h"

#include <algorithm>
#include <cwchar>
#include <limits>

namespace qvlib
{

namespace
{

// The exceptions keep a reference to the name.
char const * const kMajor = "major";
char const * const kMinor = "minor";
char const * const kBuild = "build";
char const * const kRevision = "revision";
char const * const kParts = "parts";

void Require(bool inRange, char const * const & name)
{
    if (!inRange)
        throw argument_out_of_range_exception(name, nullptr);
}

/// Reads one number as the scan's "%d" does, and moves behind it. False when there is none; the text may have moved.
bool ScanNumber(wchar_t const *& text, int & number)
{
    while (host::iswspace(static_cast<int>(*text)))
        ++text;
    bool const negative = *text == L'-';
    if (*text == L'-' || *text == L'+')
        ++text;
    if (*text < L'0' || *text > L'9')
        return false;
    constexpr std::int64_t kMaximum = std::numeric_limits<std::int32_t>::max();
    std::int64_t magnitude = 0;
    for (; *text >= L'0' && *text <= L'9'; ++text)
        magnitude = std::min(magnitude * 10 + (*text - L'0'), kMaximum + 1);
    number = static_cast<int>(negative ? -magnitude : std::min(magnitude, kMaximum));
    return true;
}

} // namespace

constinit Version const Version::Empty;

Version::Version(int major, int minor) { Init(major, minor, kNotGiven, kNotGiven); }

Version::Version(int major, int minor, int build)
{
    Init(major, minor, build, kNotGiven);
    Require(build >= 0, kBuild);
}

Version::Version(int major, int minor, int build, int revision)
{
    Init(major, minor, build, revision);
    Require(build >= 0, kBuild);
    Require(revision >= 0, kRevision);
}

Version::Version(wchar_t const * text) { FromString(text); }

void Version::Init(int major, int minor, int build, int revision)
{
    Require(major >= 0, kMajor);
    Require(minor >= 0, kMinor);
    Require(build >= kNotGiven, kBuild);
    Require(revision >= kNotGiven, kRevision);
    m_major = major;
    m_minor = minor;
    m_build = build;
    m_revision = revision;
}

int Version::FromString(wchar_t const * text)
{
    int parts[4] = {0, 0, kNotGiven, kNotGiven};
    int read = 0;
    if (text == nullptr)
        text = L"";
    wchar_t const * at = text;
    while (read < 4 && (read == 0 || *at++ == L'.') && ScanNumber(at, parts[read]))
        ++read;
    // Blanks alone are the end of input to the scan, like no text at all.
    bool const nothing = read == 0 && *at == L'\0' && (at == text || host::iswspace(static_cast<int>(at[-1])));
    Init(parts[0], parts[1], parts[2], parts[3]);
    return nothing ? -1 : read;
}

int Version::CompareTo(Version const & other) const noexcept
{
    auto const compare = [](std::int32_t a, std::int32_t b) { return (a > b) - (a < b); };
    if (int const result = compare(m_major, other.m_major))
        return result;
    if (int const result = compare(m_minor, other.m_minor))
        return result;
    if (int const result = compare(m_build, other.m_build))
        return result;
    return compare(m_revision, other.m_revision);
}

CQVString Version::ToString(int parts, bool padded) const
{
    Require(parts <= 4, kParts);
    CQVString text;
    switch (parts)
    {
    case 1:
        text.Format(L"%d", m_major);
        break;
    case 2:
        text.Format(padded ? L"%d.%02d" : L"%d.%d", m_major, m_minor);
        break;
    case 3:
        text.Format(padded ? L"%d.%02d.%02d" : L"%d.%d.%d", m_major, m_minor, Build());
        break;
    default:
        // Kept on purpose: the revision is never padded.
        text.Format(padded ? L"%d.%02d.%02d.%d" : L"%d.%d.%d.%d", m_major, m_minor, Build(), Revision());
        break;
    }
    return text;
}

bool Version::ToString(wchar_t * buffer, int size, int parts, bool padded) const
{
    CQVString const text = ToString(parts, padded);
    int const length = text.GetLength();
    if (buffer == nullptr || length > size)
        return false;
    if (length == size)
    {
        buffer[0] = L'\0'; // what the platform's checked copy leaves when the NUL has no room
        return false;
    }
    std::wmemcpy(buffer, text.GetString(), static_cast<std::size_t>(length) + 1);
    return true;
}

} // namespace qvlib

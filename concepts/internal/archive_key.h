// Keys and names in archives, without a string of their own on the way: names of ordinary length are encoded into the
// archive's buffer and decoded out of it.
#pragma once

#include "qvlib/NameOrId.h"
#include "qvlib/framework/archive.h"

#include <string>
#include <string_view>

namespace qvlib::internal
{

/// The version word of every record: written as 1, read as 0 or 1.
constexpr unsigned int kRecordVersion = 1;
[[noreturn]] void ThrowBadSchema(CArchive const & archive);

inline void LoadVersion(CArchive & archive)
{
    unsigned int version;
    archive >> version;
    if (version > kRecordVersion)
        ThrowBadSchema(archive);
}

/// Holds a text that was read.
class LoadedText
{
public:
    /// Reads the record of a library string.
    std::wstring_view Load(CArchive & archive);

private:
    static constexpr unsigned int kShort = 64;

    wchar_t m_short[kShort];
    std::wstring m_long;
};

/// Writes the record of a library string.
void StoreText(CArchive & archive, std::wstring_view text);

/// The record of a key. What was loaded is good as long as `name` is.
void StoreKey(CArchive & archive, NameOrIdView key);
NameOrIdView LoadKey(CArchive & archive, LoadedText & name);

} // namespace qvlib::internal

#include "concepts/internal/archive_key.h"

#include "qvlib/ArchiveSerialization.h"
#include "qvlib/host/utf16.h"

#include <cstring>

namespace qvlib::internal
{

namespace
{

// {version, width byte, length}: the head of a library string.
constexpr UINT kTextHead = 4 + 1 + 4;
constexpr UINT kLongestInPlace = 256;

std::uint32_t Word(BYTE const * bytes) noexcept
{
    return bytes[0] | static_cast<std::uint32_t>(bytes[1]) << 8 | static_cast<std::uint32_t>(bytes[2]) << 16 |
           static_cast<std::uint32_t>(bytes[3]) << 24;
}

BYTE * PutWord(BYTE * bytes, std::uint32_t word) noexcept
{
    for (int i = 0; i < 4; ++i, word >>= 8)
        *bytes++ = static_cast<BYTE>(word);
    return bytes;
}

// Encodes the record at `at`, where there is room, and gives its end.
BYTE * PutText(BYTE * at, std::wstring_view text) noexcept
{
    std::size_t const units = host::EncodeUtf16(text.data(), text.size(), at + kTextHead);
    at = PutWord(at, kRecordVersion);
    *at++ = 1;
    at = PutWord(at, static_cast<std::uint32_t>(units));
    return at + 2 * units;
}

// Two units a character at most.
UINT RoomForText(std::wstring_view text) noexcept { return kTextHead + 4 * static_cast<UINT>(text.size()); }

} // namespace

void ThrowBadSchema(CArchive const & archive)
{
    AfxThrowArchiveException(CArchiveException::badSchema, archive.m_strFileName);
}

std::wstring_view LoadedText::Load(CArchive & archive)
{
    if (BYTE const * const head = archive.Peek(kTextHead))
    {
        std::uint32_t const length = Word(head + 5);
        if (Word(head) <= kRecordVersion && head[4] != 0 && length <= kShort)
            if (BYTE const * const whole = archive.Peek(kTextHead + 2 * length))
            {
                std::size_t const count = host::DecodeUtf16(whole + kTextHead, length, m_short);
                archive.Skip(kTextHead + 2 * length);
                return {m_short, count};
            }
    }
    SerializeString(archive, m_long);
    return m_long;
}

void StoreText(CArchive & archive, std::wstring_view text)
{
    if (text.size() <= kLongestInPlace)
        if (BYTE * const room = archive.Room(RoomForText(text)))
        {
            archive.Commit(static_cast<UINT>(PutText(room, text) - room));
            return;
        }
    std::wstring copy(text);
    SerializeString(archive, copy);
}

void StoreKey(CArchive & archive, NameOrIdView key)
{
    if (key.IsId())
    {
        archive << kRecordVersion << static_cast<unsigned char>(0) << key.Id();
        return;
    }
    std::wstring_view const name = key.Name();
    if (name.size() <= kLongestInPlace)
        if (BYTE * const room = archive.Room(5 + RoomForText(name)))
        {
            BYTE * at = PutWord(room, kRecordVersion);
            *at++ = 1;
            archive.Commit(static_cast<UINT>(PutText(at, name) - room));
            return;
        }
    archive << kRecordVersion << static_cast<unsigned char>(1);
    StoreText(archive, name);
}

NameOrIdView LoadKey(CArchive & archive, LoadedText & name)
{
    LoadVersion(archive);
    unsigned char isName;
    archive >> isName;
    if (isName != 0)
        return NameOrIdView(name.Load(archive));
    unsigned int id;
    archive >> id;
    return id;
}

} // namespace qvlib::internal

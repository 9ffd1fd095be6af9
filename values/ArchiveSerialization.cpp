#include "qvlib/ArchiveSerialization.h"

#include "qvlib/RectF.h"
#include "qvlib/host/utf16.h"
#include "qvlib/host/utf8.h"

#include <algorithm>
#include <limits>

namespace qvlib
{

namespace
{

constexpr std::uint32_t kVersion = 1;
constexpr UINT kFirstStep = 0x10000; // bytes taken on trust at most, before any of them has arrived

std::uint32_t Counted(CArchive const &, std::size_t count)
{
    if (count > std::numeric_limits<std::uint32_t>::max())
        AfxThrowInvalidArgException();
    return static_cast<std::uint32_t>(count);
}

// Reads up to `count` bytes; fewer when the archive ends. Room is made only as bytes arrive.
void ReadBytes(CArchive & archive, std::uint64_t count, std::string & bytes)
{
    bytes.clear();
    while (bytes.size() < count)
    {
        std::size_t const arrived = bytes.size();
        auto const step = static_cast<UINT>(
            std::min({count - arrived, std::max<std::uint64_t>(kFirstStep, arrived), std::uint64_t{1} << 30}));
        bytes.resize(arrived + step);
        UINT const got = archive.Read(bytes.data() + arrived, step);
        if (got == step)
            continue;
        bytes.resize(arrived + got);
        return;
    }
}

std::wstring Decoded(std::string const & bytes)
{
    auto const * const units = reinterpret_cast<unsigned char const *>(bytes.data());
    std::wstring text(bytes.size() / 2, L'\0');
    text.resize(host::DecodeUtf16(units, bytes.size() / 2, text.data()));
    return text;
}

struct Head
{
    bool wide;
    std::uint32_t length;
};

Head ReadHead(CArchive & archive)
{
    SerializeVersion(archive);
    Head head{};
    archive >> head.wide >> head.length;
    return head;
}

void WriteHead(CArchive & archive, bool wide, std::size_t length)
{
    std::uint32_t const count = Counted(archive, length); // before anything is written
    archive << kVersion << wide << count;
}

} // namespace

void SerializeVersion(CArchive & archive)
{
    if (archive.IsStoring())
    {
        archive << kVersion;
        return;
    }
    std::uint32_t version = 0;
    archive >> version;
    if (version > kVersion)
        AfxThrowArchiveException(CArchiveException::badSchema, archive.m_strFileName);
}

CArchive & operator<<(CArchive & archive, CDateTime const & date) { return archive << static_cast<double>(date); }

CArchive & operator>>(CArchive & archive, CDateTime & date)
{
    double value = 0;
    archive >> value;
    date = CDateTime(value);
    return archive;
}

CArchive & operator<<(CArchive & archive, CTLRectF const & rect)
{
    return archive << rect.top << rect.bottom << rect.left << rect.right;
}

CArchive & operator>>(CArchive & archive, CTLRectF & rect)
{
    return archive >> rect.top >> rect.bottom >> rect.left >> rect.right;
}

CArchive & SerializeGuid(CArchive & archive, _GUID & guid)
{
    SerializeVersion(archive);
    if (archive.IsStoring())
    {
        archive << guid.Data1 << guid.Data2 << guid.Data3;
        archive.Write(guid.Data4, sizeof guid.Data4);
        return archive;
    }
    unsigned char bytes[16];
    if (archive.Read(bytes, sizeof bytes) != sizeof bytes)
        AfxThrowArchiveException(CArchiveException::badClass, archive.m_strFileName); // not endOfFile: kept on purpose
    guid.Data1 = static_cast<std::uint32_t>(bytes[0]) | static_cast<std::uint32_t>(bytes[1]) << 8 |
                 static_cast<std::uint32_t>(bytes[2]) << 16 | static_cast<std::uint32_t>(bytes[3]) << 24;
    guid.Data2 = static_cast<std::uint16_t>(bytes[4] | bytes[5] << 8);
    guid.Data3 = static_cast<std::uint16_t>(bytes[6] | bytes[7] << 8);
    std::copy(bytes + 8, bytes + 16, guid.Data4);
    return archive;
}

CArchive & SerializeString(CArchive & archive, std::string & text)
{
    if (archive.IsStoring())
    {
        WriteHead(archive, false, text.size());
        archive.Write(text.data(), static_cast<UINT>(text.size()));
        return archive;
    }
    Head const head = ReadHead(archive);
    std::string bytes;
    ReadBytes(archive, head.wide ? std::uint64_t{head.length} * 2 : head.length, bytes);
    if (head.wide)
        text = host::ToUtf8(Decoded(bytes));
    else
        text.swap(bytes);
    return archive;
}

CArchive & SerializeString(CArchive & archive, std::wstring & text)
{
    if (archive.IsStoring())
    {
        std::size_t const units = host::Utf16Length(text.data(), text.size());
        WriteHead(archive, true, units);
        if (units < kFirstStep)
        {
            auto const size = static_cast<UINT>(units * 2);
            if (BYTE * const room = archive.Room(size))
            {
                host::EncodeUtf16(text.data(), text.size(), room);
                archive.Commit(size);
                return archive;
            }
        }
        constexpr std::size_t kPiece = 512;
        unsigned char bytes[kPiece * 4];
        for (std::size_t at = 0; at < text.size(); at += kPiece)
        {
            std::size_t const count = std::min(kPiece, text.size() - at);
            archive.Write(bytes, static_cast<UINT>(2 * host::EncodeUtf16(text.data() + at, count, bytes)));
        }
        return archive;
    }
    Head const head = ReadHead(archive);
    if (UINT const size = head.length * 2; head.wide && head.length < kFirstStep)
    {
        // Short, and all there: from the archive's own memory, without a copy between.
        if (BYTE const * const units = archive.Peek(size))
        {
            text.resize(head.length);
            text.resize(host::DecodeUtf16(units, head.length, text.data()));
            archive.Skip(size);
            return archive;
        }
    }
    std::string bytes;
    ReadBytes(archive, head.wide ? std::uint64_t{head.length} * 2 : head.length, bytes);
    text = head.wide ? Decoded(bytes) : host::FromUtf8(bytes);
    return archive;
}

} // namespace qvlib

#include "qvlib/framework/archive.h"

#include "qvlib/host/utf16.h"

#include <algorithm>
#include <memory>
#include <vector>

namespace
{

constexpr UINT kSmallestBuffer = 128;
constexpr UINT kWholeWindow = std::numeric_limits<UINT>::max();
constexpr SIZE_T kFirstStep = 0x10000; // bytes taken on trust at most, before any of them has arrived

} // namespace

CArchive::CArchive(CFile * file, UINT mode, int bufferSize, void * buffer)
    : m_file(file), m_buffer(static_cast<BYTE *>(buffer)),
      m_bufferSize(std::max(kSmallestBuffer, static_cast<UINT>(std::max(bufferSize, 0)))),
      m_loading((mode & load) != 0), m_noFlushOnDelete((mode & bNoFlushOnDelete) != 0)
{
    if (buffer != nullptr && bufferSize < static_cast<int>(kSmallestBuffer))
        m_buffer = nullptr; // too small to hold every scalar: the archive takes its own
    if (file == nullptr)
        return;
    m_strFileName = file->GetFilePath();
    m_direct = (file->GetBufferPtr(CFile::bufferCheck) & CFile::bufferDirect) != 0;
    if (m_direct)
        m_buffer = nullptr;
}

CArchive::~CArchive()
{
    if (m_file != nullptr && !m_noFlushOnDelete)
    {
        try
        {
            Close();
        }
        catch (...) // a destructor cannot report: whoever wants to know calls Close
        {
        }
    }
    Abort();
}

void CArchive::Detach() noexcept
{
    m_file = nullptr;
    m_get = m_getEnd = nullptr;
    m_put = m_putEnd = nullptr;
    if (m_ownsBuffer)
        delete[] m_buffer;
    m_ownsBuffer = false;
    m_buffer = nullptr;
}

void CArchive::Abort() noexcept { Detach(); }

void CArchive::Close()
{
    if (m_file == nullptr)
        return;
    try
    {
        Flush();
    }
    catch (CException const &)
    {
        // A stream that cannot be moved back keeps the position that it has; what was read is not in doubt.
        if (!m_loading)
            throw;
    }
    Detach();
}

void CArchive::Flush()
{
    if (m_file == nullptr)
        return;
    if (!m_loading)
    {
        FlushStored();
        return;
    }
    LONGLONG const unread = m_getEnd - m_get;
    m_get = m_getEnd = nullptr;
    if (unread != 0)
        m_file->Seek(-unread, CFile::current);
}

void CArchive::FlushStored()
{
    if (m_put == nullptr)
        return;
    UINT const count = static_cast<UINT>(m_put - m_buffer);
    if (m_direct)
    {
        m_put = m_putEnd = nullptr;
        m_file->GetBufferPtr(CFile::bufferCommit, count);
        return;
    }
    if (count != 0)
        m_file->Write(m_buffer, count);
    m_put = m_buffer;
}

void CArchive::CheckLoading() const
{
    if (!m_loading)
        AfxThrowArchiveException(CArchiveException::writeOnly, m_strFileName);
    if (m_file == nullptr)
        AfxThrowArchiveException(CArchiveException::genericException, m_strFileName);
}

void CArchive::CheckStoring() const
{
    if (m_loading)
        AfxThrowArchiveException(CArchiveException::readOnly, m_strFileName);
    if (m_file == nullptr)
        AfxThrowArchiveException(CArchiveException::genericException, m_strFileName);
}

void CArchive::OwnBuffer()
{
    if (m_buffer != nullptr)
        return;
    m_buffer = new BYTE[m_bufferSize];
    m_ownsBuffer = true;
}

BYTE const * CArchive::PeekSlow(UINT count)
{
    CheckLoading();
    if (m_direct)
    {
        if (m_get != m_getEnd)
            Flush(); // asks again from where reading stands; the window was all there was, or 4 GB
        void * start = nullptr;
        void * stop = nullptr;
        m_file->GetBufferPtr(CFile::bufferRead, kWholeWindow, &start, &stop);
        m_get = static_cast<BYTE const *>(start);
        m_getEnd = static_cast<BYTE const *>(stop);
        return count <= static_cast<SIZE_T>(m_getEnd - m_get) ? m_get : nullptr;
    }
    if (count > m_bufferSize)
        return nullptr;
    OwnBuffer();
    UINT held = static_cast<UINT>(m_getEnd - m_get);
    if (held != 0 && m_get != m_buffer)
        std::memmove(m_buffer, m_get, held);
    m_get = m_buffer;
    m_getEnd = m_buffer + held;
    while (held < count)
    {
        UINT const got = m_file->Read(m_buffer + held, m_bufferSize - held);
        if (got == 0)
            return nullptr;
        held += got;
        m_getEnd = m_buffer + held;
    }
    return m_get;
}

void CArchive::GetSlow(void * buffer, UINT count)
{
    BYTE const * const bytes = PeekSlow(count);
    if (bytes == nullptr)
        AfxThrowArchiveException(CArchiveException::endOfFile, m_strFileName);
    std::memcpy(buffer, bytes, count);
    m_get += count;
}

UINT CArchive::ReadSlow(void * buffer, UINT count)
{
    CheckLoading();
    auto * target = static_cast<BYTE *>(buffer);
    UINT left = count;
    while (left != 0)
    {
        UINT const part = static_cast<UINT>(std::min<SIZE_T>(left, static_cast<SIZE_T>(m_getEnd - m_get)));
        if (part != 0)
        {
            std::memcpy(target, m_get, part);
            m_get += part;
            target += part;
            left -= part;
        }
        else if (!m_direct && left >= m_bufferSize)
        {
            UINT const got = m_file->Read(target, left); // large and not in the buffer: straight to its place
            if (got == 0)
                break;
            target += got;
            left -= got;
        }
        else if (PeekSlow(1) == nullptr)
            break;
    }
    return count - left;
}

BYTE * CArchive::RoomSlow(UINT count)
{
    CheckStoring();
    FlushStored();
    if (m_direct)
    {
        void * start = nullptr;
        void * stop = nullptr;
        try
        {
            m_file->GetBufferPtr(CFile::bufferWrite, count, &start, &stop);
        }
        catch (CMemoryException const &)
        {
            return nullptr; // the caller may have asked for more than it needs; a plain write will tell
        }
        m_buffer = m_put = static_cast<BYTE *>(start);
        m_putEnd = static_cast<BYTE *>(stop);
        return m_put;
    }
    OwnBuffer();
    m_put = m_buffer;
    m_putEnd = m_buffer + m_bufferSize;
    return count <= m_bufferSize ? m_put : nullptr;
}

void CArchive::WriteSlow(void const * buffer, UINT count)
{
    CheckStoring();
    if (BYTE * const room = RoomSlow(count))
    {
        std::memcpy(room, buffer, count);
        m_put += count;
    }
    else
        m_file->Write(buffer, count); // larger than the buffer, which RoomSlow has just emptied, or than all memory
}

void AfxWriteStringLength(CArchive & archive, UINT_PTR length, BOOL unicode)
{
    // A 255, and a length too long for the width in use, is the mark that a wider one follows.
    BYTE prefix[3 + 1 + 2 + 4 + 8];
    UINT size = 0;
    auto const put = [&](std::uint64_t value, unsigned bytes)
    {
        for (; bytes != 0; --bytes, value >>= 8)
            prefix[size++] = static_cast<BYTE>(value & 0xFF);
    };
    if (unicode)
        put(0xFFFEFF, 3);
    if (length < 0xFF)
        put(length, 1);
    else if (length < 0xFFFE) // 0xFFFE in 16 bits would read as the Unicode tag
    {
        put(0xFF, 1);
        put(length, 2);
    }
    else if (length < 0xFFFFFFFF)
    {
        put(0xFFFFFF, 3);
        put(length, 4);
    }
    else
    {
        put(0xFFFFFFFFFFFFFF, 7);
        put(length, 8);
    }
    archive.Write(prefix, size);
}

UINT_PTR AfxReadStringLength(CArchive & archive, int & charSize)
{
    charSize = 1;
    BYTE small = 0;
    archive >> small;
    if (small != 0xFF)
        return small;
    std::uint16_t medium = 0;
    archive >> medium;
    if (medium == 0xFFFE)
    {
        charSize = 2;
        archive >> small;
        if (small != 0xFF)
            return small;
        archive >> medium;
    }
    if (medium != 0xFFFF)
        return medium;
    std::uint32_t large = 0;
    archive >> large;
    if (large != 0xFFFFFFFF)
        return large;
    unsigned __int64 largest = 0;
    archive >> largest;
    if (largest > std::numeric_limits<UINT_PTR>::max())
        AfxThrowArchiveException(CArchiveException::endOfFile, archive.m_strFileName);
    return static_cast<UINT_PTR>(largest);
}

CArchive & operator<<(CArchive & archive, CString const & text)
{
    wchar_t const * characters = text.GetString();
    SIZE_T left = static_cast<SIZE_T>(text.GetLength());
    SIZE_T const units = qvlib::host::Utf16Length(characters, left);
    if (units < 0xFF)
    {
        UINT const size = static_cast<UINT>(4 + units * 2);
        if (BYTE * const room = archive.Room(size))
        {
            room[0] = 0xFF;
            room[1] = 0xFE;
            room[2] = 0xFF;
            room[3] = static_cast<BYTE>(units);
            qvlib::host::EncodeUtf16(characters, left, room + 4);
            archive.Commit(size);
            return archive;
        }
    }
    AfxWriteStringLength(archive, units, TRUE);
    if (units <= kFirstStep)
    {
        if (BYTE * const room = archive.Room(static_cast<UINT>(units * 2)))
        {
            qvlib::host::EncodeUtf16(characters, left, room);
            archive.Commit(static_cast<UINT>(units * 2));
            return archive;
        }
    }
    constexpr SIZE_T kPiece = 512;
    BYTE bytes[kPiece * 4];
    while (left != 0)
    {
        SIZE_T const count = std::min(left, kPiece);
        SIZE_T const written = qvlib::host::EncodeUtf16(characters, count, bytes);
        archive.Write(bytes, static_cast<UINT>(written * 2));
        characters += count;
        left -= count;
    }
    return archive;
}

namespace
{

// Reads `count` bytes, or throws endOfFile. Room is made only as bytes arrive: a length that lies costs one step.
std::vector<BYTE> ReadAll(CArchive & archive, UINT_PTR count)
{
    std::vector<BYTE> bytes;
    while (bytes.size() < count)
    {
        SIZE_T const arrived = bytes.size();
        SIZE_T const step = std::min({count - arrived, std::max(kFirstStep, arrived), SIZE_T{1} << 30});
        bytes.resize(arrived + step);
        if (archive.Read(bytes.data() + arrived, static_cast<UINT>(step)) < step)
            AfxThrowArchiveException(CArchiveException::endOfFile, archive.m_strFileName);
    }
    return bytes;
}

void Decode(BYTE const * bytes, SIZE_T count, bool wide, CString & text)
{
    SIZE_T const units = wide ? count / 2 : count;
    if (units > static_cast<SIZE_T>(std::numeric_limits<int>::max()))
        AfxThrowMemoryException(); // no string holds as many
    wchar_t * const characters = text.GetBufferSetLength(static_cast<int>(units));
    SIZE_T length = units;
    if (wide)
        length = qvlib::host::DecodeUtf16(bytes, units, characters);
    else
        std::copy(bytes, bytes + count, characters); // the code page of old archives: a byte is its own code point
    text.ReleaseBuffer(static_cast<int>(length));
}

} // namespace

CArchive & operator>>(CArchive & archive, CString & text)
{
    int charSize = 1;
    UINT_PTR const length = AfxReadStringLength(archive, charSize);
    bool const wide = charSize == 2;
    if (length > std::numeric_limits<UINT_PTR>::max() / 2)
        AfxThrowArchiveException(CArchiveException::endOfFile, archive.m_strFileName);
    UINT_PTR const count = wide ? length * 2 : length;
    if (count == 0)
        text.Empty();
    else if (BYTE const * const bytes =
                 count <= std::numeric_limits<UINT>::max() ? archive.Peek(static_cast<UINT>(count)) : nullptr)
    {
        Decode(bytes, count, wide, text);
        archive.Skip(static_cast<UINT>(count));
    }
    else
    {
        std::vector<BYTE> const read = ReadAll(archive, count);
        Decode(read.data(), read.size(), wide, text);
    }
    return archive;
}

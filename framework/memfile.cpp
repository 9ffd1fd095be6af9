#include "qvlib/framework/memfile.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace
{

constexpr UINT kLargestCount = std::numeric_limits<UINT>::max();

UINT Counted(SIZE_T size) { return static_cast<UINT>(std::min<SIZE_T>(size, kLargestCount)); }

} // namespace

CMemFile::CMemFile(UINT growBytes) noexcept : m_growBytes(growBytes) {}

CMemFile::CMemFile(BYTE * buffer, UINT size, UINT growBytes) : m_growBytes(0)
{
    CMemFile::Attach(buffer, size, growBytes);
}

CMemFile::~CMemFile() { CMemFile::Close(); }

void CMemFile::Attach(BYTE * buffer, UINT size, UINT growBytes)
{
    Close();
    m_data = buffer;
    m_capacity = buffer ? size : 0;
    m_length = growBytes == 0 ? m_capacity : 0;
    m_growBytes = growBytes;
    m_owned = growBytes != 0;
}

BYTE * CMemFile::Detach()
{
    BYTE * const data = m_data;
    m_data = nullptr;
    m_owned = true;
    m_capacity = m_length = m_position = 0;
    return data;
}

BOOL CMemFile::Open(LPCWSTR, UINT, CFileException * error)
{
    if (error != nullptr)
        *error = CFileException(CFileException::accessDenied, ERROR_ACCESS_DENIED);
    return FALSE; // a file in memory has nothing to open
}

BYTE * CMemFile::Realloc(BYTE * buffer, SIZE_T size) { return static_cast<BYTE *>(std::realloc(buffer, size)); }

void CMemFile::Free(BYTE * buffer) { std::free(buffer); }

void CMemFile::Reserve(SIZE_T capacity)
{
    if (capacity <= m_capacity)
        return;
    if (m_growBytes == 0)
        AfxThrowMemoryException();
    SIZE_T room = m_capacity + std::max<SIZE_T>(m_capacity / 2, m_growBytes);
    room = std::max(room, capacity);
    BYTE * data = Realloc(m_data, room);
    if (data == nullptr && room > capacity)
        data = Realloc(m_data, room = capacity);
    if (data == nullptr)
        AfxThrowMemoryException();
    m_data = data;
    m_capacity = room;
}

UINT CMemFile::Read(void * buffer, UINT count)
{
    if (m_position >= m_length)
        return 0;
    UINT const available = static_cast<UINT>(std::min<SIZE_T>(count, m_length - m_position));
    if (available != 0)
        std::memcpy(buffer, m_data + m_position, available);
    m_position += available;
    return available;
}

void CMemFile::Write(void const * buffer, UINT count)
{
    if (count == 0)
        return;
    GetBufferPtr(bufferWrite, count);
    std::memcpy(m_data + m_position, buffer, count);
    GetBufferPtr(bufferCommit, count);
}

ULONGLONG CMemFile::Seek(LONGLONG offset, UINT from)
{
    SIZE_T const base = from == begin ? 0 : from == current ? m_position : m_length;
    if (from > end)
        AfxThrowFileException(CFileException::genericException, ERROR_INVALID_PARAMETER);
    bool const before = offset < 0 && static_cast<SIZE_T>(-(offset + 1)) >= base;
    bool const beyond = offset > 0 && static_cast<SIZE_T>(offset) > static_cast<SIZE_T>(PTRDIFF_MAX) - base;
    if (before || beyond)
        AfxThrowFileException(CFileException::badSeek, ERROR_NEGATIVE_SEEK);
    m_position = base + static_cast<SIZE_T>(offset);
    return m_position;
}

ULONGLONG CMemFile::GetPosition() const { return m_position; }

ULONGLONG CMemFile::GetLength() const { return m_length; }

void CMemFile::SetLength(ULONGLONG length)
{
    if (length > static_cast<SIZE_T>(PTRDIFF_MAX))
        AfxThrowMemoryException();
    SIZE_T const wanted = static_cast<SIZE_T>(length);
    Reserve(wanted);
    if (wanted > m_length)
        std::memset(m_data + m_length, 0, wanted - m_length);
    m_length = m_position = wanted;
}

void CMemFile::Flush() {}

void CMemFile::Close()
{
    BYTE * const data = m_data;
    bool const owned = m_owned;
    Detach();
    if (data != nullptr && owned)
        Free(data);
}

void CMemFile::Abort() { Close(); }

UINT CMemFile::GetBufferPtr(UINT command, UINT count, void ** start, void ** stop)
{
    switch (command)
    {
    case bufferCheck:
        return bufferDirect;
    case bufferRead:
    {
        SIZE_T const left = m_position < m_length ? m_length - m_position : 0;
        UINT const given = static_cast<UINT>(std::min<SIZE_T>(count, left));
        if (start != nullptr && stop != nullptr)
        {
            *start = given == 0 ? nullptr : m_data + m_position;
            *stop = given == 0 ? nullptr : m_data + m_position + given;
        }
        m_position += given;
        return given;
    }
    case bufferWrite:
    {
        Reserve(m_position + count);
        if (m_position > m_length) // the gap that a Seek behind the end has left
            std::memset(m_data + m_length, 0, m_position - m_length);
        UINT const given = Counted(m_capacity - m_position);
        if (start != nullptr && stop != nullptr)
        {
            *start = m_data + m_position;
            *stop = m_data + m_position + given;
        }
        return given;
    }
    case bufferCommit:
        if (count > m_capacity || m_position > m_capacity - count)
            AfxThrowInvalidArgException();
        m_position += count;
        m_length = std::max(m_length, m_position);
        return 0;
    default:
        AfxThrowInvalidArgException();
    }
}

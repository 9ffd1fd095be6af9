// CArchive: a buffered stream of binary values over a CFile, with a direction.
//
//     CMemFile file;
//     {
//         CArchive out(&file, CArchive::store);
//         out << 7 << 2.5 << text;
//         out.Close();
//     }
//     file.SeekToBegin();
//     CArchive in(&file, CArchive::load);
//     in >> number >> ratio >> text;
//
// Values are little-endian and follow each other without gaps. `long` and `unsigned long` are 32-bit quantities
// whatever their width in memory: they take 4 bytes, and writing one that does not fit throws CInvalidArgException (all
// bits set always fits). Text takes its length and its characters as UTF-16 units, so that the bytes do not depend on
// how wide a wchar_t is.
//
// A value cut short by the end of the file throws CArchiveException with the cause endOfFile, writing to an archive
// that loads one with readOnly, and reading from one that stores one with writeOnly. A failing read leaves the archive
// where the value began as far as its bytes are still in the buffer.
//
// Objects are thread-compatible. The archive does not own its file, which must stay untouched until Flush, Close or the
// destructor.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>

#include "qvlib/export.h"
#include "qvlib/framework/exceptions.h"
#include "qvlib/framework/file.h"
#include "qvlib/host/types.h"

class QVLIB_API CArchive
{
public:
    enum Mode : UINT
    {
        store = 0,
        load = 1,
        bNoFlushOnDelete = 2 ///< the destructor drops what was not flushed
    };

    /// An archive over `file`. `buffer` of `bufferSize` bytes is the caller's; without one the archive has its own. A
    /// file in memory is worked on in place and needs none. A null file makes an archive that is closed.
    CArchive(CFile * file, UINT mode, int bufferSize = 4096, void * buffer = nullptr);
    CArchive(CArchive const &) = delete;
    CArchive & operator=(CArchive const &) = delete;
    /// Closes as Close does, unless bNoFlushOnDelete is set; a failure of that is not seen, so call Close to see it.
    ~CArchive();

    bool IsLoading() const noexcept { return m_loading; }
    bool IsStoring() const noexcept { return !m_loading; }
    CFile * GetFile() const noexcept { return m_file; }

    /// Reads up to `count` bytes and gives how many came; fewer only at the end of the file.
    UINT Read(void * buffer, UINT count)
    {
        if (count <= static_cast<SIZE_T>(m_getEnd - m_get)) [[likely]]
        {
            if (count != 0)
                std::memcpy(buffer, m_get, count);
            m_get += count;
            return count;
        }
        return ReadSlow(buffer, count);
    }
    void Write(void const * buffer, UINT count)
    {
        if (count <= static_cast<SIZE_T>(m_putEnd - m_put)) [[likely]]
        {
            if (count != 0)
                std::memcpy(m_put, buffer, count);
            m_put += count;
            return;
        }
        WriteSlow(buffer, count);
    }
    /// Storing: hands everything written to the file. Loading: moves the file's position back to where reading stands.
    void Flush();
    /// Flushes and lets go of the file, which stays open. Nothing can be read or written afterwards.
    void Close();
    /// Lets go of the file without flushing. Never throws.
    void Abort() noexcept;

    CArchive & operator<<(bool value) { return Put<std::uint8_t>(value ? 1 : 0); }
    CArchive & operator<<(char value) { return Put(value); }
    CArchive & operator<<(signed char value) { return Put(value); }
    CArchive & operator<<(unsigned char value) { return Put(value); }
    CArchive & operator<<(short value) { return Put(value); }
    CArchive & operator<<(unsigned short value) { return Put(value); }
    CArchive & operator<<(int value) { return Put(value); }
    CArchive & operator<<(unsigned int value) { return Put(value); }
    CArchive & operator<<(long value)
    {
        if ((value < std::numeric_limits<std::int32_t>::min() || value > std::numeric_limits<std::int32_t>::max()) &&
            static_cast<unsigned long>(value) != std::numeric_limits<std::uint32_t>::max())
            AfxThrowInvalidArgException();
        return Put(static_cast<std::int32_t>(value));
    }
    CArchive & operator<<(unsigned long value)
    {
        if (value > std::numeric_limits<std::uint32_t>::max() && value != std::numeric_limits<unsigned long>::max())
            AfxThrowInvalidArgException();
        return Put(static_cast<std::uint32_t>(value));
    }
    CArchive & operator<<(__int64 value) { return Put(value); }
    CArchive & operator<<(unsigned __int64 value) { return Put(value); }
    CArchive & operator<<(float value) { return Put(std::bit_cast<std::uint32_t>(value)); }
    CArchive & operator<<(double value) { return Put(std::bit_cast<std::uint64_t>(value)); }
    /// One UTF-16 unit; a character that needs two throws CInvalidArgException.
    CArchive & operator<<(wchar_t value)
    {
        if (static_cast<std::uint32_t>(value) > 0xFFFFU)
            AfxThrowInvalidArgException();
        return Put(static_cast<std::uint16_t>(value));
    }

    /// Any byte but 0 is true.
    CArchive & operator>>(bool & value)
    {
        value = Get<std::uint8_t>() != 0;
        return *this;
    }
    CArchive & operator>>(char & value) { return GetInto(value); }
    CArchive & operator>>(signed char & value) { return GetInto(value); }
    CArchive & operator>>(unsigned char & value) { return GetInto(value); }
    CArchive & operator>>(short & value) { return GetInto(value); }
    CArchive & operator>>(unsigned short & value) { return GetInto(value); }
    CArchive & operator>>(int & value) { return GetInto(value); }
    CArchive & operator>>(unsigned int & value) { return GetInto(value); }
    CArchive & operator>>(long & value)
    {
        value = Get<std::int32_t>();
        return *this;
    }
    CArchive & operator>>(unsigned long & value)
    {
        value = Get<std::uint32_t>();
        return *this;
    }
    CArchive & operator>>(__int64 & value) { return GetInto(value); }
    CArchive & operator>>(unsigned __int64 & value) { return GetInto(value); }
    CArchive & operator>>(float & value)
    {
        value = std::bit_cast<float>(Get<std::uint32_t>());
        return *this;
    }
    CArchive & operator>>(double & value)
    {
        value = std::bit_cast<double>(Get<std::uint64_t>());
        return *this;
    }
    CArchive & operator>>(wchar_t & value)
    {
        value = static_cast<wchar_t>(Get<std::uint16_t>());
        return *this;
    }

    /// For code that encodes straight into the archive: room for `count` contiguous bytes, or null when the buffer or a
    /// file in memory cannot hold as many; then use Write. What was written there is taken by Commit. Throws readOnly
    /// on an archive that loads.
    BYTE * Room(UINT count)
    {
        if (count <= static_cast<SIZE_T>(m_putEnd - m_put)) [[likely]]
            return m_put;
        return RoomSlow(count);
    }
    void Commit(UINT count) noexcept { m_put += count; }
    /// For code that decodes straight out of the archive: the next `count` bytes in place, or null when the file ends
    /// before or the buffer cannot hold as many. Skip goes past them. Throws writeOnly on an archive that stores.
    BYTE const * Peek(UINT count)
    {
        if (count <= static_cast<SIZE_T>(m_getEnd - m_get)) [[likely]]
            return m_get;
        return PeekSlow(count);
    }
    void Skip(UINT count) noexcept { m_get += count; }

    CString m_strFileName; ///< the file's path; what the archive's exceptions carry

private:
    // Little-endian bytes <-> a number, whatever the machine.
    template <class T>
    static T Little(T value) noexcept
    {
        if constexpr (std::endian::native == std::endian::little || sizeof(T) == 1)
            return value;
        else
        {
            using U = std::make_unsigned_t<T>;
            U from = static_cast<U>(value);
            U to = 0;
            for (unsigned i = 0; i < sizeof(T); ++i, from = static_cast<U>(from >> 8))
                to = static_cast<U>((to << 8) | (from & 0xFFU));
            return static_cast<T>(to);
        }
    }
    template <class T>
    CArchive & Put(T value)
    {
        T const bytes = Little(value);
        if (sizeof(T) <= static_cast<SIZE_T>(m_putEnd - m_put)) [[likely]]
        {
            std::memcpy(m_put, &bytes, sizeof(T));
            m_put += sizeof(T);
        }
        else
            WriteSlow(&bytes, sizeof(T));
        return *this;
    }
    template <class T>
    T Get()
    {
        T bytes;
        if (sizeof(T) <= static_cast<SIZE_T>(m_getEnd - m_get)) [[likely]]
        {
            std::memcpy(&bytes, m_get, sizeof(T));
            m_get += sizeof(T);
        }
        else
            GetSlow(&bytes, sizeof(T));
        return Little(bytes);
    }
    template <class T>
    CArchive & GetInto(T & value)
    {
        value = Get<T>();
        return *this;
    }

    UINT ReadSlow(void * buffer, UINT count);
    void WriteSlow(void const * buffer, UINT count);
    void GetSlow(void * buffer, UINT count); // all of it, or endOfFile
    BYTE * RoomSlow(UINT count);
    BYTE const * PeekSlow(UINT count);
    void CheckLoading() const;
    void CheckStoring() const;
    void OwnBuffer();
    void FlushStored();
    void Detach() noexcept;

    // Only the pair of the archive's own direction is ever set, so that one comparison tells both "no room" and "wrong
    // direction".
    BYTE const * m_get = nullptr;
    BYTE const * m_getEnd = nullptr;
    BYTE * m_put = nullptr;
    BYTE * m_putEnd = nullptr;

    CFile * m_file;
    BYTE * m_buffer; // start of the buffer, or of the window into a file in memory
    UINT m_bufferSize;
    bool m_loading;
    bool m_direct = false;
    bool m_ownsBuffer = false;
    bool m_noFlushOnDelete;
};

/// Writes text as the framework does: its length as AfxWriteStringLength, then its characters as UTF-16 units.
QVLIB_API CArchive & operator<<(CArchive & archive, CString const & text);
/// Reads such a text; one without the Unicode tag is taken as bytes of Latin-1. Text cut short throws CArchiveException
/// with the cause endOfFile and leaves `text` as it was. Memory is taken only for bytes that have arrived.
QVLIB_API CArchive & operator>>(CArchive & archive, CString & text);

/// Writes a length, with the tag of Unicode text before it where `unicode` is set.
QVLIB_API void AfxWriteStringLength(CArchive & archive, UINT_PTR length, BOOL unicode);
/// Reads a length; `charSize` becomes 2 behind the tag of Unicode text, else 1.
QVLIB_API UINT_PTR AfxReadStringLength(CArchive & archive, int & charSize);

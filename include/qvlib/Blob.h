// CBlob: a block of bytes with value semantics and a shared buffer.
//
// A copy shares the buffer and costs one atomic increment; whoever writes through GetBuffer first gets a buffer of its
// own.
//
//     qvlib::CBlob a("abc", 3);
//     qvlib::CBlob b = a;         // shares
//     b.GetBuffer()[0] = 'x';     // b now has its own bytes, a is unchanged
//     a.ToString();               // "YWJj"
//
// In a file a blob is the nine bytes "BINBLOCK" with a zero, a 4-byte length and the bytes, little-endian.
//
// Objects are thread-compatible; blobs of different threads may share a buffer.
#pragma once

#include <atomic>
#include <cstdint>

#include "qvlib/QVString.h"
#include "qvlib/export.h"
#include "qvlib/host/memory.h"

class CFile;

namespace qvlib
{

class QVLIB_API CBlob
{
public:
    CBlob() noexcept = default;
    CBlob(CBlob const & other) noexcept : m_buffer(other.m_buffer) { AddRef(); }
    CBlob(CBlob && other) noexcept : m_buffer(other.m_buffer) { other.m_buffer = nullptr; }
    /// As SetData(data, size) on an empty blob.
    CBlob(void const * data, unsigned long size) { SetData(data, size); }
    /// As SetData(medium) on an empty blob.
    CBlob(STGMEDIUM const & medium) { SetData(medium); }
    ~CBlob() { Release(); }

    CBlob & operator=(CBlob const & other) noexcept
    {
        CBlob copy(other);
        Swap(copy);
        return *this;
    }
    CBlob & operator=(CBlob && other) noexcept
    {
        CBlob moved(static_cast<CBlob &&>(other));
        Swap(moved);
        return *this;
    }
    void Swap(CBlob & other) noexcept
    {
        Buffer * const own = m_buffer;
        m_buffer = other.m_buffer;
        other.m_buffer = own;
    }

    /// Whether the bytes are the same.
    bool operator==(CBlob const & other) const noexcept;
    bool operator!=(CBlob const & other) const noexcept { return !(*this == other); }
    /// Orders by the identity of the buffers, not by content: stable while the buffers live, and without other meaning.
    /// Kept on purpose, although == looks at content: callers depend on it.
    bool operator<(CBlob const & other) const noexcept
    {
        return reinterpret_cast<std::uintptr_t>(m_buffer) < reinterpret_cast<std::uintptr_t>(other.m_buffer);
    }

    /// Takes a private copy of the bytes, where assignment would share them.
    void Copy(CBlob const & other);
    /// A blob with a private copy of the bytes.
    CBlob Clone() const;
    void Empty() noexcept
    {
        Release();
        m_buffer = nullptr;
    }
    bool IsEmpty() const noexcept { return m_buffer == nullptr; }

    /// The bytes, null when empty. They hold until this object or the last blob that shares them is changed.
    unsigned char const * GetData() const noexcept { return m_buffer ? m_buffer->Bytes() : nullptr; }
    /// The number of bytes.
    long GetLength() const noexcept { return m_buffer ? static_cast<long>(m_buffer->length) : 0; }
    unsigned long GetSize() const noexcept { return m_buffer ? m_buffer->length : 0; }

    /// Writable bytes that no other blob shares; null when empty.
    unsigned char * GetBuffer() { return GetBuffer(GetSize()); }
    /// The same, with the length set to `size`. Old bytes stay as far as they fit; bytes beyond them have no defined
    /// content. A larger buffer has room for exactly `size`. With 0 the blob is empty afterwards and the result null.
    unsigned char * GetBuffer(unsigned long size);

    /// Takes a copy of `size` bytes, which may be bytes of this blob. 0 empties the blob. Null data with a size throws
    /// unexpected_error and changes nothing, as does an exception for want of memory.
    void SetData(void const * data, unsigned long size);
    /// Takes a copy of the bytes of a global memory block.
    void SetData(void * globalHandle);
    /// Takes a copy of the bytes of a medium of kind TYMED_HGLOBAL with a handle; any other changes nothing.
    void SetData(STGMEDIUM const & medium);

    /// The bytes in Base64, padded, in lines of 76 characters with "\r\n" between them. Empty for an empty blob.
    CQVString ToString() const;
    /// Decodes Base64; characters outside the alphabet are skipped. `length` counts characters, negative means up to
    /// the terminator. Null or empty text empties the blob. False, with the blob empty, when the text cannot be
    /// decoded. The length becomes that of the *text*: the decoded bytes lie in front, the rest has no defined content.
    bool FromString(wchar_t const * text, int length);

    /// Reads the file form. False, with the blob unchanged, when the bytes are not of that form or end too early.
    bool ReadFromFile(CFile & file);
    /// Writes the file form. Always true: a failed write is the file's exception.
    bool WriteToFile(CFile & file) const;
    /// The same into global memory; on success what the medium held is freed.
    static bool ReadFromFile(CFile & file, STGMEDIUM & medium);
    /// False unless the medium is of kind TYMED_HGLOBAL.
    static bool WriteToFile(CFile & file, STGMEDIUM const & medium);

    /// A medium with a copy of the bytes in new global memory, to be freed with FreeStgMedium. The handle is null for
    /// an empty blob and when memory is short.
    STGMEDIUM ToStgMedium() const;
    /// Frees the memory of a medium of kind TYMED_HGLOBAL and clears the handle; other kinds are ignored.
    static void FreeStgMedium(STGMEDIUM & medium);

protected:
    /// The shared buffer's header; the bytes follow it.
    struct Buffer
    {
        std::atomic<std::uint32_t> references{1};
        std::uint32_t length;
        std::uint32_t capacity;

        Buffer(std::uint32_t len, std::uint32_t room) noexcept : length(len), capacity(room) {}
        unsigned char * Bytes() noexcept { return reinterpret_cast<unsigned char *>(this + 1); }
        unsigned char const * Bytes() const noexcept { return reinterpret_cast<unsigned char const *>(this + 1); }
    };

    void AddRef() const noexcept
    {
        if (m_buffer)
            m_buffer->references.fetch_add(1, std::memory_order_relaxed); // a new reference comes from one that is held
    }
    /// Gives up the reference, and leaves the pointer as it was.
    void Release() noexcept
    {
        if (m_buffer && m_buffer->references.fetch_sub(1, std::memory_order_acq_rel) == 1)
            Free(m_buffer);
    }

private:
    static Buffer * Allocate(std::uint32_t size);
    static void Free(Buffer * buffer) noexcept;
    void Take(Buffer * buffer) noexcept
    {
        Release();
        m_buffer = buffer;
    }
    bool IsPrivate() const noexcept { return m_buffer->references.load(std::memory_order_acquire) == 1; }

    Buffer * m_buffer = nullptr;
};

} // namespace qvlib

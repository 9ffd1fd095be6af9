#include "qvlib/Blob.h"

#include "foundation/internal/base64.h"
#include "foundation/internal/narrow32.h"
#include "qvlib/Exceptions.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>

namespace qvlib
{

CBlob::Buffer * CBlob::Allocate(std::uint32_t size)
{
    void * const memory = ::operator new(sizeof(Buffer) + size);
    return new (memory) Buffer(size, size);
}

void CBlob::Free(Buffer * buffer) noexcept
{
    buffer->~Buffer();
    ::operator delete(buffer);
}

bool CBlob::operator==(CBlob const & other) const noexcept
{
    if (m_buffer == other.m_buffer)
        return true;
    return GetSize() == other.GetSize() && std::memcmp(GetData(), other.GetData(), GetSize()) == 0;
}

void CBlob::Copy(CBlob const & other) { SetData(other.GetData(), other.GetSize()); }

CBlob CBlob::Clone() const { return CBlob(GetData(), GetSize()); }

unsigned char * CBlob::GetBuffer(unsigned long size)
{
    std::uint32_t const length = internal::NarrowULong(size);
    if (length == 0)
    {
        Empty();
        return nullptr;
    }
    if (m_buffer == nullptr || !IsPrivate() || m_buffer->capacity < length)
    {
        Buffer * const buffer = Allocate(length);
        if (m_buffer != nullptr)
            std::memcpy(buffer->Bytes(), m_buffer->Bytes(), std::min(length, m_buffer->length));
        Take(buffer);
    }
    m_buffer->length = length;
    return m_buffer->Bytes();
}

void CBlob::SetData(void const * data, unsigned long size)
{
    std::uint32_t const length = internal::NarrowULong(size);
    if (length == 0)
    {
        Empty();
        return;
    }
    if (data == nullptr)
        throw unexpected_error();
    if (m_buffer != nullptr && IsPrivate() && m_buffer->capacity >= length)
    {
        std::memmove(m_buffer->Bytes(), data, length); // the data may be part of this very buffer
        m_buffer->length = length;
        return;
    }
    Buffer * const buffer = Allocate(length);
    std::memcpy(buffer->Bytes(), data, length);
    Take(buffer);
}

void CBlob::SetData(void * globalHandle)
{
    struct Locked
    {
        HGLOBAL handle;
        void const * bytes = GlobalLock(handle);
        ~Locked() { GlobalUnlock(handle); }
    };
    SIZE_T const size = GlobalSize(globalHandle);
    if (size >= std::numeric_limits<std::uint32_t>::max())
        internal::ThrowNotIn32Bits();
    Locked const locked{globalHandle};
    SetData(locked.bytes, size);
}

void CBlob::SetData(STGMEDIUM const & medium)
{
    if (medium.tymed == TYMED_HGLOBAL && medium.hGlobal != nullptr)
        SetData(medium.hGlobal);
}

CQVString CBlob::ToString() const
{
    CQVString text;
    if (m_buffer == nullptr)
        return text;
    std::size_t size = internal::Base64EncodedSize(m_buffer->length, 0);
    internal::Base64Encode(m_buffer->Bytes(), m_buffer->length, text.GetBufferSetLength(static_cast<int>(size)), &size,
                           0);
    text.ReleaseBuffer(static_cast<int>(size));
    return text;
}

bool CBlob::FromString(wchar_t const * text, int length)
{
    if (length == 0 || text == nullptr || *text == 0)
    {
        Empty();
        return true;
    }
    std::size_t const characters = length < 0 ? std::wcslen(text) : static_cast<std::size_t>(length);
    unsigned char * const bytes = GetBuffer(characters);
    std::size_t decoded = characters;
    if (!internal::Base64Decode(text, characters, bytes, &decoded))
    {
        Empty();
        return false;
    }
    // The length stays that of the text, on purpose: callers depend on it. What lies behind the bytes must not show
    // what the memory held before.
    std::memset(bytes + decoded, 0, characters - decoded);
    return true;
}

STGMEDIUM CBlob::ToStgMedium() const
{
    STGMEDIUM medium{};
    medium.tymed = TYMED_HGLOBAL;
    if (m_buffer == nullptr)
        return medium;
    medium.hGlobal = GlobalAlloc(GMEM_MOVEABLE, m_buffer->length);
    if (void * const bytes = GlobalLock(medium.hGlobal))
    {
        std::memcpy(bytes, m_buffer->Bytes(), m_buffer->length);
        GlobalUnlock(medium.hGlobal);
    }
    return medium;
}

void CBlob::FreeStgMedium(STGMEDIUM & medium)
{
    if (medium.tymed != TYMED_HGLOBAL || medium.hGlobal == nullptr)
        return;
    GlobalFree(medium.hGlobal);
    medium.hGlobal = nullptr;
}

} // namespace qvlib

#include "qvlib/framework/string.h"

#include "framework/internal/format.h"
#include "framework/internal/string_editing.h"
#include "qvlib/framework/exceptions.h"
#include "qvlib/host/resources.h"
#include "qvlib/host/utf8.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace
{

/// Out of line: the compiler would else warn of freeing the static empty buffer, which never gets here.
[[gnu::noinline]] void Free(void * buffer) noexcept { ::operator delete(buffer); }

} // namespace

template <class Char>
constinit typename CStringT<Char>::EmptyBuffer CStringT<Char>::s_empty{{{1}, 0, 0}, Char()};

template <class Char>
Char * CStringT<Char>::Allocate(std::size_t capacity)
{
    if (capacity > qvlib::internal::kMaxTextLength)
        throw std::bad_alloc();
    // Whole blocks of 32 bytes: what the allocator would round up to is of use here.
    std::size_t const bytes = (sizeof(Header) + (capacity + 1) * sizeof(Char) + 31) & ~std::size_t{31};
    Header * const header = new (::operator new(bytes))
        Header{{1},
               0,
               static_cast<std::int32_t>(
                   std::min((bytes - sizeof(Header)) / sizeof(Char) - 1, qvlib::internal::kMaxTextLength))};
    return reinterpret_cast<Char *>(header + 1);
}

template <class Char>
void CStringT<Char>::DropCounted(Char * text) noexcept
{
    Header * const header = HeaderOf(text);
    // Acquire: the last owner must see what the others did before it frees. A sole owner needs no locked instruction.
    if (header->owners.load(std::memory_order_acquire) == 1 ||
        header->owners.fetch_sub(1, std::memory_order_acq_rel) == 1)
        Free(header);
}

template <class Char>
void CStringT<Char>::ThrowInvalidArgument()
{
    AfxThrowInvalidArgException();
}

template <class Char>
bool CStringT<Char>::IsShared() const noexcept
{
    // Acquire: a former owner's reads come before this owner's writes.
    return HeaderOf(m_text)->capacity == 0 || HeaderOf(m_text)->owners.load(std::memory_order_acquire) > 1;
}

template <class Char>
void CStringT<Char>::SetLength(int length) noexcept
{
    HeaderOf(m_text)->length = length;
    m_text[length] = Char();
}

/// Makes the buffer this string's own with room for `length` characters; `grow` leaves room for more to come.
template <class Char>
Char * CStringT<Char>::PrepareWrite(std::size_t length, bool grow)
{
    std::size_t const capacity = static_cast<std::size_t>(GetAllocLength());
    if (length <= capacity && !IsShared())
        return m_text;
    std::size_t const oldLength = static_cast<std::size_t>(GetLength());
    std::size_t wanted = std::max(length, oldLength);
    if (grow && wanted > capacity)
        wanted = std::max(wanted, std::min(capacity + capacity / 2, qvlib::internal::kMaxTextLength));
    Char * const fresh = Allocate(wanted);
    std::memcpy(fresh, m_text, oldLength * sizeof(Char));
    DropOwner(std::exchange(m_text, fresh));
    SetLength(static_cast<int>(oldLength));
    return m_text;
}

template <class Char>
void CStringT<Char>::Assign(Char const * text, std::size_t length)
{
    if (length == 0)
    {
        Empty();
        return;
    }
    if (length <= static_cast<std::size_t>(GetAllocLength()) && !IsShared())
    {
        std::memmove(m_text, text, length * sizeof(Char)); // may be a part of this very text
    }
    else
    {
        Char * const fresh = Allocate(length);
        std::memcpy(fresh, text, length * sizeof(Char));
        DropOwner(std::exchange(m_text, fresh));
    }
    SetLength(static_cast<int>(length));
}

template <class Char>
void CStringT<Char>::AppendText(Char const * text, std::size_t length)
{
    if (length == 0)
        return;
    std::size_t const oldLength = static_cast<std::size_t>(GetLength());
    if (length > qvlib::internal::kMaxTextLength - oldLength)
        throw std::bad_alloc();
    std::size_t const newLength = oldLength + length;
    std::size_t const capacity = static_cast<std::size_t>(GetAllocLength());
    if (newLength <= capacity && !IsShared())
    {
        std::memcpy(m_text + oldLength, text, length * sizeof(Char));
    }
    else
    {
        // The old buffer lives until the end: the text may be a part of it.
        Char * const fresh =
            Allocate(std::max(newLength, std::min(capacity + capacity / 2, qvlib::internal::kMaxTextLength)));
        std::memcpy(fresh, m_text, oldLength * sizeof(Char));
        std::memcpy(fresh + oldLength, text, length * sizeof(Char));
        DropOwner(std::exchange(m_text, fresh));
    }
    SetLength(static_cast<int>(newLength));
}

template <class Char>
void CStringT<Char>::AppendNarrow(char const * text, std::size_t length)
{
    if (length == 0)
        return;
    std::size_t const added = qvlib::host::Utf8DecodedLength(text, length);
    std::size_t const oldLength = static_cast<std::size_t>(GetLength());
    if (added > qvlib::internal::kMaxTextLength - oldLength)
        throw std::bad_alloc();
    PrepareWrite(oldLength + added, oldLength != 0);
    qvlib::host::DecodeUtf8(text, length, m_text + oldLength);
    SetLength(static_cast<int>(oldLength + added));
}

template <class Char>
void CStringT<Char>::AssignNarrow(char const * text, std::size_t length)
{
    CStringT fresh;
    fresh.AppendNarrow(text, length);
    Swap(fresh);
}

template <class Char>
CStringT<Char>::CStringT(Char const * text) : m_text(EmptyText())
{
    Assign(text, qvlib::internal::TextLength(text));
}

template <class Char>
CStringT<Char>::CStringT(Char const * text, int length) : m_text(EmptyText())
{
    SetString(text, length);
}

template <class Char>
CStringT<Char>::CStringT(char const * text) : m_text(EmptyText())
{
    AppendNarrow(text, qvlib::internal::TextLength(text));
}

template <class Char>
CStringT<Char>::CStringT(char const * text, int length) : m_text(EmptyText())
{
    if (length < 0 || (text == nullptr && length != 0))
        ThrowInvalidArgument();
    AppendNarrow(text, static_cast<std::size_t>(length));
}

template <class Char>
CStringT<Char>::CStringT(Char fill, int count) : m_text(EmptyText())
{
    if (count <= 0)
        return;
    std::fill_n(PrepareWrite(static_cast<std::size_t>(count), false), count, fill);
    SetLength(count);
}

template <class Char>
CStringT<Char>::CStringT(std::basic_string_view<Char> text) : m_text(EmptyText())
{
    Assign(text.data(), text.size());
}

template <class Char>
CStringT<Char> & CStringT<Char>::operator=(Char const * text)
{
    Assign(text, qvlib::internal::TextLength(text));
    return *this;
}

template <class Char>
CStringT<Char> & CStringT<Char>::operator=(char const * text)
{
    AssignNarrow(text, qvlib::internal::TextLength(text));
    return *this;
}

template <class Char>
CStringT<Char> & CStringT<Char>::operator=(Char character)
{
    Assign(&character, 1);
    return *this;
}

template <class Char>
CStringT<Char> & CStringT<Char>::operator=(std::basic_string_view<Char> text)
{
    Assign(text.data(), text.size());
    return *this;
}

template <class Char>
void CStringT<Char>::SetAt(int position, Char character)
{
    if (position < 0 || position >= GetLength())
        ThrowInvalidArgument();
    PrepareWrite(static_cast<std::size_t>(GetLength()), false)[position] = character;
}

template <class Char>
Char * CStringT<Char>::GetBuffer(int minLength)
{
    if (minLength < 0)
        ThrowInvalidArgument();
    return PrepareWrite(static_cast<std::size_t>(std::max(minLength, GetLength())), false);
}

template <class Char>
void CStringT<Char>::ReleaseBuffer(int newLength)
{
    int const capacity = GetAllocLength();
    if (newLength < -1 || newLength > capacity)
        ThrowInvalidArgument();
    if (capacity == 0)
        return;
    if (newLength == -1)
    {
        std::size_t const room = static_cast<std::size_t>(capacity);
        Char const * const end = std::char_traits<Char>::find(m_text, room, Char());
        newLength = end ? static_cast<int>(end - m_text) : capacity;
    }
    SetLength(newLength);
}

template <class Char>
Char * CStringT<Char>::GetBufferSetLength(int length)
{
    Char * const buffer = GetBuffer(length);
    SetLength(length);
    return buffer;
}

template <class Char>
void CStringT<Char>::Preallocate(int length)
{
    if (length > GetAllocLength())
        PrepareWrite(static_cast<std::size_t>(length), false);
}

template <class Char>
void CStringT<Char>::Truncate(int length)
{
    if (length < 0)
        ThrowInvalidArgument();
    if (length >= GetLength())
        return;
    if (IsShared())
        Assign(m_text, static_cast<std::size_t>(length));
    else
        SetLength(length);
}

template <class Char>
void CStringT<Char>::FreeExtra()
{
    if (GetAllocLength() - GetLength() < 16)
        return;
    CStringT fitting(View());
    Swap(fitting);
}

template <class Char>
void CStringT<Char>::SetString(Char const * text, int length)
{
    if (length < 0 || (text == nullptr && length != 0))
        ThrowInvalidArgument();
    Assign(text, static_cast<std::size_t>(length));
}

template <class Char>
void CStringT<Char>::Append(Char const * text)
{
    AppendText(text, qvlib::internal::TextLength(text));
}

template <class Char>
void CStringT<Char>::Append(Char const * text, int length)
{
    if (length < 0 || (text == nullptr && length != 0))
        ThrowInvalidArgument();
    AppendText(text, static_cast<std::size_t>(length));
}

template <class Char>
void CStringT<Char>::Append(CStringT const & text)
{
    if (HeaderOf(m_text)->capacity == 0)
        *this = text; // shares instead of copying
    else
        AppendText(text.m_text, static_cast<std::size_t>(text.GetLength()));
}

template <class Char>
void CStringT<Char>::AppendChar(Char character)
{
    AppendText(&character, 1);
}

template <class Char>
CStringT<Char> & CStringT<Char>::operator+=(CStringT const & text)
{
    Append(text);
    return *this;
}

template <class Char>
CStringT<Char> & CStringT<Char>::operator+=(Char const * text)
{
    AppendText(text, qvlib::internal::TextLength(text));
    return *this;
}

template <class Char>
CStringT<Char> & CStringT<Char>::operator+=(char const * text)
{
    AppendNarrow(text, qvlib::internal::TextLength(text));
    return *this;
}

template <class Char>
CStringT<Char> & CStringT<Char>::operator+=(Char character)
{
    AppendText(&character, 1);
    return *this;
}

template <class Char>
CStringT<Char> & CStringT<Char>::operator+=(std::basic_string_view<Char> text)
{
    AppendText(text.data(), text.size());
    return *this;
}

template <class Char>
CStringT<Char> CStringT<Char>::Joined(Char const * a, int aLength, Char const * b, int bLength)
{
    std::size_t const first = aLength < 0 ? qvlib::internal::TextLength(a) : static_cast<std::size_t>(aLength);
    std::size_t const second = bLength < 0 ? qvlib::internal::TextLength(b) : static_cast<std::size_t>(bLength);
    if (first > qvlib::internal::kMaxTextLength || second > qvlib::internal::kMaxTextLength - first)
        throw std::bad_alloc();
    CStringT result;
    if (first + second == 0)
        return result;
    Char * const to = result.PrepareWrite(first + second, false);
    std::copy_n(a, first, to);
    std::copy_n(b, second, to + first);
    result.SetLength(static_cast<int>(first + second));
    return result;
}

template <class Char>
void CStringT<Char>::FormatArguments(bool append, Char const * format, ...)
{
    // Not va_end-guarded against exceptions by choice: on the systems in question va_end does nothing.
    va_list arguments;
    va_start(arguments, format);
    if (append)
        AppendFormatV(format, arguments);
    else
        FormatV(format, arguments);
    va_end(arguments);
}

template <class Char>
void CStringT<Char>::FormatV(Char const * format, va_list arguments)
{
    if (format == nullptr)
        ThrowInvalidArgument();
    qvlib::internal::FormatBuffer out;
    qvlib::internal::FormatWide(out, format, arguments);
    Assign(out.Data(), out.Size());
}

template <class Char>
void CStringT<Char>::AppendFormatV(Char const * format, va_list arguments)
{
    if (format == nullptr)
        ThrowInvalidArgument();
    qvlib::internal::FormatBuffer out;
    qvlib::internal::FormatWide(out, format, arguments);
    AppendText(out.Data(), out.Size());
}

template <class Char>
bool CStringT<Char>::LoadString(unsigned int id)
{
    std::basic_string<Char> text;
    if (!qvlib::host::GetTextResource(id, text))
        return false;
    Assign(text.data(), text.size());
    return true;
}

template class CStringT<wchar_t>;

#include "qvlib/framework/string.h"

#include "framework/internal/format.h"
#include "qvlib/framework/exceptions.h"
#include "qvlib/host/crt.h"
#include "qvlib/host/resources.h"
#include "qvlib/host/utf8.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>
#include <utility>

namespace
{

/// Lengths are int, and a buffer holds a NUL more.
constexpr std::size_t kMaxLength = static_cast<std::size_t>(std::numeric_limits<int>::max()) - 16;

template <class Char>
std::size_t LengthOf(Char const * text) noexcept
{
    return text ? std::char_traits<Char>::length(text) : 0;
}

template <class Char>
Char FoldLower(Char character) noexcept
{
    return qvlib::host::towlower(character);
}

template <class Char>
bool IsBlank(Char character) noexcept
{
    return qvlib::host::iswspace(static_cast<int>(character));
}

/// Out of line: the compiler would else warn of freeing the static empty buffer, which never gets here.
[[gnu::noinline]] void Free(void * buffer) noexcept
{
    ::operator delete(buffer);
}

} // namespace

template <class Char>
constinit typename CStringT<Char>::EmptyBuffer CStringT<Char>::s_empty{{{1}, 0, 0}, Char()};

template <class Char>
Char * CStringT<Char>::Allocate(std::size_t capacity)
{
    if (capacity > kMaxLength)
        throw std::bad_alloc();
    // Whole blocks of 32 bytes: what the allocator would round up to is of use here.
    std::size_t const bytes = (sizeof(Header) + (capacity + 1) * sizeof(Char) + 31) & ~std::size_t{31};
    Header * const header = new (::operator new(bytes))
        Header{{1}, 0, static_cast<std::int32_t>(std::min((bytes - sizeof(Header)) / sizeof(Char) - 1, kMaxLength))};
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
        wanted = std::max(wanted, std::min(capacity + capacity / 2, kMaxLength));
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
    if (length > kMaxLength - oldLength)
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
        Char * const fresh = Allocate(std::max(newLength, std::min(capacity + capacity / 2, kMaxLength)));
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
    if (added > kMaxLength - oldLength)
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
    Assign(text, LengthOf(text));
}

template <class Char>
CStringT<Char>::CStringT(Char const * text, int length) : m_text(EmptyText())
{
    SetString(text, length);
}

template <class Char>
CStringT<Char>::CStringT(char const * text) : m_text(EmptyText())
{
    AppendNarrow(text, LengthOf(text));
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
    Assign(text, LengthOf(text));
    return *this;
}

template <class Char>
CStringT<Char> & CStringT<Char>::operator=(char const * text)
{
    AssignNarrow(text, LengthOf(text));
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
    AppendText(text, LengthOf(text));
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
    AppendText(text, LengthOf(text));
    return *this;
}

template <class Char>
CStringT<Char> & CStringT<Char>::operator+=(char const * text)
{
    AppendNarrow(text, LengthOf(text));
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
    std::size_t const first = aLength < 0 ? LengthOf(a) : static_cast<std::size_t>(aLength);
    std::size_t const second = bLength < 0 ? LengthOf(b) : static_cast<std::size_t>(bLength);
    if (first > kMaxLength || second > kMaxLength - first)
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
int CStringT<Char>::Compare(Char const * text) const
{
    return View().compare({text, LengthOf(text)});
}

template <class Char>
int CStringT<Char>::Compare(CStringT const & text) const noexcept
{
    return m_text == text.m_text ? 0 : View().compare(text.View());
}

template <class Char>
int CStringT<Char>::CompareNoCase(Char const * text) const
{
    Char const nothing = Char();
    Char const * a = m_text;
    Char const * b = text ? text : &nothing;
    for (;; ++a, ++b)
    {
        Char const x = FoldLower(*a);
        Char const y = FoldLower(*b);
        if (x != y)
            return x < y ? -1 : 1;
        if (x == Char())
            return 0;
    }
}

template <class Char>
int CStringT<Char>::Find(Char character, int start) const noexcept
{
    if (start < 0 || start >= GetLength())
        return -1;
    Char const * const found =
        std::char_traits<Char>::find(m_text + start, static_cast<std::size_t>(GetLength() - start), character);
    return found ? static_cast<int>(found - m_text) : -1;
}

template <class Char>
int CStringT<Char>::Find(Char const * text, int start) const noexcept
{
    if (text == nullptr || start < 0 || start > GetLength())
        return -1;
    std::size_t const found = View().find(text, static_cast<std::size_t>(start));
    return found == std::basic_string_view<Char>::npos ? -1 : static_cast<int>(found);
}

template <class Char>
int CStringT<Char>::FindOneOf(Char const * set) const noexcept
{
    std::size_t const found = View().find_first_of({set, LengthOf(set)});
    return found == std::basic_string_view<Char>::npos ? -1 : static_cast<int>(found);
}

template <class Char>
int CStringT<Char>::ReverseFind(Char character) const noexcept
{
    std::size_t const found = View().rfind(character);
    return found == std::basic_string_view<Char>::npos ? -1 : static_cast<int>(found);
}

template <class Char>
int CStringT<Char>::Delete(int position, int count)
{
    position = std::max(position, 0);
    int const length = GetLength();
    if (position >= length || count <= 0)
        return length;
    count = std::min(count, length - position);
    Char * const text = PrepareWrite(static_cast<std::size_t>(length), false);
    std::memmove(text + position, text + position + count,
                 static_cast<std::size_t>(length - position - count) * sizeof(Char));
    SetLength(length - count);
    return length - count;
}

template <class Char>
int CStringT<Char>::Insert(int position, Char character)
{
    Char const text[] = {character, Char()};
    if (character == Char())
        return GetLength();
    return Insert(position, text);
}

template <class Char>
int CStringT<Char>::Insert(int position, Char const * text)
{
    int const length = GetLength();
    std::size_t const added = LengthOf(text);
    if (added == 0)
        return length;
    if (added > kMaxLength - static_cast<std::size_t>(length))
        throw std::bad_alloc();
    position = std::clamp(position, 0, length);
    CStringT const keep(*this); // keeps `text` alive and unmoved where it is a part of this text
    Char * const to = PrepareWrite(static_cast<std::size_t>(length) + added, true);
    std::memmove(to + position + added, to + position, static_cast<std::size_t>(length - position) * sizeof(Char));
    std::memcpy(to + position, text, added * sizeof(Char));
    SetLength(length + static_cast<int>(added));
    return GetLength();
}

template <class Char>
int CStringT<Char>::Replace(Char from, Char to)
{
    int count = 0;
    if (from == to)
        return count;
    int const length = GetLength();
    for (int i = Find(from); i >= 0 && i < length; ++i)
        if (m_text[i] == from)
        {
            PrepareWrite(static_cast<std::size_t>(length), false)[i] = to;
            ++count;
        }
    return count;
}

template <class Char>
int CStringT<Char>::Replace(Char const * from, Char const * to)
{
    std::size_t const fromLength = LengthOf(from);
    if (fromLength == 0)
        return 0;
    std::basic_string_view<Char> const pattern(from, fromLength);
    std::basic_string_view<Char> const other(to, LengthOf(to));
    std::basic_string_view<Char> const text = View();
    std::size_t count = 0;
    for (std::size_t at = text.find(pattern); at != text.npos; at = text.find(pattern, at + fromLength))
        ++count;
    if (count == 0)
        return 0;
    std::size_t const kept = text.size() - count * fromLength;
    if (!other.empty() && count > (kMaxLength - kept) / other.size())
        throw std::bad_alloc();
    CStringT result;
    if (std::size_t const size = kept + count * other.size(); size != 0)
    {
        Char * write = result.PrepareWrite(size, false);
        std::size_t done = 0;
        for (std::size_t at = text.find(pattern); at != text.npos; at = text.find(pattern, done))
        {
            write = std::copy_n(text.data() + done, at - done, write);
            write = std::copy_n(other.data(), other.size(), write);
            done = at + fromLength;
        }
        std::copy_n(text.data() + done, text.size() - done, write);
        result.SetLength(static_cast<int>(size));
    }
    Swap(result);
    return static_cast<int>(count);
}

template <class Char>
int CStringT<Char>::Remove(Char character)
{
    int const first = Find(character);
    if (first < 0)
        return 0;
    int const length = GetLength();
    Char * const text = PrepareWrite(static_cast<std::size_t>(length), false);
    Char * const end = std::remove(text + first, text + length, character);
    SetLength(static_cast<int>(end - text));
    return length - GetLength();
}

template <class Char>
CStringT<Char> CStringT<Char>::Left(int count) const
{
    return Mid(0, count);
}

template <class Char>
CStringT<Char> CStringT<Char>::Right(int count) const
{
    count = std::clamp(count, 0, GetLength());
    return Mid(GetLength() - count, count);
}

template <class Char>
CStringT<Char> CStringT<Char>::Mid(int first) const
{
    return Mid(first, GetLength());
}

template <class Char>
CStringT<Char> CStringT<Char>::Mid(int first, int count) const
{
    int const length = GetLength();
    first = std::clamp(first, 0, length);
    count = std::clamp(count, 0, length - first);
    if (count == length)
        return *this;
    return CStringT(m_text + first, count);
}

template <class Char>
CStringT<Char> CStringT<Char>::SpanIncluding(Char const * set) const
{
    std::size_t const end = View().find_first_not_of({set, LengthOf(set)});
    return end == std::basic_string_view<Char>::npos ? *this : Left(static_cast<int>(end));
}

template <class Char>
CStringT<Char> CStringT<Char>::SpanExcluding(Char const * set) const
{
    int const end = FindOneOf(set);
    return end < 0 ? *this : Left(end);
}

/// Keeps the characters from `first` up to but without `last`.
template <class Char>
void CStringT<Char>::TrimTo(int first, int last)
{
    if (first == 0 && last == GetLength())
        return;
    Assign(m_text + first, static_cast<std::size_t>(last - first));
}

namespace
{

template <class Char, class Unwanted>
std::pair<int, int> TrimmedRange(std::basic_string_view<Char> text, bool left, bool right, Unwanted unwanted)
{
    std::size_t first = 0;
    std::size_t last = text.size();
    while (left && first < last && unwanted(text[first]))
        ++first;
    while (right && last > first && unwanted(text[last - 1]))
        --last;
    return {static_cast<int>(first), static_cast<int>(last)};
}

template <class Char>
auto InSet(Char const * set)
{
    return [wanted = std::basic_string_view<Char>(set, LengthOf(set))](Char c)
    { return wanted.find(c) != std::basic_string_view<Char>::npos; };
}

} // namespace

template <class Char>
CStringT<Char> & CStringT<Char>::Trim()
{
    auto const [first, last] = TrimmedRange(View(), true, true, IsBlank<Char>);
    TrimTo(first, last);
    return *this;
}

template <class Char>
CStringT<Char> & CStringT<Char>::Trim(Char character)
{
    auto const [first, last] = TrimmedRange(View(), true, true, [=](Char c) { return c == character; });
    TrimTo(first, last);
    return *this;
}

template <class Char>
CStringT<Char> & CStringT<Char>::Trim(Char const * set)
{
    auto const [first, last] = TrimmedRange(View(), true, true, InSet(set));
    TrimTo(first, last);
    return *this;
}

template <class Char>
CStringT<Char> & CStringT<Char>::TrimLeft()
{
    auto const [first, last] = TrimmedRange(View(), true, false, IsBlank<Char>);
    TrimTo(first, last);
    return *this;
}

template <class Char>
CStringT<Char> & CStringT<Char>::TrimLeft(Char character)
{
    auto const [first, last] = TrimmedRange(View(), true, false, [=](Char c) { return c == character; });
    TrimTo(first, last);
    return *this;
}

template <class Char>
CStringT<Char> & CStringT<Char>::TrimLeft(Char const * set)
{
    auto const [first, last] = TrimmedRange(View(), true, false, InSet(set));
    TrimTo(first, last);
    return *this;
}

template <class Char>
CStringT<Char> & CStringT<Char>::TrimRight()
{
    auto const [first, last] = TrimmedRange(View(), false, true, IsBlank<Char>);
    TrimTo(first, last);
    return *this;
}

template <class Char>
CStringT<Char> & CStringT<Char>::TrimRight(Char character)
{
    auto const [first, last] = TrimmedRange(View(), false, true, [=](Char c) { return c == character; });
    TrimTo(first, last);
    return *this;
}

template <class Char>
CStringT<Char> & CStringT<Char>::TrimRight(Char const * set)
{
    auto const [first, last] = TrimmedRange(View(), false, true, InSet(set));
    TrimTo(first, last);
    return *this;
}

template <class Char>
CStringT<Char> & CStringT<Char>::MakeLower()
{
    int const length = GetLength();
    if (length != 0)
    {
        Char * const text = PrepareWrite(static_cast<std::size_t>(length), false);
        std::transform(text, text + length, text, FoldLower<Char>);
    }
    return *this;
}

template <class Char>
CStringT<Char> & CStringT<Char>::MakeUpper()
{
    int const length = GetLength();
    if (length != 0)
    {
        Char * const text = PrepareWrite(static_cast<std::size_t>(length), false);
        std::transform(text, text + length, text, [](Char c) { return qvlib::host::towupper(c); });
    }
    return *this;
}

template <class Char>
CStringT<Char> & CStringT<Char>::MakeReverse()
{
    int const length = GetLength();
    if (length != 0)
    {
        Char * const text = PrepareWrite(static_cast<std::size_t>(length), false);
        std::reverse(text, text + length);
    }
    return *this;
}

template <class Char>
CStringT<Char> CStringT<Char>::Tokenize(Char const * delimiters, int & start) const
{
    if (start < 0)
        ThrowInvalidArgument();
    std::basic_string_view<Char> const text = View();
    std::basic_string_view<Char> const set(delimiters, LengthOf(delimiters));
    std::size_t const first = text.find_first_not_of(set, static_cast<std::size_t>(start));
    if (first == text.npos)
    {
        start = -1;
        return CStringT();
    }
    std::size_t const end = std::min(text.find_first_of(set, first), text.size());
    // Behind the delimiter, but not behind the end: a caller may go on from the position that it is left with.
    start = static_cast<int>(std::min(end + 1, text.size()));
    return Mid(static_cast<int>(first), static_cast<int>(end - first));
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

// Comparing, searching and editing text: the members of CStringT that stand on its buffer operations alone. A part of
// framework/string.cpp, which makes the one instance of the class and includes this nowhere else.
#pragma once

#include "qvlib/framework/string.h"
#include "qvlib/host/crt.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <string_view>
#include <utility>

namespace qvlib::internal
{

/// Lengths are int, and a buffer holds a NUL more.
inline constexpr std::size_t kMaxTextLength = static_cast<std::size_t>(std::numeric_limits<int>::max()) - 16;

/// Null counts as empty.
template <class Char>
std::size_t TextLength(Char const * text) noexcept
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
    return [wanted = std::basic_string_view<Char>(set, TextLength(set))](Char c)
    { return wanted.find(c) != std::basic_string_view<Char>::npos; };
}

} // namespace qvlib::internal

template <class Char>
int CStringT<Char>::Compare(Char const * text) const
{
    return View().compare({text, qvlib::internal::TextLength(text)});
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
        Char const x = qvlib::internal::FoldLower(*a);
        Char const y = qvlib::internal::FoldLower(*b);
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
    std::size_t const found = View().find_first_of({set, qvlib::internal::TextLength(set)});
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
    std::size_t const added = qvlib::internal::TextLength(text);
    if (added == 0)
        return length;
    if (added > qvlib::internal::kMaxTextLength - static_cast<std::size_t>(length))
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
    std::size_t const fromLength = qvlib::internal::TextLength(from);
    if (fromLength == 0)
        return 0;
    std::basic_string_view<Char> const pattern(from, fromLength);
    std::basic_string_view<Char> const other(to, qvlib::internal::TextLength(to));
    std::basic_string_view<Char> const text = View();
    std::size_t count = 0;
    for (std::size_t at = text.find(pattern); at != text.npos; at = text.find(pattern, at + fromLength))
        ++count;
    if (count == 0)
        return 0;
    std::size_t const kept = text.size() - count * fromLength;
    if (!other.empty() && count > (qvlib::internal::kMaxTextLength - kept) / other.size())
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
    std::size_t const end = View().find_first_not_of({set, qvlib::internal::TextLength(set)});
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

template <class Char>
CStringT<Char> & CStringT<Char>::Trim()
{
    auto const [first, last] = qvlib::internal::TrimmedRange(View(), true, true, qvlib::internal::IsBlank<Char>);
    TrimTo(first, last);
    return *this;
}

template <class Char>
CStringT<Char> & CStringT<Char>::Trim(Char character)
{
    auto const [first, last] =
        qvlib::internal::TrimmedRange(View(), true, true, [=](Char c) { return c == character; });
    TrimTo(first, last);
    return *this;
}

template <class Char>
CStringT<Char> & CStringT<Char>::Trim(Char const * set)
{
    auto const [first, last] = qvlib::internal::TrimmedRange(View(), true, true, qvlib::internal::InSet(set));
    TrimTo(first, last);
    return *this;
}

template <class Char>
CStringT<Char> & CStringT<Char>::TrimLeft()
{
    auto const [first, last] = qvlib::internal::TrimmedRange(View(), true, false, qvlib::internal::IsBlank<Char>);
    TrimTo(first, last);
    return *this;
}

template <class Char>
CStringT<Char> & CStringT<Char>::TrimLeft(Char character)
{
    auto const [first, last] =
        qvlib::internal::TrimmedRange(View(), true, false, [=](Char c) { return c == character; });
    TrimTo(first, last);
    return *this;
}

template <class Char>
CStringT<Char> & CStringT<Char>::TrimLeft(Char const * set)
{
    auto const [first, last] = qvlib::internal::TrimmedRange(View(), true, false, qvlib::internal::InSet(set));
    TrimTo(first, last);
    return *this;
}

template <class Char>
CStringT<Char> & CStringT<Char>::TrimRight()
{
    auto const [first, last] = qvlib::internal::TrimmedRange(View(), false, true, qvlib::internal::IsBlank<Char>);
    TrimTo(first, last);
    return *this;
}

template <class Char>
CStringT<Char> & CStringT<Char>::TrimRight(Char character)
{
    auto const [first, last] =
        qvlib::internal::TrimmedRange(View(), false, true, [=](Char c) { return c == character; });
    TrimTo(first, last);
    return *this;
}

template <class Char>
CStringT<Char> & CStringT<Char>::TrimRight(Char const * set)
{
    auto const [first, last] = qvlib::internal::TrimmedRange(View(), false, true, qvlib::internal::InSet(set));
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
        std::transform(text, text + length, text, qvlib::internal::FoldLower<Char>);
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
    std::basic_string_view<Char> const set(delimiters, qvlib::internal::TextLength(delimiters));
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

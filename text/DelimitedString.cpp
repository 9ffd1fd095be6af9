#include "qvlib/DelimitedString.h"

#include "qvlib/framework/collections.h"
#include "text/internal/list_writer.h"
#include "text/internal/token_scan.h"

#include <algorithm>
#include <functional>
#include <new>

namespace qvlib
{

using text::Measured;
using text::Span;
using text::TokenWalk;

namespace
{

TokenWalk Tokens(CDelimitedString const & list)
{
    return TokenWalk(list.GetString(), static_cast<std::size_t>(list.GetLength()), list.GetDelimiter());
}

/// As long as a string may become.
constexpr std::size_t kMaxLength = 0x7FFFFF00;

/// Whether the characters lie in the list's own text, and would move away under a change.
bool LiesWithin(CQVString const & list, wchar_t const * token)
{
    std::less_equal<wchar_t const *> const notBehind;
    return notBehind(list.GetString(), token) && notBehind(token, list.GetString() + list.GetLength());
}

std::size_t RoomFor(CQVString const & list, Span added)
{
    auto const length = static_cast<std::size_t>(list.GetLength());
    if (added.Length() >= kMaxLength - length)
        throw std::bad_alloc();
    return length + added.Length() + 1;
}

} // namespace

CDelimitedString::~CDelimitedString() = default;

CDelimitedString & CDelimitedString::operator=(CQVString const & text)
{
    // Kept on purpose, callers depend on it: plain text is a comma list, whatever the delimiter was.
    m_delimiter = kComma;
    CQVString::operator=(text);
    return *this;
}

void CDelimitedString::AddToken(wchar_t const * token, unsigned long length)
{
    std::size_t const count = Measured(token, length);
    if (count == 0)
        return;
    if (IsEmpty())
    {
        Append(token, static_cast<int>(count));
        return;
    }
    if (LiesWithin(*this, token))
    {
        CQVString const copy(token, static_cast<int>(count));
        AddToken(copy);
        return;
    }
    // Room first, doubled so that a list grows in linear time: then nothing can fail half-way.
    auto const oldLength = static_cast<std::size_t>(GetLength());
    if (count >= kMaxLength - oldLength)
        throw std::bad_alloc();
    std::size_t const newLength = oldLength + 1 + count;
    auto const room = static_cast<std::size_t>(GetAllocLength());
    wchar_t * const start =
        GetBuffer(static_cast<int>(newLength <= room ? newLength : std::min(2 * newLength, kMaxLength)));
    start[oldLength] = m_delimiter;
    text::CopyCharacters(start + oldLength + 1, token, count);
    ReleaseBuffer(static_cast<int>(newLength));
}

void CDelimitedString::AddToken(wchar_t token) { AddToken(&token, 1); }

CDelimitedString & CDelimitedString::operator+=(CQVString const & token)
{
    AddToken(token);
    return *this;
}

void CDelimitedString::AddStrings(std::vector<CQVString> const & tokens)
{
    for (CQVString const & token : tokens)
        AddToken(token);
}

void CDelimitedString::AddStrings(CStringArray const & tokens)
{
    for (INT_PTR i = 0; i < tokens.GetCount(); ++i)
        AddToken(tokens[i].GetString(), static_cast<unsigned long>(tokens[i].GetLength()));
}

bool CDelimitedString::AddToken(CQVString const & token, SortingTraits const & traits)
{
    return AddToken(token.GetString(), static_cast<unsigned long>(token.GetLength()), traits);
}

bool CDelimitedString::AddToken(wchar_t const * token, unsigned long length, SortingTraits const & traits)
{
    Span const added{token, token + Measured(token, length)};
    if (added.IsEmpty())
        return false;
    text::ListWriter result(RoomFor(*this, added), m_delimiter);
    bool isIn = false;
    TokenWalk walk = Tokens(*this);
    for (Span present; walk.Next(present);)
    {
        if (!isIn)
        {
            int const order = text::Compare(added, present, traits.caseSensitive);
            if (order == 0 && !traits.allowDuplicates)
                return false;
            isIn = order == 0 || (order < 0) == traits.ascending;
            if (isIn)
                result.AddOther(added);
        }
        result.Add(present);
    }
    if (!isIn)
        result.AddOther(added);
    CQVString::operator=(result.Take());
    return true;
}

wchar_t const * CDelimitedString::GetNextToken(POSITION & position, unsigned long & length, bool skipEmpty) const
{
    wchar_t const * token = nullptr;
    return GetNextToken(position, token, length, skipEmpty) ? token : nullptr;
}

wchar_t const * CDelimitedString::GetNextToken(POSITION & position, unsigned long & length) const
{
    return GetNextToken(position, length, true);
}

CQVString CDelimitedString::GetNextToken(POSITION & position, bool skipEmpty) const
{
    wchar_t const * token = nullptr;
    unsigned long length = 0;
    return GetNextToken(position, token, length, skipEmpty) ? CQVString(token, static_cast<int>(length)) : CQVString();
}

CQVString CDelimitedString::GetNextToken(POSITION & position) const { return GetNextToken(position, true); }

CQVString & CDelimitedString::GetNextToken(POSITION & position, CQVString & out) const
{
    wchar_t const * token = nullptr;
    unsigned long length = 0;
    if (GetNextToken(position, token, length, true))
        out = CQVString(token, static_cast<int>(length));
    return out;
}

bool CDelimitedString::GetTokenAt(unsigned long index, wchar_t const *& token, unsigned long & length) const
{
    TokenWalk walk = Tokens(*this);
    for (Span found; walk.Next(found);)
    {
        if (index-- != 0)
            continue;
        token = found.begin;
        length = static_cast<unsigned long>(found.Length());
        return true;
    }
    return false;
}

CQVString CDelimitedString::GetTokenAt(unsigned long index) const
{
    wchar_t const * token = nullptr;
    unsigned long length = 0;
    return GetTokenAt(index, token, length) ? CQVString(token, static_cast<int>(length)) : CQVString();
}

unsigned long CDelimitedString::GetTokenCount() const
{
    unsigned long count = 0;
    TokenWalk walk = Tokens(*this);
    for (Span found; walk.Next(found);)
        ++count;
    return count;
}

unsigned long CDelimitedString::GetTokenCount(bool skipEmpty) const
{
    if (skipEmpty)
        return GetTokenCount();
    unsigned long count = 0;
    wchar_t const * token = nullptr;
    unsigned long length = 0;
    for (POSITION at = GetFirstTokenPosition(); GetNextToken(at, token, length, false);)
        ++count;
    return count;
}

bool CDelimitedString::InsertTokenAt(unsigned long index, CQVString const & token)
{
    return InsertTokenAt(index, token.GetString(), static_cast<unsigned long>(token.GetLength()));
}

bool CDelimitedString::InsertTokenAt(unsigned long index, wchar_t const * token, unsigned long length)
{
    Span const added{token, token + Measured(token, length)};
    text::ListWriter result(RoomFor(*this, added), m_delimiter);
    unsigned long count = 0;
    TokenWalk walk = Tokens(*this);
    for (Span present; walk.Next(present); ++count)
    {
        if (count == index)
            result.AddOther(added);
        result.Add(present);
    }
    if (count < index)
        return false;
    if (count == index)
        result.AddOther(added);
    CQVString::operator=(result.Take());
    return true;
}

bool CDelimitedString::RemoveTokenAt(unsigned long index)
{
    wchar_t const * token = nullptr;
    unsigned long length = 0;
    return GetTokenAt(index, token, length) &&
           RemoveTokenAtPosition(static_cast<unsigned long>(token - GetString()), length);
}

bool CDelimitedString::ReplaceTokenAt(unsigned long index, CQVString const & token)
{
    return ReplaceTokenAt(index, token.GetString(), static_cast<unsigned long>(token.GetLength()));
}

bool CDelimitedString::ReplaceTokenAt(unsigned long index, wchar_t const * token, unsigned long length)
{
    // In a copy: `token` may lie in this text, and a failure half-way must not lose the old token.
    CDelimitedString changed(*this);
    if (!changed.RemoveTokenAt(index) || !changed.InsertTokenAt(index, token, length))
        return false;
    CQVString::operator=(std::move(static_cast<CQVString &>(changed)));
    return true;
}

bool CDelimitedString::RemoveTokenAtPosition(unsigned long position, unsigned long length)
{
    wchar_t const * const all = GetString();
    auto const size = static_cast<std::size_t>(GetLength());
    std::size_t start = position;
    if (start >= size)
        return false;
    while (start > 0 && IsWhiteSpace(all[start - 1]))
        --start;
    if (start > 0 && all[start - 1] != m_delimiter)
        return false;
    std::size_t end = position;
    if (length == kNone || length == ~0UL)
    {
        while (end < size && all[end] != m_delimiter)
            ++end;
    }
    else
    {
        end = length < size - position ? position + length : size;
        while (end < size && IsWhiteSpace(all[end]))
            ++end;
        if (end < size && all[end] != m_delimiter)
            return false;
    }
    if (end < size)
        ++end;
    else if (start > 0)
        --start;
    Delete(static_cast<int>(start), static_cast<int>(end - start));
    return true;
}

void CDelimitedString::GetStrings(std::vector<CQVString> & tokens) const { GetStrings(tokens, true); }

void CDelimitedString::GetStrings(std::vector<CQVString> & tokens, bool skipEmpty) const
{
    wchar_t const * token = nullptr;
    unsigned long length = 0;
    for (POSITION at = GetFirstTokenPosition(); GetNextToken(at, token, length, skipEmpty);)
        tokens.emplace_back(token, static_cast<int>(length));
}

void CDelimitedString::GetStrings(CStringArray & tokens) const
{
    TokenWalk walk = Tokens(*this);
    for (Span found; walk.Next(found);)
        tokens.Add(CString(found.begin, static_cast<int>(found.Length())));
}

bool CDelimitedString::IsValid() const
{
    wchar_t const * token = nullptr;
    unsigned long length = 0;
    for (POSITION at = GetFirstTokenPosition(); at != nullptr;)
        if (!GetNextToken(at, token, length, true))
            return false;
    return true;
}

bool CDelimitedString::Trimmed() const
{
    wchar_t const * const begin = GetString();
    wchar_t const * const end = begin + GetLength();
    if (begin == end)
        return true;
    if (IsWhiteSpace(*begin) || *begin == m_delimiter || IsWhiteSpace(end[-1]) || end[-1] == m_delimiter)
        return false;
    text::DelimiterScan scan(begin, static_cast<std::size_t>(GetLength()), m_delimiter, m_delimiter);
    for (;;)
    {
        wchar_t const * const at = scan.Next();
        if (at == end)
            return true;
        if (IsWhiteSpace(at[-1]) || IsWhiteSpace(at[1]))
            return false;
    }
}

CDelimitedString & CDelimitedString::Trim()
{
    if (Trimmed())
        return *this;
    auto const size = static_cast<std::size_t>(GetLength());
    wchar_t * const start = GetBuffer();
    wchar_t * out = start;
    text::FieldWalk walk(start, size, m_delimiter);
    bool first = true;
    for (Span field; walk.Next(field); first = false)
    {
        // In place: what is written never overtakes what is still to be read.
        field = text::Trimmed(field, m_delimiter);
        if (!first)
            *out++ = m_delimiter;
        std::wmemmove(out, field.begin, field.Length());
        out += field.Length();
    }
    ReleaseBuffer(static_cast<int>(out - start));
    return *this;
}

void CDelimitedString::TrimToken(wchar_t const *& token, unsigned long & length, wchar_t delimiter)
{
    Span const trimmed = text::Trimmed({token, token + Measured(token, length)}, delimiter);
    token = trimmed.begin;
    length = static_cast<unsigned long>(trimmed.Length());
}

bool CDelimitedString::IsWhiteSpace(wchar_t c, wchar_t delimiter) { return text::IsBlank(c, delimiter); }

} // namespace qvlib

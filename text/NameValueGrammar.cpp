#include "qvlib/NameValueGrammar.h"

#include "qvlib/TextFunctions.h"
#include "text/internal/name_value_reader.h"

#include <cstddef>
#include <cwchar>
#include <iterator>
#include <limits>
#include <new>
#include <vector>

namespace qvlib
{

namespace
{

CQVString const & DefaultSeparator()
{
    static CQVString const separator(L",");
    return separator;
}

wchar_t * Put(wchar_t * at, CQVString const & text)
{
    auto const length = static_cast<std::size_t>(text.GetLength());
    return std::wmemcpy(at, text.GetString(), length) + length;
}

} // namespace

CTLNameValueGrammar::CTLNameValueGrammar() : m_separator(DefaultSeparator()) {}

void CTLNameValueGrammar::SetSeparator(CQVString const & separator, bool caseSensitive)
{
    CQVString kept(separator);
    if (!caseSensitive)
        kept.MakeLower();
    m_separator = kept;
    m_caseSensitive = caseSensitive;
}

bool CTLNameValueGrammar::Read(wchar_t const * text, CTLNameValueVector & out) const
{
    CTLNameValueVector result;
    if (!ReadNameValues(TLStringOrEmpty(text), m_separator, m_caseSensitive, result))
        return false;
    out.swap(result);
    return true;
}

CQVString CTLNameValueGrammar::Write(CTLNameValueVector const & list) const
{
    // Strings are taken from where they are; only the texts of other values need a place.
    std::vector<CQVString> texts;
    std::size_t length = 0;
    for (CTLNameValue const & entry : list)
    {
        CGenericVal const & value = entry.GetValue();
        if (value.GetType() != VT_LPWSTR)
            texts.push_back(value.ToString());
        CQVString const & text = value.GetType() == VT_LPWSTR ? value.GetString() : texts.back();
        length += static_cast<std::size_t>(entry.GetName().GetLength()) + static_cast<std::size_t>(text.GetLength()) +
                  std::size(L"=\"\"") - 1;
    }
    CQVString written;
    if (list.empty())
        return written;
    length += (list.size() - 1) * static_cast<std::size_t>(m_separator.GetLength());
    if (length > static_cast<std::size_t>(std::numeric_limits<int>::max()))
        throw std::bad_alloc();

    TLReserveStringBuffer(written, length);
    wchar_t * at = written.GetBufferSetLength(static_cast<int>(length));
    auto nextText = texts.cbegin();
    bool first = true;
    for (CTLNameValue const & entry : list)
    {
        if (!first)
            at = Put(at, m_separator);
        first = false;
        at = Put(at, entry.GetName());
        *at++ = L'=';
        *at++ = L'"';
        CGenericVal const & value = entry.GetValue();
        at = Put(at, value.GetType() == VT_LPWSTR ? value.GetString() : *nextText++);
        *at++ = L'"';
    }
    return written;
}

} // namespace qvlib

#include "qvlib/NameValueGrammar.h"

#include "qvlib/TextFunctions.h"
#include "text/internal/name_value_reader.h"

#include <cstddef>
#include <cwchar>
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
    std::vector<CQVString> texts;
    texts.reserve(list.size());
    std::size_t length = 0;
    for (CTLNameValue const & entry : list)
    {
        texts.push_back(entry.GetValue().ToString());
        length += static_cast<std::size_t>(entry.GetName().GetLength()) + 3 +
                  static_cast<std::size_t>(texts.back().GetLength());
        if (texts.size() != 1)
            length += static_cast<std::size_t>(m_separator.GetLength());
    }
    if (length > static_cast<std::size_t>(std::numeric_limits<int>::max()))
        throw std::bad_alloc();

    CQVString written;
    if (length == 0)
        return written;
    TLReserveStringBuffer(written, length);
    wchar_t * at = written.GetBufferSetLength(static_cast<int>(length));
    for (std::size_t i = 0; i < list.size(); ++i)
    {
        if (i != 0)
            at = Put(at, m_separator);
        at = Put(at, list[i].GetName());
        *at++ = L'=';
        *at++ = L'"';
        at = Put(at, texts[i]);
        *at++ = L'"';
    }
    return written;
}

} // namespace qvlib

#include "qvlib/SimpleTokenizer.h"

#include "qvlib/TextFunctions.h"
#include "qvlib/host/crt.h"

#include <cwchar>

namespace qvlib
{

namespace
{

/// The first occurrence of the delimiter, or null. The text ends at its NUL; an empty delimiter is found nowhere.
wchar_t const * FindNoCase(wchar_t const * text, wchar_t const * delimiter)
{
    if (*delimiter == L'\0')
        return nullptr;
    for (; *text != L'\0'; ++text)
    {
        wchar_t const * at = text;
        wchar_t const * wanted = delimiter;
        while (*wanted != L'\0' && host::towlower(*at) == host::towlower(*wanted))
        {
            ++at;
            ++wanted;
        }
        if (*wanted == L'\0')
            return text;
    }
    return nullptr;
}

/// One character as a delimiter string.
struct Single
{
    wchar_t text[2];
};

} // namespace

void CSimpleTokenizer::SetString(CQVString const & text)
{
    m_text = text;
    m_cursor = nullptr;
    m_token = nullptr;
    m_tokenLength = 0;
}

bool CSimpleTokenizer::MoveFirstToken(wchar_t const * delimiter)
{
    if (m_text.IsEmpty())
        return false;
    m_cursor = m_text.GetString();
    return MoveNextToken(delimiter);
}

bool CSimpleTokenizer::MoveNextToken(wchar_t const * delimiter)
{
    if (m_cursor == nullptr)
        return false;
    TLSkipWhiteSpaces(m_cursor);
    if (*m_cursor == L'\0')
        return false;
    delimiter = TLStringOrEmpty(delimiter);
    wchar_t const * const hit = m_caseSensitive ? std::wcsstr(m_cursor, delimiter) : FindNoCase(m_cursor, delimiter);
    wchar_t const * const stop = hit != nullptr ? hit : m_cursor + std::wcslen(m_cursor);
    m_token = m_cursor;
    m_tokenLength = static_cast<unsigned long>(stop - m_cursor);
    m_cursor = hit != nullptr ? hit + std::wcslen(delimiter) : stop;
    return m_tokenLength != 0;
}

bool CSimpleTokenizer::MoveFirstToken(wchar_t delimiter) { return MoveFirstToken(Single{{delimiter, L'\0'}}.text); }

bool CSimpleTokenizer::MoveNextToken(wchar_t delimiter) { return MoveNextToken(Single{{delimiter, L'\0'}}.text); }

bool CSimpleTokenizer::GetFirstToken(wchar_t const * delimiter, wchar_t const *& token, unsigned long & length)
{
    return MoveFirstToken(delimiter) && GetCurToken(token, length);
}

bool CSimpleTokenizer::GetFirstToken(wchar_t delimiter, wchar_t const *& token, unsigned long & length)
{
    return MoveFirstToken(delimiter) && GetCurToken(token, length);
}

bool CSimpleTokenizer::GetNextToken(wchar_t const * delimiter, wchar_t const *& token, unsigned long & length)
{
    return MoveNextToken(delimiter) && GetCurToken(token, length);
}

bool CSimpleTokenizer::GetNextToken(wchar_t delimiter, wchar_t const *& token, unsigned long & length)
{
    return MoveNextToken(delimiter) && GetCurToken(token, length);
}

bool CSimpleTokenizer::GetFirstToken(wchar_t const * delimiter, CQVString & token)
{
    return MoveFirstToken(delimiter) && GetCurToken(token);
}

bool CSimpleTokenizer::GetFirstToken(wchar_t delimiter, CQVString & token)
{
    return MoveFirstToken(delimiter) && GetCurToken(token);
}

bool CSimpleTokenizer::GetNextToken(wchar_t const * delimiter, CQVString & token)
{
    return MoveNextToken(delimiter) && GetCurToken(token);
}

bool CSimpleTokenizer::GetNextToken(wchar_t delimiter, CQVString & token)
{
    return MoveNextToken(delimiter) && GetCurToken(token);
}

bool CSimpleTokenizer::GetCurToken(wchar_t const *& token, unsigned long & length) const
{
    if (m_tokenLength == 0)
        return false;
    token = m_token;
    length = m_tokenLength;
    return true;
}

bool CSimpleTokenizer::GetCurToken(CQVString & token) const
{
    if (m_tokenLength == 0)
        return false;
    token = GetCurToken();
    return true;
}

CQVString CSimpleTokenizer::GetCurToken() const { return CQVString(m_token, static_cast<int>(m_tokenLength)); }

} // namespace qvlib

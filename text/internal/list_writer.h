// Builds a delimited text token by token.
#pragma once

#include "qvlib/QVString.h"
#include "text/internal/token_scan.h"

#include <cstring>

namespace qvlib::text
{

/// Copies characters. Most tokens are short: two or four moves of fixed size, which may overlap, save them a call.
inline void CopyCharacters(wchar_t * to, wchar_t const * from, std::size_t count)
{
    constexpr std::size_t kFour = 4 * sizeof(wchar_t);
    if (count < 4 || count > 16)
    {
        std::memcpy(to, from, count * sizeof(wchar_t));
        return;
    }
    if (count > 8)
    {
        std::memcpy(to + 4, from + 4, kFour);
        std::memcpy(to + count - 8, from + count - 8, kFour);
    }
    std::memcpy(to, from, kFour);
    std::memcpy(to + count - 4, from + count - 4, kFour);
}

/// Tokens that lie side by side in their text, with nothing but a delimiter between them, are copied together.
class ListWriter
{
public:
    /// `room` is what all tokens and delimiters take at most.
    ListWriter(std::size_t room, wchar_t delimiter)
        : m_start(m_text.GetBuffer(static_cast<int>(room + 1))), m_out(m_start), m_delimiter(delimiter)
    {
    }

    /// A token out of a list with this delimiter. Empty ones are passed over.
    void Add(Span token)
    {
        if (token.IsEmpty())
            return;
        if (m_run.end != nullptr && token.begin == m_run.end + 1)
        {
            m_run.end = token.end;
            return;
        }
        Flush();
        m_run = token;
    }
    /// Any other text.
    void AddOther(Span token)
    {
        Flush();
        m_run = token;
        Flush();
    }

    CQVString Take()
    {
        Flush();
        m_text.ReleaseBuffer(static_cast<int>(m_out - m_start));
        return std::move(m_text);
    }

private:
    void Flush()
    {
        if (m_run.begin == m_run.end)
            return;
        if (m_out != m_start)
            *m_out++ = m_delimiter;
        CopyCharacters(m_out, m_run.begin, m_run.Length());
        m_out += m_run.Length();
        m_run = {nullptr, nullptr};
    }

    CQVString m_text;
    wchar_t * m_start;
    wchar_t * m_out;
    Span m_run{nullptr, nullptr};
    wchar_t m_delimiter;
};

} // namespace qvlib::text

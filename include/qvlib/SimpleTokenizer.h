// CSimpleTokenizer: walks a text by a delimiter string of any length, which may change from step to step.
//
// White space ahead of a token is passed over; behind it, it is part of the token. Two delimiters in a row give an
// empty token, for which the moves return false just as at the end: only eof() tells the two apart.
//
//     qvlib::CSimpleTokenizer tokens(L"1 and 2 and 3");
//     for (bool found = tokens.MoveFirstToken(L" and "); found; found = tokens.MoveNextToken(L" and "))
//     {
//         qvlib::CQVString number = tokens.GetCurToken(); // "1", "2", "3"
//     }
//
// After SetString() or construction a first-token call comes first; until then MoveNextToken() finds nothing and eof()
// is true.
#pragma once

#include "qvlib/QVString.h"
#include "qvlib/export.h"

namespace qvlib
{

/// Copies share the text and stand at the same place. Tokens handed out point into the text and live as long as it is
/// not replaced. Thread-compatible; a walk changes the object.
class QVLIB_API CSimpleTokenizer
{
public:
    CSimpleTokenizer() = default;
    /// Keeps a copy of the text; the walk has not begun.
    explicit CSimpleTokenizer(CQVString const & text) : m_text(text) {}
    // Declared, so that nothing is moved: a text taken away would leave the cursor behind.
    CSimpleTokenizer(CSimpleTokenizer const &) = default;
    CSimpleTokenizer & operator=(CSimpleTokenizer const &) = default;

    /// Takes another text, and forgets cursor and token.
    void SetString(CQVString const & text);

    /// Goes to the first token: whether it is not empty. False on an empty text.
    bool MoveFirstToken(wchar_t const * delimiter);
    bool MoveFirstToken(wchar_t delimiter);
    /// Goes to the next token: whether it is not empty. At the end of the text the present token stays.
    bool MoveNextToken(wchar_t const * delimiter);
    bool MoveNextToken(wchar_t delimiter);
    /// Moves, and hands out the token if it is not empty; otherwise `token` and `length` stay as they are.
    bool GetFirstToken(wchar_t const * delimiter, wchar_t const *& token, unsigned long & length);
    bool GetFirstToken(wchar_t delimiter, wchar_t const *& token, unsigned long & length);
    bool GetNextToken(wchar_t const * delimiter, wchar_t const *& token, unsigned long & length);
    bool GetNextToken(wchar_t delimiter, wchar_t const *& token, unsigned long & length);
    bool GetFirstToken(wchar_t const * delimiter, CQVString & token);
    bool GetFirstToken(wchar_t delimiter, CQVString & token);
    bool GetNextToken(wchar_t const * delimiter, CQVString & token);
    bool GetNextToken(wchar_t delimiter, CQVString & token);

    /// The present token; false when it is empty.
    bool GetCurToken(wchar_t const *& token, unsigned long & length) const;
    bool GetCurToken(CQVString & token) const;
    CQVString GetCurToken() const;

    /// The cursor: where the next move starts. Null before the first move.
    wchar_t const * GetCurPosition() const { return m_cursor; }
    /// The cursor as an index into the text; 0 before the first move.
    unsigned long GetCurPositionIndex() const
    {
        return m_cursor == nullptr ? 0UL : static_cast<unsigned long>(m_cursor - m_text.GetString());
    }
    /// The start of the text.
    wchar_t const * GetFirstPosition() const { return m_text.GetString(); }

    bool GetCaseSensitive() const { return m_caseSensitive; }
    /// Whether a delimiter is matched as written, as at construction, or without regard to case.
    void SetCaseSensitive(bool caseSensitive) { m_caseSensitive = caseSensitive; }

    /// Whether the text has been walked to its end.
    bool eof() const { return m_cursor == nullptr || *m_cursor == L'\0'; }

private:
    CQVString m_text;
    wchar_t const * m_cursor = nullptr;
    wchar_t const * m_token = nullptr;
    unsigned long m_tokenLength = 0;
    bool m_caseSensitive = true;
};

} // namespace qvlib

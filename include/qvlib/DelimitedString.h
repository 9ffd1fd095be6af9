// CDelimitedString: a string that is also a list, its tokens joined by a one-character delimiter (a comma unless told
// otherwise). All operations work on the text itself; there is no second store.
//
// What differs from what a reader expects:
//
// - There is no quoting: a token that holds the delimiter is two tokens when read.
// - White space around a token is not part of it; the delimiter never counts as white space, so that a blank or a tab
//   can serve as one.
// - Most operations see the non-empty tokens only; a field of nothing but white space is empty. A delimiter at the very
//   end opens no field.
// - operator=(CQVString const &) sets the delimiter back to a comma; operator+= adds a token.
// - RemoveDuplicateTokens() removes one later duplicate a token: see there.
// - Inserting, and adding in sorted order, rebuild the list: empty fields and white space around tokens disappear.
//
// Where a length is taken, 0xFFFFFFFF means that the text ends at its first NUL. An index counts non-empty tokens from
// 0, a position is an index of a character; 0xFFFFFFFF stands for "none". A text or token given to a member may lie
// within the list itself.
//
//     qvlib::CDelimitedString list(L"pear, apple");
//     list.AddToken(L"fig");                          // "pear, apple,fig"
//     for (POSITION at = list.GetFirstTokenPosition(); at != nullptr;)
//     {
//         qvlib::CQVString token = list.GetNextToken(at); // "pear", "apple", "fig"
//     }
#pragma once

#include "qvlib/QVString.h"
#include "qvlib/export.h"
#include "qvlib/host/types.h"

#include <vector>

class CStringArray;

namespace qvlib
{

/// How tokens are compared when they are searched for.
struct FindTraits
{
    bool caseSensitive;
    bool selfCaseKept;  ///< Includes() only: when false, this list is folded to lower case first
    bool otherCaseKept; ///< Includes() only: when false, the other list is folded to lower case first
};

/// The order of a sorted list.
struct SortingTraits
{
    bool ascending;
    bool caseSensitive;
    bool allowDuplicates; ///< an equal token is inserted, not refused
};

/// A value type: thread-compatible. Tokens handed out as pointers point into the text.
class QVLIB_API CDelimitedString : public CQVString
{
public:
    /// Stands for "none", and as a length for "up to the NUL".
    static constexpr unsigned long kNone = 0xFFFFFFFFUL;
    static constexpr wchar_t kComma = L',';

    CDelimitedString() = default;
    explicit CDelimitedString(wchar_t delimiter) : m_delimiter(delimiter) {}
    CDelimitedString(CQVString const & text, wchar_t delimiter = kComma) : CQVString(text), m_delimiter(delimiter) {}
    CDelimitedString(CDelimitedString const &) = default;
    CDelimitedString(CDelimitedString &&) = default;
    virtual ~CDelimitedString();
    CDelimitedString & operator=(CDelimitedString const &) = default;
    CDelimitedString & operator=(CDelimitedString &&) = default;
    /// Takes the text and sets the delimiter back to a comma.
    CDelimitedString & operator=(CQVString const & text);

    wchar_t GetDelimiter() const { return m_delimiter; }
    /// Stores the delimiter; the text is not touched, so old delimiters become plain characters.
    void SetDelimiter(wchar_t delimiter) { m_delimiter = delimiter; }

    // Adding. Empty tokens are passed over.

    void AddToken(CQVString const & token)
    {
        AddToken(token.GetString(), static_cast<unsigned long>(token.GetLength()));
    }
    void AddToken(wchar_t const * token, unsigned long length);
    void AddToken(wchar_t token);
    CDelimitedString & operator+=(CQVString const & token);
    void AddStrings(std::vector<CQVString> const & tokens);
    void AddStrings(CStringArray const & tokens);
    /// Inserts into a sorted list, ahead of equal tokens. False for an empty token, and for an equal one when
    /// duplicates are not allowed. One pass over the text.
    bool AddToken(CQVString const & token, SortingTraits const & traits);
    bool AddToken(wchar_t const * token, unsigned long length, SortingTraits const & traits);

    // Iteration. `skipEmpty` is true where it is not taken. The position becomes null with the last token.

    POSITION GetFirstTokenPosition() const
    {
        return IsEmpty() ? nullptr : reinterpret_cast<POSITION>(static_cast<UINT_PTR>(kNone));
    }
    /// Takes the next token off a text that ends in NUL. False, and the other arguments untouched, at the end.
    static bool GetNextToken(wchar_t const *& cursor, wchar_t const *& token, unsigned long & length, wchar_t delimiter,
                             bool skipEmpty);
    bool GetNextToken(POSITION & position, wchar_t const *& token, unsigned long & length, bool skipEmpty) const;
    bool GetNextToken(POSITION & position, wchar_t const *& token, unsigned long & length) const
    {
        return GetNextToken(position, token, length, true);
    }
    /// The token's start, or null.
    wchar_t const * GetNextToken(POSITION & position, unsigned long & length, bool skipEmpty) const;
    wchar_t const * GetNextToken(POSITION & position, unsigned long & length) const;
    /// The token, or an empty string.
    CQVString GetNextToken(POSITION & position, bool skipEmpty) const;
    CQVString GetNextToken(POSITION & position) const;
    /// The token in `out`, unchanged when there is none; returns `out`.
    CQVString & GetNextToken(POSITION & position, CQVString & out) const;

    // By index.

    bool GetTokenAt(unsigned long index, wchar_t const *& token, unsigned long & length) const;
    /// The token, or an empty string out of range.
    CQVString GetTokenAt(unsigned long index) const;
    unsigned long GetTokenCount() const;
    unsigned long GetTokenCount(bool skipEmpty) const;
    /// False, and nothing changed, when there are fewer than `index` tokens.
    bool InsertTokenAt(unsigned long index, CQVString const & token);
    bool InsertTokenAt(unsigned long index, wchar_t const * token, unsigned long length);
    bool RemoveTokenAt(unsigned long index);
    bool ReplaceTokenAt(unsigned long index, CQVString const & token);
    bool ReplaceTokenAt(unsigned long index, wchar_t const * token, unsigned long length);

    // Search. The text searched for is not trimmed by FindToken(), but is by FindTokenPosition() and HasToken().

    /// The index of the first equal token, or kNone.
    unsigned long FindToken(CQVString const & token) const;
    unsigned long FindToken(wchar_t const * token, unsigned long length) const;
    unsigned long FindToken(FindTraits const & traits, CQVString const & token) const;
    unsigned long FindToken(FindTraits const & traits, wchar_t const * token, unsigned long length) const;
    unsigned long FindTokenNoCase(CQVString const & token) const;
    unsigned long FindTokenNoCase(wchar_t const * token, unsigned long length) const;
    /// The index of the first character of an equal token, or kNone.
    static unsigned long FindTokenPosition(wchar_t const * text, unsigned long textLength, wchar_t const * token,
                                           unsigned long tokenLength, wchar_t delimiter, bool caseSensitive);
    unsigned long FindTokenPosition(CQVString const & token, bool caseSensitive = true) const;
    bool HasToken(CQVString const & token) const;
    bool HasToken(wchar_t const * token, unsigned long length) const;
    bool HasToken(FindTraits const & traits, CQVString const & token) const;
    bool HasToken(FindTraits const & traits, wchar_t const * token, unsigned long length) const;
    bool HasDuplicateTokens(FindTraits const & traits) const;
    /// Whether every non-empty token of `tokens` is in `text`; false when `text` is the shorter.
    static bool Includes(wchar_t const * text, unsigned long textLength, wchar_t const * tokens,
                         unsigned long tokensLength, wchar_t delimiter);
    bool Includes(CQVString const & other) const;
    /// As written when `caseSensitive`, or when both cases are kept; otherwise after folding each side that is not
    /// kept.
    bool Includes(CQVString const & other, FindTraits const & traits) const;

    // Removal.

    /// Removes the first equal token; false when there is none. Without traits, with regard to case.
    bool RemoveToken(CQVString const & token);
    bool RemoveToken(wchar_t const * token, unsigned long length);
    bool RemoveToken(FindTraits const & traits, CQVString const & token);
    bool RemoveToken(FindTraits const & traits, wchar_t const * token, unsigned long length);
    /// Removes the token that starts at a character, with the white space around it and one delimiter. False when
    /// `position` is past the end, or is not a token's start, or the token is longer than `length`.
    bool RemoveTokenAtPosition(unsigned long position, unsigned long length = kNone);
    /// For each token in turn, removes the first later duplicate only, so that "a,a,a" becomes "a,a" (kept on purpose:
    /// callers depend on it). Returns whether the text changed.
    bool RemoveDuplicateTokens(FindTraits const & traits);

    // Set and order.

    /// Adds the tokens of `other` that are not here yet; an empty list takes the text of `other` and a comma as its
    /// delimiter. Returns whether a token was added.
    bool Merge(CQVString const & other);
    /// The same, adding in sorted order.
    bool Merge(CQVString const & other, SortingTraits const & traits);
    /// Rebuilds the list in order. Equal tokens end up in the reverse of their order here, or are dropped when
    /// duplicates are not allowed. Takes time n log n.
    void SortTokens(SortingTraits const & traits);

    // Conversion. Both append.

    void GetStrings(std::vector<CQVString> & tokens) const;
    void GetStrings(std::vector<CQVString> & tokens, bool skipEmpty) const;
    void GetStrings(CStringArray & tokens) const;

    // Shape.

    /// False when what is left behind some token is not empty and yet holds no token.
    bool IsValid() const;
    /// Whether Trim() has nothing to do (a delimiter at either end counts as something, though Trim() keeps it).
    bool Trimmed() const;
    /// Removes white space at both ends and around every delimiter. Empty fields stay.
    CDelimitedString & Trim();
    /// Moves `token` and `length` past white space at both ends.
    static void TrimToken(wchar_t const *& token, unsigned long & length, wchar_t delimiter);
    bool IsWhiteSpace(wchar_t c) const { return IsWhiteSpace(c, m_delimiter); }
    /// White space that is not the delimiter.
    static bool IsWhiteSpace(wchar_t c, wchar_t delimiter);

private:
    /// Printable ASCII, which white space never is: all that most tokens begin and end with.
    static bool IsPlain(wchar_t c) { return static_cast<unsigned int>(c) - 0x21U < 0x5EU; }

    wchar_t m_delimiter = kComma;
};

// The walk is in the header because a call would take longer than most tokens do.

inline bool CDelimitedString::GetNextToken(wchar_t const *& cursor, wchar_t const *& token, unsigned long & length,
                                           wchar_t delimiter, bool skipEmpty)
{
    wchar_t const * at = cursor;
    if (at == nullptr)
        return false;
    for (;;)
    {
        wchar_t const * start = at;
        auto const ends = [delimiter](wchar_t c) { return c == delimiter || c == L'\0'; };
        for (;; at += 4) // four at a time: half of the time is spent here
        {
            if (ends(at[0]))
                break;
            if (ends(at[1]))
            {
                at += 1;
                break;
            }
            if (ends(at[2]))
            {
                at += 2;
                break;
            }
            if (ends(at[3]))
            {
                at += 3;
                break;
            }
        }
        auto count = static_cast<unsigned long>(at - start);
        if (*at != L'\0')
            ++at;
        else if (count == 0)
            break;
        if (count != 0 && !(IsPlain(*start) && IsPlain(start[count - 1])))
        {
            wchar_t const * trimmed = start; // the others stay in registers
            unsigned long left = count;
            TrimToken(trimmed, left, delimiter);
            start = trimmed;
            count = left;
        }
        if (count == 0 && skipEmpty)
            continue;
        token = start;
        length = count;
        cursor = at;
        return true;
    }
    cursor = at;
    return false;
}

inline bool CDelimitedString::GetNextToken(POSITION & position, wchar_t const *& token, unsigned long & length,
                                           bool skipEmpty) const
{
    auto index = reinterpret_cast<UINT_PTR>(position);
    if (index == 0)
        return false;
    position = nullptr;
    auto const size = static_cast<UINT_PTR>(GetLength());
    if (index >= size)
    {
        if (size == 0 || (index != kNone && index != ~UINT_PTR{0}))
            return false;
        index = 0;
    }
    wchar_t const * const text = GetString();
    wchar_t const * cursor = text + index;
    if (!GetNextToken(cursor, token, length, m_delimiter, skipEmpty))
        return false;
    if (*cursor != L'\0')
        position = reinterpret_cast<POSITION>(static_cast<UINT_PTR>(cursor - text));
    return true;
}

} // namespace qvlib

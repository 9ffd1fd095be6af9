// SuffixAutomaton: an index of all substrings of a pattern, which finds runs that a text shares with it in one pass.
//
//     qvlib::SuffixAutomaton const index(L"SYMBOL");
//     index.HasCommonSubstring(L"xxBOLxx", 3);    // true
//     index.LongestCommonSubstring(L"SYxMBxOL");  // 2
//
// Characters compare exactly: letters of different case are different. Memory and the time to build are linear in the
// pattern; a search is linear in the text whatever the pattern, and allocates nothing.
#pragma once

#include "qvlib/export.h"

#include <memory>

namespace qvlib
{

/// Immutable. Thread-compatible: any number of threads may search at once.
class QVLIB_API SuffixAutomaton
{
public:
    /// Indexes the pattern up to its NUL; null is the empty pattern. Throws std::bad_alloc.
    explicit SuffixAutomaton(wchar_t const * pattern);
    ~SuffixAutomaton();
    SuffixAutomaton(SuffixAutomaton const &) = delete;
    SuffixAutomaton & operator=(SuffixAutomaton const &) = delete;

    /// Whether text and pattern share a substring of at least `length` characters; always true for a length of 0 or
    /// less. Stops at the first such run. The text ends at its NUL; null is the empty text.
    bool HasCommonSubstring(wchar_t const * text, int length) const;
    /// The length of the longest substring that text and pattern share.
    int LongestCommonSubstring(wchar_t const * text) const;

private:
    struct Tables;

    int FirstOrBestMatch(wchar_t const * text, int target) const;

    std::unique_ptr<Tables const> m_tables;
};

} // namespace qvlib

// FuzzyStringPattern: whether a text shares a long enough run of characters with a pattern; TLCompareNoCaseNoPlural:
// whether two words are the same but for case and a plural s.
//
//     qvlib::FuzzyStringPattern const pattern(L"SYMBOL", 0.5); // three characters in a row are enough
//     pattern.Match(L"xxBOLxx");                               // true
//     pattern.Match(L"SYxMBxOL");                              // false
//
// What a reader may not expect: letters compare with regard to case; a pattern that was never set matches nothing,
// whereas one set from an empty text matches everything; a copy of a pattern that was never set counts as set; a
// moved-from pattern has a threshold of 1.
#pragma once

#include "qvlib/QVString.h"
#include "qvlib/SuffixAutomaton.h"
#include "qvlib/export.h"

#include <memory>
#include <string>

namespace qvlib
{

/// Thread-compatible: several threads may match at once while nobody sets another pattern.
struct QVLIB_API FuzzyStringPattern
{
    /// No pattern, and a threshold of 0.
    FuzzyStringPattern() noexcept = default;
    /// `threshold` is the fraction of the pattern's length that must be found in one run. Above 1 only the empty
    /// pattern matches.
    FuzzyStringPattern(CQVString pattern, double threshold);
    FuzzyStringPattern(FuzzyStringPattern const & other);
    FuzzyStringPattern(FuzzyStringPattern && other) noexcept;
    FuzzyStringPattern & operator=(FuzzyStringPattern other) noexcept;
    ~FuzzyStringPattern() = default;

    CQVString const & GetPattern() const noexcept { return m_pattern; }
    /// Takes another pattern; nothing happens when it equals the present one. The threshold stays. Strong guarantee.
    void SetPattern(CQVString pattern);

    /// Whether the text shares a run of at least the threshold's fraction of the pattern, rounded down to whole
    /// characters. The text ends at its NUL; null is the empty text. Allocates nothing.
    bool Match(wchar_t const * text) const;

private:
    std::unique_ptr<SuffixAutomaton const> m_automaton;
    CQVString m_pattern;
    double m_threshold = 0.0;
};

/// Whether the words are equal without regard to case (of ASCII letters), or would be if the longer of them lost an s
/// at its end. False when either is empty. Thread-safe.
QVLIB_API bool TLCompareNoCaseNoPlural(std::wstring const & a, std::wstring const & b);

} // namespace qvlib

#include "qvlib/FuzzyStringPattern.h"

#include "qvlib/host/crt.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace qvlib
{

FuzzyStringPattern::FuzzyStringPattern(CQVString pattern, double threshold)
    : m_automaton(std::make_unique<SuffixAutomaton const>(pattern.GetString())), m_pattern(std::move(pattern)),
      m_threshold(threshold)
{
}

FuzzyStringPattern::FuzzyStringPattern(FuzzyStringPattern const & other)
    : FuzzyStringPattern(other.m_pattern, other.m_threshold)
{
}

FuzzyStringPattern::FuzzyStringPattern(FuzzyStringPattern && other) noexcept
    : m_automaton(std::move(other.m_automaton)), m_pattern(std::move(other.m_pattern)),
      m_threshold(std::exchange(other.m_threshold, 1.0)) // 1, not 0, on purpose: callers depend on it
{
}

FuzzyStringPattern & FuzzyStringPattern::operator=(FuzzyStringPattern other) noexcept
{
    std::swap(m_automaton, other.m_automaton);
    m_pattern.Swap(other.m_pattern);
    std::swap(m_threshold, other.m_threshold);
    return *this;
}

void FuzzyStringPattern::SetPattern(CQVString pattern)
{
    if (pattern == m_pattern)
        return;
    m_automaton = std::make_unique<SuffixAutomaton const>(pattern.GetString());
    m_pattern = std::move(pattern);
}

bool FuzzyStringPattern::Match(wchar_t const * text) const
{
    if (!m_automaton)
        return false;
    // Clamped, so that a wild threshold means never or always. Infinity times an empty pattern is no number: 0.
    double const needed = m_threshold * m_pattern.GetLength();
    constexpr double kMaximum = std::numeric_limits<int>::max();
    return m_automaton->HasCommonSubstring(text, needed > 0 ? static_cast<int>(std::min(needed, kMaximum)) : 0);
}

bool TLCompareNoCaseNoPlural(std::wstring const & a, std::wstring const & b)
{
    std::wstring const & longer = a.size() < b.size() ? b : a;
    std::size_t const common = std::min(a.size(), b.size());
    if (common == 0 || longer.size() - common > 1 || _wcsnicmp(a.c_str(), b.c_str(), common) != 0)
        return false;
    return longer.size() == common || host::towupper(longer.back()) == L'S';
}

} // namespace qvlib

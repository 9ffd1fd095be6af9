// StringMatcher: a test whether a text begins with a prefix.
//
//     qvlib::StringMatcher(L"report.xml").StartsWith(L"rep"); // true
#pragma once

#include "qvlib/QVString.h"

#include <cwchar>

namespace qvlib
{

/// Compares by character, with regard to case. Thread-compatible.
struct StringMatcher
{
    explicit StringMatcher(CQVString const & matched) : text(matched) {}

    /// Whether the text begins with `prefix`; an empty one always does, null never.
    bool StartsWith(wchar_t const * prefix) const
    {
        if (prefix == nullptr)
            return false;
        wchar_t const * at = text.GetString();
        while (*prefix != L'\0' && *at == *prefix)
        {
            ++at;
            ++prefix;
        }
        return *prefix == L'\0';
    }
    bool StartsWith(CQVString const & prefix) const
    {
        return prefix.GetLength() <= text.GetLength() &&
               std::wmemcmp(text.GetString(), prefix.GetString(), static_cast<std::size_t>(prefix.GetLength())) == 0;
    }

    CQVString text;
};

} // namespace qvlib

// Any text is a list or is refused, with the target left alone. What is read, and what is made of quotable values, is
// written so that it reads back equal; and no read makes more of a text than is in it.
#include "qvlib/NameValueGrammar.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

namespace
{

using qvlib::CGenericVal;
using qvlib::CQVString;
using qvlib::CTLNameValueGrammar;
using qvlib::CTLNameValueVector;

void Require(bool holds)
{
    if (!holds)
        std::abort();
}

/// Bytes as characters, some of them beyond ASCII: blanks, letters, digits, surrogates.
wchar_t Character(std::uint8_t byte)
{
    static constexpr wchar_t kOthers[] = {0xA0,  0x3000, 0x2028, 0xE9,    0x4E2D,
                                          0x663, 0xD800, 0xDC00, 0x1F600, 0x7FFFFFFF};
    return byte < 0x80 ? byte : byte < 0x8A ? kOthers[byte - 0x80] : static_cast<wchar_t>(byte * 37);
}

bool IsBlank(wchar_t c)
{
    return c == L' ' || (c >= L'\t' && c <= L'\r') || c == 0xA0 || c == 0x1680 || (c >= 0x2000 && c <= 0x200A) ||
           c == 0x2028 || c == 0x2029 || c == 0x202F || c == 0x205F || c == 0x3000;
}

void CheckRoundTrip(CTLNameValueGrammar const & grammar, CTLNameValueVector const & list)
{
    CTLNameValueVector again;
    Require(grammar.Read(grammar.Write(list).GetString(), again) && again == list);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size)
{
    static constexpr wchar_t const * kSeparators[] = {L",", L"AND", L"", L";;", L"x", L" ", L"\xC9z", L"a="};
    if (size < 1)
        return 0;
    CTLNameValueGrammar grammar;
    unsigned const separator = data[0] % 8U;
    bool const caseSensitive = data[0] < 128;
    grammar.SetSeparator(kSeparators[separator], caseSensitive);

    // An exact block, so that a read behind the terminator is seen.
    std::size_t const length = size - 1;
    std::unique_ptr<wchar_t[]> const text(new wchar_t[length + 1]);
    for (std::size_t i = 0; i < length; ++i)
        text[i] = Character(data[i + 1]);
    text[length] = 0;

    CTLNameValueVector const before{{L"kept", CGenericVal(1)}};
    CTLNameValueVector list = before;
    if (!grammar.Read(text.get(), list))
    {
        Require(list == before);
    }
    else
    {
        std::size_t characters = 0;
        for (auto const & item : list)
            characters += static_cast<std::size_t>(item.GetName().GetLength()) + 3 +
                          static_cast<std::size_t>(item.GetValue().GetString().GetLength());
        Require(!list.empty() && characters <= length);
        if (separator != 5 || list.size() == 1) // a blank separates nothing
            CheckRoundTrip(grammar, list);
    }

    // The same characters cut into values that can be quoted.
    CTLNameValueVector made;
    std::wstring value;
    for (std::size_t i = 0; i <= length; ++i)
    {
        if (text[i] != 0 && text[i] != L'"' && text[i] != L'\n')
        {
            if (!value.empty() || !IsBlank(text[i]))
                value += text[i];
            continue;
        }
        while (!value.empty() && IsBlank(value.back()))
            value.pop_back();
        made.emplace_back(CQVString((L"N" + std::to_wstring(i)).c_str()), CGenericVal(value.c_str()));
        value.clear();
    }
    if (separator != 5 || made.size() == 1)
        CheckRoundTrip(grammar, made);
    return 0;
}

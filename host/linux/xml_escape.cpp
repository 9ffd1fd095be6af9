#include "host/linux/internal/xml_escape.h"

#include <algorithm>
#include <array>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace qvlib::host
{

namespace
{

// Behind the last of the characters that have a form of their own in a document.
constexpr char32_t kFirstLetter = '>' + 1;

enum Kind : unsigned char
{
    kPlain = 0,
    kEscaped = 1, // has a form of its own in text, attributes or both
    kForbidden = 2
};

constexpr std::array<Kind, 0x80> kKinds = []
{
    std::array<Kind, 0x80> kinds{};
    for (std::size_t c = 0; c < 0x20; ++c)
        kinds[c] = kForbidden;
    for (char const c : {'\t', '\n', '\r', '<', '>', '&', '"'})
        kinds[static_cast<std::size_t>(c)] = kEscaped;
    return kinds;
}();

// The code for a character that XML cannot hold at the place, or the code point and how many wchar_t it takes.
HRESULT Fair(std::wstring_view text, std::size_t i, char32_t & c, std::size_t & taken) noexcept
{
    c = static_cast<char32_t>(text[i]);
    taken = 1;
    if (c >= 0xD800 && c < 0xE000)
    {
        char32_t const next = i + 1 < text.size() ? static_cast<char32_t>(text[i + 1]) : 0;
        if (c >= 0xDC00 || next < 0xDC00 || next >= 0xE000)
            return WR_E_INVALIDSURROGATEPAIR;
        c = 0x10000 + ((c - 0xD800) << 10) + (next - 0xDC00);
        taken = 2;
        return S_OK;
    }
    if (c == 0xFFFE || c == 0xFFFF || c > 0x10FFFF)
        return WC_E_XMLCHARACTER;
    return S_OK;
}

void AppendReference(std::wstring & out, char32_t c)
{
    out.append(L"&#x", 3);
    bool begun = false;
    for (int shift = 20; shift >= 0; shift -= 4)
    {
        char32_t const digit = (c >> shift) & 0xF;
        begun = begun || digit != 0;
        if (begun)
            out.push_back(L"0123456789ABCDEF"[digit]);
    }
    out.push_back(L';');
}

#if defined(__SSE2__) && __SIZEOF_WCHAR_T__ == 4
// A bit for each of the four characters that may have a form of its own or be none.
unsigned int SpecialOfFour(wchar_t const * four, char32_t plainEnd) noexcept
{
    __m128i const c = _mm_loadu_si128(reinterpret_cast<__m128i const *>(four));
    __m128i const outside = _mm_or_si128(_mm_cmplt_epi32(c, _mm_set1_epi32(0x20)),
                                         _mm_cmpgt_epi32(c, _mm_set1_epi32(static_cast<int>(plainEnd) - 1)));
    // The pairs < and >, " and & differ in one bit each.
    __m128i const angle = _mm_cmpeq_epi32(_mm_or_si128(c, _mm_set1_epi32('<' ^ '>')), _mm_set1_epi32('<' | '>'));
    __m128i const other = _mm_cmpeq_epi32(_mm_or_si128(c, _mm_set1_epi32('"' ^ '&')), _mm_set1_epi32('"' | '&'));
    __m128i const special = _mm_or_si128(outside, _mm_or_si128(angle, other));
    return static_cast<unsigned int>(_mm_movemask_ps(_mm_castsi128_ps(special)));
}
#endif

} // namespace

HRESULT AppendXmlEscaped(std::wstring & out, std::wstring_view text, bool attribute, XmlOutput const * output)
{
    bool const all = !output || output->HoldsAll();
    char32_t const plainEnd = all ? 0xD800 : 0x80;
    char32_t const plainRange = plainEnd - kFirstLetter;
    wchar_t const * const begin = text.data();
    std::size_t plain = 0; // what was not copied yet begins here
    std::size_t i = 0;
    auto const copy = [&] { out.append(begin + plain, i - plain); };
    while (i < text.size())
    {
#if defined(__SSE2__) && __SIZEOF_WCHAR_T__ == 4
        if (text.size() >= 4)
        {
            // The last four once more where there are no four left.
            std::size_t const at = std::min(i, text.size() - 4);
            unsigned int const special = SpecialOfFour(begin + at, plainEnd) >> (i - at);
            if (special == 0)
            {
                i = at + 4;
                continue;
            }
            i += static_cast<std::size_t>(__builtin_ctz(special));
        }
#endif
        char32_t const c = static_cast<char32_t>(begin[i]);
        // Letters and most others have no form of their own: one comparison tells.
        if (c - kFirstLetter < plainRange)
        {
            ++i;
            continue;
        }
        if (c < 0x80)
        {
            if (kKinds[c] == kPlain)
            {
                ++i;
                continue;
            }
            std::wstring_view form;
            switch (c)
            {
            case '<':
                form = L"&lt;";
                break;
            case '>':
                form = L"&gt;";
                break;
            case '&':
                form = L"&amp;";
                break;
            case '\r':
                form = L"&#xD;";
                break;
            case '"':
                form = attribute ? L"&quot;" : L"";
                break;
            case '\t':
                form = attribute ? L"&#x9;" : L"";
                break;
            case '\n':
                form = attribute ? L"&#xA;" : L"";
                break;
            default:
                copy();
                return WC_E_XMLCHARACTER;
            }
            if (form.empty())
            {
                ++i;
                continue;
            }
            copy();
            out.append(form);
            plain = ++i;
            continue;
        }
        char32_t whole = 0;
        std::size_t taken = 0;
        HRESULT const result = Fair(text, i, whole, taken);
        if (FAILED(result))
        {
            copy();
            return result;
        }
        if (!all && !output->Holds(whole))
        {
            copy();
            AppendReference(out, whole);
            plain = i + taken;
        }
        else if (taken == 2)
        {
            // The two halves are one character.
            copy();
            out.push_back(static_cast<wchar_t>(whole));
            plain = i + taken;
        }
        i += taken;
    }
    copy();
    return S_OK;
}

} // namespace qvlib::host

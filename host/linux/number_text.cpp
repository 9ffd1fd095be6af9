#include "host/linux/internal/number_text.h"

#include "host/linux/internal/locale_data.h"
#include "qvlib/host/crt.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iterator>

namespace qvlib::host
{
namespace
{

/// What numbers are written with in a locale.
struct Signs
{
    std::wstring decimal = L".";
    std::wstring thousands = L",";
    std::wstring currency = L"$";
};

Signs ReadSigns(LCID locale)
{
    internal::LocaleData const * const data = internal::LocaleDataOf(locale & 0xFFFF); // the rest is a sort order
    return data != nullptr ? Signs{data->number.decimal, data->number.thousands, data->currency} : Signs();
}

/// The signs of a locale. Each thread keeps those that it asked for last: conversions come in runs of one locale.
Signs const & SignsOf(LCID locale)
{
    static Signs const invariant;
    if (locale == LOCALE_INVARIANT) // asked for between conversions in another locale
        return invariant;
    thread_local LCID cached = LOCALE_INVARIANT;
    thread_local Signs signs;
    if (locale != cached)
    {
        signs = ReadSigns(locale);
        cached = locale;
    }
    return signs;
}

constexpr bool IsDigit(wchar_t character) noexcept { return character >= L'0' && character <= L'9'; }

class Reader
{
public:
    Reader(std::wstring_view text, Signs const & signs) : m_text(text), m_signs(signs) {}

    bool Read(NumberText & number)
    {
        SkipBlanks();
        if (Take(L"&"))
            return ReadBits(number) && AtEnd();
        bool bracket = false;
        bool sign = false;
        bool currency = false;
        for (;;)
        {
            if (!sign && (Take(L"-") || Take(L"+")))
            {
                sign = true;
                number.negative = m_text[m_at - 1] == L'-';
            }
            else if (!sign && Take(L"("))
                sign = bracket = number.negative = true;
            else if (!currency && Take(m_signs.currency))
                currency = true;
            else
                break;
            SkipBlanks();
        }
        if (!ReadDigits(number) || !ReadExponent(number))
            return false;
        for (;;)
        {
            SkipBlanks();
            if (!sign && (Take(L"-") || Take(L"+")))
            {
                sign = true;
                number.negative = m_text[m_at - 1] == L'-';
            }
            else if (bracket && Take(L")"))
                bracket = false;
            else if (!currency && Take(m_signs.currency))
                currency = true;
            else
                break;
        }
        return !bracket && AtEnd();
    }

private:
    void SkipBlanks()
    {
        while (m_at < m_text.size() && iswspace(static_cast<int>(m_text[m_at])))
            ++m_at;
    }
    bool Take(std::wstring_view sign)
    {
        if (sign.empty() || m_text.substr(m_at, sign.size()) != sign) // a locale may have no such sign
            return false;
        m_at += sign.size();
        return true;
    }
    bool AtEnd()
    {
        SkipBlanks();
        return m_at == m_text.size();
    }

    bool ReadDigits(NumberText & number)
    {
        bool any = false;
        bool point = false;
        for (; m_at < m_text.size();)
        {
            if (IsDigit(m_text[m_at]))
            {
                any = true;
                if (point)
                    --number.exponent;
                if (m_text[m_at] != L'0' || !number.digits.empty())
                    number.digits += static_cast<char>(m_text[m_at]);
                ++m_at;
            }
            else if (!point && Take(m_signs.decimal))
                point = true;
            else if (!any || !Take(m_signs.thousands)) // passed over wherever it stands behind a digit
                break;
        }
        return any;
    }
    bool ReadExponent(NumberText & number)
    {
        if (!Take(L"e") && !Take(L"E"))
            return true;
        bool const negative = Take(L"-");
        if (!negative)
            Take(L"+");
        LONGLONG exponent = 0;
        bool any = false;
        for (; m_at < m_text.size() && IsDigit(m_text[m_at]); ++m_at, any = true)
            exponent = std::min<LONGLONG>(exponent * 10 + (m_text[m_at] - L'0'), 1'000'000'000);
        number.exponent += negative ? -exponent : exponent;
        return any;
    }
    bool ReadBits(NumberText & number)
    {
        ULONGLONG base = 8;
        if (Take(L"H") || Take(L"h"))
            base = 16;
        else if (!Take(L"O") && !Take(L"o"))
            return false;
        number.isBits = true;
        bool any = false;
        for (; m_at < m_text.size(); ++m_at, any = true)
        {
            wchar_t const character = towlower(m_text[m_at]);
            ULONGLONG const digit = IsDigit(character) ? static_cast<ULONGLONG>(character - L'0')
                                    : character >= L'a' && character <= L'f'
                                        ? static_cast<ULONGLONG>(character - L'a') + 10
                                        : base;
            if (digit >= base)
                break;
            if (number.bits > (~0ULL - digit) / base)
                return false;
            number.bits = number.bits * base + digit;
        }
        return any;
    }

    std::wstring_view m_text;
    Signs const & m_signs;
    std::size_t m_at = 0;
};

std::wstring Widen(std::string_view text, std::wstring const & decimalSign)
{
    std::wstring wide;
    for (char const character : text)
    {
        if (character == '.')
            wide += decimalSign;
        else
            wide += static_cast<wchar_t>(towupper(static_cast<wchar_t>(static_cast<unsigned char>(character))));
    }
    return wide;
}

/// 96 bits of magnitude.
struct Magnitude
{
    ULONG words[3] = {};

    bool TimesTenPlus(unsigned digit) noexcept
    {
        ULONGLONG carry = digit;
        ULONG next[3];
        for (int i = 0; i < 3; ++i)
        {
            carry += ULONGLONG{words[i]} * 10;
            next[i] = static_cast<ULONG>(carry);
            carry >>= 32;
        }
        if (carry != 0)
            return false;
        std::copy(next, next + 3, words);
        return true;
    }
    unsigned DivideByTen() noexcept
    {
        ULONGLONG rest = 0;
        for (int i = 2; i >= 0; --i)
        {
            rest = rest << 32 | words[i];
            words[i] = static_cast<ULONG>(rest / 10);
            rest %= 10;
        }
        return static_cast<unsigned>(rest);
    }
    bool IsZero() const noexcept { return (words[0] | words[1] | words[2]) == 0; }
};

/// Whether digits behind position `kept`, at least one, round the digit in front of them up; halves to the even one.
bool RoundsUp(std::string const & digits, std::size_t kept, bool lastIsOdd)
{
    char const first = digits[kept];
    if (first != '5')
        return first > '5';
    return digits.find_first_not_of('0', kept + 1) != digits.npos || lastIsOdd;
}

} // namespace

bool ReadPlainDouble(std::wstring_view text, LCID locale, double & value)
{
    constexpr ULONGLONG kExact = 1ULL << 53; // below, a double holds the digits, and one division rounds once
    constexpr double kPowers[] = {1e0, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
    std::size_t at = !text.empty() && text[0] == L'-' ? 1 : 0;
    bool const negative = at != 0;
    ULONGLONG digits = 0;
    std::size_t point = text.npos;
    if (text.size() == at || text.size() - at > 17 || !IsDigit(text[at]))
        return false;
    for (; at < text.size(); ++at)
    {
        if (IsDigit(text[at]))
            digits = digits * 10 + static_cast<ULONGLONG>(text[at] - L'0');
        else if (text[at] == L'.' && point == text.npos)
            point = at;
        else
            return false;
    }
    std::size_t const places = point == text.npos ? 0 : text.size() - point - 1;
    if (digits == 0 || digits >= kExact || places >= std::size(kPowers))
        return false;
    if (point != text.npos && SignsOf(locale).decimal != L".")
        return false;
    value = static_cast<double>(digits) / kPowers[places];
    if (negative)
        value = -value;
    return true;
}

HRESULT ReadNumber(std::wstring_view text, LCID locale, NumberText & number)
{
    number = NumberText();
    return Reader(text, SignsOf(locale)).Read(number) ? S_OK : DISP_E_TYPEMISMATCH;
}

HRESULT ToDouble(NumberText const & number, double & value)
{
    if (number.isBits)
    {
        value = static_cast<double>(number.bits);
        return S_OK;
    }
    if (number.digits.empty())
    {
        value = number.negative ? -0.0 : 0.0;
        return S_OK;
    }
    std::string const text = (number.negative ? "-" : "") + number.digits + "e" + std::to_string(number.exponent);
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error == std::errc::result_out_of_range)
    {
        // The position of the first digit tells an overflow from an underflow.
        if (number.exponent + static_cast<LONGLONG>(number.digits.size()) > 0)
            return DISP_E_OVERFLOW;
        value = 0;
    }
    return S_OK;
}

HRESULT ToWhole(NumberText const & number, int extraPlaces, ULONGLONG & magnitude)
{
    magnitude = number.bits;
    if (number.isBits)
        return S_OK;
    LONGLONG const exponent = number.exponent + extraPlaces;
    LONGLONG const count = static_cast<LONGLONG>(number.digits.size());
    ULONGLONG value = 0;
    magnitude = 0;
    if (count == 0)
        return S_OK;
    if (count + exponent > 20)
        return DISP_E_OVERFLOW;
    auto const kept = static_cast<std::size_t>(std::clamp<LONGLONG>(count + exponent, 0, count));
    for (LONGLONG i = 0; i < count + exponent; ++i)
    {
        ULONGLONG const digit =
            i < count ? static_cast<ULONGLONG>(number.digits[static_cast<std::size_t>(i)] - '0') : 0;
        if (value > (~0ULL - digit) / 10)
            return DISP_E_OVERFLOW;
        value = value * 10 + digit;
    }
    if (count + exponent >= 0 && kept < number.digits.size() && RoundsUp(number.digits, kept, (value & 1) != 0))
    {
        if (value == ~0ULL)
            return DISP_E_OVERFLOW;
        ++value;
    }
    magnitude = value;
    return S_OK;
}

HRESULT ToDecimal(NumberText const & number, DECIMAL & decimal)
{
    constexpr LONGLONG kMaxScale = 28;
    std::string digits = number.isBits ? std::to_string(number.bits) : number.digits;
    LONGLONG exponent = number.exponent;
    decimal = DECIMAL{};
    decimal.sign = number.negative ? DECIMAL_NEG : BYTE{0};
    if (digits.empty())
        return S_OK;
    if (static_cast<LONGLONG>(digits.size()) + exponent > 29)
        return DISP_E_OVERFLOW;
    if (exponent > 0)
    {
        digits.append(static_cast<std::size_t>(exponent), '0');
        exponent = 0;
    }
    for (LONGLONG scale = std::min(-exponent, kMaxScale); scale >= 0; --scale)
    {
        LONGLONG const kept = static_cast<LONGLONG>(digits.size()) + exponent + scale;
        Magnitude magnitude;
        bool fits = true;
        for (LONGLONG i = 0; i < kept && fits; ++i)
            fits = magnitude.TimesTenPlus(static_cast<unsigned>(digits[static_cast<std::size_t>(i)] - '0'));
        if (!fits)
            continue;
        if (kept >= 0 && kept < static_cast<LONGLONG>(digits.size()) &&
            RoundsUp(digits, static_cast<std::size_t>(kept), (magnitude.words[0] & 1) != 0))
        {
            int i = 0;
            while (i < 3 && ++magnitude.words[i] == 0)
                ++i;
            if (i == 3)
                continue;
        }
        decimal.scale = static_cast<BYTE>(scale);
        decimal.Hi32 = magnitude.words[2];
        decimal.Lo64 = ULONGLONG{magnitude.words[1]} << 32 | magnitude.words[0];
        return S_OK;
    }
    return DISP_E_OVERFLOW;
}

NumberText FromDecimal(DECIMAL const & decimal)
{
    Magnitude magnitude{{static_cast<ULONG>(decimal.Lo64), static_cast<ULONG>(decimal.Lo64 >> 32), decimal.Hi32}};
    NumberText number;
    number.negative = (decimal.sign & DECIMAL_NEG) != 0;
    number.exponent = -LONGLONG{decimal.scale};
    while (!magnitude.IsZero())
        number.digits += static_cast<char>('0' + magnitude.DivideByTen());
    std::reverse(number.digits.begin(), number.digits.end());
    return number;
}

std::wstring DoubleText(double value, int digits, LCID locale)
{
    if (std::isnan(value))
        return L"-1.#IND";
    if (std::isinf(value))
        return value < 0 ? L"-1.#INF" : L"1.#INF";
    char buffer[40];
    auto const end =
        std::to_chars(buffer, buffer + sizeof buffer, value == 0 ? 0.0 : value, std::chars_format::general, digits).ptr;
    return Widen({buffer, static_cast<std::size_t>(end - buffer)}, SignsOf(locale).decimal);
}

std::wstring FixedText(NumberText const & number, LCID locale)
{
    std::string text = number.digits;
    std::size_t places = number.exponent < 0 ? static_cast<std::size_t>(-number.exponent) : 0;
    if (text.size() <= places)
        text.insert(0, places + 1 - text.size(), '0');
    for (; places > 0 && text.back() == '0'; --places)
        text.pop_back();
    if (places > 0)
        text.insert(text.size() - places, 1, '.');
    if (number.negative && !number.digits.empty())
        text.insert(0, 1, '-');
    return Widen(text, SignsOf(locale).decimal);
}

} // namespace qvlib::host

#include "qvlib/Conversions.h"

#include "host/internal/decimal.h"
#include "qvlib/framework/exceptions.h"
#include "qvlib/host/crt.h"
#include "qvlib/host/utf8.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

namespace qvlib
{

namespace
{

/// "00" to "99", ready to be copied.
constexpr auto kDigitPairs = []
{
    std::array<wchar_t, 200> pairs{};
    for (std::size_t i = 0; i < 100; ++i)
    {
        pairs[2 * i] = static_cast<wchar_t>(L'0' + i / 10);
        pairs[2 * i + 1] = static_cast<wchar_t>(L'0' + i % 10);
    }
    return pairs;
}();

/// Writes the digits in front of `end`, none for 0; gives where they begin.
wchar_t * WriteDigits(wchar_t * end, std::uint64_t value) noexcept
{
    while (value >= 10)
    {
        end -= 2;
        std::memcpy(end, &kDigitPairs[2 * (value % 100)], 2 * sizeof(wchar_t));
        value /= 100;
    }
    if (value != 0)
        *--end = static_cast<wchar_t>(L'0' + value);
    return end;
}

CQVString & PutDecimal(CQVString & out, bool negative, std::uint64_t magnitude)
{
    wchar_t text[24];
    wchar_t * const end = text + 24;
    wchar_t * first = WriteDigits(end, magnitude);
    if (first == end)
        *--first = L'0';
    if (negative)
        *--first = L'-';
    out.SetString(first, static_cast<int>(end - first));
    return out;
}

CQVString & PutSigned(CQVString & out, std::int64_t value)
{
    std::uint64_t const bits = static_cast<std::uint64_t>(value);
    return PutDecimal(out, value < 0, value < 0 ? 0 - bits : bits);
}

/// Digits, a NUL, and room to spare for the largest double.
constexpr int kDigitBuffer = 349;

/// More decimals than the buffer holds beside the digits in front of the point are as good as those that it holds.
int DecimalsThatFit(double value, unsigned long precision) noexcept
{
    double const magnitude = std::abs(value);
    int const front = magnitude >= 1 && magnitude <= std::numeric_limits<double>::max()
                          ? static_cast<int>(std::log10(magnitude)) + 2
                          : 1;
    int const room = kDigitBuffer - 1 - front;
    return precision > static_cast<unsigned long>(room) ? room : static_cast<int>(precision);
}

wchar_t * Widen(char const * digits, int count, wchar_t * to) noexcept { return std::copy_n(digits, count, to); }

} // namespace

CQVString & AsString(CQVString & out, int value) { return PutSigned(out, value); }

CQVString & AsString(CQVString & out, long value) { return PutSigned(out, value); }

CQVString & AsString(CQVString & out, unsigned int value) { return PutDecimal(out, false, value); }

CQVString & AsString(CQVString & out, unsigned long value)
{
    return PutDecimal(out, false, value == ~0UL ? 0xFFFFFFFFU : value);
}

CQVString & AsString(CQVString & out, __int64 value) { return PutSigned(out, value); }

CQVString & AsString(CQVString & out, unsigned __int64 value) { return PutDecimal(out, false, value); }

CQVString & AsString(CQVString & out, bool value, bool trueFalse)
{
    out = trueFalse ? (value ? L"True" : L"False") : (value ? L"Yes" : L"No");
    return out;
}

std::wstring AsStlString(bool value, bool trueFalse)
{
    return trueFalse ? (value ? L"True" : L"False") : (value ? L"Yes" : L"No");
}

CQVString & AsString(CQVString & out, double value) { return AsString(out, value, 16UL); }

namespace
{

/// The common case of the function below, by arithmetic: true when it was one.
bool PutCommonDouble(CQVString & out, double value, unsigned long precision)
{
    host::ScaledDecimal scaled;
    if (precision > 17 || !host::ScaleExactly(std::abs(value), static_cast<int>(precision), scaled) ||
        scaled.digits == 0)
        return false;
    int length = host::DecimalLength(scaled.digits);
    int const point = length - scaled.places;
    if (point >= 0)
    {
        // Zeros at the end go, as many as there are decimals and not more.
        for (int const zeros : {8, 8, 4, 2, 1})
            if (length - zeros >= point && scaled.digits % host::kPowersOfTen[zeros] == 0)
            {
                scaled.digits /= host::kPowersOfTen[zeros];
                length -= zeros;
            }
    }
    // Digits end at a fixed place; in front of them there is room for a point, 17 zeros, "0." and a sign.
    wchar_t text[48];
    wchar_t * const end = text + 48;
    wchar_t * first = WriteDigits(end, scaled.digits);
    if (point <= 0)
    {
        for (int zeros = point; zeros < 0; ++zeros)
            *--first = L'0';
        *--first = L'.';
        *--first = L'0';
    }
    else if (point < length)
    {
        std::memmove(first - 1, first, static_cast<std::size_t>(point) * sizeof(wchar_t));
        --first;
        first[point] = L'.';
    }
    if (std::signbit(value))
        *--first = L'-';
    out.SetString(first, static_cast<int>(end - first));
    return true;
}

} // namespace

CQVString & AsString(CQVString & out, double value, unsigned long precision)
{
    if (PutCommonDouble(out, value, precision))
        return out;
    char digits[kDigitBuffer];
    int point = 0;
    int negative = 0;
    int const decimals = precision <= 16 ? static_cast<int>(precision) : DecimalsThatFit(value, precision);
    _fcvt_s(digits, sizeof digits, value, decimals, &point, &negative);
    int length = static_cast<int>(std::strlen(digits));
    // Kept on purpose: below 0.1 the zeros at the end stay. Stored texts and their readers depend on it.
    if (point >= 0)
        while (length > point && digits[length - 1] == '0')
            --length;

    // Sign, "0." and up to as many zeros again as there are digits.
    wchar_t text[2 * kDigitBuffer + 4];
    wchar_t * end = text;
    if (negative)
        *end++ = L'-';
    if (point <= 0)
    {
        *end++ = L'0';
        if (point < length)
            *end++ = L'.';
        end = std::fill_n(end, -point, L'0');
        end = Widen(digits, length, end);
    }
    else if (point < length)
    {
        end = Widen(digits, point, end);
        *end++ = L'.';
        end = Widen(digits + point, length - point, end);
    }
    else
    {
        end = Widen(digits, length, end);
        end = std::fill_n(end, point - length, L'0');
    }
    out.SetString(text, static_cast<int>(end - text));
    return out;
}

CQVString & AsString(CQVString & out, double value, wchar_t const * format)
{
    out.Format(format, value);
    return out;
}

CQVString & AsString(CQVString & out, float value) { return AsString(out, AsCleanDouble(value), 7UL); }

CQVString & AsString(CQVString & out, float value, unsigned long precision)
{
    return AsString(out, AsCleanDouble(value), precision);
}

CQVString & AsString(CQVString & out, float value, wchar_t const * format)
{
    out.Format(format, static_cast<double>(value));
    return out;
}

CQVString & AsString(CQVString & out, void * value)
{
    char digits[2 * sizeof(void *)];
    char const * const end =
        std::to_chars(digits, digits + sizeof digits, reinterpret_cast<std::uintptr_t>(value), 16).ptr;
    wchar_t text[2 * sizeof(void *)];
    out.SetString(text, static_cast<int>(Widen(digits, static_cast<int>(end - digits), text) - text));
    return out;
}

bool AsBool(wchar_t const * text)
{
    if (text == nullptr)
        return false;
    while (host::isspace(static_cast<int>(*text)))
        ++text;
    if (*text == L'\0')
        return false;
    if (host::isalpha(static_cast<int>(*text)))
        return _wcsicmp(text, L"true") == 0 || _wcsicmp(text, L"yes") == 0;
    return _wtoi(text) != 0;
}

namespace
{

/// The beginning of a text as a text of its own, on the stack while it is short. Stops at a NUL.
class Beginning
{
public:
    Beginning(wchar_t const * text, unsigned long length)
    {
        std::size_t count = 0;
        while (count < length && count < kLocal && text[count] != L'\0')
        {
            m_local[count] = text[count];
            ++count;
        }
        m_local[count] = L'\0';
        if (count == kLocal)
        {
            while (count < length && text[count] != L'\0')
                ++count;
            m_heap.assign(text, count);
        }
    }
    wchar_t const * Text() const noexcept { return m_heap.empty() ? m_local : m_heap.c_str(); }

private:
    static constexpr std::size_t kLocal = 63;
    wchar_t m_local[kLocal + 1];
    std::wstring m_heap;
};

} // namespace

int AsInteger(wchar_t const * text, unsigned long length)
{
    return length == 0 || text == nullptr ? 0 : _wtoi(Beginning(text, length).Text());
}

unsigned long AsULong(wchar_t const * text, unsigned long length)
{
    // 32 bits: a negative number reads as the unsigned number of the same bits.
    return length == 0 || text == nullptr ? 0 : static_cast<std::uint32_t>(_wtol(Beginning(text, length).Text()));
}

bool AsLong(wchar_t const * text, long & out)
{
    wchar_t * end = nullptr;
    out = host::wcstol(text, &end, 10);
    return end != text;
}

bool AsUnsignedLong(wchar_t const * text, unsigned long & out)
{
    wchar_t * end = nullptr;
    out = host::wcstoul(text, &end, 10);
    return end != text;
}

double TLRoundFloat(double value)
{
    double whole = 0;
    double const fraction = std::modf(value, &whole);
    if (fraction > -0.5 && fraction < 0.5)
        return whole;
    if (fraction >= 0.5)
        return whole + 1;
    if (fraction <= -0.5)
        return whole - 1;
    return 0; // NaN
}

double TLRoundFloat(double value, long places)
{
    double const scale = std::pow(10.0, static_cast<double>(places));
    return TLRoundFloat(value * scale) / scale;
}

double AsCleanDouble(float value)
{
    double const wide = value;
    if (wide == 0)
        return 0;
    // A value just below a power of ten takes the places of the next decade; callers depend on it, and on the 6.
    double const places = 6 - TLRoundFloat(std::log10(std::abs(wide)));
    return places <= 0 ? TLRoundFloat(wide) : TLRoundFloat(wide, static_cast<long>(places));
}

double AsDouble(float value) { return AsCleanDouble(value); }

CStringT<wchar_t> AsCStringFromUtf8(std::string const & text)
{
    if (text.size() > static_cast<std::size_t>(std::numeric_limits<int>::max()))
        AfxThrowMemoryException();
    return CStringT<wchar_t>(text.data(), static_cast<int>(text.size()));
}

CStringT<wchar_t> AsCStringFromUtf8(char const * text) { return CStringT<wchar_t>(text); }

std::string AsUtf8FromWStr(wchar_t const * text) { return text == nullptr ? std::string() : host::ToUtf8(text); }

} // namespace qvlib

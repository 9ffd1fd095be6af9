// Numbers, amounts, dates and times in a locale's form.
#include "qvlib/UserLocale.h"

#include "platform/internal/locale_arguments.h"
#include "qvlib/host/crt.h"
#include "qvlib/host/error.h"

#include <cmath>
#include <cstring>
#include <cwchar>

using qvlib::CQVString;
using qvlib::internal::RepairYen;
using qvlib::internal::To32Bits;
using qvlib::internal::ToSize;

namespace
{

/// A double as plain decimal text, since the platform takes no other. What has none (zero, infinities, NaN, more than
/// 180 characters) is the empty text, which the platform refuses. Callers depend on that.
class PlainText
{
public:
    explicit PlainText(double value)
    {
        double const magnitude = std::fabs(value);
        int length = 0;
        if (magnitude > 0.0 && magnitude < 0.1)
        {
            length = WriteSmall(value < 0.0, magnitude);
        }
        else if (std::isnormal(value))
        {
            char digits[349];
            if (_gcvt_s(digits, sizeof digits, value, 311) == 0)
            {
                length = static_cast<int>(std::strlen(digits));
                for (int i = 0; i < length && length <= kLongest; ++i)
                {
                    m_text[i] = static_cast<wchar_t>(digits[i]);
                }
            }
        }
        m_text[length <= kLongest ? length : 0] = 0;
    }

    wchar_t const * Get() const { return m_text; }

private:
    static constexpr int kLongest = 180;
    static constexpr double kPowers[] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                         1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};

    /// 15 decimals. The length, which is above kLongest when the text does not fit.
    int WriteSmall(bool negative, double magnitude)
    {
        double rest = 1e15 * magnitude;
        int exponent = static_cast<int>(std::log10(rest));
        int const zeros = 14 - exponent;
        int length = (negative ? 1 : 0) + 2 + zeros;
        if (length > kLongest)
        {
            return length; // of zeros: a digit has at most 14 before it
        }
        wchar_t * at = m_text;
        if (negative)
        {
            *at++ = L'-';
        }
        *at++ = L'0';
        *at++ = L'.';
        at = std::wmemset(at, L'0', static_cast<std::size_t>(zeros)) + zeros;
        for (; exponent >= 0; --exponent)
        {
            double const power = kPowers[exponent];
            int const digit = static_cast<int>(rest / power);
            *at++ = static_cast<wchar_t>(L'0' + digit);
            rest -= digit * power;
            if (rest < 0.0)
            {
                break;
            }
        }
        return static_cast<int>(at - m_text);
    }

    wchar_t m_text[kLongest + 1];
};

/// Runs a formatting into a buffer of the class's size and takes in the result.
template <class Format>
int IntoString(CQVString & result, Format format)
{
    wchar_t buffer[CUserLocale::MAX_STR];
    if (format(buffer, CUserLocale::MAX_STR) == 0)
    {
        return 0;
    }
    result = buffer;
    return 1;
}

/// A pattern that is not there is the locale's own.
wchar_t const * PatternOrNull(wchar_t const * pattern)
{
    return pattern != nullptr && *pattern != 0 ? pattern : nullptr;
}

} // namespace

int CUserLocale::GetNumberFormatW(unsigned long locale, unsigned long flags, wchar_t const * value,
                                  _numberfmtW * format, wchar_t * buffer, unsigned long size)
{
    return ::GetNumberFormatW(To32Bits(locale), To32Bits(flags), value, format, buffer, ToSize(size)) > 0 ? 1 : 0;
}

int CUserLocale::GetNumberFormatW(unsigned long locale, unsigned long flags, CQVString const & value,
                                  _numberfmtW * format, wchar_t * buffer, unsigned long size)
{
    return GetNumberFormatW(locale, flags, value.GetString(), format, buffer, size);
}

int CUserLocale::GetNumberFormatW(unsigned long locale, unsigned long flags, double value, _numberfmtW * format,
                                  wchar_t * buffer, unsigned long size)
{
    return GetNumberFormatW(locale, flags, PlainText(value).Get(), format, buffer, size);
}

int CUserLocale::GetNumberFormatW(unsigned long locale, unsigned long flags, CQVString const & value,
                                  _numberfmtW * format, CQVString & result)
{
    return IntoString(result, [&](wchar_t * buffer, unsigned long size)
                      { return GetNumberFormatW(locale, flags, value, format, buffer, size); });
}

int CUserLocale::GetNumberFormatW(unsigned long locale, unsigned long flags, wchar_t const * value,
                                  _numberfmtW * format, CQVString & result)
{
    return IntoString(result, [&](wchar_t * buffer, unsigned long size)
                      { return GetNumberFormatW(locale, flags, value, format, buffer, size); });
}

int CUserLocale::GetNumberFormatW(unsigned long locale, unsigned long flags, double value, _numberfmtW * format,
                                  CQVString & result)
{
    return IntoString(result, [&](wchar_t * buffer, unsigned long size)
                      { return GetNumberFormatW(locale, flags, value, format, buffer, size); });
}

int CUserLocale::GetIntegerFormat(unsigned long locale, unsigned long flags, wchar_t const * value,
                                  _numberfmtW * format, wchar_t * buffer, unsigned long size)
{
    wchar_t decimal[MAX_STR] = {};
    wchar_t thousands[MAX_STR] = {};
    _numberfmtW record = {0, 0, 0, decimal, thousands, 0};
    if (format == nullptr)
    {
        GetNumberInfo(locale, &record);
    }
    else
    {
        record = *format;
    }
    record.NumDigits = 0; // the caller's decimals do not count
    return GetNumberFormatW(locale, flags, value, &record, buffer, size);
}

int CUserLocale::GetIntegerFormat(unsigned long locale, unsigned long flags, CQVString const & value,
                                  _numberfmtW * format, wchar_t * buffer, unsigned long size)
{
    return GetIntegerFormat(locale, flags, value.GetString(), format, buffer, size);
}

int CUserLocale::GetIntegerFormat(unsigned long locale, unsigned long flags, double value, _numberfmtW * format,
                                  wchar_t * buffer, unsigned long size)
{
    return GetIntegerFormat(locale, flags, PlainText(value).Get(), format, buffer, size);
}

int CUserLocale::GetIntegerFormat(unsigned long locale, unsigned long flags, CQVString const & value,
                                  _numberfmtW * format, CQVString & result)
{
    return IntoString(result, [&](wchar_t * buffer, unsigned long size)
                      { return GetIntegerFormat(locale, flags, value, format, buffer, size); });
}

int CUserLocale::GetIntegerFormat(unsigned long locale, unsigned long flags, wchar_t const * value,
                                  _numberfmtW * format, CQVString & result)
{
    return IntoString(result, [&](wchar_t * buffer, unsigned long size)
                      { return GetIntegerFormat(locale, flags, value, format, buffer, size); });
}

int CUserLocale::GetIntegerFormat(unsigned long locale, unsigned long flags, double value, _numberfmtW * format,
                                  CQVString & result)
{
    return IntoString(result, [&](wchar_t * buffer, unsigned long size)
                      { return GetIntegerFormat(locale, flags, value, format, buffer, size); });
}

int CUserLocale::GetPercentFormat(unsigned long locale, unsigned long flags, double value, _numberfmtW * format,
                                  wchar_t * buffer, unsigned long size)
{
    PlainText const text(value);
    if (size == 0)
    {
        return GetNumberFormatW(locale, flags, text.Get(), format, buffer, 0);
    }
    if (size == 1)
    {
        ::SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return 0;
    }
    // One character is left for the sign.
    int const length =
        ::GetNumberFormatW(To32Bits(locale), To32Bits(flags), text.Get(), format, buffer, ToSize(size - 1));
    if (length <= 0)
    {
        return 0;
    }
    buffer[length - 1] = L'%';
    buffer[length] = 0;
    return 1;
}

int CUserLocale::GetPercentFormat(unsigned long locale, unsigned long flags, wchar_t const * value,
                                  _numberfmtW * format, wchar_t * buffer, unsigned long size)
{
    return GetPercentFormat(locale, flags, value != nullptr ? _wtof(value) : 0.0, format, buffer, size);
}

int CUserLocale::GetPercentFormat(unsigned long locale, unsigned long flags, CQVString const & value,
                                  _numberfmtW * format, wchar_t * buffer, unsigned long size)
{
    return GetPercentFormat(locale, flags, _wtof(value.GetString()), format, buffer, size);
}

int CUserLocale::GetPercentFormat(unsigned long locale, unsigned long flags, CQVString const & value,
                                  _numberfmtW * format, CQVString & result)
{
    return IntoString(result, [&](wchar_t * buffer, unsigned long size)
                      { return GetPercentFormat(locale, flags, value, format, buffer, size); });
}

int CUserLocale::GetPercentFormat(unsigned long locale, unsigned long flags, wchar_t const * value,
                                  _numberfmtW * format, CQVString & result)
{
    return IntoString(result, [&](wchar_t * buffer, unsigned long size)
                      { return GetPercentFormat(locale, flags, value, format, buffer, size); });
}

int CUserLocale::GetPercentFormat(unsigned long locale, unsigned long flags, double value, _numberfmtW * format,
                                  CQVString & result)
{
    return IntoString(result, [&](wchar_t * buffer, unsigned long size)
                      { return GetPercentFormat(locale, flags, value, format, buffer, size); });
}

int CUserLocale::GetCurrencyFormatW(unsigned long locale, unsigned long flags, wchar_t const * value,
                                    _currencyfmtW * format, wchar_t * buffer, unsigned long size)
{
    if (::GetCurrencyFormatW(To32Bits(locale), To32Bits(flags), value, format, buffer, ToSize(size)) <= 0)
    {
        return 0;
    }
    RepairYen(locale, buffer, size, 2); // a sign may stand before it
    return 1;
}

int CUserLocale::GetCurrencyFormatW(unsigned long locale, unsigned long flags, CQVString const & value,
                                    _currencyfmtW * format, wchar_t * buffer, unsigned long size)
{
    return GetCurrencyFormatW(locale, flags, value.GetString(), format, buffer, size);
}

int CUserLocale::GetCurrencyFormatW(unsigned long locale, unsigned long flags, double value, _currencyfmtW * format,
                                    wchar_t * buffer, unsigned long size)
{
    return GetCurrencyFormatW(locale, flags, PlainText(value).Get(), format, buffer, size);
}

int CUserLocale::GetCurrencyFormatW(unsigned long locale, unsigned long flags, CQVString const & value,
                                    _currencyfmtW * format, CQVString & result)
{
    return IntoString(result, [&](wchar_t * buffer, unsigned long size)
                      { return GetCurrencyFormatW(locale, flags, value, format, buffer, size); });
}

int CUserLocale::GetCurrencyFormatW(unsigned long locale, unsigned long flags, wchar_t const * value,
                                    _currencyfmtW * format, CQVString & result)
{
    return IntoString(result, [&](wchar_t * buffer, unsigned long size)
                      { return GetCurrencyFormatW(locale, flags, value, format, buffer, size); });
}

int CUserLocale::GetCurrencyFormatW(unsigned long locale, unsigned long flags, double value, _currencyfmtW * format,
                                    CQVString & result)
{
    return IntoString(result, [&](wchar_t * buffer, unsigned long size)
                      { return GetCurrencyFormatW(locale, flags, value, format, buffer, size); });
}

int CUserLocale::GetDateFormatW(unsigned long locale, unsigned long flags, wchar_t const * pattern, _SYSTEMTIME * time,
                                wchar_t * buffer, unsigned long size)
{
    return ::GetDateFormatW(To32Bits(locale), To32Bits(flags), time, PatternOrNull(pattern), buffer, ToSize(size)) > 0
               ? 1
               : 0;
}

int CUserLocale::GetDateFormatW(unsigned long locale, unsigned long flags, CQVString const & pattern,
                                _SYSTEMTIME * time, wchar_t * buffer, unsigned long size)
{
    return GetDateFormatW(locale, flags, pattern.GetString(), time, buffer, size);
}

int CUserLocale::GetDateFormatW(unsigned long locale, unsigned long flags, wchar_t const * pattern, _SYSTEMTIME * time,
                                CQVString & result)
{
    return IntoString(result, [&](wchar_t * buffer, unsigned long size)
                      { return GetDateFormatW(locale, flags, pattern, time, buffer, size); });
}

int CUserLocale::GetDateFormatW(unsigned long locale, unsigned long flags, CQVString const & pattern,
                                _SYSTEMTIME * time, CQVString & result)
{
    return GetDateFormatW(locale, flags, pattern.GetString(), time, result);
}

int CUserLocale::GetTimeFormatW(unsigned long locale, unsigned long flags, wchar_t const * pattern, _SYSTEMTIME * time,
                                wchar_t * buffer, unsigned long size)
{
    return ::GetTimeFormatW(To32Bits(locale), To32Bits(flags), time, PatternOrNull(pattern), buffer, ToSize(size)) > 0
               ? 1
               : 0;
}

int CUserLocale::GetTimeFormatW(unsigned long locale, unsigned long flags, CQVString const & pattern,
                                _SYSTEMTIME * time, wchar_t * buffer, unsigned long size)
{
    return GetTimeFormatW(locale, flags, pattern.GetString(), time, buffer, size);
}

int CUserLocale::GetTimeFormatW(unsigned long locale, unsigned long flags, wchar_t const * pattern, _SYSTEMTIME * time,
                                CQVString & result)
{
    return IntoString(result, [&](wchar_t * buffer, unsigned long size)
                      { return GetTimeFormatW(locale, flags, pattern, time, buffer, size); });
}

int CUserLocale::GetTimeFormatW(unsigned long locale, unsigned long flags, CQVString const & pattern,
                                _SYSTEMTIME * time, CQVString & result)
{
    return GetTimeFormatW(locale, flags, pattern.GetString(), time, result);
}

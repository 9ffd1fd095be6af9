// CUserLocale: the names, formats and codes of a locale, and numbers, percentages, money, dates and times written in
// it.
//
//     CUserLocale const german(0x407);
//     CQVString text;
//     german.GetCurrencyFormatW(0, 1234.5, nullptr, text);                 // 1.234,50 €
//     CUserLocale::GetNumberFormatW(0x409, 0, L"1234.5", nullptr, text);   // 1,234.50
//
// Nearly every operation stands four times: for the object's locale and, static, for one that is given; with a string
// and with a buffer of `size` wide characters for the result. The flags, patterns and format records are those of
// host/nls.h. All return 1 for success and 0 for failure, which leaves the result as it was; nothing throws, apart from
// the allocation of a string.
//
// What differs from what a reader expects, each kept on purpose because callers depend on it:
//
// - A double reaches the platform as plain decimal text. Zero, infinities, NaN, and values whose text would be longer
//   than 180 characters (about 1e180 on) have none: they are not formatted, and the result is 0. A zero given as text
//   is formatted. Below 0.1, 15 decimals are looked at and no more.
// - For the locale 0x411, and that id only, a yen sign at the start of a text (behind the sign of an amount, too) comes
//   as the full-width one, U+FFE5.
// - A string result is at most 255 characters long; a longer one fails.
//
// An object is thread-compatible, and one word; the static operations are thread-safe, but for RegionMap.
#pragma once

#include "qvlib/QVString.h"
#include "qvlib/export.h"
#include "qvlib/host/nls.h"

#include <cstdint>
#include <map>

class QVLIB_API CUserLocale
{
public:
    using CQVString = qvlib::CQVString;

    /// The size in characters of the buffers behind string results.
    static constexpr unsigned long MAX_STR = 256;

    /// A locale by its id. An id that names none gives the user's default, 0x400.
    CUserLocale(unsigned long locale = LOCALE_USER_DEFAULT);

    /// 0, and the object unchanged, for an id that names no locale.
    int SetLocale(unsigned long locale);
    /// The id as it was given.
    unsigned long GetLocaleID() const { return m_locale; }
    /// The id that a default or neutral id stands for.
    unsigned long GetConvertedLocaleID() const { return GetConvertedLocaleID(m_locale); }
    static unsigned long GetConvertedLocaleID(unsigned long locale);
    /// Whether the platform knows the id.
    static int IsValidLocale(unsigned long locale);
    /// The locale id of each region's three letters; of a region's locales the main one. Made by the first call.
    /// Thread-hostile until one call has returned: it takes no lock. Thread-safe afterwards.
    static std::map<CQVString, unsigned long> const & RegionMap();

    /// "US Dollar".
    int GetCurrencyEnglishName(CQVString & result) const { return GetCurrencyEnglishName(m_locale, result); }
    int GetCurrencyEnglishName(wchar_t * buffer, unsigned long size) const
    {
        return GetCurrencyEnglishName(m_locale, buffer, size);
    }
    static int GetCurrencyEnglishName(unsigned long locale, CQVString & result);
    static int GetCurrencyEnglishName(unsigned long locale, wchar_t * buffer, unsigned long size);

    /// The currency in the locale's words.
    int GetCurrencyNativeName(CQVString & result) const { return GetCurrencyNativeName(m_locale, result); }
    int GetCurrencyNativeName(wchar_t * buffer, unsigned long size) const
    {
        return GetCurrencyNativeName(m_locale, buffer, size);
    }
    static int GetCurrencyNativeName(unsigned long locale, CQVString & result);
    static int GetCurrencyNativeName(unsigned long locale, wchar_t * buffer, unsigned long size);

    /// "$".
    int GetCurrencySymbol(CQVString & result) const { return GetCurrencySymbol(m_locale, result); }
    int GetCurrencySymbol(wchar_t * buffer, unsigned long size) const
    {
        return GetCurrencySymbol(m_locale, buffer, size);
    }
    static int GetCurrencySymbol(unsigned long locale, CQVString & result);
    static int GetCurrencySymbol(unsigned long locale, wchar_t * buffer, unsigned long size);

    /// "USD".
    int GetISOCurrencySymbol(CQVString & result) const { return GetISOCurrencySymbol(m_locale, result); }
    int GetISOCurrencySymbol(wchar_t * buffer, unsigned long size) const
    {
        return GetISOCurrencySymbol(m_locale, buffer, size);
    }
    static int GetISOCurrencySymbol(unsigned long locale, CQVString & result);
    static int GetISOCurrencySymbol(unsigned long locale, wchar_t * buffer, unsigned long size);

    /// "United States".
    int GetRegionEnglishName(CQVString & result) const { return GetRegionEnglishName(m_locale, result); }
    int GetRegionEnglishName(wchar_t * buffer, unsigned long size) const
    {
        return GetRegionEnglishName(m_locale, buffer, size);
    }
    static int GetRegionEnglishName(unsigned long locale, CQVString & result);
    static int GetRegionEnglishName(unsigned long locale, wchar_t * buffer, unsigned long size);

    /// The region in the locale's words.
    int GetRegionNativeName(CQVString & result) const { return GetRegionNativeName(m_locale, result); }
    int GetRegionNativeName(wchar_t * buffer, unsigned long size) const
    {
        return GetRegionNativeName(m_locale, buffer, size);
    }
    static int GetRegionNativeName(unsigned long locale, CQVString & result);
    static int GetRegionNativeName(unsigned long locale, wchar_t * buffer, unsigned long size);

    /// "US".
    int GetTwoLetterISORegionName(CQVString & result) const { return GetTwoLetterISORegionName(m_locale, result); }
    int GetTwoLetterISORegionName(wchar_t * buffer, unsigned long size) const
    {
        return GetTwoLetterISORegionName(m_locale, buffer, size);
    }
    static int GetTwoLetterISORegionName(unsigned long locale, CQVString & result);
    static int GetTwoLetterISORegionName(unsigned long locale, wchar_t * buffer, unsigned long size);

    /// "USA".
    int GetThreeLetterISORegionName(CQVString & result) const { return GetThreeLetterISORegionName(m_locale, result); }
    int GetThreeLetterISORegionName(wchar_t * buffer, unsigned long size) const
    {
        return GetThreeLetterISORegionName(m_locale, buffer, size);
    }
    static int GetThreeLetterISORegionName(unsigned long locale, CQVString & result);
    static int GetThreeLetterISORegionName(unsigned long locale, wchar_t * buffer, unsigned long size);

    /// "en".
    int GetLanguageName(CQVString & result) const { return GetLanguageName(m_locale, result); }
    int GetLanguageName(wchar_t * buffer, unsigned long size) const { return GetLanguageName(m_locale, buffer, size); }
    static int GetLanguageName(unsigned long locale, CQVString & result);
    static int GetLanguageName(unsigned long locale, wchar_t * buffer, unsigned long size);

    /// "en-US".
    int GetLocaleName(CQVString & result) const { return GetLocaleName(m_locale, result); }
    int GetLocaleName(wchar_t * buffer, unsigned long size) const { return GetLocaleName(m_locale, buffer, size); }
    static int GetLocaleName(unsigned long locale, CQVString & result);
    static int GetLocaleName(unsigned long locale, wchar_t * buffer, unsigned long size);

    /// Always 0, and nothing is written: kept so on purpose, callers fall back to another name.
    int GetRegionDisplayName(CQVString & result) const { return GetRegionDisplayName(m_locale, result); }
    int GetRegionDisplayName(wchar_t * buffer, unsigned long size) const
    {
        return GetRegionDisplayName(m_locale, buffer, size);
    }
    static int GetRegionDisplayName(unsigned long locale, CQVString & result);
    static int GetRegionDisplayName(unsigned long locale, wchar_t * buffer, unsigned long size);

    /// The same as GetCurrencyNativeName.
    int GetCurrencyNativeShortName(CQVString & result) const { return GetCurrencyNativeShortName(m_locale, result); }
    static int GetCurrencyNativeShortName(unsigned long locale, CQVString & result);

    /// The last word of the English name: "Dollar". Always 1; without a word the result is untouched.
    int GetCurrencyEnglishShortName(CQVString & result) const { return GetCurrencyEnglishShortName(m_locale, result); }
    static int GetCurrencyEnglishShortName(unsigned long locale, CQVString & result);

    /// A number; `format` as the platform takes it.
    int GetNumberFormatW(unsigned long flags, CQVString const & value, _numberfmtW * format, CQVString & result) const
    {
        return GetNumberFormatW(m_locale, flags, value, format, result);
    }
    int GetNumberFormatW(unsigned long flags, CQVString const & value, _numberfmtW * format, wchar_t * buffer,
                         unsigned long size) const
    {
        return GetNumberFormatW(m_locale, flags, value, format, buffer, size);
    }
    int GetNumberFormatW(unsigned long flags, wchar_t const * value, _numberfmtW * format, CQVString & result) const
    {
        return GetNumberFormatW(m_locale, flags, value, format, result);
    }
    int GetNumberFormatW(unsigned long flags, wchar_t const * value, _numberfmtW * format, wchar_t * buffer,
                         unsigned long size) const
    {
        return GetNumberFormatW(m_locale, flags, value, format, buffer, size);
    }
    int GetNumberFormatW(unsigned long flags, double value, _numberfmtW * format, CQVString & result) const
    {
        return GetNumberFormatW(m_locale, flags, value, format, result);
    }
    int GetNumberFormatW(unsigned long flags, double value, _numberfmtW * format, wchar_t * buffer,
                         unsigned long size) const
    {
        return GetNumberFormatW(m_locale, flags, value, format, buffer, size);
    }
    static int GetNumberFormatW(unsigned long locale, unsigned long flags, CQVString const & value,
                                _numberfmtW * format, CQVString & result);
    static int GetNumberFormatW(unsigned long locale, unsigned long flags, CQVString const & value,
                                _numberfmtW * format, wchar_t * buffer, unsigned long size);
    static int GetNumberFormatW(unsigned long locale, unsigned long flags, wchar_t const * value, _numberfmtW * format,
                                CQVString & result);
    static int GetNumberFormatW(unsigned long locale, unsigned long flags, wchar_t const * value, _numberfmtW * format,
                                wchar_t * buffer, unsigned long size);
    static int GetNumberFormatW(unsigned long locale, unsigned long flags, double value, _numberfmtW * format,
                                CQVString & result);
    static int GetNumberFormatW(unsigned long locale, unsigned long flags, double value, _numberfmtW * format,
                                wchar_t * buffer, unsigned long size);

    /// A number rounded to no decimals: the NumDigits of `format` is ignored.
    int GetIntegerFormat(unsigned long flags, CQVString const & value, _numberfmtW * format, CQVString & result) const
    {
        return GetIntegerFormat(m_locale, flags, value, format, result);
    }
    int GetIntegerFormat(unsigned long flags, CQVString const & value, _numberfmtW * format, wchar_t * buffer,
                         unsigned long size) const
    {
        return GetIntegerFormat(m_locale, flags, value, format, buffer, size);
    }
    int GetIntegerFormat(unsigned long flags, wchar_t const * value, _numberfmtW * format, CQVString & result) const
    {
        return GetIntegerFormat(m_locale, flags, value, format, result);
    }
    int GetIntegerFormat(unsigned long flags, wchar_t const * value, _numberfmtW * format, wchar_t * buffer,
                         unsigned long size) const
    {
        return GetIntegerFormat(m_locale, flags, value, format, buffer, size);
    }
    int GetIntegerFormat(unsigned long flags, double value, _numberfmtW * format, CQVString & result) const
    {
        return GetIntegerFormat(m_locale, flags, value, format, result);
    }
    int GetIntegerFormat(unsigned long flags, double value, _numberfmtW * format, wchar_t * buffer,
                         unsigned long size) const
    {
        return GetIntegerFormat(m_locale, flags, value, format, buffer, size);
    }
    static int GetIntegerFormat(unsigned long locale, unsigned long flags, CQVString const & value,
                                _numberfmtW * format, CQVString & result);
    static int GetIntegerFormat(unsigned long locale, unsigned long flags, CQVString const & value,
                                _numberfmtW * format, wchar_t * buffer, unsigned long size);
    static int GetIntegerFormat(unsigned long locale, unsigned long flags, wchar_t const * value, _numberfmtW * format,
                                CQVString & result);
    static int GetIntegerFormat(unsigned long locale, unsigned long flags, wchar_t const * value, _numberfmtW * format,
                                wchar_t * buffer, unsigned long size);
    static int GetIntegerFormat(unsigned long locale, unsigned long flags, double value, _numberfmtW * format,
                                CQVString & result);
    static int GetIntegerFormat(unsigned long locale, unsigned long flags, double value, _numberfmtW * format,
                                wchar_t * buffer, unsigned long size);

    /// A number with "%" behind it. It is not multiplied by 100; a text is read as a number first.
    int GetPercentFormat(unsigned long flags, CQVString const & value, _numberfmtW * format, CQVString & result) const
    {
        return GetPercentFormat(m_locale, flags, value, format, result);
    }
    int GetPercentFormat(unsigned long flags, CQVString const & value, _numberfmtW * format, wchar_t * buffer,
                         unsigned long size) const
    {
        return GetPercentFormat(m_locale, flags, value, format, buffer, size);
    }
    int GetPercentFormat(unsigned long flags, wchar_t const * value, _numberfmtW * format, CQVString & result) const
    {
        return GetPercentFormat(m_locale, flags, value, format, result);
    }
    int GetPercentFormat(unsigned long flags, wchar_t const * value, _numberfmtW * format, wchar_t * buffer,
                         unsigned long size) const
    {
        return GetPercentFormat(m_locale, flags, value, format, buffer, size);
    }
    int GetPercentFormat(unsigned long flags, double value, _numberfmtW * format, CQVString & result) const
    {
        return GetPercentFormat(m_locale, flags, value, format, result);
    }
    int GetPercentFormat(unsigned long flags, double value, _numberfmtW * format, wchar_t * buffer,
                         unsigned long size) const
    {
        return GetPercentFormat(m_locale, flags, value, format, buffer, size);
    }
    static int GetPercentFormat(unsigned long locale, unsigned long flags, CQVString const & value,
                                _numberfmtW * format, CQVString & result);
    static int GetPercentFormat(unsigned long locale, unsigned long flags, CQVString const & value,
                                _numberfmtW * format, wchar_t * buffer, unsigned long size);
    static int GetPercentFormat(unsigned long locale, unsigned long flags, wchar_t const * value, _numberfmtW * format,
                                CQVString & result);
    static int GetPercentFormat(unsigned long locale, unsigned long flags, wchar_t const * value, _numberfmtW * format,
                                wchar_t * buffer, unsigned long size);
    static int GetPercentFormat(unsigned long locale, unsigned long flags, double value, _numberfmtW * format,
                                CQVString & result);
    static int GetPercentFormat(unsigned long locale, unsigned long flags, double value, _numberfmtW * format,
                                wchar_t * buffer, unsigned long size);

    /// An amount of money.
    int GetCurrencyFormatW(unsigned long flags, CQVString const & value, _currencyfmtW * format,
                           CQVString & result) const
    {
        return GetCurrencyFormatW(m_locale, flags, value, format, result);
    }
    int GetCurrencyFormatW(unsigned long flags, CQVString const & value, _currencyfmtW * format, wchar_t * buffer,
                           unsigned long size) const
    {
        return GetCurrencyFormatW(m_locale, flags, value, format, buffer, size);
    }
    int GetCurrencyFormatW(unsigned long flags, wchar_t const * value, _currencyfmtW * format, CQVString & result) const
    {
        return GetCurrencyFormatW(m_locale, flags, value, format, result);
    }
    int GetCurrencyFormatW(unsigned long flags, wchar_t const * value, _currencyfmtW * format, wchar_t * buffer,
                           unsigned long size) const
    {
        return GetCurrencyFormatW(m_locale, flags, value, format, buffer, size);
    }
    int GetCurrencyFormatW(unsigned long flags, double value, _currencyfmtW * format, CQVString & result) const
    {
        return GetCurrencyFormatW(m_locale, flags, value, format, result);
    }
    int GetCurrencyFormatW(unsigned long flags, double value, _currencyfmtW * format, wchar_t * buffer,
                           unsigned long size) const
    {
        return GetCurrencyFormatW(m_locale, flags, value, format, buffer, size);
    }
    static int GetCurrencyFormatW(unsigned long locale, unsigned long flags, CQVString const & value,
                                  _currencyfmtW * format, CQVString & result);
    static int GetCurrencyFormatW(unsigned long locale, unsigned long flags, CQVString const & value,
                                  _currencyfmtW * format, wchar_t * buffer, unsigned long size);
    static int GetCurrencyFormatW(unsigned long locale, unsigned long flags, wchar_t const * value,
                                  _currencyfmtW * format, CQVString & result);
    static int GetCurrencyFormatW(unsigned long locale, unsigned long flags, wchar_t const * value,
                                  _currencyfmtW * format, wchar_t * buffer, unsigned long size);
    static int GetCurrencyFormatW(unsigned long locale, unsigned long flags, double value, _currencyfmtW * format,
                                  CQVString & result);
    static int GetCurrencyFormatW(unsigned long locale, unsigned long flags, double value, _currencyfmtW * format,
                                  wchar_t * buffer, unsigned long size);

    /// A date. A null or empty pattern is the locale's own; a null time the running one.
    int GetDateFormatW(unsigned long flags, CQVString const & pattern, _SYSTEMTIME * time, CQVString & result) const
    {
        return GetDateFormatW(m_locale, flags, pattern, time, result);
    }
    int GetDateFormatW(unsigned long flags, CQVString const & pattern, _SYSTEMTIME * time, wchar_t * buffer,
                       unsigned long size) const
    {
        return GetDateFormatW(m_locale, flags, pattern, time, buffer, size);
    }
    int GetDateFormatW(unsigned long flags, wchar_t const * pattern, _SYSTEMTIME * time, CQVString & result) const
    {
        return GetDateFormatW(m_locale, flags, pattern, time, result);
    }
    int GetDateFormatW(unsigned long flags, wchar_t const * pattern, _SYSTEMTIME * time, wchar_t * buffer,
                       unsigned long size) const
    {
        return GetDateFormatW(m_locale, flags, pattern, time, buffer, size);
    }
    static int GetDateFormatW(unsigned long locale, unsigned long flags, CQVString const & pattern, _SYSTEMTIME * time,
                              CQVString & result);
    static int GetDateFormatW(unsigned long locale, unsigned long flags, CQVString const & pattern, _SYSTEMTIME * time,
                              wchar_t * buffer, unsigned long size);
    static int GetDateFormatW(unsigned long locale, unsigned long flags, wchar_t const * pattern, _SYSTEMTIME * time,
                              CQVString & result);
    static int GetDateFormatW(unsigned long locale, unsigned long flags, wchar_t const * pattern, _SYSTEMTIME * time,
                              wchar_t * buffer, unsigned long size);

    /// A time of day, likewise.
    int GetTimeFormatW(unsigned long flags, CQVString const & pattern, _SYSTEMTIME * time, CQVString & result) const
    {
        return GetTimeFormatW(m_locale, flags, pattern, time, result);
    }
    int GetTimeFormatW(unsigned long flags, CQVString const & pattern, _SYSTEMTIME * time, wchar_t * buffer,
                       unsigned long size) const
    {
        return GetTimeFormatW(m_locale, flags, pattern, time, buffer, size);
    }
    int GetTimeFormatW(unsigned long flags, wchar_t const * pattern, _SYSTEMTIME * time, CQVString & result) const
    {
        return GetTimeFormatW(m_locale, flags, pattern, time, result);
    }
    int GetTimeFormatW(unsigned long flags, wchar_t const * pattern, _SYSTEMTIME * time, wchar_t * buffer,
                       unsigned long size) const
    {
        return GetTimeFormatW(m_locale, flags, pattern, time, buffer, size);
    }
    static int GetTimeFormatW(unsigned long locale, unsigned long flags, CQVString const & pattern, _SYSTEMTIME * time,
                              CQVString & result);
    static int GetTimeFormatW(unsigned long locale, unsigned long flags, CQVString const & pattern, _SYSTEMTIME * time,
                              wchar_t * buffer, unsigned long size);
    static int GetTimeFormatW(unsigned long locale, unsigned long flags, wchar_t const * pattern, _SYSTEMTIME * time,
                              CQVString & result);
    static int GetTimeFormatW(unsigned long locale, unsigned long flags, wchar_t const * pattern, _SYSTEMTIME * time,
                              wchar_t * buffer, unsigned long size);

    /// The locale's own record of a number (an amount). The texts that the caller's pointers name must be big enough;
    /// null pointers are passed over. What cannot be read stays as it was. 0 for a null record only.
    int GetNumberInfo(_numberfmtW * format) const { return GetNumberInfo(m_locale, format); }
    static int GetNumberInfo(unsigned long locale, _numberfmtW * format);
    int GetCurrencyInfo(_currencyfmtW * format) const { return GetCurrencyInfo(m_locale, format); }
    static int GetCurrencyInfo(unsigned long locale, _currencyfmtW * format);

private:
    QVLIB_LOCAL static int GetStringSetting(unsigned long locale, unsigned long item, CQVString & result);
    QVLIB_LOCAL static int GetStringSetting(unsigned long locale, unsigned long item, wchar_t * buffer,
                                            unsigned long size);
    QVLIB_LOCAL static int GetNumberSetting(unsigned long locale, unsigned long item, unsigned int & value);
    QVLIB_LOCAL static unsigned int GetGrouping(wchar_t const * text);

    std::uint32_t m_locale;
    QVLIB_LOCAL static std::map<CQVString, unsigned long> m_isoregionmap;
};

namespace qvlib
{

/// One item of a locale, of any length. False, and the result as it was, when it cannot be read. Thread-safe.
QVLIB_API bool GetLocaleInfoW(unsigned long locale, unsigned long item, CQVString & result);
/// The same; empty when it cannot be read. Thread-safe.
QVLIB_API CQVString GetLocaleInfoW(unsigned long locale, unsigned long item);
/// The currency's name in English. Thread-safe.
QVLIB_API bool GetCurrencyName(unsigned long locale, CQVString & result);
/// The same; empty when it cannot be read. Thread-safe.
QVLIB_API CQVString GetCurrencyName(unsigned long locale);

} // namespace qvlib

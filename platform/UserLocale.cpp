// The names, codes and records of a locale.
#include "qvlib/UserLocale.h"

#include "platform/internal/locale_arguments.h"
#include "qvlib/XmlParser.h"
#include "qvlib/host/crt.h"
#include "qvlib/host/error.h"

#include <algorithm>
#include <cwchar>
#include <memory>
#include <new>
#include <string_view>

using qvlib::CQVString;
using qvlib::internal::RepairYen;
using qvlib::internal::To32Bits;
using qvlib::internal::ToSize;

namespace
{

constexpr unsigned long kReadNumber = LOCALE_RETURN_NUMBER;

/// Takes in what was read into a buffer of this class's size.
int Assign(int length, wchar_t const * buffer, CQVString & result)
{
    if (length <= 0)
    {
        return 0;
    }
    result = CQVString(buffer, length - 1);
    return 1;
}

} // namespace

std::map<CQVString, unsigned long> CUserLocale::m_isoregionmap;

CUserLocale::CUserLocale(unsigned long locale) : m_locale(LOCALE_USER_DEFAULT) { SetLocale(locale); }

int CUserLocale::SetLocale(unsigned long locale)
{
    LCID const id = To32Bits(locale);
    if (!::IsValidLocale(::ConvertDefaultLocale(id), LCID_SUPPORTED))
    {
        return 0;
    }
    m_locale = id;
    return 1;
}

unsigned long CUserLocale::GetConvertedLocaleID(unsigned long locale)
{
    return ::ConvertDefaultLocale(To32Bits(locale));
}

int CUserLocale::IsValidLocale(unsigned long locale)
{
    return ::IsValidLocale(To32Bits(locale), LCID_SUPPORTED) ? 1 : 0;
}

std::map<CQVString, unsigned long> const & CUserLocale::RegionMap()
{
    if (m_isoregionmap.empty())
    {
        auto const addRegion = [](LPWSTR text) -> BOOL
        {
            if (text != nullptr)
            {
                unsigned long const id = qvlib::host::wcstoul(text, nullptr, 16);
                if (CQVString region; GetStringSetting(id, LOCALE_SISO3166CTRYNAME2, region))
                {
                    m_isoregionmap.emplace(region, id); // the first of a region stays
                }
            }
            return TRUE;
        };
        try
        {
            ::EnumSystemLocalesW(addRegion, LCID_SUPPORTED);
        }
        catch (...)
        {
            m_isoregionmap.clear(); // a map of some regions would be taken for the whole one
            throw;
        }
    }
    return m_isoregionmap;
}

int CUserLocale::GetStringSetting(unsigned long locale, unsigned long item, CQVString & result)
{
    wchar_t buffer[MAX_STR];
    int const length = ::GetLocaleInfoW(To32Bits(locale), static_cast<LCTYPE>(item), buffer, MAX_STR);
    if (length > 0)
    {
        RepairYen(locale, buffer, MAX_STR, 1);
    }
    return Assign(length, buffer, result);
}

int CUserLocale::GetStringSetting(unsigned long locale, unsigned long item, wchar_t * buffer, unsigned long size)
{
    int const length = ::GetLocaleInfoW(To32Bits(locale), static_cast<LCTYPE>(item), buffer, ToSize(size));
    if (length <= 0)
    {
        return 0;
    }
    RepairYen(locale, buffer, size, 1);
    return 1;
}

int CUserLocale::GetNumberSetting(unsigned long locale, unsigned long item, unsigned int & value)
{
    wchar_t number = 0;
    if (::GetLocaleInfoW(To32Bits(locale), static_cast<LCTYPE>(item | kReadNumber), &number, 1) <= 0)
    {
        return 0;
    }
    value = static_cast<unsigned int>(number);
    return 1;
}

unsigned int CUserLocale::GetGrouping(wchar_t const * text)
{
    unsigned int code = 0;
    wchar_t last = L'0';
    for (; *text != 0; last = *text++)
    {
        if (*text >= L'0' && *text <= L'9')
        {
            code = code * 10 + static_cast<unsigned int>(*text - L'0');
        }
    }
    return last == L'0' ? code / 10 : code * 10;
}

int CUserLocale::GetCurrencyEnglishName(unsigned long locale, CQVString & result)
{
    return GetStringSetting(locale, LOCALE_SENGCURRNAME, result);
}

int CUserLocale::GetCurrencyEnglishName(unsigned long locale, wchar_t * buffer, unsigned long size)
{
    return GetStringSetting(locale, LOCALE_SENGCURRNAME, buffer, size);
}

int CUserLocale::GetCurrencyNativeName(unsigned long locale, CQVString & result)
{
    return GetStringSetting(locale, LOCALE_SNATIVECURRNAME, result);
}

int CUserLocale::GetCurrencyNativeName(unsigned long locale, wchar_t * buffer, unsigned long size)
{
    return GetStringSetting(locale, LOCALE_SNATIVECURRNAME, buffer, size);
}

int CUserLocale::GetCurrencySymbol(unsigned long locale, CQVString & result)
{
    return GetStringSetting(locale, LOCALE_SCURRENCY, result);
}

int CUserLocale::GetCurrencySymbol(unsigned long locale, wchar_t * buffer, unsigned long size)
{
    return GetStringSetting(locale, LOCALE_SCURRENCY, buffer, size);
}

int CUserLocale::GetISOCurrencySymbol(unsigned long locale, CQVString & result)
{
    return GetStringSetting(locale, LOCALE_SINTLSYMBOL, result);
}

int CUserLocale::GetISOCurrencySymbol(unsigned long locale, wchar_t * buffer, unsigned long size)
{
    return GetStringSetting(locale, LOCALE_SINTLSYMBOL, buffer, size);
}

int CUserLocale::GetRegionEnglishName(unsigned long locale, CQVString & result)
{
    return GetStringSetting(locale, LOCALE_SENGCOUNTRY, result);
}

int CUserLocale::GetRegionEnglishName(unsigned long locale, wchar_t * buffer, unsigned long size)
{
    return GetStringSetting(locale, LOCALE_SENGCOUNTRY, buffer, size);
}

int CUserLocale::GetRegionNativeName(unsigned long locale, CQVString & result)
{
    return GetStringSetting(locale, LOCALE_SNATIVECTRYNAME, result);
}

int CUserLocale::GetRegionNativeName(unsigned long locale, wchar_t * buffer, unsigned long size)
{
    return GetStringSetting(locale, LOCALE_SNATIVECTRYNAME, buffer, size);
}

int CUserLocale::GetTwoLetterISORegionName(unsigned long locale, CQVString & result)
{
    return GetStringSetting(locale, LOCALE_SISO3166CTRYNAME, result);
}

int CUserLocale::GetTwoLetterISORegionName(unsigned long locale, wchar_t * buffer, unsigned long size)
{
    return GetStringSetting(locale, LOCALE_SISO3166CTRYNAME, buffer, size);
}

int CUserLocale::GetThreeLetterISORegionName(unsigned long locale, CQVString & result)
{
    return GetStringSetting(locale, LOCALE_SISO3166CTRYNAME2, result);
}

int CUserLocale::GetThreeLetterISORegionName(unsigned long locale, wchar_t * buffer, unsigned long size)
{
    return GetStringSetting(locale, LOCALE_SISO3166CTRYNAME2, buffer, size);
}

int CUserLocale::GetLanguageName(unsigned long locale, CQVString & result)
{
    return GetStringSetting(locale, LOCALE_SISO639LANGNAME, result);
}

int CUserLocale::GetLanguageName(unsigned long locale, wchar_t * buffer, unsigned long size)
{
    return GetStringSetting(locale, LOCALE_SISO639LANGNAME, buffer, size);
}

int CUserLocale::GetLocaleName(unsigned long locale, CQVString & result)
{
    wchar_t buffer[MAX_STR];
    return Assign(::LCIDToLocaleName(To32Bits(locale), buffer, MAX_STR, 0), buffer, result);
}

int CUserLocale::GetLocaleName(unsigned long locale, wchar_t * buffer, unsigned long size)
{
    return ::LCIDToLocaleName(To32Bits(locale), buffer, ToSize(size), 0) != 0 ? 1 : 0;
}

int CUserLocale::GetRegionDisplayName(unsigned long, CQVString &) { return 0; }

int CUserLocale::GetRegionDisplayName(unsigned long, wchar_t *, unsigned long) { return 0; }

int CUserLocale::GetCurrencyNativeShortName(unsigned long locale, CQVString & result)
{
    return GetCurrencyNativeName(locale, result);
}

int CUserLocale::GetCurrencyEnglishShortName(unsigned long locale, CQVString & result)
{
    CQVString name;
    GetStringSetting(locale, LOCALE_SENGCURRNAME, name);
    std::wstring_view words(name.GetString(), static_cast<std::size_t>(name.GetLength()));
    words = words.substr(0, words.find_last_not_of(L' ') + 1);
    if (!words.empty())
    {
        words = words.substr(words.find_last_of(L' ') + 1);
        result = CQVString(words.data(), static_cast<int>(words.size()));
    }
    return 1;
}

namespace
{

/// Copies one text item to where the caller's record points.
void CopyItem(int (*read)(unsigned long, unsigned long, wchar_t *, unsigned long), unsigned long locale,
              unsigned long item, wchar_t * target)
{
    wchar_t text[CUserLocale::MAX_STR];
    if (target != nullptr && read(locale, item, text, CUserLocale::MAX_STR) != 0)
    {
        std::wmemcpy(target, text, std::wcslen(text) + 1);
    }
}

} // namespace

int CUserLocale::GetNumberInfo(unsigned long locale, _numberfmtW * format)
{
    if (format == nullptr)
    {
        return 0;
    }
    GetNumberSetting(locale, LOCALE_IDIGITS, format->NumDigits);
    GetNumberSetting(locale, LOCALE_ILZERO, format->LeadingZero);
    wchar_t grouping[MAX_STR];
    if (GetStringSetting(locale, LOCALE_SGROUPING, grouping, MAX_STR) != 0)
    {
        format->Grouping = GetGrouping(grouping);
    }
    CopyItem(&GetStringSetting, locale, LOCALE_SDECIMAL, format->lpDecimalSep);
    CopyItem(&GetStringSetting, locale, LOCALE_STHOUSAND, format->lpThousandSep);
    GetNumberSetting(locale, LOCALE_INEGNUMBER, format->NegativeOrder);
    return 1;
}

int CUserLocale::GetCurrencyInfo(unsigned long locale, _currencyfmtW * format)
{
    if (format == nullptr)
    {
        return 0;
    }
    GetNumberSetting(locale, LOCALE_ICURRDIGITS, format->NumDigits);
    GetNumberSetting(locale, LOCALE_ILZERO, format->LeadingZero);
    wchar_t grouping[MAX_STR];
    if (GetStringSetting(locale, LOCALE_SMONGROUPING, grouping, MAX_STR) != 0)
    {
        format->Grouping = GetGrouping(grouping);
    }
    CopyItem(&GetStringSetting, locale, LOCALE_SMONDECIMALSEP, format->lpDecimalSep);
    CopyItem(&GetStringSetting, locale, LOCALE_SMONTHOUSANDSEP, format->lpThousandSep);
    GetNumberSetting(locale, LOCALE_INEGCURR, format->NegativeOrder);
    GetNumberSetting(locale, LOCALE_ICURRENCY, format->PositiveOrder);
    CopyItem(&GetStringSetting, locale, LOCALE_SCURRENCY, format->lpCurrencySymbol);
    return 1;
}

namespace qvlib
{

namespace
{

/// What was read, `length` characters with the NUL. It ends at the first NUL: a number that is read as one is no text.
CQVString TextOf(wchar_t const * text, int length)
{
    return CQVString(text, static_cast<int>(std::find(text, text + length - 1, L'\0') - text));
}

} // namespace

bool GetLocaleInfoW(unsigned long locale, unsigned long item, CQVString & result)
{
    constexpr int kUsual = 255;
    wchar_t usual[kUsual];
    LCID const id = internal::To32Bits(locale);
    LCTYPE const type = internal::To32Bits(item);
    int length = ::GetLocaleInfoW(id, type, usual, kUsual);
    if (length > 0)
    {
        result = TextOf(usual, length);
        return true;
    }
    if (::GetLastError() != ERROR_INSUFFICIENT_BUFFER)
    {
        return false;
    }
    int const needed = ::GetLocaleInfoW(id, type, nullptr, 0);
    if (needed < 1)
    {
        return false;
    }
    std::unique_ptr<wchar_t[]> const text(new (std::nothrow) wchar_t[static_cast<std::size_t>(needed) + 1]);
    length = text != nullptr ? ::GetLocaleInfoW(id, type, text.get(), needed) : 0;
    if (length > 0)
    {
        result = TextOf(text.get(), length);
    }
    return length > 0;
}

CQVString GetLocaleInfoW(unsigned long locale, unsigned long item)
{
    CQVString result;
    GetLocaleInfoW(locale, item, result);
    return result;
}

bool GetCurrencyName(unsigned long locale, CQVString & result)
{
    return GetLocaleInfoW(locale, LOCALE_SENGCURRNAME, result);
}

CQVString GetCurrencyName(unsigned long locale) { return GetLocaleInfoW(locale, LOCALE_SENGCURRNAME); }

std::wstring XmlParseUtils::GetLanguageNameFromThreadLocale()
{
    unsigned long const locale = ::GetThreadLocale();
    CQVString name;
    if (CUserLocale::IsValidLocale(locale) == 0 || CUserLocale::GetLanguageName(locale, name) == 0)
    {
        return L"en";
    }
    return std::wstring(name.GetString(), static_cast<std::size_t>(name.GetLength()));
}

} // namespace qvlib

// The items of a locale, one by one.
#include "host/linux/internal/copy_out.h"
#include "host/linux/internal/locale_data.h"
#include "qvlib/host/nls.h"

#include <cstring>
#include <cwctype>
#include <string>
#include <string_view>

using namespace qvlib::host::internal;

namespace
{

/// What stands between the first two fields of a pattern that begin with one of these letters.
std::wstring Between(std::wstring_view pattern, std::wstring_view letters)
{
    std::size_t const first = pattern.find_first_of(letters);
    std::size_t const from = pattern.find_first_not_of(first < pattern.size() ? pattern[first] : L' ', first);
    std::size_t const to = pattern.find_first_of(letters, from);
    if (from == std::wstring_view::npos || to == std::wstring_view::npos)
    {
        return {};
    }
    std::wstring text;
    for (wchar_t const character : pattern.substr(from, to - from))
    {
        text += character == L'\'' ? std::wstring_view() : std::wstring_view(&character, 1);
    }
    return text;
}

unsigned DateOrder(std::wstring_view pattern)
{
    std::size_t const day = pattern.find(L'd');
    std::size_t const month = pattern.find(L'M');
    std::size_t const year = pattern.find(L'y');
    return year < month && year < day ? 2 : day < month ? 1 : 0;
}

/// False when the item is not a number.
bool NumberItem(LocaleData const & data, LCTYPE item, DWORD & value)
{
    switch (item)
    {
    case LOCALE_ILANGUAGE:
        value = data.id;
        return true;
    case LOCALE_IMEASURE:
        value = data.measure;
        return true;
    case LOCALE_IDIGITS:
        value = data.digits;
        return true;
    case LOCALE_ILZERO:
        value = 1;
        return true;
    case LOCALE_ICURRDIGITS:
    case LOCALE_IINTLCURRDIGITS:
        value = data.currencyDigits;
        return true;
    case LOCALE_ICURRENCY:
        value = data.positiveCurrency;
        return true;
    case LOCALE_INEGCURR:
        value = data.negativeCurrency;
        return true;
    case LOCALE_IDATE:
        value = DateOrder(data.Dates().shortDate);
        return true;
    case LOCALE_ITIME:
        value = data.Dates().time.find(L'H') != std::wstring::npos ? 1 : 0;
        return true;
    case LOCALE_ICALENDARTYPE:
        value = data.calendar;
        return true;
    case LOCALE_IFIRSTDAYOFWEEK:
        value = data.firstDayOfWeek;
        return true;
    case LOCALE_INEGNUMBER:
        value = data.negativeNumber;
        return true;
    default:
        return false;
    }
}

/// Items that are kept as they are; null for any other.
std::wstring const * KeptItem(LocaleData const & data, LCTYPE item, bool besideDays)
{
    switch (item)
    {
    case LOCALE_SLANGUAGE:
        return &data.englishName;
    case LOCALE_SNATIVELANGNAME:
        return &data.nativeLanguage;
    case LOCALE_SCOUNTRY:
    case LOCALE_SENGCOUNTRY:
        return &data.englishRegion;
    case LOCALE_SABBREVCTRYNAME:
    case LOCALE_SISO3166CTRYNAME2:
        return &data.region3;
    case LOCALE_SNATIVECTRYNAME:
        return &data.nativeRegion;
    case LOCALE_SLIST:
        return &data.list;
    case LOCALE_SDECIMAL:
        return &data.number.decimal;
    case LOCALE_STHOUSAND:
        return &data.number.thousands;
    case LOCALE_SGROUPING:
        return &data.number.grouping;
    case LOCALE_SCURRENCY:
        return &data.currency;
    case LOCALE_SINTLSYMBOL:
        return &data.isoCurrency;
    case LOCALE_SMONDECIMALSEP:
        return &data.money.decimal;
    case LOCALE_SMONTHOUSANDSEP:
        return &data.money.thousands;
    case LOCALE_SMONGROUPING:
        return &data.money.grouping;
    case LOCALE_SSHORTDATE:
        return &data.Dates().shortDate;
    case LOCALE_SLONGDATE:
        return &data.Dates().longDate;
    case LOCALE_S1159:
        return &data.Dates().am;
    case LOCALE_S2359:
        return &data.Dates().pm;
    case LOCALE_SNEGATIVESIGN:
        return &data.negativeSign;
    case LOCALE_SISO639LANGNAME:
        return &data.language;
    case LOCALE_SISO3166CTRYNAME:
        return &data.region;
    case LOCALE_SNAME:
        return &data.name;
    case LOCALE_SISO639LANGNAME2:
        return &data.language3;
    case LOCALE_SPERCENT:
        return &data.percent;
    case LOCALE_SMONTHDAY:
        return &data.Dates().monthDay;
    case LOCALE_SSHORTTIME:
        return &data.Dates().shortTime;
    case LOCALE_SENGLANGUAGE:
        return &data.englishLanguage;
    case LOCALE_STIMEFORMAT:
        return &data.Dates().time;
    case LOCALE_SYEARMONTH:
        return &data.Dates().yearMonth;
    case LOCALE_SENGCURRNAME:
        return &data.englishCurrency;
    case LOCALE_SNATIVECURRNAME:
        return &data.nativeCurrency;
    default:
        break;
    }
    if (item >= LOCALE_SDAYNAME1 && item < LOCALE_SDAYNAME1 + 7)
    {
        return &data.Dates().days[(item - LOCALE_SDAYNAME1 + 1) % 7];
    }
    if (item >= LOCALE_SABBREVDAYNAME1 && item < LOCALE_SABBREVDAYNAME1 + 7)
    {
        return &data.Dates().shortDays[(item - LOCALE_SABBREVDAYNAME1 + 1) % 7];
    }
    if (item >= LOCALE_SMONTHNAME1 && item < LOCALE_SMONTHNAME1 + 12)
    {
        return &(besideDays ? data.Dates().monthsOfDays : data.Dates().months)[item - LOCALE_SMONTHNAME1];
    }
    if (item >= LOCALE_SABBREVMONTHNAME1 && item < LOCALE_SABBREVMONTHNAME1 + 12)
    {
        return &(besideDays ? data.Dates().shortMonthsOfDays
                            : data.Dates().shortMonths)[item - LOCALE_SABBREVMONTHNAME1];
    }
    return nullptr;
}

std::wstring HexId(LCID id)
{
    std::wstring text(4, L'0');
    for (std::size_t i = 4; i > 0; --i, id >>= 4)
    {
        text[i - 1] = L"0123456789abcdef"[id & 15];
    }
    return text;
}

/// The other items; false for an item that does not exist.
bool MadeItem(LocaleData const & data, LCTYPE item, std::wstring & text)
{
    DWORD number;
    switch (item)
    {
    case LOCALE_ILANGUAGE:
        text = HexId(data.id);
        return true;
    case LOCALE_SDATE:
        text = Between(data.Dates().shortDate, L"dMy");
        return true;
    case LOCALE_STIME:
        text = Between(data.Dates().time, L"hHms");
        return true;
    case LOCALE_SPOSITIVESIGN:
        return true;
    default:
        if (!NumberItem(data, item, number))
        {
            return false;
        }
        text = std::to_wstring(number);
        return true;
    }
}

/// A DWORD takes one wchar_t here; the platform's callers know it by two.
int CopyNumber(DWORD number, wchar_t * buffer, int size)
{
    static_assert(sizeof(DWORD) == sizeof(wchar_t));
    if (size != 0)
    {
        std::memcpy(buffer, &number, sizeof number);
    }
    return 2;
}

} // namespace

int GetLocaleInfoW(LCID locale, LCTYPE item, LPWSTR buffer, int size)
{
    LocaleData const * const data = LocaleDataOf(locale);
    if (!IsBuffer(buffer, size) || data == nullptr)
    {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    constexpr LCTYPE kFlags =
        LOCALE_NOUSEROVERRIDE | LOCALE_USE_CP_ACP | LOCALE_RETURN_NUMBER | LOCALE_RETURN_GENITIVE_NAMES;
    LCTYPE const bare = item & ~kFlags;
    if ((item & LOCALE_RETURN_NUMBER) != 0)
    {
        if (DWORD number = 0; NumberItem(*data, bare, number))
        {
            return CopyNumber(number, buffer, size);
        }
    }
    else if (std::wstring const * const kept = KeptItem(*data, bare, (item & LOCALE_RETURN_GENITIVE_NAMES) != 0))
    {
        return CopyOut(*kept, buffer, size);
    }
    else if (std::wstring made; MadeItem(*data, bare, made))
    {
        return CopyOut(made, buffer, size);
    }
    SetLastError(ERROR_INVALID_FLAGS);
    return 0;
}

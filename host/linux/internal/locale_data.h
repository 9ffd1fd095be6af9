// Everything that a locale's operations ask of it, read from ICU once.
#pragma once

#include "qvlib/host/types.h"

#include <atomic>
#include <string>

namespace qvlib::host::internal
{

/// The signs and forms of a locale's numbers, or of its amounts.
struct NumberSigns
{
    std::wstring decimal;
    std::wstring thousands;
    std::wstring grouping;     ///< "3;0"
    unsigned groupingCode = 0; ///< the same as the records have it
};

/// Patterns and names of dates and times. They take longest to read, and many programs only write numbers.
struct LocaleDates
{
    std::wstring shortDate;
    std::wstring longDate;
    std::wstring yearMonth;
    std::wstring monthDay;
    std::wstring time;
    std::wstring shortTime;
    std::wstring am;
    std::wstring pm;
    std::wstring era;
    std::wstring days[7]; ///< from Sunday
    std::wstring shortDays[7];
    std::wstring months[12];
    std::wstring shortMonths[12];
    std::wstring monthsOfDays[12]; ///< as they stand beside a day
    std::wstring shortMonthsOfDays[12];
};

struct LocaleData
{
    LocaleData() = default;
    ~LocaleData();
    LocaleData(LocaleData const &) = delete;
    LocaleData & operator=(LocaleData const &) = delete;

    /// Read when first asked for.
    LocaleDates const & Dates() const;

    LCID id = 0;
    std::wstring name;

    NumberSigns number;
    NumberSigns money;
    std::wstring negativeSign;
    std::wstring percent;
    std::wstring list;
    std::wstring currency;
    std::wstring isoCurrency;
    std::wstring englishCurrency;
    std::wstring nativeCurrency;
    unsigned digits = 2;
    unsigned currencyDigits = 2;
    unsigned negativeNumber = 1;
    unsigned positiveCurrency = 0;
    unsigned negativeCurrency = 0;

    std::wstring englishName;
    std::wstring englishLanguage;
    std::wstring nativeLanguage;
    std::wstring englishRegion;
    std::wstring nativeRegion;
    std::wstring language;
    std::wstring language3;
    std::wstring region;
    std::wstring region3;

    unsigned calendar = 1;
    unsigned firstDayOfWeek = 0; ///< from Monday
    unsigned measure = 0;

    std::string tag; ///< the BCP 47 name
    mutable std::atomic<LocaleDates const *> dates{nullptr};
};

/// The data of a locale, default and neutral ids too, kept for good once read: there are no more than the platform has
/// locales. Null for an id that names none. Thread-safe.
LocaleData const * LocaleDataOf(LCID locale);

/// "3;2;0" as the number 32, which the records of formats hold.
unsigned GroupingCode(std::wstring const & grouping);

} // namespace qvlib::host::internal

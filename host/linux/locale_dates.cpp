// Dates and times of day in a locale's patterns.
#include "host/linux/internal/calendar.h"
#include "host/linux/internal/copy_out.h"
#include "host/linux/internal/locale_data.h"
#include "qvlib/host/crt_time.h"
#include "qvlib/host/nls.h"

#include <algorithm>
#include <string>
#include <string_view>

using namespace qvlib::host::internal;

namespace
{

/// Text of any length, the first characters of which are kept; the rest is counted.
class Text
{
public:
    Text(wchar_t * text, std::size_t capacity) : m_text(text), m_capacity(capacity) {}

    void Put(wchar_t character)
    {
        if (m_length < m_capacity)
        {
            m_text[m_length] = character;
        }
        ++m_length;
    }
    void Put(std::wstring_view text)
    {
        for (wchar_t const character : text)
        {
            Put(character);
        }
    }
    /// At least two digits if `width` is above 1.
    void PutNumber(unsigned value, std::size_t width)
    {
        wchar_t digits[10];
        std::size_t count = 0;
        do
        {
            digits[count++] = static_cast<wchar_t>(L'0' + value % 10);
            value /= 10;
        } while (value != 0 || (width > 1 && count < 2));
        while (count > 0)
        {
            Put(digits[--count]);
        }
    }
    std::size_t Length() const { return m_length; }
    void Cut(std::size_t length) { m_length = length; }

private:
    wchar_t * m_text;
    std::size_t m_capacity;
    std::size_t m_length = 0;
};

/// Calls `field(letter, count)` for each run of one character of a pattern and writes the quoted text.
template <class Field>
void WalkPattern(std::wstring_view pattern, Text & text, Field field)
{
    for (std::size_t i = 0; i < pattern.size();)
    {
        wchar_t const letter = pattern[i];
        if (letter == L'\'')
        {
            for (++i; i < pattern.size(); ++i)
            {
                if (pattern[i] == L'\'')
                {
                    // Two within quotes are one.
                    if (i + 1 >= pattern.size() || pattern[i + 1] != L'\'')
                    {
                        break;
                    }
                    ++i;
                }
                text.Put(pattern[i]);
            }
            i += i < pattern.size() ? 1U : 0U;
            continue;
        }
        std::size_t end = i + 1;
        while (end < pattern.size() && pattern[end] == letter)
        {
            ++end;
        }
        field(letter, end - i);
        i = end;
    }
}

/// Whether a day of the month stands in a pattern.
bool HasDay(std::wstring_view pattern)
{
    bool found = false;
    Text none(nullptr, 0);
    WalkPattern(pattern, none,
                [&](wchar_t letter, std::size_t count) { found = found || (letter == L'd' && count <= 2); });
    return found;
}

void PutDate(Text & text, std::wstring_view pattern, LocaleDates const & data, SYSTEMTIME const & date,
             unsigned weekday)
{
    bool const beside = HasDay(pattern);
    std::size_t const month = date.wMonth - 1U;
    WalkPattern(pattern, text,
                [&](wchar_t letter, std::size_t count)
                {
                    switch (letter)
                    {
                    case L'd':
                        if (count > 2)
                        {
                            text.Put(count == 3 ? data.shortDays[weekday] : data.days[weekday]);
                            break;
                        }
                        text.PutNumber(date.wDay, count);
                        break;
                    case L'M':
                        if (count > 3)
                        {
                            text.Put(beside ? data.monthsOfDays[month] : data.months[month]);
                        }
                        else if (count == 3)
                        {
                            text.Put(beside ? data.shortMonthsOfDays[month] : data.shortMonths[month]);
                        }
                        else
                        {
                            text.PutNumber(date.wMonth, count);
                        }
                        break;
                    case L'y':
                        text.PutNumber(count > 2 ? date.wYear : date.wYear % 100U, 2);
                        break;
                    case L'g':
                        text.Put(data.era);
                        break;
                    default:
                        for (; count > 0; --count)
                        {
                            text.Put(letter);
                        }
                        break;
                    }
                });
}

/// Whether a field of a time is left out.
bool IsLeftOut(wchar_t letter, DWORD flags)
{
    return (letter == L't' && (flags & TIME_NOTIMEMARKER) != 0) ||
           (letter == L's' && (flags & (TIME_NOSECONDS | TIME_NOMINUTESORSECONDS)) != 0) ||
           (letter == L'm' && (flags & TIME_NOMINUTESORSECONDS) != 0);
}

void PutTime(Text & text, std::wstring_view pattern, LocaleDates const & data, SYSTEMTIME const & time, DWORD flags)
{
    std::size_t behindField = 0;
    WalkPattern(pattern, text,
                [&](wchar_t letter, std::size_t count)
                {
                    if (IsLeftOut(letter, flags))
                    {
                        text.Cut(behindField);
                        return;
                    }
                    switch (letter)
                    {
                    case L'h':
                        text.PutNumber(
                            (flags & TIME_FORCE24HOURFORMAT) != 0 ? time.wHour : (time.wHour + 11U) % 12U + 1U, count);
                        break;
                    case L'H':
                        text.PutNumber(time.wHour, count);
                        break;
                    case L'm':
                        text.PutNumber(time.wMinute, count);
                        break;
                    case L's':
                        text.PutNumber(time.wSecond, count);
                        break;
                    case L't':
                    {
                        std::wstring const & mark = time.wHour < 12 ? data.am : data.pm;
                        text.Put(count == 1 ? std::wstring_view(mark).substr(0, 1) : std::wstring_view(mark));
                        break;
                    }
                    default:
                        for (; count > 0; --count)
                        {
                            text.Put(letter);
                        }
                        return;
                    }
                    behindField = text.Length();
                });
}

SYSTEMTIME Now()
{
    std::tm fields = {};
    __time64_t const now = _time64(nullptr);
    _localtime64_s(&fields, &now);
    return {static_cast<WORD>(fields.tm_year + 1900), static_cast<WORD>(fields.tm_mon + 1),
            static_cast<WORD>(fields.tm_wday),        static_cast<WORD>(fields.tm_mday),
            static_cast<WORD>(fields.tm_hour),        static_cast<WORD>(fields.tm_min),
            static_cast<WORD>(fields.tm_sec),         0};
}

/// Runs `put` into the buffer; a text that does not fit leaves it untouched.
template <class Put>
int WriteText(wchar_t * buffer, int size, Put put)
{
    constexpr std::size_t kUsual = 256;
    wchar_t usual[kUsual];
    Text text(usual, kUsual);
    put(text);
    std::size_t const length = text.Length();
    if (length <= kUsual)
    {
        return CopyOut(std::wstring_view(usual, length), buffer, size);
    }
    if (length >= 0x7FFFFFFF)
    {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    std::wstring longer(length, L'\0');
    Text whole(longer.data(), length);
    put(whole);
    return CopyOut(longer, buffer, size);
}

bool IsDate(SYSTEMTIME const & date)
{
    return date.wYear >= 1601 && date.wYear <= 30827 && date.wMonth >= 1 && date.wMonth <= 12 && date.wDay >= 1 &&
           date.wDay <= GregorianDaysInMonth(date.wYear, date.wMonth);
}

int Refuse(LSTATUS reason)
{
    SetLastError(static_cast<DWORD>(reason));
    return 0;
}

constexpr DWORD kAnyLocaleFlags = LOCALE_NOUSEROVERRIDE | LOCALE_USE_CP_ACP;

} // namespace

int GetDateFormatW(LCID locale, DWORD flags, SYSTEMTIME const * date, LPCWSTR pattern, LPWSTR buffer, int size)
{
    LocaleData const * const data = LocaleDataOf(locale);
    if (!IsBuffer(buffer, size) || data == nullptr)
    {
        return Refuse(ERROR_INVALID_PARAMETER);
    }
    constexpr DWORD kChoice = DATE_SHORTDATE | DATE_LONGDATE | DATE_YEARMONTH | DATE_MONTHDAY;
    constexpr DWORD kDirection = DATE_LTRREADING | DATE_RTLREADING;
    DWORD const choice = flags & kChoice;
    if ((flags & ~(kChoice | kDirection | DATE_USE_ALT_CALENDAR | DATE_AUTOLAYOUT | kAnyLocaleFlags)) != 0 ||
        (choice & (choice - 1)) != 0 || (flags & kDirection) == kDirection ||
        (pattern != nullptr && (choice != 0 || (flags & LOCALE_NOUSEROVERRIDE) != 0)))
    {
        return Refuse(ERROR_INVALID_FLAGS);
    }
    SYSTEMTIME const day = date != nullptr ? *date : Now();
    if (!IsDate(day))
    {
        return Refuse(ERROR_INVALID_PARAMETER);
    }
    std::uint32_t const serial = static_cast<std::uint32_t>(SerialFromCivil(day.wYear, day.wMonth, day.wDay));
    unsigned const weekday = (serial + kEpoch + 3) % 7;
    LocaleDates const & dates = data->Dates();
    std::wstring_view const form = pattern != nullptr         ? std::wstring_view(pattern)
                                   : choice == DATE_LONGDATE  ? dates.longDate
                                   : choice == DATE_YEARMONTH ? dates.yearMonth
                                   : choice == DATE_MONTHDAY  ? dates.monthDay
                                                              : dates.shortDate;
    return WriteText(buffer, size, [&](Text & text) { PutDate(text, form, dates, day, weekday); });
}

int GetTimeFormatW(LCID locale, DWORD flags, SYSTEMTIME const * time, LPCWSTR pattern, LPWSTR buffer, int size)
{
    LocaleData const * const data = LocaleDataOf(locale);
    if (!IsBuffer(buffer, size) || data == nullptr)
    {
        return Refuse(ERROR_INVALID_PARAMETER);
    }
    constexpr DWORD kKnown =
        TIME_NOMINUTESORSECONDS | TIME_NOSECONDS | TIME_NOTIMEMARKER | TIME_FORCE24HOURFORMAT | kAnyLocaleFlags;
    if ((flags & ~kKnown) != 0 || (pattern != nullptr && (flags & LOCALE_NOUSEROVERRIDE) != 0))
    {
        return Refuse(ERROR_INVALID_FLAGS);
    }
    SYSTEMTIME const moment = time != nullptr ? *time : Now();
    if (moment.wHour > 23 || moment.wMinute > 59 || moment.wSecond > 59 || moment.wMilliseconds > 999)
    {
        return Refuse(ERROR_INVALID_PARAMETER);
    }
    LocaleDates const & dates = data->Dates();
    std::wstring_view const form = pattern != nullptr ? std::wstring_view(pattern) : dates.time;
    return WriteText(buffer, size, [&](Text & text) { PutTime(text, form, dates, moment, flags); });
}

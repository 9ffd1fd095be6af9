#include "qvlib/host/crt_time.h"

#include "host/linux/internal/clock.h"

#include <atomic>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <mutex>
#include <string_view>

namespace
{

std::atomic<std::int64_t (*)()> s_clock{nullptr};
std::atomic<int> s_minutesEast{0};

constexpr __time64_t kLastTime = 0x793406FFF; // the last second of the year 3000 in GMT

constexpr std::wstring_view kDays[] = {L"Sunday",   L"Monday", L"Tuesday", L"Wednesday",
                                       L"Thursday", L"Friday", L"Saturday"};
constexpr std::wstring_view kMonths[] = {L"January", L"February", L"March",     L"April",   L"May",      L"June",
                                         L"July",    L"August",   L"September", L"October", L"November", L"December"};

void ReadZone()
{
    static std::once_flag once;
    std::call_once(once, [] { tzset(); });
}

/// Writes into a buffer of known size and remembers whether all of it found room.
class Writer
{
public:
    Writer(wchar_t * begin, wchar_t * end) : m_next(begin), m_end(end) {}

    wchar_t * Next() const { return m_next; }

    bool Put(wchar_t character)
    {
        if (m_next == m_end)
        {
            return false;
        }
        *m_next++ = character;
        return true;
    }
    bool Put(std::wstring_view text)
    {
        if (static_cast<std::size_t>(m_end - m_next) < text.size())
        {
            return false;
        }
        std::wmemcpy(m_next, text.data(), text.size());
        m_next += text.size();
        return true;
    }
    /// A number from 0 to 99.
    bool PutTwo(int value, bool plain)
    {
        if (plain && value < 10)
        {
            return Put(static_cast<wchar_t>(L'0' + value));
        }
        if (m_end - m_next < 2)
        {
            return false;
        }
        *m_next++ = static_cast<wchar_t>(L'0' + value / 10);
        *m_next++ = static_cast<wchar_t>(L'0' + value % 10);
        return true;
    }
    /// A number from 0 to 999 or 9999, with leading zeros up to `width` digits unless plain.
    bool PutNumber(int value, int width, bool plain)
    {
        wchar_t digits[4];
        int first = 4;
        do
        {
            digits[--first] = static_cast<wchar_t>(L'0' + value % 10);
            value /= 10;
        } while (value != 0);
        while (!plain && first > 4 - width)
        {
            digits[--first] = L'0';
        }
        return Put(std::wstring_view(digits + first, static_cast<std::size_t>(4 - first)));
    }

private:
    wchar_t * m_next;
    wchar_t * m_end;
};

bool Within(int value, int low, int high) { return value >= low && value <= high; }

bool PutZone(Writer & out, std::tm const & time)
{
    wchar_t name[64];
    std::size_t length = 0;
    if (int minutesEast; qvlib::host::internal::IsClockReplaced(minutesEast))
    {
        return out.Put(std::wstring_view(L"GMT"));
    }
    ReadZone();
    for (char const * zone = tzname[time.tm_isdst > 0]; *zone != 0 && length < 64; ++zone)
    {
        name[length++] = static_cast<unsigned char>(*zone);
    }
    return out.Put(std::wstring_view(name, length));
}

bool PutTime(Writer & out, std::tm const & time)
{
    return Within(time.tm_hour, 0, 23) && Within(time.tm_min, 0, 59) && Within(time.tm_sec, 0, 59) &&
           out.PutTwo(time.tm_hour, false) && out.Put(L':') && out.PutTwo(time.tm_min, false) && out.Put(L':') &&
           out.PutTwo(time.tm_sec, false);
}

/// 01/31/23, or "Tuesday, January 31, 2023". Years before 1900 have neither form.
bool PutDate(Writer & out, std::tm const & time, bool longForm)
{
    if (!Within(time.tm_year, 0, 8099) || !Within(time.tm_mon, 0, 11) || !Within(time.tm_mday, 1, 31))
    {
        return false;
    }
    if (!longForm)
    {
        return out.PutTwo(time.tm_mon + 1, false) && out.Put(L'/') && out.PutTwo(time.tm_mday, false) &&
               out.Put(L'/') && out.PutTwo(time.tm_year % 100, false);
    }
    return Within(time.tm_wday, 0, 6) && out.Put(kDays[time.tm_wday]) && out.Put(std::wstring_view(L", ")) &&
           out.Put(kMonths[time.tm_mon]) && out.Put(L' ') && out.PutTwo(time.tm_mday, false) &&
           out.Put(std::wstring_view(L", ")) && out.PutNumber(time.tm_year + 1900, 4, false);
}

/// One item. `sharp` drops leading zeros from numbers and takes the long form of dates.
bool PutItem(Writer & out, wchar_t letter, bool sharp, std::tm const & time)
{
    switch (letter)
    {
    case L'a':
        return Within(time.tm_wday, 0, 6) && out.Put(kDays[time.tm_wday].substr(0, 3));
    case L'A':
        return Within(time.tm_wday, 0, 6) && out.Put(kDays[time.tm_wday]);
    case L'b':
        return Within(time.tm_mon, 0, 11) && out.Put(kMonths[time.tm_mon].substr(0, 3));
    case L'B':
        return Within(time.tm_mon, 0, 11) && out.Put(kMonths[time.tm_mon]);
    case L'c':
        return PutDate(out, time, sharp) && out.Put(L' ') && PutTime(out, time);
    case L'd':
        return Within(time.tm_mday, 1, 31) && out.PutTwo(time.tm_mday, sharp);
    case L'H':
        return Within(time.tm_hour, 0, 23) && out.PutTwo(time.tm_hour, sharp);
    case L'I':
        return Within(time.tm_hour, 0, 23) && out.PutTwo((time.tm_hour + 11) % 12 + 1, sharp);
    case L'j':
        return Within(time.tm_yday, 0, 365) && out.PutNumber(time.tm_yday + 1, 3, sharp);
    case L'm':
        return Within(time.tm_mon, 0, 11) && out.PutTwo(time.tm_mon + 1, sharp);
    case L'M':
        return Within(time.tm_min, 0, 59) && out.PutTwo(time.tm_min, sharp);
    case L'p':
        return Within(time.tm_hour, 0, 23) && out.Put(std::wstring_view(time.tm_hour < 12 ? L"AM" : L"PM"));
    case L'S':
        return Within(time.tm_sec, 0, 59) && out.PutTwo(time.tm_sec, sharp);
    case L'U':
        return Within(time.tm_wday, 0, 6) && Within(time.tm_yday, 0, 365) &&
               out.PutTwo((time.tm_yday + 7 - time.tm_wday) / 7, sharp);
    case L'w':
        return Within(time.tm_wday, 0, 6) && out.Put(static_cast<wchar_t>(L'0' + time.tm_wday));
    case L'W':
        return Within(time.tm_wday, 0, 6) && Within(time.tm_yday, 0, 365) &&
               out.PutTwo((time.tm_yday + 7 - (time.tm_wday + 6) % 7) / 7, sharp);
    case L'x':
        return PutDate(out, time, sharp);
    case L'X':
        return PutTime(out, time);
    case L'y':
        return Within(time.tm_year, 0, 8099) && out.PutTwo(time.tm_year % 100, sharp);
    case L'Y':
        return Within(time.tm_year, -1900, 8099) && out.PutNumber(time.tm_year + 1900, 4, sharp);
    case L'z':
    case L'Z':
        return PutZone(out, time);
    case L'%':
        return out.Put(L'%');
    default:
        return false;
    }
}

} // namespace

__time64_t _time64(__time64_t * now)
{
    auto const clock = s_clock.load(std::memory_order_acquire);
    __time64_t const seconds = clock != nullptr ? clock() : static_cast<__time64_t>(std::time(nullptr));
    if (now != nullptr)
    {
        *now = seconds;
    }
    return seconds;
}

int _localtime64_s(std::tm * fields, __time64_t const * time)
{
    if (fields == nullptr)
    {
        return EINVAL;
    }
    if (time != nullptr && *time >= 0 && *time <= kLastTime)
    {
        std::time_t seconds = static_cast<std::time_t>(*time);
        int minutesEast;
        bool const replaced = qvlib::host::internal::IsClockReplaced(minutesEast);
        if (replaced)
        {
            seconds += minutesEast * 60;
        }
        else
        {
            ReadZone();
        }
        if ((replaced ? gmtime_r(&seconds, fields) : localtime_r(&seconds, fields)) != nullptr)
        {
            return 0;
        }
    }
    std::memset(fields, 0, sizeof *fields);
    fields->tm_sec = fields->tm_min = fields->tm_hour = fields->tm_mday = fields->tm_mon = fields->tm_year =
        fields->tm_wday = fields->tm_yday = fields->tm_isdst = -1;
    return EINVAL;
}

namespace qvlib::host
{

bool internal::IsClockReplaced(int & minutesEast)
{
    bool const replaced = s_clock.load(std::memory_order_acquire) != nullptr;
    minutesEast = s_minutesEast.load(std::memory_order_relaxed);
    return replaced;
}

void SetClock(std::int64_t (*clock)(), int minutesEast)
{
    s_minutesEast.store(minutesEast, std::memory_order_relaxed);
    // Whoever sees the clock sees its zone.
    s_clock.store(clock, std::memory_order_release);
}

std::size_t wcsftime(wchar_t * buffer, std::size_t size, wchar_t const * format, std::tm const * time)
{
    if (buffer == nullptr || size == 0)
    {
        return 0;
    }
    buffer[0] = 0;
    if (format == nullptr || time == nullptr)
    {
        return 0;
    }
    Writer out(buffer, buffer + (size - 1));
    for (; *format != 0; ++format)
    {
        bool done;
        if (*format != L'%')
        {
            done = out.Put(*format);
        }
        else
        {
            bool const sharp = format[1] == L'#';
            format += sharp ? 2 : 1;
            done = PutItem(out, *format, sharp, *time); // the terminator is no item either
        }
        if (!done)
        {
            buffer[0] = 0;
            return 0;
        }
    }
    *out.Next() = 0;
    return static_cast<std::size_t>(out.Next() - buffer);
}

} // namespace qvlib::host

#include "qvlib/BitFlagHelper.h"
#include "qvlib/CalendarMonth.h"
#include "qvlib/DayOfWeek.h"
#include "qvlib/Exceptions.h"
#include "qvlib/host/crt.h"

namespace qvlib
{

namespace
{

struct Names
{
    wchar_t const * longName;
    wchar_t const * shortName;
};

constexpr Names kMonths[] = {{L"January", L"Jan"}, {L"February", L"Feb"}, {L"March", L"Mar"},
                             {L"April", L"Apr"},   {L"May", L"May"},      {L"June", L"Jun"},
                             {L"July", L"Jul"},    {L"August", L"Aug"},   {L"September", L"Sep"},
                             {L"October", L"Oct"}, {L"November", L"Nov"}, {L"December", L"Dec"}};
constexpr Names kDays[] = {{L"Sunday", L"Sun"},   {L"Monday", L"Mon"}, {L"Tuesday", L"Tue"}, {L"Wednesday", L"Wed"},
                           {L"Thursday", L"Thu"}, {L"Friday", L"Fri"}, {L"Saturday", L"Sat"}};
constexpr Names kInvalid = {L"Invalid", L"Inv"};

template <std::size_t N>
CQVString NameOf(Names const (&table)[N], int member, bool longForm)
{
    Names const & names = member >= 0 && member < static_cast<int>(N) ? table[member] : kInvalid;
    return CQVString(longForm ? names.longName : names.shortName);
}

} // namespace

void BitFlagHelper<0>::FailWideMask()
{
    static char const * const kParameter = "mask";
    throw argument_out_of_range_exception(kParameter, nullptr);
}

CQVString CalendarMonthX::ToString(ECalendarMonth month, bool longForm) { return NameOf(kMonths, month, longForm); }

CQVString DayOfWeekX::ToString(EDayOfWeek day, bool longForm) { return NameOf(kDays, day, longForm); }

EDayOfWeek DayOfWeekX::FromString(wchar_t const * text)
{
    if (text != nullptr)
    {
        for (EDayOfWeek day = First(); day != InvalidDay; day = Next(day))
        {
            if (_wcsicmp(text, kDays[day].longName) == 0 || _wcsicmp(text, kDays[day].shortName) == 0)
            {
                return day;
            }
        }
    }
    return InvalidDay;
}

EDayOfWeek DayOfWeekX::FromString(wchar_t const * text, unsigned long length)
{
    if (text != nullptr)
    {
        for (EDayOfWeek day = First(); day != InvalidDay; day = Next(day))
        {
            wchar_t const * const name = length < 4 ? kDays[day].shortName : kDays[day].longName;
            if (_wcsnicmp(text, name, length) == 0)
            {
                return day;
            }
        }
    }
    return InvalidDay;
}

} // namespace qvlib

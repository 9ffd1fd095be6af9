#include "qvlib/host/dates.h"

#include "host/linux/internal/calendar.h"

using namespace qvlib::host::internal;

namespace
{

void Fill(SYSTEMTIME & time, CivilDay const & civil, std::uint32_t second)
{
    std::uint32_t const minute = second / 60;
    time.wYear = static_cast<WORD>(civil.year);
    time.wMonth = static_cast<WORD>(civil.month);
    time.wDayOfWeek = static_cast<WORD>(civil.weekday);
    time.wDay = static_cast<WORD>(civil.day);
    time.wHour = static_cast<WORD>(second / 3600);
    time.wMinute = static_cast<WORD>(minute % 60);
    time.wSecond = static_cast<WORD>(second % 60);
    time.wMilliseconds = 0;
}

} // namespace

INT VariantTimeToSystemTime(DATE date, SYSTEMTIME * time)
{
    std::int32_t serial;
    std::uint32_t second;
    if (time == nullptr || !SplitDate(date, serial, second))
    {
        return FALSE;
    }
    Fill(*time, CivilFromSerial(serial), second);
    return TRUE;
}

INT SystemTimeToVariantTime(SYSTEMTIME * time, DATE * date)
{
    if (time == nullptr || date == nullptr)
    {
        return FALSE;
    }
    std::uint32_t year = time->wYear;
    std::uint32_t month = time->wMonth;
    if (year > 9999 || month > 12 || time->wDay > 31 || time->wHour > 23 || time->wMinute > 59 || time->wSecond > 59)
    {
        return FALSE;
    }
    if (year < 100)
    {
        year += year < 50 ? 2000 : 1900;
    }
    if (month == 0)
    {
        month = 12;
        --year;
    }
    std::int32_t const serial = SerialFromCivil(year, month, time->wDay);
    if (serial < kMinSerial || serial > kMaxSerial)
    {
        return FALSE;
    }
    *date = JoinDate(serial, time->wHour, time->wMinute, time->wSecond);
    return TRUE;
}

HRESULT VarUdateFromDate(DATE date, ULONG, UDATE * fields)
{
    std::int32_t serial;
    std::uint32_t second;
    if (fields == nullptr || !SplitDate(date, serial, second))
    {
        return E_INVALIDARG;
    }
    CivilDay const civil = CivilFromSerial(serial);
    Fill(fields->st, civil, second);
    fields->wDayOfYear = static_cast<USHORT>(civil.DayOfYear());
    return S_OK;
}

#include "qvlib/TimeSpan.h"

#include "qvlib/Conversions.h"

#include <cmath>
#include <cwchar>
#include <string>

namespace qvlib
{

namespace
{

constexpr double kMillisecondInDays = 1.1574074074074074e-08;
constexpr double kSnapTolerance = 1.1574074074074074e-10;
constexpr int kNoResolution = 19; // below every ETimeResolution, so that no unit is rounded

/// A whole number for a value a rounding error away from it.
double Snap(double value)
{
    double const magnitude = std::fabs(value);
    if (std::fabs(detail::CutToInt(TLRoundFloat(magnitude)) - magnitude) <= kSnapTolerance)
    {
        return detail::CutToInt(TLRoundFloat(value));
    }
    return value;
}

double FractionOf(double value) { return value - detail::CutToInt(value); }

/// To the next whole number away from zero.
int Partial(double value) { return detail::CutToInt(value >= 0.0 ? std::ceil(value) : std::floor(value)); }

constexpr int kUnits = 5;

/// What each unit holds when the larger ones are taken away, from milliseconds to days.
void ReadUnits(CTimeSpan const & span, double (&units)[kUnits])
{
    double const milliseconds = span.GetSpan() * 86400000.0;
    double const whole = TLRoundFloat(milliseconds);
    if (std::fabs(milliseconds - whole) < 0.001 && std::fabs(whole) < 9e15)
    {
        // On the grid of milliseconds the units come out exactly; cut from the double they would read one low.
        long long const count = static_cast<long long>(whole);
        units[0] = static_cast<double>(count % 1000);
        units[1] = static_cast<double>(count % 60000) / 1000.0;
        units[2] = static_cast<double>(count % 3600000) / 60000.0;
        units[3] = static_cast<double>(count % 86400000) / 3600000.0;
        units[4] = static_cast<double>(count) / 86400000.0;
        return;
    }
    units[0] = span.GetMilliseconds_();
    units[1] = span.GetSeconds_();
    units[2] = span.GetMinutes_();
    units[3] = span.GetHours_();
    units[4] = span.GetDays_();
}

CQVString RemainingText(CTimeSpan const & span, int resolution)
{
    struct Unit
    {
        int number;
        int limit;
        wchar_t const * one;
        wchar_t const * many;
    };
    static constexpr Unit units[kUnits] = {{MilliSeconds, 1000, L"millisecond", L"milliseconds"},
                                           {Seconds, 60, L"second", L"seconds"},
                                           {Minutes, 60, L"minute", L"minutes"},
                                           {Hours, 24, L"hour", L"hours"},
                                           {Days, 2147483647, L"day", L"days"}};
    double sources[kUnits];
    ReadUnits(span, sources);
    int counts[kUnits] = {};
    for (int i = 0; i < kUnits; ++i)
    {
        if (units[i].number == resolution)
        {
            counts[i] = detail::CutToInt(TLRoundFloat(sources[i]));
        }
        else if (units[i].number > resolution)
        {
            counts[i] = detail::CutToInt(sources[i]);
        }
    }
    for (int i = 0; i < kUnits - 1; ++i)
    {
        if (counts[i] >= units[i].limit)
        {
            counts[i] = 0;
            ++counts[i + 1];
        }
    }
    std::wstring text;
    int written = 0;
    for (int i = kUnits - 1; i >= 0 && written < 2; --i)
    {
        if (counts[i] != 0)
        {
            if (!text.empty())
            {
                text += L' ';
            }
            text += std::to_wstring(counts[i]);
            text += L' ';
            text += counts[i] == 1 ? units[i].one : units[i].many;
            ++written;
        }
    }
    return CQVString(text.c_str(), static_cast<int>(text.size()));
}

} // namespace

CTimeSpan & CTimeSpan::SetSpan(double days) { return SetMillisecondsSpan(days * 86400000.0); }

CTimeSpan & CTimeSpan::SetSpan(double days, double hours, double minutes, double seconds, double milliseconds)
{
    return SetMillisecondsSpan(days * 86400000.0 + hours * 3600000.0 + minutes * 60000.0 + seconds * 1000.0 +
                               milliseconds);
}

CTimeSpan & CTimeSpan::SetHourSpan(double hours) { return SetMillisecondsSpan(hours * 3600000.0); }

CTimeSpan & CTimeSpan::SetMinuteSpan(double minutes) { return SetMillisecondsSpan(minutes * 60000.0); }

CTimeSpan & CTimeSpan::SetSecondsSpan(double seconds) { return SetMillisecondsSpan(seconds * 1000.0); }

CTimeSpan & CTimeSpan::SetMillisecondsSpan(double milliseconds)
{
    m_value = TLRoundFloat(milliseconds) * kMillisecondInDays;
    return *this;
}

int CTimeSpan::GetSeconds() const { return detail::CutToInt(TLRoundFloat(GetSeconds_() + 0.001)); }

double CTimeSpan::GetSeconds_() const { return FractionOf(Snap(m_value * 1440.0)) * 60.0; }

double CTimeSpan::GetMilliseconds_() const { return FractionOf(Snap(m_value * 86400.0)) * 1000.0; }

int CTimeSpan::GetPartialDays() const noexcept { return Partial(m_value); }

int CTimeSpan::GetPartialHours() const noexcept { return Partial(m_value * 24.0); }

int CTimeSpan::GetPartialMinutes() const noexcept { return Partial(m_value * 1440.0); }

int CTimeSpan::GetPartialSeconds() const noexcept { return Partial(m_value * 86400.0); }

int CTimeSpan::GetPartialMilliseconds() const noexcept { return Partial(m_value * 86400000.0); }

double CTimeSpan::GetTotalMinutes() const { return Snap(m_value * 1440.0); }

double CTimeSpan::GetTotalSeconds() const { return Snap(m_value * 86400.0); }

double CTimeSpan::GetTotalMilliseconds() const { return detail::CutToInt(TLRoundFloat(m_value * 86400000.0)); }

CQVString CTimeSpan::ToString() const
{
    wchar_t buffer[64];
    int const length = std::swprintf(buffer, 64, L"%d.%2d.%2d.%2d.%3d", GetDays(), GetHours(), GetMinutes(),
                                     GetSeconds(), GetMilliseconds());
    return CQVString(buffer, length);
}

CQVString CTimeSpan::ToStringAsTimeRemaining() const { return RemainingText(*this, kNoResolution); }

CQVString CTimeSpan::ToStringAsTimeRemaining(ETimeResolution resolution) const
{
    return RemainingText(*this, resolution);
}

} // namespace qvlib

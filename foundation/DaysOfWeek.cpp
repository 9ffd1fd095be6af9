#include "qvlib/DaysOfWeek.h"

#include "qvlib/TextFunctions.h"
#include "qvlib/host/crt.h"

#include <string>

namespace qvlib
{

namespace
{

constexpr EDayOfWeek kWeek[] = {Monday, Tuesday, Wednesday, Thursday, Friday, Saturday, Sunday};

} // namespace

EDayOfWeek DaysOfWeek::BitToDay(int bit) noexcept
{
    for (EDayOfWeek const day : kWeek)
    {
        if (static_cast<int>(Bit(day)) == bit)
        {
            return day;
        }
    }
    return InvalidDay;
}

void DaysOfWeek::MoveEarlierOneDay() noexcept
{
    if (!HasAllDays())
    {
        bool const monday = HasMonday();
        m_days >>= 1;
        if (monday)
        {
            AddSunday();
        }
    }
}

void DaysOfWeek::MoveLaterOneDay() noexcept
{
    if (!HasAllDays())
    {
        bool const sunday = HasSunday();
        // Sunday's bit stays above the seven on purpose: callers tell by it that the set was moved across the week.
        m_days <<= 1;
        SetMonday(sunday);
    }
}

CQVString DaysOfWeek::ToString() const
{
    std::wstring text;
    for (EDayOfWeek const day : kWeek)
    {
        if (HasDay(day))
        {
            text += text.empty() ? L'(' : L',';
            text += DayOfWeekX::ToString(day, true).GetString();
        }
    }
    if (!text.empty())
    {
        text += L')';
    }
    return CQVString(text.c_str(), static_cast<int>(text.size()));
}

void DaysOfWeek::FromString(wchar_t const * text)
{
    m_days = 0;
    TLSkipWhiteSpaces(text);
    if (text == nullptr || *text == 0)
    {
        return;
    }
    if (*text == L'(')
    {
        ++text;
    }
    while (*text != 0)
    {
        TLSkipWhiteSpaces(text);
        wchar_t const * const word = text;
        while (host::isalpha(static_cast<int>(*text)))
        {
            ++text;
        }
        if (text == word)
        {
            return;
        }
        AddDay(DayOfWeekX::FromString(word, static_cast<unsigned long>(text - word)));
        TLSkipWhiteSpaces(text);
        // One separator; a letter is none, it starts the next word of "M T".
        if (*text != 0 && !host::isalpha(static_cast<int>(*text)))
        {
            ++text;
        }
    }
}

} // namespace qvlib

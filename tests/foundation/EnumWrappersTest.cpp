#include "qvlib/BitFlagHelper.h"
#include "qvlib/CalendarMonth.h"
#include "qvlib/DayOfWeek.h"
#include "qvlib/DaysOfWeek.h"
#include "qvlib/Exceptions.h"
#include "qvlib/TimeResolution.h"
#include "qvlib/TristateBool.h"

#include <climits>
#include <gtest/gtest.h>

using namespace qvlib;

TEST(EnumHelper, ComparesAndConvertsAsTheEnumerationAndAsANumber)
{
    DayOfWeekX day;
    EXPECT_TRUE(day == Sunday && day == 0 && day != Monday && day.IsSunday());
    day = Tuesday;
    EXPECT_TRUE(day == DayOfWeekX(Tuesday) && day > Monday && day > 1 && day < DayOfWeekX(Friday) && day < 3);
    EXPECT_EQ(static_cast<int>(day), 2);
    EXPECT_EQ(static_cast<EDayOfWeek>(day), Tuesday);
    day.SetAsFriday();
    EXPECT_TRUE(day.Is(5) && DayOfWeekX::NameOfFriday() == L"Friday");
    day.Clear();
    EXPECT_EQ(day.GetValue(), Sunday);
    TimeResolutionX resolution;
    EXPECT_EQ(resolution, 0) << "a default resolution holds no member";
    resolution.SetAsSeconds();
    EXPECT_EQ(resolution, 23);
}

TEST(EnumHelper, BothReferencesAreTheValue)
{
    DayOfWeekX day;
    int & number = day.GetIntRef();
    EDayOfWeek & member = day.GetValueRef();
    number = 4;
    EXPECT_EQ(day.GetValue(), Thursday);
    member = Saturday;
    EXPECT_TRUE(day.Is(6));
    day.SetAsMonday();
    EXPECT_EQ(number, 1);
}

TEST(CalendarMonth, NamesAndNumbers)
{
    EXPECT_EQ(CalendarMonthX::GetMonth(0), January);
    EXPECT_EQ(CalendarMonthX::GetMonth(12), InvalidMonth);
    EXPECT_EQ(CalendarMonthX::GetMonth(-1), InvalidMonth);
    EXPECT_EQ(CalendarMonthX::GetMonthOneBased(12), December);
    EXPECT_EQ(CalendarMonthX::GetMonthOneBased(0), InvalidMonth);
    SYSTEMTIME time{};
    time.wMonth = 5;
    EXPECT_EQ(CalendarMonthX::GetMonth(time), May);
    EXPECT_TRUE(CalendarMonthX::ToString(CalendarMonthX::May, false) == L"May");
    EXPECT_TRUE(CalendarMonthX(September).ToString(false) == L"Sep");
    EXPECT_TRUE(CalendarMonthX::ToString(static_cast<ECalendarMonth>(12), true) == L"Invalid");
    EXPECT_TRUE(CalendarMonthX::ToString(InvalidMonth, false) == L"Inv");
    // The one name that differs from the text.
    EXPECT_TRUE(CalendarMonthX::NameOfInvalidMonth() == L"InvalidMonth");
    EXPECT_TRUE(DayOfWeekX::NameOfInvalidDay() == L"InvalidDay");
    EXPECT_TRUE(DayOfWeekX::ToString(InvalidDay, true) == L"Invalid");
    EXPECT_TRUE(TimeResolutionX::NameOfInvalid() == L"Invalid");
}

TEST(DayOfWeek, IsReadFromText)
{
    EXPECT_EQ(DayOfWeekX::FromString(L"wed"), Wednesday);
    EXPECT_EQ(DayOfWeekX::FromString(L"THURSDAY"), Thursday);
    EXPECT_EQ(DayOfWeekX::FromString(L"Thur"), InvalidDay);
    EXPECT_EQ(DayOfWeekX::FromString(L"Invalid"), InvalidDay);
    EXPECT_EQ(DayOfWeekX::FromString(nullptr), InvalidDay);
    EXPECT_EQ(DayOfWeekX::FromString(L"S", 1), Sunday);
    EXPECT_EQ(DayOfWeekX::FromString(L"Tuxx", 2), Tuesday);
    EXPECT_EQ(DayOfWeekX::FromString(L"wedn", 4), Wednesday);
    EXPECT_EQ(DayOfWeekX::FromString(L"Wedx", 4), InvalidDay);
}

TEST(DayOfWeek, WalksFromFirstToLast)
{
    EXPECT_EQ(DayOfWeekX::Next(static_cast<EDayOfWeek>(INT_MAX)), InvalidDay);
    int count = 0;
    for (EDayOfWeek day = DayOfWeekX::First(); day != InvalidDay; day = DayOfWeekX::Next(day))
    {
        EXPECT_EQ(static_cast<int>(day), count++);
    }
    EXPECT_EQ(count, 7);
    EXPECT_EQ(DayOfWeekX::FromJulianDate(1), Sunday);
    EXPECT_EQ(DayOfWeekX::FromJulianDate(0), static_cast<EDayOfWeek>(0xFFFFFFFFU % 7)) << "unsigned";
}

TEST(DaysOfWeek, MovingLaterLeavesSundaysBitAbove)
{
    DaysOfWeek days;
    days.AddSunday();
    days.MoveLaterOneDay();
    EXPECT_TRUE(days.HasMonday());
    EXPECT_FALSE(days.IsMonday());
    EXPECT_FALSE(days.HasSunday());
    days.RemoveAllDays();
    days.AddAllDays();
    EXPECT_TRUE(days.HasAllDays());
    EXPECT_FALSE(days.IsAllDays()) << "the bit above stays";
    DaysOfWeek monday;
    monday.SetMonday(true);
    monday.MoveEarlierOneDay();
    EXPECT_TRUE(monday.IsSunday());
}

TEST(DaysOfWeek, AFullWeekDoesNotMove)
{
    DaysOfWeek days;
    days.SetAllDays(true);
    days.MoveEarlierOneDay();
    days.MoveLaterOneDay();
    EXPECT_TRUE(days.IsAllDays());
}

TEST(DaysOfWeek, BitsOfDaysGoBothWays)
{
    for (int day = -2; day < 9; ++day)
    {
        EDayOfWeek const member = DayOfWeekX::GetDay(day);
        unsigned long const bit = DaysOfWeek::DayToBit(static_cast<EDayOfWeek>(day));
        EXPECT_EQ(bit == 0, member == InvalidDay);
        EXPECT_EQ(DaysOfWeek::BitToDay(static_cast<int>(bit)), member);
    }
    EXPECT_EQ(DaysOfWeek::DayToBit(Monday), 1UL);
    EXPECT_EQ(DaysOfWeek::DayToBit(Sunday), 0x40UL);
    EXPECT_EQ(DaysOfWeek::BitToDay(3), InvalidDay);
}

TEST(DaysOfWeek, TextInAllItsForms)
{
    DaysOfWeek days;
    EXPECT_TRUE(days.ToString().IsEmpty());
    struct Case
    {
        wchar_t const * text;
        wchar_t const * read;
    };
    Case const cases[] = {{L"(Monday,Sunday)", L"(Monday,Sunday)"},
                          {L"Mon, Tue", L"(Monday,Tuesday)"},
                          {L"M T", L"(Monday,Tuesday)"},
                          {L"  ( sat;SUN ) ", L"(Saturday,Sunday)"},
                          {L"Mon,nonsense,Fri", L"(Monday,Friday)"},
                          {L"Mon,,Fri", L"(Monday)"},
                          {L"Mon,5,Fri", L"(Monday)"},
                          {L"((Mon)", L""},
                          {L"", L""},
                          {nullptr, L""}};
    for (Case const & test : cases)
    {
        days.AddAllDays();
        days.FromString(test.text);
        EXPECT_TRUE(days.ToString() == test.read) << (test.text != nullptr ? test.text : L"null");
    }
}

TEST(BitFlagHelper, IsASetOfFlags)
{
    BitFlagHelper<0> flags(0b1100);
    EXPECT_TRUE(flags.Has(0b0100) && flags.HasAllOf(0b1100) && !flags.Has(0b0110) && flags.Has(0));
    EXPECT_TRUE(flags.HasAnyOf(0b0110) && !flags.HasAnyOf(0b0011) && flags.HasNoneOf(0b0011));
    EXPECT_TRUE(flags - 0b0100UL == 0b1000UL);
    flags -= 0b0100;
    flags.Modify(0b1000, 0b0001);
    EXPECT_TRUE(flags.Is(0b0001));
    EXPECT_TRUE(flags + flags == flags) << "+ is the union";
    flags.Set(0b10, true);
    flags.Set(0b01, false);
    EXPECT_TRUE((flags | 0b100UL) == 0b110UL && (flags & 0b100UL).IsEmpty());
    EXPECT_TRUE(BitFlagHelper<0>(1) < BitFlagHelper<0>(0x80000000UL));
}

TEST(BitFlagHelper, TakesPlainNumbersAndEnumeratorsOnEitherSide)
{
    enum Flag
    {
        kFirst = 1,
        kSecond = 2
    };
    BitFlagHelper<0> const flags(0b1100);
    EXPECT_TRUE(flags - 0b0100 == 0b1000 && 0b1100 == flags && flags != 1U);
    EXPECT_TRUE((flags | kFirst | kSecond) == 0b1111 && flags + kFirst == 0b1101 && (flags & 4LL) == kFirst + 3);
    EXPECT_TRUE((flags & ~0b0100) == 0b1000 && flags < 13 && !(flags < 12U));
}

TEST(BitFlagHelper, AWordHas32Bits)
{
    BitFlagHelper<0> flags(ULONG_MAX);
    EXPECT_TRUE(flags.Is(0xFFFFFFFFUL));
    flags &= ~1UL;
    EXPECT_EQ(flags.GetFlags(), 0xFFFFFFFEUL);
    if constexpr (sizeof(long) > 4)
    {
        EXPECT_THROW(flags.Add(static_cast<unsigned long>(0x100000000ULL)), argument_out_of_range_exception);
        EXPECT_EQ(flags.GetFlags(), 0xFFFFFFFEUL);
    }
}

TEST(TristateBool, UnknownIsNeitherButConvertsToFalse)
{
    tristate_bool const unknown;
    EXPECT_FALSE(static_cast<bool>(unknown));
    EXPECT_TRUE(unknown == false);
    EXPECT_FALSE(unknown == tristate_bool(false));
    EXPECT_TRUE(unknown == tristate_bool::Unknown());
    EXPECT_TRUE(tristate_bool::False() < tristate_bool::True() && tristate_bool::True() < unknown);
    tristate_bool value;
    value = true;
    EXPECT_TRUE(value.IsTrue() && value);
    value.SetAsUnknown();
    EXPECT_TRUE(value.IsUnknown());
    EXPECT_EQ(sizeof(value), 1U);
}

// DaysOfWeek: a set of weekdays in one word. Its week starts on Monday, the lowest bit, although EDayOfWeek counts from
// Sunday.
//
//     qvlib::DaysOfWeek days;
//     days.FromString(L"Mon, Tue");
//     days.ToString();                              // "(Monday,Tuesday)"
//
// `HasX` tests a day's bit; `IsX` demands that the whole word be that one day. They can differ in more than the other
// days: MoveLaterOneDay leaves a bit above the seven (see there).
#pragma once

#include "qvlib/DayOfWeek.h"
#include "qvlib/QVString.h"
#include "qvlib/export.h"

#include <cstdint>

namespace qvlib
{

/// A set of weekdays. Numbers that are no day are ignored. Thread-compatible.
class DaysOfWeek
{
public:
    /// The empty set.
    DaysOfWeek() noexcept = default;

    void AddDay(EDayOfWeek day) noexcept { m_days |= Bit(day); }
    void RemoveDay(EDayOfWeek day) noexcept { m_days &= ~Bit(day); }
    void SetDay(EDayOfWeek day, bool on) noexcept { on ? AddDay(day) : RemoveDay(day); }
    bool HasDay(EDayOfWeek day) const noexcept { return (m_days & Bit(day)) != 0; }

    void AddMonday() noexcept { AddDay(Monday); }
    void RemoveMonday() noexcept { RemoveDay(Monday); }
    void SetMonday(bool on) noexcept { SetDay(Monday, on); }
    bool HasMonday() const noexcept { return HasDay(Monday); }
    bool IsMonday() const noexcept { return m_days == Bit(Monday); }

    void AddTuesday() noexcept { AddDay(Tuesday); }
    void RemoveTuesday() noexcept { RemoveDay(Tuesday); }
    void SetTuesday(bool on) noexcept { SetDay(Tuesday, on); }
    bool HasTuesday() const noexcept { return HasDay(Tuesday); }
    bool IsTuesday() const noexcept { return m_days == Bit(Tuesday); }

    void AddWednesday() noexcept { AddDay(Wednesday); }
    void RemoveWednesday() noexcept { RemoveDay(Wednesday); }
    void SetWednesday(bool on) noexcept { SetDay(Wednesday, on); }
    bool HasWednesday() const noexcept { return HasDay(Wednesday); }
    bool IsWednesday() const noexcept { return m_days == Bit(Wednesday); }

    void AddThursday() noexcept { AddDay(Thursday); }
    void RemoveThursday() noexcept { RemoveDay(Thursday); }
    void SetThursday(bool on) noexcept { SetDay(Thursday, on); }
    bool HasThursday() const noexcept { return HasDay(Thursday); }
    bool IsThursday() const noexcept { return m_days == Bit(Thursday); }

    void AddFriday() noexcept { AddDay(Friday); }
    void RemoveFriday() noexcept { RemoveDay(Friday); }
    void SetFriday(bool on) noexcept { SetDay(Friday, on); }
    bool HasFriday() const noexcept { return HasDay(Friday); }
    bool IsFriday() const noexcept { return m_days == Bit(Friday); }

    void AddSaturday() noexcept { AddDay(Saturday); }
    void RemoveSaturday() noexcept { RemoveDay(Saturday); }
    void SetSaturday(bool on) noexcept { SetDay(Saturday, on); }
    bool HasSaturday() const noexcept { return HasDay(Saturday); }
    bool IsSaturday() const noexcept { return m_days == Bit(Saturday); }

    void AddSunday() noexcept { AddDay(Sunday); }
    void RemoveSunday() noexcept { RemoveDay(Sunday); }
    void SetSunday(bool on) noexcept { SetDay(Sunday, on); }
    bool HasSunday() const noexcept { return HasDay(Sunday); }
    bool IsSunday() const noexcept { return m_days == Bit(Sunday); }

    void AddAllDays() noexcept { m_days |= kAll; }
    void RemoveAllDays() noexcept { m_days &= ~kAll; }
    void SetAllDays(bool on) noexcept { on ? AddAllDays() : RemoveAllDays(); }
    bool HasAllDays() const noexcept { return (m_days & kAll) == kAll; }
    /// The whole word is just the seven days.
    bool IsAllDays() const noexcept { return m_days == kAll; }

    /// The bit of a day, Monday 0x01 to Sunday 0x40; 0 for anything else.
    static constexpr unsigned long DayToBit(EDayOfWeek day) noexcept { return Bit(day); }
    /// The day of a single bit; InvalidDay for anything else.
    QVLIB_API static EDayOfWeek BitToDay(int bit) noexcept;

    /// Each day turns into the day before, Monday into Sunday. A full set stays as it is.
    QVLIB_API void MoveEarlierOneDay() noexcept;
    /// Each day turns into the day after, Sunday into Monday. A full set stays as it is. The bit of Sunday also stays
    /// above the seven bits: Sunday alone becomes 0x81, for which HasMonday is true and IsMonday false.
    QVLIB_API void MoveLaterOneDay() noexcept;

    /// "(Monday,Sunday)": the long names from Monday to Sunday; empty text for an empty set.
    QVLIB_API CQVString ToString() const;
    /// Reads "(Monday,Tuesday)", "Mon, Tue" or "M T" in place of what was held. Unknown words are passed over; a
    /// character that is neither a letter nor white space at the start of a word ends the reading. Null is empty text.
    QVLIB_API void FromString(wchar_t const * text);

private:
    static constexpr std::uint32_t kAll = 0x7F;

    static constexpr std::uint32_t Bit(EDayOfWeek day) noexcept
    {
        return day == Sunday ? 0x40U : day >= Monday && day <= Saturday ? 1U << (day - 1) : 0U;
    }

    std::uint32_t m_days = 0;
};

} // namespace qvlib

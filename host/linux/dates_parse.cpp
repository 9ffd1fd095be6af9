// Text as dates: the reading half of the platform's automation dates.
//
// A text is a row of values (numbers and month names) with single separators between them. A value that a colon (or a
// dot, where dates are not written with dots) or a mark of the half of the day belongs to is of the time, and the time
// stands together; the other values are two or three, and make the date: in the locale's order of fields if that gives
// a valid day, else in one of the other usual orders.
#include "qvlib/host/dates.h"

#include "host/linux/internal/calendar.h"
#include "host/linux/internal/date_forms.h"
#include "qvlib/host/crt.h"
#include "qvlib/host/crt_time.h"

#include <string_view>
#include <unicode/uchar.h>

using namespace qvlib::host::internal;

namespace
{

constexpr std::uint32_t kLargest = 1000000; // numbers above it are all alike: too large

struct Value
{
    std::uint32_t number = 0;
    bool isMonthName = false;
};

enum class Separator
{
    None, ///< the end of the text
    Blank,
    Comma,
    Date,
    Time
};

struct Parts
{
    Value date[3];
    unsigned dateCount = 0;
    std::uint32_t time[3] = {};
    unsigned timeCount = 0;
    bool halfDay = false;
    bool afternoon = false;
};

bool IsDigit(wchar_t character) { return character >= L'0' && character <= L'9'; }

bool IsBlank(wchar_t character)
{
    // Most of what is asked about is none, and told so without the table.
    return character == L' ' ||
           ((character < L' ' || character > 0x7E) && qvlib::host::iswspace(static_cast<int>(character)));
}

class Reader
{
public:
    /// `dotIsTime`: a dot belongs to the time, though the locale's dates have dots too.
    Reader(wchar_t const * text, DateForms const & forms, bool dotIsTime)
        : m_next(text), m_forms(forms), m_dotIsTime(dotIsTime || !forms.dotInDates)
    {
    }

    bool Read(Parts & parts)
    {
        SkipBlanks();
        while (*m_next == L',')
        {
            ++m_next;
            SkipBlanks();
        }
        while (*m_next != 0)
        {
            if (!ReadItem(parts))
            {
                return false;
            }
        }
        // A separator is between things, but for one that the locale's own dates end with.
        bool const complete = m_last == Separator::None || m_last == Separator::Blank ||
                              (m_last == Separator::Date && m_separator == EndOfPattern());
        return complete && !m_inTime && !MarkWaits(parts) && (parts.dateCount != 1) &&
               (parts.dateCount != 0 || parts.timeCount != 0);
    }

private:
    void SkipBlanks()
    {
        while (IsBlank(*m_next))
        {
            ++m_next;
        }
    }

    wchar_t EndOfPattern() const { return m_forms.date.back(); }

    /// The longest name at this place; null when there is none that ends where a word ends.
    DateName const * ReadName()
    {
        if (IsDigit(*m_next) && !m_forms.digitNames)
        {
            return nullptr;
        }
        wchar_t const first = FoldNameCharacter(*m_next);
        for (DateName const & name : m_forms.names)
        {
            if (name.text[0] != first)
            {
                continue;
            }
            wchar_t const * text = m_next + 1;
            std::size_t i = 1;
            while (i < name.text.size() && *text != 0 && FoldNameCharacter(*text) == name.text[i])
            {
                ++text;
                ++i;
            }
            if (i == name.text.size() && !u_isalpha(static_cast<UChar32>(*text)))
            {
                m_next = text;
                return &name;
            }
        }
        return nullptr;
    }

    /// A mark of the half of the day was read, and its time is still to come.
    static bool MarkWaits(Parts const & parts) { return parts.halfDay && parts.timeCount == 0; }

    /// The quoted texts of the locale's patterns say nothing.
    bool SkipPatternText() { return SkipQuoted(m_forms.date) || SkipQuoted(m_forms.time); }

    bool SkipQuoted(std::wstring_view pattern)
    {
        for (std::size_t open = pattern.find(L'\''); open != pattern.npos;)
        {
            std::size_t const close = pattern.find(L'\'', open + 1);
            if (close == pattern.npos)
            {
                break;
            }
            std::wstring_view quoted = pattern.substr(open + 1, close - open - 1);
            while (!quoted.empty() && IsBlank(quoted.front()))
            {
                quoted.remove_prefix(1);
            }
            while (!quoted.empty() && IsBlank(quoted.back()))
            {
                quoted.remove_suffix(1);
            }
            if (!quoted.empty() && std::wstring_view(m_next).substr(0, quoted.size()) == quoted)
            {
                m_next += quoted.size();
                return true;
            }
            open = pattern.find(L'\'', close + 1);
        }
        return false;
    }

    Separator ReadSeparator(Parts const & parts)
    {
        bool const blank = IsBlank(*m_next);
        SkipBlanks();
        m_separator = *m_next;
        switch (m_separator)
        {
        case 0:
            return Separator::None;
        case L',':
            ++m_next;
            SkipBlanks();
            return Separator::Comma;
        case L':':
            ++m_next;
            SkipBlanks();
            return Separator::Time;
        case L'.':
        {
            ++m_next;
            SkipBlanks();
            // With all three fields read, a dot stands in the time where both dates and times have dots.
            bool const afterDate = m_forms.dotInTimes && parts.dateCount == 3;
            return m_dotIsTime || afterDate ? Separator::Time : Separator::Date;
        }
        case L'/':
        case L'-':
            ++m_next;
            SkipBlanks();
            return Separator::Date;
        default:
            // Numbers and names may stand side by side: "5jan", "3pm".
            return blank ? Separator::Blank : Separator::None;
        }
    }

    bool ReadItem(Parts & parts)
    {
        Value value;
        if (DateName const * const name = ReadName())
        {
            if (name->kind == DateName::Weekday)
            {
                return !m_inTime && EndWord(parts);
            }
            if (name->kind == DateName::HalfDay)
            {
                return ReadHalfDay(parts, *name);
            }
            value = {name->value, true};
        }
        else if (IsDigit(*m_next))
        {
            for (; IsDigit(*m_next); ++m_next)
            {
                value.number = value.number * 10 + static_cast<std::uint32_t>(*m_next - L'0');
                value.number = value.number < kLargest ? value.number : kLargest;
            }
        }
        else if (!m_inTime && SkipPatternText())
        {
            return EndWord(parts);
        }
        else
        {
            return false;
        }
        return Place(parts, value);
    }

    bool EndWord(Parts const & parts)
    {
        m_afterTime = false;
        m_last = ReadSeparator(parts);
        return m_last != Separator::Time;
    }

    /// Puts a value to the time or to the date, by what stands behind it.
    bool Place(Parts & parts, Value value)
    {
        Separator const behind = ReadSeparator(parts);
        bool const inTime = m_inTime || behind == Separator::Time || MarkWaits(parts);
        m_afterTime = inTime;
        if (inTime)
        {
            if ((!m_inTime && parts.timeCount != 0) || parts.timeCount == 3 || behind == Separator::Date)
            {
                return false;
            }
            parts.time[parts.timeCount++] = value.number;
            m_inTime = behind == Separator::Time;
            m_last = behind;
            return true;
        }
        if (behind != Separator::Comma && IsHalfDayNext())
        {
            if (parts.timeCount != 0 || behind == Separator::Date)
            {
                return false;
            }
            parts.time[parts.timeCount++] = value.number;
            m_afterTime = true;
            m_last = behind;
            return true;
        }
        if (parts.dateCount == 3 ||
            (parts.dateCount == 2 && behind == Separator::Date && *m_next != 0 && m_separator != EndOfPattern()))
        {
            // A fourth value, or the date goes on behind its third.
            return false;
        }
        parts.date[parts.dateCount++] = value;
        m_last = behind;
        return true;
    }

    /// Whether a mark of the half of the day comes next, and belongs to the value before it.
    bool IsHalfDayNext()
    {
        wchar_t const * const here = m_next;
        DateName const * const name = ReadName();
        SkipBlanks();
        bool const digit = IsDigit(*m_next);
        m_next = here;
        bool const ownMark = name != nullptr && m_forms.halfDayFirst && name->text[0] > 0x7F;
        return name != nullptr && name->kind == DateName::HalfDay && !(ownMark && digit);
    }

    bool ReadHalfDay(Parts & parts, DateName const & name)
    {
        // "a" and "p" are taken behind a bare time only.
        bool const afterTime = m_afterTime && m_last != Separator::Comma &&
                               ((name.text != L"a" && name.text != L"p") || parts.dateCount == 0);
        bool const beforeTime = m_forms.halfDayFirst && parts.timeCount == 0;
        bool const accepted = !m_inTime && !parts.halfDay && (afterTime || beforeTime);
        if (!accepted)
        {
            return false;
        }
        parts.halfDay = true;
        parts.afternoon = name.value != 0;
        return EndWord(parts) && m_last != Separator::Date;
    }

    wchar_t const * m_next;
    DateForms const & m_forms;
    bool m_dotIsTime;
    bool m_inTime = false;    ///< a time separator was read: the next value is of the time
    bool m_afterTime = false; ///< the last value was of the time
    Separator m_last = Separator::None;
    wchar_t m_separator = 0;
};

struct Day
{
    std::uint32_t year;
    std::uint32_t month;
    std::uint32_t day;
};

bool IsDay(Day const & day)
{
    return day.month >= 1 && day.month <= 12 && day.day >= 1 && day.day <= GregorianDaysInMonth(day.year, day.month);
}

std::uint32_t YearOf(Value value)
{
    // Two digits count from 1950 to 2049.
    return value.number >= 100 ? value.number : value.number + (value.number < 50 ? 2000 : 1900);
}

std::uint32_t RunningYear()
{
    __time64_t const now = _time64(nullptr);
    std::tm fields;
    return _localtime64_s(&fields, &now) == 0 ? static_cast<std::uint32_t>(fields.tm_year + 1900) : 1970;
}

/// The positions of year, month and day.
struct Order
{
    unsigned year;
    unsigned month;
    unsigned day;
};

constexpr Order kMonthDayYear = {2, 0, 1};
constexpr Order kDayMonthYear = {2, 1, 0};
constexpr Order kYearMonthDay = {0, 1, 2};
constexpr Order kYearDayMonth = {0, 2, 1};

bool TryOrders(Value const (&values)[3], std::initializer_list<Order> orders, Day & day)
{
    for (Order const & order : orders)
    {
        day = {YearOf(values[order.year]), values[order.month].number, values[order.day].number};
        if (IsDay(day))
        {
            return true;
        }
    }
    return false;
}

bool ThreeValues(Value const (&values)[3], FieldOrder order, Day & day)
{
    // A month's name settles where the month stands; of two, the first.
    if (values[0].isMonthName)
    {
        return TryOrders(values, {kMonthDayYear}, day);
    }
    if (values[1].isMonthName)
    {
        return order == FieldOrder::YearMonthDay ? TryOrders(values, {kYearMonthDay, kDayMonthYear}, day)
                                                 : TryOrders(values, {kDayMonthYear, kYearMonthDay}, day);
    }
    if (values[2].isMonthName)
    {
        return TryOrders(values, {kYearDayMonth}, day);
    }
    switch (order)
    {
    case FieldOrder::MonthDayYear:
        return TryOrders(values, {kMonthDayYear, kYearMonthDay, kDayMonthYear, kYearDayMonth}, day);
    case FieldOrder::DayMonthYear:
        return TryOrders(values, {kDayMonthYear, kYearMonthDay, kMonthDayYear, kYearDayMonth}, day);
    case FieldOrder::YearMonthDay:
        break;
    }
    return TryOrders(values, {kYearMonthDay, kMonthDayYear, kDayMonthYear, kYearDayMonth}, day);
}

bool TwoValues(Value const & first, Value const & second, FieldOrder order, Day & day)
{
    std::uint32_t const year = RunningYear();
    Day const monthDay = {year, first.number, second.number};
    Day const dayMonth = {year, second.number, first.number};
    // Without a day of the running year it is a month and its year.
    Day const monthYear = {YearOf(second), first.number, 1};
    Day const yearMonth = {YearOf(first), second.number, 1};
    bool const dayFirst = second.isMonthName || (!first.isMonthName && order == FieldOrder::DayMonthYear);
    Day const candidates[] = {dayFirst ? dayMonth : monthDay, dayFirst ? monthDay : dayMonth,
                              dayFirst ? yearMonth : monthYear, dayFirst ? monthYear : yearMonth};
    bool const named = first.isMonthName || second.isMonthName;
    for (unsigned i = 0; i < 4; ++i)
    {
        // A name stays the month.
        if (!(named && i % 2 == 1) && IsDay(candidates[i]))
        {
            day = candidates[i];
            return true;
        }
    }
    return false;
}

bool TimeOf(Parts const & parts, std::uint32_t (&time)[3])
{
    for (unsigned i = 0; i < 3; ++i)
    {
        time[i] = parts.time[i];
    }
    if (parts.halfDay)
    {
        // Hours above 12 pass with either mark.
        if (parts.afternoon && time[0] < 12)
        {
            time[0] += 12;
        }
        else if (!parts.afternoon && time[0] == 12)
        {
            time[0] = 0;
        }
    }
    return time[0] < 24 && time[1] < 60 && time[2] < 60;
}

bool ToDate(Parts const & parts, FieldOrder order, ULONG flags, DATE & date)
{
    std::uint32_t time[3];
    if (!TimeOf(parts, time))
    {
        return false;
    }
    std::int32_t serial = 0;
    if (parts.dateCount != 0)
    {
        Day day;
        if (!(parts.dateCount == 3 ? ThreeValues(parts.date, order, day)
                                   : TwoValues(parts.date[0], parts.date[1], order, day)))
        {
            return false;
        }
        if ((flags & VAR_TIMEVALUEONLY) == 0)
        {
            if (day.year > 9999)
            {
                return false;
            }
            serial = SerialFromCivil(day.year, day.month, day.day);
        }
    }
    date = (flags & VAR_TIMEVALUEONLY) == 0 && (flags & VAR_DATEVALUEONLY) != 0
               ? serial
               : JoinDate(serial, time[0], time[1], time[2]);
    return true;
}

} // namespace

HRESULT VarDateFromStr(OLECHAR const * text, LCID locale, ULONG flags, DATE * date)
{
    if (text == nullptr || date == nullptr)
    {
        return E_INVALIDARG;
    }
    DateForms const * const forms = DateFormsOf(locale);
    if (forms == nullptr)
    {
        return E_INVALIDARG;
    }
    // Where both have dots, dots are the date's; but a text of a time alone has them too.
    bool const ambiguous = forms->dotInDates && forms->dotInTimes;
    for (int attempt = 0; attempt < (ambiguous ? 2 : 1); ++attempt)
    {
        Parts parts;
        if (Reader(text, *forms, attempt == 1).Read(parts) && ToDate(parts, forms->order, flags, *date))
        {
            return S_OK;
        }
    }
    return DISP_E_TYPEMISMATCH;
}

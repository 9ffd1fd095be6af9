// Dates as text: the writing half of the platform's automation dates.
#include "qvlib/host/dates.h"

#include "host/linux/internal/calendar.h"
#include "host/linux/internal/date_forms.h"

#include <cmath>
#include <cwchar>
#include <string_view>

using namespace qvlib::host::internal;

namespace
{

struct Moment
{
    CivilDay day;
    std::uint32_t hour;
    std::uint32_t minute;
    std::uint32_t second;
};

/// A text of bounded length; what does not fit is left out.
class Text
{
public:
    void Put(wchar_t character)
    {
        if (m_length < kCapacity)
        {
            m_text[m_length++] = character;
        }
    }
    void Put(std::wstring_view text)
    {
        for (wchar_t const character : text)
        {
            Put(character);
        }
    }
    void PutNumber(std::uint32_t value, std::size_t width)
    {
        wchar_t digits[10];
        std::size_t count = 0;
        do
        {
            digits[count++] = static_cast<wchar_t>(L'0' + value % 10);
            value /= 10;
        } while (value != 0 || count < width);
        while (count > 0)
        {
            Put(digits[--count]);
        }
    }
    bool IsEmpty() const { return m_length == 0; }
    BSTR Allocate() const { return SysAllocStringLen(m_text, static_cast<UINT>(m_length)); }

private:
    static constexpr std::size_t kCapacity = 256;

    wchar_t m_text[kCapacity];
    std::size_t m_length = 0;
};

void PutField(Text & text, wchar_t letter, std::size_t width, DateForms const & forms, Moment const & moment)
{
    switch (letter)
    {
    case L'd':
        text.PutNumber(moment.day.day, width);
        break;
    case L'M':
        if (width > 2)
        {
            text.Put(forms.shortMonths[moment.day.month - 1]);
        }
        else
        {
            text.PutNumber(moment.day.month, width);
        }
        break;
    case L'y':
        // Years before 1000 are not filled up with zeros.
        text.PutNumber(moment.day.year, 1);
        break;
    case L'H':
        text.PutNumber(moment.hour, width);
        break;
    case L'h':
        text.PutNumber((moment.hour + 11) % 12 + 1, width);
        break;
    case L'm':
        text.PutNumber(moment.minute, width);
        break;
    case L's':
        text.PutNumber(moment.second, width);
        break;
    case L't':
        text.Put(moment.hour < 12 ? forms.am : forms.pm);
        break;
    default:
        for (; width > 0; --width)
        {
            text.Put(letter);
        }
        break;
    }
}

void PutPattern(Text & text, std::wstring_view pattern, DateForms const & forms, Moment const & moment)
{
    for (std::size_t i = 0; i < pattern.size();)
    {
        if (pattern[i] == L'\'')
        {
            for (++i; i < pattern.size() && pattern[i] != L'\''; ++i)
            {
                text.Put(pattern[i]);
            }
            ++i;
            continue;
        }
        std::size_t run = 1;
        while (i + run < pattern.size() && pattern[i + run] == pattern[i])
        {
            ++run;
        }
        PutField(text, pattern[i], run, forms, moment);
        i += run;
    }
}

} // namespace

HRESULT VarBstrFromDate(DATE date, LCID locale, ULONG flags, BSTR * text)
{
    if (text == nullptr)
    {
        return E_INVALIDARG;
    }
    *text = nullptr;
    std::int32_t serial = 0;
    std::uint32_t second = 0;
    if (!SplitDate(date, serial, second) && !(serial == kMaxSerial + 1 && (flags & VAR_TIMEVALUEONLY) != 0))
    {
        return E_INVALIDARG;
    }
    DateForms const * const forms = DateFormsOf(locale);
    if (forms == nullptr)
    {
        return E_INVALIDARG;
    }
    Moment const moment = {CivilFromSerial(serial), second / 3600, second / 60 % 60, second % 60};
    // Which parts are there is seen before the rounding: a second before midnight stays a time.
    bool const hasDate = std::trunc(date) != 0.0;
    bool const hasTime = !hasDate || std::trunc(date) != date;
    Text written;
    if (hasDate && (flags & VAR_TIMEVALUEONLY) == 0)
    {
        PutPattern(written, forms->date, *forms, moment);
    }
    if (hasTime && (flags & VAR_DATEVALUEONLY) == 0)
    {
        if (!written.IsEmpty())
        {
            written.Put(L' ');
        }
        PutPattern(written, forms->time, *forms, moment);
    }
    *text = written.Allocate();
    return *text != nullptr ? S_OK : E_OUTOFMEMORY;
}

#include "qvlib/DateTime.h"

#include "qvlib/Exceptions.h"
#include "qvlib/framework/exceptions.h"
#include "qvlib/host/crt_time.h"
#include "qvlib/host/dates.h"

#include <cstring>
#include <cwchar>

namespace qvlib
{

namespace
{

constexpr unsigned int kInvalidText = 0xD800; // the text resource for a date that cannot be written
constexpr std::size_t kFormatted = 256;

CQVString InvalidText()
{
    CQVString text;
    if (!text.LoadString(kInvalidText))
    {
        text = L"Invalid DateTime";
    }
    return text;
}

} // namespace

CQVString CDateTime::Format(unsigned long flags, unsigned long locale) const
{
    BSTR written = nullptr;
    if (VarBstrFromDate(m_value, static_cast<LCID>(locale), static_cast<ULONG>(flags), &written) < 0)
    {
        return InvalidText();
    }
    struct Owner
    {
        BSTR text;
        ~Owner() { SysFreeString(text); }
    } const owner{written};
    return CQVString(written, static_cast<int>(SysStringLen(written)));
}

CQVString CDateTime::Format(wchar_t const * format) const
{
    if (format == nullptr)
    {
        AfxThrowOleException(E_INVALIDARG);
    }
    UDATE fields;
    if (VarUdateFromDate(m_value, 0, &fields) < 0)
    {
        return InvalidText();
    }
    std::tm time{};
    time.tm_sec = fields.st.wSecond;
    time.tm_min = fields.st.wMinute;
    time.tm_hour = fields.st.wHour;
    time.tm_mday = fields.st.wDay;
    time.tm_mon = fields.st.wMonth - 1;
    time.tm_year = fields.st.wYear - 1900;
    time.tm_wday = fields.st.wDayOfWeek;
    time.tm_yday = fields.wDayOfYear - 1;
    wchar_t buffer[kFormatted];
    std::size_t const length = host::wcsftime(buffer, kFormatted, format, &time);
    return CQVString(buffer, static_cast<int>(length));
}

CQVString CDateTime::Format(unsigned int resourceId) const
{
    CQVString format;
    if (!format.LoadString(resourceId))
    {
        AfxThrowOleException(E_FAIL);
    }
    return Format(format.GetString());
}

CQVString CDateTime::TryFormat(wchar_t const * format) const
{
    if (!ValidFormatString(format))
    {
        return {};
    }
    if (std::wcsstr(format, L"%y") != nullptr)
    {
        SYSTEMTIME time;
        if (ToSystemTime(time) && time.wYear < 1900)
        {
            return {};
        }
    }
    return Format(format);
}

CQVString CDateTime::ToString() const { return Format(0UL, LOCALE_USER_DEFAULT); }

bool CDateTime::ValidFormatString(wchar_t const * format) noexcept
{
    if (format == nullptr || *format == 0)
    {
        return false;
    }
    while ((format = std::wcschr(format, L'%')) != nullptr)
    {
        ++format;
        if (*format == L'#')
        {
            ++format;
        }
        if (*format == 0 || std::wcschr(L"aAbBcdHIjmMpSUwWxXyYzZ%", *format) == nullptr)
        {
            return false;
        }
        // The search goes on from the letter itself, on purpose: so "%%" at the end is no valid text and "%%d" is one.
    }
    return true;
}

bool CDateTime::FromString(wchar_t const * text) { return ParseDateTime(text, 0, LOCALE_USER_DEFAULT); }

bool CDateTime::ParseDateTime(wchar_t const * text, unsigned long flags, unsigned long locale)
{
    return VarDateFromStr(text == nullptr ? L"" : text, static_cast<LCID>(locale), static_cast<ULONG>(flags),
                          &m_value) >= 0;
}

CDateTime CDateTime::Parse(wchar_t const * text, unsigned long flags, unsigned long locale)
{
    CDateTime date;
    if (!date.ParseDateTime(text, flags, locale))
    {
        throw unexpected_error();
    }
    return date;
}

} // namespace qvlib

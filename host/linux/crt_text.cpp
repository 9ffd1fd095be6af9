#include "qvlib/host/crt.h"

#include <cfenv>

#include <unicode/uchar.h>

namespace
{

/// The first digit of every run of ten decimal digits in the basic plane that the library of the interface's time knew.
constexpr unsigned kZeros[] = {0x0030, 0x0660, 0x06F0, 0x0966, 0x09E6, 0x0A66, 0x0AE6, 0x0B66, 0x0BE6, 0x0C66,
                               0x0CE6, 0x0D66, 0x0E50, 0x0ED0, 0x0F20, 0x1040, 0x17E0, 0x1810, 0xFF10};

int Difference(wchar_t a, wchar_t b) noexcept { return a < b ? -1 : 1; }

} // namespace

int _wcsicmp(wchar_t const * a, wchar_t const * b) noexcept
{
    for (;; ++a, ++b)
    {
        wchar_t const x = qvlib::host::towlower(*a);
        wchar_t const y = qvlib::host::towlower(*b);
        if (x != y)
            return Difference(x, y);
        if (x == L'\0')
            return 0;
    }
}

int _wcsnicmp(wchar_t const * a, wchar_t const * b, std::size_t count) noexcept
{
    for (; count != 0; --count, ++a, ++b)
    {
        wchar_t const x = qvlib::host::towlower(*a);
        wchar_t const y = qvlib::host::towlower(*b);
        if (x != y)
            return Difference(x, y);
        if (x == L'\0')
            break;
    }
    return 0;
}

unsigned int _statusfp() noexcept
{
    int const raised = std::fetestexcept(FE_ALL_EXCEPT);
    unsigned int status = 0;
    if (raised & FE_INEXACT)
        status |= 0x01;
    if (raised & FE_UNDERFLOW)
        status |= 0x02;
    if (raised & FE_OVERFLOW)
        status |= 0x04;
    if (raised & FE_DIVBYZERO)
        status |= 0x08;
    if (raised & FE_INVALID)
        status |= 0x10;
    return status;
}

namespace qvlib::host
{

bool isspace(int character) noexcept { return character == ' ' || (character >= '\t' && character <= '\r'); }

bool isalpha(int character) noexcept
{
    return (character >= 'A' && character <= 'Z') || (character >= 'a' && character <= 'z');
}

bool iswspace(int character) noexcept
{
    if (character < 0x80)
        return isspace(character);
    return character == 0xA0 || character == 0x1680 || (character >= 0x2000 && character <= 0x200A) ||
           character == 0x2028 || character == 0x2029 || character == 0x202F || character == 0x205F ||
           character == 0x3000;
}

int DecimalDigit(int character) noexcept
{
    unsigned const code = static_cast<unsigned>(character);
    if (code < 0x660)
        return code - '0' <= 9U ? static_cast<int>(code - '0') : -1;
    for (unsigned const zero : kZeros)
        if (code - zero <= 9U)
            return static_cast<int>(code - zero);
    return -1;
}

bool iswdigit(int character) noexcept { return DecimalDigit(character) >= 0; }

bool iswalnum(int character) noexcept
{
    if (character < 0x80)
        return isalpha(character) || static_cast<unsigned>(character - '0') <= 9U;
    if (character < 0x100) // the ordinal indicators and the micro sign are no letters here
        return character >= 0xC0 && character != 0xD7 && character != 0xF7;
    return character < 0x10000 && (u_isalpha(character) || iswdigit(character));
}

} // namespace qvlib::host

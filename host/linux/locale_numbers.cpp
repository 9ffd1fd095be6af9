// Numbers and amounts in a locale's form. No formatter is made: the digits are grouped and rounded as they stand.
#include "host/linux/internal/copy_out.h"
#include "host/linux/internal/locale_data.h"
#include "qvlib/host/nls.h"

#include <array>
#include <cstddef>
#include <string_view>

using namespace qvlib::host::internal;

namespace
{

/// The parts of a value; leading zeros are no part of it.
struct Value
{
    bool negative = false;
    wchar_t const * whole = nullptr;
    std::size_t wholeCount = 0;
    wchar_t const * decimals = nullptr;
    std::size_t decimalCount = 0;
};

constexpr bool IsDigit(wchar_t character) { return character >= L'0' && character <= L'9'; }

bool ReadValue(wchar_t const * text, Value & value)
{
    value.negative = *text == L'-';
    text += value.negative ? 1 : 0;
    wchar_t const * const first = text;
    while (*text == L'0')
    {
        ++text;
    }
    value.whole = text;
    while (IsDigit(*text))
    {
        ++text;
    }
    value.wholeCount = static_cast<std::size_t>(text - value.whole);
    bool any = text != first;
    if (*text == L'.')
    {
        value.decimals = ++text;
        while (IsDigit(*text))
        {
            ++text;
        }
        value.decimalCount = static_cast<std::size_t>(text - value.decimals);
        any = any || value.decimalCount != 0;
    }
    return any && *text == 0;
}

/// The sizes of groups of digits, the first at the separator; a last size of 0 ends the groups, any other repeats.
struct Groups
{
    unsigned sizes[3] = {0, 0, 0};
    unsigned count = 0;

    explicit Groups(unsigned code)
    {
        unsigned digits[3];
        do
        {
            digits[count++] = code % 10;
            code /= 10;
        } while (code != 0 && count < 3);
        for (unsigned i = 0; i < count; ++i)
        {
            sizes[i] = digits[count - 1 - i];
        }
    }
    unsigned Size(unsigned index) const { return sizes[index < count ? index : count - 1]; }

    /// How many separators stand among so many digits.
    std::size_t Separators(std::size_t digits) const
    {
        std::size_t separators = 0;
        for (unsigned i = 0;; ++i)
        {
            std::size_t const size = Size(i);
            if (size == 0 || digits <= size)
            {
                return separators;
            }
            if (i + 1 >= count)
            {
                return separators + (digits - 1) / size;
            }
            digits -= size;
            ++separators;
        }
    }
};

/// How a number is written, of a record or of a locale.
struct Form
{
    unsigned digits;
    bool leadingZero;
    unsigned grouping;
    std::wstring_view decimal;
    std::wstring_view thousands;
    std::wstring_view sign;
    std::wstring_view currency;
    /// The whole text: 1 the number, - the sign, $ the currency, the rest as it is.
    std::wstring_view pattern;
};

constexpr std::array<std::wstring_view, 5> kNegativeNumbers = {L"(1)", L"-1", L"- 1", L"1-", L"1 -"};
constexpr std::array<std::wstring_view, 4> kPositiveAmounts = {L"$1", L"1$", L"$ 1", L"1 $"};
constexpr std::array<std::wstring_view, 16> kNegativeAmounts = {L"($1)", L"-$1",  L"$-1",   L"$1-",  L"(1$)", L"-1$",
                                                                L"1-$",  L"1$-",  L"-1 $",  L"-$ 1", L"1 $-", L"$ 1-",
                                                                L"$ -1", L"1- $", L"($ 1)", L"(1 $)"};

/// Writes backwards, so that a carry of the rounding runs the way of the pen.
class Pen
{
public:
    explicit Pen(wchar_t * end) : m_at(end) {}
    void Put(wchar_t character) { *--m_at = character; }
    void Put(std::wstring_view text)
    {
        for (std::size_t i = text.size(); i > 0; --i)
        {
            *--m_at = text[i - 1];
        }
    }
    void PutDigit(wchar_t digit, bool & carry)
    {
        bool const over = carry && digit == L'9';
        Put(over ? L'0' : static_cast<wchar_t>(digit + (carry ? 1 : 0)));
        carry = over;
    }

private:
    wchar_t * m_at;
};

/// Whether rounding up the kept digits makes one more digit before the separator: all of them are nines.
bool IsAllNines(Value const & value, std::size_t decimals)
{
    if (decimals > value.decimalCount)
    {
        return false;
    }
    for (std::size_t i = decimals; i > 0; --i)
    {
        if (value.decimals[i - 1] != L'9')
        {
            return false;
        }
    }
    for (std::size_t i = value.wholeCount; i > 0; --i)
    {
        if (value.whole[i - 1] != L'9')
        {
            return false;
        }
    }
    return true;
}

void PutNumber(Pen & pen, Value const & value, Form const & form, Groups const & groups, std::size_t wholeDigits,
               bool roundUp)
{
    bool carry = roundUp;
    for (std::size_t i = form.digits; i > 0; --i)
    {
        pen.PutDigit(i <= value.decimalCount ? value.decimals[i - 1] : L'0', carry);
    }
    if (form.digits != 0)
    {
        pen.Put(form.decimal);
    }
    unsigned group = 0;
    std::size_t left = groups.Size(0);
    for (std::size_t i = 0; i < wholeDigits; ++i)
    {
        if (i != 0 && groups.Size(group) != 0 && left == 0)
        {
            pen.Put(form.thousands);
            left = groups.Size(++group);
        }
        --left; // of no group it only counts down past zero
        pen.PutDigit(i < value.wholeCount ? value.whole[value.wholeCount - 1 - i] : L'0', carry);
    }
}

int Write(Value const & value, Form const & form, wchar_t * buffer, int size)
{
    bool const roundUp = value.decimalCount > form.digits && value.decimals[form.digits] >= L'5';
    std::size_t wholeDigits = value.wholeCount;
    if (roundUp && IsAllNines(value, form.digits))
    {
        ++wholeDigits;
    }
    else if (wholeDigits == 0 && (form.leadingZero || form.digits == 0))
    {
        wholeDigits = 1;
    }
    Groups const groups(form.grouping);
    std::size_t length = 0;
    for (wchar_t const part : form.pattern)
    {
        length += part == L'1' ? wholeDigits + groups.Separators(wholeDigits) * form.thousands.size() +
                                     (form.digits != 0 ? form.decimal.size() + form.digits : 0)
                  : part == L'$' ? form.currency.size()
                  : part == L'-' ? form.sign.size()
                                 : 1;
    }
    if (length >= 0x7FFFFFFF)
    {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    int const needed = static_cast<int>(length) + 1;
    if (size == 0)
    {
        return needed;
    }
    if (size < needed)
    {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return 0;
    }
    Pen pen(buffer + needed);
    pen.Put(L'\0');
    for (std::size_t i = form.pattern.size(); i > 0; --i)
    {
        switch (wchar_t const part = form.pattern[i - 1])
        {
        case L'1':
            PutNumber(pen, value, form, groups, wholeDigits, roundUp);
            break;
        case L'$':
            pen.Put(form.currency);
            break;
        case L'-':
            pen.Put(form.sign);
            break;
        default:
            pen.Put(part);
            break;
        }
    }
    return needed;
}

/// The groupings of the locales, and those of records: single sizes, and what a last group that does not repeat makes
/// of the locales' own.
constexpr bool IsGrouping(unsigned grouping)
{
    return grouping <= 9 || grouping == 32 || grouping == 30 || grouping == 320;
}

constexpr std::size_t kLongestSeparator = 3;

template <class Record>
bool AreCommonFields(Record const & record)
{
    return record.NumDigits <= 9 && record.LeadingZero <= 1 && IsGrouping(record.Grouping) &&
           record.lpDecimalSep != nullptr && record.lpThousandSep != nullptr &&
           std::wstring_view(record.lpDecimalSep).size() <= kLongestSeparator &&
           std::wstring_view(record.lpThousandSep).size() <= kLongestSeparator;
}

bool IsRecord(NUMBERFMTW const & record)
{
    return AreCommonFields(record) && record.NegativeOrder < kNegativeNumbers.size();
}

bool IsRecord(CURRENCYFMTW const & record)
{
    return AreCommonFields(record) && record.lpCurrencySymbol != nullptr &&
           record.NegativeOrder < kNegativeAmounts.size() && record.PositiveOrder < kPositiveAmounts.size();
}

template <class Record>
Form FormOf(Record const & record, LocaleData const & data)
{
    return {record.NumDigits,
            record.LeadingZero != 0,
            record.Grouping,
            record.lpDecimalSep,
            record.lpThousandSep,
            data.negativeSign,
            {},
            {}};
}

int Refuse(LSTATUS reason)
{
    SetLastError(static_cast<DWORD>(reason));
    return 0;
}

/// Reads the number; gives why the arguments are refused, or success.
template <class Record>
LSTATUS ReadArguments(LocaleData const * data, DWORD flags, LPCWSTR value, Record const * format, LPCWSTR buffer,
                      int size, Value & number)
{
    if (!IsBuffer(buffer, size) || data == nullptr || value == nullptr)
    {
        return ERROR_INVALID_PARAMETER;
    }
    if (format != nullptr && (flags & LOCALE_NOUSEROVERRIDE) != 0) // other flags mean nothing
    {
        return ERROR_INVALID_FLAGS;
    }
    bool const good = ReadValue(value, number) && (format == nullptr || IsRecord(*format));
    return good ? ERROR_SUCCESS : ERROR_INVALID_PARAMETER;
}

} // namespace

int GetNumberFormatW(LCID locale, DWORD flags, LPCWSTR value, NUMBERFMTW const * format, LPWSTR buffer, int size)
{
    LocaleData const * const data = LocaleDataOf(locale);
    Value number;
    if (LSTATUS const reason = ReadArguments(data, flags, value, format, buffer, size, number))
    {
        return Refuse(reason);
    }
    NumberSigns const & signs = data->number;
    Form form =
        format != nullptr
            ? FormOf(*format, *data)
            : Form{data->digits, true, signs.groupingCode, signs.decimal, signs.thousands, data->negativeSign, {}, {}};
    unsigned const order = format != nullptr ? format->NegativeOrder : data->negativeNumber;
    form.pattern = number.negative ? kNegativeNumbers[order] : L"1";
    return Write(number, form, buffer, size);
}

int GetCurrencyFormatW(LCID locale, DWORD flags, LPCWSTR value, CURRENCYFMTW const * format, LPWSTR buffer, int size)
{
    LocaleData const * const data = LocaleDataOf(locale);
    Value number;
    if (LSTATUS const reason = ReadArguments(data, flags, value, format, buffer, size, number))
    {
        return Refuse(reason);
    }
    NumberSigns const & signs = data->money;
    Form form = format != nullptr ? FormOf(*format, *data) : Form{data->currencyDigits,
                                                                  true,
                                                                  signs.groupingCode,
                                                                  signs.decimal,
                                                                  signs.thousands,
                                                                  data->negativeSign,
                                                                  {},
                                                                  {}};
    form.currency = format != nullptr ? std::wstring_view(format->lpCurrencySymbol) : data->currency;
    form.pattern = number.negative
                       ? kNegativeAmounts[format != nullptr ? format->NegativeOrder : data->negativeCurrency]
                       : kPositiveAmounts[format != nullptr ? format->PositiveOrder : data->positiveCurrency];
    return Write(number, form, buffer, size);
}

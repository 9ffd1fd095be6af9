#include "framework/internal/format.h"

#include "qvlib/host/crt.h"
#include "qvlib/host/utf8.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qvlib::internal
{

void FormatBuffer::Grow(std::size_t count)
{
    std::size_t const capacity = std::max(m_capacity * 2, m_size + count);
    std::unique_ptr<wchar_t[]> fresh(new wchar_t[capacity]);
    std::memcpy(fresh.get(), m_data, m_size * sizeof(wchar_t));
    m_heap = std::move(fresh);
    m_data = m_heap.get();
    m_capacity = capacity;
}

void FormatBuffer::Append(wchar_t const * text, std::size_t length)
{
    if (length != 0)
        std::memcpy(Extend(length), text, length * sizeof(wchar_t));
}

void FormatBuffer::Append(char const * ascii, std::size_t length) { std::copy_n(ascii, length, Extend(length)); }

void FormatBuffer::Fill(wchar_t character, std::size_t count) { std::fill_n(Extend(count), count, character); }

namespace
{

enum class Size
{
    Default,
    Char,
    Short,
    Long, ///< 32 bits on the platform, whatever the machine's `long` is; "wide" for text
    LongLong,
    Pointer,
    Int32
};

/// One conversion: what stands between "%" and its letter.
struct Field
{
    bool left = false;
    bool plus = false;
    bool blank = false;
    bool zero = false;
    bool alternate = false;
    int width = 0;
    int precision = -1;
    Size size = Size::Default;
    wchar_t letter = L'\0';
};

/// A field as wide as this is a mistake of the caller; it is brought down so that no text runs out of memory by it.
constexpr int kMaxWidth = 1 << 20;

/// The arguments; a class of its own, because a va_list can be an array, which does not pass by reference.
class Arguments
{
public:
    explicit Arguments(va_list list) { va_copy(m_list, list); }
    ~Arguments() { va_end(m_list); }
    Arguments(Arguments const &) = delete;
    Arguments & operator=(Arguments const &) = delete;

    int Int() { return va_arg(m_list, int); }
    double Double() { return va_arg(m_list, double); }
    void * Pointer() { return va_arg(m_list, void *); }

    std::int64_t Signed(Size size)
    {
        switch (size)
        {
        case Size::Char:
            return static_cast<signed char>(Int());
        case Size::Short:
            return static_cast<short>(Int());
        case Size::Long:
            return static_cast<std::int32_t>(va_arg(m_list, long));
        case Size::LongLong:
            return va_arg(m_list, long long);
        case Size::Pointer:
            return va_arg(m_list, std::ptrdiff_t);
        default:
            return Int();
        }
    }
    std::uint64_t Unsigned(Size size)
    {
        std::uint64_t const value = static_cast<std::uint64_t>(Signed(size));
        switch (size)
        {
        case Size::Char:
            return value & 0xFF;
        case Size::Short:
            return value & 0xFFFF;
        case Size::LongLong:
        case Size::Pointer:
            return value;
        default:
            return value & 0xFFFFFFFF;
        }
    }

private:
    va_list m_list;
};

int ReadCount(wchar_t const *& at) noexcept
{
    int count = 0;
    for (; *at >= L'0' && *at <= L'9'; ++at)
        count = std::min(count * 10 + (*at - L'0'), kMaxWidth);
    return count;
}

void ReadFlags(wchar_t const *& at, Field & field) noexcept
{
    for (;; ++at)
        switch (*at)
        {
        case L'-':
            field.left = true;
            break;
        case L'+':
            field.plus = true;
            break;
        case L' ':
            field.blank = true;
            break;
        case L'0':
            field.zero = true;
            break;
        case L'#':
            field.alternate = true;
            break;
        default:
            return;
        }
}

void ReadSize(wchar_t const *& at, Field & field) noexcept
{
    for (;; ++at)
        switch (*at)
        {
        case L'h':
            field.size = field.size == Size::Short ? Size::Char : Size::Short;
            break;
        case L'l':
            field.size = field.size == Size::Long ? Size::LongLong : Size::Long;
            break;
        case L'w':
            field.size = Size::Long;
            break;
        case L'L':
        case L'j':
        case L'q':
            field.size = Size::LongLong;
            break;
        case L'z':
        case L't':
            field.size = Size::Pointer;
            break;
        case L'I':
            if (at[1] == L'6' && at[2] == L'4')
            {
                field.size = Size::LongLong;
                at += 2;
            }
            else if (at[1] == L'3' && at[2] == L'2')
            {
                field.size = Size::Int32;
                at += 2;
            }
            else
                field.size = Size::Pointer;
            break;
        default:
            return;
        }
}

/// Everything between "%" and the letter, star arguments included.
Field ReadField(wchar_t const *& at, Arguments & arguments)
{
    Field field;
    ReadFlags(at, field);
    if (*at == L'*')
    {
        ++at;
        int const width = arguments.Int();
        field.left |= width < 0;
        field.width = width < -kMaxWidth || width > kMaxWidth ? kMaxWidth : width < 0 ? -width : width;
    }
    else
        field.width = ReadCount(at);
    if (*at == L'.')
    {
        ++at;
        if (*at == L'*')
        {
            ++at;
            int const precision = arguments.Int();
            field.precision = precision < 0 ? -1 : std::min(precision, kMaxWidth);
        }
        else
            field.precision = ReadCount(at);
    }
    ReadSize(at, field);
    field.letter = *at;
    if (*at != L'\0')
        ++at;
    return field;
}

/// Pads a number: blanks, the sign or prefix, zeros, the body, blanks.
template <class Body>
void PutNumber(FormatBuffer & out, Field const & field, char const * prefix, std::size_t prefixLength,
               std::size_t zeros, Body const * body, std::size_t length)
{
    std::size_t const used = prefixLength + zeros + length;
    std::size_t const width = static_cast<std::size_t>(field.width);
    std::size_t const padding = width > used ? width - used : 0;
    if (!field.left && !field.zero)
        out.Fill(L' ', padding);
    out.Append(prefix, prefixLength);
    out.Fill(L'0', zeros + (!field.left && field.zero ? padding : 0));
    out.Append(body, length);
    if (field.left)
        out.Fill(L' ', padding);
}

void PutInteger(FormatBuffer & out, Field field, bool negative, std::uint64_t magnitude, unsigned base, bool upper,
                bool isSigned)
{
    char digits[24];
    char * const end = digits + sizeof digits;
    char * first = end;
    char const * const alphabet = upper ? "0123456789ABCDEF" : "0123456789abcdef";
    if (base == 10)
        for (; magnitude != 0; magnitude /= 10)
            *--first = static_cast<char>('0' + magnitude % 10);
    else
        for (; magnitude != 0; magnitude /= base)
            *--first = alphabet[magnitude % base];

    char prefix[2];
    std::size_t prefixLength = 0;
    if (isSigned && (negative || field.plus || field.blank))
        prefix[prefixLength++] = negative ? '-' : field.plus ? '+' : ' ';
    if (field.alternate && base == 16 && first != end)
    {
        prefix[prefixLength++] = '0';
        prefix[prefixLength++] = upper ? 'X' : 'x';
    }
    std::size_t const length = static_cast<std::size_t>(end - first);
    std::size_t wanted = field.precision < 0 ? 1 : static_cast<std::size_t>(field.precision);
    if (field.precision >= 0)
        field.zero = false;
    if (field.alternate && base == 8)
        wanted = std::max(wanted, length + 1);
    PutNumber(out, field, prefix, prefixLength, wanted > length ? wanted - length : 0, first, length);
}

/// The body of a floating-point number, without sign.
std::string FloatBody(double value, wchar_t letter, int precision, bool alternate)
{
    bool const upper = letter == L'E' || letter == L'G';
    bool const general = letter == L'g' || letter == L'G';
    bool exponential = letter == L'e' || letter == L'E';
    if (precision < 0)
        precision = 6;
    if (general && precision == 0)
        precision = 1;

    // 309 digits in front of the point, the precision, and a NUL.
    char local[512];
    std::vector<char> heap(precision > 160 ? static_cast<std::size_t>(precision) + 340 : 0);
    std::span<char> const digits = heap.empty() ? std::span<char>(local) : std::span<char>(heap);
    int point = 0;
    int sign = 0;
    if (general || exponential)
    {
        _ecvt_s(digits.data(), digits.size(), value, general ? precision : precision + 1, &point, &sign);
        if (value == 0)
            point = 1;
        if (general && std::isfinite(value))
            exponential = point - 1 < -4 || point - 1 >= precision;
    }
    if (!general && !exponential)
        _fcvt_s(digits.data(), digits.size(), value, precision, &point, &sign);
    bool const special = !std::isfinite(value);

    std::string body;
    std::size_t const length = std::strlen(digits.data());
    std::string_view const all(digits.data(), length);
    if (special)
    {
        body.append(all.substr(0, 1)).append(".").append(all.substr(1));
        if (general)
            body.erase(body.find_last_not_of('0') + 1);
    }
    else if (exponential || point > 0)
    {
        std::size_t const front = exponential ? 1 : std::min(static_cast<std::size_t>(point), length);
        body.append(all.substr(0, front));
        if (front < length || alternate)
            body.append(".");
        body.append(all.substr(front));
    }
    else
    {
        body.append("0");
        if (length != 0 || precision != 0 || alternate)
            body.append(".");
        body.append(static_cast<std::size_t>(-point), '0').append(all);
    }
    if (general && !alternate && !special && body.find('.') != body.npos)
    {
        body.erase(body.find_last_not_of('0') + 1);
        if (body.back() == '.')
            body.pop_back();
    }
    if (exponential)
    {
        // Three digits at least, as the platform's library of the time wrote them.
        int const power = point - 1;
        int const magnitude = power < 0 ? -power : power;
        char const text[] = {upper ? 'E' : 'e', power < 0 ? '-' : '+', static_cast<char>('0' + magnitude / 100),
                             static_cast<char>('0' + magnitude / 10 % 10), static_cast<char>('0' + magnitude % 10)};
        body.append(text, sizeof text);
    }
    return body;
}

void PutFloat(FormatBuffer & out, Field const & field, double value)
{
    std::string body;
    bool const negative = std::signbit(value);
    if ((field.letter == L'a' || field.letter == L'A') && std::isfinite(value))
    {
        char text[64];
        int const precision = std::min(field.precision < 0 ? 13 : field.precision, 20);
        char const * const end =
            std::to_chars(text, text + sizeof text, std::abs(value), std::chars_format::hex, precision).ptr;
        body.append("0x").append(text, static_cast<std::size_t>(end - text));
        if (field.letter == L'A')
            std::transform(body.begin(), body.end(), body.begin(),
                           [](char c) { return static_cast<char>(host::towupper(static_cast<wchar_t>(c))); });
    }
    else
        body = FloatBody(value, field.letter, field.precision, field.alternate);
    char const sign = negative ? '-' : field.plus ? '+' : ' ';
    PutNumber(out, field, &sign, negative || field.plus || field.blank ? 1 : 0, 0, body.data(), body.size());
}

void PutWide(FormatBuffer & out, Field const & field, wchar_t const * text)
{
    if (text == nullptr)
        text = L"(null)";
    std::size_t length = 0;
    // With a precision the text need not end in a NUL.
    while ((field.precision < 0 || length < static_cast<std::size_t>(field.precision)) && text[length] != L'\0')
        ++length;
    PutNumber(out, field, nullptr, 0, 0, text, length);
}

void PutNarrow(FormatBuffer & out, Field const & field, char const * text)
{
    if (text == nullptr)
        text = "(null)";
    std::size_t length = 0;
    // The precision counts characters of the result, none of which takes more than four bytes.
    std::size_t const limit = static_cast<std::size_t>(std::max(field.precision, 0));
    for (std::size_t characters = 0; text[length] != '\0'; ++length)
    {
        characters += (static_cast<unsigned char>(text[length]) & 0xC0) != 0x80;
        if (field.precision >= 0 && characters > limit)
            break;
    }
    std::wstring const wide = host::FromUtf8({text, length});
    std::size_t const shown = field.precision >= 0 ? std::min(wide.size(), limit) : wide.size();
    PutNumber(out, field, nullptr, 0, 0, wide.data(), shown);
}

/// Whether a text conversion takes wide text: in a wide format the small letter does and the capital does not, unless a
/// size prefix says otherwise.
bool IsWide(Field const & field) noexcept
{
    if (field.size == Size::Short)
        return false;
    if (field.size == Size::Long || field.size == Size::LongLong)
        return true;
    return field.letter == L's' || field.letter == L'c';
}

void Put(FormatBuffer & out, Field & field, Arguments & arguments)
{
    switch (field.letter)
    {
    case L'd':
    case L'i':
    {
        std::int64_t const value = arguments.Signed(field.size);
        std::uint64_t const bits = static_cast<std::uint64_t>(value);
        PutInteger(out, field, value < 0, value < 0 ? 0 - bits : bits, 10, false, true);
        break;
    }
    case L'u':
        PutInteger(out, field, false, arguments.Unsigned(field.size), 10, false, false);
        break;
    case L'o':
        PutInteger(out, field, false, arguments.Unsigned(field.size), 8, false, false);
        break;
    case L'x':
    case L'X':
        PutInteger(out, field, false, arguments.Unsigned(field.size), 16, field.letter == L'X', false);
        break;
    case L'p':
        field.precision = 2 * static_cast<int>(sizeof(void *));
        PutInteger(out, field, false, reinterpret_cast<std::uintptr_t>(arguments.Pointer()), 16, true, false);
        break;
    case L'c':
    case L'C':
    {
        int const code = arguments.Int();
        wchar_t const character =
            IsWide(field) ? static_cast<wchar_t>(code) : static_cast<wchar_t>(static_cast<unsigned char>(code));
        PutNumber(out, field, nullptr, 0, 0, &character, 1);
        break;
    }
    case L's':
    case L'S':
        if (IsWide(field))
            PutWide(out, field, static_cast<wchar_t const *>(arguments.Pointer()));
        else
            PutNarrow(out, field, static_cast<char const *>(arguments.Pointer()));
        break;
    case L'e':
    case L'E':
    case L'f':
    case L'F':
    case L'g':
    case L'G':
    case L'a':
    case L'A':
        PutFloat(out, field, arguments.Double());
        break;
    case L'n':
        arguments.Pointer(); // nothing is ever written through an argument
        break;
    case L'\0':
        break;
    default:
        out.Append(field.letter); // "%%", and letters without a meaning stand for themselves
        break;
    }
}

} // namespace

void FormatWide(FormatBuffer & out, wchar_t const * format, va_list list)
{
    Arguments arguments(list);
    while (*format != L'\0')
    {
        wchar_t const * const first = format;
        while (*format != L'\0' && *format != L'%')
            ++format;
        out.Append(first, static_cast<std::size_t>(format - first));
        if (*format == L'\0')
            break;
        ++format;
        Field field = ReadField(format, arguments);
        Put(out, field, arguments);
    }
}

} // namespace qvlib::internal

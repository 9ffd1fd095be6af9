#include "values.h"

#include "qvlib/DateTime.h"
#include "qvlib/host/crt.h"
#include "qvlib/host/utf8.h"

#include <charconv>
#include <cmath>

namespace qvconcept
{
namespace
{

using qvlib::CGenericVal;
using qvlib::VarType;

bool IsDigit(wchar_t c) { return c >= L'0' && c <= L'9'; }

std::string ToAscii(std::wstring_view text)
{
    std::string ascii;
    for (wchar_t const c : text)
        ascii += c < 0x80 ? static_cast<char>(c) : '?';
    return ascii;
}

/// An optional sign and digits only; the result has neither "+" nor leading zeros, so equal numbers have equal texts.
bool CanonicalInteger(std::wstring_view text, std::wstring & canonical)
{
    bool const negative = text.starts_with(L'-');
    if (negative || text.starts_with(L'+'))
        text.remove_prefix(1);
    if (text.empty())
        return false;
    for (wchar_t const c : text)
        if (!IsDigit(c))
            return false;
    while (text.size() > 1 && text.front() == L'0')
        text.remove_prefix(1);
    canonical = negative && text != L"0" ? L'-' + std::wstring(text) : std::wstring(text);
    return true;
}

bool IsDecimalNumber(std::wstring_view text)
{
    if (text.starts_with(L'+'))
        text.remove_prefix(1);
    std::string const ascii = ToAscii(text);
    // from_chars knows "inf" and "nan(1)", which are no numbers here.
    if (ascii.find_first_not_of("0123456789.+-eE") != std::string::npos)
        return false;
    double number = 0;
    auto const result = std::from_chars(ascii.data(), ascii.data() + ascii.size(), number);
    return result.ec != std::errc::invalid_argument && result.ptr == ascii.data() + ascii.size();
}

bool IsBoolText(std::wstring const & text)
{
    std::wstring ignored;
    for (wchar_t const * const word : {L"true", L"false", L"yes", L"no"})
        if (_wcsicmp(text.c_str(), word) == 0)
            return true;
    return CanonicalInteger(text, ignored);
}

std::wstring Widen(std::string const & ascii) { return std::wstring(ascii.begin(), ascii.end()); }

/// "a Double", "an Int".
std::string ATypeName(VarType type)
{
    std::string const name = qvlib::host::ToUtf8(type.ToString());
    return (std::string_view("AEIO").find(name.front()) != std::string_view::npos ? "an " : "a ") + name;
}
std::string TypeName(VarType type) { return qvlib::host::ToUtf8(type.ToString()); }

} // namespace

std::string ValueProblem(std::wstring const & text, VarType type)
{
    if (type.IsString() || type.IsAnsiString())
        return {};
    if (type.IsEmpty())
        return text.empty() ? "" : "is not kept: a field of type Empty holds nothing";
    CGenericVal value;
    if (text.empty())
        return "is no " + TypeName(type);
    if (type.IsBool())
        return IsBoolText(text) ? "" : "is no Bool: give true, false, yes, no or a number";
    if (type.IsFloatingPoint() && !type.IsDate())
    {
        if (!IsDecimalNumber(text) || !value.Parse(text.c_str(), type))
            return "is no " + TypeName(type);
        return std::isfinite(value.GetAsDouble()) ? "" : "does not fit " + ATypeName(type);
    }
    if (type.IsIntegral() && !type.IsChar())
    {
        std::wstring canonical;
        if (!CanonicalInteger(text, canonical) || !value.Parse(text.c_str(), type))
            return "is no " + TypeName(type);
        std::wstring const kept = value.GetAsString().GetString();
        if (kept != canonical)
            return "does not fit " + ATypeName(type) + ": it would be kept as " + qvlib::host::ToUtf8(kept);
        return {};
    }
    if (type.IsChar())
        return text.size() == 1 && text[0] > 0 && text[0] < 0x80 ? "" : "is no Char: give one ASCII character";
    if (value.Parse(text.c_str(), type))
        return {};
    if (type.IsDate())
        return "is no Date: give it as 2024-06-15 or 2024-06-15 09:30:00";
    return "cannot be kept: no text makes a value of type " + TypeName(type);
}

std::string NumberProblem(std::wstring const & text) { return ValueProblem(text, VarType(VarType::Int)); }

std::wstring ValueText(CGenericVal const & value)
{
    VarType const type = value.GetType();
    if (type.IsDate())
    {
        qvlib::CDateTime const date(value.GetDate());
        double const serial = value.GetDate();
        bool const wholeDay = serial == std::floor(serial);
        qvlib::CQVString const text = date.Format(wholeDay ? L"%Y-%m-%d" : L"%Y-%m-%d %H:%M:%S");
        return text.GetString();
    }
    if (type.IsDouble())
        return Widen(ShortestText(value.GetDouble()));
    if (type.IsFloat())
        return Widen(ShortestText(value.GetFloat()));
    qvlib::CQVString const text = value.GetAsString();
    return std::wstring(text.GetString(), static_cast<std::size_t>(text.GetLength()));
}

void WriteJsonValue(JsonText & json, CGenericVal const & value)
{
    VarType const type = value.GetType();
    if (type.IsEmpty())
        json.Null();
    else if (type.IsBool())
        json.Bool(value.GetBool());
    else if (type.IsDouble())
        json.Number(value.GetDouble());
    else if (type.IsFloat())
        json.Number(value.GetFloat());
    else if (type.IsULong64())
        json.Unsigned(value.GetULong64());
    else if (type.IsLong64())
        json.Integer(value.GetLong64());
    else if (type.IsIntegral() && !type.IsChar())
        json.Integer(static_cast<long long>(value.GetAsDouble()));
    else
        json.String(ValueText(value));
}

} // namespace qvconcept

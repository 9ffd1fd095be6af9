#include "qvlib/VarType.h"

#include "qvlib/Exceptions.h"

namespace qvlib
{
namespace
{

struct Name
{
    wchar_t const * text;
    VARENUM type;
};

// In the order in which texts are looked for. Dispatch and Unknown are not among them, and so cannot be read.
constexpr Name kNames[] = {
    {L"Empty", VarType::Empty},
    {L"Null", VarType::Null},
    {L"Bool", VarType::Bool},
    {L"Char", VarType::Char},
    {L"Byte", VarType::Byte},
    {L"Short", VarType::Short},
    {L"UShort", VarType::UShort},
    {L"Long", VarType::Long},
    {L"ULong", VarType::ULong},
    {L"Int", VarType::Int},
    {L"UInt", VarType::UInt},
    {L"Long64", VarType::Long64},
    {L"ULong64", VarType::ULong64},
    {L"Float", VarType::Float},
    {L"Double", VarType::Double},
    {L"Date", VarType::Date},
    {L"AnsiString", VarType::AnsiString},
    {L"String", VarType::String},
    {L"ComString", VarType::ComString},
    {L"Error", VarType::Error},
    {L"BLOB", VarType::Blob}, // in capitals here alone: callers depend on it
    {L"Array", VarType::Array},
    {L"UserDefined", VarType::UserDefined},
    {L"Integer", VarType::Int}, // only ever read
};

constexpr wchar_t Fold(wchar_t character) noexcept
{
    return character >= L'A' && character <= L'Z' ? static_cast<wchar_t>(character + 32) : character;
}

constexpr bool EqualNoCase(wchar_t const * left, wchar_t const * right) noexcept
{
    while (*left != L'\0' && Fold(*left) == Fold(*right))
    {
        ++left;
        ++right;
    }
    return *left == *right;
}

} // namespace

wchar_t const * VarType::ToString(VARENUM type) noexcept
{
    for (Name const & name : kNames)
        if (name.type == type)
            return name.text;
    return L"Unknown"; // for Dispatch too: callers depend on it
}

bool VarType::TryParse(wchar_t const * text, VARENUM & out) noexcept
{
    if (text == nullptr)
        return false;
    // The first letters differ from name to name, so that nearly every comparison ends there.
    for (Name const & name : kNames)
        if (EqualNoCase(text, name.text))
        {
            out = name.type;
            return true;
        }
    return false;
}

void VarType::Parse(wchar_t const * text)
{
    if (!TryParse(text))
        throw unexpected_error();
}

} // namespace qvlib

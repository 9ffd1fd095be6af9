// The parser says that a token is bad; the platform's codes say what is missing. A look at the text around the place
// finds that out. Where it cannot be told, the code is the general one.
#include "host/linux/internal/xml_tokens.h"

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace qvlib::host
{

namespace
{

constexpr char32_t kEnd = 0;

// The characters around the fault: ASCII as it is, anything else as itself or, from bytes, as one number a byte.
class Around
{
public:
    Around(std::string_view context, std::size_t offset, XmlUnits units)
    {
        std::size_t const width = units == XmlUnits::bytes ? 1 : 2;
        std::size_t const reach = 4096 * width;
        std::size_t const first = offset > reach ? (offset - reach) / width * width + offset % width : offset % width;
        std::size_t const end = context.size() - offset > 64 ? offset + 64 : context.size();
        for (std::size_t i = first; i + width <= end; i += width)
        {
            if (i == offset)
                place = m_text.size();
            char32_t const a = static_cast<unsigned char>(context[i]);
            char32_t const b = width == 2 ? static_cast<unsigned char>(context[i + 1]) : 0;
            m_text.push_back(width == 1 ? a : units == XmlUnits::littleEndian ? a | b << 8 : a << 8 | b);
        }
        if (offset + width > end)
            place = m_text.size();
    }

    char32_t At(std::size_t i) const noexcept { return i < m_text.size() ? m_text[i] : kEnd; }
    bool Ended(std::size_t i) const noexcept { return i >= m_text.size(); }
    bool Has(std::size_t i, std::string_view text) const noexcept
    {
        for (char const c : text)
        {
            if (At(i++) != static_cast<char32_t>(c))
                return false;
        }
        return true;
    }

    std::size_t place = 0;

private:
    std::vector<char32_t> m_text;
};

constexpr bool IsBlank(char32_t c) noexcept { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }
constexpr bool IsDigit(char32_t c) noexcept { return c >= '0' && c <= '9'; }
constexpr bool IsHexDigit(char32_t c) noexcept { return IsDigit(c) || ((c | 0x20) >= 'a' && (c | 0x20) <= 'f'); }
constexpr bool IsNameCharacter(char32_t c) noexcept
{
    return c >= 0x80 || IsDigit(c) || ((c | 0x20) >= 'a' && (c | 0x20) <= 'z') || c == '_' || c == ':' || c == '-' ||
           c == '.';
}

// What a bad character alone says; S_OK when it is a fair one.
HRESULT BadCharacter(Around const & text, XmlUnits units) noexcept
{
    std::size_t const i = text.place;
    if (text.Ended(i))
        return S_OK;
    char32_t const c = text.At(i);
    if (c < 0x20 && !IsBlank(c))
        return WC_E_XMLCHARACTER;
    if (units != XmlUnits::bytes)
        return (c >= 0xD800 && c < 0xE000) || c >= 0xFFFE ? WC_E_XMLCHARACTER : S_OK;
    if (c < 0x80)
        return S_OK;
    // Bytes: is it UTF-8 at all?
    std::size_t const length = c >= 0xF0 && c <= 0xF4 ? 4 : c >= 0xE0 && c < 0xF0 ? 3 : c >= 0xC2 && c < 0xE0 ? 2 : 0;
    if (length == 0)
        return MX_E_ENCODING;
    for (std::size_t k = 1; k < length; ++k)
    {
        if ((text.At(i + k) & 0xC0) != 0x80)
            return MX_E_ENCODING;
    }
    char32_t const second = text.At(i + 1);
    if ((c == 0xE0 && second < 0xA0) || (c == 0xED && second >= 0xA0) || (c == 0xF0 && second < 0x90) ||
        (c == 0xF4 && second >= 0x90))
        return MX_E_ENCODING;
    if (c == 0xEF && second == 0xBF && text.At(i + 2) >= 0xBE)
        return WC_E_XMLCHARACTER;
    return S_OK;
}

// A reference begins at `i` and is bad at the place of the fault.
HRESULT BadReference(Around const & text, std::size_t i) noexcept
{
    ++i;
    if (text.At(i) == '#')
    {
        ++i;
        bool const hexadecimal = text.At(i) == 'x';
        if (hexadecimal)
            ++i;
        std::size_t const digits = i;
        while (hexadecimal ? IsHexDigit(text.At(i)) : IsDigit(text.At(i)))
            ++i;
        if (i == digits)
            return hexadecimal ? WC_E_HEXDIGIT : WC_E_DIGIT;
        return WC_E_SEMICOLON;
    }
    std::size_t const name = i;
    while (IsNameCharacter(text.At(i)))
        ++i;
    return i == name ? WC_E_NAMECHARACTER : WC_E_SEMICOLON;
}

// A start tag begins at `i`. Gives what its first fault is, or S_OK if it is whole before the place of the fault.
HRESULT BadTag(Around const & text, std::size_t i)
{
    ++i;
    bool const isEnd = text.At(i) == '/';
    if (isEnd)
        ++i;
    std::size_t const name = i;
    while (i < text.place && IsNameCharacter(text.At(i)))
        ++i;
    if (i == name || (i == text.place && !IsBlank(text.At(i)) && text.At(i) != '>' && text.At(i) != '/'))
        return NC_E_QNAMECHARACTER;
    for (;;)
    {
        std::size_t const blanks = i;
        while (IsBlank(text.At(i)))
            ++i;
        if (text.At(i) == '>')
            return i < text.place ? S_OK : WC_E_SYNTAX;
        if (isEnd)
            return WC_E_GREATERTHAN;
        if (text.At(i) == '/')
            return text.At(i + 1) == '>' ? S_OK : WC_E_GREATERTHAN;
        if (text.Ended(i))
            return MX_E_INPUTEND;
        if (i == blanks)
            return WC_E_WHITESPACE;
        std::size_t const attribute = i;
        while (IsNameCharacter(text.At(i)) && (i != text.place || i != attribute))
            ++i;
        if (i == attribute)
            return NC_E_QNAMECHARACTER;
        while (IsBlank(text.At(i)))
            ++i;
        if (text.At(i) != '=')
            return i >= attribute && text.place < i ? NC_E_QNAMECHARACTER : WC_E_EQUAL;
        ++i;
        while (IsBlank(text.At(i)))
            ++i;
        char32_t const quote = text.At(i);
        if (quote != '"' && quote != '\'')
            return text.Ended(i) ? MX_E_INPUTEND : WC_E_QUOTE;
        std::size_t reference = 0;
        for (++i; text.At(i) != quote; ++i)
        {
            if (text.Ended(i))
                return MX_E_INPUTEND;
            if (text.At(i) == '<')
                return WC_E_LESSTHAN;
            if (text.At(i) == '&')
                reference = i;
            if (i == text.place && reference != 0)
                return BadReference(text, reference);
        }
        if (i == text.place && reference != 0)
            return BadReference(text, reference);
        ++i;
    }
}

HRESULT BadToken(Around const & text, XmlUnits units)
{
    HRESULT const character = BadCharacter(text, units);
    if (character != S_OK)
        return character;
    std::size_t const place = text.place;
    // "]]>" in text.
    for (std::size_t i = place > 2 ? place - 2 : 0; i <= place; ++i)
    {
        if (text.Has(i, "]]>"))
            return WC_E_CDSECTEND;
    }
    // The markup or the reference that the place is in, or begins.
    for (std::size_t i = place; i-- > 0;)
    {
        char32_t const c = text.At(i);
        if (c == '&')
            return BadReference(text, i);
        if (c == '>' && text.At(place) == '<')
            break;
        if (c != '<')
            continue;
        if (text.Has(i, "<!--"))
            return WC_E_COMMENT;
        if (text.Has(i, "<!DOCTYPE"))
            return WC_E_DTDPROHIBITED;
        if (text.Has(i, "<!["))
            return WC_E_CDSECT;
        if (text.Has(i, "<!"))
            return WC_E_SYNTAX;
        if (text.Has(i, "<?"))
            return WC_E_PI;
        HRESULT const tag = BadTag(text, i);
        if (tag != S_OK)
            return tag;
        break;
    }
    if (text.Has(place, "<!DOCTYPE"))
        return WC_E_DTDPROHIBITED;
    if (text.Has(place, "<!["))
        return WC_E_CDSECT;
    if (text.At(place) == '<')
        return BadTag(text, place) == S_OK ? WC_E_SYNTAX : BadTag(text, place);
    return WC_E_SYNTAX;
}

// Whether the fault lies in a document type declaration.
bool InDocumentType(Around const & text)
{
    for (std::size_t i = text.place + 1; i-- > 0;)
    {
        if (text.At(i) == '<')
            return text.Has(i, "<!DOCTYPE");
    }
    return false;
}

} // namespace

HRESULT XmlFaultCode(XML_Error error, std::string_view context, std::size_t offset, XmlUnits units)
{
    switch (error)
    {
    case XML_ERROR_NO_MEMORY:
        return E_OUTOFMEMORY;
    case XML_ERROR_NO_ELEMENTS:
    case XML_ERROR_UNCLOSED_TOKEN:
    case XML_ERROR_UNCLOSED_CDATA_SECTION:
        return MX_E_INPUTEND;
    case XML_ERROR_PARTIAL_CHAR:
        return MX_E_ENCODING;
    case XML_ERROR_TAG_MISMATCH:
        return WC_E_ELEMENTMATCH;
    case XML_ERROR_DUPLICATE_ATTRIBUTE:
        return WC_E_UNIQUEATTRIBUTE;
    case XML_ERROR_UNDEFINED_ENTITY:
        return WC_E_UNDECLAREDENTITY;
    case XML_ERROR_BAD_CHAR_REF:
        return WC_E_XMLCHARACTER;
    case XML_ERROR_MISPLACED_XML_PI:
        return WC_E_LEADINGXML;
    case XML_ERROR_XML_DECL:
        return WC_E_XMLDECL;
    case XML_ERROR_UNKNOWN_ENCODING:
        return MX_E_ENCODING;
    case XML_ERROR_INCORRECT_ENCODING:
        return MX_E_ENCODINGSWITCH;
#if XML_MAJOR_VERSION > 2 || (XML_MAJOR_VERSION == 2 && XML_MINOR_VERSION >= 4)
    case XML_ERROR_AMPLIFICATION_LIMIT_BREACH:
        return SC_E_MAXENTITYEXPANSION;
#endif
    case XML_ERROR_INVALID_TOKEN:
        return BadToken(Around(context, offset, units), units);
    case XML_ERROR_SYNTAX:
    {
        Around const text(context, offset, units);
        HRESULT const character = BadCharacter(text, units);
        if (character != S_OK)
            return character;
        return InDocumentType(text) ? WC_E_DTDPROHIBITED : WC_E_SYNTAX;
    }
    case XML_ERROR_JUNK_AFTER_DOC_ELEMENT:
    default:
        return WC_E_SYNTAX;
    }
}

} // namespace qvlib::host

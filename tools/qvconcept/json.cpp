#include "json.h"

#include "qvlib/host/utf8.h"

#include <charconv>
#include <cmath>

namespace qvconcept
{
namespace
{

bool IsSurrogate(wchar_t c) { return c >= 0xD800 && c <= 0xDFFF; }

void AppendEscape(std::string & out, unsigned unit)
{
    char const * const digits = "0123456789abcdef";
    out += "\\u";
    for (int shift = 12; shift >= 0; shift -= 4)
        out += digits[(unit >> shift) & 15];
}

template <class Real>
std::string Shortest(Real value)
{
    char buffer[64];
    // Amounts are read by people: an exponent only where plain digits would be many.
    bool const plain = std::fabs(value) >= Real(1e-6) && std::fabs(value) < Real(1e15);
    auto const result = plain ? std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed)
                              : std::to_chars(buffer, buffer + sizeof buffer, value);
    return std::string(buffer, result.ptr);
}

} // namespace

std::string ShortestText(double value) { return Shortest(value); }
std::string ShortestText(float value) { return Shortest(value); }

std::string JsonQuoted(std::wstring_view text)
{
    std::string out = "\"";
    std::size_t plain = 0; // where the characters that need no escape begin
    auto const flush = [&](std::size_t end) { out += qvlib::host::ToUtf8(text.substr(plain, end - plain)); };
    for (std::size_t i = 0; i < text.size(); ++i)
    {
        wchar_t const c = text[i];
        if (c != L'"' && c != L'\\' && c >= 0x20 && c != 0x7F && !IsSurrogate(c))
            continue;
        flush(i);
        plain = i + 1;
        switch (c)
        {
        case L'"':
            out += "\\\"";
            break;
        case L'\\':
            out += "\\\\";
            break;
        case L'\n':
            out += "\\n";
            break;
        case L'\r':
            out += "\\r";
            break;
        case L'\t':
            out += "\\t";
            break;
        default:
            AppendEscape(out, static_cast<unsigned>(c));
            break;
        }
    }
    flush(text.size());
    out += '"';
    return out;
}

void JsonText::Member(std::wstring_view name)
{
    BeforeValue();
    m_text += JsonQuoted(name);
    m_text += ": ";
    m_afterName = true;
}

void JsonText::Member(std::wstring_view name, std::wstring_view text)
{
    Member(name);
    String(text);
}

void JsonText::String(std::wstring_view text) { Raw(JsonQuoted(text)); }

void JsonText::Number(double value)
{
    if (std::isfinite(value))
        Raw(ShortestText(value));
    else
        Raw('"' + ShortestText(value) + '"');
}

void JsonText::Number(float value)
{
    if (std::isfinite(value))
        Raw(ShortestText(value));
    else
        Raw('"' + ShortestText(value) + '"');
}

std::string JsonText::Finish()
{
    m_text += '\n';
    std::string text;
    text.swap(m_text);
    return text;
}

void JsonText::Raw(std::string_view text)
{
    BeforeValue();
    m_text += text;
}

void JsonText::Open(char bracket)
{
    BeforeValue();
    m_text += bracket;
    m_hasContent.push_back(false);
}

void JsonText::Close(char bracket)
{
    bool const hadContent = m_hasContent.back();
    m_hasContent.pop_back();
    if (hadContent)
        NewLine();
    m_text += bracket;
}

void JsonText::BeforeValue()
{
    if (m_afterName)
    {
        m_afterName = false;
        return;
    }
    if (m_hasContent.empty())
        return;
    if (m_hasContent.back())
        m_text += ',';
    m_hasContent.back() = true;
    NewLine();
}

void JsonText::NewLine()
{
    m_text += '\n';
    m_text.append(2 * m_hasContent.size(), ' ');
}

} // namespace qvconcept

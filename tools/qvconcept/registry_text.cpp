#include "registry_text.h"

#include "console.h"
#include "failure.h"
#include "json.h"

#include "qvlib/host/utf16.h"
#include "qvlib/host/utf8.h"

#include <charconv>

namespace qvconcept
{
namespace
{

using namespace qvlib;

void AppendHex(std::string & out, std::vector<BYTE> const & data)
{
    char const * const digits = "0123456789abcdef";
    for (BYTE const byte : data)
    {
        out += ' ';
        out += digits[byte >> 4];
        out += digits[byte & 15];
    }
}

unsigned long long LittleEndian(std::vector<BYTE> const & data)
{
    unsigned long long number = 0;
    for (std::size_t i = data.size(); i > 0; --i)
        number = (number << 8) | data[i - 1];
    return number;
}

std::wstring FromUtf16Bytes(BYTE const * bytes, std::size_t units)
{
    std::wstring text(host::Utf16DecodedLength(bytes, units), L'\0');
    host::DecodeUtf16(bytes, units, text.data());
    return text;
}

void AppendUtf16(std::vector<BYTE> & data, std::wstring_view text)
{
    std::size_t const start = data.size();
    data.resize(start + 2 * host::Utf16Length(text.data(), text.size()));
    host::EncodeUtf16(text.data(), text.size(), data.data() + start);
    data.insert(data.end(), 2, BYTE(0));
}

int HexDigit(char c)
{
    return c >= '0' && c <= '9'   ? c - '0'
           : c >= 'a' && c <= 'f' ? c - 'a' + 10
           : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                  : -1;
}

/// One line of the text form, read from left to right.
class LineReader
{
public:
    LineReader(std::string place, std::string_view line) : m_place(std::move(place)), m_rest(line) {}

    [[noreturn]] void Fail(std::string_view why) const { throw Problem(m_place + ": " + std::string(why)); }

    bool AtEnd()
    {
        SkipBlanks();
        return m_rest.empty();
    }
    void Expect(char c)
    {
        SkipBlanks();
        if (!m_rest.starts_with(c))
            Fail(std::string("expected ") + c);
        m_rest.remove_prefix(1);
    }
    std::string_view Word()
    {
        SkipBlanks();
        std::string_view const word = m_rest.substr(0, m_rest.find_first_of(" \t"));
        m_rest.remove_prefix(word.size());
        return word;
    }
    std::string_view Rest()
    {
        SkipBlanks();
        return m_rest;
    }
    std::wstring Quoted();

private:
    void SkipBlanks()
    {
        while (m_rest.starts_with(' ') || m_rest.starts_with('\t'))
            m_rest.remove_prefix(1);
    }
    unsigned HexUnit();

    std::string m_place;
    std::string_view m_rest;
};

unsigned LineReader::HexUnit()
{
    unsigned unit = 0;
    for (int i = 0; i < 4; ++i)
    {
        int const digit = m_rest.empty() ? -1 : HexDigit(m_rest.front());
        if (digit < 0)
            Fail("expected four hexadecimal digits behind \\u");
        unit = unit * 16 + static_cast<unsigned>(digit);
        m_rest.remove_prefix(1);
    }
    return unit;
}

std::wstring LineReader::Quoted()
{
    Expect('"');
    std::wstring text;
    for (;;)
    {
        std::size_t const stop = m_rest.find_first_of("\"\\");
        if (stop == std::string_view::npos)
            Fail("a quoted text has no end");
        text += host::FromUtf8(m_rest.substr(0, stop));
        char const mark = m_rest[stop];
        m_rest.remove_prefix(stop + 1);
        if (mark == '"')
            return text;
        char const escape = m_rest.empty() ? '\0' : m_rest.front();
        m_rest.remove_prefix(m_rest.empty() ? 0 : 1);
        switch (escape)
        {
        case '"':
        case '\\':
        case '/':
            text += static_cast<wchar_t>(escape);
            break;
        case 'b':
            text += L'\b';
            break;
        case 'f':
            text += L'\f';
            break;
        case 'n':
            text += L'\n';
            break;
        case 'r':
            text += L'\r';
            break;
        case 't':
            text += L'\t';
            break;
        case 'u':
            text += static_cast<wchar_t>(HexUnit());
            break;
        default:
            Fail("unknown escape in a quoted text");
        }
    }
}

RegistryValue ParseValue(LineReader & line)
{
    RegistryValue value{line.Quoted(), REG_NONE, {}};
    line.Expect('=');
    std::string_view const word = line.Word();
    if (word == "text" || word == "expand")
    {
        value.type = word == "text" ? REG_SZ : REG_EXPAND_SZ;
        value.data = TextData(line.Quoted());
        if (!line.AtEnd())
            line.Fail("more than one text");
    }
    else if (word == "list")
    {
        value.type = REG_MULTI_SZ;
        std::vector<std::wstring> texts;
        while (!line.AtEnd())
        {
            texts.push_back(line.Quoted());
            if (texts.back().empty())
                line.Fail("a list cannot hold an empty text");
        }
        value.data = ListData(texts);
    }
    else if (word == "dword" || word == "qword")
    {
        value.type = word == "dword" ? REG_DWORD : REG_QWORD;
        if (!NumberData(line.Rest(), word == "dword" ? 4 : 8, value.data))
            line.Fail("no number that fits a " + std::string(word));
    }
    else if (word == "binary" || word == "type")
    {
        value.type = REG_BINARY;
        if (word == "type")
        {
            std::string_view const number = line.Word();
            auto const parsed = std::from_chars(number.data(), number.data() + number.size(), value.type);
            if (parsed.ec != std::errc() || parsed.ptr != number.data() + number.size())
                line.Fail("expected the number of a type");
        }
        if (!BytesFromHex(line.Rest(), value.data))
            line.Fail("expected bytes in hexadecimal");
    }
    else
        line.Fail("unknown kind of value " + std::string(word));
    return value;
}

} // namespace

std::vector<BYTE> TextData(std::wstring_view text)
{
    std::vector<BYTE> data;
    AppendUtf16(data, text);
    return data;
}

std::vector<BYTE> ListData(std::vector<std::wstring> const & texts)
{
    std::vector<BYTE> data;
    for (std::wstring const & text : texts)
        AppendUtf16(data, text);
    data.insert(data.end(), 2, BYTE(0));
    return data;
}

bool TextFromData(std::vector<BYTE> const & data, std::wstring & text)
{
    if (data.size() < 2 || data.size() % 2 != 0)
        return false;
    text = FromUtf16Bytes(data.data(), data.size() / 2 - 1);
    return TextData(text) == data;
}

bool ListFromData(std::vector<BYTE> const & data, std::vector<std::wstring> & texts)
{
    if (data.size() < 2 || data.size() % 2 != 0)
        return false;
    std::size_t start = 0;
    for (std::size_t at = 0; at + 2 < data.size(); at += 2)
    {
        if (data[at] != 0 || data[at + 1] != 0)
            continue;
        if (at == start)
            return false; // an empty text ends a list, so this one has more behind its end
        texts.push_back(FromUtf16Bytes(data.data() + start, (at - start) / 2));
        start = at + 2;
    }
    return ListData(texts) == data;
}

bool BytesFromHex(std::string_view text, std::vector<BYTE> & bytes)
{
    for (std::size_t i = 0; i < text.size();)
    {
        if (text[i] == ' ' || text[i] == '\t')
        {
            ++i;
            continue;
        }
        int const high = HexDigit(text[i]);
        int const low = i + 1 < text.size() ? HexDigit(text[i + 1]) : -1;
        if (high < 0 || low < 0)
            return false;
        bytes.push_back(static_cast<BYTE>(high * 16 + low));
        i += 2;
    }
    return true;
}

bool NumberData(std::string_view digits, std::size_t bytes, std::vector<BYTE> & data)
{
    while (digits.ends_with(' ') || digits.ends_with('\t'))
        digits.remove_suffix(1);
    unsigned long long number = 0;
    auto const parsed = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    if (parsed.ec != std::errc() || parsed.ptr != digits.data() + digits.size() || digits.empty())
        return false;
    if (bytes < sizeof number && number >> (8 * bytes) != 0)
        return false;
    data.clear();
    for (std::size_t i = 0; i < bytes; ++i, number >>= 8)
        data.push_back(static_cast<BYTE>(number & 0xFF));
    return true;
}

std::string TextOfData(DWORD type, std::vector<BYTE> const & data)
{
    std::wstring text;
    std::vector<std::wstring> texts;
    if ((type == REG_SZ || type == REG_EXPAND_SZ) && TextFromData(data, text))
        return (type == REG_SZ ? "text " : "expand ") + JsonQuoted(text);
    if (type == REG_MULTI_SZ && ListFromData(data, texts))
    {
        std::string out = "list";
        for (std::wstring const & item : texts)
            out += ' ' + JsonQuoted(item);
        return out;
    }
    if (type == REG_DWORD && data.size() == 4)
        return "dword " + std::to_string(LittleEndian(data));
    if (type == REG_QWORD && data.size() == 8)
        return "qword " + std::to_string(LittleEndian(data));
    std::string out = type == REG_BINARY ? "binary" : "type " + std::to_string(type);
    AppendHex(out, data);
    return out;
}

std::string LineOfValue(RegistryValue const & value)
{
    return JsonQuoted(value.name) + " = " + TextOfData(value.type, value.data);
}

std::vector<RegistryKeyText> ParseRegistryText(std::string const & file, std::string_view text)
{
    std::vector<RegistryKeyText> keys;
    bool haveHead = false;
    unsigned number = 0;
    while (!text.empty())
    {
        std::size_t const end = std::min(text.find('\n'), text.size());
        std::string_view line = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        ++number;
        if (line.ends_with('\r'))
            line.remove_suffix(1);
        LineReader reader(Place(file, number), line);
        if (!haveHead)
        {
            if (line != kRegistryTextHead)
                reader.Fail("no registry text: the first line has to be \"" + std::string(kRegistryTextHead) + '"');
            haveHead = true;
        }
        else if (reader.AtEnd() || line.starts_with('#'))
            continue;
        else if (line.starts_with('['))
        {
            if (!line.ends_with(']'))
                reader.Fail("expected ]");
            keys.push_back({std::string(line.substr(1, line.size() - 2)), {}});
        }
        else if (keys.empty())
            reader.Fail("a value without a key");
        else
            keys.back().values.push_back(ParseValue(reader));
    }
    if (!haveHead)
        throw Problem(file + ": no registry text: it is empty");
    return keys;
}

} // namespace qvconcept

#include "support/tsv.h"

#include <cstdlib>
#include <fstream>
#include <stdexcept>

namespace qvlib_test
{

namespace
{

std::vector<std::string> Split(std::string const & line)
{
    std::vector<std::string> cells(1);
    for (char const c : line)
        if (c == '\t')
            cells.emplace_back();
        else
            cells.back() += c;
    return cells;
}

/// Turns UTF-8 with escapes into code units of the wanted kind by way of `put(codePointOrByte)`.
template <class Put>
void Unescape(std::string const & text, bool decodeUtf8, Put put)
{
    for (std::size_t i = 0; i < text.size();)
    {
        unsigned char const c = static_cast<unsigned char>(text[i]);
        if (c == '\\' && i + 1 < text.size())
        {
            char const kind = text[i + 1];
            if (kind == 'u' || kind == 'x')
            {
                std::size_t const digits = kind == 'u' ? 4 : 2;
                put(static_cast<unsigned>(std::stoul(text.substr(i + 2, digits), nullptr, 16)));
                i += 2 + digits;
                continue;
            }
            if (kind == 'R')
            {
                std::size_t const countEnd = text.find('}', i);
                unsigned long const count = std::stoul(text.substr(i + 3, countEnd - i - 3));
                std::size_t const bodyEnd = text.find('}', countEnd + 2);
                std::string const body = text.substr(countEnd + 2, bodyEnd - countEnd - 2);
                for (unsigned long n = 0; n < count; ++n)
                    Unescape(body, decodeUtf8, put);
                i = bodyEnd + 1;
                continue;
            }
            put(kind == 't' ? '\t' : kind == 'n' ? '\n' : static_cast<unsigned>(static_cast<unsigned char>(kind)));
            i += 2;
            continue;
        }
        if (!decodeUtf8 || c < 0x80)
        {
            put(c);
            ++i;
            continue;
        }
        unsigned const extra = c >= 0xF0 ? 3 : c >= 0xE0 ? 2 : 1;
        unsigned point = c & (0x3FU >> extra);
        for (unsigned n = 1; n <= extra; ++n)
            point = point << 6 | (static_cast<unsigned char>(text[i + n]) & 0x3FU);
        put(point);
        i += 1 + extra;
    }
}

} // namespace

Table::Table(std::string const & name)
{
    std::ifstream file(std::string(QVLIB_TEST_DATA) + "/" + name);
    std::string line;
    if (!std::getline(file, line) || line.compare(0, 2, "# ") != 0)
        throw std::runtime_error("no such table: " + name);
    line.erase(0, 2);
    if (std::size_t const remark = line.find("  ("); remark != std::string::npos)
        line.erase(remark);
    columns_ = Split(line);
    while (std::getline(file, line))
    {
        if (line.empty())
            continue;
        rows_.push_back(Split(line));
        rows_.back().resize(columns_.size());
    }
}

std::size_t Table::Column(std::string const & name) const
{
    for (std::size_t i = 0; i < columns_.size(); ++i)
        if (columns_[i] == name)
            return i;
    throw std::out_of_range("no such column: " + name);
}

std::string const & Table::Raw(std::size_t row, std::string const & column) const
{
    return rows_.at(row)[Column(column)];
}

std::wstring Table::Wide(std::size_t row, std::string const & column) const
{
    std::wstring text;
    Unescape(Raw(row, column), true, [&](unsigned unit) {
        if (unit >= 0xDC00 && unit <= 0xDFFF && !text.empty() && text.back() >= 0xD800 && text.back() <= 0xDBFF)
            text.back() = static_cast<wchar_t>(
                0x10000U + ((static_cast<unsigned>(text.back()) - 0xD800U) << 10) + (unit - 0xDC00U));
        else
            text += static_cast<wchar_t>(unit);
    });
    return text;
}

std::string Table::Bytes(std::size_t row, std::string const & column) const
{
    std::string bytes;
    Unescape(Raw(row, column), false, [&](unsigned unit) { bytes += static_cast<char>(unit); });
    return bytes;
}

double Table::Double(std::size_t row, std::string const & column) const
{
    return std::strtod(Raw(row, column).c_str(), nullptr);
}

long long Table::Integer(std::size_t row, std::string const & column) const
{
    std::string const & text = Raw(row, column);
    bool const hexadecimal = text.compare(0, 2, "0x") == 0;
    return hexadecimal ? static_cast<long long>(std::stoull(text, nullptr, 16)) : std::stoll(text);
}

} // namespace qvlib_test

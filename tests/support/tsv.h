// Reads the tables under tests/data: UTF-8, tab-separated, first line "# column<TAB>column...".
// In a cell, \t \n \\ stand for themselves, \uXXXX for a UTF-16 unit, \R{n}{x} for x repeated n times and \xNN for a byte.
#pragma once

#include <string>
#include <vector>

namespace qvlib_test
{

class Table
{
public:
    /// Reads tests/data/<name>. Throws std::runtime_error when the file cannot be read.
    explicit Table(std::string const & name);

    std::size_t Rows() const { return rows_.size(); }
    /// The cell as it stands in the file. Throws std::out_of_range for an unknown column.
    std::string const & Raw(std::size_t row, std::string const & column) const;
    /// The cell with its escapes resolved, as wide text (one wchar_t a code point; lone surrogates kept).
    std::wstring Wide(std::size_t row, std::string const & column) const;
    /// The cell with its escapes resolved, as bytes.
    std::string Bytes(std::size_t row, std::string const & column) const;
    double Double(std::size_t row, std::string const & column) const;
    /// A number: hexadecimal behind 0x, else decimal.
    long long Integer(std::size_t row, std::string const & column) const;
    bool Doubted(std::size_t row) const { return !Raw(row, "doubt").empty(); }

private:
    std::size_t Column(std::string const & name) const;

    std::vector<std::string> columns_;
    std::vector<std::vector<std::string>> rows_;
};

} // namespace qvlib_test

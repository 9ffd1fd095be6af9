#include "qvlib/Exceptions.h"

#include <cstring>
#include <string>

namespace qvlib
{

namespace
{

char const * const kNoText = "Unknown exception";
char const * const kOutOfRange = "Argument out of range.";
char const * const kNoName = "";

char * CopyOf(char const * text)
{
    if (text == nullptr)
        return nullptr;
    std::size_t const size = std::strlen(text) + 1;
    return static_cast<char *>(std::memcpy(new char[size], text, size));
}

std::string NotAnEnum(long value, char const * enumName)
{
    return std::to_string(value) + " is not a " + (enumName ? enumName : "") + " enum.";
}

} // namespace

namespace detail
{

ExceptionText::ExceptionText(char const * text) : m_text(CopyOf(text)) {}

ExceptionText::ExceptionText(ExceptionText const & other) : m_text(CopyOf(other.m_text)) {}

ExceptionText & ExceptionText::operator=(ExceptionText const & other)
{
    if (this != &other)
    {
        char * const copy = CopyOf(other.m_text);
        delete[] m_text;
        m_text = copy;
    }
    return *this;
}

ExceptionText::~ExceptionText() { delete[] m_text; }

char const * ExceptionText::OrUnknown() const noexcept { return m_text ? m_text : kNoText; }

} // namespace detail

argument_exception::argument_exception(char const * const & message, char const * const & paramName,
                                       std::exception * inner)
    : m_message(message), m_paramName(&paramName), m_inner(inner)
{
}

argument_exception::argument_exception(char const * const & message, char const *&& paramName, std::exception * inner)
    : m_message(message), m_ownName(paramName), m_paramName(&m_ownName), m_inner(inner)
{
}

argument_exception::argument_exception(argument_exception const & other)
    : std::exception(other), m_message(other.m_message), m_ownName(other.m_ownName),
      m_paramName(other.m_paramName == &other.m_ownName ? &m_ownName : other.m_paramName), m_inner(other.m_inner)
{
}

argument_exception & argument_exception::operator=(argument_exception const & other)
{
    m_message = other.m_message;
    m_ownName = other.m_ownName;
    m_paramName = other.m_paramName == &other.m_ownName ? &m_ownName : other.m_paramName;
    m_inner = other.m_inner;
    return *this;
}

argument_exception::~argument_exception() = default;

char const * argument_exception::what() const noexcept { return m_message.OrUnknown(); }

argument_out_of_range_exception::argument_out_of_range_exception(char const * const & paramName, std::exception * inner)
    : argument_exception(kOutOfRange, paramName, inner)
{
}

argument_out_of_range_exception::argument_out_of_range_exception(char const *&& paramName, std::exception * inner)
    : argument_exception(kOutOfRange, static_cast<char const *&&>(paramName), inner)
{
}

argument_out_of_range_exception::~argument_out_of_range_exception() = default;

invalid_enum_argument_exception::invalid_enum_argument_exception(char const * const & message, std::exception * inner)
    : argument_exception(message, kNoName, inner)
{
}

invalid_enum_argument_exception::invalid_enum_argument_exception(char const * const & paramName, long value,
                                                                 char const * const & enumName, std::exception * inner)
    : argument_exception(NotAnEnum(value, enumName).c_str(), paramName, inner)
{
}

invalid_enum_argument_exception::invalid_enum_argument_exception(char const *&& paramName, long value,
                                                                 char const * const & enumName, std::exception * inner)
    : argument_exception(NotAnEnum(value, enumName).c_str(), static_cast<char const *&&>(paramName), inner)
{
}

invalid_enum_argument_exception::~invalid_enum_argument_exception() = default;

unexpected_error::unexpected_error(char const * text) : m_text(text) {}

unexpected_error::~unexpected_error() = default;

char const * unexpected_error::what() const noexcept { return m_text.OrUnknown(); }

resource_error::~resource_error() = default;

char const * resource_error::what() const noexcept { return kNoText; }

} // namespace qvlib

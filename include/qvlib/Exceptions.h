// The library's own exceptions.
//
// unexpected_error and resource_error say nothing but "Unknown exception": they stand for a broken rule and a missing
// resource, and a catcher is meant to look at the type. The argument exceptions name the parameter. The name is kept by
// reference to the caller's pointer, not copied:
//
//     char const * const kAge = "age"; // outlives the exception
//     throw qvlib::argument_exception("must not be negative", kAge, nullptr);
//
// Where a temporary pointer is given instead (a literal, say), the pointer itself is kept, for the reference would not
// outlive the call.
//
// Objects are thread-compatible.
#pragma once

#include <exception>

#include "qvlib/export.h"

namespace qvlib
{

namespace detail
{

/// An owned copy of a narrow text, or none. Moving copies: the source of an exception's move stays whole.
class QVLIB_API ExceptionText
{
public:
    ExceptionText() noexcept = default;
    explicit ExceptionText(char const * text);
    ExceptionText(ExceptionText const & other);
    ExceptionText & operator=(ExceptionText const & other);
    ~ExceptionText();

    /// The text, or "Unknown exception" when there is none.
    char const * OrUnknown() const noexcept;

private:
    char * m_text = nullptr;
};

} // namespace detail

/// A caller passed a bad argument.
class QVLIB_API argument_exception : public std::exception
{
public:
    /// Copies `message` (null gives "Unknown exception"), keeps a reference to `paramName`, and keeps `inner` (may be
    /// null), which it does not own.
    argument_exception(char const * const & message, char const * const & paramName, std::exception * inner);
    argument_exception(char const * const & message, char const *&& paramName, std::exception * inner);
    argument_exception(argument_exception const & other);
    argument_exception & operator=(argument_exception const & other);
    ~argument_exception() override;

    char const * what() const noexcept override;
    /// What the constructor was given; not owned.
    std::exception * InnerException() const noexcept { return m_inner; }
    /// The caller's own pointer, by reference.
    char const * const & ParamName() const noexcept { return *m_paramName; }

private:
    detail::ExceptionText m_message;
    char const * m_ownName = nullptr; // only for a name that came as a temporary pointer
    char const * const * m_paramName;
    std::exception * m_inner;
};

/// An argument lies outside its range. The message is "Argument out of range."
class QVLIB_API argument_out_of_range_exception : public argument_exception
{
public:
    argument_out_of_range_exception(char const * const & paramName, std::exception * inner);
    argument_out_of_range_exception(char const *&& paramName, std::exception * inner);
    argument_out_of_range_exception(argument_out_of_range_exception const &) = default;
    argument_out_of_range_exception & operator=(argument_out_of_range_exception const &) = default;
    ~argument_out_of_range_exception() override;
};

/// A value is no member of an enumeration.
class QVLIB_API invalid_enum_argument_exception : public argument_exception
{
public:
    /// The parameter name is the empty text.
    invalid_enum_argument_exception(char const * const & message, std::exception * inner);
    /// The message reads "7 is not a Colour enum." for the value 7 and the enumeration named Colour.
    invalid_enum_argument_exception(char const * const & paramName, long value, char const * const & enumName,
                                    std::exception * inner);
    invalid_enum_argument_exception(char const *&& paramName, long value, char const * const & enumName,
                                    std::exception * inner);
    invalid_enum_argument_exception(invalid_enum_argument_exception const &) = default;
    invalid_enum_argument_exception & operator=(invalid_enum_argument_exception const &) = default;
    ~invalid_enum_argument_exception() override;
};

/// The library's general failure: access to a value by the wrong type, a text that a throwing entry point cannot read,
/// an unknown name, a broken invariant.
class QVLIB_API unexpected_error : public std::exception
{
public:
    unexpected_error() noexcept = default;
    /// Copies `text`; null is the same as no text.
    explicit unexpected_error(char const * text);
    unexpected_error(unexpected_error const &) = default;
    unexpected_error & operator=(unexpected_error const &) = default;
    ~unexpected_error() override;

    char const * what() const noexcept override;

private:
    detail::ExceptionText m_text;
};

/// A resource of the operating system could not be had.
class QVLIB_API resource_error : public std::exception
{
public:
    resource_error() noexcept = default;
    resource_error(resource_error const &) noexcept = default;
    resource_error & operator=(resource_error const &) noexcept = default;
    ~resource_error() override;

    char const * what() const noexcept override;
};

} // namespace qvlib

// CRTrace: writes one line to the debugger channel, headed by where it comes from.
//
//     qvlib::CRTrace(L"reader.cpp", 42, L"Load")(L"%d records", count); // reader.cpp(42): Load: 7 records
//
// Nothing is filtered: every call reaches the channel (see host/debug.h for where that leads). One line is several
// writes, so the lines of two threads may mix. Objects are thread-compatible.
#pragma once

#include "qvlib/export.h"

namespace qvlib
{

class QVLIB_API CRTrace
{
public:
    CRTrace() noexcept = default;
    /// The texts are not copied and may be null.
    CRTrace(wchar_t const * file, int line) noexcept : m_file(file), m_line(line) {}
    CRTrace(wchar_t const * file, int line, wchar_t const * function) noexcept
        : m_function(function), m_file(file), m_line(line)
    {
    }

    /// Writes the head, the formatted message ("%s" takes wide text) and the end of the line. A format that cannot be
    /// used gives a line without a message.
    void operator()(wchar_t const * format, ...) const;
    /// Writes the head and the end of the line only.
    void operator()() const;

private:
    void OutputFileAndLine() const;
    void OutputFunction() const;

    wchar_t const * m_function = nullptr;
    wchar_t const * m_file = nullptr;
    int m_line = 0;
};

} // namespace qvlib

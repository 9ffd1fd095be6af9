#include "qvlib/Trace.h"

#include "qvlib/framework/exceptions.h"
#include "qvlib/host/debug.h"

#include <cstdarg>

namespace qvlib
{

namespace
{

// The formatted message; empty for a format that cannot be used.
CString Message(wchar_t const * format, va_list arguments)
{
    CString message;
    try
    {
        if (format != nullptr)
            message.FormatV(format, arguments);
    }
    catch (CException const &)
    {
        message.Empty();
    }
    return message;
}

} // namespace

void CRTrace::operator()(wchar_t const * format, ...) const
{
    OutputFileAndLine();
    OutputFunction();
    va_list arguments;
    va_start(arguments, format);
    CString const message = Message(format, arguments);
    va_end(arguments);
    OutputDebugStringW(message);
    OutputDebugStringW(L"\n");
}

void CRTrace::operator()() const
{
    OutputFileAndLine();
    OutputFunction();
    OutputDebugStringW(L"\n");
}

void CRTrace::OutputFileAndLine() const
{
    if (m_file == nullptr || *m_file == 0)
        return;
    CString head;
    head.Format(L"%s(%d): ", m_file, m_line);
    OutputDebugStringW(head);
}

void CRTrace::OutputFunction() const
{
    if (m_function == nullptr || *m_function == 0)
        return;
    CString head(m_function);
    head += L": ";
    OutputDebugStringW(head);
}

} // namespace qvlib

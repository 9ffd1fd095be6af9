#include "qvlib/Trace.h"

#include "qvlib/framework/exceptions.h"
#include "qvlib/host/debug.h"

#include <cstdarg>

namespace qvlib
{

namespace
{

// False for a format that cannot be used.
bool FormatInto(CString & message, wchar_t const * format, va_list arguments)
{
    try
    {
        if (format != nullptr)
            message.FormatV(format, arguments);
    }
    catch (CException const &)
    {
        return false;
    }
    return format != nullptr;
}

} // namespace

void CRTrace::operator()(wchar_t const * format, ...) const
{
    OutputFileAndLine();
    OutputFunction();
    va_list arguments;
    va_start(arguments, format);
    CString message;
    bool const usable = FormatInto(message, format, arguments);
    va_end(arguments);
    if (usable)
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

// COMRegistry: where the registry says the server of a COM class lies.
//
//     qvlib::CQVString path = qvlib::COMRegistry::GetdllPathFromCLSID(L"{01234567-89AB-CDEF-0123-456789ABCDEF}");
#pragma once

#include "qvlib/QVString.h"
#include "qvlib/export.h"

namespace qvlib
{

/// Each operation takes the class's identifier in its text form, braces included, and gives the empty text when the
/// registry tells nothing. Thread-safe.
struct QVLIB_API COMRegistry
{
    /// The default value of the class's InprocServer32 key.
    static CQVString GetInprocServer32Value(wchar_t const * clsid);
    /// The default value of the class's LocalServer32 key.
    static CQVString GetLocalServer32Value(wchar_t const * clsid);
    /// The path of the library that serves the class. For a managed class, that is one whose server reads exactly
    /// "mscoree.dll", it is what follows "file:///" in the value CodeBase: without that mark "mscoree.dll" itself, and
    /// without the value the empty text.
    static CQVString GetdllPathFromCLSID(wchar_t const * clsid);
};

} // namespace qvlib

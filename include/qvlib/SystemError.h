// What the system has to say about a failure: the text of a status code, and the floating-point status.
//
//     qvlib::QVFormatErrorMessage(5); // "Access is denied.\r\n"
//
// Thread-safe.
#pragma once

#include "qvlib/QVString.h"
#include "qvlib/export.h"

namespace qvlib
{

/// The system's English text for a status or result code, with the line end that the system puts behind it. An unknown
/// code gives the empty string.
QVLIB_API CQVString QVFormatErrorMessage(unsigned long code);

/// The floating-point status word of the calling thread, as _statusfp gives it; it is not cleared.
QVLIB_API unsigned long GetStatus87();

} // namespace qvlib

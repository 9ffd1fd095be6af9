// Bytes as upper-case hexadecimal text, in groups with blanks between them and in lines.
//
//     unsigned char const bytes[] = {1, 2, 3, 4, 5};
//     qvlib::TLBytesToString(bytes, 5, 2, 2); // "0102 0304\r\n05"
//
// A group size of 0 means no blanks, and groups per line then count bytes; 0 groups per line means one line.
// Thread-safe.
#pragma once

#include "qvlib/QVString.h"
#include "qvlib/export.h"

namespace qvlib
{

/// The two digits of a byte.
QVLIB_API void TLByteToString(unsigned char byte, wchar_t & high, wchar_t & low);
/// How many characters the text of `count` bytes takes, without a terminator.
QVLIB_API unsigned long TLCalcBytesToStringBufferSize(unsigned long count, unsigned long groupSize,
                                                      unsigned long groupsPerLine);
/// Writes that text, without a terminator. No bytes, or a null pointer to them, write nothing; a buffer that is too
/// small throws unexpected_error.
QVLIB_API void TLBytesToString(unsigned char const * bytes, unsigned long count, wchar_t * buffer,
                               unsigned long bufferSize, unsigned long groupSize, unsigned long groupsPerLine);
/// That text as a string; empty for no bytes.
QVLIB_API CQVString TLBytesToString(unsigned char const * bytes, unsigned long count, unsigned long groupSize,
                                    unsigned long groupsPerLine);

} // namespace qvlib

// The archive records that are no member of a class: dates, identifiers and standard strings.
//
// SerializeGuid and SerializeString serve both directions: the archive's own decides whether they read or write.
//
//     std::wstring name = L"Ann";
//     qvlib::SerializeString(archive, name); // version 1, width 1, length 3, three UTF-16 units
//
// A record whose version is above 1 throws CArchiveException with the cause badSchema. Thread-compatible.
#pragma once

#include <string>

#include "qvlib/DateTime.h"
#include "qvlib/export.h"
#include "qvlib/framework/archive.h"
#include "qvlib/host/com.h"

namespace qvlib
{

/// The date's serial, 8 bytes.
QVLIB_API CArchive & operator<<(CArchive & archive, CDateTime const & date);
QVLIB_API CArchive & operator>>(CArchive & archive, CDateTime & date);

/// A version and the 16 bytes of the identifier. An identifier cut short throws CArchiveException with the cause
/// badClass (not endOfFile: callers depend on it).
QVLIB_API CArchive & SerializeGuid(CArchive & archive, _GUID & guid);

/// A version, a byte for the width of the characters (0 narrow, 1 wide), their count, and the characters: bytes, or
/// UTF-16 units. Either width is read into either string, by way of UTF-8. Characters cut short are those that have
/// arrived. Storing throws CInvalidArgException for a string whose count does not fit 32 bits.
QVLIB_API CArchive & SerializeString(CArchive & archive, std::string & text);
QVLIB_API CArchive & SerializeString(CArchive & archive, std::wstring & text);

/// The version word that heads most records: writes 1, reads 0 or 1, and throws CArchiveException with the cause
/// badSchema for anything above.
QVLIB_API void SerializeVersion(CArchive & archive);

} // namespace qvlib

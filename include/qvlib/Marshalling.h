// CMarshalHelper: variants and strings in a stream, in the library's own record format, so that an object that marshals
// itself can carry its state to another thread. COMObjRef: an object as a display name, and back.
//
//     qvlib::CMarshalHelper::WriteVariantForMarshalling(value, stream, MSHCTX_INPROC, nullptr, MSHLFLAGS_NORMAL);
//     ...
//     qvlib::qrvariant_t received;
//     qvlib::CMarshalHelper::ReadVariantFromMarshalling(received, stream);
//
// Records follow each other, little-endian, without a header:
//  - a string: its length in bytes (4), then its UTF-16 without a terminator; a null string has the length 0;
//  - a variant: its kind (2), then nothing for VT_EMPTY, a string for VT_BSTR, an interface packet for VT_UNKNOWN and
//    VT_DISPATCH, else the value in safearrayvector::GetDataSize bytes (4 for a VT_UI1, of which the first counts);
//  - an array: its kind (2), the number of dimensions (2), for each the count and the lower bound (4 and 4), the last
//    dimension first, then elements, each a whole variant record.
//
// Kept on purpose, since both ends depend on it: an array has as many element records as the counts of its dimensions
// add up to. Of several dimensions so only the first elements travel, and an array that has fewer elements than that,
// such as one of 1 by 5, is refused with E_INVALIDARG.
//
// All operations return the platform's result code, 0 for success, throw nothing, and leave the stream where the
// failure occurred: E_UNEXPECTED at its end within a record, E_NOTIMPL for kinds that do not travel (VT_NULL, VT_CY,
// VT_ERROR), DISP_E_TYPEMISMATCH for an element that is not of its array's kind, E_OUTOFMEMORY also for arrays whose
// size is out of proportion to what arrived: beyond 16 MiB, more than 32 times as much. Records lie in each other at
// most 256 deep (E_UNEXPECTED).
// Thread-safe; the stream belongs to one call at a time.
#pragma once

#include "qvlib/QVString.h"
#include "qvlib/export.h"
#include "qvlib/host/marshal.h"
#include "qvlib/host/variant.h"

namespace qvlib
{

class QVLIB_API CMarshalHelper
{
public:
    /// Adds the bytes that the record takes to `size`.
    static long GetBSTRSizeForMarshalling(wchar_t * text, unsigned long & size);
    static long WriteBSTRForMarshalling(wchar_t * text, IStream * stream);
    /// Frees the old string in `*text` first. A string of no characters comes back as null.
    static long ReadBSTRFromMarshalling(wchar_t ** text, IStream * stream);
    /// Passes over a record.
    static long ReleaseBSTRFromMarshalling(IStream * stream);

    // `destContext`, `destContextData` and `flags` are handed to CoGetMarshalSizeMax and CoMarshalInterface.

    /// Adds to `size` no less than WriteVariantForMarshalling writes.
    static long GetVariantSizeForMarshalling(tagVARIANT const & value, unsigned long & size, unsigned long destContext,
                                             void * destContextData, unsigned long flags);
    static long WriteVariantForMarshalling(tagVARIANT const & value, IStream * stream, unsigned long destContext,
                                           void * destContextData, unsigned long flags);
    /// Replaces the content of a live variant; a failure leaves it.
    static long ReadVariantFromMarshalling(tagVARIANT & value, IStream * stream);
    /// Passes over a record that will not be read, and gives back the references of the packets in it.
    static long ReleaseVariantFromMarshalling(IStream * stream);
};

class QVLIB_API COMObjRef
{
public:
    // Beyond codes, a moniker that the platform does not deliver in spite of its success throws _com_error (E_POINTER).

    /// A name that leads to the object once, and holds it until then. `text` is left as it is after a failure.
    static long MakeDisplayName(IUnknown * object, CQVString & text);
    /// Asks the object of the name for `iid`. 0 for every success.
    static long ParseDisplayName(wchar_t const * text, _GUID const & iid, IUnknown ** object);
};

} // namespace qvlib

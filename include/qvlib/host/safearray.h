// The platform's array record: typed elements in any number of dimensions behind one descriptor.
//
// Dimensions are told first to last in `SafeArrayCreate`, while the descriptor keeps them last to first; elements lie
// with the first dimension moving fastest. An array owns what its elements own: strings, interface references,
// variants.
//
//     SAFEARRAYBOUND bound{3, 0};
//     SAFEARRAY * array = SafeArrayCreate(VT_I4, 1, &bound);
//     void * data = nullptr;
//     SafeArrayAccessData(array, &data);
//     static_cast<LONG *>(data)[0] = 7;
//     SafeArrayUnaccessData(array);
//     SafeArrayDestroy(array);
#pragma once

#if defined(_WIN32)
#include <oleauto.h>
#else

#include "qvlib/export.h"
#include "qvlib/host/types.h"

struct SAFEARRAYBOUND
{
    ULONG cElements;
    LONG lLbound;
};

/// The descriptor. Made by SafeArrayCreate, never by hand: what the elements are is kept in front of it.
struct tagSAFEARRAY
{
    USHORT cDims;
    USHORT fFeatures; ///< FADF_ bits
    ULONG cbElements; ///< size of one element in bytes
    ULONG cLocks;     ///< while not 0, the array cannot be destroyed
    PVOID pvData;
    SAFEARRAYBOUND rgsabound[1]; ///< cDims of them, the last dimension first
};
using SAFEARRAY = tagSAFEARRAY;

constexpr USHORT FADF_HAVEVARTYPE = 0x0080;
constexpr USHORT FADF_BSTR = 0x0100;
constexpr USHORT FADF_UNKNOWN = 0x0200;
constexpr USHORT FADF_DISPATCH = 0x0400;
constexpr USHORT FADF_VARIANT = 0x0800;

constexpr HRESULT DISP_E_BADINDEX = static_cast<HRESULT>(0x8002000BU);
constexpr HRESULT DISP_E_ARRAYISLOCKED = static_cast<HRESULT>(0x8002000DU);

/// An array of zeroed elements. Null for a type that cannot be an element, no dimensions, a size beyond 2 GB, or no
/// memory.
QVLIB_API SAFEARRAY * SafeArrayCreate(unsigned short vt, UINT dimensions, SAFEARRAYBOUND * bounds);
/// The same with one dimension.
QVLIB_API SAFEARRAY * SafeArrayCreateVector(unsigned short vt, LONG lowerBound, ULONG elements);
/// Ends the array and all that its elements own. DISP_E_ARRAYISLOCKED while someone has its data; null does nothing.
QVLIB_API HRESULT SafeArrayDestroy(SAFEARRAY * array);
/// Ends what the elements own and zeroes them; the array keeps its shape. E_INVALIDARG for null, DISP_E_ARRAYISLOCKED
/// while someone has the data.
QVLIB_API HRESULT SafeArrayDestroyData(SAFEARRAY * array);
/// A copy that owns copies of the elements. A null source gives a null copy.
QVLIB_API HRESULT SafeArrayCopy(SAFEARRAY * source, SAFEARRAY ** copy);
/// Replaces the elements of `target` by copies of those of `source`. E_INVALIDARG unless both have the same kind of
/// element and the same count in every dimension; bounds may differ. Strong: a failure leaves `target`.
QVLIB_API HRESULT SafeArrayCopyData(SAFEARRAY * source, SAFEARRAY * target);
/// Gives the last dimension, the one that moves slowest, new bounds. Elements that are cut off end, new ones are zero.
/// DISP_E_ARRAYISLOCKED while someone has the data, E_OUTOFMEMORY when it finds no room; the array then stays.
QVLIB_API HRESULT SafeArrayRedim(SAFEARRAY * array, SAFEARRAYBOUND * lastBound);

/// 0 for null.
QVLIB_API UINT SafeArrayGetDim(SAFEARRAY * array);
/// Bytes of an element; 0 for null.
QVLIB_API UINT SafeArrayGetElemsize(SAFEARRAY * array);
/// The kind of the elements.
QVLIB_API HRESULT SafeArrayGetVartype(SAFEARRAY * array, unsigned short * vt);
/// Bounds of a dimension, counted from 1. DISP_E_BADINDEX for a dimension that is not there. The upper bound of a
/// dimension without elements is one below the lower.
QVLIB_API HRESULT SafeArrayGetLBound(SAFEARRAY * array, UINT dimension, LONG * bound);
QVLIB_API HRESULT SafeArrayGetUBound(SAFEARRAY * array, UINT dimension, LONG * bound);

/// Counts one more who has the array's data: while there is one, it is neither destroyed nor resized. E_UNEXPECTED at
/// 65535. Thread-compatible, as all functions here.
QVLIB_API HRESULT SafeArrayLock(SAFEARRAY * array);
/// Counts one less. E_UNEXPECTED when nobody has the data.
QVLIB_API HRESULT SafeArrayUnlock(SAFEARRAY * array);
/// Locks the array and gives its first element. Each call wants one SafeArrayUnaccessData.
QVLIB_API HRESULT SafeArrayAccessData(SAFEARRAY * array, void ** data);
QVLIB_API HRESULT SafeArrayUnaccessData(SAFEARRAY * array);

// One element, by an index for each dimension, the first dimension first. DISP_E_BADINDEX for an index outside the
// bounds. A text, object or variant is copied in both ways: the caller owns what it is given, and the array a copy of
// what it is handed.

/// Where the element lies. Lock the array first.
QVLIB_API HRESULT SafeArrayPtrOfIndex(SAFEARRAY * array, LONG * indices, void ** element);
/// Stores a copy of the element in `value`, a place of the element's kind whose old content is not looked at.
QVLIB_API HRESULT SafeArrayGetElement(SAFEARRAY * array, LONG * indices, void * value);
/// Replaces the element. `value` points to a value of the element's kind, except that a text or an object is handed
/// over itself: the BSTR, the interface pointer. Strong: a failure leaves the element.
QVLIB_API HRESULT SafeArrayPutElement(SAFEARRAY * array, LONG * indices, void * value);

#endif

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
/// A copy that owns copies of the elements. A null source gives a null copy.
QVLIB_API HRESULT SafeArrayCopy(SAFEARRAY * source, SAFEARRAY ** copy);

QVLIB_API UINT SafeArrayGetDim(SAFEARRAY * array);
QVLIB_API UINT SafeArrayGetElemsize(SAFEARRAY * array);
QVLIB_API HRESULT SafeArrayGetVartype(SAFEARRAY * array, unsigned short * vt);
/// Bounds of a dimension, counted from 1. DISP_E_BADINDEX for a dimension that is not there.
QVLIB_API HRESULT SafeArrayGetLBound(SAFEARRAY * array, UINT dimension, LONG * bound);
QVLIB_API HRESULT SafeArrayGetUBound(SAFEARRAY * array, UINT dimension, LONG * bound);

/// Locks the array and gives its first element. Each call wants one SafeArrayUnaccessData. Thread-compatible.
QVLIB_API HRESULT SafeArrayAccessData(SAFEARRAY * array, void ** data);
QVLIB_API HRESULT SafeArrayUnaccessData(SAFEARRAY * array);

#endif

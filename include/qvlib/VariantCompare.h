// Two total orders over texts and variants, for sorted containers.
//
// TLCompareVariantLess is quick and total rather than meaningful: kinds are not converted into each other, texts stand
// by length first, and currencies and decimals by their bytes. VarCmp, and with it qrvariant_t's operator <, compares
// by meaning.
//
//     std::set<tagVARIANT const *, decltype(&qvlib::TLCompareVariantLess)> sorted(&qvlib::TLCompareVariantLess);
//
// Thread rule: thread-compatible.
#pragma once

#include "qvlib/export.h"
#include "qvlib/host/variant.h"

namespace qvlib
{

/// -1, 0 or 1 for two counted strings, character by character, a prefix below what it begins. Null is the empty string.
QVLIB_API int TLCompareBSTR(wchar_t * a, wchar_t * b);

/// Whether `a` stands before `b`. Different kinds stand by their codes, VT_INT taken as VT_I4 and VT_UINT as VT_UI4.
/// Equal kinds compare as numbers of their type (objects by address); VT_CY and VT_DECIMAL by their bytes in memory,
/// and VT_BSTR by length, then by its bytes. A not-a-number stands neither before nor behind anything. Throws
/// E_INVALIDARG as _com_error for two of any other kind, arrays and references included, and E_POINTER for a null
/// pointer beside another.
QVLIB_API bool TLCompareVariantLess(tagVARIANT const * a, tagVARIANT const * b);

} // namespace qvlib

// Class identifiers, program identifiers and their texts; text and numbers from variants.
//
// Each conversion of an identifier has two forms. One returns the result and throws the OLE exception with the failing
// code; the other stores the result behind the last argument and returns the code, leaving the argument alone on
// failure.
//
//     _GUID const id = qvlib::AsGUID(L"{7ceeacb2-d59e-11d3-8394-00c04f7bdf10}");
//     qvlib::CQVString name;
//     if (FAILED(qvlib::AsProgID(id, name)))
//         qvlib::AsString(name, id);
//
// Thread rule: thread-safe.
#pragma once

#include "qvlib/QVString.h"
#include "qvlib/export.h"
#include "qvlib/host/com.h"

namespace qvlib
{

/// From an identifier's text "{...}" or a registered program identifier.
QVLIB_API _GUID AsGUID(wchar_t const * text);
QVLIB_API HRESULT AsGUID(wchar_t const * text, _GUID & out);
/// From an identifier's text alone.
QVLIB_API _GUID AsGUIDFromGuidString(wchar_t const * text);
QVLIB_API HRESULT AsGUIDFromGuidString(wchar_t const * text, _GUID & out);
/// From a registered program identifier alone.
QVLIB_API _GUID AsGUIDFromProgID(wchar_t const * progId);
QVLIB_API HRESULT AsGUIDFromProgID(wchar_t const * progId, _GUID & out);
/// The text of the identifier that a program identifier stands for.
QVLIB_API CQVString AsGUIDStringFromProgID(wchar_t const * progId);
QVLIB_API HRESULT AsGUIDStringFromProgID(wchar_t const * progId, CQVString & out);
/// The program identifier of a registered class.
QVLIB_API CQVString AsProgID(_GUID const & id);
QVLIB_API HRESULT AsProgID(_GUID const & id, CQVString & out);
/// The program identifier of the class with that text, or the text itself when there is none. Never fails.
QVLIB_API CQVString AsProgID(wchar_t const * text);
QVLIB_API HRESULT AsProgID(wchar_t const * text, CQVString & out);
/// The same with failures reported.
QVLIB_API CQVString AsProgIDFromGuidString(wchar_t const * text);
QVLIB_API HRESULT AsProgIDFromGuidString(wchar_t const * text, CQVString & out);

/// The identifier's text with capital digits. Assigns to `out` and returns it.
QVLIB_API CQVString & AsString(CQVString & out, _GUID const & id);
/// The text of a VT_BSTR; `out` is emptied for any other kind.
QVLIB_API CQVString & AsString(CQVString & out, tagVARIANT const & value);
/// The variant as an unsigned 32-bit number, converted where it is not one. False, and `out` unchanged, when it cannot
/// be.
QVLIB_API bool AsULong(tagVARIANT const & value, unsigned long & out);

} // namespace qvlib

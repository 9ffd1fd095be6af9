// Display names of objects: a reference as text, within the process.
//
//     IMoniker * moniker = nullptr;
//     CreateObjrefMoniker(object, &moniker);
//     moniker->GetDisplayName(context, nullptr, &text); // "objref:...:", freed with CoTaskMemFree
//
// A display name holds a reference as an interface packet does (see <qvlib/host/marshal.h>): from the moment it is made
// until it is bound, which it can be once. Of the platform's names those of objects alone are understood.
#pragma once

#if defined(_WIN32)
#include <objidl.h>
#else

#include "qvlib/host/com.h"

constexpr HRESULT MK_E_SYNTAX = static_cast<HRESULT>(0x800401E4U); ///< not the name of an object

/// What a binding goes on in. Nothing of it is used here.
struct IBindCtx : IUnknown
{
protected:
    ~IBindCtx() = default;
};

/// A name that leads to an object.
struct IMoniker : IUnknown
{
    /// Asks the object for `iid`. `left` is null.
    virtual HRESULT STDMETHODCALLTYPE BindToObject(IBindCtx * context, IMoniker * left, REFIID iid, void ** object) = 0;
    /// The name as text, for the caller to free with CoTaskMemFree. Each call makes a name of its own.
    virtual HRESULT STDMETHODCALLTYPE GetDisplayName(IBindCtx * context, IMoniker * left, LPOLESTR * name) = 0;

protected:
    ~IMoniker() = default;
};

inline constexpr IID IID_IBindCtx{0x0000000E, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
inline constexpr IID IID_IMoniker{0x0000000F, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
template <>
inline constexpr IID qvlib::host::kInterfaceId<IBindCtx> = IID_IBindCtx;
template <>
inline constexpr IID qvlib::host::kInterfaceId<IMoniker> = IID_IMoniker;

/// `reserved` is 0.
QVLIB_API HRESULT CreateBindCtx(DWORD reserved, IBindCtx ** context);
/// A moniker that holds the object. E_INVALIDARG for null.
QVLIB_API HRESULT CreateObjrefMoniker(IUnknown * object, IMoniker ** moniker);
/// The moniker of a display name. `eaten` receives how much of the text belongs to the name. MK_E_SYNTAX for any other
/// text; whether the name still leads to an object shows when it is bound.
QVLIB_API HRESULT MkParseDisplayName(IBindCtx * context, LPCOLESTR text, ULONG * eaten, IMoniker ** moniker);

#endif

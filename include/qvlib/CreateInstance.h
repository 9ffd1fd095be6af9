// Making objects of classes that demand something of their caller: a licence key or an authentication string.
//
//     void * object = nullptr;
//     HRESULT const result = qvlib::CoCreateInstanceLic(kReportClass, nullptr, CLSCTX_ALL, L"key", IID_IUnknown,
//     &object);
//
// As CoCreateInstance, both give REGDB_E_CLASSNOTREG for a class that nobody registered, and leave null behind a
// failure. A class whose class object does not take what is offered gives E_NOINTERFACE. Thread-safe.
#pragma once

#include "qvlib/export.h"
#include "qvlib/host/com.h"

namespace qvlib
{

/// What the class object of a class answers for when it makes objects for callers that it knows.
struct ITLAuthenticatingClassFactory : IUnknown
{
    /// E_ACCESSDENIED for a string that it does not accept.
    virtual HRESULT STDMETHODCALLTYPE CreateInstanceAuthenticate(IUnknown * outer, REFIID iid,
                                                                 wchar_t const * authentication, void ** object) = 0;

protected:
    ~ITLAuthenticatingClassFactory() = default;
};

inline constexpr IID IID_ITLAuthenticatingClassFactory{
    0x7CEEACC4, 0xD59E, 0x11D3, {0x83, 0x94, 0x00, 0xC0, 0x4F, 0x7B, 0xDF, 0x10}};

/// Makes an object through ITLAuthenticatingClassFactory. A null string is the empty one.
QVLIB_API HRESULT CoCreateInstanceAuthenticate(REFCLSID clsid, IUnknown * outer, DWORD context,
                                               wchar_t const * authentication, REFIID iid, void ** object);
/// Makes an object through IClassFactory2 with a licence key. A null key is the empty one.
QVLIB_API HRESULT CoCreateInstanceLic(REFCLSID clsid, IUnknown * outer, DWORD context, wchar_t const * key, REFIID iid,
                                      void ** object);

} // namespace qvlib

template <>
inline constexpr IID qvlib::host::kInterfaceId<qvlib::ITLAuthenticatingClassFactory> =
    qvlib::IID_ITLAuthenticatingClassFactory;

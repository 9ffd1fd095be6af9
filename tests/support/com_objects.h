// Objects and helpers that the tests of COM types share.
#pragma once

#include "qvlib/framework/comutil.h"

namespace qvlib_test
{

/// The code of the COM exception that a call throws, S_OK when it throws none.
template <class Call>
HRESULT Thrown(Call const & call)
{
    try
    {
        call();
        return S_OK;
    }
    catch (_com_error const & error)
    {
        return error.Error();
    }
}

/// Counts the references to it and ends with its scope; gives no interface.
template <class Interface>
struct CountedAs : Interface
{
    virtual ~CountedAs() = default;
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void ** object) override
    {
        *object = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
    ULONG STDMETHODCALLTYPE Release() override { return --references; }
    ULONG references = 1;
};
using Counted = CountedAs<IUnknown>;

/// A late-bound object without members.
template <class Base>
struct WithoutMembers : Base
{
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo **) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR *, UINT, LCID, DISPID *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS *, VARIANT *, EXCEPINFO *, UINT *) override
    {
        return E_NOTIMPL;
    }
};

} // namespace qvlib_test

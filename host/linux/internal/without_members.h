// Objects whose interface derives from IDispatch for the callers' sake only.
#pragma once

#include "qvlib/detail/counted.h"
#include "qvlib/host/variant.h"

namespace qvlib::host
{

/// Counted, and late-bound callers find no members: the object is used through its own interface.
template <class Interface>
class WithoutMembers : public detail::Counted<Interface>
{
public:
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT * count) override
    {
        if (count == nullptr)
            return E_POINTER;
        *count = 0;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo ** info) override
    {
        if (info != nullptr)
            *info = nullptr;
        return DISP_E_BADINDEX;
    }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR *, UINT count, LCID, DISPID * ids) override
    {
        for (UINT i = 0; ids != nullptr && i < count; ++i)
            ids[i] = DISPID_UNKNOWN;
        return DISP_E_UNKNOWNNAME;
    }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS *, VARIANT *, EXCEPINFO *, UINT *) override
    {
        return DISP_E_MEMBERNOTFOUND;
    }
};

/// Makes an object with its one reference and asks it for an interface. E_OUTOFMEMORY when there is none to be had.
template <class Object>
HRESULT HandOut(Object * created, REFIID iid, void ** object)
{
    if (created == nullptr)
        return E_OUTOFMEMORY;
    HRESULT const result = created->QueryInterface(iid, object);
    created->Release();
    return result;
}

} // namespace qvlib::host

#include "qvlib/CreateInstance.h"

#include "qvlib/framework/comutil.h"

namespace qvlib
{

namespace
{

/// Has `create` make an object with the class object's interface Factory.
template <class Factory, class Create>
HRESULT CreateWith(REFCLSID clsid, DWORD context, void ** object, Create const & create)
{
    if (object == nullptr)
        return E_POINTER;
    *object = nullptr;
    void * found = nullptr;
    if (HRESULT const result = CoGetClassObject(clsid, context, nullptr, host::kInterfaceId<Factory>, &found);
        FAILED(result))
        return result;
    _com_ptr_t<Factory> const factory(static_cast<Factory *>(found), false);
    HRESULT const result = create(*factory);
    if (FAILED(result))
        *object = nullptr;
    return result;
}

} // namespace

HRESULT CoCreateInstanceAuthenticate(REFCLSID clsid, IUnknown * outer, DWORD context, wchar_t const * authentication,
                                     REFIID iid, void ** object)
{
    return CreateWith<ITLAuthenticatingClassFactory>(clsid, context, object,
                                                     [&](ITLAuthenticatingClassFactory & factory) {
                                                         return factory.CreateInstanceAuthenticate(
                                                             outer, iid,
                                                             authentication != nullptr ? authentication : L"", object);
                                                     });
}

HRESULT CoCreateInstanceLic(REFCLSID clsid, IUnknown * outer, DWORD context, wchar_t const * key, REFIID iid,
                            void ** object)
{
    return CreateWith<IClassFactory2>(clsid, context, object,
                                      [&](IClassFactory2 & factory)
                                      {
                                          BSTR const text = SysAllocString(key != nullptr ? key : L"");
                                          if (text == nullptr)
                                              return E_OUTOFMEMORY;
                                          HRESULT const result =
                                              factory.CreateInstanceLic(outer, nullptr, iid, text, object);
                                          SysFreeString(text);
                                          return result;
                                      });
}

} // namespace qvlib

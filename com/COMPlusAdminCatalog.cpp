#include "qvlib/COMPlusAdminCatalog.h"

#include "qvlib/framework/exceptions.h"
#include "qvlib/framework/olesafearray.h"

namespace qvlib
{
namespace
{

void Report(long * result, HRESULT code) noexcept
{
    if (result != nullptr)
        *result = code;
}

/// Asks what a call of the catalog gave for the interface wanted. A success that gave nothing is E_POINTER.
template <class Interface>
_com_ptr_t<Interface> Wanted(HRESULT code, _com_ptr_t<IDispatch> const & given, long * result)
{
    _com_ptr_t<Interface> wanted;
    if (code == S_OK)
    {
        Interface * found = nullptr;
        code =
            given ? given->QueryInterface(host::kInterfaceId<Interface>, reinterpret_cast<void **>(&found)) : E_POINTER;
        wanted.Attach(found);
    }
    Report(result, code);
    return wanted;
}

/// One key, as PopulateByKey takes it.
void MakeKeyArray(COleSafeArray & keys, wchar_t const * key)
{
    qrvariant_t element(key);
    try
    {
        long const first = 0;
        keys.CreateOneDim(VT_VARIANT, 1);
        keys.PutElement(&first, static_cast<tagVARIANT *>(element));
    }
    catch (CException const &)
    {
        _com_issue_error(E_OUTOFMEMORY);
    }
}

} // namespace

_com_ptr_t<ICOMAdminCatalog> COMPlusAdminCatalog::GetAdminCatalog(long * result)
{
    _com_ptr_t<ICOMAdminCatalog> catalog;
    _com_ptr_t<IUnknown> object;
    HRESULT code = object.CreateInstance(CLSID_COMAdminCatalog, nullptr, CLSCTX_ALL);
    if (SUCCEEDED(code))
        code = OleRun(object);
    if (SUCCEEDED(code))
    {
        ICOMAdminCatalog * found = nullptr;
        code = object.QueryInterface(IID_ICOMAdminCatalog, found);
        catalog.Attach(found);
    }
    Report(result, code);
    return catalog;
}

_com_ptr_t<ICatalogCollection> COMPlusAdminCatalog::GetCatalogCollection(wchar_t const * name, long * result)
{
    _com_ptr_t<ICOMAdminCatalog> const catalog = GetAdminCatalog(result);
    return catalog ? GetCatalogCollection(name, catalog, result) : nullptr;
}

_com_ptr_t<ICatalogCollection> COMPlusAdminCatalog::GetCatalogCollection(wchar_t const * name,
                                                                         ICOMAdminCatalog * catalog, long * result)
{
    _com_ptr_t<IDispatch> found;
    HRESULT const code = catalog != nullptr ? catalog->GetCollection(_bstr_t(name), &found) : E_POINTER;
    return Wanted<ICatalogCollection>(code, found, result);
}

_com_ptr_t<ICatalogObject> COMPlusAdminCatalog::AddCatalogObject(ICatalogCollection * collection, long * result)
{
    _com_ptr_t<IDispatch> added;
    HRESULT const code = collection != nullptr ? collection->Add(&added) : E_POINTER;
    return Wanted<ICatalogObject>(code, added, result);
}

bool COMPlusAdminCatalog::SetCatalogObjectValue(ICatalogObject * object, wchar_t const * name, tagVARIANT const & value,
                                                long * result)
{
    HRESULT const code = object != nullptr ? object->put_Value(_bstr_t(name), value) : E_POINTER;
    Report(result, code);
    return code == S_OK;
}

bool COMPlusAdminCatalog::SetCatalogObjectValue(ICatalogObject * object, wchar_t const * name,
                                                qrvariant_t const & value, long * result)
{
    return SetCatalogObjectValue(object, name, static_cast<tagVARIANT const &>(value), result);
}

long COMPlusAdminCatalog::CreateApplication(wchar_t const * id, wchar_t const * name, wchar_t const * description)
{
    long result = E_UNEXPECTED;
    _com_ptr_t<ICatalogCollection> const applications = GetCatalogCollection(L"Applications", &result);
    if (result != S_OK)
        return result;
    _com_ptr_t<ICatalogObject> const application = AddCatalogObject(applications, &result);
    if (result != S_OK || !SetCatalogObjectValue(application, L"ID", qrvariant_t(id), &result) ||
        !SetCatalogObjectValue(application, L"Name", qrvariant_t(name), &result) ||
        !SetCatalogObjectValue(application, L"Description", qrvariant_t(description), &result) ||
        !SetCatalogObjectValue(application, L"Activation", qrvariant_t(0), &result))
        return result;
    long changes = 0;
    return applications->SaveChanges(&changes);
}

long COMPlusAdminCatalog::RemoveApplication(wchar_t const * id) { return RemoveCatalogObject(L"Applications", id); }

long COMPlusAdminCatalog::InstallEventClass(wchar_t const * application, wchar_t const * dll,
                                            wchar_t const * typeLibrary, wchar_t const * proxyStubDll)
{
    long result = E_UNEXPECTED;
    _com_ptr_t<ICOMAdminCatalog> const catalog = GetAdminCatalog(&result);
    if (!catalog)
        return result;
    return catalog->InstallEventClass(_bstr_t(application), _bstr_t(dll), _bstr_t(typeLibrary), _bstr_t(proxyStubDll));
}

long COMPlusAdminCatalog::CreateTransientSubscription(IUnknown * subscriber, wchar_t const * eventClassId,
                                                      CQVString & subscriptionId)
{
    long result = E_UNEXPECTED;
    _com_ptr_t<ICatalogCollection> const subscriptions = GetCatalogCollection(L"TransientSubscriptions", &result);
    if (result != S_OK)
        return result;
    _com_ptr_t<ICatalogObject> const subscription = AddCatalogObject(subscriptions, &result);
    if (result != S_OK ||
        !SetCatalogObjectValue(subscription, L"SubscriberInterface", qrvariant_t(subscriber), &result) ||
        !SetCatalogObjectValue(subscription, L"EventCLSID", qrvariant_t(eventClassId), &result))
        return result;
    long changes = 0;
    result = subscriptions->SaveChanges(&changes);
    if (result != S_OK)
        return result;
    if (changes != 1)
        return E_UNEXPECTED;
    qrvariant_t key;
    if (SUCCEEDED(subscription->get_Key(key)))
        subscriptionId = key.ToString();
    return S_OK;
}

long COMPlusAdminCatalog::RemoveTransientSubscription(wchar_t const * subscriptionId)
{
    return RemoveCatalogObject(L"TransientSubscriptions", subscriptionId);
}

long COMPlusAdminCatalog::RemoveCatalogObject(wchar_t const * collection, wchar_t const * key)
{
    long result = E_UNEXPECTED;
    _com_ptr_t<ICatalogCollection> const objects = GetCatalogCollection(collection, &result);
    if (result != S_OK)
        return result;
    COleSafeArray keys;
    MakeKeyArray(keys, key);
    result = objects->PopulateByKey(keys.parray);
    if (result != S_OK)
        return result;
    long count = 0;
    result = objects->get_Count(&count);
    if (result != S_OK)
        return result;
    if (count != 1)
        return S_FALSE;
    result = objects->Remove(0);
    if (result != S_OK)
        return result;
    long changes = 0;
    result = objects->SaveChanges(&changes);
    if (result != S_OK)
        return result;
    return changes == 1 ? S_OK : E_UNEXPECTED;
}

} // namespace qvlib

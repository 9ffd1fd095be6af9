// The class objects of this process.

#include "host/linux/internal/catalog.h"
#include "host/linux/internal/mutex.h"
#include "host/linux/internal/properties_list.h"
#include "qvlib/host/com.h"
#include "qvlib/host/comadmin.h"

#include <algorithm>
#include <vector>

namespace
{

struct BuiltInClass
{
    CLSID clsid;
    HRESULT (*create)(REFIID iid, void ** object);
};

constexpr BuiltInClass kBuiltIn[] = {
    {QRGenObjsLib::CLSID_QRProperties, qvlib::host::CreatePropertiesList},
    {CLSID_COMAdminCatalog, qvlib::host::CreateCatalog},
};

struct Registration
{
    CLSID clsid;
    IClassFactory * factory;
    DWORD cookie;
};

struct ClassTable
{
    qvlib::host::Mutex lock;
    std::vector<Registration> classes QVLIB_GUARDED_BY(lock);
    DWORD lastCookie QVLIB_GUARDED_BY(lock) = 0;
};

/// Never destroyed, so that objects may still be made while the program ends.
ClassTable & Table()
{
    static ClassTable & table = *new ClassTable;
    return table;
}

/// The latest factory of a class, with a reference for the caller, or null.
IClassFactory * FindFactory(REFCLSID clsid)
{
    ClassTable & table = Table();
    qvlib::host::MutexLock const guard(table.lock);
    auto const found = std::find_if(table.classes.rbegin(), table.classes.rend(),
                                    [&](Registration const & entry) { return entry.clsid == clsid; });
    if (found == table.classes.rend())
        return nullptr;
    found->factory->AddRef();
    return found->factory;
}

} // namespace

HRESULT CoRegisterClassObject(REFCLSID clsid, IUnknown * factory, DWORD, DWORD, DWORD * cookie)
{
    if (factory == nullptr || cookie == nullptr)
        return E_INVALIDARG;
    *cookie = 0;
    void * found = nullptr;
    if (HRESULT const result = factory->QueryInterface(IID_IClassFactory, &found); FAILED(result))
        return result;
    auto * const classFactory = static_cast<IClassFactory *>(found);
    try
    {
        ClassTable & table = Table();
        qvlib::host::MutexLock const guard(table.lock);
        table.classes.push_back({clsid, classFactory, table.lastCookie + 1});
        *cookie = ++table.lastCookie;
        return S_OK;
    }
    catch (std::bad_alloc const &)
    {
        classFactory->Release();
        return E_OUTOFMEMORY;
    }
}

HRESULT CoRevokeClassObject(DWORD cookie)
{
    IClassFactory * factory = nullptr;
    {
        ClassTable & table = Table();
        qvlib::host::MutexLock const guard(table.lock);
        auto const found = std::find_if(table.classes.begin(), table.classes.end(),
                                        [&](Registration const & entry) { return entry.cookie == cookie; });
        if (found == table.classes.end())
            return E_INVALIDARG;
        factory = found->factory;
        table.classes.erase(found);
    }
    factory->Release(); // outside the lock: the factory may end here and come back to the table
    return S_OK;
}

HRESULT CoCreateInstance(REFCLSID clsid, IUnknown * outer, DWORD, REFIID iid, LPVOID * object)
{
    if (object == nullptr)
        return E_POINTER;
    *object = nullptr;
    if (IClassFactory * const factory = FindFactory(clsid))
    {
        HRESULT const result = factory->CreateInstance(outer, iid, object);
        factory->Release();
        return result;
    }
    for (BuiltInClass const & known : kBuiltIn)
        if (known.clsid == clsid)
            return outer != nullptr ? CLASS_E_NOAGGREGATION : known.create(iid, object);
    return REGDB_E_CLASSNOTREG;
}

HRESULT OleRun(IUnknown * object) { return object != nullptr ? S_OK : E_INVALIDARG; }

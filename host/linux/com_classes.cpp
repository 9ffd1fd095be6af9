// The class objects of this process.

#include "host/linux/internal/catalog.h"
#include "host/linux/internal/mutex.h"
#include "host/linux/internal/properties_list.h"
#include "qvlib/detail/counted.h"
#include "qvlib/host/com.h"
#include "qvlib/host/comadmin.h"

#include <algorithm>
#include <new>
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

/// The class object of a built-in class.
class BuiltInFactory final : public qvlib::detail::Counted<IClassFactory>
{
public:
    explicit BuiltInFactory(BuiltInClass const & known) noexcept : m_class(known) {}

    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown * outer, REFIID iid, void ** object) override
    {
        if (object == nullptr)
            return E_POINTER;
        *object = nullptr;
        return outer != nullptr ? CLASS_E_NOAGGREGATION : m_class.create(iid, object);
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; } // the library stays

private:
    ~BuiltInFactory() override = default;

    BuiltInClass const & m_class;
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

HRESULT CoGetClassObject(REFCLSID clsid, DWORD, LPVOID server, REFIID iid, LPVOID * object)
{
    if (object == nullptr)
        return E_POINTER;
    *object = nullptr;
    if (server != nullptr)
        return E_INVALIDARG;
    IClassFactory * factory = FindFactory(clsid);
    for (BuiltInClass const & known : kBuiltIn)
        if (factory == nullptr && known.clsid == clsid)
        {
            factory = new (std::nothrow) BuiltInFactory(known);
            if (factory == nullptr)
                return E_OUTOFMEMORY;
        }
    if (factory == nullptr)
        return REGDB_E_CLASSNOTREG;
    HRESULT const result = factory->QueryInterface(iid, object);
    factory->Release();
    return result;
}

HRESULT CoCreateInstance(REFCLSID clsid, IUnknown * outer, DWORD context, REFIID iid, LPVOID * object)
{
    if (object == nullptr)
        return E_POINTER;
    *object = nullptr;
    void * factory = nullptr;
    if (HRESULT const result = CoGetClassObject(clsid, context, nullptr, IID_IClassFactory, &factory); FAILED(result))
        return result;
    HRESULT const result = static_cast<IClassFactory *>(factory)->CreateInstance(outer, iid, object);
    static_cast<IClassFactory *>(factory)->Release();
    return result;
}

HRESULT OleRun(IUnknown * object) { return object != nullptr ? S_OK : E_INVALIDARG; }

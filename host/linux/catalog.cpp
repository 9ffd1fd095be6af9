#include "host/linux/internal/catalog.h"

#include "host/linux/internal/catalog_store.h"
#include "host/linux/internal/without_members.h"
#include "qvlib/host/crt.h"
#include "qvlib/host/path.h"

#include <algorithm>
#include <filesystem>
#include <new>
#include <random>
#include <utility>

namespace
{

using qvlib::host::CatalogProperty;
using qvlib::host::CatalogRecord;
using qvlib::host::CatalogStore;
using qvlib::host::OwnedVariant;

/// Nothing is thrown through the platform's interfaces.
template <class Work>
HRESULT Guarded(Work const & work) noexcept
{
    try
    {
        return work();
    }
    catch (std::bad_alloc const &)
    {
        return E_OUTOFMEMORY;
    }
    catch (...)
    {
        return E_FAIL;
    }
}

/// A random identifier, RFC 9562 version 4.
std::wstring NewKey()
{
    std::random_device source;
    GUID id;
    std::uint32_t const words[] = {source(), source(), source(), source()};
    static_assert(sizeof words == sizeof id);
    std::memcpy(&id, words, sizeof id);
    id.Data3 = static_cast<std::uint16_t>((id.Data3 & 0x0FFF) | 0x4000);
    id.Data4[0] = static_cast<std::uint8_t>((id.Data4[0] & 0x3F) | 0x80);
    wchar_t text[39];
    StringFromGUID2(id, text, static_cast<int>(std::size(text)));
    return text;
}

HRESULT GiveText(std::wstring_view text, VARIANT * value)
{
    if (value == nullptr)
        return E_POINTER;
    OwnedVariant made;
    if (HRESULT const result = SetText(made, text); FAILED(result))
        return result;
    *value = *made.Get();
    VariantInit(made.Get());
    return S_OK;
}

class CatalogObject final : public qvlib::host::WithoutMembers<ICatalogObject>
{
public:
    CatalogObject(std::shared_ptr<CatalogStore> store, CatalogRecord record, bool saved)
        : m_store(std::move(store)), m_record(std::move(record)), m_changed(m_record.values.size()), m_saved(saved)
    {
    }

    HRESULT STDMETHODCALLTYPE get_Value(BSTR name, VARIANT * value) override
    {
        if (value == nullptr)
            return E_POINTER;
        VariantInit(value);
        int const place = m_store->Find(name);
        if (place < 0)
            return E_INVALIDARG;
        CatalogProperty const & property = m_store->Properties()[static_cast<std::size_t>(place)];
        VARIANT const & stored = *m_record.values[static_cast<std::size_t>(place)].Get();
        if (stored.vt != VT_EMPTY)
            return VariantCopy(value, &stored);
        value->vt = property.type == VT_BSTR || property.type == VT_UNKNOWN ? VARTYPE{VT_EMPTY} : property.type;
        if (property.type == VT_BOOL)
            value->boolVal = static_cast<VARIANT_BOOL>(property.value);
        else
            value->lVal = property.value;
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE put_Value(BSTR name, VARIANT value) override
    {
        int const found = m_store->Find(name);
        if (found < 0)
            return E_INVALIDARG;
        auto const place = static_cast<std::size_t>(found);
        CatalogProperty const & property = m_store->Properties()[place];
        if ((property.flags & CatalogProperty::kKey) != 0 && m_saved)
            return COMADMIN_E_NOTCHANGEABLE;
        OwnedVariant taken;
        if (HRESULT const result = VariantChangeType(taken.Get(), &value, 0, property.type); FAILED(result))
            return result;
        VARIANT const & converted = *taken.Get();
        if (property.type == VT_UNKNOWN && converted.punkVal == nullptr)
            return E_INVALIDARG;
        if ((property.flags & CatalogProperty::kChoice) != 0 && converted.lVal != 0 && converted.lVal != 1)
            return E_INVALIDARG;
        return Guarded(
            [&]() -> HRESULT
            {
                std::wstring key;
                if ((property.flags & CatalogProperty::kGuid) != 0 && !qvlib::host::CatalogKey(converted.bstrVal, key))
                    return E_INVALIDARG;
                if ((property.flags & CatalogProperty::kKey) != 0)
                    m_record.key = key;
                m_record.values[place] = std::move(taken);
                m_changed[place] = true;
                return S_OK;
            });
    }

    HRESULT STDMETHODCALLTYPE get_Key(VARIANT * key) override { return GiveText(m_record.key, key); }

    HRESULT STDMETHODCALLTYPE get_Name(VARIANT * name) override
    {
        wchar_t property[] = L"Name";
        return get_Value(property, name);
    }

    HRESULT STDMETHODCALLTYPE get_Valid(VARIANT_BOOL * valid) override
    {
        if (valid == nullptr)
            return E_POINTER;
        *valid = m_valid ? VARIANT_TRUE : VARIANT_FALSE;
        return S_OK;
    }

    std::wstring const & Key() const noexcept { return m_record.key; }
    bool IsSaved() const noexcept { return m_saved; }
    bool IsChanged() const { return std::find(m_changed.begin(), m_changed.end(), true) != m_changed.end(); }
    void Invalidate() noexcept { m_valid = false; }

    /// Whether the object may be written as it is.
    HRESULT Check() const
    {
        for (std::size_t i = 0; i < m_record.values.size(); ++i)
            if ((m_store->Properties()[i].flags & CatalogProperty::kRequired) != 0 &&
                m_record.values[i].Get()->vt == VT_EMPTY)
                return COMADMIN_E_OBJECTINVALID;
        return m_saved ? Allows(L"Changeable", COMADMIN_E_NOTCHANGEABLE) : S_OK;
    }
    HRESULT CheckRemoval() const { return Allows(L"Deleteable", COMADMIN_E_NOTDELETEABLE); }

    HRESULT Save()
    {
        HRESULT const result = m_saved ? m_store->Update(m_record, m_changed) : m_store->Insert(m_record);
        if (FAILED(result))
            return result;
        m_saved = true;
        m_changed.assign(m_changed.size(), false);
        return S_OK;
    }

private:
    /// Asks what is stored, not what is about to be: an object that may not be changed may be made changeable first.
    HRESULT Allows(wchar_t const * permission, HRESULT refusal) const
    {
        int const place = m_store->Find(permission);
        if (place < 0)
            return S_OK;
        CatalogRecord stored;
        if (HRESULT const result = m_store->Load(m_record.key, stored); FAILED(result))
            return result;
        VARIANT const & allowed = *stored.values[static_cast<std::size_t>(place)].Get();
        bool const lifted = m_changed[static_cast<std::size_t>(place)];
        return lifted || allowed.vt != VT_BOOL || allowed.boolVal != VARIANT_FALSE ? S_OK : refusal;
    }

    std::shared_ptr<CatalogStore> m_store;
    CatalogRecord m_record;
    std::vector<bool> m_changed;
    bool m_saved;
    bool m_valid = true;
};

/// A reference to one of our own objects.
class ObjectReference
{
public:
    explicit ObjectReference(CatalogObject * taken) noexcept : m_object(taken) {}
    ObjectReference(ObjectReference && other) noexcept : m_object(std::exchange(other.m_object, nullptr)) {}
    ObjectReference & operator=(ObjectReference && other) noexcept
    {
        std::swap(m_object, other.m_object);
        return *this;
    }
    ~ObjectReference()
    {
        if (m_object != nullptr)
            m_object->Release();
    }
    CatalogObject * operator->() const noexcept { return m_object; }

private:
    CatalogObject * m_object;
};

HRESULT GiveCollection(std::shared_ptr<CatalogStore> store, IDispatch ** collection);

class CatalogCollection final : public qvlib::host::WithoutMembers<ICatalogCollection>
{
public:
    explicit CatalogCollection(std::shared_ptr<CatalogStore> store) noexcept : m_store(std::move(store)) {}

    HRESULT STDMETHODCALLTYPE get_Count(long * count) override
    {
        if (count == nullptr)
            return E_POINTER;
        *count = static_cast<long>(m_objects.size());
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE get_Item(long position, IDispatch ** object) override
    {
        if (object == nullptr)
            return E_POINTER;
        *object = nullptr;
        if (!IsPosition(position))
            return E_INVALIDARG;
        return m_objects[static_cast<std::size_t>(position)]->QueryInterface(IID_IDispatch,
                                                                             reinterpret_cast<void **>(object));
    }

    HRESULT STDMETHODCALLTYPE Add(IDispatch ** object) override
    {
        if (object == nullptr)
            return E_POINTER;
        *object = nullptr;
        return Guarded(
            [&]() -> HRESULT
            {
                CatalogRecord record;
                record.key = NewKey();
                record.values = std::vector<OwnedVariant>(m_store->Properties().size());
                int const id = m_store->Find(L"ID");
                if (HRESULT const result = SetText(record.values[static_cast<std::size_t>(id)], record.key);
                    FAILED(result))
                    return result;
                m_objects.reserve(m_objects.size() + 1);
                m_objects.emplace_back(new CatalogObject(m_store, std::move(record), false));
                return get_Item(static_cast<long>(m_objects.size()) - 1, object);
            });
    }

    HRESULT STDMETHODCALLTYPE Remove(long position) override
    {
        if (!IsPosition(position))
            return E_INVALIDARG;
        return Guarded(
            [&]
            {
                auto const place = m_objects.begin() + position;
                m_removed.reserve(m_removed.size() + 1);
                (*place)->Invalidate();
                if ((*place)->IsSaved())
                    m_removed.push_back(std::move(*place));
                m_objects.erase(place);
                return S_OK;
            });
    }

    HRESULT STDMETHODCALLTYPE Populate() override
    {
        return Guarded(
            [&]
            {
                std::vector<std::wstring> keys;
                HRESULT const result = m_store->Keys(keys);
                return FAILED(result) ? result : Read(keys);
            });
    }

    HRESULT STDMETHODCALLTYPE PopulateByKey(SAFEARRAY * keys) override
    {
        VARTYPE type = VT_EMPTY;
        if (SafeArrayGetDim(keys) != 1 || FAILED(SafeArrayGetVartype(keys, &type)) ||
            (type != VT_VARIANT && type != VT_BSTR))
            return E_INVALIDARG;
        return Guarded(
            [&]
            {
                std::vector<std::wstring> wanted;
                void * data = nullptr;
                HRESULT const result = SafeArrayAccessData(keys, &data);
                if (FAILED(result))
                    return result;
                std::unique_ptr<SAFEARRAY, HRESULT (*)(SAFEARRAY *)> const accessed(keys, &SafeArrayUnaccessData);
                for (ULONG i = 0; i < keys->rgsabound[0].cElements; ++i)
                {
                    BSTR text = nullptr;
                    if (type == VT_BSTR)
                        text = static_cast<BSTR *>(data)[i];
                    else if (VARIANT const & element = static_cast<VARIANT *>(data)[i]; element.vt == VT_BSTR)
                        text = element.bstrVal;
                    std::wstring key;
                    if (qvlib::host::CatalogKey(text, key))
                        wanted.push_back(std::move(key));
                }
                return Read(wanted);
            });
    }

    HRESULT STDMETHODCALLTYPE SaveChanges(long * changes) override
    {
        if (changes == nullptr)
            return E_POINTER;
        *changes = 0;
        return Guarded(
            [&]() -> HRESULT
            {
                for (ObjectReference const & object : m_removed)
                    if (HRESULT const result = object->CheckRemoval();
                        FAILED(result) && result != COMADMIN_E_KEYMISSING)
                        return result;
                for (ObjectReference const & object : m_objects)
                    if (!object->IsSaved() || object->IsChanged())
                        if (HRESULT const result = object->Check(); FAILED(result))
                            return result;
                for (; !m_removed.empty(); m_removed.pop_back())
                {
                    // Somebody else may have removed it first; then there is nothing to be done, or counted.
                    HRESULT const result = m_store->Remove(m_removed.back()->Key());
                    if (FAILED(result) && result != COMADMIN_E_KEYMISSING)
                        return result;
                    *changes += result == COMADMIN_E_KEYMISSING ? 0 : 1;
                }
                for (ObjectReference const & object : m_objects)
                {
                    if (object->IsSaved() && !object->IsChanged())
                        continue;
                    if (HRESULT const result = object->Save(); FAILED(result))
                        return result;
                    ++*changes;
                }
                return S_OK;
            });
    }

    HRESULT STDMETHODCALLTYPE GetCollection(BSTR name, VARIANT key, IDispatch ** collection) override
    {
        if (collection == nullptr)
            return E_POINTER;
        *collection = nullptr;
        return Guarded(
            [&]() -> HRESULT
            {
                std::wstring of;
                CatalogRecord record;
                if (name == nullptr || key.vt != VT_BSTR || !qvlib::host::CatalogKey(key.bstrVal, of))
                    return E_INVALIDARG;
                if (HRESULT const result = m_store->Load(of, record); FAILED(result))
                    return result;
                return GiveCollection(m_store->Related(name, of), collection);
            });
    }

    HRESULT STDMETHODCALLTYPE get_Name(VARIANT * name) override { return GiveText(m_store->Name(), name); }

private:
    bool IsPosition(long position) const noexcept
    {
        return position >= 0 && static_cast<std::size_t>(position) < m_objects.size();
    }

    HRESULT Read(std::vector<std::wstring> const & keys)
    {
        std::vector<ObjectReference> objects;
        objects.reserve(keys.size());
        for (std::wstring const & key : keys)
        {
            CatalogRecord record;
            HRESULT const result = m_store->Load(key, record);
            if (SUCCEEDED(result))
                objects.emplace_back(new CatalogObject(m_store, std::move(record), true));
            else if (result != COMADMIN_E_KEYMISSING)
                return result;
        }
        m_objects = std::move(objects);
        m_removed.clear();
        return S_OK;
    }

    std::shared_ptr<CatalogStore> m_store;
    std::vector<ObjectReference> m_objects;
    std::vector<ObjectReference> m_removed;
};

HRESULT GiveCollection(std::shared_ptr<CatalogStore> store, IDispatch ** collection)
{
    if (store == nullptr)
        return COMADMIN_E_OBJECT_DOES_NOT_EXIST;
    return HandOut(new CatalogCollection(std::move(store)), IID_IDispatch, reinterpret_cast<void **>(collection));
}

bool FileExists(BSTR path)
{
    std::error_code ignored;
    return path != nullptr && std::filesystem::is_regular_file(qvlib::host::NativePath(path), ignored);
}

/// The key of the application with that id or name; empty when there is none.
HRESULT FindApplication(CatalogStore const & applications, wchar_t const * idOrName, std::wstring & key)
{
    std::vector<std::wstring> keys;
    if (HRESULT const result = applications.Keys(keys); FAILED(result))
        return result;
    std::wstring id;
    bool const isId = qvlib::host::CatalogKey(idOrName, id);
    auto const name = static_cast<std::size_t>(applications.Find(L"Name"));
    for (std::wstring & each : keys)
    {
        CatalogRecord record;
        if (FAILED(applications.Load(each, record)))
            continue;
        VARIANT const & title = *record.values[name].Get();
        if (isId ? each == id : title.vt == VT_BSTR && _wcsicmp(title.bstrVal, idOrName) == 0)
        {
            key = std::move(each);
            return S_OK;
        }
    }
    return COMADMIN_E_OBJECT_DOES_NOT_EXIST;
}

HRESULT InstallComponent(CatalogStore & components, BSTR dll, BSTR typeLibrary, BSTR proxyStubDll)
{
    wchar_t const * const file = dll != nullptr ? dll : typeLibrary;
    auto const path = static_cast<std::size_t>(components.Find(dll != nullptr ? L"DLL" : L"TypeLibrary"));
    std::vector<std::wstring> keys;
    if (HRESULT const result = components.Keys(keys); FAILED(result))
        return result;
    for (std::wstring const & key : keys)
    {
        CatalogRecord record;
        if (FAILED(components.Load(key, record)))
            continue;
        VARIANT const & installed = *record.values[path].Get();
        if (installed.vt == VT_BSTR && _wcsicmp(installed.bstrVal, file) == 0)
            return COMADMIN_E_ALREADYINSTALLED;
    }
    CatalogRecord record;
    record.key = NewKey();
    record.values = std::vector<OwnedVariant>(components.Properties().size());
    auto const put = [&](wchar_t const * name, wchar_t const * text) -> HRESULT
    {
        auto const place = static_cast<std::size_t>(components.Find(name));
        return text != nullptr ? SetText(record.values[place], text) : S_OK;
    };
    std::wstring_view const whole(file);
    std::wstring const title(whole.substr(whole.find_last_of(L"\\/") + 1));
    for (auto const & [name, text] : {std::pair<wchar_t const *, wchar_t const *>{L"ID", record.key.c_str()},
                                      {L"Name", title.c_str()},
                                      {L"DLL", dll},
                                      {L"TypeLibrary", typeLibrary},
                                      {L"ProxyStubDLL", proxyStubDll}})
        if (HRESULT const result = put(name, text); FAILED(result))
            return result;
    VARIANT & isEventClass = *record.values[static_cast<std::size_t>(components.Find(L"IsEventClass"))].Get();
    isEventClass.vt = VT_BOOL;
    isEventClass.boolVal = VARIANT_TRUE;
    return components.Insert(record);
}

class AdminCatalog final : public qvlib::host::WithoutMembers<ICOMAdminCatalog>
{
public:
    HRESULT STDMETHODCALLTYPE GetCollection(BSTR name, IDispatch ** collection) override
    {
        if (collection == nullptr)
            return E_POINTER;
        *collection = nullptr;
        return Guarded([&] { return GiveCollection(qvlib::host::OpenCatalogStore(name), collection); });
    }

    HRESULT STDMETHODCALLTYPE InstallEventClass(BSTR application, BSTR dll, BSTR typeLibrary,
                                                BSTR proxyStubDll) override
    {
        if (application == nullptr || (dll == nullptr && typeLibrary == nullptr))
            return E_INVALIDARG;
        return Guarded(
            [&]() -> HRESULT
            {
                auto const applications = qvlib::host::OpenCatalogStore(L"Applications");
                std::wstring key;
                if (HRESULT const result = FindApplication(*applications, application, key); FAILED(result))
                    return result;
                for (BSTR const file : {dll, typeLibrary, proxyStubDll})
                    if (file != nullptr && !FileExists(file))
                        return COMADMIN_E_COMPFILE_DOESNOTEXIST;
                return InstallComponent(*applications->Related(L"Components", key), dll, typeLibrary, proxyStubDll);
            });
    }
};

} // namespace

HRESULT qvlib::host::CreateCatalog(REFIID iid, void ** object)
{
    return HandOut(new (std::nothrow) AdminCatalog, iid, object);
}

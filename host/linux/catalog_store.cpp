#include "host/linux/internal/catalog_store.h"

#include "host/linux/internal/mutex.h"
#include "host/linux/internal/registry_text.h"
#include "qvlib/host/crt.h"

#include <algorithm>

namespace qvlib::host
{
namespace
{

using P = CatalogProperty;

constexpr P kApplication[] = {
    {L"ID", VT_BSTR, P::kGuid | P::kKey},
    {L"Name", VT_BSTR, P::kRequired},
    {L"Description", VT_BSTR},
    {L"CommandLine", VT_BSTR},
    {L"CreatedBy", VT_BSTR},
    {L"Activation", VT_I4, P::kChoice, 1},
    {L"Changeable", VT_BOOL, P::kPlain, VARIANT_TRUE},
    {L"Deleteable", VT_BOOL, P::kPlain, VARIANT_TRUE},
    {L"IsEnabled", VT_BOOL, P::kPlain, VARIANT_TRUE},
};

constexpr P kComponent[] = {
    {L"ID", VT_BSTR, P::kGuid | P::kKey},
    {L"Name", VT_BSTR},
    {L"DLL", VT_BSTR},
    {L"TypeLibrary", VT_BSTR},
    {L"ProxyStubDLL", VT_BSTR},
    {L"IsEventClass", VT_BOOL, P::kPlain, VARIANT_FALSE},
};

constexpr P kSubscription[] = {
    {L"ID", VT_BSTR, P::kGuid | P::kKey},
    {L"Name", VT_BSTR},
    {L"Description", VT_BSTR},
    {L"EventCLSID", VT_BSTR, P::kGuid | P::kRequired},
    {L"InterfaceID", VT_BSTR, P::kGuid},
    {L"MethodName", VT_BSTR},
    {L"PublisherID", VT_BSTR, P::kGuid},
    {L"FilterCriteria", VT_BSTR},
    {L"UserName", VT_BSTR},
    {L"Enabled", VT_BOOL, P::kPlain, VARIANT_TRUE},
    {L"PerUser", VT_BOOL, P::kPlain, VARIANT_FALSE},
    {L"SubscriberInterface", VT_UNKNOWN, P::kRequired},
};

constexpr wchar_t kRoot[] = L"Software\\Component Catalog\\";

HRESULT FromStatus(LSTATUS status) noexcept
{
    return status == ERROR_SUCCESS ? S_OK : static_cast<HRESULT>(0x80070000U | static_cast<DWORD>(status & 0xFFFF));
}

HRESULT Copy(OwnedVariant & target, OwnedVariant const & source) { return VariantCopy(target.Get(), source.Get()); }

HRESULT Copy(CatalogRecord & target, CatalogRecord const & source)
{
    target.key = source.key;
    target.values.resize(source.values.size());
    for (std::size_t i = 0; i < source.values.size(); ++i)
        if (HRESULT const result = Copy(target.values[i], source.values[i]); FAILED(result))
            return result;
    return S_OK;
}

/// One key of the registry an object, named by the object's own key; one value a property. The value "ID" tells that
/// the key is an object: one without it is what else is kept there, or the rest of an object.
class RegistryStore final : public CatalogStore
{
public:
    RegistryStore(wchar_t const * name, std::span<CatalogProperty const> properties, std::wstring path)
        : CatalogStore(name, properties), m_path(std::move(path))
    {
    }

    HRESULT Keys(std::vector<std::wstring> & keys) const override
    {
        keys.clear();
        OpenKey all;
        LSTATUS status = RegOpenKeyExW(HKEY_CURRENT_USER, m_path.c_str(), 0, KEY_READ, all.Place());
        if (status == ERROR_FILE_NOT_FOUND)
            return S_OK;
        wchar_t name[256];
        for (DWORD i = 0; status == ERROR_SUCCESS; ++i)
        {
            DWORD length = static_cast<DWORD>(std::size(name));
            status = RegEnumKeyExW(all.Get(), i, name, &length, nullptr, nullptr, nullptr, nullptr);
            std::wstring key;
            if (status == ERROR_SUCCESS && CatalogKey(name, key))
                keys.push_back(std::move(key));
        }
        return status == ERROR_NO_MORE_ITEMS ? S_OK : FromStatus(status);
    }

    HRESULT Load(std::wstring const & key, CatalogRecord & record) const override
    {
        OpenKey found;
        if (HRESULT const result = Open(key, KEY_READ, found); FAILED(result))
            return result;
        record.key = key;
        record.values = std::vector<OwnedVariant>(Properties().size());
        for (std::size_t i = 0; i < Properties().size(); ++i)
        {
            CatalogProperty const & property = Properties()[i];
            LSTATUS status;
            if (property.type == VT_BSTR)
            {
                std::wstring text;
                status = ReadText(found.Get(), property.name, text);
                if (status == ERROR_SUCCESS)
                    if (HRESULT const result = SetText(record.values[i], text); FAILED(result))
                        return result;
            }
            else
            {
                DWORD number = 0;
                status = ReadNumber(found.Get(), property.name, number);
                if (status == ERROR_SUCCESS)
                    SetNumber(*record.values[i].Get(), property.type, static_cast<LONG>(number));
            }
            if ((property.flags & P::kKey) != 0 && status == ERROR_FILE_NOT_FOUND)
                return COMADMIN_E_KEYMISSING;
            if (status != ERROR_SUCCESS && status != ERROR_FILE_NOT_FOUND)
                return status == ERROR_KEY_DELETED ? COMADMIN_E_KEYMISSING : FromStatus(status);
        }
        return S_OK;
    }

    HRESULT Insert(CatalogRecord const & record) override
    {
        std::vector<RegistryValue> values;
        for (bool const keys : {false, true})
            for (std::size_t i = 0; i < Properties().size(); ++i)
                if (((Properties()[i].flags & P::kKey) != 0) == keys && record.values[i].Get()->vt != VT_EMPTY)
                    values.push_back(Written(i, record));
        LSTATUS const status = CreateWholeKey((m_path + L"\\" + record.key).c_str(), values);
        return status == ERROR_ALREADY_EXISTS ? COMADMIN_E_APPLICATIONEXISTS : FromStatus(status);
    }

    HRESULT Update(CatalogRecord const & record, std::vector<bool> const & changed) override
    {
        OpenKey found;
        if (HRESULT const result = Open(record.key, KEY_ALL_ACCESS, found); FAILED(result))
            return result;
        for (std::size_t i = 0; i < Properties().size(); ++i)
            if (changed[i])
                if (LSTATUS const status = Written(i, record).WriteTo(found.Get()); status != ERROR_SUCCESS)
                    return status == ERROR_KEY_DELETED ? COMADMIN_E_KEYMISSING : FromStatus(status);
        return S_OK;
    }

    HRESULT Remove(std::wstring const & key) override
    {
        // What belongs to the object goes first: a key that still has some is not deleted.
        if (auto const components = Related(L"Components", key))
        {
            std::vector<std::wstring> below;
            if (HRESULT const result = components->Keys(below); FAILED(result))
                return result;
            for (std::wstring const & each : below)
                if (HRESULT const result = components->Remove(each); FAILED(result) && result != COMADMIN_E_KEYMISSING)
                    return result;
            RegDeleteKeyW(HKEY_CURRENT_USER, (m_path + L"\\" + key + L"\\Components").c_str());
        }
        LSTATUS const status = RegDeleteKeyW(HKEY_CURRENT_USER, (m_path + L"\\" + key).c_str());
        return status == ERROR_FILE_NOT_FOUND ? COMADMIN_E_KEYMISSING : FromStatus(status);
    }

    std::shared_ptr<CatalogStore> Related(wchar_t const * name, std::wstring const & key) const override
    {
        if (Properties().data() != kApplication || _wcsicmp(name, L"Components") != 0)
            return nullptr;
        return std::make_shared<RegistryStore>(L"Components", kComponent, m_path + L"\\" + key + L"\\Components");
    }

private:
    HRESULT Open(std::wstring const & key, REGSAM access, OpenKey & found) const
    {
        LSTATUS const status =
            RegOpenKeyExW(HKEY_CURRENT_USER, (m_path + L"\\" + key).c_str(), 0, access, found.Place());
        return status == ERROR_FILE_NOT_FOUND ? COMADMIN_E_KEYMISSING : FromStatus(status);
    }

    RegistryValue Written(std::size_t property, CatalogRecord const & record) const
    {
        CatalogProperty const & rule = Properties()[property];
        VARIANT const & value = *record.values[property].Get();
        if (rule.type == VT_BSTR)
            return RegistryValue::Text(rule.name, {value.bstrVal, SysStringLen(value.bstrVal)});
        return RegistryValue::Number(rule.name, static_cast<DWORD>(rule.type == VT_BOOL ? value.boolVal : value.lVal));
    }

    static void SetNumber(VARIANT & value, VARTYPE type, LONG number) noexcept
    {
        value.vt = type;
        if (type == VT_BOOL)
            value.boolVal = number != 0 ? VARIANT_TRUE : VARIANT_FALSE;
        else
            value.lVal = number;
    }

    std::wstring m_path;
};

/// Objects that end with the process.
class ProcessStore final : public CatalogStore
{
public:
    ProcessStore() noexcept : CatalogStore(L"TransientSubscriptions", kSubscription) {}

    HRESULT Keys(std::vector<std::wstring> & keys) const override
    {
        keys.clear();
        MutexLock const held(m_lock);
        for (CatalogRecord const & record : m_records)
            keys.push_back(record.key);
        return S_OK;
    }

    HRESULT Load(std::wstring const & key, CatalogRecord & record) const override
    {
        CatalogRecord copy; // dropped after the lock: it may hold the last reference to an object that comes back here
        MutexLock const held(m_lock);
        std::size_t const found = Place(key);
        if (found == m_records.size())
            return COMADMIN_E_KEYMISSING;
        HRESULT const result = Copy(copy, m_records[found]);
        std::swap(copy, record);
        return result;
    }

    HRESULT Insert(CatalogRecord const & record) override
    {
        CatalogRecord copy;
        if (HRESULT const result = Copy(copy, record); FAILED(result))
            return result;
        MutexLock const held(m_lock);
        if (Place(record.key) != m_records.size())
            return COMADMIN_E_APPLICATIONEXISTS;
        m_records.push_back(std::move(copy));
        return S_OK;
    }

    HRESULT Update(CatalogRecord const & record, std::vector<bool> const &) override
    {
        CatalogRecord copy;
        if (HRESULT const result = Copy(copy, record); FAILED(result))
            return result;
        MutexLock const held(m_lock);
        std::size_t const found = Place(record.key);
        if (found == m_records.size())
            return COMADMIN_E_KEYMISSING;
        std::swap(m_records[found], copy);
        return S_OK;
    }

    HRESULT Remove(std::wstring const & key) override
    {
        CatalogRecord removed;
        MutexLock const held(m_lock);
        std::size_t const found = Place(key);
        if (found == m_records.size())
            return COMADMIN_E_KEYMISSING;
        removed = std::move(m_records[found]);
        m_records.erase(m_records.begin() + static_cast<std::ptrdiff_t>(found));
        return S_OK;
    }

private:
    /// Where the object is, or the count of them.
    std::size_t Place(std::wstring const & key) const QVLIB_REQUIRES(m_lock)
    {
        auto const found = std::find_if(m_records.begin(), m_records.end(),
                                        [&](CatalogRecord const & record) { return record.key == key; });
        return static_cast<std::size_t>(found - m_records.begin());
    }

    mutable Mutex m_lock;
    std::vector<CatalogRecord> m_records QVLIB_GUARDED_BY(m_lock);
};

} // namespace

int CatalogStore::Find(wchar_t const * name) const noexcept
{
    for (std::size_t i = 0; name != nullptr && i < m_properties.size(); ++i)
        if (_wcsicmp(m_properties[i].name, name) == 0)
            return static_cast<int>(i);
    return -1;
}

std::shared_ptr<CatalogStore> CatalogStore::Related(wchar_t const *, std::wstring const &) const { return nullptr; }

std::shared_ptr<CatalogStore> OpenCatalogStore(wchar_t const * name)
{
    if (name == nullptr)
        return nullptr;
    if (_wcsicmp(name, L"Applications") == 0)
        return std::make_shared<RegistryStore>(L"Applications", kApplication, std::wstring(kRoot) + L"Applications");
    if (_wcsicmp(name, L"TransientSubscriptions") == 0)
    {
        // Never destroyed: a subscriber may outlive every static object, and is no longer ours to call then.
        static auto & store = *new std::shared_ptr<CatalogStore>(std::make_shared<ProcessStore>());
        return store;
    }
    return nullptr;
}

bool CatalogKey(wchar_t const * text, std::wstring & key)
{
    CLSID id;
    if (text == nullptr || CLSIDFromString(text, &id) != S_OK)
        return false;
    wchar_t written[39];
    StringFromGUID2(id, written, static_cast<int>(std::size(written)));
    key = written;
    return true;
}

HRESULT SetText(OwnedVariant & variant, std::wstring_view text)
{
    OwnedVariant made;
    made.Get()->bstrVal = SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
    if (made.Get()->bstrVal == nullptr)
        return E_OUTOFMEMORY;
    made.Get()->vt = VT_BSTR;
    variant = std::move(made);
    return S_OK;
}

} // namespace qvlib::host

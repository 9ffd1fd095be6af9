#include "host/linux/internal/properties_list.h"

#include <atomic>
#include <new>
#include <vector>

namespace
{

/// A variant that a container may move; it ends what it holds.
class OwnedVariant
{
public:
    OwnedVariant() noexcept { VariantInit(&m_value); }
    OwnedVariant(OwnedVariant && other) noexcept : m_value(other.m_value) { VariantInit(&other.m_value); }
    OwnedVariant & operator=(OwnedVariant &&) = delete;
    ~OwnedVariant() { VariantClear(&m_value); }

    VARIANT * Get() noexcept { return &m_value; }

private:
    VARIANT m_value;
};

class PropertiesList final : public QRGenObjsLib::IQRProperties
{
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void ** object) override
    {
        if (object == nullptr)
            return E_POINTER;
        bool const known = iid == IID_IUnknown || iid == IID_IDispatch || iid == QRGenObjsLib::IID_IQRProperties;
        *object = known ? static_cast<IQRProperties *>(this) : nullptr;
        if (!known)
            return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override
    {
        // Relaxed: whoever adds a reference already holds one.
        return m_references.fetch_add(1, std::memory_order_relaxed) + 1;
    }
    ULONG STDMETHODCALLTYPE Release() override
    {
        // The last one must see what the others did.
        ULONG const left = m_references.fetch_sub(1, std::memory_order_acq_rel) - 1;
        if (left == 0)
            delete this;
        return left;
    }

    // Late-bound callers find no members: the list is used through its own interface.
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

    HRESULT STDMETHODCALLTYPE get_Count(long * count) override
    {
        if (count == nullptr)
            return E_POINTER;
        *count = static_cast<long>(m_items.size());
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE get_Item(long position, VARIANT * key, VARIANT * value) override
    {
        if (key == nullptr || value == nullptr)
            return E_POINTER;
        if (position < 1 || static_cast<std::size_t>(position) > m_items.size())
            return DISP_E_BADINDEX;
        Item & item = m_items[static_cast<std::size_t>(position) - 1];
        if (HRESULT const result = VariantCopy(key, item.key.Get()); FAILED(result))
            return result;
        return VariantCopy(value, item.value.Get());
    }
    HRESULT STDMETHODCALLTYPE put_Item(VARIANT const & key, VARIANT const & value) override
    {
        Item item;
        if (HRESULT const result = VariantCopy(item.key.Get(), &key); FAILED(result))
            return result;
        if (HRESULT const result = VariantCopy(item.value.Get(), &value); FAILED(result))
            return result;
        try
        {
            m_items.push_back(std::move(item));
            return S_OK;
        }
        catch (std::bad_alloc const &)
        {
            return E_OUTOFMEMORY;
        }
    }

private:
    struct Item
    {
        OwnedVariant key;
        OwnedVariant value;
    };

    ~PropertiesList() = default;

    std::atomic<ULONG> m_references{1};
    std::vector<Item> m_items;
};

} // namespace

HRESULT qvlib::host::CreatePropertiesList(REFIID iid, void ** object)
{
    auto * const list = new (std::nothrow) PropertiesList;
    if (list == nullptr)
        return E_OUTOFMEMORY;
    HRESULT const result = list->QueryInterface(iid, object);
    list->Release();
    return result;
}

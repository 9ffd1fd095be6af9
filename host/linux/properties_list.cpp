#include "host/linux/internal/properties_list.h"

#include "host/linux/internal/owned_variant.h"
#include "host/linux/internal/without_members.h"

#include <new>
#include <vector>

namespace
{

using qvlib::host::OwnedVariant;

class PropertiesList final : public qvlib::host::WithoutMembers<QRGenObjsLib::IQRProperties>
{
public:
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

    std::vector<Item> m_items;
};

} // namespace

HRESULT qvlib::host::CreatePropertiesList(REFIID iid, void ** object)
{
    return HandOut(new (std::nothrow) PropertiesList, iid, object);
}

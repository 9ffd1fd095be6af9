// Records in the component model: as a list of properties, and as a variant that holds one.
#include "concepts/internal/properties.h"
#include "qvlib/DynamicConcept.h"

namespace qvlib
{

_com_ptr_t<QRGenObjsLib::IQRProperties> CTLDynamicConcept::ToProperties() const
{
    _com_ptr_t<QRGenObjsLib::IQRProperties> properties;
    if (m_items.empty())
        return properties;
    _com_util::CheckError(properties.CreateInstance(QRGenObjsLib::CLSID_QRProperties));
    for (Item const & item : m_items)
        _com_util::CheckError(properties->put_Item(item.first.ToVariant(), item.second.ToVariant()));
    return properties;
}

void CTLDynamicConcept::FromProperties(QRGenObjsLib::IQRProperties * properties)
{
    Reset();
    internal::ForEachProperty(properties,
                              [this](_variant_t const & key, _variant_t const & value)
                              {
                                  CGenericVal converted;
                                  converted.SetAsVariant(value); // what has no such form stays empty
                                  if (!SetItem(NameOrId().FromVariant(key), std::move(converted)))
                                      ThrowUnexpected();
                              });
}

_variant_t CTLDynamicConcept::ToVariant() const
{
    if (m_items.empty())
        return {};
    return _variant_t(static_cast<IDispatch *>(ToProperties().GetInterfacePtr()));
}

void CTLDynamicConcept::FromVariant(tagVARIANT const & value)
{
    if (value.vt != VT_DISPATCH && value.vt != VT_UNKNOWN)
    {
        Reset();
        return;
    }
    _com_ptr_t<QRGenObjsLib::IQRProperties> properties;
    IUnknown * const object = value.vt == VT_DISPATCH ? value.pdispVal : value.punkVal;
    if (object != nullptr)
    {
        void * found = nullptr;
        HRESULT const result = object->QueryInterface(properties.GetIID(), &found);
        if (FAILED(result) && result != E_NOINTERFACE)
            _com_issue_error(result);
        if (SUCCEEDED(result))
            properties.Attach(static_cast<QRGenObjsLib::IQRProperties *>(found));
    }
    FromProperties(properties);
}

} // namespace qvlib

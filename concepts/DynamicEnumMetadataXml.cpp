// The XML form of enums: <DynamicEnum Name="" Default=""><Item Name="" Code="" Display="" DisplayId="">..., with
// filters and override contexts inside the items.
#include "concepts/internal/xml_attributes.h"
#include "qvlib/DynamicEnumMetadata.h"
#include "qvlib/Exceptions.h"
#include "qvlib/host/crt.h"

#include <algorithm>
#include <set>
#include <string_view>

namespace qvlib
{

bool CTLDynamicEnumMetadata::FromXml(XmlElement const & element)
{
    if (element.Name() != L"DynamicEnum")
        return false;
    m_name = internal::AttributeOrEmpty(element, L"Name");
    std::wstring const defaultName = internal::AttributeOrEmpty(element, L"Default");
    m_default.reset();
    m_values.clear();
    m_byName.Drop();
    m_byDisplay.Drop();
    m_byCode.Drop();
    m_byAddress.Drop();
    if (element.ContainsChildren())
    {
        m_values.reserve(element.Children()->size());
        internal::ForEachChild(element,
                               [this](XmlElement const & child)
                               {
                                   auto value = std::make_shared<CTLEnumValueDefinition>();
                                   if (!value->FromXml(child))
                                       return;
                                   TakeFilterKeys(*value);
                                   m_values.push_back(std::move(value));
                               });
    }
    if (!defaultName.empty())
    {
        // One walk, no index: most enums are loaded, bound and never searched by name again.
        auto const found = std::find_if(m_values.begin(), m_values.end(),
                                        [&](ValuePtr const & value)
                                        { return _wcsicmp(value->m_name.c_str(), defaultName.c_str()) == 0; });
        if (found != m_values.end())
            m_default = *found;
    }
    if (m_default == nullptr && !m_values.empty())
        m_default = m_values.front();
    return true;
}

std::shared_ptr<XmlElement> CTLDynamicEnumMetadata::ToXml() const
{
    auto attributes = std::make_shared<XmlElement::AttributeMap>();
    attributes->emplace(L"Name", m_name);
    if (m_default != nullptr)
        attributes->emplace(L"Default", m_default->m_name);
    auto root = std::make_shared<XmlElement>(std::wstring(L"DynamicEnum"), std::wstring(), std::move(attributes),
                                             !m_values.empty());
    for (auto const & value : m_values)
        root->AddChild(value->ToXml());
    return root;
}

bool CTLEnumValueDefinition::FromXml(XmlElement const & element)
{
    if (element.Name() != L"Item")
        return false;
    m_mark.Changed();
    m_name = element.Value();
    m_display.clear();
    m_code = 0;
    m_attributes.clear();
    if (auto const attributes = element.Attributes())
        for (auto const & [name, value] : *attributes)
        {
            if (name == L"Code")
                m_code = _wtoi(value.c_str());
            else if (name == L"Display")
                m_display = value;
            else if (name == L"DisplayId")
                m_displayId = value;
            else if (name == L"Name")
            {
                if (!value.empty()) // an empty one leaves the name that the text gave
                    m_name = value;
            }
            else
                m_attributes.emplace_hint(m_attributes.end(), name, value);
        }
    internal::ForEachChild(element,
                           [&](XmlElement const & child)
                           {
                               if (!child.ContainsChildren())
                                   return;
                               if (child.Name() == L"Filter")
                                   ParseFilter(child);
                               else
                                   ParseOverrides(child, element);
                           });
    return true;
}

// AddFilter for each item, with the values that are there looked up and not walked.
void CTLEnumValueDefinition::ParseFilter(XmlElement const & element)
{
    std::wstring const key = internal::AttributeBySubscript(element, L"Name");
    std::set<std::wstring_view> known;
    if (m_filters != nullptr)
        for (auto [at, end] = m_filters->equal_range(key); at != end; ++at)
            known.insert(at->second);
    internal::ForEachChild(element,
                           [&](XmlElement const & item)
                           {
                               if (item.Name() != L"Item" || known.contains(item.Value()))
                                   return;
                               if (m_filters == nullptr)
                                   m_filters = std::make_shared<Filters>();
                               known.insert(m_filters->emplace(key, item.Value())->second);
                           });
}

// `element` is a context: its attributes make the settings, its items the texts in that context. Only an attribute that
// the value states can be overridden.
void CTLEnumValueDefinition::ParseOverrides(XmlElement const & element, XmlElement const & value)
{
    Settings context;
    if (auto const attributes = element.Attributes())
        for (auto const & [name, text] : *attributes)
            context.SetProperty(name, CGenericVal(text.c_str()));
    internal::ForEachChild(element,
                           [&](XmlElement const & item)
                           {
                               std::wstring const * name = nullptr;
                               std::wstring const * text = nullptr;
                               if (item.Name() == L"Item" && item.FindAttribute(L"Name", name) &&
                                   item.FindAttribute(L"Value", text) && value.HasAttribute(*name))
                                   AddOverride(context, *name, *text, internal::AttributeOrEmpty(item, L"DisplayId"));
                           });
}

std::shared_ptr<XmlElement> CTLEnumValueDefinition::ToXml() const
{
    auto attributes = std::make_shared<XmlElement::AttributeMap>(m_attributes);
    // These four are the value's own: no custom attribute has their names.
    (*attributes)[L"Code"] = std::to_wstring(m_code);
    (*attributes)[L"Display"] = m_display;
    (*attributes)[L"DisplayId"] = m_displayId;
    (*attributes)[L"Name"] = m_name;
    return std::make_shared<XmlElement>(std::wstring(L"Item"), std::wstring(), std::move(attributes), false);
}

} // namespace qvlib

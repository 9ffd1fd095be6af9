// The XML form of settings: <Settings Name=""><Property Name="" | ID="" Type="" DisplayID="">text</Property>...
#include "concepts/internal/xml_attributes.h"
#include "qvlib/Conversions.h"
#include "qvlib/Settings.h"

namespace qvlib
{

bool Settings::FromXml(XmlElement const & element) { return ParseSettings(*this, element); }

bool Settings::ParseSettings(Settings & settings, XmlElement const & element)
{
    if (element.Name() != L"Settings")
        return false;
    settings.m_properties.clear();
    settings.m_name = internal::AttributeOrEmpty(element, L"Name");
    if (!element.ContainsChildren())
        return element.Value().empty();
    auto const children = element.Children();
    for (auto const & child : *children)
    {
        NameOrId key;
        PropertyValue value;
        if (child == nullptr || !ParseProperty(key, value, *child))
            return false;
        settings.m_properties.emplace(std::move(key), std::move(value));
    }
    return true;
}

bool Settings::ParseProperty(NameOrId & key, PropertyValue & value, XmlElement const & element)
{
    return element.Name() == L"Property" && ParsePropertyKey(key, element) && ParsePropertyValue(value, element);
}

bool Settings::ParsePropertyKey(NameOrId & key, XmlElement const & element)
{
    std::wstring const * text = nullptr;
    if (element.FindAttribute(L"Name", text) && !text->empty())
    {
        key = *text;
        return true;
    }
    long id = 0;
    if (!element.FindAttribute(L"ID", text) || text->empty() || !AsLong(text->c_str(), id))
        return false;
    key = static_cast<unsigned int>(id);
    return true;
}

bool Settings::ParsePropertyValue(PropertyValue & value, XmlElement const & element)
{
    if (element.HasChildren())
        return false;
    value.displayId = internal::AttributeOrEmpty(element, L"DisplayID");
    VARENUM type = VarType::String;
    std::wstring const * text = nullptr;
    if (element.FindAttribute(L"Type", text) && !text->empty() && !VarType::TryParse(text->c_str(), type))
        return false;
    return value.value.Parse(element.Value().c_str(), type);
}

std::shared_ptr<XmlElement> Settings::ToXml() const
{
    auto attributes = std::make_shared<XmlElement::AttributeMap>();
    attributes->emplace(L"Name", m_name);
    auto const root =
        std::make_shared<XmlElement>(std::wstring(L"Settings"), std::wstring(), std::move(attributes), !empty());
    for (auto const & [key, property] : m_properties)
    {
        auto own = std::make_shared<XmlElement::AttributeMap>();
        own->emplace(key.IsName() ? L"Name" : L"ID", key.ToString());
        if (VarType const type = property.value.GetType(); !type.IsText())
            own->emplace(L"Type", type.ToString());
        if (!property.displayId.empty())
            own->emplace(L"DisplayID", property.displayId);
        CQVString const text = property.value.GetAsString();
        root->AddChild(std::make_shared<XmlElement>(
            std::wstring(L"Property"), std::wstring(text.GetString(), static_cast<std::size_t>(text.GetLength())),
            std::move(own), false));
    }
    return root;
}

} // namespace qvlib

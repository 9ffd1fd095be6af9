// The XML form of concepts: <DynamicConcept Name=""><Fields><Field .../></Fields><Selector Field=""><Option Value="">
// <RequiredFields>a,b</RequiredFields>..., and the common <RequiredFields><Field>a</Field>...
#include "concepts/internal/key_index.h"
#include "concepts/internal/name_cutter.h"
#include "concepts/internal/xml_attributes.h"
#include "qvlib/DynamicConceptMetadata.h"
#include "qvlib/Exceptions.h"
#include "qvlib/host/crt.h"

#include <algorithm>
#include <cstdint>
#include <utility>

namespace qvlib
{

namespace
{

void RequireName(XmlElement const & element, wchar_t const * name)
{
    if (element.Name() != name)
        throw unexpected_error();
}

// A text that is a decimal number from end to end.
bool IsNumber(std::wstring const & text, unsigned int & number)
{
    wchar_t * end = nullptr;
    long const value = host::wcstol(text.c_str(), &end, 10);
    number = static_cast<unsigned int>(value);
    return end == text.c_str() + text.size();
}

std::shared_ptr<XmlElement> NewElement(wchar_t const * name, std::wstring && text,
                                       std::shared_ptr<XmlElement::AttributeMap> attributes, bool hasChildren)
{
    return std::make_shared<XmlElement>(std::wstring(name), std::move(text), std::move(attributes), hasChildren);
}

std::shared_ptr<XmlElement::AttributeMap> OneAttribute(wchar_t const * name, std::wstring const & value)
{
    auto attributes = std::make_shared<XmlElement::AttributeMap>();
    attributes->emplace(name, value);
    return attributes;
}

std::wstring JoinNames(CTLDynamicConceptMetadata::Fields const & fields)
{
    std::size_t length = 0;
    for (auto const & field : fields)
        length += field->GetName().size() + 1;
    std::wstring text;
    text.reserve(length);
    for (auto const & field : fields)
    {
        if (&field != &fields.front())
            text += L',';
        text += field->GetName();
    }
    return text;
}

} // namespace

bool CTLDynamicConceptMetadata::FromXml(XmlElement const & element)
{
    if (element.Name() != L"DynamicConcept")
        return false;
    m_name = internal::AttributeOrEmpty(element, L"Name");
    // The lists and the selector name fields, so the fields come first wherever they stand.
    XmlElement const * selector = nullptr;
    internal::ForEachChild(element,
                           [&](XmlElement const & child)
                           {
                               if (child.Name() == L"Fields")
                                   ParseFields(child);
                               else if (child.Name() == L"Selector")
                                   selector = &child;
                           });
    internal::ForEachChild(element,
                           [this](XmlElement const & child)
                           {
                               if (child.Name() == L"RequiredFields")
                                   ParseCommonRequiredFields(child);
                           });
    if (selector != nullptr)
        ParseSelector(*selector);
    return true;
}

void CTLDynamicConceptMetadata::ParseFields(XmlElement const & element)
{
    RequireName(element, L"Fields");
    m_byKey.Drop();
    m_byType.Drop();
    m_listOwner.reset();
    m_fields.clear();
    if (!element.HasChildren() || !element.ContainsChildren())
        return;
    m_fields.reserve(element.Children()->size());
    internal::ForEachChild(element,
                           [this](XmlElement const & child)
                           {
                               auto field = std::make_shared<CTLFieldDefinition>();
                               if (field->FromXml(child))
                                   m_fields.push_back(std::move(field));
                           });
}

bool CTLFieldDefinition::FromXml(XmlElement const & element)
{
    if (element.Name() != L"Field")
        return false;
    m_mark.Changed();
    m_parsedType = ParsedType();
    if (auto const attributes = element.Attributes())
        for (auto const & [name, value] : *attributes)
        {
            if (name == L"Name")
                m_name = value;
            else if (name == L"Id")
                m_id = static_cast<std::uint32_t>(_wtol(value.c_str()));
            else if (name == L"Type")
                m_type = value;
            else
            {
                if (m_attributes == nullptr)
                    m_attributes = std::make_shared<std::map<std::wstring, std::wstring>>();
                m_attributes->insert_or_assign(m_attributes->end(), name, value);
            }
        }
    if (m_name.empty())
        m_name = element.Value();
    return true;
}

void CTLDynamicConceptMetadata::ParseCommonRequiredFields(XmlElement const & element)
{
    RequireName(element, L"RequiredFields");
    m_commonRequiredFields.clear();
    if (!element.HasChildren())
        return;
    internal::ForEachChild(element,
                           [this](XmlElement const & child)
                           {
                               if (child.Name() != L"Field")
                                   return;
                               unsigned int id = 0;
                               std::wstring const * text = nullptr;
                               FieldPtr const * field = nullptr;
                               if (!child.Value().empty())
                                   field = IsNumber(child.Value(), id) ? FindFieldPosition(id)
                                                                       : FindFieldPosition(child.Value());
                               else if (child.FindAttribute(L"Name", text) && !text->empty())
                                   field = FindFieldPosition(*text);
                               else if (child.FindAttribute(L"Id", text) && !text->empty() && IsNumber(*text, id))
                                   field = FindFieldPosition(id);
                               if (field != nullptr)
                                   m_commonRequiredFields.push_back(*field);
                           });
}

void CTLDynamicConceptMetadata::ParseSelector(XmlElement const & element)
{
    RequireName(element, L"Selector");
    m_selector = FindField(internal::AttributeBySubscript(element, L"Field"));
    if (m_selector == nullptr)
        throw unexpected_error();
    m_requiredFields.clear();
    m_optionalFields.clear();
    internal::ForEachChild(element, [this](XmlElement const & child) { ParseSelectorOption(child); });
}

void CTLDynamicConceptMetadata::ParseSelectorOption(XmlElement const & element)
{
    RequireName(element, L"Option");
    std::wstring const option = internal::AttributeBySubscript(element, L"Value");
    internal::ForEachChild(element,
                           [&](XmlElement const & child)
                           {
                               if (child.Name() == L"RequiredFields")
                                   AddRelations(m_requiredFields, option, child.Value());
                               else if (child.Name() == L"OptionalFields")
                                   AddRelations(m_optionalFields, option, child.Value());
                           });
}

// AddRelation for each name of a list. Large documents are lists for the most part, and their names lead all over the
// fields. So names are taken some at a time, with memory fetched for all of these at once.
void CTLDynamicConceptMetadata::AddRelations(Relations & relations, std::wstring const & option,
                                             std::wstring const & list)
{
    constexpr std::size_t kAtATime = 32;
    struct Name
    {
        std::wstring_view text;
        std::size_t place;
        std::uint32_t tag;
        std::uint32_t guess;
    };
    Name batch[kAtATime];
    std::uint32_t found[kAtATime];

    internal::KeyIndex const * const index = FieldIndex();
    Relation * relation = nullptr;
    internal::NameCutter cutter(list);
    for (std::size_t count = kAtATime; count == kAtATime;)
    {
        for (count = 0; count < kAtATime; ++count)
        {
            std::wstring_view const token = cutter.Next();
            if (token.empty())
                break;
            Name & name = batch[count];
            name.text = token;
            if (index != nullptr)
            {
                name.tag = index->byName.Tag(name.text);
                name.place = index->byName.Place(name.tag);
            }
        }
        std::size_t known = 0;
        if (index != nullptr)
        {
            for (std::size_t i = 0; i < count; ++i)
                batch[i].guess = index->GuessKeptName(batch[i].tag, batch[i].place);
            for (std::size_t i = 0; i < count; ++i)
            {
                found[known] = index->FindKeptName(batch[i].guess, batch[i].tag, batch[i].text);
                known += found[known] != internal::kNoPosition;
            }
        }
        else
        {
            for (std::size_t i = 0; i < count; ++i)
                if (FieldPtr const * const field = FindFieldPosition(NameOrIdView(batch[i].text)))
                    found[known++] = static_cast<std::uint32_t>(field - m_fields.data());
        }
        if (known == 0)
            continue;
        if (m_listOwner == nullptr)
            m_listOwner = std::make_shared<Fields const>(m_fields);
        if (relation == nullptr)
        {
            auto const entry = relations.find(option);
            if (entry == relations.end())
            {
                auto made = std::make_shared<Relation>();
                // Room for as many names as the first ones let expect, but no more memory than the text itself takes.
                std::size_t const left = cutter.Left();
                made->Expect(known + std::min(left * count / (list.size() + 1 - left), left / 4));
                made->Append(m_listOwner, found, known);
                relation = relations.emplace(option, std::move(made)).first->second.get();
                continue;
            }
            relation = entry->second.get();
        }
        relation->Append(m_listOwner, found, known);
    }
}

std::shared_ptr<XmlElement> CTLDynamicConceptMetadata::ToXml() const
{
    auto root = NewElement(L"DynamicConcept", {}, OneAttribute(L"Name", m_name), !m_fields.empty() || m_selector);
    if (!m_fields.empty())
    {
        auto const fields = NewElement(L"Fields", {}, nullptr, true);
        for (FieldPtr const & field : m_fields)
            fields->AddChild(field->ToXml());
        root->AddChild(fields);
    }
    if (m_selector == nullptr)
        return root;
    auto const selector = NewElement(L"Selector", {}, OneAttribute(L"Field", m_selector->GetName()),
                                     !m_requiredFields.empty() || !m_optionalFields.empty());
    // An option that has optional fields only is not written: kept on purpose, callers rely on the form.
    for (auto const & [name, relation] : m_requiredFields)
    {
        auto const option = NewElement(L"Option", {}, OneAttribute(L"Value", name), true);
        option->AddChild(NewElement(L"RequiredFields", JoinNames(relation->All()), nullptr, false));
        if (auto const optional = m_optionalFields.find(name); optional != m_optionalFields.end())
            option->AddChild(NewElement(L"OptionalFields", JoinNames(optional->second->All()), nullptr, false));
        selector->AddChild(option);
    }
    root->AddChild(selector);
    return root;
}

std::shared_ptr<XmlElement> CTLFieldDefinition::ToXml() const
{
    auto attributes = m_attributes != nullptr ? std::make_shared<XmlElement::AttributeMap>(*m_attributes)
                                              : std::make_shared<XmlElement::AttributeMap>();
    // These three are the field's own: no custom attribute has their names.
    (*attributes)[L"Name"] = m_name;
    (*attributes)[L"Id"] = std::to_wstring(m_id);
    (*attributes)[L"Type"] = m_type;
    return NewElement(L"Field", {}, std::move(attributes), false);
}

} // namespace qvlib

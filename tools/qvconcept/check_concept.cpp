#include "check.h"
#include "console.h"
#include "values.h"

#include "qvlib/NameOrId.h"
#include "qvlib/host/crt.h"
#include "qvlib/host/utf8.h"

#include <algorithm>
#include <set>
#include <unordered_map>
#include <unordered_set>

namespace qvconcept
{
namespace
{

using namespace qvlib;

constexpr std::wstring_view kEnumPrefix = L"DynamicEnums.";

/// Whether a registry reader takes the name for an id: it begins with a number.
bool ReadsAsNumber(std::wstring const & name)
{
    wchar_t * end = nullptr;
    host::wcstol(name.c_str(), &end, 10);
    return end != name.c_str();
}

struct Field
{
    std::wstring name;
    unsigned id = 0;
    std::wstring type;
    XmlPlace place;

    NameOrId Key() const { return id != 0 ? NameOrId(id) : NameOrId(name); }
    std::string Text() const { return id != 0 ? Quoted(name) + " (id " + std::to_string(id) + ')' : Quoted(name); }
};

class ConceptCheck
{
public:
    ConceptCheck(Findings & findings, EnumsByName const & enums) : m_findings(findings), m_enums(enums) {}

    void Run(LocatedElement const & root);

private:
    void CheckFields(LocatedElement const & fields);
    void CheckField(LocatedElement const & element);
    void CheckFieldType(Field const & field);
    void CheckSelector(LocatedElement const & selector);
    void CheckSelectorOrder();
    void CheckOption(LocatedElement const & option);
    void CheckCommonRequired(LocatedElement const & required);
    Field const * Find(std::wstring const & name) const;
    Field const * Find(unsigned id) const;

    Findings & m_findings;
    EnumsByName const & m_enums;
    std::vector<Field> m_fields;
    std::unordered_map<std::wstring, std::size_t> m_byName;
    std::unordered_map<unsigned, std::size_t> m_byId;
    Field const * m_selector = nullptr;
    CTLDynamicEnumMetadata const * m_selectorEnum = nullptr;
    std::unordered_set<std::wstring> m_options;
};

Field const * ConceptCheck::Find(std::wstring const & name) const
{
    auto const found = m_byName.find(name);
    return found == m_byName.end() ? nullptr : &m_fields[found->second];
}

Field const * ConceptCheck::Find(unsigned id) const
{
    auto const found = m_byId.find(id);
    return found == m_byId.end() ? nullptr : &m_fields[found->second];
}

void ConceptCheck::Run(LocatedElement const & root)
{
    if (root.AttributeOrEmpty(L"Name").empty())
        m_findings.Warning(root.place, "the concept has no Name");
    CheckAttributeCase(m_findings, root, {L"Name"});
    CheckMixedText(m_findings, root);
    CheckChildNames(m_findings, root, {L"Fields", L"Selector", L"RequiredFields"});

    // The readers take the fields first, wherever they stand, and of several lists the last.
    std::map<std::wstring, LocatedElement const *> parts;
    for (LocatedElement const & child : root.children)
    {
        auto const [place, isNew] = parts.emplace(child.name, &child);
        if (isNew || (child.name != L"Fields" && child.name != L"Selector" && child.name != L"RequiredFields"))
            continue;
        m_findings.Error(child.place, "a second " + host::ToUtf8(child.name) + " replaces the first");
        place->second = &child;
    }
    if (auto const fields = parts.find(L"Fields"); fields != parts.end())
        CheckFields(*fields->second);
    else
        m_findings.Warning(root.place, "the concept has no Fields");
    if (auto const required = parts.find(L"RequiredFields"); required != parts.end())
        CheckCommonRequired(*required->second);
    if (auto const selector = parts.find(L"Selector"); selector != parts.end())
        CheckSelector(*selector->second);
}

void ConceptCheck::CheckFields(LocatedElement const & fields)
{
    CheckMixedText(m_findings, fields);
    CheckChildNames(m_findings, fields, {L"Field"});
    m_fields.reserve(fields.children.size());
    for (LocatedElement const & child : fields.children)
        if (child.name == L"Field")
            CheckField(child);
}

void ConceptCheck::CheckField(LocatedElement const & element)
{
    CheckMixedText(m_findings, element);
    CheckAttributeCase(m_findings, element, {L"Name", L"Id", L"Type"});
    Field field;
    field.place = element.place;
    field.name = element.AttributeOrEmpty(L"Name");
    if (field.name.empty())
        field.name = element.text;
    else if (!IsBlank(element.text) && element.text != field.name)
        m_findings.Warning(element.place, "the text " + Quoted(element.text) + " is not read: the field has the Name " +
                                              Quoted(field.name));
    field.type = element.AttributeOrEmpty(L"Type");
    if (std::wstring const * const id = element.Attribute(L"Id"); id && !id->empty())
    {
        std::string problem = NumberProblem(*id);
        if (problem.empty() && id->front() == L'-')
            problem = "is negative";
        field.id = static_cast<unsigned>(static_cast<DWORD>(_wtol(id->c_str())));
        if (!problem.empty())
            m_findings.Error(element.place, "Id " + Quoted(*id) + ' ' + problem + "; the field gets the id " +
                                                std::to_string(field.id));
    }

    if (field.name.empty())
        m_findings.Error(element.place, "a field without a name cannot be stored");
    else if (m_byName.contains(field.name))
        m_findings.Error(element.place,
                         "a second field " + Quoted(field.name) + ": only the first is found by this name");
    else if (field.name.find(L',') != std::wstring::npos || IsBlank(field.name.substr(0, 1)) ||
             IsBlank(field.name.substr(field.name.size() - 1)))
        m_findings.Warning(element.place, "no list of required or optional fields can name " + Quoted(field.name));
    if (ReadsAsNumber(field.name))
        m_findings.Warning(element.place, "in the registry the name " + Quoted(field.name) +
                                              " is read as an id: a record loses this item there");
    if (Field const * const other = field.id != 0 ? Find(field.id) : nullptr)
        m_findings.Error(element.place, "id " + std::to_string(field.id) + " is that of " + Quoted(other->name) +
                                            " too: only the first is found by it");
    CheckFieldType(field);

    std::size_t const position = m_fields.size();
    m_byName.emplace(field.name, position);
    if (field.id != 0)
        m_byId.emplace(field.id, position);
    m_fields.push_back(std::move(field));
}

void ConceptCheck::CheckFieldType(Field const & field)
{
    if (field.type.empty())
        return;
    if (std::wstring_view(field.type).starts_with(kEnumPrefix))
    {
        std::wstring const name = field.type.substr(kEnumPrefix.size());
        if (m_enums.contains(name))
            return;
        std::string text = "field " + Quoted(field.name) + ": no file given holds the enum " + Quoted(name);
        for (auto const & [known, metadata] : m_enums)
            if (Folded(known) == Folded(name))
                text += "; did you mean " + Quoted(known) + "?";
        m_findings.Error(field.place, text);
        return;
    }
    VARENUM tag = VarType::Empty;
    if (!VarType::TryParse(field.type.c_str(), tag))
    {
        m_findings.Error(field.place, "field " + Quoted(field.name) + ": unknown Type " + Quoted(field.type));
        return;
    }
    VarType const type(tag);
    if (!type.IsNumeric() && !type.IsString() && !type.IsAnsiString())
        m_findings.Error(field.place, "field " + Quoted(field.name) + ": no value of Type " + Quoted(field.type) +
                                          " can be made of text or stored");
}

void ConceptCheck::CheckSelector(LocatedElement const & selector)
{
    CheckMixedText(m_findings, selector);
    CheckAttributeCase(m_findings, selector, {L"Field"});
    std::wstring const & name = selector.AttributeOrEmpty(L"Field");
    m_selector = name.empty() ? nullptr : Find(name);
    if (!m_selector)
    {
        m_findings.Error(selector.place, name.empty() ? "the Selector has no Field: the concept is refused"
                                                      : "the Selector's Field " + Quoted(name) +
                                                            " is no field: the concept is refused");
        return;
    }
    if (!std::wstring_view(m_selector->type).starts_with(kEnumPrefix))
        m_findings.Error(selector.place, "the selector " + Quoted(name) + " is no enum field: nothing can be selected");
    else if (auto const found = m_enums.find(m_selector->type.substr(kEnumPrefix.size())); found != m_enums.end())
        m_selectorEnum = found->second.get();
    CheckSelectorOrder();
    for (LocatedElement const & child : selector.children)
        if (child.name == L"Option")
            CheckOption(child);
        else
            m_findings.Error(child.place,
                             "a Selector has only Options: the concept is refused for " + host::ToUtf8(child.name));
}

void ConceptCheck::CheckSelectorOrder()
{
    // Records are stored in the order of their keys in memory, and reading the selector begins the record anew.
    NameOrId const key = m_selector->Key();
    std::size_t before = 0;
    Field const * first = nullptr;
    for (Field const & field : m_fields)
    {
        if (&field == m_selector)
            continue;
        if (field.Key() < key)
        {
            ++before;
            if (!first || field.Key() < first->Key())
                first = &field;
        }
    }
    if (before != 0)
        m_findings.Error(m_selector->place, "the selector " + m_selector->Text() + " is stored behind " +
                                                Count(before, "field") + ", the first " + first->Text() +
                                                ": a stored record loses such items when it is read; give the "
                                                "selector the lowest id");
}

void ConceptCheck::CheckOption(LocatedElement const & option)
{
    CheckMixedText(m_findings, option);
    CheckAttributeCase(m_findings, option, {L"Value"});
    CheckChildNames(m_findings, option, {L"RequiredFields", L"OptionalFields"});
    std::wstring const & value = option.AttributeOrEmpty(L"Value");
    if (value.empty())
        m_findings.Error(option.place, "an Option without a Value");
    else if (!m_options.insert(value).second)
        m_findings.Warning(option.place, "a second Option " + Quoted(value) + ": the two are taken together");
    if (m_selectorEnum && !value.empty())
    {
        auto const known = m_selectorEnum->FindName(value);
        if (!known)
            m_findings.Error(option.place, "Option " + Quoted(value) + " is no value of the enum " +
                                               Quoted(m_selectorEnum->GetName()));
        else if (known->GetName() != value)
            m_findings.Error(option.place, "Option " + Quoted(value) + ": the value is called " +
                                               Quoted(known->GetName()) + ", and options match by case");
    }
    std::unordered_map<std::wstring, bool> listed; // and whether as required
    for (LocatedElement const & list : option.children)
    {
        bool const required = list.name == L"RequiredFields";
        if (!required && list.name != L"OptionalFields")
            continue;
        CheckMixedText(m_findings, list);
        if (IsBlank(list.text) && !list.children.empty())
            m_findings.Error(list.place, "a list of names separated by commas is expected here, not elements");
        for (ListToken const & token : ListTokens(list))
        {
            if (!Find(token.text))
            {
                m_findings.Error(token.place, "option " + Quoted(value) + ": unknown field " + Quoted(token.text));
                continue;
            }
            auto const [place, isNew] = listed.emplace(token.text, required);
            if (!isNew)
                m_findings.Warning(token.place, "option " + Quoted(value) + ": field " + Quoted(token.text) +
                                                    (place->second == required ? " is listed twice"
                                                                               : " is both required and optional"));
        }
    }
}

void ConceptCheck::CheckCommonRequired(LocatedElement const & required)
{
    CheckMixedText(m_findings, required);
    if (required.children.empty() && !IsBlank(required.text))
        m_findings.Error(required.textPlace, "the concept's RequiredFields are given as Field elements, not as text");
    CheckChildNames(m_findings, required, {L"Field"});
    std::set<NameOrId> listed;
    for (LocatedElement const & child : required.children)
    {
        if (child.name != L"Field")
            continue;
        CheckAttributeCase(m_findings, child, {L"Name", L"Id"});
        // A text is an id if it is a number, otherwise a name; without one the Name counts, then the Id.
        std::wstring key = child.text;
        bool mayBeName = true;
        if (key.empty())
            key = child.AttributeOrEmpty(L"Name");
        bool mayBeId = !child.text.empty();
        if (key.empty())
        {
            key = child.AttributeOrEmpty(L"Id");
            mayBeId = true;
            mayBeName = false;
        }
        wchar_t * end = nullptr;
        unsigned const id = static_cast<unsigned>(host::wcstol(key.c_str(), &end, 10));
        bool const isId = mayBeId && !key.empty() && *end == 0;
        Field const * const field = isId ? Find(id) : mayBeName ? Find(key) : nullptr;
        if (key.empty())
            m_findings.Error(child.place, "a required Field without a name or an id");
        else if (!field)
            m_findings.Error(child.place, "required for all options: unknown field " + Quoted(key));
        else if (!listed.insert(field->Key()).second)
            m_findings.Warning(child.place, "field " + Quoted(field->name) + " is listed twice");
    }
}

} // namespace

void CheckConcept(Findings & findings, LocatedElement const & root, EnumsByName const & enums)
{
    ConceptCheck(findings, enums).Run(root);
}

} // namespace qvconcept

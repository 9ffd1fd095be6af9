#include "check.h"
#include "values.h"

#include "qvlib/host/crt.h"
#include "qvlib/host/utf8.h"

#include <unordered_map>

namespace qvconcept
{
namespace
{

using namespace qvlib;

void CheckFilter(Findings & findings, LocatedElement const & filter)
{
    CheckMixedText(findings, filter);
    CheckAttributeCase(findings, filter, {L"Name"});
    CheckChildNames(findings, filter, {L"Item"});
    if (filter.AttributeOrEmpty(L"Name").empty())
        findings.Error(filter.place, "a Filter without a Name");
    if (filter.children.empty())
        findings.Error(filter.place,
                       "the filter " + Quoted(filter.AttributeOrEmpty(L"Name")) + " lists no Item and is not read");
    for (LocatedElement const & item : filter.children)
        if (item.name == L"Item" && !item.attributes.empty())
            findings.Warning(item.place, "an Item of a Filter holds its value as text: its attributes are not read");
}

/// An override context: what it stands under in the value's set of overrides.
std::wstring ContextKey(LocatedElement const & context)
{
    std::map<std::wstring, std::wstring> const sorted(context.attributes.begin(), context.attributes.end());
    std::wstring key;
    for (auto const & [name, value] : sorted)
        key += name + L'\1' + value + L'\2';
    return key;
}

class ValueCheck
{
public:
    ValueCheck(Findings & findings, DisplayIds & displayIds, LocatedElement const & item)
        : m_findings(findings), m_displayIds(displayIds), m_item(item)
    {
    }

    void Run()
    {
        CheckMixedText(m_findings, m_item);
        CheckAttributeCase(m_findings, m_item, {L"Name", L"Code", L"Display", L"DisplayId"});
        NoteDisplayId(m_item);
        for (LocatedElement const & child : m_item.children)
            if (child.name == L"Filter")
                CheckFilter(m_findings, child);
            else
                CheckContext(child);
    }

private:
    void NoteDisplayId(LocatedElement const & element)
    {
        std::wstring const & id = element.AttributeOrEmpty(L"DisplayId");
        if (!id.empty())
            m_displayIds.emplace(id, element.place);
    }

    void CheckContext(LocatedElement const & context)
    {
        std::string const name = host::ToUtf8(context.name);
        if (context.children.empty())
        {
            m_findings.Error(context.place, "the override context " + name + " has no Item and is not read");
            return;
        }
        CheckMixedText(m_findings, context);
        CheckChildNames(m_findings, context, {L"Item"});
        std::wstring const key = ContextKey(context);
        bool accepted = false;
        for (LocatedElement const & item : context.children)
            if (item.name == L"Item")
                accepted = CheckOverride(item, name, key) || accepted;
        if (accepted && !m_overridden.contains(key + L'\3' + L"Display"))
            m_findings.Warning(context.place, "the override context " + name +
                                                  " does not override Display: asking for the display in it fails");
    }

    bool CheckOverride(LocatedElement const & item, std::string const & context, std::wstring const & key)
    {
        CheckAttributeCase(m_findings, item, {L"Name", L"Value", L"DisplayId"});
        std::wstring const * const name = item.Attribute(L"Name");
        if (!name || !item.Attribute(L"Value"))
        {
            m_findings.Error(item.place,
                             std::string("an override without a ") + (name ? "Value" : "Name") + " is not accepted");
            return false;
        }
        if (!m_item.Attribute(*name))
        {
            m_findings.Error(item.place, "override of " + Quoted(*name) + " in " + context +
                                             " is not accepted: the value itself has no such attribute");
            return false;
        }
        NoteDisplayId(item);
        if (!m_overridden.insert(key + L'\3' + *name).second)
            m_findings.Error(item.place, "override of " + Quoted(*name) + " in " + context +
                                             " replaces an earlier one of the same context");
        return true;
    }

    Findings & m_findings;
    DisplayIds & m_displayIds;
    LocatedElement const & m_item;
    std::set<std::wstring> m_overridden; // context and attribute
};

std::string At(XmlPlace place) { return "line " + std::to_string(place.line); }

} // namespace

void CheckEnum(Findings & findings, LocatedElement const & root, DisplayIds & displayIds)
{
    if (root.AttributeOrEmpty(L"Name").empty())
        findings.Error(root.place, "the enum has no Name: no field can use it");
    CheckAttributeCase(findings, root, {L"Name", L"Default"});
    CheckMixedText(findings, root);
    CheckChildNames(findings, root, {L"Item"});

    struct Seen
    {
        std::wstring name;
        XmlPlace place;
    };
    std::unordered_map<std::wstring, Seen> names;
    std::unordered_map<int, Seen> codes;
    std::unordered_map<std::wstring, Seen> displays;
    for (LocatedElement const & item : root.children)
    {
        if (item.name != L"Item")
            continue;
        ValueCheck(findings, displayIds, item).Run();
        // A Name wins over the text, unless it is empty.
        std::wstring const & given = item.AttributeOrEmpty(L"Name");
        std::wstring const & name = given.empty() ? item.text : given;
        if (name.empty())
            findings.Error(item.place, "a value without a name");
        if (!given.empty() && !IsBlank(item.text))
            findings.Warning(item.place,
                             "the text " + Quoted(item.text) + " is not read: the value has the Name " + Quoted(name));
        if (auto const [place, isNew] = names.emplace(Folded(name), Seen{name, item.place}); !isNew)
            findings.Error(item.place, "value " + Quoted(name) + " has the name of " + Quoted(place->second.name) +
                                           " in " + At(place->second.place) + ": only the first is found");
        std::wstring const & codeText = item.AttributeOrEmpty(L"Code");
        int const code = _wtoi(codeText.c_str());
        if (!codeText.empty())
            if (std::string const problem = NumberProblem(codeText); !problem.empty())
                findings.Error(item.place, "value " + Quoted(name) + ": Code " + Quoted(codeText) + ' ' + problem +
                                               "; the code becomes " + std::to_string(code));
        if (auto const [place, isNew] = codes.emplace(code, Seen{name, item.place}); !isNew)
            findings.Error(item.place, "value " + Quoted(name) + " has the code " + std::to_string(code) +
                                           (codeText.empty() ? " (no Code given)" : "") + " of " +
                                           Quoted(place->second.name) + " in " + At(place->second.place) +
                                           ": a record keeps the code, so it would come back as that");
        std::wstring const & shown = item.AttributeOrEmpty(L"Display");
        if (auto const [place, isNew] = displays.emplace(Folded(shown.empty() ? name : shown), Seen{name, item.place});
            !isNew && Folded(place->second.name) != Folded(name))
            findings.Warning(item.place, "values " + Quoted(place->second.name) + " and " + Quoted(name) +
                                             " have the same display " + Quoted(shown.empty() ? name : shown));
    }
    std::wstring const & defaultName = root.AttributeOrEmpty(L"Default");
    if (!defaultName.empty() && !names.contains(Folded(defaultName)))
        findings.Error(root.place, "Default " + Quoted(defaultName) + " is no value: the first value is taken");
    if (names.empty())
        findings.Warning(root.place, "the enum has no values");
}

} // namespace qvconcept

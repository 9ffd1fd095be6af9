// Settings and string tables.

#include "check.h"
#include "values.h"

#include "qvlib/Conversions.h"
#include "qvlib/NameOrId.h"
#include "qvlib/VarType.h"
#include "qvlib/host/utf8.h"

namespace qvconcept
{

using namespace qvlib;

void CheckSettings(Findings & findings, LocatedElement const & root, DisplayIds & displayIds)
{
    CheckAttributeCase(findings, root, {L"Name"});
    CheckMixedText(findings, root);
    // Without children the text has to be empty as it stands, blanks included.
    if (root.children.empty() && !root.text.empty())
        findings.Error(root.place, "text without properties: the settings are refused");
    std::set<NameOrId> keys;
    for (LocatedElement const & property : root.children)
    {
        if (property.name != L"Property")
        {
            findings.Error(property.place,
                           "only Property is known here: the settings are refused for " + host::ToUtf8(property.name));
            continue;
        }
        CheckAttributeCase(findings, property, {L"Name", L"ID", L"Type", L"DisplayID"});
        NameOrId key(property.AttributeOrEmpty(L"Name"));
        if (key.GetName().empty())
        {
            std::wstring const & id = property.AttributeOrEmpty(L"ID");
            long number = 0;
            if (id.empty() || !AsLong(id.c_str(), number))
            {
                findings.Error(property.place, "a Property without a Name or a number as ID: the settings are refused");
                continue;
            }
            if (std::string const problem = NumberProblem(id); !problem.empty())
                findings.Error(property.place, "ID " + Quoted(id) + ' ' + problem);
            key = static_cast<unsigned int>(number);
        }
        std::wstring const name = key.ToString();
        if (!keys.insert(key).second)
            findings.Error(property.place, "a second Property " + Quoted(name) + " is not read: the first one counts");
        if (!property.children.empty())
            findings.Error(property.children.front().place,
                           "a Property has no elements in it: the settings are refused");
        std::wstring const & typeName = property.AttributeOrEmpty(L"Type");
        VARENUM type = VarType::String;
        if (!typeName.empty() && !VarType::TryParse(typeName.c_str(), type))
            findings.Error(property.place, "property " + Quoted(name) + ": unknown Type " + Quoted(typeName) +
                                               ": the settings are refused");
        else if (std::string const problem = ValueProblem(property.text, VarType(type)); !problem.empty())
            findings.Error(property.place, "property " + Quoted(name) + ": " + Quoted(property.text) + ' ' + problem);
        if (std::wstring const & id = property.AttributeOrEmpty(L"DisplayID"); !id.empty())
            displayIds.emplace(id, property.place);
    }
}

void CheckStrings(Findings & findings, LocatedElement const & root, std::set<std::wstring> & keys)
{
    CheckMixedText(findings, root);
    std::set<std::wstring> own;
    for (LocatedElement const & entry : root.children)
    {
        CheckAttributeCase(findings, entry, {L"Key"});
        std::wstring const * const key = entry.Attribute(L"Key");
        if (!key)
        {
            findings.Error(entry.place, "an element without a Key: the table is refused");
            continue;
        }
        if (!own.insert(*key).second)
            findings.Error(entry.place, "a second text for " + Quoted(*key) + " is not read: the first one stays");
        if (!entry.children.empty())
            findings.Warning(entry.children.front().place, "elements inside an entry are not read");
    }
    keys.merge(own);
}

} // namespace qvconcept

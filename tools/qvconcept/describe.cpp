#include "describe.h"

#include "command.h"
#include "console.h"
#include "failure.h"

#include "qvlib/DelimitedString.h"
#include "qvlib/host/utf8.h"

#include <algorithm>
#include <map>
#include <stdexcept>

namespace qvconcept
{
namespace
{

using namespace qvlib;

constexpr std::string_view kHelp =
    "usage: qvconcept describe [--format text|dot|json] [--strings TABLE]... FILE...\n"
    "\n"
    "Tells what metadata files say: the fields of a concept with their ids and types, the options of its selector "
    "with\n"
    "their required and optional fields, the values of enums with their codes and displays, settings, string tables.\n"
    "A folder stands for every *.xml below it. Enums given are put together with the concepts that use them.\n"
    "\n"
    "  --format FORMAT   text (the default), dot (for Graphviz), json\n"
    "  --strings TABLE   a string table whose texts take the place of displays; may be repeated\n";

std::vector<std::wstring> SplitNames(std::wstring const & list)
{
    std::vector<std::wstring> names;
    wchar_t const * cursor = list.c_str();
    wchar_t const * token = nullptr;
    unsigned long length = 0;
    while (CDelimitedString::GetNextToken(cursor, token, length, L',', true))
        names.emplace_back(token, length);
    return names;
}

/// The required lists, which only the written form of a concept shows.
std::map<std::wstring, std::vector<std::wstring>> RequiredLists(CTLDynamicConceptMetadata const & metadata)
{
    std::map<std::wstring, std::vector<std::wstring>> lists;
    XmlPtr const root = metadata.ToXml();
    if (!root->ContainsChildren())
        return lists;
    for (XmlPtr const & part : *root->Children())
    {
        if (part->Name() != L"Selector" || !part->ContainsChildren())
            continue;
        for (XmlPtr const & option : *part->Children())
        {
            std::wstring const * name = nullptr;
            if (!option->FindAttribute(L"Value", name) || !option->ContainsChildren())
                continue;
            for (XmlPtr const & list : *option->Children())
                if (list->Name() == L"RequiredFields")
                    lists[*name] = SplitNames(list->Value());
        }
    }
    return lists;
}

/// The options in the order of the file: what the metadata keeps is sorted by name.
std::vector<std::wstring> OptionNames(XmlElement const & root)
{
    std::vector<std::wstring> names;
    if (!root.ContainsChildren())
        return names;
    for (XmlPtr const & part : *root.Children())
    {
        if (part->Name() != L"Selector" || !part->ContainsChildren())
            continue;
        names.clear();
        for (XmlPtr const & option : *part->Children())
        {
            std::wstring const * name = nullptr;
            if (option->FindAttribute(L"Value", name) && std::find(names.begin(), names.end(), *name) == names.end())
                names.push_back(*name);
        }
    }
    return names;
}

void DescribeOptions(DescribedConcept & described, XmlElement const & root)
{
    CTLDynamicConceptMetadata const & metadata = *described.metadata;
    auto required = RequiredLists(metadata);
    for (std::wstring const & name : OptionNames(root))
    {
        DescribedOption option;
        option.name = name;
        if (EnumPtr const & kinds = metadata.GetSelectorTypeMetadata())
            option.value = kinds->FindName(name);
        option.required = std::move(required[name]);
        if (auto const optional = metadata.GetOptionalFields(name))
            for (FieldPtr const & field : *optional)
                option.optional.push_back(field->GetName());
        described.options.push_back(std::move(option));
    }
}

DescribedValue DescribeValue(EnumValuePtr const & value, XmlElement const & item)
{
    DescribedValue described{value, {}, {}};
    std::wstring const * text = nullptr;
    if (item.FindAttribute(L"DisplayId", text))
        described.displayId = *text;
    if (!item.ContainsChildren())
        return described;
    for (XmlPtr const & child : *item.Children())
    {
        if (child->Name() == L"Filter" || !child->ContainsChildren() || !child->HasAttributes())
            continue;
        Settings context;
        DescribedOverride shown;
        for (auto const & [name, setting] : *child->Attributes())
        {
            context.SetProperty(name, CGenericVal(setting.c_str()));
            shown.context.emplace_back(name, setting);
        }
        try
        {
            shown.display = value->GetDisplay(context);
            described.overrides.push_back(std::move(shown));
        }
        catch (std::out_of_range const &)
        {
            // The context overrides other attributes only.
        }
    }
    return described;
}

DescribedEnum DescribeEnum(std::string const & path, EnumPtr const & metadata, XmlElement const & root)
{
    DescribedEnum described{path, metadata, {}};
    if (!root.ContainsChildren())
        return described;
    auto value = metadata->GetValues().begin();
    for (XmlPtr const & child : *root.Children())
        if (child->Name() == L"Item" && value != metadata->GetValues().end())
            described.values.push_back(DescribeValue(*value++, *child));
    return described;
}

DescribedStrings DescribeStrings(std::string const & path, XmlElement const & root)
{
    DescribedStrings described{path, {}};
    for (XmlPtr const & child : *root.Children())
    {
        std::wstring const * key = nullptr;
        if (child->FindAttribute(L"Key", key))
            described.texts.emplace_back(*key, child->Value());
    }
    return described;
}

Description Gather(std::vector<std::string> const & words, std::vector<std::string> const & tables)
{
    StringResourcesTable table;
    for (std::string const & path : tables)
        ReadStrings(table, path, *LoadXml(path));
    Description description;
    std::vector<std::pair<std::shared_ptr<CTLDynamicConceptMetadata>, XmlPtr>> concepts;
    for (NamedFile const & file : ExpandFolders(words))
    {
        XmlPtr const root = LoadXml(file.path);
        switch (KindOf(*root))
        {
        case XmlKind::Concept:
            concepts.emplace_back(ReadConcept(file.path, *root), root);
            description.concepts.push_back({file.path, concepts.back().first, {}});
            break;
        case XmlKind::Enum:
        {
            auto const metadata = ReadEnum(file.path, *root);
            ReplaceDisplays(*metadata, table);
            description.enums.push_back(DescribeEnum(file.path, metadata, *root));
            break;
        }
        case XmlKind::Settings:
        {
            DescribedSettings described{file.path, {}};
            if (!described.settings.FromXml(*root))
                throw CallError(file.path + ": the settings are refused; \"qvconcept check\" tells where");
            described.settings.ProcessStringResources(table);
            description.settings.push_back(std::move(described));
            break;
        }
        case XmlKind::Strings:
            description.strings.push_back(DescribeStrings(file.path, *root));
            break;
        case XmlKind::Unknown:
            if (!file.fromFolder)
                throw CallError(file.path + ": no metadata: the root element is " + host::ToUtf8(root->Name()));
            break;
        }
    }
    for (std::size_t i = 0; i < concepts.size(); ++i)
    {
        for (DescribedEnum const & described : description.enums)
            concepts[i].first->BindFieldMetadata(described.metadata);
        DescribeOptions(description.concepts[i], *concepts[i].second);
    }
    return description;
}

int RunDescribe(Arguments const & arguments)
{
    if (arguments.Operands().empty())
        throw CallError("describe what? Name the metadata files");
    std::string const format = arguments.Value("format").value_or("text");
    auto const write = format == "text"   ? DescribeAsText
                       : format == "dot"  ? DescribeAsDot
                       : format == "json" ? DescribeAsJson
                                          : nullptr;
    if (!write)
        throw CallError("unknown format " + format + ": there are text, dot and json");
    Print(write(Gather(arguments.Operands(), arguments.Values("strings"))));
    return kSuccess;
}

} // namespace

Command DescribeCommand()
{
    return {"describe",
            "tell what metadata files say",
            kHelp,
            {{"format", 0, OptionKind::Single}, kStringsOption},
            RunDescribe};
}

} // namespace qvconcept

#include "metadata_files.h"

#include "console.h"
#include "failure.h"
#include "files.h"

#include "qvlib/Exceptions.h"
#include "qvlib/XmlParser.h"
#include "qvlib/host/utf8.h"

#include <map>
#include <set>

namespace qvconcept
{

using namespace qvlib;

XmlKind KindOf(XmlElement const & root)
{
    if (root.Name() == L"DynamicConcept")
        return XmlKind::Concept;
    if (root.Name() == L"DynamicEnum")
        return XmlKind::Enum;
    if (root.Name() == L"Settings")
        return XmlKind::Settings;
    if (root.ContainsChildren())
        for (XmlPtr const & child : *root.Children())
            if (child->HasAttribute(L"Key"))
                return XmlKind::Strings;
    return XmlKind::Unknown;
}

XmlPtr LoadXml(std::string const & path)
{
    std::string bytes = ReadWholeFile(path);
    std::size_t const length = bytes.size();
    // The length of all ones means something else to the parser, which also looks at three bytes of any input.
    if (length >= 0xFFFFFFFF)
        throw CallError(path + ": too large");
    bytes.append(3, '\0');
    try
    {
        return XmlParser::Load(bytes.data(), static_cast<unsigned int>(length));
    }
    catch (ParserException const & error)
    {
        throw CallError(Place(path, error.Line(), error.Column()) + ": " + error.what());
    }
}

namespace
{

[[noreturn]] void WrongKind(std::string const & path, XmlElement const & root, char const * wanted)
{
    throw CallError(path + ": is no " + wanted + ": its root element is " + host::ToUtf8(root.Name()));
}

} // namespace

std::shared_ptr<CTLDynamicConceptMetadata> ReadConcept(std::string const & path, XmlElement const & root)
{
    auto metadata = std::make_shared<CTLDynamicConceptMetadata>();
    try
    {
        if (!metadata->FromXml(root))
            WrongKind(path, root, "concept");
    }
    catch (unexpected_error const &)
    {
        throw CallError(path + ": the Selector names no field, or has a child that is no Option; \"qvconcept check\" "
                               "tells where");
    }
    return metadata;
}

std::shared_ptr<CTLDynamicEnumMetadata> ReadEnum(std::string const & path, XmlElement const & root)
{
    auto metadata = std::make_shared<CTLDynamicEnumMetadata>();
    if (!metadata->FromXml(root))
        WrongKind(path, root, "enum");
    return metadata;
}

void ReadStrings(StringResourcesTable & table, std::string const & path, XmlElement const & root)
{
    if (KindOf(root) != XmlKind::Strings)
        WrongKind(path, root, "string table");
    try
    {
        table.FromXml(root);
    }
    catch (unexpected_error const &)
    {
        throw CallError(path + ": an element without a Key; \"qvconcept check\" tells where");
    }
}

void ReplaceDisplays(CTLDynamicEnumMetadata & metadata, StringResourcesTable const & table)
{
    // The metadata hands its definitions out as const so that nobody changes what others share. These are still ours.
    for (EnumValuePtr const & value : metadata.GetValues())
        std::const_pointer_cast<CTLEnumValueDefinition>(value)->ReplaceDisplayStrings(table);
}

std::vector<NamedFile> ExpandFolders(std::vector<std::string> const & words)
{
    std::vector<NamedFile> files;
    std::set<std::string> seen;
    auto const add = [&](std::string const & path, bool fromFolder)
    {
        if (seen.insert(SameFileKey(path)).second)
            files.push_back({path, fromFolder});
    };
    for (std::string const & word : words)
        if (IsFolder(word))
            for (std::string const & path : XmlFilesBelow(word))
                add(path, true);
        else
            add(word, false);
    return files;
}

ConceptPtr LoadShape(Arguments const & arguments)
{
    std::string const path = arguments.Required("metadata");
    auto const metadata = ReadConcept(path, *LoadXml(path));
    StringResourcesTable table;
    std::vector<std::string> const tables = arguments.Values("strings");
    for (std::string const & file : tables)
        ReadStrings(table, file, *LoadXml(file));

    std::map<std::wstring, std::string> known;
    for (NamedFile const & file : ExpandFolders(arguments.Values("enum")))
    {
        XmlPtr const root = LoadXml(file.path);
        if (file.fromFolder && KindOf(*root) != XmlKind::Enum)
            continue;
        auto const enumMetadata = ReadEnum(file.path, *root);
        auto const [place, isNew] = known.emplace(enumMetadata->GetName(), file.path);
        if (!isNew)
            throw CallError(file.path + ": the enum " + host::ToUtf8(enumMetadata->GetName()) + " is in " +
                            place->second + " too");
        if (!tables.empty())
            ReplaceDisplays(*enumMetadata, table);
        metadata->BindFieldMetadata(enumMetadata);
    }
    return metadata;
}

} // namespace qvconcept

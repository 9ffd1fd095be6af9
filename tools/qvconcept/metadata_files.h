// Metadata files, read and put together into the shape of a record.
#pragma once

#include "arguments.h"

#include "qvlib/DynamicConceptMetadata.h"
#include "qvlib/DynamicEnumMetadata.h"
#include "qvlib/StringResourcesTable.h"
#include "qvlib/XmlElement.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace qvconcept
{

using ConceptPtr = std::shared_ptr<qvlib::CTLDynamicConceptMetadata const>;
using EnumPtr = std::shared_ptr<qvlib::CTLDynamicEnumMetadata const>;
using EnumValuePtr = std::shared_ptr<qvlib::CTLEnumValueDefinition const>;
using FieldPtr = std::shared_ptr<qvlib::CTLFieldDefinition const>;
using XmlPtr = std::shared_ptr<qvlib::XmlElement>;

enum class XmlKind
{
    Concept,
    Enum,
    Settings,
    Strings,
    Unknown
};

/// What the root says that the file is. Any other root is a string table if a child of it carries a Key.
XmlKind KindOf(qvlib::XmlElement const & root);

/// Throws CallError, with line and column, for a file that cannot be read or is no XML.
XmlPtr LoadXml(std::string const & path);

/// Each throws CallError when the file is something else.
std::shared_ptr<qvlib::CTLDynamicConceptMetadata> ReadConcept(std::string const & path, qvlib::XmlElement const & root);
std::shared_ptr<qvlib::CTLDynamicEnumMetadata> ReadEnum(std::string const & path, qvlib::XmlElement const & root);
void ReadStrings(qvlib::StringResourcesTable & table, std::string const & path, qvlib::XmlElement const & root);

/// Puts the table's texts in the place of the enum's displays. Only for an enum that nobody else has seen yet.
void ReplaceDisplays(qvlib::CTLDynamicEnumMetadata & metadata, qvlib::StringResourcesTable const & table);

/// The files that the words name: a folder stands for every "*.xml" below it.
struct NamedFile
{
    std::string path;
    bool fromFolder;
};
std::vector<NamedFile> ExpandFolders(std::vector<std::string> const & words);

/// The options that every command over records shares: --metadata, --enum, --strings.
inline constexpr Option kMetadataOption = {"metadata", 'm', OptionKind::Single};
inline constexpr Option kEnumOption = {"enum", 'e', OptionKind::Many};
inline constexpr Option kStringsOption = {"strings", 0, OptionKind::Many};

/// The text of these options for the help of a command.
#define QVCONCEPT_SHAPE_HELP                                                                                           \
    "  -m, --metadata FILE   the concept that gives records their shape\n"                                             \
    "  -e, --enum FILE       an enum that its fields use; a folder stands for every enum in *.xml below it;\n"         \
    "                        may be repeated\n"

/// The concept of --metadata, bound to the enums of --enum, whose displays come from the tables of --strings.
ConceptPtr LoadShape(Arguments const & arguments);

} // namespace qvconcept

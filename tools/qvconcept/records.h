// Records in archives, with the checks that keep a command from losing an item in silence.
#pragma once

#include "metadata_files.h"

#include "qvlib/DynamicConcept.h"

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qvconcept
{

using Record = qvlib::CTLDynamicConcept;
using Item = std::pair<qvlib::NameOrId, qvlib::CGenericVal>;

/// An item as a person reads it. For a field of an enum: the value's name and its display.
struct ItemText
{
    std::wstring name;
    std::wstring value;
    std::wstring display; ///< empty where there is no other than the value
};
ItemText TextOf(qvlib::CTLDynamicConceptMetadata const & metadata, Item const & item);
/// "Name = value" in UTF-8.
std::string LineOf(qvlib::CTLDynamicConceptMetadata const & metadata, Item const & item);

/// A record and what its source holds that did not become part of it, one text an item, with the reason.
struct ReadRecord
{
    Record record;
    std::vector<std::string> lost;
};

/// Reads the archive that `bytes` are; `path` is for messages. Throws Problem for bytes that are no archive of a
/// record.
ReadRecord ReadArchive(std::string const & path, std::string & bytes, ConceptPtr const & metadata);
ReadRecord ReadArchiveFile(std::string const & path, ConceptPtr const & metadata);
/// The same for a command that goes on to write: throws Problem when something would be lost.
Record ReadWholeRecord(std::string const & path, ConceptPtr const & metadata);

/// Throws Problem that lists the lost items of `what`, if there are any.
void RefuseLosses(std::string_view what, std::vector<std::string> const & lost);

/// Why the item is not in the record that was read: unknown field, no value of its enum, before the selector...
std::string WhyLost(qvlib::CTLDynamicConceptMetadata const & metadata, Item const & stored);

/// The items of `wanted` that `found` lacks or holds otherwise.
std::vector<std::string> Missing(Record const & wanted, Record const & found);

/// Writes the record's archive. Reads it back first: throws Problem, and leaves the file as it was, when what comes
/// back is not the same record.
void WriteArchiveFile(std::string const & path, Record & record);

} // namespace qvconcept

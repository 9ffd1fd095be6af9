// Commands that look at archives: show, merge, diff.

#include "command.h"
#include "console.h"
#include "failure.h"
#include "records.h"
#include "values.h"

#include "qvlib/Exceptions.h"
#include "qvlib/host/utf8.h"

#include <algorithm>

namespace qvconcept
{
namespace
{

using namespace qvlib;
using host::ToUtf8;

constexpr std::string_view kShowHelp =
    "usage: qvconcept show -m CONCEPT [-e ENUM]... [--strings TABLE]... [--json] FILE\n"
    "\n"
    "Reads an archive and prints its record: fields, values and, for enum fields, the display behind the value's "
    "name.\n"
    "\n" QVCONCEPT_SHAPE_HELP "  --strings TABLE       a string table whose texts take the place of displays\n"
    "  --json                one JSON object: field names to values, enum fields as value names\n"
    "\n"
    "Exit status 1 when the archive cannot be read, or holds items that the concept does not know; these are told on\n"
    "stderr.\n";

constexpr std::string_view kMergeHelp =
    "usage: qvconcept merge -m CONCEPT [-e ENUM]... A B -o OUT\n"
    "\n"
    "Lays record B over record A and writes the result as an archive: items of B win, items only in A stay.\n"
    "\n" QVCONCEPT_SHAPE_HELP "  -o, --output OUT      the archive\n"
    "\n"
    "Nothing is written, and the exit status is 1, when an item of A or B would be lost, in merging or when the "
    "result\n"
    "is read back.\n";

constexpr std::string_view kDiffHelp =
    "usage: qvconcept diff -m CONCEPT [-e ENUM]... A B\n"
    "\n"
    "Compares two archives item by item: \"-\" stands before what only A has, \"+\" before what only B has.\n"
    "\n" QVCONCEPT_SHAPE_HELP "\n"
    "Exit status: 0 equal, 1 different.\n";

void ComplainOfLosses(std::string const & path, std::vector<std::string> const & lost)
{
    for (std::string const & item : lost)
        Complain(path + ": not read: " + item);
}

std::string RecordAsText(CTLDynamicConceptMetadata const & metadata, Record const & record)
{
    std::vector<ItemText> items;
    std::size_t width = 0;
    for (Item const & item : record)
    {
        items.push_back(TextOf(metadata, item));
        width = std::max(width, std::min<std::size_t>(items.back().name.size(), 40));
    }
    std::string out = ToUtf8(metadata.GetName()) + '\n';
    for (ItemText const & item : items)
    {
        out += "  " + ToUtf8(item.name);
        out.append(item.name.size() < width ? width - item.name.size() : 0, ' ');
        out += "  " + ToUtf8(item.value);
        if (!item.display.empty())
            out += " (" + ToUtf8(item.display) + ')';
        out += '\n';
    }
    return out;
}

std::string RecordAsJson(CTLDynamicConceptMetadata const & metadata, Record const & record)
{
    JsonText json;
    json.BeginObject();
    for (Item const & item : record)
    {
        ItemText const text = TextOf(metadata, item);
        json.Member(text.name);
        FieldPtr const field = metadata.FindField(item.first);
        if (field && field->HasTypeMetadata())
            json.String(text.value);
        else
            WriteJsonValue(json, item.second);
    }
    json.EndObject();
    return json.Finish();
}

int RunShow(Arguments const & arguments)
{
    arguments.ExpectOperands(1, "one archive");
    std::string const & path = arguments.Operands()[0];
    ConceptPtr const metadata = LoadShape(arguments);
    ReadRecord const read = ReadArchiveFile(path, metadata);
    Print(arguments.Has("json") ? RecordAsJson(*metadata, read.record) : RecordAsText(*metadata, read.record));
    ComplainOfLosses(path, read.lost);
    return read.lost.empty() ? kSuccess : kProblems;
}

/// The same items, set anew with the selector first. A merge takes over the other record's selector even where that has
/// none, and then no longer agrees with the selector's item that stayed.
Record SetAnew(Record const & record)
{
    Record anew(record.GetMetadata());
    if (CGenericVal const * const selector = record.TryGetSelector())
        anew.TrySet(record.GetMetadata()->GetSelector()->GetKey(), *selector);
    for (Item const & item : record)
        if (!anew.TryGet(item.first))
            anew.TrySet(item.first, item.second);
    return anew;
}

int RunMerge(Arguments const & arguments)
{
    arguments.ExpectOperands(2, "two archives");
    std::string const out = arguments.Required("output");
    ConceptPtr const metadata = LoadShape(arguments);
    Record const a = ReadWholeRecord(arguments.Operands()[0], metadata);
    Record const b = ReadWholeRecord(arguments.Operands()[1], metadata);
    Record merged = a;
    try
    {
        merged.Merge(b);
    }
    catch (unexpected_error const &)
    {
        throw Problem(arguments.Operands()[1] + ": an item of it is refused by the concept");
    }
    // A selector that A has not yet begins the record anew, so look for every item of both.
    std::vector<std::string> lost;
    for (Record const * const source : {&a, &b})
        for (Item const & item : *source)
            if (!merged.TryGet(item.first))
                lost.push_back(LineOf(*metadata, item) + ": the selector comes new with the other record and empties "
                                                         "this one");
    RefuseLosses(out + ": not written, since merging", lost);
    Record result = SetAnew(merged);
    RefuseLosses(out + ": not written, since merging", Missing(merged, result));
    WriteArchiveFile(out, result);
    return kSuccess;
}

int RunDiff(Arguments const & arguments)
{
    arguments.ExpectOperands(2, "two archives");
    ConceptPtr const metadata = LoadShape(arguments);
    ReadRecord const a = ReadArchiveFile(arguments.Operands()[0], metadata);
    ReadRecord const b = ReadArchiveFile(arguments.Operands()[1], metadata);
    std::string out;
    for (Item const & item : a.record)
    {
        CGenericVal const * const other = b.record.TryGet(item.first);
        if (other && *other == item.second)
            continue;
        out += "- " + LineOf(*metadata, item) + '\n';
        if (other)
        {
            Item const otherItem(item.first, *other);
            out += "+ " + LineOf(*metadata, otherItem);
            if (other->GetType() != item.second.GetType())
                out += " (" + ToUtf8(other->GetType().ToString()) + " instead of " +
                       ToUtf8(item.second.GetType().ToString()) + ')';
            out += '\n';
        }
    }
    for (Item const & item : b.record)
        if (!a.record.TryGet(item.first))
            out += "+ " + LineOf(*metadata, item) + '\n';
    Print(out);
    ComplainOfLosses(arguments.Operands()[0], a.lost);
    ComplainOfLosses(arguments.Operands()[1], b.lost);
    bool const equal = out.empty() && a.lost.empty() && b.lost.empty();
    if (equal && !(a.record == b.record))
    {
        Print("the items are equal, the selectors are not\n");
        return kProblems;
    }
    return equal ? kSuccess : kProblems;
}

} // namespace

Command ShowCommand()
{
    return {"show",
            "print the record in an archive",
            kShowHelp,
            {kMetadataOption, kEnumOption, kStringsOption, {"json", 0, OptionKind::Flag}},
            RunShow};
}

Command MergeCommand()
{
    return {"merge",
            "lay one record over another",
            kMergeHelp,
            {kMetadataOption, kEnumOption, kStringsOption, {"output", 'o', OptionKind::Single}},
            RunMerge};
}

Command DiffCommand()
{
    return {"diff",
            "compare the records of two archives",
            kDiffHelp,
            {kMetadataOption, kEnumOption, kStringsOption},
            RunDiff};
}

} // namespace qvconcept

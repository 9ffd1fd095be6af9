// Records in the registry: save, load.

#include "command.h"
#include "console.h"
#include "failure.h"
#include "records.h"
#include "registry_store.h"
#include "registry_text.h"

#include "qvlib/Conversions.h"
#include "qvlib/Exceptions.h"
#include "qvlib/Registry.h"
#include "qvlib/host/utf8.h"

namespace qvconcept
{
namespace
{

using namespace qvlib;
using host::ToUtf8;

constexpr std::string_view kSaveHelp =
    "usage: qvconcept save -m CONCEPT [-e ENUM]... KEY ARCHIVE\n"
    "\n"
    "Keeps the record of an archive under a registry key, one text value an item. KEY is a path such as\n"
    "Software\\Example\\Ticket below the current user. What values the key had before are replaced; keys below it "
    "stay.\n"
    "\n" QVCONCEPT_SHAPE_HELP "\n"
    "The record is read back before success is reported: when an item would not come back, that is told, the key is "
    "as\n"
    "it was before, and the exit status is 1.\n";

constexpr std::string_view kLoadHelp =
    "usage: qvconcept load -m CONCEPT [-e ENUM]... KEY -o OUT\n"
    "\n"
    "Reads a record from under a registry key and writes it as an archive.\n"
    "\n" QVCONCEPT_SHAPE_HELP "  -o, --output OUT      the archive\n"
    "\n"
    "Nothing is written, and the exit status is 1, when the key holds values that would not come into the record, or\n"
    "when the archive is not read back equal.\n";

Record ReadFromKey(Key const & key, ConceptPtr const & metadata)
{
    Record record(metadata);
    CRegistry registry(key.Handle(), false);
    record.SerializeRegistry(registry, false);
    return record;
}

void WriteToKey(Key const & key, Record & record)
{
    CRegistry registry(key.Handle(), false);
    record.SerializeRegistry(registry, true);
}

/// Writes the record below a key of its own and reads it back, so that a key in use is touched only when all is well.
void Rehearse(KeyPath const & path, Record & record)
{
    KeyPath scratch = path;
    scratch.path += L"~new";
    while (Key::Exists(scratch))
        scratch.path += L'~';
    NewKeys const created(scratch);
    Key const key = Key::OpenForWriting(scratch);
    WriteToKey(key, record);
    Record const back = ReadFromKey(key, record.GetMetadata());
    RefuseLosses("key " + path.text + ": not saved, since reading it back", Missing(record, back));
    if (!(back == record))
        throw Problem("key " + path.text + ": not saved, since another record comes back");
}

void Replace(Key & key, std::vector<RegistryValue> const & values)
{
    for (RegistryValue const & value : key.Values())
        key.DeleteValue(value.name);
    for (RegistryValue const & value : values)
        key.Set(value);
}

int RunSave(Arguments const & arguments)
{
    arguments.ExpectOperands(2, "a key and an archive");
    KeyPath const path(arguments.Operands()[0]);
    if (path.path.empty())
        throw CallError("a record needs a key of its own below the root");
    ConceptPtr const metadata = LoadShape(arguments);
    Record record = ReadWholeRecord(arguments.Operands()[1], metadata);
    NewKeys created(path);
    Rehearse(path, record);
    Key key = Key::OpenForWriting(path);
    std::vector<RegistryValue> const before = key.Values();
    try
    {
        Replace(key, {});
        WriteToKey(key, record);
        if (!(ReadFromKey(key, metadata) == record))
            throw Problem("key " + path.text + ": not saved, since another record comes back");
    }
    catch (...)
    {
        Replace(key, before);
        throw;
    }
    created.Keep();
    return kSuccess;
}

/// The values of the key that did not become items, with the reason.
std::vector<std::string> Unread(Key const & key, Record const & record)
{
    std::vector<std::string> unread;
    for (RegistryValue const & value : key.Values())
    {
        long id = 0;
        NameOrId const name =
            AsLong(value.name.c_str(), id) ? NameOrId(static_cast<unsigned int>(id)) : NameOrId(value.name);
        if (record.TryGet(name))
            continue;
        std::wstring text;
        std::string line = ToUtf8(value.name) + " = " + TextOfData(value.type, value.data) + ": ";
        if (value.type != REG_SZ || !TextFromData(value.data, text))
            line += "it is no text";
        else
            line += WhyLost(*record.GetMetadata(), Item(name, CGenericVal(text.c_str())));
        unread.push_back(std::move(line));
    }
    return unread;
}

int RunLoad(Arguments const & arguments)
{
    arguments.ExpectOperands(1, "a key");
    std::string const out = arguments.Required("output");
    KeyPath const path(arguments.Operands()[0]);
    ConceptPtr const metadata = LoadShape(arguments);
    Key const key = Key::Open(path);
    Record record(metadata);
    try
    {
        record = ReadFromKey(key, metadata);
    }
    catch (unexpected_error const &)
    {
        throw Problem("key " + path.text +
                      ": a value belongs to a field whose type is not known: is an --enum missing?");
    }
    RefuseLosses("key " + path.text, Unread(key, record));
    WriteArchiveFile(out, record);
    return kSuccess;
}

} // namespace

Command SaveCommand()
{
    return {
        "save", "keep a record in the registry", kSaveHelp, {kMetadataOption, kEnumOption, kStringsOption}, RunSave};
}

Command LoadCommand()
{
    return {"load",
            "read a record from the registry",
            kLoadHelp,
            {kMetadataOption, kEnumOption, kStringsOption, {"output", 'o', OptionKind::Single}},
            RunLoad};
}

} // namespace qvconcept

// The commands behind "registry".

#include "command.h"
#include "console.h"
#include "failure.h"
#include "files.h"
#include "json.h"
#include "registry_store.h"
#include "registry_text.h"

#include "qvlib/host/utf8.h"

namespace qvconcept
{
namespace
{

using qvlib::host::FromUtf8;
using qvlib::host::ToUtf8;

#define QVCONCEPT_KEY_HELP                                                                                             \
    "\nKEY is a path such as Software\\Example\\Ticket below the current user; HKCU\\ or HKLM\\ may stand in front.\n"

constexpr std::string_view kUsage =
    "usage: qvconcept registry ls|get|set|rm|export|import ...\n"
    "\n"
    "Looks after the registry: keys in a tree, each with named and typed values.\n"
    "\n"
    "  ls KEY                      the sub-keys and values of a key\n"
    "  get KEY NAME                one value\n"
    "  set KEY NAME VALUE...       write a value, and the key where it is missing\n"
    "  rm KEY [NAME]               delete a key or a value\n"
    "  export KEY                  everything below a key as text\n"
    "  import FILE                 such a text back into the registry\n"
    "\n"
    "\"qvconcept registry COMMAND --help\" tells more. QVLIB_REGISTRY names the folder of the store; without it the\n"
    "current user's lies in $XDG_CONFIG_HOME/qvlib.\n" QVCONCEPT_KEY_HELP;

constexpr std::string_view kLsHelp =
    "usage: qvconcept registry ls [-r] KEY\n"
    "\n"
    "Lists the sub-keys of a key, in brackets, and its values, as export writes them.\n"
    "\n"
    "  -r, --recursive   the keys below, too\n" QVCONCEPT_KEY_HELP;

constexpr std::string_view kGetHelp =
    "usage: qvconcept registry get [--type] KEY NAME\n"
    "\n"
    "Prints one value: a text as it is, a list one text a line, a number in decimal, anything else as bytes in\n"
    "hexadecimal. The empty NAME is the key's default value.\n"
    "\n"
    "  --type   the kind and the value, as export writes them\n" QVCONCEPT_KEY_HELP;

constexpr std::string_view kSetHelp =
    "usage: qvconcept registry set [--type KIND] KEY NAME VALUE...\n"
    "\n"
    "Writes a value; the key is made where it is missing. The empty NAME is the key's default value.\n"
    "\n"
    "  --type KIND   text (the default), expand, list (as many VALUEs as there are), dword, qword (in decimal), "
    "binary\n"
    "                (in hexadecimal)\n" QVCONCEPT_KEY_HELP;

constexpr std::string_view kRmHelp = "usage: qvconcept registry rm [-r] KEY [NAME]\n"
                                     "\n"
                                     "Deletes a value, or a key with its values.\n"
                                     "\n"
                                     "  -r, --recursive   the keys below, too\n" QVCONCEPT_KEY_HELP;

constexpr std::string_view kExportHelp =
    "usage: qvconcept registry export [-o FILE] KEY\n"
    "\n"
    "Writes a key and everything below it as text:\n"
    "\n"
    "    qvconcept registry 1\n"
    "\n"
    "    [Software\\Example]\n"
    "    \"Title\" = text \"Report \\\"A\\\"\"\n"
    "    \"Home\" = expand \"%HOME%\"\n"
    "    \"Count\" = dword 42\n"
    "    \"Ticks\" = qword 1099511627776\n"
    "    \"Tags\" = list \"red\" \"green\"\n"
    "    \"Key\" = binary 00 ff 10\n"
    "    \"\" = text \"the key's default value\"\n"
    "    \"Odd\" = type 5 00 00 00 01\n"
    "\n"
    "The text is UTF-8; what is quoted has the escapes of JSON. \"type\" has the number of a type and the bytes as "
    "they\n"
    "are: it stands for whatever the other words would not give back byte for byte. Blank lines and lines that begin\n"
    "with # are passed over by import.\n"
    "\n"
    "  -o, --output FILE   the file, in place of stdout\n" QVCONCEPT_KEY_HELP;

constexpr std::string_view kImportHelp =
    "usage: qvconcept registry import FILE\n"
    "\n"
    "Writes the keys and values of a text of \"registry export\" back to where they were. Values of the same name are\n"
    "replaced, others stay. The whole text is read before anything is written.\n";

void AppendValues(std::string & out, Key const & key, std::string_view indent)
{
    for (RegistryValue const & value : key.Values())
    {
        out += indent;
        out += LineOfValue(value);
        out += '\n';
    }
}

void AppendTree(std::string & out, KeyPath const & path)
{
    Key const key = Key::Open(path);
    // The text form has a line for a key; a name that breaks the line cannot be written.
    if (path.text.find_first_of("\r\n") != std::string::npos)
        throw Problem("key " + JsonQuoted(FromUtf8(path.text)) + ": a name with a line end cannot be exported");
    if (FromUtf8(ToUtf8(path.path)) != path.path)
        throw Problem("key " + path.text + ": a name that is no valid Unicode cannot be exported");
    out += "\n[" + path.text + "]\n";
    AppendValues(out, key, "");
    for (std::wstring const & name : key.SubKeys())
        AppendTree(out, path.Child(name));
}

void AppendListing(std::string & out, KeyPath const & path, bool recursive, std::string const & indent)
{
    Key const key = Key::Open(path);
    AppendValues(out, key, indent);
    for (std::wstring const & name : key.SubKeys())
    {
        out += indent + '[' + ToUtf8(name) + "]\n";
        if (recursive)
            AppendListing(out, path.Child(name), true, indent + "  ");
    }
}

int RunLs(Arguments const & arguments)
{
    arguments.ExpectOperands(1, "a key");
    std::string out;
    AppendListing(out, KeyPath(arguments.Operands()[0]), arguments.Has("recursive"), "");
    Print(out);
    return kSuccess;
}

int RunGet(Arguments const & arguments)
{
    arguments.ExpectOperands(2, "a key and the name of a value");
    KeyPath const path(arguments.Operands()[0]);
    RegistryValue const value = Key::Open(path).Value(FromUtf8(arguments.Operands()[1]));
    std::wstring text;
    std::vector<std::wstring> texts;
    std::string out = TextOfData(value.type, value.data);
    if (!arguments.Has("type"))
    {
        if (out.starts_with("text ") || out.starts_with("expand "))
        {
            TextFromData(value.data, text);
            out = ToUtf8(text);
        }
        else if (out == "list" || out.starts_with("list "))
        {
            ListFromData(value.data, texts);
            out.clear();
            for (std::wstring const & item : texts)
                out += (out.empty() ? "" : "\n") + ToUtf8(item);
        }
        else if (out.starts_with("type "))
            out.erase(0, std::min(out.find(' ', 5), out.size() - 1) + 1);
        else
            out.erase(0, std::min(out.find(' '), out.size() - 1) + 1);
    }
    Print(out + '\n');
    return kSuccess;
}

RegistryValue ValueFromWords(std::string const & name, std::string const & kind, std::vector<std::string> const & words)
{
    RegistryValue value{FromUtf8(name), REG_SZ, {}};
    if (kind == "list")
    {
        value.type = REG_MULTI_SZ;
        std::vector<std::wstring> texts;
        for (std::string const & word : words)
        {
            if (word.empty())
                throw CallError("a list cannot hold an empty text");
            texts.push_back(FromUtf8(word));
        }
        value.data = ListData(texts);
        return value;
    }
    if (words.size() != 1)
        throw CallError(words.empty() ? "too few words: expected a VALUE" : "only a list has more than one VALUE");
    if (kind == "text" || kind == "expand")
    {
        value.type = kind == "text" ? REG_SZ : REG_EXPAND_SZ;
        value.data = TextData(FromUtf8(words[0]));
    }
    else if (kind == "dword" || kind == "qword")
    {
        value.type = kind == "dword" ? REG_DWORD : REG_QWORD;
        if (!NumberData(words[0], kind == "dword" ? 4 : 8, value.data))
            throw CallError(words[0] + " is no number that fits a " + kind);
    }
    else if (kind == "binary")
    {
        value.type = REG_BINARY;
        if (!BytesFromHex(words[0], value.data))
            throw CallError(words[0] + " is no hexadecimal text of whole bytes");
    }
    else
        throw CallError("unknown kind " + kind + ": there are text, expand, list, dword, qword and binary");
    return value;
}

int RunSet(Arguments const & arguments)
{
    std::vector<std::string> const & words = arguments.Operands();
    if (words.size() < 2)
        throw CallError("too few words: expected a key, the name of a value and its text");
    KeyPath const path(words[0]);
    RegistryValue const value =
        ValueFromWords(words[1], arguments.Value("type").value_or("text"), {words.begin() + 2, words.end()});
    Key::Create(path).Set(value);
    return kSuccess;
}

int RunRm(Arguments const & arguments)
{
    std::vector<std::string> const & words = arguments.Operands();
    if (words.empty() || words.size() > 2)
        throw CallError("expected a key, and perhaps the name of a value");
    KeyPath const path(words[0]);
    if (words.size() == 2)
    {
        Key::OpenForWriting(path).DeleteValue(FromUtf8(words[1]));
        return kSuccess;
    }
    if (path.path.empty())
        throw CallError("the root cannot be deleted");
    if (arguments.Has("recursive"))
        Key::DeleteTree(path);
    else if (!Key::Open(path).SubKeys().empty())
        throw Problem("key " + path.text + ": there are keys below it; -r deletes them, too");
    else
        Key::Delete(path);
    return kSuccess;
}

int RunExport(Arguments const & arguments)
{
    arguments.ExpectOperands(1, "a key");
    std::string out = std::string(kRegistryTextHead) + '\n';
    AppendTree(out, KeyPath(arguments.Operands()[0]));
    if (auto const file = arguments.Value("output"))
        NewFile(*file, out).Commit();
    else
        Print(out);
    return kSuccess;
}

int RunImport(Arguments const & arguments)
{
    arguments.ExpectOperands(1, "a file");
    std::string const & file = arguments.Operands()[0];
    std::vector<RegistryKeyText> const keys = ParseRegistryText(file, ReadWholeFile(file));
    std::vector<KeyPath> paths;
    for (RegistryKeyText const & key : keys)
        paths.emplace_back(key.path);
    for (std::size_t i = 0; i < keys.size(); ++i)
    {
        Key key = Key::Create(paths[i]);
        for (RegistryValue const & value : keys[i].values)
            key.Set(value);
    }
    return kSuccess;
}

std::vector<Command> RegistryCommands()
{
    return {{"ls", "", kLsHelp, {{"recursive", 'r', OptionKind::Flag}}, RunLs},
            {"get", "", kGetHelp, {{"type", 0, OptionKind::Flag}}, RunGet},
            {"set", "", kSetHelp, {{"type", 0, OptionKind::Single}}, RunSet},
            {"rm", "", kRmHelp, {{"recursive", 'r', OptionKind::Flag}}, RunRm},
            {"export", "", kExportHelp, {{"output", 'o', OptionKind::Single}}, RunExport},
            {"import", "", kImportHelp, {}, RunImport}};
}

} // namespace

int RunRegistry(std::span<std::string const> words)
{
    if (words.empty())
        throw CallError("registry what? \"qvconcept registry --help\" lists the commands");
    if (words[0] == "--help" || words[0] == "-h")
    {
        Print(kUsage);
        return kSuccess;
    }
    for (Command const & command : RegistryCommands())
        if (command.name == words[0])
            return RunCommand(command, words.subspan(1));
    throw CallError("unknown command registry " + words[0] + ": \"qvconcept registry --help\" lists the commands");
}

} // namespace qvconcept

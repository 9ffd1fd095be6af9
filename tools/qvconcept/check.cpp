#include "check.h"

#include "command.h"
#include "console.h"
#include "failure.h"
#include "files.h"
#include "metadata_files.h"

#include "qvlib/DelimitedString.h"
#include "qvlib/Settings.h"
#include "qvlib/host/utf8.h"

#include <algorithm>

namespace qvconcept
{

using namespace qvlib;

std::string Quoted(std::wstring_view text) { return '"' + host::ToUtf8(text) + '"'; }

bool IsBlank(std::wstring_view text) { return CountBlanks(text) == text.size(); }

std::wstring Folded(std::wstring_view text)
{
    std::wstring folded(text);
    for (wchar_t & c : folded)
        if (c >= L'A' && c <= L'Z')
            c = static_cast<wchar_t>(c + (L'a' - L'A'));
    return folded;
}

void CheckMixedText(Findings & findings, LocatedElement const & element)
{
    if (!element.children.empty() && !IsBlank(element.text))
        findings.Error(element.PlaceInText(CountBlanks(element.text)),
                       "text in front of an element: the readers take " + host::ToUtf8(element.name) +
                           " to have no elements in it");
    if (element.strayText.line != 0)
        findings.Warning(element.strayText, "text behind an element is not read");
}

void CheckChildNames(Findings & findings, LocatedElement const & element,
                     std::initializer_list<std::wstring_view> known)
{
    for (LocatedElement const & child : element.children)
        if (std::find(known.begin(), known.end(), child.name) == known.end())
            findings.Warning(child.place, "the element " + host::ToUtf8(child.name) + " is not read here");
}

void CheckAttributeCase(Findings & findings, LocatedElement const & element,
                        std::initializer_list<std::wstring_view> known)
{
    for (auto const & [name, value] : element.attributes)
        for (std::wstring_view const wanted : known)
            if (name != wanted && Folded(name) == Folded(wanted))
                findings.Warning(element.place,
                                 "attribute " + host::ToUtf8(name) + ": did you mean " + host::ToUtf8(wanted) + "?");
}

std::vector<ListToken> ListTokens(LocatedElement const & element)
{
    std::vector<ListToken> tokens;
    wchar_t const * const begin = element.text.c_str();
    wchar_t const * cursor = begin;
    wchar_t const * token = nullptr;
    unsigned long length = 0;
    // Places are counted from token to token, so that a list of thousands takes one pass.
    XmlPlace at = element.textPlace;
    wchar_t const * counted = begin;
    while (CDelimitedString::GetNextToken(cursor, token, length, L',', true))
    {
        at = PlaceBehind(at, std::wstring_view(counted, static_cast<std::size_t>(token - counted)));
        counted = token;
        tokens.push_back({std::wstring(token, length), at});
    }
    return tokens;
}

namespace
{

constexpr std::string_view kHelp =
    "usage: qvconcept check [--strict] FILE...\n"
    "\n"
    "Reads metadata files (concepts, enums, settings, string tables; a folder stands for every *.xml below it), puts "
    "the\n"
    "concepts together with the enums given, and tells what the library would pass over in silence: unknown fields in\n"
    "lists, options and defaults that the enum lacks, enum fields without their enum, duplicate names, ids and codes,\n"
    "unknown types, overrides that are not accepted, values that do not fit, and a selector that is not stored first,\n"
    "so that a stored record would lose items. When string tables are among the files: display ids without a text.\n"
    "\n"
    "  --strict   warnings count as problems, too\n"
    "\n"
    "Findings go to stderr as \"file:line:column: error: text\" (or warning), a summary to stdout. Exit status: 0 no\n"
    "errors, 1 errors, 2 a file cannot be read.\n";

struct CheckedFile
{
    std::string path;
    XmlKind kind;
    LocatedElement root;
};

XmlKind KindOf(LocatedElement const & root)
{
    if (root.name == L"DynamicConcept")
        return XmlKind::Concept;
    if (root.name == L"DynamicEnum")
        return XmlKind::Enum;
    if (root.name == L"Settings")
        return XmlKind::Settings;
    bool const hasKey = std::any_of(root.children.begin(), root.children.end(),
                                    [](LocatedElement const & child) { return child.Attribute(L"Key") != nullptr; });
    return hasKey ? XmlKind::Strings : XmlKind::Unknown;
}

std::vector<CheckedFile> ReadFiles(std::vector<std::string> const & words, Findings & findings)
{
    std::vector<CheckedFile> files;
    for (NamedFile const & named : ExpandFolders(words))
    {
        findings.SetFile(named.path);
        try
        {
            LocatedElement root = ReadLocated(ReadWholeFile(named.path));
            XmlKind const kind = KindOf(root);
            if (kind != XmlKind::Unknown)
                files.push_back({named.path, kind, std::move(root)});
            else if (!named.fromFolder)
                findings.Error(root.place, "no metadata: the root element is " + host::ToUtf8(root.name));
        }
        catch (XmlFault const & fault)
        {
            findings.Error(fault.place, fault.text);
        }
    }
    return files;
}

EnumsByName CollectEnums(std::vector<CheckedFile> const & files, Findings & findings)
{
    EnumsByName enums;
    std::map<std::wstring, std::string> origin;
    for (CheckedFile const & file : files)
    {
        if (file.kind != XmlKind::Enum)
            continue;
        auto const metadata = ReadEnum(file.path, *LoadXml(file.path));
        auto const [place, isNew] = origin.emplace(metadata->GetName(), file.path);
        if (isNew)
        {
            enums.emplace(metadata->GetName(), metadata);
            continue;
        }
        findings.SetFile(file.path);
        findings.Error(file.root.place,
                       "a second enum " + Quoted(metadata->GetName()) + ": " + place->second + " has it, too");
    }
    return enums;
}

/// One finding a file, for a table that lacks texts mostly lacks many.
void CheckDisplayIds(Findings & findings, DisplayIds const & ids, std::set<std::wstring> const & texts)
{
    std::size_t count = 0;
    std::pair<std::wstring const, XmlPlace> const * first = nullptr;
    for (auto const & id : ids)
        if (!texts.contains(id.first))
        {
            ++count;
            if (!first ||
                std::pair(id.second.line, id.second.column) < std::pair(first->second.line, first->second.column))
                first = &id;
        }
    if (first)
        findings.Warning(first->second, Count(count, "display id") + " without a text in the tables given, the first " +
                                            Quoted(first->first));
}

/// The last word is the library's: what it refuses is an error even where the checks see none.
void CheckAccepted(Findings & findings, CheckedFile const & file)
{
    std::size_t const before = findings.Errors();
    bool accepted = true;
    try
    {
        XmlPtr const root = LoadXml(file.path);
        if (file.kind == XmlKind::Concept)
            ReadConcept(file.path, *root);
        else if (file.kind == XmlKind::Settings)
            accepted = Settings().FromXml(*root);
    }
    catch (CallError const &)
    {
        accepted = false;
    }
    if (!accepted && before == 0)
        findings.Error(file.root.place, "the library refuses this file");
}

int RunCheck(Arguments const & arguments)
{
    if (arguments.Operands().empty())
        throw CallError("check what? Name the metadata files");
    Findings findings;
    std::vector<CheckedFile> const files = ReadFiles(arguments.Operands(), findings);
    EnumsByName const enums = CollectEnums(files, findings);

    std::set<std::wstring> texts;
    bool haveTables = false;
    for (CheckedFile const & file : files)
        if (file.kind == XmlKind::Strings)
        {
            findings.SetFile(file.path);
            CheckStrings(findings, file.root, texts);
            haveTables = true;
        }
    std::map<std::wstring, std::string> concepts;
    for (CheckedFile const & file : files)
    {
        findings.SetFile(file.path);
        DisplayIds displayIds;
        switch (file.kind)
        {
        case XmlKind::Concept:
            CheckConcept(findings, file.root, enums);
            if (auto const [place, isNew] = concepts.emplace(file.root.AttributeOrEmpty(L"Name"), file.path); !isNew)
                findings.Warning(file.root.place,
                                 "a second concept " + Quoted(place->first) + ": " + place->second + " has it, too");
            break;
        case XmlKind::Enum:
            CheckEnum(findings, file.root, displayIds);
            break;
        case XmlKind::Settings:
            CheckSettings(findings, file.root, displayIds);
            break;
        case XmlKind::Strings:
        case XmlKind::Unknown:
            break;
        }
        CheckAccepted(findings, file);
        if (haveTables)
            CheckDisplayIds(findings, displayIds, texts);
    }
    Print(Count(files.size(), "metadata file") + ", " + Count(findings.Errors(), "error") + ", " +
          Count(findings.Warnings(), "warning") + '\n');
    return findings.Errors() != 0 || (arguments.Has("strict") && findings.Warnings() != 0) ? kProblems : kSuccess;
}

} // namespace

Command CheckCommand()
{
    return {
        "check", "tell what is wrong in metadata files, and where", kHelp, {{"strict", 0, OptionKind::Flag}}, RunCheck};
}

} // namespace qvconcept

#include "command.h"
#include "console.h"
#include "failure.h"
#include "files.h"
#include "records.h"
#include "values.h"

#include "qvlib/Exceptions.h"
#include "qvlib/host/crt.h"
#include "qvlib/host/utf8.h"

#include <algorithm>

namespace qvconcept
{
namespace
{

using namespace qvlib;
using host::FromUtf8;
using host::ToUtf8;

constexpr std::string_view kHelp =
    "usage: qvconcept make -m CONCEPT [-e ENUM]... [--set NAME=VALUE]... -o OUT\n"
    "\n"
    "Makes a record, sets its items in the order given and writes it as an archive. NAME is a field's name, or its id\n"
    "where no field has that name; VALUE of an enum field is the name of a value. What the record refuses is told "
    "with\n"
    "the reason, and nothing is written. The selector comes first, since setting it empties the record.\n"
    "\n" QVCONCEPT_SHAPE_HELP "  --set NAME=VALUE      an item; may be repeated\n"
    "  --set-file FILE       items from a UTF-8 file, one NAME=VALUE a line\n"
    "  --strict              required fields that are missing are a problem: nothing is written, exit status 1.\n"
    "                        Without it they are only listed and the record is written\n"
    "  -o, --output OUT      the archive\n"
    "\n"
    "The archive is read back before it takes its place: when an item would not come back, that is told, OUT stays as\n"
    "it was, and the exit status is 1.\n";

/// The value whose display or code somebody gave for its name.
EnumValuePtr MeantValue(CTLDynamicEnumMetadata const & kinds, std::wstring const & text)
{
    if (EnumValuePtr const value = kinds.FindDisplay(text))
        return value;
    if (NumberProblem(text).empty())
        return kinds.FindCode(_wtoi(text.c_str()));
    return nullptr;
}

std::string WhyNoEnumValue(CTLDynamicEnumMetadata const & kinds, std::wstring const & text)
{
    std::string why = "is no value of the enum " + ToUtf8(kinds.GetName());
    if (EnumValuePtr const meant = MeantValue(kinds, text))
    {
        why += ": did you mean " + ToUtf8(meant->GetName()) + "? Its ";
        why += meant->HasDisplay(text.c_str()) ? "display is " + ToUtf8(text)
                                               : "code is " + std::to_string(meant->GetCode());
        return why;
    }
    std::string known;
    std::size_t count = 0;
    for (EnumValuePtr const & value : kinds.GetValues())
    {
        if (++count > 12)
        {
            known += ", ...";
            break;
        }
        known += (known.empty() ? "" : ", ") + ToUtf8(value->GetName());
    }
    return known.empty() ? why : why + ": there are " + known;
}

class Maker
{
public:
    explicit Maker(ConceptPtr const & metadata) : m_metadata(*metadata), m_record(metadata) {}

    void Set(std::string const & assignment);
    std::vector<std::string> MissingFields() const;
    Record & Result() { return m_record; }

private:
    FieldPtr FieldOf(std::string const & name) const;
    void RefuseSelectorAfterItems(CTLFieldDefinition const & field) const;

    CTLDynamicConceptMetadata const & m_metadata;
    Record m_record;
};

FieldPtr Maker::FieldOf(std::string const & name) const
{
    std::wstring const wide = FromUtf8(name);
    if (FieldPtr const field = m_metadata.FindField(wide))
        return field;
    if (!name.empty() && name.find_first_not_of("0123456789") == std::string::npos && name.size() < 10)
        if (unsigned const id = static_cast<unsigned>(std::stoul(name)))
            if (FieldPtr const field = m_metadata.FindField(id))
                return field;
    std::string text = "the concept " + ToUtf8(m_metadata.GetName()) + " has no field " + name;
    for (FieldPtr const & field : m_metadata.GetFields())
        if (_wcsicmp(field->GetName().c_str(), wide.c_str()) == 0)
            text += "; did you mean " + ToUtf8(field->GetName()) + "?";
    throw Problem(text);
}

void Maker::RefuseSelectorAfterItems(CTLFieldDefinition const & field) const
{
    if (&field != m_metadata.GetSelector().get() || m_record.IsEmpty())
        return;
    std::string text = "setting the selector " + ToUtf8(field.GetName()) + " empties the record and would lose:";
    for (Item const & item : m_record)
        text += "\n  " + LineOf(m_metadata, item);
    throw Problem(text + "\nset it first, and once");
}

void Maker::Set(std::string const & assignment)
{
    std::size_t const equals = assignment.find('=');
    if (equals == std::string::npos)
        throw CallError("--set " + assignment + ": expected NAME=VALUE");
    std::string const name = assignment.substr(0, equals);
    std::wstring const text = FromUtf8(std::string_view(assignment).substr(equals + 1));
    FieldPtr const field = FieldOf(name);
    std::string const refused = ToUtf8(field->GetName()) + ": \"" + ToUtf8(text) + "\" ";
    RefuseSelectorAfterItems(*field);
    if (field->HasTypeMetadata())
    {
        CTLDynamicEnumMetadata const & kinds = *field->GetTypeMetadata();
        if (!kinds.FindName(text))
            throw Problem(refused + WhyNoEnumValue(kinds, text));
    }
    else if (field->HasType())
    {
        VARENUM type = VarType::Empty;
        if (field->GetType().starts_with(L"DynamicEnums."))
            throw CallError(ToUtf8(field->GetName()) + ": no --enum gives " + ToUtf8(field->GetType().substr(13)));
        if (!VarType::TryParse(field->GetType().c_str(), type))
            throw CallError(ToUtf8(field->GetName()) + ": the concept gives it the unknown type " +
                            ToUtf8(field->GetType()));
        if (std::string const problem = ValueProblem(text, VarType(type)); !problem.empty())
            throw Problem(refused + problem);
    }
    if (!m_record.TrySet(field->GetKey(), CGenericVal(CQVString(text.data(), static_cast<int>(text.size())))))
        throw Problem(refused + "is refused");
}

std::vector<std::string> Maker::MissingFields() const
{
    std::vector<std::string> missing;
    auto const wanted = [&](CTLFieldDefinition const & field)
    {
        if (!m_record.TryGet(field.GetKey()))
            missing.push_back(ToUtf8(field.GetName()));
    };
    for (FieldPtr const & field : m_metadata.GetCommonRequiredFields())
        wanted(*field);
    FieldPtr const & selector = m_metadata.GetSelector();
    EnumPtr const & options = m_metadata.GetSelectorTypeMetadata();
    if (selector)
        wanted(*selector);
    if (CGenericVal const * const selected = m_record.TryGetSelector(); selected && options)
        if (EnumValuePtr const option = options->FindCode(selected->GetInt()))
            for (FieldPtr const & field : m_metadata.GetFields())
                if (m_metadata.IsRequiredField(field->GetKey(), option->GetName()))
                    wanted(*field);
    std::sort(missing.begin(), missing.end());
    missing.erase(std::unique(missing.begin(), missing.end()), missing.end());
    return missing;
}

void SetFromFile(Maker & maker, std::string const & path)
{
    std::string const text = ReadWholeFile(path);
    std::size_t number = 0;
    for (std::size_t start = 0; start < text.size();)
    {
        std::size_t const end = std::min(text.find('\n', start), text.size());
        std::string line = text.substr(start, end - start);
        start = end + 1;
        ++number;
        if (line.ends_with('\r'))
            line.pop_back();
        if (line.empty())
            continue;
        std::string const place = Place(path, static_cast<unsigned>(number)) + ": ";
        try
        {
            maker.Set(line);
        }
        catch (CallError const & error)
        {
            throw CallError(place + error.what());
        }
        catch (Problem const & problem)
        {
            throw Problem(place + problem.what());
        }
    }
}

int RunMake(Arguments const & arguments)
{
    arguments.ExpectOperands(0, "options only");
    std::string const out = arguments.Required("output");
    Maker maker(LoadShape(arguments));
    for (auto const & [option, value] : arguments.InOrder())
        if (option == "set")
            maker.Set(value);
        else if (option == "set-file")
            SetFromFile(maker, value);
    std::vector<std::string> const missing = maker.MissingFields();
    if (!missing.empty())
    {
        std::string text = Count(missing.size(), "required field") + " missing:";
        for (std::string const & name : missing)
            text += (&name == &missing.front() ? " " : ", ") + name;
        if (arguments.Has("strict"))
            throw Problem(text);
        Complain("note: " + text);
    }
    WriteArchiveFile(out, maker.Result());
    return kSuccess;
}

} // namespace

Command MakeCommand()
{
    return {"make",
            "make a record and write it as an archive",
            kHelp,
            {kMetadataOption,
             kEnumOption,
             kStringsOption,
             {"set", 0, OptionKind::Many},
             {"set-file", 0, OptionKind::Many},
             {"strict", 0, OptionKind::Flag},
             {"output", 'o', OptionKind::Single}},
            RunMake};
}

} // namespace qvconcept

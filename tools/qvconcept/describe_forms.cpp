// The three forms of a description.

#include "describe.h"

#include "console.h"
#include "json.h"
#include "values.h"

#include "qvlib/host/utf8.h"

#include <algorithm>
#include <map>

namespace qvconcept
{
namespace
{

using namespace qvlib;
using host::ToUtf8;

/// As many columns as the characters take, roughly: wide East Asian ones count for two.
std::size_t Width(std::wstring_view text)
{
    std::size_t width = 0;
    for (wchar_t const c : text)
        width += (c >= 0x1100 && c <= 0x115F) || (c >= 0x2E80 && c <= 0xA4CF) || (c >= 0xAC00 && c <= 0xD7A3) ||
                         (c >= 0xF900 && c <= 0xFAFF) || (c >= 0xFF00 && c <= 0xFF60)
                     ? 2
                     : 1;
    return width;
}

std::string Padded(std::wstring_view text, std::size_t width)
{
    std::string padded = ToUtf8(text);
    std::size_t const own = Width(text);
    padded.append(own < width ? width - own : 0, ' ');
    return padded;
}

template <class Range, class GetText>
std::size_t Widest(Range const & range, GetText getText)
{
    std::size_t widest = 0;
    for (auto const & element : range)
        widest = std::max(widest, Width(getText(element)));
    return std::min<std::size_t>(widest, 40);
}

std::string Joined(std::vector<std::wstring> const & names)
{
    std::string text;
    for (std::wstring const & name : names)
    {
        if (!text.empty())
            text += ", ";
        text += ToUtf8(name);
    }
    return text.empty() ? "-" : text;
}

std::vector<std::wstring> NamesOf(CTLDynamicConceptMetadata::Fields const & fields)
{
    std::vector<std::wstring> names;
    for (FieldPtr const & field : fields)
        names.push_back(field->GetName());
    return names;
}

std::map<std::wstring, std::wstring> AttributesOf(CTLFieldDefinition const & field)
{
    std::map<std::wstring, std::wstring> attributes;
    XmlPtr const xml = field.ToXml();
    for (auto const & [name, value] : *xml->Attributes())
        if (name != L"Name" && name != L"Id" && name != L"Type")
            attributes.emplace(name, value);
    return attributes;
}

std::string NameOfDefault(CTLDynamicEnumMetadata const & metadata)
{
    return metadata.GetDefault() ? ToUtf8(metadata.GetDefault()->GetName()) : "";
}

void TextOfConcept(std::string & out, DescribedConcept const & described)
{
    CTLDynamicConceptMetadata const & metadata = *described.metadata;
    out += "concept " + ToUtf8(metadata.GetName()) + " (" + described.path + ")\n";
    std::size_t const width = Widest(metadata.GetFields(), [](FieldPtr const & field) { return field->GetName(); });
    for (FieldPtr const & field : metadata.GetFields())
    {
        std::string const id = field->HasId() ? std::to_string(field->GetId()) : "-";
        out += "  " + std::string(id.size() < 5 ? 5 - id.size() : 0, ' ') + id + "  " +
               Padded(field->GetName(), width) + "  " + ToUtf8(field->GetType());
        if (field == metadata.GetSelector())
            out += "  (selector)";
        if (!field->HasTypeMetadata() && field->GetType().starts_with(L"DynamicEnums."))
            out += "  (its enum is not given)";
        for (auto const & [name, value] : AttributesOf(*field))
            out += "  " + ToUtf8(name) + '=' + ToUtf8(value);
        out += '\n';
    }
    if (!metadata.GetCommonRequiredFields().empty())
        out += "  always required: " + Joined(NamesOf(metadata.GetCommonRequiredFields())) + '\n';
    for (DescribedOption const & option : described.options)
    {
        out += "  option " + ToUtf8(option.name);
        if (option.value && option.value->GetDisplay() != option.name)
            out += ": " + ToUtf8(option.value->GetDisplay());
        out += "\n    required: " + Joined(option.required) + "\n    optional: " + Joined(option.optional) + '\n';
    }
}

void TextOfEnum(std::string & out, DescribedEnum const & described)
{
    CTLDynamicEnumMetadata const & metadata = *described.metadata;
    out += "enum " + ToUtf8(metadata.GetName()) + " (" + described.path + ")";
    if (metadata.GetDefault())
        out += ", default " + NameOfDefault(metadata);
    out += '\n';
    std::size_t const width =
        Widest(described.values, [](DescribedValue const & value) { return value.value->GetName(); });
    for (DescribedValue const & entry : described.values)
    {
        CTLEnumValueDefinition const & value = *entry.value;
        std::string const code = std::to_string(value.GetCode());
        out += "  " + std::string(code.size() < 5 ? 5 - code.size() : 0, ' ') + code + "  " +
               Padded(value.GetName(), width) + "  " + ToUtf8(value.GetDisplay());
        for (auto const & [name, text] : value.GetAttributes())
            out += "  " + ToUtf8(name) + '=' + ToUtf8(text);
        out += '\n';
        std::string const indent(width + 11, ' ');
        if (value.GetFilters())
            for (auto const & [key, text] : *value.GetFilters())
                out += indent + "for " + ToUtf8(key) + " = " + ToUtf8(text) + '\n';
        for (DescribedOverride const & shown : entry.overrides)
        {
            out += indent + "where";
            for (auto const & [name, text] : shown.context)
                out += ' ' + ToUtf8(name) + " = " + ToUtf8(text);
            out += ": " + ToUtf8(shown.display) + '\n';
        }
    }
}

std::string DotString(std::wstring_view text)
{
    std::string quoted;
    for (char const c : ToUtf8(text))
    {
        if (c == '"' || c == '\\')
            quoted += '\\';
        if (c == '\n')
            quoted += ' ';
        else
            quoted += c;
    }
    return quoted;
}

void DotOfConcept(std::string & out, DescribedConcept const & described)
{
    CTLDynamicConceptMetadata const & metadata = *described.metadata;
    std::string const node = "\"concept " + DotString(metadata.GetName()) + '"';
    out += "  " + node + " [shape=box, style=bold, label=\"" + DotString(metadata.GetName()) + "\\n\\n";
    for (FieldPtr const & field : metadata.GetFields())
        out += DotString(field->GetName()) + ": " + DotString(field->GetType()) + "\\l";
    out += "\"];\n";
    std::map<std::wstring, std::string> uses;
    for (FieldPtr const & field : metadata.GetFields())
        if (field->HasTypeMetadata())
            uses[field->GetTypeMetadata()->GetName()] += DotString(field->GetName()) + "\\n";
    for (auto const & [name, fields] : uses)
        out += "  " + node + " -> \"enum " + DotString(name) + "\" [label=\"" + fields + "\"];\n";
    for (DescribedOption const & option : described.options)
    {
        std::string const optionNode = "\"option " + DotString(metadata.GetName()) + '.' + DotString(option.name) + '"';
        out += "  " + optionNode + " [shape=note, label=\"" + DotString(option.name) + "\\n\\n";
        for (std::wstring const & name : option.required)
            out += DotString(name) + "\\l";
        for (std::wstring const & name : option.optional)
            out += '(' + DotString(name) + ")\\l";
        out += "\"];\n  " + node + " -> " + optionNode + " [style=dashed];\n";
    }
}

void DotOfEnum(std::string & out, DescribedEnum const & described)
{
    CTLDynamicEnumMetadata const & metadata = *described.metadata;
    out += "  \"enum " + DotString(metadata.GetName()) + "\" [shape=box, style=rounded, label=\"" +
           DotString(metadata.GetName()) + "\\n\\n";
    for (DescribedValue const & entry : described.values)
    {
        out += std::to_string(entry.value->GetCode()) + ' ' + DotString(entry.value->GetName());
        if (entry.value->GetDisplay() != entry.value->GetName())
            out += " (" + DotString(entry.value->GetDisplay()) + ')';
        out += "\\l";
    }
    out += "\"];\n";
}

void JsonNames(JsonText & json, std::wstring_view member, std::vector<std::wstring> const & names)
{
    json.Member(member);
    json.BeginArray();
    for (std::wstring const & name : names)
        json.String(name);
    json.EndArray();
}

template <class Pairs>
void JsonTexts(JsonText & json, std::wstring_view member, Pairs const & pairs)
{
    json.Member(member);
    json.BeginObject();
    for (auto const & [name, text] : pairs)
        json.Member(name, text);
    json.EndObject();
}

void JsonHead(JsonText & json, std::wstring_view kind, std::string const & path)
{
    json.BeginObject();
    json.Member(L"kind", kind);
    json.Member(L"file", host::FromUtf8(path));
}

void JsonOfConcept(JsonText & json, DescribedConcept const & described)
{
    CTLDynamicConceptMetadata const & metadata = *described.metadata;
    JsonHead(json, L"concept", described.path);
    json.Member(L"name", metadata.GetName());
    json.Member(L"selector");
    if (metadata.GetSelector())
        json.String(metadata.GetSelector()->GetName());
    else
        json.Null();
    json.Member(L"fields");
    json.BeginArray();
    for (FieldPtr const & field : metadata.GetFields())
    {
        json.BeginObject();
        json.Member(L"name", field->GetName());
        json.Member(L"id");
        if (field->HasId())
            json.Unsigned(field->GetId());
        else
            json.Null();
        json.Member(L"type", field->GetType());
        json.Member(L"bound");
        json.Bool(field->HasTypeMetadata());
        JsonTexts(json, L"attributes", AttributesOf(*field));
        json.EndObject();
    }
    json.EndArray();
    JsonNames(json, L"required", NamesOf(metadata.GetCommonRequiredFields()));
    json.Member(L"options");
    json.BeginArray();
    for (DescribedOption const & option : described.options)
    {
        json.BeginObject();
        json.Member(L"value", option.name);
        json.Member(L"display", option.value ? option.value->GetDisplay() : option.name);
        JsonNames(json, L"required", option.required);
        JsonNames(json, L"optional", option.optional);
        json.EndObject();
    }
    json.EndArray();
    json.EndObject();
}

void JsonOfEnum(JsonText & json, DescribedEnum const & described)
{
    CTLDynamicEnumMetadata const & metadata = *described.metadata;
    JsonHead(json, L"enum", described.path);
    json.Member(L"name", metadata.GetName());
    json.Member(L"default");
    if (metadata.GetDefault())
        json.String(metadata.GetDefault()->GetName());
    else
        json.Null();
    json.Member(L"values");
    json.BeginArray();
    for (DescribedValue const & entry : described.values)
    {
        CTLEnumValueDefinition const & value = *entry.value;
        json.BeginObject();
        json.Member(L"name", value.GetName());
        json.Member(L"code");
        json.Integer(value.GetCode());
        json.Member(L"display", value.GetDisplay());
        json.Member(L"displayId", entry.displayId);
        JsonTexts(json, L"attributes", value.GetAttributes());
        json.Member(L"filters");
        json.BeginArray();
        if (value.GetFilters())
            for (auto const & [key, text] : *value.GetFilters())
            {
                json.BeginObject();
                json.Member(L"key", key);
                json.Member(L"value", text);
                json.EndObject();
            }
        json.EndArray();
        json.Member(L"overrides");
        json.BeginArray();
        for (DescribedOverride const & shown : entry.overrides)
        {
            json.BeginObject();
            JsonTexts(json, L"context", shown.context);
            json.Member(L"display", shown.display);
            json.EndObject();
        }
        json.EndArray();
        json.EndObject();
    }
    json.EndArray();
    json.EndObject();
}

void JsonOfSettings(JsonText & json, DescribedSettings const & described)
{
    JsonHead(json, L"settings", described.path);
    json.Member(L"name", described.settings.GetName());
    json.Member(L"properties");
    json.BeginArray();
    for (auto const & [key, property] : described.settings)
    {
        json.BeginObject();
        json.Member(key.IsId() ? L"id" : L"name");
        if (key.IsId())
            json.Unsigned(key.GetId());
        else
            json.String(key.GetName());
        json.Member(L"type", property.value.GetType().ToString());
        json.Member(L"value");
        WriteJsonValue(json, property.value);
        json.Member(L"displayId", property.displayId);
        json.EndObject();
    }
    json.EndArray();
    json.EndObject();
}

} // namespace

std::string DescribeAsText(Description const & description)
{
    std::string out;
    for (DescribedConcept const & described : description.concepts)
        TextOfConcept(out, described);
    for (DescribedEnum const & described : description.enums)
        TextOfEnum(out, described);
    for (DescribedSettings const & described : description.settings)
    {
        out += "settings " + ToUtf8(described.settings.GetName()) + " (" + described.path + ")\n";
        for (auto const & [key, property] : described.settings)
            out += "  " + ToUtf8(key.ToString()) + " = " + ToUtf8(ValueText(property.value)) + "  (" +
                   ToUtf8(property.value.GetType().ToString()) + ")\n";
    }
    for (DescribedStrings const & described : description.strings)
    {
        out += "strings (" + described.path + ")\n";
        std::size_t const width = Widest(described.texts, [](auto const & entry) { return entry.first; });
        for (auto const & [key, text] : described.texts)
            out += "  " + Padded(key, width) + "  " + ToUtf8(text) + '\n';
    }
    return out;
}

std::string DescribeAsDot(Description const & description)
{
    std::string out = "digraph metadata {\n  rankdir=LR;\n  node [fontname=\"sans-serif\"];\n";
    for (DescribedConcept const & described : description.concepts)
        DotOfConcept(out, described);
    for (DescribedEnum const & described : description.enums)
        DotOfEnum(out, described);
    return out + "}\n";
}

std::string DescribeAsJson(Description const & description)
{
    JsonText json;
    json.BeginArray();
    for (DescribedConcept const & described : description.concepts)
        JsonOfConcept(json, described);
    for (DescribedEnum const & described : description.enums)
        JsonOfEnum(json, described);
    for (DescribedSettings const & described : description.settings)
        JsonOfSettings(json, described);
    for (DescribedStrings const & described : description.strings)
    {
        JsonHead(json, L"strings", described.path);
        JsonTexts(json, L"texts", described.texts);
        json.EndObject();
    }
    json.EndArray();
    return json.Finish();
}

} // namespace qvconcept

// JSON text (RFC 8259), indented, written as it is told: one member or element after another.
//
//     JsonText json;
//     json.BeginObject();
//     json.Member(L"Name");
//     json.String(L"Shipment");
//     json.EndObject();
//     Print(json.Finish());
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace qvconcept
{

class JsonText
{
public:
    void BeginObject() { Open('{'); }
    void EndObject() { Close('}'); }
    void BeginArray() { Open('['); }
    void EndArray() { Close(']'); }
    /// The name of the member whose value comes next.
    void Member(std::wstring_view name);
    void String(std::wstring_view text);
    void Bool(bool value) { Raw(value ? "true" : "false"); }
    void Null() { Raw("null"); }
    void Integer(long long value) { Raw(std::to_string(value)); }
    void Unsigned(unsigned long long value) { Raw(std::to_string(value)); }
    /// The shortest text that reads back as the same number. JSON has no infinities and no NaN: those become strings.
    void Number(double value);
    void Number(float value);

    /// A member with a text, the commonest kind.
    void Member(std::wstring_view name, std::wstring_view text);

    /// All of it with a line end; the object is empty afterwards.
    std::string Finish();

private:
    void Raw(std::string_view text);
    void Open(char bracket);
    void Close(char bracket);
    void BeforeValue();
    void NewLine();

    std::string m_text;
    std::vector<bool> m_hasContent; ///< one for each open bracket
    bool m_afterName = false;
};

/// The shortest decimal text that reads back as the same number.
std::string ShortestText(double value);
std::string ShortestText(float value);

/// The text in double quotes, escaped. A lone surrogate becomes its "\u" escape, so nothing is lost.
std::string JsonQuoted(std::wstring_view text);

} // namespace qvconcept

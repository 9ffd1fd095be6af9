// XmlCommandProcessor: a table of named functions that stand behind commands in XML text.
//
// An element's text or an attribute's value may be a command, {{Name(first, second)}}. XmlParser::ApplyCommands walks a
// tree and puts what the command returns in its place. The table is empty until a client fills it.
//
//     qvlib::XmlCommandProcessor commands;
//     commands.AddCommand(L"Env", [](std::vector<std::wstring> const & arguments) -> boost::optional<std::wstring>
//                         { return Lookup(arguments[0]); });
//     std::shared_ptr<qvlib::XmlElement> root = qvlib::XmlParser::Load(L"<path>{{Env(HOME)}}</path>");
//     qvlib::XmlParser::ApplyCommands(*root, commands);
//
// What a reader may not expect of a command's form:
//  - The two braces at the beginning make it; the closing ones are not looked for. What stands behind the last closing
//    parenthesis is dropped with the rest.
//  - There are one or two arguments, never none: the first comma splits, and the second argument keeps any others.
//    Blanks around them go. There are no quotes, no escapes and no commands inside commands.
#pragma once

#include "qvlib/export.h"

#include <boost/optional/optional.hpp>

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace qvlib
{

/// Names are matched exactly. Thread-compatible, as far as the functions are.
class QVLIB_API XmlCommandProcessor
{
public:
    /// Gets the arguments; gives the replacement, or nothing to leave the text as it is.
    using Command = std::function<boost::optional<std::wstring>(std::vector<std::wstring> const &)>;

    /// Puts a function behind a name, in place of any that is there.
    void AddCommand(std::wstring const & name, Command command);

    /// The replacement of a text: nothing when it is no command, the name is unknown or the function declines. What the
    /// function throws comes through; an empty function is std::bad_function_call.
    boost::optional<std::wstring> ProcessIf(std::wstring const & text) const;

private:
    bool Parse(std::wstring const & text, std::wstring & name, std::vector<std::wstring> & args) const;

    std::map<std::wstring, Command> m_commands;
};

} // namespace qvlib

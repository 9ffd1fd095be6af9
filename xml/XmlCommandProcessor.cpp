#include "qvlib/XmlCommandProcessor.h"

#include "qvlib/TextFunctions.h"
#include "qvlib/XmlElement.h"
#include "qvlib/XmlParser.h"

#include <cstddef>
#include <memory>
#include <utility>

namespace qvlib
{

void XmlCommandProcessor::AddCommand(std::wstring const & name, Command command)
{
    m_commands.insert_or_assign(name, std::move(command));
}

bool XmlCommandProcessor::Parse(std::wstring const & text, std::wstring & name, std::vector<std::wstring> & args) const
{
    if (text.size() < 2 || text[0] != L'{' || text[1] != L'{')
        return false;
    // A position that is not there takes part as the all-ones value: the arithmetic wraps, and a part that would end
    // in front of its beginning reaches to the end of the text. So {{Name}} has the name "Name}}".
    std::size_t const open = text.find(L'(');
    std::size_t const close = text.rfind(L')');
    std::size_t const first = open + 1;
    std::size_t const comma = text.find(L',', first);
    auto const part = [&text](std::size_t begin, std::size_t end)
    {
        std::wstring found = text.substr(begin, end - begin);
        trim(found);
        return found;
    };
    name = part(2, open);
    args.clear();
    if (comma == std::wstring::npos)
    {
        args.push_back(part(first, close));
    }
    else
    {
        args.reserve(2);
        args.push_back(part(first, comma));
        args.push_back(part(comma + 1, close));
    }
    return true;
}

boost::optional<std::wstring> XmlCommandProcessor::ProcessIf(std::wstring const & text) const
{
    std::wstring name;
    std::vector<std::wstring> args;
    if (!Parse(text, name, args))
        return {};
    auto const found = m_commands.find(name);
    if (found == m_commands.end())
        return {};
    return found->second(args);
}

namespace
{

void ApplyTo(XmlElement & element, XmlCommandProcessor const & processor)
{
    if (boost::optional<std::wstring> const value = processor.ProcessIf(element.Value()))
        element.Value(*value);
    if (std::shared_ptr<XmlElement::AttributeMap> const attributes = element.Attributes())
        for (auto & [name, value] : *attributes)
            if (boost::optional<std::wstring> replacement = processor.ProcessIf(value))
                value = std::move(*replacement);
}

} // namespace

void XmlParser::ApplyCommands(XmlElement & element, XmlCommandProcessor const & processor)
{
    struct Level
    {
        std::shared_ptr<XmlElement::ElementList> children;
        std::size_t next;
    };
    // A tree that a program built may be of any depth, so the open levels are kept here and not on the call stack.
    std::vector<Level> levels;
    auto const enter = [&](XmlElement & entered)
    {
        ApplyTo(entered, processor);
        // The flag decides, not the list: children of an element that is meant to be a leaf stay as they are.
        if (entered.HasChildren() && entered.ContainsChildren())
            levels.push_back({entered.Children(), 0});
    };
    enter(element);
    while (!levels.empty())
    {
        Level & level = levels.back();
        if (level.next == level.children->size())
        {
            levels.pop_back();
            continue;
        }
        if (std::shared_ptr<XmlElement> const child = (*level.children)[level.next++])
            enter(*child);
    }
}

} // namespace qvlib

#include "arguments.h"

#include "failure.h"

#include <algorithm>

namespace qvconcept
{

Arguments::Arguments(std::span<std::string const> words, std::span<Option const> options)
{
    for (std::size_t i = 0; i < words.size(); ++i)
    {
        std::string const & word = words[i];
        if (word == "--")
        {
            m_operands.insert(m_operands.end(), words.begin() + static_cast<std::ptrdiff_t>(i) + 1, words.end());
            return;
        }
        if (word.size() < 2 || word[0] != '-')
        {
            m_operands.push_back(word);
            continue;
        }
        bool const isLong = word.starts_with("--");
        std::size_t const equals = isLong ? word.find('=') : std::string::npos;
        std::string_view const name =
            isLong ? std::string_view(word).substr(2, equals == std::string::npos ? equals : equals - 2)
                   : std::string_view(word).substr(1);
        auto const option =
            std::find_if(options.begin(), options.end(),
                         [&](Option const & candidate)
                         { return isLong ? candidate.name == name : name.size() == 1 && candidate.letter == name[0]; });
        if (option == options.end())
            throw CallError("unknown option " + word);
        std::string value;
        if (option->kind == OptionKind::Flag)
        {
            if (equals != std::string::npos)
                throw CallError("option --" + std::string(option->name) + " takes no value");
        }
        else
        {
            if (option->kind == OptionKind::Single && Has(option->name))
                throw CallError("option --" + std::string(option->name) + " is given twice");
            if (equals != std::string::npos)
                value = word.substr(equals + 1);
            else if (++i < words.size())
                value = words[i];
            else
                throw CallError("option " + word + " needs a value");
        }
        m_options.emplace_back(option->name, std::move(value));
    }
}

bool Arguments::Has(std::string_view option) const
{
    return std::any_of(m_options.begin(), m_options.end(), [&](auto const & given) { return given.first == option; });
}

std::optional<std::string> Arguments::Value(std::string_view option) const
{
    for (auto const & [name, value] : m_options)
        if (name == option)
            return value;
    return std::nullopt;
}

std::string Arguments::Required(std::string_view option) const
{
    if (auto value = Value(option))
        return *value;
    throw CallError("option --" + std::string(option) + " is missing");
}

std::vector<std::string> Arguments::Values(std::string_view option) const
{
    std::vector<std::string> values;
    for (auto const & [name, value] : m_options)
        if (name == option)
            values.push_back(value);
    return values;
}

void Arguments::ExpectOperands(std::size_t count, std::string_view what) const
{
    if (m_operands.size() == count)
        return;
    if (m_operands.size() > count)
        throw CallError("too many words: expected " + std::string(what));
    throw CallError("too few words: expected " + std::string(what));
}

} // namespace qvconcept

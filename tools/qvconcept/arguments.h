// The words behind a command's name, sorted into options and operands.
//
// An option is written "--name VALUE", "--name=VALUE" or by its letter, "-n VALUE"; "--" ends the options. Options keep
// their order, since "--set" is carried out in the order given.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qvconcept
{

enum class OptionKind
{
    Flag,   ///< has no value
    Single, ///< has a value and is given at most once
    Many    ///< has a value and may be repeated
};

struct Option
{
    std::string_view name;
    char letter; ///< 0 for none
    OptionKind kind;
};

class Arguments
{
public:
    /// Throws CallError for an option that is not among `options`, lacks its value, has one too many or is repeated.
    Arguments(std::span<std::string const> words, std::span<Option const> options);

    bool Has(std::string_view option) const;
    std::optional<std::string> Value(std::string_view option) const;
    /// Throws CallError when the option is missing.
    std::string Required(std::string_view option) const;
    std::vector<std::string> Values(std::string_view option) const;
    /// Every option and its value, as given.
    std::vector<std::pair<std::string_view, std::string>> const & InOrder() const { return m_options; }

    std::vector<std::string> const & Operands() const { return m_operands; }
    /// Throws CallError that names what is expected unless there are exactly `count` operands.
    void ExpectOperands(std::size_t count, std::string_view what) const;

private:
    std::vector<std::pair<std::string_view, std::string>> m_options;
    std::vector<std::string> m_operands;
};

} // namespace qvconcept

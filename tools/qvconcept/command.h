// One command: its name, its help and what runs it.
#pragma once

#include "arguments.h"

namespace qvconcept
{

struct Command
{
    std::string_view name;
    std::string_view summary; ///< one line of "qvconcept --help"
    std::string_view help;    ///< all of "qvconcept NAME --help"
    std::vector<Option> options;
    int (*run)(Arguments const &); ///< gives the exit status
};

Command CheckCommand();
Command DescribeCommand();
Command MakeCommand();
Command ShowCommand();
Command MergeCommand();
Command DiffCommand();
Command SaveCommand();
Command LoadCommand();

/// "registry" has sub-commands of its own: `words` are those behind "registry".
int RunRegistry(std::span<std::string const> words);
inline constexpr std::string_view kRegistrySummary = "look after the store that save and load use";

/// Runs a command on the words behind its name; answers --help by itself.
int RunCommand(Command const & command, std::span<std::string const> words);

} // namespace qvconcept

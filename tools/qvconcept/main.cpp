// qvconcept: look at metadata files, and make, read and keep records of their shape.

#include "command.h"
#include "console.h"
#include "failure.h"

#include "qvlib/DynamicEnumMetadata.h"

#include <algorithm>
#include <new>

namespace qvconcept
{
namespace
{

constexpr std::string_view kUsageHead = "usage: qvconcept COMMAND [OPTIONS] [WORDS]\n"
                                        "\n"
                                        "Looks at metadata files, and makes, reads and keeps records of their shape.\n"
                                        "\n"
                                        "Commands:\n";
constexpr std::string_view kUsageTail =
    "\n"
    "  qvconcept COMMAND --help    what a command does and takes\n"
    "  qvconcept --version         the version of this program\n"
    "\n"
    "Exit status: 0 success, 1 problems found, 2 bad call. Messages go to stderr, as \"file:line:column: text\" where\n"
    "the fault is in an XML file. Text is UTF-8.\n";

std::vector<Command> Commands()
{
    return {CheckCommand(), DescribeCommand(), MakeCommand(), ShowCommand(),
            MergeCommand(), DiffCommand(),     SaveCommand(), LoadCommand()};
}

std::string Usage()
{
    std::string text(kUsageHead);
    auto const line = [&](std::string_view name, std::string_view summary)
    {
        text += "  ";
        text += name;
        text.append(name.size() < 10 ? 10 - name.size() : 1, ' ');
        text += summary;
        text += '\n';
    };
    for (Command const & command : Commands())
        line(command.name, command.summary);
    line("registry", kRegistrySummary);
    text += kUsageTail;
    return text;
}

int Dispatch(std::span<std::string const> words)
{
    if (words.empty())
        throw CallError("which command? \"qvconcept --help\" lists them");
    std::string const & name = words[0];
    if (name == "--help" || name == "-h" || name == "help")
    {
        Print(Usage());
        return kSuccess;
    }
    if (name == "--version")
    {
        Print("qvconcept " QVCONCEPT_VERSION "\n");
        return kSuccess;
    }
    if (name == "registry")
        return RunRegistry(words.subspan(1));
    for (Command const & command : Commands())
        if (command.name == name)
            return RunCommand(command, words.subspan(1));
    throw CallError("unknown command " + name + ": \"qvconcept --help\" lists them");
}

} // namespace

int RunCommand(Command const & command, std::span<std::string const> words)
{
    auto const end = std::find(words.begin(), words.end(), "--");
    if (std::any_of(words.begin(), end, [](std::string const & word) { return word == "--help" || word == "-h"; }))
    {
        Print(command.help);
        return kSuccess;
    }
    return command.run(Arguments(words, command.options));
}

} // namespace qvconcept

int main(int argc, char ** argv)
{
    using namespace qvconcept;
    // A failed look-up must not open a message box, which would wait for a person.
    qvlib::EnableDynamicEnumFailMessage(false);
    std::vector<std::string> const words(argv + std::min(argc, 1), argv + argc);
    try
    {
        int const status = Dispatch(words);
        FinishOutput();
        return status;
    }
    catch (CallError const & error)
    {
        Complain(error.what());
        return kBadCall;
    }
    catch (std::bad_alloc const &)
    {
        Complain("out of memory");
        return kProblems;
    }
    catch (std::exception const & error)
    {
        Complain(error.what());
        return kProblems;
    }
}

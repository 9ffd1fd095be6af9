// How a command ends early: what is thrown here becomes one line on stderr and the exit status.
#pragma once

#include <stdexcept>
#include <string>

namespace qvconcept
{

inline constexpr int kSuccess = 0;
inline constexpr int kProblems = 1;
inline constexpr int kBadCall = 2;

/// The command was called wrongly, or was given a file that is not what it must be: exit status 2.
class CallError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// The command did its work and found a problem: exit status 1.
class Problem : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

} // namespace qvconcept

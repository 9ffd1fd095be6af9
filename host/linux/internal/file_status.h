// The system's error numbers as the platform's status codes, for what works on files.
#pragma once

#include "qvlib/host/types.h"

#include <string>

namespace qvlib::host
{

LSTATUS StatusOf(int error) noexcept;
/// The same for an operation on a path: a missing file and a missing folder before it are different failures.
LSTATUS StatusOfPath(int error, std::string const & path);

} // namespace qvlib::host

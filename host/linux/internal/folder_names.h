// Names of folders, found without regard to the case of their letters.
#pragma once

#include <string>

namespace qvlib::host
{

/// The name in the folder that is `name` but for case: the first in byte order, so that the choice does not hang on the
/// order in which the file system lists. Empty when there is none. An empty folder is the running one.
std::string FindNoCase(std::string const & folder, std::string const & name);

} // namespace qvlib::host

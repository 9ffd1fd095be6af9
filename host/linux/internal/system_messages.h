// The platform's English texts for its usual status codes and result codes.
#pragma once

#include "qvlib/host/types.h"

namespace qvlib::host
{

/// The text without its line end, ASCII; null for a code that has none. A result code of the system facility
/// (0x8007....) has the text of the status in it.
char const * SystemMessage(DWORD code) noexcept;

} // namespace qvlib::host

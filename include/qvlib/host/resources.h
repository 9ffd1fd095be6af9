// Text resources: numbered texts that a program or module hands to the library, in place of the resource section of a
// module file. CStringT::LoadString and the date classes read them.
//
//     qvlib::host::SetTextResource(0xD800, L"not a date");
//
// Thread rule: thread-safe.
#pragma once

#include "qvlib/export.h"

#include <string>
#include <string_view>

namespace qvlib::host
{

/// Makes `text` the resource of that number, in place of an earlier one.
QVLIB_API void SetTextResource(unsigned int id, std::wstring_view text);
/// Whether there was one to remove.
QVLIB_API bool RemoveTextResource(unsigned int id);
/// Gives the resource of that number; false, and `text` unchanged, when there is none.
QVLIB_API bool GetTextResource(unsigned int id, std::wstring & text);

} // namespace qvlib::host

// Values and their texts, as a person types and reads them.
#pragma once

#include "json.h"

#include "qvlib/GenericVal.h"
#include "qvlib/VarType.h"

#include <string>
#include <string_view>

namespace qvconcept
{

/// What is wrong with `text` as a value of `type`, as words that follow the quoted text ("is no Int"); empty if nothing
/// is. Stricter than the library, which reads the digits that a text begins with and calls the rest good.
std::string ValueProblem(std::wstring const & text, qvlib::VarType type);

/// The same for the number that an attribute such as Id or Code holds: 32 bits with a sign.
std::string NumberProblem(std::wstring const & text);

/// The text of a value: numbers with as many digits as they need, dates as "2024-06-15 09:30:00".
std::wstring ValueText(qvlib::CGenericVal const & value);

/// Numbers and booleans as such, everything else as a string.
void WriteJsonValue(JsonText & json, qvlib::CGenericVal const & value);

} // namespace qvconcept

// The texts of failures in the XML code.
#pragma once

#include "qvlib/host/types.h"

#include <string>

namespace qvlib::xml
{

// What ParserException says in front of the code.
inline constexpr char const * kNameFailure = "Error: cannot read an xml node name, error code ";
inline constexpr char const * kAttributeFailure = "Error: cannot process an attribute, error code ";
inline constexpr char const * kReadFailure = "Error: cannot read the xml file, error code ";
inline constexpr char const * kValueFailure = "Error: cannot read the xml node value, error code ";

/// `text`, then the code in hexadecimal: lower-case digits behind 0x, not padded, and a bare 0 for zero.
std::string FailureText(std::string const & text, HRESULT hr);

} // namespace qvlib::xml

// The parser of name-value lines. It lies apart because the parser library is costly to compile.
#pragma once

#include "qvlib/NameValue.h"

namespace qvlib
{

/// Appends the items of the text, up to its NUL, to `result`. False, with some of the items there, when the text is no
/// list. For a separator that is matched without regard to case, lower case is expected.
bool ReadNameValues(wchar_t const * text, CQVString const & separator, bool caseSensitive, CTLNameValueVector & result);

} // namespace qvlib

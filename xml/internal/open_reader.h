// How the library's parsers get their reader.
#pragma once

#include "qvlib/framework/comutil.h"
#include "qvlib/host/xml.h"

namespace qvlib::xml
{

/// A new reader over `stream` that refuses DTDs. The result is that of the first step that fails.
HRESULT OpenReader(IStream * stream, _com_ptr_t<IXmlReader> & reader);

} // namespace qvlib::xml

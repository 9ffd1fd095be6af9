// The library's own list of key and value pairs, behind the class QRGenObjsLib::CLSID_QRProperties.
#pragma once

#include "qvlib/host/properties.h"

namespace qvlib::host
{

/// Makes an empty list and asks it for `iid`.
HRESULT CreatePropertiesList(REFIID iid, void ** object);

} // namespace qvlib::host

// The catalog object, behind the class CLSID_COMAdminCatalog.
#pragma once

#include "qvlib/host/com.h"

namespace qvlib::host
{

/// Makes a catalog and asks it for `iid`.
HRESULT CreateCatalog(REFIID iid, void ** object);

} // namespace qvlib::host

#include "qvlib/Unknown.h"

namespace qvlib
{

HRESULT ITLUnknown::QueryInterface(REFIID iid, void ** object)
{
    if (iid != IID_IUnknown)
        return E_NOINTERFACE; // the place is left alone on purpose: callers depend on it
    if (object == nullptr)
        return E_POINTER;
    AddRef();
    *object = static_cast<IUnknown *>(this);
    return S_OK;
}

ULONG ITLUnknown::AddRef() { return 1; }

ULONG ITLUnknown::Release() { return 1; }

template class CTLUnknown<0>;
template class CTLUnknown<1>;

} // namespace qvlib

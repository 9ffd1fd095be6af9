// The object behind CCmdTarget's interfaces, and connecting. Late-bound calls are in dispatch.cpp, connection points in
// connectionpoint.cpp.

#include "qvlib/framework/cmdtarget.h"

#include "qvlib/framework/comutil.h"
#include "qvlib/framework/connectionpoint.h"
#include "qvlib/framework/dispatchmap.h"

IMPLEMENT_DYNAMIC(CCmdTarget, CObject)

namespace
{

/// The empty map in which every chain of maps ends.
template <class Map>
Map const * RootMap() noexcept
{
    static constexpr Map map{nullptr, nullptr};
    return &map;
}

/// The connection point for sinks of `source` under `iid`, or null.
_com_ptr_t<IConnectionPoint> FindPoint(IUnknown * source, REFIID iid)
{
    _com_ptr_t<IConnectionPoint> point;
    void * found = nullptr;
    if (source == nullptr || FAILED(source->QueryInterface(IID_IConnectionPointContainer, &found)))
        return point;
    _com_ptr_t<IConnectionPointContainer> const container(static_cast<IConnectionPointContainer *>(found), false);
    if (container == nullptr || FAILED(container->FindConnectionPoint(iid, &point)))
        point.Detach(); // whatever a failing source may have left there is no reference of ours
    return point;
}

} // namespace

CCmdTarget::CCmdTarget() noexcept : m_xDispatch(*this), m_xConnPtContainer(*this) {}

CCmdTarget::~CCmdTarget() = default;

IDispatch * CCmdTarget::GetIDispatch(BOOL addRef)
{
    if (!m_automation)
        return nullptr;
    if (addRef)
        ExternalAddRef();
    return &m_xDispatch;
}

CCmdTarget * CCmdTarget::FromIDispatch(IDispatch * dispatch) noexcept
{
    auto * const own = dynamic_cast<XDispatch *>(dispatch);
    return own != nullptr ? &own->m_owner : nullptr;
}

IUnknown * CCmdTarget::GetInterface(void const * iid)
{
    IID const & wanted = *static_cast<IID const *>(iid);
    if (IUnknown * const hooked = GetInterfaceHook(iid))
        return hooked;
    if (wanted == IID_IUnknown)
        return &m_xDispatch; // there always, whether or not it answers for IDispatch
    for (AFX_INTERFACEMAP const * map = GetInterfaceMap(); map != nullptr;
         map = map->pfnGetBaseMap != nullptr ? map->pfnGetBaseMap() : nullptr)
        for (AFX_INTERFACEMAP_ENTRY const * entry = map->pEntry; entry != nullptr && entry->piid != nullptr; ++entry)
            if (*entry->piid == wanted)
                return entry->part(this);
    if (m_automation && wanted == IID_IDispatch)
        return &m_xDispatch;
    if (m_connections && wanted == IID_IConnectionPointContainer)
        return &m_xConnPtContainer;
    return nullptr;
}

DWORD CCmdTarget::InternalAddRef() noexcept
{
    // Relaxed: whoever adds a reference already holds one.
    return static_cast<DWORD>(m_dwRef.fetch_add(1, std::memory_order_relaxed) + 1);
}

DWORD CCmdTarget::InternalRelease()
{
    // The last one must see what the others did.
    LONG const left = m_dwRef.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (left == 0)
        OnFinalRelease();
    return static_cast<DWORD>(left);
}

DWORD CCmdTarget::InternalQueryInterface(void const * iid, LPVOID * object)
{
    if (iid == nullptr || object == nullptr)
        return static_cast<DWORD>(E_POINTER);
    IUnknown * const found = GetInterface(iid);
    *object = found;
    if (found == nullptr)
        return static_cast<DWORD>(E_NOINTERFACE);
    ExternalAddRef();
    return S_OK;
}

void CCmdTarget::OnFinalRelease() { delete this; }

AFX_DISPMAP const * CCmdTarget::GetDispatchMap() const { return GetThisDispatchMap(); }
AFX_CONNECTIONMAP const * CCmdTarget::GetConnectionMap() const { return GetThisConnectionMap(); }
AFX_INTERFACEMAP const * CCmdTarget::GetInterfaceMap() const { return GetThisInterfaceMap(); }
IUnknown * CCmdTarget::GetInterfaceHook(void const *) { return nullptr; }
IConnectionPoint * CCmdTarget::GetConnectionHook(REFIID) { return nullptr; }

AFX_DISPMAP const * CCmdTarget::GetThisDispatchMap() noexcept { return RootMap<AFX_DISPMAP>(); }
AFX_CONNECTIONMAP const * CCmdTarget::GetThisConnectionMap() noexcept { return RootMap<AFX_CONNECTIONMAP>(); }
AFX_INTERFACEMAP const * CCmdTarget::GetThisInterfaceMap() noexcept { return RootMap<AFX_INTERFACEMAP>(); }

HRESULT CCmdTarget::XDispatch::QueryInterface(REFIID iid, void ** object)
{
    return static_cast<HRESULT>(m_owner.ExternalQueryInterface(&iid, object));
}
ULONG CCmdTarget::XDispatch::AddRef() { return m_owner.ExternalAddRef(); }
ULONG CCmdTarget::XDispatch::Release() { return m_owner.ExternalRelease(); }

HRESULT CCmdTarget::XConnPtContainer::QueryInterface(REFIID iid, void ** object)
{
    return static_cast<HRESULT>(m_owner.ExternalQueryInterface(&iid, object));
}
ULONG CCmdTarget::XConnPtContainer::AddRef() { return m_owner.ExternalAddRef(); }
ULONG CCmdTarget::XConnPtContainer::Release() { return m_owner.ExternalRelease(); }

BOOL AfxConnectionAdvise(IUnknown * source, REFIID iid, IUnknown * sink, BOOL refCount, DWORD * cookie)
{
    if (sink == nullptr || cookie == nullptr)
        return FALSE;
    _com_ptr_t<IConnectionPoint> const point = FindPoint(source, iid);
    if (point == nullptr || FAILED(point->Advise(sink, cookie)))
        return FALSE;
    if (!refCount)
        sink->Release(); // the one that the point just took
    return TRUE;
}

BOOL AfxConnectionUnadvise(IUnknown * source, REFIID iid, IUnknown * sink, BOOL refCount, DWORD cookie)
{
    if (sink == nullptr && !refCount)
        return FALSE;
    _com_ptr_t<IConnectionPoint> const point = FindPoint(source, iid);
    if (point == nullptr)
        return FALSE;
    if (!refCount)
        sink->AddRef(); // the point gives one back that it no longer has
    BOOL const left = SUCCEEDED(point->Unadvise(cookie));
    if (!left && !refCount)
        sink->Release();
    return left;
}

#include "qvlib/framework/connectionpoint.h"

#include "qvlib/detail/counted.h"
#include "qvlib/framework/comutil.h"

#include <algorithm>
#include <new>
#include <utility>

namespace
{

IUnknown * Reference(CONNECTDATA const & item) noexcept { return item.pUnk; }
IUnknown * Reference(IConnectionPoint * item) noexcept { return item; }

/// Walks a list as it was when the walk was made, with a reference to each item.
template <class Interface, class Item>
class Walk final : public qvlib::detail::Counted<Interface>
{
public:
    /// Takes a reference to every item.
    Walk(std::vector<Item> items, std::size_t at) noexcept : m_items(std::move(items)), m_at(at)
    {
        for (Item const & item : m_items)
            Reference(item)->AddRef();
    }

    HRESULT STDMETHODCALLTYPE Next(ULONG count, Item * items, ULONG * fetched) override
    {
        if (fetched != nullptr)
            *fetched = 0;
        if (items == nullptr || (fetched == nullptr && count != 1))
            return E_POINTER;
        std::size_t const come = std::min<std::size_t>(count, m_items.size() - m_at);
        for (std::size_t i = 0; i < come; ++i)
        {
            items[i] = m_items[m_at + i];
            Reference(items[i])->AddRef();
        }
        m_at += come;
        if (fetched != nullptr)
            *fetched = static_cast<ULONG>(come);
        return come == count ? S_OK : S_FALSE;
    }
    HRESULT STDMETHODCALLTYPE Skip(ULONG count) override
    {
        std::size_t const passed = std::min<std::size_t>(count, m_items.size() - m_at);
        m_at += passed;
        return passed == count ? S_OK : S_FALSE;
    }
    HRESULT STDMETHODCALLTYPE Reset() override
    {
        m_at = 0;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Clone(Interface ** copy) override { return Make(m_items, m_at, copy); }

    static HRESULT Make(std::vector<Item> const & items, std::size_t at, Interface ** walk)
    {
        if (walk == nullptr)
            return E_POINTER;
        *walk = nullptr;
        try
        {
            *walk = new Walk(items, at);
            return S_OK;
        }
        catch (std::bad_alloc const &)
        {
            return E_OUTOFMEMORY;
        }
    }

private:
    ~Walk() override
    {
        for (Item const & item : m_items)
            Reference(item)->Release();
    }

    std::vector<Item> const m_items;
    std::size_t m_at;
};

// A walk's cursor is the cookie of the sink to come, so that sinks may leave and come in between.
POSITION AsPosition(DWORD cookie) noexcept { return reinterpret_cast<POSITION>(static_cast<UINT_PTR>(cookie)); }

} // namespace

CConnectionPoint::CConnectionPoint(CCmdTarget & owner) noexcept : m_owner(owner), m_xConnPt(*this) {}

CConnectionPoint::~CConnectionPoint()
{
    for (CONNECTDATA const & sink : std::exchange(m_sinks, {}))
        sink.pUnk->Release();
}

POSITION CConnectionPoint::GetStartPosition() const noexcept
{
    return m_sinks.empty() ? nullptr : AsPosition(m_sinks.front().dwCookie);
}

IUnknown * CConnectionPoint::GetNextConnection(POSITION & position) const noexcept
{
    auto const cookie = static_cast<DWORD>(reinterpret_cast<UINT_PTR>(position));
    auto const at = std::lower_bound(m_sinks.begin(), m_sinks.end(), cookie,
                                     [](CONNECTDATA const & sink, DWORD wanted) { return sink.dwCookie < wanted; });
    position = nullptr;
    if (at == m_sinks.end())
        return nullptr;
    position = AsPosition(at + 1 == m_sinks.end() ? 0 : (at + 1)->dwCookie);
    return at->pUnk;
}

void CConnectionPoint::OnAdvise(BOOL) {}

int CConnectionPoint::GetMaxConnections() { return -1; }

HRESULT CConnectionPoint::QuerySinkInterface(IUnknown * sink, void ** object)
{
    return sink->QueryInterface(GetIID(), object);
}

HRESULT CConnectionPoint::XConnPt::QueryInterface(REFIID iid, void ** object)
{
    if (object == nullptr)
        return E_POINTER;
    *object = nullptr;
    if (iid != IID_IUnknown && iid != IID_IConnectionPoint)
        return E_NOINTERFACE;
    AddRef();
    *object = static_cast<IConnectionPoint *>(this);
    return S_OK;
}

// The point lies in its source, so a reference to it keeps the source.
ULONG CConnectionPoint::XConnPt::AddRef() { return m_point.m_owner.ExternalAddRef(); }
ULONG CConnectionPoint::XConnPt::Release() { return m_point.m_owner.ExternalRelease(); }

HRESULT CConnectionPoint::XConnPt::GetConnectionInterface(IID * iid)
{
    if (iid == nullptr)
        return E_POINTER;
    *iid = m_point.GetIID();
    return S_OK;
}

HRESULT CConnectionPoint::XConnPt::GetConnectionPointContainer(IConnectionPointContainer ** container)
{
    if (container == nullptr)
        return E_POINTER;
    *container = nullptr;
    void * found = nullptr;
    DWORD const result = m_point.m_owner.ExternalQueryInterface(&IID_IConnectionPointContainer, &found);
    *container = static_cast<IConnectionPointContainer *>(found);
    return static_cast<HRESULT>(result);
}

HRESULT CConnectionPoint::XConnPt::Advise(IUnknown * sink, DWORD * cookie)
{
    if (cookie != nullptr)
        *cookie = 0;
    if (sink == nullptr || cookie == nullptr)
        return E_POINTER;
    std::vector<CONNECTDATA> & sinks = m_point.m_sinks;
    int const most = m_point.GetMaxConnections();
    if ((most >= 0 && sinks.size() >= static_cast<std::size_t>(most)) || m_point.m_lastCookie == 0xFFFFFFFFU)
        return CONNECT_E_ADVISELIMIT;
    void * object = nullptr;
    if (FAILED(m_point.QuerySinkInterface(sink, &object)) || object == nullptr)
        return CONNECT_E_CANNOTCONNECT;
    try
    {
        // Cookies go up, so the list stays in their order.
        sinks.push_back({static_cast<IUnknown *>(object), m_point.m_lastCookie + 1});
    }
    catch (std::bad_alloc const &)
    {
        static_cast<IUnknown *>(object)->Release();
        return E_OUTOFMEMORY;
    }
    *cookie = ++m_point.m_lastCookie;
    m_point.OnAdvise(TRUE);
    return S_OK;
}

HRESULT CConnectionPoint::XConnPt::Unadvise(DWORD cookie)
{
    std::vector<CONNECTDATA> & sinks = m_point.m_sinks;
    auto const at =
        std::find_if(sinks.begin(), sinks.end(), [&](CONNECTDATA const & sink) { return sink.dwCookie == cookie; });
    if (at == sinks.end())
        return CONNECT_E_NOCONNECTION;
    IUnknown * const sink = at->pUnk;
    sinks.erase(at);
    m_point.OnAdvise(FALSE);
    sink->Release(); // last: the sink may end here
    return S_OK;
}

HRESULT CConnectionPoint::XConnPt::EnumConnections(IEnumConnections ** connections)
{
    return Walk<IEnumConnections, CONNECTDATA>::Make(m_point.m_sinks, 0, connections);
}

HRESULT CCmdTarget::XConnPtContainer::EnumConnectionPoints(IEnumConnectionPoints ** points)
{
    if (points == nullptr)
        return E_POINTER;
    *points = nullptr;
    try
    {
        std::vector<IConnectionPoint *> found;
        for (AFX_CONNECTIONMAP const * map = m_owner.GetConnectionMap(); map != nullptr;
             map = map->pfnGetBaseMap != nullptr ? map->pfnGetBaseMap() : nullptr)
            for (AFX_CONNECTIONMAP_ENTRY const * entry = map->pEntry; entry != nullptr && entry->piid != nullptr;
                 ++entry)
                found.push_back(entry->part(&m_owner)->GetConnectionPoint());
        return Walk<IEnumConnectionPoints, IConnectionPoint *>::Make(found, 0, points);
    }
    catch (std::bad_alloc const &)
    {
        return E_OUTOFMEMORY;
    }
}

HRESULT CCmdTarget::XConnPtContainer::FindConnectionPoint(REFIID iid, IConnectionPoint ** point)
{
    if (point == nullptr)
        return E_POINTER;
    *point = m_owner.GetConnectionHook(iid);
    for (AFX_CONNECTIONMAP const * map = m_owner.GetConnectionMap(); map != nullptr && *point == nullptr;
         map = map->pfnGetBaseMap != nullptr ? map->pfnGetBaseMap() : nullptr)
        for (AFX_CONNECTIONMAP_ENTRY const * entry = map->pEntry; entry != nullptr && entry->piid != nullptr; ++entry)
            if (*entry->piid == iid)
            {
                *point = entry->part(&m_owner)->GetConnectionPoint();
                break;
            }
    if (*point == nullptr)
        return CONNECT_E_NOCONNECTION;
    (*point)->AddRef();
    return S_OK;
}

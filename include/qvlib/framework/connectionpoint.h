// CConnectionPoint: the framework's connection point, a part of a source of events.
//
//     class CClock : public CCmdTarget
//     {
//     public:
//         CClock() { EnableConnections(); }
//         void Tick()
//         {
//             DISPPARAMS none{};
//             for (POSITION at = m_xTicks.GetStartPosition(); at != nullptr;)
//             {
//                 _com_ptr_t<IUnknown> sink = m_xTicks.GetNextConnection(at); // kept while it runs
//                 static_cast<IDispatch *>(sink.GetInterfacePtr())->Invoke(1, GUID_NULL, 0, DISPATCH_METHOD, &none,
//                 ...);
//             }
//         }
//         BEGIN_CONNECTION_PART(CClock, Ticks)
//             CONNECTION_IID(kTicksId)
//         END_CONNECTION_PART(Ticks)
//         DECLARE_CONNECTION_MAP()
//     };
//     BEGIN_CONNECTION_MAP(CClock, CCmdTarget)
//         CONNECTION_PART(CClock, kTicksId, Ticks)
//     END_CONNECTION_MAP()
//
// Sinks may connect and leave while the source walks them: one that left is not called any more, one that came may
// have to wait for the next walk. A reference to the point is one to its source.
//
// Thread rule: thread-affine to the thread of its source.
#pragma once

#include "qvlib/framework/cmdtarget.h"

#include <vector>

class QVLIB_API CConnectionPoint : public CCmdTarget
{
public:
    /// A point of `owner`, in which it lies.
    explicit CConnectionPoint(CCmdTarget & owner) noexcept;
    ~CConnectionPoint() override;

    /// The platform's interface of this point, without a reference.
    IConnectionPoint * GetConnectionPoint() noexcept { return &m_xConnPt; }

    // A walk over the sinks, in the order in which they connected. A sink comes as the point's interface, without a
    // reference.
    POSITION GetStartPosition() const noexcept;
    IUnknown * GetNextConnection(POSITION & position) const noexcept;

    /// The interface that the source calls.
    virtual REFIID GetIID() = 0;
    /// A sink has connected, or left.
    virtual void OnAdvise(BOOL connected);
    /// How many sinks the point takes; -1, as here, is any number.
    virtual int GetMaxConnections();
    /// Asks a sink for the interface that the source calls.
    virtual HRESULT QuerySinkInterface(IUnknown * sink, void ** object);

protected:
    /// The source.
    CCmdTarget & Owner() const noexcept { return m_owner; }

private:
    struct QVLIB_LOCAL XConnPt final : IConnectionPoint
    {
        explicit XConnPt(CConnectionPoint & point) noexcept : m_point(point) {}

        HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void ** object) override;
        ULONG STDMETHODCALLTYPE AddRef() override;
        ULONG STDMETHODCALLTYPE Release() override;
        HRESULT STDMETHODCALLTYPE GetConnectionInterface(IID * iid) override;
        HRESULT STDMETHODCALLTYPE GetConnectionPointContainer(IConnectionPointContainer ** container) override;
        HRESULT STDMETHODCALLTYPE Advise(IUnknown * sink, DWORD * cookie) override;
        HRESULT STDMETHODCALLTYPE Unadvise(DWORD cookie) override;
        HRESULT STDMETHODCALLTYPE EnumConnections(IEnumConnections ** connections) override;

        CConnectionPoint & m_point;
    };

    CCmdTarget & m_owner;
    XConnPt m_xConnPt;
    std::vector<CONNECTDATA> m_sinks; // by ascending cookie
    DWORD m_lastCookie = 0;
};

/// One point of a connection map.
struct AFX_CONNECTIONMAP_ENTRY
{
    IID const * piid; ///< null ends the map
    CConnectionPoint * (*part)(CCmdTarget *);
};

struct AFX_CONNECTIONMAP
{
    AFX_CONNECTIONMAP const * (*pfnGetBaseMap)(); ///< null: the root
    AFX_CONNECTIONMAP_ENTRY const * pEntry;
};

/// In a class: the member m_x<localClass>, a connection point. Overrides of CConnectionPoint may stand in between.
#define BEGIN_CONNECTION_PART(theClass, localClass)                                                                    \
    class X##localClass : public CConnectionPoint                                                                      \
    {                                                                                                                  \
    public:                                                                                                            \
        using CConnectionPoint::CConnectionPoint;

#define CONNECTION_IID(iid)                                                                                            \
    REFIID GetIID() override { return iid; }

#define END_CONNECTION_PART(localClass)                                                                                \
    }                                                                                                                  \
    m_x##localClass{*this};                                                                                            \
    friend class X##localClass;

/// In a class: it has a connection map. BEGIN_CONNECTION_MAP in one source file goes with it.
#define DECLARE_CONNECTION_MAP()                                                                                       \
public:                                                                                                                \
    AFX_CONNECTIONMAP const * GetConnectionMap() const override { return GetThisConnectionMap(); }                     \
    static AFX_CONNECTIONMAP const * GetThisConnectionMap() noexcept;

#define BEGIN_CONNECTION_MAP(theClass, theBase)                                                                        \
    AFX_CONNECTIONMAP const * theClass::GetThisConnectionMap() noexcept                                                \
    {                                                                                                                  \
        constexpr auto baseMap = &theBase::GetThisConnectionMap;                                                       \
        static constexpr AFX_CONNECTIONMAP_ENTRY entries[] = {

#define CONNECTION_PART(theClass, iid, localClass)                                                                     \
    {&iid, [](CCmdTarget * owner) -> CConnectionPoint * { return &static_cast<theClass *>(owner)->m_x##localClass; }},

#define END_CONNECTION_MAP()                                                                                           \
    {                                                                                                                  \
        nullptr, nullptr                                                                                               \
    }                                                                                                                  \
    }                                                                                                                  \
    ;                                                                                                                  \
    static constexpr AFX_CONNECTIONMAP map{baseMap, entries};                                                          \
    return &map;                                                                                                       \
    }

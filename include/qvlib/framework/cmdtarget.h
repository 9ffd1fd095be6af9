// CCmdTarget: the framework's base of objects that components call: a reference count, a dispatch interface whose
// members are plain C++ functions, and connection points.
//
// A derived class names the interfaces it answers for in an interface map, the members that late-bound callers reach in
// a dispatch map (<qvlib/framework/dispatchmap.h>), and its connection points in a connection map
// (<qvlib/framework/connectionpoint.h>). Each map falls back to the one of the base class.
//
//     class CCounter : public CCmdTarget
//     {
//         DECLARE_DISPATCH_MAP()
//     public:
//         CCounter() { EnableAutomation(); }
//         LONG Add(LONG by) { return m_sum += by; }
//     private:
//         LONG m_sum = 0;
//     };
//     BEGIN_DISPATCH_MAP(CCounter, CCmdTarget)
//         DISP_FUNCTION(CCounter, L"Add", Add, VT_I4, VTS_I4)
//     END_DISPATCH_MAP()
//
// An object is born with one reference, its maker's: it is ended by InternalRelease, or lives on a stack or as a member
// and never falls to 0. Objects are not aggregated.
//
// Thread rule: references are counted on any thread; all else is thread-affine to the thread that made the object.
#pragma once

#include "qvlib/export.h"
#include "qvlib/framework/object.h"
#include "qvlib/host/connection.h"

#include <atomic>

struct AFX_DISPMAP;
struct AFX_CONNECTIONMAP;
class CCmdTarget;

/// One interface of an interface map.
struct AFX_INTERFACEMAP_ENTRY
{
    IID const * piid; ///< null ends the map
    IUnknown * (*part)(CCmdTarget *);
};

struct AFX_INTERFACEMAP
{
    AFX_INTERFACEMAP const * (*pfnGetBaseMap)(); ///< null: the root
    AFX_INTERFACEMAP_ENTRY const * pEntry;
};

class QVLIB_API CCmdTarget : public CObject
{
    DECLARE_DYNAMIC(CCmdTarget)

public:
    CCmdTarget() noexcept;
    ~CCmdTarget() override;

    /// From now on the object has a dispatch interface.
    void EnableAutomation() noexcept { m_automation = true; }
    /// From now on the object is a container of connection points.
    void EnableConnections() noexcept { m_connections = true; }

    /// The dispatch interface, with a reference for the caller if `addRef`. Null unless EnableAutomation was called.
    IDispatch * GetIDispatch(BOOL addRef);
    /// The object behind a dispatch interface of this framework's making; null for any other.
    static CCmdTarget * FromIDispatch(IDispatch * dispatch) noexcept;
    /// An interface of the object, by its id, without a reference; null when there is none. IID_IUnknown gives the one
    /// pointer by which the object is known.
    IUnknown * GetInterface(void const * iid);

    /// A reference more or less; what remains. At 0 OnFinalRelease is called.
    DWORD InternalAddRef() noexcept;
    DWORD InternalRelease();
    /// Stores the interface with a new reference, or null and E_NOINTERFACE.
    DWORD InternalQueryInterface(void const * iid, LPVOID * object);
    // The same, under the names by which an object's parts call them.
    DWORD ExternalAddRef() noexcept { return InternalAddRef(); }
    DWORD ExternalRelease() { return InternalRelease(); }
    DWORD ExternalQueryInterface(void const * iid, LPVOID * object) { return InternalQueryInterface(iid, object); }

    /// The last reference went. Deletes the object.
    virtual void OnFinalRelease();

    // How the maps are reached; the macros override these.
    virtual AFX_DISPMAP const * GetDispatchMap() const;
    virtual AFX_CONNECTIONMAP const * GetConnectionMap() const;
    virtual AFX_INTERFACEMAP const * GetInterfaceMap() const;
    /// Answers for an interface before any map is asked: a pointer without a reference, or null.
    virtual IUnknown * GetInterfaceHook(void const * iid);
    /// Answers for a connection point before any map is asked: a pointer without a reference, or null.
    virtual IConnectionPoint * GetConnectionHook(REFIID iid);

    static AFX_DISPMAP const * GetThisDispatchMap() noexcept;
    static AFX_CONNECTIONMAP const * GetThisConnectionMap() noexcept;
    static AFX_INTERFACEMAP const * GetThisInterfaceMap() noexcept;

protected:
    /// The dispatch interface, as a part that an interface map can name: INTERFACE_PART(CMySink, kEventsId, Dispatch).
    struct QVLIB_LOCAL XDispatch final : IDispatch
    {
        explicit XDispatch(CCmdTarget & owner) noexcept : m_owner(owner) {}

        HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void ** object) override;
        ULONG STDMETHODCALLTYPE AddRef() override;
        ULONG STDMETHODCALLTYPE Release() override;
        HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT * count) override;
        HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT index, LCID locale, ITypeInfo ** info) override;
        HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID reserved, LPOLESTR * names, UINT count, LCID locale,
                                                DISPID * ids) override;
        HRESULT STDMETHODCALLTYPE Invoke(DISPID member, REFIID reserved, LCID locale, WORD flags,
                                         DISPPARAMS * arguments, tagVARIANT * result, EXCEPINFO * exception,
                                         UINT * badArgument) override;

        CCmdTarget & m_owner;
    } m_xDispatch;
    friend struct XDispatch;

    struct QVLIB_LOCAL XConnPtContainer final : IConnectionPointContainer
    {
        explicit XConnPtContainer(CCmdTarget & owner) noexcept : m_owner(owner) {}

        HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void ** object) override;
        ULONG STDMETHODCALLTYPE AddRef() override;
        ULONG STDMETHODCALLTYPE Release() override;
        HRESULT STDMETHODCALLTYPE EnumConnectionPoints(IEnumConnectionPoints ** points) override;
        HRESULT STDMETHODCALLTYPE FindConnectionPoint(REFIID iid, IConnectionPoint ** point) override;

        CCmdTarget & m_owner;
    } m_xConnPtContainer;
    friend struct XConnPtContainer;

    std::atomic<LONG> m_dwRef{1};

private:
    bool m_automation = false;
    bool m_connections = false;
};

/// In a class: it has an interface map. BEGIN_INTERFACE_MAP in one source file goes with it.
#define DECLARE_INTERFACE_MAP()                                                                                        \
public:                                                                                                                \
    AFX_INTERFACEMAP const * GetInterfaceMap() const override { return GetThisInterfaceMap(); }                        \
    static AFX_INTERFACEMAP const * GetThisInterfaceMap() noexcept;

#define BEGIN_INTERFACE_MAP(theClass, theBase)                                                                         \
    AFX_INTERFACEMAP const * theClass::GetThisInterfaceMap() noexcept                                                  \
    {                                                                                                                  \
        constexpr auto baseMap = &theBase::GetThisInterfaceMap;                                                        \
        static constexpr AFX_INTERFACEMAP_ENTRY entries[] = {

/// The member m_x<localClass>, an object with its own back pointer to its owner, answers for `iid`, a constant.
#define INTERFACE_PART(theClass, iid, localClass)                                                                      \
    {&iid, [](CCmdTarget * owner) -> IUnknown * { return &static_cast<theClass *>(owner)->m_x##localClass; }},

#define END_INTERFACE_MAP()                                                                                            \
    {                                                                                                                  \
        nullptr, nullptr                                                                                               \
    }                                                                                                                  \
    }                                                                                                                  \
    ;                                                                                                                  \
    static constexpr AFX_INTERFACEMAP map{baseMap, entries};                                                           \
    return &map;                                                                                                       \
    }

/// Connects a sink to the connection point of `source` for the interface `iid`. With `refCount` false the reference
/// that the point takes is given back at once, so that it does not keep the sink alive: the sink must then be
/// disconnected, with `refCount` false again, before it ends. FALSE when the source has no such point or refuses.
QVLIB_API BOOL AfxConnectionAdvise(IUnknown * source, REFIID iid, IUnknown * sink, BOOL refCount, DWORD * cookie);
/// Ends the connection that `cookie` names. FALSE when there is none.
QVLIB_API BOOL AfxConnectionUnadvise(IUnknown * source, REFIID iid, IUnknown * sink, BOOL refCount, DWORD cookie);

// Connection points: how an object tells others of its events.
//
// A source answers for IConnectionPointContainer; for each interface through which it calls out it has a connection
// point. A sink gives the point its own interface (Advise) and gets a cookie, by which it later leaves (Unadvise):
//
//     IConnectionPoint * point = nullptr;
//     if (SUCCEEDED(container->FindConnectionPoint(eventsId, &point)))
//     {
//         DWORD cookie = 0;
//         point->Advise(sink, &cookie); // the point holds a reference to the sink until Unadvise
//         point->Release();
//     }
//
// The framework's side is <qvlib/framework/cmdtarget.h> (sinks) and <qvlib/framework/connectionpoint.h> (sources).
#pragma once

#include "qvlib/host/com.h"

#if defined(_WIN32)
#include <ocidl.h>
#include <olectl.h>
#else

// Result codes of connections.
constexpr HRESULT CONNECT_E_NOCONNECTION = static_cast<HRESULT>(0x80040200U);
constexpr HRESULT CONNECT_E_ADVISELIMIT = static_cast<HRESULT>(0x80040201U);
constexpr HRESULT CONNECT_E_CANNOTCONNECT = static_cast<HRESULT>(0x80040202U);

struct IConnectionPoint;
struct IConnectionPointContainer;

/// One sink of a connection point.
struct CONNECTDATA
{
    IUnknown * pUnk; ///< with a reference for whoever gets the record
    DWORD dwCookie;
};

/// Walks the sinks of a connection point, as they were when the walk was made.
struct IEnumConnections : IUnknown
{
    /// Gives up to `count` records. S_FALSE when fewer came; `fetched` may be null only for a count of 1.
    virtual HRESULT STDMETHODCALLTYPE Next(ULONG count, CONNECTDATA * records, ULONG * fetched) = 0;
    /// S_FALSE when fewer than `count` were left to pass over.
    virtual HRESULT STDMETHODCALLTYPE Skip(ULONG count) = 0;
    virtual HRESULT STDMETHODCALLTYPE Reset() = 0;
    /// A second walk that stands where this one does.
    virtual HRESULT STDMETHODCALLTYPE Clone(IEnumConnections ** copy) = 0;

protected:
    ~IEnumConnections() = default;
};

/// Walks the connection points of a source.
struct IEnumConnectionPoints : IUnknown
{
    virtual HRESULT STDMETHODCALLTYPE Next(ULONG count, IConnectionPoint ** points, ULONG * fetched) = 0;
    virtual HRESULT STDMETHODCALLTYPE Skip(ULONG count) = 0;
    virtual HRESULT STDMETHODCALLTYPE Reset() = 0;
    virtual HRESULT STDMETHODCALLTYPE Clone(IEnumConnectionPoints ** copy) = 0;

protected:
    ~IEnumConnectionPoints() = default;
};

/// Where sinks for one interface connect.
struct IConnectionPoint : IUnknown
{
    /// The interface that the source calls.
    virtual HRESULT STDMETHODCALLTYPE GetConnectionInterface(IID * iid) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetConnectionPointContainer(IConnectionPointContainer ** container) = 0;
    /// Connects a sink, which must answer for the interface, else CONNECT_E_CANNOTCONNECT. The cookie is never 0.
    virtual HRESULT STDMETHODCALLTYPE Advise(IUnknown * sink, DWORD * cookie) = 0;
    /// CONNECT_E_NOCONNECTION for a cookie that names no connection.
    virtual HRESULT STDMETHODCALLTYPE Unadvise(DWORD cookie) = 0;
    virtual HRESULT STDMETHODCALLTYPE EnumConnections(IEnumConnections ** connections) = 0;

protected:
    ~IConnectionPoint() = default;
};

/// A source of events.
struct IConnectionPointContainer : IUnknown
{
    virtual HRESULT STDMETHODCALLTYPE EnumConnectionPoints(IEnumConnectionPoints ** points) = 0;
    /// CONNECT_E_NOCONNECTION, and null, when the source does not call that interface.
    virtual HRESULT STDMETHODCALLTYPE FindConnectionPoint(REFIID iid, IConnectionPoint ** point) = 0;

protected:
    ~IConnectionPointContainer() = default;
};

inline constexpr IID IID_IConnectionPointContainer{
    0xB196B284, 0xBAB4, 0x101A, {0xB6, 0x9C, 0x00, 0xAA, 0x00, 0x34, 0x1D, 0x07}};
inline constexpr IID IID_IEnumConnectionPoints{
    0xB196B285, 0xBAB4, 0x101A, {0xB6, 0x9C, 0x00, 0xAA, 0x00, 0x34, 0x1D, 0x07}};
inline constexpr IID IID_IConnectionPoint{0xB196B286, 0xBAB4, 0x101A, {0xB6, 0x9C, 0x00, 0xAA, 0x00, 0x34, 0x1D, 0x07}};
inline constexpr IID IID_IEnumConnections{0xB196B287, 0xBAB4, 0x101A, {0xB6, 0x9C, 0x00, 0xAA, 0x00, 0x34, 0x1D, 0x07}};

template <>
inline constexpr IID qvlib::host::kInterfaceId<IConnectionPointContainer> = IID_IConnectionPointContainer;
template <>
inline constexpr IID qvlib::host::kInterfaceId<IEnumConnectionPoints> = IID_IEnumConnectionPoints;
template <>
inline constexpr IID qvlib::host::kInterfaceId<IConnectionPoint> = IID_IConnectionPoint;
template <>
inline constexpr IID qvlib::host::kInterfaceId<IEnumConnections> = IID_IEnumConnections;

#endif

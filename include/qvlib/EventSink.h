// CQVEventSink: the base of an automation event sink, which connects to a source's connection point.
//
// A derived class names its event interface (SetUUID), answers for it with its dispatch interface, and brings the
// members that the events reach in a dispatch map:
//
//     class CPriceSink : public CQVEventSink
//     {
//     public:
//         CPriceSink() { SetUUID(kPriceEvents); }
//         void OnPrice(wchar_t const * name, double price);
//         DECLARE_INTERFACE_MAP()
//         DECLARE_DISPATCH_MAP()
//     };
//     BEGIN_INTERFACE_MAP(CPriceSink, CQVEventSink)
//         INTERFACE_PART(CPriceSink, kPriceEvents, Dispatch)
//     END_INTERFACE_MAP()
//     BEGIN_DISPATCH_MAP(CPriceSink, CQVEventSink)
//         DISP_FUNCTION_ID(CPriceSink, L"Price", 1, OnPrice, VT_EMPTY, VTS_BSTR VTS_R8)
//     END_DISPATCH_MAP()
//
//     CPriceSink sink;
//     sink.ConnectSink(source); // events come from here
//     sink.DisconnectSink();    // before the sink ends: its destructor does not
//
// | state         | source, cookie | ConnectSink                        | DisconnectSink            |
// |---------------|----------------|------------------------------------|---------------------------|
// | not connected | null, 0        | connects                           | answers 1                 |
// | connected     | held, not 0    | disconnects, then connects anew    | gives the source up       |
//
// The connection does not keep the sink alive. Thread rule: thread-affine to the thread that connected it, which is the
// one that gets its events.
#pragma once

#include "qvlib/export.h"
#include "qvlib/framework/cmdtarget.h"
#include "qvlib/framework/comutil.h"
#include "qvlib/framework/dispatchmap.h"

class QVLIB_API CQVEventSink : public CCmdTarget
{
    DECLARE_DYNCREATE(CQVEventSink)

public:
    CQVEventSink() noexcept;
    /// Lets go of the source. Does not disconnect: the derived class must have.
    ~CQVEventSink() override;

    /// Connects to `source`, after it has disconnected from another. 0 when the source refuses or has no such events;
    /// nothing is held then. Throws _com_error when the sink cannot give its own interface.
    int ConnectSink(_com_ptr_t<IUnknown> source);
    /// Disconnects; the source is given up whatever it answers. 1 when there was nothing to do.
    int DisconnectSink();

    void OnFinalRelease() override;

protected:
    /// Names the event interface. Call it before connecting.
    void SetUUID(_GUID eventId) noexcept { m_eventId = eventId; }
    /// Connects to, and disconnects from, the source held. 0 for failure.
    virtual int Connect();
    virtual int Disconnect();

private:
    _com_ptr_t<IUnknown> m_source;
    _GUID m_eventId{};
    DWORD m_cookie = 0;
};

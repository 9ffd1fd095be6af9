// Sink prints events: a thermometer that fires events, and a sink that connects to it and prints them.
//
// The source has a connection point for the interface of its events; the sink names that interface, answers for it with
// its dispatch interface, and says in a dispatch map which function hears which event.

#include "example.h"

#include <qvlib/EventSink.h>
#include <qvlib/framework/connectionpoint.h>

namespace
{

constexpr IID kThermometerEvents{0x5D0B6C11, 0x7A2E, 0x4C0F, {0xA3, 0x55, 0x21, 0x9C, 0x40, 0x8E, 0x13, 0x01}};
constexpr DISPID kReading = 1;

class CThermometer : public CCmdTarget
{
public:
    CThermometer() { EnableConnections(); }

    void Read(wchar_t const * place, double degrees)
    {
        _variant_t arguments[] = {_variant_t(degrees), _variant_t(place)}; // the last one first
        DISPPARAMS parameters{arguments, nullptr, 2, 0};
        for (POSITION at = m_xEvents.GetStartPosition(); at != nullptr;)
        {
            _com_ptr_t<IUnknown> const sink(m_xEvents.GetNextConnection(at)); // kept while it runs
            static_cast<IDispatch *>(sink.GetInterfacePtr())
                ->Invoke(kReading, GUID_NULL, 0, DISPATCH_METHOD, &parameters, nullptr, nullptr, nullptr);
        }
    }

    BEGIN_CONNECTION_PART(CThermometer, Events)
    CONNECTION_IID(kThermometerEvents)
    END_CONNECTION_PART(Events)
    DECLARE_CONNECTION_MAP()
};

BEGIN_CONNECTION_MAP(CThermometer, CCmdTarget)
CONNECTION_PART(CThermometer, kThermometerEvents, Events)
END_CONNECTION_MAP()

class CPrinter : public CQVEventSink
{
    DECLARE_INTERFACE_MAP()
    DECLARE_DISPATCH_MAP()

public:
    CPrinter() { SetUUID(kThermometerEvents); }
    void OnReading(wchar_t const * place, double degrees)
    {
        std::cout << qvlib::AsUtf8FromWStr(place) << ": " << degrees << '\n';
    }
};

BEGIN_INTERFACE_MAP(CPrinter, CQVEventSink)
INTERFACE_PART(CPrinter, kThermometerEvents, Dispatch)
END_INTERFACE_MAP()
BEGIN_DISPATCH_MAP(CPrinter, CQVEventSink)
DISP_FUNCTION_ID(CPrinter, L"Reading", kReading, OnReading, VT_EMPTY, VTS_BSTR VTS_R8)
END_DISPATCH_MAP()

} // namespace

int main()
{
    CThermometer thermometer;
    CPrinter printer;
    thermometer.Read(L"nobody listens yet", 0);
    std::cout << "connected: " << printer.ConnectSink(thermometer.GetInterface(&IID_IUnknown)) << '\n';
    thermometer.Read(L"roof", 21.5);
    thermometer.Read(L"cellar", 12);
    std::cout << "disconnected: " << printer.DisconnectSink() << '\n'; // a sink must, before it ends
    thermometer.Read(L"nobody listens any more", 0);
}

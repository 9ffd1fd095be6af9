#include "qvlib/EventSink.h"

#include <utility>

IMPLEMENT_DYNCREATE(CQVEventSink, CCmdTarget)

namespace
{

using UnknownPtr = _com_ptr_t<IUnknown>;

/// The interface by which a source knows the sink; null when it has none.
UnknownPtr SinkOf(CCmdTarget & sink)
{
    void * found = nullptr;
    IDispatch * const dispatch = sink.GetIDispatch(FALSE);
    HRESULT const result = dispatch != nullptr ? dispatch->QueryInterface(IID_IUnknown, &found) : E_NOINTERFACE;
    if (FAILED(result) && result != E_NOINTERFACE)
        _com_issue_error(result);
    return SUCCEEDED(result) ? UnknownPtr(static_cast<IUnknown *>(found), false) : UnknownPtr();
}

} // namespace

CQVEventSink::CQVEventSink() noexcept { EnableAutomation(); }

CQVEventSink::~CQVEventSink() = default;

void CQVEventSink::OnFinalRelease() { CCmdTarget::OnFinalRelease(); }

int CQVEventSink::ConnectSink(_com_ptr_t<IUnknown> source)
{
    if (m_source != nullptr)
        Disconnect();
    m_source = std::move(source);
    try
    {
        int const connected = Connect();
        if (connected == 0)
            m_source = nullptr;
        return connected;
    }
    catch (...)
    {
        m_source = nullptr; // a failure all the same: nothing is held
        throw;
    }
}

int CQVEventSink::DisconnectSink() { return m_source != nullptr ? Disconnect() : 1; }

int CQVEventSink::Connect()
{
    UnknownPtr const source = m_source;
    UnknownPtr const sink = SinkOf(*this);
    return AfxConnectionAdvise(source, m_eventId, sink, FALSE, &m_cookie);
}

int CQVEventSink::Disconnect()
{
    UnknownPtr const source = m_source;
    UnknownPtr const sink = SinkOf(*this);
    int const disconnected = AfxConnectionUnadvise(source, m_eventId, sink, FALSE, m_cookie);
    m_source = nullptr;
    m_cookie = 0;
    return disconnected;
}

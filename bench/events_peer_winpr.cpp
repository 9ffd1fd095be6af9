#include "events_peer_winpr.h"

#ifdef QVLIB_PEER_WINPR

#include <winpr/handle.h>
#include <winpr/synch.h>

// Its auto-reset events are not implemented (they stay signalled), so that these are manual ones, reset by who waited.
WinPr::WinPr(unsigned count) : m_count(count)
{
    for (unsigned i = 0; i < m_count; ++i)
        m_events[i] = CreateEventW(nullptr, TRUE, FALSE, nullptr);
}

WinPr::~WinPr()
{
    for (unsigned i = 0; i < m_count; ++i)
        CloseHandle(m_events[i]);
}

void WinPr::Set(unsigned i) { SetEvent(m_events[i]); }

void WinPr::Wait(unsigned i)
{
    WaitForSingleObject(m_events[i], INFINITE);
    ResetEvent(m_events[i]);
}

unsigned WinPr::WaitAny()
{
    DWORD const i = WaitForMultipleObjects(m_count, m_events.data(), FALSE, INFINITE);
    ResetEvent(m_events[i]);
    return i;
}

void WinPr::WaitAll()
{
    WaitForMultipleObjects(m_count, m_events.data(), TRUE, INFINITE);
    for (unsigned i = 0; i < m_count; ++i)
        ResetEvent(m_events[i]);
}

#endif

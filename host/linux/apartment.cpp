#include "qvlib/host/apartment.h"

#include "host/linux/internal/time_limit.h"
#include "host/linux/internal/message_queue.h"
#include "qvlib/host/error.h"
#include "qvlib/host/messages.h"
#include "qvlib/host/sync.h"

namespace
{

/// How the calling thread takes part.
struct Apartment
{
    DWORD depth = 0;
    bool singleThreaded = false;
};
thread_local constinit Apartment t_apartment;

constexpr DWORD kKinds = COINIT_APARTMENTTHREADED | COINIT_DISABLE_OLE1DDE | COINIT_SPEED_OVER_MEMORY;

/// One look at the handles. They are asked before any message runs, so that a steady flow of these cannot hide them.
DWORD Look(ULONG count, HANDLE const * handles, bool all)
{
    return WaitForMultipleObjects(count, handles, all ? TRUE : FALSE, 0);
}

/// The wait of a single-threaded apartment.
DWORD WaitAndServe(DWORD timeout, ULONG count, HANDLE const * handles, bool all)
{
    using qvlib::host::MessageQueue;
    MessageQueue * const queue = MessageQueue::Own();
    if (queue == nullptr)
        return WAIT_FAILED;
    qvlib::host::MessageFilter windows;
    windows.of = qvlib::host::MessageFilter::Of::AllWindows;
    qvlib::host::TimeLimit const limit(timeout);
    for (;;)
    {
        MSG message;
        DWORD ended = Look(count, handles, all);
        while (ended == WAIT_TIMEOUT && queue->Take(message, windows, true, false))
        {
            TranslateMessage(&message);
            DispatchMessageW(&message);
            ended = Look(count, handles, all);
            if (ended == WAIT_TIMEOUT && limit.Left() == 0)
                return WAIT_TIMEOUT;
        }
        if (ended != WAIT_TIMEOUT)
            return ended;
        ended = queue->Wait(count, handles, limit.Left(), QS_ALLINPUT, all ? MWMO_WAITALL : 0);
        if (ended != WAIT_OBJECT_0 + count)
            return ended;
    }
}

} // namespace

HRESULT CoInitialize(LPVOID reserved) { return CoInitializeEx(reserved, COINIT_APARTMENTTHREADED); }

HRESULT CoInitializeEx(LPVOID reserved, DWORD kind)
{
    if (reserved != nullptr || (kind & ~kKinds) != 0)
        return E_INVALIDARG;
    bool const singleThreaded = (kind & COINIT_APARTMENTTHREADED) != 0;
    if (t_apartment.depth != 0 && t_apartment.singleThreaded != singleThreaded)
        return RPC_E_CHANGED_MODE;
    t_apartment.singleThreaded = singleThreaded;
    return t_apartment.depth++ == 0 ? S_OK : S_FALSE;
}

void CoUninitialize()
{
    if (t_apartment.depth != 0)
        --t_apartment.depth;
}

HRESULT CoWaitForMultipleHandles(DWORD flags, DWORD timeout, ULONG count, HANDLE const * handles, DWORD * index)
{
    if (index == nullptr || (flags & ~(COWAIT_WAITALL | COWAIT_ALERTABLE)) != 0)
        return E_INVALIDARG;
    *index = 0;
    if (count == 0)
        return RPC_E_NO_SYNC;
    if (handles == nullptr)
        return E_INVALIDARG;
    bool const all = (flags & COWAIT_WAITALL) != 0;
    bool const serves = t_apartment.depth != 0 && t_apartment.singleThreaded;
    DWORD const ended = serves ? WaitAndServe(timeout, count, handles, all)
                               : WaitForMultipleObjects(count, handles, all ? TRUE : FALSE, timeout);
    if (ended == WAIT_TIMEOUT)
        return RPC_S_CALLPENDING;
    if (ended == WAIT_FAILED)
        return HRESULT_FROM_WIN32(static_cast<LSTATUS>(GetLastError()));
    *index = ended - WAIT_OBJECT_0;
    return S_OK;
}

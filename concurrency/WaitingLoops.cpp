#include "qvlib/WaitingLoops.h"

#include "foundation/internal/narrow32.h"
#include "qvlib/Event.h"
#include "qvlib/StopWatch.h"
#include "qvlib/host/apartment.h"
#include "qvlib/host/messages.h"
#include "qvlib/host/sync.h"
#include "qvlib/host/thread.h"

#include <algorithm>

namespace qvlib
{

namespace
{

// Modules find the number by this name, so it is a part of the interface.
unsigned int const s_abortMessage = RegisterWindowMessageW(L"7ceeb3d3-d59e-11d3-8394-00c04f7bdf10");

constexpr unsigned long kLongestSlice = 500;  // milliseconds between two looks at the clock
constexpr unsigned long kApartmentSlice = 20; // the same in the wait of an apartment

/// A running time-out.
CTLTimer StartTimer(unsigned long timeoutMs)
{
    CTLTimer timer(timeoutMs, TimeUnitMilliseconds);
    timer.Start(true);
    return timer;
}

/// Takes and delivers messages for one wait. At the end of the wait a request to quit that came by is posted again, for
/// the loop outside.
class Pump
{
public:
    explicit Pump(bool abortable) noexcept : m_abortable(abortable) {}
    Pump(Pump const &) = delete;
    Pump & operator=(Pump const &) = delete;
    ~Pump()
    {
        if (m_quitSeen)
            PostQuitMessage(m_quitCode);
    }

    enum class Result
    {
        None,
        Delivered,
        Abort
    };

    Result DeliverOne()
    {
        MSG message{};
        if (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) == FALSE)
            return Result::None;
        if (m_abortable && message.message == s_abortMessage)
            return Result::Abort;
        if (message.message == WM_QUIT)
        {
            m_quitSeen = true;
            m_quitCode = static_cast<int>(message.wParam);
        }
        TranslateMessage(&message);
        DispatchMessageW(&message);
        return Result::Delivered;
    }

private:
    bool const m_abortable;
    bool m_quitSeen = false;
    int m_quitCode = 0;
};

EWaitCommand Continue(unsigned long /*parameter*/) { return WaitCommandContinue; }

} // namespace

bool WaitOnCallback(WaitCallback callback, unsigned long parameter, unsigned long timeoutMs)
{
    CTLTimer const timer = StartTimer(timeoutMs);
    for (;;)
    {
        if (EWaitCommand const command = callback(parameter); command != WaitCommandContinue)
            return command == WaitCommandSucceed;
        if (timer.TimeoutExpired())
            return false;
        MsgWaitForMultipleObjects(0, nullptr, FALSE, kLongestSlice, QS_ALLINPUT);
    }
}

bool WaitOnCallbackWithMessageLoop(WaitCallback callback, unsigned long parameter, unsigned long timeoutMs,
                                   bool abortable)
{
    CTLTimer const timer = StartTimer(timeoutMs);
    Pump pump(abortable);
    for (;;)
    {
        if (EWaitCommand const command = callback(parameter); command != WaitCommandContinue)
            return command == WaitCommandSucceed;
        Pump::Result const delivered = pump.DeliverOne();
        if (delivered == Pump::Result::Abort)
            return false;
        if (delivered == Pump::Result::Delivered)
            continue;
        unsigned long const remaining = timer.GetRemainingTime(TimeUnitMilliseconds);
        if (remaining == 0)
            return false;
        MsgWaitForMultipleObjects(0, nullptr, FALSE, static_cast<DWORD>(std::min(remaining, kLongestSlice)),
                                  QS_ALLINPUT);
    }
}

bool WaitOnCallbackWithOleLoop(WaitCallback callback, unsigned long parameter, unsigned long timeoutMs,
                               bool /*abortable*/)
{
    CTLTimer const timer = StartTimer(timeoutMs);
    CTLEvent const never;
    HANDLE const handle = never;
    for (;;)
    {
        if (EWaitCommand const command = callback(parameter); command != WaitCommandContinue)
            return command == WaitCommandSucceed;
        unsigned long const remaining = timer.GetRemainingTime(TimeUnitMilliseconds);
        if (remaining == 0)
            return false;
        DWORD index = 0;
        HRESULT const result =
            CoWaitForMultipleHandles(0, static_cast<DWORD>(std::min(remaining, kApartmentSlice)), 1, &handle, &index);
        if (FAILED(result) && result != RPC_S_CALLPENDING)
            return false;
    }
}

unsigned long WaitOnMultipleHandlesWithMessageLoop(unsigned long count, void ** handles, int waitAll,
                                                   unsigned long timeoutMs, bool abortable)
{
    DWORD const handleCount = internal::NarrowULong(count);
    DWORD const timeout = internal::NarrowULong(timeoutMs);
    BOOL const all = waitAll != 0 ? TRUE : FALSE;
    Pump pump(abortable);
    for (;;)
    {
        Pump::Result delivered;
        while ((delivered = pump.DeliverOne()) == Pump::Result::Delivered)
        {
            DWORD const result = WaitForMultipleObjects(handleCount, handles, all, 0);
            if (result < handleCount)
                return result;
        }
        if (delivered == Pump::Result::Abort)
            return WAIT_TIMEOUT;
        DWORD const result = MsgWaitForMultipleObjects(handleCount, handles, all, timeout, QS_ALLINPUT);
        if (result != handleCount || result == WAIT_FAILED) // a count of all ones is refused, too
            return result;
    }
}

bool WaitOnHandleWithMessageLoop(void * handle, unsigned long timeoutMs, bool abortable)
{
    return WaitOnMultipleHandlesWithMessageLoop(1, &handle, 0, timeoutMs, abortable) == WAIT_OBJECT_0;
}

bool WaitOnTimeOutWithMessageLoop(unsigned long timeoutMs, bool abortable)
{
    return WaitOnCallbackWithMessageLoop(&Continue, 0, timeoutMs, abortable);
}

unsigned long GetAbortWaitingLoopMessageId() noexcept { return s_abortMessage; }

void PostAbortWaitingLoopMessage(unsigned long threadId)
{
    DWORD const id = internal::NarrowULong(threadId);
    PostThreadMessageW(id != 0 ? id : GetCurrentThreadId(), s_abortMessage, 0, 0);
}

void TLSetThreadName(wchar_t const * /*name*/, unsigned long /*threadId*/) noexcept {}

} // namespace qvlib

#include "qvlib/AsyncCmdQueue.h"

#include "concurrency/internal/cmd_queue_state.h"
#include "qvlib/Exceptions.h"
#include "qvlib/WaitingLoops.h"
#include "qvlib/host/sync.h"

namespace qvlib
{

using namespace detail;

namespace
{

constexpr unsigned long kUrgent = 0xFFFFFFFF;

/// A manual-reset event for the time of a call.
class CallEvent
{
public:
    CallEvent() : m_handle(::CreateEventW(nullptr, TRUE, FALSE, nullptr))
    {
        if (m_handle == nullptr)
            throw resource_error();
    }
    CallEvent(CallEvent const &) = delete;
    CallEvent & operator=(CallEvent const &) = delete;
    ~CallEvent() { ::CloseHandle(m_handle); }
    HANDLE Handle() const noexcept { return m_handle; }

private:
    HANDLE m_handle;
};

/// Waits until a command is over that runs, or is being cancelled, at this moment, whatever else happens meanwhile.
void WaitUntilOver(HANDLE event) noexcept
{
    while (::WaitForSingleObject(event, 0) != WAIT_OBJECT_0)
    {
        try
        {
            // The command may be waiting for an answer of this thread, so messages are served.
            if (!WaitOnHandleWithMessageLoop(event, INFINITE, false))
                ::WaitForSingleObject(event, INFINITE);
        }
        catch (...)
        {
            // The call is on its way out already; what a message handler throws now has nowhere to go.
        }
    }
}

/// Sees to it that the queue knows nothing of `wrapper` any more when the call returns.
void WithdrawOrWait(AsyncCmdQueueState & state, CTLAsyncCmd & wrapper, HANDLE event)
{
    if (state.Withdraw(&wrapper))
        wrapper.Canceled();
    else
        WaitUntilOver(event);
}

} // namespace

CTLAsyncCmdQueue::CTLAsyncCmdQueue(unsigned long priorities)
    : m_name(L"No name"), m_state(new AsyncCmdQueueState(priorities))
{
}

CTLAsyncCmdQueue::~CTLAsyncCmdQueue()
{
    // First of all: from here on a dispatch that runs, and a post that waits, keep off the object.
    m_state->QueueIsGone();
    m_state->CancelEach();
    EndWindow();
    // What Canceled has queued is cancelled, too, but not for ever.
    m_state->CancelEach();
    m_state->DropRest();
    m_state->ReleaseHolder();
}

bool CTLAsyncCmdQueue::Create()
{
    HWND const before = GetWndHandle();
    if (!CTLMsgWnd::Create())
        return false;
    if (GetWndHandle() == before)
        return true;
    try
    {
        EndWindowWithThread(*m_state, GetWndHandle());
    }
    catch (std::bad_alloc const &)
    {
        CTLMsgWnd::Destroy();
        return false;
    }
    m_state->WindowBegins(GetWndHandle());
    return true;
}

void CTLAsyncCmdQueue::EndWindow()
{
    AsyncCmdQueueState & state = *m_state;
    CmdQueueStateHolder const keep(state);
    CTLMsgWnd::Destroy();
    state.WindowEnds();
    ReleaseEndedWindows();
}

void CTLAsyncCmdQueue::Destroy(bool discard)
{
    AsyncCmdQueueState & state = *m_state;
    CmdQueueStateHolder const holder(state);
    if (!discard)
    {
        Drain(false);
        if (state.IsQueueGone())
            return; // one of the commands has destroyed the queue
    }
    state.CancelAll();
    if (!state.IsQueueGone())
        EndWindow();
}

void CTLAsyncCmdQueue::QueueCmd(old_auto_ptr<CTLAsyncCmd> & cmd, unsigned long priority)
{
    m_state->Push(cmd, priority);
}

void CTLAsyncCmdQueue::QueueCmd(CTLAsyncCmd * cmd, unsigned long priority)
{
    old_auto_ptr<CTLAsyncCmd> const holder(cmd);
    m_state->Push(holder, priority);
}

void CTLAsyncCmdQueue::QueueStaticCmd(CTLAsyncCmd & cmd, unsigned long priority)
{
    old_auto_ptr<CTLAsyncCmd> const holder(&cmd, false);
    m_state->Push(holder, priority);
}

void CTLAsyncCmdQueue::QueueSyncCmd(old_auto_ptr<CTLAsyncCmd> & cmd, unsigned long priority, bool messageLoop)
{
    AsyncCmdQueueState & state = *m_state;
    CmdQueueStateHolder const keep(state); // the queue itself may be gone when the wait ends
    CallEvent const event;
    CTLSyncAsyncCmd wrapper(event.Handle(), cmd.get());
    HWND const window = state.Push(old_auto_ptr<CTLAsyncCmd>(&wrapper, false), priority, true);
    bool over = false;
    try
    {
        // Without a window nobody takes the command. If the window dies later, the wrapper is cancelled.
        if (window != nullptr && ::IsWindow(window))
            over = messageLoop ? WaitOnHandleWithMessageLoop(event.Handle(), INFINITE, true)
                               : ::WaitForSingleObject(event.Handle(), INFINITE) == WAIT_OBJECT_0;
    }
    catch (...)
    {
        // A message handler has thrown through the wait.
        try
        {
            WithdrawOrWait(state, wrapper, event.Handle());
        }
        catch (...)
        {
            // The first exception is the one that goes on.
        }
        throw;
    }
    if (!over)
        WithdrawOrWait(state, wrapper, event.Handle());
}

void CTLAsyncCmdQueue::QueueSyncCmd(CTLAsyncCmd & cmd, unsigned long priority, bool messageLoop)
{
    old_auto_ptr<CTLAsyncCmd> holder(&cmd, false);
    QueueSyncCmd(holder, priority, messageLoop);
}

void CTLAsyncCmdQueue::SendCmd(CTLAsyncCmd & cmd) { QueueSyncCmd(cmd, kUrgent, false); }

void CTLAsyncCmdQueue::SendCmd(CTLAsyncCmd & cmd, bool messageLoop) { QueueSyncCmd(cmd, kUrgent, messageLoop); }

void CTLAsyncCmdQueue::SendCmdMsgLoop(CTLAsyncCmd & cmd) { QueueSyncCmd(cmd, kUrgent, true); }

void CTLAsyncCmdQueue::SendCmd(CTLAsyncCmd & cmd, void * event)
{
    ::ResetEvent(event);
    QueueCmd(new CTLSyncAsyncCmd(event, &cmd), kUrgent);
}

bool CTLAsyncCmdQueue::ProcessSingleQueueCmd()
{
    AsyncCmdQueueState & state = *m_state;
    CmdRunByHand const run(state);
    return state.RunOne(false);
}

void CTLAsyncCmdQueue::ProcessQueue() { ProcessSingleQueueCmd(); }

void CTLAsyncCmdQueue::ProcessEntireQueue()
{
    AsyncCmdQueueState & state = *m_state;
    CmdRunByHand const run(state);
    while (state.RunOne(false))
    {
    }
}

void CTLAsyncCmdQueue::PostQueueProcessMessage() { m_state->PostProcessMessage(); }

void CTLAsyncCmdQueue::ClearQueue(std::deque<old_auto_ptr<CTLAsyncCmd>> & commands)
{
    std::exception_ptr failure;
    for (old_auto_ptr<CTLAsyncCmd> const & command : commands)
    {
        try
        {
            if (command.get() != nullptr)
                command->Canceled();
        }
        catch (...)
        {
            if (!failure)
                failure = std::current_exception();
        }
    }
    commands.clear();
    if (failure)
        std::rethrow_exception(failure);
}

void CTLAsyncCmdQueue::EmptyQueue() { m_state->CancelAll(); }

void CTLAsyncCmdQueue::EmptyQueue(unsigned long priority) { m_state->CancelLevel(priority); }

void CTLAsyncCmdQueue::WaitUntilQueueIsEmpty()
{
    // A queue that has no window may be run by hand. One that loses it meanwhile is run by nobody.
    Drain(m_state->Window() == nullptr);
}

void CTLAsyncCmdQueue::Drain(bool evenWithoutWindow)
{
    AsyncCmdQueueState & state = *m_state;
    if (state.Size() == 0)
        return;
    if (CTLMsgWnd::IsInThreadCtx())
    {
        ProcessEntireQueue();
        return;
    }
    CmdQueueStateHolder const keep(state);
    CallEvent const event;
    CTLEmptySyncAsyncCmd marker(event.Handle());
    while (state.Size() != 0)
    {
        ::ResetEvent(event.Handle());
        HWND window = nullptr;
        if (!state.PushMarker(marker, window))
            return;
        if (window == nullptr && !evenWithoutWindow && state.Withdraw(&marker))
            return;
        ::WaitForSingleObject(event.Handle(), INFINITE);
        if (state.Window() == nullptr && !evenWithoutWindow)
            return;
    }
}

unsigned long CTLAsyncCmdQueue::AddQueueLock() { return m_state->AddQueueLock(); }
unsigned long CTLAsyncCmdQueue::ReleaseQueueLock() { return m_state->ReleaseQueueLock(); }
bool CTLAsyncCmdQueue::IsQueueLocked() const { return m_state->IsQueueLocked(); }

unsigned long CTLAsyncCmdQueue::GetPriorities() const
{
    std::size_t const levels = m_state->Levels();
    return levels == 0 ? 0 : levels - 1;
}

unsigned long CTLAsyncCmdQueue::GetQueueSize() const { return m_state->Size(); }
unsigned long CTLAsyncCmdQueue::GetQueueSize(unsigned long priority) const { return m_state->LevelSize(priority); }
unsigned long CTLAsyncCmdQueue::CalcQueueSize() const { return m_state->CountAll(); }
bool CTLAsyncCmdQueue::CalcIsQueueEmpty() const { return m_state->CountAll() == 0; }

bool CTLAsyncCmdQueue::OnWndMsg(unsigned int msg, WPARAM wParam, LPARAM lParam, LRESULT * result)
{
    AsyncCmdQueueState & state = *m_state;
    if (msg == kProcessQueueMessage)
    {
        if (state.IsRunning())
            state.MissProcessMessage(); // a command further up this stack takes messages: the next starts after it
        else if (state.Window() != GetWndHandle())
            ProcessSingleQueueCmd(); // a window that the queue did not make: nothing but this call holds the state
        else
        {
            CmdDispatch const dispatch(state);
            if (state.RunOne(true))
                state.PostNextProcessMessage();
        }
        *result = 0;
        return true;
    }
    if (msg != WM_DESTROY)
        return CTLMsgWnd::OnWndMsg(msg, wParam, lParam, result);
    CmdQueueStateHolder const keep(state);
    bool const handled = CTLMsgWnd::OnWndMsg(msg, wParam, lParam, result);
    state.WindowEnds();
    return handled;
}

} // namespace qvlib

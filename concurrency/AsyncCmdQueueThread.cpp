#include "qvlib/AsyncCmdQueueThread.h"

#include "concurrency/internal/cmd_queue_state.h"
#include "foundation/internal/narrow32.h"
#include "qvlib/Event.h"
#include "qvlib/WaitingLoops.h"
#include "qvlib/framework/wnd.h"
#include "qvlib/host/apartment.h"
#include "qvlib/host/error.h"

namespace qvlib
{

using namespace detail;

namespace
{

// Queue threads of the process start one at a time: the creator holds the lock and waits until the new thread opens the
// gate. Loading the library fails when the gate can't be made.
CTLEvent g_startGate(false, true);
CTLCriticalSection g_startLock;

/// Stands for the main window of every queue thread.
CWnd g_emptyWindow;

/// How long to let a thread whose message queue is full take some, in milliseconds.
constexpr DWORD kFullQueuePause = 5;

} // namespace

CTLAsyncCmdQueueThread::CTLAsyncCmdQueueThread(unsigned long priorities) : CTLAsyncCmdQueue(priorities)
{
    m_bAutoDelete = FALSE;
    m_pMainWnd = &g_emptyWindow;
}

CTLAsyncCmdQueueThread::~CTLAsyncCmdQueueThread()
{
    if (m_hThread == nullptr || IsInThreadCtx())
        return;
    try
    {
        EmptyQueue();
    }
    catch (...)
    {
        // What a command throws when it is cancelled has nowhere to go from here.
    }
    EndThread(true);
}

bool CTLAsyncCmdQueueThread::Create(unsigned long creationFlags, unsigned int stackSize,
                                    SECURITY_ATTRIBUTES * attributes)
{
    DWORD const flags = internal::NarrowULong(creationFlags);
    CmdQueueLock const lock(g_startLock);
    g_startGate.ResetEvent();
    if (!CWinThread::CreateThread(flags, stackSize, attributes))
        return false;
    g_startGate.Lock();
    if (CTLMsgWnd::Created())
        return true;
    if (m_hThread != nullptr)
    {
        EmptyQueue();
        EndThread(!m_bAutoDelete);
    }
    return false;
}

bool CTLAsyncCmdQueueThread::IsAlive() const
{
    DWORD code = 0;
    return ::GetExitCodeThread(m_hThread, &code) && code == STILL_ACTIVE;
}

bool CTLAsyncCmdQueueThread::IsInThreadCtx() const { return ::GetCurrentThreadId() == m_nThreadID; }

void CTLAsyncCmdQueueThread::Destroy(bool discard)
{
    if (m_hThread == nullptr)
        return;
    if (!discard)
        Drain(false);
    EmptyQueue();
    EndThread(!m_bAutoDelete);
}

void CTLAsyncCmdQueueThread::EndThread(bool wait)
{
    EndWindow();
    HANDLE const thread = m_hThread;
    DWORD const id = m_nThreadID;
    m_pMainWnd = nullptr;
    bool const onThread = ::GetCurrentThreadId() == id;
    // A queue that is full takes no request. The thread makes room, or comes to its end.
    while (!::PostThreadMessageW(id, WM_QUIT, 0, 0) && ::GetLastError() == ERROR_NOT_ENOUGH_QUOTA)
    {
        if (onThread)
        {
            ::PostQuitMessage(0);
            break;
        }
        ::Sleep(kFullQueuePause);
    }
    if (wait && !onThread)
        WaitOnHandleWithMessageLoop(thread, INFINITE, false);
}

void CTLAsyncCmdQueueThread::DestroyThread(CTLAsyncCmdQueueThread * thread, bool discard)
{
    if (thread == nullptr)
        return;
    if (thread->m_hThread != nullptr)
    {
        if (!discard)
            thread->Drain(false);
        thread->EmptyQueue();
        bool const deletesItself = thread->m_bAutoDelete;
        thread->EndThread(false);
        if (deletesItself)
            return; // it may be gone already
        // Only now, for the thread may end by itself at any moment. If it has, nobody else deletes the object.
        if (thread->DeleteWhenEnded())
            return;
    }
    delete thread;
}

void CTLAsyncCmdQueueThread::SetQueueName(CQVString const & name)
{
    CTLAsyncCmdQueue::SetQueueName(name);
    if (m_hThread != nullptr)
        TLSetThreadName(name, m_nThreadID);
}

BOOL CTLAsyncCmdQueueThread::InitInstance()
{
    // Kept on purpose: the gate stays shut then, and the creator waits.
    if (::CoInitialize(nullptr) != S_OK)
        return FALSE;
    if (!GetQueueName().IsEmpty())
        TLSetThreadName(GetQueueName(), ~0UL);
    bool const created = CTLAsyncCmdQueue::Create();
    g_startGate.SetEvent();
    return created;
}

BOOL CTLAsyncCmdQueueThread::OnIdle(LONG count) { return CWinThread::OnIdle(count); }

BOOL CTLAsyncCmdQueueThread::IsIdleMessage(MSG * message)
{
    return message->message != kProcessQueueMessage && CWinThread::IsIdleMessage(message);
}

int CTLAsyncCmdQueueThread::ExitInstance()
{
    EmptyQueue();
    EndWindow();
    ::CoUninitialize();
    // Whoever sees the handle cleared may delete the object, or start it anew.
    m_nThreadID = 0;
    m_hThread = nullptr;
    return CWinThread::ExitInstance();
}

} // namespace qvlib

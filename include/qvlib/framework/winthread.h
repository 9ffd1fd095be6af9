// CWinThread: the framework's thread with a message loop, and functions that run on a thread of their own.
//
//     class CWorker : public CWinThread
//     {
//     public:
//         BOOL InitInstance() override { return TRUE; }                  // on the new thread; FALSE ends it
//         int ExitInstance() override { return CWinThread::ExitInstance(); } // on it, at its end
//     };
//
//     CWorker worker;
//     worker.m_bAutoDelete = FALSE; // it stands on the stack
//     worker.CreateThread();
//     worker.PostThreadMessage(WM_QUIT, 0, 0);
//     WaitForSingleObject(worker.m_hThread, INFINITE);
//
// What runs on the new thread: InitInstance; then Run, which takes messages, calls OnIdle while there are none, and
// calls ExitInstance when it is told to quit. Where InitInstance says FALSE, ExitInstance follows at once. The result
// of ExitInstance is the thread's exit code. Then the object deletes itself, if m_bAutoDelete says so. A function
// (AfxBeginThread) runs instead of all this, and its result is the exit code. An exception that leaves any of these
// ends the program.
//
// m_hThread and m_nThreadID are set before the thread runs, and messages can be posted to it from then on. The handle
// in m_hThread belongs to the framework, which keeps it beside the member, and closes it when the object ends or starts
// another thread. So
//  - ExitInstance may set both members to null, to say that the thread is as good as over: the handle stays open, and a
//    copy of it that somebody waits on becomes signalled at the thread's end;
//  - whoever then sees m_hThread null may delete the object, or call CreateThread anew. Both wait for the few steps
//    that are left to the thread. Nothing of a derived class is touched in these, only CWinThread itself;
//  - whoever waits on a copy of the handle must not let the object end meanwhile. Where m_bAutoDelete is set, one
//    waits on a handle of one's own (DuplicateHandle).
//
// An object that is deleted on its own thread, in a message, ends the loop as a request to quit would, without
// ExitInstance. One that is deleted elsewhere while its thread runs asks it to quit and waits; its derived parts are
// gone by then, so don't rely on it.
//
// Thread rule: CreateThread and deletion are for one thread at a time. m_hThread, m_nThreadID, m_bAutoDelete,
// PostThreadMessage and DeleteWhenEnded are thread-safe. All else is thread-affine to the thread itself.
#pragma once

#include "qvlib/export.h"
#include "qvlib/framework/cmdtarget.h"
#include "qvlib/host/messages.h"
#include "qvlib/host/sync.h"
#include "qvlib/host/thread.h"

#include <atomic>

class CWnd;

/// A function that runs on a thread of its own. Its result is the thread's exit code.
using AFX_THREADPROC = UINT (*)(LPVOID parameter);

class QVLIB_API CWinThread : public CCmdTarget
{
    DECLARE_DYNAMIC(CWinThread)

public:
    CWinThread() noexcept = default;
    /// To run a function in place of the message loop.
    CWinThread(AFX_THREADPROC procedure, LPVOID parameter) noexcept : m_procedure(procedure), m_parameter(parameter) {}
    /// Waits for the end of the thread, unless it runs on it, and closes its handle.
    ~CWinThread() override;

    /// Starts the thread; with CREATE_SUSPENDED it runs from ResumeThread on. A stack size of 0 is the default one;
    /// `attributes` may be null. FALSE when there is a thread already or none to be had. With m_bAutoDelete set, the
    /// object may be gone when this returns.
    BOOL CreateThread(DWORD flags = 0, UINT stackSize = 0, SECURITY_ATTRIBUTES * attributes = nullptr);
    /// Lets a thread that was started suspended run. How often it was suspended before, 0xFFFFFFFF for no thread.
    DWORD ResumeThread();
    /// Posts a message to the thread. FALSE when there is none, or it has ended.
    BOOL PostThreadMessage(UINT message, WPARAM wParam, LPARAM lParam);
    /// Makes the object delete itself when its thread ends, as m_bAutoDelete does. False when that has passed already,
    /// or no thread was started: then nobody else deletes the object, and the caller does. After true, the object may
    /// be gone at any moment.
    bool DeleteWhenEnded() noexcept;

    operator HANDLE() const noexcept { return m_hThread; }

    /// At the thread's start. FALSE, as here, ends it.
    virtual BOOL InitInstance();
    /// The message loop. Its result is the thread's exit code.
    virtual int Run();
    /// Looks at a message before it is delivered, and may change it. TRUE when it need not be delivered any more; here
    /// always FALSE.
    virtual BOOL PreTranslateMessage(MSG * message);
    /// Waits for a message and delivers it. FALSE when it is the request to quit.
    virtual BOOL PumpMessage();
    /// Called while no message waits, with 0, 1, 2...; FALSE, here from 1 on, when there is nothing more to do until a
    /// message has come.
    virtual BOOL OnIdle(LONG count);
    /// Whether there may be idle work after the message. Here not after one that asks for painting or for the blinking
    /// of a caret.
    virtual BOOL IsIdleMessage(MSG * message);
    /// At the thread's end. Here the code with which the thread was asked to quit.
    virtual int ExitInstance();
    /// The window that stands for the thread. Here m_pMainWnd.
    virtual CWnd * GetMainWnd();

    CWnd * m_pMainWnd = nullptr;           ///< not owned
    std::atomic<BOOL> m_bAutoDelete{TRUE}; ///< the object deletes itself when its thread ends
    std::atomic<HANDLE> m_hThread{nullptr};
    std::atomic<DWORD> m_nThreadID{0};

protected:
    MSG m_msgCur{}; ///< the message taken last

private:
    // What becomes of the object at the end of its thread.
    enum class End : int
    {
        Open,     // the thread has not come so far
        Deletes,  // the thread deletes the object
        LeavesIt, // the thread has passed, and will not touch the object again
    };

    struct Watch;

    QVLIB_LOCAL static DWORD WINAPI Start(LPVOID object);
    QVLIB_LOCAL DWORD RunHere(Watch const & watch);
    QVLIB_LOCAL bool ForgetLastThread();

    AFX_THREADPROC m_procedure = nullptr;
    LPVOID m_parameter = nullptr;
    Watch * m_watch = nullptr; // who on the thread's stack must hear of the deletion
    HANDLE m_kept = nullptr;   // the handle to close; m_hThread may be cleared
    DWORD m_keptId = 0;
    std::atomic<End> m_end{End::LeavesIt};
    std::atomic<bool> m_canceled{false}; // the object ends before its thread has begun
};

/// Runs a function on a thread of its own. Gives the thread's object, which deletes itself at the thread's end; null
/// when there is no thread to be had. To look at the object, start suspended and clear m_bAutoDelete first. The
/// priority has no effect.
QVLIB_API CWinThread * AfxBeginThread(AFX_THREADPROC procedure, LPVOID parameter, int priority = 0, UINT stackSize = 0,
                                      DWORD flags = 0, SECURITY_ATTRIBUTES * attributes = nullptr);
/// The object of the calling thread; null on a thread that none started.
QVLIB_API CWinThread * AfxGetThread() noexcept;

// CTLAsyncCmdQueueThread: a command queue with a thread of its own.
//
//     qvlib::CTLAsyncCmdQueueThread worker;
//     if (!worker.Create())
//         return;
//     worker.QueueCmd(new Job, 0);
//     worker.Destroy(false); // runs what waits, ends the thread and waits for its end
//
// The thread lives in a single-threaded apartment (CoInitialize) and runs a message loop. Its states:
//
//   not started   m_hThread is null; commands are kept, and cancelled by the destructor
//   started       Create has returned true; commands run
//   ending        Destroy has asked it to quit; commands that come now are cancelled
//   ended         m_hThread is null again; Create may start another thread
//
// Threads of the process are started one at a time: Create returns when the new thread's queue takes commands. A thread
// that is started suspended (CREATE_SUSPENDED) keeps its creator waiting until somebody resumes it.
//
// An exception that leaves a command ends the program, for it leaves the thread.
//
// A derived class calls Destroy in its own destructor: the thread calls virtual functions as long as it runs.
//
// Thread rule: as CTLAsyncCmdQueue; Create, Destroy, DestroyThread and the destructor are for one thread at a time, and
// may be called on any, also by a command of this thread.
#pragma once

#include "qvlib/AsyncCmdQueue.h"
#include "qvlib/export.h"
#include "qvlib/framework/winthread.h"

namespace qvlib
{

class QVLIB_API CTLAsyncCmdQueueThread : public CWinThread, public CTLAsyncCmdQueue
{
public:
    /// A queue with the priorities 0 to `priorities` - 1; 0 counts as 1. No thread yet.
    explicit CTLAsyncCmdQueueThread(unsigned long priorities = 1);
    /// Cancels what is left. A thread that still runs is ended first, as Destroy(true) does.
    ~CTLAsyncCmdQueueThread() override;

    /// Starts the thread and waits until its queue takes commands. False when there is a thread already, or none, or no
    /// window, to be had.
    bool Create(unsigned long creationFlags = 0, unsigned int stackSize = 0,
                SECURITY_ATTRIBUTES * attributes = nullptr);
    /// Whether there is a thread. Thread-safe.
    bool Created() const noexcept { return m_hThread != nullptr; }
    /// Whether the thread still runs. Thread-safe.
    bool IsAlive() const;
    /// Whether the calling thread is the queue's. Thread-safe.
    bool IsInThreadCtx() const;

    /// Runs the waiting commands first unless `discard` is set, cancels what is left and asks the thread to quit. Waits
    /// for its end, taking the caller's messages meanwhile, unless it is called on the thread itself or the object
    /// deletes itself (m_bAutoDelete).
    void Destroy(bool discard);
    /// The same for an object on the heap that is deleted when its thread has ended, at once if there is none. Does not
    /// wait. The caller must not touch the object any more.
    static void DestroyThread(CTLAsyncCmdQueueThread * thread, bool discard);

    /// Stores the name, and offers it to TLSetThreadName when there is a thread.
    void SetQueueName(CQVString const & name);

    BOOL InitInstance() override;
    BOOL OnIdle(LONG count) override;
    /// Not for the queue's own messages, so that commands do not start idle work again and again.
    BOOL IsIdleMessage(MSG * message) override;
    int ExitInstance() override;

private:
    QVLIB_LOCAL void EndThread(bool wait);
};

} // namespace qvlib

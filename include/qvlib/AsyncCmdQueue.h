// CTLAsyncCmdQueue: commands that any thread hands over and one thread runs, in the order of their priorities.
//
// The queue's thread is the one that calls Create. It runs one command a message, in step with its other messages,
// whenever it takes and dispatches messages; so neither the thread's windows nor other queues on it starve.
//
//     qvlib::CTLAsyncCmdQueue queue(2);             // priorities 0 and 1, and the urgent one, -1
//     queue.Create();                               // this thread runs the commands
//     std::thread other([&] { queue.QueueCmd(new Job, 1); });
//     MSG message;
//     while (GetMessageW(&message, nullptr, 0, 0) > 0)
//         DispatchMessageW(&message);
//
// Priorities. Urgent (-1, of either width) comes first, then 0, 1 and so on; commands of equal priority run in the
// order in which they were queued. A queue lock (AddQueueLock) holds back all but the urgent ones.
//
// States. The commands live from the constructor to the destructor, the window from Create to Destroy:
//
//   no window    commands are kept; they run through ProcessQueue and ProcessEntireQueue, or once there is a window and
//                the next command is queued. Synchronous posts do not wait: the command is cancelled at once.
//   window       commands run on its thread.
//   destructor   whatever is left gets Canceled.
//
// Exactly once. Each command that the queue took is run or cancelled, once. A synchronous post whose wait is broken off
// (the abort message, an exception out of a message handler, the end of the window) is withdrawn and cancelled on the
// waiting thread; if it runs at that moment, the post returns when it has finished.
//
// Commands may queue further ones, take messages (no other command of the queue runs inside), and destroy the queue:
// then the rest is cancelled and the dispatcher touches nothing of the queue any more. An exception out of Execute
// leaves through the message loop; the rest of the queue waits for the next command that is queued.
//
// Thread rule: thread-safe, but for Create and the Process functions (the queue's thread), the name (set it before
// other threads read it) and the destructor (no other thread may be calling in, but one that waits inside a synchronous
// post or in WaitUntilQueueIsEmpty: it is released). The room for waiting commands is kept for the next ones, so a
// queue that has once been this full allocates nothing.
#pragma once

#include <deque>

#include "qvlib/AsyncCmd.h"
#include "qvlib/AutoPtr.h"
#include "qvlib/MsgWnd.h"
#include "qvlib/QVString.h"
#include "qvlib/export.h"

namespace qvlib
{

namespace detail
{
class AsyncCmdQueueState;
}

class QVLIB_API CTLAsyncCmdQueue : public CTLMsgWnd
{
public:
    /// A queue with the priorities 0 to `priorities` - 1; 0 counts as 1.
    explicit CTLAsyncCmdQueue(unsigned long priorities = 1);
    /// Cancels what is left and ends the window. What Canceled throws here is swallowed.
    ~CTLAsyncCmdQueue() override;

    /// Makes the calling thread the queue's thread. True when there is a window afterwards.
    bool Create();
    /// Runs the waiting commands first unless `discard` is set (on another thread: waits until they have run; without a
    /// window nobody runs them), cancels what is left and ends the window.
    void Destroy(bool discard);

    /// Queues a command; the queue takes the ownership if the holder had it. Throws unexpected_error for a priority
    /// that the queue does not have, and changes nothing.
    void QueueCmd(old_auto_ptr<CTLAsyncCmd> & cmd, unsigned long priority);
    /// Queues a command that the queue deletes (also when the priority is refused). Null does nothing when its turn
    /// comes.
    void QueueCmd(CTLAsyncCmd * cmd, unsigned long priority);
    /// Queues a command that stays the caller's and must live until it was run or cancelled.
    void QueueStaticCmd(CTLAsyncCmd & cmd, unsigned long priority);

    /// Queues a command and waits until it was run or cancelled. With `messageLoop` the waiting thread takes its
    /// messages meanwhile, and the abort message of the waiting loops breaks the wait off. The holder keeps what it
    /// owns. On the queue's own thread a wait without messages never ends; one with messages runs the command inside,
    /// but for a call from inside a running command, which only the abort message ends. Throws resource_error when
    /// there is no event, unexpected_error as QueueCmd does.
    void QueueSyncCmd(old_auto_ptr<CTLAsyncCmd> & cmd, unsigned long priority, bool messageLoop);
    void QueueSyncCmd(CTLAsyncCmd & cmd, unsigned long priority, bool messageLoop);
    /// QueueSyncCmd with the urgent priority.
    void SendCmd(CTLAsyncCmd & cmd);
    void SendCmd(CTLAsyncCmd & cmd, bool messageLoop);
    void SendCmdMsgLoop(CTLAsyncCmd & cmd);
    /// Queues the command urgently without waiting; `event` is reset now and set when it was run or cancelled. Both
    /// stay the caller's and must live until then.
    void SendCmd(CTLAsyncCmd & cmd, void * event);

    /// Runs one command on the calling thread.
    void ProcessQueue();
    /// Runs commands on the calling thread until nothing may run.
    void ProcessEntireQueue();

    /// Cancels all waiting commands on the calling thread, urgent ones first, and deletes those that are owned. If
    /// Canceled throws, the others are cancelled all the same and the first exception goes on.
    void EmptyQueue();
    /// The same for one priority. Throws unexpected_error for one that the queue does not have.
    void EmptyQueue(unsigned long priority);
    /// Returns once nothing waits. On the queue's thread it runs the commands (a locked queue keeps its own), on others
    /// it waits, behind all that is queued, as long as commands keep coming; the end of the window ends the wait.
    /// Throws resource_error.
    void WaitUntilQueueIsEmpty();

    /// Holds back all but the urgent commands until it was released as often. Gives the new count.
    unsigned long AddQueueLock();
    /// Releases once; the last release starts what was held back. Gives the new count, 0 when it was not locked.
    unsigned long ReleaseQueueLock();
    bool IsQueueLocked() const;

    /// How many priorities there are, the urgent one not counted.
    unsigned long GetPriorities() const;
    /// How many commands wait, read without the lock: may be old at once.
    unsigned long GetQueueSize() const;
    bool IsQueueEmpty() const { return GetQueueSize() == 0; }
    /// How many wait at one priority. Throws unexpected_error for one that the queue does not have.
    unsigned long GetQueueSize(unsigned long priority) const;
    /// Counted under the lock: exact at the moment of the call.
    unsigned long CalcQueueSize() const;
    bool CalcIsQueueEmpty() const;

    /// "No name" at first.
    CQVString const & GetQueueName() const noexcept { return m_name; }
    void SetQueueName(CQVString const & name) { m_name = name; }

protected:
    /// Runs the next command that may run. True when more wait afterwards (and the queue is still there).
    bool ProcessSingleQueueCmd();
    /// Sees to it that one process message, and no more, is on its way to the queue's thread.
    void PostQueueProcessMessage();
    /// Cancels the commands from front to back and clears the list, which deletes those that are owned. If Canceled
    /// throws, the others are cancelled all the same and the first exception goes on.
    static void ClearQueue(std::deque<old_auto_ptr<CTLAsyncCmd>> & commands);
    bool OnWndMsg(unsigned int msg, WPARAM wParam, LPARAM lParam, LRESULT * result) override;

private:
    friend class CTLAsyncCmdQueueThread;
    QVLIB_LOCAL void EndWindow();
    QVLIB_LOCAL void Drain(bool evenWithoutWindow);

    CQVString m_name;
    // Outlives the queue while a dispatch or a waiting post needs it.
    detail::AsyncCmdQueueState * m_state;
};

} // namespace qvlib

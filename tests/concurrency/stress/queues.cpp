#include <chrono>
#include <memory>
#include <thread>
#include <vector>

#include "concurrency/message_support.h"
#include "concurrency/stress/ledger.h"
#include "qvlib/AsyncCmdQueueThread.h"
#include "qvlib/WaitingLoops.h"

namespace qvlib_stress
{

using namespace qvlib;
using qvlib_test::MessageThread;
using qvlib_test::Pump;
using qvlib_test::PumpOne;

namespace
{

constexpr unsigned long kUrgent = ~0UL;
constexpr unsigned kPriorities = 3;

unsigned long AnyPriority(Dice & dice)
{
    unsigned const level = dice.Roll(kPriorities + 1);
    return level == kPriorities ? kUrgent : level;
}

/// A synchronous command: whatever became of it, it is over when the post returns.
void SendOne(CTLAsyncCmdQueue & queue, Ledger & ledger, Dice & dice, bool messageLoop)
{
    Command command(ledger, [] { std::this_thread::yield(); }); // long enough for an abort to come while it runs
    queue.QueueSyncCmd(command, AnyPriority(dice), messageLoop);
    Require(command.IsFinished(), "a synchronous post returned before its command was over");
}

/// What one of many threads does to a queue.
void UseQueue(CTLAsyncCmdQueue & queue, Ledger & ledger, std::uint64_t seed)
{
    Dice dice(seed);
    for (int i = 0; i < 150; ++i)
        switch (dice.Roll(24))
        {
        case 0:
            queue.EmptyQueue();
            break;
        case 1:
            queue.EmptyQueue(AnyPriority(dice));
            break;
        case 2:
            queue.AddQueueLock();
            queue.QueueCmd(new Command(ledger), AnyPriority(dice));
            queue.ReleaseQueueLock();
            break;
        case 3:
            SendOne(queue, ledger, dice, false);
            break;
        case 4:
            SendOne(queue, ledger, dice, true);
            break;
        case 5:
            queue.WaitUntilQueueIsEmpty();
            break;
        case 6: // takes messages inside
            queue.QueueCmd(new Command(ledger, [] { Pump(); }), AnyPriority(dice));
            break;
        case 7: // has a successor
            queue.QueueCmd(new Command(ledger, [&queue, &ledger] { queue.QueueCmd(new Command(ledger), kUrgent); }),
                           AnyPriority(dice));
            break;
        case 8: // runs others by hand
            queue.QueueCmd(new Command(ledger, [&queue] { queue.ProcessQueue(); }), AnyPriority(dice));
            break;
        default:
            queue.QueueCmd(new Command(ledger), AnyPriority(dice));
        }
}

/// Between two aborts, so that they do not fill the message queue of the thread they go to.
void Rest() { std::this_thread::sleep_for(std::chrono::microseconds(100)); }

void JoinAll(std::vector<std::thread> & threads)
{
    for (std::thread & thread : threads)
        thread.join();
    threads.clear();
}

void AwaitSize(CTLAsyncCmdQueue const & queue, unsigned long size)
{
    while (queue.GetQueueSize() < size)
        std::this_thread::yield();
}

} // namespace

void ManyProducers(Dice & dice)
{
    Ledger ledger;
    {
        CTLAsyncCmdQueueThread queue(kPriorities);
        Require(queue.Create(), "no queue thread");
        std::vector<std::thread> users;
        for (int i = 0; i < 4; ++i)
            users.emplace_back([&, seed = dice.Seed()] { UseQueue(queue, ledger, seed); });
        JoinAll(users);
        if (!dice.OneIn(3))
            queue.Destroy(dice.OneIn(2));
    }
    ledger.Balance();
}

void SendsAcross(Dice & dice)
{
    // Commands of two threads wait for each other with messages: neither can run inside the other, and only an abort
    // ends both.
    Ledger ledger;
    {
        CTLAsyncCmdQueueThread first(kPriorities);
        CTLAsyncCmdQueueThread second(kPriorities);
        Require(first.Create() && second.Create(), "no queue thread");
        for (int i = 0; i < 10; ++i)
        {
            std::uint64_t const seed = dice.Seed();
            first.QueueCmd(new Command(ledger,
                                       [&, seed]
                                       {
                                           Dice own(seed);
                                           SendOne(second, ledger, own, true);
                                       }),
                           0);
            second.QueueCmd(new Command(ledger,
                                        [&, seed]
                                        {
                                            Dice own(seed + 1);
                                            SendOne(first, ledger, own, true);
                                        }),
                            0);
        }
        while (!first.IsQueueEmpty() || !second.IsQueueEmpty())
        {
            PostAbortWaitingLoopMessage(first.m_nThreadID);
            PostAbortWaitingLoopMessage(second.m_nThreadID);
            Rest();
        }
        std::atomic<bool> ended{false};
        std::thread aborter(
            [&, a = first.m_nThreadID.load(), b = second.m_nThreadID.load()]
            {
                while (!ended)
                {
                    PostAbortWaitingLoopMessage(a);
                    PostAbortWaitingLoopMessage(b);
                    Rest();
                }
            });
        first.Destroy(true);
        second.Destroy(true);
        ended = true;
        aborter.join();
    }
    ledger.Balance();
}

void DestroyedByItsCommand(Dice & dice)
{
    Ledger ledger;
    auto * queue = new CTLAsyncCmdQueue(kPriorities);
    MessageThread owner([&] { queue->Create(); });
    queue->AddQueueLock();
    unsigned const before = dice.Roll(10);
    unsigned const waiters = dice.Roll(3);
    unsigned const behind = dice.Roll(10);
    unsigned const way = dice.Roll(4);
    for (unsigned i = 0; i < before; ++i)
        queue->QueueCmd(new Command(ledger), dice.Roll(2));
    CTLEvent gone;
    auto const destroy = [queue, &gone]
    {
        delete queue;
        gone.SetEvent();
    };
    if (way == 0)
        queue->QueueCmd(new Command(ledger, destroy), 1);
    else if (way == 1) // in a run by hand inside a dispatch
        queue->QueueCmd(new Command(ledger,
                                    [&ledger, queue, destroy]
                                    {
                                        queue->QueueCmd(new Command(ledger, destroy), kUrgent);
                                        queue->ProcessEntireQueue();
                                    }),
                        1);
    else if (way == 2) // while it takes messages
        queue->QueueCmd(new Command(ledger,
                                    [destroy]
                                    {
                                        Pump();
                                        destroy();
                                    }),
                        1);
    std::vector<std::thread> waiting;
    unsigned long const size = queue->GetQueueSize();
    for (unsigned i = 0; i < waiters; ++i)
        waiting.emplace_back(
            [&ledger, queue, empty = size != 0 && dice.OneIn(3), pump = dice.OneIn(2)]
            {
                if (empty)
                    return queue->WaitUntilQueueIsEmpty();
                Command command(ledger);
                queue->QueueSyncCmd(command, 2, pump);
                Require(command.IsFinished(), "a waiter came back before its command was over");
            });
    AwaitSize(*queue, size + waiters);
    for (unsigned i = 0; i < behind; ++i)
        queue->QueueCmd(new Command(ledger), 2);
    if (way == 3) // by another thread, while the owner is idle or between two commands
    {
        queue->QueueCmd(new Command(ledger), kUrgent);
        destroy();
    }
    else
        // On the owner, so that nobody is in the queue when its command destroys it.
        queue->QueueCmd(new Command(ledger, [queue] { queue->ReleaseQueueLock(); }), kUrgent);
    gone.Lock();
    JoinAll(waiting);
    owner.Quit();
    ledger.Balance();
}

void AbortedWaits(Dice & dice)
{
    Ledger ledger;
    {
        CTLAsyncCmdQueueThread queue(kPriorities);
        Require(queue.Create(), "no queue thread");
        std::atomic<int> running{3};
        std::atomic<DWORD> ids[3] = {0, 0, 0};
        std::vector<std::thread> threads;
        for (std::atomic<DWORD> & id : ids)
            threads.emplace_back(
                [&, seed = dice.Seed()]
                {
                    Dice own(seed);
                    id = ::GetCurrentThreadId();
                    for (int i = 0; i < 60; ++i)
                    {
                        SendOne(queue, ledger, own, true);
                        if (own.OneIn(20))
                            queue.EmptyQueue();
                    }
                    --running;
                });
        Dice own(dice.Seed());
        while (running != 0)
        {
            if (DWORD const id = ids[own.Roll(3)])
                PostAbortWaitingLoopMessage(id);
            Rest();
        }
        JoinAll(threads);
        queue.Destroy(true);
    }
    ledger.Balance();
}

void StormOfThreads(Dice & dice)
{
    Ledger ledger;
    std::atomic<int> alive{0};
    struct Counted : CTLAsyncCmdQueueThread
    {
        explicit Counted(std::atomic<int> & count) : CTLAsyncCmdQueueThread(kPriorities), m_count(count) { ++m_count; }
        ~Counted() override
        {
            Destroy(true); // before its own parts go
            --m_count;
        }
        std::atomic<int> & m_count;
    };
    std::vector<std::thread> makers;
    for (int i = 0; i < 3; ++i)
        makers.emplace_back(
            [&, seed = dice.Seed()]
            {
                Dice own(seed);
                for (int round = 0; round < 6; ++round)
                {
                    auto thread = std::make_unique<Counted>(alive);
                    if (!own.OneIn(8))
                        Require(thread->Create(), "no queue thread");
                    for (unsigned n = own.Roll(5); n != 0; --n)
                        thread->QueueCmd(new Command(ledger), AnyPriority(own));
                    bool const discard = own.OneIn(2);
                    CTLAsyncCmdQueueThread * const object = thread.get();
                    switch (own.Roll(5))
                    {
                    case 0: // the destructor ends it
                        break;
                    case 1:
                        object->Destroy(discard);
                        break;
                    case 2: // a quit of its own, at the same time
                        object->PostThreadMessage(WM_QUIT, 0, 0);
                        CTLAsyncCmdQueueThread::DestroyThread(thread.release(), discard);
                        break;
                    case 3:
                        CTLAsyncCmdQueueThread::DestroyThread(thread.release(), discard);
                        break;
                    case 4: // by its own command, unless there is no thread to run it
                        if (!object->Created())
                            break;
                        thread.release();
                        object->QueueCmd(new Command(ledger, [object, discard]
                                                     { CTLAsyncCmdQueueThread::DestroyThread(object, discard); }),
                                         kUrgent);
                        break;
                    }
                }
            });
    JoinAll(makers);
    while (alive != 0)
        std::this_thread::yield();
    // The last command of a thread that deletes itself may end a little after its queue.
    while (ledger.made != ledger.deleted)
        std::this_thread::yield();
    ledger.Balance();
}

void WindowDiesWithItsThread(Dice & dice)
{
    Ledger ledger;
    {
        CTLAsyncCmdQueue queue(kPriorities);
        for (int round = 0; round < 3; ++round)
        {
            std::vector<std::thread> users;
            {
                MessageThread owner([&] { queue.Create(); });
                for (int i = 0; i < 3; ++i)
                    users.emplace_back(
                        [&, seed = dice.Seed()]
                        {
                            Dice own(seed);
                            for (int n = 0; n < 50; ++n)
                                if (own.OneIn(2))
                                    SendOne(queue, ledger, own, own.OneIn(2));
                                else
                                    queue.QueueCmd(new Command(ledger), AnyPriority(own));
                        });
                for (unsigned n = dice.Roll(200); n != 0; --n)
                    std::this_thread::yield();
                if (dice.OneIn(3))
                    queue.Destroy(true); // at the same time as the thread's end
            }
            JoinAll(users);
        }
    }
    ledger.Balance();
}

} // namespace qvlib_stress

#include "qvlib/AsyncCmdQueue.h"

#include "concurrency/command_support.h"
#include "concurrency/message_support.h"
#include "concurrency/stress/ledger.h"
#include "support/allocation_sweep.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <stdexcept>
#include <thread>
#include <vector>

#include "qvlib/Exceptions.h"
#include "qvlib/WaitingLoops.h"

using namespace qvlib_test;
using qvlib::CTLAsyncCmd;
using qvlib::CTLAsyncCmdQueue;
using qvlib::CTLEvent;
using qvlib::old_auto_ptr;
using qvlib::unexpected_error;

namespace
{

constexpr unsigned long kUrgent = ~0UL;
constexpr unsigned long kUrgent32 = 0xFFFFFFFFUL;
constexpr unsigned int kProcessQueue = 0x8002;

/// A queue of this thread with what its users may reach.
class Queue : public CTLAsyncCmdQueue
{
public:
    using CTLAsyncCmdQueue::ClearQueue;
    using CTLAsyncCmdQueue::CTLAsyncCmdQueue;
    using CTLAsyncCmdQueue::PostQueueProcessMessage;
    using CTLAsyncCmdQueue::ProcessSingleQueueCmd;
};

class CommandQueue : public ::testing::Test
{
protected:
    CommandQueue() { queue.emplace(2); }

    Cmd * New(std::string const & name, std::function<void()> execute = {}, std::function<void()> canceled = {})
    {
        return new Cmd(protocol, name, std::move(execute), std::move(canceled));
    }
    std::string Protocol() { return protocol.Take(); }

    qvlib_test::Protocol protocol;
    std::optional<Queue> queue;
};

/// Waits until so many commands wait in the queue.
void AwaitSize(CTLAsyncCmdQueue const & queue, unsigned long size)
{
    while (queue.GetQueueSize() != size)
        std::this_thread::yield();
}

} // namespace

TEST(AutoPtr, CopyingMovesTheDutyToDelete)
{
    Protocol protocol;
    {
        old_auto_ptr<Cmd> first(new Cmd(protocol, "a"));
        old_auto_ptr<CTLAsyncCmd> second(first);
        EXPECT_FALSE(first.owner());
        EXPECT_TRUE(second.owner());
        EXPECT_EQ(first.get(), second.get());
        second = old_auto_ptr<CTLAsyncCmd>(first.get(), false); // the same object: stays its owner
        EXPECT_TRUE(second.owner());
        old_auto_ptr<CTLAsyncCmd> const & same = second;
        second = same;
        EXPECT_TRUE(second.owner());
        EXPECT_EQ(protocol.Take(), "");
        second = old_auto_ptr<CTLAsyncCmd>(new Cmd(protocol, "b"));
        EXPECT_EQ(protocol.Take(), "~a");
        std::deque<old_auto_ptr<CTLAsyncCmd>> deque(1, second);
        EXPECT_FALSE(second.owner());
        EXPECT_TRUE(deque.front().owner());
    }
    EXPECT_EQ(protocol.Take(), "~b");
    EXPECT_FALSE(old_auto_ptr<Cmd>().owner());
}

namespace
{

/// A command of a given size whose bytes are its own as long as it lives.
template <std::size_t Size>
struct Sized : CTLAsyncCmd
{
    explicit Sized(unsigned char mark) { std::memset(bytes, mark, Size); }
    ~Sized() override
    {
        for (unsigned char const byte : bytes)
            if (byte != bytes[0])
                ADD_FAILURE() << "the block of a command was given out twice";
    }
    void Execute() override {}
    unsigned char bytes[Size];
};

CTLAsyncCmd * NewSized(unsigned number)
{
    auto const mark = static_cast<unsigned char>(number);
    using Make = CTLAsyncCmd * (*)(unsigned char);
    static constexpr Make kMakers[] = {[](unsigned char m) -> CTLAsyncCmd * { return new Sized<1>(m); },
                                       [](unsigned char m) -> CTLAsyncCmd *
                                       { return new (std::nothrow) Sized<120>(m); },
                                       [](unsigned char m) -> CTLAsyncCmd * { return new Sized<121>(m); },
                                       [](unsigned char m) -> CTLAsyncCmd * { return new Sized<500>(m); }};
    return kMakers[number % 4](mark);
}

} // namespace

TEST(CommandMemory, GoesFromThreadToThreadAndBack)
{
    struct alignas(64) Aligned : Sized<70>
    {
        Aligned() : Sized(1) {}
    };
    // Each thread deletes what its neighbour made, and ends; what it kept serves the next ones.
    std::vector<std::unique_ptr<CTLAsyncCmd>> commands;
    for (int round = 0; round < 6; ++round)
        std::thread(
            [&]
            {
                commands.clear();
                for (unsigned i = 0; i < 3000; ++i)
                    commands.emplace_back(NewSized(i));
                for (unsigned i = 0; i < 3000; i += 2)
                    commands[i].reset(NewSized(i + 1));
                for (CTLAsyncCmd * const command : {new Aligned, new (std::nothrow) Aligned})
                {
                    commands.emplace_back(command);
                    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(command) % 64, 0U);
                }
            })
            .join();
    alignas(Sized<20>) unsigned char place[sizeof(Sized<20>)];
    auto * const placed = new (static_cast<void *>(place)) Sized<20>(3);
    placed->~Sized<20>();
}

TEST_F(CommandQueue, CountsItsPriorities)
{
    EXPECT_EQ(CTLAsyncCmdQueue().GetPriorities(), 1U);
    EXPECT_EQ(CTLAsyncCmdQueue(0).GetPriorities(), 1U);
    EXPECT_EQ(CTLAsyncCmdQueue(1).GetPriorities(), 1U);
    EXPECT_EQ(queue->GetPriorities(), 2U);
    EXPECT_EQ(CTLAsyncCmdQueue(kUrgent).GetPriorities(), 0U);
    EXPECT_EQ(queue->GetQueueName(), L"No name");
    for (unsigned long const bad : {2UL, 0xFFFFFFFEUL, 0x100000000UL, 0x1FFFFFFFFUL})
    {
        EXPECT_THROW(queue->QueueCmd(New("a"), bad), unexpected_error);
        EXPECT_EQ(Protocol(), "~a") << "the holder deletes what the queue refuses";
        old_auto_ptr<CTLAsyncCmd> holder(New("b"));
        EXPECT_THROW(queue->QueueCmd(holder, bad), unexpected_error);
        EXPECT_TRUE(holder.owner());
        EXPECT_THROW(queue->QueueSyncCmd(holder, bad, false), unexpected_error);
        EXPECT_THROW(queue->EmptyQueue(bad), unexpected_error);
        EXPECT_THROW((void)queue->GetQueueSize(bad), unexpected_error);
        EXPECT_EQ(queue->GetQueueSize(), 0U);
        holder = old_auto_ptr<CTLAsyncCmd>();
        Protocol();
    }
}

TEST_F(CommandQueue, RunsByPriorityThenInTheOrderOfQueueing)
{
    ASSERT_TRUE(queue->Create());
    EXPECT_TRUE(queue->Create());
    Cmd own(protocol, "own");
    queue->QueueCmd(New("b1"), 1);
    queue->QueueCmd(New("a1"), 0);
    queue->QueueCmd(New("b2"), 1);
    queue->QueueCmd(New("u1"), kUrgent);
    queue->QueueStaticCmd(own, 0);
    queue->QueueCmd(New("u2"), kUrgent32);
    queue->QueueCmd(static_cast<CTLAsyncCmd *>(nullptr), 0);
    EXPECT_EQ(queue->GetQueueSize(), 7U);
    EXPECT_EQ(queue->CalcQueueSize(), 7U);
    EXPECT_EQ(queue->GetQueueSize(kUrgent), 2U);
    EXPECT_EQ(queue->GetQueueSize(0), 3U);
    EXPECT_FALSE(queue->IsQueueEmpty());
    EXPECT_FALSE(queue->CalcIsQueueEmpty());
    EXPECT_EQ(Pump(), 7) << "one command a message";
    EXPECT_EQ(Protocol(), "+u1 ~u1 +u2 ~u2 +a1 ~a1 +own +b1 ~b1 +b2 ~b2");
    EXPECT_TRUE(queue->IsQueueEmpty());
    EXPECT_TRUE(queue->CalcIsQueueEmpty());
}

TEST_F(CommandQueue, LetsOtherMessagesInBetweenAndHasOneMessageOnItsWay)
{
    CTLAsyncCmdQueue other;
    queue->Create();
    other.Create();
    for (int i = 0; i < 3; ++i)
    {
        queue->QueueCmd(New("a" + std::to_string(i)), 0);
        other.QueueCmd(New("b" + std::to_string(i)), 0);
    }
    MSG message{};
    int messages = 0;
    while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE))
    {
        EXPECT_EQ(message.message, kProcessQueue);
        ++messages;
        MSG next{};
        EXPECT_FALSE(::PeekMessageW(&next, message.hwnd, 0, 0, PM_NOREMOVE));
        ::DispatchMessageW(&message);
    }
    EXPECT_EQ(messages, 6);
    EXPECT_EQ(Protocol(), "+a0 ~a0 +b0 ~b0 +a1 ~a1 +b1 ~b1 +a2 ~a2 +b2 ~b2");
}

TEST_F(CommandQueue, ALockHoldsBackAllButTheUrgent)
{
    queue->Create();
    EXPECT_EQ(queue->ReleaseQueueLock(), 0U);
    EXPECT_EQ(queue->AddQueueLock(), 1U);
    EXPECT_EQ(queue->AddQueueLock(), 2U);
    EXPECT_TRUE(queue->IsQueueLocked());
    queue->QueueCmd(New("a"), 0);
    Pump();
    EXPECT_EQ(Protocol(), "");
    queue->QueueCmd(New("u"), kUrgent);
    Pump();
    EXPECT_EQ(Protocol(), "+u ~u");
    queue->WaitUntilQueueIsEmpty(); // on the queue's thread: returns with what is held back
    EXPECT_EQ(queue->GetQueueSize(), 1U);
    EXPECT_EQ(queue->ReleaseQueueLock(), 1U);
    Pump();
    EXPECT_EQ(Protocol(), "");
    EXPECT_EQ(queue->ReleaseQueueLock(), 0U);
    EXPECT_FALSE(queue->IsQueueLocked());
    Pump();
    EXPECT_EQ(Protocol(), "+a ~a");
}

TEST_F(CommandQueue, WithoutAWindowKeepsItsCommandsUntilTheNextOneIsQueued)
{
    queue->QueueCmd(New("a"), 0);
    Cmd own(protocol, "own");
    queue->SendCmd(own); // nobody would take it: cancelled at once
    EXPECT_EQ(Protocol(), "-own");
    queue->Create();
    EXPECT_EQ(Pump(), 0);
    queue->QueueCmd(New("b"), 0);
    Pump();
    EXPECT_EQ(Protocol(), "+a ~a +b ~b");
    queue->QueueCmd(New("lost message"), 0);
    static_cast<qvlib::CTLMsgWnd &>(*queue).Destroy(); // the message on its way dies with the window
    EXPECT_EQ(queue->GetQueueSize(), 1U);
    queue->Create();
    queue->QueueCmd(New("c"), 0);
    Pump();
    EXPECT_EQ(Protocol(), "+lost message ~lost message +c ~c");
}

TEST_F(CommandQueue, RunsByHand)
{
    for (char const * name : {"a", "b", "c"})
        queue->QueueCmd(New(name), 0);
    EXPECT_TRUE(queue->ProcessSingleQueueCmd());
    queue->ProcessQueue();
    EXPECT_EQ(Protocol(), "+a ~a +b ~b");
    EXPECT_FALSE(queue->ProcessSingleQueueCmd());
    EXPECT_FALSE(queue->ProcessSingleQueueCmd());
    queue->QueueCmd(New("d", [&] { queue->QueueCmd(New("e"), 0); }), 0);
    queue->ProcessEntireQueue();
    EXPECT_EQ(Protocol(), "+c ~c +d ~d +e ~e");
}

TEST_F(CommandQueue, EmptyingCancelsAndNeverRuns)
{
    queue->Create();
    Cmd own(protocol, "own");
    queue->QueueCmd(New("b"), 1);
    queue->QueueStaticCmd(own, 0);
    queue->QueueCmd(New("a"), 0);
    queue->QueueCmd(New("u"), kUrgent);
    queue->EmptyQueue(1);
    EXPECT_EQ(Protocol(), "-b ~b");
    EXPECT_EQ(queue->GetQueueSize(), 3U);
    queue->EmptyQueue();
    EXPECT_EQ(Protocol(), "-u ~u -own -a ~a");
    EXPECT_EQ(queue->GetQueueSize(), 0U);
    Pump();
    EXPECT_EQ(Protocol(), "");
    // A cancelled command may queue its successor.
    queue->QueueCmd(New("c", {}, [&] { queue->QueueCmd(New("d"), 0); }), 0);
    queue->EmptyQueue();
    Pump();
    EXPECT_EQ(Protocol(), "-c ~c +d ~d");
}

TEST_F(CommandQueue, AThrowingCancellationDoesNotKeepTheOthersFromTheirs)
{
    auto const fail = [] { throw std::runtime_error("first"); };
    queue->QueueCmd(New("a", {}, fail), 0);
    queue->QueueCmd(New("b", {}, [] { throw std::logic_error("second"); }), 0);
    queue->QueueCmd(New("c"), 1);
    EXPECT_THROW(queue->EmptyQueue(), std::runtime_error);
    EXPECT_EQ(Protocol(), "-a -b ~a ~b -c ~c");

    std::deque<old_auto_ptr<CTLAsyncCmd>> commands;
    Cmd own(protocol, "own");
    commands.push_back(old_auto_ptr<CTLAsyncCmd>(New("a", {}, fail)));
    commands.push_back(old_auto_ptr<CTLAsyncCmd>(&own, false));
    commands.push_back(old_auto_ptr<CTLAsyncCmd>());
    EXPECT_THROW(Queue::ClearQueue(commands), std::runtime_error);
    EXPECT_TRUE(commands.empty());
    EXPECT_EQ(Protocol(), "-a -own ~a");

    queue->QueueCmd(New("d", {}, fail), 0);
    queue->QueueCmd(New("e"), 0);
    queue.reset();
    EXPECT_EQ(Protocol(), "-d -e ~d ~e");
}

TEST_F(CommandQueue, TheDestructorCancelsWhatIsLeft)
{
    queue->QueueCmd(New("never started"), 0);
    queue.reset();
    EXPECT_EQ(Protocol(), "-never started ~never started");

    queue.emplace();
    queue->Create();
    // One that queues itself anew whenever it is cancelled does not keep the queue for ever.
    std::function<void()> again = [&] { queue->QueueCmd(New("again", {}, again), 0); };
    queue->QueueCmd(New("again", {}, again), 0);
    queue.reset();
    EXPECT_EQ(Protocol(), "-again ~again -again ~again ~again");
}

TEST_F(CommandQueue, AnExceptionLeavesAndTheRestWaitsForTheNextCommand)
{
    queue->Create();
    queue->QueueCmd(New("a", [] { throw std::runtime_error("out"); }), 0);
    queue->QueueCmd(New("b"), 0);
    EXPECT_THROW(Pump(), std::runtime_error);
    EXPECT_EQ(Protocol(), "+a ~a");
    Pump();
    EXPECT_EQ(Protocol(), "");
    queue->QueueCmd(New("c"), 0);
    Pump();
    EXPECT_EQ(Protocol(), "+b ~b +c ~c");
}

TEST_F(CommandQueue, NothingRunsInsideARunningCommand)
{
    queue->Create();
    queue->QueueCmd(New("a",
                        [&]
                        {
                            queue->QueueCmd(New("b"), kUrgent);
                            queue->PostMessageW(kProcessQueue, 0, 0);
                            EXPECT_GE(Pump(), 1);
                            EXPECT_EQ(queue->GetQueueSize(), 1U);
                        }),
                    0);
    Pump();
    EXPECT_EQ(Protocol(), "+a ~a +b ~b");
    // The same inside a run by hand, whose message is made up for at its end.
    queue->QueueCmd(New("c",
                        [&]
                        {
                            queue->QueueCmd(New("d"), 0);
                            Pump();
                        }),
                    0);
    queue->ProcessQueue();
    EXPECT_EQ(Protocol(), "+c ~c");
    Pump();
    EXPECT_EQ(Protocol(), "+d ~d");
}

TEST_F(CommandQueue, AStrayMessageDoesNotStopTheQueue)
{
    queue->Create();
    for (int i = 0; i < 3; ++i)
        queue->PostMessageW(kProcessQueue, 0, 0);
    Pump();
    queue->QueueCmd(New("a"), 0);
    queue->PostMessageW(kProcessQueue, 0, 0);
    queue->QueueCmd(New("b"), 0);
    Pump();
    EXPECT_EQ(Protocol(), "+a ~a +b ~b");
    LRESULT const result = ::SendMessageW(queue->GetWndHandle(), kProcessQueue, 0, 0);
    EXPECT_EQ(result, 0);
}

TEST_F(CommandQueue, ACommandMayDestroyItsQueue)
{
    queue->Create();
    auto const destroy = [&]
    {
        queue.reset();
        protocol.Add('#', "gone");
    };
    queue->QueueCmd(New("a", destroy), 0);
    queue->QueueCmd(New("b"), 0);
    Pump();
    EXPECT_EQ(Protocol(), "+a -b ~b #gone ~a");

    // And while Destroy drains it.
    queue.emplace();
    queue->Create();
    queue->QueueCmd(New("a", destroy), 0);
    queue->QueueCmd(New("b"), 0);
    queue->Destroy(false);
    EXPECT_EQ(Protocol(), "+a -b ~b #gone ~a");
    EXPECT_EQ(Pump(), 0);
}

TEST_F(CommandQueue, DestroyRunsOrCancelsWhatWaits)
{
    queue->Create();
    queue->QueueCmd(New("a", [&] { queue->QueueCmd(New("b"), 0); }), 0);
    queue->Destroy(false);
    EXPECT_EQ(Protocol(), "+a ~a +b ~b");
    EXPECT_FALSE(queue->Created());
    queue->Create();
    queue->QueueCmd(New("c"), 0);
    queue->Destroy(true);
    EXPECT_EQ(Protocol(), "-c ~c");
    queue->QueueCmd(New("d"), 0);
    queue->Destroy(false); // nobody would run it
    EXPECT_EQ(Protocol(), "-d ~d");
}

TEST_F(CommandQueue, ASynchronousCommandIsOverWhenThePostReturns)
{
    MessageThread owner([&] { queue->Create(); }, [&] { queue->Destroy(true); });
    Cmd own(protocol, "own", [&] { EXPECT_EQ(::GetCurrentThreadId(), owner.Id()); });
    queue->SendCmd(own);
    EXPECT_EQ(Protocol(), "+own");
    queue->SendCmdMsgLoop(own);
    EXPECT_EQ(Protocol(), "+own");
    queue->SendCmd(own, true);
    queue->QueueSyncCmd(own, 1, false);
    EXPECT_EQ(Protocol(), "+own +own");
    old_auto_ptr<CTLAsyncCmd> holder(New("held"));
    queue->QueueSyncCmd(holder, 0, false);
    EXPECT_TRUE(holder.owner());
    EXPECT_EQ(Protocol(), "+held");
    CTLEvent done(true, true);
    queue->SendCmd(own, static_cast<void *>(done));
    done.Lock();
    EXPECT_EQ(Protocol(), "+own");

    Queue here; // with messages it runs inside the wait of its own thread
    here.Create();
    Cmd mine(protocol, "mine");
    here.SendCmdMsgLoop(mine);
    EXPECT_EQ(Protocol(), "+mine");
}

TEST_F(CommandQueue, AnExceptionOfASynchronousCommandReleasesTheWaiter)
{
    CTLEvent waiting;
    Cmd bad(protocol, "bad", [] { throw std::runtime_error("out"); });
    queue->Create();
    std::thread other(
        [&]
        {
            waiting.SetEvent();
            queue->SendCmd(bad);
            protocol.Add('#', "back");
        });
    waiting.Lock();
    AwaitSize(*queue, 1); // its message comes a little later
    EXPECT_THROW(
        {
            while (!queue->IsQueueEmpty())
                Pump();
        },
        std::runtime_error);
    other.join();
    EXPECT_EQ(Protocol(), "+bad #back");
}

TEST_F(CommandQueue, AnAbortedWaitWithdrawsItsCommand)
{
    queue->Create();
    Cmd own(protocol, "own");
    std::atomic<DWORD> id{0};
    std::thread other(
        [&]
        {
            id = ::GetCurrentThreadId();
            queue->SendCmdMsgLoop(own);
        });
    AwaitSize(*queue, 1);
    qvlib::PostAbortWaitingLoopMessage(id);
    other.join();
    EXPECT_EQ(Protocol(), "-own");
    EXPECT_EQ(queue->GetQueueSize(), 0U);
    EXPECT_EQ(Pump(), 1) << "the message on its way finds nothing";
    EXPECT_EQ(Protocol(), "");
}

TEST_F(CommandQueue, AnExceptionThroughTheWaitWithdrawsTheCommand)
{
    queue->Create();
    Cmd own(protocol, "own");
    std::thread other(
        [&]
        {
            CTLAsyncCmdQueue mine;
            mine.Create();
            mine.QueueCmd(New("bad", [] { throw std::runtime_error("out"); }), 0);
            EXPECT_THROW(queue->SendCmdMsgLoop(own), std::runtime_error);
        });
    other.join();
    EXPECT_EQ(Protocol(), "+bad ~bad -own");
    EXPECT_EQ(queue->GetQueueSize(), 0U);
}

TEST_F(CommandQueue, WaitingForItsEmptinessWaitsForAllOnAnotherThread)
{
    MessageThread owner([&] { queue->Create(); }, [&] { queue->Destroy(true); });
    queue->WaitUntilQueueIsEmpty();
    CTLEvent running;
    CTLEvent goOn;
    queue->QueueCmd(New("a",
                        [&]
                        {
                            running.SetEvent();
                            goOn.Lock();
                            // Runs when the wait has met its end, until it has begun anew for the one behind.
                            queue->QueueCmd(New("hold", [&] { AwaitSize(*queue, 2); }), 1);
                            queue->QueueCmd(New("late"), 1);
                        }),
                    0);
    running.Lock();
    queue->QueueCmd(New("b"), 1);
    std::thread other(
        [&]
        {
            queue->WaitUntilQueueIsEmpty();
            protocol.Add('#', "empty");
        });
    AwaitSize(*queue, 2);
    goOn.SetEvent();
    other.join();
    EXPECT_EQ(Protocol(), "+a ~a +b ~b +hold ~hold +late ~late #empty");

    queue->AddQueueLock(); // its marker is an ordinary command
    queue->QueueCmd(New("c"), 0);
    std::thread locked([&] { queue->WaitUntilQueueIsEmpty(); });
    AwaitSize(*queue, 2);
    EXPECT_EQ(Protocol(), "");
    queue->ReleaseQueueLock();
    locked.join();
    EXPECT_EQ(Protocol(), "+c ~c");
}

TEST_F(CommandQueue, TheThreadsEndDoesNotTouchAWindowMadeElsewhereSince)
{
    CTLEvent made;
    CTLEvent ended;
    std::thread first(
        [&]
        {
            queue->Create();
            static_cast<qvlib::CTLMsgWnd &>(*queue).Destroy();
            made.SetEvent();
            ended.Lock();
        });
    made.Lock();
    queue->Create();
    ended.SetEvent();
    first.join();
    queue->QueueCmd(New("a"), 0);
    EXPECT_EQ(Pump(), 1);
    EXPECT_EQ(Protocol(), "+a ~a");
}

TEST_F(CommandQueue, AFullMessageQueueDelaysButLosesNothing)
{
    queue->Create();
    while (::PostThreadMessageW(::GetCurrentThreadId(), WM_NULL, 0, 0))
    {
    }
    queue->QueueCmd(New("a"), 0); // its message finds no place
    Pump();
    EXPECT_EQ(Protocol(), "");
    queue->QueueCmd(New("b"), 0);
    Pump();
    EXPECT_EQ(Protocol(), "+a ~a +b ~b");
}

TEST_F(CommandQueue, AllocatesNothingOnceWarm)
{
    struct Idle : CTLAsyncCmd
    {
        void Execute() override {}
    };
    Idle idle;
    queue->Create();
    auto const round = [&]
    {
        for (int i = 0; i < 1000; ++i)
            queue->QueueStaticCmd(idle, 0);
        Pump();
    };
    round();
    AllocationCount const count;
    round();
    EXPECT_EQ(count.Value(), 0U);
}

TEST(CommandQueueMemory, LosesNoCommandWhenItIsShort)
{
    qvlib_stress::Ledger ledger;
    int refused = 0;
    auto const round = [&]
    {
        CTLAsyncCmdQueue queue;
        queue.Create(); // without a window the commands are kept all the same
        for (int i = 0; i < 40; ++i)
        {
            old_auto_ptr<CTLAsyncCmd> holder(new qvlib_stress::Command(ledger));
            try
            {
                queue.QueueCmd(holder, 0);
            }
            catch (std::bad_alloc const &)
            {
                EXPECT_TRUE(holder.owner()); // stays the caller's
                holder->Canceled();
                ++refused;
                throw;
            }
        }
        Pump();
        queue.QueueCmd(new qvlib_stress::Command(ledger), 0);
        queue.EmptyQueue();
    };
    round(); // so that the memory of commands is there, and every failure is one of the queue
    std::size_t const hit = SweepAllocations(round, [&] { ledger.Balance(); });
    EXPECT_EQ(refused, 3) << "for room for 16, 32 and 64";
    EXPECT_GT(hit, 4U);
}

TEST_F(CommandQueue, EachOfManyProducersKeepsItsOrder)
{
    std::array<int, 4> next{};
    bool inOrder = true;
    MessageThread owner([&] { queue->Create(); }, [&] { queue->Destroy(false); });
    std::vector<std::thread> producers;
    for (int & mine : next)
        producers.emplace_back(
            [&]
            {
                for (int i = 0; i < 2000; ++i)
                    queue->QueueCmd(New("", [&, i] { inOrder = inOrder && mine++ == i; }), 0);
            });
    for (std::thread & producer : producers)
        producer.join();
    queue->WaitUntilQueueIsEmpty();
    owner.Quit();
    EXPECT_TRUE(inOrder);
    EXPECT_EQ(next, (std::array{2000, 2000, 2000, 2000}));
}

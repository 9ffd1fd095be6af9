#include "qvlib/AsyncCmdQueueThread.h"

#include "concurrency/command_support.h"
#include "concurrency/message_support.h"
#include "support/asleep.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "qvlib/WaitingLoops.h"
#include "qvlib/host/apartment.h"

using namespace qvlib_test;
using qvlib::CTLAsyncCmdQueue;
using qvlib::CTLAsyncCmdQueueThread;
using qvlib::CTLEvent;

namespace
{

class QueueThread : public ::testing::Test
{
protected:
    Cmd * New(std::string const & name, std::function<void()> execute = {})
    {
        return new Cmd(protocol, name, std::move(execute));
    }

    qvlib_test::Protocol protocol;
};

/// Tells when it is deleted.
class Watched : public CTLAsyncCmdQueueThread
{
public:
    explicit Watched(CTLEvent & deleted) : m_deleted(deleted) {}
    ~Watched() override { m_deleted.SetEvent(); }

private:
    CTLEvent & m_deleted;
};

/// Its thread is in an apartment already when it is to enter one.
class Refused : public CTLAsyncCmdQueueThread
{
public:
    CTLEvent ended;

    BOOL InitInstance() override
    {
        ::CoInitialize(nullptr);
        return CTLAsyncCmdQueueThread::InitInstance();
    }
    int ExitInstance() override
    {
        int const code = CTLAsyncCmdQueueThread::ExitInstance();
        ended.SetEvent();
        return code;
    }
};

} // namespace

TEST_F(QueueThread, RunsCommandsOnAThreadOfItsOwnAndEndsWithIt)
{
    CTLAsyncCmdQueueThread thread(2);
    EXPECT_EQ(thread.GetPriorities(), 2U);
    EXPECT_FALSE(thread.m_bAutoDelete);
    EXPECT_NE(thread.m_pMainWnd, nullptr);
    EXPECT_FALSE(thread.Created());
    EXPECT_FALSE(thread.IsAlive());
    for (int round = 0; round < 3; ++round)
    {
        protocol.Take();
        ASSERT_TRUE(thread.Create());
        EXPECT_FALSE(thread.Create()) << "one thread at a time";
        EXPECT_TRUE(thread.Created());
        EXPECT_TRUE(thread.IsAlive());
        EXPECT_FALSE(thread.IsInThreadCtx());
        thread.SetQueueName(L"worker");
        DWORD id = 0;
        HRESULT apartment = S_OK;
        Cmd look(protocol, "look",
                 [&]
                 {
                     id = ::GetCurrentThreadId();
                     EXPECT_TRUE(thread.IsInThreadCtx());
                     EXPECT_EQ(AfxGetThread(), &thread);
                     apartment = ::CoInitialize(nullptr); // S_FALSE: it is in one already
                     ::CoUninitialize();
                 });
        thread.SendCmd(look);
        EXPECT_EQ(id, thread.m_nThreadID);
        EXPECT_EQ(apartment, S_FALSE);
        thread.AddQueueLock();
        thread.QueueCmd(New("b"), 1);
        thread.QueueCmd(New("a"), 0);
        thread.ReleaseQueueLock();
        thread.Destroy(false);
        EXPECT_FALSE(thread.Created());
        EXPECT_FALSE(thread.IsAlive());
        EXPECT_FALSE(thread.IsInThreadCtx());
        EXPECT_EQ(protocol.Take(), "+look +a ~a +b ~b");
        thread.Destroy(false);
    }
}

TEST_F(QueueThread, DiscardsWhatWaits)
{
    CTLAsyncCmdQueueThread thread;
    thread.QueueCmd(New("early"), 0);
    ASSERT_TRUE(thread.Create());
    EXPECT_EQ(thread.GetQueueSize(), 1U) << "starts with the next command";
    thread.AddQueueLock();
    thread.QueueCmd(New("a"), 0);
    thread.Destroy(true);
    EXPECT_EQ(protocol.Take(), "-early -a ~early ~a");
    thread.QueueCmd(New("late"), 0);
    EXPECT_EQ(protocol.Take(), "");
}

TEST_F(QueueThread, ANeverStartedThreadCancelsItsCommands)
{
    {
        CTLAsyncCmdQueueThread thread;
        thread.QueueCmd(New("a"), 0);
        thread.Destroy(false); // no thread: nothing to do
        EXPECT_EQ(protocol.Take(), "");
    }
    EXPECT_EQ(protocol.Take(), "-a ~a");
    auto * const heap = new CTLAsyncCmdQueueThread;
    heap->QueueCmd(New("b"), 0);
    CTLAsyncCmdQueueThread::DestroyThread(heap, false);
    EXPECT_EQ(protocol.Take(), "-b ~b");
    CTLAsyncCmdQueueThread::DestroyThread(nullptr, false);
}

TEST_F(QueueThread, DeletesItselfAfterDestroyThread)
{
    for (bool const discard : {false, true})
    {
        CTLEvent deleted;
        auto * const thread = new Watched(deleted);
        ASSERT_TRUE(thread->Create());
        thread->m_bAutoDelete = discard; // set already, or not
        thread->AddQueueLock();
        thread->QueueCmd(New("a"), 0);
        if (!discard)
            thread->ReleaseQueueLock();
        CTLAsyncCmdQueueThread::DestroyThread(thread, discard);
        EXPECT_TRUE(deleted.Lock(60000));
        EXPECT_EQ(protocol.Take(), discard ? "-a ~a" : "+a ~a");
    }
}

TEST_F(QueueThread, EndsFromItsOwnCommand)
{
    // Destroy does not wait for the thread that calls it.
    CTLAsyncCmdQueueThread thread;
    ASSERT_TRUE(thread.Create());
    CTLEvent done;
    thread.AddQueueLock();
    thread.QueueCmd(New("b"), 0);
    thread.QueueCmd(New("a",
                        [&]
                        {
                            thread.Destroy(true);
                            done.SetEvent();
                        }),
                    ~0UL);
    done.Lock();
    while (thread.Created())
        std::this_thread::yield();
    EXPECT_FALSE(thread.IsAlive());
    EXPECT_EQ(protocol.Take(), "+a -b ~b ~a");

    // And DestroyThread deletes the object at the thread's end.
    CTLEvent deleted;
    auto * const heap = new Watched(deleted);
    ASSERT_TRUE(heap->Create());
    heap->QueueCmd(New("c", [&] { CTLAsyncCmdQueueThread::DestroyThread(heap, false); }), 0);
    EXPECT_TRUE(deleted.Lock(60000));
}

TEST_F(QueueThread, TheCallerOfDestroyKeepsTakingMessages)
{
    CTLAsyncCmdQueue here;
    here.Create();
    CTLAsyncCmdQueueThread thread;
    ASSERT_TRUE(thread.Create());
    CTLEvent asking;
    Cmd answer(protocol, "answer");
    // The thread's last command waits for the caller, who is in Destroy.
    thread.QueueCmd(New("ask",
                        [&]
                        {
                            asking.SetEvent();
                            here.SendCmd(answer);
                        }),
                    0);
    asking.Lock();
    thread.Destroy(true);
    EXPECT_EQ(protocol.Take(), "+ask +answer ~ask");
}

TEST_F(QueueThread, ItsOwnMessagesAreNoReasonForIdleWork)
{
    CTLAsyncCmdQueueThread thread;
    MSG message{};
    message.message = 0x8002;
    EXPECT_FALSE(thread.IsIdleMessage(&message));
    message.message = 0x8001;
    EXPECT_TRUE(thread.IsIdleMessage(&message));
    EXPECT_TRUE(thread.OnIdle(0));
    EXPECT_FALSE(thread.OnIdle(1));
}

TEST_F(QueueThread, AThreadStartedSuspendedKeepsItsCreatorUntilItRuns)
{
    CTLAsyncCmdQueueThread thread;
    std::thread creator([&] { EXPECT_TRUE(thread.Create(CREATE_SUSPENDED)); });
    while (!thread.Created())
        std::this_thread::yield();
    while (::ResumeThread(thread.m_hThread) != 1)
        std::this_thread::yield();
    creator.join();
    Cmd own(protocol, "own");
    thread.SendCmd(own);
    thread.Destroy(true);
    EXPECT_EQ(protocol.Take(), "+own");
}

TEST_F(QueueThread, AThreadThatEntersNoApartmentKeepsItsCreatorForGood)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    // In a program of its own, for nobody lets the creator go.
    EXPECT_EXIT(
        {
            Refused thread;
            Sleeper creator([&] { thread.Create(); });
            thread.ended.Lock();
            creator.AwaitAsleep();
            ::_exit(creator.Done() ? 1 : 0);
        },
        ::testing::ExitedWithCode(0), "");
}

#include "qvlib/framework/winthread.h"
#include "qvlib/framework/wnd.h"

#include "host/message_thread.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <mutex>
#include <string>

namespace
{

using test::Event;

constexpr UINT kCall = WM_APP; // wParam is a function to call on the thread
constexpr UINT kChange = WM_APP + 2;

/// Calls what it is sent, and notes what the framework calls.
class Worker : public CWinThread
{
public:
    explicit Worker(std::string * log = nullptr, Event * gone = nullptr) : m_log(log), m_gone(gone)
    {
        m_bAutoDelete = FALSE;
    }
    ~Worker() override
    {
        Log("~");
        if (m_gone != nullptr)
            m_gone->Set();
    }

    BOOL InitInstance() override
    {
        EXPECT_EQ(AfxGetThread(), this);
        EXPECT_EQ(m_nThreadID, GetCurrentThreadId());
        EXPECT_NE(m_hThread, nullptr);
        Log("init ");
        return m_starts;
    }
    BOOL PreTranslateMessage(MSG * message) override
    {
        if (message->message == kChange)
            message->lParam *= 2;
        if (message->message != kCall)
            return CWinThread::PreTranslateMessage(message);
        (*reinterpret_cast<std::function<void()> *>(message->wParam))();
        return TRUE;
    }
    BOOL OnIdle(LONG count) override
    {
        Log("idle" + std::to_string(count) + " ");
        BOOL const more = CWinThread::OnIdle(count);
        if (more == FALSE && m_idle != nullptr)
            m_idle->Set();
        return more;
    }
    BOOL IsIdleMessage(MSG * message) override
    {
        return message->message != WM_APP + 1 ? CWinThread::IsIdleMessage(message) : FALSE;
    }
    int ExitInstance() override
    {
        Log("exit ");
        if (m_clears)
        {
            m_hThread = nullptr;
            m_nThreadID = 0;
        }
        return CWinThread::ExitInstance();
    }

    void Call(std::function<void()> & function)
    {
        EXPECT_TRUE(PostThreadMessage(kCall, reinterpret_cast<WPARAM>(&function), 0));
    }
    void Log(std::string const & text)
    {
        if (m_log != nullptr)
            *m_log += text;
    }

    BOOL m_starts = TRUE;
    bool m_clears = false;
    Event * m_idle = nullptr;

private:
    std::string * m_log;
    Event * m_gone;
};

DWORD ExitCode(HANDLE thread)
{
    DWORD code = 0;
    EXPECT_EQ(WaitForSingleObject(thread, INFINITE), WAIT_OBJECT_0);
    EXPECT_TRUE(GetExitCodeThread(thread, &code));
    return code;
}

} // namespace

TEST(WinThread, CallsItsHooksInOrder)
{
    std::string log;
    Event idle;
    {
        Worker worker(&log);
        EXPECT_FALSE(worker.PostThreadMessage(WM_NULL, 0, 0));
        EXPECT_FALSE(worker.DeleteWhenEnded());
        worker.m_idle = &idle;
        ASSERT_TRUE(worker.CreateThread());
        EXPECT_FALSE(worker.CreateThread()); // there is one
        idle.Wait();
        std::function<void()> call = [&] { worker.Log("call "); };
        worker.Call(call);
        idle.Wait();
        Event seen;
        std::function<void()> after = [&] { seen.Set(); };
        worker.PostThreadMessage(WM_APP + 1, 0, 0); // no idle work behind this
        worker.Call(after);
        seen.Wait();
        idle.Wait();
        worker.PostThreadMessage(WM_QUIT, 17, 0);
        EXPECT_EQ(ExitCode(worker.m_hThread), 17U);
    }
    EXPECT_EQ(log, "init idle0 idle1 call idle0 idle1 idle0 idle1 exit ~");

    log.clear();
    Worker refuses(&log);
    refuses.m_starts = FALSE;
    ASSERT_TRUE(refuses.CreateThread());
    EXPECT_EQ(ExitCode(refuses.m_hThread), 0U);
    EXPECT_EQ(log, "init exit ");
    EXPECT_EQ(AfxGetThread(), nullptr); // here none of them runs
}

TEST(WinThread, AnEndedThreadMakesRoomOnceItsHandleIsCleared)
{
    Worker worker;
    worker.m_clears = true;
    HANDLE const first = (worker.CreateThread(), worker.m_hThread.load());
    worker.PostThreadMessage(WM_QUIT, 0, 0);
    EXPECT_EQ(ExitCode(first), 0U); // the copy stays good
    EXPECT_EQ(worker.m_hThread, nullptr);
    ASSERT_TRUE(worker.CreateThread());
    HANDLE const second = worker;
    EXPECT_NE(second, first);
    EXPECT_EQ(WaitForSingleObject(first, 0), WAIT_FAILED); // closed by now
    worker.PostThreadMessage(WM_QUIT, 0, 0);
    ExitCode(second);
}

TEST(WinThread, WhoSeesTheClearedHandleMayDeleteTheObject)
{
    for (int i = 0; i < 200; ++i)
    {
        auto worker = std::make_unique<Worker>();
        worker->m_clears = true;
        ASSERT_TRUE(worker->CreateThread());
        worker->PostThreadMessage(WM_QUIT, 0, 0);
        while (worker->m_hThread != nullptr)
            SwitchToThread();
    }
}

TEST(WinThread, DeletesItselfJustOnce)
{
    Event gone;
    auto * automatic = new Worker(nullptr, &gone);
    automatic->m_bAutoDelete = TRUE;
    ASSERT_TRUE(automatic->CreateThread(CREATE_SUSPENDED));
    DWORD const id = automatic->m_nThreadID;
    EXPECT_EQ(automatic->ResumeThread(), 1U);
    EXPECT_TRUE(PostThreadMessageW(id, WM_QUIT, 0, 0));
    gone.Wait();

    // Asked for while the thread may end at any moment: either the thread deletes the object or the asker does.
    for (int i = 0; i < 200; ++i)
    {
        auto * worker = new Worker(nullptr, &gone);
        ASSERT_TRUE(worker->CreateThread());
        worker->PostThreadMessage(WM_QUIT, 0, 0);
        for (int spin = 0; spin < i * 100; ++spin)
            std::atomic_signal_fence(std::memory_order_seq_cst);
        if (!worker->DeleteWhenEnded())
            delete worker;
        gone.Wait();
    }
}

TEST(WinThread, AChangedMessageIsDeliveredAsChanged)
{
    Worker worker;
    ASSERT_TRUE(worker.CreateThread());
    LPARAM delivered = 0;
    test::Procedure procedure = [&](HWND window, UINT message, WPARAM, LPARAM lParam)
    {
        if (message == kChange)
        {
            delivered = lParam;
            DestroyWindow(window);
        }
        return 0;
    };
    std::function<void()> call = [&]
    {
        PostMessageW(test::NewWindow(&procedure), kChange, 0, 21);
        PostThreadMessageW(GetCurrentThreadId(), WM_QUIT, 0, 0);
    };
    worker.Call(call);
    EXPECT_EQ(ExitCode(worker.m_hThread), 0U);
    EXPECT_EQ(delivered, 42);
}

TEST(WinThread, AMessageMayDeleteTheObjectOfItsThread)
{
    std::string log;
    Event gone;
    auto * worker = new Worker(&log, &gone);
    ASSERT_TRUE(worker->CreateThread(CREATE_SUSPENDED));
    HANDLE thread = nullptr;
    ASSERT_TRUE(DuplicateHandle(GetCurrentProcess(), worker->m_hThread, GetCurrentProcess(), &thread, 0, FALSE,
                                DUPLICATE_SAME_ACCESS));
    std::function<void()> call = [worker] { delete worker; };
    worker->Call(call);
    worker->ResumeThread();
    gone.Wait();
    EXPECT_EQ(ExitCode(thread), 0U);
    EXPECT_EQ(log, "init ~");
    CloseHandle(thread);
}

TEST(WinThread, AThreadThatNeverRanEndsWithItsObject)
{
    std::string log;
    {
        Worker worker(&log);
        ASSERT_TRUE(worker.CreateThread(CREATE_SUSPENDED));
    }
    EXPECT_EQ(log, "~");
}

TEST(WinThread, RunsAFunctionInPlaceOfTheLoop)
{
    struct Job
    {
        Event done;
        CWinThread * seen = nullptr;
    } job;
    AFX_THREADPROC const work = [](LPVOID parameter) -> UINT
    {
        auto & mine = *static_cast<Job *>(parameter);
        mine.seen = AfxGetThread();
        mine.done.Set();
        return 23;
    };
    CWinThread * const thread = AfxBeginThread(work, &job, 0, 0, CREATE_SUSPENDED);
    ASSERT_NE(thread, nullptr);
    thread->m_bAutoDelete = FALSE;
    thread->ResumeThread();
    EXPECT_EQ(ExitCode(thread->m_hThread), 23U);
    EXPECT_EQ(job.seen, thread);
    EXPECT_TRUE(thread->IsKindOf(RUNTIME_CLASS(CCmdTarget)));
    delete thread;
    job.done.Wait();
    EXPECT_NE(AfxBeginThread(work, &job), nullptr);
    job.done.Wait();
}

TEST(Wnd, OwnsTheWindowThatIsAttached)
{
    test::Procedure procedure = [](HWND, UINT, WPARAM, LPARAM lParam) { return lParam + 1; };
    HWND const window = test::NewWindow(&procedure);
    {
        CWnd wnd;
        EXPECT_FALSE(wnd.PostMessage(kCall) || wnd.SendMessage(kCall) != 0 || wnd.DestroyWindow());
        EXPECT_FALSE(wnd.Attach(nullptr));
        EXPECT_TRUE(wnd.Attach(window));
        EXPECT_FALSE(wnd.Attach(window));
        EXPECT_EQ(wnd.SendMessage(kCall, 0, 41), 42);
        EXPECT_EQ(wnd.Detach(), window);
        EXPECT_EQ(wnd.GetSafeHwnd(), nullptr);
        wnd.Attach(window);
        EXPECT_TRUE(wnd.PostMessage(kCall, 0, 5));
        MSG message;
        ASSERT_TRUE(PeekMessageW(&message, wnd, 0, 0, PM_REMOVE));
        EXPECT_EQ(DispatchMessageW(&message), 6);
    }
    EXPECT_FALSE(IsWindow(window)); // it ended with the object
}

#include "qvlib/host/clock.h"

#include "qvlib/host/crt_time.h"
#include "qvlib/host/mmtimer.h"
#include "support/threads.h"

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <vector>

using qvlib::host::ManualClock;
using qvlib_test::OnThreads;

namespace
{

std::int64_t Counter()
{
    LARGE_INTEGER count{};
    EXPECT_TRUE(QueryPerformanceCounter(&count));
    return count.QuadPart;
}

/// What a timer did: with which id, at which tick count.
struct Call
{
    UINT id;
    DWORD at;
    bool operator==(Call const & other) const { return id == other.id && at == other.at; }
};

/// Collects the calls of timers; does more in each if told so.
struct Calls
{
    std::vector<Call> made;
    void (*then)(Calls &, UINT) = nullptr;
    UINT other = 0;

    DWORD_PTR User() { return reinterpret_cast<DWORD_PTR>(this); }
    static void CALLBACK Take(UINT id, UINT, DWORD_PTR user, DWORD_PTR, DWORD_PTR)
    {
        auto & calls = *reinterpret_cast<Calls *>(user);
        calls.made.push_back({id, timeGetTime()});
        if (calls.then != nullptr)
            calls.then(calls, id);
    }
    UINT Set(UINT delay, UINT flags = TIME_ONESHOT) { return timeSetEvent(delay, 0, Take, User(), flags); }
};

/// Something that happens on another thread.
class Signal
{
public:
    void Give()
    {
        std::lock_guard const lock(m_mutex);
        ++m_count;
        m_given.notify_all();
    }
    void Await(int count = 1)
    {
        std::unique_lock lock(m_mutex);
        m_given.wait(lock, [&] { return m_count >= count; });
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_given;
    int m_count = 0;
};

TEST(Clock, CountersAreMonotonicAndCountOneClock)
{
    LARGE_INTEGER frequency{};
    ASSERT_TRUE(QueryPerformanceFrequency(&frequency));
    EXPECT_EQ(frequency.QuadPart, 10'000'000);
    EXPECT_FALSE(QueryPerformanceFrequency(nullptr));
    EXPECT_FALSE(QueryPerformanceCounter(nullptr));
    for (std::int64_t last = Counter(), i = 0; i < 1000; ++i)
    {
        std::int64_t const before = Counter();
        DWORD const ticks = timeGetTime();
        DWORD const up = qvlib::host::TickCountRoundedUp();
        std::int64_t const after = Counter();
        ASSERT_LE(last, before);
        ASSERT_LE(static_cast<DWORD>(before / 10'000), ticks);
        ASSERT_LE(ticks, static_cast<DWORD>(after / 10'000));
        ASSERT_LE(static_cast<DWORD>((before + 9'999) / 10'000), up);
        last = after;
    }
}

TEST(Clock, AManualOneMovesOnlyByHand)
{
    ManualClock clock(0xFFFFFFFE, 1'000'000, 90);
    EXPECT_THROW(ManualClock(), std::logic_error);
    EXPECT_EQ(GetTickCount(), 0xFFFFFFFE);
    EXPECT_EQ(_time64(nullptr), 1'000'000);
    std::int64_t const start = Counter();

    clock.AdvanceCounts(1); // a tenth of a microsecond into the millisecond
    EXPECT_EQ(timeGetTime(), 0xFFFFFFFE);
    EXPECT_EQ(qvlib::host::TickCountRoundedUp(), 0xFFFFFFFF);
    EXPECT_EQ(Counter(), start + 1);
    clock.AdvanceCounts(9'999);
    EXPECT_EQ(qvlib::host::TickCountRoundedUp(), timeGetTime());
    clock.Advance(2);
    EXPECT_EQ(timeGetTime(), 1U) << "it has 32 bits";
    clock.Advance(-5);
    EXPECT_EQ(timeGetTime(), 1U);
    clock.Advance(996);
    EXPECT_EQ(_time64(nullptr), 1'000'000);
    clock.Advance(1);
    EXPECT_EQ(_time64(nullptr), 1'000'001);
    EXPECT_EQ(Counter(), start + 10'000'000);

    clock.StepWallClock(-3600);
    EXPECT_EQ(_time64(nullptr), 1'000'001 - 3600);
    clock.SetWallClock(-1);
    EXPECT_EQ(_time64(nullptr), -1);
    clock.Advance(999);
    EXPECT_EQ(_time64(nullptr), -1);
    clock.SetTickCount(7);
    clock.Advance(1);
    EXPECT_EQ(GetTickCount(), 8U);
    EXPECT_EQ(_time64(nullptr), 0);
}

TEST(Timers, RefuseWhatTheyCannotDo)
{
    TIMECAPS caps{};
    EXPECT_EQ(timeGetDevCaps(&caps, sizeof caps), TIMERR_NOERROR);
    EXPECT_EQ(caps.wPeriodMin, 1U);
    EXPECT_EQ(caps.wPeriodMax, 1'000'000U);
    EXPECT_EQ(timeGetDevCaps(nullptr, sizeof caps), TIMERR_NOCANDO);
    EXPECT_EQ(timeGetDevCaps(&caps, sizeof caps - 1), TIMERR_NOCANDO);
    EXPECT_EQ(timeBeginPeriod(1), TIMERR_NOERROR);
    EXPECT_EQ(timeEndPeriod(1), TIMERR_NOERROR);
    EXPECT_EQ(timeBeginPeriod(0), TIMERR_NOCANDO);
    EXPECT_EQ(timeEndPeriod(1'000'001), TIMERR_NOCANDO);

    ManualClock clock;
    Calls calls;
    EXPECT_EQ(calls.Set(0), 0U);
    EXPECT_EQ(calls.Set(1'000'001), 0U);
    EXPECT_EQ(calls.Set(1, 0x10), 0U);
    EXPECT_EQ(timeSetEvent(1, 0, nullptr, 0, 0), 0U);
    EXPECT_EQ(timeKillEvent(0), MMSYSERR_INVALPARAM);
    EXPECT_EQ(timeKillEvent(0xFFFFFFFF), MMSYSERR_INVALPARAM);
    EXPECT_EQ(clock.PendingTimers(), 0U);
}

TEST(Timers, ComeDueInOrderAtTheirVeryMoments)
{
    ManualClock clock(100);
    Calls calls;
    UINT const late = calls.Set(30);
    UINT const first = calls.Set(10);
    UINT const second = calls.Set(10);
    UINT const periodic = calls.Set(12, TIME_PERIODIC);
    UINT const ended = calls.Set(20);
    EXPECT_EQ(timeKillEvent(ended), TIMERR_NOERROR);
    EXPECT_EQ(timeKillEvent(ended), MMSYSERR_INVALPARAM);
    clock.Advance(9);
    EXPECT_TRUE(calls.made.empty());
    clock.Advance(27);
    EXPECT_EQ(calls.made,
              (std::vector<Call>{
                  {first, 110}, {second, 110}, {periodic, 112}, {periodic, 124}, {late, 130}, {periodic, 136}}));
    EXPECT_EQ(timeKillEvent(first), MMSYSERR_INVALPARAM) << "it has fired";
    EXPECT_TRUE(clock.AdvanceToNextTimer());
    EXPECT_EQ(calls.made.back(), (Call{periodic, 148}));
    EXPECT_EQ(timeKillEvent(periodic), TIMERR_NOERROR);
    EXPECT_FALSE(clock.AdvanceToNextTimer());
    EXPECT_EQ(timeGetTime(), 148U);
    EXPECT_NE(calls.Set(1), ended) << "ids do not come again soon";
    clock.Advance(1);
}

TEST(Timers, ACallbackMaySetAndCancelAndMoveTheClock)
{
    ManualClock clock;
    Calls calls;
    calls.then = [](Calls & all, UINT id)
    {
        if (all.made.size() == 1)
            all.other = all.Set(5); // takes part in the same move
        else if (id == all.other)
            EXPECT_EQ(timeKillEvent(id), MMSYSERR_INVALPARAM); // itself, and it has fired
        else
            EXPECT_EQ(timeKillEvent(id), TIMERR_NOERROR); // itself, periodic
    };
    UINT const periodic = calls.Set(10, TIME_PERIODIC | TIME_KILL_SYNCHRONOUS);
    clock.Advance(100);
    EXPECT_EQ(calls.made, (std::vector<Call>{{periodic, 10}, {calls.other, 15}, {periodic, 20}}));
    EXPECT_EQ(clock.PendingTimers(), 0U);

    // A callback that takes its time: what comes due meanwhile waits for it.
    static ManualClock * s_clock;
    s_clock = &clock;
    Calls slow;
    slow.then = [](Calls & all, UINT)
    {
        if (all.made.size() == 1)
            s_clock->Advance(50);
    };
    UINT const a = slow.Set(1);
    UINT const b = slow.Set(30);
    clock.Advance(2);
    EXPECT_EQ(slow.made, (std::vector<Call>{{a, 101}, {b, 151}}));

    // One that throws ends the move, and the timers are as sound as before.
    Calls bad;
    bad.then = [](Calls &, UINT) { throw std::runtime_error("bad"); };
    bad.Set(1);
    UINT const c = slow.Set(2);
    EXPECT_THROW(clock.Advance(10), std::runtime_error);
    EXPECT_EQ(timeGetTime(), 152U);
    clock.Advance(10);
    EXPECT_EQ(slow.made.back(), (Call{c, 153}));
}

TEST(Timers, CancellingWaitsForARunningCallbackThatAsksForIt)
{
    struct Slow
    {
        Signal begun;
        Signal mayEnd;
        bool ended = false; // not atomic: cancelling is what orders it
        static void CALLBACK Run(UINT, UINT, DWORD_PTR user, DWORD_PTR, DWORD_PTR)
        {
            auto & slow = *reinterpret_cast<Slow *>(user);
            slow.begun.Give();
            slow.mayEnd.Await();
            slow.ended = true;
        }
    };
    for (UINT const repeat : {TIME_ONESHOT, TIME_PERIODIC})
    {
        Slow slow;
        UINT const id =
            timeSetEvent(1, 0, Slow::Run, reinterpret_cast<DWORD_PTR>(&slow), repeat | TIME_KILL_SYNCHRONOUS);
        ASSERT_NE(id, 0U);
        slow.begun.Await();
        std::thread helper([&] { slow.mayEnd.Give(); });
        timeKillEvent(id); // waits, or comes after the end
        EXPECT_TRUE(slow.ended);
        helper.join();
    }
    // Without the flag the call comes back while the callback is still running.
    Slow slow;
    UINT const id = timeSetEvent(1, 0, Slow::Run, reinterpret_cast<DWORD_PTR>(&slow), TIME_ONESHOT);
    slow.begun.Await();
    EXPECT_EQ(timeKillEvent(id), MMSYSERR_INVALPARAM);
    slow.mayEnd.Give();
    Signal called;
    UINT const next = timeSetEvent(
        1, 0, [](UINT, UINT, DWORD_PTR user, DWORD_PTR, DWORD_PTR) { reinterpret_cast<Signal *>(user)->Give(); },
        reinterpret_cast<DWORD_PTR>(&called), TIME_KILL_SYNCHRONOUS);
    called.Await();
    timeKillEvent(next);
}

TEST(Timers, ThoseThatWaitOutliveAChangeOfClocks)
{
    Calls calls;
    UINT const id = calls.Set(900'000);
    UINT left = 0;
    {
        ManualClock clock;
        EXPECT_EQ(clock.PendingTimers(), 1U);
        clock.Advance(899'000 - 60'000); // a minute in which to come here
        EXPECT_TRUE(calls.made.empty());
        clock.Advance(61'000);
        ASSERT_EQ(calls.made.size(), 1U);
        EXPECT_EQ(calls.made[0].id, id);
        left = calls.Set(900'000);
    }
    EXPECT_EQ(timeKillEvent(left), TIMERR_NOERROR);
}

TEST(Timers, RealOnesAreNeverEarly)
{
    struct Real
    {
        std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
        std::chrono::milliseconds delay{};
        int calls = 0;
        bool early = false;
        Signal called;
    };
    auto const take = [](UINT, UINT, DWORD_PTR user, DWORD_PTR, DWORD_PTR)
    {
        auto & real = *reinterpret_cast<Real *>(user);
        real.early |= std::chrono::steady_clock::now() - real.start < ++real.calls * real.delay;
        real.called.Give();
    };
    std::vector<Real> timers(12);
    std::vector<UINT> ids;
    for (std::size_t i = 0; i < timers.size(); ++i)
    {
        timers[i].delay = std::chrono::milliseconds(1 + i * 3);
        timers[i].start = std::chrono::steady_clock::now();
        ids.push_back(timeSetEvent(static_cast<UINT>(timers[i].delay.count()), 0, take,
                                   reinterpret_cast<DWORD_PTR>(&timers[i]),
                                   (i % 2 == 0 ? TIME_PERIODIC : TIME_ONESHOT) | TIME_KILL_SYNCHRONOUS));
    }
    for (std::size_t i = 0; i < timers.size(); ++i)
        timers[i].called.Await(i % 2 == 0 ? 3 : 1);
    for (UINT const id : ids)
        timeKillEvent(id);
    for (Real const & timer : timers)
    {
        EXPECT_FALSE(timer.early);
        EXPECT_LT(std::chrono::steady_clock::now() - timer.start, std::chrono::seconds(20));
    }
}

TEST(TimersDeathTest, DoNotKeepAProcessFromEnding)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    auto const nothing = [](UINT, UINT, DWORD_PTR, DWORD_PTR, DWORD_PTR) {};
    auto const end = [](UINT, UINT, DWORD_PTR, DWORD_PTR, DWORD_PTR) { std::exit(4); };
    EXPECT_EXIT(
        {
            timeSetEvent(1, 0, nothing, 0, TIME_PERIODIC);
            timeSetEvent(900'000, 0, nothing, 0, TIME_ONESHOT);
            std::exit(3);
        },
        testing::ExitedWithCode(3), "");
    EXPECT_EXIT(
        {
            timeSetEvent(1, 0, end, 0, TIME_ONESHOT); // on the timer thread itself
            Signal().Await();
        },
        testing::ExitedWithCode(4), "");
}

TEST(Timers, SetAndCancelledByManyThreadsLeaveNothingBehind)
{
    OnThreads(4,
              [](int)
              {
                  for (int i = 0; i < 500; ++i)
                  {
                      int calls = 0; // gone with this round: a callback after the cancelling would be seen
                      auto const take = [](UINT, UINT, DWORD_PTR user, DWORD_PTR, DWORD_PTR)
                      { ++*reinterpret_cast<int *>(user); };
                      UINT const id = timeSetEvent(1, 0, take, reinterpret_cast<DWORD_PTR>(&calls),
                                                   TIME_PERIODIC | TIME_KILL_SYNCHRONOUS);
                      if (i % 50 == 0)
                          std::this_thread::yield();
                      timeKillEvent(id);
                  }
              });
    ManualClock const clock;
    EXPECT_EQ(clock.PendingTimers(), 0U);
}

} // namespace

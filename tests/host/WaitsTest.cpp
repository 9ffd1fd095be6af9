#include "qvlib/host/error.h"
#include "qvlib/host/sync.h"
#include "qvlib/host/thread.h"
#include "support/asleep.h"
#include "support/threads.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <deque>
#include <thread>
#include <vector>

using qvlib_test::OnThreads;
using qvlib_test::Sleeper;

namespace
{

using Clock = std::chrono::steady_clock;
constexpr DWORD kLong = 60'000; ///< the end of a wait that should long have ended

/// Events of the same kind, closed at the end.
class EventSet
{
public:
    explicit EventSet(std::size_t count, BOOL manual = FALSE, BOOL initial = FALSE)
    {
        for (std::size_t i = 0; i < count; ++i)
            m_events.push_back(CreateEventW(nullptr, manual, initial, nullptr));
    }
    ~EventSet()
    {
        for (HANDLE const event : m_events)
            CloseHandle(event);
    }
    HANDLE operator[](std::size_t i) const { return m_events[i]; }
    HANDLE const * data() const { return m_events.data(); }
    bool IsSet(std::size_t i) const
    {
        bool const set = WaitForSingleObject(m_events[i], 0) == WAIT_OBJECT_0;
        if (set)
            SetEvent(m_events[i]);
        return set;
    }

private:
    std::vector<HANDLE> m_events;
};

} // namespace

TEST(Waits, AnyTakesTheLowestIndexAndNothingElse)
{
    for (DWORD const count : {1U, 2U, 10U, MAXIMUM_WAIT_OBJECTS})
    {
        EventSet const events(count);
        EXPECT_EQ(WaitForMultipleObjects(count, events.data(), FALSE, 0), WAIT_TIMEOUT);
        for (DWORD i = 0; i < count; i += 2)
            SetEvent(events[i]);
        for (DWORD i = 0; i < count; i += 2)
            EXPECT_EQ(WaitForMultipleObjects(count, events.data(), FALSE, INFINITE), WAIT_OBJECT_0 + i);
        EXPECT_EQ(WaitForMultipleObjects(count, events.data(), FALSE, 1), WAIT_TIMEOUT);
    }
}

TEST(Waits, AllTakesNothingUntilItCanTakeEverything)
{
    for (DWORD const count : {1U, 2U, 10U, MAXIMUM_WAIT_OBJECTS})
    {
        EventSet const events(count);
        for (DWORD missing = 0; missing < count; missing += 7)
        {
            for (DWORD i = 0; i < count; ++i)
                (i == missing ? ResetEvent : SetEvent)(events[i]);
            EXPECT_EQ(WaitForMultipleObjects(count, events.data(), TRUE, missing % 2), WAIT_TIMEOUT);
            for (DWORD i = 0; i < count; ++i)
                EXPECT_EQ(events.IsSet(i), i != missing);
        }
        for (DWORD i = 0; i < count; ++i)
            SetEvent(events[i]);
        EXPECT_EQ(WaitForMultipleObjects(count, events.data(), TRUE, INFINITE), WAIT_OBJECT_0);
        EXPECT_EQ(WaitForMultipleObjects(count, events.data(), FALSE, 0), WAIT_TIMEOUT);
    }
}

TEST(Waits, AllIsMetAtOneMomentOnly)
{
    EventSet const events(3);
    DWORD result = WAIT_FAILED;
    Sleeper waiter([&] { result = WaitForMultipleObjects(3, events.data(), TRUE, kLong); });
    waiter.AwaitAsleep();
    SetEvent(events[0]);
    ResetEvent(events[0]);
    SetEvent(events[1]);
    SetEvent(events[2]);
    // What the wait does not have yet, others take.
    EXPECT_EQ(WaitForSingleObject(events[1], 0), WAIT_OBJECT_0);
    SetEvent(events[0]);
    waiter.AwaitAsleep();
    EXPECT_FALSE(waiter.Done());
    SetEvent(events[1]);
    waiter.Join();
    EXPECT_EQ(result, WAIT_OBJECT_0);
    EXPECT_EQ(WaitForMultipleObjects(3, events.data(), FALSE, 0), WAIT_TIMEOUT);
}

TEST(Waits, RefuseWhatCannotBeWaitedFor)
{
    EventSet const events(65);
    auto const fails = [](DWORD count, HANDLE const * handles, BOOL all, LSTATUS status)
    {
        SetLastError(0);
        return WaitForMultipleObjects(count, handles, all, 0) == WAIT_FAILED &&
               GetLastError() == static_cast<DWORD>(status);
    };
    EXPECT_TRUE(fails(0, events.data(), FALSE, ERROR_INVALID_PARAMETER));
    EXPECT_TRUE(fails(65, events.data(), FALSE, ERROR_INVALID_PARAMETER));
    EXPECT_TRUE(fails(2, nullptr, FALSE, ERROR_INVALID_PARAMETER));
    EXPECT_TRUE(fails(0xFFFFFFFF, events.data(), TRUE, ERROR_INVALID_PARAMETER));
    // The same object twice, by one handle or by two, can't be all there; any of them can.
    HANDLE copy = nullptr;
    DuplicateHandle(GetCurrentProcess(), events[0], GetCurrentProcess(), &copy, 0, FALSE, 0);
    for (HANDLE const again : {events[0], copy})
    {
        std::array<HANDLE, 3> const handles{events[0], events[1], again};
        SetEvent(events[0]);
        SetEvent(events[1]);
        EXPECT_TRUE(fails(3, handles.data(), TRUE, ERROR_INVALID_PARAMETER));
        EXPECT_EQ(WaitForMultipleObjects(3, handles.data(), FALSE, 0), WAIT_OBJECT_0);
        EXPECT_EQ(WaitForMultipleObjects(3, handles.data(), FALSE, 0), WAIT_OBJECT_0 + 1);
        EXPECT_EQ(WaitForMultipleObjects(3, handles.data(), FALSE, 1), WAIT_TIMEOUT);
    }
    // A handle that isn't one is found before anything is taken.
    SetEvent(events[0]);
    CloseHandle(copy);
    std::array<HANDLE, 2> const bad{events[0], copy};
    EXPECT_TRUE(fails(2, bad.data(), FALSE, ERROR_INVALID_HANDLE));
    EXPECT_TRUE(fails(2, bad.data(), TRUE, ERROR_INVALID_HANDLE));
    EXPECT_TRUE(events.IsSet(0));
}

TEST(Waits, ASignalGoesToThoseWhoWaitInTheirOrder)
{
    EventSet const automatic(1);
    std::atomic<int> released{0};
    std::array<int, 3> place{};
    {
        std::deque<Sleeper> waiters;
        for (int & mine : place)
        {
            waiters.emplace_back(
                [&]
                {
                    EXPECT_EQ(WaitForSingleObject(automatic[0], kLong), WAIT_OBJECT_0);
                    mine = ++released;
                });
            waiters.back().AwaitAsleep();
        }
        for (Sleeper & waiter : waiters)
        {
            SetEvent(automatic[0]);
            EXPECT_EQ(WaitForSingleObject(automatic[0], 0), WAIT_TIMEOUT); // handed over, nothing is left to take
            waiter.Join();
        }
    }
    EXPECT_EQ(place, (std::array<int, 3>{1, 2, 3}));
}

TEST(Waits, SetAndResetAtOnceLetsEveryWaiterOfAManualEventThrough)
{
    EventSet const manual(1, TRUE);
    std::atomic<int> released{0};
    std::deque<Sleeper> waiters;
    for (int i = 0; i < 20; ++i)
        waiters.emplace_back([&] { released += WaitForSingleObject(manual[0], kLong) == WAIT_OBJECT_0; });
    for (Sleeper & waiter : waiters)
        waiter.AwaitAsleep();
    SetEvent(manual[0]);
    ResetEvent(manual[0]);
    for (Sleeper & waiter : waiters)
        waiter.Join();
    EXPECT_EQ(released, 20);
}

TEST(Waits, APulseReleasesWhoWaitsAndLeavesNothing)
{
    for (BOOL const manual : {FALSE, TRUE})
    {
        EventSet const pulsed(1, manual);
        EventSet const other(1, TRUE);
        std::array<HANDLE, 2> const both{pulsed[0], other[0]};
        std::atomic<int> released{0};
        std::deque<Sleeper> waiters;
        for (int i = 0; i < 3; ++i)
            waiters.emplace_back(
                [&, i]
                {
                    DWORD const result = i == 1 ? WaitForMultipleObjects(2, both.data(), FALSE, kLong)
                                                : WaitForSingleObject(pulsed[0], kLong);
                    EXPECT_EQ(result, WAIT_OBJECT_0);
                    ++released;
                });
        waiters.emplace_back([&] { EXPECT_EQ(WaitForMultipleObjects(2, both.data(), TRUE, kLong), WAIT_OBJECT_0); });
        for (Sleeper const & waiter : waiters)
            waiter.AwaitAsleep();
        EXPECT_TRUE(PulseEvent(pulsed[0]));
        EXPECT_EQ(WaitForSingleObject(pulsed[0], 0), WAIT_TIMEOUT);
        if (!manual)
        {
            PulseEvent(pulsed[0]);
            PulseEvent(pulsed[0]);
        }
        for (std::size_t i = 0; i < 3; ++i)
            waiters[i].Join();
        EXPECT_EQ(released, 3);
        EXPECT_FALSE(waiters[3].Done()); // the wait for all lacks the other event

        // Of a wait for all, the pulse is the last part that was missing.
        SetEvent(other[0]);
        PulseEvent(pulsed[0]);
        waiters[3].Join();
        EXPECT_EQ(WaitForSingleObject(pulsed[0], 0), WAIT_TIMEOUT);
    }
}

TEST(Waits, GoOnWhenTheHandleIsClosed)
{
    for (bool const hasCopy : {false, true})
        for (DWORD const count : {1U, 2U})
        {
            EventSet const other(1);
            std::array<HANDLE, 2> const handles{CreateEventW(nullptr, FALSE, FALSE, nullptr), other[0]};
            HANDLE copy = nullptr;
            if (hasCopy)
                DuplicateHandle(GetCurrentProcess(), handles[0], GetCurrentProcess(), &copy, 0, FALSE, 0);
            DWORD result = WAIT_FAILED;
            Sleeper waiter([&]
                           { result = WaitForMultipleObjects(count, handles.data(), FALSE, hasCopy ? kLong : 100); });
            waiter.AwaitAsleep();
            EXPECT_TRUE(CloseHandle(handles[0]));
            EXPECT_FALSE(SetEvent(handles[0]));
            // The place is not used again while somebody waits there.
            HANDLE const anew = CreateEventW(nullptr, TRUE, TRUE, nullptr);
            if (hasCopy)
            {
                EXPECT_TRUE(SetEvent(copy));
                EXPECT_TRUE(CloseHandle(copy));
            }
            waiter.Join();
            EXPECT_EQ(result, hasCopy ? WAIT_OBJECT_0 : WAIT_TIMEOUT);
            CloseHandle(anew);
        }
}

TEST(Waits, NeverEndEarly)
{
    EventSet const events(2);
    for (DWORD const milliseconds : {1U, 2U, 5U, 20U})
        for (int form = 0; form < 4; ++form)
        {
            Clock::time_point const begin = Clock::now();
            if (form == 3)
                Sleep(milliseconds);
            else
                EXPECT_EQ(form == 0 ? WaitForSingleObject(events[0], milliseconds)
                                    : WaitForMultipleObjects(2, events.data(), form == 1, milliseconds),
                          WAIT_TIMEOUT);
            EXPECT_GE(Clock::now() - begin, std::chrono::milliseconds(milliseconds));
        }
}

// Events as the forks of philosophers: a fork is on the table (signalled) or one thread's. Who has it counts in a plain
// variable, so that two at once, or a hand-over without order, show as a lost count or a race.
TEST(Waits, ForAllIsAtomicUnderContention)
{
    constexpr std::size_t kForks = 4;
    constexpr int kMeals = 1500;
    EventSet const forks(kForks, FALSE, TRUE);
    std::array<long, kForks> uses{};
    std::atomic<long> expected{0};
    OnThreads(5,
              [&](int thread)
              {
                  auto const t = static_cast<std::size_t>(thread);
                  for (int meal = 0; meal < kMeals; ++meal)
                  {
                      // Two or three forks at once, in either order; one thread takes any single one; some
                      // give up early.
                      std::size_t const count = t == 4 ? kForks : 2 + t % 2;
                      std::array<HANDLE, kForks> mine{};
                      std::array<std::size_t, kForks> which{};
                      for (std::size_t i = 0; i < count; ++i)
                      {
                          which[i] = (t + (t % 2 == 0 ? i : count - i)) % kForks;
                          mine[i] = forks[which[i]];
                      }
                      bool const all = t != 4;
                      DWORD result = WAIT_TIMEOUT;
                      while (result == WAIT_TIMEOUT)
                          result = WaitForMultipleObjects(static_cast<DWORD>(count), mine.data(), all,
                                                          meal % 5 == 0   ? 0
                                                          : meal % 5 == 1 ? 1
                                                                          : kLong);
                      ASSERT_LT(result, count);
                      for (std::size_t i = all ? 0 : result; i < (all ? count : result + 1); ++i)
                          ++uses[which[i]];
                      expected += static_cast<long>(all ? count : 1);
                      for (std::size_t i = all ? 0 : result; i < (all ? count : result + 1); ++i)
                          SetEvent(mine[i]);
                  }
              });
    long total = 0;
    for (std::size_t i = 0; i < kForks; ++i)
    {
        EXPECT_EQ(WaitForSingleObject(forks[i], 0), WAIT_OBJECT_0);
        total += uses[i];
    }
    EXPECT_EQ(total, expected);
}

TEST(Waits, ThatTimeOutLoseNoSignal)
{
    // Each signal is answered before the next is given; a waiter that gave up must not have taken it along.
    EventSet const events(3);
    EventSet const answered(1);
    std::atomic<bool> stop{false};
    std::vector<std::thread> waiters;
    for (DWORD t = 0; t < 3; ++t)
        waiters.emplace_back(
            [&, t]
            {
                while (!stop)
                    if ((t == 2 ? WaitForSingleObject(events[1], 1)
                                : WaitForMultipleObjects(3, events.data(), FALSE, t)) < WAIT_TIMEOUT)
                        SetEvent(answered[0]);
            });
    for (std::size_t i = 0; i < 600; ++i)
    {
        SetEvent(events[i % 3]);
        ASSERT_EQ(WaitForSingleObject(answered[0], kLong), WAIT_OBJECT_0) << i;
    }
    stop = true;
    for (std::thread & waiter : waiters)
        waiter.join();
}

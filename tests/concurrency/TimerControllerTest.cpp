#include "qvlib/TimerController.h"

#include "qvlib/Exceptions.h"
#include "qvlib/host/clock.h"
#include "qvlib/host/messages.h"
#include "support/allocation_sweep.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

using qvlib::CDateTime;
using qvlib::CTime;
using qvlib::CTimerController;
using qvlib::CTimerItem;
using qvlib::host::ManualClock;

namespace
{

constexpr std::int64_t kNoon = 1'700'049'600; // 15 November 2023, 12:00:00 in GMT
CDateTime const kNoonDate(2023, 11, 15, 12, 0, 0);

/// Event id and tick count of each call.
using Call = std::pair<unsigned long, DWORD>;
using CallList = std::vector<Call>;

struct Target final : qvlib::ITimerEvents
{
    using ITimerEvents::OnTimeElapsed;
    void OnTimeElapsed(CTimerController * controller, unsigned long eventId) override
    {
        calls.emplace_back(eventId, timeGetTime());
        if (then)
            then(*controller, eventId);
    }
    CallList TakeCalls() { return std::exchange(calls, {}); }

    CallList calls;
    std::function<void(CTimerController &, unsigned long)> then;
};

/// What a subclass can see.
class Controller : public CTimerController
{
public:
    using CTimerController::GetNextItemUpdateTime;
    using CTimerController::GetNextUpdateTime;
    using CTimerController::GetTimeToNextUpdate;
    using CTimerController::KillTimer;
    using CTimerController::RebaseTimerController;
    using CTimerController::SetNextUpdateTime;
    using CTimerController::SetTimer;
    using CTimerController::TimerProc;
};

void Pump()
{
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE))
        DispatchMessageW(&message);
}

class TimerController : public testing::Test
{
protected:
    void Start(DWORD tickCount)
    {
        m_clock.emplace(tickCount, kNoon);
        m_timers = std::make_unique<Controller>();
        ASSERT_TRUE(m_timers->Create());
    }
    void SetUp() override { Start(1000); }
    void Restart(DWORD tickCount)
    {
        m_timers.reset();
        m_clock.reset();
        Start(tickCount);
    }
    void TearDown() override
    {
        m_timers.reset();
        EXPECT_EQ(m_clock->PendingTimers(), 0U);
        Pump();
    }

    /// Lets time pass as a thread sees it that is never busy.
    void Pass(std::int64_t milliseconds)
    {
        for (std::int64_t i = 0; i < milliseconds; ++i)
        {
            m_clock->Advance(1);
            Pump();
        }
    }
    /// Lets all timers of the platform fire, one after the other.
    int PassWhileTimersFire(int limit)
    {
        int fired = 0;
        while (fired < limit && m_clock->AdvanceToNextTimer())
        {
            ++fired;
            Pump();
        }
        return fired;
    }
    unsigned long Remaining(unsigned long eventId)
    {
        unsigned long remaining = 4711;
        return m_timers->GetRemainingMilliseconds(&m_target, eventId, remaining) ? remaining : 99'000'000 + remaining;
    }

    std::optional<ManualClock> m_clock;
    std::unique_ptr<Controller> m_timers;
    Target m_target;
};

TEST_F(TimerController, CallsOnceOrAgainAndAgain)
{
    m_timers->SetTimer(&m_target, 1, 10, false);
    m_timers->SetTimer(&m_target, 2, 25, true);
    EXPECT_EQ(m_timers->GetSize(), 2U);
    EXPECT_EQ(m_clock->PendingTimers(), 1U);
    EXPECT_EQ(Remaining(2), 25U);
    Pass(34);
    EXPECT_EQ(m_target.TakeCalls(), (CallList{{1, 1010}, {1, 1020}, {2, 1025}, {1, 1030}}));
    EXPECT_EQ(m_timers->GetSize(), 1U);
    EXPECT_EQ(Remaining(1), 6U);
    EXPECT_EQ(Remaining(2), 99'004'711U) << "gone, and the argument untouched";
    m_timers->KillTimer(&m_target, 2);
    m_timers->KillTimer(&m_target, 1);
    EXPECT_TRUE(m_timers->IsEmpty());
    EXPECT_EQ(m_clock->PendingTimers(), 0U);
    m_timers->KillAllTimers();
    EXPECT_FALSE(m_timers->KillTimers(&m_target));
}

TEST_F(TimerController, ComesInOrderAndLeavesNothingOut)
{
    Target other;
    m_timers->SetTimer(&m_target, 1, 10, false);
    m_timers->SetTimer(&m_target, 2, 20, true);
    m_timers->SetTimer(&other, 1, 20, true);
    m_timers->SetTimer(&m_target, 3, 35, false);
    m_clock->Advance(52); // the thread is busy
    EXPECT_EQ(Remaining(1), 99'000'000U) << "overdue";
    EXPECT_EQ(m_timers->GetTimeToNextUpdate(), 0);
    Pump();
    DWORD const now = 1052;
    // At 1020 three are due, in the order of the items' addresses: that of their making here.
    EXPECT_EQ(m_target.TakeCalls(), (CallList{{1, now}, {1, now}, {2, now}, {1, now}, {3, now}, {1, now}, {1, now}}));
    EXPECT_EQ(other.TakeCalls(), (CallList{{1, now}}));
    EXPECT_EQ(m_timers->GetNextItemUpdateTime(), 1060);
    EXPECT_EQ(m_timers->GetNextUpdateTime(), 1060);
    EXPECT_EQ(m_timers->GetTimeToNextUpdate(), 8);
}

TEST_F(TimerController, IsNeverEarlyForAMomentWithinAMillisecond)
{
    m_clock->AdvanceCounts(1);
    m_timers->SetTimer(&m_target, 1, 10, true);
    Pass(20);
    EXPECT_EQ(m_target.TakeCalls(), (CallList{{1, 1011}}));
}

TEST_F(TimerController, ADelayAboveThePlatformsIsAChainOfTimers)
{
    m_timers->SetTimer(&m_target, 1, 2'500'000, true);
    EXPECT_EQ(PassWhileTimersFire(100), 3);
    EXPECT_EQ(m_target.TakeCalls(), (CallList{{1, 2'501'000}}));
    m_timers->SetTimer(&m_target, 1, 0, true); // the platform's least is 1
    m_clock->Advance(1);
    Pump();
    EXPECT_EQ(m_target.TakeCalls(), (CallList{{1, 2'501'001}}));
}

TEST_F(TimerController, ACallbackFindsItsTimerBroughtUpToDate)
{
    m_timers->SetTimer(&m_target, 1, 10, false);
    m_timers->SetTimer(&m_target, 2, 10, true);
    m_target.then = [&](CTimerController & timers, unsigned long eventId)
    {
        if (eventId == 1)
            EXPECT_EQ(Remaining(1), 10U);
        else
            EXPECT_EQ(Remaining(2), 99'004'711U);
        EXPECT_EQ(timers.GetSize(), eventId == 1 ? 2U : 1U);
    };
    Pass(10);
    EXPECT_EQ(m_target.TakeCalls().size(), 2U);
}

TEST_F(TimerController, ACallbackMayChangeAnyTimer)
{
    m_timers->SetTimer(&m_target, 1, 10, false);
    m_timers->SetTimer(&m_target, 2, 40, true);
    m_target.then = [&](CTimerController & timers, unsigned long eventId)
    {
        switch (eventId)
        {
        case 1:
            timers.KillTimer(&m_target, 1);         // itself
            timers.SetTimer(&m_target, 3, 5, true); // another one
            timers.SetTimer(&m_target, 2, 7, true); // sooner than before
            break;
        case 3:
            timers.SetTimer(&m_target, 4, 0, true); // at once: in the same round
            break;
        case 4:
            timers.SetTimer(&m_target, 5, 1, false);
            break;
        case 5:
            timers.KillAllTimers();
            EXPECT_EQ(m_clock->PendingTimers(), 0U);
            break;
        default:
            break;
        }
    };
    Pass(100);
    EXPECT_EQ(m_target.TakeCalls(), (CallList{{1, 1010}, {3, 1015}, {4, 1015}, {5, 1016}}));
    EXPECT_TRUE(m_timers->IsEmpty());
}

TEST_F(TimerController, ACallbackMayEndTheController)
{
    for (bool const detachOnly : {true, false})
    {
        Restart(1000);
        m_timers->SetTimer(&m_target, 1, 10, false);
        m_timers->SetTimer(&m_target, 2, 10, false);
        m_target.then = [&](CTimerController & timers, unsigned long)
        {
            if (detachOnly)
                CTimerController::PreDestroy(&timers);
            else
                m_timers.reset();
        };
        Pass(30);
        EXPECT_EQ(m_target.TakeCalls(), (CallList{{1, 1010}}));
        EXPECT_EQ(m_clock->PendingTimers(), 0U);
        if (detachOnly)
        {
            EXPECT_FALSE(m_timers->Created());
            EXPECT_TRUE(m_timers->IsEmpty());
        }
    }
    CTimerController::PreDestroy(nullptr);
}

TEST_F(TimerController, ACallbackThatPumpsStartsNoSecondRound)
{
    int depth = 0;
    m_timers->SetTimer(&m_target, 1, 10, false);
    m_timers->SetTimer(&m_target, 2, 12, false);
    m_target.then = [&](CTimerController & timers, unsigned long eventId)
    {
        EXPECT_EQ(++depth, 1);
        if (eventId == 1)
        {
            timers.SetTimer(&m_target, 3, 1, true); // the platform's timer is set for it, and its message pumped here
            m_clock->Advance(3);
            Pump();
        }
        --depth;
    };
    Pass(10);
    EXPECT_EQ(m_target.TakeCalls(), (CallList{{1, 1010}, {3, 1013}, {2, 1013}}));
    m_target.then = nullptr;
    m_clock->Advance(7);
    Pump();
    EXPECT_EQ(m_target.TakeCalls(), (CallList{{1, 1020}})) << "the outer round has set the platform's timer";
}

TEST_F(TimerController, AnExceptionPassesAndTheNextChangeSetsTheTimerAgain)
{
    m_timers->SetTimer(&m_target, 1, 10, false);
    m_timers->SetTimer(&m_target, 3, 10, true); // left over from the same moment
    m_target.then = [](CTimerController &, unsigned long) { throw std::runtime_error("from a callback"); };
    m_clock->Advance(10);
    EXPECT_THROW(Pump(), std::runtime_error);
    EXPECT_EQ(m_clock->PendingTimers(), 0U);
    m_target.then = nullptr;
    m_target.calls.clear();
    m_timers->SetTimer(&m_target, 2, 100, false);
    Pass(10);
    EXPECT_EQ(m_target.TakeCalls(), (CallList{{3, 1011}, {1, 1020}}));
}

TEST_F(TimerController, AFullQueueLosesNoTimer)
{
    m_timers->SetTimer(&m_target, 1, 10, false);
    while (m_timers->PostMessageW(WM_APP + 100, 0, 0))
        continue;
    std::thread([&] { m_clock->Advance(10); }).join(); // as the platform's timer thread does
    EXPECT_TRUE(m_target.calls.empty());
    Pump();
    EXPECT_EQ(m_target.TakeCalls(), (CallList{{1, 1010}}));
}

TEST_F(TimerController, AMessageOfAnEarlierTimerIsStale)
{
    m_timers->SetTimer(&m_target, 1, 10, true);
    m_clock->Advance(10); // posted, not yet taken
    m_timers->SetTimer(&m_target, 1, 10, true);
    Pump();
    EXPECT_TRUE(m_target.calls.empty());
    m_clock->Advance(10);
    Controller::TimerProc(0xABCDEF, 0, reinterpret_cast<DWORD_PTR>(m_timers->GetWndHandle()), 0, 0);
    Pump();
    EXPECT_EQ(m_target.TakeCalls(), (CallList{{1, 1020}}));
}

TEST_F(TimerController, StartsByTheWallClock)
{
    CDateTime halfPeriod = kNoonDate;
    halfPeriod.AddSeconds(-25);
    CDateTime whole = kNoonDate;
    whole.AddSeconds(-20);
    CDateTime ahead = kNoonDate;
    ahead.AddSeconds(3);
    m_timers->SetTimer(&m_target, 1, halfPeriod, 10'000, false); // 2.5 periods ago
    m_timers->SetTimer(&m_target, 2, whole, 10'000, false);      // 2 periods ago
    m_timers->SetTimer(&m_target, 3, ahead, 10'000, false);
    m_timers->SetTimer(&m_target, 4, whole, 0, true); // once, and long ago
    m_timers->SetTimerInSeconds(&m_target, 5, whole, 15, false);
    EXPECT_EQ(Remaining(1), 5'000U);
    EXPECT_EQ(Remaining(2), 10'000U);
    EXPECT_EQ(Remaining(3), 3'000U);
    EXPECT_EQ(Remaining(4), 0U);
    EXPECT_EQ(Remaining(5), 10'000U);
    m_clock->Advance(1);
    Pump();
    EXPECT_EQ(m_target.TakeCalls(), (CallList{{4, 1001}}));

    // Milliseconds to go are cut to 32 bits with a sign, as the processor cuts: 24 days ahead are too many, and so are
    // as many ago. Both count as past. Kept on purpose: callers depend on it.
    CDateTime far = kNoonDate;
    far.AddDays(25);
    m_timers->SetTimer(&m_target, 6, far, 10'000, false);
    EXPECT_EQ(Remaining(6), 10'000U - 2'147'483'648U % 10'000U);
    far.AddDays(-1);
    m_timers->SetTimer(&m_target, 6, far, 10'000, false);
    EXPECT_EQ(Remaining(6), 24U * 86'400'000U);
}

TEST_F(TimerController, TimesOfDayAreTheNextOnes)
{
    m_timers->SetTimer(&m_target, 1, CTime(12, 0, 5), 1000, true);
    m_timers->SetTimer(&m_target, 2, CTime(12, 0, 0), 1000, true); // now is not later than now
    m_timers->SetTimerInSeconds(&m_target, 3, CTime(11, 59, 0), 1, true);
    EXPECT_EQ(Remaining(1), 5'000U);
    EXPECT_EQ(Remaining(2), 86'400'000U);
    EXPECT_EQ(Remaining(3), 86'340'000U);
}

TEST_F(TimerController, ASteppedWallClockMovesTimersWithAStartOnly)
{
    CDateTime ahead = kNoonDate;
    ahead.AddSeconds(60);
    m_timers->SetTimer(&m_target, 1, ahead, 60'000, false);
    m_timers->SetTimer(&m_target, 2, 50'000, false);
    m_clock->Advance(1000);
    m_timers->TimeChanged();
    EXPECT_EQ(Remaining(1), 59'000U);
    m_clock->StepWallClock(30);
    EXPECT_EQ(Remaining(1), 59'000U);
    m_timers->TimeChanged();
    EXPECT_EQ(Remaining(1), 29'000U);
    EXPECT_EQ(Remaining(2), 49'000U);
    EXPECT_EQ(m_timers->GetTimeToNextUpdate(), 29'000);
    m_clock->StepWallClock(35); // past it: the next point of its series
    m_timers->TimeChanged();
    EXPECT_EQ(Remaining(1), 54'000U);
    EXPECT_EQ(m_timers->GetTimeToNextUpdate(), 49'000);
    m_timers->SetTimer(&m_target, 1, 10, false); // has no start any more
    m_clock->StepWallClock(-5000);
    m_timers->TimeChanged();
    EXPECT_EQ(Remaining(1), 10U);
}

TEST_F(TimerController, TimersOutliveTheTickCounter)
{
    Restart(0xFFFFFF00);
    m_timers->SetTimer(&m_target, 1, 0x180, true);
    m_timers->SetTimer(&m_target, 2, 0x80, false);
    Pass(0x1FF);
    EXPECT_EQ(Remaining(1), 99'004'711U);
    // The move of the base over the end of the counter takes a millisecond too little from each next update, so from
    // then on all are a millisecond late. Kept on purpose: callers depend on the arithmetic.
    EXPECT_EQ(m_target.TakeCalls(), (CallList{{2, 0xFFFFFF80}, {2, 0x01}, {1, 0x81}, {2, 0x81}}));
    EXPECT_EQ(Remaining(2), 2U);

    // A timer set, replaced and measured on the far side.
    Restart(0xFFFFFF00);
    m_timers->SetTimer(&m_target, 1, 0x180, true);
    m_clock->Advance(0x110);
    EXPECT_EQ(Remaining(1), 0x70U);
    m_timers->SetTimer(&m_target, 2, 0x20, true);
    EXPECT_EQ(Remaining(1), 0x71U);
    EXPECT_EQ(Remaining(2), 0x20U);
    EXPECT_EQ(m_timers->GetTimeToNextUpdate(), 0x20);
    PassWhileTimersFire(100);
    EXPECT_EQ(m_target.TakeCalls(), (CallList{{2, 0x30}, {1, 0x81}}));

    // Counted from the counter's 0 ahead of it, nothing is due yet.
    Restart(0xFFFFFF00);
    m_timers->SetTimer(&m_target, 1, 0xFF, true);
    m_clock->Advance(0xFF);
    m_clock->AdvanceCounts(5000);
    m_timers->SetTimer(&m_target, 2, 5000, true);
    Pump();
    Pass(1);
    EXPECT_EQ(m_target.TakeCalls(), (CallList{{1, 0}}));
    EXPECT_EQ(Remaining(2), 4999U);

    // A thread that is late behind the whole round of the counter.
    Restart(5);
    m_timers->SetTimer(&m_target, 1, 0xFFFFFFFF, true);
    EXPECT_EQ(PassWhileTimersFire(4294), 4294);
    m_clock->Advance(1'000'000);
    Pump();
    EXPECT_EQ(m_target.TakeCalls(), (CallList{{1, 32'709}}));

    // The longest delay there is moves the base, and nothing else.
    Restart(5000);
    m_timers->SetTimer(&m_target, 1, 100, true);
    m_clock->Advance(60);
    m_timers->SetTimer(&m_target, 2, ~0UL, true);
    EXPECT_EQ(Remaining(1), 40U);
    EXPECT_EQ(Remaining(2), 0xFFFFFFFFU);
    m_clock->Advance(40);
    Pump();
    EXPECT_EQ(m_target.TakeCalls(), (CallList{{1, 5100}}));
    EXPECT_EQ(Remaining(2), 0xFFFFFFFFU - 40U);
    EXPECT_EQ(PassWhileTimersFire(5000), 4296) << "a million milliseconds each, and one for the end of the counter";
    EXPECT_EQ(m_target.calls.size(), 1U);
}

TEST_F(TimerController, PeriodsOf32BitsAreCountedFromAMovedBase)
{
    m_timers->SetTimer(&m_target, 1, 0xC0000000, false);
    for (DWORD due = 1000, round = 0; round < 4; ++round)
    {
        due += 0xC0000000;
        while (m_target.calls.empty())
            ASSERT_EQ(PassWhileTimersFire(1), 1);
        // Each time that the counter has gone round is a millisecond more; see above.
        DWORD const late = m_target.TakeCalls()[0].second - due;
        EXPECT_LE(late, round + 1);
    }
    // An item that is not set moves by its resolution alone.
    CTimerItem item;
    item.SetResolution(10);
    item.SetNextUpdate(0xFFFFFFFF);
    m_timers->SetNextUpdateTime(item);
    EXPECT_EQ(item.GetNextUpdate(), 0xFFFFFFFF + 10LL);
}

TEST_F(TimerController, NumbersHave32Bits)
{
    EXPECT_THROW(m_timers->SetTimer(&m_target, 1, 0x100000000, true), qvlib::argument_out_of_range_exception);
    EXPECT_THROW(m_timers->SetTimer(&m_target, 0x100000000, 1, true), qvlib::argument_out_of_range_exception);
    EXPECT_TRUE(m_timers->IsEmpty());
    m_timers->SetTimer(&m_target, ~0UL, 10, true);
    EXPECT_EQ(Remaining(0xFFFFFFFF), 10U);
    // Seconds wrap as milliseconds. Kept on purpose: callers depend on it.
    m_timers->SetTimerInSeconds(&m_target, 1, 4'294'968, true);
    EXPECT_EQ(Remaining(1), 704U);
    m_timers->SetTimerInSeconds(&m_target, 2, 7, true);
    EXPECT_EQ(Remaining(2), 7'000U);
}

TEST_F(TimerController, SubclassesReachTheParts)
{
    CTimerItem item;
    item.SetTarget(&m_target);
    item.SetEventID(1);
    item.SetResolution(50);
    m_timers->SetTimer(item, true);
    EXPECT_EQ(item.GetNextUpdate(), 50);
    item.SetEventID(2);
    item.SetResolution(20);
    m_timers->SetTimer(item, false);
    EXPECT_EQ(m_timers->GetNextUpdateTime(), 1050) << "not programmed anew";
    EXPECT_EQ(m_timers->GetNextItemUpdateTime(), 1020);
    m_clock->Advance(10);
    m_timers->RebaseTimerController();
    EXPECT_EQ(m_timers->GetNextUpdateTime(), 1050);
    EXPECT_EQ(m_timers->GetNextItemUpdateTime(), 1020);
    m_timers->KillTimer(item, false);
    EXPECT_EQ(m_timers->GetSize(), 1U);

    CTimerItem const same = item;
    EXPECT_NE(qvlib::cmpTimerItemByNextUpdate()(&item, &same), qvlib::cmpTimerItemByNextUpdate()(&same, &item));
    EXPECT_FALSE(qvlib::cmpTimerItemByTarget()(item, same) || qvlib::cmpTimerItemByTarget()(same, item));
}

TEST_F(TimerController, WithoutMemoryNothingHasChanged)
{
    unsigned long next = 0;
    std::vector<Target> targets(40);
    qvlib_test::SweepAllocations(
        [&]
        {
            for (; next < 400; ++next) // goes on where it failed: each allocation on the way fails once
                m_timers->SetTimer(&targets[next % targets.size()], next, kNoonDate, 1000 + next, true);
        },
        [&] { EXPECT_EQ(m_timers->GetSize(), next); });
    EXPECT_EQ(m_timers->GetSize(), 400U);
    m_clock->Advance(2000);
    Pump();
    EXPECT_TRUE(m_timers->IsEmpty());
}

/// The two orders kept in the plainest way, beside the controller: random changes, then time passes, and the same
/// timers must have been called in the same order of moments.
TEST_F(TimerController, AgreesWithAPlainModel)
{
    struct Plain
    {
        std::int64_t next;
        unsigned long resolution;
        bool once;
    };
    using Key = std::pair<std::size_t, unsigned long>;
    auto const seed = static_cast<unsigned>(std::chrono::steady_clock::now().time_since_epoch().count());
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    auto const below = [&](unsigned limit) { return static_cast<unsigned>(random() % limit); };

    std::map<Key, Plain> plain;
    std::vector<std::tuple<DWORD, std::size_t, unsigned long>> expected;
    std::vector<std::tuple<DWORD, std::size_t, unsigned long>> found;
    std::vector<Target> targets(60);
    for (std::size_t t = 0; t < targets.size(); ++t)
        targets[t].then = [&, t](CTimerController &, unsigned long id) { found.emplace_back(timeGetTime(), t, id); };

    std::int64_t now = 1000;
    for (int step = 0; step < 300; ++step)
    {
        // Now and then hundreds of changes, so that the tables grow and shrink.
        for (unsigned change = below(step % 50 == 0 ? 3000 : 30); change > 0; --change)
        {
            // Few targets have many timers, many have few.
            std::size_t const t = below(3) == 0 ? below(2) : below(60);
            unsigned long const id = t < 2 ? below(2000) * (t == 0 ? 1 : 4096) : below(3);
            unsigned const what = below(20);
            if (what < 14)
            {
                unsigned long const resolution = 1 + below(400);
                bool const once = below(2) == 0;
                m_timers->SetTimer(&targets[t], id, resolution, once);
                plain[{t, id}] = {now + static_cast<std::int64_t>(resolution), resolution, once};
            }
            else if (what < 19)
            {
                m_timers->KillTimer(&targets[t], id);
                plain.erase({t, id});
            }
            else if (t >= 2 || below(10) == 0)
            {
                auto const first = plain.lower_bound({t, 0});
                auto const last = plain.lower_bound({t + 1, 0});
                EXPECT_EQ(m_timers->KillTimers(&targets[t]), first != last);
                plain.erase(first, last);
            }
        }
        ASSERT_EQ(m_timers->GetSize(), plain.size());
        for (unsigned passing = below(60); passing > 0; --passing)
        {
            m_clock->Advance(1);
            ++now;
            Pump();
            for (auto timer = plain.begin(); timer != plain.end();)
            {
                bool const due = timer->second.next == now;
                if (due)
                    expected.emplace_back(static_cast<DWORD>(now), timer->first.first, timer->first.second);
                timer->second.next += due ? static_cast<std::int64_t>(timer->second.resolution) : 0;
                timer = due && timer->second.once ? plain.erase(timer) : std::next(timer);
            }
        }
        // At the same moment the order is that of addresses.
        std::sort(found.begin(), found.end());
        ASSERT_EQ(found, expected);
        found.clear();
        expected.clear();
    }
}

} // namespace

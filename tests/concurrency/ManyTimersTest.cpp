// A controller with so many timers that it puts off setting and ending them: nobody may see that.
#include "qvlib/TimerController.h"
#include "qvlib/host/clock.h"
#include "qvlib/host/messages.h"
#include "support/allocation_sweep.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <functional>
#include <memory>
#include <new>
#include <random>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

using qvlib::CDateTime;
using qvlib::CTimerController;
using qvlib::CTimerItem;
using qvlib::host::ManualClock;

namespace
{

constexpr std::int64_t kNoon = 1'700'049'600; // 15 November 2023, 12:00:00 in GMT
constexpr unsigned kFar = 1'000'000;          // milliseconds; nothing in these tests lasts so long

struct Target final : qvlib::ITimerEvents
{
    using ITimerEvents::OnTimeElapsed;
    void OnTimeElapsed(CTimerController * controller, unsigned long eventId) override { then(*controller, eventId); }
    std::function<void(CTimerController &, unsigned long)> then = [](CTimerController &, unsigned long) {};
};

class Controller : public CTimerController
{
public:
    Controller() { Create(); }
    using CTimerController::GetNextItemUpdateTime;
    using CTimerController::GetNextUpdateTime;
    using CTimerController::SetTimer;
};

/// Whether an exception left a callback.
bool Pump()
{
    MSG message;
    bool threw = false;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE))
    {
        try
        {
            DispatchMessageW(&message);
        }
        catch (std::runtime_error const &)
        {
            threw = true;
        }
    }
    return threw;
}

/// Two controllers are told the same, but one is asked for its size after each change, so that it can put off nothing.
/// They must have the platform's timer set for the same moments and call the same timers in the same order.
void CompareWithOneThatPutsOffNothing(std::size_t count, std::size_t targetCount)
{
    auto const seed = static_cast<unsigned>(std::chrono::steady_clock::now().time_since_epoch().count());
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    auto const below = [&](unsigned limit) { return static_cast<unsigned>(random() % limit); };

    ManualClock clock(1000, kNoon);
    std::array<Controller, 2> controllers;
    std::array<std::vector<std::tuple<DWORD, std::size_t, unsigned long>>, 2> calls;
    std::vector<Target> targets(targetCount);
    bool throws = false;
    for (std::size_t t = 0; t < targets.size(); ++t)
    {
        targets[t].then = [&, t](CTimerController & controller, unsigned long id)
        {
            calls[&controller == &controllers[0] ? 0 : 1].emplace_back(timeGetTime(), t, id);
            if (id % 4 == 3) // some go on by themselves
                controller.SetTimer(&targets[t], id, 1 + id % 13, true);
            if (throws)
                throw std::runtime_error("from a callback");
        };
    }
    auto const both = [&](auto const & change)
    {
        for (Controller & controller : controllers)
            change(controller);
        ASSERT_GT(controllers[1].GetSize(), 0U);
        ASSERT_EQ(controllers[0].GetNextUpdateTime(), controllers[1].GetNextUpdateTime());
        ASSERT_EQ(controllers[0].GetNextItemUpdateTime(), controllers[1].GetNextItemUpdateTime());
    };
    // Half of the timers are one target's, the others are shared out.
    for (std::size_t i = 0; i < count; ++i)
    {
        Target * const target = &targets[i % 2 == 0 ? 0 : i / 2 % targets.size()];
        for (Controller & controller : controllers)
            controller.SetTimer(target, i, kFar, false);
    }
    CDateTime start(2023, 11, 15, 12, 0, 0);
    start.AddSeconds(1);
    bool threw = false;
    for (int step = 0; step < 150; ++step)
    {
        for (unsigned change = threw ? 1 : below(100); change > 0; --change)
        {
            // Among few again and again, among all now and then.
            std::size_t const t = below(2) == 0   ? 0
                                  : below(3) == 0 ? below(static_cast<unsigned>(targets.size()))
                                                  : below(9);
            unsigned long const id = below(4) == 0 ? below(static_cast<unsigned>(count)) : below(12);
            unsigned const delay = below(3) == 0 ? kFar : 1 + below(300);
            bool const once = below(2) == 0;
            unsigned const what = below(100);
            both(
                [&](Controller & controller)
                {
                    unsigned long remaining = 0;
                    if (what < 55)
                        controller.SetTimer(&targets[t], id, delay, once);
                    else if (what < 90)
                        controller.KillTimer(&targets[t], id);
                    else if (what < 94)
                        controller.SetTimer(&targets[t], id, start, delay, once);
                    else if (what < 96 && t != 0)
                        controller.KillTimers(&targets[t]);
                    else if (what < 98)
                        controller.GetRemainingMilliseconds(&targets[t], id, remaining);
                    else
                        controller.TimeChanged();
                });
            if (testing::Test::HasFatalFailure())
                return;
        }
        throws = below(20) == 0;
        threw = false;
        for (unsigned passing = below(40); passing > 0 && !threw; --passing)
        {
            clock.Advance(1);
            threw = Pump();
        }
        ASSERT_EQ(calls[0], calls[1]);
        ASSERT_EQ(controllers[0].GetSize(), controllers[1].GetSize());
        for (auto & list : calls)
            list.clear();
    }
}

TEST(ManyTimers, ArePutOffWithoutATrace) { CompareWithOneThatPutsOffNothing(2000, 700); }

TEST(ManyTimers, BeyondTheCacheArePutOffWithoutATrace)
{
    CompareWithOneThatPutsOffNothing(150'000, 50'000);
    CompareWithOneThatPutsOffNothing(150'000, 20);
}

TEST(ManyTimers, EndingOneSetsThePlatformsTimerAgainAfterAnException)
{
    ManualClock clock(1000, kNoon);
    Controller controller;
    std::vector<Target> targets(1000);
    for (Target & target : targets)
        controller.SetTimer(&target, 1, kFar, true);
    int called = 0;
    for (std::size_t t : {0U, 1U}) // at the same moment
    {
        targets[t].then = [&](CTimerController &, unsigned long)
        {
            if (++called == 1)
                throw std::runtime_error("from a callback");
        };
        controller.SetTimer(&targets[t], 1, 10, true);
    }
    clock.Advance(10);
    EXPECT_TRUE(Pump());
    controller.KillTimer(&targets[500], 1);
    clock.Advance(1);
    EXPECT_FALSE(Pump());
    EXPECT_EQ(called, 2);

    // So it does after one for which it was not set.
    CTimerItem item;
    item.SetTarget(&targets[2]);
    item.SetEventID(1);
    item.SetResolution(5);
    controller.SetTimer(item, false);
    controller.KillTimer(&targets[501], 1);
    EXPECT_EQ(controller.GetNextUpdateTime(), 1016);
}

/// What was set without an exception is there, whatever memory there was when its turn came.
TEST(ManyTimers, NoneIsLostWithoutMemory)
{
    constexpr std::size_t kTargets = 300;
    constexpr std::size_t kIds = 3;
    ManualClock clock(1000, kNoon);
    std::vector<Target> targets(kTargets);
    std::vector<int> isSet(kTargets * kIds);
    std::vector<int> called(kTargets * kIds);
    std::unique_ptr<Controller> controller;
    for (std::size_t t = 0; t < kTargets; ++t)
        targets[t].then = [&, t](CTimerController &, unsigned long id) { ++called[t * kIds + id]; };
    Target others;
    auto const begin = [&]
    {
        controller = std::make_unique<Controller>();
        for (unsigned long i = 0; i < 1000; ++i)
            controller->SetTimer(&others, i, kFar, true);
        std::fill(isSet.begin(), isSet.end(), 0);
        std::fill(called.begin(), called.end(), 0);
    };
    std::size_t refused = 0;
    auto const set = [&](std::size_t key)
    {
        try
        {
            controller->SetTimer(&targets[key / kIds], key % kIds, static_cast<unsigned long>(500 + key), true);
            isSet[key] = 1;
        }
        catch (std::bad_alloc const &)
        {
            ++refused;
        }
    };
    auto const kill = [&](std::size_t key)
    {
        controller->KillTimer(&targets[key / kIds], static_cast<unsigned long>(key % kIds));
        isSet[key] = 0;
    };
    begin();
    std::size_t const hit = qvlib_test::SweepAllocations(
        [&]
        {
            for (std::size_t key = 0; key < isSet.size(); ++key)
            {
                set(key);
                if (key % 5 == 0 && key > 2)
                    kill(key - 2); // just put off
                if (key % 7 == 0)
                    set(key / 2);
                if (key % 50 == 49 && controller->KillTimers(&targets[key / kIds - 1]))
                    std::fill_n(isSet.begin() + static_cast<std::ptrdiff_t>((key / kIds - 1) * kIds), kIds, 0);
            }
        },
        [&]
        {
            for (std::size_t key = 0; key < isSet.size(); ++key)
            {
                unsigned long remaining = 0;
                ASSERT_EQ(controller->GetRemainingMilliseconds(&targets[key / kIds], key % kIds, remaining),
                          isSet[key] != 0)
                    << key;
            }
            ASSERT_EQ(controller->GetSize(), 1000U + static_cast<unsigned>(std::count(isSet.begin(), isSet.end(), 1)));
            clock.Advance(5000);
            Pump();
            ASSERT_EQ(called, isSet) << "each once";
            ASSERT_EQ(controller->GetSize(), 1000U);
            begin();
        });
    EXPECT_GT(hit, kTargets) << "each target's table";
    EXPECT_LT(refused, hit) << "most have been missed when the request had been taken";
}

} // namespace

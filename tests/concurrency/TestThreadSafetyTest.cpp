#include "qvlib/TestThreadSafety.h"
#include "qvlib/Event.h"
#include "support/allocation_sweep.h"

#include <gtest/gtest.h>

#include <thread>

using qvlib::CTLTestThreadSafety;
using Level = CTLTestThreadSafety::AccessLevel;

namespace
{

int s_object;

Level At(int level) { return static_cast<Level>(level); }

/// Enters the object at `level` while another thread is in it at `foreign` (and at `second`).
void Enter(int level, int foreign, int second)
{
    qvlib::CTLEvent inside, done;
    std::thread other(
        [&]
        {
            CTLTestThreadSafety const guard(&s_object, At(foreign));
            CTLTestThreadSafety const another(&s_object, At(second));
            inside.SetEvent();
            done.Lock();
        });
    inside.Lock();
    {
        CTLTestThreadSafety const guard(&s_object, At(level));
    }
    done.SetEvent();
    other.join();
}

// The library's static objects are there before those of a module that uses it.
CTLTestThreadSafety s_early(&s_early, Level::AccessLevel2);

} // namespace

TEST(TestThreadSafety, StopsTheProcessWhenLevelsConflict)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    for (auto const & [level, foreign] : {std::pair(0, 1), {0, 2}, {1, 2}, {2, 1}, {2, 2}})
        EXPECT_DEATH(Enter(level, foreign, foreign), "") << level << " meets " << foreign;
}

TEST(TestThreadSafety, PassesWhatMayMeet)
{
    for (auto const & [level, foreign] : {std::pair(0, 0), {1, 0}, {2, 0}, {1, 1}})
    {
        Enter(level, foreign, foreign);
        Enter(level, 2, foreign); // kept on purpose: the lowest foreign level alone decides
    }
    Enter(0, -1, -1); // levels are compared with their sign

    // One thread never conflicts with itself, and leaves nothing behind.
    {
        CTLTestThreadSafety const first(&s_object, At(2)), second(&s_object, At(2)), third(&s_object, At(0));
        CTLTestThreadSafety const other(nullptr, At(1));
    }
    Enter(2, 0, 0);
    qvlib_test::SweepAllocations([] { CTLTestThreadSafety const guard(&s_object, At(2)); }, [] { Enter(2, 0, 0); });
}

#include "qvlib/AssociatedMutex.h"
#include "qvlib/CriticalSection.h"
#include "qvlib/Event.h"
#include "qvlib/Exceptions.h"
#include "qvlib/FakeMutex.h"
#include "qvlib/SimpleMutex.h"
#include "support/allocation_sweep.h"
#include "support/threads.h"

#include <gtest/gtest.h>

#include <thread>
#include <type_traits>

using qvlib::CTLAssociatedMutex;
using qvlib::CTLCriticalSection;
using qvlib::CTLEvent;
using qvlib::CTLLockAssocMutex;
using qvlib::CTLSimpleMutex;
using qvlib_test::OnThreads;

namespace
{

// Calls that the thread safety analysis would not let pass: locking twice, leaving what is not held.
template <class Lock>
bool Take(Lock & lock, unsigned long timeout = 0xFFFFFFFF) QVLIB_NO_THREAD_SAFETY_ANALYSIS
{
    return lock.Lock(timeout);
}
template <class Lock>
bool Leave(Lock & lock) QVLIB_NO_THREAD_SAFETY_ANALYSIS
{
    return lock.Unlock();
}

/// The map of the associations, which derived classes see.
struct Associations : CTLAssociatedMutex
{
    using CTLAssociatedMutex::CTLAssociatedMutex;
    static std::size_t Count()
    {
        Take(s_mapMutex);
        std::size_t const count = Read();
        Leave(s_mapMutex);
        return count;
    }
    static std::size_t Read() QVLIB_NO_THREAD_SAFETY_ANALYSIS { return s_mapObjToMutex.size(); }
};

// The library's static objects are there before those of a module that uses it.
int s_key;
CTLAssociatedMutex s_earlyAssociation(&s_key);

} // namespace

template <class Lock>
class Locks : public testing::Test
{
};
using LockTypes = testing::Types<CTLCriticalSection, CTLSimpleMutex>;
TYPED_TEST_SUITE(Locks, LockTypes);

TYPED_TEST(Locks, ExcludeThreadsWhateverTheTimeout)
{
    TypeParam lock;
    int count = 0;
    Take(lock);
    CTLEvent begun;
    std::thread other(
        [&]
        {
            begun.SetEvent();
            EXPECT_TRUE(Take(lock, 0)); // waits all the same
            EXPECT_EQ(count, 1);
            Leave(lock);
        });
    EXPECT_TRUE(begun.Lock());
    count = 1;
    Leave(lock);
    other.join();

    OnThreads(4,
              [&](int)
              {
                  for (int i = 0; i < 2000; ++i)
                  {
                      Take(lock, 0);
                      ++count;
                      Leave(lock);
                  }
              });
    EXPECT_EQ(count, 8001);
    static_assert(!std::is_copy_constructible_v<TypeParam>);
}

TEST(CriticalSection, KnowsItsOwnerAndCountsHisEntries)
{
    CTLCriticalSection section;
    EXPECT_FALSE(section.IsLocked() || section.IsLockedByCurrentThread());
    EXPECT_TRUE(Take(section) && Take(section, 0));
    std::thread([&] { EXPECT_TRUE(section.IsLocked() && !section.IsLockedByCurrentThread()); }).join();
    EXPECT_TRUE(Leave(section) && section.IsLockedByCurrentThread());
    EXPECT_TRUE(Leave(section) && !section.IsLocked());

    _RTL_CRITICAL_SECTION * const record = section;
    [record]() QVLIB_NO_THREAD_SAFETY_ANALYSIS { EnterCriticalSection(record); }();
    EXPECT_TRUE(section.IsLockedByCurrentThread());
    Leave(section);
}

TEST(SimpleMutex, IsOneWordAndTellsWhetherItWasLocked)
{
    CTLSimpleMutex mutex;
    EXPECT_EQ(sizeof mutex, sizeof(std::int32_t));
    EXPECT_EQ(CTLSimpleMutex::GetLockedFlag(), 1);
    EXPECT_EQ(CTLSimpleMutex::GetUnlockedFlag(), 0);
    EXPECT_FALSE(Leave(mutex));
    EXPECT_TRUE(Take(mutex, 0)); // the failed release left it free
    EXPECT_TRUE(Leave(mutex));
    EXPECT_FALSE(Leave(mutex));

    qvlib::CTLFakeMutex const fake;
    EXPECT_TRUE(Take(fake) && Take(fake, 0) && Leave(fake));
}

TEST(Event, WaitsForASignalThatOnlySetGives)
{
    CTLEvent automatic;
    EXPECT_NE(static_cast<void *>(automatic), nullptr);
    EXPECT_FALSE(automatic.Lock(0));
    EXPECT_TRUE(automatic.Unlock());
    EXPECT_FALSE(automatic.Lock(0)); // Unlock never signals
    EXPECT_TRUE(automatic.SetEvent());
    EXPECT_TRUE(automatic.Lock(~0UL)); // all ones of either width: without limit
    EXPECT_FALSE(automatic.Lock(0));
    EXPECT_TRUE(CTLEvent::SetEvent(automatic) && automatic.Lock(0xFFFFFFFF));
    EXPECT_TRUE(automatic.PulseEvent());
    EXPECT_FALSE(automatic.Lock(1));
    if constexpr (sizeof(long) > 4)
    {
        EXPECT_THROW(automatic.Lock(0x100000000UL), qvlib::argument_out_of_range_exception);
    }

    CTLEvent manual(true, true, nullptr, nullptr);
    EXPECT_TRUE(manual.Lock(0) && manual.Lock(0));
    EXPECT_TRUE(manual.ResetEvent());
    EXPECT_FALSE(manual.Lock(0));
    EXPECT_FALSE(CTLEvent::SetEvent(nullptr) || CTLEvent::ResetEvent(nullptr) || CTLEvent::PulseEvent(nullptr));
}

TEST(Event, IsSharedByNameAndFailsWithoutText)
{
    CTLEvent first(false, true, L"qvlib locks test", nullptr);
    CTLEvent second(true, false, L"qvlib locks test", nullptr); // the state and kind of the first stand
    EXPECT_FALSE(second.Lock(0));
    first.SetEvent();
    EXPECT_TRUE(second.Lock(0) && second.Lock(0));
    try
    {
        CTLEvent const refused(false, false, L"no\\such\\folder", nullptr);
        FAIL() << "the name is no good";
    }
    catch (qvlib::resource_error const & e)
    {
        EXPECT_STREQ(e.what(), "Unknown exception");
    }
}

TEST(AssociatedMutex, OneLockForEachKeyFromTheFirstToTheLast)
{
    std::size_t const before = Associations::Count();
    EXPECT_GE(before, 1U); // that of the static object above
    EXPECT_EQ(&CTLAssociatedMutex(&s_key).GetMutex(), &s_earlyAssociation.GetMutex());

    int object = 0, other = 0;
    auto first = std::make_unique<CTLAssociatedMutex>(&object);
    auto second = std::make_unique<CTLAssociatedMutex>(&object);
    CTLAssociatedMutex const third(&other), none(nullptr);
    EXPECT_EQ(Associations::Count(), before + 3);
    CTLCriticalSection & lock = first->GetMutex();
    EXPECT_EQ(&second->GetMutex(), &lock);
    first.reset();
    EXPECT_TRUE(Take(lock) && Leave(lock));
    second.reset();
    EXPECT_EQ(Associations::Count(), before + 2);

    // A failure on the way leaves no record behind.
    qvlib_test::SweepAllocations([&] { CTLAssociatedMutex const fresh(&object); },
                                 [&] { EXPECT_EQ(Associations::Count(), before + 2); });
}

TEST(AssociatedMutex, TheLockedFlagIsNoCount)
{
    int object = 0;
    CTLAssociatedMutex association(&object);
    CTLCriticalSection & section = association.GetMutex();
    {
        CTLLockAssocMutex lock(&object, true);
        EXPECT_TRUE(lock.IsLocked() && section.IsLockedByCurrentThread());
        EXPECT_TRUE(lock.Lock());
    }
    EXPECT_TRUE(section.IsLockedByCurrentThread()); // entered twice, left once
    {
        CTLLockAssocMutex lock(&object, false);
        EXPECT_FALSE(lock.IsLocked());
        EXPECT_TRUE(lock.Unlock()); // leaves also what it didn't take
    }
    EXPECT_FALSE(section.IsLocked());
    CTLLockAssocMutex lock(&object, false);
    EXPECT_TRUE(lock.Lock(0));
    EXPECT_TRUE(lock.IsLocked());
    EXPECT_TRUE(lock.Unlock());
    EXPECT_FALSE(lock.IsLocked() || section.IsLocked());
}

TEST(AssociatedMutex, ObjectsOfOneKeyExcludeThreads)
{
    int counts[3] = {};
    std::size_t const before = Associations::Count();
    OnThreads(4,
              [&](int thread)
              {
                  for (int i = 0; i < 1000; ++i)
                  {
                      int & count = counts[(thread + i) % 3];
                      CTLLockAssocMutex const lock(&count, true);
                      CTLAssociatedMutex const another(&s_key); // the map's lock under that of a key
                      ++count;
                  }
              });
    EXPECT_EQ(counts[0] + counts[1] + counts[2], 4000);
    EXPECT_EQ(Associations::Count(), before);
}

#include "qvlib/SharedValueHeap.h"
#include "support/allocation_sweep.h"
#include "support/archived.h"
#include "support/threads.h"

#include <gtest/gtest.h>

#include <barrier>
#include <cstdlib>
#include <cwctype>
#include <map>
#include <mutex>
#include <new>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace
{

using qvlib::CSharedValueHeap;
using qvlib::CSharedValuePtr;
using qvlib::CSharedWideString;

/// Counts how often it is taken.
class CountingLock
{
public:
    bool Lock(unsigned long)
    {
        m_lock.lock();
        ++s_taken;
        return true;
    }
    bool Unlock()
    {
        m_lock.unlock();
        return true;
    }
    static inline int s_taken = 0; // guarded by the lock of the one heap that there is at a time

private:
    std::recursive_mutex m_lock;
};

struct WithoutCase
{
    bool operator()(std::wstring const & left, std::wstring const & right) const
    {
        return Lowered(left) < Lowered(right);
    }
    static std::wstring Lowered(std::wstring text)
    {
        for (wchar_t & c : text)
            c = static_cast<wchar_t>(std::towlower(static_cast<std::wint_t>(c)));
        return text;
    }
};

/// The heap of the test that runs.
template <class Compare>
struct Accessor
{
    using Handle = CSharedValuePtr<std::wstring, Compare, CountingLock, Accessor>;
    using Heap = typename Handle::Heap;
    static inline Heap * s_heap = nullptr;
    static void * get(Handle *) { return s_heap; }
};

/// A heap that tells when it ends.
template <class Compare>
class WatchedHeap final : public Accessor<Compare>::Heap
{
public:
    explicit WatchedHeap(bool & ended) : m_ended(ended) {}
    ~WatchedHeap() override { m_ended = true; }

private:
    bool & m_ended;
};

template <class Compare>
class SharedValueHeapTest : public ::testing::Test
{
protected:
    using Handle = typename Accessor<Compare>::Handle;

    SharedValueHeapTest()
    {
        Accessor<Compare>::s_heap = new WatchedHeap<Compare>(ended);
        Accessor<Compare>::s_heap->AddRef();
    }
    ~SharedValueHeapTest() override
    {
        if (!released)
        {
            EXPECT_EQ(heap().GetSize(), 0U);
            EXPECT_EQ(heap().GetRefCount(), 1U);
            heap().Release();
        }
        EXPECT_TRUE(ended);
    }
    typename Accessor<Compare>::Heap & heap() { return *Accessor<Compare>::s_heap; }

    bool ended = false;
    bool released = false;
};

using Kinds = ::testing::Types<std::less<std::wstring>, WithoutCase>; // a table, and a tree
TYPED_TEST_SUITE(SharedValueHeapTest, Kinds);

TYPED_TEST(SharedValueHeapTest, WhatAHandleHasIsAssignedWithoutLockOrMemory)
{
    typename TestFixture::Handle a(L"a text of some length");
    std::wstring const same = *a;
    int const taken = CountingLock::s_taken;
    unsigned long const references = this->heap().GetRefCount();
    qvlib_test::AllocationCount const allocations;
    a = same;
    a = *a;
    a = typename TestFixture::Handle(a);
    EXPECT_EQ(CountingLock::s_taken, taken);
    if constexpr (std::is_same_v<TypeParam, std::less<std::wstring>>)
    {
        EXPECT_EQ(allocations.Value(), 0U); // the other comparison takes memory itself
    }
    EXPECT_EQ(a.GetUseCount(), 1U);
    EXPECT_EQ(this->heap().GetRefCount(), references);
}

TYPED_TEST(SharedValueHeapTest, NullAndEmptyTextAreDifferent)
{
    typename TestFixture::Handle null;
    typename TestFixture::Handle empty(L"");
    EXPECT_TRUE(null.IsNull());
    EXPECT_FALSE(null == empty);
    EXPECT_EQ(*empty, L"");
    EXPECT_EQ(this->heap().GetSize(), 1U);
    EXPECT_THROW(*null, qvlib::unexpected_error);
    EXPECT_THROW(null->size(), qvlib::unexpected_error);
    EXPECT_EQ(null.GetUseCount(), 0U);
    null.Clear();
    empty.Clear();
    EXPECT_TRUE(empty.IsNull());
}

TYPED_TEST(SharedValueHeapTest, EntriesKeepTheHeap)
{
    typename TestFixture::Handle a(L"a");
    typename TestFixture::Handle b(L"b");
    this->heap().Release(); // as the process does at its end
    this->released = true;
    a.Clear();
    EXPECT_FALSE(this->ended);
    b = std::wstring(L"c");
    EXPECT_FALSE(this->ended);
    b.Clear();
    EXPECT_TRUE(this->ended);
}

TYPED_TEST(SharedValueHeapTest, AFailureLeavesTheHandle)
{
    typename TestFixture::Handle a(L"the first text, not a short one");
    std::wstring const other(L"another text, long enough for memory of its own");
    std::size_t const hits = qvlib_test::SweepAllocations(
        [&]
        {
            a = other;
            a = std::wstring();
        },
        [&] { EXPECT_TRUE(*a == L"the first text, not a short one" || *a == other || a->empty()); });
    EXPECT_GT(hits, 0U);
    EXPECT_EQ(this->heap().GetSize(), 1U);
}

// Against a plain map, through all that a table does: it grows, takes in, drops, and uses places again.
TYPED_TEST(SharedValueHeapTest, CountsAsAMapDoes)
{
    std::vector<typename TestFixture::Handle> handles(3000);
    std::mt19937 random(11);
    for (int i = 0; i < 30000; ++i)
    {
        auto & handle = handles[random() % handles.size()];
        if (random() % 4 == 0)
            handle.Clear();
        else if (random() % 4 == 0)
            handle = handles[random() % handles.size()];
        else
            handle = std::wstring(random() % 30, L'x') + std::to_wstring(random() % 500);
    }
    std::map<std::wstring, unsigned long> counts;
    for (auto const & handle : handles)
        if (!handle.IsNull())
            ++counts[*handle];
    EXPECT_EQ(this->heap().GetSize(), counts.size());
    EXPECT_EQ(this->heap().GetRefCount(), 1U + counts.size());
    for (auto const & handle : handles)
        ASSERT_EQ(handle.GetUseCount(), handle.IsNull() ? 0 : counts[*handle]);
}

TYPED_TEST(SharedValueHeapTest, ThreadsThatAssignOneNewTextMakeOneEntry)
{
    constexpr int kRounds = 200;
    constexpr int kThreads = 3;
    std::vector<typename TestFixture::Handle> handles(kThreads);
    std::barrier together(kThreads + 1);
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i)
        threads.emplace_back(
            [&, i]
            {
                for (int round = 0; round < kRounds; ++round)
                {
                    together.arrive_and_wait();
                    handles[static_cast<std::size_t>(i)] = std::to_wstring(round);
                    together.arrive_and_wait();
                }
            });
    for (int round = 0; round < kRounds; ++round)
    {
        together.arrive_and_wait();
        together.arrive_and_wait();
        EXPECT_EQ(this->heap().GetSize(), 1U);
        EXPECT_EQ(handles[0].GetUseCount(), static_cast<unsigned long>(kThreads));
        EXPECT_TRUE(handles[0] == handles[1] && handles[1] == handles[2]);
    }
    for (std::thread & thread : threads)
        thread.join();
}

// Few texts, so that entries die and are revived all the time.
TYPED_TEST(SharedValueHeapTest, CountsAreExactUnderContention)
{
    constexpr int kSteps = 6000;
    qvlib_test::OnThreads(4,
                          [](int i)
                          {
                              std::wstring const words[] = {L"a", L"bb", L"", L"a text that has memory of its own",
                                                            L"e", L"f"};
                              std::mt19937 random(static_cast<unsigned>(i));
                              typename TestFixture::Handle own[3];
                              for (int step = 0; step < kSteps; ++step)
                              {
                                  auto & handle = own[random() % 3];
                                  std::size_t const word = random() % 6;
                                  switch (random() % 4)
                                  {
                                  case 0:
                                      handle.Clear();
                                      break;
                                  case 1:
                                      handle = own[random() % 3];
                                      break;
                                  default:
                                      handle = words[word];
                                      ASSERT_EQ(*handle, words[word]);
                                      break;
                                  }
                              }
                          });
    EXPECT_EQ(this->heap().GetSize(), 0U);
    EXPECT_EQ(this->heap().GetRefCount(), 1U);
}

std::string Stored(CSharedWideString & handle, bool withFlag)
{
    return qvlib_test::Archived<std::string>(
        [&](CArchive & archive)
        { withFlag ? void(archive << handle) : void(serialize_string_value(handle, archive)); });
}

void Load(std::string const & bytes, CSharedWideString & handle, bool withFlag)
{
    qvlib_test::ReadArchived(bytes, [&](CArchive & archive)
                             { withFlag ? void(archive >> handle) : void(serialize_string_value(handle, archive)); });
}

TEST(SharedWideString, HasTwoFormsInArchives)
{
    CSharedWideString null;
    CSharedWideString text(L"a\x1F600");
    EXPECT_EQ(Stored(null, true), std::string(1, '\x01'));
    EXPECT_EQ(Stored(null, false).size(), 9U);
    EXPECT_EQ(Stored(text, true), '\0' + Stored(text, false));

    CSharedWideString read(L"before");
    Load(Stored(text, true), read, true);
    EXPECT_TRUE(read == text);
    Load(Stored(null, true), read, true);
    EXPECT_TRUE(read == text); // a stored null clears nothing: pinned, callers depend on it
    Load(Stored(null, false), read, false);
    EXPECT_EQ(*read, L"");
    Load(Stored(text, false), read, false);
    EXPECT_TRUE(read == text);
}

TEST(SharedWideString, ARecordCutShortLeavesAHandleOnSomeText)
{
    CSharedWideString text(L"abc");
    std::string const whole = Stored(text, true);
    for (std::size_t length = 0; length < whole.size(); ++length)
    {
        CSharedWideString read(L"before");
        try
        {
            Load(whole.substr(0, length), read, true);
            EXPECT_EQ(*read, std::wstring(L"abc").substr(0, (length - 10) / 2)); // the characters that arrived
        }
        catch (CArchiveException const & error)
        {
            EXPECT_EQ(error.m_cause, CArchiveException::endOfFile);
            EXPECT_LT(length, 10U);
            EXPECT_EQ(*read, L"before");
        }
    }
    EXPECT_EQ(text.GetUseCount(), 1U);
}

// Ends when every static object has, the library's own reference to the heap among them.
alignas(CSharedWideString) char g_lateMemory[sizeof(CSharedWideString)];
auto * const g_late = new (g_lateMemory) CSharedWideString(L"kept until the end");

__attribute__((destructor)) void EndLate()
{
    {
        CSharedWideString const same(L"kept until the end");
        if (!(same == *g_late))
            std::abort();
    }
    g_late->~CSharedWideString();
    CSharedWideString const anew(L"and a heap once more");
}

TEST(SharedWideString, AHandleMayOutliveTheLibrarysStatics)
{
    EXPECT_EQ(g_late->GetUseCount(), 1U); // the rest is EndLate's
}

} // namespace

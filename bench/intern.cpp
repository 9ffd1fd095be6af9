// 100,000 distinct wide texts of 6 to 20 letters, put into 1,000,000 fresh handles in random order, so that 9 of 10 are
// there already; by 1 and 2 threads. Also the heap's bytes per distinct text once all handles stand (the handles not
// counted), and the time to let all handles go. The floor is a set under a mutex, which counts no references and frees
// nothing; GLib keeps narrow copies of the same texts.

#include "qvlib/SharedValueHeap.h"

#include <benchmark/benchmark.h>
#include <boost/flyweight.hpp>

#ifdef QVLIB_PEER_GLIB
#include <glib.h>
#endif

#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <unordered_set>
#include <vector>

namespace
{

constexpr std::size_t kDistinct = 100000;
constexpr std::size_t kAssignments = 1000000;

std::vector<std::wstring> const & Texts()
{
    static std::vector<std::wstring> const texts = []
    {
        std::mt19937 random(5);
        std::unordered_set<std::wstring> distinct;
        while (distinct.size() < kDistinct)
        {
            std::wstring text;
            for (std::size_t i = 6 + random() % 15; i != 0; --i)
                text += static_cast<wchar_t>(L'a' + random() % 26);
            distinct.insert(text);
        }
        return std::vector<std::wstring>(distinct.begin(), distinct.end());
    }();
    return texts;
}

/// Which text goes into which handle: each at least once, in random order.
std::vector<std::uint32_t> const & Order()
{
    static std::vector<std::uint32_t> const order = []
    {
        std::vector<std::uint32_t> all(kAssignments);
        for (std::size_t i = 0; i < all.size(); ++i)
            all[i] = static_cast<std::uint32_t>(i % kDistinct);
        std::shuffle(all.begin(), all.end(), std::mt19937(6));
        return all;
    }();
    return order;
}

std::size_t HeapBytes()
{
    struct mallinfo2 const info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

/// Runs `work` over the halves, quarters... of the handles, on as many threads, which start together. Gives seconds.
template <class Work>
double RunThreads(std::size_t threads, Work const & work)
{
    using Clock = std::chrono::steady_clock;
    std::atomic<std::size_t> waiting{threads};
    std::vector<Clock::time_point> starts(threads);
    std::vector<Clock::time_point> ends(threads);
    std::vector<std::thread> running;
    for (std::size_t i = 0; i < threads; ++i)
        running.emplace_back(
            [&, i]
            {
                --waiting;
                while (waiting != 0)
                    std::this_thread::yield();
                starts[i] = Clock::now();
                work(kAssignments * i / threads, kAssignments * (i + 1) / threads);
                ends[i] = Clock::now();
            });
    for (std::thread & thread : running)
        thread.join();
    return std::chrono::duration<double>(*std::max_element(ends.begin(), ends.end()) -
                                         *std::min_element(starts.begin(), starts.end()))
        .count();
}

struct Qvlib
{
    using Handle = qvlib::CSharedWideString;
    static void Assign(Handle & handle, std::uint32_t text) { handle = Texts()[text]; }
    static void Clear(std::vector<Handle> & handles) { handles = {}; }
};

struct Flyweight
{
    using Handle = boost::flyweight<std::wstring>;
    static void Assign(Handle & handle, std::uint32_t text) { handle = Texts()[text]; }
    static void Clear(std::vector<Handle> & handles) { handles = {}; }
};

#ifdef QVLIB_PEER_GLIB
struct GLib
{
    using Handle = char *;
    static std::vector<std::string> const & Narrow()
    {
        static std::vector<std::string> const narrow = []
        {
            std::vector<std::string> all;
            for (std::wstring const & text : Texts())
                all.emplace_back(text.begin(), text.end());
            return all;
        }();
        return narrow;
    }
    static void Assign(Handle & handle, std::uint32_t text)
    {
        handle = g_ref_string_new_intern(Narrow()[text].c_str());
    }
    static void Clear(std::vector<Handle> & handles)
    {
        for (Handle handle : handles)
            g_ref_string_release(handle);
        handles = {};
    }
};
#endif

struct MutexAndSet
{
    using Handle = std::wstring const *;
    static inline std::mutex s_lock;
    static inline std::unordered_set<std::wstring> s_texts;
    static void Assign(Handle & handle, std::uint32_t text)
    {
        std::scoped_lock const guard(s_lock);
        handle = &*s_texts.insert(Texts()[text]).first;
    }
    static void Clear(std::vector<Handle> & handles)
    {
        s_texts = {};
        handles = {};
    }
};

template <class Way>
void Intern(benchmark::State & state)
{
    std::vector<std::uint32_t> const & order = Order();
    { // texts in the form that the peer takes
        std::vector<typename Way::Handle> one(1);
        Way::Assign(one[0], 0);
        Way::Clear(one);
    }
    auto const threads = static_cast<std::size_t>(state.range(0));
    double released = 0;
    static std::size_t bytes = 0; // the first run finds nothing kept from another
    for (auto _ : state)
    {
        std::vector<typename Way::Handle> handles(kAssignments);
        std::size_t const before = HeapBytes();
        state.SetIterationTime(RunThreads(threads,
                                          [&](std::size_t from, std::size_t to)
                                          {
                                              for (std::size_t i = from; i < to; ++i)
                                                  Way::Assign(handles[i], order[i]);
                                          }));
        bytes = std::max(bytes, HeapBytes() - before);
        auto const start = std::chrono::steady_clock::now();
        Way::Clear(handles);
        released += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kAssignments));
    state.counters["bytes_a_value"] = static_cast<double>(bytes) / kDistinct;
    state.counters["release_ms"] = released * 1000 / static_cast<double>(state.iterations());
}

#define WAY(name) BENCHMARK_TEMPLATE(Intern, name)->Arg(1)->Arg(2)->UseManualTime()->Unit(benchmark::kMillisecond)

WAY(Qvlib);
WAY(Flyweight);
#ifdef QVLIB_PEER_GLIB
WAY(GLib);
#endif
WAY(MutexAndSet);

} // namespace

BENCHMARK_MAIN();

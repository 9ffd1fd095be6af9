// Many timers in one place: set for the first time, set again, ended, and all due at once and called. The order in
// which they are set again and ended is a random one, and so are their delays. Peers: the timers of libuv, libevent
// (with its precise clock; the other one is up to four milliseconds old), Boost.Asio and GLib. A timer's record is made
// when it is set for the first time, and given back when it ends, where the peer can do so at once (libuv cannot). All
// go by the real clock; what is counted is the time that the thread itself has used. `per_op` is for one timer.
// Touch is what the memory alone costs: one line of it for each timer is changed, in the random order.
//
// QvTarget: 100,000 timers of one target; QvTargets: one timer each of 100,000 targets.

#include "qvlib/TimerController.h"
#include "qvlib/host/messages.h"

#include <benchmark/benchmark.h>
#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#ifdef QVLIB_PEER_UV
#include <uv.h>
#endif
#ifdef QVLIB_PEER_EVENT
#include <event2/event.h>
#endif
#ifdef QVLIB_PEER_GLIB
#include <glib.h>
#endif

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <ctime>
#include <memory>
#include <numeric>
#include <random>
#include <thread>
#include <vector>

#include <malloc.h>

namespace
{

std::size_t s_called = 0;

struct Target final : qvlib::ITimerEvents
{
    using ITimerEvents::OnTimeElapsed;
    void OnTimeElapsed(qvlib::CTimerController *, unsigned long) override { ++s_called; }
};

template <bool kOneTarget>
class Qv
{
public:
    explicit Qv(std::size_t count) : m_targets(kOneTarget ? 1 : count) { m_timers.Create(); }

    void Set(std::size_t i, unsigned milliseconds) { m_timers.SetTimer(Of(i), Event(i), milliseconds, true); }
    void SetAgain(std::size_t i, unsigned milliseconds) { Set(i, milliseconds); }
    void End(std::size_t i) { m_timers.KillTimer(Of(i), Event(i)); }
    void CallDue()
    {
        MSG message;
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE))
            DispatchMessageW(&message);
    }

private:
    Target * Of(std::size_t i) { return &m_targets[kOneTarget ? 0 : i]; }
    static unsigned long Event(std::size_t i) { return kOneTarget ? i : 1; }

    std::vector<Target> m_targets;
    qvlib::CTimerController m_timers;
};
using QvTarget = Qv<true>;
using QvTargets = Qv<false>;

#ifdef QVLIB_PEER_UV
class Uv
{
public:
    explicit Uv(std::size_t count) : m_timers(count) { uv_loop_init(&m_loop); }
    Uv(Uv const &) = delete;
    Uv & operator=(Uv const &) = delete;
    ~Uv()
    {
        uv_walk(
            &m_loop, [](uv_handle_t * handle, void *) { uv_close(handle, nullptr); }, nullptr);
        uv_run(&m_loop, UV_RUN_DEFAULT);
        uv_loop_close(&m_loop);
    }

    void Set(std::size_t i, unsigned milliseconds)
    {
        m_timers[i] = std::make_unique<uv_timer_t>();
        uv_timer_init(&m_loop, m_timers[i].get());
        SetAgain(i, milliseconds);
    }
    void SetAgain(std::size_t i, unsigned milliseconds)
    {
        uv_timer_start(
            m_timers[i].get(), [](uv_timer_t *) { ++s_called; }, milliseconds, 0);
    }
    void End(std::size_t i) { uv_timer_stop(m_timers[i].get()); }
    void CallDue() { uv_run(&m_loop, UV_RUN_NOWAIT); }

private:
    uv_loop_t m_loop;
    std::vector<std::unique_ptr<uv_timer_t>> m_timers;
};
#endif

#ifdef QVLIB_PEER_EVENT
class Event
{
public:
    explicit Event(std::size_t count) : m_timers(count)
    {
        event_config * const config = event_config_new();
        event_config_set_flag(config, EVENT_BASE_FLAG_PRECISE_TIMER);
        m_base = event_base_new_with_config(config);
        event_config_free(config);
    }
    Event(Event const &) = delete;
    Event & operator=(Event const &) = delete;
    ~Event()
    {
        for (std::size_t i = 0; i < m_timers.size(); ++i)
            End(i);
        event_base_free(m_base);
    }

    void Set(std::size_t i, unsigned milliseconds)
    {
        m_timers[i] = evtimer_new(
            m_base, [](evutil_socket_t, short, void *) { ++s_called; }, nullptr);
        SetAgain(i, milliseconds);
    }
    void SetAgain(std::size_t i, unsigned milliseconds)
    {
        timeval const delay{milliseconds / 1000, milliseconds % 1000 * 1000};
        evtimer_add(m_timers[i], &delay);
    }
    void End(std::size_t i)
    {
        if (m_timers[i] != nullptr)
            event_free(m_timers[i]);
        m_timers[i] = nullptr;
    }
    void CallDue() { event_base_loop(m_base, EVLOOP_NONBLOCK); }

private:
    event_base * m_base;
    std::vector<event *> m_timers;
};
#endif

class Asio
{
public:
    explicit Asio(std::size_t count) : m_timers(count) {}

    void Set(std::size_t i, unsigned milliseconds)
    {
        m_timers[i] = std::make_unique<boost::asio::steady_timer>(m_context);
        SetAgain(i, milliseconds);
    }
    void SetAgain(std::size_t i, unsigned milliseconds)
    {
        m_timers[i]->expires_after(std::chrono::milliseconds(milliseconds));
        m_timers[i]->async_wait([](boost::system::error_code const & error) { s_called += !error; });
    }
    void End(std::size_t i) { m_timers[i].reset(); }
    void CallDue() { m_context.poll(); }

private:
    boost::asio::io_context m_context{1};
    std::vector<std::unique_ptr<boost::asio::steady_timer>> m_timers;
};

#ifdef QVLIB_PEER_GLIB
class GLib
{
public:
    explicit GLib(std::size_t count) : m_context(g_main_context_new()), m_timers(count) {}
    GLib(GLib const &) = delete;
    GLib & operator=(GLib const &) = delete;
    ~GLib()
    {
        for (std::size_t i = 0; i < m_timers.size(); ++i)
            End(i);
        g_main_context_unref(m_context);
    }

    void Set(std::size_t i, unsigned milliseconds)
    {
        m_timers[i] = g_timeout_source_new(milliseconds);
        g_source_set_callback(
            m_timers[i],
            [](gpointer) -> gboolean
            {
                ++s_called;
                return G_SOURCE_REMOVE;
            },
            nullptr, nullptr);
        g_source_attach(m_timers[i], m_context);
    }
    void SetAgain(std::size_t i, unsigned milliseconds)
    {
        g_source_set_ready_time(m_timers[i], g_get_monotonic_time() + milliseconds * gint64{1000});
    }
    void End(std::size_t i)
    {
        if (m_timers[i] == nullptr)
            return;
        g_source_destroy(m_timers[i]);
        g_source_unref(m_timers[i]);
        m_timers[i] = nullptr;
    }
    void CallDue() { g_main_context_iteration(m_context, FALSE); }

private:
    GMainContext * m_context;
    std::vector<GSource *> m_timers;
};
#endif

/// Delays and an order, the same ones for all.
struct Plan
{
    explicit Plan(std::size_t count) : delays(count), later(count), order(count)
    {
        std::mt19937 random(7);
        std::uniform_int_distribution<unsigned> delay(100'000, 160'000);
        std::generate(delays.begin(), delays.end(), [&] { return delay(random); });
        std::generate(later.begin(), later.end(), [&] { return delay(random); });
        std::iota(order.begin(), order.end(), std::size_t{0});
        std::shuffle(order.begin(), order.end(), random);
    }
    std::vector<unsigned> delays;
    std::vector<unsigned> later;
    std::vector<std::size_t> order;
};

Plan const & PlanOf(std::size_t count)
{
    static Plan const small(10'000);
    static Plan const middle(100'000);
    static Plan const large(1'000'000);
    return count == 10'000 ? small : count == 100'000 ? middle : large;
}

/// What the thread itself has used, in seconds: other programs on the machine do not count.
double ThreadTime()
{
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

template <class Work>
void Time(benchmark::State & state, Work const & work)
{
    double const start = ThreadTime();
    work();
    state.SetIterationTime(ThreadTime() - start);
}

void Report(benchmark::State & state)
{
    state.counters["per_op"] =
        benchmark::Counter(static_cast<double>(state.range(0)),
                           benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

template <class Timers>
void Insert(benchmark::State & state)
{
    auto const count = static_cast<std::size_t>(state.range(0));
    Plan const & plan = PlanOf(count);
    for (auto _ : state)
    {
        auto const timers = std::make_unique<Timers>(count);
        Time(state,
             [&]
             {
                 for (std::size_t i = 0; i < count; ++i)
                     timers->Set(i, plan.delays[i]);
             });
    }
    Report(state);
}

template <class Timers>
void Replace(benchmark::State & state)
{
    auto const count = static_cast<std::size_t>(state.range(0));
    Plan const & plan = PlanOf(count);
    auto const timers = std::make_unique<Timers>(count);
    for (std::size_t i = 0; i < count; ++i)
        timers->Set(i, plan.delays[i]);
    bool later = true;
    for (auto _ : state)
    {
        Time(state,
             [&]
             {
                 // The delays are read in their own order, which costs nothing: a timer's are not looked up.
                 unsigned const * delay = (later ? plan.later : plan.delays).data();
                 for (std::size_t const i : plan.order)
                     timers->SetAgain(i, *delay++);
             });
        later = !later;
    }
    Report(state);
}

template <class Timers>
void Kill(benchmark::State & state)
{
    auto const count = static_cast<std::size_t>(state.range(0));
    Plan const & plan = PlanOf(count);
    for (auto _ : state)
    {
        auto const timers = std::make_unique<Timers>(count);
        for (std::size_t i = 0; i < count; ++i)
            timers->Set(i, plan.delays[i]);
        Time(state,
             [&]
             {
                 for (std::size_t const i : plan.order)
                     timers->End(i);
             });
    }
    Report(state);
}

template <class Timers>
void Fire(benchmark::State & state)
{
    auto const count = static_cast<std::size_t>(state.range(0));
    Plan const & plan = PlanOf(count);
    for (auto _ : state)
    {
        auto const timers = std::make_unique<Timers>(count);
        s_called = 0;
        unsigned const wait = static_cast<unsigned>(count / 1000 + 10); // longer than setting them takes
        for (std::size_t i = 0; i < count; ++i)
            timers->Set(i, wait + plan.delays[i] % 64);
        std::this_thread::sleep_for(std::chrono::milliseconds(wait + 80));
        Time(state,
             [&]
             {
                 while (s_called < count)
                     timers->CallDue();
             });
    }
    Report(state);
}

struct alignas(64) Line
{
    std::uint64_t value = 0;
};

void Touch(benchmark::State & state)
{
    auto const count = static_cast<std::size_t>(state.range(0));
    Plan const & plan = PlanOf(count);
    std::vector<Line> lines(count);
    for (auto _ : state)
        Time(state,
             [&]
             {
                 std::uint64_t last = 0;
                 for (std::size_t const i : plan.order)
                     last = ++lines[i].value;
                 benchmark::DoNotOptimize(last);
             });
    Report(state);
}
BENCHMARK(Touch)->Arg(100'000)->Arg(1'000'000)->UseManualTime()->Iterations(3);

#define QVLIB_TIMERS(timers, count)                                                                                    \
    BENCHMARK(Insert<timers>)->Arg(count)->UseManualTime()->Iterations(3);                                             \
    BENCHMARK(Replace<timers>)->Arg(count)->UseManualTime()->Iterations(3);                                            \
    BENCHMARK(Kill<timers>)->Arg(count)->UseManualTime()->Iterations(3);                                               \
    BENCHMARK(Fire<timers>)->Arg(count)->UseManualTime()->Iterations(3)

QVLIB_TIMERS(QvTarget, 100'000);
QVLIB_TIMERS(QvTargets, 100'000);
QVLIB_TIMERS(QvTarget, 1'000'000);
QVLIB_TIMERS(QvTargets, 1'000'000);
#ifdef QVLIB_PEER_UV
QVLIB_TIMERS(Uv, 100'000);
QVLIB_TIMERS(Uv, 1'000'000);
#endif
#ifdef QVLIB_PEER_EVENT
QVLIB_TIMERS(Event, 100'000);
QVLIB_TIMERS(Event, 1'000'000);
#endif
// A million of these take minutes.
QVLIB_TIMERS(Asio, 100'000);
#ifdef QVLIB_PEER_GLIB
QVLIB_TIMERS(GLib, 100'000);
#endif

} // namespace

int main(int argc, char ** argv)
{
    // A million timers are some 100 MB. They stay with the process once it has them, for all peers alike, so that not
    // how fast the system hands out pages is measured.
    mallopt(M_TRIM_THRESHOLD, 1 << 30);
    mallopt(M_MMAP_THRESHOLD, 1 << 30);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}

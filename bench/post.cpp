// Handing work to another thread. post: 1 and 2 producers hand 1,000,000 small owned commands to one thread, timed
// until all have run; the counter "allocations" is calls of operator new for each command, in a round of its own once
// all is warm. post_sync: the round trip of one command that is waited for.
//
// All consumers run one command after the other on a thread of their own, in the order of posting. The queue here and
// the Qt, GLib and Asio peers come back to their loop for each command; the floor (a mutex, a deque and a condition
// variable) has none, and the libuv peer takes all that waits in its deque at one wake-up.
#include <benchmark/benchmark.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <ctime>
#include <deque>
#include <memory>
#include <mutex>
#include <new>
#include <thread>
#include <vector>

#include <malloc.h>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>

#include "qvlib/AsyncCmdQueueThread.h"

#if defined(QVLIB_PEER_GLIB)
#include <glib.h>
#endif
#if defined(QVLIB_PEER_UV)
#include <uv.h>
#endif
#if defined(QVLIB_PEER_QT)
#include <QCoreApplication>
#include <QEvent>
#include <QObject>
#include <QThread>
#endif

namespace
{

constexpr long kCommands = 1'000'000;

std::atomic<bool> g_counting{false};
std::atomic<long> g_allocations{0};

} // namespace

// Counts while told to; malloc behind it, as the default has.
void * operator new(std::size_t size)
{
    if (g_counting.load(std::memory_order_relaxed))
        g_allocations.fetch_add(1, std::memory_order_relaxed);
    if (void * const memory = std::malloc(size))
        return memory;
    throw std::bad_alloc();
}
void operator delete(void * memory) noexcept { std::free(memory); }
void operator delete(void * memory, std::size_t) noexcept { std::free(memory); }

namespace
{

/// Counts the commands of a round on the consumer's thread and tells when all have run.
class Round
{
public:
    explicit Round(long commands) : m_left(commands) {}
    void Run()
    {
        if (--m_left == 0)
        {
            m_done.store(true, std::memory_order_release);
            m_done.notify_one();
        }
    }
    void Await() const { m_done.wait(false, std::memory_order_acquire); }

private:
    long m_left;
    std::atomic<bool> m_done{false};
};

/// The receipt of a command that is waited for, of the peers that have none of their own.
class Receipt
{
public:
    void Run()
    {
        std::lock_guard const lock(m_mutex);
        m_set = true;
        m_condition.notify_one();
    }
    void Await()
    {
        std::unique_lock lock(m_mutex);
        m_condition.wait(lock, [this] { return m_set; });
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_condition;
    bool m_set = false;
};

/// A command that is waited for: in the peer's own way if it has one.
template <class Peer>
void RoundTrip(Peer & peer)
{
    if constexpr (requires { peer.Sync(); })
        peer.Sync();
    else
    {
        Receipt receipt;
        peer.Give(receipt);
        receipt.Await();
    }
}

// The peers, each with a thread of its own. Give has the thread call Run of what it is given, once.

/// What the floor and the libuv peer keep in their deques.
struct Work
{
    virtual ~Work() = default;
    virtual void Run() = 0;
};
template <class What>
struct WorkOn : Work
{
    explicit WorkOn(What & given) : what(given) {}
    void Run() override { what.Run(); }
    What & what;
};

class Qvlib
{
    struct Counted : qvlib::CTLAsyncCmd
    {
        explicit Counted(Round & counted) : round(counted) {}
        void Execute() override { round.Run(); }
        Round & round;
    };
    struct Nothing : qvlib::CTLAsyncCmd
    {
        void Execute() override {}
    };

public:
    Qvlib() { m_queue.Create(); }
    ~Qvlib() { m_queue.Destroy(true); }
    void Give(Round & round) { m_queue.QueueCmd(new Counted(round), 0); }
    void Sync()
    {
        Nothing nothing;
        m_queue.SendCmd(nothing);
    }

private:
    qvlib::CTLAsyncCmdQueueThread m_queue;
};

class Floor
{
public:
    Floor() : m_thread([this] { Consume(); }) {}
    ~Floor()
    {
        Push(nullptr);
        m_thread.join();
    }
    template <class What>
    void Give(What & what)
    {
        Push(std::make_unique<WorkOn<What>>(what));
    }

private:
    void Push(std::unique_ptr<Work> work)
    {
        {
            std::lock_guard const lock(m_mutex);
            m_work.push_back(std::move(work));
        }
        m_condition.notify_one();
    }
    void Consume()
    {
        for (;;)
        {
            std::unique_lock lock(m_mutex);
            m_condition.wait(lock, [this] { return !m_work.empty(); });
            std::unique_ptr<Work> const work = std::move(m_work.front());
            m_work.pop_front();
            lock.unlock();
            if (!work)
                return;
            work->Run();
        }
    }

    std::mutex m_mutex;
    std::condition_variable m_condition;
    std::deque<std::unique_ptr<Work>> m_work;
    std::thread m_thread;
};

class Asio
{
public:
    Asio() : m_guard(m_context.get_executor()), m_thread([this] { m_context.run(); }) {}
    ~Asio()
    {
        m_guard.reset();
        m_thread.join();
    }
    template <class What>
    void Give(What & what)
    {
        boost::asio::post(m_context, [&what] { what.Run(); });
    }

private:
    boost::asio::io_context m_context;
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> m_guard;
    std::thread m_thread;
};

#if defined(QVLIB_PEER_GLIB)
class GLib
{
public:
    GLib() : m_context(g_main_context_new()), m_loop(g_main_loop_new(m_context, FALSE))
    {
        m_thread = std::thread(
            [this]
            {
                g_main_context_push_thread_default(m_context);
                g_main_loop_run(m_loop);
            });
        RoundTrip(*this); // until the thread owns the context, a post would run on the caller's
    }
    ~GLib()
    {
        Invoke(
            [](gpointer loop) -> gboolean
            {
                g_main_loop_quit(static_cast<GMainLoop *>(loop));
                return G_SOURCE_REMOVE;
            },
            m_loop);
        m_thread.join();
        g_main_loop_unref(m_loop);
        g_main_context_unref(m_context);
    }
    template <class What>
    void Give(What & what)
    {
        Invoke(
            [](gpointer data) -> gboolean
            {
                static_cast<What *>(data)->Run();
                return G_SOURCE_REMOVE;
            },
            &what);
    }

private:
    void Invoke(GSourceFunc function, gpointer data)
    {
        GSource * const source = g_idle_source_new();
        g_source_set_priority(source, G_PRIORITY_DEFAULT);
        g_source_set_callback(source, function, data, nullptr);
        g_source_attach(source, m_context);
        g_source_unref(source);
    }

    GMainContext * m_context;
    GMainLoop * m_loop;
    std::thread m_thread;
};
#endif

#if defined(QVLIB_PEER_UV)
class Uv
{
public:
    Uv()
    {
        uv_loop_init(&m_loop);
        uv_async_init(&m_loop, &m_async, [](uv_async_t * async) { static_cast<Uv *>(async->data)->Consume(); });
        m_async.data = this;
        m_thread = std::thread([this] { uv_run(&m_loop, UV_RUN_DEFAULT); });
    }
    ~Uv()
    {
        Push(nullptr);
        m_thread.join();
        uv_loop_close(&m_loop);
    }
    template <class What>
    void Give(What & what)
    {
        Push(std::make_unique<WorkOn<What>>(what));
    }

private:
    void Push(std::unique_ptr<Work> work)
    {
        {
            std::lock_guard const lock(m_mutex);
            m_work.push_back(std::move(work));
        }
        uv_async_send(&m_async);
    }
    void Consume()
    {
        std::deque<std::unique_ptr<Work>> taken;
        {
            std::lock_guard const lock(m_mutex);
            taken.swap(m_work);
        }
        for (std::unique_ptr<Work> & work : taken)
            if (work)
            {
                work->Run();
                work.reset();
            }
            else
                uv_close(reinterpret_cast<uv_handle_t *>(&m_async), nullptr);
    }

    uv_loop_t m_loop;
    uv_async_t m_async;
    std::mutex m_mutex;
    std::deque<std::unique_ptr<Work>> m_work;
    std::thread m_thread;
};
#endif

#if defined(QVLIB_PEER_QT)
class Qt5
{
    struct Counted : QEvent
    {
        explicit Counted(Round & counted) : QEvent(User), round(&counted) {}
        Round * round;
    };
    struct Receiver : QObject
    {
        bool event(QEvent * event) override
        {
            if (event->type() != QEvent::User)
                return QObject::event(event);
            static_cast<Counted *>(event)->round->Run();
            return true;
        }
    };

public:
    Qt5()
    {
        static int count = 0;
        static QCoreApplication application(count, nullptr);
        m_receiver.moveToThread(&m_thread);
        m_thread.start();
        Sync();
    }
    ~Qt5()
    {
        m_thread.quit();
        m_thread.wait();
    }
    void Give(Round & round) { QCoreApplication::postEvent(&m_receiver, new Counted(round)); }
    void Sync()
    {
        QMetaObject::invokeMethod(
            &m_receiver, [] {}, Qt::BlockingQueuedConnection);
    }

private:
    QThread m_thread;
    Receiver m_receiver;
};
#endif

/// Processor time of all threads since it was made.
class Used
{
public:
    double Nanoseconds() const { return static_cast<double>(std::clock() - m_start) * (1e9 / CLOCKS_PER_SEC); }

private:
    std::clock_t m_start = std::clock();
};

template <class Peer>
double RunRound(Peer & peer, int producers)
{
    Round round(kCommands);
    auto const start = std::chrono::steady_clock::now();
    auto const produce = [&]
    {
        for (long i = 0; i < kCommands / producers; ++i)
            peer.Give(round);
    };
    std::vector<std::thread> others;
    for (int i = 1; i < producers; ++i)
        others.emplace_back(produce);
    produce();
    round.Await();
    std::chrono::duration<double> const took = std::chrono::steady_clock::now() - start;
    for (std::thread & other : others)
        other.join();
    return took.count();
}

template <class Peer>
void post(benchmark::State & state)
{
    Peer peer;
    int const producers = static_cast<int>(state.range(0));
    RunRound(peer, producers); // warm
    Used used;
    for ([[maybe_unused]] auto _ : state)
        state.SetIterationTime(RunRound(peer, producers));
    state.counters["cpu_ns"] = used.Nanoseconds() / static_cast<double>(state.iterations() * kCommands);
    g_allocations = 0;
    g_counting = true;
    RunRound(peer, producers);
    g_counting = false;
    state.counters["allocations"] = static_cast<double>(g_allocations) / kCommands;
}

template <class Peer>
void post_sync(benchmark::State & state)
{
    Peer peer;
    RoundTrip(peer);
    Used used;
    for ([[maybe_unused]] auto _ : state)
        RoundTrip(peer);
    state.counters["cpu_ns"] = used.Nanoseconds() / static_cast<double>(state.iterations());
}

} // namespace

#define QVLIB_POST(peer)                                                                                               \
    BENCHMARK(post<peer>)->Arg(1)->Arg(2)->UseManualTime()->Unit(benchmark::kMillisecond);                             \
    BENCHMARK(post_sync<peer>)->UseRealTime()

QVLIB_POST(Qvlib);
QVLIB_POST(Floor);
QVLIB_POST(Asio);
#if defined(QVLIB_PEER_UV)
QVLIB_POST(Uv);
#endif
#if defined(QVLIB_PEER_GLIB)
QVLIB_POST(GLib);
#endif
#if defined(QVLIB_PEER_QT)
QVLIB_POST(Qt5);
#endif

int main(int argc, char ** argv)
{
    // A backlog of a million commands is some 40 MB. They stay with the process once it has them, for all peers alike,
    // so that rounds do not measure how fast the system hands out pages.
    mallopt(M_TRIM_THRESHOLD, 1 << 30);
    mallopt(M_MMAP_THRESHOLD, 1 << 30);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}

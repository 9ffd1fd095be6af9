// Events: made, signalled, taken and closed by one thread; handed to and fro between two; one of ten; ten at once. Each
// as qvlib's, as one mutex and condition variable for all events of a group (the floor: what a program with just this
// need would write), as eventfd with poll, and as WinPR's.

#include "events_peer_winpr.h"

#include "qvlib/host/sync.h"

#include <benchmark/benchmark.h>

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace
{

constexpr unsigned kMost = 10;

/// Auto-reset events, up to ten of them, for one thread to wait for.
class Ours
{
public:
    explicit Ours(unsigned count) : m_count(count)
    {
        for (unsigned i = 0; i < m_count; ++i)
            m_events[i] = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    }
    ~Ours()
    {
        for (unsigned i = 0; i < m_count; ++i)
            CloseHandle(m_events[i]);
    }
    void Set(unsigned i) { SetEvent(m_events[i]); }
    void Wait(unsigned i) { WaitForSingleObject(m_events[i], INFINITE); }
    unsigned WaitAny() { return WaitForMultipleObjects(m_count, m_events.data(), FALSE, INFINITE); }
    void WaitAll() { WaitForMultipleObjects(m_count, m_events.data(), TRUE, INFINITE); }

private:
    unsigned m_count;
    std::array<HANDLE, kMost> m_events;
};

class Floor
{
public:
    explicit Floor(unsigned count) : m_count(count) {}
    void Set(unsigned i)
    {
        {
            std::lock_guard const lock(m_mutex);
            m_set[i] = true;
        }
        m_condition.notify_one();
    }
    void Wait(unsigned i)
    {
        std::unique_lock lock(m_mutex);
        m_condition.wait(lock, [&] { return m_set[i]; });
        m_set[i] = false;
    }
    unsigned WaitAny()
    {
        std::unique_lock lock(m_mutex);
        for (;;)
        {
            for (unsigned i = 0; i < m_count; ++i)
                if (m_set[i])
                {
                    m_set[i] = false;
                    return i;
                }
            m_condition.wait(lock);
        }
    }
    void WaitAll()
    {
        std::unique_lock lock(m_mutex);
        m_condition.wait(lock,
                         [&]
                         {
                             for (unsigned i = 0; i < m_count; ++i)
                                 if (!m_set[i])
                                     return false;
                             return true;
                         });
        m_set.fill(false);
    }

private:
    unsigned m_count;
    std::mutex m_mutex;
    std::condition_variable m_condition;
    std::array<bool, kMost> m_set{};
};

class EventFd
{
public:
    explicit EventFd(unsigned count) : m_count(count)
    {
        for (unsigned i = 0; i < m_count; ++i)
            m_files[i] = {::eventfd(0, EFD_NONBLOCK), POLLIN, 0};
    }
    ~EventFd()
    {
        for (unsigned i = 0; i < m_count; ++i)
            ::close(m_files[i].fd);
    }
    void Set(unsigned i) { ::eventfd_write(m_files[i].fd, 1); }
    void Wait(unsigned i)
    {
        while (!Take(i))
            ::poll(&m_files[i], 1, -1);
    }
    unsigned WaitAny()
    {
        for (;;)
        {
            ::poll(m_files.data(), m_count, -1);
            for (unsigned i = 0; i < m_count; ++i)
                if (m_files[i].revents != 0 && Take(i))
                    return i;
        }
    }
    void WaitAll() // not at one moment
    {
        for (unsigned i = 0; i < m_count; ++i)
            Wait(i);
    }

private:
    bool Take(unsigned i)
    {
        eventfd_t value = 0;
        return ::eventfd_read(m_files[i].fd, &value) == 0;
    }

    unsigned m_count;
    std::array<pollfd, kMost> m_files;
};

template <class Events>
void CreateSetWaitClose(benchmark::State & state)
{
    for (auto _ : state)
    {
        Events events(1);
        benchmark::DoNotOptimize(&events);
        events.Set(0);
        events.Wait(0);
    }
}

template <class Events>
void SetWait(benchmark::State & state)
{
    Events events(1);
    for (auto _ : state)
    {
        events.Set(0);
        events.Wait(0);
    }
}

/// One thread's signal and the other's answer.
template <class Events>
void Exchange(benchmark::State & state, unsigned count)
{
    Events there(count);
    Events back(1);
    std::atomic<bool> stop{false};
    std::thread partner(
        [&]
        {
            for (;;)
            {
                if (count == 1)
                    there.Wait(0);
                else
                    benchmark::DoNotOptimize(there.WaitAny());
                if (stop)
                    return;
                back.Set(0);
            }
        });
    unsigned i = 0;
    for (auto _ : state)
    {
        there.Set(i++ % count);
        back.Wait(0);
    }
    stop = true;
    there.Set(0);
    partner.join();
}

template <class Events>
void PingPong(benchmark::State & state)
{
    Exchange<Events>(state, 1);
}

template <class Events>
void PingPongAnyOfTen(benchmark::State & state)
{
    Exchange<Events>(state, kMost);
}

template <class Events>
void WaitAnyOfTen(benchmark::State & state)
{
    Events events(kMost);
    unsigned i = 0;
    for (auto _ : state)
    {
        events.Set(i++ % kMost);
        benchmark::DoNotOptimize(events.WaitAny());
    }
}

template <class Events>
void WaitAllOfTen(benchmark::State & state)
{
    Events events(kMost);
    for (auto _ : state)
    {
        for (unsigned i = 0; i < kMost; ++i)
            events.Set(i);
        events.WaitAll();
    }
}

} // namespace

BENCHMARK(CreateSetWaitClose<Ours>);
BENCHMARK(CreateSetWaitClose<Floor>);
BENCHMARK(CreateSetWaitClose<EventFd>);
BENCHMARK(SetWait<Ours>);
BENCHMARK(SetWait<Floor>);
BENCHMARK(SetWait<EventFd>);
BENCHMARK(WaitAnyOfTen<Ours>);
BENCHMARK(WaitAnyOfTen<Floor>);
BENCHMARK(WaitAnyOfTen<EventFd>);
BENCHMARK(WaitAllOfTen<Ours>);
BENCHMARK(WaitAllOfTen<Floor>);
BENCHMARK(WaitAllOfTen<EventFd>);
BENCHMARK(PingPong<Ours>)->MeasureProcessCPUTime()->UseRealTime();
BENCHMARK(PingPong<Floor>)->MeasureProcessCPUTime()->UseRealTime();
BENCHMARK(PingPong<EventFd>)->MeasureProcessCPUTime()->UseRealTime();
BENCHMARK(PingPongAnyOfTen<Ours>)->MeasureProcessCPUTime()->UseRealTime();
BENCHMARK(PingPongAnyOfTen<Floor>)->MeasureProcessCPUTime()->UseRealTime();
BENCHMARK(PingPongAnyOfTen<EventFd>)->MeasureProcessCPUTime()->UseRealTime();
#ifdef QVLIB_PEER_WINPR
BENCHMARK(CreateSetWaitClose<WinPr>);
BENCHMARK(SetWait<WinPr>);
BENCHMARK(WaitAnyOfTen<WinPr>);
BENCHMARK(WaitAllOfTen<WinPr>);
BENCHMARK(PingPong<WinPr>)->MeasureProcessCPUTime()->UseRealTime();
BENCHMARK(PingPongAnyOfTen<WinPr>)->MeasureProcessCPUTime()->UseRealTime();
#endif

BENCHMARK_MAIN();

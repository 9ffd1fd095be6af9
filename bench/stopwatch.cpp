// What a reading of time costs: the stopwatches beside a bare clock_gettime, beside one whose result is made a double
// of microseconds by hand, and beside std::chrono's clock.
//
// clock_gettime holds the processor until everything before it is done, so what is done with the reading of one round
// (a division, as a rule) counts in full.

#include <qvlib/StopWatch.h>

#include <benchmark/benchmark.h>

#include <chrono>
#include <ctime>

namespace
{

void ClockGettime(benchmark::State & state)
{
    for (auto _ : state)
    {
        std::timespec now;
        clock_gettime(CLOCK_MONOTONIC, &now);
        benchmark::DoNotOptimize(now);
    }
}
BENCHMARK(ClockGettime);

void ClockGettimeMicroseconds(benchmark::State & state)
{
    std::timespec start;
    clock_gettime(CLOCK_MONOTONIC, &start);
    for (auto _ : state)
    {
        std::timespec now;
        clock_gettime(CLOCK_MONOTONIC, &now);
        benchmark::DoNotOptimize(
            static_cast<double>((now.tv_sec - start.tv_sec) * 1'000'000'000 + (now.tv_nsec - start.tv_nsec)) / 1000.0);
    }
}
BENCHMARK(ClockGettimeMicroseconds);

void ChronoSteadyClock(benchmark::State & state)
{
    auto const start = std::chrono::steady_clock::now();
    for (auto _ : state)
        benchmark::DoNotOptimize(std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start));
}
BENCHMARK(ChronoSteadyClock);

void QuickStopWatchStart(benchmark::State & state)
{
    qvlib::CTLQuickStopWatch watch;
    for (auto _ : state)
    {
        watch.ReStart();
        benchmark::DoNotOptimize(watch);
    }
}
BENCHMARK(QuickStopWatchStart);

void QuickStopWatchReading(benchmark::State & state)
{
    qvlib::CTLQuickStopWatch const watch;
    for (auto _ : state)
        benchmark::DoNotOptimize(watch.GetReading(qvlib::TimeUnitMicroseconds));
}
BENCHMARK(QuickStopWatchReading);

void QuickStopWatchSeconds(benchmark::State & state)
{
    qvlib::CTLQuickStopWatch const watch;
    for (auto _ : state)
        benchmark::DoNotOptimize(watch.GetReadingInSeconds());
}
BENCHMARK(QuickStopWatchSeconds);

void StopWatchReading(benchmark::State & state)
{
    qvlib::CTLStopWatch const watch(true);
    for (auto _ : state)
        benchmark::DoNotOptimize(watch.GetReading(qvlib::TimeUnitMicroseconds));
}
BENCHMARK(StopWatchReading);

void TimerRemaining(benchmark::State & state)
{
    qvlib::CTLTimer timer(0xFFFFFFFF, qvlib::TimeUnitMilliseconds);
    timer.Start(true);
    for (auto _ : state)
        benchmark::DoNotOptimize(timer.TimeoutExpired());
}
BENCHMARK(TimerRemaining);

} // namespace

BENCHMARK_MAIN();

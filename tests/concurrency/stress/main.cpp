// stress_concurrency [--seconds N] [--seed S]: runs queues, waits, threads and timers against each other for so long,
// and ends the process with a message when something does not hold. The seed decides what is done, not how the threads
// meet.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "concurrency/stress/ledger.h"

using namespace qvlib_stress;

namespace
{

struct Scenario
{
    char const * name;
    void (*run)(Dice &);
    long rounds = 0;
};

} // namespace

int main(int argc, char ** argv)
{
    double seconds = 5;
    std::uint64_t seed =
        static_cast<std::uint64_t>(std::chrono::system_clock::now().time_since_epoch() / std::chrono::microseconds(1));
    for (int i = 1; i + 1 < argc; i += 2)
    {
        if (std::strcmp(argv[i], "--seconds") == 0)
            seconds = std::atof(argv[i + 1]);
        else if (std::strcmp(argv[i], "--seed") == 0)
            seed = std::strtoull(argv[i + 1], nullptr, 10);
    }
    std::printf("seed %llu\n", static_cast<unsigned long long>(seed));
    std::fflush(stdout);

    Scenario scenarios[] = {
        {"many producers", &ManyProducers},
        {"sends across", &SendsAcross},
        {"destroyed by its command", &DestroyedByItsCommand},
        {"aborted waits", &AbortedWaits},
        {"storm of threads", &StormOfThreads},
        {"window dies with its thread", &WindowDiesWithItsThread},
        {"timers killed in callbacks", &TimersKilledInCallbacks},
    };
    Dice dice(seed);
    auto const end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    do
    {
        for (Scenario & scenario : scenarios)
        {
            scenario.run(dice);
            ++scenario.rounds;
        }
    } while (std::chrono::steady_clock::now() < end);
    for (Scenario const & scenario : scenarios)
        std::printf("%6ld rounds of %s\n", scenario.rounds, scenario.name);
    return 0;
}

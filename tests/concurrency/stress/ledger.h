// The ledger of a stress run: every command that is made must be run or cancelled, once, and then deleted.
#pragma once

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <random>
#include <utility>

#include "qvlib/AsyncCmd.h"

namespace qvlib_stress
{

/// Random decisions of one thread, the same for the same seed.
class Dice
{
public:
    explicit Dice(std::uint64_t seed) : m_engine(static_cast<std::mt19937::result_type>(seed ^ (seed >> 32))) {}
    /// 0 to n - 1.
    unsigned Roll(unsigned n) { return static_cast<unsigned>(m_engine() % n); }
    bool OneIn(unsigned n) { return Roll(n) == 0; }
    /// The seed for another thread.
    std::uint64_t Seed() { return m_engine(); }

private:
    std::mt19937 m_engine;
};

[[noreturn]] inline void Fail(char const * what)
{
    std::fprintf(stderr, "broken: %s\n", what);
    std::abort();
}

inline void Require(bool holds, char const * what)
{
    if (!holds)
        Fail(what);
}

class Ledger
{
public:
    std::atomic<long> made{0};
    std::atomic<long> executed{0};
    std::atomic<long> cancelled{0};
    std::atomic<long> deleted{0};

    /// At the end of a scenario, when no thread of it runs any more.
    void Balance() const
    {
        Require(made == deleted, "a command was leaked");
        Require(executed + cancelled == made, "a command was neither run nor cancelled");
    }
};

class Command : public qvlib::CTLAsyncCmd
{
public:
    explicit Command(Ledger & ledger, std::function<void()> body = {}) : m_ledger(ledger), m_body(std::move(body))
    {
        ++m_ledger.made;
    }
    Command(Command const &) = delete;
    Command & operator=(Command const &) = delete;
    ~Command() override
    {
        Require(m_over, "a command was deleted before it was run or cancelled");
        ++m_ledger.deleted;
    }

    void Execute() override
    {
        Require(!m_over.exchange(true), "a command was run after it was over");
        ++m_ledger.executed;
        if (m_body)
            m_body();
        m_finished = true;
    }
    void Canceled() override
    {
        Require(!m_over.exchange(true), "a command was cancelled after it was over");
        ++m_ledger.cancelled;
        m_finished = true;
    }
    /// Whether nothing of the command runs any more.
    bool IsFinished() const { return m_finished; }

private:
    Ledger & m_ledger;
    std::function<void()> m_body;
    std::atomic<bool> m_over{false};
    std::atomic<bool> m_finished{false};
};

// The scenarios. Each runs for some milliseconds and balances its own ledger.

void ManyProducers(Dice & dice);
void SendsAcross(Dice & dice);
void DestroyedByItsCommand(Dice & dice);
void AbortedWaits(Dice & dice);
void StormOfThreads(Dice & dice);
void WindowDiesWithItsThread(Dice & dice);
void TimersKilledInCallbacks(Dice & dice);

} // namespace qvlib_stress

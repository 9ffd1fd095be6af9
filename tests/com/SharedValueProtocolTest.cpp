// Walks through every order in which three threads can take the atomic steps of assigning and releasing shared values,
// on the counts that the heap itself uses, and does the same with the steps broken on purpose.

#include "qvlib/detail/EntryCount.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

namespace
{

/// A number whose steps are atomic because the explorer takes them one at a time.
struct PlainNumber
{
    std::int32_t value = 0;

    explicit PlainNumber(std::int32_t start) : value(start) {}
    void store(std::int32_t to, std::memory_order) { value = to; }
    std::int32_t load(std::memory_order) const { return value; }
    std::int32_t fetch_add(std::int32_t by, std::memory_order)
    {
        value += by;
        return value - by;
    }
    std::int32_t fetch_sub(std::int32_t by, std::memory_order) { return fetch_add(-by, {}); }
    bool compare_exchange_weak(std::int32_t const &, std::int32_t to, std::memory_order, std::memory_order)
    {
        value = to; // nobody came in between
        return true;
    }
};

using Count = qvlib::detail::EntryCount<PlainNumber>;

enum class Broken
{
    nothing,
    revivesWithoutPaying,
    addsToNone,
    endsAtMinusOneOnly,
    dropsOnce,
    trustsWhatItFound,
};

constexpr int kNone = -1;
constexpr int kClear = 9; // in a script: release the handle; any other number is a value to assign

struct Entry
{
    Count count;
    int value = kNone; // none: the place is free
};

enum class At : char
{
    start,
    tryAdd,
    compare,
    lockToFind,
    find,
    addFound,
    pay,
    unlockFound,
    drop,
    lockToEnd,
    end,
    unlockEnded,
};

struct Thread
{
    std::size_t script = 0; // the operation
    At at = At::start;
    int found = kNone;    // the entry at hand
    int dropping = kNone; // the entry that is being released
    bool isNew = false;
    bool ended = false;
    bool again = false; // what is being released was found by mistake: the assignment goes on with the lock
    int handle = kNone;
    int value = kNone;
};

struct State
{
    std::array<Entry, 2> entries;
    std::array<Thread, 3> threads;
    int lock = kNone;
    int heap = 1; // references; one is the process's

    std::string Key() const
    {
        std::string key;
        for (Entry const & entry : entries)
            key += {static_cast<char>(entry.count.Value()), static_cast<char>(entry.value)};
        for (Thread const & t : threads)
            key += {static_cast<char>(t.script),   static_cast<char>(t.at),     static_cast<char>(t.found),
                    static_cast<char>(t.dropping), static_cast<char>(t.isNew),  static_cast<char>(t.ended),
                    static_cast<char>(t.again),    static_cast<char>(t.handle), static_cast<char>(t.value)};
        return key += {static_cast<char>(lock), static_cast<char>(heap)};
    }
};

class Explorer
{
public:
    using Scripts = std::array<std::vector<int>, 3>;

    Explorer(Scripts scripts, Broken broken) : m_scripts(std::move(scripts)), m_broken(broken) {}

    /// The first fault of any order, or nothing.
    std::string Run()
    {
        std::vector<State> open{State()};
        while (!open.empty() && m_fault.empty())
        {
            State const state = open.back();
            open.pop_back();
            bool moved = false;
            bool done = true;
            for (int i = 0; i < 3; ++i)
            {
                if (m_scripts[static_cast<std::size_t>(i)].size() == state.threads[static_cast<std::size_t>(i)].script)
                    continue;
                done = false;
                State next = state;
                if (!Step(next, i))
                    continue;
                moved = true;
                Check(next);
                if (m_seen.insert(next.Key()).second)
                    open.push_back(next);
            }
            if (done)
                CheckEnd(state);
            else if (!moved)
                Fault("nobody can go on");
        }
        return m_fault;
    }
    std::size_t States() const { return m_seen.size(); }

private:
    void Fault(char const * what)
    {
        if (m_fault.empty())
            m_fault = what;
    }

    // What must hold at every moment.
    void Check(State const & state)
    {
        for (Thread const & thread : state.threads)
            if (thread.handle != kNone)
            {
                Entry const & entry = state.entries[static_cast<std::size_t>(thread.handle)];
                if (entry.value != thread.value)
                    Fault("a handle is on an entry that ended");
                if (entry.count.Value() < 1)
                    Fault("a handle is not counted");
            }
        if (state.heap < 1)
            Fault("the heap ended under its users");
        if (state.entries[0].value != kNone && state.entries[0].value == state.entries[1].value)
            Fault("one value has two entries");
    }
    // What must hold when everybody is done.
    void CheckEnd(State const & state)
    {
        int live = 0;
        for (std::size_t i = 0; i < state.entries.size(); ++i)
        {
            int handles = 0;
            for (Thread const & thread : state.threads)
                handles += thread.handle == static_cast<int>(i) ? 1 : 0;
            bool const there = state.entries[i].value != kNone;
            live += there ? 1 : 0;
            if (there != (handles != 0))
                Fault(there ? "an entry stayed without handles" : "an entry went with handles on it");
            if (there && state.entries[i].count.Value() != handles)
                Fault("a count is not that of the handles");
        }
        if (state.heap != 1 + live)
            Fault("the heap's references are not those of its entries");
    }

    static int Find(State const & state, int value)
    {
        for (std::size_t i = 0; i < state.entries.size(); ++i)
            if (state.entries[i].value == value)
                return static_cast<int>(i);
        return kNone;
    }
    static bool TakeLock(State & state, int thread)
    {
        if (state.lock != kNone)
            return false;
        state.lock = thread;
        return true;
    }

    /// One atomic step of a thread. False when it has to wait.
    bool Step(State & state, int index)
    {
        Thread & t = state.threads[static_cast<std::size_t>(index)];
        int const operation = m_scripts[static_cast<std::size_t>(index)][t.script];
        auto const entry = [&](int at) -> Entry & { return state.entries[static_cast<std::size_t>(at)]; };
        auto const finish = [&]
        {
            ++t.script;
            t.at = At::start;
            t.found = t.dropping = kNone;
            t.isNew = t.ended = t.again = false;
        };
        auto const putOn = [&] { // the handle is the thread's own, so this is no step of its own
            t.dropping = t.handle;
            t.handle = t.found;
            t.value = operation;
            if (t.dropping == kNone)
                finish();
            else
                t.at = At::drop;
        };

        switch (t.at)
        {
        case At::start:
            if (operation == kClear ? t.handle == kNone : t.handle != kNone && t.value == operation)
                finish();
            else if (operation == kClear)
            {
                t.dropping = std::exchange(t.handle, kNone);
                t.at = At::drop;
            }
            else
            {
                t.found = Find(state, operation);
                t.at = t.found != kNone ? At::tryAdd : At::lockToFind;
            }
            break;
        case At::tryAdd: // what was found may have ended and be another value's by now
        {
            bool added = entry(t.found).count.TryAdd();
            if (!added && m_broken == Broken::addsToNone)
            {
                entry(t.found).count.AddToHeld();
                added = true;
            }
            t.at = added ? At::compare : At::lockToFind;
            break;
        }
        case At::compare:
            if (entry(t.found).value == operation || m_broken == Broken::trustsWhatItFound)
                putOn();
            else
            {
                t.dropping = t.found;
                t.again = true;
                t.at = At::drop;
            }
            break;
        case At::lockToFind:
            if (!TakeLock(state, index))
                return false;
            t.at = At::find;
            break;
        case At::find:
            t.found = Find(state, operation);
            t.isNew = t.found == kNone;
            if (t.isNew)
            {
                t.found = Find(state, kNone);
                if (t.found == kNone)
                {
                    Fault("an entry that ended still takes up its place");
                    return false;
                }
                entry(t.found).value = operation;
                entry(t.found).count.Start();
            }
            t.at = At::addFound;
            break;
        case At::addFound:
            t.at = entry(t.found).count.AddFound() ? At::pay : At::unlockFound;
            break;
        case At::pay:
            if (t.isNew)
                ++state.heap;
            else if (m_broken != Broken::revivesWithoutPaying)
                entry(t.found).count.Revive();
            t.at = At::unlockFound;
            break;
        case At::unlockFound:
            state.lock = kNone;
            putOn();
            break;
        case At::drop:
            if (entry(t.dropping).count.Drop())
                t.at = At::lockToEnd;
            else if (t.again)
            {
                t.again = false;
                t.at = At::lockToFind;
            }
            else
                finish();
            break;
        case At::lockToEnd:
            if (!TakeLock(state, index))
                return false;
            t.at = At::end;
            break;
        case At::end:
        {
            std::int32_t const before = entry(t.dropping).count.Value();
            t.ended = m_broken == Broken::dropsOnce || entry(t.dropping).count.DropAgain();
            if (m_broken == Broken::endsAtMinusOneOnly)
                t.ended = before == 0;
            if (t.ended)
            {
                if (entry(t.dropping).value == kNone)
                    Fault("an entry ended twice");
                entry(t.dropping).value = kNone;
            }
            t.at = At::unlockEnded;
            break;
        }
        case At::unlockEnded:
            state.lock = kNone;
            if (t.ended)
                --state.heap;
            if (t.again)
            {
                t.again = t.ended = false;
                t.at = At::lockToFind;
            }
            else
                finish();
            break;
        }
        return true;
    }

    Scripts m_scripts;
    Broken m_broken;
    std::unordered_set<std::string> m_seen;
    std::string m_fault;
};

Explorer::Scripts const kScripts[] = {
    {{{1, kClear, 1}, {1, kClear}, {1, kClear}}},       // one value, dying and revived
    {{{1, 2, kClear}, {2, 1}, {1, kClear}}},            // two values, handles that move
    {{{1, kClear, 2}, {1, kClear, 2, kClear}, {2, 1}}}, // places that pass from value to value
    {{{1, kClear, 1, kClear}, {1, kClear, 1}, {1, kClear, 1, kClear}}},
};

TEST(SharedValueProtocol, NoOrderOfStepsMiscounts)
{
    std::size_t states = 0;
    for (Explorer::Scripts const & scripts : kScripts)
    {
        Explorer explorer(scripts, Broken::nothing);
        EXPECT_EQ(explorer.Run(), "");
        states += explorer.States();
    }
    EXPECT_GT(states, 10000U); // it did look
    RecordProperty("states", static_cast<int>(states));
}

TEST(SharedValueProtocol, EveryBrokenStepIsFound)
{
    for (Broken const broken : {Broken::revivesWithoutPaying, Broken::addsToNone, Broken::endsAtMinusOneOnly,
                                Broken::dropsOnce, Broken::trustsWhatItFound})
    {
        std::string fault;
        for (Explorer::Scripts const & scripts : kScripts)
            if (fault.empty())
                fault = Explorer(scripts, broken).Run();
        EXPECT_NE(fault, "") << "broken in way " << static_cast<int>(broken);
    }
}

} // namespace

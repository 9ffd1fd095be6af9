// A worker thread counts primes and reports its progress to the thread that started it. Each of the two has a queue:
// what one thread wants done on the other it hands over as a command, so neither shares anything else with the other.
#include <qvlib/AsyncCmdQueueThread.h>

#include <functional>
#include <iostream>
#include <utility>

namespace
{

/// A command from a function.
class Call : public qvlib::CTLAsyncCmd
{
public:
    explicit Call(std::function<void()> function) : m_function(std::move(function)) {}
    void Execute() override { m_function(); }

private:
    std::function<void()> m_function;
};

bool IsPrime(int number)
{
    for (int divisor = 2; divisor * divisor <= number; ++divisor)
        if (number % divisor == 0)
            return false;
    return number > 1;
}

/// Runs on the worker: one part of the work, then a report, then the next part as a command of its own, so that urgent
/// commands find their way in between.
void CountPart(qvlib::CTLAsyncCmdQueue & worker, qvlib::CTLAsyncCmdQueue & caller, int from, int end, int found)
{
    int const to = from + 10000;
    for (int number = from; number < to; ++number)
        found += IsPrime(number) ? 1 : 0;
    caller.QueueCmd(new Call([to, end, found]
                             { std::cout << to * 100 / end << " %: " << found << " primes below " << to << '\n'; }),
                    0);
    if (to < end)
        worker.QueueCmd(new Call([&worker, &caller, to, end, found] { CountPart(worker, caller, to, end, found); }), 0);
    else
        caller.QueueCmd(new Call([] { ::PostQuitMessage(0); }), 0);
}

} // namespace

int main()
{
    qvlib::CTLAsyncCmdQueue caller;
    qvlib::CTLAsyncCmdQueueThread worker;
    if (!caller.Create() || !worker.Create())
        return 1;
    worker.QueueCmd(new Call([&] { CountPart(worker, caller, 0, 50000, 0); }), 0);

    // This thread's loop: the reports run here, among whatever other messages the thread has.
    MSG message{};
    while (::GetMessageW(&message, nullptr, 0, 0) > 0)
        ::DispatchMessageW(&message);

    worker.Destroy(true);
    std::cout << "done\n";
    return 0;
}

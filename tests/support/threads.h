// Runs the same work on several threads at once.
#pragma once

#include <thread>
#include <vector>

namespace qvlib_test
{

/// Calls work(0) to work(count - 1), each on a thread of its own, and returns when all have ended.
template <class Work>
void OnThreads(int count, Work const & work)
{
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i)
        threads.emplace_back([&work, i] { work(i); });
    for (std::thread & thread : threads)
        thread.join();
}

} // namespace qvlib_test

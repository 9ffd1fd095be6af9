// Helps tests of waits to start when the others really wait, without a pause of guessed length.
#pragma once

#include <atomic>
#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <utility>

#include <sys/syscall.h>
#include <unistd.h>

namespace qvlib_test
{

/// A thread that runs a function, usually one that waits.
class Sleeper
{
public:
    explicit Sleeper(std::function<void()> work)
        : m_thread(
              [this, work = std::move(work)]
              {
                  m_number = static_cast<int>(::syscall(SYS_gettid));
                  work();
                  m_done = true;
              })
    {
    }
    ~Sleeper() { Join(); }

    /// Returns once the thread sleeps in the system (a few looks in a row), or has ended.
    void AwaitAsleep() const
    {
        for (int looks = 0; looks < 4 && !m_done;)
        {
            std::ifstream status("/proc/self/task/" + std::to_string(m_number.load()) + "/stat");
            std::string line;
            std::getline(status, line);
            std::size_t const name = line.rfind(") ");
            looks = name != std::string::npos && line[name + 2] == 'S' ? looks + 1 : 0;
            std::this_thread::yield();
        }
    }
    bool Done() const { return m_done; }
    void Join()
    {
        if (m_thread.joinable())
            m_thread.join();
    }

private:
    std::atomic<int> m_number{0};
    std::atomic<bool> m_done{false};
    std::thread m_thread;
};

} // namespace qvlib_test

// A sampler driven by timers: three timers of one target, called back on the thread that takes the messages. The clock
// is moved by hand, so that the program runs at once and prints the same every time; without the ManualClock the same
// code runs in real time, with GetMessageW in place of AdvanceToNextTimer and PeekMessageW.

#include "example.h"

#include <qvlib/TimerController.h>
#include <qvlib/host/clock.h>
#include <qvlib/host/messages.h>

namespace
{

class Sampler final : public qvlib::ITimerEvents
{
public:
    explicit Sampler(qvlib::CTimerController & timers) : m_timers(timers)
    {
        m_timers.SetTimer(this, kSample, 250, false);
        // Reports are due at whole quarters of a minute by the wall clock; the first one when it is next 12:00:15.
        m_timers.SetTimerInSeconds(this, kReport, qvlib::CTime(12, 0, 15), 15, false);
        m_timers.SetTimerInSeconds(this, kEnd, 40, true);
    }
    ~Sampler() { m_timers.KillTimers(this); }

    using ITimerEvents::OnTimeElapsed;
    void OnTimeElapsed(unsigned long timer) override
    {
        switch (timer)
        {
        case kSample:
            ++m_samples;
            m_sum += timeGetTime() % 1000; // something that changes
            break;
        case kReport:
            std::cout << Utf8(qvlib::CDateTime::Now().Format(L"%H:%M:%S")) << "  " << m_samples << " samples, mean "
                      << m_sum / m_samples << '\n';
            m_samples = m_sum = 0;
            break;
        default:
            m_timers.KillTimers(this); // a callback may end any timer, its own included
            std::cout << "the end, " << m_timers.GetSize() << " timers are left\n";
        }
    }

private:
    static constexpr unsigned long kSample = 1;
    static constexpr unsigned long kReport = 2;
    static constexpr unsigned long kEnd = 3;

    qvlib::CTimerController & m_timers;
    unsigned long m_samples = 0;
    unsigned long m_sum = 0;
};

void DispatchMessages()
{
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE))
        DispatchMessageW(&message);
}

} // namespace

int main()
{
    qvlib::host::ManualClock clock(0, 1700049610); // 12:00:10 on 15 November 2023
    qvlib::CTimerController timers;
    timers.Create(); // this thread is the one that is called
    Sampler const sampler(timers);
    std::cout << timers.GetSize() << " timers over " << clock.PendingTimers() << " of the platform\n";

    clock.Advance(2000); // the thread was busy: no sample is left out, eight come in a row
    DispatchMessages();
    while (clock.AdvanceToNextTimer())
        DispatchMessages();
}

// A wait that somebody breaks: the thread waits for a worker to finish, shows its progress meanwhile, and gives up when
// the cancel button is pressed, here by the handler of the third message.

#include <qvlib/Event.h>
#include <qvlib/MsgWnd.h>
#include <qvlib/WaitingLoops.h>

#include <iostream>
#include <thread>

namespace
{

constexpr unsigned int kProgress = 0xBFFF; // a message of this program

/// Shows the steps of the worker, on the thread that waits.
class ProgressWindow : public qvlib::CTLMsgWnd
{
public:
    explicit ProgressWindow(unsigned int cancelAt) : m_cancelAt(cancelAt) { Create(); }
    ~ProgressWindow() override { Destroy(); }

    qvlib::CTLEvent m_shown;

protected:
    bool OnWndMsg(unsigned int msg, WPARAM wParam, LPARAM lParam, LRESULT * result) override
    {
        if (msg != kProgress)
            return CTLMsgWnd::OnWndMsg(msg, wParam, lParam, result);
        std::cout << "  step " << wParam << '\n';
        if (wParam == m_cancelAt)
            qvlib::PostAbortWaitingLoopMessage(0); // any thread may, with the id of the thread that waits
        else
            m_shown.SetEvent();
        return true;
    }

private:
    unsigned int const m_cancelAt;
};

void Run(unsigned int cancelAt)
{
    ProgressWindow window(cancelAt);
    qvlib::CTLEvent stop(false, true), done(false, true);
    std::thread worker(
        [&]
        {
            void * const wakers[] = {stop, window.m_shown};
            for (unsigned int step = 1; step <= 5; ++step)
            {
                window.PostMessageW(kProgress, step, 0);
                if (WaitForMultipleObjects(2, wakers, FALSE, INFINITE) == WAIT_OBJECT_0)
                    break;
            }
            done.SetEvent();
        });

    std::cout << "waiting\n";
    bool const finished = qvlib::WaitOnHandleWithMessageLoop(done, INFINITE, true);
    std::cout << (finished ? "finished\n" : "canceled\n");
    stop.SetEvent();
    worker.join();
}

} // namespace

int main()
{
    Run(0);
    Run(3);
    bool const inTime = qvlib::WaitOnHandleWithMessageLoop(qvlib::CTLEvent(), 10, true);
    std::cout << (inTime ? "signalled\n" : "time is over\n");
    return 0;
}

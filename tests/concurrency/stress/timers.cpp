#include <array>
#include <memory>

#include "concurrency/message_support.h"
#include "concurrency/stress/ledger.h"
#include "qvlib/TimerController.h"

namespace qvlib_stress
{

using namespace qvlib;

namespace
{

constexpr unsigned kTargets = 8;
constexpr unsigned kEvents = 3;
constexpr int kCallbacks = 60;

class Target;

/// A controller with targets that set, replace and end each other's timers, delete each other, and delete it.
struct Rig
{
    explicit Rig(std::uint64_t seed) : dice(seed) {}

    std::unique_ptr<CTimerController> controller = std::make_unique<CTimerController>();
    std::array<std::unique_ptr<Target>, kTargets> targets;
    Dice dice;
    int callbacks = 0;
};

class Target : public ITimerEvents
{
public:
    explicit Target(Rig & rig) : m_rig(rig) {}
    Target(Target const &) = delete;
    Target & operator=(Target const &) = delete;
    virtual ~Target()
    {
        if (m_rig.controller)
            m_rig.controller->KillTimers(this);
        m_alive = 0;
    }

    void SetAny()
    {
        m_rig.controller->SetTimer(this, m_rig.dice.Roll(kEvents), 1 + m_rig.dice.Roll(3), m_rig.dice.OneIn(4));
    }

    void OnTimeElapsed(unsigned long /*eventId*/) override
    {
        Require(m_alive == kAlive, "a timer called a target that is gone");
        Require(m_rig.controller != nullptr, "a controller that is gone called back");
        Rig & rig = m_rig; // this target may delete itself below
        ++rig.callbacks;
        unsigned const other = rig.dice.Roll(kTargets);
        switch (rig.dice.Roll(8))
        {
        case 0:
            rig.controller->KillTimers(rig.targets[other].get());
            break;
        case 1:
            rig.controller->KillTimer(this, rig.dice.Roll(kEvents));
            break;
        case 2:
            rig.targets[other] = std::make_unique<Target>(rig);
            rig.targets[other]->SetAny();
            break;
        case 3:
            qvlib_test::Pump(); // no second round of callbacks starts inside
            break;
        case 4:
            rig.controller->TimeChanged();
            break;
        case 5:
            if (rig.dice.OneIn(10))
                rig.controller->KillAllTimers();
            break;
        default:
            rig.targets[other]->SetAny();
        }
        if (rig.callbacks == kCallbacks)
            rig.controller.reset();
    }
    using ITimerEvents::OnTimeElapsed;

private:
    static constexpr unsigned kAlive = 0x5EED;

    Rig & m_rig;
    unsigned volatile m_alive = kAlive; // read after the end, to catch what should not be
};

} // namespace

void TimersKilledInCallbacks(Dice & dice)
{
    Rig rig(dice.Seed());
    Require(rig.controller->Create(), "no window for timers");
    for (std::unique_ptr<Target> & target : rig.targets)
    {
        target = std::make_unique<Target>(rig);
        target->SetAny();
    }
    while (rig.controller)
    {
        if (rig.controller->IsEmpty())
            rig.targets[0]->SetAny();
        ::WaitMessage();
        qvlib_test::Pump();
    }
    Require(rig.callbacks == kCallbacks, "a callback came after the controller's end");
}

} // namespace qvlib_stress

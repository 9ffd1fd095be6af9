#include "qvlib/AsyncCmd.h"

#include "qvlib/host/sync.h"

namespace qvlib
{

namespace
{

/// Sets an event on leaving. Keeps the handle itself: the command may be gone by then.
class SignalAtEnd
{
public:
    explicit SignalAtEnd(void * event) noexcept : m_event(event) {}
    SignalAtEnd(SignalAtEnd const &) = delete;
    SignalAtEnd & operator=(SignalAtEnd const &) = delete;
    ~SignalAtEnd() { ::SetEvent(m_event); }

private:
    void * m_event;
};

} // namespace

CTLAsyncCmd::~CTLAsyncCmd() = default;
void CTLAsyncCmd::Canceled() {}

CTLSyncAsyncCmd::~CTLSyncAsyncCmd() = default;

void CTLSyncAsyncCmd::Execute()
{
    SignalAtEnd const signal(m_event);
    if (m_command != nullptr)
        m_command->Execute();
}

void CTLSyncAsyncCmd::Canceled()
{
    SignalAtEnd const signal(m_event);
    if (m_command != nullptr)
        m_command->Canceled();
}

CTLEmptySyncAsyncCmd::~CTLEmptySyncAsyncCmd() = default;
void CTLEmptySyncAsyncCmd::Execute() { ::SetEvent(m_event); }
void CTLEmptySyncAsyncCmd::Canceled() { ::SetEvent(m_event); }

} // namespace qvlib

// The names of events, known to this process.
#pragma once

#include "host/linux/internal/waitable.h"
#include "qvlib/host/types.h"

namespace qvlib::host
{

/// Holds the names, if `wanted`, for as long as it lives; above the objects' locks.
class EventNamesLock
{
public:
    explicit EventNamesLock(bool wanted) noexcept;
    ~EventNamesLock();
    EventNamesLock(EventNamesLock const &) = delete;
    EventNamesLock & operator=(EventNamesLock const &) = delete;

    /// The last handle of the event is closed: its name is free.
    void Forget(Waitable & event) const noexcept;

private:
    bool m_held;
};

} // namespace qvlib::host

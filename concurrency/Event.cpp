#include "qvlib/Event.h"

#include "foundation/internal/narrow32.h"
#include "qvlib/Exceptions.h"

namespace qvlib
{

CTLEvent::CTLEvent(bool initialState, bool manualReset, wchar_t const * name, SECURITY_ATTRIBUTES * attributes)
    : m_handle(CreateEventW(attributes, manualReset ? TRUE : FALSE, initialState ? TRUE : FALSE, name))
{
    if (m_handle == nullptr)
        throw resource_error();
}

CTLEvent::~CTLEvent()
{
    if (m_handle != nullptr)
        CloseHandle(m_handle);
    m_handle = nullptr;
}

bool CTLEvent::Lock(unsigned long timeout)
{
    return WaitForSingleObject(m_handle, internal::NarrowULong(timeout)) == WAIT_OBJECT_0;
}

bool CTLEvent::SetEvent(void * event) { return ::SetEvent(event) != FALSE; }
bool CTLEvent::ResetEvent(void * event) { return ::ResetEvent(event) != FALSE; }
bool CTLEvent::PulseEvent(void * event) { return ::PulseEvent(event) != FALSE; }

} // namespace qvlib

#include "qvlib/GlobalHandle.h"

#include "qvlib/host/memory.h"

#include <cstring>
#include <utility>

namespace qvlib
{

CTLGlobalHandle::CTLGlobalHandle(unsigned long size, unsigned int flags) : m_handle(GlobalAlloc(flags, size)) {}

CTLGlobalHandle::CTLGlobalHandle(void * handle, bool copy)
{
    if (copy)
        Copy(handle);
    else
        m_handle = handle;
}

void CTLGlobalHandle::Release() noexcept
{
    if (m_handle != nullptr)
        GlobalFree(std::exchange(m_handle, nullptr));
}

void CTLGlobalHandle::Attach(void * handle) noexcept
{
    Release();
    m_handle = handle;
}

void * CTLGlobalHandle::Detach() noexcept { return std::exchange(m_handle, nullptr); }

void CTLGlobalHandle::Copy(void * source)
{
    // The block at hand goes last, as it may be the source.
    SIZE_T const size = GlobalSize(source);
    void * const copy = GlobalAlloc(GMEM_FIXED, size);
    if (copy != nullptr)
    {
        if (void const * const bytes = GlobalLock(source); bytes != nullptr)
        {
            std::memcpy(copy, bytes, size);
            GlobalUnlock(source);
        }
    }
    Attach(copy);
}

} // namespace qvlib

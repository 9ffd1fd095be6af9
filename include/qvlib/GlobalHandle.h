// CTLGlobalHandle: the owner of a block of the platform's global memory (host/memory.h).
//
//     qvlib::CTLGlobalHandle block(64, GMEM_MOVEABLE);
//     if (block.good())
//         Give(block.Detach());
//
// Thread rule: thread-compatible.
#pragma once

#include "qvlib/export.h"

namespace qvlib
{

class QVLIB_API CTLGlobalHandle
{
public:
    /// No block.
    CTLGlobalHandle() noexcept = default;
    /// A new block of `size` bytes, with the flags of GlobalAlloc (GMEM_). None when memory is short.
    CTLGlobalHandle(unsigned long size, unsigned int flags);
    /// Takes the block over, or with `copy` makes one of its own of it.
    CTLGlobalHandle(void * handle, bool copy);
    CTLGlobalHandle(CTLGlobalHandle const &) = delete;
    CTLGlobalHandle & operator=(CTLGlobalHandle const &) = delete;
    ~CTLGlobalHandle() { Release(); }

    /// Frees the block.
    void Release() noexcept;
    /// Frees the block and takes over another, which must not be the same.
    void Attach(void * handle) noexcept;
    /// Gives the block to the caller, who frees it.
    void * Detach() noexcept;
    /// Frees the block and makes a copy of another, at a fixed address. None when memory is short.
    void Copy(void * source);

    /// Null when there is no block. Still this object's to free.
    void * GetHandle() const noexcept { return m_handle; }
    operator void *() const noexcept { return m_handle; }
    /// Whether there is a block.
    bool good() const noexcept { return m_handle != nullptr; }
    bool operator!() const noexcept { return m_handle == nullptr; }

private:
    void * m_handle = nullptr;
};

} // namespace qvlib

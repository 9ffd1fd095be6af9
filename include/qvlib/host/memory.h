// The platform's global memory blocks and the record that hands one to another component.
//
//     HGLOBAL const block = GlobalAlloc(GMEM_MOVEABLE, 16);
//     if (void * const bytes = GlobalLock(block))
//     {
//         std::memcpy(bytes, source, 16);
//         GlobalUnlock(block);
//     }
//     GlobalFree(block);
//
// All functions are thread-safe as far as different blocks go, and for locking and unlocking of one block.
#pragma once

#include "qvlib/export.h"
#include "qvlib/host/types.h"

#if defined(_WIN32)
#include <objidl.h>
#else

constexpr UINT GMEM_FIXED = 0x0000;    ///< the handle is the address of the bytes
constexpr UINT GMEM_MOVEABLE = 0x0002; ///< the handle is no address: lock it to get one
constexpr UINT GMEM_ZEROINIT = 0x0040;
constexpr UINT GHND = GMEM_MOVEABLE | GMEM_ZEROINIT;
constexpr UINT GPTR = GMEM_FIXED | GMEM_ZEROINIT;

/// A block of `size` bytes, null when memory is short. The caller frees it with GlobalFree.
QVLIB_API HGLOBAL GlobalAlloc(UINT flags, SIZE_T size);
/// Frees a block (null does nothing) and gives null.
QVLIB_API HGLOBAL GlobalFree(HGLOBAL block);
/// The size that the block was allocated with, 0 for null.
QVLIB_API SIZE_T GlobalSize(HGLOBAL block);
/// The address of the block's bytes, null for a null handle and for a movable block without bytes. Each lock is undone
/// by a GlobalUnlock; the address holds until the block is freed.
QVLIB_API LPVOID GlobalLock(HGLOBAL block);
/// Undoes one lock. Whether the block is still locked.
QVLIB_API BOOL GlobalUnlock(HGLOBAL block);

struct IUnknown;
struct IStream;

/// The kinds of medium. The library only knows global memory.
enum TYMED : DWORD
{
    TYMED_NULL = 0,
    TYMED_HGLOBAL = 1,
    TYMED_FILE = 2,
    TYMED_ISTREAM = 4,
    TYMED_ISTORAGE = 8,
};

/// A medium of data transfer: its kind, and the handle, name or stream that the kind tells.
struct tagSTGMEDIUM
{
    DWORD tymed;
    union
    {
        HGLOBAL hGlobal;
        LPWSTR lpszFileName;
        IStream * pstm;
    };
    IUnknown * pUnkForRelease;
};
using STGMEDIUM = tagSTGMEDIUM;

#endif

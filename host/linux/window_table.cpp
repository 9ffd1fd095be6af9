#include "host/linux/internal/window_table.h"

#include "host/linux/internal/mutex.h"
#include "qvlib/host/thread_annotations.h"

#include <new>

namespace qvlib::host
{

std::array<std::atomic<Window *>, kWindowLimit / kWindowChunk> g_windowChunks;

namespace
{

constinit Mutex g_placesMutex;
constinit Window * g_freePlaces QVLIB_GUARDED_BY(g_placesMutex) = nullptr;
constinit std::size_t g_places QVLIB_GUARDED_BY(g_placesMutex) = 0;

/// One block more on the list of free places.
LSTATUS AddChunk() noexcept QVLIB_REQUIRES(g_placesMutex)
{
    if (g_places == kWindowLimit)
        return ERROR_NO_MORE_USER_HANDLES;
    Window * const chunk = new (std::nothrow) Window[kWindowChunk];
    if (chunk == nullptr)
        return ERROR_NOT_ENOUGH_MEMORY;
    for (std::size_t index = kWindowChunk; index-- != 0;)
    {
        chunk[index].place = g_places + index;
        chunk[index].nextFree = g_freePlaces;
        g_freePlaces = &chunk[index];
    }
    g_windowChunks[g_places / kWindowChunk].store(chunk, std::memory_order_release);
    g_places += kWindowChunk;
    return ERROR_SUCCESS;
}

} // namespace

Window * TakeWindowPlace(std::uintptr_t & handle, LSTATUS & status) noexcept
{
    MutexLock const held(g_placesMutex);
    status = g_freePlaces == nullptr ? AddChunk() : ERROR_SUCCESS;
    if (status != ERROR_SUCCESS)
        return nullptr;
    Window * const window = g_freePlaces;
    g_freePlaces = window->nextFree;
    ++window->uses; // from 1, and 48 bits of it: no number comes twice, and none is below 0x10000
    handle = (window->uses << kWindowPlaceBits) | window->place;
    return window;
}

void FreeWindowPlace(Window & window) noexcept
{
    MutexLock const held(g_placesMutex);
    window.nextFree = g_freePlaces;
    g_freePlaces = &window;
}

} // namespace qvlib::host

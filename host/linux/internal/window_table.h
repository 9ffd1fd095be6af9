// The windows of the process. A handle is a place in the table and how often that place has been given out, so a handle
// that was destroyed never comes back; looking one up takes no lock.
//
// Places are never freed, only used again. Whoever holds a place that it looked up may therefore always read it, but
// what it reads may belong to a later window. So:
//  - a change to a window, and a post to it, is made under the lock of its queue (message_queue.h) after the handle in
//    the place was compared again: only the owner takes it out, under that same lock;
//  - a read without the lock compares the handle again afterwards;
//  - the owner's own thread reads as it likes.
#pragma once

#include "qvlib/host/messages.h"
#include "qvlib/host/types.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

namespace qvlib::host
{

class MessageQueue;
struct WindowClass;

struct alignas(64) Window
{
    std::atomic<std::uintptr_t> handle{0}; ///< 0 while the place is free
    std::atomic<MessageQueue *> queue{nullptr};
    std::atomic<WNDPROC> procedure{nullptr};
    std::atomic<LONG_PTR> id{0};
    std::atomic<LONG_PTR> userData{0};
    std::atomic<LONG_PTR> instance{0};
    std::atomic<LONG_PTR> style{0};
    std::atomic<LONG_PTR> exStyle{0};

    // Of the owner's thread alone.
    Window * next = nullptr; ///< the thread's windows
    Window * previous = nullptr;
    WindowClass * type = nullptr;
    bool ending = false;

    // Of the table.
    std::uintptr_t uses = 0;
    std::uintptr_t place = 0;
    Window * nextFree = nullptr;

    bool Is(HWND window) const noexcept
    {
        return handle.load(std::memory_order_acquire) == reinterpret_cast<std::uintptr_t>(window);
    }
    /// A stored value, if the place was this window's at the time.
    template <class Value>
    bool Read(std::atomic<Value> const & field, HWND window, Value & value) const noexcept
    {
        value = field.load(std::memory_order_acquire); // a later window's value is stored after the handle went
        return Is(window);
    }
};

constexpr unsigned kWindowPlaceBits = 16;
constexpr std::size_t kWindowChunk = 256;
constexpr std::size_t kWindowLimit = std::size_t{1} << kWindowPlaceBits;

/// The table's blocks of places; a block that was made stays.
extern std::array<std::atomic<Window *>, kWindowLimit / kWindowChunk> g_windowChunks;

/// The place of a window, null when there is no such window.
inline Window * LookUpWindow(HWND window) noexcept
{
    std::uintptr_t const place = reinterpret_cast<std::uintptr_t>(window) & (kWindowLimit - 1);
    Window * const chunk = g_windowChunks[place / kWindowChunk].load(std::memory_order_acquire);
    if (chunk == nullptr)
        return nullptr;
    Window & found = chunk[place % kWindowChunk];
    return window != nullptr && found.Is(window) ? &found : nullptr;
}

/// A free place and the handle that it is to get, which the caller stores. Null when there is none: `status` says why.
Window * TakeWindowPlace(std::uintptr_t & handle, LSTATUS & status) noexcept;
/// Gives a place back, whose handle was taken out.
void FreeWindowPlace(Window & window) noexcept;

} // namespace qvlib::host

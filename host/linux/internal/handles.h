// The table of handles. A handle is the number of a slot and the slot's generation, which counts up when the handle is
// closed and never comes back: a slot whose generations are used up is not used again. Slots are made by the thousand
// and never given back; free ones are kept by the threads that freed them, a few each, and by the process.
#pragma once

#include "host/linux/internal/waitable.h"
#include "qvlib/host/types.h"

#include <array>
#include <atomic>
#include <cstdint>

namespace qvlib::host
{

static_assert(sizeof(HANDLE) == 8, "a handle holds a generation of 31 bits beside the slot's number");

struct alignas(64) Slot : Waitable
{
    std::uint32_t number = 0; ///< the low half of its handles
};

constexpr unsigned kSlotsInBlock = 1024;
constexpr unsigned kSlotBlocks = 16384; ///< the platform's own limit, 16 million handles
extern std::array<std::atomic<Slot *>, kSlotBlocks> g_slotBlocks;

/// The slot that the handle names, if there is one of that number; its generation is still to be compared.
inline Slot * FindSlot(HANDLE handle) noexcept
{
    std::uint32_t const number = static_cast<std::uint32_t>(reinterpret_cast<UINT_PTR>(handle));
    std::uint32_t const index = number / 4 - 1; // 0 wraps around to a number beyond all
    if (number % 4 != 0 || index >= kSlotBlocks * kSlotsInBlock)
        return nullptr;
    Slot * const block = g_slotBlocks[index / kSlotsInBlock].load(std::memory_order_acquire);
    return block == nullptr ? nullptr : block + index % kSlotsInBlock;
}
inline Waitable::Word GenerationOf(HANDLE handle) noexcept
{
    return static_cast<Waitable::Word>(reinterpret_cast<UINT_PTR>(handle)) & Waitable::kGenerationMask;
}

/// A free slot, with no handles, pins or waiters and m_code and m_number to be set; null when memory is short.
Slot * TakeSlot() noexcept;
/// Makes the slot's object known under the slot's handle, with that kind and flags; what else it needs is set before.
HANDLE Publish(Slot & slot, Waitable::Word kindAndFlags) noexcept;
/// The slot of an object that was not published, or the slot of a closed alias.
void FreeSlot(Slot & slot) noexcept;
/// Unlocks the object, and frees its slot if nothing needs it any longer.
void UnlockOrFree(Waitable & object, Waitable::Word state) noexcept;

/// Keeps the object without a handle; false when it is not the one of that identity.
bool Pin(Waitable & object, Waitable::Word identity = Waitable::kAnyIdentity) noexcept;
void Unpin(Waitable & object) noexcept;
/// One more handle of a pinned object; null when memory is short.
HANDLE NewAlias(Waitable & object) noexcept;

/// The free slots that a thread keeps.
struct SlotCache
{
    Slot * first = nullptr;
    unsigned count = 0;
};
void GiveBack(SlotCache & cache) noexcept;

/// What a handle that the caller gave stands for, for the time of a call.
class Target
{
public:
    Target() = default;
    Target(Target const &) = delete;
    Target & operator=(Target const &) = delete;
    ~Target() { Leave(); }

    /// False when it stands for nothing. Events are found in one step, and may be closed at any time: `identity` says
    /// which was meant. Everything else is pinned.
    bool Find(HANDLE handle) noexcept
    {
        Slot * const slot = FindSlot(handle);
        Waitable::Word const wanted = GenerationOf(handle) | Waitable::kEvent;
        if (slot == nullptr || !Waitable::Is(slot->State(), wanted))
            return FindOther(handle);
        object = slot;
        identity = wanted;
        return true;
    }
    /// The same, for one kind of object only.
    bool Find(HANDLE handle, Waitable::Word kind) noexcept
    {
        return Find(handle) && (object->State() & Waitable::kKindMask) == kind;
    }
    /// Stands for an object that outlives the call.
    void Use(Waitable & owned) noexcept
    {
        object = &owned;
        identity = Waitable::kAnyIdentity;
    }
    void Leave() noexcept
    {
        if (m_pinned)
            Unpin(*object);
        m_pinned = false;
    }

    Waitable * object = nullptr;
    Waitable::Word identity = 0;

private:
    bool FindOther(HANDLE handle) noexcept;

    bool m_pinned = false;
};

} // namespace qvlib::host

#include "concurrency/internal/timer_items.h"

#include <algorithm>
#include <functional>

namespace qvlib::internal
{

namespace
{

// So many void entries in the queue are not worth the walk that drops them.
constexpr std::size_t kVoidEntriesKept = 64;
constexpr std::uint32_t kSlotsKept = 1024;

std::uint32_t EventOf(CTimerItem const & item) { return static_cast<std::uint32_t>(item.GetEventID()); }

} // namespace

TimerItems::Index TimerItems::Find(ITimerEvents * target, std::uint32_t eventId) noexcept
{
    TargetEntry const * const entry = m_targets.Find(target);
    if (entry == nullptr)
        return kNone;
    if (entry->events != nullptr)
    {
        EventEntry const * const event = entry->events->Find(eventId);
        return event != nullptr ? event->index : kNone;
    }
    return EventOf(At(entry->index)) == eventId ? entry->index : kNone;
}

void TimerItems::Put(CTimerItem const & item)
{
    std::int64_t const moment = item.GetNextUpdate() + m_baseMoved;
    Index index = Find(item.GetTarget(), EventOf(item));
    m_queue.Reserve();
    if (index == kNone)
    {
        index = AllocateSlot();
        try
        {
            AddKey(item, index);
        }
        catch (...)
        {
            FreeSlot(index);
            throw;
        }
        ++m_size;
        SlotAt(index).moment = moment - 1; // not yet in the queue
    }
    SlotAt(index).item = item;
    Schedule(index, moment);
}

void TimerItems::Move(Index index, std::int64_t nextUpdate)
{
    if (!IsFirst(index))
        m_queue.Reserve();
    Schedule(index, nextUpdate + m_baseMoved);
}

/// Whether the entry of an item stands at the top of the queue.
bool TimerItems::IsFirst(Index index) const noexcept
{
    return m_queue.Size() != 0 && m_queue.First().index == index && IsValid(m_queue.First());
}

/// Puts an item at a moment; its entry at another one, if there is one, becomes void. Unless it is the first there must
/// be room for an entry.
void TimerItems::Schedule(Index index, std::int64_t moment) noexcept
{
    Slot & slot = SlotAt(index);
    if (slot.moment == moment)
        return;
    slot.moment = moment;
    TimerQueueEntry const entry{moment, index, slot.stamp + 1};
    bool const isFirst = IsFirst(index);
    slot.stamp = entry.stamp;
    if (isFirst)
    {
        m_queue.ReplaceFirst(entry, Before{*this});
        return;
    }
    m_queue.Push(entry, Before{*this});
    // This is also what keeps a stamp from coming round while an entry with it stands in the queue.
    if (m_queue.Size() > 2 * m_size + kVoidEntriesKept)
        m_queue.Filter([this](TimerQueueEntry const & each) { return IsValid(each); }, Before{*this});
}

void TimerItems::Remove(Index index) noexcept
{
    CTimerItem const & item = At(index);
    TargetEntry * const entry = m_targets.Find(item.GetTarget());
    bool last = true;
    if (entry->events != nullptr)
    {
        entry->events->Erase(*entry->events->Find(EventOf(item)));
        last = entry->events->Size() == 0;
    }
    if (last)
        m_targets.Erase(*entry);
    FreeSlot(index);
    ReduceSize(1);
}

std::size_t TimerItems::RemoveTarget(ITimerEvents * target) noexcept
{
    TargetEntry * const entry = m_targets.Find(target);
    if (entry == nullptr)
        return 0;
    std::size_t count = 1;
    if (entry->events != nullptr)
    {
        count = entry->events->Size();
        entry->events->ForEach([this](EventEntry const & event) { FreeSlot(event.index); });
    }
    else
    {
        FreeSlot(entry->index);
    }
    m_targets.Erase(*entry);
    ReduceSize(count);
    return count;
}

void TimerItems::ReduceSize(std::size_t count) noexcept
{
    m_size -= count;
    if (m_size != 0)
        return;
    // A controller whose only timer comes and goes keeps its memory, one that had many gives it back.
    if (m_firstUnused > kSlotsKept)
        Clear();
    else
        m_queue.Drop();
}

void TimerItems::AddKey(CTimerItem const & item, Index index)
{
    TargetEntry * entry = m_targets.Find(item.GetTarget());
    if (entry == nullptr)
    {
        m_targets.Add(item.GetTarget()).index = index;
        return;
    }
    if (entry->events == nullptr)
    {
        auto events = std::make_unique<EventTable>();
        events->Add(EventOf(At(entry->index))).index = entry->index;
        events->Add(EventOf(item)).index = index;
        entry->events = std::move(events);
        entry->index = kNone;
        return;
    }
    entry->events->Add(EventOf(item)).index = index;
}

TimerItems::Index TimerItems::AllocateSlot()
{
    if (m_firstFree != kNone)
    {
        Index const index = m_firstFree;
        m_firstFree = SlotAt(index).nextFree;
        return index;
    }
    if (m_blockCount == 0 || BlockOf(m_firstUnused) == m_blockCount)
        AddBlock();
    new (&SlotAt(m_firstUnused)) Slot{};
    return m_firstUnused++;
}

void TimerItems::AddBlock()
{
    if (m_blockCount == kBlocks)
        throw std::bad_alloc();
    m_blocks[m_blockCount] =
        static_cast<Slot *>(::operator new (BlockSize(m_blockCount) * sizeof(Slot), std::align_val_t{alignof(Slot)}));
    ++m_blockCount;
    for (std::uint32_t block = 0; block < m_blockCount; ++block)
        m_ranks[block] = static_cast<std::uint8_t>(std::count_if(m_blocks.begin(), m_blocks.begin() + m_blockCount,
                                                                 [this, block](Slot * other)
                                                                 { return std::less<>()(other, m_blocks[block]); }));
}

/// The item's entry in the queue becomes void.
void TimerItems::FreeSlot(Index index) noexcept
{
    Slot & slot = SlotAt(index);
    ++slot.stamp;
    slot.nextFree = m_firstFree;
    m_firstFree = index;
}

void TimerItems::Clear() noexcept
{
    m_targets.Clear();
    m_queue.Clear();
    for (std::uint32_t block = 0; block < m_blockCount; ++block)
        ::operator delete (m_blocks[block], std::align_val_t{alignof(Slot)});
    m_blockCount = 0;
    m_firstUnused = 0;
    m_firstFree = kNone;
    m_size = 0;
    m_baseMoved = 0;
}

} // namespace qvlib::internal

#include "concurrency/internal/timer_items.h"

#include "concurrency/internal/prefetch.h"

#include <new>
#include <utility>

namespace qvlib::internal
{

namespace
{

// Fewer void entries in the queue than this are not worth the walk that drops them.
constexpr std::size_t kVoidEntriesKept = 64;
// A controller that never had more timers keeps its memory when the last one goes.
constexpr TimerItems::Index kTimersKept = 1024;

} // namespace

/// Has the cache fetch a timer that will be needed soon.
void TimerItems::Approach(Index index) const noexcept
{
    Prefetch(&m_timers[index]);
    Prefetch(&m_stamps[index]);
}

TimerItems::Index TimerItems::Find(ITimerEvents * target, std::uint32_t eventId) noexcept
{
    TargetEntry const * const entry = FindTarget(target);
    Index index = kNone;
    if (entry == nullptr)
        return index;
    if (entry->HasTable())
        index = TableOf(*entry).Find(eventId);
    else if (At(entry->place).eventId == eventId)
        index = entry->place;
    if (index != kNone)
        Approach(index);
    return index;
}

/// Makes room for one more timer in all arrays that are by index.
void TimerItems::ReserveTimer()
{
    if (m_freeCount != 0)
        return;
    if (m_used == kFirstTable)
        throw std::bad_alloc();
    if (m_used == m_timers.Capacity())
        m_timers.Grow();
    if (m_used == m_stamps.Capacity())
        m_stamps.Grow();
    if (m_used == m_free.Capacity())
        m_free.Grow();
}

void TimerItems::Put(Index index, CTimerItem const & item)
{
    bool const hasStart = !item.GetStartTime().IsNull();
    if (hasStart)
        m_starts.Reserve();
    m_queue.Reserve();
    std::int64_t const moment = item.GetNextUpdate() + m_baseMoved;
    if (index == kNone)
    {
        index = Add(item.GetTarget(), static_cast<std::uint32_t>(item.GetEventID()));
        m_timers[index].moment = moment - 1; // not where it shall be
    }
    Timer & timer = m_timers[index];
    timer.resolution = static_cast<std::uint32_t>(item.GetResolution());
    timer.adviseOnce = item.GetAdviseOnce();
    if (hasStart || timer.hasStart)
        SetStart(index, item.GetStartTime());
    Schedule(index, moment);
}

/// A new timer that is in the table but not in the queue.
TimerItems::Index TimerItems::Add(ITimerEvents * target, std::uint32_t eventId)
{
    ReserveTimer();
    Index const index = m_freeCount != 0 ? m_free[m_freeCount - 1] : m_used;
    AddKey(target, eventId, index);
    if (m_freeCount != 0)
        --m_freeCount;
    else
        m_stamps[m_used++] = 0;
    ++m_size;
    m_timers[index] = {target, 0, eventId, 0, false, false};
    return index;
}

void TimerItems::AddKey(ITimerEvents * target, std::uint32_t eventId, Index index)
{
    TargetEntry & entry = m_targets.FindOrAdd(HashOf(target), IsOf{*this, target});
    if (entry.IsEmpty())
    {
        entry.place = index;
        return;
    }
    if (!entry.HasTable())
        MakeTable(entry);
    TableOf(entry).Add(eventId, index);
}

/// Moves the only timer of a target to a table. Throws std::bad_alloc, and nothing has changed.
void TimerItems::MakeTable(TargetEntry & entry)
{
    auto table = std::make_unique<TargetTable>();
    table->target = At(entry.place).target;
    table->events.Add(At(entry.place).eventId, entry.place);
    if (m_freeTables.empty())
    {
        if (m_freeTables.capacity() <= m_tables.size())
            m_freeTables.reserve(2 * m_tables.size() + 8);
        m_tables.push_back(std::move(table));
        entry.place = kFirstTable + static_cast<std::uint32_t>(m_tables.size() - 1);
    }
    else
    {
        entry.place = kFirstTable + m_freeTables.back();
        m_tables[m_freeTables.back()] = std::move(table);
        m_freeTables.pop_back();
    }
}

/// A target that has no timers any more.
void TimerItems::Forget(TargetEntry & entry) noexcept
{
    if (entry.HasTable())
    {
        m_tables[entry.place - kFirstTable].reset();
        m_freeTables.push_back(entry.place - kFirstTable);
    }
    m_targets.Erase(entry);
}

/// There must be room for a start.
void TimerItems::SetStart(Index index, CDateTime const & start) noexcept
{
    m_timers[index].hasStart = !start.IsNull();
    if (!start.IsNull())
        m_starts.FindOrAdd(index).start = start;
    else if (StartEntry * const entry = m_starts.Find(index))
        m_starts.Erase(*entry);
}

CTimerItem TimerItems::ItemAt(Index index)
{
    Timer const & timer = At(index);
    CTimerItem item;
    item.SetTarget(timer.target);
    item.SetEventID(timer.eventId);
    item.SetAdviseOnce(timer.adviseOnce);
    if (timer.hasStart)
        item.SetStartTime(m_starts.Find(index)->start);
    item.SetResolution(timer.resolution);
    item.SetNextUpdate(NextUpdate(index));
    return item;
}

void TimerItems::Move(Index index, std::int64_t nextUpdate)
{
    if (!IsFirst(index))
        m_queue.Reserve();
    Schedule(index, nextUpdate + m_baseMoved);
}

/// Puts a timer at a moment; its entry at another one, if there is one, becomes void. Unless it is the first there must
/// be room for an entry.
void TimerItems::Schedule(Index index, std::int64_t moment) noexcept
{
    Timer & timer = m_timers[index];
    if (timer.moment == moment)
        return;
    timer.moment = moment;
    if (IsFirst(index))
    {
        m_queue.ReplaceFirst({moment, index, m_stamps[index]});
        return;
    }
    m_queue.Push({moment, index, ++m_stamps[index]});
    // This is also what keeps a stamp from coming round while an entry with it stands in the queue.
    if (m_queue.Size() > 2 * m_size + kVoidEntriesKept)
        DropVoidEntries();
}

void TimerItems::DropVoidEntries() noexcept
{
    m_queue.Filter([this](TimerQueueEntry const & entry) { return IsValid(entry); },
                   [this](TimerQueueEntry const & entry) { Prefetch(&m_stamps[entry.Index()]); });
}

/// Has the queue find the timers that come due next, and the cache fetch all that calling and ending them will need.
/// Each of them is somewhere else in memory, so they are fetched step by step for all of them at once, where one after
/// the other would wait for every step: S. Chen, A. Ailamaki, P. Gibbons and T. Mowry, "Improving Hash Join Performance
/// through Prefetching", ICDE 2004.
void TimerItems::FindNext() noexcept
{
    m_queue.Refill(
        [this](TimerQueueEntry * begin, TimerQueueEntry * end)
        {
            for (TimerQueueEntry const * entry = begin; entry != end; ++entry)
                Prefetch(&m_stamps[entry->Index()]);
            TimerQueueEntry * kept = begin;
            for (TimerQueueEntry const * entry = begin; entry != end; ++entry)
            {
                if (!IsValid(*entry))
                    continue;
                Timer const & timer = m_timers[entry->Index()];
                Prefetch(&timer);
                Prefetch(&timer.hasStart); // the end, which may stand in another line
                *kept++ = *entry;
            }
            ApproachKeys(begin, kept);
            return kept;
        });
}

/// Has the cache fetch the targets, which are going to be called, and what Remove needs to find the timers that end.
void TimerItems::ApproachKeys(TimerQueueEntry const * begin, TimerQueueEntry const * end) noexcept
{
    for (TimerQueueEntry const * entry = begin; entry != end; ++entry)
    {
        Timer const & timer = m_timers[entry->Index()];
        Prefetch(timer.target);
        if (timer.adviseOnce)
            m_targets.Prefetch(HashOf(timer.target));
    }
    if (m_tables.size() == m_freeTables.size())
        return;
    for (TimerQueueEntry const * entry = begin; entry != end; ++entry)
    {
        Timer const & timer = m_timers[entry->Index()];
        if (!timer.adviseOnce)
            continue;
        TargetEntry const * const found = FindTarget(timer.target);
        if (found != nullptr && found->HasTable())
            TableOf(*found).Prefetch(timer.eventId);
    }
}

bool TimerItems::Remove(ITimerEvents * target, std::uint32_t eventId) noexcept
{
    TargetEntry * const entry = FindTarget(target);
    if (entry == nullptr)
        return false;
    Index index = kNone;
    bool last = true;
    if (entry->HasTable())
    {
        index = TableOf(*entry).Erase(eventId);
        last = TableOf(*entry).IsEmpty();
    }
    else if (At(entry->place).eventId == eventId)
    {
        index = entry->place;
    }
    if (index == kNone)
        return false;
    if (last)
        Forget(*entry);
    Free(index);
    ReduceSize(1);
    return true;
}

bool TimerItems::RemoveTarget(ITimerEvents * target) noexcept
{
    TargetEntry * const entry = FindTarget(target);
    if (entry == nullptr)
        return false;
    std::size_t count = 0;
    auto const free = [&](Index index)
    {
        Free(index);
        ++count;
    };
    if (entry->HasTable())
        TableOf(*entry).ForEach(free);
    else
        free(entry->place);
    Forget(*entry);
    ReduceSize(count);
    return true;
}

/// The timer's entry in the queue becomes void.
void TimerItems::Free(Index index) noexcept
{
    if (StartEntry * const entry = m_starts.Find(index))
        m_starts.Erase(*entry);
    ++m_stamps[index];
    m_free[m_freeCount++] = index;
}

void TimerItems::ReduceSize(std::size_t count) noexcept
{
    m_size -= count;
    if (m_size == 0)
    {
        if (m_used > kTimersKept)
            Clear();
        else
            m_queue.Drop();
    }
    else if (m_queue.Size() > 4 * m_size + kVoidEntriesKept)
    {
        DropVoidEntries();
    }
}

void TimerItems::Clear() noexcept
{
    m_targets.Clear();
    m_tables.clear();
    m_freeTables.clear();
    m_starts.Clear();
    m_queue.Clear();
    m_timers.Free();
    m_stamps.Free();
    m_free.Free();
    m_freeCount = 0;
    m_used = 0;
    m_size = 0;
    m_baseMoved = 0;
}

} // namespace qvlib::internal

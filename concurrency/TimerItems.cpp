#include "concurrency/internal/timer_items.h"

#include "concurrency/internal/prefetch.h"

#include <algorithm>
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
void TimerItems::Approach(Index index) const noexcept { Prefetch(&m_timers[index]); }

void TimerItems::Set(CTimerItem const & item)
{
    ITimerEvents * const target = item.GetTarget();
    auto const eventId = static_cast<std::uint32_t>(item.GetEventID());
    auto const resolution = static_cast<std::uint32_t>(item.GetResolution());
    std::int64_t const moment = item.GetNextUpdate() + m_baseMoved;
    bool const hasStart = !item.GetStartTime().IsNull();
    if (hasStart)
        m_starts.Reserve();
    if (m_room == 0)
        Reserve();
    --m_room;
    if (!hasStart && PutsOff(target, eventId))
    {
        ApproachTarget(target);
        m_requests.Add({target, moment, eventId, resolution, item.GetAdviseOnce(), false});
        return;
    }
    Apply();
    Index const index = Put(target, eventId, moment, resolution, item.GetAdviseOnce());
    if (hasStart)
        SetStart(index, item.GetStartTime());
}

bool TimerItems::PutOffNow(ITimerEvents * target, std::uint32_t eventId, std::int64_t first) noexcept
{
    if (!PutsOff(target, eventId) || FirstUpdate() != first)
        return false;
    ApproachTarget(target);
    m_requests.Add({target, 0, eventId, 0, false, true});
    return true;
}

/// Whether a request for a timer is to be put off; then there is room for it.
bool TimerItems::PutsOff(ITimerEvents * target, std::uint32_t eventId) noexcept
{
    if (m_requests.IsFull())
        ApplyRequests();
    if (m_size < kFewTimers)
        return false;
    if (m_requests.IsEmpty())
    {
        Timer const & first = m_timers[Top().Index()];
        m_requests.Begin(first.target, first.eventId, first.moment);
    }
    return !m_requests.IsFirst(target, eventId);
}

void TimerItems::ApplyRequests() noexcept
{
    if (m_size >= kManyTimers)
        ApproachRequests();
    for (TimerRequest const & request : m_requests)
    {
        if (request.removes)
            Erase(request.target, request.eventId);
        else
            Put(request.target, request.eventId, request.moment, request.resolution, request.adviseOnce);
    }
    m_requests.Clear();
}

/// Has the cache fetch what a new request needs for its first step. Among very many it is for the group to do that: a
/// prefetch that has to look up the page first would keep the reading of the clock waiting.
void TimerItems::ApproachTarget(ITimerEvents * target) const noexcept
{
    if (m_targets.Size() > kFewTargets && m_size < kManyTimers)
        m_targets.Prefetch(HashOf(target));
}

/// Has the cache fetch what the requests need: a step for all of them, then the next one, which takes what the last one
/// has fetched.
void TimerItems::ApproachRequests() noexcept
{
    struct Way
    {
        EventTable * table;
        TimerRequest const * request;
    };
    std::array<Way, TimerRequests::kRoom> ways;
    std::size_t count = 0;
    if (m_targets.Size() > kFewTargets)
        for (TimerRequest const & request : m_requests)
            m_targets.Prefetch(HashOf(request.target));
    for (TimerRequest const & request : m_requests)
    {
        TargetEntry const * const entry = m_targets.Find(HashOf(request.target));
        if (entry == nullptr)
            continue;
        if (!entry->HasTable())
            Approach(entry->place);
        else
        {
            ways[count++] = {&TableOf(*entry), &request};
            if (m_targets.Size() > kFewTargets)
                Prefetch(ways[count - 1].table);
        }
    }
    for (std::size_t i = 0; i < count; ++i)
        ways[i].table->Prefetch(ways[i].request->eventId);
    for (std::size_t i = 0; i < count; ++i)
        if (!ways[i].request->removes) // else the table is all that changes
            if (Index const index = ways[i].table->Find(ways[i].request->eventId); index != kNone)
                Approach(index);
}

/// Find as long as nothing is put off.
TimerItems::Index TimerItems::Look(ITimerEvents * target, std::uint32_t eventId) noexcept
{
    Index index = kNone;
    if (TargetEntry const * const entry = FindTarget(target))
    {
        if (entry->HasTable())
            index = TableOf(*entry).Find(eventId);
        else if (At(entry->place).eventId == eventId)
            index = entry->place;
    }
    if (index == kNone && m_withoutKeyCount != 0)
        if (Index const * const place = FindWithoutKey(target, eventId))
            index = *place;
    return index;
}

/// Makes room for more timers that are set, beside those whose requests are put off.
void TimerItems::Reserve()
{
    AddMissingKeys();
    std::size_t const count = m_requests.Size() + kRoomStep;
    m_queue.Reserve(count);
    m_targets.Reserve(count);
    std::size_t const used = m_used + count - std::min(count, m_freeCount);
    if (used > kFirstTable)
        throw std::bad_alloc();
    while (used > m_timers.Capacity())
        m_timers.Grow();
    while (used > m_freeBits.Capacity() * 64)
        m_freeBits.Grow();
    while (used > m_free.Capacity())
        m_free.Grow();
    m_room = kRoomStep;
}

/// Stores a timer that has no start time, for which there must be room.
TimerItems::Index TimerItems::Put(ITimerEvents * target, std::uint32_t eventId, std::int64_t moment,
                                  std::uint32_t resolution, bool adviseOnce) noexcept
{
    Index index = Look(target, eventId);
    if (index == kNone)
    {
        index = Add(target, eventId);
        m_timers[index].moment = moment - 1; // not where it shall be
    }
    Timer & timer = m_timers[index];
    timer.resolution = resolution;
    timer.adviseOnce = adviseOnce;
    if (timer.hasStart)
        SetStart(index, CDateTime());
    Schedule(index, moment);
    return index;
}

/// A new timer that is in the table but not in the queue.
TimerItems::Index TimerItems::Add(ITimerEvents * target, std::uint32_t eventId) noexcept
{
    Index index = m_used;
    std::uint32_t stamp = 0;
    if (m_freeCount != 0)
    {
        index = m_free[--m_freeCount];
        stamp = m_timers[index].stamp + 1; // what the queue has of the last timer here is void
        m_freeBits[index / 64] &= ~(std::uint64_t{1} << index % 64);
    }
    else if (m_used++ % 64 == 0)
    {
        m_freeBits[index / 64] = 0;
    }
    m_timers[index] = {target, 0, eventId, 0, stamp, false, false};
    ++m_size;
    try
    {
        AddKey(target, eventId, index);
    }
    catch (std::bad_alloc const &)
    {
        m_withoutKey[m_withoutKeyCount++] = index;
    }
    return index;
}

/// Throws std::bad_alloc, and nothing has changed.
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

TimerItems::Index * TimerItems::FindWithoutKey(ITimerEvents * target, std::uint32_t eventId) noexcept
{
    for (std::size_t i = 0; i < m_withoutKeyCount; ++i)
        if (Timer const & timer = m_timers[m_withoutKey[i]]; timer.target == target && timer.eventId == eventId)
            return &m_withoutKey[i];
    return nullptr;
}

/// Throws std::bad_alloc; some may have been added then.
void TimerItems::AddMissingKeys()
{
    for (; m_withoutKeyCount != 0; --m_withoutKeyCount)
    {
        Index const index = m_withoutKey[m_withoutKeyCount - 1];
        AddKey(m_timers[index].target, m_timers[index].eventId, index);
    }
}

/// Moves the only timer of a target to a table. Throws std::bad_alloc, and nothing has changed.
void TimerItems::MakeTable(TargetEntry & entry)
{
    TargetTable table;
    table.target = At(entry.place).target;
    table.events.Add(At(entry.place).eventId, entry.place);
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

/// A target that has no timers any more, as far as the tables tell.
void TimerItems::Forget(TargetEntry & entry) noexcept
{
    if (entry.HasTable())
    {
        m_tables[entry.place - kFirstTable] = TargetTable{};
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
    Apply();
    if (!IsFirst(index))
    {
        m_queue.Reserve();
        m_room = 0;
    }
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
        m_queue.ReplaceFirst({moment, index, timer.stamp});
        return;
    }
    m_queue.Push({moment, index, ++timer.stamp});
    // This is also what keeps a stamp from coming round while an entry with it stands in the queue.
    if (m_queue.Size() > 2 * m_size + kVoidEntriesKept)
        DropVoidEntries();
}

void TimerItems::DropVoidEntries() noexcept
{
    m_queue.Filter([this](TimerQueueEntry const & entry) { return IsOneValid(entry); },
                   [this](TimerQueueEntry const & entry) { Approach(UsedOrFirst(entry.Index())); });
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
                Approach(UsedOrFirst(entry->Index()));
            TimerQueueEntry * kept = begin;
            for (TimerQueueEntry const * entry = begin; entry != end; ++entry)
            {
                *kept = *entry;
                kept += IsOneValid(*entry) ? 1 : 0;
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
    Apply();
    return Erase(target, eventId);
}

/// Remove as long as nothing is put off.
bool TimerItems::Erase(ITimerEvents * target, std::uint32_t eventId) noexcept
{
    Index index = kNone;
    if (TargetEntry * const entry = FindTarget(target))
    {
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
        if (index != kNone && last)
            Forget(*entry);
    }
    if (index == kNone && m_withoutKeyCount != 0)
    {
        if (Index * const place = FindWithoutKey(target, eventId))
        {
            index = *place;
            *place = m_withoutKey[--m_withoutKeyCount];
        }
    }
    if (index == kNone)
        return false;
    Free(index);
    ReduceSize(1);
    return true;
}

bool TimerItems::RemoveTarget(ITimerEvents * target) noexcept
{
    Apply();
    std::size_t count = 0;
    auto const free = [&](Index index)
    {
        Free(index);
        ++count;
    };
    if (TargetEntry * const entry = FindTarget(target))
    {
        if (entry->HasTable())
            TableOf(*entry).ForEach(free);
        else
            free(entry->place);
        Forget(*entry);
    }
    for (std::size_t i = m_withoutKeyCount; i-- > 0;)
    {
        if (m_timers[m_withoutKey[i]].target == target)
        {
            free(m_withoutKey[i]);
            m_withoutKey[i] = m_withoutKey[--m_withoutKeyCount];
        }
    }
    if (count == 0)
        return false;
    ReduceSize(count);
    return true;
}

/// The timer's entry in the queue becomes void.
void TimerItems::Free(Index index) noexcept
{
    if (StartEntry * const entry = m_starts.Find(index))
        m_starts.Erase(*entry);
    m_freeBits[index / 64] |= std::uint64_t{1} << index % 64;
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
    m_requests.Clear();
    m_room = 0;
    m_withoutKeyCount = 0;
    m_targets.Clear();
    m_tables.clear();
    m_freeTables.clear();
    m_starts.Clear();
    m_queue.Clear();
    m_timers.Free();
    m_freeBits.Free();
    m_free.Free();
    m_freeCount = 0;
    m_used = 0;
    m_size = 0;
    m_baseMoved = 0;
}

} // namespace qvlib::internal

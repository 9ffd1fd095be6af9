// CmdRing: the waiting commands of one priority, first in, first out.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

#include "qvlib/AsyncCmd.h"

namespace qvlib::detail
{

/// A command in a queue: its pointer, and in the pointer's free bits whether the queue deletes it and whether a
/// synchronous post waits for it.
class CmdEntry
{
public:
    enum Mark : std::uintptr_t
    {
        kPlain = 0,
        kOwned = 1,
        kAwaited = 2
    };

    CmdEntry() noexcept = default;
    CmdEntry(CTLAsyncCmd * command, Mark mark) noexcept : m_bits(reinterpret_cast<std::uintptr_t>(command) | mark) {}

    CTLAsyncCmd * Command() const noexcept { return reinterpret_cast<CTLAsyncCmd *>(m_bits & ~kMarks); }
    bool IsOwned() const noexcept { return (m_bits & kOwned) != 0; }
    bool IsAwaited() const noexcept { return (m_bits & kAwaited) != 0; }

private:
    static constexpr std::uintptr_t kMarks = 3;
    static_assert(alignof(CTLAsyncCmd) > kMarks, "the marks need the pointer's lowest bits");

    std::uintptr_t m_bits = 0;
};

/// A ring that keeps its room: once it has held so many commands, it allocates nothing for as many again.
class CmdRing
{
public:
    CmdRing() noexcept = default;
    CmdRing(CmdRing && other) noexcept
        : m_slots(std::move(other.m_slots)), m_room(std::exchange(other.m_room, 0)),
          m_first(std::exchange(other.m_first, 0)), m_count(std::exchange(other.m_count, 0))
    {
    }
    CmdRing & operator=(CmdRing && other) noexcept
    {
        std::swap(m_slots, other.m_slots);
        std::swap(m_room, other.m_room);
        std::swap(m_first, other.m_first);
        std::swap(m_count, other.m_count);
        return *this;
    }

    bool empty() const noexcept { return m_count == 0; }
    std::size_t size() const noexcept { return m_count; }
    CmdEntry at(std::size_t index) const noexcept { return m_slots[(m_first + index) & (m_room - 1)]; }

    /// Throws std::bad_alloc and changes nothing when there is no room to be had.
    void push_back(CmdEntry entry)
    {
        if (m_count == m_room)
            Grow();
        m_slots[(m_first + m_count) & (m_room - 1)] = entry;
        ++m_count;
    }
    CmdEntry pop_front() noexcept
    {
        CmdEntry const entry = m_slots[m_first];
        m_first = (m_first + 1) & (m_room - 1);
        --m_count;
        return entry;
    }
    void erase(std::size_t index) noexcept
    {
        for (std::size_t i = index + 1; i < m_count; ++i)
            m_slots[(m_first + i - 1) & (m_room - 1)] = at(i);
        --m_count;
    }

private:
    static constexpr std::size_t kFirstRoom = 16;

    void Grow()
    {
        std::size_t const room = m_room == 0 ? kFirstRoom : m_room * 2;
        auto slots = std::make_unique<CmdEntry[]>(room);
        for (std::size_t i = 0; i < m_count; ++i)
            slots[i] = at(i);
        m_slots = std::move(slots);
        m_room = room;
        m_first = 0;
    }

    std::unique_ptr<CmdEntry[]> m_slots;
    std::size_t m_room = 0; // a power of two, or 0
    std::size_t m_first = 0;
    std::size_t m_count = 0;
};

} // namespace qvlib::detail

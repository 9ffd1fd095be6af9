// The posted messages of one queue, first in, first out, in a ring that grows to what was needed and stays so.
#pragma once

#include "qvlib/host/types.h"

#include <cstddef>
#include <memory>
#include <new>
#include <utility>

namespace qvlib::host
{

struct PostedMessage
{
    HWND window;
    WPARAM wParam;
    LPARAM lParam;
    UINT message;
};

class MessageRing
{
public:
    std::size_t Size() const noexcept { return m_size; }
    /// The message at a place, counted from the oldest.
    PostedMessage & At(std::size_t index) noexcept { return m_slots[(m_first + index) & (m_capacity - 1)]; }

    /// False when there is no memory for it.
    bool Append(PostedMessage const & message) noexcept
    {
        if (m_size == m_capacity && !Grow())
            return false;
        m_slots[(m_first + m_size++) & (m_capacity - 1)] = message;
        return true;
    }
    void Erase(std::size_t index) noexcept
    {
        for (; index != 0; --index) // the ones ahead are few: a loop takes from the front
            At(index) = At(index - 1);
        ++m_first;
        --m_size;
    }
    /// Drops the messages that `drop` says, and keeps the others in order.
    template <class Drop>
    void EraseIf(Drop drop) noexcept
    {
        std::size_t kept = 0;
        for (std::size_t index = 0; index != m_size; ++index)
            if (PostedMessage const & message = At(index); !drop(message))
                At(kept++) = message;
        m_size = kept;
    }
    /// Appends the messages of another ring, and takes them out there, as far as there is memory for them.
    void Take(MessageRing & other) noexcept
    {
        if (m_size == 0)
        {
            std::swap(m_slots, other.m_slots);
            std::swap(m_capacity, other.m_capacity);
            m_first = std::exchange(other.m_first, 0);
            m_size = std::exchange(other.m_size, 0);
            return;
        }
        std::size_t taken = 0;
        while (taken != other.m_size && Append(other.At(taken)))
            ++taken;
        other.m_first += taken;
        other.m_size -= taken;
    }
    /// Drops all, and the memory.
    void Clear() noexcept
    {
        m_slots.reset();
        m_capacity = m_first = m_size = 0;
    }

private:
    bool Grow() noexcept
    {
        std::size_t const capacity = m_capacity == 0 ? 32 : m_capacity * 2;
        std::unique_ptr<PostedMessage[]> slots(new (std::nothrow) PostedMessage[capacity]);
        if (!slots)
            return false;
        for (std::size_t index = 0; index != m_size; ++index)
            slots[index] = At(index);
        m_slots = std::move(slots);
        m_capacity = capacity;
        m_first = 0;
        return true;
    }

    std::unique_ptr<PostedMessage[]> m_slots; // a power of two of them
    std::size_t m_capacity = 0;
    std::size_t m_first = 0;
    std::size_t m_size = 0;
};

} // namespace qvlib::host

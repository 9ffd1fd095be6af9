// Storage for many small plain values that lie well in the cache's lines and can grow by leaps.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <type_traits>
#include <utility>

namespace qvlib::internal
{

/// Room for values of `T`, of which element number `kAtLine` stands at the start of a cache line. What is in it is the
/// owner's business. Large ones grow without being copied where the C library can move their pages. Thread-compatible.
template <class T, std::size_t kAtLine>
class LineArray
{
    static_assert(std::is_trivially_copyable_v<T>);

public:
    LineArray() noexcept = default;
    LineArray(LineArray && other) noexcept
        : m_memory(std::exchange(other.m_memory, nullptr)), m_data(std::exchange(other.m_data, nullptr)),
          m_capacity(std::exchange(other.m_capacity, 0))
    {
    }
    LineArray & operator=(LineArray && other) noexcept
    {
        std::swap(m_memory, other.m_memory);
        std::swap(m_data, other.m_data);
        std::swap(m_capacity, other.m_capacity);
        return *this;
    }
    ~LineArray() { std::free(m_memory); }

    T * Data() const noexcept { return m_data; }
    T & operator[](std::size_t i) const noexcept { return m_data[i]; }
    std::size_t Capacity() const noexcept { return m_capacity; }

    /// Twice the room. Throws std::bad_alloc, and nothing has changed.
    void Grow()
    {
        if (!TryToGrow())
            throw std::bad_alloc();
    }
    /// The same; false without memory.
    bool TryToGrow() noexcept
    {
        std::size_t const capacity = m_capacity == 0 ? kFirstCapacity : m_capacity * 2;
        std::size_t const oldOffset = Offset();
        void * const memory = std::realloc(m_memory, capacity * sizeof(T) + kLine);
        if (memory == nullptr)
            return false;
        m_memory = static_cast<char *>(memory);
        std::size_t const offset =
            (kLine - (reinterpret_cast<std::uintptr_t>(m_memory) + kAtLine * sizeof(T)) % kLine) % kLine;
        if (offset != oldOffset && m_capacity != 0)
            std::memmove(m_memory + offset, m_memory + oldOffset, m_capacity * sizeof(T));
        m_data = reinterpret_cast<T *>(m_memory + offset);
        m_capacity = capacity;
        return true;
    }
    void Free() noexcept
    {
        std::free(m_memory);
        m_memory = nullptr;
        m_data = nullptr;
        m_capacity = 0;
    }

private:
    static constexpr std::size_t kLine = 64;
    static constexpr std::size_t kFirstCapacity = sizeof(T) < kLine ? 16 : 1;

    std::size_t Offset() const noexcept
    {
        return m_memory == nullptr ? 0 : static_cast<std::size_t>(reinterpret_cast<char *>(m_data) - m_memory);
    }

    char * m_memory = nullptr;
    T * m_data = nullptr;
    std::size_t m_capacity = 0;
};

} // namespace qvlib::internal

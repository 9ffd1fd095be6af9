// The formatter behind CStringT::Format: the platform's printf rules for wide formats, without locale.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <memory>

namespace qvlib::internal
{

/// Wide text under construction: on the stack while it is short.
class FormatBuffer
{
public:
    FormatBuffer() noexcept : m_data(m_local) {}
    FormatBuffer(FormatBuffer const &) = delete;
    FormatBuffer & operator=(FormatBuffer const &) = delete;

    wchar_t const * Data() const noexcept { return m_data; }
    std::size_t Size() const noexcept { return m_size; }
    void Append(wchar_t character)
    {
        if (m_size == m_capacity)
            Grow(1);
        m_data[m_size++] = character;
    }
    /// Room for `count` more characters, already counted as written.
    wchar_t * Extend(std::size_t count)
    {
        if (m_capacity - m_size < count)
            Grow(count);
        wchar_t * const place = m_data + m_size;
        m_size += count;
        return place;
    }
    void Append(wchar_t const * text, std::size_t length);
    void Append(char const * ascii, std::size_t length);
    void Fill(wchar_t character, std::size_t count);

private:
    void Grow(std::size_t count);

    static constexpr std::size_t kLocal = 256;
    wchar_t * m_data;
    std::size_t m_size = 0;
    std::size_t m_capacity = kLocal;
    std::unique_ptr<wchar_t[]> m_heap;
    wchar_t m_local[kLocal];
};

void FormatWide(FormatBuffer & out, wchar_t const * format, va_list arguments);

} // namespace qvlib::internal

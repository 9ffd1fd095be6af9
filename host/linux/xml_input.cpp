#include "host/linux/internal/xml_tokens.h"

#include <algorithm>
#include <cstring>

namespace qvlib::host
{

namespace
{

// UTF-8 of a wide character; what is no character keeps a form that the parser refuses.
char * Encode(char * out, std::uint32_t c) noexcept
{
    if (c < 0x80)
    {
        *out++ = static_cast<char>(c);
    }
    else if (c < 0x800)
    {
        *out++ = static_cast<char>(0xC0 | (c >> 6));
        *out++ = static_cast<char>(0x80 | (c & 0x3F));
    }
    else if (c < 0x10000)
    {
        *out++ = static_cast<char>(0xE0 | (c >> 12));
        *out++ = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        *out++ = static_cast<char>(0x80 | (c & 0x3F));
    }
    else
    {
        *out++ = static_cast<char>(0xF0 | (c >> 18));
        *out++ = static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        *out++ = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        *out++ = static_cast<char>(0x80 | (c & 0x3F));
    }
    return out;
}

constexpr bool IsHigh(std::uint32_t c) noexcept { return c >= 0xD800 && c < 0xDC00; }
constexpr bool IsLow(std::uint32_t c) noexcept { return c >= 0xDC00 && c < 0xE000; }

} // namespace

void XmlInput::Clear() noexcept
{
    if (m_stream)
        m_stream->Release();
    m_stream = nullptr;
    m_bytes = nullptr;
    m_wide = nullptr;
    m_length = 0;
    m_position = 0;
    m_given = false;
}

void XmlInput::SetStream(ISequentialStream * stream) noexcept
{
    Clear();
    m_stream = stream;
    m_given = true;
}

void XmlInput::SetBytes(char const * data, std::size_t length) noexcept
{
    Clear();
    m_bytes = data;
    m_length = length;
    m_given = true;
}

void XmlInput::SetWideText(wchar_t const * data, std::size_t length) noexcept
{
    Clear();
    m_wide = data;
    m_length = length;
    m_given = true;
}

HRESULT XmlInput::Next(std::size_t least, std::size_t size, std::string_view & piece, bool & last)
{
    if (m_stream)
        return FromStream(least, size, piece, last);
    if (m_wide)
    {
        FromWideText(size, piece, last);
        return S_OK;
    }
    std::size_t const length = std::min(size, m_length - m_position);
    piece = {m_bytes + m_position, length};
    m_position += length;
    last = m_position == m_length;
    return S_OK;
}

// A node is there as soon as its bytes are: what one read gives is enough unless more is asked for.
HRESULT XmlInput::FromStream(std::size_t least, std::size_t size, std::string_view & piece, bool & last)
{
    if (m_capacity < size)
    {
        m_buffer.reset(new char[size]);
        m_capacity = size;
    }
    std::size_t filled = 0;
    last = false;
    while (filled < least)
    {
        ULONG const wanted = static_cast<ULONG>(size - filled);
        ULONG read = 0;
        HRESULT const result = m_stream->Read(m_buffer.get() + filled, wanted, &read);
        if (FAILED(result))
            return result;
        if (read > wanted)
            return E_UNEXPECTED;
        if (read == 0)
        {
            last = true;
            break;
        }
        filled += read;
    }
    piece = {m_buffer.get(), filled};
    return S_OK;
}

void XmlInput::FromWideText(std::size_t size, std::string_view & piece, bool & last)
{
    std::size_t const count = std::min(size, m_length - m_position);
    if (m_capacity < 4 * count)
    {
        m_buffer.reset(new char[4 * count]);
        m_capacity = 4 * count;
    }
    char * out = m_buffer.get();
    wchar_t const * in = m_wide + m_position;
    wchar_t const * const stop = in + count;
    wchar_t const * const end = m_wide + m_length;
    while (in < stop)
    {
        // Eight plain characters at a time, as nearly all text is.
        while (stop - in >= 8)
        {
            std::uint32_t all = 0;
            for (int i = 0; i < 8; ++i)
                all |= static_cast<std::uint32_t>(in[i]);
            if (all >= 0x80)
                break;
            for (int i = 0; i < 8; ++i)
                out[i] = static_cast<char>(in[i]);
            in += 8;
            out += 8;
        }
        if (in == stop)
            break;
        std::uint32_t c = static_cast<std::uint32_t>(*in++);
        if (IsHigh(c) && in < end && IsLow(static_cast<std::uint32_t>(*in)))
        {
            if (in == stop)
            {
                --in; // both halves belong to the next piece
                break;
            }
            c = 0x10000 + ((c - 0xD800) << 10) + (static_cast<std::uint32_t>(*in++) - 0xDC00);
        }
        out = Encode(out, c > 0x10FFFF ? 0xFFFD : c);
    }
    piece = {m_buffer.get(), static_cast<std::size_t>(out - m_buffer.get())};
    m_position = static_cast<std::size_t>(in - m_wide);
    last = m_position == m_length;
}

} // namespace qvlib::host

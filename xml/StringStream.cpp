#include "qvlib/StringStream.h"

#include <cstdint>
#include <new>
#include <streambuf>
#include <utility>

namespace qvlib
{

namespace
{

constexpr bool IsHigh(std::uint32_t c) noexcept { return c >= 0xD800 && c < 0xDC00; }
constexpr bool IsLow(std::uint32_t c) noexcept { return c >= 0xDC00 && c < 0xE000; }

} // namespace

StringStream::StringStream() : m_writing(true) {}
StringStream::StringStream(std::wstring const & text) : m_input(text), m_writing(false) {}
StringStream::StringStream(std::wstring && text) : m_input(std::move(text)), m_writing(false) {}
StringStream::StringStream(CQVString const & text) : m_input(std::wstring(text.GetString())), m_writing(false) {}
StringStream::StringStream(StringStream && other)
    : m_references(other.m_references.load()), m_input(std::move(other.m_input)), m_output(std::move(other.m_output)),
      m_writing(other.m_writing), m_half(other.m_half)
{
}
StringStream::~StringStream() = default;

StringStream & StringStream::operator=(StringStream && other)
{
    if (this != &other)
    {
        m_references = other.m_references.load();
        m_input = std::move(other.m_input);
        m_output = std::move(other.m_output);
        m_writing = other.m_writing;
        m_half = other.m_half;
    }
    return *this;
}

void StringStream::CreateForReading(StringStream ** stream, CQVString const & text)
{
    *stream = nullptr;
    try
    {
        *stream = new StringStream(text);
    }
    catch (std::bad_alloc const &)
    {
    }
}

void StringStream::CreateForWriting(StringStream ** stream)
{
    *stream = nullptr;
    try
    {
        *stream = new StringStream;
    }
    catch (std::bad_alloc const &)
    {
    }
}

std::wstring StringStream::GetStdString() const
{
    if (!m_writing)
        return m_input.str();
    std::wstring text = m_output.str();
    // A high surrogate whose other half never came.
    if (m_half != 0)
        text.push_back(m_half);
    return text;
}

CQVString StringStream::GetString() const { return CQVString(GetStdString().c_str()); }

HRESULT StringStream::QueryInterface(REFIID iid, void ** object)
{
    if (!object)
        return E_INVALIDARG;
    *object = nullptr;
    if (!(iid == host::kInterfaceId<IUnknown> || iid == host::kInterfaceId<IStream> ||
          iid == host::kInterfaceId<ISequentialStream>))
        return E_NOINTERFACE;
    *object = static_cast<IStream *>(this);
    AddRef();
    return S_OK;
}

ULONG StringStream::AddRef() { return m_references.fetch_add(1, std::memory_order_relaxed) + 1; }

ULONG StringStream::Release()
{
    // The last owner must see what the others did.
    ULONG const left = m_references.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (left == 0)
        delete this;
    return left;
}

HRESULT StringStream::Read(void * buffer, ULONG count, ULONG * read)
{
    if (m_writing)
        return E_INVALIDARG;
    unsigned char * out = static_cast<unsigned char *>(buffer);
    ULONG const wanted = count / 2;
    ULONG units = 0;
    auto const put = [&](std::uint32_t unit)
    {
        *out++ = static_cast<unsigned char>(unit & 0xFF);
        *out++ = static_cast<unsigned char>(unit >> 8);
        ++units;
    };
    std::wstreambuf & source = *m_input.rdbuf();
    while (units < wanted)
    {
        if (m_half != 0)
        {
            put(static_cast<std::uint32_t>(std::exchange(m_half, L'\0')));
            continue;
        }
        std::wint_t const next = source.sbumpc();
        if (next == std::char_traits<wchar_t>::eof())
            break;
        std::uint32_t c = static_cast<std::uint32_t>(next);
        if (c > 0x10FFFF)
            c = 0xFFFD;
        if (c > 0xFFFF)
        {
            m_half = static_cast<wchar_t>(0xDC00 + ((c - 0x10000) & 0x3FF));
            c = 0xD800 + ((c - 0x10000) >> 10);
        }
        put(c);
    }
    if (read)
        *read = 2 * units;
    return S_OK;
}

HRESULT StringStream::Write(void const * buffer, ULONG count, ULONG * written)
{
    if (!m_writing)
        return E_INVALIDARG;
    unsigned char const * in = static_cast<unsigned char const *>(buffer);
    std::wstreambuf & target = *m_output.rdbuf();
    try
    {
        for (ULONG i = 0; i < count / 2; ++i, in += 2)
        {
            std::uint32_t const unit = static_cast<std::uint32_t>(in[0] | in[1] << 8);
            if (m_half != 0)
            {
                std::uint32_t const high = static_cast<std::uint32_t>(std::exchange(m_half, L'\0'));
                if (IsLow(unit))
                {
                    target.sputc(static_cast<wchar_t>(0x10000 + ((high - 0xD800) << 10) + (unit - 0xDC00)));
                    continue;
                }
                target.sputc(static_cast<wchar_t>(high));
            }
            if (IsHigh(unit))
                m_half = static_cast<wchar_t>(unit);
            else
                target.sputc(static_cast<wchar_t>(unit));
        }
    }
    catch (std::bad_alloc const &)
    {
        return E_OUTOFMEMORY;
    }
    // Kept on purpose, unlike what Read reports: an odd last byte counts as written.
    if (written)
        *written = count;
    return S_OK;
}

} // namespace qvlib

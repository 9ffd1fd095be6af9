// Counted strings: eight bytes in front of the characters, the second four of them the length in bytes.

#include "qvlib/host/variant.h"

#include <cwchar>
#include <limits>
#include <new>

namespace
{

constexpr std::size_t kHeader = 8; // keeps the characters aligned as the allocation is
constexpr std::size_t kLengthAt = 4;

BSTR Allocate(void const * bytes, std::size_t length) noexcept
{
    if (length > std::numeric_limits<UINT>::max() - kHeader - sizeof(wchar_t))
        return nullptr;
    auto * const block = static_cast<unsigned char *>(::operator new(kHeader + length + sizeof(wchar_t), std::nothrow));
    if (block == nullptr)
        return nullptr;
    auto const stored = static_cast<std::uint32_t>(length);
    std::memcpy(block + kLengthAt, &stored, sizeof stored);
    unsigned char * const text = block + kHeader;
    if (bytes != nullptr && length != 0)
        std::memcpy(text, bytes, length);
    std::memset(text + length, 0, sizeof(wchar_t));
    return reinterpret_cast<BSTR>(text);
}

} // namespace

BSTR SysAllocString(OLECHAR const * text)
{
    return text == nullptr ? nullptr : Allocate(text, std::wcslen(text) * sizeof(OLECHAR));
}

BSTR SysAllocStringLen(OLECHAR const * text, UINT length)
{
    return Allocate(text, std::size_t{length} * sizeof(OLECHAR));
}

BSTR SysAllocStringByteLen(char const * bytes, UINT length) { return Allocate(bytes, length); }

void SysFreeString(BSTR text)
{
    if (text != nullptr)
        ::operator delete(reinterpret_cast<unsigned char *>(text) - kHeader);
}

UINT SysStringLen(BSTR text) { return static_cast<UINT>(SysStringByteLen(text) / sizeof(OLECHAR)); }

UINT SysStringByteLen(BSTR text)
{
    if (text == nullptr)
        return 0;
    std::uint32_t length;
    std::memcpy(&length, reinterpret_cast<unsigned char *>(text) - (kHeader - kLengthAt), sizeof length);
    return length;
}

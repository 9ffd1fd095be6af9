// Counted strings: eight bytes in front of the characters, the first four of them the size of the block, the second
// four the length in bytes.

#include "host/linux/internal/bstr.h"

#include <algorithm>
#include <cwchar>
#include <limits>
#include <new>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define QVLIB_KEEP_BLOCKS 0
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || __has_feature(memory_sanitizer)
#define QVLIB_KEEP_BLOCKS 0
#endif
#endif
#ifndef QVLIB_KEEP_BLOCKS
#define QVLIB_KEEP_BLOCKS 1
#endif

namespace
{

// Short strings come and go all the time, so each thread keeps a few of the blocks that it has freed, as the platform
// does. Not under a sanitizer, which would then miss a use of a string that is gone.

constexpr std::size_t kHeader = 8; // keeps the characters aligned as the allocation is
constexpr std::size_t kLengthAt = 4;

// Blocks are multiples of 32 bytes up to 512 and of 128 up to 2048, 16 and 4 of each size kept: at most 135 KB a
// thread.
constexpr std::size_t kSmallStep = 32;
constexpr std::size_t kSmallSizes = 16;
constexpr std::size_t kLargeStep = 128;
constexpr std::size_t kSmallest =
    kSmallStep * kSmallSizes / kLargeStep; // of the large steps, those the small ones cover
constexpr std::size_t kKeptSizes = kSmallSizes + 2048 / kLargeStep - kSmallest;

struct FreeBlock
{
    FreeBlock * next;
};

enum class Keeping : unsigned char
{
    NotYet,
    Now,
    NoMore
};

struct Kept
{
    FreeBlock * first[kKeptSizes];
    unsigned char count[kKeptSizes];
    Keeping state;
};

// Plain data in the thread's own block: reached without a call, and there until the very end of the thread.
__attribute__((tls_model("initial-exec"))) constinit thread_local Kept kept{};

/// Gives the thread's blocks back at its end. Strings freed later than that go straight back.
struct GiveBack
{
    GiveBack() noexcept { kept.state = Keeping::Now; }
    ~GiveBack()
    {
        kept.state = Keeping::NoMore;
        for (FreeBlock *& first : kept.first)
            while (first != nullptr)
            {
                FreeBlock * const block = first;
                first = block->next;
                ::operator delete(block);
            }
    }
};

void BeginKeeping() noexcept
{
    thread_local GiveBack const giveBack;
    static_cast<void>(giveBack);
}

/// The place of a size of block among those kept; kKeptSizes for one that is not.
std::size_t SizeIndex(std::size_t bytes) noexcept
{
    if (QVLIB_KEEP_BLOCKS == 0)
        return kKeptSizes;
    std::size_t const small = (bytes - 1) / kSmallStep;
    if (small < kSmallSizes)
        return small;
    return std::min(kSmallSizes + (bytes - 1) / kLargeStep - kSmallest, kKeptSizes);
}

std::size_t BlockSize(std::size_t index) noexcept
{
    return index < kSmallSizes ? (index + 1) * kSmallStep : (index - kSmallSizes + kSmallest + 1) * kLargeStep;
}

unsigned char * TakeBlock(std::size_t bytes, std::size_t index) noexcept
{
    if (index == kKeptSizes)
        return static_cast<unsigned char *>(::operator new(bytes, std::nothrow));
    if (FreeBlock * const block = kept.first[index])
    {
        kept.first[index] = block->next;
        --kept.count[index];
        return reinterpret_cast<unsigned char *>(block);
    }
    return static_cast<unsigned char *>(::operator new(BlockSize(index), std::nothrow));
}

void ReturnBlock(unsigned char * block, std::size_t index) noexcept
{
    if (index < kKeptSizes)
    {
        if (kept.state == Keeping::NotYet)
            BeginKeeping();
        if (kept.state == Keeping::Now && kept.count[index] < (index < kSmallSizes ? 16 : 4))
        {
            kept.first[index] = ::new (static_cast<void *>(block)) FreeBlock{kept.first[index]};
            ++kept.count[index];
            return;
        }
    }
    ::operator delete(block);
}

/// The whole of a block for a string of that length.
constexpr std::size_t SizeFor(std::size_t length) noexcept { return kHeader + length + sizeof(wchar_t); }

BSTR Fill(unsigned char * block, std::size_t index, void const * bytes, std::size_t length) noexcept
{
    // The size of the block is told apart from the length, which the owner of a string may shorten.
    std::uint32_t const header[2] = {static_cast<std::uint32_t>(index), static_cast<std::uint32_t>(length)};
    static_assert(sizeof header == kHeader);
    std::memcpy(block, header, sizeof header);
    unsigned char * const text = block + kHeader;
    if (bytes != nullptr && length != 0)
        std::memcpy(text, bytes, length);
    std::memset(text + length, 0, sizeof(wchar_t));
    return reinterpret_cast<BSTR>(text);
}

unsigned char * BlockOf(BSTR text) noexcept { return reinterpret_cast<unsigned char *>(text) - kHeader; }

std::uint32_t IndexOf(unsigned char const * block) noexcept
{
    std::uint32_t index;
    std::memcpy(&index, block, sizeof index);
    return index;
}

BSTR Allocate(void const * bytes, std::size_t length) noexcept
{
    if (length > std::numeric_limits<UINT>::max() - SizeFor(0))
        return nullptr;
    std::size_t const size = SizeFor(length);
    std::size_t const index = SizeIndex(size);
    unsigned char * const block = TakeBlock(size, index);
    return block == nullptr ? nullptr : Fill(block, index, bytes, length);
}

} // namespace

bool qvlib::host::OverwriteText(BSTR target, BSTR source) noexcept
{
    std::size_t const length = SysStringByteLen(source);
    unsigned char * const block = BlockOf(target);
    std::size_t const index = IndexOf(block);
    if (index >= kKeptSizes || SizeIndex(SizeFor(length)) != index)
        return false;
    Fill(block, index, source, length);
    return true;
}

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
    if (text == nullptr)
        return;
    unsigned char * const block = BlockOf(text);
    ReturnBlock(block, IndexOf(block));
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

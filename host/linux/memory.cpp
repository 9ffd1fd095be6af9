#include "qvlib/host/memory.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>

namespace
{

// Every block is one allocation, this header and the bytes. A fixed block's handle is the address of its bytes; that of
// a movable one is the header's address plus kMovableMark, which no address of aligned bytes can look like.
struct alignas(std::max_align_t) Block
{
    SIZE_T size;
    std::atomic<unsigned> locks{0};

    explicit Block(SIZE_T bytes) noexcept : size(bytes) {}
    void * Bytes() noexcept { return this + 1; }
};

constexpr std::uintptr_t kMovableMark = 2;

bool IsMovable(HGLOBAL handle) noexcept { return (reinterpret_cast<std::uintptr_t>(handle) & kMovableMark) != 0; }

Block * BlockOf(HGLOBAL handle) noexcept
{
    if (IsMovable(handle))
        return reinterpret_cast<Block *>(static_cast<char *>(handle) - kMovableMark);
    return static_cast<Block *>(handle) - 1;
}

} // namespace

HGLOBAL GlobalAlloc(UINT flags, SIZE_T size)
{
    if (size > SIZE_MAX / 2)
        return nullptr;
    void * const memory = ::operator new(sizeof(Block) + size, std::nothrow);
    if (memory == nullptr)
        return nullptr;
    auto * const block = new (memory) Block(size);
    if (flags & GMEM_ZEROINIT)
        std::memset(block->Bytes(), 0, size);
    return flags & GMEM_MOVEABLE ? reinterpret_cast<char *>(block) + kMovableMark : block->Bytes();
}

HGLOBAL GlobalFree(HGLOBAL block)
{
    if (block != nullptr)
    {
        BlockOf(block)->~Block();
        ::operator delete(BlockOf(block));
    }
    return nullptr;
}

SIZE_T GlobalSize(HGLOBAL block) { return block == nullptr ? 0 : BlockOf(block)->size; }

LPVOID GlobalLock(HGLOBAL block)
{
    if (block == nullptr)
        return nullptr;
    if (!IsMovable(block))
        return block;
    if (BlockOf(block)->size == 0)
        return nullptr;
    BlockOf(block)->locks.fetch_add(1, std::memory_order_relaxed); // a count for its own sake: it guards nothing
    return BlockOf(block)->Bytes();
}

BOOL GlobalUnlock(HGLOBAL block)
{
    if (block == nullptr || !IsMovable(block))
        return FALSE;
    std::atomic<unsigned> & locks = BlockOf(block)->locks;
    unsigned held = locks.load(std::memory_order_relaxed);
    while (held != 0 && !locks.compare_exchange_weak(held, held - 1, std::memory_order_relaxed))
    {
    }
    return held > 1;
}

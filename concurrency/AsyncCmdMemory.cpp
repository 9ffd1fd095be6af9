// Memory for commands. Each thread keeps lists of free blocks; what it has too many of, and what it lacks, goes by the
// batch through a stash that all threads share, so that its lock is taken once for many commands.
#include "qvlib/AsyncCmd.h"

#include <mutex>

#if defined(__SANITIZE_ADDRESS__)
#define QVLIB_FIND_MISUSE_OF_COMMANDS
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QVLIB_FIND_MISUSE_OF_COMMANDS
#endif
#endif

namespace qvlib
{

#if defined(QVLIB_FIND_MISUSE_OF_COMMANDS)

// The sanitizer is to see every command come and go.
void * CTLAsyncCmd::operator new(std::size_t size) { return ::operator new(size); }
void * CTLAsyncCmd::operator new(std::size_t size, std::nothrow_t const & tag) noexcept
{
    return ::operator new(size, tag);
}
void CTLAsyncCmd::operator delete(void * memory, std::size_t) noexcept { ::operator delete(memory); }

#else

namespace
{

constexpr std::size_t kStep = 16; // block sizes are multiples of it
constexpr std::size_t kSizes = 8; // up to 128 bytes
constexpr unsigned kBatch = 64;   // blocks that change hands together
constexpr std::size_t kKeptBytes = std::size_t{16} << 20;

struct Block
{
    Block * next;      // in its list
    Block * nextBatch; // in the stash, of the first block of a batch
};
static_assert(sizeof(Block) <= kStep);

std::size_t IndexOf(std::size_t size) noexcept { return size == 0 ? 0 : (size - 1) / kStep; }
std::size_t SizeOf(std::size_t index) noexcept { return (index + 1) * kStep; }

void Release(Block * list) noexcept
{
    while (list != nullptr)
    {
        Block * const next = list->next;
        ::operator delete(static_cast<void *>(list));
        list = next;
    }
}

/// Batches of free blocks of one size.
class Stash
{
public:
    Block * Take() noexcept
    {
        std::lock_guard const lock(m_mutex);
        Block * const batch = m_first;
        if (batch != nullptr)
        {
            m_first = batch->nextBatch;
            --m_count;
        }
        return batch;
    }
    /// Keeps a batch, or releases it when there are enough.
    void Give(Block * batch, std::size_t index) noexcept
    {
        {
            std::lock_guard const lock(m_mutex);
            if (m_count < kKeptBytes / (SizeOf(index) * kBatch))
            {
                batch->nextBatch = m_first;
                m_first = batch;
                ++m_count;
                return;
            }
        }
        Release(batch);
    }

private:
    std::mutex m_mutex;
    Block * m_first = nullptr;
    std::size_t m_count = 0;
};

constinit Stash g_stashes[kSizes];

/// A thread's free blocks.
struct FreeBlocks
{
    struct List
    {
        Block * first;  // of the blocks in use
        unsigned count; // how many blocks have been put in front since the list was last empty or set aside
        Block * batch;  // one batch set aside, or null
    };
    List lists[kSizes];
    bool watched; // whether they are released at the thread's end
    bool ended;   // whether that has been
};

#if defined(__GNUC__)
// Found at a fixed place of the thread's own memory, without a call.
__attribute__((tls_model("initial-exec")))
#endif
constinit thread_local FreeBlocks t_blocks{};

/// Releases the calling thread's blocks at its end.
struct EndOfThread
{
    EndOfThread() = default;
    EndOfThread(EndOfThread const &) = delete;
    EndOfThread & operator=(EndOfThread const &) = delete;
    ~EndOfThread()
    {
        t_blocks.ended = true;
        for (std::size_t index = 0; index != kSizes; ++index)
        {
            FreeBlocks::List & list = t_blocks.lists[index];
            Release(list.first);
            if (list.batch != nullptr)
                g_stashes[index].Give(list.batch, index);
            list = {};
        }
    }
    void Watch() noexcept { t_blocks.watched = true; }
};

thread_local EndOfThread t_end;

/// A free block, null when there is none.
Block * TakeBlock(std::size_t index) noexcept
{
    FreeBlocks & blocks = t_blocks;
    FreeBlocks::List & list = blocks.lists[index];
    if (list.first == nullptr)
    {
        if (blocks.ended)
            return nullptr;
        if (!blocks.watched)
            t_end.Watch();
        list.count = kBatch;
        list.first = list.batch;
        list.batch = nullptr;
        if (list.first == nullptr && (list.first = g_stashes[index].Take()) == nullptr)
        {
            list.count = 0;
            return nullptr;
        }
    }
    Block * const block = list.first;
    list.first = block->next;
    --list.count;
    return block;
}

/// Keeps a block for reuse; false when the thread is past its end.
bool KeepBlock(void * memory, std::size_t index) noexcept
{
    FreeBlocks & blocks = t_blocks;
    if (blocks.ended)
        return false;
    if (!blocks.watched)
        t_end.Watch();
    FreeBlocks::List & list = blocks.lists[index];
    if (list.count == kBatch)
    {
        if (list.batch != nullptr)
            g_stashes[index].Give(list.batch, index);
        list.batch = list.first;
        list.first = nullptr;
        list.count = 0;
    }
    auto * const block = static_cast<Block *>(memory);
    block->next = list.first;
    list.first = block;
    ++list.count;
    return true;
}

} // namespace

void * CTLAsyncCmd::operator new(std::size_t size)
{
    std::size_t const index = IndexOf(size);
    if (index >= kSizes)
        return ::operator new(size);
    if (Block * const block = TakeBlock(index))
        return block;
    return ::operator new(SizeOf(index));
}

void * CTLAsyncCmd::operator new(std::size_t size, std::nothrow_t const & tag) noexcept
{
    // Never a kept block: a constructor that throws gives the memory back without its size.
    std::size_t const index = IndexOf(size);
    return ::operator new(index >= kSizes ? size : SizeOf(index), tag);
}

void CTLAsyncCmd::operator delete(void * memory, std::size_t size) noexcept
{
    if (memory == nullptr)
        return;
    std::size_t const index = IndexOf(size);
    if (index >= kSizes)
        ::operator delete(memory);
    else if (!KeepBlock(memory, index))
        ::operator delete(memory);
}

#endif

} // namespace qvlib

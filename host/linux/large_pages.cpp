#include "host/internal/large_pages.h"

#include <cstdint>
#include <sys/mman.h>

namespace qvlib::host
{

namespace
{

constexpr std::uintptr_t kPage = 4096;
constexpr std::size_t kLeast = std::size_t{4} << 20; // two large pages: less may hold none

} // namespace

void PreferLargePages(void * memory, std::size_t size) noexcept
{
    if (size < kLeast)
        return;
    std::uintptr_t const begin = (reinterpret_cast<std::uintptr_t>(memory) + kPage - 1) / kPage * kPage;
    std::uintptr_t const end = (reinterpret_cast<std::uintptr_t>(memory) + size) / kPage * kPage;
    // A hint: it is no fault when it is not taken.
    static_cast<void>(::madvise(reinterpret_cast<void *>(begin), end - begin, MADV_HUGEPAGE));
}

} // namespace qvlib::host

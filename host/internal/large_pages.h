// A hint to the system on how to map the memory of large tables.
#pragma once

#include <cstddef>

namespace qvlib::host
{

/// Asks for large pages under memory that is about to be filled and read in no order: it is mapped in fewer steps, and
/// its addresses are found sooner. Nothing happens for less than a few of them, nor where the system has none.
void PreferLargePages(void * memory, std::size_t size) noexcept;

} // namespace qvlib::host

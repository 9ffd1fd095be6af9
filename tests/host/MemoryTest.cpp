#include "qvlib/host/memory.h"

#include <gtest/gtest.h>

#include <cstring>

TEST(GlobalMemory, ABlockKeepsItsBytesAndItsSize)
{
    for (UINT const flags : {GMEM_FIXED, GMEM_MOVEABLE, GHND, GPTR})
    {
        HGLOBAL const block = GlobalAlloc(flags, 100);
        ASSERT_NE(block, nullptr);
        EXPECT_EQ(GlobalSize(block), 100U);
        auto * const bytes = static_cast<unsigned char *>(GlobalLock(block));
        EXPECT_EQ(bytes == block, (flags & GMEM_MOVEABLE) == 0);
        if (flags & GMEM_ZEROINIT)
        {
            EXPECT_EQ(bytes[0] | bytes[99], 0);
        }
        std::memset(bytes, 0xEE, 100);
        EXPECT_EQ(GlobalLock(block), bytes); // locks nest
        bool const movable = (flags & GMEM_MOVEABLE) != 0;
        EXPECT_EQ(GlobalUnlock(block) != FALSE, movable);
        EXPECT_FALSE(GlobalUnlock(block));
        EXPECT_FALSE(GlobalUnlock(block));
        EXPECT_EQ(GlobalFree(block), nullptr);
    }
}

TEST(GlobalMemory, NothingIsHarmless)
{
    EXPECT_EQ(GlobalAlloc(GMEM_MOVEABLE, ~SIZE_T{0}), nullptr);
    EXPECT_EQ(GlobalSize(nullptr), 0U);
    EXPECT_EQ(GlobalLock(nullptr), nullptr);
    EXPECT_FALSE(GlobalUnlock(nullptr));
    EXPECT_EQ(GlobalFree(nullptr), nullptr);
    HGLOBAL const empty = GlobalAlloc(GMEM_MOVEABLE, 0);
    EXPECT_EQ(GlobalLock(empty), nullptr);
    GlobalFree(empty);
}

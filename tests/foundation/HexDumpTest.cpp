#include "qvlib/HexDump.h"
#include "qvlib/Exceptions.h"

#include <gtest/gtest.h>

#include <vector>

using qvlib::TLBytesToString;
using qvlib::TLCalcBytesToStringBufferSize;

TEST(HexDump, GroupsAndBreaksLines)
{
    unsigned char const bytes[] = {1, 2, 3, 4, 0xAB};
    EXPECT_EQ(TLBytesToString(bytes, 5, 2, 2), L"0102 0304\r\nAB");
    EXPECT_EQ(TLBytesToString(bytes, 5, 0, 0), L"01020304AB");
    EXPECT_EQ(TLBytesToString(bytes, 5, 2, 0), L"0102 0304 AB");
    EXPECT_EQ(TLBytesToString(bytes, 5, 0, 2), L"0102\r\n0304\r\nAB"); // without groups a line counts bytes
    EXPECT_EQ(TLBytesToString(bytes, 4, 2, 1), L"0102\r\n0304");
    EXPECT_EQ(TLBytesToString(bytes, 0, 2, 2), L"");
    EXPECT_EQ(TLBytesToString(nullptr, 5, 2, 2), L"");
}

TEST(HexDump, WritesExactlyTheSizeItCalculates)
{
    std::vector<unsigned char> const bytes(40, 0x5A);
    for (unsigned long count = 0; count <= 40; ++count)
        for (unsigned long group = 0; group <= 6; ++group)
            for (unsigned long perLine : {0UL, 1UL, 2UL, 3UL, 7UL, 0xFFFFFFFFUL, ~0UL})
            {
                unsigned long const size = TLCalcBytesToStringBufferSize(count, group, perLine);
                std::vector<wchar_t> buffer(size + 1, L'#');
                TLBytesToString(bytes.data(), count, buffer.data(), size, group, perLine);
                ASSERT_EQ(buffer[size], L'#');
                if (count != 0)
                {
                    ASSERT_EQ(buffer[size - 1], L'A') << count << " " << group << " " << perLine;
                    ASSERT_THROW(TLBytesToString(bytes.data(), count, buffer.data(), size - 1, group, perLine),
                                 qvlib::unexpected_error);
                }
            }
    EXPECT_EQ(TLCalcBytesToStringBufferSize(5, 2, 2), 13U);
}

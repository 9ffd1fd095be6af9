#include "qvlib/Color.h"

#include <gtest/gtest.h>

using qvlib::AsColorRef;
using qvlib::CRGBColor;

TEST(Color, SingleComponentsAreTheLowestByteOnPurpose)
{
    CRGBColor color(0x030201);
    EXPECT_EQ(color.GetRed(), 1);
    EXPECT_EQ(color.GetGreen(), 1);
    EXPECT_EQ(color.GetBlue(), 1);
    EXPECT_EQ(color.ToString(), L"{1,1,1}");
    color.SetGreen(9);
    EXPECT_EQ(color.GetColor(), 0x010901U);
    color.SetRed(5);
    EXPECT_EQ(color.GetColor(), 0x010105U);
    color.SetBlue(7);
    EXPECT_EQ(color.GetColor(), 0x070505U);
    color.SetColor(0xFF000000UL);
    EXPECT_EQ(static_cast<unsigned long>(color), 0xFF000000U);
    color.SetColor(1, 2, 3);
    EXPECT_EQ(color.GetColor(), 0x030201U);
}

TEST(Color, ReadsUpToThreeNumbers)
{
    struct
    {
        wchar_t const * text;
        unsigned long color;
    } const rows[] = {
        {L"RGB(1,2,3)", 0x030201}, {L"1,2", 0x0201},         {L"", 0},     {L",,4,,5,", 0x0504},
        {L"rgb(1,2,3)", 0x030200}, {L"257,-1, 3", 0x03FF01}, {L"RGB(", 0}, {L"9999999999", 0xFF},
        {L"RGB(RGB(1,2", 0x0200},
    };
    for (auto const & row : rows)
        EXPECT_EQ(AsColorRef(row.text), row.color) << qvlib::CQVString(row.text).GetString();
    AsColorRef(L"1,2,3,4,5"); // more than three: no defined result, but a harmless one
}

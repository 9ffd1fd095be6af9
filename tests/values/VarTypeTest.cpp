#include "qvlib/VarType.h"
#include "qvlib/Exceptions.h"

#include <gtest/gtest.h>

#include <cwctype>
#include <string>

namespace
{

using qvlib::VarType;

struct Tag
{
    VARENUM type;
    int number;
    wchar_t const * text;
    wchar_t const * name;
    bool parses;
    char const * groups; // f floating, s signed, 3 signed in 32 bits, u unsigned, t text, i interface
};

Tag const kTags[] = {
    {VarType::Empty, 0, L"Empty", VarType::NameOfEmpty(), true, ""},
    {VarType::Null, 1, L"Null", VarType::NameOfNull(), true, ""},
    {VarType::Short, 2, L"Short", VarType::NameOfShort(), true, "s3"},
    {VarType::Long, 3, L"Long", VarType::NameOfLong(), true, "s3"},
    {VarType::Float, 4, L"Float", VarType::NameOfFloat(), true, "f"},
    {VarType::Double, 5, L"Double", VarType::NameOfDouble(), true, "f"},
    {VarType::Date, 7, L"Date", VarType::NameOfDate(), true, "f"},
    {VarType::ComString, 8, L"ComString", VarType::NameOfComString(), true, "t"},
    {VarType::Dispatch, 9, L"Unknown", VarType::NameOfDispatch(), false, "i"},
    {VarType::Error, 10, L"Error", VarType::NameOfError(), true, ""},
    {VarType::Bool, 11, L"Bool", VarType::NameOfBool(), true, "u"},
    {VarType::Unknown, 13, L"Unknown", VarType::NameOfUnknown(), false, "i"},
    {VarType::Char, 16, L"Char", VarType::NameOfChar(), true, "s3"},
    {VarType::Byte, 17, L"Byte", VarType::NameOfByte(), true, "u"},
    {VarType::UShort, 18, L"UShort", VarType::NameOfUShort(), true, "u"},
    {VarType::ULong, 19, L"ULong", VarType::NameOfULong(), true, "u"},
    {VarType::Long64, 20, L"Long64", VarType::NameOfLong64(), true, "s"},
    {VarType::ULong64, 21, L"ULong64", VarType::NameOfULong64(), true, "u"},
    {VarType::Int, 22, L"Int", VarType::NameOfInt(), true, "s3"},
    {VarType::UInt, 23, L"UInt", VarType::NameOfUInt(), true, "u"},
    {VarType::UserDefined, 29, L"UserDefined", VarType::NameOfUserDefined(), true, ""},
    {VarType::AnsiString, 30, L"AnsiString", VarType::NameOfAnsiString(), true, "t"},
    {VarType::String, 31, L"String", VarType::NameOfString(), true, "t"},
    {VarType::Blob, 65, L"BLOB", VarType::NameOfBlob(), true, ""},
    {VarType::Array, 8192, L"Array", VarType::NameOfArray(), true, ""},
};

TEST(VarType, TagsHaveTheirNumbersTextsAndGroups)
{
    for (Tag const & tag : kTags)
    {
        SCOPED_TRACE(tag.number);
        VarType const type(tag.type);
        EXPECT_EQ(static_cast<int>(type), tag.number);
        EXPECT_STREQ(type.ToString(), tag.text);
        EXPECT_STREQ(tag.name, tag.type == VarType::Dispatch ? L"Dispatch"
                               : tag.type == VarType::Blob   ? L"Blob"
                                                             : tag.text);
        std::string const groups = tag.groups;
        auto const in = [&](char group) { return groups.find(group) != groups.npos; };
        EXPECT_EQ(type.IsFloatingPoint(), in('f'));
        EXPECT_EQ(type.IsSignedIntegral(), in('s'));
        EXPECT_EQ(type.IsSignedIntegral32(), in('3'));
        EXPECT_EQ(type.IsUnsignedIntegral(), in('u'));
        EXPECT_EQ(type.IsIntegral(), in('s') || in('u'));
        EXPECT_EQ(type.IsNumeric(), in('s') || in('u') || in('f'));
        EXPECT_EQ(type.IsText(), in('t'));
        EXPECT_EQ(type.IsInterface(), in('i'));
    }
    for (int const number : {-1, 6, 12, 14, 32, 34, 64, 0x4002})
    {
        EXPECT_STREQ(VarType::ToString(static_cast<VARENUM>(number)), L"Unknown");
        EXPECT_FALSE(VarType(static_cast<VARENUM>(number)).IsNumeric()) << number;
    }
}

TEST(VarType, EveryTextButTwoReadsBackInAnyCase)
{
    for (Tag const & tag : kTags)
        for (int const style : {0, 1, 2})
        {
            std::wstring text = tag.name;
            for (wchar_t & character : text)
                if (style != 0)
                    character = static_cast<wchar_t>(style == 1 ? std::towupper(static_cast<wint_t>(character))
                                                                : std::towlower(static_cast<wint_t>(character)));
            VARENUM type = VT_CF;
            EXPECT_EQ(VarType::TryParse(text.c_str(), type), tag.parses);
            EXPECT_EQ(type, tag.parses ? tag.type : VT_CF);
            EXPECT_FALSE(VarType::TryParse((text + L" ").c_str(), type));
            EXPECT_FALSE(VarType::TryParse(text.substr(0, text.size() - 1).c_str(), type));
        }
}

TEST(VarType, IntegerIsIntAndOtherTextsThrow)
{
    VarType type;
    type.Parse(L"iNTEGER");
    EXPECT_TRUE(type.IsInt());
    for (wchar_t const * text : {L"", L"Integers", L"DynamicEnums.Colour", L"Lon\u212A"})
    {
        EXPECT_FALSE(type.TryParse(text));
        EXPECT_THROW(type.Parse(text), qvlib::unexpected_error);
    }
    EXPECT_FALSE(type.TryParse(nullptr));
    EXPECT_TRUE(type == VarType::Int);
    type.SetAsBlob();
    EXPECT_TRUE(type == VarType(VarType::Blob) && type == 65);
}

} // namespace

#include "qvlib/Version.h"

#include "qvlib/Exceptions.h"

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <string>
#include <vector>

namespace
{

using qvlib::Version;

/// The name in the exception that the call ends in, with its message looked at; empty when it throws none.
std::string BadPart(std::function<void()> const & call)
{
    try
    {
        call();
    }
    catch (qvlib::argument_out_of_range_exception const & failure)
    {
        EXPECT_STREQ(failure.what(), "Argument out of range.");
        return failure.ParamName();
    }
    return {};
}

TEST(Version, ReadsAsThePlatformsScan)
{
    constexpr int kMaximum = std::numeric_limits<int>::max();
    struct
    {
        wchar_t const * text;
        int read;
        Version version;
    } const cases[] = {
        {L"1.2.3.4", 4, {1, 2, 3, 4}},
        {L"1.2.3.4.5", 4, {1, 2, 3, 4}},
        {L"1.2.3x", 3, {1, 2, 3}},
        {L"3.4", 2, {3, 4}},
        {L"3.", 1, {3, 0}},
        {L"1", 1, {1, 0}},
        {L"1 .2", 1, {1, 0}},
        {L" 1. +2.\t03", 3, {1, 2, 3}},
        {L"1..2", 1, {1, 0}},
        {L"1.2.-1", 3, {1, 2}},
        {L"v1.2", 0, {0, 0}},
        {L".5", 0, {0, 0}},
        {L"-", 0, {0, 0}},
        {L" -", 0, {0, 0}},
        {L"", -1, {0, 0}},
        {L" \n", -1, {0, 0}},
        {nullptr, -1, {0, 0}},
        {L"99999999999999999999.2147483648", 2, {kMaximum, kMaximum}},
    };
    for (auto const & [text, read, version] : cases)
    {
        Version found(9, 9, 9, 9);
        std::wstring const shown = text ? text : L"(null)";
        EXPECT_EQ(found.FromString(text), read) << testing::PrintToString(shown);
        EXPECT_EQ(found, version) << testing::PrintToString(shown);
        EXPECT_EQ(Version(text), version) << testing::PrintToString(shown);
    }
    Version odd(0, 0);
    EXPECT_EQ(odd.FromString(L"1.2.-1.4"), 4);
    EXPECT_EQ(odd.Parts(), 2) << "a revision without a build";
    EXPECT_EQ(odd.Revision(), 4);
}

TEST(Version, RefusesNegativePartsByName)
{
    EXPECT_EQ(BadPart([] { Version(-1, 2); }), "major");
    EXPECT_EQ(BadPart([] { Version(1, -2); }), "minor");
    EXPECT_EQ(BadPart([] { Version(1, 2, -1); }), "build");
    EXPECT_EQ(BadPart([] { Version(1, 2, 3, -1); }), "revision");
    EXPECT_EQ(BadPart([] { Version(1, 2, -1, 0); }), "build");
    EXPECT_EQ(BadPart([] { Version(1, 2, 3, 4).ToString(5, false); }), "parts");
    Version kept(5, 6);
    for (auto const & [text, part] : std::vector<std::pair<wchar_t const *, std::string>>{
             {L"-1", "major"}, {L"1.-2", "minor"}, {L"1.2.-2", "build"}, {L"1.2.3.-99999999999", "revision"}})
        EXPECT_EQ(BadPart([&kept, text = text] { kept.FromString(text); }), part);
    EXPECT_EQ(kept, Version(5, 6)) << "a refused text changes nothing";
}

TEST(Version, PartsThatWereNotGivenSortFirst)
{
    Version const sorted[] = {Version::Empty, {0, 0, 0}, {1, 2}, {1, 2, 0}, {1, 2, 0, 0}, {1, 2, 3}, {1, 10}, {2, 0}};
    for (Version const & a : sorted)
        for (Version const & b : sorted)
        {
            EXPECT_EQ(a < b, &a < &b);
            EXPECT_EQ(a <= b, &a <= &b);
            EXPECT_EQ(a == b, &a == &b);
            EXPECT_EQ(a != b, &a != &b);
            EXPECT_EQ(a > b, &a > &b);
            EXPECT_EQ(a >= b, &a >= &b);
        }
    EXPECT_EQ(Version(1, 2).Parts(), 2);
    EXPECT_EQ(Version(1, 2, 0).Parts(), 3);
    EXPECT_EQ(Version(1, 2, 0, 0).Parts(), 4);
    EXPECT_EQ(Version(1, 2).Build(), 0);
    EXPECT_EQ(Version(1, 2, 3).Revision(), 0);
}

TEST(Version, WritesAsManyPartsAsAsked)
{
    Version const whole(1, 2, 3, 4);
    EXPECT_EQ(whole.ToString(false), L"1.2.3.4");
    EXPECT_EQ(whole.ToString(true), L"1.02.03.4") << "the revision is never padded";
    EXPECT_EQ(whole.ToString(3, true), L"1.02.03");
    EXPECT_EQ(whole.ToString(1, true), L"1");
    EXPECT_EQ(whole.ToString(0, false), L"1.2.3.4");
    EXPECT_EQ(whole.ToString(-7, true), L"1.02.03.4");
    EXPECT_EQ(Version(L"3.4.5").ToString(false), L"3.4.5");
    EXPECT_EQ(Version(1, 2).ToString(4, false), L"1.2.0.0");
    EXPECT_EQ(Version(10, 123).ToString(true), L"10.123");
    EXPECT_EQ(Version::Empty.ToString(false), L"0.0");
}

TEST(Version, WritesIntoABufferWithRoomForTheNul)
{
    Version const version(1, 2, 3);
    for (int size = -1; size <= 7; ++size)
    {
        wchar_t buffer[8] = L"#######";
        bool const fits = size > 5;
        EXPECT_EQ(version.ToString(buffer, size, false), fits) << size;
        EXPECT_EQ(std::wstring(buffer), fits ? L"1.2.3" : size == 5 ? L"" : L"#######") << size;
    }
    wchar_t buffer[8];
    EXPECT_TRUE(version.ToString(buffer, 8, 2, true));
    EXPECT_EQ(std::wstring(buffer), L"1.02");
    EXPECT_FALSE(version.ToString(nullptr, 8, false));
}

} // namespace

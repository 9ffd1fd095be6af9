#include "foundation/Base64.cpp" // the library does not export its coder: the tests have their own copy
#include "qvlib/framework/exceptions.h"

#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <string>
#include <vector>

using namespace qvlib::internal;

namespace
{

std::wstring Encode(std::string const & bytes, unsigned flags = 0)
{
    std::size_t size = Base64EncodedSize(bytes.size(), flags);
    std::wstring text(size, L'#');
    unsigned char const none = 0;
    auto const * data = bytes.empty() ? &none : reinterpret_cast<unsigned char const *>(bytes.data());
    EXPECT_TRUE(Base64Encode(data, bytes.size(), text.data(), &size, flags));
    EXPECT_LE(size, text.size());
    text.resize(size);
    return text;
}

std::string Decode(std::wstring const & text)
{
    std::size_t size = 0;
    EXPECT_FALSE(Base64Decode(text.c_str(), text.size(), nullptr, &size)); // the size needed
    std::string bytes(size, '#');
    std::size_t written = size;
    EXPECT_TRUE(Base64Decode(text.c_str(), text.size(), reinterpret_cast<unsigned char *>(bytes.data()), &written) ||
                size == 0);
    EXPECT_EQ(written, size);
    if (size != 0)
    {
        std::size_t tooSmall = size - 1;
        std::vector<unsigned char> room(size);
        EXPECT_FALSE(Base64Decode(text.c_str(), text.size(), room.data(), &tooSmall));
        EXPECT_EQ(tooSmall, size);
    }
    return bytes;
}

} // namespace

TEST(Base64, KnownTexts)
{
    EXPECT_EQ(Encode(""), L"");
    EXPECT_EQ(Encode("f"), L"Zg==");
    EXPECT_EQ(Encode("fo"), L"Zm8=");
    EXPECT_EQ(Encode("foobar"), L"Zm9vYmFy");
    EXPECT_EQ(Encode("f", kBase64NoPadding), L"Zg");
    EXPECT_EQ(Encode("fo", kBase64NoPadding), L"Zm8");
    EXPECT_EQ(Encode("\xFB\xFF\xBF"), L"+/+/");
}

TEST(Base64, LinesEndBetweenLinesOnly)
{
    EXPECT_EQ(Encode(std::string(57, 'a')).size(), 76U); // one full line: no line end behind it
    EXPECT_EQ(Encode(std::string(58, 'a')).substr(76), L"\r\nYQ==");
    EXPECT_EQ(Encode(std::string(60, 'a')).substr(76), L"\r\nYWFh");
    EXPECT_EQ(Encode(std::string(114, 'a')).size(), 76U + 2 + 76);
    EXPECT_EQ(Encode(std::string(60, 'a'), kBase64NoLineBreaks).size(), 80U);
}

TEST(Base64, EveryLengthComesBack)
{
    std::mt19937 random(64);
    for (std::size_t length = 0; length < 400; ++length)
    {
        std::string bytes(length, '\0');
        for (char & byte : bytes)
            byte = static_cast<char>(random());
        for (unsigned flags = 0; flags < 4; ++flags)
            ASSERT_EQ(Decode(Encode(bytes, flags)), bytes) << length;
    }
}

TEST(Base64, DecodingSkipsWhatIsNoDigit)
{
    EXPECT_EQ(Decode(L" Q=U\x4E00\r\nJ-D_"), "ABC");
    EXPECT_EQ(Decode(std::wstring(L"QUJD\0QUJD", 9)), "ABC"); // a zero character ends it
    EXPECT_EQ(Decode(L"QUJDQ"), "ABC");                       // six bits make no byte
    for (std::size_t letters = 1; letters < 9; ++letters)
    {
        // The text may be shorter than told: what lies behind its zero character is not touched.
        auto const text = std::make_unique<wchar_t[]>(letters + 1);
        std::fill_n(text.get(), letters, L'Q');
        unsigned char bytes[64];
        std::size_t size = sizeof bytes;
        ASSERT_TRUE(Base64Decode(text.get(), 1000, bytes, &size));
        EXPECT_EQ(size, letters * 6 / 8);
    }
    EXPECT_EQ(Decode(L"===="), "");
}

TEST(Base64, RefusesWhatItCannotDo)
{
    unsigned char const byte = 0;
    wchar_t text[8];
    std::size_t size = 5; // one character is wanted for a line end that does not come
    EXPECT_FALSE(Base64Encode(&byte, 1, text, &size, 0));
    size = 8;
    EXPECT_FALSE(Base64Encode(nullptr, 1, text, &size, 0));
    EXPECT_FALSE(Base64Encode(&byte, 1, nullptr, &size, 0));
    EXPECT_FALSE(Base64Encode(&byte, 1, text, nullptr, 0));
    try
    {
        Base64EncodedSize(536870912, 0);
        ADD_FAILURE();
    }
    catch (COleException const & e)
    {
        EXPECT_EQ(e.m_sc, E_FAIL);
    }
    EXPECT_GT(Base64EncodedSize(536870911, 0), 0U);
}

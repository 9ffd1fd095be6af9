#include "qvlib/host/codepage.h"
#include "qvlib/host/utf16.h"
#include "qvlib/host/utf8.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace
{

using namespace qvlib::host;

std::wstring Wide(UINT codePage, std::string const & bytes, DWORD flags = 0)
{
    int const size = MultiByteToWideChar(codePage, flags, bytes.data(), static_cast<int>(bytes.size()), nullptr, 0);
    std::wstring text(static_cast<std::size_t>(size), L'?');
    EXPECT_EQ(size,
              MultiByteToWideChar(codePage, flags, bytes.data(), static_cast<int>(bytes.size()), text.data(), size));
    return text;
}

std::string Narrow(UINT codePage, std::wstring const & text, char const * other = nullptr, BOOL * used = nullptr)
{
    int const size =
        WideCharToMultiByte(codePage, 0, text.data(), static_cast<int>(text.size()), nullptr, 0, other, used);
    std::string bytes(static_cast<std::size_t>(size), '?');
    EXPECT_EQ(size, WideCharToMultiByte(codePage, 0, text.data(), static_cast<int>(text.size()), bytes.data(), size,
                                        other, used));
    return bytes;
}

/// Any code points, ASCII for long stretches, surrogates only when asked for.
std::wstring RandomText(std::mt19937 & random, std::size_t length, bool surrogates)
{
    std::wstring text;
    while (text.size() < length)
    {
        unsigned const kind = static_cast<unsigned>(random() % 12);
        unsigned c = static_cast<unsigned>(random() % 0x7F + 1);
        if (kind == 0)
            c = static_cast<unsigned>(random() % 0x800);
        else if (kind == 1)
            c = static_cast<unsigned>(random() % 0x10000);
        else if (kind == 2)
            c = static_cast<unsigned>(0x10000 + random() % 0x100000);
        if (c >= 0xD800 && c <= 0xDFFF && !surrogates)
            continue;
        text.append(kind > 8 ? 40 : 1, static_cast<wchar_t>(c));
    }
    return text;
}

TEST(Utf16, EveryTextComesBack)
{
    std::mt19937 random(3);
    for (std::size_t length = 0; length < 300; ++length)
    {
        std::wstring const text = RandomText(random, length, false);
        std::size_t const units = Utf16Length(text.data(), text.size());
        std::vector<unsigned char> bytes(2 * units + 1); // read and written at an odd address
        ASSERT_EQ(units, EncodeUtf16(text.data(), text.size(), bytes.data() + 1));
        ASSERT_EQ(text.size(), Utf16DecodedLength(bytes.data() + 1, units));
        std::wstring back(text.size(), L'\0');
        ASSERT_EQ(text.size(), DecodeUtf16(bytes.data() + 1, units, back.data()));
        ASSERT_EQ(text, back);
        ASSERT_EQ(text, FromUtf16(ToUtf16(text)));
    }
}

TEST(Utf16, LoneSurrogatesPassAndPairsAreOneCharacter)
{
    std::u16string const units = {u'a', 0xDC00, 0xD800, u'b', 0xD83D, 0xDE00, 0xD800, 0xD83D, 0xDE01, 0xDBFF};
    std::wstring const text = FromUtf16(units);
    EXPECT_EQ((std::wstring{L'a', 0xDC00, 0xD800, L'b', 0x1F600, 0xD800, 0x1F601, 0xDBFF}), text);
    EXPECT_EQ(units, ToUtf16(text));
    EXPECT_EQ((std::u16string{0xFFFD}), ToUtf16(std::wstring{0x110000}));
    // Cut at every place, a long run before and behind: no unit is lost or read past.
    std::u16string const lengthy = std::u16string(37, u'x') + units + std::u16string(70, u'\u4E00') + units;
    for (std::size_t count = 0; count <= lengthy.size(); ++count)
    {
        std::u16string const part(lengthy, 0, count);
        ASSERT_EQ(part, ToUtf16(FromUtf16(part)));
    }
    unsigned char const bytes[] = {0x41, 0x00, 0x3D, 0xD8, 0x00, 0xDE};
    wchar_t decoded[3] = {};
    EXPECT_EQ(2U, DecodeUtf16(bytes, 3, decoded));
    EXPECT_EQ(L'A', decoded[0]);
    EXPECT_EQ(0x1F600, decoded[1]);
}

TEST(Utf8, EveryTextComesBack)
{
    std::mt19937 random(4);
    for (std::size_t length = 0; length < 300; ++length)
    {
        std::wstring const text = RandomText(random, length, false);
        std::string const bytes = ToUtf8(text);
        ASSERT_EQ(text, FromUtf8(bytes));
        bool valid = false;
        ASSERT_EQ(text.size(), Utf8DecodedLength(bytes.data(), bytes.size(), &valid));
        ASSERT_TRUE(valid);
    }
}

TEST(Utf8, BrokenSequencesBecomeOneReplacementEach)
{
    struct
    {
        char const * bytes;
        wchar_t const * text;
    } const cases[] = {
        {"a\x80z", L"a\xFFFDz"},
        {"\xC3", L"\xFFFD"},
        {"\xC0\xAF", L"\xFFFD\xFFFD"}, // overlong
        {"\xE2\x82", L"\xFFFD"},       // cut short
        {"\xE2\x82z", L"\xFFFDz"},
        {"\xE0\x80\x80", L"\xFFFD\xFFFD\xFFFD"}, // overlong
        {"\xED\xA0\x80", L"\xFFFD\xFFFD\xFFFD"}, // a surrogate
        {"\xF0\x9F\x98\x80", L"\U0001F600"},
        {"\xF0\x9F\x98", L"\xFFFD"},
        {"\xF4\x90\x80\x80", L"\xFFFD\xFFFD\xFFFD\xFFFD"}, // above U+10FFFF
        {"\xFF\xFE", L"\xFFFD\xFFFD"},
    };
    for (auto const & c : cases)
    {
        EXPECT_EQ(c.text, FromUtf8(c.bytes));
        bool const expected = FromUtf8(c.bytes).find(L'\xFFFD') == std::wstring::npos;
        // The same behind a block of ASCII, where the fast loop has to hand over.
        EXPECT_EQ(std::wstring(33, L'x') + c.text, FromUtf8(std::string(33, 'x') + c.bytes));
        EXPECT_EQ(expected, MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, c.bytes, -1, nullptr, 0) != 0);
        if (!expected)
        {
            EXPECT_EQ(ERROR_NO_UNICODE_TRANSLATION, static_cast<LSTATUS>(GetLastError()));
        }
    }
    EXPECT_EQ("\xEF\xBF\xBD", ToUtf8(std::wstring{0xD800}));
}

TEST(CodePages, SizesAndErrors)
{
    wchar_t wide[4] = {};
    EXPECT_EQ(4, MultiByteToWideChar(CP_UTF8, 0, "abc", -1, nullptr, 0));
    EXPECT_EQ(4, MultiByteToWideChar(CP_UTF8, 0, "abc", -1, wide, 4));
    EXPECT_STREQ(L"abc", wide);
    EXPECT_EQ(1, MultiByteToWideChar(CP_UTF8, 0, "\xE2\x82\xAC", 3, wide, 1));
    EXPECT_EQ(0x20AC, wide[0]);
    EXPECT_EQ(0, MultiByteToWideChar(CP_UTF8, 0, "abcd", 4, wide, 3));
    EXPECT_EQ(ERROR_INSUFFICIENT_BUFFER, static_cast<LSTATUS>(GetLastError()));
    EXPECT_EQ(0, MultiByteToWideChar(CP_UTF8, 0, "abc", 0, wide, 3));
    EXPECT_EQ(ERROR_INVALID_PARAMETER, static_cast<LSTATUS>(GetLastError()));
    EXPECT_EQ(0, MultiByteToWideChar(CP_UTF8, MB_PRECOMPOSED, "abc", 3, wide, 3));
    EXPECT_EQ(ERROR_INVALID_FLAGS, static_cast<LSTATUS>(GetLastError()));
    EXPECT_EQ(0, MultiByteToWideChar(4711, 0, "abc", 3, wide, 3));
    EXPECT_EQ(ERROR_INVALID_PARAMETER, static_cast<LSTATUS>(GetLastError()));
    char narrow[4] = {};
    EXPECT_EQ(4, WideCharToMultiByte(CP_UTF8, 0, L"abc", -1, narrow, 4, nullptr, nullptr));
    EXPECT_STREQ("abc", narrow);
    EXPECT_EQ(0, WideCharToMultiByte(CP_UTF8, 0, L"\x20AC\x20AC", 2, narrow, 4, nullptr, nullptr));
    EXPECT_EQ(ERROR_INSUFFICIENT_BUFFER, static_cast<LSTATUS>(GetLastError()));
    EXPECT_EQ(0, WideCharToMultiByte(CP_UTF8, 0, L"a", 1, narrow, 4, "?", nullptr));
    EXPECT_EQ(ERROR_INVALID_PARAMETER, static_cast<LSTATUS>(GetLastError()));
    wchar_t const lone[] = {0xDC00, 0};
    EXPECT_EQ(0, WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, lone, 1, narrow, 4, nullptr, nullptr));
    EXPECT_EQ(ERROR_NO_UNICODE_TRANSLATION, static_cast<LSTATUS>(GetLastError()));
}

TEST(CodePages, OtherPages)
{
    EXPECT_EQ(L"\xE4\x80", Wide(CP_LATIN1, "\xE4\x80"));
    EXPECT_EQ(L"\xE4\x20AC", Wide(CP_WINDOWS_1252, "\xE4\x80"));
    EXPECT_EQ(L"\x65E5\x672C", Wide(932, "\x93\xFA\x96\x7B"));
    EXPECT_EQ(L"\x0416", Wide(1251, "\xC6"));
    EXPECT_EQ(L"\xE9", Wide(850, "\x82"));
    EXPECT_EQ(L"\xE4", Wide(CP_ACP, "\xC3\xA4"));
    BOOL used = 0;
    EXPECT_EQ("a?\xE4", Narrow(CP_LATIN1, L"a\x416\xE4", nullptr, &used));
    EXPECT_TRUE(used);
    EXPECT_EQ("a-\x80", Narrow(CP_WINDOWS_1252, L"a\x416\x20AC", "-", &used));
    EXPECT_TRUE(used);
    EXPECT_EQ("\x93\xFA", Narrow(932, L"\x65E5", nullptr, &used));
    EXPECT_FALSE(used);
}

} // namespace

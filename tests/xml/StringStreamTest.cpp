#include "qvlib/StringStream.h"

#include "qvlib/host/utf16.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace
{

using qvlib::StringStream;

std::string Bytes(std::wstring const & text)
{
    std::u16string const units = qvlib::host::ToUtf16(text);
    return std::string(reinterpret_cast<char const *>(units.data()), 2 * units.size());
}

TEST(StringStream, ReadsUnitsInAnyPieces)
{
    std::wstring const text = L"a\u00E9\U0001F600\xD800z";
    for (ULONG piece = 2; piece < 9; ++piece)
    {
        StringStream stream(text);
        std::string all;
        char buffer[16];
        ULONG read = 0;
        do
        {
            ASSERT_EQ(stream.Read(buffer, piece, &read), S_OK);
            EXPECT_EQ(read % 2, 0U);
            all.append(buffer, read);
        } while (read != 0);
        EXPECT_EQ(all, Bytes(text)) << piece;
        EXPECT_EQ(stream.GetStdString(), text);
    }
    StringStream stream(std::wstring(L"ab"));
    char buffer[4];
    ULONG read = 7;
    EXPECT_EQ(stream.Read(buffer, 1, &read), S_OK);
    EXPECT_EQ(read, 0U);
}

TEST(StringStream, JoinsHalvesAcrossWrites)
{
    std::string const bytes = Bytes(L"a\U0001F600\xDE00\xD83D\xD83Dz\xD83D");
    for (std::size_t piece = 2; piece < 9; piece += 2)
    {
        StringStream stream;
        for (std::size_t i = 0; i < bytes.size(); i += piece)
        {
            ULONG written = 0;
            ULONG const count = static_cast<ULONG>(std::min(piece, bytes.size() - i));
            EXPECT_EQ(stream.Write(bytes.data() + i, count, &written), S_OK);
            EXPECT_EQ(written, count);
        }
        EXPECT_EQ(stream.GetStdString(), L"a\U0001F600\xDE00\xD83D\xD83Dz\xD83D") << piece;
    }
    StringStream stream;
    ULONG written = 0;
    EXPECT_EQ(stream.Write("a\0b", 3, &written), S_OK);
    EXPECT_EQ(written, 3U); // the odd byte counts as written
    EXPECT_EQ(stream.GetStdString(), L"a");
}

TEST(StringStream, KeepsToItsMode)
{
    StringStream reading(qvlib::CQVString(L"abc"));
    StringStream writing;
    char buffer[2] = {};
    ULONG count = 77;
    EXPECT_EQ(writing.Read(buffer, 2, &count), E_INVALIDARG);
    EXPECT_EQ(reading.Write(buffer, 2, &count), E_INVALIDARG);
    EXPECT_EQ(count, 77U);
    EXPECT_EQ(reading.Seek({}, 0, nullptr), E_NOTIMPL);
    EXPECT_EQ(reading.Stat(nullptr, 0), E_NOTIMPL);
    EXPECT_EQ(reading.Clone(nullptr), E_NOTIMPL);

    StringStream moved(std::move(reading));
    EXPECT_EQ(moved.Read(buffer, 2, &count), S_OK);
    EXPECT_EQ(buffer[0], 'a');
    writing.Write("x\0", 2, &count);
    moved = std::move(writing);
    EXPECT_EQ(moved.GetStdString(), L"x");
    EXPECT_EQ(moved.Write("\0\0y\0", 4, &count), S_OK);
    EXPECT_EQ(moved.GetStdString(), std::wstring(L"x\0y", 3));
    EXPECT_EQ(moved.GetString(), qvlib::CQVString(L"x"));
}

TEST(StringStream, AnswersForItsInterfacesAndCounts)
{
    StringStream * stream = nullptr;
    StringStream::CreateForReading(&stream, L"a");
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(stream->QueryInterface(IID_IStream, nullptr), E_INVALIDARG);
    void * object = stream;
    EXPECT_EQ(stream->QueryInterface(IID_IDispatch, &object), E_NOINTERFACE);
    EXPECT_EQ(object, nullptr);
    for (IID const & iid : {IID_IUnknown, IID_IStream, IID_ISequentialStream})
    {
        EXPECT_EQ(stream->QueryInterface(iid, &object), S_OK);
        EXPECT_EQ(stream->AddRef(), 3U);
        EXPECT_EQ(stream->Release(), 2U);
        EXPECT_EQ(static_cast<IUnknown *>(object)->Release(), 1U);
    }
    EXPECT_EQ(stream->Release(), 0U);
    StringStream::CreateForWriting(&stream);
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(stream->Release(), 0U);
}

} // namespace

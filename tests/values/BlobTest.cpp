#include "qvlib/Blob.h"
#include "qvlib/Exceptions.h"
#include "qvlib/framework/memfile.h"
#include "support/allocation_sweep.h"
#include "support/piece_file.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <thread>
#include <vector>

using qvlib::CBlob;
using qvlib_test::PieceFile;

namespace
{

std::string Bytes(CBlob const & blob)
{
    return {reinterpret_cast<char const *>(blob.GetData()), static_cast<std::size_t>(blob.GetLength())};
}

CBlob Of(std::string const & bytes) { return CBlob(bytes.data(), bytes.size()); }

std::string Block(std::uint32_t length, std::string const & bytes)
{
    std::string block("BINBLOCK\0", 9);
    for (unsigned i = 0; i < 4; ++i)
        block += static_cast<char>(length >> (8 * i));
    return block + bytes;
}

std::string Bytes(STGMEDIUM const & medium)
{
    std::string const bytes(static_cast<char const *>(GlobalLock(medium.hGlobal)), GlobalSize(medium.hGlobal));
    GlobalUnlock(medium.hGlobal);
    return bytes;
}

} // namespace

TEST(Blob, EmptyHoldsNothing)
{
    CBlob const a;
    CBlob b = Of("x");
    EXPECT_NE(a, b);
    b.SetData(nullptr, 0);
    EXPECT_EQ(a, b);
    EXPECT_EQ(b.GetData(), nullptr);
    EXPECT_EQ(b.GetBuffer(), nullptr);
    EXPECT_FALSE(a < b || b < a);
    EXPECT_TRUE(b.ToString().IsEmpty());
    b = Of("abc");
    EXPECT_EQ(b.GetBuffer(0), nullptr);
    EXPECT_TRUE(b.IsEmpty());
    EXPECT_EQ(b.GetLength(), 0);
}

TEST(Blob, SharesUntilOneWrites)
{
    CBlob a = Of("abc");
    CBlob b;
    b = a;
    EXPECT_EQ(a.GetData(), b.GetData());
    EXPECT_FALSE(a < b || b < a);
    a.GetBuffer()[0] = 'x';
    EXPECT_EQ(Bytes(a), "xbc");
    EXPECT_EQ(Bytes(b), "abc");

    CBlob const c = b.Clone();
    EXPECT_EQ(c, b);
    EXPECT_TRUE((c < b) != (b < c)); // equal bytes, other identity: on purpose
    b.Copy(c);
    EXPECT_NE(b.GetData(), c.GetData());
    b = *&b;
    b.Copy(b);
    EXPECT_EQ(Bytes(b), "abc");
}

TEST(Blob, AResizedCopyCarriesWhatFits)
{
    CBlob a = Of("abcdef");
    CBlob const shared = a;
    a.GetBuffer(2);
    EXPECT_EQ(Bytes(a), "ab");
    a.GetBuffer(4)[3] = '!';
    EXPECT_EQ(Bytes(a).substr(0, 2), "ab");
    EXPECT_EQ(a.GetData()[3], '!');
    EXPECT_EQ(Bytes(shared), "abcdef");
}

TEST(Blob, ReusesAPrivateBufferThatIsLargeEnough)
{
    CBlob a = Of("abcdef");
    unsigned char const * const place = a.GetData();
    a.SetData(place + 2, 3); // bytes of its own, overlapping
    EXPECT_EQ(Bytes(a), "cde");
    EXPECT_EQ(a.GetData(), place);
    a.SetData("123456", 6);
    EXPECT_EQ(a.GetData(), place);
    CBlob const b = a;
    a.SetData(a.GetData() + 4, 2); // shared: into a new buffer, from the old one
    EXPECT_EQ(Bytes(a), "56");
    EXPECT_EQ(Bytes(b), "123456");
}

TEST(Blob, RefusesNoDataWithASize)
{
    CBlob a = Of("abc");
    EXPECT_THROW(a.SetData(nullptr, 5), qvlib::unexpected_error);
    if constexpr (sizeof(long) > 4)
    {
        EXPECT_THROW(a.SetData("x", 0x100000000UL), qvlib::argument_out_of_range_exception);
        EXPECT_THROW(a.GetBuffer(0x100000000UL), qvlib::argument_out_of_range_exception);
    }
    EXPECT_EQ(Bytes(a), "abc");
}

TEST(Blob, TextKeepsTheTextsLengthOnPurpose)
{
    CBlob a = Of("old");
    EXPECT_TRUE(a.FromString(L"QUJD", -1));
    EXPECT_EQ(a.GetLength(), 4);
    EXPECT_EQ(Bytes(a).substr(0, 3), "ABC");
    EXPECT_TRUE(a.FromString(L"QUJDxxxx", 4));
    EXPECT_EQ(a.GetLength(), 4);
    for (wchar_t const * const nothing : {L"", static_cast<wchar_t const *>(nullptr)})
    {
        a = Of("old");
        EXPECT_TRUE(a.FromString(nothing, -1));
        EXPECT_TRUE(a.IsEmpty());
    }
    a = Of("old");
    EXPECT_TRUE(a.FromString(L"QUJD", 0));
    EXPECT_TRUE(a.IsEmpty());
}

TEST(Blob, TextBreaksIntoLines)
{
    qvlib::CQVString const text = Of(std::string(60, 'a')).ToString();
    EXPECT_EQ(text.GetLength(), 76 + 2 + 4);
    EXPECT_EQ(text.Mid(76), L"\r\nYWFh");
    EXPECT_EQ(Of(std::string(57, 'a')).ToString().GetLength(), 76);
    CBlob back;
    EXPECT_TRUE(back.FromString(text, text.GetLength()));
    EXPECT_EQ(Bytes(back).substr(0, 60), std::string(60, 'a'));
}

TEST(Blob, FileFormIsMagicLengthBytes)
{
    PieceFile file;
    EXPECT_TRUE(Of("abc").WriteToFile(file));
    EXPECT_TRUE(CBlob().WriteToFile(file));
    EXPECT_EQ(file.bytes, Block(3, "abc") + Block(0, ""));
    CBlob read = Of("old");
    EXPECT_TRUE(read.ReadFromFile(file));
    EXPECT_EQ(Bytes(read), "abc");
    EXPECT_TRUE(read.ReadFromFile(file)); // an empty block empties
    EXPECT_TRUE(read.IsEmpty());

    PieceFile full;
    full.limit = 14;
    EXPECT_THROW(Of("abc").WriteToFile(full), CFileException);
}

TEST(Blob, CutOrChangedFilesLeaveItAlone)
{
    std::string const whole = Block(5, "abcde");
    for (std::size_t length = 0; length < whole.size(); ++length)
    {
        PieceFile file(whole.substr(0, length));
        CBlob blob = Of("old");
        EXPECT_FALSE(blob.ReadFromFile(file)) << length;
        EXPECT_EQ(Bytes(blob), "old");
    }
    for (std::size_t at = 0; at < 9; ++at)
    {
        PieceFile file(whole);
        file.bytes[at] ^= 0x20;
        CBlob blob = Of("old");
        EXPECT_FALSE(blob.ReadFromFile(file)) << at;
        EXPECT_EQ(Bytes(blob), "old");
    }
}

TEST(Blob, ALyingLengthTakesNoMemory)
{
    PieceFile file(Block(0xFFFFFFFF, "few"));
    CBlob blob = Of("old");
    EXPECT_FALSE(blob.ReadFromFile(file)); // the sanitizer refuses a single allocation of 4 GB
    EXPECT_EQ(Bytes(blob), "old");
    file.position = 0;
    STGMEDIUM medium = Of("old").ToStgMedium();
    EXPECT_FALSE(CBlob::ReadFromFile(file, medium));
    EXPECT_EQ(Bytes(medium), "old");
    CBlob::FreeStgMedium(medium);
}

TEST(Blob, LargeFilesComeBackWhole)
{
    std::string large(300001, '\0');
    std::mt19937 random(1);
    for (char & byte : large)
        byte = static_cast<char>(random());
    PieceFile file;
    Of(large).WriteToFile(file);
    CBlob blob;
    ASSERT_TRUE(blob.ReadFromFile(file));
    EXPECT_EQ(Bytes(blob), large);
    file.position = 0;
    STGMEDIUM medium{};
    ASSERT_TRUE(CBlob::ReadFromFile(file, medium));
    EXPECT_EQ(Bytes(medium), large);
    CBlob::FreeStgMedium(medium);
}

TEST(Blob, MovesThroughGlobalMemory)
{
    STGMEDIUM medium = Of("abc").ToStgMedium();
    EXPECT_EQ(medium.tymed, 1U);
    CBlob const taken(medium);
    EXPECT_EQ(Bytes(taken), "abc");
    PieceFile file;
    EXPECT_TRUE(CBlob::WriteToFile(file, medium));
    EXPECT_EQ(file.bytes, Block(3, "abc"));
    CBlob::FreeStgMedium(medium);
    EXPECT_EQ(medium.hGlobal, nullptr);
    CBlob::FreeStgMedium(medium); // once more does nothing
    EXPECT_EQ(CBlob().ToStgMedium().hGlobal, nullptr);

    STGMEDIUM other{};
    other.tymed = TYMED_FILE;
    CBlob blob = Of("kept");
    blob.SetData(other);
    EXPECT_EQ(Bytes(blob), "kept");
    EXPECT_FALSE(CBlob::WriteToFile(file, other));

    file.bytes = Block(0, "");
    file.position = 0;
    medium = Of("old").ToStgMedium();
    EXPECT_TRUE(CBlob::ReadFromFile(file, medium)); // an empty block frees what was held
    EXPECT_EQ(medium.hGlobal, nullptr);
}

TEST(Blob, AFailedAllocationChangesNothing)
{
    CBlob blob = Of("old");
    CBlob const shared = blob;
    std::string const bytes(100000, 'n');
    PieceFile file(Block(100000, bytes));
    auto const unchanged = [&] { ASSERT_EQ(Bytes(blob), "old"); };
    EXPECT_GT(qvlib_test::SweepAllocations(
                  [&]
                  {
                      file.position = 0;
                      CBlob(blob).ReadFromFile(file);
                      CBlob(blob).FromString(L"QUJD", -1);
                      CBlob(blob).ToString();
                      CBlob(blob).GetBuffer();
                  },
                  unchanged),
              4U);
    qvlib_test::SweepAllocations([&] { blob.SetData(bytes.data(), bytes.size()); }, unchanged);
    EXPECT_EQ(Bytes(blob), bytes);
    qvlib_test::SweepAllocations(
        [&]
        {
            STGMEDIUM medium = blob.ToStgMedium(); // tells of no memory by a null handle
            CBlob::FreeStgMedium(medium);
        });
}

TEST(Blob, ThreadsShareABufferAndWriteTheirOwn)
{
    CBlob const original = Of(std::string(1000, 'o'));
    std::vector<std::thread> threads;
    for (char letter = 'a'; letter < 'e'; ++letter)
        threads.emplace_back(
            [copy = original, letter]() mutable
            {
                for (int i = 0; i < 2000; ++i)
                {
                    CBlob mine = copy;
                    *mine.GetBuffer() = static_cast<unsigned char>(letter);
                    ASSERT_EQ(*copy.GetData(), 'o');
                }
                *copy.GetBuffer() = static_cast<unsigned char>(letter);
            });
    for (std::thread & thread : threads)
        thread.join();
    EXPECT_EQ(Bytes(original), std::string(1000, 'o'));
}

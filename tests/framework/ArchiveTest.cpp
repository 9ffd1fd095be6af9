#include "qvlib/framework/archive.h"
#include "qvlib/framework/memfile.h"
#include "support/allocation_sweep.h"
#include "support/piece_file.h"

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <string>

namespace
{

using qvlib_test::PieceFile;

std::string Stored(std::function<void(CArchive &)> const & write)
{
    PieceFile file;
    CArchive archive(&file, CArchive::store);
    write(archive);
    archive.Close();
    return file.bytes;
}

int CauseOf(std::function<void()> const & operation)
{
    try
    {
        operation();
    }
    catch (CArchiveException const & e)
    {
        return e.m_cause;
    }
    return CArchiveException::none;
}

// Every kind of scalar, and texts of all sorts.
void WriteAll(CArchive & archive)
{
    archive << true << 'c' << static_cast<unsigned char>(200) << static_cast<short>(-2)
            << static_cast<unsigned short>(3) << -4 << 5U << -6L << 7UL << -8LL << 9ULL << 1.5F << -2.5 << L'w'
            << CString(L"ab\x1F600") << CString();
}

void CheckAll(CArchive & archive)
{
    bool b = false;
    char c = 0;
    unsigned char uc = 0;
    short s = 0;
    unsigned short us = 0;
    int i = 0;
    unsigned int ui = 0;
    long l = 0;
    unsigned long ul = 0;
    __int64 ll = 0;
    unsigned __int64 ull = 0;
    float f = 0;
    double d = 0;
    wchar_t w = 0;
    CString text;
    CString empty(L"full");
    archive >> b >> c >> uc >> s >> us >> i >> ui >> l >> ul >> ll >> ull >> f >> d >> w >> text >> empty;
    EXPECT_TRUE(b && c == 'c' && uc == 200 && s == -2 && us == 3 && i == -4 && ui == 5 && l == -6 && ul == 7);
    EXPECT_TRUE(ll == -8 && ull == 9 && f == 1.5F && d == -2.5 && w == L'w' && empty.IsEmpty());
    EXPECT_EQ(text, L"ab\x1F600");
}

CString Repeated(wchar_t character, int count) { return CString(character, count); }

} // namespace

TEST(Archive, WritesScalarsInTheirStoredForm)
{
    EXPECT_EQ(Stored(WriteAll), std::string("\1"
                                            "c\xC8\xFE\xFF\3\0\xFC\xFF\xFF\xFF\5\0\0\0\xFA\xFF\xFF\xFF\7\0\0\0"
                                            "\xF8\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x9\0\0\0\0\0\0\0"
                                            "\0\0\xC0\x3F\0\0\0\0\0\0\4\xC0"
                                            "w\0\xFF\xFE\xFF\4a\0b\0\x3D\xD8\0\xDE\xFF\xFE\xFF\0",
                                            1 + 1 + 1 + 2 + 2 + 4 + 4 + 4 + 4 + 8 + 8 + 4 + 8 + 2 + 4 + 8 + 4));
}

TEST(Archive, ReadsBackThroughAnyBufferAndAnyPieces)
{
    std::string const bytes = Stored(WriteAll);
    for (UINT const piece : {1U, 2U, 3U, 7U, 1000U})
    {
        PieceFile file(bytes, piece);
        CArchive archive(&file, CArchive::load, static_cast<int>(piece));
        CheckAll(archive);
    }
    CMemFile memory;
    {
        CArchive archive(&memory, CArchive::store);
        for (int i = 0; i < 200; ++i)
            WriteAll(archive);
    } // the destructor flushes
    EXPECT_EQ(memory.GetLength(), bytes.size() * 200);
    memory.SeekToBegin();
    CArchive archive(&memory, CArchive::load);
    for (int i = 0; i < 200; ++i)
        CheckAll(archive);
    char more = 0;
    EXPECT_EQ(archive.Read(&more, 1), 0U);
}

TEST(Archive, CutAnywhereItEndsWithEndOfFile)
{
    std::string const bytes = Stored(WriteAll);
    for (std::size_t length = 0; length < bytes.size(); ++length)
    {
        PieceFile file(bytes.substr(0, length));
        CMemFile memory(reinterpret_cast<BYTE *>(file.bytes.data()), static_cast<UINT>(length));
        for (CFile * source : {static_cast<CFile *>(&file), static_cast<CFile *>(&memory)})
        {
            CArchive archive(source, CArchive::load);
            EXPECT_EQ(CauseOf([&] { CheckAll(archive); }), CArchiveException::endOfFile) << length;
        }
    }
}

TEST(Archive, TellsAWrongDirection)
{
    CMemFile memory;
    memory.Write("12345678", 8);
    memory.SeekToBegin();
    char buffer[4];
    int number = 0;
    CString text(L"kept");
    {
        CArchive archive(&memory, CArchive::load);
        archive >> number; // a filled buffer must not be written to either
        EXPECT_EQ(CauseOf([&] { archive << 1; }), CArchiveException::readOnly);
        EXPECT_EQ(CauseOf([&] { archive << text; }), CArchiveException::readOnly);
        EXPECT_EQ(CauseOf([&] { archive.Write(buffer, 1); }), CArchiveException::readOnly);
    }
    {
        CArchive archive(&memory, CArchive::store);
        archive << 1;
        EXPECT_EQ(CauseOf([&] { archive >> number; }), CArchiveException::writeOnly);
        EXPECT_EQ(CauseOf([&] { archive >> text; }), CArchiveException::writeOnly);
        EXPECT_EQ(CauseOf([&] { archive.Read(buffer, 4); }), CArchiveException::writeOnly);
        archive.Close();
        EXPECT_EQ(CauseOf([&] { archive << 1; }), CArchiveException::genericException);
    }
    EXPECT_EQ(text, L"kept");
}

TEST(Archive, LongsKeepTo32Bits)
{
    EXPECT_EQ(Stored([](CArchive & archive) { archive << 0xFFFFFFFFUL << ~0UL << -1L << 0xFFFFFFFFL; }),
              std::string(16, '\xFF'));
    if constexpr (sizeof(long) > 4)
    {
        CMemFile memory;
        CArchive archive(&memory, CArchive::store);
        EXPECT_THROW(archive << 0x100000000L, CInvalidArgException);
        EXPECT_THROW(archive << -0x80000001L, CInvalidArgException);
        EXPECT_THROW(archive << 0x100000000UL, CInvalidArgException);
        EXPECT_THROW(archive << static_cast<wchar_t>(0x10000), CInvalidArgException);
        archive.Flush();
        EXPECT_EQ(memory.GetLength(), 0U);
    }
    CMemFile memory;
    memory.Write("\xFE\xFF\xFF\xFF\xFE\xFF\xFF\xFF", 8);
    memory.SeekToBegin();
    CArchive archive(&memory, CArchive::load);
    long number = 0;
    unsigned long plain = ~0UL;
    archive >> number >> plain; // each is filled whole
    EXPECT_EQ(number, -2);
    EXPECT_EQ(plain, 0xFFFFFFFEUL);
}

TEST(Archive, LengthPrefixesChangeWidthWhereTheyMust)
{
    struct
    {
        UINT_PTR length;
        std::string prefix;
    } const rows[] = {
        {0, std::string("\0", 1)},
        {254, "\xFE"},
        {255, std::string("\xFF\xFF\0", 3)},
        {300, "\xFF\x2C\x01"},
        {0xFFFD, "\xFF\xFD\xFF"},
        {0xFFFE, std::string("\xFF\xFF\xFF\xFE\xFF\0\0", 7)},
        {0xFFFFFFFE, "\xFF\xFF\xFF\xFE\xFF\xFF\xFF"},
        {0xFFFFFFFF, std::string("\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\0\0\0\0", 15)},
    };
    for (auto const & row : rows)
        for (bool const unicode : {false, true})
        {
            PieceFile file(Stored([&](CArchive & archive) { AfxWriteStringLength(archive, row.length, unicode); }));
            EXPECT_EQ(file.bytes, (unicode ? "\xFF\xFE\xFF" : "") + row.prefix) << row.length;
            CArchive archive(&file, CArchive::load);
            int charSize = 0;
            EXPECT_EQ(AfxReadStringLength(archive, charSize), row.length);
            EXPECT_EQ(charSize, unicode ? 2 : 1);
        }
}

TEST(Archive, TextsOfEveryLengthComeBack)
{
    // Around each width of the prefix, the buffer and the steps of reading; in one unit a character and in two.
    for (wchar_t const character : {L'x', static_cast<wchar_t>(0x1F600), static_cast<wchar_t>(0xD83D)})
        for (int const length :
             {1, 126, 127, 128, 254, 255, 256, 2047, 4096, 32767, 32768, 65533, 65534, 65535, 200000})
        {
            CString const text = Repeated(character, length);
            PieceFile file(Stored([&](CArchive & archive) { archive << text; }), 1001);
            CMemFile memory(reinterpret_cast<BYTE *>(file.bytes.data()), static_cast<UINT>(file.bytes.size()));
            for (CFile * source : {static_cast<CFile *>(&file), static_cast<CFile *>(&memory)})
            {
                CArchive archive(source, CArchive::load);
                CString read;
                archive >> read;
                ASSERT_TRUE(read == text) << length;
            }
        }
}

TEST(Archive, TextWithoutTheTagIsLatin1)
{
    PieceFile file("\x3"
                   "a\xE9\xFF");
    CArchive archive(&file, CArchive::load);
    CString text;
    archive >> text;
    EXPECT_EQ(text, L"a\xE9\xFF");
}

TEST(Archive, ALyingLengthTakesNoMemory)
{
    for (char const * const prefix : {"\xFF\xFF\xFF\xFE\xFF\xFF\x7F", "\xFF\xFE\xFF\xFF\xFF\xFF\xFE\xFF\xFF\xFF",
                                      "\xFF\xFE\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"})
    {
        PieceFile file(std::string(prefix) + "some");
        CArchive archive(&file, CArchive::load);
        CString text(L"kept");
        EXPECT_EQ(CauseOf([&] { archive >> text; }), CArchiveException::endOfFile);
        EXPECT_EQ(text, L"kept");
    }
}

TEST(Archive, FlushGivesThePositionBack)
{
    PieceFile file("12345678");
    CArchive archive(&file, CArchive::load);
    int number = 0;
    archive >> number;
    EXPECT_EQ(file.position, 8U); // read ahead
    archive.Flush();
    EXPECT_EQ(file.position, 4U);
    file.position = 2;
    archive >> number;
    EXPECT_EQ(number, 0x36353433);

    CMemFile memory;
    memory.Write("head", 4);
    CArchive out(&memory, CArchive::store);
    out << 'a';
    out.Flush();
    memory.Write("b", 1);
    out << 'c';
    out.Close();
    EXPECT_EQ(memory.GetLength(), 7U);
    EXPECT_EQ(std::string(reinterpret_cast<char const *>(memory.GetData()), 7), "headabc");
}

TEST(Archive, AFailingFileShowsAtCloseAndNotInTheDestructor)
{
    PieceFile full;
    full.limit = 10;
    {
        CArchive archive(&full, CArchive::store);
        archive << 1 << 2 << 3;
    }
    EXPECT_TRUE(full.bytes.empty());
    CArchive archive(&full, CArchive::store);
    archive << 1 << 2 << 3;
    EXPECT_THROW(archive.Close(), CFileException);
    full.limit = 100;
    archive.Close(); // nothing was lost
    EXPECT_EQ(full.bytes.size(), 12U);

    BYTE memory[6];
    CMemFile fixed(memory, sizeof memory);
    CArchive narrow(&fixed, CArchive::store);
    narrow << 1;
    EXPECT_THROW(narrow << 2, CMemoryException);
    narrow << static_cast<short>(3);
    narrow.Close();
    EXPECT_EQ(memory[4], 3);

    BYTE exact[8]; // a text takes no room that it does not need
    CMemFile tight(exact, sizeof exact);
    CArchive text(&tight, CArchive::store);
    text << CString(L"ab");
    text.Close();
    EXPECT_EQ(exact[6], 'b');
    CArchive over(&tight, CArchive::store);
    EXPECT_EQ(over.Room(1), nullptr); // none left, which is no failure until something is written

    PieceFile dropped;
    {
        CArchive silent(&dropped, CArchive::store | CArchive::bNoFlushOnDelete);
        silent << 1;
    }
    EXPECT_TRUE(dropped.bytes.empty());
}

TEST(Archive, SurvivesEveryFailedAllocation)
{
    CString const text = Repeated(L'y', 100000);
    std::string const bytes = Stored([&](CArchive & archive) { archive << text; });
    EXPECT_GT(qvlib_test::SweepAllocations(
                  [&]
                  {
                      PieceFile file(bytes);
                      CArchive archive(&file, CArchive::load);
                      CString read;
                      archive >> read;
                      EXPECT_EQ(read.GetLength(), 100000);
                  }),
              2U);
}

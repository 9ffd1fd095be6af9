// The archive records: their bytes, and what becomes of them when they are cut, changed or of another version.
#include "qvlib/ArchiveSerialization.h"
#include "qvlib/Blob.h"
#include "qvlib/GenericVal.h"
#include "qvlib/RectF.h"
#include "qvlib/framework/memfile.h"
#include "support/allocation_sweep.h"
#include "support/piece_file.h"
#include "values/generic_values.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace
{

using qvlib::CGenericVal;
using qvlib_test::PieceFile;

template <class T>
void Transfer(CArchive & archive, T & value)
{
    if (archive.IsStoring())
        archive << value;
    else
        archive >> value;
}
void Transfer(CArchive & archive, _GUID & value) { qvlib::SerializeGuid(archive, value); }
void Transfer(CArchive & archive, std::string & value) { qvlib::SerializeString(archive, value); }
void Transfer(CArchive & archive, std::wstring & value) { qvlib::SerializeString(archive, value); }
void Transfer(CArchive & archive, CGenericVal & value) { value.Serialize(archive); }

template <class T>
std::string Stored(T value)
{
    PieceFile file;
    CArchive archive(&file, CArchive::store);
    Transfer(archive, value);
    archive.Close();
    return file.bytes;
}

// Loads a record; the cause of the archive's exception, 0 for none, -1 for a tag that cannot be stored.
template <class T>
int Load(std::string const & bytes, T & value)
{
    PieceFile file(bytes);
    CArchive archive(&file, CArchive::load);
    try
    {
        Transfer(archive, value);
    }
    catch (CArchiveException const & e)
    {
        return e.m_cause;
    }
    catch (CInvalidArgException const &)
    {
        return -1;
    }
    return CArchiveException::none;
}

template <class T>
T Loaded(std::string const & bytes)
{
    T value{};
    EXPECT_EQ(Load(bytes, value), CArchiveException::none);
    return value;
}

std::string Little(std::uint32_t value)
{
    std::string bytes;
    for (unsigned i = 0; i < 4; ++i)
        bytes += static_cast<char>(value >> (8 * i));
    return bytes;
}

_GUID const kGuid = {0x01020304, 0x0506, 0x0708, {9, 10, 11, 12, 13, 14, 15, 16}};

} // namespace

TEST(ArchiveRecords, PlainOnes)
{
    EXPECT_EQ(Stored(qvlib::CDateTime(-2.5)), std::string("\0\0\0\0\0\0\4\xC0", 8));
    EXPECT_EQ(Loaded<qvlib::CDateTime>(Stored(qvlib::CDateTime(12345.25))), qvlib::CDateTime(12345.25));

    qvlib::CTLRectF const rect{1, 2, 4, 8};
    EXPECT_EQ(Stored(rect), std::string("\0\0\0\0\0\0\0\x40"   // the second field first
                                        "\0\0\0\0\0\0\x20\x40" // the fourth
                                        "\0\0\0\0\0\0\xF0\x3F\0\0\0\0\0\0\x10\x40",
                                        32));
    EXPECT_EQ(Loaded<qvlib::CTLRectF>(Stored(rect)), rect);

    EXPECT_EQ(Stored(kGuid), Little(1) + "\4\3\2\1\6\5\x08\7\x09\x0A\x0B\x0C\x0D\x0E\x0F\x10");
    EXPECT_EQ(Stored(Loaded<_GUID>(Stored(kGuid))), Stored(kGuid));
}

TEST(ArchiveRecords, StringsOfTheLibrary)
{
    std::wstring const wide = L"a\x1F600";
    EXPECT_EQ(Stored(wide), Little(1) + "\1" + Little(3) + std::string("a\0\x3D\xD8\0\xDE", 6));
    EXPECT_EQ(Stored(std::wstring()), Little(1) + "\1" + Little(0));
    EXPECT_EQ(Stored(std::string("\xC3\xA9")), Little(1) + std::string(1, '\0') + Little(2) + "\xC3\xA9");
    // Either width loads into either string.
    EXPECT_EQ(Loaded<std::wstring>(Stored(wide)), wide);
    EXPECT_EQ(Loaded<std::string>(Stored(wide)), "a\xF0\x9F\x98\x80");
    EXPECT_EQ(Loaded<std::wstring>(Stored(std::string("\xC3\xA9z"))), L"\xE9z");
    EXPECT_EQ(Loaded<std::string>(Little(1) + "\x7F" + Little(1) + std::string("x\0", 2)), "x"); // any width but 0
    std::wstring const lone(1, static_cast<wchar_t>(0xDC00));
    EXPECT_EQ(Loaded<std::wstring>(Stored(lone)), lone);
    for (std::size_t length : {511U, 512U, 513U, 70000U})
    {
        std::wstring const text(length, static_cast<wchar_t>(0x1F600));
        EXPECT_EQ(Loaded<std::wstring>(Stored(text)), text);
    }
}

TEST(ArchiveRecords, CutStringsAreThoseThatArrived)
{
    std::string const narrow = Stored(std::string("abcd"));
    std::string const wide = Stored(std::wstring(L"abcd"));
    for (std::size_t cut = 0; cut <= 4; ++cut)
    {
        EXPECT_EQ(Loaded<std::string>(narrow.substr(0, 9 + cut)), std::string("abcd").substr(0, cut));
        EXPECT_EQ(Loaded<std::wstring>(narrow.substr(0, 9 + cut)), std::wstring(L"abcd").substr(0, cut));
        EXPECT_EQ(Loaded<std::wstring>(wide.substr(0, 9 + 2 * cut)), std::wstring(L"abcd").substr(0, cut));
    }
    EXPECT_EQ(Loaded<std::wstring>(wide.substr(0, 12)), L"a"); // half a unit is none
    std::string const lying = Little(1) + "\1" + Little(0xFFFFFFFF) + std::string("a\0b\0", 4);
    EXPECT_EQ(Loaded<std::wstring>(lying), L"ab");
    EXPECT_EQ(Loaded<std::string>(lying), "ab");
    std::string head = narrow.substr(0, 8);
    std::string kept = "kept";
    EXPECT_EQ(Load(head, kept), CArchiveException::endOfFile);
    EXPECT_EQ(kept, "kept");
}

TEST(ArchiveRecords, GenericValuesAreAVersionATagAndAValue)
{
    EXPECT_EQ(Stored(CGenericVal()), Little(1) + Little(0));
    EXPECT_EQ(Stored(CGenericVal(true)), Little(1) + Little(11) + "\1");
    EXPECT_EQ(Stored(CGenericVal(L"ab")), Little(1) + Little(31) + "\xFF\xFE\xFF\2" + std::string("a\0b\0", 4));
    EXPECT_EQ(Stored(CGenericVal(-2L)), Little(1) + Little(3) + "\xFE\xFF\xFF\xFF");
    std::string const text = Stored(CGenericVal(qvlib::CQVString(L'x', 300)));
    EXPECT_EQ(text.substr(8, 6), "\xFF\xFE\xFF\xFF\x2C\x01");
}

TEST(ArchiveRecords, ABlobValueCannotBeStored)
{
    PieceFile file;
    CArchive archive(&file, CArchive::store);
    CGenericVal blob(qvlib::CBlob("abc", 3));
    EXPECT_THROW(blob.Serialize(archive), CInvalidArgException);
    archive.Close();
    EXPECT_EQ(file.bytes, Little(1) + Little(65)); // version and tag have gone out: kept on purpose
    CGenericVal value(5);
    EXPECT_EQ(Load(file.bytes, value), -1);
    EXPECT_TRUE(value.GetType().IsBlob());
}

namespace
{

// What holds for every record with a version, over every place where it can be cut.
template <class T>
void CheckRecord(T const & value, int causeWhenCut, std::size_t mayBeCutFrom = std::string::npos)
{
    std::string const whole = Stored(value);
    EXPECT_EQ(Stored(Loaded<T>(whole)), whole);
    EXPECT_EQ(Stored(Loaded<T>(Little(0) + whole.substr(4))), whole); // version 0 reads as 1
    for (std::uint32_t const version : {2U, 256U, 0x80000000U})
    {
        T read{};
        EXPECT_EQ(Load(Little(version) + whole.substr(4), read), CArchiveException::badSchema);
    }
    for (std::size_t length = 0; length < std::min(whole.size(), mayBeCutFrom); ++length)
    {
        T read{};
        EXPECT_EQ(Load(whole.substr(0, length), read), length < 4 ? CArchiveException::endOfFile : causeWhenCut)
            << length;
    }
    // Any byte may be changed: an exception of the archive or a value, no more.
    for (std::size_t at = 0; at < whole.size(); ++at)
        for (unsigned flip : {0x01U, 0x80U, 0xFFU})
        {
            std::string changed = whole;
            changed[at] = static_cast<char>(static_cast<unsigned char>(changed[at]) ^ flip);
            T read{};
            if (Load(changed, read) == CArchiveException::none)
            {
                EXPECT_NO_THROW(Stored(Loaded<T>(Stored(read)))) << at;
            }
        }
    qvlib_test::SweepAllocations(
        [&]
        {
            PieceFile file(whole);
            CArchive archive(&file, CArchive::load);
            T read{};
            Transfer(archive, read);
        });
}

} // namespace

TEST(ArchiveRecords, CutChangedOrOfAnotherVersion)
{
    CheckRecord(kGuid, CArchiveException::badClass); // not endOfFile: kept on purpose
    CheckRecord(std::string("some text"), CArchiveException::endOfFile, 9);
    CheckRecord(std::wstring(L"some text"), CArchiveException::endOfFile, 9);
    for (CGenericVal const & value : qvlib_test::PlainValues())
    {
        SCOPED_TRACE(static_cast<int>(value.GetType()));
        CheckRecord(value, CArchiveException::endOfFile);
        EXPECT_EQ(Loaded<CGenericVal>(Stored(value)), value);
    }
}

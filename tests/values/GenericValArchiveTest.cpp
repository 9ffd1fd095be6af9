#include "support/allocation_sweep.h"
#include "support/archived.h"
#include "values/generic_values.h"

#include "qvlib/DateTime.h"
#include "qvlib/GenericVal.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace
{

using qvlib::CGenericVal;

std::string Stored(CGenericVal value)
{
    return qvlib_test::Archived<std::string>([&](CArchive & archive) { value.Serialize(archive); });
}

void Load(std::string const & bytes, CGenericVal & value)
{
    qvlib_test::ReadArchived(bytes, [&](CArchive & archive) { value.Serialize(archive); });
}

std::vector<CGenericVal> Storable()
{
    std::vector<CGenericVal> values = qvlib_test::PlainValues();
    for (std::wstring const & text : {std::wstring(), std::wstring(L"a\u20AC\xD800z"), std::wstring(300, L'x')})
        values.emplace_back(text.c_str());
    return values;
}

TEST(GenericValArchive, RecordsHaveTheirLayout)
{
    auto const head = [](char tag) { return std::string("\1\0\0\0", 4) + tag + std::string(3, '\0'); };
    EXPECT_EQ(Stored(CGenericVal()), head(0));
    EXPECT_EQ(Stored(CGenericVal(true)), head(11) + '\1');
    EXPECT_EQ(Stored(CGenericVal('c')), head(16) + 'c');
    EXPECT_EQ(Stored(CGenericVal(static_cast<short>(-2))), head(2) + "\xFE\xFF");
    EXPECT_EQ(Stored(CGenericVal(0x01020304L)), head(3) + "\4\3\2\1");
    EXPECT_EQ(Stored(CGenericVal(0x0102030405060708LL)), head(20) + "\x8\7\6\5\4\3\2\1");
    EXPECT_EQ(Stored(CGenericVal(1.0F)), head(4) + std::string("\0\0\x80\x3F", 4));
    EXPECT_EQ(Stored(CGenericVal(qvlib::CDateTime(1.0))), head(7) + std::string("\0\0\0\0\0\0\xF0\x3F", 8));
    EXPECT_EQ(Stored(CGenericVal(L"ab")), head(31) + std::string("\xFF\xFE\xFF\2a\0b\0", 8));
    EXPECT_EQ(Stored(CGenericVal(std::wstring(300, L'x').c_str())).substr(8, 6),
              std::string("\xFF\xFE\xFF\xFF\x2C\x01", 6));
}

TEST(GenericValArchive, EveryStorableKindComesBack)
{
    for (CGenericVal const & value : Storable())
    {
        std::string bytes = Stored(value);
        CGenericVal back(L"old");
        Load(bytes, back);
        EXPECT_TRUE(back == value);
        bytes[0] = 0; // version 0 reads alike
        back = CGenericVal(7.5);
        Load(bytes, back);
        EXPECT_TRUE(back == value);
        bytes[0] = 2;
        try
        {
            Load(bytes, back);
            ADD_FAILURE() << "a later version was read";
        }
        catch (CArchiveException const & error)
        {
            EXPECT_EQ(error.m_cause, CArchiveException::badSchema);
        }
        EXPECT_TRUE(back == value);
    }
}

TEST(GenericValArchive, ARecordCutAnywhereIsAnEndOfFile)
{
    for (CGenericVal const & value : Storable())
    {
        std::string const bytes = Stored(value);
        for (std::size_t length = 0; length < bytes.size(); length += length < 24 ? 1 : 97)
        {
            CGenericVal back(L"old");
            try
            {
                Load(bytes.substr(0, length), back);
                ADD_FAILURE() << "read from " << length << " of " << bytes.size() << " bytes";
            }
            catch (CArchiveException const & error)
            {
                EXPECT_EQ(error.m_cause, CArchiveException::endOfFile);
            }
        }
    }
}

TEST(GenericValArchive, KindsThatCannotBeStoredThrowAfterTheHead)
{
    CGenericVal error;
    error.SetError(5);
    for (CGenericVal value : {CGenericVal(qvlib::CBlob("ab", 2)), CGenericVal(CGenericVal::Closure()), error})
    {
        CMemFile file;
        CArchive archive(&file, CArchive::store);
        EXPECT_THROW(value.Serialize(archive), CInvalidArgException);
        archive.Close();
        EXPECT_EQ(file.GetLength(), 8U);
    }
    for (std::uint32_t const tag : {1U, 6U, 8U, 10U, 29U, 30U, 65U, 8192U, 0x80000003U, 0xFFFFFFFFU})
    {
        std::string bytes("\1\0\0\0", 4);
        for (unsigned shift = 0; shift < 32; shift += 8)
            bytes += static_cast<char>(tag >> shift & 0xFFU);
        CGenericVal value(L"old");
        EXPECT_THROW(Load(bytes + std::string(64, 'x'), value), CInvalidArgException);
        EXPECT_EQ(static_cast<int>(value.GetType()), static_cast<int>(tag));
    }
}

TEST(GenericValArchive, AnyFlippedBitIsReadOrReported)
{
    for (CGenericVal const & value : {CGenericVal(L"abc"), CGenericVal(2.5), CGenericVal(true)})
    {
        std::string const bytes = Stored(value);
        for (std::size_t bit = 0; bit < bytes.size() * 8; ++bit)
        {
            std::string flipped = bytes;
            flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ 1 << bit % 8);
            CGenericVal back;
            try
            {
                Load(flipped, back);
                Stored(back); // whatever came in is a value that can go out
            }
            catch (CException const &)
            {
            }
        }
    }
}

TEST(GenericValArchive, ReadingASharedTextLeavesItsOtherOwners)
{
    CGenericVal value(L"shared");
    CGenericVal const other(value);
    Load(Stored(CGenericVal(L"new")), value);
    EXPECT_TRUE(value == CGenericVal(L"new"));
    EXPECT_TRUE(other == CGenericVal(L"shared"));
}

} // namespace

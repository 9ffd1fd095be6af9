#include "qvlib/StringVector.h"

#include "qvlib/framework/archive.h"
#include "qvlib/framework/memfile.h"

#include <gtest/gtest.h>

namespace
{

using qvlib::CQVString;
using qvlib::CStringVector;

std::string Stored(CStringVector & items)
{
    CMemFile file;
    CArchive archive(&file, CArchive::store);
    items.Serialize(archive);
    archive.Close();
    std::string bytes(static_cast<std::size_t>(file.GetLength()), '\0');
    file.SeekToBegin();
    file.Read(bytes.data(), static_cast<UINT>(bytes.size()));
    return bytes;
}

/// The cause of the failure, or -1.
int Load(std::string bytes, CStringVector & items)
{
    CMemFile file;
    file.Write(bytes.data(), static_cast<UINT>(bytes.size()));
    file.SeekToBegin();
    CArchive archive(&file, CArchive::load);
    try
    {
        items.Serialize(archive);
    }
    catch (CArchiveException const & failure)
    {
        return failure.m_cause;
    }
    return -1;
}

TEST(StringVector, StoredForm)
{
    CStringVector none;
    EXPECT_EQ(Stored(none), std::string("\1\0\0\0\0\0\0\0", 8));
    CStringVector items{CQVString(L"ab"), CQVString(L"\U0001F600")};
    EXPECT_EQ(Stored(items), std::string("\1\0\0\0\2\0\0\0\xFF\xFE\xFF\2a\0b\0\xFF\xFE\xFF\2\x3D\xD8\x00\xDE", 24));
    CStringVector loaded(1, CQVString(L"kept"));
    EXPECT_EQ(Load(Stored(items), loaded), -1);
    ASSERT_EQ(loaded.size(), 3U) << "appended";
    EXPECT_EQ(loaded[2], items[1]);
    EXPECT_EQ(Load(std::string("\0\0\0\0\1\0\0\0\2\xE9z", 11), loaded), -1) << "version 0, narrow text";
    EXPECT_EQ(loaded.back(), L"\u00E9z");
}

TEST(StringVector, BadFormsFailAndKeepWhatCame)
{
    CStringVector items{CQVString(L"one"), CQVString(L"two")};
    std::string const bytes = Stored(items);
    for (std::size_t cut = 0; cut < bytes.size(); ++cut)
    {
        CStringVector loaded;
        EXPECT_EQ(Load(bytes.substr(0, cut), loaded), CArchiveException::endOfFile) << cut;
        EXPECT_EQ(loaded.size(), cut < 18 ? 0U : 1U) << cut;
    }
    std::string newer = bytes;
    newer[0] = 2;
    EXPECT_EQ(Load(newer, items), CArchiveException::badSchema);
    EXPECT_EQ(Load(std::string("\1\0\0\0\xFF\xFF\xFF\xFF", 8), items), CArchiveException::endOfFile)
        << "a count that nothing backs";
}

TEST(StringVector, TheJoinedFormHasNoEmptyItems)
{
    std::vector<CQVString> const plain{CQVString(L"a"), CQVString(), CQVString(L"b")};
    EXPECT_EQ(CStringVector(plain).ToString(), L"a,b");
    EXPECT_EQ(CStringVector(plain.begin(), plain.end()).size(), 3U);
    EXPECT_EQ(CStringVector(2, CQVString(L"x")).ToString(), L"x,x");
    EXPECT_EQ(CStringVector().ToString(), L"");
}

} // namespace

#include "qvlib/StringVector.h"

#include "support/archived.h"

#include <gtest/gtest.h>

namespace
{

using qvlib::CQVString;
using qvlib::CStringVector;

std::string Stored(CStringVector & items)
{
    return qvlib_test::Archived<std::string>([&](CArchive & archive) { items.Serialize(archive); });
}

/// The cause of the failure, or -1.
int Load(std::string const & bytes, CStringVector & items)
{
    return qvlib_test::CauseOf(
        [&] { qvlib_test::ReadArchived(bytes, [&](CArchive & archive) { items.Serialize(archive); }); });
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

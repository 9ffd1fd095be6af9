#include "support/allocation_sweep.h"
#include "support/archived.h"

#include <qvlib/Exceptions.h>
#include <qvlib/NameOrId.h>
#include <qvlib/framework/comutil.h>

#include <gtest/gtest.h>

#include <vector>

namespace
{

using namespace qvlib;
using qvlib_test::Bytes;
using qvlib_test::Loaded;
using qvlib_test::Stored;

TEST(NameOrId, KindsChangeByAssignmentAndReset)
{
    NameOrId key;
    EXPECT_TRUE(key.IsId());
    EXPECT_EQ(key.GetId(), 0U);
    EXPECT_THROW(key.GetName(), unexpected_error);

    key = L"a name longer than a string keeps inside";
    EXPECT_TRUE(key.IsName());
    EXPECT_THROW(key.GetId(), unexpected_error);
    key.Reset(true);
    EXPECT_EQ(key.GetName(), L"a name longer than a string keeps inside");
    key = key.GetName();
    key.SetName(key.GetName().c_str() + 2);
    EXPECT_EQ(key.ToString(), L"name longer than a string keeps inside") << "the argument lies in the key";
    key.Reset(false);
    EXPECT_TRUE(key == 0U);
    key.SetId(4000000000U);
    EXPECT_EQ(key.ToString(), L"4000000000");
    key.Reset(true);
    EXPECT_EQ(key.GetName(), L"");
    key = CQVString(L"q");
    EXPECT_TRUE(key == L"q");
    EXPECT_TRUE(NameOrId(static_cast<wchar_t const *>(nullptr)) == L"");

    NameOrId const constant(L"kept");
    NameOrId const copied(std::move(constant));
    EXPECT_TRUE(constant == copied) << "a constant cannot be moved from";
    NameOrId target(5U);
    target = std::move(key);
    EXPECT_TRUE(target == L"q");
}

TEST(NameOrId, OneOrderInEveryForm)
{
    // Ascending: ids by number, then names by character, prefixes first, upper case before lower.
    std::vector<NameOrId> const ordered{NameOrId(0U),   NameOrId(7U),    NameOrId(4294967295U), NameOrId(L""),
                                        NameOrId(L"5"), NameOrId(L"AB"), NameOrId(L"Ab"),       NameOrId(L"Abc")};
    for (std::size_t i = 0; i < ordered.size(); ++i)
        for (std::size_t j = 0; j < ordered.size(); ++j)
        {
            NameOrId const & a = ordered[i];
            NameOrId const & b = ordered[j];
            EXPECT_EQ(a < b, i < j) << i << " " << j;
            EXPECT_EQ(a == b, i == j);
            NameOrIdView const view(b);
            EXPECT_EQ(view.Equals(a), i == j);
            EXPECT_EQ(view.IsAfter(a), i < j);
            EXPECT_EQ(view.IsBefore(a), j < i);
            EXPECT_TRUE(view.ToKey() == b);
            if (b.IsId())
            {
                EXPECT_EQ(a == b.GetId(), i == j);
                EXPECT_EQ(a < b.GetId(), i < j);
                continue;
            }
            CQVString const text(b.GetName().c_str());
            EXPECT_EQ(a == b.GetName(), i == j);
            EXPECT_EQ(a == text, i == j);
            EXPECT_EQ(a == b.GetName().c_str(), i == j);
            EXPECT_EQ(a < b.GetName(), i < j);
            EXPECT_EQ(a < text, i < j);
            EXPECT_EQ(a < b.GetName().c_str(), i < j);
        }
}

TEST(NameOrId, VariantsOf32BitsAndTextsBecomeKeys)
{
    NameOrId key(L"old");
    EXPECT_TRUE(key.FromVariant(_variant_t(-1L)) == 4294967295U);
    EXPECT_EQ(key.ToVariant().vt, VT_UINT);
    EXPECT_TRUE(key.FromVariant(_variant_t(L"text")) == L"text");
    _variant_t const back = key;
    EXPECT_EQ(back.vt, VT_BSTR);
    EXPECT_TRUE(NameOrId().FromVariant(back) == key);
    EXPECT_THROW(key.FromVariant(_variant_t(1.5)), unexpected_error);
    EXPECT_TRUE(key == L"text");
}

TEST(NameOrId, RecordsHaveTheirLayoutAndSurviveEveryCut)
{
    EXPECT_EQ(Stored(NameOrId(5U)), (Bytes{1, 0, 0, 0, 0, 5, 0, 0, 0}));
    EXPECT_EQ(Stored(NameOrId(L"A\u20AC")), (Bytes{1, 0, 0, 0, 1, 1, 0, 0, 0, 1, 2, 0, 0, 0, 'A', 0, 0xAC, 0x20}));

    std::wstring const longName(1000, L'n');
    for (NameOrId const & key :
         {NameOrId(5U), NameOrId(L""), NameOrId(L"Name \U0001F600"), NameOrId(longName), NameOrId(L"0123456789")})
    {
        Bytes bytes = Stored(key);
        EXPECT_TRUE(Loaded<NameOrId>(bytes) == key);
        bytes[0] = 0;
        EXPECT_TRUE(Loaded<NameOrId>(bytes) == key) << "version 0 reads as 1";
        bytes[0] = 2;
        EXPECT_EQ(qvlib_test::CauseOf([&] { Loaded<NameOrId>(bytes); }), CArchiveException::badSchema);
        bytes[0] = 1;
        for (std::size_t length = 0; length < bytes.size(); ++length)
        {
            NameOrId read(L"untouched");
            try
            {
                qvlib_test::LoadInto(read, Bytes(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(length)));
                EXPECT_TRUE(key.IsName() && length >= 14) << "only characters may be missing";
            }
            catch (CArchiveException const & error)
            {
                EXPECT_EQ(error.m_cause, CArchiveException::endOfFile);
                EXPECT_TRUE(read == L"untouched");
            }
        }
    }
    // A count that lies costs what has arrived, not what it claims.
    EXPECT_TRUE(Loaded<NameOrId>(Bytes{1, 0, 0, 0, 1, 1, 0, 0, 0, 1, 0xFF, 0xFF, 0xFF, 0x7F, 'A', 0}) == L"A");
}

TEST(NameOrId, AFailedAllocationLeavesTheOldKey)
{
    NameOrId const source(L"a name that needs memory of its own");
    NameOrId key;
    qvlib_test::SweepAllocations(
        [&]
        {
            key.SetId(3);
            key = source;
        },
        [&] { EXPECT_TRUE(key == 3U); });
    EXPECT_TRUE(key == source);
}

} // namespace

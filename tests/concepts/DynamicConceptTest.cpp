#include "concepts/message_log.h"
#include "concepts/ticket.h"
#include "support/allocation_sweep.h"

#include <qvlib/Exceptions.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace
{

using namespace qvlib;
using qvlib_test::LoadShape;
using qvlib_test::LoadTicketShape;
using qvlib_test::OpenConcept;

TEST(DynamicConcept, WithoutMetadataItIsASortedListOfAnything)
{
    CTLDynamicConcept record;
    EXPECT_TRUE(record.Defines(L"anything"));
    record.Set(L"b", CGenericVal(1));
    record.Set(7U, CGenericVal(L"seven"));
    record.Set(L"a", CGenericVal(2.5));
    record.Set(L"b", record.Get(L"a"));
    record.Set(record.at(0).first, CGenericVal(8));
    ASSERT_EQ(record.size(), 3U);
    EXPECT_TRUE(record.at(0).first == 7U && record.at(1).first == L"a" && record.at(2).first == L"b");
    EXPECT_EQ(record.Get(L"b").GetDouble(), 2.5);
    EXPECT_EQ(record.Get(7U).GetInt(), 8);
    EXPECT_EQ(*record.TryGetItem<int>(7U), 8);
    EXPECT_FALSE(record.TryGetItem<CGenericVal>(8U));
    EXPECT_TRUE(*record.TryGetItem<CGenericVal>(7U) == record.Get(7U));
    EXPECT_THROW(record.at(3), std::out_of_range);
    EXPECT_THROW(record.Get(L"c"), unexpected_error);
    EXPECT_EQ(record.TryGet(L"c"), nullptr);
    EXPECT_EQ(record.IdOfName(NameOrId(70U)), 70U);
    EXPECT_EQ(record.NameOfId(L"x"), L"x");
    EXPECT_THROW(record.IdOfName(L"x"), unexpected_error);
    EXPECT_THROW(record.NameOfId(7U), unexpected_error);
    EXPECT_THROW(record.SetSelector(CGenericVal(1)), unexpected_error);
    EXPECT_FALSE(record.IsDefault());
    EXPECT_TRUE(record.Remove(L"b"));
    EXPECT_FALSE(record.Remove(L"b"));
    EXPECT_TRUE(record.Contains(L"a") && record.Contains(7U) && !record.Contains(std::wstring(L"b")));
}

TEST(DynamicConcept, KeysAndValuesTakeTheirNormalForm)
{
    CTLDynamicConcept ticket(LoadTicketShape());
    ticket.Set(L"Amount", CGenericVal(L"100"));
    EXPECT_TRUE(ticket.at(0).first == 12U);
    EXPECT_EQ(ticket.Get(12U).GetDouble(), 100.0) << "text becomes the field's type";
    EXPECT_EQ(&ticket.Get(L"Amount"), &ticket.Get(12U));
    ticket.Set(L"Amount", CGenericVal(7));
    EXPECT_TRUE(ticket.Get(L"Amount").GetType().IsInt()) << "other values are kept as they are";
    EXPECT_FALSE(ticket.TrySet(L"Settles", CGenericVal(L"no date")));
    EXPECT_FALSE(ticket.TrySet(L"Lots", CGenericVal(L""))) << "empty text is no number";
    EXPECT_TRUE(ticket.TrySet(L"Lots", CGenericVal(L"100")) && ticket.Get(L"Lots") == CGenericVal(100));
    EXPECT_TRUE(ticket.TrySet(L"Lots", CGenericVal(L"abc"))) << "text that is no number reads as 0";
    EXPECT_TRUE(ticket.Get(L"Lots") == CGenericVal(0));
    EXPECT_TRUE(ticket.Remove(CQVString(L"Lots")));
    EXPECT_FALSE(ticket.Contains(CQVString(L"Lots")));
    EXPECT_FALSE(ticket.Contains(L"Settles"));
    EXPECT_THROW(ticket.Set(L"nosuch", CGenericVal(1)), unexpected_error);
    ticket.Set(L"Note", CGenericVal(L"text"));
    ticket.Set(L"Free", CGenericVal(L"12"));
    EXPECT_TRUE(ticket.Get(L"Free").GetType().IsString()) << "no type, no conversion";
    EXPECT_TRUE(ticket.at(1).first == L"Free" && ticket.at(2).first == L"Note") << "names behind ids";
    // Id 0 finds the first field without an id, and is kept as it was given.
    EXPECT_TRUE(ticket.TrySet(0U, CGenericVal(L"zero")));
    EXPECT_TRUE(ticket.at(0).first == 0U);

    EXPECT_FALSE(ticket.TrySet(L"Currency", CGenericVal(L"Euro"))) << "a display is no name";
    ticket.Set(L"Currency", CGenericVal(L"eur"));
    EXPECT_TRUE(ticket.Get(L"Currency") == CGenericVal(978));
    ticket.Set(L"Currency", CGenericVal(392));
    EXPECT_FALSE(ticket.TrySet(L"Currency", CGenericVal(1)));
    EXPECT_FALSE(ticket.TrySet(L"Currency", CGenericVal(978.0)));
    EXPECT_EQ(ticket.Get(L"Currency").GetInt(), 392);
    EXPECT_TRUE(ticket.IsDefault()) << "no selector was written, so it stands on its default";

    auto const stored = ticket.PrepareForStoring({NameOrId(3U), CGenericVal(978)});
    EXPECT_TRUE(stored.first == L"Currency" && stored.second == CGenericVal(L"EUR"));
    EXPECT_THROW(ticket.PrepareForStoring({NameOrId(99U), CGenericVal(1)}), unexpected_error);

    OpenConcept open(LoadTicketShape());
    EXPECT_TRUE(open.GetItemKey(std::wstring(L"Amount")) == 12U);
    EXPECT_TRUE(open.GetItemKey(NameOrId(L"Note")) == L"Note");
    EXPECT_TRUE(open.GetItemKey(NameOrId(L"nosuch")) == L"nosuch");
    EXPECT_TRUE(open.GetItemKey(99U) == 99U);
}

TEST(DynamicConcept, AnUnboundEnumFieldTakesNumbersButNoText)
{
    CTLDynamicConcept record(LoadShape(L"<DynamicConcept><Fields><Field Name='Kind' Type='DynamicEnums.Kind'/>"
                                       L"<Field Name='Odd' Type='nonsense'/></Fields></DynamicConcept>"));
    for (int round = 0; round < 2; ++round)
        EXPECT_THROW(record.TrySet(L"Kind", CGenericVal(L"Spot")), unexpected_error);
    EXPECT_TRUE(record.TrySet(L"Odd", CGenericVal(1)));
    EXPECT_EQ(record.size(), 1U);
}

TEST(DynamicConcept, ASelectorWriteStartsANewRecord)
{
    qvlib_test::MessageLog log;
    CTLDynamicConcept ticket(LoadTicketShape());
    EXPECT_EQ(ticket.TryGetSelector(), nullptr);
    EXPECT_THROW(ticket.GetSelector(), unexpected_error);
    EXPECT_EQ(ticket.GetName(), L"Spot") << "the default";
    ticket = L"Forward";
    EXPECT_EQ(ticket.GetSelector().GetInt(), 2);
    EXPECT_EQ(ticket.GetDisplay(), L"Forward deal");
    EXPECT_FALSE(ticket.IsDefault());
    ticket.Set(L"Note", CGenericVal(L"x"));
    ticket.Set(L"Kind", ticket.GetSelector());
    EXPECT_EQ(ticket.size(), 1U) << "the same value, given from the record itself, empties too";
    EXPECT_EQ(ticket.GetCode(), 2);
    ticket.FromDisplay(L"spot deal");
    EXPECT_TRUE(ticket.IsDefault());
    ticket.Set(L"Note", CGenericVal(L"x"));
    EXPECT_FALSE(ticket.TrySet(L"Kind", CGenericVal(L"nosuch")));
    EXPECT_TRUE(ticket.IsEmpty()) << "emptied before the value is looked at";
    ticket = 2;
    ticket.Set(L"Note", CGenericVal(L"x"));
    EXPECT_TRUE(ticket.Remove(L"Kind"));
    EXPECT_EQ(ticket.GetSelectorEnum().GetCode(), 2) << "the mirror stays";
    EXPECT_TRUE(log.Texts().empty());
    EXPECT_THROW(ticket.FromDisplay(L"nosuch"), unexpected_error);
    EXPECT_EQ(log.Texts().size(), 1U);

    auto const shape = ticket.GetMetadata();
    ticket.Set(L"Note", CGenericVal(L"x"));
    ticket.SetMetadata(shape);
    EXPECT_EQ(ticket.size(), 1U);
    ticket.SetMetadata(nullptr);
    EXPECT_TRUE(ticket.IsEmpty());
    EXPECT_FALSE(ticket.GetSelectorEnum().HasMetadata());
}

TEST(DynamicConcept, EqualityAndOrder)
{
    CTLDynamicConcept a(LoadTicketShape());
    CTLDynamicConcept b(LoadTicketShape());
    EXPECT_TRUE(a == b) << "shapes may be equal copies";
    a.Set(L"Lots", CGenericVal(1));
    EXPECT_FALSE(a == b);
    EXPECT_TRUE(b < a && !(a < b));
    b.Set(L"Lots", CGenericVal(2));
    EXPECT_TRUE(a < b);
    b.Set(L"Amount", CGenericVal(0.0));
    EXPECT_TRUE(a < b) << "key 5 sorts before key 12";
    CTLDynamicConcept c = b;
    CTLDynamicConcept const moved(std::move(c));
    EXPECT_TRUE(moved == b);
}

TEST(DynamicConcept, MergeOverlaysAndTellsWhetherItChanged)
{
    CTLDynamicConcept ticket(LoadTicketShape());
    ticket = L"Spot";
    ticket.Set(L"Note", CGenericVal(L"mine"));
    EXPECT_FALSE(ticket.Merge(ticket));
    CTLDynamicConcept other = ticket;
    EXPECT_FALSE(ticket.Merge(other));
    other.Set(L"Lots", CGenericVal(5));
    other.Set(L"Note", CGenericVal(L"theirs"));
    EXPECT_TRUE(ticket.Merge(other));
    EXPECT_TRUE(ticket == other);
    // Only the selector's mirror differs.
    CTLDynamicConcept bare(LoadTicketShape());
    CTLDynamicConcept chosen(LoadTicketShape());
    chosen = 1;
    chosen.Remove(L"Kind");
    EXPECT_TRUE(bare.Merge(chosen));
    EXPECT_FALSE(bare.Merge(chosen));

    // Another shape: items travel by name, what is not known is dropped, values are put in unchecked where they exist.
    auto const foreign =
        LoadShape(L"<DynamicConcept Name='Other'><Fields><Field Name='Amount' Id='1'/>"
                  L"<Field Name='Alien' Id='2'/><Field Id='3'/><Field Name='Currency' Id='4'/></Fields>"
                  L"</DynamicConcept>");
    CTLDynamicConcept visitor(foreign);
    visitor.Set(1U, CGenericVal(L"7.5"));
    visitor.Set(2U, CGenericVal(1));
    visitor.Set(3U, CGenericVal(1));
    visitor.Set(4U, CGenericVal(L"JPY"));
    CTLDynamicConcept target(LoadTicketShape());
    EXPECT_TRUE(target.Merge(visitor));
    EXPECT_EQ(target.size(), 2U);
    EXPECT_EQ(target.Get(L"Amount").GetDouble(), 7.5);
    EXPECT_EQ(target.Get(L"Currency").GetInt(), 392);
    visitor.Set(4U, CGenericVal(L"EUR"));
    EXPECT_TRUE(target.Merge(visitor));
    EXPECT_TRUE(target.Get(L"Currency").GetType().IsString()) << "over an item that is there, unchecked";
    CTLDynamicConcept ids;
    ids.Set(12U, CGenericVal(1));
    EXPECT_FALSE(target.Merge(ids)) << "without a shape an id has no name";
    CTLDynamicConcept bad(foreign);
    bad.Set(4U, CGenericVal(L"nosuch"));
    EXPECT_THROW(CTLDynamicConcept(LoadTicketShape()).Merge(bad), unexpected_error);

    // A selector that is new here empties what was merged before it.
    CTLDynamicConcept late;
    late.Set(L"Amount", CGenericVal(1.0));
    late.Set(L"Kind", CGenericVal(L"Forward"));
    CTLDynamicConcept fresh(LoadTicketShape());
    EXPECT_TRUE(fresh.Merge(late));
    EXPECT_EQ(fresh.size(), 1U);
}

// Positions are guessed from the first id: every pattern of ids and names must find what a search finds.
TEST(DynamicConcept, FindsEveryItemWhateverTheGapsBetweenIds)
{
    auto random = [engine = std::mt19937(5)]() mutable { return static_cast<unsigned int>(engine()); };
    for (int round = 0; round < 200; ++round)
    {
        OpenConcept record(nullptr);
        std::vector<NameOrId> keys;
        unsigned int const spread = 1 + random() % 60;
        for (int i = 0; i < 24; ++i)
            keys.push_back(random() % 5 == 0
                               ? NameOrId(L"n" + std::to_wstring(random() % 20))
                               : NameOrId(random() % 7 == 0 ? 4294967295U - random() % 3 : random() % spread));
        for (auto const & key : keys)
            record.Set(key, CGenericVal(1));
        EXPECT_TRUE(std::is_sorted(record.begin(), record.end(),
                                   [](auto const & a, auto const & b) { return a.first < b.first; }));
        std::sort(keys.begin(), keys.end());
        keys.erase(std::unique(keys.begin(), keys.end()), keys.end());
        EXPECT_EQ(record.size(), keys.size());
        for (auto const & key : keys)
            EXPECT_TRUE(record.FindItem(key) != nullptr && record.FindItem(key)->first == key);
        for (unsigned int id = 0; id < 64; ++id)
            EXPECT_EQ(record.FindItem(id) != nullptr, std::binary_search(keys.begin(), keys.end(), NameOrId(id)));
    }
}

TEST(DynamicConcept, AFailedAllocationLeavesTheRecordAsItWas)
{
    auto const shape = LoadTicketShape();
    CTLDynamicConcept const before = [&]
    {
        CTLDynamicConcept record(shape);
        record.Set(L"Note", CGenericVal(L"a text of some length, kept"));
        return record;
    }();
    CTLDynamicConcept record = before;
    CGenericVal const text(L"another text of some length");
    for (wchar_t const * field : {L"Free", L"Note", L"Amount", L"Currency"})
    {
        record = before;
        CGenericVal const value = field == std::wstring(L"Amount")     ? CGenericVal(L"12.5")
                                  : field == std::wstring(L"Currency") ? CGenericVal(L"JPY")
                                                                       : text;
        CTLDynamicConcept attempt = before;
        qvlib_test::SweepAllocations(
            [&]
            {
                attempt = before;
                attempt.Set(field, value);
            },
            [&] { EXPECT_TRUE(attempt == before) << field; });
        EXPECT_TRUE(attempt.Contains(field));
    }
}

} // namespace

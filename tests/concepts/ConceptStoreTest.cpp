// The ways in which records leave memory and come back: archive, registry, property list.
#include "concepts/message_log.h"
#include "concepts/ticket.h"
#include "support/allocation_sweep.h"
#include "support/archived.h"

#include <qvlib/Exceptions.h>
#include <qvlib/Registry.h>

#include <gtest/gtest.h>

namespace
{

using namespace qvlib;
using qvlib_test::Bytes;
using qvlib_test::CauseOf;
using qvlib_test::LoadInto;
using qvlib_test::LoadShape;
using qvlib_test::LoadTicketShape;
using qvlib_test::Stored;

CTLDynamicConcept FullTicket()
{
    CTLDynamicConcept ticket(LoadTicketShape());
    ticket = L"Forward";
    ticket.Set(L"Amount", CGenericVal(L"-12.5"));
    ticket.Set(L"Currency", CGenericVal(L"JPY"));
    ticket.Set(L"Lots", CGenericVal(3));
    ticket.Set(L"Note", CGenericVal(L"gr\u00FC\u00DFe \U0001F600"));
    ticket.Set(L"Free", CGenericVal(std::wstring(400, L'f').c_str()));
    return ticket;
}

TEST(ConceptArchive, TheLayoutHoldsNamesOnly)
{
    CTLDynamicConcept ticket(LoadTicketShape());
    ticket = L"Spot";
    Bytes const expected{
        1, 0, 0, 0,                                                                           // record
        1, 0, 0, 0, 0,  1, 0, 0, 0,    1,    4,    0, 0,   0, 'S', 0, 'p', 0, 'o', 0, 't', 0, // selector
        1, 0, 0, 0, 1,  0, 0, 0,                                                              // one item
        1, 0, 0, 0,                                                                           // item
        1, 0, 0, 0, 1,  1, 0, 0, 0,    1,    4,    0, 0,   0, 'K', 0, 'i', 0, 'n', 0, 'd', 0, // key
        1, 0, 0, 0, 31, 0, 0, 0, 0xFF, 0xFE, 0xFF, 4, 'S', 0, 'p', 0, 'o', 0, 't', 0};        // value
    EXPECT_EQ(Stored(ticket), expected);

    // Item by item, the pair that is written is the one that PrepareForStoring gives.
    CTLDynamicConcept const full = FullTicket();
    for (auto const & item : full)
    {
        auto writeItem = [&](CTLDynamicConcept record, CTLDynamicConcept::Item pair)
        { return qvlib_test::Archived([&](CArchive & archive) { record.SerializeField(archive, pair); }); };
        EXPECT_EQ(writeItem(full, item), writeItem(CTLDynamicConcept(), full.PrepareForStoring(item)));
    }
}

TEST(ConceptArchive, RecordsComeBackEqualAndEveryCutShows)
{
    CTLDynamicConcept const ticket = FullTicket();
    Bytes const whole = Stored(ticket);
    EXPECT_TRUE(qvlib_test::Loaded(whole, CTLDynamicConcept(ticket.GetMetadata())) == ticket);
    for (std::size_t length = 0; length < whole.size(); ++length)
    {
        CTLDynamicConcept read(ticket.GetMetadata());
        Bytes const cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
        try
        {
            LoadInto(read, cut);
            ADD_FAILURE() << "cut at " << length;
        }
        catch (CArchiveException const & error)
        {
            EXPECT_EQ(error.m_cause, CArchiveException::endOfFile);
        }
        catch (unexpected_error const &)
        {
            EXPECT_LT(length, 33U) << "the selector's name cut short names no value";
        }
        EXPECT_LT(read.size(), ticket.size());
    }
    // Any byte may be wrong: it is refused, dropped, or taken as a value.
    qvlib_test::MessageLog log;
    for (std::size_t at = 0; at < whole.size(); ++at)
        for (int const flip : {0x01, 0x80, 0xFF})
        {
            Bytes bytes = whole;
            bytes[at] = static_cast<unsigned char>(bytes[at] ^ flip);
            CTLDynamicConcept read(ticket.GetMetadata());
            try
            {
                LoadInto(read, bytes);
            }
            catch (CException const &)
            {
            }
            catch (unexpected_error const &)
            {
            }
            EXPECT_LE(read.size(), ticket.size() + 1);
        }
}

TEST(ConceptArchive, LoadingAddsAndDropsWhatTheShapeDoesNotKnow)
{
    CTLDynamicConcept loose;
    loose.Set(L"Amount", CGenericVal(L"7.5"));
    loose.Set(L"Lots", CGenericVal(L"not a number, so 0"));
    loose.Set(L"Nosuch", CGenericVal(1));
    loose.Set(L"Currency", CGenericVal(L"nosuch"));
    loose.Set(9U, CGenericVal(1));
    CTLDynamicConcept ticket(LoadTicketShape());
    ticket.Set(L"Note", CGenericVal(L"stays"));
    LoadInto(ticket, Stored(loose));
    EXPECT_EQ(ticket.size(), 3U);
    EXPECT_EQ(ticket.Get(L"Amount").GetDouble(), 7.5);

    // A selector in the middle empties what came before it.
    loose.Set(L"Kind", CGenericVal(L"Spot"));
    CTLDynamicConcept restarted(LoadTicketShape());
    LoadInto(restarted, Stored(loose));
    EXPECT_EQ(restarted.size(), 2U) << "Kind and Lots: Amount and Currency sort before";

    Bytes bytes = Stored(loose);
    for (std::size_t const version : {std::size_t(0), std::size_t(4), std::size_t(9), std::size_t(17)})
    {
        Bytes wrong = bytes;
        wrong[version] = 2;
        EXPECT_EQ(CauseOf([&] { LoadInto(ticket, wrong); }), CArchiveException::badSchema) << version;
        wrong[version] = 0;
        CTLDynamicConcept same;
        LoadInto(same, wrong);
        EXPECT_TRUE(same == loose);
    }
    Bytes lying = bytes;
    lying[13] = lying[14] = lying[15] = lying[16] = 0xFF;
    CTLDynamicConcept read;
    EXPECT_EQ(CauseOf([&] { LoadInto(read, lying); }), CArchiveException::endOfFile);
    EXPECT_EQ(read.size(), loose.size());
}

TEST(ConceptArchive, AFailedAllocationKeepsWhatWasRead)
{
    CTLDynamicConcept const ticket = FullTicket();
    Bytes const bytes = Stored(ticket);
    CTLDynamicConcept read(ticket.GetMetadata());
    EXPECT_GT(qvlib_test::SweepAllocations(
                  [&]
                  {
                      read.Reset();
                      LoadInto(read, bytes);
                  },
                  [&]
                  {
                      for (auto const & [key, value] : read)
                          EXPECT_TRUE(ticket.Get(key) == value);
                  }),
              5U);
    EXPECT_TRUE(read == ticket);
}

TEST(ConceptRegistry, EveryItemIsATextValue)
{
    CTLDynamicConcept ticket = FullTicket();
    ticket.Remove(L"Free");
    CRegistry key(L"Software\\Example\\ConceptStore", true, KEY_ALL_ACCESS);
    ASSERT_TRUE(key.IsValid());
    EXPECT_TRUE(ticket.SerializeRegistry(key, true));
    CQVString text;
    ASSERT_TRUE(key.GetValue(L"Currency", text));
    EXPECT_EQ(text, L"JPY");
    ASSERT_TRUE(key.GetValue(L"Amount", text));
    EXPECT_EQ(text, L"-12.5");

    // Values come in the order in which they were written, so the selector comes first whatever the fields are called.
    CTLDynamicConcept whole(ticket.GetMetadata());
    EXPECT_TRUE(whole.SerializeRegistry(key, false));
    EXPECT_TRUE(whole == ticket);

    key.SetValue(L"12", L"99.5");   // by id; whichever of the two comes later stands
    key.SetValue(L"Unknown", L"x"); // no field
    key.SetValue(L"Lots", 5);       // no text
    CTLDynamicConcept back(ticket.GetMetadata());
    EXPECT_TRUE(back.SerializeRegistry(key, false));
    EXPECT_EQ(back.GetName(), L"Forward");
    EXPECT_FALSE(back.Contains(L"Lots"));
    EXPECT_TRUE(back.Get(L"Note") == ticket.Get(L"Note"));

    CTLDynamicConcept loose;
    loose.SerializeRegistry(key, false);
    EXPECT_EQ(loose.Get(12U).GetAsString(), L"99.5") << "without a shape all is text";
    EXPECT_EQ(loose.Get(L"Unknown").GetAsString(), L"x");
}

TEST(ConceptProperties, ItemsTravelAsTheyAre)
{
    CTLDynamicConcept ticket = FullTicket();
    EXPECT_EQ(CTLDynamicConcept().ToProperties(), nullptr);
    EXPECT_EQ(CTLDynamicConcept().ToVariant().vt, VT_EMPTY);
    _variant_t const variant = ticket.ToVariant();
    ASSERT_EQ(variant.vt, VT_DISPATCH);
    CTLDynamicConcept back(ticket.GetMetadata());
    back.FromVariant(variant);
    EXPECT_TRUE(back == ticket);

    auto const list = ticket.ToProperties();
    long count = 0;
    list->get_Count(&count);
    EXPECT_EQ(static_cast<std::size_t>(count), ticket.size());
    list->put_Item(_variant_t(L"nosuch"), _variant_t(1));
    EXPECT_THROW(back.FromProperties(list), unexpected_error);
    back.FromVariant(_variant_t(L"text"));
    EXPECT_TRUE(back.IsEmpty());
    back.FromVariant(variant);
    VARIANT nothing{};
    nothing.vt = VT_UNKNOWN;
    back.FromVariant(nothing);
    EXPECT_TRUE(back.IsEmpty());
}

} // namespace

// The central road: metadata text becomes a tree, a shape, a record, an archive and a registry key, and comes back
// equal.
#include "support/allocation_sweep.h"
#include "support/archived.h"

#include <qvlib/qvlib.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace
{

using namespace qvlib;

constexpr wchar_t const * kKind = LR"(<DynamicEnum Name="Kind" Default="Spot">
  <Item Name="Spot" Code="1" Display="Spot deal" DisplayId="KIND_SPOT"/>
  <Item Name="Forward" Code="2" Display="Forward deal" DisplayId="KIND_FWD"/>
</DynamicEnum>)";

constexpr wchar_t const * kCurrency = LR"(<DynamicEnum Name="Currency">
  <Item Name="EUR" Code="978" Display="Euro"/><Item Name="JPY" Code="392" Display="Yen"/>
</DynamicEnum>)";

constexpr wchar_t const * kTicket = LR"(<DynamicConcept Name="Ticket">
  <Selector Field="Kind">
    <Option Value="Spot"><RequiredFields>Amount,Currency</RequiredFields></Option>
    <Option Value="Forward"><RequiredFields>Amount,Currency,Settles</RequiredFields>
                            <OptionalFields>Note</OptionalFields></Option>
  </Selector>
  <Fields>
    <Field Name="Kind" Id="1" Type="DynamicEnums.Kind"/>
    <Field Name="Amount" Id="2" Type="Double"/>
    <Field Name="Currency" Id="3" Type="DynamicEnums.Currency"/>
    <Field Name="Settles" Id="4" Type="Date"/>
    <Field Name="Lots" Id="5" Type="Long64"/>
    <Field Name="Note" Type="String"/>
  </Fields>
</DynamicConcept>)";

std::shared_ptr<CTLDynamicEnumMetadata const> LoadEnum(wchar_t const * text)
{
    auto metadata = std::make_shared<CTLDynamicEnumMetadata>();
    EXPECT_TRUE(metadata->FromXml(*XmlParser::Load(text)));
    return metadata;
}

std::shared_ptr<CTLDynamicConceptMetadata const> LoadTicket()
{
    auto metadata = std::make_shared<CTLDynamicConceptMetadata>();
    EXPECT_TRUE(metadata->FromXml(*XmlParser::Load(kTicket)));
    EXPECT_TRUE(metadata->BindFieldMetadata(LoadEnum(kKind)));
    EXPECT_TRUE(metadata->BindFieldMetadata(LoadEnum(kCurrency)));
    return metadata;
}

CTLDynamicConcept MakeTicket(std::shared_ptr<CTLDynamicConceptMetadata const> const & metadata)
{
    CTLDynamicConcept ticket(metadata);
    ticket.SetSelector(CGenericVal(L"Forward"));
    ticket.Set(NameOrId(L"Amount"), CGenericVal(L"1234567.875"));
    ticket.Set(NameOrId(L"Currency"), CGenericVal(L"jpy"));
    CDateTime settles;
    settles.SetDateTime(2024, 2, 29, 10, 30, 0);
    ticket.Set(NameOrId(L"Settles"), CGenericVal(settles));
    ticket.Set(NameOrId(L"Lots"), CGenericVal(L"-9007199254740993"));
    ticket.Set(NameOrId(L"Note"), CGenericVal(L"gr\u00FC\u00DFe \U0001F600"));
    return ticket;
}

TEST(MetadataToStore, ARecordComesBackEqualFromArchiveAndRegistry)
{
    auto const metadata = LoadTicket();
    CTLDynamicConcept ticket = MakeTicket(metadata);
    EXPECT_EQ(ticket.Get(NameOrId(L"Currency")).GetInt(), 392) << "an enum field holds its code";
    EXPECT_EQ(ticket.GetDisplay(), L"Forward deal");

    CTLDynamicConcept fromArchive(metadata);
    qvlib_test::LoadInto(fromArchive, qvlib_test::Stored(ticket));
    EXPECT_TRUE(fromArchive == ticket);

    CRegistry key(L"Software\\Example\\Journey", true, KEY_ALL_ACCESS);
    ASSERT_TRUE(key.IsValid());
    ticket.SerializeRegistry(key, true);
    CTLDynamicConcept fromRegistry(metadata);
    fromRegistry.SerializeRegistry(key, false);
    EXPECT_TRUE(fromRegistry == ticket);
    CQVString text;
    ASSERT_TRUE(key.GetValue(L"Currency", text));
    EXPECT_STREQ(text.GetString(), L"JPY") << "stored by name, not by code";
}

TEST(MetadataToStore, StoredRecordsSurviveRenumberedCodesAndIds)
{
    auto const before = LoadTicket();
    CTLDynamicConcept ticket = MakeTicket(before);
    std::vector<unsigned char> const bytes = qvlib_test::Stored(ticket);

    std::wstring renumbered = kTicket;
    renumbered.replace(renumbered.find(L"Id=\"3\""), 6, L"Id=\"30\"");
    auto after = std::make_shared<CTLDynamicConceptMetadata>();
    ASSERT_TRUE(after->FromXml(*XmlParser::Load(renumbered)));
    std::wstring codes = kCurrency;
    codes.replace(codes.find(L"392"), 3, L"7");
    after->BindFieldMetadata(LoadEnum(codes.c_str()));
    after->BindFieldMetadata(LoadEnum(kKind));

    CTLDynamicConcept loaded(after);
    qvlib_test::LoadInto(loaded, bytes);
    EXPECT_EQ(loaded.size(), ticket.size());
    EXPECT_EQ(loaded.Get(NameOrId(L"Currency")).GetInt(), 7);
    EXPECT_TRUE(loaded.Contains(30U));
}

TEST(MetadataToStore, MetadataWrittenAsTextReadsBackEqual)
{
    auto const kind = LoadEnum(kKind);
    std::wstring const text = XmlWriter::Write(kind->ToXml());
    auto const again = LoadEnum(text.c_str());
    EXPECT_TRUE(*again == *kind);

    auto const ticket = LoadTicket();
    auto reread = std::make_shared<CTLDynamicConceptMetadata>();
    ASSERT_TRUE(reread->FromXml(*XmlParser::Load(XmlWriter::Write(ticket->ToXml()))));
    EXPECT_EQ(reread->GetFields().size(), ticket->GetFields().size());
    EXPECT_TRUE(reread->IsRequiredField(NameOrId(4U), L"Forward"));
    EXPECT_FALSE(reread->IsRequiredField(NameOrId(4U), L"Spot"));
}

TEST(MetadataToStore, AnArchiveCutAnywhereFailsWithTheArchiveExceptionOrReadsAPart)
{
    auto const metadata = LoadTicket();
    CTLDynamicConcept ticket = MakeTicket(metadata);
    std::vector<unsigned char> const whole = qvlib_test::Stored(ticket);
    std::size_t refused = 0;
    for (std::size_t length = 0; length < whole.size(); ++length)
    {
        CTLDynamicConcept loaded(metadata);
        try
        {
            qvlib_test::LoadInto(loaded, {whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)});
        }
        catch (CArchiveException const &)
        {
            ++refused;
        }
        catch (unexpected_error const &)
        {
            ++refused; // the name of the selector arrived cut short and names nothing
        }
        EXPECT_LT(loaded.size(), ticket.size()) << "cut at " << length;
    }
    EXPECT_EQ(refused, whole.size()) << "every cut shows";
}

TEST(MetadataToStore, EveryFailedAllocationLeavesNothingBehind)
{
    auto const hits = qvlib_test::SweepAllocations(
        []
        {
            auto metadata = std::make_shared<CTLDynamicConceptMetadata>();
            if (!metadata->FromXml(*XmlParser::Load(kTicket)))
                throw std::logic_error("the document is the right one");
        });
    EXPECT_GT(hits, 50U);
}

} // namespace

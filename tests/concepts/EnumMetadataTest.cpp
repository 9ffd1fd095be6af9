#include "concepts/message_log.h"

#include <qvlib/DelimitedString.h>
#include <qvlib/DynamicEnumMetadata.h>
#include <qvlib/Exceptions.h>
#include <qvlib/StringResourcesTable.h>
#include <qvlib/XmlElement.h>
#include <qvlib/XmlParser.h>

#include <gtest/gtest.h>

#include <random>

namespace
{

using namespace qvlib;
using qvlib_test::MessageLog;

std::shared_ptr<CTLDynamicEnumMetadata> Load(wchar_t const * text)
{
    auto metadata = std::make_shared<CTLDynamicEnumMetadata>();
    EXPECT_TRUE(metadata->FromXml(*XmlParser::Load(text)));
    return metadata;
}

constexpr wchar_t const * kShade = LR"(<DynamicEnum Name="Shade" Default="second">
  <Item Name="First" Code="1" Display="One" DisplayId="S1" Rank="12x" Weight="2.5" Hidden="false">
    <Filter Name="Set"><Item>a</Item><Item>b</Item><Other>c</Other></Filter>
    <Desk Region="EMEA"><Item Name="Display" Value="Eins" DisplayId="S1DE"/><Item Name="Hidden" Value="true"/>
                        <Item Name="Absent" Value="x"/><Item Name="Rank"/></Desk>
    <Empty/>
  </Item>
  <Item Name="Second" Code="2" Rank="12"/>
  <Item Name="Third" Code="2" Display="">text</Item>
  <Item Name="" Code="-4">Fourth</Item>
  <Value Name="Not an item"/>
</DynamicEnum>)";

std::wstring Name(CTLDynamicEnumMetadata::ValuePtr const & value) { return value != nullptr ? value->GetName() : L"-"; }

TEST(EnumMetadata, FindsTheFirstInDeclaredOrder)
{
    auto const shade = Load(kShade);
    ASSERT_EQ(shade->GetValues().size(), 4U);
    EXPECT_EQ(Name(shade->GetDefault()), L"Second");
    EXPECT_EQ(Name(shade->FindName(L"THIRD")), L"Third");
    EXPECT_EQ(Name(shade->FindCode(2)), L"Second");
    EXPECT_EQ(Name(shade->FindDisplay(L"one")), L"First");
    EXPECT_EQ(Name(shade->FindDisplay(L"EINS")), Name(shade->First())) << "a display of one context";
    EXPECT_EQ(Name(shade->FindDisplay(L"second")), L"Second") << "shown by its name";
    EXPECT_EQ(Name(shade->FindName(static_cast<wchar_t const *>(nullptr))), L"-");
    EXPECT_EQ(Name(shade->FindValue(NameOrId(4294967292U))), L"Fourth");
    EXPECT_EQ(Name(shade->FindValue(NameOrId(L"fourth"))), L"Fourth");
    EXPECT_EQ(Name(shade->FindValue(CTLDynamicEnumMetadata::ByName, CGenericVal(L"One"))), L"-");
    EXPECT_EQ(Name(shade->FindValue(CTLDynamicEnumMetadata::ByDisplay, CGenericVal(L"second"))), L"Second");
    EXPECT_EQ(Name(shade->FindValue(CTLDynamicEnumMetadata::ByDisplay, CGenericVal(-4))), L"Fourth");
    EXPECT_EQ(Name(shade->FindValue(CTLDynamicEnumMetadata::ByName, CGenericVal(2.0))), L"-");
    EXPECT_EQ(Name(shade->GetValueDefinitionByAttribute(L"Rank", L"12")), L"Second");
    EXPECT_EQ(Name(shade->GetValueDefinitionByAttribute(L"Rank", L"12X")), L"-");
    EXPECT_EQ(shade->GetIndexOfValue(NameOrId(2U)), 1U);
    EXPECT_EQ(shade->GetIndexOfValue(NameOrId(L"nosuch")), 4294967295U);
    EXPECT_EQ(shade->GetIndexOfValue(Load(kShade)->First()), 4294967295U) << "identity decides";
    CTLDynamicEnumMetadata const none;
    EXPECT_THROW(none.First(), unexpected_error);
    EXPECT_EQ(none.FirstOrDefault(), nullptr);
}

// A long enum with repeated names, codes and displays answers as a walk of its values does, also after its definitions
// were changed.
TEST(EnumMetadata, AnIndexAnswersAsAWalkDoes)
{
    auto random = [engine = std::mt19937(77)]() mutable { return static_cast<unsigned int>(engine()); };
    std::vector<std::shared_ptr<CTLEnumValueDefinition>> values;
    std::wstring items;
    for (int i = 0; i < 200; ++i)
        items += L"<Item Name='" + std::wstring(i % 3 == 0 ? L"n" : L"N") + std::to_wstring(random() % 150) +
                 L"' Code='" + std::to_wstring(random() % 150) + L"' Display='" +
                 (i % 5 == 0 ? L"" : L"d" + std::to_wstring(random() % 150)) + L"' DisplayId='r" + std::to_wstring(i) +
                 L"'><Ctx At='1'><Item Name='Display' Value='o" + std::to_wstring(random() % 150) + L"' DisplayId='o" +
                 std::to_wstring(i) + L"'/></Ctx></Item>";
    auto const list = Load((L"<DynamicEnum>" + items + L"</DynamicEnum>").c_str());
    for (auto const & value : list->GetValues())
        values.push_back(std::const_pointer_cast<CTLEnumValueDefinition>(value));

    auto const check = [&]
    {
        auto const walk = [&](auto const & match) -> CTLDynamicEnumMetadata::ValuePtr
        {
            for (auto const & value : values)
                if (match(*value))
                    return value;
            return nullptr;
        };
        auto const folded = [](std::wstring text)
        {
            for (auto & c : text)
                c = c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c + 32) : c;
            return text;
        };
        for (int i = 0; i < 160; ++i)
        {
            EXPECT_EQ(list->FindCode(i), walk([&](auto const & v) { return v.GetCode() == i; })) << i;
            for (wchar_t const * letter : {L"n", L"N", L"d", L"D", L"O", L"new"})
            {
                std::wstring const text = letter + std::to_wstring(i);
                EXPECT_EQ(list->FindName(text),
                          walk([&](auto const & v) { return folded(v.GetName()) == folded(text); }))
                    << i;
                EXPECT_EQ(list->FindDisplay(text), walk([&](auto const & v) { return v.HasDisplay(text.c_str()); }));
            }
        }
        for (std::size_t i = 0; i < values.size(); ++i)
            EXPECT_EQ(list->GetIndexOfValue(values[i]), i);
    };
    check();
    values[150]->SetName(L"new1");
    values[30]->SetDisplay(L"new2");
    values[7]->SetCode(155);
    check();
    StringResourcesTable table;
    ASSERT_TRUE(table.FromXml(*XmlParser::Load(L"<t><s Key='r50'>new3</s><s Key='o60'>new4</s></t>")));
    EXPECT_EQ(values[50]->ReplaceDisplayStrings(table), 1U);
    // The copy shares the overrides of the original: its change shows there.
    CTLEnumValueDefinition copy(*values[60]);
    EXPECT_EQ(copy.ReplaceDisplayStrings(table), 1U);
    check();
    *values[3] = *values[199];
    check();
}

TEST(EnumMetadata, AddingKeepsNamesUniqueHoweverLongTheList)
{
    CTLDynamicEnumMetadata list;
    auto const add = [&](std::wstring const & name, int code)
    { list.AddValue(std::make_shared<CTLEnumValueDefinition>(name, std::wstring(), code)); };
    for (int i = 0; i < 100; ++i)
    {
        add(L"Value" + std::to_wstring(i), i);
        add(L"VALUE" + std::to_wstring(i / 2), -1);
        EXPECT_EQ(list.GetValues().size(), static_cast<std::size_t>(i) + 1);
        EXPECT_EQ(list.FindCode(i)->GetCode(), i);
    }
    EXPECT_EQ(list.FindCode(-1), nullptr);
    EXPECT_THROW(list.AddValue(nullptr), unexpected_error);
}

TEST(EnumMetadata, ReportingConversionsReportAndFallBack)
{
    auto const shade = Load(kShade);
    MessageLog log;
    EXPECT_EQ(shade->CodeToName(-4), L"Fourth");
    EXPECT_EQ(shade->NameToDisplay(L"second"), L"Second");
    EXPECT_EQ(shade->NameToDisplayOrDefault(L"nosuch"), L"Second");
    EXPECT_EQ(shade->DisplayToNameOrDefault(L"nosuch"), L"Second");
    EXPECT_EQ(shade->TryDisplayToCode(L"nosuch"), std::pair(false, 0));
    EXPECT_EQ(shade->TryDisplayToName(L"SECOND"), std::pair(true, std::wstring(L"Second")));
    EXPECT_EQ(shade->TryNameOrCodeToDisplay(1U), std::pair(true, std::wstring(L"One")));
    EXPECT_EQ(shade->TryToCode(L"eins"), std::pair(true, 1));
    EXPECT_EQ(shade->TryToCode(L"nosuch"), std::pair(false, 2));
    EXPECT_EQ(shade->TryToName(L"nosuch", true), std::pair(false, std::wstring(L"Second")));
    EXPECT_EQ(shade->TryToName(L"nosuch", false), std::pair(false, std::wstring(L"nosuch")));
    CTLDynamicEnumMetadata const empty;
    EXPECT_THROW(empty.TryToCode(L"x"), unexpected_error);
    EXPECT_THROW(empty.TryToName(L"x", true), unexpected_error);
    EXPECT_TRUE(log.Texts().empty()) << "none of these reports";

    EXPECT_EQ(shade->CodeToName(99), L"");
    EXPECT_EQ(log.Texts().back(), L"Failed Dynamic Enum:Shade, Context:CodeToName, Line:657\n");
    EXPECT_EQ(shade->CodeToDisplay(99), L"");
    EXPECT_EQ(log.Texts().back(), L"Failed Dynamic Enum:Shade, Context:CodeToDisplay, Line:647\n");
    EXPECT_EQ(shade->NameToCode(L"no"), 0);
    EXPECT_EQ(log.Texts().back(), L"Failed Dynamic Enum:Shade, Context:no, Line:599\n");
    shade->NameToDisplay(L"no");
    shade->DisplayToName(L"no");
    shade->DisplayToCode(std::wstring(L"no"));
    empty.NameToDisplayOrDefault(L"no");
    empty.DisplayToNameOrDefault(nullptr);
    std::wstring lines;
    for (auto const & text : log.Texts())
        lines += text.substr(text.rfind(L':'));
    EXPECT_EQ(lines, L":657\n:647\n:599\n:571\n:609\n:637\n:589\n:627\n");
    EXPECT_EQ(log.Caption(), L"Error");

    EnableDynamicEnumFailMessage(false);
    EXPECT_EQ(shade->CodeToName(99), L"");
    EnableDynamicEnumFailMessage(true);
    EXPECT_EQ(log.Texts().size(), 8U);
}

TEST(EnumMetadata, ListsRestrictAndBuild)
{
    auto const shade = Load(kShade);
    auto const some = shade->CreateSupportedMetadata(L"fourth, nosuch,,Second,SECOND");
    ASSERT_NE(some, nullptr);
    EXPECT_EQ(some->GetValues().size(), 3U) << "a name listed twice is there twice";
    EXPECT_EQ(Name(some->GetDefault()), L"Fourth");
    EXPECT_EQ(some->GetValues()[1], shade->FindName(L"Second")) << "definitions are shared";
    EXPECT_EQ(shade->CreateSupportedMetadata(L"nosuch"), nullptr);

    CTLDynamicEnumMetadata list;
    CDelimitedString items(L"A,First;B,Second,9;C,Third;a,Other,7", L';');
    items.SetDelimiter(L';');
    list.FromDelimitedString(L"List", items, L"Set", L"one");
    ASSERT_EQ(list.GetValues().size(), 3U);
    EXPECT_EQ(list.NameToCode(L"A"), 1);
    EXPECT_EQ(list.NameToCode(L"B"), 9);
    EXPECT_EQ(list.NameToCode(L"C"), 3);
    CDelimitedString more(L"C;D", L';');
    list.FromDelimitedString(L"List", more, L"Set", L"two");
    EXPECT_EQ(list.NameToCode(L"D"), 2) << "every token counts";
    EXPECT_EQ(list.FindName(L"C")->GetDisplay(), L"Third") << "a later list changes nothing";
    EXPECT_EQ(Name(list.GetDefault()), L"A");
    EXPECT_EQ(list.GetFilterKeys()->size(), 1U);

    Settings criteria;
    criteria.SetProperty(L"Set", CGenericVal(L"two"));
    auto const second = list.Filter(criteria);
    ASSERT_EQ(second->GetValues().size(), 2U);
    EXPECT_EQ(Name(second->First()), L"C");
    EXPECT_EQ(Name(second->GetDefault()), L"A") << "the default stays though it is filtered out";
    EXPECT_EQ(second->GetFilterKeys(), nullptr);
    criteria.SetProperty(L"Unheard of", CGenericVal(1));
    EXPECT_EQ(list.Filter(criteria)->GetValues().size(), 2U) << "no opinion, no exclusion";
    EXPECT_EQ(list.Filter(Settings())->GetValues().size(), 4U);
    criteria.SetProperty(3U, CGenericVal(1));
    EXPECT_THROW(list.Filter(criteria), unexpected_error);
    EXPECT_TRUE(CTLDynamicEnumMetadata().Filter(criteria)->IsEmpty());
}

TEST(EnumValueDefinition, AttributesFiltersAndContexts)
{
    auto const first = Load(kShade)->First();
    EXPECT_EQ(first->TryGetCustomAttribute<int>(L"Rank"), std::pair(false, 12));
    EXPECT_EQ(first->TryGetCustomAttribute<int>(L"nosuch"), std::pair(false, 0));
    EXPECT_EQ(first->TryGetCustomAttribute<double>(L"Weight"), std::pair(true, 2.5));
    EXPECT_EQ(first->TryGetCustomAttribute<bool>(L"Rank"), std::pair(true, true));
    EXPECT_FALSE(first->TryGetCustomAttribute(L"nosuch").first);
    EXPECT_EQ(first->TryGetCustomAttribute(L"Weight").second, L"2.5");
    EXPECT_FALSE(first->GetAttributes().contains(L"Code"));

    Settings emea;
    emea.SetProperty(L"Region", CGenericVal(L"EMEA"));
    EXPECT_EQ(first->GetDisplay(emea), L"Eins");
    EXPECT_EQ(first->GetDisplay(Settings()), L"One");
    // The override says "true"; what is read is the attribute's name.
    EXPECT_EQ(first->TryGetCustomAttribute<bool>(emea, L"Hidden"), std::pair(true, false));
    EXPECT_EQ(first->TryGetCustomAttribute<bool>(Settings(), L"Hidden"), std::pair(true, false));
    EXPECT_EQ(first->TryGetCustomAttribute<bool>(emea, L"Absent"), std::pair(false, false))
        << "only what the value states can be overridden";
    auto const hidden = Load(L"<DynamicEnum><Item Name='x' H='0'><C A='1'><Item Name='H' Value='1'/></C></Item>"
                             L"</DynamicEnum>");
    Settings context;
    context.SetProperty(L"A", CGenericVal(L"1"));
    EXPECT_THROW(hidden->First()->GetDisplay(context), std::out_of_range);

    EXPECT_EQ(first->GetFilters()->size(), 2U);
    EXPECT_TRUE(first->IsValueIncludedInFilter(L"Set", L"b"));
    EXPECT_FALSE(first->IsValueIncludedInFilter(L"Set", L"c"));
    EXPECT_TRUE(first->IsValueIncludedInFilter(L"set", L"c"));

    StringResourcesTable table;
    ASSERT_TRUE(table.FromXml(*XmlParser::Load(L"<t><s Key='S1'>Uno</s><s Key='S1DE'>Un</s></t>")));
    CTLEnumValueDefinition copy(*first);
    EXPECT_EQ(copy.ReplaceDisplayStrings(table), 2U);
    EXPECT_EQ(copy.GetDisplay(), L"Uno");
    EXPECT_EQ(copy.GetDisplay(emea), L"Un");
    EXPECT_EQ(first->GetDisplay(), L"One");
}

TEST(EnumMetadataXml, WritingLosesFiltersAndContexts)
{
    auto const shade = Load(kShade);
    CTLDynamicEnumMetadata again;
    ASSERT_TRUE(again.FromXml(*shade->ToXml()));
    EXPECT_EQ(again.GetFilterKeys(), nullptr);
    EXPECT_FALSE(again == *shade);
    EXPECT_EQ(Name(again.GetDefault()), L"Second");
    CTLDynamicEnumMetadata third;
    ASSERT_TRUE(third.FromXml(*again.ToXml()));
    EXPECT_TRUE(third == again);
    EXPECT_TRUE(*Load(kShade) == *shade);

    EXPECT_FALSE(third.FromXml(*XmlParser::Load(L"<Enum/>")));
    EXPECT_TRUE(third == again);
    EXPECT_EQ(Name(Load(L"<DynamicEnum Default='none'><Item Name='x'/><Item Name='y'/></DynamicEnum>")->GetDefault()),
              L"x");
    EXPECT_EQ(Load(L"<DynamicEnum Default='none'/>")->GetDefault(), nullptr);
    auto const tree = XmlParser::Load(L"<DynamicEnum><Item><Filter><Item>v</Item></Filter></Item></DynamicEnum>");
    CTLDynamicEnumMetadata filtered;
    EXPECT_TRUE(filtered.FromXml(*tree));
    EXPECT_TRUE(filtered.GetFilterKeys()->contains(L""));
    EXPECT_TRUE(tree->FindFirst(L"Item.Filter")->HasAttribute(L"Name")) << "read by subscript";
}

} // namespace

#include <qvlib/Exceptions.h>
#include <qvlib/Settings.h>
#include <qvlib/StringResourcesTable.h>
#include <qvlib/XmlElementBuilder.h>
#include <qvlib/XmlParser.h>
#include <qvlib/framework/comutil.h>
#include <qvlib/host/properties.h>

#include <gtest/gtest.h>

namespace
{

using namespace qvlib;

Settings FromText(wchar_t const * text)
{
    Settings settings;
    EXPECT_TRUE(settings.FromXml(*XmlParser::Load(text))) << text;
    return settings;
}

constexpr wchar_t const * kDesk = LR"(<Settings Name="Desk">
  <Property Name="Region" DisplayID="REG">EMEA</Property>
  <Property ID="7" Type="Int">-12</Property>
  <Property Name="" ID="3" Type="double">2.5</Property>
</Settings>)";

TEST(Settings, PropertiesAreFoundByEitherKindOfKey)
{
    Settings settings = FromText(kDesk);
    ASSERT_EQ(settings.size(), 3U);
    EXPECT_TRUE(settings.begin()->first == 3U) << "ids sort first";
    EXPECT_EQ(settings.GetProperty(7U).GetInt(), -12);
    EXPECT_EQ(settings.GetProperty(L"Region").GetAsString(), L"EMEA");
    EXPECT_THROW(settings.GetProperty(L"region"), unexpected_error);
    EXPECT_TRUE(settings.TryGetProperty(NameOrId(8U)).IsEmpty());
    CGenericVal out(L"stale");
    EXPECT_FALSE(settings.TryGetProperty(8U, out));
    EXPECT_TRUE(out.IsEmpty());
    EXPECT_EQ(settings.GetPropertyOrDefault(8U, CGenericVal(4)).GetInt(), 4);

    auto const region = [&] { return std::prev(settings.end())->second; };
    EXPECT_EQ(region().displayId, L"REG");
    settings.SetProperty(L"Region", region().value);
    EXPECT_EQ(region().displayId, L"") << "a new value is another text";
    EXPECT_TRUE(settings.RemoveProperty(3U));
    EXPECT_FALSE(settings.RemoveProperty(3U));
    settings.clear();
    EXPECT_TRUE(settings.empty());
    EXPECT_EQ(settings.GetName(), L"Desk");
}

TEST(Settings, OrderAndEqualityLookAtEverything)
{
    // Ascending: name first, then key, value, displayId; a prefix is less.
    Settings const ordered[] = {
        FromText(L"<Settings Name='A'/>"),
        FromText(L"<Settings Name='A'><Property ID='1'>x</Property></Settings>"),
        FromText(L"<Settings Name='A'><Property ID='1'>x</Property><Property ID='2'>a</Property></Settings>"),
        FromText(L"<Settings Name='A'><Property ID='1' DisplayID='d'>x</Property></Settings>"),
        FromText(L"<Settings Name='A'><Property ID='1'>y</Property></Settings>"),
        FromText(L"<Settings Name='A'><Property Name='1'>a</Property></Settings>"),
        FromText(L"<Settings Name='B'/>")};
    for (std::size_t i = 0; i < std::size(ordered); ++i)
        for (std::size_t j = 0; j < std::size(ordered); ++j)
        {
            EXPECT_EQ(ordered[i] < ordered[j], i < j) << i << " " << j;
            EXPECT_EQ(ordered[i] == ordered[j], i == j) << i << " " << j;
        }
}

TEST(Settings, MergeTakesValueAndDisplayIdOfTheOther)
{
    Settings settings = FromText(kDesk);
    settings.Merge(
        FromText(L"<Settings Name='x'><Property Name='Region'>APAC</Property><Property ID='9'/></Settings>"));
    settings.Merge(settings);
    EXPECT_EQ(settings.GetName(), L"Desk");
    EXPECT_EQ(settings.size(), 4U);
    EXPECT_EQ(settings.GetProperty(L"Region").GetAsString(), L"APAC");
    EXPECT_EQ(std::prev(settings.end())->second.displayId, L"");
    EXPECT_EQ(settings.GetProperty(9U).GetAsString(), L"");
}

TEST(Settings, StringResourcesReplaceTheValuesTheyKnow)
{
    StringResourcesTable table;
    ASSERT_TRUE(table.FromXml(*XmlParser::Load(L"<t><s Key='REG'>Europe</s></t>")));
    Settings settings = FromText(L"<Settings><Property ID='1' Type='Int' DisplayID='REG'>5</Property>"
                                 L"<Property ID='2' Type='Int' DisplayID='none'>6</Property></Settings>");
    settings.ProcessStringResources(table);
    EXPECT_EQ(settings.GetProperty(1U).GetString(), L"Europe");
    EXPECT_EQ(settings.GetProperty(2U).GetInt(), 6);
    EXPECT_EQ(settings.begin()->second.displayId, L"REG") << "another table can follow";
}

TEST(Settings, PropertyListsReplaceTheProperties)
{
    _com_ptr_t<QRGenObjsLib::IQRProperties> list;
    ASSERT_EQ(list.CreateInstance(QRGenObjsLib::CLSID_QRProperties), S_OK);
    list->put_Item(_variant_t(L"k"), _variant_t(1));
    list->put_Item(_variant_t(4U), _variant_t(2.5));
    list->put_Item(_variant_t(L"k"), _variant_t(L"later wins"));
    Settings settings = FromText(kDesk);
    settings.FromProperties(list);
    EXPECT_EQ(settings.size(), 2U);
    EXPECT_EQ(settings.GetProperty(L"k").GetAsString(), L"later wins");
    EXPECT_EQ(settings.GetProperty(4U).GetDouble(), 2.5);
    list->put_Item(_variant_t(1.5), _variant_t(1));
    EXPECT_THROW(settings.FromProperties(list), unexpected_error);
    EXPECT_TRUE(settings.FromProperties(nullptr).empty());
}

TEST(Settings, XmlComesBackEqualAndMalformedFormsAreRefused)
{
    Settings const settings = FromText(kDesk);
    Settings again;
    EXPECT_TRUE(again.FromXml(*settings.ToXml()));
    EXPECT_TRUE(again == settings);

    struct Case
    {
        wchar_t const * text;
        bool accepted;
        std::size_t left;
    };
    for (Case const & c :
         {Case{L"<Other/>", false, 3}, Case{L"<Settings>text</Settings>", false, 0}, Case{L"<Settings/>", true, 0},
          Case{L"<Settings><Property ID='1'>a</Property><Else/></Settings>", false, 1},
          Case{L"<Settings><Property ID='x'>a</Property></Settings>", false, 0},
          Case{L"<Settings><Property>a</Property></Settings>", false, 0},
          Case{L"<Settings><Property ID='1' Type='Nothing'>a</Property></Settings>", false, 0},
          Case{L"<Settings><Property ID='1' Type='Int'/></Settings>", false, 0},
          Case{L"<Settings><Property ID='1'><a/></Property></Settings>", false, 0},
          Case{L"<Settings><Property ID='12x'>a</Property><Property ID='12'>b</Property></Settings>", true, 1}})
    {
        Settings read = settings;
        EXPECT_EQ(read.FromXml(*XmlParser::Load(c.text)), c.accepted) << c.text;
        EXPECT_EQ(read.size(), c.left) << c.text;
        if (c.accepted && c.left == 1)
        {
            EXPECT_EQ(read.GetProperty(12U).GetAsString(), L"a") << "the first of equal keys stays";
        }
    }
    Settings unread = settings;
    EXPECT_FALSE(unread.FromXml(*XmlElementBuilder().Create().Release()));
    EXPECT_TRUE(unread == settings);
}

} // namespace

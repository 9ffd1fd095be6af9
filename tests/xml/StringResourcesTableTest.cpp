#include "qvlib/StringResourcesTable.h"

#include "qvlib/Exceptions.h"
#include "qvlib/XmlElement.h"
#include "qvlib/XmlParser.h"

#include <gtest/gtest.h>

namespace
{

using qvlib::StringResourcesTable;
using qvlib::XmlParser;
using Found = std::pair<bool, std::wstring>;

TEST(StringResourcesTable, KeepsTheFirstTextOfAKey)
{
    StringResourcesTable table;
    EXPECT_FALSE(table.FromXml(*XmlParser::Load(L"<Strings Key='a'/>")));
    EXPECT_EQ(table.Find(L"a"), Found(false, L""));
    EXPECT_TRUE(table.FromXml(*XmlParser::Load(
        L"<t><x Key='a'>1</x><y Key='a'>2</y><z Key=''/><w Key='n' other='o'><v Key='k'>3</v></w></t>")));
    EXPECT_EQ(table.Find(L"a"), Found(true, L"1"));
    EXPECT_EQ(table.Find(L""), Found(true, L""));
    EXPECT_EQ(table.Find(L"n"), Found(true, L""));
    EXPECT_EQ(table.Find(L"k"), Found(false, L""));
    EXPECT_EQ(table.Find(L"A"), Found(false, L""));
    EXPECT_TRUE(table.FromXml(*XmlParser::Load(L"<t><x Key='a'>9</x><x Key='b'>4</x></t>")));
    EXPECT_EQ(table.Find(L"a"), Found(true, L"1"));
    EXPECT_EQ(table.Find(L"b"), Found(true, L"4"));
    // No children: nothing changes, and the answer is no even so.
    EXPECT_FALSE(table.FromXml(*XmlParser::Load(L"<t/>")));
    EXPECT_EQ(table.Find(L"b"), Found(true, L"4"));
}

TEST(StringResourcesTable, ThrowsForAnEntryWithoutKeyAndKeepsThoseBefore)
{
    StringResourcesTable table;
    EXPECT_THROW(table.FromXml(*XmlParser::Load(L"<t><x Key='a'>1</x><x key='b'>2</x><x Key='c'>3</x></t>")),
                 qvlib::unexpected_error);
    EXPECT_EQ(table.Find(L"a"), Found(true, L"1"));
    EXPECT_EQ(table.Find(L"c"), Found(false, L""));
}

} // namespace

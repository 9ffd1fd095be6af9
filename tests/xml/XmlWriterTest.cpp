#include "qvlib/XmlWriter.h"

#include "qvlib/XmlElement.h"
#include "qvlib/XmlElementBuilder.h"
#include "qvlib/XmlParser.h"
#include "support/allocation_sweep.h"

#include <gtest/gtest.h>

#include <string>

namespace
{

using qvlib::XmlElement;
using qvlib::XmlElementBuilder;
using qvlib::XmlParser;
using qvlib::XmlWriter;
using qvlib::XmlWriterException;

std::shared_ptr<XmlElement> Leaf(std::wstring const & name, std::wstring const & value)
{
    return std::make_shared<XmlElement>(name, value, nullptr, false);
}

std::string Failure(std::shared_ptr<XmlElement> element, wchar_t const * encoding = L"utf-16")
{
    try
    {
        XmlWriter writer;
        writer.SetEncoding(encoding);
        writer.WriteElement(std::move(element));
        return "";
    }
    catch (XmlWriterException const & failure)
    {
        return failure.what();
    }
}

TEST(XmlWriter, WritesOneLineWithSortedAttributes)
{
    XmlElementBuilder builder;
    builder.Create().SetName(L"a").SetAttribute(L"b", L"2").SetAttribute(L"a", L"1");
    EXPECT_EQ(XmlWriter::Write(builder.Release()), L"<a a=\"1\" b=\"2\" />");
    EXPECT_EQ(XmlWriter::Write(Leaf(L"a", L"")), L"<a />");
    EXPECT_EQ(XmlWriter::Write(Leaf(L"a", L"a<b")), L"<a>a&lt;b</a>");

    // Children go before the value, which is not written then, and the list counts, not the flag.
    auto const parent = Leaf(L"p", L"lost");
    parent->AddChild(Leaf(L"c", L"x"));
    parent->AddChild(nullptr);
    EXPECT_FALSE(parent->HasChildren());
    EXPECT_EQ(XmlWriter::Write(parent), L"<p><c>x</c></p>");
}

TEST(XmlWriter, WritesOneDocumentACall)
{
    XmlWriter writer;
    EXPECT_EQ(writer.WriteElement(Leaf(L"a", L"1")), L"<a>1</a>");
    EXPECT_EQ(writer.WriteElement(Leaf(L"b", L"2")), L"<b>2</b>");
    XmlWriter copy(writer);
    EXPECT_EQ(copy.WriteElement(Leaf(L"c", L"")), L"<c />");
    // After a failure too.
    EXPECT_THROW(writer.WriteElement(Leaf(L"1", L"")), XmlWriterException);
    EXPECT_EQ(writer.WriteElement(Leaf(L"b", L"2")), L"<b>2</b>");
    // Another encoding packs its bytes two to a character, and lasts until the next is named.
    writer.SetEncoding(L"utf-8");
    EXPECT_EQ(writer.WriteElement(Leaf(L"ab", L"")), L"\x613C\x2062\x3E2F");
    // The 16-bit forms by way of the stream give the same as the straight way.
    std::wstring const text = L"<\u00E9\U0001F600\uD7FF>\r\n\t";
    for (wchar_t const * const encoding : {L"UTF-16LE", L"utf-16", L"UTF-16"})
    {
        writer.SetEncoding(encoding);
        EXPECT_EQ(writer.WriteElement(Leaf(L"a", text)), L"<a>&lt;\u00E9\U0001F600\uD7FF&gt;&#xD;\n\t</a>");
    }
}

TEST(XmlWriter, FailsByTheFixedTexts)
{
    EXPECT_EQ(Failure(Leaf(L"1", L"")), "Error: cannot write an xml node name, HRESULT = 0xc00cee2c");
    EXPECT_EQ(Failure(Leaf(L"p:a", L"")), "Error: cannot write an xml node name, HRESULT = 0xc00cee2c");
    EXPECT_EQ(Failure(Leaf(L"", L"")), "Error: cannot write an xml node name, HRESULT = 0x80070057");
    EXPECT_EQ(Failure(nullptr), "Error: cannot write an xml node name, HRESULT = 0x80070057");
    EXPECT_EQ(Failure(Leaf(L"a", L"\x1")), "Error: cannot write the xml node value, HRESULT = 0xc00cee2b");
    EXPECT_EQ(Failure(Leaf(L"a", L"\xD800")), "Error: cannot write the xml node value, HRESULT = 0xc00cef0c");
    EXPECT_EQ(Failure(Leaf(L"a", L""), L"no-such"), "Error: cannot initialize XmlWriter: HRESULT = 0xc00cee02");
    XmlElementBuilder builder;
    auto const element = builder.Create().SetName(L"a").SetAttribute(L"-", L"").Release();
    EXPECT_EQ(Failure(element), "Error: cannot write an attribute, HRESULT = 0xc00cee2c");
    // Nothing behind a NUL gets lost in silence.
    EXPECT_EQ(Failure(Leaf(L"a", std::wstring(L"b\0c", 3))),
              "Error: cannot write the xml node value, HRESULT = 0xc00cee2b");
    EXPECT_EQ(Failure(Leaf(std::wstring(L"b\0c", 3), L"")),
              "Error: cannot write an xml node name, HRESULT = 0xc00cee2c");
}

TEST(XmlWriter, WhatItWritesReadsBackEqual)
{
    std::wstring every;
    for (wchar_t c = 1; c < 0x2000; ++c)
    {
        if (c >= 0x20 || c == L'\t' || c == L'\n' || c == L'\r')
            every += c;
    }
    every += L"\uD7FF\uE000\uFFFD\U00010000\U0010FFFF]]>";
    XmlElementBuilder builder;
    builder.Create().SetName(L"\u00E4\u0300\u00B7").SetAttribute(L"every", every).SetAttribute(L"xmlns", L"urn:x");
    builder.AddChild(Leaf(L"every", every)).AddChild(Leaf(L"none", L"")).AddChild(Leaf(L"mark", L"\r\n&#13;"));
    auto const tree = builder.Release();
    EXPECT_EQ(*XmlParser::Load(XmlWriter::Write(tree)), *tree);
}

TEST(XmlWriter, EscapesAtEveryPlace)
{
    struct Form
    {
        wchar_t character;
        wchar_t const * text;
        wchar_t const * attribute;
    };
    for (auto const & [character, text, attribute] :
         {Form{L'<', L"&lt;", L"&lt;"}, Form{L'>', L"&gt;", L"&gt;"}, Form{L'&', L"&amp;", L"&amp;"},
          Form{L'"', L"\"", L"&quot;"}, Form{L'\t', L"\t", L"&#x9;"}, Form{L'\n', L"\n", L"&#xA;"},
          Form{L'\r', L"&#xD;", L"&#xD;"}, Form{L'\x1F', nullptr, nullptr}, Form{L'\xFFFF', nullptr, nullptr},
          Form{L'\xD800', nullptr, nullptr}, Form{L' ', L" ", L" "}, Form{L'\'', L"'", L"'"}, Form{L'=', L"=", L"="},
          Form{L'?', L"?", L"?"}, Form{L'\x7F', L"\x7F", L"\x7F"}, Form{L'\x20AC', L"\x20AC", L"\x20AC"}})
    {
        for (std::size_t length = 1; length < 11; ++length)
        {
            for (std::size_t at = 0; at < length; ++at)
            {
                std::wstring value(length, L'x');
                value[at] = character;
                auto const attributes = std::make_shared<XmlElement::AttributeMap>();
                attributes->emplace(L"b", value);
                auto const element = std::make_shared<XmlElement>(L"a", value, attributes, false);
                if (!text)
                {
                    EXPECT_NE(Failure(element), "") << length << ' ' << at;
                    EXPECT_NE(Failure(Leaf(L"a", value)), "") << length << ' ' << at;
                    continue;
                }
                std::wstring const before(at, L'x');
                std::wstring const behind(length - at - 1, L'x');
                EXPECT_EQ(XmlWriter::Write(element),
                          L"<a b=\"" + before + attribute + behind + L"\">" + before + text + behind + L"</a>");
            }
        }
    }
}

TEST(XmlWriter, TakesNoMoreRoomThanTheDocumentNeeds)
{
    // Long and short children in any order: what is foretold of the length is wrong, the text never.
    for (int longOne : {0, 1, 50, 998, 999})
    {
        auto const root = Leaf(L"r", L"");
        std::wstring wanted = L"<r>";
        for (int i = 0; i < 1000; ++i)
        {
            std::wstring const value(i == longOne ? 20000 : 2, L'x');
            root->AddChild(Leaf(L"c", value));
            wanted += L"<c>" + value + L"</c>";
        }
        std::wstring const text = XmlWriter::Write(root);
        EXPECT_EQ(text, wanted + L"</r>") << longOne;
        EXPECT_LT(text.capacity(), 2 * text.size() + 16) << longOne;
    }
}

TEST(XmlWriter, SurvivesEveryFailedAllocation)
{
    auto const tree = XmlParser::Load(L"<r a='1' bbbbbbbbb='cccccccccc'><d>eeeeeeeeeeeeee</d><f/></r>");
    XmlWriter writer;
    std::wstring const whole = writer.WriteElement(tree);
    for (wchar_t const * const encoding : {L"utf-16", L"utf-16le"})
    {
        qvlib_test::SweepAllocations(
            [&]
            {
                XmlWriter other;
                other.SetEncoding(encoding);
                EXPECT_EQ(other.WriteElement(tree), whole);
            });
    }
}

TEST(XmlWriter, DeepTreesTakeNoStack)
{
    auto bottom = Leaf(L"a", L"x");
    for (int i = 0; i < 100000; ++i)
    {
        auto const parent = Leaf(L"a", L"");
        parent->AddChild(bottom);
        bottom = parent;
    }
    EXPECT_EQ(XmlWriter::Write(bottom).size(), 100001U * 7 + 1);
}

} // namespace

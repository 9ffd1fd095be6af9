#include "qvlib/host/xml.h"

#include "support/piece_stream.h"
#include "support/tsv.h"

#include "qvlib/framework/comutil.h"
#include "qvlib/host/utf16.h"
#include "qvlib/host/utf8.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

namespace
{

using qvlib_test::PieceStream;
using qvlib_test::Table;

_com_ptr_t<IXmlReader> MakeReader()
{
    void * reader = nullptr;
    EXPECT_EQ(CreateXmlReader(IID_IXmlReader, &reader, nullptr), S_OK);
    return _com_ptr_t<IXmlReader>(static_cast<IXmlReader *>(reader), false);
}

std::wstring Text(IXmlReader & reader, HRESULT (STDMETHODCALLTYPE IXmlReader::*getter)(LPCWSTR *, UINT *))
{
    LPCWSTR text = nullptr;
    UINT length = 0;
    EXPECT_EQ((reader.*getter)(&text, &length), S_OK);
    EXPECT_EQ(text[length], L'\0');
    return std::wstring(text, length);
}

UINT Number(IXmlReader & reader, HRESULT (STDMETHODCALLTYPE IXmlReader::*getter)(UINT *))
{
    UINT number = 0xFFFFFFFF;
    EXPECT_EQ((reader.*getter)(&number), S_OK);
    return number;
}

/// One line a step; `*` stands where a table does not look.
struct Event
{
    std::wstring kind;
    HRESULT hr;
    long long type;
    std::wstring qualified, local, prefix, uri, value;
    UINT empty, depth, attributes, eof;
};

Event Describe(IXmlReader & reader, wchar_t const * kind, HRESULT hr)
{
    Event event{};
    event.kind = kind;
    event.hr = hr;
    XmlNodeType type = XmlNodeType_None;
    EXPECT_EQ(reader.GetNodeType(&type), S_OK);
    event.type = type;
    event.qualified = Text(reader, &IXmlReader::GetQualifiedName);
    event.local = Text(reader, &IXmlReader::GetLocalName);
    event.prefix = Text(reader, &IXmlReader::GetPrefix);
    event.uri = Text(reader, &IXmlReader::GetNamespaceUri);
    event.value = Text(reader, &IXmlReader::GetValue);
    event.empty = static_cast<UINT>(*kind == L'A' ? reader.IsDefault() : reader.IsEmptyElement());
    event.depth = Number(reader, &IXmlReader::GetDepth);
    event.attributes = Number(reader, &IXmlReader::GetAttributeCount);
    event.eof = static_cast<UINT>(reader.IsEOF());
    return event;
}

std::vector<Event> Walk(std::string const & bytes, std::size_t piece)
{
    PieceStream stream(bytes, piece);
    std::vector<Event> events;
    {
        _com_ptr_t<IXmlReader> const reader = MakeReader();
        EXPECT_EQ(reader->SetInput(&stream), S_OK);
        for (;;)
        {
            XmlNodeType type = XmlNodeType_Text;
            HRESULT const hr = reader->Read(&type);
            events.push_back(Describe(*reader, L"R", hr));
            EXPECT_EQ(type, events.back().type);
            if (hr != S_OK)
            {
                // What ended the walk stays.
                EXPECT_EQ(reader->Read(&type), hr);
                EXPECT_EQ(type, XmlNodeType_None);
                break;
            }
            for (HRESULT moved = reader->MoveToFirstAttribute(); moved == S_OK; moved = reader->MoveToNextAttribute())
                events.push_back(Describe(*reader, L"A", moved));
        }
    }
    EXPECT_EQ(stream.References(), 1);
    return events;
}

HRESULT LastResult(std::string const & bytes, std::size_t piece = 4096) { return Walk(bytes, piece).back().hr; }

HRESULT Named(std::string const & name)
{
    static std::vector<std::pair<std::string, HRESULT>> const names = {
        {"MX_E_INPUTEND", MX_E_INPUTEND},
        {"WC_E_UNDECLAREDENTITY", WC_E_UNDECLAREDENTITY},
        {"WC_E_SEMICOLON", WC_E_SEMICOLON},
        {"WC_E_XMLCHARACTER", WC_E_XMLCHARACTER},
        {"WC_E_LEADINGXML", WC_E_LEADINGXML},
        {"NC_E_NAMECOLON", NC_E_NAMECOLON},
        {"WC_E_DTDPROHIBITED", WC_E_DTDPROHIBITED},
        {"NC_E_UNDECLAREDPREFIX", NC_E_UNDECLAREDPREFIX},
        {"WC_E_UNIQUEATTRIBUTE", WC_E_UNIQUEATTRIBUTE},
        {"WC_E_EQUAL", WC_E_EQUAL},
        {"WC_E_QUOTE", WC_E_QUOTE},
        {"WC_E_LESSTHAN", WC_E_LESSTHAN},
        {"WC_E_ELEMENTMATCH", WC_E_ELEMENTMATCH},
    };
    for (auto const & [known, code] : names)
    {
        if (known == name)
            return code;
    }
    ADD_FAILURE() << name;
    return S_OK;
}

class XmlReaderDocuments : public testing::TestWithParam<std::size_t>
{
};

TEST_P(XmlReaderDocuments, GiveTheirEventsOrTheirFailure)
{
    Table const documents("xml/documents.tsv");
    Table const events("xml/reader_events.tsv");
    std::size_t compared = 0;
    for (std::size_t d = 0; d < documents.Rows(); ++d)
    {
        std::string const bytes = documents.Bytes(d, "bytes");
        std::string const id = documents.Raw(d, "id");
        SCOPED_TRACE(id + ": " + documents.Raw(d, "bytes"));
        std::vector<Event> const found = Walk(bytes, GetParam());
        if (documents.Raw(d, "expect") == "failure")
        {
            EXPECT_LT(found.back().hr, 0);
            std::string const error = documents.Raw(d, "error");
            EXPECT_TRUE(error.empty() || found.back().hr == Named(error)) << std::hex << found.back().hr;
            continue;
        }
        EXPECT_EQ(found.back().hr, S_FALSE);
        std::size_t next = 0;
        for (std::size_t e = 0; e < events.Rows(); ++e)
        {
            if (events.Raw(e, "id") != id)
                continue;
            ASSERT_LT(next, found.size());
            Event const & event = found[next++];
            SCOPED_TRACE("step " + std::to_string(next));
            auto const text = [&](char const * column, std::wstring const & value)
            { EXPECT_TRUE(events.Raw(e, column) == "*" || value == events.Wide(e, column)) << column; };
            auto const number = [&](char const * column, long long value)
            { EXPECT_TRUE(events.Raw(e, column).empty() || value == events.Integer(e, column)) << column; };
            text("kind", event.kind);
            number("hr", event.hr);
            number("type", event.type);
            text("qualified", event.qualified);
            text("local", event.local);
            text("prefix", event.prefix);
            text("namespace", event.uri);
            text("value", event.value);
            number("empty", event.empty);
            number("depth", event.depth);
            number("attributes", event.attributes);
            number("eof", event.eof);
            ++compared;
        }
        EXPECT_TRUE(next == 0 || next == found.size());
    }
    EXPECT_GT(compared, 500U);
}

INSTANTIATE_TEST_SUITE_P(Pieces, XmlReaderDocuments, testing::Values(1, 2, 3, 7, 100000));

// Tokens, characters and line ends that a piece of input cuts in two must come out whole. The bytes are handed out by
// the pieces of the stream and, in a long document, by those of the reader.
TEST(XmlReader, CutsNothingAtTheEdgeOfAPiece)
{
    std::string const inside =
        "<b c='\xC3\xA9&#13;&amp;'> \r\n&#32;x\r\ny]]<![CDATA[ ]]]>]]&lt;</b>\r<d/><!--e--><?f g?>\r\n";
    auto const narrow = [](std::string const & text) { return text; };
    auto const wide = [](std::string const & text)
    {
        std::u16string const units = qvlib::host::ToUtf16(qvlib::host::FromUtf8(text));
        return std::string(reinterpret_cast<char const *>(units.data()), 2 * units.size());
    };
    auto const events = [](std::string const & bytes, std::size_t piece)
    {
        std::wstring all;
        for (Event const & event : Walk(bytes, piece))
        {
            if (event.type == XmlNodeType_Comment && event.value.size() > 1)
                continue; // the filling
            all += event.kind + std::to_wstring(event.type) + L"|" + event.qualified + L"|" + event.value + L"|" +
                   std::to_wstring(event.empty) + L"\n";
        }
        return all;
    };
    auto const check = [&](auto encode, std::size_t unit)
    {
        std::wstring const wanted = events(encode("<a><!--xx-->" + inside + "</a>\r\n"), 100000);
        for (std::size_t piece = 1; piece < 12; ++piece)
            EXPECT_EQ(events(encode("<a><!--xx-->" + inside + "</a>\r\n"), piece), wanted) << piece;
        for (std::size_t i = 0; i < inside.size() + 10; ++i)
        {
            std::string const filling(16384 / unit - 10 - i, 'x');
            EXPECT_EQ(events(encode("<a><!--" + filling + "-->" + inside + "</a>\r\n"), 1 << 20), wanted) << i;
        }
    };
    check(narrow, 1);
    check(wide, 2);
}

TEST(XmlReader, AnswersCallsInOddStates)
{
    PieceStream stream("<?xml version='1.0' encoding='utf-8'?><a b='1' c='2'> <!-- c --><d>x</d></a>", 5);
    _com_ptr_t<IXmlReader> const reader = MakeReader();
    ASSERT_EQ(reader->SetInput(&stream), S_OK);
    Table const calls("xml/reader_calls.tsv");

    auto const move = [&](XmlNodeType wanted)
    {
        XmlNodeType type = XmlNodeType_None;
        do
            ASSERT_EQ(reader->Read(&type), S_OK);
        while (type != wanted);
    };
    auto const check = [&](std::string const & state)
    {
        SCOPED_TRACE(state);
        std::size_t rows = 0;
        for (std::size_t i = 0; i < calls.Rows(); ++i)
        {
            std::string const call = calls.Raw(i, "call");
            if (calls.Raw(i, "state") != state || call.compare(0, 6, "MoveTo") == 0 || call.compare(0, 4, "Read") == 0)
                continue;
            ++rows;
            Event const event = Describe(*reader, L"R", S_OK);
            std::wstring const wanted = calls.Wide(i, "result");
            if (call == "GetQualifiedName")
                EXPECT_EQ(event.qualified, wanted);
            else if (call == "GetLocalName")
                EXPECT_EQ(event.local, wanted);
            else if (call == "GetValue")
                EXPECT_EQ(event.value, wanted);
            else
                EXPECT_EQ(call == "GetNodeType"         ? event.type
                          : call == "GetAttributeCount" ? static_cast<long long>(event.attributes)
                          : call == "IsEmptyElement"    ? static_cast<long long>(event.empty)
                          : call == "IsEOF"             ? static_cast<long long>(event.eof)
                                                        : static_cast<long long>(reader->IsDefault()),
                          calls.Integer(i, "result"))
                    << call;
        }
        EXPECT_GT(rows, 5U);
    };

    move(XmlNodeType_XmlDeclaration);
    check("on the declaration");
    EXPECT_EQ(reader->MoveToFirstAttribute(), S_OK);
    check("on the declaration's first attribute");
    move(XmlNodeType_Element);
    EXPECT_EQ(reader->MoveToNextAttribute(), S_OK);
    check("after MoveToNextAttribute");
    EXPECT_EQ(reader->MoveToNextAttribute(), S_OK);
    EXPECT_EQ(reader->MoveToNextAttribute(), S_FALSE);
    check("past the last attribute");
    EXPECT_EQ(reader->MoveToAttributeByName(L"b", nullptr), S_OK);
    EXPECT_EQ(Text(*reader, &IXmlReader::GetValue), L"1");
    EXPECT_EQ(reader->MoveToAttributeByName(L"b", L"urn:x"), S_FALSE);
    EXPECT_EQ(reader->MoveToElement(), S_OK);
    EXPECT_EQ(reader->MoveToElement(), S_FALSE);
    move(XmlNodeType_Whitespace);
    check("on white space");
    move(XmlNodeType_Comment);
    check("on a comment");
    move(XmlNodeType_Text);
    check("on the text");
    EXPECT_EQ(reader->MoveToFirstAttribute(), S_FALSE);
    EXPECT_EQ(reader->MoveToElement(), S_FALSE);
    move(XmlNodeType_EndElement);
    move(XmlNodeType_EndElement);
    check("on the end tag");
    EXPECT_EQ(reader->Read(nullptr), S_FALSE);
    check("at the end");
    EXPECT_EQ(reader->MoveToFirstAttribute(), S_FALSE);
}

TEST(XmlReader, TakesPropertiesAndRefusesOthers)
{
    _com_ptr_t<IXmlReader> const reader = MakeReader();
    EXPECT_EQ(reader->SetProperty(XmlReaderProperty_DtdProcessing, DtdProcessing_Prohibit), S_OK);
    EXPECT_EQ(reader->SetProperty(XmlReaderProperty_DtdProcessing, DtdProcessing_Parse), E_INVALIDARG);
    EXPECT_EQ(reader->SetProperty(99, 0), E_INVALIDARG);
    EXPECT_EQ(reader->SetProperty(XmlReaderProperty_MaxElementDepth, 257), E_INVALIDARG);
    LONG_PTR value = 0;
    EXPECT_EQ(reader->GetProperty(XmlReaderProperty_MaxElementDepth, &value), S_OK);
    EXPECT_EQ(value, 256);

    EXPECT_EQ(reader->SetInput(nullptr), S_OK);
    XmlNodeType type = XmlNodeType_Text;
    EXPECT_EQ(reader->Read(&type), E_UNEXPECTED);
    EXPECT_EQ(type, XmlNodeType_None);

    // A new input starts the reader over.
    PieceStream stream("<a><b/></a>", 3);
    EXPECT_EQ(reader->SetInput(&stream), S_OK);
    EXPECT_EQ(reader->SetProperty(XmlReaderProperty_MaxElementDepth, 1), S_OK);
    EXPECT_EQ(reader->Read(&type), S_OK);
    EXPECT_EQ(reader->Read(&type), SC_E_MAXELEMENTDEPTH);
    EXPECT_EQ(reader->GetProperty(XmlReaderProperty_ReadState, &value), S_OK);
    EXPECT_EQ(value, XmlReadState_Error);
    reader->SetInput(nullptr);

    void * object = &value;
    EXPECT_EQ(CreateXmlReader(IID_IStream, &object, nullptr), E_NOINTERFACE);
    EXPECT_EQ(object, nullptr);
}

std::string Nested(std::size_t depth)
{
    std::string text;
    for (std::size_t i = 0; i < depth; ++i)
        text += "<a>";
    for (std::size_t i = 0; i < depth; ++i)
        text += "</a>";
    return text;
}

TEST(XmlReader, NestsTo256Elements)
{
    EXPECT_EQ(LastResult(Nested(256)), S_FALSE);
    EXPECT_EQ(LastResult(Nested(257)), SC_E_MAXELEMENTDEPTH);
    EXPECT_EQ(LastResult(std::string(3000000, '<').replace(0, 3, "<a>")), NC_E_QNAMECHARACTER);
}

TEST(XmlReader, RefusesEntitiesThatMultiply)
{
    std::string text = "<!DOCTYPE a [<!ENTITY x0 'xxxxxxxxxx'>";
    for (int i = 1; i < 30; ++i)
        text +=
            "<!ENTITY x" + std::to_string(i) + " '&x" + std::to_string(i - 1) + ";&x" + std::to_string(i - 1) + ";'>";
    EXPECT_EQ(LastResult(text + "]><a>&x29;</a>"), WC_E_DTDPROHIBITED);
}

TEST(XmlReader, ReadsDeclaredEncodings)
{
    auto const text = [](std::string const & bytes) -> std::wstring
    {
        for (Event const & event : Walk(bytes, 3))
        {
            if (event.type == XmlNodeType_Text)
                return event.value;
        }
        return L"";
    };
    EXPECT_EQ(text("<?xml version='1.0' encoding='iso-8859-1'?><a>\xE9</a>"), L"\u00E9");
    EXPECT_EQ(text("<?xml version='1.0' encoding='windows-1252'?><a>\x80</a>"), L"\u20AC");
    EXPECT_EQ(text("<?xml version='1.0' encoding='koi8-r'?><a>\xD1</a>"), L"\u044F");
    EXPECT_EQ(text("<?xml version='1.0' encoding='shift_jis'?><a>\x93\xFA\xB1</a>"), L"\u65E5\uFF71");
    EXPECT_EQ(text("<?xml version='1.0' encoding='gb2312'?><a>\xC8\xD5</a>"), L"\u65E5");
    EXPECT_EQ(LastResult("<?xml version='1.0' encoding='no-such'?><a/>"), MX_E_ENCODING);
    EXPECT_EQ(LastResult("<?xml version='1.0' encoding='utf-7'?><a/>"), MX_E_ENCODING);
    EXPECT_EQ(LastResult("<?xml version='1.0' encoding='utf-16'?><a/>"), MX_E_ENCODINGSWITCH);
}

TEST(XmlReader, NamesWhatIsWrong)
{
    EXPECT_EQ(LastResult("<a>\xFF</a>"), MX_E_ENCODING);
    EXPECT_EQ(LastResult("<a>\xC3</a>"), MX_E_ENCODING);
    EXPECT_EQ(LastResult("<a>\xED\xA0\x80</a>"), MX_E_ENCODING);
    EXPECT_EQ(LastResult("<a>\xEF\xBF\xBF</a>"), WC_E_XMLCHARACTER);
    EXPECT_EQ(LastResult("<a>\x01</a>"), WC_E_XMLCHARACTER);
    EXPECT_EQ(LastResult("<a>]]></a>"), WC_E_CDSECTEND);
    EXPECT_EQ(LastResult("<a><!-- -- --></a>"), WC_E_COMMENT);
    EXPECT_EQ(LastResult("<a/><b/>"), WC_E_SYNTAX);
    EXPECT_EQ(LastResult("<a>&#xG;</a>"), WC_E_HEXDIGIT);
    EXPECT_EQ(LastResult("<a>&#;</a>"), WC_E_DIGIT);
    EXPECT_EQ(LastResult("<a>&amp</a>"), WC_E_SEMICOLON);
    EXPECT_EQ(LastResult("<a b='1'c='2'/>"), WC_E_WHITESPACE);
    EXPECT_EQ(LastResult("<a b='&#x41 '/>"), WC_E_SEMICOLON);
    EXPECT_EQ(LastResult("<a></a b='1'>"), WC_E_GREATERTHAN);
    EXPECT_EQ(LastResult("<a:b:c/>"), NC_E_QNAMECOLON);
    EXPECT_EQ(LastResult("<a xmlns:p='' />"), NC_E_EMPTYURI);
    EXPECT_EQ(LastResult("<a xmlns:p='u' xmlns:q='u' p:x='1' q:x='2'/>"), WC_E_UNIQUEATTRIBUTE);
    EXPECT_EQ(LastResult("<a><b xmlns:p='u'/><p:c/></a>"), NC_E_UNDECLAREDPREFIX);
}

TEST(XmlReader, TellsLineAndColumn)
{
    PieceStream stream("<?xml version='1.0'?>\r\n<a>\n  <b x='\u00E9'/>\rtext<c>\n</d></a>", 2);
    _com_ptr_t<IXmlReader> const reader = MakeReader();
    ASSERT_EQ(reader->SetInput(&stream), S_OK);
    std::vector<std::pair<UINT, UINT>> places;
    HRESULT hr = S_OK;
    do
    {
        hr = reader->Read(nullptr);
        places.emplace_back(Number(*reader, &IXmlReader::GetLineNumber), Number(*reader, &IXmlReader::GetLinePosition));
    } while (hr == S_OK);
    EXPECT_EQ(hr, WC_E_ELEMENTMATCH);
    // Declaration, white space, a, white space, b, text, c, and the fault in the name of the end tag.
    std::vector<std::pair<UINT, UINT>> const wanted = {{1, 1}, {1, 22}, {2, 1}, {2, 4},
                                                       {3, 3}, {3, 13}, {4, 5}, {5, 3}};
    EXPECT_EQ(places, wanted);
    reader->SetInput(nullptr);
}

TEST(XmlReader, HandsTheValueOutInChunks)
{
    PieceStream stream("<a>abcde</a>", 100);
    _com_ptr_t<IXmlReader> const reader = MakeReader();
    ASSERT_EQ(reader->SetInput(&stream), S_OK);
    reader->Read(nullptr);
    reader->Read(nullptr);
    wchar_t buffer[2];
    std::wstring text;
    UINT read = 0;
    while (reader->ReadValueChunk(buffer, 2, &read) == S_OK)
        text.append(buffer, read);
    EXPECT_EQ(text, L"abcde");
    reader->SetInput(nullptr);
}

TEST(XmlReader, ReportsTheStreamsOwnFailure)
{
    for (std::size_t calls = 0; calls < 4; ++calls)
    {
        PieceStream stream("<a>abcde</a>", 4);
        stream.FailAfter(calls, STG_E_INVALIDFUNCTION);
        _com_ptr_t<IXmlReader> const reader = MakeReader();
        ASSERT_EQ(reader->SetInput(&stream), S_OK);
        HRESULT hr = S_OK;
        while ((hr = reader->Read(nullptr)) == S_OK)
            ;
        EXPECT_EQ(hr, STG_E_INVALIDFUNCTION);
        reader->SetInput(nullptr);
    }
}

TEST(XmlReader, ReadsNoFurtherThanTheWalkNeeds)
{
    std::string text = "<a>";
    for (int i = 0; i < 100000; ++i)
        text += "<b/>";
    PieceStream stream(text + "</a>", 1000);
    _com_ptr_t<IXmlReader> const reader = MakeReader();
    ASSERT_EQ(reader->SetInput(&stream), S_OK);
    EXPECT_EQ(reader->Read(nullptr), S_OK);
    EXPECT_LT(stream.Position(), 100000U);
    reader->SetInput(nullptr);
}

TEST(XmlReader, TakesALongTokenInTimeThatGrowsWithItsLength)
{
    // A parser that looks at an unfinished token again with every small piece would take minutes.
    auto const start = std::chrono::steady_clock::now();
    EXPECT_EQ(LastResult("<a b='" + std::string(8 << 20, 'x') + "'/>", 3000), S_FALSE);
    EXPECT_EQ(LastResult("<a><!--" + std::string(8 << 20, 'x'), 3000), MX_E_INPUTEND);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
}

TEST(XmlReader, ManyPrefixesAndAttributesStayCheap)
{
    std::string text = "<a";
    for (int i = 0; i < 20000; ++i)
    {
        std::string const n = std::to_string(i);
        text += " xmlns:p" + n + "='u" + n + "' p" + n + ":x='1'";
    }
    auto const start = std::chrono::steady_clock::now();
    EXPECT_EQ(LastResult(text + "/>"), S_FALSE);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

TEST(XmlReader, CutOrChangedInputEndsInAResult)
{
    std::string const whole =
        "<?xml version='1.0' encoding='utf-8'?>\n<!-- c --><p:a xmlns:p='u' b='&lt;&#65;\xC3\xA9'> x"
        "<![CDATA[y]]><b/><?q r?></p:a>\n";
    ASSERT_EQ(LastResult(whole), S_FALSE);
    for (std::size_t i = 0; i + 1 < whole.size(); ++i)
        EXPECT_EQ(LastResult(whole.substr(0, i), 3) < 0, i < whole.size() - 1) << i;
    for (std::size_t i = 0; i < whole.size(); ++i)
    {
        for (int const bit : {1, 2, 4, 16, 32, 128})
        {
            std::string changed = whole;
            changed[i] = static_cast<char>(changed[i] ^ bit);
            HRESULT const hr = LastResult(changed, 7);
            EXPECT_TRUE(hr == S_FALSE || hr < 0);
            EXPECT_EQ(hr, LastResult(changed, 1)) << changed;
        }
    }
}

} // namespace

#include "qvlib/XmlParser.h"

#include "qvlib/StringStream.h"
#include "qvlib/XmlElement.h"
#include "qvlib/XmlWriter.h"
#include "support/allocation_sweep.h"
#include "support/piece_stream.h"
#include "support/threads.h"
#include "support/tsv.h"

#include "qvlib/host/utf16.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace
{

using qvlib::ParserException;
using qvlib::XmlElement;
using qvlib::XmlParser;
using qvlib_test::OnThreads;
using qvlib_test::PieceStream;

std::shared_ptr<XmlElement> Load(std::string const & text)
{
    return XmlParser::Load(text.data(), static_cast<unsigned int>(text.size()));
}

/// The tree as a text of its own: name, flag, attributes, value, children.
std::wstring Show(XmlElement const & element)
{
    std::wstring text = element.Name() + (element.HasChildren() ? L"+" : L"-");
    if (element.Attributes())
    {
        for (auto const & [name, value] : *element.Attributes())
            text += L" " + name + L"=" + value;
    }
    text += L"'" + element.Value() + L"'";
    if (element.Children())
    {
        text += L"(";
        for (auto const & child : *element.Children())
            text += Show(*child);
        text += L")";
    }
    return text;
}

/// The same document by the walk that any parser derived from XmlParser makes over the public reader.
class Walker : public XmlParser
{
public:
    explicit Walker(IStream * stream) : XmlParser(stream) {}
    void ParseDocument() override
    {
        root = GetNextElement();
        if (root->HasChildren())
        {
            CreateTree(root);
            SkipElement(root->Name().c_str());
        }
    }
    std::shared_ptr<XmlElement> root;
};

struct Outcome
{
    std::wstring tree;
    std::string failure;
    unsigned int line = 0;
    unsigned int column = 0;
    bool operator==(Outcome const & other) const
    {
        return tree == other.tree && failure == other.failure && line == other.line && column == other.column;
    }
};

std::ostream & operator<<(std::ostream & out, Outcome const & outcome)
{
    return out << testing::PrintToString(outcome.tree) << ' ' << outcome.failure << ' ' << outcome.line << ':'
               << outcome.column;
}

template <class Work>
Outcome OutcomeOf(Work work)
{
    try
    {
        return {Show(*work()), {}};
    }
    catch (ParserException const & failure)
    {
        return {{}, failure.what(), failure.Line(), failure.Column()};
    }
}

Outcome Walked(std::string const & bytes, std::size_t piece)
{
    PieceStream stream(bytes, piece);
    Outcome const outcome = OutcomeOf(
        [&]
        {
            Walker walker(&stream);
            walker.Parse();
            return walker.root;
        });
    EXPECT_EQ(stream.References(), 1);
    return outcome;
}

Outcome Loaded(std::string const & bytes)
{
    return OutcomeOf([&] { return Load(bytes); });
}

TEST(XmlParser, BuildsTheTreeOfADocument)
{
    std::vector<std::pair<char const *, wchar_t const *>> const documents = {
        {"<a/>", L"a-''"},
        {"<a></a>", L"a-''"},
        {"<a> <b/> </a>", L"a+''(b-'')"},
        {"<a>x<!-- c -->y</a>", L"a-'xy'"},
        {"<a>x<![CDATA[<y>]]>z</a>", L"a-'x<y>z'"},
        {"<a> <![CDATA[]]> </a>", L"a-''"},
        {"<a>&#32;</a>", L"a-' '"},
        {"<?xml version='1.0'?><!-- c --><?p q?>\n<a b='2' a='1'/>", L"a- a=1 b=2''"},
        // Prefixes of attributes go, the first of two stays; a namespace is an attribute like others.
        {"<p:a xmlns:p='u' xmlns:q='v' p:x='1' q:x='2'/>", L"p:a- p=u q=v x=1''"},
        // Text makes a leaf, and the child becomes its sibling; the end tag of the leaf then ends every walk.
        {"<a>x<b/></a>", L"a-'x'"},
        {"<r><a>x<b/></a><c/></r>", L"r+''(a-'x'b-'')"},
        {"<z><r><a>x<b/></a><c/></r><d/></z>", L"z+''(r+''(a-'x'b-''))"},
        // ... unless it happens to have the name that is waited for.
        {"<z><r><r>x<b/></r><c/></r><d/></z>", L"z+''(r+''(r-'x'b-'')c-'')"},
        // Text behind a child is passed over.
        {"<a><b/>x<c/>y<![CDATA[z]]><!-- --><d>v</d> w </a>", L"a+''(b-''c-''d-'v')"},
        // What follows the root is not looked at, but for the node next to it.
        {"<a/> x", L"a-''"},
        {"<a></a><!-- c --><b/>", L"a-''"},
        {"<a><b/></a>\n&", L"a+''(b-'')"},
    };
    for (auto const & [text, tree] : documents)
    {
        SCOPED_TRACE(text);
        EXPECT_EQ(Loaded(text), (Outcome{tree, {}}));
        EXPECT_EQ(Walked(text, 1), (Outcome{tree, {}}));
    }
    EXPECT_EQ(Load("<a/>")->Attributes(), nullptr);
}

TEST(XmlParser, FailsByTheFixedTexts)
{
    auto const failure = [](std::string const & text) { return Loaded(text).failure; };
    std::string const read = "Error: cannot read the xml file, error code ";
    EXPECT_EQ(failure(""), read + "0xc00cee01");
    EXPECT_EQ(failure("<a><b></a>"), read + "0xc00cee3b");
    EXPECT_EQ(failure("<!DOCTYPE a><a/>"), read + "0xc00cee4f");
    EXPECT_EQ(failure("<a/><b/>"), read + "0xc00cee2d");
    EXPECT_EQ(failure("<a></a>x"), read + "0xc00cee2d");
    EXPECT_EQ(failure("<p:a/>"), read + "0xc00cee65");
    EXPECT_EQ(OutcomeOf([] { return XmlParser::Load(static_cast<IStream *>(nullptr)); }).failure, read + "0x8000ffff");
    EXPECT_EQ(OutcomeOf([] { return XmlParser::Load(static_cast<char const *>(nullptr), 5); }).failure,
              read + "0xc00cee01");
    Outcome const outcome = Loaded("<a>\n  <b>\n</a>");
    EXPECT_EQ(outcome.line, 3U);
    EXPECT_EQ(outcome.column, 3U);
    ParserException const plain("text");
    EXPECT_EQ(ParserException(plain).Line(), 0U);
    EXPECT_STREQ(ParserException(plain).what(), "text");
}

TEST(XmlParser, TakesEachFormOfInput)
{
    std::string const narrow = "<a b='\xC3\xA9'>\xF0\x9F\x98\x80</a>";
    std::wstring const wide = L"<a b='\u00E9'>\U0001F600</a>";
    std::wstring const tree = L"a- b=\u00E9'\U0001F600'";
    EXPECT_EQ(Show(*Load(narrow)), tree);
    EXPECT_EQ(Show(*Load("\xEF\xBB\xBF" + narrow)), tree);
    EXPECT_EQ(Show(*XmlParser::Load((narrow + '\0' + "<").c_str(), 0xFFFFFFFF)), tree);
    EXPECT_EQ(Show(*XmlParser::Load(wide)), tree);
    EXPECT_EQ(Show(*XmlParser::Load(wide.c_str())), tree);
    EXPECT_EQ(Show(*XmlParser::Load((wide + L"<").c_str(), static_cast<unsigned int>(wide.size()))), tree);
    EXPECT_EQ(Show(*XmlParser::Load(qvlib::CQVString(wide.c_str()))), tree);
    qvlib::StringStream stream(wide);
    EXPECT_EQ(Show(*XmlParser::Load(&stream)), tree);
    // An explicit length runs past a NUL, which no document can hold.
    EXPECT_THROW(Load(narrow + '\0'), ParserException);
    EXPECT_THROW(XmlParser::Load(wide + L'\0'), ParserException);

    // Wide text is UTF-16: it may say so and nothing else; a surrogate pair is one character, a lone half is none.
    EXPECT_EQ(Show(*XmlParser::Load(L"<?xml version='1.0' encoding='utf-16'?><a/>")), L"a-''");
    EXPECT_THROW(XmlParser::Load(L"<?xml version='1.0' encoding='utf-8'?><a/>"), ParserException);
    EXPECT_EQ(Show(*XmlParser::Load(L"<a>\xD83D\xDE00</a>")), L"a-'\U0001F600'");
    EXPECT_THROW(XmlParser::Load(L"<a>\xD83D</a>"), ParserException);
    EXPECT_THROW(XmlParser::Load(L"<a>\xDE00\xD83D</a>"), ParserException);
    EXPECT_EQ(Show(*XmlParser::Load(L"\xFEFF<a/>")), L"a-''");
    // NULs between the characters of wide text are not another encoding.
    EXPECT_THROW(XmlParser::Load(std::wstring(L"\0<\0a\0/\0>", 8)), ParserException);
    EXPECT_THROW(XmlParser::Load(std::wstring(L"<\0a\0/\0>\0", 8)), ParserException);
}

TEST(XmlParser, EveryWayGivesTheSameOutcome)
{
    qvlib_test::Table const documents("xml/documents.tsv");
    for (std::size_t d = 0; d < documents.Rows(); ++d)
    {
        std::string const bytes = documents.Bytes(d, "bytes");
        SCOPED_TRACE(documents.Raw(d, "bytes"));
        Outcome const loaded = Loaded(bytes);
        // Load takes a mark away before the reader sees it.
        bool const marked = bytes.compare(0, 3, "\xEF\xBB\xBF") == 0;
        for (std::size_t const piece : {1U, 3U, 7U, 100000U})
        {
            EXPECT_EQ(Walked(marked ? bytes.substr(3) : bytes, piece), loaded);
        }
        // UTF-16 input and the same text as wide characters.
        bool const little = bytes.size() >= 4 && bytes.size() % 2 == 0 && bytes[1] == '\0' && bytes[0] != '\0';
        if (!little)
            continue;
        std::wstring wide(bytes.size() / 2, L'\0');
        wide.resize(qvlib::host::DecodeUtf16(reinterpret_cast<unsigned char const *>(bytes.data()), bytes.size() / 2,
                                             wide.data()));
        EXPECT_EQ(OutcomeOf([&] { return XmlParser::Load(wide); }).tree, loaded.tree);
    }
}

TEST(XmlParser, CutOrChangedInputNeverDoesMoreThanFail)
{
    std::string const whole =
        "<?xml version='1.0'?><r a='&lt;'><a>x<b/></a><p:c xmlns:p='u'>y<![CDATA[z]]>\xC3\xA9</p:c> t <d/></r>";
    ASSERT_EQ(Loaded(whole).failure, "");
    for (std::size_t i = 0; i < whole.size(); ++i)
    {
        EXPECT_EQ(Loaded(whole.substr(0, i)), Walked(whole.substr(0, i), 2)) << i;
        for (int const bit : {1, 8, 32, 128})
        {
            std::string changed = whole;
            changed[i] = static_cast<char>(changed[i] ^ bit);
            EXPECT_EQ(Loaded(changed), Walked(changed, 3)) << changed;
        }
    }
}

TEST(XmlParser, AFaultyStartTagIsNoNode)
{
    // The text in front makes a leaf of the root, whose walk would end at a sound start tag.
    for (char const * const text :
         {"<a>x<p:b/></a>", "<a>x<b xmlns:xmlns='u'/></a>", "<a>x<?p:q?><b/></a>", "<a>x<b:/></a>"})
    {
        EXPECT_NE(Loaded(text).failure, "") << text;
        EXPECT_EQ(Walked(text, 1), Loaded(text)) << text;
    }
}

TEST(XmlParser, NestsTo256Elements)
{
    auto const nested = [](std::size_t depth)
    {
        std::string text;
        for (std::size_t i = 0; i < depth; ++i)
            text += "<a>";
        for (std::size_t i = 0; i < depth; ++i)
            text += "</a>";
        return text;
    };
    EXPECT_EQ(Loaded(nested(256)).failure, "");
    EXPECT_EQ(Walked(nested(256), 100).failure, "");
    EXPECT_EQ(Loaded(nested(257)).failure, "Error: cannot read the xml file, error code 0xc00cee81");
    EXPECT_EQ(Loaded(nested(100000)), Walked(nested(100000), 1000));
}

TEST(XmlParser, SurvivesEveryFailedAllocation)
{
    std::string const text =
        "<r a='1' bbbbbbbbbbbb='ccccccccccccccc'><p:ddddd xmlns:p='u'>eeeeeeeeeeeeee</p:ddddd><f/></r>";
    std::wstring const wide(text.begin(), text.end());
    std::size_t const narrowHits = qvlib_test::SweepAllocations([&] { Load(text); });
    std::size_t const wideHits = qvlib_test::SweepAllocations([&] { XmlParser::Load(wide); });
    // expat's own allocations are among them.
    EXPECT_GT(narrowHits, 30U);
    EXPECT_GT(wideHits, 30U);
    PieceStream stream(text, 10);
    qvlib_test::SweepAllocations(
        [&]
        {
            PieceStream pieces(text, 10);
            Walker walker(&pieces);
            walker.Parse();
        });
}

TEST(XmlParser, LoadsOnSeveralThreadsAtOnce)
{
    OnThreads(4,
              [](int t)
              {
                  std::string const text = "<a><b n='" + std::to_string(t) + "'>x</b></a>";
                  for (int i = 0; i < 200; ++i)
                      EXPECT_EQ(*Load(text), *XmlParser::Load(qvlib::XmlWriter::Write(Load(text))));
              });
}

/// Uses the cursor operations one by one.
class Steps : public XmlParser
{
public:
    explicit Steps(IStream * stream) : XmlParser(stream) {}
    using XmlParser::FormatHRESULTMessage;
    void ParseDocument() override
    {
        EXPECT_EQ(CurrentNodeType(), XmlNodeType_None);
        EXPECT_TRUE(IsBeginElement(nullptr));
        EXPECT_TRUE(IsBeginElement(L"p:a"));
        EXPECT_FALSE(IsBeginElement(L"a"));
        EXPECT_FALSE(IsEndElement(L"p:a"));
        EXPECT_FALSE(SkipElement(L"b"));
        EXPECT_TRUE(IsBeginElement(L"p:a"));
        EXPECT_TRUE(SkipElement(L"p:a"));
        // Text is no tag: its name is not compared.
        EXPECT_EQ(CurrentNodeType(), XmlNodeType_Text);
        EXPECT_FALSE(IsBeginElement(nullptr));
        EXPECT_TRUE(SkipElement(L"other"));
        Steps copy(*this);
        EXPECT_TRUE(copy.IsEndElement(L"p:a"));
        EXPECT_TRUE(copy.SkipElement(nullptr));
        // The copy and its source read by one cursor.
        SkipTrivialNodes();
        EXPECT_EQ(CurrentNodeType(), XmlNodeType_None);
    }
};

TEST(XmlParser, OffersItsCursorToOtherWalks)
{
    PieceStream stream("<!-- c --> <p:a xmlns:p='u'>x</p:a>  ", 3);
    Steps steps(&stream);
    steps.Parse();
    EXPECT_EQ(Steps::FormatHRESULTMessage("code ", 0), "code 0");
    EXPECT_EQ(Steps::FormatHRESULTMessage("code ", 0xABC), "code 0xabc");
    EXPECT_EQ(Steps::FormatHRESULTMessage("code ", E_FAIL), "code 0x80004005");
}

TEST(XmlParseUtils, ConvertsWhatItCanAndNeverRefuses)
{
    using qvlib::XmlParseUtils;
    int number = 7;
    EXPECT_TRUE(XmlParseUtils::ParseContent(L"12abc", number));
    EXPECT_EQ(number, 12);
    EXPECT_TRUE(XmlParseUtils::ParseContent(L"abc", number));
    EXPECT_EQ(number, 0);
    unsigned int word = 7;
    EXPECT_TRUE(XmlParseUtils::ParseContent(L"-1", word));
    EXPECT_EQ(word, 0xFFFFFFFFU);
    EXPECT_TRUE(XmlParseUtils::ParseContent(L"4294967295", word));
    EXPECT_EQ(word, 0x7FFFFFFFU); // saturates as a signed number
    std::wstring text;
    EXPECT_TRUE(XmlParseUtils::ParseContent(L"a\0b", text));
    EXPECT_EQ(text, L"a");
    EXPECT_TRUE(XmlParseUtils::ParseContent(static_cast<wchar_t const *>(nullptr), text));
    EXPECT_EQ(text, L"") << "no text is no different from an empty one";
    bool flag = false;
    EXPECT_TRUE(XmlParseUtils::ParseContent(L"yes", flag));
    EXPECT_TRUE(flag);
    EXPECT_STREQ(XmlParseUtils::GetLanguageTag(), L"Lang");
}

} // namespace

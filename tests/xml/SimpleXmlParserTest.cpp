#include "qvlib/SimpleXmlParser.h"

#include "qvlib/Exceptions.h"
#include "support/allocation_sweep.h"
#include "support/piece_stream.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace
{

using qvlib::CQVString;
using qvlib::CSimpleXmlParser;

std::wstring Shown(CSimpleXmlParser::XmlNode const & node)
{
    std::wstring shown = std::to_wstring(node.type) + L":" + node.name.GetString();
    if (node.attributes)
    {
        shown += L"(";
        for (auto const * pair = node.attributes->PGetFirstAssoc(); pair; pair = node.attributes->PGetNextAssoc(pair))
        {
            EXPECT_EQ(pair->key, pair->value->name);
            shown += std::wstring(pair->key) + L"=" + pair->value->value.GetString() + L";";
        }
        shown += L")";
    }
    return shown + (node.hasContent ? L"+ " : L" ");
}

/// Keeps every node as text; the filters can be set.
class Recorder : public CSimpleXmlParser
{
public:
    explicit Recorder(IStream * stream) : CSimpleXmlParser(stream) {}

    std::wstring record;
    bool elementsOnly = false;
    std::function<bool(XmlNodeType)> skipNode;
    std::function<bool(CQVString const &)> skipAttribute;

    using CSimpleXmlParser::FormatHRESULTMessage;
    using CSimpleXmlParser::GetNextNode;
    using CSimpleXmlParser::NullString;

protected:
    void ParseDocument() override
    {
        for (;;)
        {
            std::shared_ptr<XmlNode> const node = elementsOnly ? GetNextElement() : GetNextNode();
            ASSERT_TRUE(node);
            record += Shown(*node);
            if (node->type == XmlNodeType_None)
                return;
        }
    }
    bool SkipNode(XmlNodeType type) override { return skipNode ? skipNode(type) : CSimpleXmlParser::SkipNode(type); }
    bool SkipAttribute(CQVString const & name) override
    {
        return skipAttribute ? skipAttribute(name) : CSimpleXmlParser::SkipAttribute(name);
    }
};

std::wstring Nodes(std::string const & xml, std::function<void(Recorder &)> const & prepare = {})
{
    qvlib_test::PieceStream stream(xml, 7);
    Recorder recorder(&stream);
    if (prepare)
        prepare(recorder);
    recorder.Parse();
    return recorder.record;
}

std::string Failure(std::function<void()> const & call)
{
    try
    {
        call();
    }
    catch (qvlib::unexpected_error const & failure)
    {
        return failure.what();
    }
    return "none";
}

TEST(SimpleXmlParser, TellsEmptyElementsFromElementsWithoutContent)
{
    EXPECT_EQ(Nodes("<a/>"), L"1:a() 0: ");
    EXPECT_EQ(Nodes("<a></a>"), L"1:a()+ 15:a 0: ");
    EXPECT_EQ(Nodes("<a x='1'/>"), L"1:a(x=1;) 0: ");
}

std::string const kDocument = "<?xml version='1.0'?><!-- c --><p:a xmlns:p='urn:p' p:x='1' y=''> <?pi do?>\n"
                              "text<b/><![CDATA[raw]]></p:a>";

TEST(SimpleXmlParser, DropsCommentsWhiteSpaceAndTheDeclaration)
{
    EXPECT_EQ(Nodes(kDocument), L"1:p:a(p=urn:p;x=1;y=;)+ 7:pi()+ 3:()+ 1:b() 4:()+ 15:p:a 0: ");
    EXPECT_EQ(Nodes(kDocument, [](Recorder & r) { r.elementsOnly = true; }),
              L"1:p:a(p=urn:p;x=1;y=;)+ 1:b() 15:p:a 0: ");
}

TEST(SimpleXmlParser, FiltersDecideWhatIsMade)
{
    EXPECT_EQ(Nodes(kDocument, [](Recorder & r) { r.skipNode = [](XmlNodeType) { return false; }; }),
              L"17:xml(version=1.0;)+ 8:()+ 1:p:a(p=urn:p;x=1;y=;)+ 13:()+ 7:pi()+ 3:()+ 1:b() 4:()+ 15:p:a 0: ");
    EXPECT_EQ(Nodes("<a><b/></a>",
                    [](Recorder & r) { r.skipNode = [](XmlNodeType type) { return type == XmlNodeType_EndElement; }; }),
              L"1:a()+ 1:b() 0: ");
    std::wstring asked;
    EXPECT_EQ(Nodes("<a x='1' p:y='2' z='3' xmlns:p='u'/>",
                    [&asked](Recorder & r)
                    {
                        r.skipAttribute = [&asked](CQVString const & name)
                        {
                            asked += name.GetString();
                            return name != CQVString(L"z");
                        };
                    }),
              L"1:a(z=3;) 0: ");
    EXPECT_EQ(asked, L"xyzp");
}

TEST(SimpleXmlParser, TheLaterOfTwoAttributesOfALocalNameStays)
{
    EXPECT_EQ(Nodes("<a xmlns:p='u' xmlns:q='v' p:x='1' q:x='2'/>"), L"1:a(p=u;q=v;x=2;) 0: ");
}

TEST(SimpleXmlParser, TheEndOfInputComesAgainAndAgain)
{
    qvlib_test::PieceStream stream("<a/>", 100);
    Recorder recorder(&stream);
    recorder.Parse();
    Recorder copy(recorder);
    for (int i = 0; i < 3; ++i)
    {
        EXPECT_EQ(Shown(*copy.GetNextNode()), L"0: ");
        EXPECT_EQ(Shown(*recorder.GetNextNode()), L"0: ");
    }
    EXPECT_EQ(Recorder::NullString, L"");
}

TEST(SimpleXmlParser, FailuresNameTheReadersCode)
{
    std::string const read = "Error: cannot read the xml file, error code ";
    EXPECT_EQ(Failure([] { Nodes("<!DOCTYPE a><a/>"); }), read + "c00cee4f");
    EXPECT_EQ(Failure([] { Nodes("<a></b>"); }), read + "c00cee3b");
    EXPECT_EQ(Failure([] { Nodes(""); }).substr(0, read.size()), read);
    EXPECT_EQ(Failure([] { Recorder(nullptr).Parse(); }).substr(0, read.size()), read);
    qvlib_test::PieceStream failing("<a/>", 100);
    failing.FailAfter(0, E_FAIL);
    EXPECT_EQ(Failure([&] { Recorder(&failing).Parse(); }), read + "80004005");
    EXPECT_EQ(failing.References(), 1);
}

TEST(SimpleXmlParser, AStreamThatCannotBeReadFailsAtTheStart)
{
    struct NoStream final : IStream
    {
        HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void ** object) override
        {
            *object = nullptr;
            return E_NOINTERFACE;
        }
        ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
        ULONG STDMETHODCALLTYPE Release() override { return 1; }
        HRESULT STDMETHODCALLTYPE Read(void *, ULONG, ULONG *) override { return E_FAIL; }
        HRESULT STDMETHODCALLTYPE Write(void const *, ULONG, ULONG *) override { return E_FAIL; }
        HRESULT STDMETHODCALLTYPE Seek(LARGE_INTEGER, DWORD, ULARGE_INTEGER *) override { return E_FAIL; }
        HRESULT STDMETHODCALLTYPE SetSize(ULARGE_INTEGER) override { return E_FAIL; }
        HRESULT STDMETHODCALLTYPE CopyTo(IStream *, ULARGE_INTEGER, ULARGE_INTEGER *, ULARGE_INTEGER *) override
        {
            return E_FAIL;
        }
        HRESULT STDMETHODCALLTYPE Commit(DWORD) override { return E_FAIL; }
        HRESULT STDMETHODCALLTYPE Revert() override { return E_FAIL; }
        HRESULT STDMETHODCALLTYPE LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return E_FAIL; }
        HRESULT STDMETHODCALLTYPE UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return E_FAIL; }
        HRESULT STDMETHODCALLTYPE Stat(STATSTG *, DWORD) override { return E_FAIL; }
        HRESULT STDMETHODCALLTYPE Clone(IStream **) override { return E_FAIL; }
    } stream;
    EXPECT_EQ(Failure([&] { Recorder(&stream).Parse(); }), "Error: cannot initialize the XmlParser.");
}

TEST(SimpleXmlParser, FormatsACodeInEightDigits)
{
    Recorder const recorder(nullptr);
    EXPECT_EQ(recorder.FormatHRESULTMessage(L"code %08.8lx", 1), "code 00000001");
    EXPECT_EQ(recorder.FormatHRESULTMessage(L"\u00E9 %08.8lx!", static_cast<HRESULT>(0xC00CEE4FU)),
              "\xC3\xA9 c00cee4f!");
}

TEST(SimpleXmlParser, EveryCutDocumentAndEveryFailedAllocationEnds)
{
    for (std::size_t length = 0; length < kDocument.size(); ++length)
        EXPECT_NE(Failure([&] { Nodes(kDocument.substr(0, length)); }), "none") << length;
    qvlib_test::SweepAllocations([] { Nodes("<a x='1'><b y='2'/>t</a>"); });
}

} // namespace

#include "qvlib/host/xml.h"

#include "support/piece_stream.h"
#include "support/tsv.h"

#include "qvlib/framework/comutil.h"
#include "qvlib/host/utf16.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace
{

using qvlib_test::PieceStream;
using qvlib_test::Table;

class Writing
{
public:
    explicit Writing(wchar_t const * encoding, bool plain = true)
    {
        void * made = nullptr;
        EXPECT_EQ(CreateXmlWriter(IID_IXmlWriter, &made, nullptr), S_OK);
        writer.Attach(static_cast<IXmlWriter *>(made));
        if (plain)
        {
            writer->SetProperty(XmlWriterProperty_OmitXmlDeclaration, TRUE);
            writer->SetProperty(XmlWriterProperty_ByteOrderMark, FALSE);
        }
        IXmlWriterOutput * output = nullptr;
        EXPECT_EQ(CreateXmlWriterOutputWithEncodingName(&stream, nullptr, encoding, &output), S_OK);
        EXPECT_EQ(writer->SetOutput(output), S_OK);
        output->Release();
    }
    ~Writing()
    {
        writer = nullptr;
        EXPECT_EQ(stream.References(), 1);
    }

    HRESULT Start(wchar_t const * name) { return writer->WriteStartElement(nullptr, name, nullptr); }
    HRESULT Attribute(wchar_t const * name, wchar_t const * value)
    {
        return writer->WriteAttributeString(nullptr, name, nullptr, value);
    }
    std::string Bytes()
    {
        EXPECT_EQ(writer->Flush(), S_OK);
        return stream.Bytes();
    }
    std::wstring Units()
    {
        std::string const bytes = Bytes();
        std::wstring text(bytes.size() / 2, L'\0');
        text.resize(qvlib::host::DecodeUtf16(reinterpret_cast<unsigned char const *>(bytes.data()), bytes.size() / 2,
                                             text.data()));
        return text;
    }

    PieceStream stream;
    _com_ptr_t<IXmlWriter> writer;
};

/// The text in <...> behind an operation letter, which may itself hold angle brackets: it ends where the next operation
/// can begin.
std::vector<std::vector<std::wstring>> Operations(std::wstring const & text)
{
    std::vector<std::vector<std::wstring>> operations;
    std::size_t i = 0;
    auto const argument = [&]
    {
        std::size_t const begin = ++i; // behind '<'
        for (;; ++i)
        {
            wchar_t const next = i + 1 < text.size() ? text[i + 1] : L'\0';
            wchar_t const letter = i + 2 < text.size() ? text[i + 2] : L'\0';
            if (text[i] == L'>' && (next == L'\0' || next == L'<' ||
                                    (next == L' ' && std::wstring(L"SATEX").find(letter) != std::wstring::npos)))
                break;
        }
        std::wstring const found = text.substr(begin, i - begin);
        ++i;
        return found;
    };
    while (i < text.size())
    {
        std::vector<std::wstring> operation{std::wstring(1, text[i++])};
        std::size_t const arguments = operation[0] == L"A" ? 2 : operation[0] == L"S" || operation[0] == L"T" ? 1 : 0;
        for (std::size_t n = 0; n < arguments; ++n)
            operation.push_back(argument());
        operations.push_back(operation);
        ++i; // the blank
    }
    return operations;
}

TEST(XmlWriterHost, GivesTheKnownResults)
{
    Table const table("xml/writer_operations.tsv");
    for (std::size_t row = 0; row < table.Rows(); ++row)
    {
        SCOPED_TRACE(table.Raw(row, "operations"));
        Writing writing(table.Wide(row, "encoding").c_str());
        std::string results;
        for (std::vector<std::wstring> const & operation : Operations(table.Wide(row, "operations")))
        {
            HRESULT hr = S_OK;
            switch (operation[0][0])
            {
            case L'S':
                hr = writing.Start(operation[1].c_str());
                break;
            case L'A':
                hr = writing.Attribute(operation[1].c_str(), operation[2].c_str());
                break;
            case L'T':
                hr = writing.writer->WriteString(operation[1].c_str());
                break;
            case L'E':
                hr = writing.writer->WriteEndElement();
                break;
            default:
                hr = writing.writer->WriteEndDocument();
            }
            char text[16];
            std::snprintf(text, sizeof text, "%s%X", results.empty() ? "" : " ", static_cast<unsigned int>(hr));
            results += text;
            if (FAILED(hr))
                break;
        }
        EXPECT_EQ(results, table.Raw(row, "results"));
        if (table.Raw(row, "encoding") == "utf-8")
            EXPECT_EQ(writing.Bytes(), table.Bytes(row, "output"));
        else
            EXPECT_EQ(writing.Units(), table.Wide(row, "output"));
    }
}

TEST(XmlWriterHost, EscapesWhatWouldNotReadBack)
{
    Writing writing(L"utf-16");
    ASSERT_EQ(writing.Start(L"a"), S_OK);
    EXPECT_EQ(writing.Attribute(L"b", L"<>&\"'\t\n\r"), S_OK);
    EXPECT_EQ(writing.writer->WriteString(L"<>&\"'\t\n\r"), S_OK);
    EXPECT_EQ(writing.writer->WriteEndDocument(), S_OK);
    EXPECT_EQ(writing.Units(), L"<a b=\"&lt;&gt;&amp;&quot;'&#x9;&#xA;&#xD;\">&lt;&gt;&amp;\"'\t\n&#xD;</a>");
}

TEST(XmlWriterHost, RefusesNamesThatWouldNotReadBack)
{
    Writing writing(L"utf-16");
    EXPECT_EQ(writing.Start(L""), E_INVALIDARG);
    EXPECT_EQ(writing.Start(nullptr), E_INVALIDARG);
    for (wchar_t const * const name :
         {L"1a", L"-a", L".a", L"a b", L"a:b", L":a", L"a:", L"\u00B7a", L"\u20AC", L"a\U0001F600", L"<", L"\u00D7"})
    {
        EXPECT_EQ(writing.Start(name), WC_E_NAMECHARACTER) << name;
    }
    ASSERT_EQ(writing.Start(L"a"), S_OK);
    EXPECT_EQ(writing.Attribute(L"1", L""), WC_E_NAMECHARACTER);
    EXPECT_EQ(writing.Attribute(L"b", L"\x1"), WC_E_XMLCHARACTER);
    EXPECT_EQ(writing.Attribute(L"b", L"\xD800"), WR_E_INVALIDSURROGATEPAIR);
    EXPECT_EQ(writing.Attribute(L"b", L"1"), S_OK);
    EXPECT_EQ(writing.Attribute(L"b", L"2"), WR_E_DUPLICATEATTRIBUTE);
    EXPECT_EQ(writing.Attribute(L"xmlns", L"http://www.w3.org/2000/xmlns/"), WR_E_XMLNSURIDECLARATION);
    EXPECT_EQ(writing.Attribute(L"xmlns", L"http://www.w3.org/XML/1998/namespace"), WR_E_XMLURIDECLARATION);
    EXPECT_EQ(writing.writer->WriteStartElement(L"p", L"a", L"u"), E_NOTIMPL);
    EXPECT_EQ(writing.writer->WriteEndElement(), S_OK);
    EXPECT_EQ(writing.Units(), L"<a b=\"1\" />");
}

TEST(XmlWriterHost, FindsTheTwinAmongManyAttributes)
{
    Writing writing(L"utf-16");
    ASSERT_EQ(writing.Start(L"a"), S_OK);
    for (int i = 0; i < 100; ++i)
        ASSERT_EQ(writing.Attribute((L"n" + std::to_wstring(i)).c_str(), L""), S_OK);
    for (int i = 0; i < 100; ++i)
        ASSERT_EQ(writing.Attribute((L"n" + std::to_wstring(i)).c_str(), L""), WR_E_DUPLICATEATTRIBUTE);
    // The next tag starts afresh.
    ASSERT_EQ(writing.Start(L"a"), S_OK);
    ASSERT_EQ(writing.Attribute(L"n0", L""), S_OK);
}

TEST(XmlWriterHost, RefusesCallsOutOfOrder)
{
    {
        Writing writing(L"utf-16");
        EXPECT_EQ(writing.writer->WriteString(L"x"), WR_E_INVALIDACTION);
        EXPECT_EQ(writing.writer->WriteEndDocument(), WR_E_INVALIDACTION);
        ASSERT_EQ(writing.Start(L"a"), S_OK);
        EXPECT_EQ(writing.writer->WriteString(L"x"), S_OK);
        EXPECT_EQ(writing.Attribute(L"b", L"c"), WR_E_INVALIDACTION);
        EXPECT_EQ(writing.writer->WriteEndElement(), S_OK);
        EXPECT_EQ(writing.Start(L"b"), WR_E_INVALIDACTION);
        EXPECT_EQ(writing.writer->WriteEndElement(), WR_E_INVALIDACTION);
        EXPECT_EQ(writing.writer->WriteEndDocument(), S_OK);
        EXPECT_EQ(writing.writer->WriteEndDocument(), WR_E_INVALIDACTION);
        EXPECT_EQ(writing.Units(), L"<a>x</a>");
    }
    void * made = nullptr;
    ASSERT_EQ(CreateXmlWriter(IID_IXmlWriter, &made, nullptr), S_OK);
    _com_ptr_t<IXmlWriter> const writer(static_cast<IXmlWriter *>(made), false);
    EXPECT_EQ(writer->WriteStartElement(nullptr, L"a", nullptr), WR_E_INVALIDACTION);
    EXPECT_EQ(writer->Flush(), WR_E_INVALIDACTION);
    EXPECT_EQ(writer->SetProperty(77, 1), E_INVALIDARG);
}

TEST(XmlWriterHost, WritesOtherEncodingsMarksDeclarationsAndIndents)
{
    auto const document = [](wchar_t const * encoding, bool plain, bool indent)
    {
        Writing writing(encoding, plain);
        writing.writer->SetProperty(XmlWriterProperty_Indent, indent);
        writing.Start(L"a");
        writing.Attribute(L"b", L"\u00E9\u20AC");
        writing.Start(L"c");
        writing.writer->WriteString(L"\U0001F600");
        writing.writer->WriteEndElement();
        writing.writer->WriteEndDocument();
        return writing.Bytes();
    };
    EXPECT_EQ(document(L"utf-8", true, false), "<a b=\"\u00E9\u20AC\"><c>\U0001F600</c></a>");
    EXPECT_EQ(document(L"ISO-8859-1", true, false), "<a b=\"\xE9&#x20AC;\"><c>&#x1F600;</c></a>");
    EXPECT_EQ(document(L"windows-1252", true, false), "<a b=\"\xE9\x80\"><c>&#x1F600;</c></a>");
    EXPECT_EQ(document(nullptr, false, true), "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n<a "
                                              "b=\"\u00E9\u20AC\">\r\n  <c>\U0001F600</c>\r\n</a>");
    EXPECT_EQ(document(L"utf-16", false, false).substr(0, 6), std::string("\xFF\xFE<\0?\0", 6));
    EXPECT_EQ(document(L"utf-16be", true, false).substr(0, 4), std::string("\0<\0a", 4));

    // A name has no other way to be written.
    Writing writing(L"us-ascii");
    EXPECT_EQ(writing.Start(L"\u00E9"), WC_E_NAMECHARACTER);

    PieceStream stream;
    IXmlWriterOutput * output = nullptr;
    EXPECT_EQ(CreateXmlWriterOutputWithEncodingName(&stream, nullptr, L"no-such", &output), MX_E_ENCODING);
    EXPECT_EQ(CreateXmlWriterOutputWithEncodingName(&stream, nullptr, L"", &output), MX_E_ENCODING);
    EXPECT_EQ(CreateXmlWriterOutputWithEncodingName(nullptr, nullptr, L"utf-8", &output), E_INVALIDARG);
    EXPECT_EQ(stream.References(), 1);
}

TEST(XmlWriterHost, LeavesMixedContentAloneWhenIndenting)
{
    Writing writing(L"utf-8");
    writing.writer->SetProperty(XmlWriterProperty_Indent, TRUE);
    writing.Start(L"a");
    writing.writer->WriteString(L"x");
    writing.Start(L"b");
    writing.writer->WriteEndElement();
    writing.writer->WriteEndDocument();
    EXPECT_EQ(writing.Bytes(), "<a>x<b /></a>");
}

TEST(XmlWriterHost, ReportsTheStreamsOwnFailure)
{
    Writing writing(L"utf-16");
    ASSERT_EQ(writing.Start(L"a"), S_OK);
    writing.stream.FailAfter(0, STG_E_MEDIUMFULL);
    EXPECT_EQ(writing.writer->Flush(), STG_E_MEDIUMFULL);
    // A full buffer goes out by itself.
    EXPECT_EQ(writing.writer->WriteString(std::wstring(100000, L'x').c_str()), STG_E_MEDIUMFULL);
}

} // namespace

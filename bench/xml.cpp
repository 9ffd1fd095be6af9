// Loading and writing XML of the shape of enumeration metadata, in three sizes, beside the readers and writers that are
// there. Every load is timed with the end of what it built. The floor is expat's walk with empty callbacks; the fair
// rival is the same tree built over a bare parser by hand.
#include "qvlib/XmlElement.h"
#include "qvlib/XmlElementBuilder.h"
#include "qvlib/XmlParser.h"
#include "qvlib/XmlWriter.h"

#include "qvlib/host/utf8.h"

#include <benchmark/benchmark.h>
#include <expat.h>

#ifdef QVLIB_PEER_PUGIXML
#include <pugixml.hpp>
#endif
#ifdef QVLIB_PEER_LIBXML2
#include <libxml/parser.h>
#include <libxml/xmlreader.h>
#include <libxml/xmlsave.h>
#include <libxml/xmlwriter.h>
#endif
#ifdef QVLIB_PEER_TINYXML2
#include <tinyxml2.h>
#endif

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace
{

using qvlib::XmlElement;
using Attributes = std::map<std::wstring, std::wstring>;

constexpr std::size_t kSizes[] = {2 * 1024, 1024 * 1024, 10 * 1024 * 1024};

std::string MakeDocument(std::size_t size)
{
    std::string text = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<DynamicEnum Name=\"OrderState\">\n  <Values>\n";
    for (int i = 0; text.size() < size; ++i)
    {
        std::string const number = std::to_string(i);
        text += "    <Value Code=\"" + number + "\" Name=\"STATE_" + number + "\">\n";
        text += "      <DisplayName Lang=\"en\">Order state number " + number + " &amp; more</DisplayName>\n";
        text += "      <DisplayName Lang=\"de\">Auftragszustand \xC3\xBC" + number + "</DisplayName>\n";
        text += "      <Description>A longer text that tells what the state means, with a figure: " + number +
                "</Description>\n";
        text += "      <Properties><Property Key=\"Sort\" Type=\"I4\">" + number +
                "</Property></Properties>\n    </Value>\n";
    }
    return text + "  </Values>\n</DynamicEnum>\n";
}

std::string const & Document(std::size_t size)
{
    static std::map<std::size_t, std::string> documents;
    std::string & text = documents[size];
    if (text.empty())
        text = MakeDocument(size);
    return text;
}

std::wstring const & WideDocument(std::size_t size)
{
    static std::map<std::size_t, std::wstring> documents;
    std::wstring & text = documents[size];
    if (text.empty())
    {
        text = qvlib::host::FromUtf8(Document(size));
        // Wide text is UTF-16 and must not say otherwise.
        text.erase(0, text.find(L'\n') + 1);
    }
    return text;
}

std::shared_ptr<XmlElement> const & Tree(std::size_t size)
{
    static std::map<std::size_t, std::shared_ptr<XmlElement>> trees;
    std::shared_ptr<XmlElement> & tree = trees[size];
    if (!tree)
        tree = qvlib::XmlParser::Load(Document(size).data(), static_cast<unsigned int>(Document(size).size()));
    return tree;
}

// What a careful hand writes for UTF-8 to wide text.
std::wstring Wide(char const * text, std::size_t length)
{
    std::wstring wide;
    wide.reserve(length);
    for (std::size_t i = 0; i < length;)
    {
        unsigned char const c = static_cast<unsigned char>(text[i]);
        if (c < 0x80)
        {
            wide.push_back(static_cast<wchar_t>(c));
            ++i;
            continue;
        }
        int const more = c >= 0xF0 ? 3 : c >= 0xE0 ? 2 : 1;
        unsigned int point = c & (0x3FU >> more);
        for (int k = 1; k <= more; ++k)
            point = point << 6 | (static_cast<unsigned char>(text[i + static_cast<std::size_t>(k)]) & 0x3FU);
        wide.push_back(static_cast<wchar_t>(point));
        i += static_cast<std::size_t>(more) + 1;
    }
    return wide;
}
std::wstring Wide(char const * text) { return Wide(text, std::strlen(text)); }

// ---- the same tree by hand

struct Hand
{
    struct Open
    {
        std::wstring name;
        std::string text;
        std::shared_ptr<Attributes> attributes;
        std::vector<std::shared_ptr<XmlElement>> children;
    };
    std::vector<Open> open;
    std::shared_ptr<XmlElement> root;

    void Start(char const * name)
    {
        open.emplace_back();
        open.back().name = Wide(name);
    }
    void Attribute(char const * name, char const * value)
    {
        if (!open.back().attributes)
            open.back().attributes = std::make_shared<Attributes>();
        char const * const colon = std::strchr(name, ':');
        open.back().attributes->emplace(Wide(colon ? colon + 1 : name), Wide(value));
    }
    void Text(char const * text, std::size_t length) { open.back().text.append(text, length); }
    void End()
    {
        Open & top = open.back();
        bool const hasChildren = !top.children.empty();
        std::wstring value;
        if (!hasChildren)
            value = Wide(top.text.data(), top.text.size());
        auto element =
            std::make_shared<XmlElement>(std::move(top.name), std::move(value), std::move(top.attributes), hasChildren);
        for (auto & child : top.children)
            element->AddChild(std::move(child));
        open.pop_back();
        if (open.empty())
            root = std::move(element);
        else
            open.back().children.push_back(std::move(element));
    }
};

std::shared_ptr<XmlElement> LoadByHandOverExpat(std::string const & text)
{
    Hand hand;
    XML_Parser const parser = XML_ParserCreate(nullptr);
    XML_SetUserData(parser, &hand);
    XML_SetElementHandler(
        parser,
        [](void * self, char const * name, char const ** attributes)
        {
            Hand & h = *static_cast<Hand *>(self);
            h.Start(name);
            for (; *attributes; attributes += 2)
                h.Attribute(attributes[0], attributes[1]);
        },
        [](void * self, char const *) { static_cast<Hand *>(self)->End(); });
    XML_SetCharacterDataHandler(parser, [](void * self, char const * data, int length)
                                { static_cast<Hand *>(self)->Text(data, static_cast<std::size_t>(length)); });
    if (XML_Parse(parser, text.data(), static_cast<int>(text.size()), 1) != XML_STATUS_OK)
        std::abort();
    XML_ParserFree(parser);
    return hand.root;
}

// The trees must be the same, or the comparison says nothing.
void RequireEqual(std::shared_ptr<XmlElement> const & built, std::size_t size)
{
    if (!(*built == *Tree(size)))
        std::abort();
}

void SetBytes(benchmark::State & state, std::size_t size)
{
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(size));
}

// ---- loads

void LoadNarrow(benchmark::State & state)
{
    std::string const & text = Document(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state)
        benchmark::DoNotOptimize(qvlib::XmlParser::Load(text.data(), static_cast<unsigned int>(text.size())));
    SetBytes(state, text.size());
}

void LoadWide(benchmark::State & state)
{
    std::wstring const & text = WideDocument(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state)
        benchmark::DoNotOptimize(qvlib::XmlParser::Load(text));
    SetBytes(state, text.size());
}

void LoadHandExpat(benchmark::State & state)
{
    std::size_t const size = static_cast<std::size_t>(state.range(0));
    std::string const & text = Document(size);
    RequireEqual(LoadByHandOverExpat(text), size);
    for (auto _ : state)
        benchmark::DoNotOptimize(LoadByHandOverExpat(text));
    SetBytes(state, text.size());
}

void WalkExpat(benchmark::State & state)
{
    std::string const & text = Document(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state)
    {
        std::size_t count = 0;
        XML_Parser const parser = XML_ParserCreate(nullptr);
        XML_SetUserData(parser, &count);
        XML_SetElementHandler(
            parser, [](void * c, char const *, char const **) { ++*static_cast<std::size_t *>(c); },
            [](void *, char const *) {});
        XML_SetCharacterDataHandler(parser, [](void *, char const *, int) {});
        XML_Parse(parser, text.data(), static_cast<int>(text.size()), 1);
        XML_ParserFree(parser);
        benchmark::DoNotOptimize(count);
    }
    SetBytes(state, text.size());
}

#ifdef QVLIB_PEER_LIBXML2
void LoadLibxml2Tree(benchmark::State & state)
{
    std::string const & text = Document(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state)
    {
        xmlDocPtr const document = xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr,
                                                 XML_PARSE_NOBLANKS | XML_PARSE_HUGE);
        benchmark::DoNotOptimize(document);
        xmlFreeDoc(document);
    }
    SetBytes(state, text.size());
}

void WalkLibxml2Reader(benchmark::State & state)
{
    std::string const & text = Document(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state)
    {
        xmlTextReaderPtr const reader =
            xmlReaderForMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr, XML_PARSE_HUGE);
        std::size_t count = 0;
        while (xmlTextReaderRead(reader) == 1)
            count += static_cast<std::size_t>(xmlTextReaderNodeType(reader));
        benchmark::DoNotOptimize(count);
        xmlFreeTextReader(reader);
    }
    SetBytes(state, text.size());
}

std::shared_ptr<XmlElement> LoadOverLibxml2Reader(std::string const & text)
{
    Hand hand;
    xmlTextReaderPtr const reader =
        xmlReaderForMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr, XML_PARSE_HUGE);
    auto const narrow = [](xmlChar const * t) { return reinterpret_cast<char const *>(t); };
    while (xmlTextReaderRead(reader) == 1)
    {
        switch (xmlTextReaderNodeType(reader))
        {
        case XML_READER_TYPE_ELEMENT:
        {
            hand.Start(narrow(xmlTextReaderConstName(reader)));
            bool const empty = xmlTextReaderIsEmptyElement(reader) == 1;
            while (xmlTextReaderMoveToNextAttribute(reader) == 1)
                hand.Attribute(narrow(xmlTextReaderConstLocalName(reader)), narrow(xmlTextReaderConstValue(reader)));
            if (empty)
                hand.End();
            break;
        }
        case XML_READER_TYPE_TEXT:
        case XML_READER_TYPE_CDATA:
        {
            char const * const value = narrow(xmlTextReaderConstValue(reader));
            hand.Text(value, std::strlen(value));
            break;
        }
        case XML_READER_TYPE_END_ELEMENT:
            hand.End();
            break;
        default:
            break;
        }
    }
    xmlFreeTextReader(reader);
    return hand.root;
}

void LoadLibxml2Reader(benchmark::State & state)
{
    std::size_t const size = static_cast<std::size_t>(state.range(0));
    std::string const & text = Document(size);
    RequireEqual(LoadOverLibxml2Reader(text), size);
    for (auto _ : state)
        benchmark::DoNotOptimize(LoadOverLibxml2Reader(text));
    SetBytes(state, text.size());
}
#endif

#ifdef QVLIB_PEER_PUGIXML
void LoadPugixml(benchmark::State & state)
{
    std::string const & text = Document(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state)
    {
        pugi::xml_document document;
        benchmark::DoNotOptimize(document.load_buffer(text.data(), text.size()));
    }
    SetBytes(state, text.size());
}
#endif

#ifdef QVLIB_PEER_TINYXML2
void LoadTinyxml2(benchmark::State & state)
{
    std::string const & text = Document(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state)
    {
        tinyxml2::XMLDocument document;
        benchmark::DoNotOptimize(document.Parse(text.data(), text.size()));
    }
    SetBytes(state, text.size());
}
#endif

// ---- writes

void Escape(std::wstring & out, std::wstring const & text, bool attribute)
{
    for (wchar_t const c : text)
    {
        switch (c)
        {
        case L'<':
            out += L"&lt;";
            break;
        case L'>':
            out += L"&gt;";
            break;
        case L'&':
            out += L"&amp;";
            break;
        case L'"':
            if (attribute)
                out += L"&quot;";
            else
                out += c;
            break;
        case L'\r':
            out += L"&#xD;";
            break;
        case L'\n':
        case L'\t':
            if (attribute)
                out += c == L'\n' ? L"&#xA;" : L"&#x9;";
            else
                out += c;
            break;
        default:
            out += c;
        }
    }
}

void WriteByHand(std::wstring & out, XmlElement const & element)
{
    out += L'<';
    out += element.Name();
    if (element.HasAttributes())
    {
        for (auto const & [name, value] : *element.Attributes())
        {
            out += L' ';
            out += name;
            out += L"=\"";
            Escape(out, value, true);
            out += L'"';
        }
    }
    if (!element.ContainsChildren() && element.Value().empty())
    {
        out += L" />";
        return;
    }
    out += L'>';
    if (element.ContainsChildren())
    {
        for (auto const & child : *element.Children())
            WriteByHand(out, *child);
    }
    else
    {
        Escape(out, element.Value(), false);
    }
    out += L"</";
    out += element.Name();
    out += L'>';
}

void WriteQvlib(benchmark::State & state)
{
    auto const & tree = Tree(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state)
        benchmark::DoNotOptimize(qvlib::XmlWriter::Write(tree));
    SetBytes(state, static_cast<std::size_t>(state.range(0)));
}

void WriteHand(benchmark::State & state)
{
    auto const & tree = Tree(static_cast<std::size_t>(state.range(0)));
    std::wstring wanted;
    WriteByHand(wanted, *tree);
    if (wanted != qvlib::XmlWriter::Write(tree))
        std::abort();
    for (auto _ : state)
    {
        std::wstring out;
        WriteByHand(out, *tree);
        benchmark::DoNotOptimize(out);
    }
    SetBytes(state, static_cast<std::size_t>(state.range(0)));
}

#ifdef QVLIB_PEER_LIBXML2
// The same tree through libxml2's writer: its texts are UTF-8 and must be made from the wide ones.
void WriteOver(xmlTextWriterPtr writer, XmlElement const & element)
{
    auto const bytes = [](std::string const & t) { return reinterpret_cast<xmlChar const *>(t.c_str()); };
    xmlTextWriterStartElement(writer, bytes(qvlib::host::ToUtf8(element.Name())));
    if (element.HasAttributes())
    {
        for (auto const & [name, value] : *element.Attributes())
            xmlTextWriterWriteAttribute(writer, bytes(qvlib::host::ToUtf8(name)), bytes(qvlib::host::ToUtf8(value)));
    }
    if (element.ContainsChildren())
    {
        for (auto const & child : *element.Children())
            WriteOver(writer, *child);
    }
    else if (!element.Value().empty())
    {
        xmlTextWriterWriteString(writer, bytes(qvlib::host::ToUtf8(element.Value())));
    }
    xmlTextWriterEndElement(writer);
}

void WriteLibxml2Writer(benchmark::State & state)
{
    auto const & tree = Tree(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state)
    {
        xmlBufferPtr const buffer = xmlBufferCreate();
        xmlTextWriterPtr const writer = xmlNewTextWriterMemory(buffer, 0);
        WriteOver(writer, *tree);
        xmlTextWriterFlush(writer);
        xmlFreeTextWriter(writer);
        benchmark::DoNotOptimize(xmlBufferContent(buffer));
        xmlBufferFree(buffer);
    }
    SetBytes(state, static_cast<std::size_t>(state.range(0)));
}

void DumpLibxml2Tree(benchmark::State & state)
{
    std::string const & text = Document(static_cast<std::size_t>(state.range(0)));
    xmlDocPtr const document = xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr,
                                             XML_PARSE_NOBLANKS | XML_PARSE_HUGE);
    for (auto _ : state)
    {
        xmlChar * bytes = nullptr;
        int length = 0;
        xmlDocDumpMemory(document, &bytes, &length);
        benchmark::DoNotOptimize(bytes);
        xmlFree(bytes);
    }
    xmlFreeDoc(document);
    SetBytes(state, static_cast<std::size_t>(state.range(0)));
}
#endif

#ifdef QVLIB_PEER_PUGIXML
void WritePugixml(benchmark::State & state)
{
    struct Text : pugi::xml_writer
    {
        std::string text;
        void write(void const * data, std::size_t size) override { text.append(static_cast<char const *>(data), size); }
    };
    std::string const & text = Document(static_cast<std::size_t>(state.range(0)));
    pugi::xml_document document;
    document.load_buffer(text.data(), text.size());
    for (auto _ : state)
    {
        Text out;
        document.save(out, "", pugi::format_raw);
        benchmark::DoNotOptimize(out.text);
    }
    SetBytes(state, static_cast<std::size_t>(state.range(0)));
}
#endif

#ifdef QVLIB_PEER_TINYXML2
void WriteTinyxml2(benchmark::State & state)
{
    std::string const & text = Document(static_cast<std::size_t>(state.range(0)));
    tinyxml2::XMLDocument document;
    document.Parse(text.data(), text.size());
    for (auto _ : state)
    {
        tinyxml2::XMLPrinter out(nullptr, true);
        document.Print(&out);
        benchmark::DoNotOptimize(out.CStr());
    }
    SetBytes(state, static_cast<std::size_t>(state.range(0)));
}
#endif

void Register(char const * name, void (*work)(benchmark::State &))
{
    auto * const registered = benchmark::RegisterBenchmark(name, work)->Unit(benchmark::kMicrosecond);
    for (std::size_t const size : kSizes)
        registered->Arg(static_cast<std::int64_t>(size));
}

} // namespace

int main(int argc, char ** argv)
{
    Register("xml_load/qvlib", LoadNarrow);
    Register("xml_load/qvlib_wide", LoadWide);
    Register("xml_load/hand_over_expat", LoadHandExpat);
    Register("xml_load/expat_walk", WalkExpat);
    Register("xml_write/qvlib", WriteQvlib);
    Register("xml_write/hand", WriteHand);
#ifdef QVLIB_PEER_LIBXML2
    Register("xml_load/same_tree_over_libxml2_reader", LoadLibxml2Reader);
    Register("xml_load/libxml2_tree", LoadLibxml2Tree);
    Register("xml_load/libxml2_reader_walk", WalkLibxml2Reader);
    Register("xml_write/libxml2_writer", WriteLibxml2Writer);
    Register("xml_write/libxml2_dump", DumpLibxml2Tree);
#endif
#ifdef QVLIB_PEER_PUGIXML
    Register("xml_load/pugixml", LoadPugixml);
    Register("xml_write/pugixml", WritePugixml);
#endif
#ifdef QVLIB_PEER_TINYXML2
    Register("xml_load/tinyxml2", LoadTinyxml2);
    Register("xml_write/tinyxml2", WriteTinyxml2);
#endif
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}

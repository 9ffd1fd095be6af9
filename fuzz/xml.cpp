// Any bytes as a document. Whether it loads, and what comes of it, does not depend on the way: in one piece or cut, by
// events or by nodes, from bytes or from wide text. What loads is written and reads back equal, wide and narrow.
#include "qvlib/StringStream.h"
#include "qvlib/XmlElement.h"
#include "qvlib/XmlParser.h"
#include "qvlib/XmlWriter.h"
#include "tests/support/piece_stream.h"

#include "qvlib/host/utf8.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

namespace
{

using qvlib::XmlElement;
using qvlib::XmlParser;
using Tree = std::shared_ptr<XmlElement>;

void Require(bool holds)
{
    if (!holds)
        std::abort();
}

bool Same(Tree const & a, Tree const & b) { return a && b ? *a == *b : !a && !b; }

template <class Work>
Tree Attempt(Work work)
{
    try
    {
        return work();
    }
    catch (qvlib::ParserException const &)
    {
        return nullptr;
    }
}

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
    Tree root;
};

Tree Walk(IStream * stream)
{
    return Attempt(
        [&]
        {
            Walker walker(stream);
            walker.Parse();
            return walker.root;
        });
}

// Whether the writer takes the tree and loses nothing of it: it refuses names with a colon and an "xmlns" with a
// reserved value, and a text of blanks alone reads back as none.
bool Writable(XmlElement const & element)
{
    if (element.Name().find(L':') != std::wstring::npos)
        return false;
    if (!element.Value().empty() && element.Value().find_first_not_of(L" \t\n") == std::wstring::npos)
        return false;
    std::wstring const * uri = nullptr;
    if (element.FindAttribute(L"xmlns", uri) && uri->find(L"http://www.w3.org/") == 0)
        return false;
    if (element.Children())
    {
        for (Tree const & child : *element.Children())
        {
            if (!Writable(*child))
                return false;
        }
    }
    return true;
}

Tree LoadBytes(std::string const & bytes)
{
    // A block of just the size, so that a read past its end shows.
    std::unique_ptr<char[]> const block(new char[bytes.size()]);
    bytes.copy(block.get(), bytes.size());
    return Attempt([&] { return XmlParser::Load(block.get(), static_cast<unsigned int>(bytes.size())); });
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size)
{
    if (size == 0)
        return 0;
    std::size_t const piece = data[0] % 16 + std::size_t{1};
    std::string const bytes(reinterpret_cast<char const *>(data) + 1, size - 1);

    Tree const tree = LoadBytes(bytes);
    bool const marked = bytes.compare(0, 3, "\xEF\xBB\xBF") == 0;
    qvlib_test::PieceStream stream(marked ? bytes.substr(3) : bytes, piece);
    Require(Same(Walk(&stream), tree));

    std::wstring const wide = qvlib::host::FromUtf8(bytes);
    qvlib::StringStream units(wide);
    Require(Same(Attempt([&] { return XmlParser::Load(wide); }), Walk(&units)));

    if (tree && Writable(*tree))
    {
        std::wstring const written = qvlib::XmlWriter::Write(tree);
        Require(Same(XmlParser::Load(written), tree));
        Require(Same(LoadBytes(qvlib::host::ToUtf8(written)), tree));
        qvlib::XmlWriter bySteps;
        bySteps.SetEncoding(L"utf-16le");
        Require(bySteps.WriteElement(tree) == written);
    }
    return 0;
}

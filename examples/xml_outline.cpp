// The outline of an XML file: its elements by depth with their attributes, without a tree being built.
//
//     xml_outline [file]

#include "example.h"

#include <qvlib/Exceptions.h>
#include <qvlib/SimpleXmlParser.h>

#include <string>

namespace
{

class Outline : public qvlib::CSimpleXmlParser
{
public:
    explicit Outline(IStream * stream) : CSimpleXmlParser(stream) {}

private:
    void ParseDocument() override
    {
        std::size_t depth = 0;
        std::size_t elements = 0;
        // The end of input is a node like the others; an element without content has no end tag.
        for (auto node = GetNextElement(); node->type != XmlNodeType_None; node = GetNextElement())
        {
            if (node->type == XmlNodeType_EndElement)
            {
                --depth;
                continue;
            }
            ++elements;
            std::cout << std::string(2 * depth, ' ') << Utf8(node->name);
            auto const & attributes = *node->attributes; // never null for a start tag
            for (auto const * at = attributes.PGetFirstAssoc(); at != nullptr; at = attributes.PGetNextAssoc(at))
                std::cout << ' ' << Utf8(at->value->name) << '=' << Utf8(at->value->value);
            std::cout << '\n';
            depth += node->hasContent ? 1U : 0U;
        }
        std::cout << elements << " elements\n";
    }

    /// Identifiers only matter to programs: they are not even read.
    bool SkipAttribute(qvlib::CQVString const & name) override { return name == L"Id"; }
};

} // namespace

int main(int argc, char ** argv)
{
    std::ifstream file(argc > 1 ? argv[1] : EXAMPLE_METADATA "/Shipment.xml", std::ios::binary);
    std::string const text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    _com_ptr_t<IStream> const stream(
        SHCreateMemStream(reinterpret_cast<BYTE const *>(text.data()), static_cast<UINT>(text.size())), false);
    try
    {
        Outline(stream).Parse();
    }
    catch (qvlib::unexpected_error const & failure)
    {
        std::cerr << "xml_outline: " << failure.what() << '\n';
        return 1;
    }
    return 0;
}

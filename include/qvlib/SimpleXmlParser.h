// CSimpleXmlParser: the base of parsers that look at an XML document node by node and keep what they want.
//
// It builds no tree (XmlParser does). A subclass overrides ParseDocument and asks for one small record after another;
// two filters, SkipNode and SkipAttribute, keep records and attributes from being made at all.
//
//     class Titles : public qvlib::CSimpleXmlParser
//     {
//     public:
//         explicit Titles(IStream * stream) : CSimpleXmlParser(stream) {}
//         std::vector<qvlib::CQVString> found;
//
//     private:
//         void ParseDocument() override
//         {
//             for (auto node = GetNextElement(); node->type != XmlNodeType_None; node = GetNextElement())
//                 if (auto const * title = node->attributes ? node->attributes->PLookup(L"title") : nullptr)
//                     found.push_back(title->value->value);
//         }
//     };
//     Titles titles(stream);
//     titles.Parse();
//
// What a reader may not expect:
//  - The end of input is a node of type XmlNodeType_None, never a null pointer.
//  - Records hold no text: text nodes come with an empty name, and their content is not to be had here.
//  - A start tag without attributes has an empty table; an end tag has none. Of two attributes whose names differ by
//    their prefix alone the later stays. XmlParser does the opposite in both.
#pragma once

#include "qvlib/QVString.h"
#include "qvlib/export.h"
#include "qvlib/framework/comutil.h"
#include "qvlib/framework/map.h"
#include "qvlib/host/xml.h"

#include <memory>
#include <string>

namespace qvlib
{

/// A parser is used once and is thread-compatible. A copy shares the reader and its position. Failures are
/// unexpected_error with a text that ends in the reader's code, in eight hexadecimal digits.
class QVLIB_API CSimpleXmlParser
{
public:
    struct XmlAttribute
    {
        CQVString name; ///< without its prefix
        CQVString value;
    };

    /// Attributes by name.
    using AttributeTable =
        CMap<CQVString, wchar_t const *, std::shared_ptr<XmlAttribute>, std::shared_ptr<XmlAttribute>>;

    struct XmlNode
    {
        CQVString name; ///< with its prefix, as written
        XmlNodeType type = XmlNodeType_None;
        std::shared_ptr<AttributeTable> attributes; ///< null for an end tag and at the end of input
        /// For a start tag: content and an end tag follow. False for an end tag and at the end of input.
        bool hasContent = false;
    };

    virtual ~CSimpleXmlParser();
    CSimpleXmlParser(CSimpleXmlParser const &);
    CSimpleXmlParser & operator=(CSimpleXmlParser const &);

    /// Sets the reader up and runs ParseDocument. Throws unexpected_error.
    void Parse();

protected:
    /// Stands in for a name or a value of no length.
    static CQVString const NullString;

    /// A parser of the stream, which is shared. Null is reported by the first read.
    explicit CSimpleXmlParser(IStream * stream);

    /// The walk over the document.
    virtual void ParseDocument() = 0;
    /// True drops nodes of the type. By default comments, white space and the declaration are dropped.
    virtual bool SkipNode(XmlNodeType type);
    /// True drops the attribute of that local name; its value is not read then. By default none is dropped.
    virtual bool SkipAttribute(CQVString const & name);

    /// The next node that is not skipped, never null; behind the last one a node of type XmlNodeType_None, each time.
    std::shared_ptr<XmlNode> GetNextNode();
    /// The same, passing over all but start tags, end tags and the end of input.
    std::shared_ptr<XmlNode> GetNextElement();

    /// `format`, in the `printf` manner, with the code in it as an unsigned 32-bit quantity (%lx), as UTF-8.
    std::string FormatHRESULTMessage(CQVString const & format, long hr) const;

private:
    std::shared_ptr<AttributeTable> ParseAttributes();
    void Initialize();
    [[noreturn]] void Fail(CQVString const & format, HRESULT hr) const;

    _com_ptr_t<IStream> m_stream;
    _com_ptr_t<IXmlReader> m_reader;
};

} // namespace qvlib

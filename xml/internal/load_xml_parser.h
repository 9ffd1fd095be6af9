// The parser behind XmlParser::Load.
#pragma once

#include "host/internal/xml_views.h"
#include "qvlib/XmlElement.h"
#include "qvlib/XmlParser.h"

#include <cstddef>
#include <memory>
#include <string_view>
#include <vector>

namespace qvlib
{

/// Lives on the stack of a Load. Over the library's own reader it builds the tree from views of the nodes; over any
/// other it walks by the operations of its base. Both ways give the same tree and the same failures.
class LoadXmlParser : public XmlParser
{
public:
    explicit LoadXmlParser(IStream * stream) : XmlParser(stream) {}
    ~LoadXmlParser() override;

    static std::shared_ptr<XmlElement> LoadStream(IStream * stream);
    static std::shared_ptr<XmlElement> LoadBytes(char const * data, std::size_t length);
    static std::shared_ptr<XmlElement> LoadWideText(wchar_t const * data, std::size_t length);

    void ParseDocument() override;
    /// The walk by the operations of the base.
    void WalkDocument();

private:
    void BuildDocument();
    void Step();
    void SkipTrivial();
    std::shared_ptr<XmlElement> BuildElement(bool & hasChildren);
    void BuildChildren(XmlElement & parent);
    void SkipEndTag(std::wstring const & name);

    std::shared_ptr<XmlElement> m_root;

    // Of the walk by views.
    _com_ptr_t<host::IXmlViewReader> m_views;
    host::XmlNodeView m_node;
    bool m_atEnd = false;
    std::vector<std::shared_ptr<XmlElement>> m_children; // of every element that is open, the innermost last
};

} // namespace qvlib

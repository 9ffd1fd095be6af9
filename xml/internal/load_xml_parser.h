// The parser behind XmlParser::Load.
#pragma once

#include "host/internal/xml_events.h"
#include "qvlib/XmlElement.h"
#include "qvlib/XmlParser.h"

#include <cstddef>
#include <memory>

namespace qvlib
{

/// Lives on the stack of a Load. Over the library's own reader it builds the tree from events; over any other it walks
/// by the operations of its base. Both ways give the same tree and the same failures.
class LoadXmlParser : public XmlParser
{
public:
    explicit LoadXmlParser(IStream * stream) : XmlParser(stream) {}
    ~LoadXmlParser() override;

    static std::shared_ptr<XmlElement> LoadStream(IStream * stream);
    static std::shared_ptr<XmlElement> LoadBytes(char const * data, std::size_t length);
    static std::shared_ptr<XmlElement> LoadWideText(wchar_t const * data, std::size_t length);

    void ParseDocument() override;

private:
    void WalkDocument();
    void BuildDocument(host::IXmlEventReader & events);

    std::shared_ptr<XmlElement> m_root;
};

} // namespace qvlib

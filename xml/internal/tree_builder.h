// Builds a tree from the events of a document: step for step what the walk of XmlParser does with the nodes.
#pragma once

#include "host/internal/xml_events.h"
#include "qvlib/XmlElement.h"

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace qvlib
{

class TreeBuilder final : public host::XmlSink
{
public:
    void Start(char const * name, char const * const * attributes, unsigned int depth) override;
    void End(char const * name, unsigned int depth) override;
    void Text(char const * text, std::size_t length, bool blank) override;
    void StartCData() override;
    void EndCData() override;
    void Other() override;

    /// The tree, when the document has ended or the builder is done.
    std::shared_ptr<XmlElement> Finish();

private:
    // Where the walk stands.
    enum class State
    {
        beforeRoot,
        inElement,    // behind the start tag of m_current, where its text may come
        betweenNodes, // behind an element, within the innermost of m_open
        behindRoot,   // the walk wants to see one node more
        inLastText    // that node is a text, which must come to its end
    };
    struct OpenElement
    {
        XmlElement * element;
        std::size_t firstChild; // in m_children
        unsigned int depth;
    };

    void Enter(char const * name, char const * const * attributes, unsigned int depth);
    void EndRun();
    void EndCurrent();
    void CloseInnermost();

    State m_state = State::beforeRoot;
    std::shared_ptr<XmlElement> m_root;
    XmlElement * m_current = nullptr;
    unsigned int m_currentDepth = 0;
    std::vector<OpenElement> m_open;
    std::vector<std::shared_ptr<XmlElement>> m_children; // of every open element, the innermost's last

    std::string m_text;         // of m_current
    std::size_t m_runBegin = 0; // where the run of text that goes on begins in it
    bool m_runHasText = false;  // that run is more than white space
    bool m_hasText = false;     // m_current has had a text or CDATA node
};

} // namespace qvlib

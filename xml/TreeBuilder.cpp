#include "xml/internal/tree_builder.h"

#include "qvlib/host/utf8.h"
#include "xml/internal/xml_element_access.h"

#include <cstdint>
#include <cstring>
#include <iterator>
#include <utility>

namespace qvlib
{

namespace
{

bool IsAscii(char const * text, std::size_t length) noexcept
{
    std::uint64_t high = 0;
    for (; length >= 8; length -= 8, text += 8)
    {
        std::uint64_t word;
        std::memcpy(&word, text, 8);
        high |= word;
    }
    for (; length > 0; --length, ++text)
        high |= static_cast<std::uint64_t>(static_cast<unsigned char>(*text));
    return (high & 0x8080808080808080U) == 0;
}

std::wstring Wide(std::string_view utf8)
{
    if (IsAscii(utf8.data(), utf8.size()))
    {
        unsigned char const * const text = reinterpret_cast<unsigned char const *>(utf8.data());
        return std::wstring(text, text + utf8.size());
    }
    return host::FromUtf8(utf8);
}

} // namespace

void TreeBuilder::Start(char const * name, char const * const * attributes, unsigned int depth)
{
    switch (m_state)
    {
    case State::beforeRoot:
    case State::betweenNodes:
        break;
    case State::inElement:
        EndRun();
        if (!m_hasText)
        {
            m_open.push_back({m_current, m_children.size(), m_currentDepth});
            break;
        }
        // Text makes a leaf, and the child becomes its sibling; behind a root there is no place for one.
        EndCurrent();
        if (m_open.empty())
            return SetDone();
        break;
    case State::behindRoot:
    case State::inLastText:
        return SetDone();
    }
    Enter(name, attributes, depth);
    m_state = State::inElement;
}

void TreeBuilder::Enter(char const * name, char const * const * attributes, unsigned int depth)
{
    std::shared_ptr<XmlElement::AttributeMap> map;
    if (*attributes)
    {
        map = std::make_shared<XmlElement::AttributeMap>();
        for (; *attributes; attributes += 2)
        {
            char const * const colon = std::strchr(attributes[0], ':');
            map->try_emplace(map->end(), Wide(colon ? colon + 1 : attributes[0]), Wide(attributes[1]));
        }
    }
    auto element = std::make_shared<XmlElement>(Wide(name), std::wstring(), std::move(map), true);
    m_current = element.get();
    m_currentDepth = depth;
    if (m_state == State::beforeRoot)
        m_root = std::move(element);
    else
        m_children.push_back(std::move(element));
    m_text.clear();
    m_runBegin = 0;
    m_runHasText = false;
    m_hasText = false;
}

void TreeBuilder::End(char const * name, unsigned int depth)
{
    switch (m_state)
    {
    case State::inElement:
        EndRun();
        EndCurrent();
        m_state = m_open.empty() ? State::behindRoot : State::betweenNodes;
        return;
    case State::betweenNodes:
        // The end tag ends the walk of the innermost element, and if it is not that element's own, of the next too.
        while (!m_open.empty())
        {
            OpenElement const innermost = m_open.back();
            CloseInnermost();
            if (innermost.depth == depth || Wide(name) == innermost.element->Name())
            {
                m_state = m_open.empty() ? State::behindRoot : State::betweenNodes;
                return;
            }
        }
        return SetDone();
    case State::beforeRoot:
    case State::behindRoot:
    case State::inLastText:
        return SetDone();
    }
}

void TreeBuilder::Text(char const * text, std::size_t length, bool blank)
{
    if (m_state == State::inElement)
    {
        m_text.append(text, length);
        m_runHasText = m_runHasText || !blank;
    }
    else if (m_state == State::behindRoot)
    {
        m_state = State::inLastText;
    }
}

void TreeBuilder::StartCData()
{
    if (m_state == State::inElement)
    {
        EndRun();
        m_runHasText = true;
    }
    else if (m_state == State::inLastText)
    {
        SetDone();
    }
    else if (m_state == State::behindRoot)
    {
        m_state = State::inLastText;
    }
}

void TreeBuilder::EndCData()
{
    if (m_state == State::inElement)
        EndRun();
    else if (m_state == State::inLastText)
        SetDone();
}

void TreeBuilder::Other()
{
    if (m_state == State::inElement)
        EndRun();
    else if (m_state == State::behindRoot || m_state == State::inLastText)
        SetDone();
}

// White space that is nothing but white space, from markup to markup, is not text.
void TreeBuilder::EndRun()
{
    if (m_runHasText)
        m_hasText = true;
    else
        m_text.resize(m_runBegin);
    m_runBegin = m_text.size();
    m_runHasText = false;
}

void TreeBuilder::EndCurrent()
{
    XmlElementAccess::HasChildren(*m_current) = false;
    if (!m_text.empty())
        XmlElementAccess::Value(*m_current) = Wide(m_text);
}

// The list of children comes to be in one piece, of just its size.
void TreeBuilder::CloseInnermost()
{
    OpenElement const & innermost = m_open.back();
    auto const begin = m_children.begin() + static_cast<std::ptrdiff_t>(innermost.firstChild);
    XmlElementAccess::Children(*innermost.element) = std::make_shared<XmlElement::ElementList>(
        std::make_move_iterator(begin), std::make_move_iterator(m_children.end()));
    m_children.erase(begin, m_children.end());
    m_open.pop_back();
}

std::shared_ptr<XmlElement> TreeBuilder::Finish()
{
    while (!m_open.empty())
        CloseInnermost();
    return std::move(m_root);
}

} // namespace qvlib

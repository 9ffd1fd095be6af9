#include "qvlib/XmlElement.h"

#include <cwchar>
#include <new>
#include <string_view>

namespace qvlib
{

namespace
{

// Up to this many attributes a walk along the map beats making a key for its search.
constexpr std::size_t kWalkedAttributes = 12;

// Destructors nest this deep before the lists below wait for their turn.
constexpr unsigned int kNestedDestructors = 200;

struct PendingLists
{
    unsigned int depth = 0;
    std::vector<std::shared_ptr<XmlElement::ElementList>> * waiting = nullptr;
};

thread_local constinit PendingLists t_pending;

} // namespace

bool XmlElement::HasAttribute(std::wstring const & name) const
{
    return m_attributes && m_attributes->find(name) != m_attributes->end();
}

bool XmlElement::FindAttribute(wchar_t const * key, std::wstring const *& out) const
{
    if (!m_attributes)
        return false;
    if (m_attributes->size() <= kWalkedAttributes)
    {
        std::wstring_view const wanted(key);
        for (auto const & [name, value] : *m_attributes)
        {
            if (name == wanted)
            {
                out = &value;
                return true;
            }
        }
        return false;
    }
    auto const found = m_attributes->find(key);
    if (found == m_attributes->end())
        return false;
    out = &found->second;
    return true;
}

void XmlElement::AddChild(std::shared_ptr<XmlElement> child)
{
    if (!m_children)
        m_children = std::make_shared<ElementList>();
    m_children->push_back(std::move(child));
}

void XmlElement::FindElements(std::wstring const & path, std::vector<std::shared_ptr<XmlElement>> & out) const
{
    // One level a step of the path: the call depth would be the caller's to choose.
    struct Level
    {
        ElementList const * children;
        std::size_t next;
        std::size_t end; // `out` may be one of the lists: what is appended is not looked at again
        std::wstring_view rest;
    };
    if (!m_children)
        return;
    std::vector<Level> levels;
    levels.push_back({m_children.get(), 0, m_children->size(), path});
    while (!levels.empty())
    {
        Level & level = levels.back();
        std::wstring_view const rest = level.rest;
        std::size_t const end = rest.find(m_separator);
        std::wstring_view const head = rest.substr(0, end);
        ElementList const & children = *level.children;
        std::size_t i = level.next;
        ElementList const * below = nullptr;
        for (; i < level.end && !below; ++i)
        {
            XmlElement const * child = children[i].get();
            if (!child || child->m_name != head)
                continue;
            if (end == std::wstring_view::npos)
                out.push_back(children[i]);
            else
                below = child->m_children.get();
        }
        level.next = i;
        if (below)
            levels.push_back({below, 0, below->size(), rest.substr(end + 1)});
        else
            levels.pop_back();
    }
}

std::shared_ptr<XmlElement> XmlElement::FindFirst(std::wstring const & path) const
{
    std::vector<std::shared_ptr<XmlElement>> found;
    FindElements(path, found);
    return found.empty() ? nullptr : std::move(found.front());
}

bool XmlElement::operator==(XmlElement const & other) const
{
    struct Pair
    {
        ElementList const * left;
        ElementList const * right;
        std::size_t next;
    };
    // Everything but the children.
    auto const alike = [](XmlElement const & a, XmlElement const & b)
    {
        return a.m_hasChildren == b.m_hasChildren && a.m_separator == b.m_separator && a.m_name == b.m_name &&
               a.m_value == b.m_value &&
               (a.m_attributes == b.m_attributes ||
                (a.m_attributes && b.m_attributes && *a.m_attributes == *b.m_attributes));
    };
    std::vector<Pair> open;
    // Compares the two, leaving children that need a look on the stack.
    auto const enter = [&](XmlElement const & a, XmlElement const & b)
    {
        if (!alike(a, b))
            return false;
        if (a.m_children == b.m_children)
            return true;
        if (!a.m_children || !b.m_children || a.m_children->size() != b.m_children->size())
            return false;
        if (!a.m_children->empty())
            open.push_back({a.m_children.get(), b.m_children.get(), 0});
        return true;
    };
    if (!enter(*this, other))
        return false;
    while (!open.empty())
    {
        Pair & top = open.back();
        if (top.next == top.left->size())
        {
            open.pop_back();
            continue;
        }
        XmlElement const * a = (*top.left)[top.next].get();
        XmlElement const * b = (*top.right)[top.next].get();
        ++top.next;
        if (a == b)
            continue;
        if (!a || !b || !enter(*a, *b))
            return false;
    }
    return true;
}

// Children go down with their parent by plain recursion, which is the fast way, until the tree is deeper than any
// document: below that, lists wait until the stack is short again.
void XmlElement::DropChildren() noexcept
{
    PendingLists & pending = t_pending;
    if (pending.depth == kNestedDestructors)
    {
        try
        {
            if (!pending.waiting)
                pending.waiting = new std::vector<std::shared_ptr<ElementList>>;
            pending.waiting->push_back(std::move(m_children));
            return;
        }
        catch (std::bad_alloc const &)
        {
            // Nothing left to note the list in: recursion is the only way to free it.
            m_children.reset();
            return;
        }
    }
    ++pending.depth;
    m_children.reset();
    if (pending.depth == 1 && pending.waiting)
    {
        while (!pending.waiting->empty())
        {
            std::shared_ptr<ElementList> const next = std::move(pending.waiting->back());
            pending.waiting->pop_back();
        }
        delete pending.waiting;
        pending.waiting = nullptr;
    }
    --pending.depth;
}

} // namespace qvlib

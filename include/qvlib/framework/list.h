// CList and CStringList: the framework's doubly linked lists.
//
// A POSITION names one element and holds until that element is removed, whatever happens to the others.
//
//     CStringList list;
//     list.AddTail(L"one");
//     for (POSITION at = list.GetHeadPosition(); at != nullptr;)
//         Use(list.GetNext(at)); // gives the element, then moves on
//
// A null POSITION, or an end of an empty list, throws CInvalidArgException. Lists can not be copied. Objects are
// thread-compatible.
#pragma once

#include <utility>

#include "qvlib/framework/exceptions.h"
#include "qvlib/host/types.h"

template <class T, class Arg = T const &>
class CList
{
public:
    /// `blockSize` is accepted for the framework's sake and has no effect.
    explicit CList([[maybe_unused]] INT_PTR blockSize = 10) noexcept {}
    CList(CList const &) = delete;
    CList & operator=(CList const &) = delete;
    ~CList() { RemoveAll(); }

    INT_PTR GetCount() const noexcept { return m_count; }
    INT_PTR GetSize() const noexcept { return m_count; }
    bool IsEmpty() const noexcept { return m_count == 0; }

    T & GetHead() { return At(m_head)->value; }
    T const & GetHead() const { return At(m_head)->value; }
    T & GetTail() { return At(m_tail)->value; }
    T const & GetTail() const { return At(m_tail)->value; }
    T RemoveHead() { return Extract(At(m_head)); }
    T RemoveTail() { return Extract(At(m_tail)); }
    POSITION AddHead(Arg value) { return Link(new Node{value, nullptr, nullptr}, m_head); }
    POSITION AddTail(Arg value) { return Link(new Node{value, nullptr, nullptr}, nullptr); }
    /// Adds all elements of another list, in their order. Nothing is added when one cannot be.
    void AddHead(CList const * other)
    {
        CList copy;
        copy.AddTail(other);
        copy.AddTailOf(*this);
        Swap(copy);
    }
    void AddTail(CList const * other)
    {
        if (other == nullptr)
            AfxThrowInvalidArgException();
        CList copy;
        for (Node const * node = other->m_head; node; node = node->next)
            copy.AddTail(static_cast<Arg>(const_cast<T &>(node->value)));
        AddTailOf(copy);
    }
    void RemoveAll() noexcept
    {
        while (Node * const node = m_head)
        {
            m_head = node->next;
            delete node;
        }
        m_tail = nullptr;
        m_count = 0;
    }

    /// Null when empty.
    POSITION GetHeadPosition() const noexcept { return AsPosition(m_head); }
    POSITION GetTailPosition() const noexcept { return AsPosition(m_tail); }
    /// The element at `position`, which then moves on, to null behind the last.
    T & GetNext(POSITION & position) { return Step(position, &Node::next)->value; }
    T const & GetNext(POSITION & position) const { return Step(position, &Node::next)->value; }
    T & GetPrev(POSITION & position) { return Step(position, &Node::prev)->value; }
    T const & GetPrev(POSITION & position) const { return Step(position, &Node::prev)->value; }
    T & GetAt(POSITION position) { return At(AsNode(position))->value; }
    T const & GetAt(POSITION position) const { return At(AsNode(position))->value; }
    void SetAt(POSITION position, Arg value) { At(AsNode(position))->value = value; }
    void RemoveAt(POSITION position)
    {
        Node * const node = At(AsNode(position));
        Unlink(node);
        delete node;
    }
    POSITION InsertBefore(POSITION position, Arg value)
    {
        return position == nullptr ? AddHead(value) : Link(new Node{value, nullptr, nullptr}, AsNode(position));
    }
    POSITION InsertAfter(POSITION position, Arg value)
    {
        return position == nullptr ? AddTail(value) : Link(new Node{value, nullptr, nullptr}, AsNode(position)->next);
    }

    /// The first element equal to `value`, searched behind `after` (null: from the start); null when there is none.
    POSITION Find(Arg value, POSITION after = nullptr) const
    {
        for (Node * node = after ? AsNode(after)->next : m_head; node; node = node->next)
            if (node->value == value)
                return AsPosition(node);
        return nullptr;
    }
    /// The position of the element with that number, null outside the list.
    POSITION FindIndex(INT_PTR index) const noexcept
    {
        if (index < 0 || index >= m_count)
            return nullptr;
        Node * node = m_head;
        while (index-- > 0)
            node = node->next;
        return AsPosition(node);
    }

private:
    struct Node
    {
        T value;
        Node * next;
        Node * prev;
    };

    static Node * AsNode(POSITION position) noexcept { return reinterpret_cast<Node *>(position); }
    static POSITION AsPosition(Node * node) noexcept { return reinterpret_cast<POSITION>(node); }
    static Node * At(Node * node)
    {
        if (node == nullptr)
            AfxThrowInvalidArgException();
        return node;
    }
    static Node * Step(POSITION & position, Node * Node::*way)
    {
        Node * const node = At(AsNode(position));
        position = AsPosition(node->*way);
        return node;
    }
    // Puts a new node before `next`, at the end when that is null.
    POSITION Link(Node * node, Node * next) noexcept
    {
        node->next = next;
        node->prev = next ? next->prev : m_tail;
        (node->prev ? node->prev->next : m_head) = node;
        (next ? next->prev : m_tail) = node;
        ++m_count;
        return AsPosition(node);
    }
    void Unlink(Node * node) noexcept
    {
        (node->prev ? node->prev->next : m_head) = node->next;
        (node->next ? node->next->prev : m_tail) = node->prev;
        --m_count;
    }
    T Extract(Node * node)
    {
        T value(std::move(node->value));
        Unlink(node);
        delete node;
        return value;
    }
    // Moves all nodes of another list behind the last of this one.
    void AddTailOf(CList & other) noexcept
    {
        while (Node * const node = other.m_head)
        {
            other.Unlink(node);
            Link(node, nullptr);
        }
    }
    void Swap(CList & other) noexcept
    {
        std::swap(m_head, other.m_head);
        std::swap(m_tail, other.m_tail);
        std::swap(m_count, other.m_count);
    }

    Node * m_head = nullptr;
    Node * m_tail = nullptr;
    INT_PTR m_count = 0;
};

/// A list of texts.
class CStringList : public CList<CString>
{
public:
    using CList<CString>::CList;
};

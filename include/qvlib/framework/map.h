// CMap: the framework's hash map.
//
//     CMap<CString, LPCWSTR, int, int> ages;
//     ages[L"Ann"] = 41;
//     int age = 0;
//     if (ages.Lookup(L"Ann", age)) ...
//
// ArgKey and ArgValue are the types by which keys and values are handed over. HashKey<ArgKey> gives a key's hash and
// may be specialised, but for keys that are the framework's strings: the names in a document must not be able to meet
// in one slot on purpose, so a map has a hash of its own for them. Keys are compared with ==. The order of a walk is
// that in which the keys were added. A POSITION holds until its element is removed, and removing the element that a
// walk has just given does not disturb the walk. A null POSITION throws CInvalidArgException. Maps can not be copied.
// Objects are thread-compatible.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <type_traits>
#include <utility>

#include "qvlib/framework/exceptions.h"
#include "qvlib/framework/string.h"
#include "qvlib/host/types.h"

/// The hash of a key: of the characters for wide text, else what std::hash says.
template <class ArgKey>
UINT HashKey(ArgKey key)
{
    if constexpr (std::is_convertible_v<ArgKey, wchar_t const *>)
    {
        std::uint32_t hash = 2166136261U;
        wchar_t const * text = key;
        for (; text != nullptr && *text != 0; ++text)
            hash = (hash ^ static_cast<std::uint32_t>(*text)) * 16777619U;
        return hash;
    }
    else
    {
        std::uint64_t const hash = std::hash<std::remove_cv_t<std::remove_reference_t<ArgKey>>>{}(key);
        return static_cast<UINT>((hash * 0x9E3779B97F4A7C15ULL) >> 32); // numbers hash to themselves: spread them
    }
}

template <class Key, class ArgKey = Key const &, class Value = Key, class ArgValue = Value const &>
class CMap
{
public:
    /// One association.
    struct CPair
    {
        Key const key;
        Value value;
    };

    /// `blockSize` is accepted for the framework's sake and has no effect.
    explicit CMap([[maybe_unused]] INT_PTR blockSize = 10) noexcept {}
    CMap(CMap const &) = delete;
    CMap & operator=(CMap const &) = delete;
    ~CMap() { RemoveAll(); }

    INT_PTR GetCount() const noexcept { return static_cast<INT_PTR>(m_count); }
    INT_PTR GetSize() const noexcept { return GetCount(); }
    bool IsEmpty() const noexcept { return m_count == 0; }
    /// The size that the table begins with; it grows as it fills.
    UINT GetHashTableSize() const noexcept { return m_tableSize; }
    /// Sets that size. Only an empty map may be asked.
    void InitHashTable(UINT size, [[maybe_unused]] bool allocateNow = true)
    {
        if (m_count != 0 || size == 0)
            AfxThrowInvalidArgException();
        m_table.reset();
        m_tableSize = size;
    }

    /// Copies the value out; false, with `value` untouched, when the key is not there.
    bool Lookup(ArgKey key, Value & value) const
    {
        Node const * const node = Find(key, Hash(key));
        if (node == nullptr)
            return false;
        value = node->pair.value;
        return true;
    }
    CPair const * PLookup(ArgKey key) const
    {
        Node const * const node = Find(key, Hash(key));
        return node ? &node->pair : nullptr;
    }
    CPair * PLookup(ArgKey key)
    {
        Node * const node = Find(key, Hash(key));
        return node ? &node->pair : nullptr;
    }
    /// The value of a key, value-initialised when the key is new.
    Value & operator[](ArgKey key)
    {
        UINT const hash = Hash(key);
        if (Node * const node = Find(key, hash))
            return node->pair.value;
        return Insert(key, hash)->pair.value;
    }
    void SetAt(ArgKey key, ArgValue value) { (*this)[key] = value; }
    /// False when the key is not there.
    bool RemoveKey(ArgKey key)
    {
        if (m_count == 0)
            return false;
        UINT const hash = Hash(key);
        for (Node ** link = &m_table[hash % m_tableSize]; *link; link = &(*link)->chained)
        {
            Node * const node = *link;
            if (node->hash != hash || !(node->pair.key == key))
                continue;
            *link = node->chained;
            (node->prev ? node->prev->next : m_first) = node->next;
            (node->next ? node->next->prev : m_last) = node->prev;
            --m_count;
            delete node;
            return true;
        }
        return false;
    }
    void RemoveAll() noexcept
    {
        while (Node * const node = m_first)
        {
            m_first = node->next;
            delete node;
        }
        m_last = nullptr;
        m_count = 0;
        m_table.reset();
    }

    /// Null when empty.
    POSITION GetStartPosition() const noexcept { return AsPosition(m_first); }
    /// The association at `position`, which then moves on, to null behind the last.
    void GetNextAssoc(POSITION & position, Key & key, Value & value) const
    {
        Node const * const node = Step(position);
        key = node->pair.key;
        value = node->pair.value;
    }
    CPair const * PGetFirstAssoc() const noexcept { return m_first ? &m_first->pair : nullptr; }
    CPair * PGetFirstAssoc() noexcept { return m_first ? &m_first->pair : nullptr; }
    /// The association behind one that this map gave; null behind the last.
    CPair const * PGetNextAssoc(CPair const * pair) const { return PairBehind(pair); }
    CPair * PGetNextAssoc(CPair const * pair) { return PairBehind(pair); }

private:
    struct Node
    {
        CPair pair; // first, so that a pair's address is its node's
        Node * next;
        Node * prev;
        Node * chained; // the next of the same slot
        UINT hash;
    };

    static POSITION AsPosition(Node * node) noexcept { return reinterpret_cast<POSITION>(node); }
    static Node * Step(POSITION & position)
    {
        Node * const node = reinterpret_cast<Node *>(position);
        if (node == nullptr)
            AfxThrowInvalidArgException();
        position = AsPosition(node->next);
        return node;
    }
    static CPair * PairBehind(CPair const * pair)
    {
        if (pair == nullptr)
            AfxThrowInvalidArgException();
        Node * const next = reinterpret_cast<Node const *>(pair)->next;
        return next ? &next->pair : nullptr;
    }
    UINT Hash(ArgKey key) const
    {
        if constexpr (std::is_base_of_v<CStringT<wchar_t>, Key> && std::is_convertible_v<ArgKey, wchar_t const *>)
        {
            constexpr std::uint64_t kOdd = 0x9E3779B97F4A7C15ULL;
            std::uint64_t hash = reinterpret_cast<std::uintptr_t>(this) * kOdd; // nobody knows it beforehand
            wchar_t const * text = key;
            for (; text != nullptr && *text != 0; ++text)
            {
                hash = (hash ^ static_cast<std::uint32_t>(*text)) * kOdd;
                hash ^= hash >> 32;
            }
            return static_cast<UINT>(hash);
        }
        else
            return HashKey<ArgKey>(key);
    }
    Node * Find(ArgKey key, UINT hash) const
    {
        if (!m_table)
            return nullptr;
        Node * node = m_table[hash % m_tableSize];
        while (node && (node->hash != hash || !(node->pair.key == key)))
            node = node->chained;
        return node;
    }
    Node * Insert(ArgKey key, UINT hash)
    {
        std::unique_ptr<Node> made(new Node{{Key(key), Value()}, nullptr, m_last, nullptr, hash});
        if (!m_table)
            m_table.reset(new Node *[m_tableSize]());
        else if (m_count >= m_tableSize)
            Grow();
        Node * const node = made.release();
        Chain(node);
        (m_last ? m_last->next : m_first) = node;
        m_last = node;
        ++m_count;
        return node;
    }
    void Chain(Node * node) noexcept
    {
        Node *& slot = m_table[node->hash % m_tableSize];
        node->chained = slot;
        slot = node;
    }
    void Grow()
    {
        UINT const size = m_tableSize * 2 + 1;
        m_table.reset(new Node *[size]());
        m_tableSize = size;
        for (Node * node = m_first; node; node = node->next)
            Chain(node);
    }

    std::unique_ptr<Node *[]> m_table;
    UINT m_tableSize = 17;
    std::size_t m_count = 0;
    Node * m_first = nullptr;
    Node * m_last = nullptr;
};

// What lets a list of shared definitions keep an index beside it: part of the implementation of the metadata classes,
// in a public header only because they hold these by value.
//
// An index is built at the first look-up that needs it and never gives an answer that a walk of the list would not:
//  - a list that changes drops its index;
//  - a definition that an index has taken in carries a mark; changing such a definition moves a process-wide generation
//    on, and an index of an older generation is checked against the list before it is used again. Definitions change
//    while they are loaded, before any index knows them, so the generation hardly ever moves.
//
// Thread rule: thread-compatible, where building the index counts as reading.
#pragma once

#include "qvlib/export.h"

#include <atomic>
#include <cstdint>

namespace qvlib::detail
{

/// The generation of all definitions that indexes know of. Starts at 1.
QVLIB_API extern std::atomic<std::uint64_t> g_definitionGeneration;

/// The mark of a definition. Assigning to or moving from the definition counts as a change of it.
class DefinitionMark
{
public:
    DefinitionMark() = default;
    DefinitionMark(DefinitionMark const &) noexcept {}
    DefinitionMark(DefinitionMark && other) noexcept { other.Changed(); }
    DefinitionMark & operator=(DefinitionMark const &) noexcept
    {
        Changed();
        return *this;
    }
    DefinitionMark & operator=(DefinitionMark && other) noexcept
    {
        other.Changed();
        Changed();
        return *this;
    }

    /// An index takes the definition in. Relaxed: whoever changes the definition later has been handed it by other
    /// means, which order this store before the change.
    void Indexed() const noexcept
    {
        if (!m_indexed.load(std::memory_order_relaxed))
            m_indexed.store(true, std::memory_order_relaxed);
    }
    void Changed() const noexcept
    {
        if (m_indexed.load(std::memory_order_relaxed))
            MoveOn();
    }
    static void MoveOn() noexcept { g_definitionGeneration.fetch_add(1, std::memory_order_relaxed); }

private:
    mutable std::atomic<bool> m_indexed{false};
};

class QVLIB_API IndexBase
{
public:
    virtual ~IndexBase();
};

/// Holds an index. A copy starts without one.
class QVLIB_API LazyIndex
{
public:
    LazyIndex() noexcept = default;
    LazyIndex(LazyIndex const &) noexcept {}
    LazyIndex(LazyIndex && other) noexcept { other.Drop(); }
    LazyIndex & operator=(LazyIndex const &) noexcept
    {
        Drop();
        return *this;
    }
    LazyIndex & operator=(LazyIndex && other) noexcept
    {
        other.Drop();
        Drop();
        return *this;
    }
    ~LazyIndex() { Drop(); }

    /// The list has changed. Only for who may change the list.
    void Drop() noexcept
    {
        if (m_generation.load(std::memory_order_relaxed) != 0)
            Destroy();
    }

    /// The index when it stands for the list as it is now; otherwise null.
    IndexBase const * Current() const noexcept
    {
        // Acquire: the index was written before the generation that vouches for it.
        return m_generation.load(std::memory_order_acquire) == g_definitionGeneration.load(std::memory_order_relaxed)
                   ? m_index.load(std::memory_order_relaxed)
                   : nullptr;
    }

    /// The index, built by `build()` (which gives an owning pointer to Index) when there is none that stands and
    /// `stands(index)` denies it to the old one. Null when memory runs out: walk the list then.
    template <class Index, class Stands, class Build>
    Index const * Get(Stands stands, Build build) const noexcept
    {
        if (IndexBase const * const current = Current())
            return static_cast<Index const *>(current);
        struct Maker final : MakerBase
        {
            Maker(Stands & s, Build & b) : m_stands(s), m_build(b) {}
            bool StillStands(IndexBase const & index) const override
            {
                return m_stands(static_cast<Index const &>(index));
            }
            IndexBase const * Make() const override { return m_build().release(); }
            Stands & m_stands;
            Build & m_build;
        };
        return static_cast<Index const *>(Renew(Maker(stands, build)));
    }

    /// For who may change the list: the current index to extend together with the list, or null.
    template <class Index>
    Index * Extendable() noexcept
    {
        return const_cast<Index *>(static_cast<Index const *>(Current()));
    }

private:
    class QVLIB_API MakerBase
    {
    public:
        virtual ~MakerBase();
        virtual bool StillStands(IndexBase const & index) const = 0;
        virtual IndexBase const * Make() const = 0;
    };

    void Destroy() noexcept;
    IndexBase const * Renew(MakerBase const & maker) const noexcept;

    mutable std::atomic<std::uint64_t> m_generation{0}; // 0: no index
    mutable std::atomic<IndexBase const *> m_index{nullptr};
};

} // namespace qvlib::detail

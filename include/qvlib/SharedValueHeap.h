// CSharedValueHeap and CSharedValuePtr: one copy of each distinct value, and small handles on it.
//
// Two handles on equal texts point to the same entry, so a handle costs one pointer and comparing two costs one
// comparison of pointers. A null handle and a handle on the empty text are different things.
//
//     qvlib::CSharedWideString name(L"Ann");
//     qvlib::CSharedWideString const same = name;
//     name = std::wstring(L"Bob"); // `same` keeps "Ann"
//     *name;                       // "Bob"
//
// The library has one heap for wide texts, made at first use; CSharedWideString is the handle on it. Assigning a value
// that a handle already has, and one that the heap has, take no lock. Entries that ended leave their place for others;
// the memory of the places goes back with the heap. An archive has two forms of a handle, which are not
// interchangeable: operator<< with a flag for null, and serialize_string_value without.
//
// Thread rule: the heap is thread-safe; a handle is thread-compatible.
#pragma once

#include "qvlib/CriticalSection.h"
#include "qvlib/Exceptions.h"
#include "qvlib/Unknown.h"
#include "qvlib/detail/SharedEntries.h"
#include "qvlib/export.h"

#include <atomic>
#include <cstddef>
#include <functional>
#include <string>
#include <utility>

class CArchive;

namespace qvlib
{

template <class Value, class Compare, class Lock, class Accessor>
class CSharedValueHeap;

/// A handle on a value of the heap that `Accessor` gives, or on none.
template <class Value, class Compare, class Lock, class Accessor>
class CSharedValuePtr
{
public:
    using Heap = CSharedValueHeap<Value, Compare, Lock, Accessor>;

    /// A null handle.
    constexpr CSharedValuePtr() noexcept = default;
    CSharedValuePtr(Value const & value) { Assign(value); }
    template <class Text>
    requires(std::is_convertible_v<Text const &, Value> && !std::is_same_v<Text, Value> &&
             !std::is_same_v<Text, CSharedValuePtr>) CSharedValuePtr(Text const & value)
        : CSharedValuePtr(static_cast<Value const &>(Value(value)))
    {
    }
    CSharedValuePtr(CSharedValuePtr const & other) noexcept : m_entry(other.m_entry)
    {
        if (m_entry != nullptr)
            m_entry->count.AddToHeld();
    }
    CSharedValuePtr(CSharedValuePtr && other) noexcept : m_entry(std::exchange(other.m_entry, nullptr)) {}
    ~CSharedValuePtr() { Clear(); }

    CSharedValuePtr & operator=(CSharedValuePtr const & other)
    {
        CSharedValuePtr(other).swap(*this);
        return *this;
    }
    CSharedValuePtr & operator=(CSharedValuePtr && other) noexcept
    {
        CSharedValuePtr(std::move(other)).swap(*this);
        return *this;
    }
    /// Strong: a failure leaves the handle as it was.
    CSharedValuePtr & operator=(Value const & value)
    {
        Assign(value);
        return *this;
    }
    void Assign(Value const & value)
    {
        // Settled here, without asking for the heap.
        if (m_entry == nullptr || !Heap::Same(m_entry->value, value))
            static_cast<Heap *>(Accessor::get(this))->AssignValue(*this, value);
    }
    /// Makes the handle null.
    void Clear()
    {
        // The heap is needed for the last handle only.
        if (Entry * const entry = std::exchange(m_entry, nullptr); entry != nullptr && entry->count.Drop())
            static_cast<Heap *>(Accessor::get(this))->EndUnlessRevived(entry);
    }
    void swap(CSharedValuePtr & other) noexcept { std::swap(m_entry, other.m_entry); }

    /// Whether the handle stands for no value.
    bool IsNull() const noexcept { return m_entry == nullptr; }
    bool operator!() const noexcept { return IsNull(); }
    explicit operator bool() const noexcept { return !IsNull(); }
    /// The value, which stays while any handle on it does. A null handle throws unexpected_error.
    Value const & GetValue() const
    {
        if (m_entry == nullptr)
            throw unexpected_error();
        return m_entry->value;
    }
    Value const & operator*() const { return GetValue(); }
    Value const * operator->() const { return &GetValue(); }
    /// How many handles share the value, 0 for a null handle. A snapshot where other threads have some.
    unsigned long GetUseCount() const noexcept
    {
        return m_entry != nullptr ? static_cast<unsigned long>(m_entry->count.Value()) : 0;
    }

    /// Whether both are on the same value, or both null.
    friend bool operator==(CSharedValuePtr const & left, CSharedValuePtr const & right) noexcept
    {
        return left.m_entry == right.m_entry;
    }

private:
    friend Heap;
    using Entry = typename detail::SharedEntriesOf<Value, Compare>::Type::Entry;

    Entry * m_entry = nullptr;
};

/// The values that handles share. An entry with a handle keeps the heap, so the heap outlives them all. `Lock` has
/// Lock(unsigned long) and Unlock(); `Accessor` a static get(CSharedValuePtr *) that gives the heap.
template <class Value, class Compare, class Lock, class Accessor>
class CSharedValueHeap : public CTLUnknown<1>
{
public:
    using Handle = CSharedValuePtr<Value, Compare, Lock, Accessor>;

    CSharedValueHeap() = default;
    CSharedValueHeap(CSharedValueHeap const &) = delete;
    CSharedValueHeap & operator=(CSharedValueHeap const &) = delete;
    ~CSharedValueHeap() override = default;

    static bool Same(Value const & left, Value const & right) { return Entries::Same(left, right); }

    /// Puts the handle on the value. Throws unexpected_error when the value cannot be entered.
    void AssignValue(Handle & handle, Value const & value)
    {
        if (handle.m_entry != nullptr && Same(handle.m_entry->value, value))
            return;
        auto const key = m_entries.KeyOf(value);
        Entry * entry = m_entries.TryFind(key, value);
        if (entry != nullptr && !Same(entry->value, value)) [[unlikely]]
        {
            Drop(entry);
            entry = nullptr;
        }
        if (entry == nullptr)
            entry = FindOrInsert(key, value);
        // The old one goes behind the lock: `value` may lie in it.
        if (Entry * const old = std::exchange(handle.m_entry, entry))
            Drop(old);
    }
    /// Makes the handle null. The value ends with its last handle.
    void ReleaseValue(Handle & handle)
    {
        if (Entry * const entry = std::exchange(handle.m_entry, nullptr))
            Drop(entry);
    }
    /// How many values there are.
    std::size_t GetSize() const
    {
        Hold const hold(m_lock);
        return m_entries.Size();
    }

private:
    friend Handle;
    using Entries = typename detail::SharedEntriesOf<Value, Compare>::Type;
    using Entry = typename Entries::Entry;

    class Hold
    {
    public:
        // The analysis does not know what kind of lock the parameter is.
        explicit Hold(Lock & lock) QVLIB_NO_THREAD_SAFETY_ANALYSIS : m_lock(lock) { m_lock.Lock(0xFFFFFFFFU); }
        ~Hold() QVLIB_NO_THREAD_SAFETY_ANALYSIS { m_lock.Unlock(); }
        Hold(Hold const &) = delete;
        Hold & operator=(Hold const &) = delete;

    private:
        Lock & m_lock;
    };

    template <class Key>
    Entry * FindOrInsert(Key key, Value const & value)
    {
        Hold const hold(m_lock);
        Entry * entry = m_entries.Find(key, value);
        bool const isNew = entry == nullptr;
        if (isNew)
            entry = m_entries.Insert(key, value);
        if (entry == nullptr)
            throw unexpected_error();
        if (entry->count.AddFound())
        {
            // Nobody drops a pinned entry twice.
            if (isNew || entry == m_pinned)
                AddRef();
            else
                entry->count.Revive();
        }
        return entry;
    }
    void Drop(Entry * entry)
    {
        if (entry->count.Drop())
            EndUnlessRevived(entry);
    }
    /// What follows the drop of the last reference.
    void EndUnlessRevived(Entry * entry)
    {
        {
            Hold const hold(m_lock);
            if (entry != m_pinned)
            {
                if (!entry->count.DropAgain())
                    return;
                m_entries.Remove(entry);
            }
        }
        Release(); // the entry's reference; perhaps the last
    }

    mutable Lock m_lock;
    Entries m_entries;
    Entry * m_pinned = nullptr; // stays without handles; no operation pins one yet
};

class qvlib_sharedvalueheap_accessor;

/// A handle on a wide text of the library's heap.
using CSharedWideString =
    CSharedValuePtr<std::wstring, std::less<std::wstring>, CTLCriticalSection, qvlib_sharedvalueheap_accessor>;

/// The way to the library's heap of wide texts.
class QVLIB_API qvlib_sharedvalueheap_accessor
{
public:
    qvlib_sharedvalueheap_accessor() = delete;
    qvlib_sharedvalueheap_accessor & operator=(qvlib_sharedvalueheap_accessor const &) noexcept { return *this; }
    qvlib_sharedvalueheap_accessor & operator=(qvlib_sharedvalueheap_accessor &&) noexcept { return *this; }

    /// The heap, made at first use. The argument only selects the template. Thread-safe.
    static void * get(CSharedWideString *)
    {
        void * const heap = s_heap.load(std::memory_order_acquire);
        return heap != nullptr ? heap : Create();
    }

private:
    friend class ProcessHeap;
    static void * Create();

    static std::atomic<void *> s_heap;
};

extern template class QVLIB_API
    CSharedValueHeap<std::wstring, std::less<std::wstring>, CTLCriticalSection, qvlib_sharedvalueheap_accessor>;

/// Writes a byte that is 1 for a null handle, else 0 and the text as a wide library string.
QVLIB_API CArchive & operator<<(CArchive & archive, CSharedWideString const & handle);
/// Reads that form. A stored null leaves the handle as it is (kept on purpose: callers depend on it).
QVLIB_API CArchive & operator>>(CArchive & archive, CSharedWideString & handle);
/// Writes or reads the text as a library string without a flag: a null handle comes back as one on the empty text.
QVLIB_API CArchive & serialize_string_value(CSharedWideString & handle, CArchive & archive);

} // namespace qvlib

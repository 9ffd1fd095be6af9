// old_auto_ptr: a pointer together with the duty to delete what it points to, if it has that duty.
//
// Copying moves the duty: the target takes both, the source keeps the bare pointer. So a holder can be stored in a
// container or passed on by value, and a holder without the duty lets a caller's own object ride where owned ones do.
//
//     qvlib::old_auto_ptr<Job> owner(new Job);   // owns
//     qvlib::old_auto_ptr<Job> other = owner;    // other owns now, owner still points there
//     qvlib::old_auto_ptr<Job> rider(&job, false);
//
// Thread-compatible, with one exception: copying changes the source, though it is const.
#pragma once

#include "qvlib/export.h"

namespace qvlib
{

template <class T>
class old_auto_ptr
{
public:
    using element_type = T;

    /// Owns `pointer`, unless it is null.
    explicit old_auto_ptr(T * pointer = nullptr) noexcept : m_owner(pointer != nullptr), m_pointer(pointer) {}
    /// Owns `pointer` if told so.
    old_auto_ptr(T * pointer, bool owner) noexcept : m_owner(owner), m_pointer(pointer) {}
    /// Takes the pointer, and the ownership if `other` had it.
    old_auto_ptr(old_auto_ptr const & other) noexcept : m_owner(other.TakeOwnership()), m_pointer(other.m_pointer) {}
    template <class U>
    old_auto_ptr(old_auto_ptr<U> const & other) noexcept : m_owner(other.TakeOwnership()), m_pointer(other.get())
    {
    }
    /// Likewise; deletes what was owned before, unless it is the same object.
    old_auto_ptr & operator=(old_auto_ptr const & other) noexcept
    {
        if (this != &other)
            Assign(other.get(), other.TakeOwnership());
        return *this;
    }
    template <class U>
    old_auto_ptr & operator=(old_auto_ptr<U> const & other) noexcept
    {
        Assign(other.get(), other.TakeOwnership());
        return *this;
    }
    ~old_auto_ptr()
    {
        if (m_owner)
            delete m_pointer;
    }

    T & operator*() const noexcept { return *m_pointer; }
    T * operator->() const noexcept { return m_pointer; }
    /// The pointer, owned or not.
    T * get() const noexcept { return m_pointer; }
    /// Whether this holder must delete the object.
    bool owner() const noexcept { return m_owner; }
    /// Gives the ownership up, and keeps the pointer.
    T * release() const noexcept
    {
        m_owner = false;
        return m_pointer;
    }
    /// Gives the ownership up and tells whether it was there.
    bool TakeOwnership() const noexcept
    {
        bool const was = m_owner;
        m_owner = false;
        return was;
    }

private:
    void Assign(T * pointer, bool owner) noexcept
    {
        T * const previous = m_pointer;
        bool const owned = m_owner;
        m_pointer = pointer;
        if (owned && previous == pointer)
            return; // already the owner of this object
        m_owner = owner;
        if (owned)
            delete previous;
    }

    mutable bool m_owner;
    T * m_pointer;
};

} // namespace qvlib

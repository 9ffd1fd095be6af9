// CArray and CStringArray: the framework's growable arrays.
//
//     CStringArray names;
//     names.Add(L"one");
//     for (INT_PTR i = 0; i < names.GetCount(); ++i)
//         Use(names[i]);
//
// They can not be copied but by Copy and Append. An index outside the array throws CInvalidArgException, from
// operator[] too. Objects are thread-compatible.
#pragma once

#include <type_traits>
#include <utility>
#include <vector>

#include "qvlib/framework/exceptions.h"
#include "qvlib/host/types.h"

template <class T, class Arg = T const &>
class CArray
{
    static_assert(!std::is_same_v<T, bool>, "elements need addresses of their own: use BOOL or BYTE");

public:
    CArray() = default;
    CArray(CArray const &) = delete;
    CArray & operator=(CArray const &) = delete;

    INT_PTR GetSize() const noexcept { return static_cast<INT_PTR>(m_items.size()); }
    INT_PTR GetCount() const noexcept { return GetSize(); }
    /// The largest index, -1 when empty.
    INT_PTR GetUpperBound() const noexcept { return GetSize() - 1; }
    bool IsEmpty() const noexcept { return m_items.empty(); }
    /// New elements are value-initialised. `growBy` is accepted for the framework's sake and has no effect.
    void SetSize(INT_PTR size, [[maybe_unused]] INT_PTR growBy = -1) { m_items.resize(Checked(size)); }
    void FreeExtra() { m_items.shrink_to_fit(); }
    void RemoveAll() noexcept { m_items.clear(); }

    T const & GetAt(INT_PTR index) const { return m_items[CheckedIndex(index)]; }
    T & GetAt(INT_PTR index) { return m_items[CheckedIndex(index)]; }
    T & ElementAt(INT_PTR index) { return m_items[CheckedIndex(index)]; }
    T const & ElementAt(INT_PTR index) const { return m_items[CheckedIndex(index)]; }
    T const & operator[](INT_PTR index) const { return m_items[CheckedIndex(index)]; }
    T & operator[](INT_PTR index) { return m_items[CheckedIndex(index)]; }
    void SetAt(INT_PTR index, Arg value) { m_items[CheckedIndex(index)] = value; }
    /// The elements in one row; null may come for an empty array.
    T * GetData() noexcept { return m_items.data(); }
    T const * GetData() const noexcept { return m_items.data(); }

    /// Lengthens the array where the index lies behind its end.
    void SetAtGrow(INT_PTR index, Arg value)
    {
        std::size_t const position = Checked(index);
        T copy(value); // may be an element of this array
        if (position >= m_items.size())
            m_items.resize(position + 1);
        m_items[position] = std::move(copy);
    }
    /// Adds at the end and gives the index.
    INT_PTR Add(Arg value)
    {
        m_items.push_back(value);
        return GetUpperBound();
    }
    /// Adds all elements of another array (not this one) and gives the index of the first.
    INT_PTR Append(CArray const & other)
    {
        if (&other == this)
            AfxThrowInvalidArgException();
        INT_PTR const first = GetSize();
        m_items.insert(m_items.end(), other.m_items.begin(), other.m_items.end());
        return first;
    }
    void Copy(CArray const & other)
    {
        if (&other != this)
            m_items = other.m_items;
    }
    /// Inserts `count` copies before `index`; behind the end the array is lengthened first.
    void InsertAt(INT_PTR index, Arg value, INT_PTR count = 1)
    {
        std::size_t const position = Checked(index);
        std::size_t const copies = Checked(count);
        if (copies == 0)
            AfxThrowInvalidArgException();
        T const copy(value);
        if (position > m_items.size())
            m_items.resize(position);
        m_items.insert(m_items.begin() + index, copies, copy);
    }
    void RemoveAt(INT_PTR index, INT_PTR count = 1)
    {
        if (index < 0 || count < 0 || index > GetSize() || count > GetSize() - index)
            AfxThrowInvalidArgException();
        m_items.erase(m_items.begin() + index, m_items.begin() + index + count);
    }

private:
    static std::size_t Checked(INT_PTR number)
    {
        if (number < 0)
            AfxThrowInvalidArgException();
        return static_cast<std::size_t>(number);
    }
    std::size_t CheckedIndex(INT_PTR index) const
    {
        if (static_cast<std::size_t>(index) >= m_items.size()) // a negative index is a huge one
            AfxThrowInvalidArgException();
        return static_cast<std::size_t>(index);
    }

    std::vector<T> m_items;
};

/// An array of texts.
class CStringArray : public CArray<CString>
{
};

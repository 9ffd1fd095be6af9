// safearrayvector: a variant as a sequence of variants, whether it holds an array or one value.
//
// An array is locked as long as the vector holds it. Elements come out as views: the array goes on owning texts and
// objects. Of an array with several dimensions the elements of the first are seen. Differences from a container of the
// standard library: `at` beyond the end gives an empty variant, iterators stop at both ends, and `it + 1` moves `it`.
//
//     qvlib::safearrayvector const values(variant, qvlib::VariantOwnershipRefer);
//     for (unsigned long i = 0; i < values.size(); ++i)
//         sum += values[i].GetAsDouble();
//
// Operations that return `long` give the platform's result code; the iterator and what is built on it throw the code as
// _com_error. Thread rule: thread-compatible.
#pragma once

#include "qvlib/Variant.h"
#include "qvlib/export.h"
#include "qvlib/host/variant.h"

#include <cstddef>
#include <iterator>

namespace qvlib
{

/// How a safearrayvector holds its source.
enum EVariantOwnershipOptions
{
    VariantOwnershipNone = 0,      ///< nothing is held
    VariantOwnershipRefer = 1,     ///< the caller stays the owner and must outlive the vector
    VariantOwnershipCopy = 2,      ///< a copy, owned
    VariantOwnershipTake = 3,      ///< the content of the source, which is left empty; not of a const source
    VariantOwnershipTakeConst = 4, ///< the same, of a const source too, which must not really be constant
};

class safearrayvector;

/// A place in a safearrayvector, with a view of the element there. Good as long as the vector stays as it is. The view
/// lies in the iterator: what `*` gives is gone with it, and changes when it moves, so std::reverse_iterator cannot be
/// used.
class QVLIB_API const_safearrayiterator
{
public:
    using iterator_category = std::bidirectional_iterator_tag;
    using value_type = tmpvariant_t;
    using difference_type = std::ptrdiff_t;
    using pointer = tmpvariant_t const *;
    using reference = tmpvariant_t const &;

    /// At index 0. Throws E_INVALIDARG, as every move does, when the element there cannot be read: its kind has no size
    /// (VT_CY, VT_ERROR), or it would not lie in the array's data.
    const_safearrayiterator(safearrayvector const * vector);
    const_safearrayiterator(const_safearrayiterator const &) noexcept = default;
    const_safearrayiterator & operator=(const_safearrayiterator const &) noexcept = default;

    /// The element, empty at the end.
    tmpvariant_t const & operator*() const noexcept { return m_current; }
    tmpvariant_t const * operator->() const noexcept { return &m_current; }
    unsigned long GetIndex() const noexcept { return m_index; }

    const_safearrayiterator & operator++() { return MoveBy(1); }
    const_safearrayiterator operator++(int);
    const_safearrayiterator & operator--() { return MoveBy(-1); }
    const_safearrayiterator operator--(int);
    /// Moves this iterator itself, and returns it. Kept so on purpose: callers depend on it.
    const_safearrayiterator & operator+(int count) { return MoveBy(count); }
    const_safearrayiterator & operator-(int count) { return MoveBy(-static_cast<long long>(count)); }

    bool operator==(const_safearrayiterator const & other) const noexcept
    {
        return m_vector == other.m_vector && m_index == other.m_index;
    }

private:
    friend class safearrayvector;
    const_safearrayiterator(safearrayvector const * vector, unsigned long index);
    const_safearrayiterator & MoveBy(long long count);
    void GetCurrentArrayValue();

    safearrayvector const * m_vector;
    unsigned long m_index;
    tmpvariant_t m_current;
};

class QVLIB_API safearrayvector
{
public:
    safearrayvector() noexcept = default;
    /// Set; a source that is refused leaves the vector empty.
    safearrayvector(tagVARIANT & source, EVariantOwnershipOptions option);
    safearrayvector(tagVARIANT const & source, EVariantOwnershipOptions option);
    safearrayvector(safearrayvector const &) = delete;
    safearrayvector & operator=(safearrayvector const &) = delete;
    ~safearrayvector() { Reset(); }

    /// Drops what is held and holds `source`, an array being locked. E_INVALIDARG for VT_EMPTY, an option that is not
    /// one of 1 to 4 (for a const source 1, 2 or 4), a reference to an array, or an array whose elements are not what
    /// the variant says; else the code of what failed. Strong: a failure leaves the vector and the source.
    long Set(tagVARIANT & source, EVariantOwnershipOptions option);
    long Set(tagVARIANT const & source, EVariantOwnershipOptions option);
    /// Unlocks the array, and ends what the vector owns.
    void Reset();

    /// Elements: those of the array's first dimension; 1 for a value that is no array.
    unsigned long size() const noexcept { return m_size; }
    bool empty() const noexcept { return m_size == 0; }
    /// The kind of the held variant without VT_ARRAY.
    unsigned short GetArrayType() const noexcept { return m_source.vt & static_cast<unsigned short>(~VT_ARRAY); }

    /// A view of an element, empty beyond the end. Throws as the iterator does.
    tmpvariant_t at(unsigned long index) const;
    tmpvariant_t operator[](unsigned long index) const { return at(index); }
    tmpvariant_t front() const { return at(0); }
    tmpvariant_t back() const { return at(m_size != 0 ? m_size - 1 : 0); }
    const_safearrayiterator begin() const { return const_safearrayiterator(this, 0); }
    const_safearrayiterator end() const { return const_safearrayiterator(this, m_size); }

    /// Whether the vector owns its variant, so that elements can be taken out.
    bool CanTransferElementOwnership() const noexcept { return m_ownership >= VariantOwnershipCopy; }
    /// Moves an element into `target`, whose old content is not looked at, and leaves the element zero. Nothing happens
    /// when the vector does not own its variant or there is no such element.
    void TransferElementOwnership(unsigned long index, tagVARIANT & target);

    // Elements as bytes, by kind.

    /// The bytes that an element of the kind takes in walks and in stored records; 0 for kinds that have none there.
    /// The 4 of VT_UI1 and of VT_VARIANT are kept on purpose: stored records depend on them.
    static unsigned long GetDataSize(unsigned short vt) noexcept;
    /// Moves the pointer over `count` elements of that size. False, and nothing moved, when the size is 0.
    static bool MoveDataPointer(unsigned short vt, void *& data, long count) noexcept;
    // The three below move 1 byte for VT_UI1, and otherwise GetDataSize. E_NOTIMPL for other kinds.
    /// Writes the content of a variant to `data`, whose old content is not looked at: with `copy` a copy of it, else
    /// the content itself, and `value` is left empty.
    static long GetVariantValue(void * data, tagVARIANT & value, bool copy);
    static long GetVariantValue(void * data, tagVARIANT const & value);
    /// Reads a variant of the kind from `data`: with `copy` a copy into `value`, a live variant; else the bits,
    /// whatever was in `value`.
    static long SetVariantValue(tagVARIANT & value, unsigned short vt, void * data, bool copy);
    /// Zeroes the element without giving back what it owns. E_NOTIMPL for VT_DECIMAL, too.
    static long ResetDataValue(unsigned short vt, void * data);

private:
    friend class const_safearrayiterator;
    long Take(tagVARIANT & source, EVariantOwnershipOptions option);
    unsigned char * ElementAt(unsigned long index) const noexcept;

    EVariantOwnershipOptions m_ownership = VariantOwnershipNone;
    tagVARIANT m_source{};
    unsigned long m_size = 0;
    void * m_data = nullptr;
    std::size_t m_bytes = 0; ///< of the array's data
};

} // namespace qvlib

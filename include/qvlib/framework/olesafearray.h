// COleSafeArray: a variant that holds an array, with the array's operations as members.
//
// As in the framework: what fails throws COleException with the platform's code (CMemoryException for no memory), and
// element 0 is the first. Indices are counted in `long`s that mean 32 bits; one that does not fit throws
// CInvalidArgException.
//
//     COleSafeArray names;
//     names.CreateOneDim(VT_BSTR, 2);
//     long index = 1;
//     names.PutElement(&index, _bstr_t(L"second").GetBSTR()); // the array keeps a copy
//     VARIANT passedOn = names.Detach();
//
// Thread rule: thread-compatible.
#pragma once

#include "qvlib/export.h"
#include "qvlib/host/variant.h"

class QVLIB_API COleSafeArray : public tagVARIANT
{
public:
    COleSafeArray() noexcept : tagVARIANT() {}
    /// Copies; the elements are of the kind.
    COleSafeArray(SAFEARRAY const * array, VARTYPE kind);
    COleSafeArray(COleSafeArray const & other);
    COleSafeArray(COleSafeArray && other) noexcept : tagVARIANT(other) { VariantInit(&other); }
    /// Copies a variant that holds an array; E_INVALIDARG for any other, as in the assignment.
    COleSafeArray(VARIANT const & value);
    /// The same; E_POINTER for null.
    COleSafeArray(VARIANT const * value);
    ~COleSafeArray() { VariantClear(this); }

    COleSafeArray & operator=(COleSafeArray const & other);
    COleSafeArray & operator=(COleSafeArray && other) noexcept;
    COleSafeArray & operator=(VARIANT const & value);
    COleSafeArray & operator=(VARIANT const * value);

    operator VARIANT *() noexcept { return this; }
    operator VARIANT const *() const noexcept { return this; }

    /// Ends the array, if there is one.
    void Clear();
    /// Ends what is held and takes the content of `value`, which is left empty. E_INVALIDARG when it holds no array.
    void Attach(VARIANT & value);
    /// Gives the variant to the caller.
    VARIANT Detach() noexcept;

    /// Ends what is held and makes an array of zeroed elements.
    void Create(VARTYPE kind, DWORD dimensions, SAFEARRAYBOUND const * bounds);
    /// The same, with counts alone: every dimension begins at 0.
    void Create(VARTYPE kind, DWORD dimensions, DWORD const * elements);
    /// The same with one dimension. A `source`, where given, holds as many elements of the kind, which are copied bit
    /// by bit: not for texts, objects and variants (E_INVALIDARG).
    void CreateOneDim(VARTYPE kind, DWORD elements, void const * source = nullptr, long lowerBound = 0);

    /// Elements of an array with one dimension; E_INVALIDARG for another.
    DWORD GetOneDimSize() const;
    void ResizeOneDim(DWORD elements);
    /// Gives the last dimension new bounds.
    void Redim(SAFEARRAYBOUND * lastBound);

    /// 0 without an array, as the next.
    DWORD GetDim() const noexcept;
    DWORD GetElemSize() const noexcept;
    /// Bounds of a dimension, counted from 1.
    void GetLBound(DWORD dimension, long * bound) const;
    void GetUBound(DWORD dimension, long * bound) const;

    void AccessData(void ** data);
    void UnaccessData();
    void Lock();
    void Unlock();

    // One element, by an index for each dimension, as SafeArrayGetElement and its family.

    void GetElement(long const * indices, void * value) const;
    void PutElement(long const * indices, void * value);
    void PtrOfIndex(long const * indices, void ** element);

    /// A copy of the array for the caller.
    void Copy(SAFEARRAY ** copy) const;
    /// Ends the array.
    void Destroy() { Clear(); }
    /// Ends what the elements own and zeroes them.
    void DestroyData();

private:
    SAFEARRAY * Array() const noexcept { return (vt & VT_ARRAY) != 0 ? parray : nullptr; }
    void Hold(VARTYPE kind, SAFEARRAY * array);
};

// Owners of the component model's pointers, strings and variants, and the exception that carries its result codes.
//
// As on the platform, with two differences: `_com_error` is also a std::exception, and `_com_ptr_t` takes the interface
// itself (its id comes from qvlib::host::kInterfaceId). `long` arguments mean 32 bits; one that does not fit throws
// DISP_E_OVERFLOW.
//
//     _com_ptr_t<QRGenObjsLib::IQRProperties> list;
//     list.CreateInstance(QRGenObjsLib::CLSID_QRProperties);
//     _variant_t const value(L"12");
//     try
//     {
//         long const number = value;
//     }
//     catch (_com_error const & error)
//     {
//         Report(error.Error(), error.what());
//     }
//
// Thread rule: thread-compatible; `_bstr_t`s that share a text are independent.
#pragma once

#include "qvlib/export.h"
#include "qvlib/host/com.h"
#include "qvlib/host/variant.h"

#include <atomic>
#include <cstddef>
#include <exception>
#include <string>
#include <utility>

/// A failed result code.
class QVLIB_API _com_error : public std::exception
{
public:
    explicit _com_error(HRESULT code);

    HRESULT Error() const noexcept { return m_code; }
    /// "Error 0x80004005".
    char const * what() const noexcept override { return m_text; }

private:
    HRESULT m_code;
    char m_text[24];
};

/// Throws _com_error with the code.
[[noreturn]] QVLIB_API void _com_issue_error(HRESULT code);
/// The same; what the platform's wrappers call.
[[noreturn]] QVLIB_API void _com_raise_error(HRESULT code);

namespace _com_util
{
/// Throws _com_error when the code is a failure.
inline void CheckError(HRESULT code)
{
    if (FAILED(code))
        _com_issue_error(code);
}
} // namespace _com_util

/// Owns a reference to an object. A null pointer that is followed throws E_POINTER.
template <class Interface_>
class _com_ptr_t
{
public:
    using Interface = Interface_;
    static IID const & GetIID() noexcept { return qvlib::host::kInterfaceId<Interface>; }

    constexpr _com_ptr_t() noexcept = default;
    constexpr _com_ptr_t(std::nullptr_t) noexcept {}
    /// Adds a reference.
    _com_ptr_t(Interface * object) noexcept : m_object(object) { AddReference(); }
    /// Takes the caller's reference over unless `addRef` is set.
    _com_ptr_t(Interface * object, bool addRef) noexcept : m_object(object)
    {
        if (addRef)
            AddReference();
    }
    _com_ptr_t(_com_ptr_t const & other) noexcept : m_object(other.m_object) { AddReference(); }
    _com_ptr_t(_com_ptr_t && other) noexcept : m_object(std::exchange(other.m_object, nullptr)) {}
    /// Asks another object for this interface. Null when it has none; any other failure throws.
    template <class Other>
    requires(!std::is_same_v<Other, Interface>) explicit _com_ptr_t(_com_ptr_t<Other> const & other)
    {
        Query(other.GetInterfacePtr());
    }
    ~_com_ptr_t() { ReleaseReference(); }

    _com_ptr_t & operator=(_com_ptr_t other) noexcept
    {
        std::swap(m_object, other.m_object);
        return *this;
    }
    _com_ptr_t & operator=(Interface * object) noexcept { return *this = _com_ptr_t(object); }
    _com_ptr_t & operator=(std::nullptr_t) noexcept
    {
        ReleaseReference();
        return *this;
    }
    /// Asks another object for this interface, as the constructor does.
    template <class Other>
    requires(!std::is_same_v<Other, Interface>) _com_ptr_t & operator=(_com_ptr_t<Other> const & other)
    {
        Query(other.GetInterfacePtr());
        return *this;
    }

    /// Drops what is held and takes the caller's reference over.
    void Attach(Interface * object) noexcept { *this = _com_ptr_t(object, false); }
    void Attach(Interface * object, bool addRef) noexcept { *this = _com_ptr_t(object, addRef); }
    /// Gives the reference to the caller.
    Interface * Detach() noexcept { return std::exchange(m_object, nullptr); }

    operator Interface *() const noexcept { return m_object; }
    Interface * GetInterfacePtr() const noexcept { return m_object; }
    Interface * operator->() const { return Followed(); }
    Interface & operator*() const { return *Followed(); }
    /// Drops what is held and gives the place for a callee to put a reference into.
    Interface ** operator&() noexcept
    {
        ReleaseReference();
        return &m_object;
    }
    Interface *& GetInterfacePtr() noexcept { return m_object; }

    explicit operator bool() const noexcept { return m_object != nullptr; }
    bool operator!() const noexcept { return m_object == nullptr; }

    void AddRef() { Followed()->AddRef(); }
    void Release()
    {
        Followed();
        ReleaseReference();
    }

    /// Makes an object of the class. What was held is dropped first.
    HRESULT CreateInstance(CLSID const & clsid, IUnknown * outer = nullptr, DWORD context = CLSCTX_ALL) noexcept
    {
        ReleaseReference();
        void * object = nullptr;
        HRESULT const result = CoCreateInstance(clsid, outer, context, GetIID(), &object);
        m_object = static_cast<Interface *>(object);
        return result;
    }
    /// The same for a class by its name: a program identifier, or an identifier's text "{...}".
    HRESULT CreateInstance(wchar_t const * className, IUnknown * outer = nullptr, DWORD context = CLSCTX_ALL) noexcept
    {
        if (className == nullptr)
            return E_INVALIDARG;
        CLSID clsid{};
        HRESULT const result =
            className[0] == L'{' ? CLSIDFromString(className, &clsid) : CLSIDFromProgID(className, &clsid);
        return FAILED(result) ? result : CreateInstance(clsid, outer, context);
    }
    /// Asks the object held for another interface. E_POINTER when none is held.
    template <class Other>
    HRESULT QueryInterface(IID const & iid, Other *& object) noexcept
    {
        void * found = nullptr;
        HRESULT const result = m_object != nullptr ? m_object->QueryInterface(iid, &found) : E_POINTER;
        object = static_cast<Other *>(found);
        return result;
    }
    template <class Other>
    HRESULT QueryInterface(IID const & iid, Other ** object) noexcept
    {
        return QueryInterface(iid, *object);
    }

private:
    void AddReference() const noexcept
    {
        if (m_object != nullptr)
            m_object->AddRef();
    }
    void ReleaseReference() noexcept
    {
        // Emptied first: the object's end may come back here.
        if (Interface * const object = std::exchange(m_object, nullptr))
            object->Release();
    }
    Interface * Followed() const
    {
        if (m_object == nullptr)
            _com_issue_error(E_POINTER);
        return m_object;
    }
    void Query(IUnknown * source)
    {
        void * found = nullptr;
        HRESULT const result = source != nullptr ? source->QueryInterface(GetIID(), &found) : E_NOINTERFACE;
        if (FAILED(result) && result != E_NOINTERFACE)
            _com_issue_error(result);
        Attach(SUCCEEDED(result) ? static_cast<Interface *>(found) : nullptr);
    }

    Interface * m_object = nullptr;
};

/// Owns a counted string; copies share it. A text that finds no memory throws E_OUTOFMEMORY.
class QVLIB_API _bstr_t
{
public:
    _bstr_t() noexcept = default;
    _bstr_t(_bstr_t const & other) noexcept;
    _bstr_t(_bstr_t && other) noexcept : m_data(std::exchange(other.m_data, nullptr)) {}
    /// Null gives the null string.
    _bstr_t(wchar_t const * text);
    /// Narrow (UTF-8) text.
    _bstr_t(char const * text);
    /// The variant converted to text; a failure throws its code.
    _bstr_t(class _variant_t const & value);
    /// A copy of the string, or, with `copy` false, the string itself.
    _bstr_t(BSTR text, bool copy);
    ~_bstr_t() { Drop(); }

    _bstr_t & operator=(_bstr_t other) noexcept
    {
        std::swap(m_data, other.m_data);
        return *this;
    }
    _bstr_t & operator=(wchar_t const * text) { return *this = _bstr_t(text); }
    _bstr_t & operator=(char const * text) { return *this = _bstr_t(text); }

    _bstr_t & operator+=(_bstr_t const & text);
    _bstr_t operator+(_bstr_t const & text) const;
    friend _bstr_t operator+(wchar_t const * left, _bstr_t const & right) { return _bstr_t(left) + right; }
    friend _bstr_t operator+(char const * left, _bstr_t const & right) { return _bstr_t(left) + right; }

    /// The characters; null for the null string.
    operator wchar_t const *() const noexcept { return Text(); }
    operator wchar_t *() const noexcept { return Text(); }
    /// The string as UTF-8, made at the first call; null for the null string.
    operator char const *() const;
    bool operator!() const noexcept { return m_data == nullptr; }

    /// By character; the null string is the empty one and below nothing.
    bool operator==(_bstr_t const & other) const noexcept { return Compare(other) == 0; }
    bool operator==(wchar_t const * text) const { return Compare(_bstr_t(text)) == 0; }
    bool operator==(char const * text) const { return Compare(_bstr_t(text)) == 0; }
    bool operator<(_bstr_t const & other) const noexcept { return Compare(other) < 0; }
    bool operator>(_bstr_t const & other) const noexcept { return Compare(other) > 0; }
    bool operator<=(_bstr_t const & other) const noexcept { return Compare(other) <= 0; }
    bool operator>=(_bstr_t const & other) const noexcept { return Compare(other) >= 0; }

    unsigned int length() const noexcept;
    /// A copy that the caller frees, or, with `copy` false, the string itself, still owned here.
    BSTR copy(bool copy = true) const;
    /// The string itself, shared with the copies.
    BSTR GetBSTR() const noexcept { return Text(); }
    void Assign(BSTR text);
    /// Takes the string over.
    void Attach(BSTR text);
    /// Gives the string to the caller: itself when no copy shares it, else a copy.
    BSTR Detach();

private:
    struct Data;
    BSTR Text() const noexcept;
    int Compare(_bstr_t const & other) const noexcept;
    static Data * Own(BSTR text);
    void Drop() noexcept;

    Data * m_data = nullptr;
};

/// Owns a variant. What cannot be done throws the platform's code as _com_error.
class QVLIB_API _variant_t : public tagVARIANT
{
public:
    _variant_t() noexcept : tagVARIANT() {}
    _variant_t(VARIANT const & value);
    /// A null pointer throws E_POINTER.
    _variant_t(VARIANT const * value);
    _variant_t(_variant_t const & value);
    _variant_t(_variant_t && value) noexcept : tagVARIANT(value) { value.vt = VT_EMPTY; }
    /// A copy, or, with `copy` false, the content of `value`, which is left empty.
    _variant_t(VARIANT & value, bool copy);
    /// `type` VT_I2 or VT_BOOL; another throws E_INVALIDARG.
    _variant_t(short value, VARTYPE type = VT_I2);
    /// `type` VT_I4, VT_ERROR or VT_BOOL.
    _variant_t(long value, VARTYPE type = VT_I4);
    _variant_t(float value, VARTYPE type = VT_R4);
    /// `type` VT_R8 or VT_DATE.
    _variant_t(double value, VARTYPE type = VT_R8);
    _variant_t(CY const & value) noexcept;
    _variant_t(_bstr_t const & value);
    _variant_t(wchar_t const * value);
    _variant_t(char const * value);
    _variant_t(IDispatch * object, bool addRef = true) noexcept;
    _variant_t(IUnknown * object, bool addRef = true) noexcept;
    _variant_t(bool value) noexcept;
    _variant_t(DECIMAL const & value) noexcept;
    _variant_t(unsigned char value, VARTYPE type = VT_UI1);
    _variant_t(char value) noexcept;
    _variant_t(unsigned short value) noexcept;
    _variant_t(unsigned long value);
    _variant_t(int value) noexcept;
    /// As the `long` form: HRESULT, LONG and a plain constant are int here.
    _variant_t(int value, VARTYPE type) : _variant_t(static_cast<long>(value), type) {}
    _variant_t(unsigned int value) noexcept;
    _variant_t(__int64 value) noexcept;
    _variant_t(unsigned __int64 value) noexcept;
    ~_variant_t() { VariantClear(this); }

    /// Takes any type that a constructor takes, in the way that it does.
    _variant_t & operator=(_variant_t value) noexcept
    {
        std::swap(static_cast<tagVARIANT &>(*this), static_cast<tagVARIANT &>(value));
        return *this;
    }

    // The value converted to the type, by way of VariantChangeType where the kind differs.
    operator short() const;
    operator long() const;
    operator float() const;
    operator double() const;
    operator CY() const;
    operator _bstr_t() const;
    operator bool() const;
    operator DECIMAL() const;
    operator unsigned char() const;
    operator char() const;
    operator unsigned short() const;
    operator unsigned long() const;
    operator int() const;
    operator unsigned int() const;
    operator __int64() const;
    operator unsigned __int64() const;
    /// The object with a reference for the caller.
    operator IDispatch *() const;
    operator IUnknown *() const;

    /// Whether kind and content are the same; no conversion.
    bool operator==(VARIANT const & other) const noexcept;
    bool operator==(_variant_t const & other) const noexcept { return *this == static_cast<VARIANT const &>(other); }
    bool operator==(VARIANT const * other) const noexcept { return other != nullptr && *this == *other; }

    void Clear();
    /// Takes the content of `value` over, which is left empty.
    void Attach(VARIANT & value);
    VARIANT Detach() noexcept { return std::exchange(static_cast<VARIANT &>(*this), VARIANT{}); }
    VARIANT & GetVARIANT() noexcept { return *this; }
    /// Converts this variant, or `source` into it.
    void ChangeType(VARTYPE type, _variant_t const * source = nullptr);
    /// Narrow (UTF-8) text.
    void SetString(char const * text);
};

// CGenericVal: one small object that holds a number, date, text, binary block or closure, and knows which.
//
// It is strict. Equality never crosses tags (1 as Int is not 1 as Long), a checked read demands the exact tag, and only
// the operations named GetAs... convert. Further things that a reader may not expect:
//  - a C++ `int` gives the tag Int, a `long` the tag Long; `long` means 32 bits, and one that does not fit throws
//    argument_out_of_range_exception;
//  - the Get... readers without a check read the payload as their own type, whatever the tag;
//  - blob values compare equal by content and are ordered by identity; two Error values are never equal;
//  - a moved-from value is Empty, a value moved onto itself too; assignment gives a reference to const.
//
//     qvlib::CGenericVal value(3.5);
//     double number = 0;
//     if (value.GetValue(number))
//         value.SetString(L"three and a half");
//     value.SmartConvert(L"12");                 // now an Int
//     qvlib::CQVString text = value.GetAsString();
//
// The object lies in place, so a value of any kind needs no memory of its own: copying a string value shares the
// characters, copying a blob value shares the buffer, and neither allocates. Thread rule: thread-compatible.
// Guarantees: copying and setting are strong; moving, and copying anything but a closure, do not throw.
#pragma once

#include "qvlib/Blob.h"
#include "qvlib/QVString.h"
#include "qvlib/VarType.h"
#include "qvlib/export.h"

#include <bit>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <new>
#include <typeinfo>
#include <utility>

class CArchive;
class _variant_t; // <qvlib/framework/comutil.h>

namespace qvlib
{

class CDateTime;
class CJulianDate;
class CRegistry;

class QVLIB_API CGenericVal
{
public:
    /// An object of a type that the library does not know. Called with a type's identity it gives the object seen as
    /// that type, called with null the pointer that stands for the object when values are compared.
    using Closure = std::function<void *(std::type_info const *)>;

    /// Each constructor gives the tag of its argument's name; CDateTime and CJulianDate give Date, a text String.
    CGenericVal() noexcept { Store(std::uint64_t{0}); }
    CGenericVal(bool value) noexcept : CGenericVal(VT_BOOL, static_cast<unsigned char>(value)) {}
    CGenericVal(char value) noexcept : CGenericVal(VT_I1, value) {}
    CGenericVal(unsigned char value) noexcept : CGenericVal(VT_UI1, value) {}
    CGenericVal(short value) noexcept : CGenericVal(VT_I2, value) {}
    CGenericVal(unsigned short value) noexcept : CGenericVal(VT_UI2, value) {}
    CGenericVal(int value) noexcept : CGenericVal(VT_INT, value) {}
    CGenericVal(unsigned int value) noexcept : CGenericVal(VT_UINT, value) {}
    CGenericVal(long value);
    CGenericVal(unsigned long value);
    CGenericVal(__int64 value) noexcept : CGenericVal(VT_I8, value) {}
    CGenericVal(unsigned __int64 value) noexcept : CGenericVal(VT_UI8, value) {}
    CGenericVal(float value) noexcept : CGenericVal(VT_R4, value) {}
    CGenericVal(double value) noexcept : CGenericVal(VT_R8, value) {}
    /// Null gives an empty String.
    CGenericVal(wchar_t const * value);
    CGenericVal(CQVString const & value) noexcept;
    CGenericVal(CBlob const & value) noexcept;
    CGenericVal(CDateTime const & value) noexcept;
    /// The day count becomes the serial as it is, with no change of epoch.
    CGenericVal(CJulianDate const & value) noexcept;
    /// Through SetAsVariant; a variant that cannot be held gives Empty.
    CGenericVal(_variant_t const & value);
    CGenericVal(Closure const & value);
    CGenericVal(CGenericVal const & other);
    CGenericVal(CGenericVal && other) noexcept;
    ~CGenericVal()
    {
        if (m_type == VT_LPWSTR)
            std::destroy_at(&Held<CQVString>());
        else
            DestroyNonTrivialObjects();
    }

    CGenericVal const & operator=(CGenericVal const & other);
    CGenericVal const & operator=(CGenericVal && other) noexcept;
    /// Takes type and content; `source` may be this value.
    void Copy(CGenericVal const & source);
    /// Takes the content over; `source` becomes Empty.
    void Move(CGenericVal & source) noexcept;

    VarType GetType() const noexcept { return m_type; }
    bool IsEmpty() const noexcept { return m_type == VT_EMPTY; }
    /// Frees the content; the type is VT_EMPTY afterwards.
    void Empty() noexcept { ChangeToTrivial(VT_EMPTY); }

    // Unchecked: the payload read as the named type, whatever the tag.
    bool GetBool() const noexcept { return Load<unsigned char>() != 0; }
    unsigned char GetByte() const noexcept { return Load<unsigned char>(); }
    char GetChar() const noexcept { return Load<char>(); }
    short GetShort() const noexcept { return Load<short>(); }
    unsigned short GetUShort() const noexcept { return Load<unsigned short>(); }
    int GetInt() const noexcept { return Load<int>(); }
    int GetUInt() const noexcept { return Load<int>(); } // signed on purpose: callers depend on it
    long GetLong() const noexcept { return Load<std::int32_t>(); }
    unsigned long GetULong() const noexcept { return Load<std::uint32_t>(); }
    __int64 GetLong64() const noexcept { return Load<__int64>(); }
    unsigned __int64 GetULong64() const noexcept { return Load<unsigned __int64>(); }
    float GetFloat() const noexcept { return Load<float>(); }
    double GetDouble() const noexcept { return Load<double>(); }
    double GetDate() const noexcept { return Load<double>(); }
    long GetError() const noexcept { return Load<std::int32_t>(); }

    // Checked: a reference into the value; unexpected_error unless the tag is exactly String, Blob or UserDefined.
    CQVString const & GetString() const { return Checked<CQVString>(VT_LPWSTR); }
    CQVString & GetString() { return Checked<CQVString>(VT_LPWSTR); }
    CBlob const & GetBlob() const { return Checked<CBlob>(VT_BLOB); }
    CBlob & GetBlob() { return Checked<CBlob>(VT_BLOB); }
    Closure const & GetClosure() const { return Checked<Closure>(VT_USERDEFINED); }
    Closure & GetClosure() { return Checked<Closure>(VT_USERDEFINED); }

    // Checked: stores and returns true only for the exact tag that a constructor gives for the type; else false, and
    // `out` stays. There is no conversion: a double is not read from a Float, nor from a Date.
    bool GetValue(bool & out) const noexcept { return m_type == VT_BOOL && (out = GetBool(), true); }
    bool GetValue(char & out) const noexcept { return Take(VT_I1, out); }
    bool GetValue(unsigned char & out) const noexcept { return Take(VT_UI1, out); }
    bool GetValue(short & out) const noexcept { return Take(VT_I2, out); }
    bool GetValue(unsigned short & out) const noexcept { return Take(VT_UI2, out); }
    bool GetValue(int & out) const noexcept { return Take(VT_INT, out); }
    bool GetValue(unsigned int & out) const noexcept { return Take(VT_UINT, out); }
    bool GetValue(long & out) const noexcept { return m_type == VT_I4 && (out = GetLong(), true); }
    bool GetValue(unsigned long & out) const noexcept { return m_type == VT_UI4 && (out = GetULong(), true); }
    bool GetValue(__int64 & out) const noexcept { return Take(VT_I8, out); }
    bool GetValue(unsigned __int64 & out) const noexcept { return Take(VT_UI8, out); }
    bool GetValue(float & out) const noexcept { return Take(VT_R4, out); }
    bool GetValue(double & out) const noexcept { return Take(VT_R8, out); }
    /// A pointer into the value's own string, valid until the value changes.
    bool GetValue(wchar_t const *& out) const noexcept;
    bool GetValue(CQVString & out) const noexcept;
    bool GetValue(CBlob & out) const noexcept;
    bool GetValue(CDateTime & out) const noexcept;
    /// Copies; always true.
    bool GetValue(CGenericVal & out) const;

    // Setters. The argument may lie in the value itself.
    void SetBool(bool value) noexcept { Set(VT_BOOL, static_cast<unsigned char>(value)); }
    void SetByte(unsigned char value) noexcept { Set(VT_UI1, value); }
    void SetChar(char value) noexcept { Set(VT_I1, value); }
    void SetShort(short value) noexcept { Set(VT_I2, value); }
    void SetUShort(unsigned short value) noexcept { Set(VT_UI2, value); }
    void SetInt(int value) noexcept { Set(VT_INT, value); }
    void SetUInt(int value) noexcept { Set(VT_UINT, value); } // signed on purpose: callers depend on it
    void SetLong(long value);
    void SetULong(unsigned long value);
    void SetLong64(__int64 value) noexcept { Set(VT_I8, value); }
    void SetULong64(unsigned __int64 value) noexcept { Set(VT_UI8, value); }
    void SetFloat(float value) noexcept { Set(VT_R4, value); }
    void SetDouble(double value) noexcept { Set(VT_R8, value); }
    /// A serial day count.
    void SetDate(double value) noexcept { Set(VT_DATE, value); }
    /// A platform result code.
    void SetError(long value);
    void SetString(CQVString const & value) noexcept;
    void SetBlob(CBlob const & value) noexcept;
    void SetClosure(Closure const & value);

    /// False when the tags differ. Equal tags compare by content, closures by the pointers that they give for null; an
    /// empty closure throws std::bad_function_call. Tags without a rule, Error among them, are never equal.
    bool operator==(CGenericVal const & other) const;
    /// By tag number first; then by content, blobs by the identity of their buffers. Floating-point numbers that are
    /// not numbers are below nothing. Two values of a tag without a rule compare by stale bytes: do not count on the
    /// result.
    bool operator<(CGenericVal const & other) const;

    /// The number of any numeric tag; 0 for all others, texts included.
    double GetAsDouble() const noexcept;
    /// The number of Short, Long, Int and Char; 0 for all others.
    long GetSignedIntegral32() const noexcept;
    /// The value as text; empty for what has no text. Dates in the user's default locale.
    CQVString GetAsString() const;
    CQVString & GetAsString(CQVString & out) const;
    CQVString ToString() const { return GetAsString(); }

    /// A variant of the same number, with these exceptions: Date gives VT_R8, String VT_BSTR, and all that is no number
    /// and no text VT_INT 0.
    _variant_t GetAsVariant() const;
    _variant_t ToVariant() const;
    operator _variant_t() const;
    /// Takes numbers, dates, truth values and texts; for any other variant false, and the value stays.
    bool SetAsVariant(_variant_t const & value);

    /// A value of the given type from text. Numbers never fail: what cannot be read is 0. The unsigned types up to 32
    /// bits go through a signed parser. False, and the value unchanged, for an empty text unless the type is Empty or a
    /// text; for a date that cannot be read; and for the types that have no text.
    bool Parse(wchar_t const * text, VARENUM type);
    bool TryParse(wchar_t const * text, VARENUM type) { return Parse(text, type); }
    /// Takes the type from the look of the text: Int, Double, Date, Bool ("true", "false") or else String. False, and
    /// the value unchanged, for an empty text.
    bool SmartConvert(wchar_t const * text);

    /// Stores or loads the version word, the tag and the value, by the archive's direction. A tag that cannot be stored
    /// throws the invalid-argument exception, after version and tag have gone out or come in.
    void Serialize(CArchive & archive);
    /// Keeps the value as text under `name`, or reads it back as `type`. Storing wants `type` Empty or the value's own.
    /// False when it fails; the value then stays.
    bool SerializeRegistry(CRegistry & registry, wchar_t const * name, VarType type, bool storing);

protected:
    /// Makes the value one of that tag: an empty string, blob or closure, or whatever the payload reads as.
    void ChangeType(VARENUM type);
    /// Ends a held string, blob or closure. The tag stays.
    void DestroyNonTrivialObjects() noexcept
    {
        if (IsNonTrivial(m_type))
            DestroyObject();
    }
    CQVString const & GetStringRef() const { return GetString(); }
    CQVString & GetStringRef() { return GetString(); }
    CBlob const & GetBlobRef() const { return GetBlob(); }
    CBlob & GetBlobRef() { return GetBlob(); }
    Closure const & GetClosureRef() const { return GetClosure(); }
    Closure & GetClosureRef() { return GetClosure(); }

private:
    static constexpr bool IsNonTrivial(VARENUM type) noexcept
    {
        return type == VT_LPWSTR || type == VT_BLOB || type == VT_USERDEFINED;
    }

    /// How many payload bytes decide whether two values of a tag are equal; 0 for a tag that has another rule.
    static constexpr unsigned EqualBytes(VARENUM type) noexcept
    {
        constexpr unsigned char kBytes[] = {0, 0, 2, 4, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 1, 2, 4, 8, 8, 4, 4};
        return static_cast<unsigned>(type) < sizeof kBytes ? kBytes[type] : 0U;
    }

    // The first eight payload bytes are plain data at all times: set at construction and again when an object ends.
    template <class T>
    CGenericVal(VARENUM type, T value) noexcept : m_type(type)
    {
        static_assert(sizeof(T) <= sizeof(std::uint64_t));
        if constexpr (sizeof(T) < sizeof(std::uint64_t))
            Store(std::uint64_t{0});
        Store(value);
    }
    template <class T>
    void Store(T value) noexcept
    {
        std::memcpy(m_payload, &value, sizeof value);
    }
    template <class T>
    T Load() const noexcept
    {
        T value;
        std::memcpy(&value, m_payload, sizeof value);
        return value;
    }
    template <class T>
    T & Held() noexcept
    {
        return *std::launder(reinterpret_cast<T *>(m_payload));
    }
    template <class T>
    T const & Held() const noexcept
    {
        return *std::launder(reinterpret_cast<T const *>(m_payload));
    }
    template <class T>
    T & Checked(VARENUM type)
    {
        if (m_type != type)
            ThrowUnexpected();
        return Held<T>();
    }
    template <class T>
    T const & Checked(VARENUM type) const
    {
        if (m_type != type)
            ThrowUnexpected();
        return Held<T>();
    }
    template <class T>
    bool Take(VARENUM type, T & out) const noexcept
    {
        if (m_type != type)
            return false;
        out = Load<T>();
        return true;
    }
    template <class T>
    void Set(VARENUM type, T value) noexcept
    {
        ChangeToTrivial(type);
        Store(value);
    }
    void ChangeToTrivial(VARENUM type) noexcept
    {
        DestroyNonTrivialObjects();
        m_type = type;
    }
    /// Puts an object of another kind than the one held in place; the argument is a copy already.
    template <class T>
    void Emplace(VARENUM type, T && object) noexcept
    {
        DestroyNonTrivialObjects();
        m_type = type;
        ::new (static_cast<void *>(m_payload)) std::remove_reference_t<T>(std::move(object));
    }

    void DestroyObject() noexcept;
    void CopyObject(CGenericVal const & source); // a blob or a closure
    template <class T>
    void MoveObject(T & held, CGenericVal & source) noexcept
    {
        VARENUM const type = source.m_type;
        T taken(std::move(held));
        std::destroy_at(&held);
        source.m_type = VT_EMPTY;
        source.Store(std::uint64_t{0});
        if (m_type == type)
            std::swap(Held<T>(), taken);
        else
            Emplace(type, std::move(taken));
    }
    // For tags that the operators do not decide in place.
    bool EqualsSameType(CGenericVal const & other) const;
    bool LessSameType(CGenericVal const & other) const;
    [[noreturn]] static void ThrowUnexpected();

    VARENUM m_type = VT_EMPTY;
    alignas(Closure) alignas(std::uint64_t) unsigned char m_payload[sizeof(Closure)];

    static_assert(sizeof(CQVString) <= sizeof(Closure) && sizeof(CBlob) <= sizeof(Closure));
};

inline CGenericVal::CGenericVal(CQVString const & value) noexcept : CGenericVal()
{
    Emplace(VT_LPWSTR, CQVString(value));
}

inline CGenericVal::CGenericVal(CBlob const & value) noexcept : CGenericVal() { Emplace(VT_BLOB, CBlob(value)); }

inline CGenericVal::CGenericVal(CGenericVal const & other) : CGenericVal() { Copy(other); }

inline CGenericVal::CGenericVal(CGenericVal && other) noexcept : CGenericVal() { Move(other); }

inline CGenericVal const & CGenericVal::operator=(CGenericVal const & other)
{
    Copy(other);
    return *this;
}

inline CGenericVal const & CGenericVal::operator=(CGenericVal && other) noexcept
{
    Move(other);
    return *this;
}

inline void CGenericVal::Copy(CGenericVal const & source)
{
    if (source.m_type == VT_LPWSTR)
    {
        SetString(source.Held<CQVString>());
        return;
    }
    if (IsNonTrivial(source.m_type))
    {
        CopyObject(source);
        return;
    }
    // Both are read first: the source may belong to the closure that ends here.
    VARENUM const type = source.m_type;
    std::uint64_t const payload = source.Load<std::uint64_t>();
    ChangeToTrivial(type);
    Store(payload);
}

inline void CGenericVal::Move(CGenericVal & source) noexcept
{
    // In each case the content is out of the source before anything here ends: the source may belong to a closure here.
    if (this == &source)
        Empty();
    else if (source.m_type == VT_LPWSTR)
        MoveObject(source.Held<CQVString>(), source);
    else if (source.m_type == VT_BLOB)
        MoveObject(source.Held<CBlob>(), source);
    else if (source.m_type == VT_USERDEFINED)
        MoveObject(source.Held<Closure>(), source);
    else
    {
        VARENUM const type = std::exchange(source.m_type, VT_EMPTY);
        std::uint64_t const payload = source.Load<std::uint64_t>();
        ChangeToTrivial(type);
        Store(payload);
    }
}

inline bool CGenericVal::operator==(CGenericVal const & other) const
{
    if (m_type != other.m_type)
        return false;
    if (m_type == VT_LPWSTR)
        return Held<CQVString>() == other.Held<CQVString>();
    if (m_type == VT_R8 || m_type == VT_DATE)
        return Load<double>() == other.Load<double>();
    if (unsigned const bytes = EqualBytes(m_type); bytes != 0)
    {
        std::uint64_t const difference = Load<std::uint64_t>() ^ other.Load<std::uint64_t>();
        unsigned const unused = 64 - 8 * bytes;
        if constexpr (std::endian::native == std::endian::little)
            return difference << unused == 0;
        else
            return difference >> unused == 0;
    }
    return EqualsSameType(other);
}

inline bool CGenericVal::operator<(CGenericVal const & other) const
{
    if (m_type != other.m_type)
        return m_type < other.m_type;
    if (m_type == VT_INT || m_type == VT_I4)
        return Load<std::int32_t>() < other.Load<std::int32_t>();
    if (m_type == VT_R8 || m_type == VT_DATE)
        return Load<double>() < other.Load<double>();
    if (m_type == VT_LPWSTR)
        return Held<CQVString>().View() < other.Held<CQVString>().View();
    return LessSameType(other);
}

inline bool CGenericVal::GetValue(wchar_t const *& out) const noexcept
{
    if (m_type != VT_LPWSTR)
        return false;
    out = Held<CQVString>().GetString();
    return true;
}

inline bool CGenericVal::GetValue(CQVString & out) const noexcept
{
    if (m_type != VT_LPWSTR)
        return false;
    out = Held<CQVString>();
    return true;
}

inline bool CGenericVal::GetValue(CBlob & out) const noexcept
{
    if (m_type != VT_BLOB)
        return false;
    out = Held<CBlob>();
    return true;
}

inline bool CGenericVal::GetValue(CGenericVal & out) const
{
    out.Copy(*this);
    return true;
}

inline void CGenericVal::SetString(CQVString const & value) noexcept
{
    if (m_type == VT_LPWSTR)
        Held<CQVString>() = value;
    else
        Emplace(VT_LPWSTR, CQVString(value));
}

inline void CGenericVal::SetBlob(CBlob const & value) noexcept
{
    if (m_type == VT_BLOB)
        Held<CBlob>() = value;
    else
        Emplace(VT_BLOB, CBlob(value));
}

} // namespace qvlib

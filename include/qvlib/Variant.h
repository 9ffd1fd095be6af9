// qrvariant_t: a variant that owns what it holds; tmpvariant_t: one that only looks at what another owns.
//
// Both are tagVARIANTs of 16 bytes and can be handed to every function of the platform. They differ from `_variant_t`
// in what conversions do: the numeric getters read numbers only and never fail (a text gives 0), `GetAsString` reads
// texts only, and `ToString` alone converts. A qrvariant_t is always copied, also from a temporary: a tmpvariant_t
// handed to it must not lose what its owner keeps. What cannot be done throws the platform's code as _com_error.
//
//     qvlib::qrvariant_t price(12.5);
//     price.GetAsIntegral();                // 12
//     price = L"12.5";                      // what was held is given back first
//     price.IsString();                     // true
//     qvlib::qrvariant_t const truth(true); // VT_BOOL, -1
//     truth.ToString();                     // "-1"
//
// `long` and `unsigned long` mean 32 bits; a value that does not fit throws argument_out_of_range_exception, and all
// ones of either width are 0xFFFFFFFF. Thread rule: thread-compatible.
#pragma once

#include "qvlib/DateTime.h"
#include "qvlib/QVString.h"
#include "qvlib/VarType.h"
#include "qvlib/export.h"
#include "qvlib/framework/comutil.h"
#include "qvlib/host/variant.h"

#include <concepts>
#include <iosfwd>

namespace qvlib
{

/// What can be read of a variant, whoever owns it. Base of the two classes below; adds no data.
class QVLIB_API variant_reader : public tagVARIANT
{
public:
    operator tagVARIANT const *() const noexcept { return this; }
    /// To tagVARIANT *, which functions that only read may ask for, too; of a view, give it to no other. A template, so
    /// that it never stands beside the conversion above, of whose choice compilers warn.
    template <std::same_as<tagVARIANT> Variant>
    operator Variant *() noexcept
    {
        return this;
    }

    /// The type word whole, VT_ARRAY and VT_BYREF included; so an array of numbers is not numeric.
    VarType GetVarType() const noexcept { return VarType(vt); }
    bool IsNumeric() const noexcept { return GetVarType().IsNumeric(); }
    bool IsIntegral() const noexcept { return GetVarType().IsIntegral(); }
    bool IsSignedIntegral() const noexcept { return GetVarType().IsSignedIntegral(); }
    bool IsUnsignedIntegral() const noexcept { return GetVarType().IsUnsignedIntegral(); }
    bool IsFloatingPoint() const noexcept { return GetVarType().IsFloatingPoint(); }
    bool IsString() const noexcept { return GetVarType().IsText(); }

    /// A number, date or truth value (true is -1) as a double; 0 for any other kind, texts, VT_CY and VT_DECIMAL
    /// included.
    double GetAsDouble() const noexcept;
    /// GetAsDouble without its fraction, the low 32 bits of it: so large 64-bit numbers lose digits.
    long GetAsIntegral() const noexcept;
    long GetAsSignedIntegral() const noexcept { return GetAsIntegral(); }
    unsigned long GetAsUnsignedIntegral() const noexcept;
    /// The text of a VT_BSTR; empty for any other kind.
    CQVString GetAsString() const;
    /// The value as text in the user's default locale. Throws the code of a conversion that is not there.
    CQVString ToString() const;

    // The pointer that is stored, without a reference or copy for the caller. For another kind null, or, with `strict`,
    // DISP_E_TYPEMISMATCH thrown.

    wchar_t * GetBSTR(bool strict) const;
    IDispatch * GetIDispatch(bool strict) const;
    /// Of a VT_UNKNOWN or VT_DISPATCH.
    IUnknown * GetIUnknown(bool strict) const;

    /// Puts the value into the stream by the stream's own insertion for its type, a VT_I1 or VT_UI1 as a character. The
    /// narrow stream takes the address of a text and a truth value as a number; the wide stream takes the text itself,
    /// a truth value as bool and a VT_UI1 as int. Other kinds put nothing. Returns the stream.
    std::ostream & WriteValueToStream(std::ostream & stream) const;
    std::wostream & WriteValueToStream(std::wostream & stream) const;

    /// VarCmp(this, &other, 0, 0) says less. False where there is no answer.
    bool operator<(variant_reader const & other) const;
    /// Would compare addresses, by way of the conversion to a pointer.
    bool operator==(variant_reader const &) const = delete;

protected:
    variant_reader() noexcept : tagVARIANT() {}
    explicit variant_reader(tagVARIANT const & bits) noexcept : tagVARIANT(bits) {}
    variant_reader(variant_reader const &) noexcept = default;
    variant_reader & operator=(variant_reader const &) noexcept = default;
    ~variant_reader() = default;
};

/// Owns what the variant holds: a text, a reference to an object, an array.
class QVLIB_API qrvariant_t : public variant_reader
{
public:
    // The kind follows the argument's type. Sources that are variants are copied with VariantCopy.

    qrvariant_t() noexcept = default;
    qrvariant_t(tagVARIANT const & value) { Copy(value); }
    qrvariant_t(qrvariant_t const & value) : variant_reader() { Copy(value); }
    /// Copies, too: a move would take from a view what its owner keeps. Kept so on purpose.
    qrvariant_t(qrvariant_t && value) : variant_reader() { Copy(value); }
    qrvariant_t(_variant_t const & value);
    /// A null pointer throws E_POINTER.
    qrvariant_t(tagVARIANT const * value);
    /// A copy, or, with `copy` false, the content of `value`, which is left empty.
    qrvariant_t(tagVARIANT & value, bool copy);
    /// VT_BSTR; a null text stays null.
    qrvariant_t(wchar_t const * text);
    /// VT_BSTR, from narrow (UTF-8) text.
    qrvariant_t(char const * text);
    /// VT_BSTR, byte for byte; an empty text gives null.
    qrvariant_t(_bstr_t const & text);
    qrvariant_t(char value) noexcept;
    qrvariant_t(unsigned char value) noexcept;
    /// `type` VT_I2 or VT_BOOL; another throws E_INVALIDARG.
    qrvariant_t(short value, unsigned short type = VT_I2);
    qrvariant_t(unsigned short value) noexcept;
    /// VT_INT; of a LONG or HRESULT, too, which are int here.
    qrvariant_t(int value) noexcept;
    /// As the `long` form.
    qrvariant_t(int value, unsigned short type) : qrvariant_t(static_cast<long>(value), type) {}
    /// VT_UINT.
    qrvariant_t(unsigned int value) noexcept;
    /// `type` VT_I4, VT_ERROR or VT_BOOL; another throws E_INVALIDARG.
    qrvariant_t(long value, unsigned short type = VT_I4);
    qrvariant_t(unsigned long value);
    qrvariant_t(__int64 value) noexcept;
    qrvariant_t(unsigned __int64 value) noexcept;
    qrvariant_t(float value) noexcept;
    /// `type` VT_R8 or VT_DATE; another throws E_INVALIDARG.
    qrvariant_t(double value, unsigned short type = VT_R8);
    qrvariant_t(CDateTime value) noexcept;
    /// VT_BOOL, -1 or 0.
    qrvariant_t(bool value) noexcept;
    qrvariant_t(tagCY const & value) noexcept;
    qrvariant_t(tagDEC const & value) noexcept;
    /// Adds a reference, unless `addRef` is false and the caller's is taken over.
    qrvariant_t(IDispatch * object, bool addRef = true) noexcept;
    qrvariant_t(IUnknown * object, bool addRef = true) noexcept;
    ~qrvariant_t()
    {
        if (!IsPlain(vt))
            VariantClear(this);
    }

    // Each gives back what was held, then holds what the constructor of that argument makes. The argument may be the
    // variant itself or lie in what it holds. Strong: what throws leaves the variant, the code of a locked array
    // included.

    qrvariant_t & operator=(tagVARIANT const & value)
    {
        Copy(value);
        return *this;
    }
    qrvariant_t & operator=(qrvariant_t const & value)
    {
        Copy(value);
        return *this;
    }
    qrvariant_t & operator=(qrvariant_t && value)
    {
        Copy(value);
        return *this;
    }
    qrvariant_t & operator=(_variant_t const & value);
    qrvariant_t & operator=(tagVARIANT const * value);
    qrvariant_t & operator=(wchar_t const * text);
    qrvariant_t & operator=(char const * text);
    qrvariant_t & operator=(_bstr_t const & text);
    qrvariant_t & operator=(char value);
    qrvariant_t & operator=(unsigned char value);
    qrvariant_t & operator=(short value);
    qrvariant_t & operator=(unsigned short value);
    qrvariant_t & operator=(int value);
    qrvariant_t & operator=(unsigned int value);
    qrvariant_t & operator=(long value);
    qrvariant_t & operator=(unsigned long value);
    qrvariant_t & operator=(__int64 value);
    qrvariant_t & operator=(unsigned __int64 value);
    qrvariant_t & operator=(float value);
    qrvariant_t & operator=(double value);
    qrvariant_t & operator=(CDateTime value);
    qrvariant_t & operator=(bool value);
    qrvariant_t & operator=(tagCY const & value);
    qrvariant_t & operator=(tagDEC const & value);
    qrvariant_t & operator=(IDispatch * object);
    qrvariant_t & operator=(IUnknown * object);

    /// Becomes VT_ERROR with the code. What was held is forgotten, not given back: for a variant that holds nothing.
    void SetError(long code);
    /// Gives back what was held and takes the content of `source`, which is left empty.
    void TransferOwnership(tagVARIANT & source);
    /// Clears `target`, which must be a live variant, and gives it the content; this variant is left empty.
    void TransferOwnershipTo(tagVARIANT & target);

    /// The same as between views; here the right side may be whatever a variant is made of.
    bool operator<(qrvariant_t const & other) const { return variant_reader::operator<(other); }
    using variant_reader::operator<;

private:
    /// Whether a variant of the kind owns nothing, so that its bits are a copy.
    static constexpr bool IsPlain(unsigned short kind) noexcept
    {
        constexpr unsigned kOwners = 1U << VT_BSTR | 1U << VT_DISPATCH | 1U << VT_VARIANT | 1U << VT_UNKNOWN | 1U << 15;
        return kind <= VT_UINT && (kOwners >> kind & 1U) == 0;
    }
    void Copy(tagVARIANT const & value)
    {
        if (IsPlain(value.vt) && IsPlain(vt))
            static_cast<tagVARIANT &>(*this) = value;
        else
            _com_util::CheckError(VariantCopy(this, &value));
    }
    template <class... Source>
    qrvariant_t & Assign(Source const &... source);
};

/// A view of a variant that another owns: copies are bitwise, and nothing is ever given back. Good as long as the owner
/// keeps the content. Assign it to a qrvariant_t to keep a copy.
class tmpvariant_t : public variant_reader
{
public:
    tmpvariant_t() noexcept = default;
    explicit tmpvariant_t(tagVARIANT const & owned) noexcept : variant_reader(owned) {}
    tmpvariant_t(tmpvariant_t const &) noexcept = default;
    tmpvariant_t & operator=(tmpvariant_t const &) noexcept = default;
    ~tmpvariant_t() { VariantInit(this); }
};

static_assert(sizeof(qrvariant_t) == sizeof(tagVARIANT) && sizeof(tmpvariant_t) == sizeof(tagVARIANT));

} // namespace qvlib

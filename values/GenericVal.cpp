#include "qvlib/GenericVal.h"

#include "foundation/internal/narrow32.h"
#include "qvlib/DateTime.h"
#include "qvlib/Exceptions.h"
#include "qvlib/JulianDate.h"

namespace qvlib
{

CGenericVal::CGenericVal(long value) : CGenericVal(VT_I4, internal::NarrowLong(value)) {}

CGenericVal::CGenericVal(unsigned long value) : CGenericVal(VT_UI4, internal::NarrowULong(value)) {}

CGenericVal::CGenericVal(wchar_t const * value) : CGenericVal(CQVString(value)) {}

CGenericVal::CGenericVal(CDateTime const & value) noexcept : CGenericVal(VT_DATE, value.GetValue()) {}

CGenericVal::CGenericVal(CJulianDate const & value) noexcept
    : CGenericVal(VT_DATE, static_cast<double>(static_cast<std::uint32_t>(value.GetValue())))
{
}

CGenericVal::CGenericVal(Closure const & value) : CGenericVal() { SetClosure(value); }

void CGenericVal::SetLong(long value) { Set(VT_I4, internal::NarrowLong(value)); }

void CGenericVal::SetULong(unsigned long value) { Set(VT_UI4, internal::NarrowULong(value)); }

void CGenericVal::SetError(long value) { Set(VT_ERROR, internal::NarrowLong(value)); }

void CGenericVal::SetClosure(Closure const & value)
{
    if (m_type == VT_USERDEFINED)
        Held<Closure>() = value;
    else
        Emplace(VT_USERDEFINED, Closure(value));
}

bool CGenericVal::GetValue(CDateTime & out) const noexcept
{
    if (m_type != VT_DATE)
        return false;
    out = CDateTime(Load<double>());
    return true;
}

void CGenericVal::ChangeType(VARENUM type)
{
    if (m_type == type)
        return;
    switch (type)
    {
    case VT_LPWSTR:
        Emplace(type, CQVString());
        break;
    case VT_BLOB:
        Emplace(type, CBlob());
        break;
    case VT_USERDEFINED:
        Emplace(type, Closure());
        break;
    default:
        ChangeToTrivial(type);
    }
}

void CGenericVal::DestroyObject() noexcept
{
    switch (m_type)
    {
    case VT_LPWSTR:
        std::destroy_at(&Held<CQVString>());
        break;
    case VT_BLOB:
        std::destroy_at(&Held<CBlob>());
        break;
    default:
        std::destroy_at(&Held<Closure>());
    }
    Store(std::uint64_t{0});
}

void CGenericVal::CopyObject(CGenericVal const & source)
{
    if (source.m_type == VT_BLOB)
        SetBlob(source.Held<CBlob>());
    else
        SetClosure(source.Held<Closure>());
}

bool CGenericVal::EqualsSameType(CGenericVal const & other) const
{
    switch (m_type)
    {
    case VT_EMPTY:
        return true;
    case VT_R4:
        return Load<float>() == other.Load<float>();
    case VT_BLOB:
        return Held<CBlob>() == other.Held<CBlob>();
    case VT_USERDEFINED:
        return Held<Closure>()(nullptr) == other.Held<Closure>()(nullptr);
    default:
        return false; // Error values too, even one and the same: callers depend on it
    }
}

bool CGenericVal::LessSameType(CGenericVal const & other) const
{
    switch (m_type)
    {
    case VT_I2:
        return Load<std::int16_t>() < other.Load<std::int16_t>();
    case VT_R4:
        return Load<float>() < other.Load<float>();
    case VT_BOOL:
    case VT_UI1:
        return Load<unsigned char>() < other.Load<unsigned char>();
    case VT_I1:
        return Load<signed char>() < other.Load<signed char>();
    case VT_UI2:
        return Load<std::uint16_t>() < other.Load<std::uint16_t>();
    case VT_UI4:
    case VT_UINT:
        return Load<std::uint32_t>() < other.Load<std::uint32_t>();
    case VT_I8:
        return Load<std::int64_t>() < other.Load<std::int64_t>();
    case VT_UI8:
        return Load<std::uint64_t>() < other.Load<std::uint64_t>();
    case VT_BLOB:
        return Held<CBlob>() < other.Held<CBlob>(); // by identity, although == looks at content
    case VT_USERDEFINED:
        return reinterpret_cast<std::uintptr_t>(Held<Closure>()(nullptr)) <
               reinterpret_cast<std::uintptr_t>(other.Held<Closure>()(nullptr));
    default: // whatever the payload reads as
        return Load<double>() < other.Load<double>();
    }
}

void CGenericVal::ThrowUnexpected() { throw unexpected_error(); }

} // namespace qvlib

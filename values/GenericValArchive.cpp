// The generic value's record in an archive: version word, tag, value.

#include "qvlib/GenericVal.h"
#include "qvlib/framework/archive.h"

namespace qvlib
{
namespace
{

constexpr std::uint32_t kVersion = 1;

template <class T>
T Read(CArchive & archive)
{
    T value;
    archive >> value;
    return value;
}

} // namespace

void CGenericVal::Serialize(CArchive & archive)
{
    if (archive.IsStoring())
    {
        archive << kVersion << static_cast<std::int32_t>(m_type);
        switch (m_type)
        {
        case VT_EMPTY:
            return;
        case VT_I2:
        case VT_UI2:
            archive << GetUShort();
            return;
        case VT_I4:
        case VT_UI4:
        case VT_INT:
        case VT_UINT:
            archive << Load<std::uint32_t>();
            return;
        case VT_R4:
            archive << GetFloat();
            return;
        case VT_R8:
        case VT_DATE:
            archive << GetDouble();
            return;
        case VT_BOOL:
            archive << GetBool();
            return;
        case VT_I1:
        case VT_UI1:
            archive << GetByte();
            return;
        case VT_I8:
        case VT_UI8:
            archive << GetULong64();
            return;
        case VT_LPWSTR:
            archive << Held<CQVString>();
            return;
        default: // version and tag have gone out by now, as readers of old files know
            AfxThrowInvalidArgException();
        }
    }

    if (Read<std::uint32_t>(archive) > kVersion)
        AfxThrowArchiveException(CArchiveException::badSchema, archive.m_strFileName);
    ChangeType(static_cast<VARENUM>(Read<std::int32_t>(archive)));
    switch (m_type)
    {
    case VT_EMPTY:
        return;
    case VT_I2:
    case VT_UI2:
        Store(Read<unsigned short>(archive));
        return;
    case VT_I4:
    case VT_UI4:
    case VT_INT:
    case VT_UINT:
        Store(Read<std::uint32_t>(archive));
        return;
    case VT_R4:
        Store(Read<float>(archive));
        return;
    case VT_R8:
    case VT_DATE:
        Store(Read<double>(archive));
        return;
    case VT_BOOL:
        SetBool(Read<bool>(archive));
        return;
    case VT_I1:
    case VT_UI1:
        Store(Read<unsigned char>(archive));
        return;
    case VT_I8:
    case VT_UI8:
        Store(Read<unsigned __int64>(archive));
        return;
    case VT_LPWSTR:
        archive >> Held<CQVString>();
        return;
    default:
        AfxThrowInvalidArgException();
    }
}

} // namespace qvlib

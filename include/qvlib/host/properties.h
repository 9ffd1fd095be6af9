// The list of key and value pairs in which records and settings travel between components.
//
//     _com_ptr_t<QRGenObjsLib::IQRProperties> list;
//     list.CreateInstance(QRGenObjsLib::CLSID_QRProperties);
//     list->put_Item(_variant_t(L"Colour"), _variant_t(3L));
//     long count = 0;
//     list->get_Count(&count); // 1
#pragma once

#include "qvlib/host/variant.h"

namespace QRGenObjsLib
{

/// Pairs of variants in the order in which they were put. Positions count from 1.
struct IQRProperties : IDispatch
{
    virtual HRESULT STDMETHODCALLTYPE get_Count(long * count) = 0;
    /// Copies the pair at a position into two variants, which are cleared first. DISP_E_BADINDEX for a position outside
    /// the list. A list of another's making may have holes: a status other than S_OK means that no pair came.
    virtual HRESULT STDMETHODCALLTYPE get_Item(long position, VARIANT * key, VARIANT * value) = 0;
    /// Appends a copy of the pair. Keys are not compared: a key put twice is there twice.
    virtual HRESULT STDMETHODCALLTYPE put_Item(VARIANT const & key, VARIANT const & value) = 0;

protected:
    ~IQRProperties() = default;
};

inline constexpr IID IID_IQRProperties{0x7CEEACB0, 0xD59E, 0x11D3, {0x83, 0x94, 0x00, 0xC0, 0x4F, 0x7B, 0xDF, 0x10}};
/// The class of such lists, for CoCreateInstance. Its objects belong to one thread at a time.
inline constexpr CLSID CLSID_QRProperties{0x7CEEACB2, 0xD59E, 0x11D3, {0x83, 0x94, 0x00, 0xC0, 0x4F, 0x7B, 0xDF, 0x10}};

} // namespace QRGenObjsLib

#if !defined(_WIN32)
template <>
inline constexpr IID qvlib::host::kInterfaceId<QRGenObjsLib::IQRProperties> = QRGenObjsLib::IID_IQRProperties;
#endif

// Sizes and writing of records, and display names. Reading is in MarshallingRead.cpp.

#include "qvlib/Marshalling.h"

#include "com/internal/array_elements.h"
#include "com/internal/marshal_records.h"
#include "qvlib/SafeArrayVector.h"
#include "qvlib/framework/comutil.h"
#include "qvlib/host/moniker.h"
#include "qvlib/host/utf16.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <utility>

namespace qvlib
{
namespace
{

using internal::AccessSize;
using internal::ElementKind;
using internal::Guarded;
using internal::InterfaceOf;
using internal::IsPlain;
using internal::kMaxDepth;
using internal::LockedArray;

/// How the platform is to marshal the interfaces in a variant.
struct Destination
{
    DWORD context;
    void * contextData;
    DWORD flags;

    Destination(unsigned long destContext, void * destContextData, unsigned long marshalFlags) noexcept
        : context(static_cast<DWORD>(destContext)), contextData(destContextData),
          flags(static_cast<DWORD>(marshalFlags))
    {
    }
};

unsigned long long TextSize(wchar_t const * text)
{
    return 4 + 2 * static_cast<unsigned long long>(host::Utf16Length(text, SysStringLen(const_cast<wchar_t *>(text))));
}

/// Gathers small writes into one. Ends with Flush, also after a failure: the stream is left where that occurred.
class RecordWriter
{
public:
    explicit RecordWriter(IStream * stream) noexcept : m_stream(stream) {}
    RecordWriter(RecordWriter const &) = delete;
    RecordWriter & operator=(RecordWriter const &) = delete;

    HRESULT Put(void const * bytes, std::size_t size)
    {
        if (size > sizeof m_buffer - m_used)
            if (HRESULT const result = Flush(); FAILED(result))
                return result;
        std::memcpy(m_buffer + m_used, bytes, size);
        m_used += size;
        return S_OK;
    }
    template <class Number>
    HRESULT PutNumber(Number number)
    {
        return Put(&number, sizeof number);
    }

    /// The record of an element of one size.
    HRESULT PutPlain(unsigned short vt, void const * element)
    {
        unsigned char record[2 + 8] = {};
        std::memcpy(record, &vt, sizeof vt);
        switch (AccessSize(vt))
        {
        case 1:
            std::memcpy(record + 2, element, 1);
            break;
        case 2:
            std::memcpy(record + 2, element, 2);
            break;
        case 4:
            std::memcpy(record + 2, element, 4);
            break;
        default:
            std::memcpy(record + 2, element, 8);
        }
        return Put(record, 2 + safearrayvector::GetDataSize(vt));
    }

    HRESULT PutText(wchar_t const * text)
    {
        std::size_t const length = SysStringLen(const_cast<wchar_t *>(text));
        std::size_t const bytes = 2 * host::Utf16Length(text, length);
        if (bytes > 0xFFFFFFFFU)
            return E_OUTOFMEMORY;
        if (HRESULT const result = PutNumber(static_cast<std::uint32_t>(bytes)); FAILED(result))
            return result;
        constexpr std::size_t kPiece = 256; // of characters: two units each at most
        for (std::size_t done = 0; done < length; done += kPiece)
        {
            std::size_t const piece = std::min(length - done, kPiece);
            if (sizeof m_buffer - m_used < 4 * piece)
                if (HRESULT const result = Flush(); FAILED(result))
                    return result;
            m_used += 2 * host::EncodeUtf16(text + done, piece, m_buffer + m_used);
        }
        return S_OK;
    }

    HRESULT PutInterface(IUnknown * object, unsigned short vt, Destination const & destination)
    {
        if (HRESULT const result = Flush(); FAILED(result))
            return result;
        return CoMarshalInterface(m_stream, InterfaceOf(vt), object, destination.context, destination.contextData,
                                  destination.flags);
    }

    HRESULT Flush()
    {
        std::size_t const size = std::exchange(m_used, 0);
        if (size == 0)
            return S_OK;
        ULONG written = 0;
        HRESULT const result = m_stream->Write(m_buffer, static_cast<ULONG>(size), &written);
        if (FAILED(result))
            return result;
        return written == size ? S_OK : STG_E_MEDIUMFULL;
    }

private:
    IStream * m_stream;
    std::size_t m_used = 0;
    unsigned char m_buffer[2048];
};

template <class Work>
long WithWriter(IStream * stream, Work const & work) noexcept
{
    if (stream == nullptr)
        return E_INVALIDARG;
    return Guarded(
        [&]
        {
            RecordWriter writer(stream);
            HRESULT const result = work(writer);
            HRESULT const flushed = writer.Flush();
            return FAILED(result) ? result : flushed;
        });
}

/// Calls back with the place of each element that travels.
template <class Work>
HRESULT ForEachPlace(tagVARIANT const & value, Work const & work)
{
    unsigned short const vt = ElementKind(value.vt);
    if ((vt & VT_BYREF) != 0)
        return E_NOTIMPL;
    LockedArray array;
    if (HRESULT const result = array.Open(value.parray, vt); FAILED(result))
        return result;
    unsigned long long count = 0;
    for (USHORT i = 0; i < value.parray->cDims; ++i)
        count += value.parray->rgsabound[i].cElements;
    for (unsigned long long i = 0; i < count; ++i)
    {
        void * const element = array.Element(i);
        if (element == nullptr)
            return E_INVALIDARG;
        if (HRESULT const result = work(element); FAILED(result))
            return result;
    }
    return S_OK;
}

/// Calls back with each element that travels, as a variant that shares what the array owns.
template <class Work>
HRESULT ForEachElement(tagVARIANT const & value, Work const & work)
{
    unsigned short const vt = ElementKind(value.vt);
    return ForEachPlace(value,
                        [&](void * element)
                        {
                            tagVARIANT shared;
                            if (vt == VT_VARIANT)
                                std::memcpy(&shared, element, sizeof shared);
                            else if (long const result = safearrayvector::SetVariantValue(shared, vt, element, false);
                                     result != S_OK)
                                return static_cast<HRESULT>(result);
                            return work(shared);
                        });
}

HRESULT AddSize(tagVARIANT const & value, unsigned long long & size, Destination const & destination, int depth)
{
    if (depth > kMaxDepth)
        return E_UNEXPECTED;
    size += 2;
    if ((value.vt & VT_ARRAY) != 0)
    {
        size += 2 + 8ULL * SafeArrayGetDim((value.vt & VT_BYREF) != 0 ? nullptr : value.parray);
        return ForEachElement(value, [&](tagVARIANT const & element)
                              { return AddSize(element, size, destination, depth + 1); });
    }
    switch (value.vt)
    {
    case VT_EMPTY:
        return S_OK;
    case VT_BSTR:
        size += TextSize(value.bstrVal);
        return S_OK;
    case VT_DISPATCH:
    case VT_UNKNOWN:
    {
        ULONG packet = 0;
        HRESULT const result = CoGetMarshalSizeMax(&packet, InterfaceOf(value.vt), value.punkVal, destination.context,
                                                   destination.contextData, destination.flags);
        size += packet;
        return result;
    }
    default:
        size += safearrayvector::GetDataSize(value.vt);
        return S_OK;
    }
}

HRESULT WriteVariant(RecordWriter & writer, tagVARIANT const & value, Destination const & destination, int depth);

HRESULT WriteArray(RecordWriter & writer, tagVARIANT const & value, Destination const & destination, int depth)
{
    if ((value.vt & VT_BYREF) != 0)
        return E_NOTIMPL;
    SAFEARRAY const * const array = value.parray;
    if (array == nullptr)
        return E_INVALIDARG;
    HRESULT result = writer.PutNumber(array->cDims);
    for (USHORT i = 0; SUCCEEDED(result) && i < array->cDims; ++i)
    {
        result = writer.PutNumber(array->rgsabound[i].cElements);
        if (SUCCEEDED(result))
            result = writer.PutNumber(array->rgsabound[i].lLbound);
    }
    if (FAILED(result))
        return result;
    if (unsigned short const vt = ElementKind(value.vt); IsPlain(vt))
        return ForEachPlace(value, [&](void const * element) { return writer.PutPlain(vt, element); });
    return ForEachElement(value, [&](tagVARIANT const & element)
                          { return WriteVariant(writer, element, destination, depth + 1); });
}

HRESULT WriteVariant(RecordWriter & writer, tagVARIANT const & value, Destination const & destination, int depth)
{
    if (depth > kMaxDepth)
        return E_UNEXPECTED;
    if (HRESULT const result = writer.PutNumber(value.vt); FAILED(result))
        return result;
    if ((value.vt & VT_ARRAY) != 0)
        return WriteArray(writer, value, destination, depth);
    switch (value.vt)
    {
    case VT_EMPTY:
        return S_OK;
    case VT_BSTR:
        return writer.PutText(value.bstrVal);
    case VT_DISPATCH:
    case VT_UNKNOWN:
        return writer.PutInterface(value.punkVal, value.vt, destination);
    default:
        unsigned char bytes[16] = {};
        if (long const result = safearrayvector::GetVariantValue(bytes, value); result != S_OK)
            return static_cast<HRESULT>(result);
        return writer.Put(bytes, safearrayvector::GetDataSize(value.vt));
    }
}

} // namespace

long CMarshalHelper::GetBSTRSizeForMarshalling(wchar_t * text, unsigned long & size)
{
    size += static_cast<unsigned long>(TextSize(text));
    return S_OK;
}

long CMarshalHelper::WriteBSTRForMarshalling(wchar_t * text, IStream * stream)
{
    return WithWriter(stream, [&](RecordWriter & writer) { return writer.PutText(text); });
}

long CMarshalHelper::GetVariantSizeForMarshalling(tagVARIANT const & value, unsigned long & size,
                                                  unsigned long destContext, void * destContextData,
                                                  unsigned long flags)
{
    unsigned long long added = 0;
    HRESULT const result = AddSize(value, added, {destContext, destContextData, flags}, 0);
    size += static_cast<unsigned long>(added);
    return FAILED(result) ? result : S_OK;
}

long CMarshalHelper::WriteVariantForMarshalling(tagVARIANT const & value, IStream * stream, unsigned long destContext,
                                                void * destContextData, unsigned long flags)
{
    return WithWriter(stream,
                      [&](RecordWriter & writer) {
                          return WriteVariant(writer, value, {destContext, destContextData, flags}, 0);
                      });
}

long COMObjRef::MakeDisplayName(IUnknown * object, CQVString & text)
{
    _com_ptr_t<IBindCtx> context;
    if (HRESULT const result = CreateBindCtx(0, &context); FAILED(result))
        return result;
    _com_ptr_t<IMoniker> moniker;
    if (HRESULT const result = CreateObjrefMoniker(object, &moniker); FAILED(result))
        return result;
    LPOLESTR name = nullptr;
    if (HRESULT const result = moniker->GetDisplayName(context, nullptr, &name); FAILED(result))
        return result;
    std::unique_ptr<OLECHAR, decltype(&CoTaskMemFree)> const owned(name, &CoTaskMemFree);
    try
    {
        text = name;
        return S_OK;
    }
    catch (std::bad_alloc const &)
    {
        return E_OUTOFMEMORY;
    }
}

long COMObjRef::ParseDisplayName(wchar_t const * text, _GUID const & iid, IUnknown ** object)
{
    if (object == nullptr)
        return E_POINTER;
    *object = nullptr;
    _com_ptr_t<IBindCtx> context;
    if (HRESULT const result = CreateBindCtx(0, &context); FAILED(result))
        return result;
    ULONG eaten = 0;
    _com_ptr_t<IMoniker> moniker;
    if (HRESULT const result = MkParseDisplayName(context, text, &eaten, &moniker); FAILED(result))
        return result;
    HRESULT const result = moniker->BindToObject(context, nullptr, iid, reinterpret_cast<void **>(object));
    return FAILED(result) ? result : S_OK;
}

} // namespace qvlib

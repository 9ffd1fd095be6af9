#include "qvlib/Marshalling.h"

#include "com/internal/array_elements.h"
#include "qvlib/SafeArrayVector.h"
#include "qvlib/framework/comutil.h"
#include "qvlib/host/moniker.h"
#include "qvlib/host/utf16.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <memory>
#include <new>
#include <utility>
#include <vector>

// Values travel as they lie in memory.
static_assert(std::endian::native == std::endian::little);

namespace qvlib
{
namespace
{

using internal::AccessSize;
using internal::LockedArray;

constexpr int kMaxDepth = 256;
/// An array of no more bytes is made before its elements are there.
constexpr unsigned long long kSmallArray = 64 * 1024;
/// What all arrays of a record may take besides so many times what arrived: elements beyond those that travel are zero.
constexpr unsigned long long kArrayAllowance = 16 * 1024 * 1024;
constexpr unsigned long long kArrayFactor = 32;
/// More than any array has.
constexpr unsigned long long kManyElements = 1ULL << 31;

unsigned short ElementKind(unsigned short vt) noexcept { return vt & static_cast<unsigned short>(~VT_ARRAY); }

/// Whether records of the kind have one size, and lie in an array as they do in a record.
bool IsPlain(unsigned short vt) noexcept
{
    return vt != VT_BSTR && vt != VT_DISPATCH && vt != VT_UNKNOWN && vt != VT_VARIANT && vt != VT_DECIMAL &&
           safearrayvector::GetDataSize(vt) != 0;
}

/// The bytes that an element's record has at least: its kind, and its value or the length of its text. Packets are read
/// by the platform, so nothing behind them may be taken early.
unsigned long long SmallestRecord(unsigned short vt) noexcept
{
    return IsPlain(vt) ? 2 + safearrayvector::GetDataSize(vt) : vt == VT_BSTR ? 6 : 0;
}

template <class Work>
long Guarded(Work const & work) noexcept
{
    try
    {
        HRESULT const result = work();
        return FAILED(result) ? result : 0;
    }
    catch (std::bad_alloc const &)
    {
        return E_OUTOFMEMORY;
    }
}

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

REFIID InterfaceOf(unsigned short vt) noexcept { return vt == VT_DISPATCH ? IID_IDispatch : IID_IUnknown; }

unsigned long long TextSize(wchar_t const * text)
{
    return 4 + 2 * static_cast<unsigned long long>(host::Utf16Length(text, SysStringLen(const_cast<wchar_t *>(text))));
}

// ------------------------------------------------------------------------------------------------------- writing

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

// ------------------------------------------------------------------------------------------------------- reading

/// Reads ahead where it is told how much is there to be read; what it has too much of it gives back at its end, so that
/// the stream is left where the last record, or the failure, is.
class RecordReader
{
public:
    explicit RecordReader(IStream * stream) noexcept : m_stream(stream) {}
    RecordReader(RecordReader const &) = delete;
    RecordReader & operator=(RecordReader const &) = delete;
    ~RecordReader() { GiveBack(); }

    /// Whether an array of so many bytes is in proportion to what arrived. It counts, with those before it.
    bool Allows(unsigned long long arrayBytes) noexcept
    {
        m_arrayBytes += arrayBytes;
        return m_arrayBytes <= kArrayAllowance + kArrayFactor * m_arrived;
    }

    /// Says that as many bytes belong to the records being read. A stream that has fewer is found out at the first that
    /// is missing.
    void Expect(unsigned long long size)
    {
        if (m_at != m_end || size <= 8)
            return;
        ULONG read = 0;
        if (FAILED(m_stream->Read(m_buffer, static_cast<ULONG>(std::min<unsigned long long>(size, sizeof m_buffer)),
                                  &read)))
            read = 0;
        m_at = m_buffer;
        m_end = m_buffer + std::min<std::size_t>(read, sizeof m_buffer);
    }

    HRESULT Get(void * bytes, std::size_t size)
    {
        auto * to = static_cast<unsigned char *>(bytes);
        std::size_t const ready = std::min(size, static_cast<std::size_t>(m_end - m_at));
        std::memcpy(to, m_at, ready);
        m_at += ready;
        m_arrived += ready;
        if (ready == size)
            return S_OK;
        ULONG read = 0;
        HRESULT const result = m_stream->Read(to + ready, static_cast<ULONG>(size - ready), &read);
        m_arrived += read;
        if (FAILED(result))
            return result;
        return read == size - ready ? S_OK : E_UNEXPECTED;
    }
    template <class Number>
    HRESULT GetNumber(Number & number)
    {
        return Get(&number, sizeof number);
    }

    HRESULT Skip(std::uint32_t size)
    {
        HRESULT const result = GiveBack();
        return FAILED(result) ? result : Seek(size);
    }

    /// Has the platform read a packet. It may stand where another kind of record was expected, and read ahead.
    template <class Work>
    HRESULT FromStream(Work const & work)
    {
        HRESULT const result = GiveBack();
        return FAILED(result) ? result : work(m_stream);
    }

private:
    HRESULT GiveBack()
    {
        auto const ahead = static_cast<LONGLONG>(m_end - m_at);
        m_at = m_end = m_buffer;
        return ahead != 0 ? Seek(-ahead) : S_OK;
    }
    HRESULT Seek(LONGLONG distance)
    {
        LARGE_INTEGER move;
        move.QuadPart = distance;
        return m_stream->Seek(move, STREAM_SEEK_CUR, nullptr);
    }

    IStream * m_stream;
    unsigned char const * m_at = m_buffer;
    unsigned char const * m_end = m_buffer;
    unsigned long long m_arrived = 0;
    unsigned long long m_arrayBytes = 0;
    unsigned char m_buffer[4096];
};

template <class Work>
long WithReader(IStream * stream, Work const & work) noexcept
{
    if (stream == nullptr)
        return E_INVALIDARG;
    return Guarded(
        [&]
        {
            RecordReader reader(stream);
            return work(reader);
        });
}

HRESULT MakeText(unsigned char const * bytes, std::size_t units, BSTR & text)
{
    text = SysAllocStringLen(nullptr, static_cast<UINT>(host::Utf16DecodedLength(bytes, units)));
    if (text == nullptr)
        return E_OUTOFMEMORY;
    host::DecodeUtf16(bytes, units, text);
    return S_OK;
}

/// A length that is told is not believed: the bytes are taken as they come.
HRESULT ReadText(RecordReader & reader, BSTR & text)
{
    text = nullptr;
    std::uint32_t size = 0;
    if (HRESULT const result = reader.GetNumber(size); FAILED(result) || size == 0)
        return result;
    unsigned char piece[2048];
    if (size <= sizeof piece)
    {
        HRESULT const result = reader.Get(piece, size);
        return FAILED(result) ? result : MakeText(piece, size / 2, text);
    }
    std::vector<unsigned char> bytes;
    while (bytes.size() < size)
    {
        std::size_t const had = bytes.size();
        bytes.resize(std::min<std::size_t>(size, 2 * had + sizeof piece));
        if (HRESULT const result = reader.Get(bytes.data() + had, bytes.size() - had); FAILED(result))
            return result;
    }
    return MakeText(bytes.data(), size / 2, text);
}

/// The shape of an array in the stream.
struct ArrayShape
{
    std::vector<SAFEARRAYBOUND> bounds; ///< the last dimension first, as they are stored
    unsigned long long records = 0;     ///< element records that follow
    unsigned long long elements = 1;    ///< in the array; not counted beyond kManyElements

    HRESULT Read(RecordReader & reader)
    {
        USHORT dimensions = 0;
        if (HRESULT const result = reader.GetNumber(dimensions); FAILED(result))
            return result;
        for (unsigned int left = dimensions; left != 0; --left)
        {
            reader.Expect(8ULL * left);
            SAFEARRAYBOUND bound;
            HRESULT result = reader.GetNumber(bound.cElements);
            if (SUCCEEDED(result))
                result = reader.GetNumber(bound.lLbound);
            if (FAILED(result))
                return result;
            bounds.push_back(bound);
            records += bound.cElements;
            elements = std::min(elements * bound.cElements, kManyElements);
        }
        return S_OK;
    }
};

struct ArrayDeleter
{
    void operator()(SAFEARRAY * array) const noexcept { SafeArrayDestroy(array); }
};
using OwnedArray = std::unique_ptr<SAFEARRAY, ArrayDeleter>;

/// A variant that gives back what it holds.
struct Received : tagVARIANT
{
    Received() noexcept : tagVARIANT() {}
    Received(Received && other) noexcept : tagVARIANT(other) { VariantInit(&other); }
    Received & operator=(Received &&) = delete;
    ~Received() { VariantClear(this); }
};

HRESULT ReadVariant(RecordReader & reader, Received & value, int depth);

/// Moves what was received into an element that is zero.
HRESULT StoreElement(LockedArray const & array, unsigned long long index, unsigned short vt, tagVARIANT & received)
{
    void * const element = array.Element(index);
    if (element == nullptr)
        return E_INVALIDARG;
    if (vt == VT_VARIANT)
    {
        std::memcpy(element, &received, sizeof received);
        VariantInit(&received);
        return S_OK;
    }
    if (received.vt != vt)
        return DISP_E_TYPEMISMATCH;
    return static_cast<HRESULT>(safearrayvector::GetVariantValue(element, received, false));
}

/// The bytes of an array's elements, as far as those are known.
unsigned long long ArrayBytes(ArrayShape const & shape, unsigned short vt) noexcept
{
    std::size_t const access = AccessSize(vt);
    return shape.elements * (vt == VT_VARIANT || access == 0 ? sizeof(tagVARIANT) : access);
}

HRESULT MakeArray(RecordReader & reader, ArrayShape & shape, unsigned short vt, OwnedArray & owned,
                  LockedArray & locked)
{
    if (!reader.Allows(ArrayBytes(shape, vt)))
        return E_OUTOFMEMORY;
    std::reverse(shape.bounds.begin(), shape.bounds.end()); // told first to last when an array is made
    owned.reset(SafeArrayCreate(vt, static_cast<UINT>(shape.bounds.size()), shape.bounds.data()));
    return owned ? locked.Open(owned.get(), vt) : E_OUTOFMEMORY;
}

/// Elements of one size, straight from the stream.
HRESULT ReadPlainElements(RecordReader & reader, LockedArray const & array, unsigned short vt,
                          unsigned long long records)
{
    std::size_t const access = AccessSize(vt);
    std::size_t const stored = safearrayvector::GetDataSize(vt);
    for (unsigned long long i = 0; i < records; ++i)
    {
        reader.Expect((records - i) * SmallestRecord(vt));
        unsigned short kind = 0;
        if (HRESULT const result = reader.GetNumber(kind); FAILED(result))
            return result;
        if (kind != vt)
            return DISP_E_TYPEMISMATCH;
        unsigned char bytes[16];
        if (HRESULT const result = reader.Get(bytes, stored); FAILED(result))
            return result;
        void * const element = array.Element(i);
        if (element == nullptr)
            return E_INVALIDARG;
        std::memcpy(element, bytes, access);
    }
    return S_OK;
}

HRESULT ReadElements(RecordReader & reader, LockedArray const & array, unsigned short vt, unsigned long long records,
                     int depth)
{
    if (IsPlain(vt))
        return ReadPlainElements(reader, array, vt, records);
    for (unsigned long long i = 0; i < records; ++i)
    {
        reader.Expect((records - i) * SmallestRecord(vt));
        Received received;
        HRESULT result = ReadVariant(reader, received, depth + 1);
        if (SUCCEEDED(result))
            result = StoreElement(array, i, vt, received);
        if (FAILED(result))
            return result;
    }
    return S_OK;
}

/// An array of a size that only its elements can vouch for: they are read first.
HRESULT ReadLargeArray(RecordReader & reader, ArrayShape & shape, unsigned short vt, OwnedArray & owned, int depth)
{
    std::vector<Received> elements;
    for (unsigned long long i = 0; i < shape.records; ++i)
    {
        if (i >= shape.elements)
            return E_INVALIDARG;
        reader.Expect((shape.records - i) * SmallestRecord(vt));
        elements.emplace_back();
        if (HRESULT const result = ReadVariant(reader, elements.back(), depth + 1); FAILED(result))
            return result;
        if (vt != VT_VARIANT && elements.back().vt != vt)
            return DISP_E_TYPEMISMATCH;
    }
    LockedArray array;
    HRESULT result = MakeArray(reader, shape, vt, owned, array);
    for (std::size_t i = 0; SUCCEEDED(result) && i < elements.size(); ++i)
        result = StoreElement(array, i, vt, elements[i]);
    return result;
}

HRESULT ReadArray(RecordReader & reader, unsigned short vt, Received & value, int depth)
{
    ArrayShape shape;
    if (HRESULT const result = shape.Read(reader); FAILED(result))
        return result;
    if (shape.bounds.empty())
        return E_OUTOFMEMORY; // no such array can be made
    OwnedArray owned;
    HRESULT result;
    if (ArrayBytes(shape, vt) > kSmallArray)
        result = ReadLargeArray(reader, shape, vt, owned, depth);
    else
    {
        LockedArray array;
        result = MakeArray(reader, shape, vt, owned, array);
        if (SUCCEEDED(result))
            result = ReadElements(reader, array, vt, shape.records, depth);
    }
    if (FAILED(result))
        return result;
    value.vt = static_cast<unsigned short>(VT_ARRAY | vt);
    value.parray = owned.release();
    return S_OK;
}

/// `value` is empty before, and after a failure.
HRESULT ReadVariant(RecordReader & reader, Received & value, int depth)
{
    if (depth > kMaxDepth)
        return E_UNEXPECTED;
    unsigned short vt = VT_EMPTY;
    if (HRESULT const result = reader.GetNumber(vt); FAILED(result))
        return result;
    if ((vt & VT_ARRAY) != 0)
        return ReadArray(reader, ElementKind(vt), value, depth);
    switch (vt)
    {
    case VT_EMPTY:
        return S_OK;
    case VT_BSTR:
        if (HRESULT const result = ReadText(reader, value.bstrVal); FAILED(result))
            return result;
        value.vt = vt;
        return S_OK;
    case VT_DISPATCH:
    case VT_UNKNOWN:
    {
        void * object = nullptr;
        if (HRESULT const result = reader.FromStream(
                [&](IStream * stream) { return CoUnmarshalInterface(stream, InterfaceOf(vt), &object); });
            FAILED(result))
            return result;
        value.punkVal = static_cast<IUnknown *>(object);
        value.vt = vt;
        return S_OK;
    }
    default:
        unsigned char bytes[16] = {};
        if (HRESULT const result = reader.Get(bytes, safearrayvector::GetDataSize(vt)); FAILED(result))
            return result;
        return static_cast<HRESULT>(safearrayvector::SetVariantValue(value, vt, bytes, true));
    }
}

HRESULT ReleaseText(RecordReader & reader)
{
    std::uint32_t size = 0;
    HRESULT const result = reader.GetNumber(size);
    return FAILED(result) || size == 0 ? result : reader.Skip(size);
}

HRESULT ReleaseVariant(RecordReader & reader, int depth)
{
    if (depth > kMaxDepth)
        return E_UNEXPECTED;
    unsigned short vt = VT_EMPTY;
    if (HRESULT const result = reader.GetNumber(vt); FAILED(result))
        return result;
    if ((vt & VT_ARRAY) != 0)
    {
        ArrayShape shape;
        HRESULT result = shape.Read(reader);
        for (unsigned long long i = 0; SUCCEEDED(result) && i < shape.records; ++i)
            result = ReleaseVariant(reader, depth + 1);
        return result;
    }
    switch (vt)
    {
    case VT_EMPTY:
        return S_OK;
    case VT_BSTR:
        return ReleaseText(reader);
    case VT_DISPATCH:
    case VT_UNKNOWN:
        return reader.FromStream([](IStream * stream) { return CoReleaseMarshalData(stream); });
    default:
        return reader.Skip(static_cast<std::uint32_t>(safearrayvector::GetDataSize(vt)));
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

long CMarshalHelper::ReadBSTRFromMarshalling(wchar_t ** text, IStream * stream)
{
    if (text == nullptr)
        return E_POINTER;
    SysFreeString(std::exchange(*text, nullptr));
    return WithReader(stream, [&](RecordReader & reader) { return ReadText(reader, *text); });
}

long CMarshalHelper::ReleaseBSTRFromMarshalling(IStream * stream)
{
    return WithReader(stream, [](RecordReader & reader) { return ReleaseText(reader); });
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

long CMarshalHelper::ReadVariantFromMarshalling(tagVARIANT & value, IStream * stream)
{
    return WithReader(stream,
                      [&](RecordReader & reader)
                      {
                          Received received;
                          HRESULT result = ReadVariant(reader, received, 0);
                          if (SUCCEEDED(result))
                              result = VariantClear(&value);
                          if (FAILED(result))
                              return result;
                          value = received;
                          VariantInit(&received);
                          return result;
                      });
}

long CMarshalHelper::ReleaseVariantFromMarshalling(IStream * stream)
{
    return WithReader(stream, [](RecordReader & reader) { return ReleaseVariant(reader, 0); });
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
    text = name;
    return S_OK;
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

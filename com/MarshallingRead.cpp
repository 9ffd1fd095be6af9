// Reading and releasing of records.

#include "qvlib/Marshalling.h"

#include "com/internal/array_elements.h"
#include "com/internal/marshal_records.h"
#include "qvlib/SafeArrayVector.h"
#include "qvlib/host/utf16.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

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

/// An array of no more bytes is made before its elements are there.
constexpr unsigned long long kSmallArray = 64 * 1024;
/// What all arrays of a record may take besides so many times what arrived: elements beyond those that travel are zero.
constexpr unsigned long long kArrayAllowance = 16 * 1024 * 1024;
constexpr unsigned long long kArrayFactor = 32;
/// More than any array has.
constexpr unsigned long long kManyElements = 1ULL << 31;

/// The bytes that an element's record has at least: its kind, and its value or the length of its text. Packets are read
/// by the platform, so nothing behind them may be taken early.
unsigned long long SmallestRecord(unsigned short vt) noexcept
{
    return IsPlain(vt) ? 2 + safearrayvector::GetDataSize(vt) : vt == VT_BSTR ? 6 : 0;
}

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

    /// The next bytes, where they were read ahead to; null when not all of them were.
    unsigned char const * Take(std::size_t size) noexcept
    {
        if (static_cast<std::size_t>(m_end - m_at) < size)
            return nullptr;
        m_arrived += size;
        return std::exchange(m_at, m_at + size);
    }

    HRESULT Get(void * bytes, std::size_t size)
    {
        unsigned char const * const ready = Take(size);
        if (ready == nullptr)
            return GetPart(bytes, size);
        std::memcpy(bytes, ready, size);
        return S_OK;
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
    /// What was not all read ahead.
    HRESULT GetPart(void * bytes, std::size_t size)
    {
        auto * to = static_cast<unsigned char *>(bytes);
        std::size_t const ready = std::min(size, static_cast<std::size_t>(m_end - m_at));
        std::memcpy(to, m_at, ready);
        m_at += ready;
        m_arrived += ready;
        ULONG read = 0;
        HRESULT const result = m_stream->Read(to + ready, static_cast<ULONG>(size - ready), &read);
        m_arrived += read;
        if (FAILED(result))
            return result;
        return read == size - ready ? S_OK : E_UNEXPECTED;
    }

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
    if (unsigned char const * const ready = reader.Take(size))
        return MakeText(ready, size / 2, text);
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

/// Hands each bound to `work`, the last dimension first, as they are stored.
template <class Work>
HRESULT ReadBounds(RecordReader & reader, Work const & work)
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
        work(bound);
    }
    return S_OK;
}

/// The shape of an array in the stream.
struct ArrayShape
{
    std::vector<SAFEARRAYBOUND> bounds; ///< the last dimension first, as they are stored
    unsigned long long records = 0;     ///< element records that follow
    unsigned long long elements = 1;    ///< in the array; not counted beyond kManyElements

    HRESULT Read(RecordReader & reader)
    {
        return ReadBounds(reader,
                          [this](SAFEARRAYBOUND const & bound)
                          {
                              bounds.push_back(bound);
                              records += bound.cElements;
                              elements = std::min(elements * bound.cElements, kManyElements);
                          });
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

/// Takes no memory, so that references are given back also when there is none.
HRESULT ReleaseVariant(RecordReader & reader, int depth)
{
    if (depth > kMaxDepth)
        return E_UNEXPECTED;
    unsigned short vt = VT_EMPTY;
    if (HRESULT const result = reader.GetNumber(vt); FAILED(result))
        return result;
    if ((vt & VT_ARRAY) != 0)
    {
        unsigned long long records = 0;
        HRESULT result = ReadBounds(reader, [&](SAFEARRAYBOUND const & bound) { records += bound.cElements; });
        for (unsigned long long i = 0; SUCCEEDED(result) && i < records; ++i)
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

} // namespace qvlib

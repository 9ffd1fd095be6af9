#include "support/com_objects.h"

#include <gtest/gtest.h>
#include <qvlib/ComIdentifiers.h>
#include <qvlib/Marshalling.h>
#include <qvlib/Variant.h>
#include <qvlib/VariantCompare.h>
#include <qvlib/detail/counted.h>
#include <qvlib/framework/olesafearray.h>
#include <qvlib/host/moniker.h>

#include <initializer_list>
#include <thread>
#include <vector>

namespace
{

using qvlib::CMarshalHelper;
using qvlib::COMObjRef;
using qvlib::CQVString;
using qvlib::qrvariant_t;
using Bytes = std::vector<unsigned char>;
using Stream = _com_ptr_t<IStream>;

class Object final : public qvlib_test::WithoutMembers<qvlib::detail::Counted<IDispatch>>
{
public:
    explicit Object(int & alive) : m_alive(alive) { ++m_alive; }

private:
    ~Object() override { --m_alive; }

    int & m_alive;
};

Stream StreamOf(Bytes const & bytes)
{
    return Stream(SHCreateMemStream(bytes.data(), static_cast<UINT>(bytes.size())), false);
}

ULONGLONG Move(Stream const & stream, LONGLONG distance, DWORD origin)
{
    LARGE_INTEGER move;
    move.QuadPart = distance;
    ULARGE_INTEGER position{};
    EXPECT_EQ(stream->Seek(move, origin, &position), S_OK);
    return position.QuadPart;
}

ULONGLONG Position(Stream const & stream) { return Move(stream, 0, STREAM_SEEK_CUR); }

Bytes All(Stream const & stream)
{
    Bytes bytes(static_cast<std::size_t>(Move(stream, 0, STREAM_SEEK_END)));
    Move(stream, 0, STREAM_SEEK_SET);
    stream->Read(bytes.data(), static_cast<ULONG>(bytes.size()), nullptr);
    return bytes;
}

long Write(tagVARIANT const & value, Stream const & stream)
{
    return CMarshalHelper::WriteVariantForMarshalling(value, stream, MSHCTX_INPROC, nullptr, MSHLFLAGS_NORMAL);
}

Bytes Written(tagVARIANT const & value)
{
    Stream const stream = StreamOf({});
    EXPECT_EQ(Write(value, stream), 0);
    return All(stream);
}

long Read(Bytes const & bytes, qrvariant_t & value)
{
    return CMarshalHelper::ReadVariantFromMarshalling(value, StreamOf(bytes));
}

long Read(Bytes const & bytes)
{
    qrvariant_t value;
    return Read(bytes, value);
}

qrvariant_t Array(VARTYPE kind, std::initializer_list<SAFEARRAYBOUND> bounds)
{
    COleSafeArray array;
    array.Create(kind, static_cast<DWORD>(bounds.size()), bounds.begin());
    VARIANT made = array.Detach();
    return qrvariant_t(made, false);
}

template <class Element>
Element * Data(tagVARIANT const & value)
{
    return static_cast<Element *>(value.parray->pvData);
}

/// One of every sort of record, nested ones among them.
std::vector<qrvariant_t> Samples()
{
    std::vector<qrvariant_t> samples;
    samples.emplace_back();
    samples.emplace_back(7L);
    samples.emplace_back(static_cast<unsigned char>(200));
    samples.emplace_back(-2.5);
    samples.emplace_back(true);
    samples.emplace_back(L"");
    samples.emplace_back(L"a\u00E4\u20AC\U0001F600\xD800z");
    samples.emplace_back(std::wstring(5000, L'x').c_str());
    tagDEC decimal{};
    decimal.scale = 2;
    decimal.Lo64 = 12345;
    samples.emplace_back(decimal);
    samples.push_back(Array(VT_I4, {{2, -1}}));
    Data<LONG>(samples.back())[1] = 9;
    samples.push_back(Array(VT_UI2, {{40000, 0}})); // beyond what is made unseen
    Data<USHORT>(samples.back())[39999] = 3;
    samples.push_back(Array(VT_CY, {{0, 2}})); // no element, so that none of the kind has to travel
    samples.push_back(Array(VT_BSTR, {{2, 5}}));
    Data<BSTR>(samples.back())[0] = SysAllocString(L"first");
    samples.push_back(Array(VT_R8, {{2, 1}, {3, -4}}));
    for (int i = 0; i < 5; ++i)
        Data<double>(samples.back())[i] = i + 0.5;
    samples.push_back(Array(VT_VARIANT, {{3, 0}}));
    VariantCopy(Data<VARIANT>(samples.back()), &samples[12]);
    VariantCopy(Data<VARIANT>(samples.back()) + 2, &samples[1]);
    return samples;
}

TEST(MarshallingTest, RecordsAreTheBytesThatTheyWere)
{
    EXPECT_EQ(Written(qrvariant_t()), (Bytes{0, 0}));
    EXPECT_EQ(Written(qrvariant_t(7L)), (Bytes{3, 0, 7, 0, 0, 0}));
    EXPECT_EQ(Written(qrvariant_t(static_cast<unsigned char>(200))), (Bytes{0x11, 0, 200, 0, 0, 0}));
    EXPECT_EQ(Written(qrvariant_t(L"\U0001F600")), (Bytes{8, 0, 4, 0, 0, 0, 0x3D, 0xD8, 0x00, 0xDE}));
    EXPECT_EQ(Written(qrvariant_t(static_cast<wchar_t const *>(nullptr))), (Bytes{8, 0, 0, 0, 0, 0}));
    qrvariant_t numbers = Array(VT_I4, {{2, -1}});
    Data<LONG>(numbers)[1] = 9;
    EXPECT_EQ(Written(numbers), (Bytes{0x03, 0x20, 1, 0, 2, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF, // shape
                                       3,    0,    0, 0, 0, 0, 3, 0, 9,    0,    0,    0}));
    Bytes const table = Written(Array(VT_I2, {{2, 1}, {3, 4}}));
    EXPECT_EQ(table.size(), 4 + 16 + 5 * 4u) << "as many records as the counts add up to";
    EXPECT_EQ(Bytes(table.begin() + 4, table.begin() + 20), (Bytes{3, 0, 0, 0, 4, 0, 0, 0, 2, 0, 0, 0, 1, 0, 0, 0}))
        << "the last dimension first";
}

TEST(MarshallingTest, WhatWasWrittenReadsBackAndIsPassedOver)
{
    Stream const stream = StreamOf({});
    std::vector<ULONGLONG> ends;
    for (qrvariant_t const & sample : Samples())
    {
        unsigned long size = 5;
        ULONGLONG const before = Position(stream);
        EXPECT_EQ(CMarshalHelper::GetVariantSizeForMarshalling(sample, size, MSHCTX_INPROC, nullptr, 0), 0);
        EXPECT_EQ(Write(sample, stream), 0);
        ends.push_back(Position(stream));
        EXPECT_EQ(ends.back(), before + size - 5);
    }
    Move(stream, 0, STREAM_SEEK_SET);
    std::size_t place = 0;
    for (qrvariant_t const & sample : Samples())
    {
        SCOPED_TRACE(place);
        qrvariant_t back(L"old");
        ASSERT_EQ(CMarshalHelper::ReadVariantFromMarshalling(back, stream), 0);
        EXPECT_EQ(Position(stream), ends[place++]);
        EXPECT_EQ(back.vt, sample.vt);
        EXPECT_EQ(Written(back), Written(sample));
        if ((sample.vt & VT_ARRAY) != 0)
            for (USHORT i = 0; i < sample.parray->cDims; ++i)
            {
                EXPECT_EQ(back.parray->rgsabound[i].cElements, sample.parray->rgsabound[i].cElements);
                EXPECT_EQ(back.parray->rgsabound[i].lLbound, sample.parray->rgsabound[i].lLbound);
            }
    }
    Move(stream, 0, STREAM_SEEK_SET);
    for (ULONGLONG const end : ends)
    {
        EXPECT_EQ(CMarshalHelper::ReleaseVariantFromMarshalling(stream), 0);
        EXPECT_EQ(Position(stream), end);
    }
}

TEST(MarshallingTest, AStreamThatEndsWithinARecordIsUnexpected)
{
    for (qrvariant_t const & sample : Samples())
    {
        Bytes const whole = Written(sample);
        for (std::size_t size = 0, step = whole.size() > 2000 ? 997 : 1; size < whole.size(); size += step)
        {
            qrvariant_t value(L"old");
            ASSERT_EQ(Read({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)}, value), E_UNEXPECTED);
            ASSERT_EQ(value.GetAsString(), L"old");
        }
    }
}

TEST(MarshallingTest, RefusesWhatCannotTravel)
{
    qrvariant_t null;
    null.vt = VT_NULL;
    Stream const stream = StreamOf({});
    EXPECT_EQ(Write(null, stream), E_NOTIMPL);
    EXPECT_EQ(Position(stream), 2u) << "its kind was written";
    EXPECT_EQ(Read({1, 0}), E_NOTIMPL);
    qrvariant_t narrow = Array(VT_I4, {{1, 0}, {5, 0}});
    EXPECT_EQ(Write(narrow, stream), E_INVALIDARG) << "six records, five elements";
    qrvariant_t none;
    none.vt = VT_ARRAY | VT_I4;
    none.parray = nullptr;
    EXPECT_EQ(Write(none, stream), E_INVALIDARG);
    unsigned long size = 0;
    EXPECT_EQ(CMarshalHelper::GetVariantSizeForMarshalling(none, size, 0, nullptr, 0), E_INVALIDARG);
    EXPECT_EQ(Write(qrvariant_t(static_cast<IUnknown *>(nullptr)), stream), E_INVALIDARG);
    EXPECT_EQ(CMarshalHelper::WriteVariantForMarshalling(none, nullptr, 0, nullptr, 0), E_INVALIDARG);
    EXPECT_EQ(CMarshalHelper::ReadBSTRFromMarshalling(nullptr, stream), E_POINTER);
    LONG target = 0;
    qrvariant_t reference;
    reference.vt = VT_BYREF | VT_I4;
    reference.plVal = &target;
    EXPECT_EQ(Write(reference, stream), E_NOTIMPL);
    reference.vt = VT_EMPTY;
}

TEST(MarshallingTest, AHostileArrayCostsNoMoreThanWhatItSends)
{
    // 4 GB of bytes, of which none comes; a number in the place of a pointer; more records than elements.
    EXPECT_EQ(Read({0x11, 0x20, 1, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0}), E_UNEXPECTED);
    EXPECT_EQ(Read({8, 0, 0xFF, 0xFF, 0xFF, 0xFF}), E_UNEXPECTED);
    EXPECT_EQ(Read({8, 0x20, 1, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0x14, 0, 1, 2, 3, 4, 5, 6, 7, 8}), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(Read({0x10, 0x20, 1, 0, 1, 0, 0, 0, 0, 0, 0, 0, 5, 0, 1, 2, 3, 4, 5, 6, 7, 8}), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(Read({0x10, 0x20, 2, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x10, 0, 1}), E_INVALIDARG);
    EXPECT_EQ(Read({0x10, 0x20, 0, 0}), E_OUTOFMEMORY);
    // 20,000 by 20,000 numbers of 8 bytes, with nothing in the 40,000 that travel.
    Bytes square{0x0C, 0x20, 2, 0, 0x20, 0x4E, 0, 0, 0, 0, 0, 0, 0x20, 0x4E, 0, 0, 0, 0, 0, 0};
    square.resize(square.size() + 2 * 40000);
    EXPECT_EQ(Read(square), E_OUTOFMEMORY);
    // A thousand of 16 by 16 by 16, 64 KB each, of which 124 bytes arrive.
    Bytes many{0x0C, 0x20, 1, 0, 0xE8, 3, 0, 0, 0, 0, 0, 0};
    Bytes cube{0x0C, 0x20, 3, 0, 16, 0, 0, 0, 0, 0, 0, 0, 16, 0, 0, 0, 0, 0, 0, 0, 16, 0, 0, 0, 0, 0, 0, 0};
    cube.resize(cube.size() + 2 * 48);
    for (int i = 0; i < 1000; ++i)
        many.insert(many.end(), cube.begin(), cube.end());
    EXPECT_EQ(Read(cube), 0);
    EXPECT_EQ(Read(many), E_OUTOFMEMORY);
    // Arrays in arrays.
    Bytes deep;
    for (int i = 0; i < 100000; ++i)
        deep.insert(deep.end(), {0x0C, 0x20, 1, 0, 1, 0, 0, 0, 0, 0, 0, 0});
    EXPECT_EQ(Read(deep), E_UNEXPECTED);
    EXPECT_EQ(CMarshalHelper::ReleaseVariantFromMarshalling(StreamOf(deep)), E_UNEXPECTED);
}

TEST(MarshallingTest, APacketCarriesOneReferenceBetweenThreads)
{
    int alive = 0;
    Stream const stream = StreamOf({});
    qrvariant_t both = Array(VT_DISPATCH, {{2, 0}});
    Data<IDispatch *>(both)[0] = new Object(alive);
    Data<IDispatch *>(both)[1] = new Object(alive);
    ASSERT_EQ(Write(both, stream), 0);
    both = 0;
    EXPECT_EQ(alive, 2) << "held by the packets";
    Bytes const bytes = All(stream);

    std::thread reader(
        [&]
        {
            qrvariant_t received;
            EXPECT_EQ(Read(bytes, received), 0);
            EXPECT_EQ(received.vt, VT_ARRAY | VT_DISPATCH);
        });
    reader.join();
    EXPECT_EQ(alive, 0);
    EXPECT_EQ(Read(bytes), CO_E_OBJNOTREG) << "exactly once";

    qrvariant_t const again(static_cast<IUnknown *>(new Object(alive)), false);
    Bytes const unread = Written(again);
    EXPECT_EQ(CMarshalHelper::ReleaseVariantFromMarshalling(StreamOf(unread)), 0);
    EXPECT_EQ(CMarshalHelper::ReleaseVariantFromMarshalling(StreamOf(unread)), CO_E_OBJNOTREG);
    Bytes forged = unread;
    forged[2] ^= 1;
    EXPECT_EQ(Read(forged), RPC_E_INVALID_OBJREF);
    forged = unread;
    forged.back() ^= 1;
    EXPECT_EQ(Read(forged), CO_E_OBJNOTREG);

    // What was received before the stream broke off is given back.
    Bytes broken = Written(qrvariant_t(again));
    Bytes const shape{0x0D, 0x20, 1, 0, 2, 0, 0, 0, 0, 0, 0, 0};
    broken.insert(broken.begin(), shape.begin(), shape.end());
    EXPECT_EQ(Read(broken), E_UNEXPECTED);
    EXPECT_EQ(again.punkVal->AddRef(), 2u);
    again.punkVal->Release();

    // A packet among texts, which are read ahead: its reference is given back, and nothing behind it is taken.
    Bytes among = Written(qrvariant_t(again));
    std::size_t const end = 12 + among.size();
    Bytes const texts{8, 0x20, 1, 0, 20, 0, 0, 0, 0, 0, 0, 0};
    among.insert(among.begin(), texts.begin(), texts.end());
    among.resize(500);
    Stream const ahead = StreamOf(among);
    qrvariant_t refused;
    EXPECT_EQ(CMarshalHelper::ReadVariantFromMarshalling(refused, ahead), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(Position(ahead), end);
    EXPECT_EQ(again.punkVal->AddRef(), 2u);
    again.punkVal->Release();
}

TEST(MarshallingTest, ATablePacketIsReadUntilItIsReleased)
{
    int alive = 0;
    Stream const stream = StreamOf({});
    IUnknown * const object = new Object(alive);
    ASSERT_EQ(CoMarshalInterface(stream, IID_IUnknown, object, MSHCTX_INPROC, nullptr, MSHLFLAGS_TABLESTRONG), S_OK);
    object->Release();
    for (int i = 0; i < 2; ++i)
    {
        Move(stream, 0, STREAM_SEEK_SET);
        IUnknown * received = nullptr;
        EXPECT_EQ(CoUnmarshalInterface(stream, IID_IDispatch, reinterpret_cast<void **>(&received)), S_OK);
        received->Release();
        EXPECT_EQ(alive, 1);
    }
    Move(stream, 0, STREAM_SEEK_SET);
    EXPECT_EQ(CoReleaseMarshalData(stream), S_OK);
    EXPECT_EQ(alive, 0);
}

TEST(MarshallingTest, ADisplayNameLeadsToItsObjectOnce)
{
    int alive = 0;
    CQVString name(L"before");
    EXPECT_EQ(COMObjRef::MakeDisplayName(nullptr, name), E_INVALIDARG);
    EXPECT_EQ(name, L"before");
    IUnknown * const object = new Object(alive);
    ASSERT_EQ(COMObjRef::MakeDisplayName(object, name), 0);
    object->Release();
    EXPECT_EQ(alive, 1);
    IUnknown * found = nullptr;
    ASSERT_EQ(COMObjRef::ParseDisplayName(name, IID_IDispatch, &found), 0);
    EXPECT_EQ(found, object);
    found->Release();
    EXPECT_EQ(alive, 0);
    EXPECT_EQ(COMObjRef::ParseDisplayName(name, IID_IDispatch, &found), CO_E_OBJNOTREG);
    EXPECT_EQ(found, nullptr);
    EXPECT_EQ(COMObjRef::ParseDisplayName(name.Left(40), IID_IUnknown, &found), MK_E_SYNTAX);
    EXPECT_EQ(COMObjRef::ParseDisplayName(nullptr, IID_IUnknown, &found), E_INVALIDARG);
}

} // namespace

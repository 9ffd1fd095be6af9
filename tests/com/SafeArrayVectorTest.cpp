#include "support/allocation_sweep.h"
#include "support/variants.h"

#include "qvlib/SafeArrayVector.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace
{

using namespace qvlib;
using qvlib_test::Counted;
using qvlib_test::View;

/// An array variant with the bytes given.
qrvariant_t ArrayOf(VARTYPE vt, ULONG count, void const * bytes, LONG lowerBound = 0)
{
    qrvariant_t made;
    made.parray = SafeArrayCreateVector(vt, lowerBound, count);
    made.vt = static_cast<VARTYPE>(VT_ARRAY | vt);
    if (bytes != nullptr)
        std::memcpy(made.parray->pvData, bytes, std::size_t{count} * made.parray->cbElements);
    return made;
}

/// {text, object} as an array of variants.
qrvariant_t Mixed(Counted & object)
{
    qrvariant_t made = ArrayOf(VT_VARIANT, 3, nullptr);
    auto * const elements = static_cast<VARIANT *>(made.parray->pvData);
    elements[0].vt = VT_BSTR;
    elements[0].bstrVal = SysAllocString(L"text");
    elements[1].vt = VT_UNKNOWN;
    elements[1].punkVal = &object;
    object.AddRef();
    elements[2].vt = VT_R8;
    elements[2].dblVal = 2.5;
    return made;
}

HRESULT CodeOf(safearrayvector const & vector, unsigned long index)
{
    return qvlib_test::Thrown([&] { vector.at(index); });
}

TEST(SafeArrayVector, IsEmptyOrOneValueOrAnArray)
{
    safearrayvector vector;
    EXPECT_TRUE(vector.empty());
    EXPECT_EQ(vector.at(0).vt, VT_EMPTY);
    EXPECT_EQ(vector.back().vt, VT_EMPTY);
    EXPECT_TRUE(vector.begin() == vector.end());

    qrvariant_t const one(7L);
    EXPECT_EQ(vector.Set(static_cast<tagVARIANT const &>(one), VariantOwnershipCopy), S_OK);
    EXPECT_EQ(vector.size(), 1U);
    EXPECT_EQ(vector.GetArrayType(), VT_I4);
    EXPECT_EQ(vector.front().lVal, 7);
    EXPECT_EQ(vector.at(1).vt, VT_EMPTY);

    LONG const numbers[] = {1, 2, 3, 4};
    qrvariant_t array = ArrayOf(VT_I4, 4, numbers, -2);
    EXPECT_EQ(vector.Set(array, VariantOwnershipRefer), S_OK);
    EXPECT_EQ(vector.size(), 4U);
    EXPECT_EQ(vector.GetArrayType(), VT_I4);
    EXPECT_EQ(vector[3].lVal, 4);
    EXPECT_EQ(vector.back().GetAsIntegral(), 4);
    EXPECT_EQ(vector.at(0xFFFFFFFF).vt, VT_EMPTY);
    long sum = 0;
    for (tmpvariant_t const & each : vector)
        sum += each.GetAsIntegral();
    EXPECT_EQ(sum, 10);
    vector.Reset(); // the array goes before the vector
    EXPECT_TRUE(vector.empty());
    EXPECT_EQ(array.parray->cLocks, 0U);
}

TEST(SafeArrayVector, RefusesWithoutLosingWhatItHolds)
{
    LONG const numbers[] = {1, 2};
    qrvariant_t array = ArrayOf(VT_I4, 2, numbers);
    qrvariant_t const & constant = array;
    safearrayvector vector(array, VariantOwnershipRefer);
    qrvariant_t empty;
    EXPECT_EQ(vector.Set(empty, VariantOwnershipCopy), E_INVALIDARG);
    EXPECT_EQ(vector.Set(array, VariantOwnershipNone), E_INVALIDARG);
    EXPECT_EQ(vector.Set(array, static_cast<EVariantOwnershipOptions>(5)), E_INVALIDARG);
    EXPECT_EQ(vector.Set(static_cast<tagVARIANT const &>(constant), VariantOwnershipTake), E_INVALIDARG);
    qrvariant_t wrong = ArrayOf(VT_I8, 2, nullptr);
    wrong.vt = VT_ARRAY | VT_BSTR; // would be read as pointers
    EXPECT_EQ(vector.Set(wrong, VariantOwnershipRefer), E_INVALIDARG);
    wrong.vt = VT_ARRAY | VT_I8;
    qrvariant_t texts = ArrayOf(VT_BSTR, 2, nullptr);
    texts.vt = VT_ARRAY | VT_I4; // taking an element out would leave half a pointer
    EXPECT_EQ(vector.Set(texts, VariantOwnershipTake), E_INVALIDARG);
    SAFEARRAY * pointer = array.parray;
    qrvariant_t reference;
    reference.vt = VT_BYREF | VT_ARRAY | VT_I4;
    reference.pparray = &pointer;
    EXPECT_EQ(vector.Set(reference, VariantOwnershipRefer), E_INVALIDARG);
    qrvariant_t none;
    none.vt = VT_ARRAY | VT_I4;
    EXPECT_EQ(vector.Set(none, VariantOwnershipCopy), E_INVALIDARG);
    array.parray->cLocks = 0xFFFF;
    EXPECT_EQ(vector.Set(array, VariantOwnershipTake), E_UNEXPECTED);
    array.parray->cLocks = 1;
    EXPECT_EQ(vector.size(), 2U);
    EXPECT_EQ(vector.at(1).lVal, 2);
    EXPECT_EQ(array.vt, VT_ARRAY | VT_I4);
}

TEST(SafeArrayVector, EveryOwnershipEndsOnce)
{
    for (int option = VariantOwnershipRefer; option <= VariantOwnershipTakeConst; ++option)
        for (bool const constant : {false, true})
        {
            SCOPED_TRACE(option);
            Counted object;
            {
                qrvariant_t source = Mixed(object);
                ULONG const owned = object.references;
                auto const how = static_cast<EVariantOwnershipOptions>(option);
                safearrayvector vector;
                long const result =
                    constant ? vector.Set(static_cast<tagVARIANT const &>(source), how) : vector.Set(source, how);
                if (constant && option == VariantOwnershipTake)
                {
                    EXPECT_EQ(result, E_INVALIDARG);
                    continue;
                }
                ASSERT_EQ(result, S_OK);
                EXPECT_EQ(source.vt == VT_EMPTY, option >= VariantOwnershipTake);
                EXPECT_EQ(object.references, option == VariantOwnershipCopy ? owned + 1 : owned);
                EXPECT_EQ(vector.CanTransferElementOwnership(), option >= VariantOwnershipCopy);
                EXPECT_EQ(vector.at(0).GetAsString(), L"text");
                EXPECT_EQ(vector.at(1).GetIUnknown(true), &object);
                EXPECT_EQ(vector.at(2).dblVal, 2.5);
                SAFEARRAY * const lent = option == VariantOwnershipRefer ? source.parray : nullptr;
                EXPECT_EQ(lent == nullptr ? 1U : lent->cLocks, 1U);
                // Once more while it holds: the old goes, and a value takes its place and goes, too.
                qrvariant_t text(L"one value");
                EXPECT_EQ(vector.Set(text, how), S_OK);
                EXPECT_EQ(lent == nullptr ? 0U : lent->cLocks, 0U);
            }
            EXPECT_EQ(object.references, 1U);
        }
}

TEST(SafeArrayVector, CopyLeavesEverythingWhenMemoryEnds)
{
    Counted object;
    {
        qrvariant_t source = Mixed(object);
        ULONG const owned = object.references;
        safearrayvector vector;
        qvlib_test::SweepAllocations([&] { vector.Set(source, VariantOwnershipCopy); },
                                     [&]
                                     {
                                         EXPECT_TRUE(vector.empty());
                                         EXPECT_EQ(object.references, owned);
                                     });
        EXPECT_EQ(vector.size(), 3U);
        EXPECT_EQ(source.parray->cLocks, 0U);
    }
    EXPECT_EQ(object.references, 1U);
}

TEST(SafeArrayVector, TakesASourceOutOfWhatItHolds)
{
    Counted object;
    {
        qrvariant_t outer = ArrayOf(VT_VARIANT, 1, nullptr);
        auto * const inner = static_cast<VARIANT *>(outer.parray->pvData);
        qrvariant_t content = Mixed(object);
        content.TransferOwnershipTo(*inner);
        safearrayvector vector(outer, VariantOwnershipTake);
        EXPECT_EQ(vector.Set(*inner, VariantOwnershipTake), S_OK);
        EXPECT_EQ(vector.size(), 3U);
        EXPECT_EQ(vector.at(0).GetAsString(), L"text");
    }
    EXPECT_EQ(object.references, 1U);
}

TEST(SafeArrayVector, HandsElementsOver)
{
    Counted object;
    {
        qrvariant_t source = Mixed(object);
        tagVARIANT target{};
        {
            safearrayvector const referring(source, VariantOwnershipRefer);
            EXPECT_FALSE(referring.CanTransferElementOwnership());
            const_cast<safearrayvector &>(referring).TransferElementOwnership(0, target);
            EXPECT_EQ(target.vt, VT_EMPTY);
        }
        safearrayvector vector(source, VariantOwnershipTake);
        vector.TransferElementOwnership(3, target);
        EXPECT_EQ(target.vt, VT_EMPTY);
        qrvariant_t text;
        vector.TransferElementOwnership(0, text);
        EXPECT_EQ(text.GetAsString(), L"text");
        EXPECT_EQ(vector.at(0).vt, VT_EMPTY);
        qrvariant_t held;
        vector.TransferElementOwnership(1, held);
        vector.Reset();
        EXPECT_EQ(object.references, 2U);

        BSTR const texts[] = {SysAllocString(L"first"), SysAllocString(L"second")};
        qrvariant_t strings = ArrayOf(VT_BSTR, 2, texts);
        EXPECT_EQ(vector.Set(strings, VariantOwnershipTake), S_OK);
        qrvariant_t second;
        vector.TransferElementOwnership(1, second);
        EXPECT_EQ(second.bstrVal, texts[1]);
        EXPECT_EQ(vector.at(1).bstrVal, nullptr);

        qrvariant_t single(L"single");
        EXPECT_EQ(vector.Set(single, VariantOwnershipTake), S_OK);
        qrvariant_t out;
        vector.TransferElementOwnership(0, out);
        EXPECT_EQ(out.GetAsString(), L"single");
    }
    EXPECT_EQ(object.references, 1U);
}

TEST(SafeArrayVector, NeverReadsOutsideTheData)
{
    // Each kind in an array of each width, as many elements as make odd sizes: what is read lies in the data.
    for (int const held : {VT_I1, VT_UI1, VT_I2, VT_I4, VT_I8, VT_DECIMAL})
        for (int const vt : {VT_I1, VT_UI1, VT_UI2, VT_R4, VT_DATE, VT_DECIMAL, VT_CY, VT_ERROR})
            for (ULONG count = 0; count < 9; ++count)
            {
                std::vector<unsigned char> const bytes(16 * count + 1, 1);
                qrvariant_t array = ArrayOf(static_cast<VARTYPE>(held), count, bytes.data());
                array.vt = static_cast<VARTYPE>(VT_ARRAY | vt);
                safearrayvector const vector(array, VariantOwnershipRefer);
                std::size_t const size = count * array.parray->cbElements;
                std::size_t const step = safearrayvector::GetDataSize(static_cast<VARTYPE>(vt));
                std::size_t const width = vt == VT_UI1 ? 1 : step;
                for (unsigned long i = 0; i < vector.size(); ++i)
                    EXPECT_EQ(CodeOf(vector, i), step != 0 && i * step + width <= size ? S_OK : E_INVALIDARG)
                        << held << ' ' << vt << ' ' << count << ' ' << i;
                EXPECT_EQ(CodeOf(vector, count), S_OK);
                array.vt = static_cast<VARTYPE>(VT_ARRAY | held);
            }
    SAFEARRAYBOUND bounds[2] = {{4, 0}, {0, 0}}; // four elements in the first dimension, none in all
    qrvariant_t flat;
    flat.parray = SafeArrayCreate(VT_I4, 2, bounds);
    flat.vt = VT_ARRAY | VT_I4;
    safearrayvector const vector(flat, VariantOwnershipRefer);
    EXPECT_EQ(vector.size(), 4U);
    EXPECT_EQ(CodeOf(vector, 0), E_INVALIDARG);
}

TEST(SafeArrayVector, StepsBytesByFour)
{
    // Kept on purpose: the size told for a byte is 4, in walks too.
    unsigned char const bytes[] = {10, 11, 12, 13, 14, 15};
    qrvariant_t array = ArrayOf(VT_UI1, 6, bytes);
    safearrayvector const vector(array, VariantOwnershipRefer);
    EXPECT_EQ(vector.size(), 6U);
    EXPECT_EQ(vector.at(0).bVal, 10);
    EXPECT_EQ(vector.at(1).bVal, 14);
    EXPECT_EQ(CodeOf(vector, 2), E_INVALIDARG);
}

TEST(SafeArrayIterator, StopsAtBothEndsAndMovesItself)
{
    LONG const numbers[] = {1, 2, 3};
    qrvariant_t array = ArrayOf(VT_I4, 3, numbers);
    safearrayvector const vector(array, VariantOwnershipRefer);
    const_safearrayiterator it(&vector);
    EXPECT_EQ(&(it + 1), &it); // kept on purpose
    EXPECT_EQ((*it).lVal, 2);
    EXPECT_EQ((it++)->lVal, 2);
    EXPECT_EQ(it->lVal, 3);
    EXPECT_EQ((it--).GetIndex(), 2U);
    it + 100;
    EXPECT_TRUE(it == vector.end());
    EXPECT_EQ(it->vt, VT_EMPTY);
    EXPECT_EQ((++it).GetIndex(), 3U);
    it - 100;
    EXPECT_EQ(it.GetIndex(), 0U);
    it - (-2147483647 - 1);
    EXPECT_EQ(it.GetIndex(), 3U);
    it + (-2147483647 - 1);
    EXPECT_TRUE(it == vector.begin());
    EXPECT_EQ((--it).GetIndex(), 0U);
    safearrayvector const other(array, VariantOwnershipRefer);
    EXPECT_TRUE(it != other.begin());
    const_safearrayiterator nowhere(nullptr);
    EXPECT_EQ((++nowhere)->vt, VT_EMPTY);
}

TEST(SafeArrayElements, SizesAreThoseOfStoredRecords)
{
    struct Case
    {
        VARTYPE vt;
        unsigned long size;
    };
    std::vector<Case> cases;
    for (auto const & [size, kinds] : std::vector<std::pair<unsigned long, std::vector<int>>>{
             {0, {VT_CY, VT_ERROR, VT_EMPTY, VT_NULL}},
             {1, {VT_I1}},
             {2, {VT_I2, VT_BOOL, VT_UI2}},
             {4, {VT_I4, VT_R4, VT_UI4, VT_INT, VT_UINT, VT_UI1, VT_VARIANT}},
             {8, {VT_R8, VT_DATE, VT_I8, VT_UI8}},
             {16, {VT_DECIMAL}},
             {sizeof(void *), {VT_BSTR, VT_DISPATCH, VT_UNKNOWN}}})
        for (int const kind : kinds)
            cases.push_back({static_cast<VARTYPE>(kind), size});
    for (Case const & each : cases)
    {
        SCOPED_TRACE(each.vt);
        EXPECT_EQ(safearrayvector::GetDataSize(each.vt), each.size);
        unsigned char bytes[64] = {};
        void * data = bytes + 16;
        EXPECT_EQ(safearrayvector::MoveDataPointer(each.vt, data, -1), each.size != 0);
        EXPECT_EQ(data, bytes + 16 - each.size);
        // Only the element's own bytes change, on the way in, on the way out and when it is forgotten.
        unsigned char const width = static_cast<unsigned char>(each.vt == VT_UI1 ? 1 : each.size);
        for (unsigned char & byte : bytes)
            byte = 0xAA;
        unsigned char element[16];
        std::memset(element, 0, sizeof element);
        tagVARIANT value{};
        long const read = safearrayvector::SetVariantValue(value, each.vt, element, false);
        EXPECT_EQ(read, each.size != 0 ? S_OK : E_NOTIMPL);
        if (read != S_OK)
        {
            value.vt = each.vt;
            EXPECT_EQ(safearrayvector::GetVariantValue(bytes, value, false), E_NOTIMPL);
            EXPECT_EQ(safearrayvector::ResetDataValue(each.vt, bytes), E_NOTIMPL);
            continue;
        }
        EXPECT_EQ(value.vt, each.vt);
        EXPECT_EQ(safearrayvector::GetVariantValue(bytes, value, false), S_OK);
        EXPECT_EQ(value.vt, VT_EMPTY);
        EXPECT_EQ(bytes[width], 0xAA);
        EXPECT_NE(bytes[width - 1], 0xAA);
        EXPECT_EQ(safearrayvector::ResetDataValue(each.vt, bytes), each.vt == VT_DECIMAL ? E_NOTIMPL : S_OK);
        EXPECT_EQ(bytes[width], 0xAA);
    }
}

TEST(SafeArrayElements, AreCopiedOrMoved)
{
    qrvariant_t const text(L"text");
    BSTR element = nullptr;
    EXPECT_EQ(safearrayvector::GetVariantValue(&element, text), S_OK);
    EXPECT_NE(element, text.bstrVal);
    qrvariant_t copy(1);
    EXPECT_EQ(safearrayvector::SetVariantValue(copy, VT_BSTR, &element, true), S_OK);
    EXPECT_NE(copy.bstrVal, element);
    qrvariant_t moved;
    EXPECT_EQ(safearrayvector::SetVariantValue(moved, VT_BSTR, &element, false), S_OK);
    EXPECT_EQ(moved.bstrVal, element);
    EXPECT_EQ(safearrayvector::GetVariantValue(&element, moved, false), S_OK);
    EXPECT_EQ(moved.vt, VT_EMPTY);
    EXPECT_EQ(View(element), L"text");
    SysFreeString(element);
    // Four bytes are no variant: such an element is never read as one.
    LONG four = 7;
    EXPECT_EQ(safearrayvector::SetVariantValue(copy, VT_VARIANT, &four, true), DISP_E_BADVARTYPE);
    EXPECT_EQ(copy.GetAsString(), L"text");
    EXPECT_EQ(safearrayvector::SetVariantValue(copy, VT_I4, nullptr, true), E_INVALIDARG);
}

} // namespace

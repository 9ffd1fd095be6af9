#include "support/allocation_sweep.h"
#include "support/variants.h"

#include "qvlib/host/safearray.h"
#include "qvlib/host/variant.h"

#include <gtest/gtest.h>

#include <memory>

namespace
{

using qvlib_test::Counted;
using qvlib_test::Holder;
using qvlib_test::View;

struct DestroyArray
{
    void operator()(SAFEARRAY * array) const { EXPECT_EQ(SafeArrayDestroy(array), S_OK); }
};
using Array = std::unique_ptr<SAFEARRAY, DestroyArray>;

TEST(SafeArrayElements, LieWithTheFirstDimensionFastestAndNowhereElse)
{
    SAFEARRAYBOUND bounds[3] = {{2, -1}, {3, 10}, {4, 0}};
    Array const array(SafeArrayCreate(VT_I4, 3, bounds));
    LONG expected = 0;
    for (LONG z = -1; z <= 4; ++z)
        for (LONG y = 9; y <= 13; ++y)
            for (LONG x = -2; x <= 1; ++x)
            {
                LONG indices[3] = {x, y, z};
                bool const inside = x >= -1 && x < 1 && y >= 10 && y < 13 && z >= 0 && z < 4;
                LONG value = expected;
                LONG read = -1;
                HRESULT const result = inside ? S_OK : DISP_E_BADINDEX;
                void * place = nullptr;
                ASSERT_EQ(SafeArrayPtrOfIndex(array.get(), indices, &place), result);
                ASSERT_EQ(SafeArrayPutElement(array.get(), indices, &value), result);
                ASSERT_EQ(SafeArrayGetElement(array.get(), indices, &read), result);
                if (!inside)
                    continue;
                EXPECT_EQ(place, static_cast<LONG *>(array->pvData) + expected);
                EXPECT_EQ(read, expected++);
            }
    EXPECT_EQ(expected, 24);
    LONG extreme[3] = {0x7FFFFFFF, -0x7FFFFFFF - 1, 0};
    void * place = nullptr;
    EXPECT_EQ(SafeArrayPtrOfIndex(array.get(), extreme, &place), DISP_E_BADINDEX);
    EXPECT_EQ(SafeArrayPtrOfIndex(nullptr, extreme, &place), E_INVALIDARG);
}

TEST(SafeArrayElements, AreCopiedInAndOut)
{
    LONG index = 0;
    Array const texts(SafeArrayCreateVector(VT_BSTR, 0, 2));
    BSTR const text = SysAllocStringLen(L"a\0b", 3);
    qvlib_test::SweepAllocations([&] { SafeArrayPutElement(texts.get(), &index, text); },
                                 [&] { EXPECT_EQ(static_cast<BSTR *>(texts->pvData)[0], nullptr); });
    BSTR & element = static_cast<BSTR *>(texts->pvData)[0];
    EXPECT_NE(element, text);
    EXPECT_EQ(SafeArrayPutElement(texts.get(), &index, element), S_OK); // itself
    BSTR out = nullptr;
    EXPECT_EQ(SafeArrayGetElement(texts.get(), &index, &out), S_OK);
    EXPECT_EQ(SafeArrayPutElement(texts.get(), &index, nullptr), S_OK);
    EXPECT_EQ(element, nullptr);
    EXPECT_EQ(View(out), std::wstring(L"a\0b", 3));
    SysFreeString(out);
    SysFreeString(text);

    Counted object;
    Counted second;
    {
        Array const objects(SafeArrayCreateVector(VT_UNKNOWN, 0, 1));
        EXPECT_EQ(SafeArrayPutElement(objects.get(), &index, static_cast<IUnknown *>(&object)), S_OK);
        IUnknown * found = nullptr;
        EXPECT_EQ(SafeArrayGetElement(objects.get(), &index, &found), S_OK);
        EXPECT_EQ(found, &object);
        EXPECT_EQ(object.references, 3U);
        found->Release();
        EXPECT_EQ(SafeArrayPutElement(objects.get(), &index, static_cast<IUnknown *>(&second)), S_OK);
        EXPECT_EQ(object.references, 1U);
        EXPECT_EQ(second.references, 2U);
    }
    EXPECT_EQ(second.references, 1U);

    Array const variants(SafeArrayCreateVector(VT_VARIANT, 0, 1));
    Holder value;
    value.vt = VT_BSTR;
    value.bstrVal = SysAllocString(L"held");
    EXPECT_EQ(SafeArrayPutElement(variants.get(), &index, &value), S_OK);
    Holder read;
    EXPECT_EQ(SafeArrayGetElement(variants.get(), &index, &read), S_OK);
    EXPECT_EQ(View(read.bstrVal), L"held");
    EXPECT_EQ(SafeArrayPutElement(variants.get(), &index, nullptr), E_INVALIDARG);
}

TEST(SafeArrayLock, CountsAndHoldsTheArray)
{
    Array const array(SafeArrayCreateVector(VT_I1, 0, 4));
    SAFEARRAYBOUND bound{2, 0};
    void * data = nullptr;
    EXPECT_EQ(SafeArrayUnlock(array.get()), E_UNEXPECTED);
    EXPECT_EQ(SafeArrayLock(array.get()), S_OK);
    EXPECT_EQ(SafeArrayAccessData(array.get(), &data), S_OK);
    for (int i = 0; i < 2; ++i)
    {
        EXPECT_EQ(SafeArrayDestroy(array.get()), DISP_E_ARRAYISLOCKED);
        EXPECT_EQ(SafeArrayDestroyData(array.get()), DISP_E_ARRAYISLOCKED);
        EXPECT_EQ(SafeArrayRedim(array.get(), &bound), DISP_E_ARRAYISLOCKED);
        EXPECT_EQ(SafeArrayUnlock(array.get()), S_OK);
    }
    for (int i = 0; i < 0xFFFF; ++i)
        ASSERT_EQ(SafeArrayLock(array.get()), S_OK);
    EXPECT_EQ(SafeArrayLock(array.get()), E_UNEXPECTED);
    EXPECT_EQ(SafeArrayAccessData(array.get(), &data), E_UNEXPECTED);
    array->cLocks = 0;
    EXPECT_EQ(SafeArrayLock(nullptr), E_INVALIDARG);
    EXPECT_EQ(SafeArrayUnaccessData(nullptr), E_INVALIDARG);
}

/// An object whose end gets at the array that holds it.
struct Meddler final : IUnknown
{
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void **) override { return E_NOINTERFACE; }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
    ULONG STDMETHODCALLTYPE Release() override
    {
        if (--references == 0)
            destroyed = SafeArrayDestroy(array);
        return references;
    }
    SAFEARRAY * array = nullptr;
    ULONG references = 0;
    HRESULT destroyed = S_OK;
};

TEST(SafeArrayDestroy, HoldsTheArrayUntilItsObjectsHaveEnded)
{
    for (bool const wholeVariant : {false, true})
    {
        VARIANT value{};
        value.vt = VT_ARRAY | VT_UNKNOWN;
        value.parray = SafeArrayCreateVector(VT_UNKNOWN, 0, 2);
        Meddler meddler;
        Counted last;
        LONG index = 0;
        meddler.array = value.parray;
        ASSERT_EQ(SafeArrayPutElement(value.parray, &index, &meddler), S_OK);
        ASSERT_EQ(SafeArrayPutElement(value.parray, &++index, &last), S_OK);
        EXPECT_EQ(wholeVariant ? VariantClear(&value) : SafeArrayDestroy(value.parray), S_OK);
        EXPECT_EQ(meddler.destroyed, DISP_E_ARRAYISLOCKED);
        EXPECT_EQ(last.references, 1U);
    }
}

TEST(SafeArrayRedim, KeepsWhatStaysAndEndsWhatGoes)
{
    SAFEARRAYBOUND bounds[2] = {{2, 0}, {3, 5}};
    Array const array(SafeArrayCreate(VT_BSTR, 2, bounds));
    auto const elements = [&] { return static_cast<BSTR *>(array->pvData); };
    for (int i = 0; i < 6; ++i)
        elements()[i] = SysAllocString(L"text");
    SAFEARRAYBOUND bound{4, 7};
    qvlib_test::SweepAllocations([&] { SafeArrayRedim(array.get(), &bound); },
                                 [&] { EXPECT_EQ(array->rgsabound[0].cElements, 3U); });
    EXPECT_EQ(array->rgsabound[0].lLbound, 7);
    EXPECT_EQ(View(elements()[5]), L"text");
    EXPECT_EQ(elements()[7], nullptr);
    for (ULONG const count : {1U, 0U, 2U})
    {
        bound.cElements = count;
        EXPECT_EQ(SafeArrayRedim(array.get(), &bound), S_OK);
    }
    EXPECT_EQ(elements()[0], nullptr);
    for (SAFEARRAYBOUND tooLarge : {SAFEARRAYBOUND{0xFFFFFFFF, -10}, SAFEARRAYBOUND{2, 0x7FFFFFFF}})
        EXPECT_EQ(SafeArrayRedim(array.get(), &tooLarge), E_OUTOFMEMORY);
    EXPECT_EQ(array->rgsabound[0].cElements, 2U);

    Meddler object;
    Array const objects(SafeArrayCreateVector(VT_UNKNOWN, 0, 2));
    object.array = objects.get();
    LONG last = 1;
    EXPECT_EQ(SafeArrayPutElement(objects.get(), &last, static_cast<IUnknown *>(&object)), S_OK);
    bound = {1, 0};
    EXPECT_EQ(SafeArrayRedim(objects.get(), &bound), S_OK);
    EXPECT_EQ(object.destroyed, DISP_E_ARRAYISLOCKED);
    last = 0;
    EXPECT_EQ(SafeArrayPutElement(objects.get(), &last, static_cast<IUnknown *>(&object)), S_OK);
    EXPECT_EQ(SafeArrayPutElement(objects.get(), &last, nullptr), S_OK);
    EXPECT_EQ(object.destroyed, DISP_E_ARRAYISLOCKED);
}

TEST(SafeArrayCopyData, ReplacesElementsInPlace)
{
    Array const from(SafeArrayCreateVector(VT_VARIANT, 3, 2));
    Array const to(SafeArrayCreateVector(VT_VARIANT, 0, 2));
    LONG index = 3;
    Holder value;
    value.vt = VT_BSTR;
    value.bstrVal = SysAllocString(L"new");
    ASSERT_EQ(SafeArrayPutElement(from.get(), &index, &value), S_OK);
    index = 0;
    ASSERT_EQ(SafeArrayPutElement(to.get(), &index, &value), S_OK);
    void * data = nullptr;
    ASSERT_EQ(SafeArrayAccessData(to.get(), &data), S_OK);
    auto const * const first = static_cast<VARIANT const *>(data);
    BSTR const old = first->bstrVal;
    qvlib_test::SweepAllocations([&] { SafeArrayCopyData(from.get(), to.get()); },
                                 [&] { EXPECT_EQ(first->bstrVal, old); });
    EXPECT_EQ(to->pvData, data);
    EXPECT_NE(first->bstrVal, old);
    EXPECT_EQ(View(first->bstrVal), L"new");
    EXPECT_EQ(SafeArrayCopyData(to.get(), to.get()), S_OK);
    EXPECT_EQ(SafeArrayUnaccessData(to.get()), S_OK);
    EXPECT_EQ(SafeArrayDestroyData(to.get()), S_OK);
    EXPECT_EQ(first->vt, VT_EMPTY);

    Array const longer(SafeArrayCreateVector(VT_VARIANT, 0, 3));
    Array const numbers(SafeArrayCreateVector(VT_I4, 0, 2));
    EXPECT_EQ(SafeArrayCopyData(from.get(), longer.get()), E_INVALIDARG);
    EXPECT_EQ(SafeArrayCopyData(from.get(), numbers.get()), E_INVALIDARG);
    EXPECT_EQ(SafeArrayCopyData(from.get(), nullptr), E_INVALIDARG);
}

} // namespace

#include "support/variants.h"

#include "qvlib/framework/comutil.h"
#include "qvlib/framework/exceptions.h"
#include "qvlib/framework/olesafearray.h"

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <string>

namespace
{

using qvlib_test::View;

SCODE Thrown(std::function<void()> const & call)
{
    try
    {
        call();
        return S_OK;
    }
    catch (CException const & exception)
    {
        return COleException::Process(&exception);
    }
}

TEST(OleSafeArray, HoldsElementsInSeveralDimensions)
{
    COleSafeArray table;
    EXPECT_EQ(table.GetDim(), 0U);
    DWORD const counts[] = {2, 3};
    table.Create(VT_I4, 2, counts);
    EXPECT_EQ(table.vt, VT_ARRAY | VT_I4);
    EXPECT_EQ(table.GetDim(), 2U);
    EXPECT_EQ(table.GetElemSize(), 4U);
    long bound = 0;
    table.GetUBound(2, &bound);
    EXPECT_EQ(bound, 2);
    long const at[] = {1, 2};
    LONG value = 42;
    table.PutElement(at, &value);
    value = 0;
    table.GetElement(at, &value);
    EXPECT_EQ(value, 42);
    void * data = nullptr;
    table.AccessData(&data);
    EXPECT_EQ(static_cast<LONG *>(data)[5], 42);
    EXPECT_EQ(Thrown([&] { table.Clear(); }), DISP_E_ARRAYISLOCKED);
    EXPECT_EQ(Thrown([&] { table.Create(VT_I2, 2, counts); }), DISP_E_ARRAYISLOCKED);
    table.UnaccessData();
    long const outside[] = {2, 0};
    EXPECT_EQ(Thrown([&] { table.GetElement(outside, &value); }), DISP_E_BADINDEX);
    EXPECT_EQ(Thrown([&] { table.GetLBound(3, &bound); }), DISP_E_BADINDEX);
    EXPECT_EQ(Thrown([&] { table.GetOneDimSize(); }), E_INVALIDARG);
    EXPECT_EQ(Thrown([&] { table.Unlock(); }), E_UNEXPECTED);
    long const beyond[] = {std::numeric_limits<long>::max(), 0};
    EXPECT_NE(Thrown([&] { table.GetElement(beyond, &value); }), S_OK);
    DWORD const huge[] = {0xFFFFFFFF, 0xFFFFFFFF};
    EXPECT_EQ(Thrown([&] { table.Create(VT_I4, 2, huge); }), E_OUTOFMEMORY);
    EXPECT_EQ(table.GetDim(), 2U);
}

TEST(OleSafeArray, GrowsCopiesAndPassesOn)
{
    LONG const numbers[] = {1, 2, 3};
    COleSafeArray list;
    list.CreateOneDim(VT_I4, 3, numbers, 5);
    list.ResizeOneDim(4);
    EXPECT_EQ(list.GetOneDimSize(), 4U);
    long low = 0;
    list.GetLBound(1, &low);
    EXPECT_EQ(low, 5);
    list.CreateOneDim(VT_I4, 2, static_cast<LONG *>(list.parray->pvData) + 1); // from its own elements
    EXPECT_EQ(static_cast<LONG *>(list.parray->pvData)[0], 2);
    EXPECT_EQ(Thrown([&] { list.CreateOneDim(VT_BSTR, 1, numbers); }), E_INVALIDARG);

    COleSafeArray texts;
    texts.CreateOneDim(VT_BSTR, 1);
    long first = 0;
    texts.PutElement(&first, _bstr_t(L"text").GetBSTR());
    COleSafeArray copy(texts);
    COleSafeArray moved(std::move(copy));
    copy = texts;
    COleSafeArray const & same = moved;
    moved = same;
    VARIANT passed = moved.Detach();
    EXPECT_EQ(moved.vt, VT_EMPTY);
    list.Attach(passed);
    EXPECT_EQ(passed.vt, VT_EMPTY);
    EXPECT_EQ(View(static_cast<BSTR *>(list.parray->pvData)[0]), L"text");
    list.DestroyData();
    EXPECT_EQ(static_cast<BSTR *>(list.parray->pvData)[0], nullptr);
    VARIANT number{};
    number.vt = VT_I4;
    EXPECT_EQ(Thrown([&] { list.Attach(number); }), E_INVALIDARG);
    EXPECT_EQ(Thrown([&] { list = number; }), E_INVALIDARG);
    EXPECT_EQ(Thrown([&] { list = static_cast<VARIANT const *>(nullptr); }), E_POINTER);
}

} // namespace

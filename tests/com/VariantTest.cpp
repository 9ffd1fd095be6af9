#include "support/allocation_sweep.h"
#include "support/variants.h"

#include "qvlib/Exceptions.h"
#include "qvlib/Variant.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <set>
#include <sstream>
#include <vector>

namespace
{

using qvlib::qrvariant_t;
using qvlib::tmpvariant_t;
using qvlib_test::Counted;
using qvlib_test::Thrown;
using qvlib_test::View;

using Dispatch = qvlib_test::WithoutMembers<qvlib_test::CountedAs<IDispatch>>;

TEST(QrVariant, TakesTheKindOfItsArgument)
{
    struct Case
    {
        qrvariant_t value;
        VARTYPE vt;
        double number;
    };
    Case const cases[] = {
        {qrvariant_t(), VT_EMPTY, 0},
        {qrvariant_t('\xFF'), VT_I1, -1},
        {qrvariant_t(static_cast<unsigned char>(255)), VT_UI1, 255},
        {qrvariant_t(static_cast<short>(-3)), VT_I2, -3},
        {qrvariant_t(static_cast<short>(-3), VT_BOOL), VT_BOOL, -1},
        {qrvariant_t(static_cast<unsigned short>(65535)), VT_UI2, 65535},
        {qrvariant_t(-7), VT_INT, -7},
        {qrvariant_t(4294967295U), VT_UINT, 4294967295.0},
        {qrvariant_t(-8L), VT_I4, -8},
        {qrvariant_t(9L, VT_BOOL), VT_BOOL, -1},
        {qrvariant_t(0x80004005L, VT_ERROR), VT_ERROR, 0}, // no number
        {qrvariant_t(DISP_E_PARAMNOTFOUND, VT_ERROR), VT_ERROR, 0},
        {qrvariant_t(LONG{-8}, VT_I4), VT_I4, -8},
        {qrvariant_t(~0UL), VT_UI4, 4294967295.0},
        {qrvariant_t(-9223372036854775807LL), VT_I8, -9223372036854775807.0},
        {qrvariant_t(18446744073709551615ULL), VT_UI8, 18446744073709551615.0},
        {qrvariant_t(1.5F), VT_R4, 1.5},
        {qrvariant_t(2.5), VT_R8, 2.5},
        {qrvariant_t(2.5, VT_DATE), VT_DATE, 2.5},
        {qrvariant_t(qvlib::CDateTime(44927.25)), VT_DATE, 44927.25},
        {qrvariant_t(true), VT_BOOL, -1},
        {qrvariant_t(false), VT_BOOL, 0},
        {qrvariant_t(CY{50000}), VT_CY, 0},
        {qrvariant_t(DECIMAL{77, 1, 0, 0, 15}), VT_DECIMAL, 0},
        {qrvariant_t(L"12"), VT_BSTR, 0},
        {qrvariant_t("12"), VT_BSTR, 0},
        {qrvariant_t(_bstr_t(L"12")), VT_BSTR, 0},
        {qrvariant_t(_variant_t(3L)), VT_I4, 3},
    };
    for (Case const & each : cases)
    {
        SCOPED_TRACE(each.vt);
        EXPECT_EQ(each.value.vt, each.vt);
        EXPECT_EQ(each.value.GetAsDouble(), each.number);
        EXPECT_EQ(each.value.GetAsString(), each.vt == VT_BSTR ? L"12" : L"");
        EXPECT_TRUE(each.value.GetVarType() == static_cast<int>(each.vt));
        EXPECT_EQ(each.value.IsString(), each.vt == VT_BSTR);
        // Assignment makes the same of the same, whatever was held.
        for (Case const & old : cases)
        {
            qrvariant_t copy(old.value);
            copy = each.value;
            EXPECT_EQ(copy.vt, each.vt);
            EXPECT_EQ(copy.GetAsDouble(), each.number);
        }
    }
    EXPECT_EQ(qrvariant_t(0x80004005L, VT_ERROR).scode, E_FAIL);
    EXPECT_EQ(qvlib::host::GetDecimal(qrvariant_t(DECIMAL{77, 1, 0, 0, 15})).Lo64, 15U);
    EXPECT_EQ(qrvariant_t(static_cast<wchar_t const *>(nullptr)).bstrVal, nullptr);
    EXPECT_EQ(qrvariant_t(_bstr_t(L"")).bstrVal, nullptr);
    EXPECT_NE(qrvariant_t(L"").bstrVal, nullptr);
    BSTR const odd = SysAllocStringByteLen("abcde", 5);
    EXPECT_EQ(SysStringByteLen(qrvariant_t(_bstr_t(odd, false)).bstrVal), 5U);

    EXPECT_EQ(Thrown([] { qrvariant_t(static_cast<short>(1), VT_R8); }), E_INVALIDARG);
    EXPECT_EQ(Thrown([] { qrvariant_t(1L, VT_R8); }), E_INVALIDARG);
    EXPECT_EQ(Thrown([] { qrvariant_t(1, VT_R8); }), E_INVALIDARG);
    EXPECT_EQ(Thrown([] { qrvariant_t(1.0, VT_I4); }), E_INVALIDARG);
    EXPECT_EQ(Thrown([] { qrvariant_t(static_cast<tagVARIANT const *>(nullptr)); }), E_POINTER);
    if (std::numeric_limits<long>::max() > std::numeric_limits<std::int32_t>::max())
    {
        EXPECT_THROW(qrvariant_t(static_cast<long>(0x100000000LL)), qvlib::argument_out_of_range_exception);
        EXPECT_THROW(qrvariant_t(static_cast<unsigned long>(0x100000000ULL)), qvlib::argument_out_of_range_exception);
    }
}

TEST(QrVariant, EveryAssignmentReleasesWhatWasHeldAndMakesItsKind)
{
    Dispatch dispatch;
    Counted object;
    {
        using Assign = std::function<void(qrvariant_t &)>;
        std::vector<std::pair<VARTYPE, Assign>> const assignments = {
            {VT_I1, [](qrvariant_t & v) { v = 'a'; }},
            {VT_UI1, [](qrvariant_t & v) { v = static_cast<unsigned char>(1); }},
            {VT_I2, [](qrvariant_t & v) { v = static_cast<short>(1); }},
            {VT_UI2, [](qrvariant_t & v) { v = static_cast<unsigned short>(1); }},
            {VT_INT, [](qrvariant_t & v) { v = 1; }},
            {VT_UINT, [](qrvariant_t & v) { v = 1U; }},
            {VT_I4, [](qrvariant_t & v) { v = 1L; }},
            {VT_UI4, [](qrvariant_t & v) { v = 1UL; }},
            {VT_I8, [](qrvariant_t & v) { v = 1LL; }},
            {VT_UI8, [](qrvariant_t & v) { v = 1ULL; }},
            {VT_R4, [](qrvariant_t & v) { v = 1.0F; }},
            {VT_R8, [](qrvariant_t & v) { v = 1.0; }},
            {VT_DATE, [](qrvariant_t & v) { v = qvlib::CDateTime(1.0); }},
            {VT_BOOL, [](qrvariant_t & v) { v = true; }},
            {VT_CY, [](qrvariant_t & v) { v = CY{1}; }},
            {VT_DECIMAL, [](qrvariant_t & v) { v = DECIMAL{}; }},
            {VT_BSTR, [](qrvariant_t & v) { v = L"wide"; }},
            {VT_BSTR, [](qrvariant_t & v) { v = "narrow"; }},
            {VT_BSTR, [](qrvariant_t & v) { v = _bstr_t(L"counted"); }},
            {VT_BSTR, [](qrvariant_t & v) { v = _variant_t(L"owned"); }},
            {VT_DISPATCH, [&](qrvariant_t & v) { v = static_cast<IDispatch *>(&dispatch); }},
            {VT_UNKNOWN, [&](qrvariant_t & v) { v = static_cast<IUnknown *>(&object); }},
        };
        // From a text, an object and an array to each; a leak or a double free is the sanitizer's to see.
        for (auto const & [vt, assign] : assignments)
        {
            qrvariant_t array;
            array.parray = SafeArrayCreateVector(VT_BSTR, 0, 1);
            array.vt = VT_ARRAY | VT_BSTR;
            static_cast<BSTR *>(array.parray->pvData)[0] = SysAllocString(L"element");
            qrvariant_t olds[] = {qrvariant_t(L"old text"), qrvariant_t(static_cast<IUnknown *>(&object)), array};
            for (qrvariant_t & old : olds)
            {
                assign(old);
                EXPECT_EQ(old.vt, vt);
            }
        }
        qrvariant_t text(L"text");
        text = text.bstrVal;
        qrvariant_t & same = text;
        text = same;
        text = std::move(same);
        text = static_cast<tagVARIANT const *>(&text);
        text = tmpvariant_t(text);
        EXPECT_EQ(text.GetAsString(), L"text");
        // Over a text of about the same length, shorter, longer, of another size of block, and none at all.
        for (wchar_t const * next : {L"texts", L"t", L"", L"a text that is much longer than what was held", L"text"})
            for (qrvariant_t const source(next); text.GetAsString() != next; text = source)
                EXPECT_NE(text.bstrVal, source.bstrVal);
        text = qrvariant_t(static_cast<wchar_t const *>(nullptr));
        EXPECT_EQ(text.bstrVal, nullptr);
        text = qrvariant_t(L"text");
        EXPECT_EQ(text.GetAsString(), L"text");
        qrvariant_t held(static_cast<IUnknown *>(&object));
        held = held.punkVal;
        EXPECT_EQ(held.GetIUnknown(true), &object);
    }
    EXPECT_EQ(object.references, 1U);
    EXPECT_EQ(dispatch.references, 1U);
}

TEST(QrVariant, AssignsWhatLiesInItsOwnContent)
{
    qrvariant_t list;
    list.parray = SafeArrayCreateVector(VT_VARIANT, 0, 2);
    list.vt = VT_ARRAY | VT_VARIANT;
    auto * const elements = static_cast<VARIANT *>(list.parray->pvData);
    elements[1].vt = VT_BSTR;
    elements[1].bstrVal = SysAllocString(L"inner");
    qvlib_test::SweepAllocations([&] { list = elements[1]; }, [&] { EXPECT_EQ(list.vt, VT_ARRAY | VT_VARIANT); });
    EXPECT_EQ(list.GetAsString(), L"inner");

    list.TransferOwnership(list);
    EXPECT_EQ(list.GetAsString(), L"inner");
    VARIANT outer{};
    outer.vt = VT_ARRAY | VT_VARIANT;
    outer.parray = SafeArrayCreateVector(VT_VARIANT, 0, 1);
    list.TransferOwnershipTo(static_cast<VARIANT *>(outer.parray->pvData)[0]);
    EXPECT_EQ(list.vt, VT_EMPTY);
    list.TransferOwnership(outer);
    EXPECT_EQ(outer.vt, VT_EMPTY);
    list.TransferOwnership(static_cast<VARIANT *>(list.parray->pvData)[0]);
    EXPECT_EQ(list.GetAsString(), L"inner");
    list.TransferOwnershipTo(list);
    EXPECT_EQ(list.GetAsString(), L"inner");
}

TEST(QrVariant, KeepsALockedArray)
{
    qrvariant_t array;
    array.parray = SafeArrayCreateVector(VT_I4, 0, 1);
    array.vt = VT_ARRAY | VT_I4;
    qrvariant_t other(L"other");
    ASSERT_EQ(SafeArrayLock(array.parray), S_OK);
    EXPECT_EQ(Thrown([&] { array = L"text"; }), DISP_E_ARRAYISLOCKED);
    EXPECT_EQ(Thrown([&] { array = 1; }), DISP_E_ARRAYISLOCKED);
    EXPECT_EQ(Thrown([&] { array.TransferOwnership(other); }), DISP_E_ARRAYISLOCKED);
    EXPECT_EQ(Thrown([&] { other.TransferOwnershipTo(array); }), DISP_E_ARRAYISLOCKED);
    EXPECT_EQ(other.GetAsString(), L"other");
    EXPECT_EQ(array.vt, VT_ARRAY | VT_I4);
    ASSERT_EQ(SafeArrayUnlock(array.parray), S_OK);
}

TEST(QrVariant, CopiesAlsoFromATemporaryOrTakesWhenTold)
{
    qrvariant_t source(L"text");
    qrvariant_t const copy(std::move(source));
    EXPECT_EQ(source.GetAsString(), L"text");
    EXPECT_NE(copy.bstrVal, source.bstrVal);
    BSTR const text = source.bstrVal;
    qrvariant_t const taken(source, false);
    EXPECT_EQ(taken.bstrVal, text);
    EXPECT_EQ(source.vt, VT_EMPTY);

    Dispatch object;
    {
        object.AddRef();
        qrvariant_t const owned(&object, false);
        EXPECT_EQ(object.references, 2U);
        EXPECT_EQ(owned.GetIDispatch(true), &object);
        EXPECT_EQ(owned.GetIUnknown(true), &object);
        EXPECT_EQ(object.references, 2U);
    }
    EXPECT_EQ(object.references, 1U);
    EXPECT_EQ(qrvariant_t(static_cast<IDispatch *>(nullptr)).GetIUnknown(true), nullptr);
}

TEST(QrVariant, GivesPointersOfTheirKindOnly)
{
    qrvariant_t const number(5L);
    EXPECT_EQ(number.GetBSTR(false), nullptr);
    EXPECT_EQ(number.GetIDispatch(false), nullptr);
    EXPECT_EQ(number.GetIUnknown(false), nullptr);
    EXPECT_EQ(Thrown([&] { number.GetBSTR(true); }), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(Thrown([&] { number.GetIDispatch(true); }), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(Thrown([&] { number.GetIUnknown(true); }), DISP_E_TYPEMISMATCH);
    Counted object;
    qrvariant_t const unknown(static_cast<IUnknown *>(&object));
    EXPECT_EQ(Thrown([&] { unknown.GetIDispatch(true); }), DISP_E_TYPEMISMATCH);
}

TEST(QrVariant, CutsNumbersTo32Bits)
{
    EXPECT_EQ(qrvariant_t(-7.9).GetAsIntegral(), -7);
    EXPECT_EQ(qrvariant_t(true).GetAsUnsignedIntegral(), 0xFFFFFFFFUL);
    EXPECT_EQ(qrvariant_t(4294967295U).GetAsSignedIntegral(), -1);
    EXPECT_EQ(qrvariant_t(0x100000007LL).GetAsIntegral(), 7);
    for (double const number : {std::nan(""), HUGE_VAL, -HUGE_VAL, 1e19, -1e19})
    {
        EXPECT_EQ(qrvariant_t(number).GetAsIntegral(), 0);
        EXPECT_EQ(qrvariant_t(number).GetAsUnsignedIntegral(), 0UL);
    }
    EXPECT_EQ(qrvariant_t(L"12").GetAsIntegral(), 0);
}

TEST(QrVariant, ReadsTextOnlyOrConverts)
{
    qrvariant_t nuls;
    nuls.bstrVal = SysAllocStringLen(L"a\0b", 3);
    nuls.vt = VT_BSTR;
    EXPECT_EQ(nuls.GetAsString().GetLength(), 3);
    EXPECT_EQ(nuls.ToString().GetLength(), 3);
    EXPECT_EQ(qrvariant_t(true).ToString(), L"-1");
    EXPECT_EQ(qrvariant_t(-2147483647L - 1).ToString(), L"-2147483648");
    EXPECT_EQ(qrvariant_t(18446744073709551615ULL).ToString(), L"18446744073709551615");
    EXPECT_EQ(qrvariant_t(0).ToString(), L"0");
    EXPECT_EQ(qrvariant_t(2.5).ToString(), L"2.5");
    qrvariant_t null;
    null.vt = VT_NULL;
    EXPECT_EQ(Thrown([&] { null.ToString(); }), DISP_E_TYPEMISMATCH);
}

TEST(QrVariant, SetErrorForgetsWhatWasHeld)
{
    Counted object;
    qrvariant_t value(static_cast<IUnknown *>(&object));
    value.SetError(DISP_E_PARAMNOTFOUND); // kept on purpose: nothing is given back
    EXPECT_EQ(value.vt, VT_ERROR);
    EXPECT_EQ(value.scode, DISP_E_PARAMNOTFOUND);
    EXPECT_EQ(object.references, 2U);
    value.SetError(0x80004005L);
    EXPECT_EQ(value.scode, E_FAIL);
}

TEST(QrVariant, StandsInOrderByMeaning)
{
    EXPECT_TRUE(qrvariant_t(2L) < qrvariant_t(10.5));
    EXPECT_TRUE(qrvariant_t(2) < qrvariant_t(3));
    EXPECT_FALSE(qrvariant_t(L"b") < qrvariant_t(L"a"));
    EXPECT_TRUE(qrvariant_t(99) < qrvariant_t(L"1"));
    EXPECT_TRUE(qrvariant_t(2) < 3L);
    qrvariant_t const small(1);
    qrvariant_t const large(2.5);
    EXPECT_TRUE(tmpvariant_t(small) < tmpvariant_t(large)); // by value, not by address
    EXPECT_FALSE(tmpvariant_t(large) < tmpvariant_t(small));
    EXPECT_TRUE(small < tmpvariant_t(large));
    EXPECT_EQ(VarCmp(tmpvariant_t(small), tmpvariant_t(large), 0, 0), VARCMP_LT);
    std::set<qrvariant_t> const sorted{qrvariant_t(3), qrvariant_t(1.5), qrvariant_t(L"x"), qrvariant_t(1.5F)};
    EXPECT_EQ(sorted.size(), 3U);
}

template <class Stream>
auto Written(qrvariant_t const & value)
{
    Stream stream;
    EXPECT_EQ(&value.WriteValueToStream(stream), &stream);
    return stream.str();
}

TEST(QrVariant, PutsItsValueIntoStreams)
{
    struct Case
    {
        qrvariant_t value;
        std::string narrow;
        std::wstring wide;
    };
    Case const cases[] = {
        {qrvariant_t(static_cast<short>(-3)), "-3", L"-3"},
        {qrvariant_t(true), "-1", L"1"},
        {qrvariant_t(-8L), "-8", L"-8"},
        {qrvariant_t(~0UL), "4294967295", L"4294967295"},
        {qrvariant_t('A'), "A", L"A"},
        {qrvariant_t(static_cast<unsigned char>('A')), "A", L"65"},
        {qrvariant_t(1.5F), "1.5", L"1.5"},
        {qrvariant_t(2.25, VT_DATE), "2.25", L"2.25"},
        {qrvariant_t(-9LL), "-9", L"-9"},
        {qrvariant_t(7U), "7", L"7"},
        {qrvariant_t(CY{1}), "", L""},
        {qrvariant_t(), "", L""},
    };
    for (Case const & each : cases)
    {
        EXPECT_EQ(Written<std::ostringstream>(each.value), each.narrow);
        EXPECT_EQ(Written<std::wostringstream>(each.value), each.wide);
    }
    qrvariant_t const text(L"text");
    std::ostringstream address;
    address << static_cast<void const *>(text.bstrVal);
    EXPECT_EQ(Written<std::ostringstream>(text), address.str());
    EXPECT_EQ(Written<std::wostringstream>(text), L"text");
    EXPECT_EQ(Written<std::wostringstream>(qrvariant_t(static_cast<wchar_t const *>(nullptr))), L"");
}

TEST(TmpVariant, NeverGivesAnythingBack)
{
    Counted object;
    qrvariant_t const owner(static_cast<IUnknown *>(&object));
    {
        tmpvariant_t view(owner);
        tmpvariant_t const second(view);
        view = second;
        view = tmpvariant_t();
        EXPECT_EQ(second.GetIUnknown(true), &object);
        EXPECT_EQ(object.references, 2U);
        qrvariant_t const kept(second);
        EXPECT_EQ(object.references, 3U);
    }
    EXPECT_EQ(object.references, 2U);
}

} // namespace

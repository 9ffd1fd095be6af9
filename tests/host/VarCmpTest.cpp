#include "support/tsv.h"
#include "support/variants.h"

#include "qvlib/host/variant.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace
{

using qvlib_test::Holder;
using qvlib_test::Table;

/// VarCmp's answer, after checking that the answer with the sides exchanged fits it.
HRESULT Compare(VARIANT & left, VARIANT & right, LCID locale = 0, ULONG flags = 0)
{
    HRESULT const result = VarCmp(&left, &right, locale, flags);
    HRESULT const back = VarCmp(&right, &left, locale, flags);
    EXPECT_EQ(back, result == VARCMP_LT ? VARCMP_GT : result == VARCMP_GT ? VARCMP_LT : result);
    return result;
}

VARIANT Number(VARTYPE vt, LONGLONG bits)
{
    VARIANT value{};
    value.vt = vt;
    value.llVal = bits;
    return value;
}

VARIANT Real(double number)
{
    VARIANT value{};
    value.vt = VT_R8;
    value.dblVal = number;
    return value;
}

TEST(VarCmp, AgreesWithThePlatform)
{
    Table const rows("host/varcmp.tsv");
    for (std::size_t row = 0; row < rows.Rows(); ++row)
    {
        SCOPED_TRACE(rows.Raw(row, "left_vt") + " " + rows.Raw(row, "left") + " / " + rows.Raw(row, "right_vt") + " " +
                     rows.Raw(row, "right"));
        Holder left;
        Holder right;
        LONGLONG unused[2] = {};
        ASSERT_TRUE(qvlib_test::BuildVariant(rows, row, "left_vt", "left", left, unused));
        ASSERT_TRUE(qvlib_test::BuildVariant(rows, row, "right_vt", "right", right, unused));
        EXPECT_EQ(static_cast<std::uint32_t>(Compare(left, right)), rows.Integer(row, "result"));
    }
    EXPECT_GT(rows.Rows(), 500U);
}

TEST(VarCmp, ComparesWholeNumbersOfAllWidthsExactly)
{
    LONGLONG const numbers[] = {-9223372036854775807LL - 1, -70000, -128, -1, 0, 1, 127, 65535, 4294967295LL,
                                9007199254740993LL};
    struct Kind
    {
        VARTYPE vt;
        LONGLONG low;
        LONGLONG high;
    };
    Kind const kinds[] = {{VT_I1, -128, 127},
                          {VT_UI1, 0, 255},
                          {VT_I2, -32768, 32767},
                          {VT_UI2, 0, 65535},
                          {VT_I4, -2147483647 - 1, 2147483647},
                          {VT_INT, -2147483647 - 1, 2147483647},
                          {VT_UI4, 0, 4294967295LL},
                          {VT_UINT, 0, 4294967295LL},
                          {VT_I8, std::numeric_limits<LONGLONG>::min(), std::numeric_limits<LONGLONG>::max()},
                          {VT_UI8, 0, std::numeric_limits<LONGLONG>::max()}};
    for (Kind const & first : kinds)
        for (Kind const & second : kinds)
            for (LONGLONG const a : numbers)
                for (LONGLONG const b : numbers)
                {
                    if (a < first.low || a > first.high || b < second.low || b > second.high)
                        continue;
                    VARIANT left = Number(first.vt, a);
                    VARIANT right = Number(second.vt, b);
                    EXPECT_EQ(Compare(left, right), a < b    ? VARCMP_LT
                                                    : a == b ? VARCMP_EQ
                                                             : VARCMP_GT)
                        << first.vt << ' ' << a << ' ' << second.vt << ' ' << b;
                }
    VARIANT most = Number(VT_UI8, -1);
    VARIANT negative = Number(VT_I8, -1);
    EXPECT_EQ(Compare(negative, most), VARCMP_LT);
}

TEST(VarCmp, SeesFractionsOfMoneyAndDecimalsOfAnySize)
{
    VARIANT less = Number(VT_CY, -15000);
    VARIANT one = Number(VT_I4, -1);
    EXPECT_EQ(Compare(less, one), VARCMP_LT);
    VARIANT half = Number(VT_CY, -5000);
    VARIANT zero = Number(VT_I4, 0);
    EXPECT_EQ(Compare(half, zero), VARCMP_LT);
    VARIANT large = Number(VT_CY, 9223372036854775807LL);
    VARIANT larger = Number(VT_I8, 922337203685478LL);
    EXPECT_EQ(Compare(large, larger), VARCMP_LT);

    Holder decimal;
    qvlib::host::SetDecimal(decimal, DECIMAL{0, 0, DECIMAL_NEG, 0xFFFFFFFF, ~0ULL});
    for (double const number : {-1e30, 1e30, 1e300, HUGE_VAL})
    {
        VARIANT real = Real(number);
        EXPECT_EQ(Compare(real, decimal), number < 0 ? VARCMP_LT : VARCMP_GT) << number;
    }
    Holder tenths;
    qvlib::host::SetDecimal(tenths, DECIMAL{0, 1, 0, 0, 50});
    VARIANT five = Number(VT_UI1, 5);
    EXPECT_EQ(Compare(tenths, five), VARCMP_EQ);
}

TEST(VarCmp, FollowsReferencesAndRefusesTheRest)
{
    LONG number = 7;
    VARIANT reference{};
    reference.vt = VT_BYREF | VT_I4;
    reference.plVal = &number;
    VARIANT seven = Real(7);
    EXPECT_EQ(Compare(reference, seven), VARCMP_EQ);
    reference.plVal = nullptr;
    EXPECT_EQ(VarCmp(&reference, &seven, 0, 0), E_INVALIDARG);
    EXPECT_EQ(VarCmp(nullptr, &seven, 0, 0), E_INVALIDARG);

    VARIANT other{};
    for (int const vt : {VT_ARRAY | VT_I4, VT_DISPATCH + 0, VT_UNKNOWN + 0, VT_ERROR + 0})
    {
        other.vt = static_cast<VARTYPE>(vt);
        EXPECT_EQ(Compare(other, seven), DISP_E_TYPEMISMATCH) << vt;
    }
    for (int const vt : {15, 99, VT_VECTOR | VT_I4, VT_VARIANT + 0})
    {
        other.vt = static_cast<VARTYPE>(vt);
        EXPECT_EQ(Compare(other, seven), DISP_E_BADVARTYPE) << vt;
    }
    VARIANT nan = Real(std::nan(""));
    EXPECT_EQ(VarCmp(&nan, &seven, 0, 0), VARCMP_GT);
    EXPECT_EQ(VarCmp(&seven, &nan, 0, 0), VARCMP_GT);
}

TEST(VarCmp, TakesTheOrderOfALocale)
{
    Holder small;
    small.vt = VT_BSTR;
    small.bstrVal = SysAllocString(L"abc");
    Holder capital;
    capital.vt = VT_BSTR;
    capital.bstrVal = SysAllocString(L"ABD");
    EXPECT_EQ(Compare(small, capital), VARCMP_GT);
    EXPECT_EQ(Compare(small, capital, 0x0409), VARCMP_LT);
    capital.bstrVal[2] = L'C';
    EXPECT_EQ(Compare(small, capital, 0x0409, NORM_IGNORECASE), VARCMP_EQ);
    EXPECT_NE(Compare(small, capital, 0x0409), VARCMP_EQ);
    EXPECT_EQ(VarCmp(&small, &capital, 0xFFFF, 0), E_INVALIDARG);
}

} // namespace

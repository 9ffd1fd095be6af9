#include "qvlib/VariantCompare.h"
#include "qvlib/Variant.h"

#include <gtest/gtest.h>

#include <string>

namespace
{

using qvlib::qrvariant_t;
using qvlib::TLCompareBSTR;
using qvlib::TLCompareVariantLess;

int Compare(std::wstring const & a, std::wstring const & b)
{
    _bstr_t const left(SysAllocStringLen(a.data(), static_cast<UINT>(a.size())), false);
    _bstr_t const right(SysAllocStringLen(b.data(), static_cast<UINT>(b.size())), false);
    int const result = TLCompareBSTR(left.GetBSTR(), right.GetBSTR());
    EXPECT_EQ(TLCompareBSTR(right.GetBSTR(), left.GetBSTR()), -result);
    return result;
}

TEST(CompareBstr, GoesByCharacterThenLength)
{
    EXPECT_EQ(Compare(L"abc", L"abd"), -1);
    EXPECT_EQ(Compare(L"abc", L"abc"), 0);
    EXPECT_EQ(Compare(L"ab", L"abc"), -1);
    EXPECT_EQ(Compare(L"b", L"abc"), 1);
    EXPECT_EQ(Compare(L"a", L"A"), 1);
    EXPECT_EQ(Compare(std::wstring(L"a\0b", 3), std::wstring(L"a\0c", 3)), -1);
    _bstr_t const empty(L"");
    EXPECT_EQ(TLCompareBSTR(nullptr, empty.GetBSTR()), 0);
    EXPECT_EQ(TLCompareBSTR(nullptr, nullptr), 0);
    EXPECT_EQ(TLCompareBSTR(_bstr_t(L"a").GetBSTR(), nullptr), 1);
}

TEST(CompareVariantLess, StandsInOneOrder)
{
    // Ascending: kinds by code (VT_INT as VT_I4, VT_UINT as VT_UI4), values within.
    qrvariant_t const ascending[] = {
        qrvariant_t(),
        qrvariant_t(static_cast<short>(-1)),
        qrvariant_t(static_cast<short>(0)),
        qrvariant_t(-2147483647L - 1),
        qrvariant_t(-1),
        qrvariant_t(1),
        qrvariant_t(2L),
        qrvariant_t(1.5F),
        qrvariant_t(-1e300),
        qrvariant_t(0.5),
        qrvariant_t(CY{0x0100}), // 00 01, by its bytes
        qrvariant_t(CY{0x0001}), // 01 00
        qrvariant_t(CY{-1}),
        qrvariant_t(1.0, VT_DATE),
        qrvariant_t(static_cast<wchar_t const *>(nullptr)),
        qrvariant_t(L"z"), // shorter stands first
        qrvariant_t(L"ab"),
        qrvariant_t(L"ba"),
        qrvariant_t(-5L, VT_ERROR),
        qrvariant_t(5L, VT_ERROR),
        qrvariant_t(true),
        qrvariant_t(false),
        qrvariant_t(DECIMAL{0, 0, 0, 0, 3}),
        qrvariant_t(DECIMAL{0, 1, 0, 0, 2}),
        qrvariant_t('\x80'),
        qrvariant_t('\x7F'),
        qrvariant_t(static_cast<unsigned char>(0x7F)),
        qrvariant_t(static_cast<unsigned char>(0x80)),
        qrvariant_t(static_cast<unsigned short>(0x8000)),
        qrvariant_t(1UL),
        qrvariant_t(0x80000000U),
        qrvariant_t(0xFFFFFFFFUL),
        qrvariant_t(-1LL),
        qrvariant_t(0LL),
        qrvariant_t(1ULL),
        qrvariant_t(18446744073709551615ULL),
    };
    for (std::size_t i = 0; i < std::size(ascending); ++i)
        for (std::size_t j = 0; j < std::size(ascending); ++j)
            EXPECT_EQ(TLCompareVariantLess(ascending[i], ascending[j]), i < j) << i << ' ' << j;
    // Equal values in other variants are below each other in neither way.
    EXPECT_FALSE(TLCompareVariantLess(qrvariant_t(L"ab"), qrvariant_t(L"ab")));
    EXPECT_FALSE(TLCompareVariantLess(qrvariant_t(1), qrvariant_t(1L)));
    EXPECT_FALSE(TLCompareVariantLess(qrvariant_t(), qrvariant_t()));
}

TEST(CompareVariantLess, RefusesArraysAndReferences)
{
    qrvariant_t arrays[2];
    for (qrvariant_t & each : arrays)
    {
        each.parray = SafeArrayCreateVector(VT_I4, 0, 1);
        each.vt = VT_ARRAY | VT_I4;
    }
    EXPECT_FALSE(TLCompareVariantLess(arrays[0], arrays[0]));
    EXPECT_THROW(TLCompareVariantLess(arrays[0], arrays[1]), _com_error);
    EXPECT_TRUE(TLCompareVariantLess(qrvariant_t(1), arrays[1])); // different kinds stand by their codes
    EXPECT_THROW(TLCompareVariantLess(nullptr, arrays[1]), _com_error);
    VARIANT references[2] = {};
    references[0].vt = references[1].vt = VT_BYREF | VT_I4;
    EXPECT_THROW(TLCompareVariantLess(&references[0], &references[1]), _com_error);
}

} // namespace

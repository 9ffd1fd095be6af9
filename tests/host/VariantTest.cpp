#include "support/allocation_sweep.h"
#include "support/tsv.h"
#include "support/variants.h"

#include "qvlib/host/com.h"
#include "qvlib/host/variant.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <thread>
#include <vector>

namespace
{

using qvlib_test::Counted;
using qvlib_test::Holder;
using qvlib_test::Table;
using qvlib_test::View;

TEST(VariantChangeType, AgreesWithThePlatform)
{
    Table const rows("host/variant.tsv");
    std::size_t checked = 0;
    for (std::size_t row = 0; row < rows.Rows(); ++row)
    {
        if (rows.Doubted(row))
            continue;
        SCOPED_TRACE(rows.Raw(row, "vt") + " " + rows.Raw(row, "value"));
        Holder source;
        LONGLONG target[2] = {};
        ASSERT_TRUE(qvlib_test::BuildVariant(rows, row, "vt", "value", source, target));
        ++checked;
        auto const convert = [&](VARTYPE vt, char const * column, auto const & compare)
        {
            Holder made;
            HRESULT const result = VariantChangeTypeEx(&made, &source, 0x0409, 0, vt);
            EXPECT_EQ(static_cast<std::uint32_t>(result), rows.Integer(row, std::string(column) + "_hr")) << column;
            if (SUCCEEDED(result))
            {
                EXPECT_EQ(made.vt, vt);
                compare(made, column);
            }
            else
                EXPECT_EQ(made.vt, VT_EMPTY);
        };
        convert(VT_BSTR, "bstr",
                [&](VARIANT const & made, char const * column)
                { EXPECT_EQ(View(made.bstrVal), rows.Wide(row, column)); });
        convert(VT_UI4, "ui4",
                [&](VARIANT const & made, char const * column) { EXPECT_EQ(made.ulVal, rows.Integer(row, column)); });
        convert(VT_I4, "i4",
                [&](VARIANT const & made, char const * column) { EXPECT_EQ(made.lVal, rows.Integer(row, column)); });
        convert(VT_R8, "r8",
                [&](VARIANT const & made, char const * column)
                {
                    double const expected = rows.Double(row, column);
                    EXPECT_NEAR(made.dblVal, expected, std::fabs(expected) * 1e-15);
                });
    }
    EXPECT_GT(checked, 120U);
}

TEST(VariantChangeType, ReadsTextInTheLocalesSigns)
{
    Holder text;
    text.vt = VT_BSTR;
    text.bstrVal = SysAllocString(L"1.234,5");
    Holder made;
    ASSERT_EQ(VariantChangeTypeEx(&made, &text, 0x0407, 0, VT_R8), S_OK);
    EXPECT_EQ(made.dblVal, 1234.5);
    ASSERT_EQ(VariantChangeTypeEx(&made, &made, 0x0407, 0, VT_BSTR), S_OK);
    EXPECT_EQ(View(made.bstrVal), L"1234,5");
}

TEST(VariantChangeType, KnowsCurrencyDecimalAndTruth)
{
    struct Case
    {
        wchar_t const * from;
        VARTYPE through;
        USHORT flags;
        wchar_t const * to; // null: the conversion fails
    };
    Case const cases[] = {
        {L"922337203685477.5807", VT_CY, 0, L"922337203685477.5807"},
        {L"-922337203685477.5808", VT_CY, 0, L"-922337203685477.5808"},
        {L"922337203685477.5808", VT_CY, 0, nullptr},
        {L"0.00005", VT_CY, 0, L"0"},
        {L"0.00015", VT_CY, 0, L"0.0002"},
        {L"79228162514264337593543950335", VT_DECIMAL, 0, L"79228162514264337593543950335"},
        {L"79228162514264337593543950336", VT_DECIMAL, 0, nullptr},
        {L"-0.1234567890123456789012345678", VT_DECIMAL, 0, L"-0.1234567890123456789012345678"},
        {L"7922816251426433759354395032.55", VT_DECIMAL, 0, L"7922816251426433759354395032.6"},
        {L"7922816251426433759354395033.55", VT_DECIMAL, 0, L"7922816251426433759354395034"}, // rounding needs room
        {L"1e-40", VT_DECIMAL, 0, L"0"},
        {L"true", VT_BOOL, VARIANT_ALPHABOOL, L"True"},
        {L"#FALSE#", VT_BOOL, VARIANT_ALPHABOOL, L"False"},
        {L"0.0", VT_BOOL, VARIANT_ALPHABOOL, L"False"},
        {L"-3", VT_BOOL, 0, L"-1"},
        {L"yes", VT_BOOL, 0, nullptr},
        {L"18446744073709551615", VT_UI8, 0, L"18446744073709551615"},
        {L"18446744073709551615.5", VT_UI8, 0, nullptr},
        {L"-9223372036854775808", VT_I8, 0, L"-9223372036854775808"},
        {L"&HFFFF", VT_I2, 0, L"-1"},
        {L"&H10000", VT_I2, 0, nullptr},
        {L"-128", VT_I1, 0, L"-128"},
        {L"255.5", VT_UI1, 0, nullptr},
        {L"1e39", VT_R4, 0, nullptr},
    };
    for (Case const & each : cases)
    {
        SCOPED_TRACE(std::string(each.from, each.from + std::wcslen(each.from)));
        Holder value;
        value.vt = VT_BSTR;
        value.bstrVal = SysAllocString(each.from);
        HRESULT const result = VariantChangeTypeEx(&value, &value, 0x0409, each.flags, each.through);
        EXPECT_EQ(SUCCEEDED(result), each.to != nullptr);
        if (FAILED(result))
        {
            EXPECT_EQ(View(value.bstrVal), each.from); // a failure in place leaves the variant
            continue;
        }
        ASSERT_EQ(VariantChangeTypeEx(&value, &value, 0x0409, each.flags, VT_BSTR), S_OK);
        EXPECT_EQ(View(value.bstrVal), each.to);
    }
}

TEST(Bstr, CountsItsCharactersAndKeepsNuls)
{
    BSTR const text = SysAllocStringLen(L"a\0b", 3);
    EXPECT_EQ(SysStringLen(text), 3U);
    EXPECT_EQ(SysStringByteLen(text), 3 * sizeof(wchar_t));
    EXPECT_EQ(View(text), std::wstring(L"a\0b", 3));
    EXPECT_EQ(text[3], L'\0');
    SysFreeString(text);

    EXPECT_EQ(SysAllocString(nullptr), nullptr);
    EXPECT_EQ(SysStringLen(nullptr), 0U);
    EXPECT_EQ(SysAllocStringLen(nullptr, 0xFFFFFFFF), nullptr);
    BSTR const odd = SysAllocStringByteLen("abcde", 5);
    EXPECT_EQ(SysStringByteLen(odd), 5U);
    EXPECT_EQ(SysStringLen(odd), 5 / sizeof(wchar_t));
    SysFreeString(odd);
}

TEST(Bstr, BlocksChangeHandsAmongThreads)
{
    // Every length up to beyond the kept sizes, made on one thread, shortened or not, freed on another, made again.
    std::vector<BSTR> texts;
    for (int round = 0; round < 3; ++round)
    {
        std::thread(
            [&]
            {
                for (UINT length = 0; length < 160; ++length)
                    for (int copy = 0; copy < 3; ++copy)
                        texts.push_back(
                            SysAllocString(std::wstring(length, static_cast<wchar_t>(L'a' + copy)).c_str()));
            })
            .join();
        for (std::size_t i = 0; i < texts.size(); ++i)
        {
            ASSERT_EQ(View(texts[i]), std::wstring(i / 3, static_cast<wchar_t>(L'a' + i % 3)));
            if (i % 2 == 1)
                SysFreeString(texts[i]);
        }
        std::thread(
            [&]
            {
                for (std::size_t i = 0; i < texts.size(); i += 2)
                    SysFreeString(texts[i]);
            })
            .join();
        texts.clear();
    }
}

/// {a text, an object, an array with a text} as one variant.
void MakeNested(VARIANT & value, Counted & object)
{
    value.parray = SafeArrayCreateVector(VT_VARIANT, 0, 3);
    ASSERT_NE(value.parray, nullptr);
    value.vt = VT_ARRAY | VT_VARIANT;
    auto * const elements = static_cast<VARIANT *>(value.parray->pvData);
    elements[0].vt = VT_BSTR;
    elements[0].bstrVal = SysAllocString(L"text");
    elements[1].vt = VT_UNKNOWN;
    elements[1].punkVal = &object;
    object.AddRef();
    elements[2].vt = VT_ARRAY | VT_BSTR;
    elements[2].parray = SafeArrayCreateVector(VT_BSTR, 5, 2);
    static_cast<BSTR *>(elements[2].parray->pvData)[1] = SysAllocString(L"inner");
}

TEST(VariantCopy, OwnsAllThatTheSourceOwns)
{
    Counted object;
    {
        Holder source;
        ASSERT_NO_FATAL_FAILURE(MakeNested(source, object));
        Holder copy;
        copy.vt = VT_BSTR;
        copy.bstrVal = SysAllocString(L"old");
        // A copy that fails leaves the target as it was, and what it had taken is given back.
        qvlib_test::SweepAllocations([&] { VariantCopy(&copy, &source); },
                                     [&]
                                     {
                                         EXPECT_EQ(copy.vt, VT_BSTR);
                                         EXPECT_EQ(object.references, 2U);
                                     });
        ASSERT_EQ(copy.vt, VT_ARRAY | VT_VARIANT);
        EXPECT_EQ(object.references, 3U);
        EXPECT_EQ(VariantClear(&source), S_OK);
        auto const * const elements = static_cast<VARIANT const *>(copy.parray->pvData);
        EXPECT_EQ(View(elements[0].bstrVal), L"text");
        LONG bound = 0;
        EXPECT_EQ(SafeArrayGetUBound(elements[2].parray, 1, &bound), S_OK);
        EXPECT_EQ(bound, 6);
        EXPECT_EQ(View(static_cast<BSTR *>(elements[2].parray->pvData)[1]), L"inner");
        EXPECT_EQ(VariantCopy(&copy, &copy), S_OK);
    }
    EXPECT_EQ(object.references, 1U);
}

TEST(VariantClear, RefusesLockedArraysAndUnknownKinds)
{
    VARIANT value{};
    value.vt = VT_ARRAY | VT_I4;
    value.parray = SafeArrayCreateVector(VT_I4, 0, 4);
    void * data = nullptr;
    ASSERT_EQ(SafeArrayAccessData(value.parray, &data), S_OK);
    EXPECT_EQ(VariantClear(&value), DISP_E_ARRAYISLOCKED);
    EXPECT_EQ(value.vt, VT_ARRAY | VT_I4);
    EXPECT_EQ(SafeArrayUnaccessData(value.parray), S_OK);
    EXPECT_EQ(VariantClear(&value), S_OK);
    EXPECT_EQ(value.vt, VT_EMPTY);

    Holder target;
    for (int const vt : {15, 24, 77, VT_VARIANT + 0, VT_VECTOR | VT_I4, VT_ARRAY + 0})
    {
        value.vt = static_cast<VARTYPE>(vt);
        EXPECT_EQ(VariantClear(&value), DISP_E_BADVARTYPE) << vt;
        EXPECT_EQ(VariantCopy(&target, &value), DISP_E_BADVARTYPE) << vt;
    }
}

TEST(VariantCopyInd, FollowsReferences)
{
    BSTR text = SysAllocString(L"text");
    VARIANT inner{};
    inner.vt = VT_BYREF | VT_BSTR;
    inner.pbstrVal = &text;
    VARIANT outer{};
    outer.vt = VT_BYREF | VT_VARIANT;
    outer.pvarVal = &inner;
    Holder copy;
    ASSERT_EQ(VariantCopyInd(&copy, &outer), S_OK);
    EXPECT_EQ(copy.vt, VT_BSTR);
    EXPECT_NE(copy.bstrVal, text);
    EXPECT_EQ(View(copy.bstrVal), L"text");
    ASSERT_EQ(VariantCopyInd(&outer, &outer), S_OK); // in place: what it pointed to stays
    EXPECT_EQ(View(outer.bstrVal), L"text");
    EXPECT_EQ(View(text), L"text");
    VariantClear(&outer);
    outer.vt = VT_BYREF | VT_VARIANT;
    outer.pvarVal = &outer;
    EXPECT_EQ(VariantCopyInd(&copy, &outer), E_INVALIDARG);
    outer.pvarVal = nullptr;
    EXPECT_EQ(VariantCopyInd(&copy, &outer), E_INVALIDARG);
    SysFreeString(text);
}

TEST(SafeArray, TellsItsShape)
{
    SAFEARRAYBOUND bounds[2] = {{3, -1}, {2, 10}};
    SAFEARRAY * const array = SafeArrayCreate(VT_R8, 2, bounds);
    ASSERT_NE(array, nullptr);
    VARTYPE vt = 0;
    LONG low = 0;
    LONG high = 0;
    EXPECT_TRUE(SafeArrayGetVartype(array, &vt) == S_OK && vt == VT_R8);
    EXPECT_TRUE(SafeArrayGetLBound(array, 1, &low) == S_OK && low == -1);
    for (UINT const dimension : {0U, 3U})
        EXPECT_EQ(SafeArrayGetLBound(array, dimension, &low), DISP_E_BADINDEX);
    EXPECT_EQ(SafeArrayDestroy(array), S_OK);

    SAFEARRAYBOUND huge[3] = {{0xFFFFFFFF, 0}, {0xFFFFFFFF, 0}, {0xFFFFFFFF, 0}};
    EXPECT_EQ(SafeArrayCreate(VT_I1, 3, huge), nullptr);
    EXPECT_EQ(SafeArrayCreateVector(VT_I4, 0x7FFFFFFF, 2), nullptr);
    EXPECT_EQ(SafeArrayCreateVector(VT_EMPTY, 0, 2), nullptr);

    SAFEARRAYBOUND none[2] = {{0, 0}, {0x40000000, 0}};
    SAFEARRAY * const empty = SafeArrayCreate(VT_R8, 2, none);
    SAFEARRAY * copy = nullptr;
    EXPECT_EQ(SafeArrayCopy(empty, &copy), S_OK);
    EXPECT_TRUE(SafeArrayGetUBound(copy, 2, &high) == S_OK && high == 0x3FFFFFFF);
    EXPECT_EQ(SafeArrayDestroy(empty), S_OK);
    EXPECT_EQ(SafeArrayDestroy(copy), S_OK);
}

} // namespace

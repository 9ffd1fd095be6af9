#include "support/allocation_sweep.h"
#include "support/com_objects.h"

#include "qvlib/framework/comutil.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace
{

using qvlib_test::Thrown;

/// Counts its references and answers for IUnknown and IStream's id, or fails in the way asked for.
struct Object final : qvlib_test::WithoutMembers<qvlib_test::CountedAs<IDispatch>>
{
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void ** object) override
    {
        bool const known = answer == S_OK && (iid == IID_IUnknown || iid == IID_IDispatch);
        *object = known ? this : nullptr;
        if (!known)
            return FAILED(answer) ? answer : E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID member, REFIID, LCID, WORD flags, DISPPARAMS *, VARIANT * result,
                                     EXCEPINFO *, UINT *) override
    {
        if (member != DISPID_VALUE || flags != DISPATCH_PROPERTYGET)
            return DISP_E_MEMBERNOTFOUND;
        result->vt = VT_BSTR;
        result->bstrVal = SysAllocString(L"42");
        return S_OK;
    }

    HRESULT answer = S_OK;
};

TEST(ComError, CarriesItsCode)
{
    EXPECT_EQ(Thrown([] { _com_issue_error(E_FAIL); }), E_FAIL);
    EXPECT_STREQ(_com_error(E_FAIL).what(), "Error 0x80004005");
    EXPECT_EQ(Thrown([] { _com_util::CheckError(S_FALSE); }), S_OK);
}

TEST(ComPtr, HoldsOneReferenceThroughEveryWayOfTakingIt)
{
    Object object;
    {
        _com_ptr_t<IDispatch> first(&object);
        EXPECT_EQ(object.references, 2U);
        _com_ptr_t<IDispatch> second = first;
        _com_ptr_t<IDispatch> const & itself = second;
        second = itself;
        second = &object;
        EXPECT_EQ(object.references, 3U);
        _com_ptr_t<IDispatch> third(std::move(second));
        EXPECT_EQ(object.references, 3U);
        IDispatch * const out = third.Detach();
        EXPECT_FALSE(third);
        third.Attach(out);
        EXPECT_EQ(object.references, 3U);
        _com_ptr_t<IUnknown> const unknown(third);
        EXPECT_TRUE(unknown == static_cast<IUnknown *>(&object));
        EXPECT_EQ(object.references, 4U);
        *&first = nullptr;
    }
    EXPECT_EQ(object.references, 1U);
}

TEST(ComPtr, ANullPointerThrowsAndAMissingInterfaceIsNull)
{
    _com_ptr_t<IDispatch> none;
    EXPECT_EQ(Thrown([&] { none->AddRef(); }), E_POINTER);
    EXPECT_EQ(Thrown([&] { none.Release(); }), E_POINTER);
    IUnknown * found = nullptr;
    EXPECT_EQ(none.QueryInterface(IID_IUnknown, found), E_POINTER);

    Object object;
    _com_ptr_t<IDispatch> const held(&object);
    EXPECT_FALSE(_com_ptr_t<IStream>(held));
    object.answer = E_ACCESSDENIED;
    EXPECT_EQ(Thrown([&] { _com_ptr_t<IUnknown> const asked(held); }), E_ACCESSDENIED);
    object.answer = S_OK;
}

TEST(BstrT, SharesItsTextAndComparesByCharacter)
{
    _bstr_t const text(L"a\u00E9");
    _bstr_t const copy = text;
    EXPECT_EQ(copy.GetBSTR(), text.GetBSTR());
    EXPECT_STREQ(static_cast<char const *>(text), "a\xC3\xA9");
    EXPECT_TRUE(_bstr_t("a\xC3\xA9") == text);
    EXPECT_TRUE(text + L"x" == L"a\u00E9x");
    EXPECT_TRUE(L"x" + text == L"xa\u00E9");
    EXPECT_TRUE(_bstr_t(L"ab") < _bstr_t(L"b"));
    EXPECT_FALSE(_bstr_t(L"b") <= _bstr_t(L"ab"));
    EXPECT_TRUE(_bstr_t() == L"");
    EXPECT_TRUE(!_bstr_t(static_cast<wchar_t const *>(nullptr)));
    EXPECT_EQ(_bstr_t().length(), 0U);

    _bstr_t own(SysAllocStringLen(L"a\0b", 3), false);
    EXPECT_EQ(own.length(), 3U);
    EXPECT_TRUE(_bstr_t(own.GetBSTR(), true) == own);
    BSTR const raw = own.GetBSTR();
    BSTR const detached = own.Detach();
    EXPECT_EQ(detached, raw); // nobody shared it
    EXPECT_TRUE(!own);
    SysFreeString(detached);
}

TEST(BstrT, GivesBackWhatItHeldWhenMemoryRunsOut)
{
    _bstr_t text;
    qvlib_test::SweepAllocations(
        [&]
        {
            try
            {
                text = _bstr_t(L"one") + "two";
            }
            catch (_com_error const & error)
            {
                EXPECT_EQ(error.Error(), E_OUTOFMEMORY);
                EXPECT_TRUE(!text);
            }
        });
    EXPECT_TRUE(text == L"onetwo");
}

TEST(VariantT, EachTypeHasItsKindAndReadsBack)
{
    EXPECT_EQ(_variant_t(static_cast<short>(-2)).vt, VT_I2);
    EXPECT_EQ(_variant_t(2L).vt, VT_I4);
    EXPECT_EQ(_variant_t(2UL).vt, VT_UI4);
    EXPECT_EQ(_variant_t(2).vt, VT_INT);
    EXPECT_EQ(_variant_t(2U).vt, VT_UINT);
    EXPECT_EQ(_variant_t(2LL).vt, VT_I8);
    EXPECT_EQ(_variant_t('a').vt, VT_I1);
    EXPECT_EQ(_variant_t(1.5F).vt, VT_R4);
    EXPECT_EQ(_variant_t(1.5, VT_DATE).vt, VT_DATE);
    EXPECT_EQ(_variant_t(true).boolVal, VARIANT_TRUE);
    EXPECT_EQ(_variant_t(static_cast<short>(5), VT_BOOL).boolVal, VARIANT_TRUE);
    EXPECT_EQ(_variant_t(DISP_E_PARAMNOTFOUND, VT_ERROR).scode, DISP_E_PARAMNOTFOUND);
    EXPECT_EQ(_variant_t(0x80020004L, VT_ERROR).scode, DISP_E_PARAMNOTFOUND);

    _variant_t const text(L"12");
    EXPECT_EQ(static_cast<long>(text), 12);
    EXPECT_EQ(static_cast<double>(text), 12.0);
    EXPECT_EQ(static_cast<unsigned __int64>(text), 12U);
    EXPECT_EQ(static_cast<CY>(text).int64, 120000);
    EXPECT_TRUE(static_cast<bool>(text));
    EXPECT_TRUE(static_cast<_bstr_t>(_variant_t(12)) == L"12");
    DECIMAL const decimal = text;
    EXPECT_TRUE(_variant_t(decimal) == _variant_t(decimal));
    EXPECT_EQ(static_cast<int>(_variant_t(decimal)), 12);
    EXPECT_FALSE(_variant_t(12) == _variant_t(12L));
}

TEST(VariantT, WhatCannotBeDoneThrowsThePlatformsCode)
{
    _variant_t const text(L"no number");
    EXPECT_EQ(Thrown([&] { static_cast<void>(static_cast<long>(text)); }), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(Thrown([] { static_cast<void>(static_cast<unsigned char>(_variant_t(256))); }), DISP_E_OVERFLOW);
    EXPECT_EQ(Thrown([] { _variant_t const value(1.0, VT_I4); }), E_INVALIDARG);
    EXPECT_EQ(Thrown([] { _variant_t const value(static_cast<short>(1), VT_R8); }), E_INVALIDARG);
    EXPECT_EQ(Thrown([] { _variant_t const value(static_cast<VARIANT const *>(nullptr)); }), E_POINTER);
    EXPECT_EQ(Thrown([] { _variant_t().ChangeType(15); }), DISP_E_BADVARTYPE);
    if (sizeof(long) > 4)
    {
        EXPECT_EQ(Thrown([] { _variant_t const value(static_cast<long>(0x100000000LL)); }), DISP_E_OVERFLOW);
        EXPECT_EQ(_variant_t(static_cast<long>(0xFFFFFFFFUL)).lVal, -1);
        EXPECT_EQ(_variant_t(~0UL).ulVal, 0xFFFFFFFFU);
    }
}

TEST(VariantT, PassesOwnershipOn)
{
    Object object;
    {
        _variant_t value(static_cast<IDispatch *>(&object));
        _variant_t const copy = value;
        EXPECT_EQ(object.references, 3U);
        EXPECT_EQ(static_cast<long>(value), 42); // by its value property
        _com_ptr_t<IUnknown> const unknown(static_cast<IUnknown *>(value), false);
        EXPECT_EQ(object.references, 4U);
        VARIANT raw = value.Detach();
        EXPECT_EQ(value.vt, VT_EMPTY);
        value = L"text";
        value.Attach(raw);
        EXPECT_EQ(raw.vt, VT_EMPTY);
        EXPECT_EQ(object.references, 4U);
        _variant_t const taken(value, false);
        EXPECT_EQ(value.vt, VT_EMPTY);
        EXPECT_EQ(object.references, 4U);
    }
    EXPECT_EQ(object.references, 1U);
}

} // namespace

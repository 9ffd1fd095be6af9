#include "qvlib/framework/cmdtarget.h"
#include "qvlib/framework/comutil.h"
#include "qvlib/framework/dispatchmap.h"
#include "qvlib/framework/exceptions.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>

namespace
{

/// A class with all kinds of members.
class CCalculator : public CCmdTarget
{
    DECLARE_DYNCREATE(CCalculator)
    DECLARE_DISPATCH_MAP()

public:
    CCalculator() { EnableAutomation(); }
    ~CCalculator() override { ++s_ended; }

    long Add(long left, LONG right) { return left + right; }
    BSTR Join(wchar_t const * text, short number, bool mark)
    {
        std::wstring const joined = text + std::to_wstring(number) + (mark ? L"!" : L"");
        return SysAllocStringLen(joined.data(), static_cast<UINT>(joined.size()));
    }
    void Halve(double * value, VARIANT_BOOL * done)
    {
        *value /= 2;
        *done = VARIANT_TRUE;
    }
    VARTYPE KindOf(VARIANT const & value) { return value.vt; }
    double GetRate() const { return m_rate; }
    void SetRate(double rate) { m_rate = rate; }
    void Fail(LONG how)
    {
        if (how == 1)
            AfxThrowOleException(E_ABORT);
        if (how == 2)
            _com_issue_error(E_ACCESSDENIED);
        if (how == 3)
            throw std::bad_alloc();
        throw std::runtime_error("no");
    }
    IUnknown * Pass(IUnknown * object)
    {
        if (object != nullptr)
            object->AddRef();
        return object;
    }
    void EndYourself() { InternalRelease(); }

    static inline int s_ended = 0;

private:
    double m_rate = 1;
};

IMPLEMENT_DYNCREATE(CCalculator, CCmdTarget)

BEGIN_DISPATCH_MAP(CCalculator, CCmdTarget)
DISP_FUNCTION(CCalculator, L"Add", Add, VT_I4, VTS_I4 VTS_I4)
DISP_FUNCTION_ID(CCalculator, L"Join", 20, Join, VT_BSTR, VTS_BSTR VTS_I2 VTS_BOOL)
DISP_FUNCTION_ID(CCalculator, L"Halve", 21, Halve, VT_EMPTY, VTS_PR8 VTS_PBOOL)
DISP_FUNCTION_ID(CCalculator, L"KindOf", 22, KindOf, VT_UI2, VTS_VARIANT)
DISP_PROPERTY_EX_ID(CCalculator, L"Rate", 23, GetRate, SetRate, VT_R8, VTS_R8)
DISP_FUNCTION_ID(CCalculator, L"Fail", 24, Fail, VT_EMPTY, VTS_I4)
DISP_FUNCTION_ID(CCalculator, L"Pass", 25, Pass, VT_UNKNOWN, VTS_UNKNOWN)
DISP_FUNCTION_ID(CCalculator, L"EndYourself", 26, EndYourself, VT_EMPTY, VTS_NONE)
END_DISPATCH_MAP()

class CBigger : public CCalculator
{
    DECLARE_DYNAMIC(CBigger)
    DECLARE_DISPATCH_MAP()

public:
    long Add(long left, LONG right) { return left + right + 100; }
};
IMPLEMENT_DYNAMIC(CBigger, CCalculator)
BEGIN_DISPATCH_MAP(CBigger, CCalculator)
DISP_FUNCTION(CBigger, L"Add", Add, VT_I4, VTS_I4 VTS_I4)
END_DISPATCH_MAP()

DISPID IdOf(CCmdTarget & target, wchar_t const * name)
{
    DISPID id = 0;
    std::wstring text(name);
    LPOLESTR names = text.data();
    HRESULT const result = target.GetIDispatch(FALSE)->GetIDsOfNames(GUID_NULL, &names, 1, 0, &id);
    EXPECT_EQ(result, id == DISPID_UNKNOWN ? DISP_E_UNKNOWNNAME : S_OK);
    return id;
}

HRESULT Invoke(CCmdTarget & target, DISPID id, WORD flags, DISPPARAMS * parameters, VARIANT * result = nullptr,
               IID const & iid = GUID_NULL)
{
    return target.GetIDispatch(FALSE)->Invoke(id, iid, 0, flags, parameters, result, nullptr, nullptr);
}

/// Calls a member; the arguments in the order of the parameters.
template <std::size_t Count>
HRESULT Call(CCmdTarget & target, DISPID id, WORD flags, _variant_t (&&given)[Count], _variant_t & result,
             UINT * bad = nullptr, EXCEPINFO * exception = nullptr)
{
    VARIANT arguments[Count];
    for (std::size_t i = 0; i < Count; ++i)
        arguments[Count - 1 - i] = given[i];
    DISPPARAMS parameters{arguments, nullptr, static_cast<UINT>(Count), 0};
    result.Clear();
    return target.GetIDispatch(FALSE)->Invoke(id, GUID_NULL, 0, flags, &parameters, &result, exception, bad);
}

TEST(CmdTarget, TellsItsClass)
{
    std::unique_ptr<CObject> const object(RUNTIME_CLASS(CCalculator)->CreateObject());
    ASSERT_NE(object, nullptr);
    EXPECT_STREQ(object->GetRuntimeClass()->m_lpszClassName, "CCalculator");
    EXPECT_EQ(object->GetRuntimeClass()->m_nObjectSize, static_cast<int>(sizeof(CCalculator)));
    EXPECT_TRUE(object->IsKindOf(RUNTIME_CLASS(CCmdTarget)));
    EXPECT_TRUE(object->IsKindOf(RUNTIME_CLASS(CObject)));
    EXPECT_FALSE(object->IsKindOf(RUNTIME_CLASS(CBigger)));
    EXPECT_FALSE(object->IsKindOf(nullptr));
    EXPECT_FALSE(object->IsSerializable());
    EXPECT_EQ(RUNTIME_CLASS(CBigger)->CreateObject(), nullptr);
}

TEST(CmdTarget, IsOneObjectBehindItsInterfaces)
{
    CCalculator target;
    IDispatch * const dispatch = target.GetIDispatch(TRUE);
    EXPECT_EQ(dispatch->Release(), 1U);
    void * first = nullptr;
    void * second = nullptr;
    EXPECT_EQ(dispatch->QueryInterface(IID_IUnknown, &first), S_OK);
    EXPECT_EQ(static_cast<IUnknown *>(first)->QueryInterface(IID_IUnknown, &second), S_OK);
    EXPECT_EQ(first, second);
    EXPECT_EQ(dispatch->QueryInterface(IID_IConnectionPointContainer, &second), E_NOINTERFACE); // not enabled
    EXPECT_EQ(second, nullptr);
    EXPECT_EQ(dispatch->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
    EXPECT_EQ(CCmdTarget::FromIDispatch(dispatch), &target);
    EXPECT_EQ(CCmdTarget::FromIDispatch(nullptr), nullptr);
    target.InternalRelease();
    EXPECT_EQ(target.InternalRelease(), 1U);

    CCmdTarget plain;
    EXPECT_EQ(plain.GetIDispatch(TRUE), nullptr);
    EXPECT_EQ(plain.GetInterface(&IID_IDispatch), nullptr);
}

TEST(Dispatch, NamesAreFoundWithoutCaseAndTheDerivedClassFirst)
{
    CCalculator target;
    CBigger bigger;
    EXPECT_EQ(IdOf(target, L"JOIN"), 20);
    EXPECT_EQ(IdOf(bigger, L"join"), 20);
    EXPECT_EQ(IdOf(target, L"Nothing"), DISPID_UNKNOWN);
    _variant_t result;
    ASSERT_EQ(Call(target, IdOf(target, L"Add"), DISPATCH_METHOD, {_variant_t(2), _variant_t(3)}, result), S_OK);
    EXPECT_EQ(result.lVal, 5);
    ASSERT_EQ(Call(bigger, IdOf(bigger, L"Add"), DISPATCH_METHOD, {_variant_t(2), _variant_t(3)}, result), S_OK);
    EXPECT_EQ(result.lVal, 105);
    EXPECT_EQ(Call(target, 999, DISPATCH_METHOD, {_variant_t(2)}, result), DISP_E_MEMBERNOTFOUND);
    EXPECT_EQ(Call(target, 20, DISPATCH_PROPERTYGET, {_variant_t(2)}, result), DISP_E_MEMBERNOTFOUND);
}

TEST(Dispatch, ArgumentsAreConverted)
{
    CCalculator target;
    _variant_t result;
    ASSERT_EQ(Call(target, 20, DISPATCH_METHOD, {_variant_t(5), _variant_t(L"7"), _variant_t(true)}, result), S_OK);
    EXPECT_EQ(static_cast<wchar_t const *>(static_cast<_bstr_t>(result)), std::wstring(L"57!"));
    ASSERT_EQ(Call(target, 20, DISPATCH_METHOD, {_variant_t(_bstr_t()), _variant_t(0), _variant_t(0)}, result), S_OK);
    EXPECT_EQ(result.bstrVal, std::wstring(L"0"));

    UINT bad = 9;
    EXPECT_EQ(Call(target, 20, DISPATCH_METHOD, {_variant_t(5), _variant_t(L"x"), _variant_t(true)}, result, &bad),
              DISP_E_TYPEMISMATCH);
    EXPECT_EQ(bad, 1U); // counted from the last
    EXPECT_EQ(Call(target, 20, DISPATCH_METHOD, {_variant_t(5)}, result), DISP_E_BADPARAMCOUNT);
    EXPECT_EQ(Call(target, 22, DISPATCH_METHOD, {_variant_t(L"any")}, result), S_OK);
    EXPECT_EQ(result.uiVal, VT_BSTR);
}

TEST(Dispatch, WhatIsHandedByReferenceIsWrittenInPlace)
{
    CCalculator target;
    double value = 5;
    VARIANT_BOOL done = VARIANT_FALSE;
    VARIANT arguments[2]{}; // the last one first
    arguments[1].vt = VT_BYREF | VT_R8;
    arguments[1].pdblVal = &value;
    arguments[0].vt = VT_BYREF | VT_BOOL;
    arguments[0].pboolVal = &done;
    DISPPARAMS parameters{arguments, nullptr, 2, 0};
    EXPECT_EQ(Invoke(target, 21, DISPATCH_METHOD, &parameters), S_OK);
    EXPECT_EQ(value, 2.5);
    EXPECT_EQ(done, VARIANT_TRUE);
    arguments[0].vt = VT_BYREF | VT_I4; // would be written with the wrong width
    EXPECT_EQ(Invoke(target, 21, DISPATCH_METHOD, &parameters), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(Invoke(target, 21, DISPATCH_METHOD, nullptr), E_INVALIDARG);
    EXPECT_EQ(Invoke(target, 21, DISPATCH_METHOD, &parameters, nullptr, IID_IUnknown), DISP_E_UNKNOWNINTERFACE);
}

TEST(Dispatch, PropertiesAreReadAndWritten)
{
    CCalculator target;
    _variant_t value(L"2.5");
    DISPID name = DISPID_PROPERTYPUT;
    DISPPARAMS put{&value, &name, 1, 1};
    EXPECT_EQ(Invoke(target, 23, DISPATCH_PROPERTYPUT, &put), S_OK);
    DISPPARAMS none{};
    _variant_t result;
    EXPECT_EQ(Invoke(target, 23, DISPATCH_PROPERTYGET, &none, &result), S_OK);
    EXPECT_EQ(result.dblVal, 2.5);
    EXPECT_EQ(Invoke(target, 22, DISPATCH_METHOD, &put), DISP_E_NONAMEDARGS);
}

TEST(Dispatch, ExceptionsBecomeCodes)
{
    CCalculator target;
    _variant_t result;
    EXCEPINFO info{};
    for (auto const & [how, code] : {std::pair(1, E_ABORT), {2, E_ACCESSDENIED}, {4, E_UNEXPECTED}})
    {
        EXPECT_EQ(Call(target, 24, DISPATCH_METHOD, {_variant_t(how)}, result, nullptr, &info), DISP_E_EXCEPTION);
        EXPECT_EQ(info.scode, code);
        EXPECT_GT(SysStringLen(info.bstrDescription), 0U);
        SysFreeString(info.bstrDescription);
        EXPECT_EQ(Call(target, 24, DISPATCH_METHOD, {_variant_t(how)}, result), DISP_E_EXCEPTION);
    }
    EXPECT_EQ(Call(target, 24, DISPATCH_METHOD, {_variant_t(3)}, result, nullptr, &info), E_OUTOFMEMORY);
}

TEST(Dispatch, ReferencesAndLifetimesAreKept)
{
    auto * const target = new CCalculator;
    int const ended = CCalculator::s_ended;
    {
        _variant_t result;
        _variant_t const itself(static_cast<IUnknown *>(target->GetIDispatch(FALSE)));
        ASSERT_EQ(Call(*target, 25, DISPATCH_METHOD, {itself}, result), S_OK);
        EXPECT_EQ(result.punkVal, itself.punkVal);
    }
    DISPPARAMS none{};
    // The last reference goes within the call.
    EXPECT_EQ(Invoke(*target, 26, DISPATCH_METHOD, &none), S_OK);
    EXPECT_EQ(CCalculator::s_ended, ended + 1);
}

} // namespace

#include "qvlib/CreateInstance.h"
#include "qvlib/ComIdentifiers.h"
#include "qvlib/Unknown.h"
#include "qvlib/framework/comutil.h"
#include "support/registry_folder.h"

#include <gtest/gtest.h>

#include <string>

namespace
{

constexpr CLSID kThing{0x91C3A6D0, 0x2B57, 0x4A0E, {0x9D, 0x41, 0x6E, 0x25, 0x0C, 0x88, 0x3F, 0x10}};
constexpr wchar_t const * kThingText = L"{91C3A6D0-2B57-4A0E-9D41-6E250C883F10}";

class Thing : public qvlib::CTLUnknown<1>
{
public:
    Thing() { ++s_live; }
    ~Thing() override { --s_live; }
    static inline int s_live = 0;
};

/// Makes things: for anybody, for the holder of a key, and for those who know the word.
class ThingFactory final : public IClassFactory2, public qvlib::ITLAuthenticatingClassFactory
{
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void ** object) override
    {
        *object = nullptr;
        if (iid == IID_IUnknown || iid == IID_IClassFactory || (iid == IID_IClassFactory2 && licensed))
            *object = static_cast<IClassFactory2 *>(this);
        else if (iid == qvlib::IID_ITLAuthenticatingClassFactory)
            *object = static_cast<qvlib::ITLAuthenticatingClassFactory *>(this);
        else
            return E_NOINTERFACE;
        ++references;
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
    ULONG STDMETHODCALLTYPE Release() override { return --references; }
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown *, REFIID iid, void ** object) override
    {
        auto * const thing = new Thing;
        thing->AddRef();
        HRESULT const result = thing->QueryInterface(iid, object);
        thing->Release();
        return result;
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE GetLicInfo(LICINFO *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE RequestLicKey(DWORD, BSTR *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE CreateInstanceLic(IUnknown * outer, IUnknown *, REFIID iid, BSTR key,
                                                void ** object) override
    {
        *object = this; // what a failure leaves must not reach the caller
        return key == std::wstring(L"key") ? CreateInstance(outer, iid, object) : CLASS_E_NOTLICENSED;
    }
    HRESULT STDMETHODCALLTYPE CreateInstanceAuthenticate(IUnknown * outer, REFIID iid, wchar_t const * authentication,
                                                         void ** object) override
    {
        return authentication == std::wstring(L"word") ? CreateInstance(outer, iid, object) : E_ACCESSDENIED;
    }

    bool licensed = true;
    ULONG references = 1;
};

class CreateInstanceTest : public ::testing::Test
{
protected:
    CreateInstanceTest()
    {
        EXPECT_EQ(CoRegisterClassObject(kThing, static_cast<IClassFactory2 *>(&factory), CLSCTX_INPROC_SERVER,
                                        REGCLS_MULTIPLEUSE, &cookie),
                  S_OK);
    }
    ~CreateInstanceTest() override
    {
        EXPECT_EQ(cookie == 0 ? S_OK : CoRevokeClassObject(cookie), S_OK);
        EXPECT_EQ(factory.references, 1U);
        EXPECT_EQ(Thing::s_live, 0);
    }

    ThingFactory factory;
    DWORD cookie = 0;
};

void End(void * object)
{
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(Thing::s_live, 1);
    static_cast<IUnknown *>(object)->Release();
}

TEST_F(CreateInstanceTest, ALicenceOpensALicensedClass)
{
    void * object = nullptr;
    EXPECT_EQ(qvlib::CoCreateInstanceLic(kThing, nullptr, CLSCTX_ALL, L"key", IID_IUnknown, &object), S_OK);
    End(object);
    for (wchar_t const * const key : {L"other", static_cast<wchar_t const *>(nullptr)})
    {
        object = &object;
        EXPECT_EQ(qvlib::CoCreateInstanceLic(kThing, nullptr, CLSCTX_ALL, key, IID_IUnknown, &object),
                  CLASS_E_NOTLICENSED);
        EXPECT_EQ(object, nullptr);
    }
    factory.licensed = false;
    EXPECT_EQ(qvlib::CoCreateInstanceLic(kThing, nullptr, CLSCTX_ALL, L"key", IID_IUnknown, &object), E_NOINTERFACE);
    EXPECT_EQ(qvlib::CoCreateInstanceLic(kThing, nullptr, CLSCTX_ALL, L"key", IID_IUnknown, nullptr), E_POINTER);
}

TEST_F(CreateInstanceTest, AWordOpensAnAuthenticatingClass)
{
    void * object = nullptr;
    EXPECT_EQ(qvlib::CoCreateInstanceAuthenticate(kThing, nullptr, CLSCTX_ALL, L"word", IID_IUnknown, &object), S_OK);
    End(object);
    EXPECT_EQ(qvlib::CoCreateInstanceAuthenticate(kThing, nullptr, CLSCTX_ALL, nullptr, IID_IUnknown, &object),
              E_ACCESSDENIED);
    EXPECT_EQ(qvlib::CoCreateInstanceAuthenticate(GUID_NULL, nullptr, CLSCTX_ALL, L"word", IID_IUnknown, &object),
              REGDB_E_CLASSNOTREG);
    EXPECT_EQ(object, nullptr);
}

TEST_F(CreateInstanceTest, NamesResolveThroughTheClassesKey)
{
    RegistryFolder const folder;
    SetClassText(L"Test.Thing\\CLSID", kThingText);
    SetClassText(std::wstring(L"CLSID\\") + kThingText + L"\\ProgID", L"Test.Thing");
    EXPECT_STREQ(qvlib::AsProgID(kThing), L"Test.Thing");

    _com_ptr_t<IUnknown> thing;
    EXPECT_EQ(thing.CreateInstance(L"test.thing"), S_OK);
    EXPECT_EQ(Thing::s_live, 1);
    EXPECT_EQ(thing.CreateInstance(kThingText), S_OK);
    EXPECT_EQ(Thing::s_live, 1);
    thing = nullptr;
    for (wchar_t const * const none : {L"Test.Nothing", L"{no id}"})
        EXPECT_EQ(thing.CreateInstance(none), CO_E_CLASSSTRING);
    EXPECT_EQ(thing.CreateInstance(static_cast<wchar_t const *>(nullptr)), E_INVALIDARG);
    EXPECT_EQ(CoRevokeClassObject(std::exchange(cookie, 0)), S_OK);
    EXPECT_EQ(thing.CreateInstance(L"Test.Thing"), REGDB_E_CLASSNOTREG); // a name alone makes no class
}

TEST_F(CreateInstanceTest, ClassObjectsAreGivenOut)
{
    void * found = nullptr;
    ASSERT_EQ(CoGetClassObject(kThing, CLSCTX_ALL, nullptr, IID_IClassFactory2, &found), S_OK);
    EXPECT_EQ(found, static_cast<IClassFactory2 *>(&factory));
    static_cast<IUnknown *>(found)->Release();
    EXPECT_EQ(CoGetClassObject(kThing, CLSCTX_ALL, &found, IID_IClassFactory, &found), E_INVALIDARG);

    constexpr CLSID kProperties{0x7CEEACB2, 0xD59E, 0x11D3, {0x83, 0x94, 0x00, 0xC0, 0x4F, 0x7B, 0xDF, 0x10}};
    ASSERT_EQ(CoGetClassObject(kProperties, CLSCTX_ALL, nullptr, IID_IClassFactory, &found), S_OK); // a built-in class
    void * made = nullptr;
    EXPECT_EQ(static_cast<IClassFactory *>(found)->CreateInstance(static_cast<IClassFactory2 *>(&factory), IID_IUnknown,
                                                                  &made),
              CLASS_E_NOAGGREGATION);
    ASSERT_EQ(static_cast<IClassFactory *>(found)->CreateInstance(nullptr, IID_IDispatch, &made), S_OK);
    static_cast<IUnknown *>(made)->Release();
    static_cast<IUnknown *>(found)->Release();
}

} // namespace

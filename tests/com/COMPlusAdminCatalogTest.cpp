#include "support/com_objects.h"
#include "support/registry_folder.h"

#include <gtest/gtest.h>
#include <qvlib/COMPlusAdminCatalog.h>

namespace
{

using qvlib::COMPlusAdminCatalog;
using qvlib::CQVString;
using qvlib::qrvariant_t;

constexpr wchar_t kId[] = L"{8C1F3A52-0E6B-4F0C-9B7E-2D5A9E0B7C11}";
constexpr wchar_t kEventClass[] = L"{1D2E3F40-5162-4738-899A-ABBCCDDEEFF0}";

struct Subscriber final : qvlib_test::Counted
{
    Subscriber() { references = 0; }
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void ** object) override
    {
        *object = iid == IID_IUnknown ? this : nullptr;
        return *object != nullptr ? (AddRef(), S_OK) : E_NOINTERFACE;
    }
};

class COMPlusAdminCatalogTest : public ::testing::Test
{
    RegistryFolder m_registry;
};

TEST_F(COMPlusAdminCatalogTest, MakesAndRemovesALibraryApplication)
{
    EXPECT_EQ(COMPlusAdminCatalog::RemoveApplication(kId), 1);
    EXPECT_EQ(COMPlusAdminCatalog::CreateApplication(kId, L"Sampler", nullptr), 0);
    EXPECT_EQ(COMPlusAdminCatalog::CreateApplication(kId, L"Sampler", L"again"), COMADMIN_E_APPLICATIONEXISTS);
    EXPECT_EQ(COMPlusAdminCatalog::CreateApplication(L"Sampler", L"Sampler", L""), E_INVALIDARG);

    auto const applications = COMPlusAdminCatalog::GetCatalogCollection(L"Applications", nullptr);
    ASSERT_TRUE(applications);
    ASSERT_EQ(applications->Populate(), S_OK);
    _com_ptr_t<IDispatch> item;
    ASSERT_EQ(applications->get_Item(0, &item), S_OK);
    qrvariant_t activation;
    ASSERT_EQ(_com_ptr_t<ICatalogObject>(item)->get_Value(_bstr_t(L"Activation"), activation), S_OK);
    EXPECT_EQ(activation.GetAsIntegral(), 0);

    EXPECT_EQ(COMPlusAdminCatalog::RemoveApplication(L"{8c1f3a52-0e6b-4f0c-9b7e-2d5a9e0b7c11}"), 0);
    EXPECT_EQ(COMPlusAdminCatalog::RemoveApplication(kId), 1);
}

TEST_F(COMPlusAdminCatalogTest, ASubscriptionDeliversItsKeyAndHoldsItsSubscriber)
{
    Subscriber subscriber;
    CQVString key(L"before");
    EXPECT_EQ(COMPlusAdminCatalog::CreateTransientSubscription(nullptr, kEventClass, key), E_INVALIDARG);
    EXPECT_EQ(COMPlusAdminCatalog::CreateTransientSubscription(&subscriber, L"no class", key), E_INVALIDARG);
    EXPECT_EQ(key, L"before");
    EXPECT_EQ(subscriber.references, 0u);

    ASSERT_EQ(COMPlusAdminCatalog::CreateTransientSubscription(&subscriber, kEventClass, key), 0);
    EXPECT_EQ(key.GetLength(), 38);
    EXPECT_EQ(subscriber.references, 1u) << "the catalog's alone";
    EXPECT_EQ(COMPlusAdminCatalog::RemoveTransientSubscription(key), 0);
    EXPECT_EQ(subscriber.references, 0u);
    EXPECT_EQ(COMPlusAdminCatalog::RemoveTransientSubscription(key), 1);
}

TEST_F(COMPlusAdminCatalogTest, TellsOfWhatIsNotThere)
{
    long result = 0;
    EXPECT_FALSE(COMPlusAdminCatalog::GetCatalogCollection(L"Nothing", &result));
    EXPECT_EQ(result, COMADMIN_E_OBJECT_DOES_NOT_EXIST);
    EXPECT_FALSE(COMPlusAdminCatalog::GetCatalogCollection(L"Applications", nullptr, &result));
    EXPECT_EQ(result, E_POINTER);
    EXPECT_FALSE(COMPlusAdminCatalog::AddCatalogObject(nullptr, &result));
    EXPECT_EQ(result, E_POINTER);
    EXPECT_EQ(COMPlusAdminCatalog::RemoveCatalogObject(L"Nothing", kId), COMADMIN_E_OBJECT_DOES_NOT_EXIST);
    EXPECT_EQ(COMPlusAdminCatalog::RemoveApplication(nullptr), 1);
    EXPECT_EQ(COMPlusAdminCatalog::InstallEventClass(kId, L"\\bin\\sh", nullptr, nullptr),
              COMADMIN_E_OBJECT_DOES_NOT_EXIST);
    EXPECT_EQ(COMPlusAdminCatalog::InstallEventClass(kId, nullptr, nullptr, nullptr), E_INVALIDARG);
}

/// Answers every property with a success that is not S_OK.
TEST_F(COMPlusAdminCatalogTest, OnlyZeroIsSuccess)
{
    struct Hesitant final : qvlib_test::WithoutMembers<qvlib_test::CountedAs<ICatalogObject>>
    {
        HRESULT STDMETHODCALLTYPE get_Value(BSTR, VARIANT *) override { return E_NOTIMPL; }
        HRESULT STDMETHODCALLTYPE put_Value(BSTR, VARIANT) override { return S_FALSE; }
        HRESULT STDMETHODCALLTYPE get_Key(VARIANT *) override { return E_NOTIMPL; }
        HRESULT STDMETHODCALLTYPE get_Name(VARIANT *) override { return E_NOTIMPL; }
        HRESULT STDMETHODCALLTYPE get_Valid(VARIANT_BOOL *) override { return E_NOTIMPL; }
    } hesitant;
    long result = 7;
    EXPECT_FALSE(COMPlusAdminCatalog::SetCatalogObjectValue(&hesitant, L"Name", qrvariant_t(1), &result));
    EXPECT_EQ(result, 1);
    EXPECT_FALSE(COMPlusAdminCatalog::SetCatalogObjectValue(nullptr, L"Name", qrvariant_t(1), &result));
    EXPECT_EQ(result, E_POINTER);
}

} // namespace

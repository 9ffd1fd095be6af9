#include "support/registry_folder.h"

#include <gtest/gtest.h>
#include <qvlib/framework/comutil.h>
#include <qvlib/host/comadmin.h>
#include <qvlib/host/path.h>

#include <sys/wait.h>
#include <unistd.h>

#include <barrier>
#include <fstream>
#include <thread>

namespace
{

using Collection = _com_ptr_t<ICatalogCollection>;
using Object = _com_ptr_t<ICatalogObject>;

constexpr wchar_t kId[] = L"{8C1F3A52-0E6B-4F0C-9B7E-2D5A9E0B7C11}";

Collection Open(wchar_t const * name)
{
    _com_ptr_t<ICOMAdminCatalog> catalog;
    EXPECT_EQ(catalog.CreateInstance(CLSID_COMAdminCatalog), S_OK);
    _com_ptr_t<IDispatch> found;
    EXPECT_EQ(catalog->GetCollection(_bstr_t(name), &found), S_OK);
    return Collection(found);
}

Collection Populated(wchar_t const * name)
{
    Collection collection = Open(name);
    EXPECT_EQ(collection->Populate(), S_OK);
    return collection;
}

Object Added(Collection const & collection)
{
    _com_ptr_t<IDispatch> added;
    EXPECT_EQ(collection->Add(&added), S_OK);
    return Object(added);
}

Object At(Collection const & collection, long position)
{
    _com_ptr_t<IDispatch> found;
    EXPECT_EQ(collection->get_Item(position, &found), S_OK);
    return Object(found);
}

long Count(Collection const & collection)
{
    long count = -1;
    EXPECT_EQ(collection->get_Count(&count), S_OK);
    return count;
}

HRESULT Put(Object const & object, wchar_t const * name, _variant_t const & value)
{
    return object->put_Value(_bstr_t(name), value);
}

_variant_t Get(Object const & object, wchar_t const * name)
{
    _variant_t value;
    EXPECT_EQ(object->get_Value(_bstr_t(name), &value), S_OK);
    return value;
}

std::wstring Text(_variant_t const & value) { return value.vt == VT_BSTR ? value.bstrVal : L"(no text)"; }

void AddApplication(wchar_t const * id, wchar_t const * name)
{
    Collection const applications = Open(L"Applications");
    Object const application = Added(applications);
    ASSERT_EQ(Put(application, L"ID", id), S_OK);
    ASSERT_EQ(Put(application, L"Name", name), S_OK);
    long changes = 0;
    ASSERT_EQ(applications->SaveChanges(&changes), S_OK);
    ASSERT_EQ(changes, 1);
}

class CatalogTest : public ::testing::Test
{
    RegistryFolder m_registry;
};

TEST_F(CatalogTest, AnApplicationOfOneProcessIsChangedAndRemovedByAnother)
{
    pid_t const child = fork();
    ASSERT_GE(child, 0);
    if (child == 0)
    {
        AddApplication(kId, L"Sampler");
        _exit(::testing::Test::HasFailure() ? 1 : 0);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_EQ(status, 0);

    Collection const applications = Populated(L"applications");
    ASSERT_EQ(Count(applications), 1);
    Object const application = At(applications, 0);
    EXPECT_EQ(Text(Get(application, L"name")), L"Sampler");
    EXPECT_EQ(Get(application, L"Activation").lVal, 1);
    EXPECT_EQ(Put(application, L"Activation", 0L), S_OK);
    EXPECT_EQ(Put(application, L"Description", L"Takes s\u00E4mples \U0001F600"), S_OK);
    long changes = 0;
    EXPECT_EQ(applications->SaveChanges(&changes), S_OK);
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(applications->SaveChanges(&changes), S_OK);
    EXPECT_EQ(changes, 0);

    Collection const again = Populated(L"Applications");
    EXPECT_EQ(Get(At(again, 0), L"Activation").lVal, 0);
    EXPECT_EQ(Text(Get(At(again, 0), L"Description")), L"Takes s\u00E4mples \U0001F600");
    Object const removed = At(again, 0);
    EXPECT_EQ(again->Remove(0), S_OK);
    VARIANT_BOOL valid = VARIANT_TRUE;
    EXPECT_EQ(removed->get_Valid(&valid), S_OK);
    EXPECT_EQ(valid, VARIANT_FALSE);
    EXPECT_EQ(Count(Populated(L"Applications")), 1) << "removed before it was saved";
    EXPECT_EQ(again->SaveChanges(&changes), S_OK);
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(Count(Populated(L"Applications")), 0);
    // The first collection still holds it: its change finds nothing.
    EXPECT_EQ(Put(application, L"Description", L"late"), S_OK);
    EXPECT_EQ(applications->SaveChanges(&changes), COMADMIN_E_KEYMISSING);
}

TEST_F(CatalogTest, NothingIsSavedWhenAnObjectIsRefused)
{
    Collection const applications = Open(L"Applications");
    ASSERT_EQ(Put(Added(applications), L"Name", L"First"), S_OK);
    Object const second = Added(applications);
    long changes = -1;
    EXPECT_EQ(applications->SaveChanges(&changes), COMADMIN_E_OBJECTINVALID) << "the second has no name";
    EXPECT_EQ(changes, 0);
    EXPECT_EQ(Count(Populated(L"Applications")), 0);
    ASSERT_EQ(Put(second, L"Name", L"Second"), S_OK);
    EXPECT_EQ(applications->SaveChanges(&changes), S_OK);
    EXPECT_EQ(changes, 2);
    EXPECT_EQ(Count(Populated(L"Applications")), 2);
}

TEST_F(CatalogTest, RefusesWhatAPropertyCannotBe)
{
    Object const application = Added(Open(L"Applications"));
    EXPECT_EQ(Put(application, L"Colour", L"red"), E_INVALIDARG);
    EXPECT_EQ(Put(application, L"ID", L"..\\..\\elsewhere"), E_INVALIDARG);
    EXPECT_EQ(Put(application, L"ID", _variant_t()), E_INVALIDARG);
    EXPECT_EQ(Put(application, L"Activation", 2L), E_INVALIDARG);
    EXPECT_EQ(Put(application, L"Activation", L"much"), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(Put(application, L"Activation", L"1"), S_OK);
    EXPECT_EQ(Get(application, L"Activation").vt, VT_I4);
    _variant_t value;
    EXPECT_EQ(application->get_Value(nullptr, &value), E_INVALIDARG);
    EXPECT_EQ(application->get_Value(_bstr_t(L"Name"), nullptr), E_POINTER);
    Object const subscription = Added(Open(L"TransientSubscriptions"));
    EXPECT_EQ(Put(subscription, L"SubscriberInterface", static_cast<IUnknown *>(nullptr)), E_INVALIDARG);
}

TEST_F(CatalogTest, KeysFindWhatIsThereAndNothingElse)
{
    AddApplication(kId, L"Sampler");
    AddApplication(L"{8C1F3A52-0E6B-4F0C-9B7E-2D5A9E0B7C12}", L"Other");
    SAFEARRAY * const keys = SafeArrayCreateVector(VT_BSTR, 0, 4);
    void * data = nullptr;
    ASSERT_EQ(SafeArrayAccessData(keys, &data), S_OK);
    static_cast<BSTR *>(data)[0] = SysAllocString(L"{8c1f3a52-0e6b-4f0c-9b7e-2d5a9e0b7c11}");
    static_cast<BSTR *>(data)[1] = SysAllocString(L"{8C1F3A52-0E6B-4F0C-9B7E-2D5A9E0B7C13}");
    static_cast<BSTR *>(data)[2] = SysAllocString(L"..");
    SafeArrayUnaccessData(keys);
    Collection const found = Open(L"Applications");
    EXPECT_EQ(found->PopulateByKey(keys), S_OK);
    SafeArrayDestroy(keys);
    ASSERT_EQ(Count(found), 1);
    _variant_t key;
    EXPECT_EQ(At(found, 0)->get_Key(&key), S_OK);
    EXPECT_EQ(Text(key), kId);
    EXPECT_EQ(Put(At(found, 0), L"ID", kId), COMADMIN_E_NOTCHANGEABLE);
    EXPECT_EQ(found->PopulateByKey(nullptr), E_INVALIDARG);
    EXPECT_EQ(found->Remove(1), E_INVALIDARG);
    EXPECT_EQ(found->Remove(-1), E_INVALIDARG);

    Collection const twice = Open(L"Applications");
    Object const second = Added(twice);
    Put(second, L"ID", kId);
    Put(second, L"Name", L"Again");
    long changes = 0;
    EXPECT_EQ(twice->SaveChanges(&changes), COMADMIN_E_APPLICATIONEXISTS);
    EXPECT_EQ(Text(Get(At(found, 0), L"Name")), L"Sampler");
}

TEST_F(CatalogTest, OfTwoWhoAddTheSameApplicationOneDoes)
{
    for (int round = 0; round < 20; ++round)
    {
        HRESULT results[2] = {};
        std::barrier together(2);
        auto const add = [&](int who)
        {
            Collection const applications = Open(L"Applications");
            Object const application = Added(applications);
            Put(application, L"ID", kId);
            for (wchar_t const * const name : {L"Name", L"Description", L"CommandLine"})
                Put(application, name, who == 0 ? L"first" : L"second");
            together.arrive_and_wait();
            long changes = 0;
            results[who] = applications->SaveChanges(&changes);
        };
        std::thread other(add, 1);
        add(0);
        other.join();
        int const winner = results[0] == S_OK ? 0 : 1;
        EXPECT_EQ(results[winner], S_OK);
        EXPECT_EQ(results[1 - winner], COMADMIN_E_APPLICATIONEXISTS);
        Collection const applications = Populated(L"Applications");
        ASSERT_EQ(Count(applications), 1);
        for (wchar_t const * const name : {L"Name", L"Description", L"CommandLine"})
            EXPECT_EQ(Text(Get(At(applications, 0), name)), winner == 0 ? L"first" : L"second");
        EXPECT_EQ(applications->Remove(0), S_OK);
        long changes = 0;
        EXPECT_EQ(applications->SaveChanges(&changes), S_OK);
    }
}

TEST_F(CatalogTest, AnApplicationThatIsLockedIsNeitherChangedNorRemoved)
{
    AddApplication(kId, L"Sampler");
    Collection const applications = Populated(L"Applications");
    long changes = 0;
    Put(At(applications, 0), L"Changeable", false);
    Put(At(applications, 0), L"Deleteable", false);
    EXPECT_EQ(applications->SaveChanges(&changes), S_OK);
    Put(At(applications, 0), L"Description", L"new");
    EXPECT_EQ(applications->SaveChanges(&changes), COMADMIN_E_NOTCHANGEABLE);
    Put(At(applications, 0), L"Changeable", true);
    EXPECT_EQ(applications->SaveChanges(&changes), S_OK);
    EXPECT_EQ(applications->Remove(0), S_OK);
    EXPECT_EQ(applications->SaveChanges(&changes), COMADMIN_E_NOTDELETEABLE);
    EXPECT_EQ(Count(Populated(L"Applications")), 1);
}

TEST_F(CatalogTest, EventClassesBelongToTheirApplicationAndGoWithIt)
{
    qvlib_test::TempFolder const folder;
    std::ofstream(folder / "events.so") << "x";
    std::wstring const dll = qvlib::host::PlatformPath((folder / "events.so").string());
    _com_ptr_t<ICOMAdminCatalog> catalog;
    ASSERT_EQ(catalog.CreateInstance(CLSID_COMAdminCatalog), S_OK);
    auto const install = [&](wchar_t const * application, wchar_t const * file)
    { return catalog->InstallEventClass(_bstr_t(application), _bstr_t(file), nullptr, nullptr); };
    EXPECT_EQ(install(L"Sampler", dll.c_str()), COMADMIN_E_OBJECT_DOES_NOT_EXIST);
    AddApplication(kId, L"Sampler");
    EXPECT_EQ(install(L"Sampler", nullptr), E_INVALIDARG);
    EXPECT_EQ(install(nullptr, dll.c_str()), E_INVALIDARG);
    EXPECT_EQ(install(L"Sampler", L"\\nowhere\\events.so"), COMADMIN_E_COMPFILE_DOESNOTEXIST);
    EXPECT_EQ(install(L"Sampler", dll.c_str()), S_OK);
    EXPECT_EQ(install(kId, dll.c_str()), COMADMIN_E_ALREADYINSTALLED);

    Collection const applications = Populated(L"Applications");
    _com_ptr_t<IDispatch> found;
    ASSERT_EQ(applications->GetCollection(_bstr_t(L"Components"), _variant_t(kId), &found), S_OK);
    Collection const components(found);
    ASSERT_EQ(components->Populate(), S_OK);
    ASSERT_EQ(Count(components), 1);
    EXPECT_EQ(Text(Get(At(components, 0), L"DLL")), dll);
    EXPECT_EQ(Get(At(components, 0), L"IsEventClass").boolVal, VARIANT_TRUE);
    EXPECT_EQ(applications->GetCollection(_bstr_t(L"Roles"), _variant_t(kId), &found),
              COMADMIN_E_OBJECT_DOES_NOT_EXIST);

    long changes = 0;
    ASSERT_EQ(applications->Remove(0), S_OK);
    EXPECT_EQ(applications->SaveChanges(&changes), S_OK);
    EXPECT_EQ(changes, 1);
    AddApplication(kId, L"Sampler");
    EXPECT_EQ(components->Populate(), S_OK);
    EXPECT_EQ(Count(components), 0);
}

} // namespace

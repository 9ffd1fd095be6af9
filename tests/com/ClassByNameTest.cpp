#include "support/registry_folder.h"

#include "qvlib/ComIdentifiers.h"
#include "qvlib/Variant.h"
#include "qvlib/host/properties.h"
#include "qvlib/host/registry.h"
#include "qvlib/host/utf16.h"

#include <gtest/gtest.h>

namespace
{

using Properties = _com_ptr_t<QRGenObjsLib::IQRProperties>;

void SetClass(std::wstring const & path, std::wstring const & text)
{
    HKEY key = nullptr;
    ASSERT_EQ(RegCreateKeyExW(HKEY_CLASSES_ROOT, path.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS,
                              nullptr, &key, nullptr),
              ERROR_SUCCESS);
    std::u16string const units = qvlib::host::ToUtf16(text) + u'\0';
    EXPECT_EQ(RegSetValueExW(key, nullptr, 0, REG_SZ, reinterpret_cast<BYTE const *>(units.data()),
                             static_cast<DWORD>(units.size() * 2)),
              ERROR_SUCCESS);
    RegCloseKey(key);
}

TEST(ClassByName, FindsAClassByItsIdItsTextAndItsName)
{
    RegistryFolder const store;
    qvlib::CQVString id;
    qvlib::AsString(id, QRGenObjsLib::CLSID_QRProperties);
    SetClass(L"Test.Properties\\CLSID", id.GetString());

    for (wchar_t const * text : {id.GetString(), L"Test.Properties"})
    {
        Properties list;
        ASSERT_EQ(list.CreateInstance(text), S_OK);
        qvlib::qrvariant_t const key(L"Key");
        ASSERT_EQ(list->put_Item(key, qvlib::qrvariant_t(5L)), S_OK);
        qvlib::qrvariant_t read[2];
        ASSERT_EQ(list->get_Item(1, read[0], read[1]), S_OK);
        EXPECT_EQ(read[0].GetAsString(), L"Key");
        EXPECT_EQ(read[1].lVal, 5);
        EXPECT_EQ(list->get_Item(2, read[0], read[1]), DISP_E_BADINDEX);
        EXPECT_EQ(read[0].GetAsString(), L"Key");

        EXPECT_EQ(list.CreateInstance(L"{no id}"), CO_E_CLASSSTRING);
        EXPECT_EQ(list.CreateInstance(L"No.Such.Class"), CO_E_CLASSSTRING);
        EXPECT_EQ(list.CreateInstance(static_cast<wchar_t const *>(nullptr)), E_INVALIDARG);
    }
    Properties list;
    EXPECT_EQ(list.CreateInstance(L"{00000000-0000-0000-0000-000000000001}"), REGDB_E_CLASSNOTREG);
}

} // namespace

#include "qvlib/COMRegistry.h"
#include "qvlib/Registry.h"

#include "support/registry_folder.h"

#include <gtest/gtest.h>

namespace
{

using qvlib::COMRegistry;
using qvlib::CRegistry;

constexpr wchar_t kClass[] = L"{01234567-89AB-CDEF-0123-456789ABCDEF}";

TEST(COMRegistry, PathsOfServers)
{
    RegistryFolder const folder;
    EXPECT_EQ(COMRegistry::GetInprocServer32Value(kClass), L"");
    EXPECT_EQ(COMRegistry::GetdllPathFromCLSID(kClass), L"");
    EXPECT_EQ(COMRegistry::GetInprocServer32Value(nullptr), L"");
    std::wstring const base = std::wstring(L"CLSID\\") + kClass;
    CRegistry server(HKEY_CLASSES_ROOT, (base + L"\\InprocServer32").c_str(), false, true, KEY_ALL_ACCESS);
    CRegistry local(HKEY_CLASSES_ROOT, (base + L"\\LocalServer32").c_str(), false, true, KEY_ALL_ACCESS);
    local.SetValue(nullptr, L"program.exe");
    EXPECT_EQ(COMRegistry::GetLocalServer32Value(kClass), L"program.exe");
    // Only the bare name in lower case is the loader of managed classes.
    for (wchar_t const * path : {L"C:\\x\\server.dll", L"C:\\x\\mscoree.dll", L"MSCOREE.DLL"})
    {
        server.SetValue(nullptr, path);
        server.SetValue(L"CodeBase", L"file:///C:/managed.dll");
        EXPECT_EQ(COMRegistry::GetInprocServer32Value(kClass), path);
        EXPECT_EQ(COMRegistry::GetdllPathFromCLSID(kClass), path);
    }
    server.SetValue(nullptr, L"mscoree.dll");
    EXPECT_EQ(COMRegistry::GetdllPathFromCLSID(kClass), L"C:/managed.dll");
    server.SetValue(L"CodeBase", L"C:/managed.dll");
    EXPECT_EQ(COMRegistry::GetdllPathFromCLSID(kClass), L"mscoree.dll") << "no mark";
    server.DeleteValue(L"CodeBase");
    EXPECT_EQ(COMRegistry::GetdllPathFromCLSID(kClass), L"") << "no value";
}

} // namespace

#pragma once

#include "support/temp_folder.h"

#include "qvlib/host/registry.h"
#include "qvlib/host/utf16.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

/// A registry of its own for one test; the one of the test program comes back at the end.
class RegistryFolder
{
public:
    RegistryFolder() : m_before(std::getenv("QVLIB_REGISTRY")) { Use(m_folder.Path().string()); }
    RegistryFolder(RegistryFolder const &) = delete;
    RegistryFolder & operator=(RegistryFolder const &) = delete;
    ~RegistryFolder() { Use(m_before); }

    std::string UserHive() const { return (m_folder / "user.hive").string(); }
    std::string MachineHive() const { return (m_folder / "machine.hive").string(); }
    std::string Path() const { return m_folder.Path().string(); }

    static void Use(std::string const & folder) { ::setenv("QVLIB_REGISTRY", folder.c_str(), 1); }

private:
    qvlib_test::TempFolder m_folder;
    std::string m_before;
};

/// Sets the text of a key below the classes.
inline void SetClassText(std::wstring const & path, std::wstring const & text)
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

inline std::string FileBytes(std::string const & path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

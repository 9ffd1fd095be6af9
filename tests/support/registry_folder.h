#pragma once

#include "support/temp_folder.h"

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

inline std::string FileBytes(std::string const & path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

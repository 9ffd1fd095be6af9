#include "qvlib/Environment.h"

#include "qvlib/host/process.h"

#include <atomic>

namespace qvlib
{

namespace
{

/// What the platform's version is asked for, once; a failure stays false.
class VersionTest
{
public:
    template <class Test>
    bool Ask(Test test) noexcept
    {
        if (m_hasBeenRead.exchange(true))
            return m_value;
        OSVERSIONINFOW version{};
        version.dwOSVersionInfoSize = sizeof version;
        if (GetVersionExW(&version) == FALSE)
            return false;
        m_value = test(version);
        return m_value;
    }

private:
    std::atomic<bool> m_hasBeenRead{false};
    std::atomic<bool> m_value{false};
};

} // namespace

unsigned long Environment::GetLogicalProcessorCount()
{
    SYSTEM_INFO information{};
    GetSystemInfo(&information);
    return information.dwNumberOfProcessors;
}

bool IsWindows2KOrBetter()
{
    static constinit VersionTest test;
    return test.Ask([](OSVERSIONINFOW const & version) { return version.dwMajorVersion > 4; });
}

bool IsWindows7OrBetter()
{
    static constinit VersionTest test;
    return test.Ask(
        [](OSVERSIONINFOW const & version)
        { return version.dwMajorVersion >= 7 || (version.dwMajorVersion == 6 && version.dwMinorVersion != 0); });
}

} // namespace qvlib

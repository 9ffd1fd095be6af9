#include "qvlib/host/path.h"
#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

using qvlib::host::NativePath;

namespace
{

// Sets a variable of the environment, and puts it back.
class Variable
{
public:
    Variable(char const * name, std::string const & value) : m_name(name)
    {
        if (char const * const old = std::getenv(name))
            m_old = old;
        ::setenv(name, value.c_str(), 1);
    }
    ~Variable() { m_old.empty() ? ::unsetenv(m_name) : ::setenv(m_name, m_old.c_str(), 1); }

private:
    char const * m_name;
    std::string m_old;
};

} // namespace

TEST(Path, PlatformPathsBecomeTheSystems)
{
    qvlib_test::TempFolder const folder;
    Variable const drive("QVLIB_DRIVE_C", "/no/such/place/");
    Variable const data("XDG_DATA_HOME", folder.Path());
    std::string const other = folder.Path().string() + "/qvlib/drives/d";
    struct
    {
        wchar_t const * path;
        std::string native;
    } const rows[] = {
        {nullptr, ""},
        {L"", ""},
        {L"\\nowhere\\b", "/nowhere/b"},
        {L"\\\\nowhere\\\\b\\", "/nowhere/b"},
        {L"Z:\\nowhere", "/nowhere"},
        {L"z:", "/"},
        {L"C:\\A\\b", "/no/such/place/A/b"},
        {L"c:A", "/no/such/place/A"},
        {L"\\\\?\\C:\\A", "/no/such/place/A"},
        {L"D:\\x", other + "/x"},
        {L"nowhere\\b", "nowhere/b"},
        {L"/nowhere\\b", "/nowhere\\b"},
        {L"C:\\a/b", "C:\\a/b"},
        {L"\\nowhere\\\x00E9\x1F600", "/nowhere/\xC3\xA9\xF0\x9F\x98\x80"},
    };
    for (auto const & row : rows)
        EXPECT_EQ(NativePath(row.path), row.native);
    EXPECT_TRUE(std::filesystem::is_directory(other)); // made at its first use
}

TEST(Path, NamesMatchAsWrittenElseWithoutRegardToCase)
{
    qvlib_test::TempFolder const folder;
    Variable const drive("QVLIB_DRIVE_C", folder.Path());
    std::string const root = folder.Path().string();
    std::filesystem::create_directories(folder / "Some" / "\xC3\x84 b");
    for (char const * const name : {"x.TXT", "X.txt"})
        std::ofstream(folder / "Some" / name) << name;
    EXPECT_EQ(NativePath(L"C:\\some\\x.TXT"), root + "/Some/x.TXT");
    EXPECT_EQ(NativePath(L"C:\\some\\X.txt"), root + "/Some/X.txt");
    EXPECT_EQ(NativePath(L"C:\\some\\x.txt"), root + "/Some/X.txt"); // of two, the first in byte order
    EXPECT_EQ(NativePath(L"C:\\SOME\\\x00E4 B\\New"), root + "/Some/\xC3\x84 b/New");
    EXPECT_EQ(NativePath(L"C:\\sOmething"), root + "/sOmething");
    EXPECT_EQ(NativePath((folder.Path() / "some").wstring().c_str()), root + "/some"); // the system's own: as it stands
}

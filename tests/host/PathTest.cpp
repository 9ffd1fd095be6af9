#include "qvlib/host/path.h"
#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

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

// Names of large folders are kept once they were asked for a few times: nothing that happens meanwhile may be missed.
TEST(Path, NamesOfALargeFolderMatchWhateverBecomesOfIt)
{
    qvlib_test::TempFolder const folder;
    Variable const drive("QVLIB_DRIVE_C", folder.Path());
    std::filesystem::path const large = folder / "large";
    auto const make = [](std::filesystem::path const & file) { std::ofstream(file) << 'x'; };
    auto const found = [](wchar_t const * name)
    { return std::filesystem::path(NativePath((std::wstring(L"C:\\large\\") + name).c_str())).filename().string(); };
    auto const fill = [&]
    {
        std::filesystem::create_directory(large);
        for (int i = 0; i < 100; ++i)
            make(large / std::to_string(i));
        for (int i = 0; i < 3; ++i)
            ASSERT_EQ(found(L"a new name"), "a new name");
    };
    fill();
    make(large / "b c");
    make(large / "B c");
    EXPECT_EQ(found(L"B C"), "B c"); // of two, the first in byte order
    std::filesystem::remove(large / "B c");
    EXPECT_EQ(found(L"B C"), "b c");
    std::filesystem::rename(large / "b c", folder / "\xC3\x84");
    EXPECT_EQ(found(L"B C"), "B C");
    std::filesystem::rename(folder / "\xC3\x84", large / "\xC3\x84");
    EXPECT_EQ(found(L"\x00E4"), "\xC3\x84");

    pid_t const child = ::fork();
    if (child == 0)
    {
        make(large / "Of a Child");
        ::_exit(found(L"OF A CHILD") == "Of a Child" ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(found(L"of a child"), "Of a Child");

    // More changes than the system keeps for us.
    std::size_t most = 0;
    std::ifstream("/proc/sys/fs/inotify/max_queued_events") >> most;
    make(large / "One");
    for (std::size_t i = 0; i < std::min<std::size_t>(most, 100'000); ++i)
        std::filesystem::rename(large / (i % 2 == 0 ? "One" : "Two"), large / (i % 2 == 0 ? "Two" : "One"));
    make(large / "Late");
    EXPECT_EQ(found(L"LATE"), "Late");

    // Another folder in its place, which the system may well give the same number.
    found(L"late");
    std::filesystem::remove_all(large);
    fill();
    make(large / "Next");
    EXPECT_EQ(found(L"LATE"), "LATE");
    EXPECT_EQ(found(L"NEXT"), "Next");

    // The program closes what it does not know, and has another file by that number.
    int pipe[2];
    ASSERT_EQ(::pipe(pipe), 0);
    ASSERT_EQ(::write(pipe[1], "mine", 4), 4);
    std::vector<int> taken;
    for (auto const & file : std::filesystem::directory_iterator("/proc/self/fd"))
        if (std::error_code gone; std::filesystem::read_symlink(file, gone) == "anon_inode:inotify")
            taken.push_back(::dup2(pipe[0], std::stoi(file.path().filename())));
    make(large / "Last");
    EXPECT_EQ(found(L"LAST"), "Last");
    char text[4];
    ASSERT_EQ(::fcntl(pipe[0], F_SETFL, O_NONBLOCK), 0);
    EXPECT_EQ(::read(pipe[0], text, 4), 4);
    taken.insert(taken.end(), std::begin(pipe), std::end(pipe));
    std::for_each(taken.begin(), taken.end(), [](int file) { ::close(file); });
}

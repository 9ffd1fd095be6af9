// Hives that are locked, read-only, foreign or damaged.

#include "qvlib/host/registry.h"

#include "support/registry_folder.h"

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <random>

namespace
{

LSTATUS SetNumber(HKEY key, wchar_t const * name, DWORD value)
{
    return RegSetValueExW(key, name, 0, REG_DWORD, reinterpret_cast<BYTE const *>(&value), sizeof value);
}

LSTATUS GetNumber(HKEY key, wchar_t const * name, DWORD & value)
{
    DWORD size = sizeof value;
    return RegQueryValueExW(key, name, nullptr, nullptr, reinterpret_cast<BYTE *>(&value), &size);
}

LSTATUS Create(HKEY parent, wchar_t const * path, HKEY & key)
{
    return RegCreateKeyExW(parent, path, 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS, nullptr, &key, nullptr);
}

/// Makes the registry let go of the hives of the present folder, so that the files are complete and nobody's.
void LetGo()
{
    RegistryFolder const elsewhere;
    HKEY key;
    RegOpenKeyExW(HKEY_CLASSES_ROOT, L"x", 0, KEY_READ, &key);
}

struct RegistryBadFilesTest : testing::Test
{
    /// A hive with some hundred keys and values, as a file of its own.
    std::string MakeHive(HKEY root = HKEY_CURRENT_USER)
    {
        for (int i = 0; i < 40; ++i)
        {
            HKEY key;
            EXPECT_EQ(Create(root, (L"Software\\Key" + std::to_wstring(i)).c_str(), key), ERROR_SUCCESS);
            for (DWORD j = 0; j < 10; ++j)
                EXPECT_EQ(SetNumber(key, (L"Value" + std::to_wstring(j)).c_str(), j), ERROR_SUCCESS);
            RegCloseKey(key);
        }
        LetGo();
        return FileBytes(root == HKEY_CURRENT_USER ? folder.UserHive() : folder.MachineHive());
    }

    static void WriteFile(std::string const & path, std::string const & bytes)
    {
        std::ofstream(path, std::ios::binary) << bytes;
    }

    RegistryFolder folder;
};

TEST_F(RegistryBadFilesTest, ForeignFilesAreRefusedAndUntouched)
{
    std::string const hive = MakeHive();
    ASSERT_GT(hive.size(), 8192U);
    std::filesystem::remove(folder.UserHive());

    sqlite3 * db = nullptr;
    sqlite3_open(folder.UserHive().c_str(), &db);
    sqlite3_exec(db, "PRAGMA journal_mode=WAL;CREATE TABLE mine(x)", nullptr, nullptr, nullptr);
    sqlite3_close(db);
    std::string const foreign = FileBytes(folder.UserHive());
    ASSERT_FALSE(foreign.empty());
    std::string newer = hive;
    newer[63] = 2; // the version
    std::string otherProgram = hive;
    otherProgram[70] = 'X';
    std::vector<std::string> const files{
        foreign, newer, otherProgram, "", "not a database", hive.substr(0, 99), std::string(10000, '\0'),
    };
    for (std::size_t i = 0; i < files.size(); ++i)
    {
        SCOPED_TRACE(i);
        RegistryFolder const own;
        WriteFile(own.UserHive(), files[i]);
        HKEY key;
        DWORD number;
        EXPECT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, L"Software", 0, KEY_READ, &key), ERROR_BADDB);
        EXPECT_EQ(Create(HKEY_CURRENT_USER, L"Software", key), ERROR_BADDB);
        EXPECT_EQ(SetNumber(HKEY_CURRENT_USER, L"x", 1), ERROR_BADDB);
        EXPECT_EQ(GetNumber(HKEY_CURRENT_USER, L"x", number), ERROR_BADDB);
        EXPECT_EQ(FileBytes(own.UserHive()), files[i]);
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator(own.Path()), {}), 1) << "nothing beside it";
    }
    RegistryFolder const own;
    std::filesystem::create_directory(own.UserHive());
    HKEY key;
    EXPECT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, L"Software", 0, KEY_READ, &key), ERROR_BADDB);
}

TEST_F(RegistryBadFilesTest, ASchemaWithAnythingMoreIsRefused)
{
    std::string const hive = MakeHive();
    sqlite3 * db = nullptr;
    sqlite3_open(folder.UserHive().c_str(), &db);
    ASSERT_EQ(
        sqlite3_exec(db,
                     "PRAGMA journal_mode=DELETE;CREATE TRIGGER t AFTER INSERT ON vals BEGIN DELETE FROM keys; END;"
                     "PRAGMA journal_mode=WAL",
                     nullptr, nullptr, nullptr),
        SQLITE_OK);
    sqlite3_close(db);
    HKEY key;
    EXPECT_EQ(Create(HKEY_CURRENT_USER, L"Software", key), ERROR_BADDB);
}

TEST_F(RegistryBadFilesTest, DamageGivesAStatusAndReadingChangesNothing)
{
    std::string const hive = MakeHive();
    std::random_device device;
    unsigned int const seed = device();
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::mt19937 random(seed);
    int refused = 0;
    for (int round = 0; round < 120; ++round)
    {
        RegistryFolder const own;
        std::string damaged = hive;
        if (round % 4 == 0)
            damaged.resize(100 + random() % (hive.size() - 100));
        else
            for (int i = 0; i < 1 + round % 30; ++i)
                damaged[random() % damaged.size()] = static_cast<char>(random());
        WriteFile(own.UserHive(), damaged);
        bool failed = false;
        for (int i = 0; i < 40; ++i)
        {
            HKEY key = nullptr;
            LSTATUS status =
                RegOpenKeyExW(HKEY_CURRENT_USER, (L"Software\\Key" + std::to_wstring(i)).c_str(), 0, KEY_READ, &key);
            wchar_t name[300];
            DWORD length = 300;
            for (DWORD j = 0; status == ERROR_SUCCESS && j < 1000; ++j, length = 300)
                status = RegEnumValueW(key, j, name, &length, nullptr, nullptr, nullptr, nullptr);
            failed = failed || (status != ERROR_NO_MORE_ITEMS);
            RegCloseKey(key);
        }
        refused += failed ? 1 : 0;
        LetGo();
        EXPECT_EQ(FileBytes(own.UserHive()), damaged);
        // Writing may work or not, but neither crashes nor hangs.
        RegistryFolder::Use(own.Path());
        HKEY key = nullptr;
        if (Create(HKEY_CURRENT_USER, L"Software\\Key7\\New", key) == ERROR_SUCCESS)
            SetNumber(key, L"x", 1);
        RegCloseKey(key);
        RegDeleteKeyW(HKEY_CURRENT_USER, L"Software\\Key9");
    }
    EXPECT_GT(refused, 20) << "the damage was not seen";
}

// Rows that sort behind every place and name would be the next ones for ever.
TEST_F(RegistryBadFilesTest, AnEnumerationEndsWhateverTheRowsHold)
{
    std::string const hive = MakeHive();
    for (char const * change : {"UPDATE vals SET place=place+0.5", "UPDATE vals SET place='p'||place",
                                "UPDATE vals SET place=9223372036854775806+place WHERE place=1",
                                "UPDATE keys SET folded=CAST(folded AS BLOB)"})
    {
        SCOPED_TRACE(change);
        RegistryFolder const own;
        WriteFile(own.UserHive(), hive);
        sqlite3 * db = nullptr;
        sqlite3_open(own.UserHive().c_str(), &db);
        EXPECT_EQ(sqlite3_exec(db, change, nullptr, nullptr, nullptr), SQLITE_OK);
        sqlite3_close(db);
        bool const ofKeys = std::string_view(change).find("keys") != std::string_view::npos;
        HKEY key = HKEY_CURRENT_USER;
        if (!ofKeys)
        {
            ASSERT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, L"Software\\Key7", 0, KEY_ALL_ACCESS, &key), ERROR_SUCCESS);
            SetNumber(key, L"another", 1);
        }
        LSTATUS status = ERROR_SUCCESS;
        for (DWORD index = 0; status == ERROR_SUCCESS && index < 1000; ++index)
        {
            wchar_t name[300];
            DWORD length = 300;
            status = ofKeys ? RegEnumKeyExW(key, index, name, &length, nullptr, nullptr, nullptr, nullptr)
                            : RegEnumValueW(key, index, name, &length, nullptr, nullptr, nullptr, nullptr);
        }
        EXPECT_EQ(status, ERROR_BADDB);
        RegCloseKey(key);
    }
}

TEST_F(RegistryBadFilesTest, ALockedHiveGivesBusyPromptly)
{
    HKEY key;
    ASSERT_EQ(Create(HKEY_CURRENT_USER, L"k", key), ERROR_SUCCESS);
    sqlite3 * db = nullptr;
    sqlite3_open(folder.UserHive().c_str(), &db);
    ASSERT_EQ(sqlite3_exec(db, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
    auto const start = std::chrono::steady_clock::now();
    EXPECT_EQ(SetNumber(key, L"x", 1), ERROR_BUSY);
    auto const taken = std::chrono::steady_clock::now() - start;
    EXPECT_GE(taken, std::chrono::milliseconds(1500));
    EXPECT_LT(taken, std::chrono::seconds(8));
    DWORD number;
    EXPECT_EQ(GetNumber(key, L"x", number), ERROR_FILE_NOT_FOUND) << "readers need not wait for a writer";
    sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr);
    sqlite3_close(db);
    EXPECT_EQ(SetNumber(key, L"x", 1), ERROR_SUCCESS);
    RegCloseKey(key);
}

TEST_F(RegistryBadFilesTest, AReadOnlyHiveIsReadWithoutTouchingAnything)
{
    std::string const hive = MakeHive(HKEY_LOCAL_MACHINE);
    ::chmod(folder.MachineHive().c_str(), S_IRUSR | S_IRGRP | S_IROTH);
    HKEY key;
    EXPECT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"Software\\Key3", 0, KEY_ALL_ACCESS, &key), ERROR_ACCESS_DENIED);
    EXPECT_EQ(Create(HKEY_LOCAL_MACHINE, L"Software\\Key3", key), ERROR_ACCESS_DENIED);
    EXPECT_EQ(Create(HKEY_LOCAL_MACHINE, L"New", key), ERROR_ACCESS_DENIED);
    EXPECT_EQ(SetNumber(HKEY_LOCAL_MACHINE, L"x", 1), ERROR_ACCESS_DENIED);
    EXPECT_EQ(RegDeleteKeyW(HKEY_LOCAL_MACHINE, L"Software\\Key3"), ERROR_ACCESS_DENIED);
    EXPECT_EQ(RegDeleteKeyW(HKEY_LOCAL_MACHINE, L"Missing"), ERROR_FILE_NOT_FOUND);
    ASSERT_EQ(RegOpenKeyW(HKEY_LOCAL_MACHINE, L"Software\\Key3", &key), ERROR_SUCCESS);
    EXPECT_EQ(SetNumber(key, L"x", 1), ERROR_ACCESS_DENIED);
    DWORD number = 0;
    EXPECT_EQ(GetNumber(key, L"Value5", number), ERROR_SUCCESS);
    EXPECT_EQ(number, 5U);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.Path()), {}), 1) << "no log, no index";
    EXPECT_EQ(FileBytes(folder.MachineHive()), hive);

    // Whoever may write does; the reader sees it, and the handle stays good.
    ::chmod(folder.MachineHive().c_str(), S_IRUSR | S_IWUSR);
    sqlite3 * db = nullptr;
    sqlite3_open(folder.MachineHive().c_str(), &db);
    ASSERT_EQ(sqlite3_exec(db, "UPDATE vals SET data=x'07000000' WHERE folded='value5'", nullptr, nullptr, nullptr),
              SQLITE_OK);
    ::chmod(folder.MachineHive().c_str(), S_IRUSR | S_IRGRP | S_IROTH);
    EXPECT_EQ(GetNumber(key, L"Value5", number), ERROR_SUCCESS);
    EXPECT_EQ(number, 7U) << "while the log holds the change";
    sqlite3_close(db);
    EXPECT_EQ(GetNumber(key, L"Value5", number), ERROR_SUCCESS);
    EXPECT_EQ(number, 7U) << "and when the file does";
    RegCloseKey(key);
}

TEST_F(RegistryBadFilesTest, AHiveThatCannotBeMadeIsReported)
{
    RegistryFolder::Use("/proc/no-such-place");
    HKEY key;
    DWORD number;
    EXPECT_EQ(GetNumber(HKEY_CURRENT_USER, L"x", number), ERROR_FILE_NOT_FOUND);
    EXPECT_NE(Create(HKEY_CURRENT_USER, L"k", key), ERROR_SUCCESS);
    EXPECT_NE(SetNumber(HKEY_CURRENT_USER, L"x", 1), ERROR_SUCCESS);
}

} // namespace

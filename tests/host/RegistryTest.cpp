#include "qvlib/host/registry.h"

#include "qvlib/host/modules.h"

#include "support/allocation_sweep.h"
#include "support/registry_folder.h"
#include "support/threads.h"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <filesystem>
#include <thread>
#include <vector>

using qvlib_test::OnThreads;

namespace
{

struct KeyCloser
{
    HKEY key = nullptr;
    KeyCloser() = default;
    KeyCloser(KeyCloser const &) = delete;
    KeyCloser & operator=(KeyCloser const &) = delete;
    ~KeyCloser()
    {
        if (key != nullptr)
            RegCloseKey(key);
    }
    operator HKEY() const { return key; }
};

LSTATUS Create(HKEY parent, wchar_t const * path, HKEY & key, DWORD * disposition = nullptr)
{
    return RegCreateKeyExW(parent, path, 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS, nullptr, &key,
                           disposition);
}

LSTATUS Open(HKEY parent, wchar_t const * path, HKEY & key, REGSAM access = KEY_ALL_ACCESS)
{
    return RegOpenKeyExW(parent, path, 0, access, &key);
}

LSTATUS Set(HKEY key, wchar_t const * name, std::string const & bytes, DWORD type = REG_BINARY)
{
    return RegSetValueExW(key, name, 0, type, reinterpret_cast<BYTE const *>(bytes.data()),
                          static_cast<DWORD>(bytes.size()));
}

std::string Status(LSTATUS status)
{
    std::string text = "<";
    text += std::to_string(status);
    text += '>';
    return text;
}

std::wstring WideStatus(LSTATUS status)
{
    std::string const text = Status(status);
    return std::wstring(text.begin(), text.end());
}

/// The value's bytes, or its status in angle brackets.
std::string Get(HKEY key, wchar_t const * name)
{
    BYTE bytes[1000];
    DWORD size = sizeof bytes;
    LSTATUS const status = RegQueryValueExW(key, name, nullptr, nullptr, bytes, &size);
    return status == ERROR_SUCCESS ? std::string(bytes, bytes + size) : Status(status);
}

std::wstring KeyName(HKEY key, DWORD index)
{
    wchar_t name[256];
    DWORD length = 256;
    LSTATUS const status = RegEnumKeyExW(key, index, name, &length, nullptr, nullptr, nullptr, nullptr);
    return status == ERROR_SUCCESS ? std::wstring(name, length) : WideStatus(status);
}

std::wstring ValueNameAt(HKEY key, DWORD index)
{
    wchar_t name[256];
    DWORD length = 256;
    LSTATUS const status = RegEnumValueW(key, index, name, &length, nullptr, nullptr, nullptr, nullptr);
    return status == ERROR_SUCCESS ? std::wstring(name, length) : WideStatus(status);
}

struct RegistryTest : testing::Test
{
    RegistryFolder folder;
};

TEST_F(RegistryTest, ReadingMakesNothing)
{
    HKEY key = HKEY_CURRENT_USER;
    EXPECT_EQ(Open(HKEY_CURRENT_USER, L"Software", key), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(key, nullptr);
    EXPECT_EQ(Get(HKEY_CURRENT_USER, L"x"), "<2>");
    EXPECT_EQ(KeyName(HKEY_CLASSES_ROOT, 0), L"<259>");
    EXPECT_EQ(RegDeleteKeyW(HKEY_LOCAL_MACHINE, L"x"), ERROR_FILE_NOT_FOUND);
    DWORD count = 7;
    EXPECT_EQ(RegQueryInfoKeyW(HKEY_CURRENT_USER, nullptr, nullptr, nullptr, &count, nullptr, nullptr, nullptr, nullptr,
                               nullptr, nullptr, nullptr),
              ERROR_SUCCESS);
    EXPECT_EQ(count, 0U);
    EXPECT_TRUE(std::filesystem::is_empty(folder.Path()));
}

TEST_F(RegistryTest, NamesKeepTheirCaseAndAreFoundInAny)
{
    KeyCloser key;
    DWORD disposition = 0;
    ASSERT_EQ(Create(HKEY_CURRENT_USER, L"Software\\\u00C4pfel\\\U0001F34E", key.key, &disposition), ERROR_SUCCESS);
    EXPECT_EQ(disposition, REG_CREATED_NEW_KEY);
    KeyCloser again;
    ASSERT_EQ(Create(HKEY_CURRENT_USER, L"SOFTWARE\\\u00E4PFEL\\\U0001F34E\\", again.key, &disposition), ERROR_SUCCESS);
    EXPECT_EQ(disposition, REG_OPENED_EXISTING_KEY);
    EXPECT_EQ(KeyName(HKEY_CURRENT_USER, 0), L"Software");
    EXPECT_EQ(Set(key, L"Title", "1"), ERROR_SUCCESS);
    EXPECT_EQ(Set(again, L"TITLE", "2"), ERROR_SUCCESS);
    EXPECT_EQ(Get(key, L"title"), "2");
    EXPECT_EQ(ValueNameAt(key, 0), L"Title");
    EXPECT_EQ(ValueNameAt(key, 1), L"<259>");
    wchar_t const lone[] = {static_cast<wchar_t>(0xD800), L'x', L'\0'};
    EXPECT_EQ(Set(key, lone, "3"), ERROR_SUCCESS);
    EXPECT_EQ(ValueNameAt(key, 1), lone) << "half a character passes unchanged";
}

TEST_F(RegistryTest, Paths)
{
    HKEY key;
    std::wstring const longest(255, L'k');
    EXPECT_EQ(Create(HKEY_CURRENT_USER, L"\\a", key), ERROR_BAD_PATHNAME);
    EXPECT_EQ(Create(HKEY_CURRENT_USER, L"\\", key), ERROR_BAD_PATHNAME);
    EXPECT_EQ(Create(HKEY_CURRENT_USER, L"a\\\\b", key), ERROR_BAD_PATHNAME);
    EXPECT_EQ(Create(HKEY_CURRENT_USER, L"a\\\\", key), ERROR_BAD_PATHNAME);
    EXPECT_EQ(Create(HKEY_CURRENT_USER, (longest + L"k").c_str(), key), ERROR_INVALID_PARAMETER);
    wchar_t const noCharacter[] = {static_cast<wchar_t>(0x110000), L'\0'};
    EXPECT_EQ(Create(HKEY_CURRENT_USER, noCharacter, key), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(Create(HKEY_CURRENT_USER, nullptr, key), ERROR_INVALID_PARAMETER);
    ASSERT_EQ(Create(HKEY_CURRENT_USER, longest.c_str(), key), ERROR_SUCCESS);
    EXPECT_EQ(KeyName(HKEY_CURRENT_USER, 0), longest);
    RegCloseKey(key);

    std::wstring path = L"0";
    for (int i = 1; i < 512; ++i)
        path += L"\\0";
    ASSERT_EQ(Create(HKEY_CURRENT_USER, path.c_str(), key), ERROR_SUCCESS);
    HKEY deeper;
    EXPECT_EQ(Create(key, L"1", deeper), ERROR_INVALID_PARAMETER) << "512 levels";
    RegCloseKey(key);
}

TEST_F(RegistryTest, HandlesOfDeletedKeysAndHandlesThatAreNone)
{
    KeyCloser parent;
    KeyCloser key;
    ASSERT_EQ(Create(HKEY_CURRENT_USER, L"p", parent.key), ERROR_SUCCESS);
    ASSERT_EQ(Create(parent, L"k", key.key), ERROR_SUCCESS);
    Set(key, L"v", "1");
    EXPECT_EQ(RegDeleteKeyW(HKEY_CURRENT_USER, L"P"), ERROR_ACCESS_DENIED) << "has a sub-key";
    EXPECT_EQ(RegDeleteKeyExW(parent, L"K", 0, 0), ERROR_SUCCESS);
    HKEY other;
    for (int again = 0; again < 2; ++again)
    {
        EXPECT_EQ(Set(key, L"v", "2"), ERROR_KEY_DELETED);
        EXPECT_EQ(Get(key, L"v"), "<1018>");
        EXPECT_EQ(ValueNameAt(key, 0), L"<1018>");
        EXPECT_EQ(KeyName(key, 0), L"<1018>");
        EXPECT_EQ(Create(key, L"x", other), ERROR_KEY_DELETED);
        EXPECT_EQ(Open(key, nullptr, other), ERROR_KEY_DELETED);
        EXPECT_EQ(RegDeleteKeyW(key, L"x"), ERROR_KEY_DELETED);
        EXPECT_EQ(RegDeleteKeyW(key, L""), ERROR_KEY_DELETED);
        // The same name again is another key.
        ASSERT_EQ(Create(parent, L"k", other), ERROR_SUCCESS);
        EXPECT_EQ(ValueNameAt(other, 0), L"<259>") << "values go with their key";
        RegCloseKey(other);
    }
    EXPECT_EQ(RegDeleteKeyW(parent, nullptr), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(RegDeleteKeyW(HKEY_CURRENT_USER, L""), ERROR_ACCESS_DENIED);

    HKEY const closed = key.key;
    EXPECT_EQ(RegCloseKey(closed), ERROR_SUCCESS);
    key.key = nullptr;
    KeyCloser next; // takes the slot, not the handle
    ASSERT_EQ(Create(HKEY_CURRENT_USER, L"next", next.key), ERROR_SUCCESS);
    int local = 0;
    for (HKEY const bad : {closed, static_cast<HKEY>(nullptr), reinterpret_cast<HKEY>(&local),
                           reinterpret_cast<HKEY>(UINT_PTR{4} << 20), reinterpret_cast<HKEY>(~UINT_PTR{0})})
    {
        EXPECT_EQ(RegCloseKey(bad), ERROR_INVALID_HANDLE);
        EXPECT_EQ(Get(bad, L"v"), "<6>");
        EXPECT_EQ(Set(bad, L"v", "1"), ERROR_INVALID_HANDLE);
        EXPECT_EQ(Open(bad, L"v", other), ERROR_INVALID_HANDLE);
        EXPECT_EQ(RegDeleteKeyW(bad, L"v"), ERROR_INVALID_HANDLE);
    }
    EXPECT_EQ(RegCloseKey(HKEY_CURRENT_USER), ERROR_SUCCESS);
    EXPECT_EQ(Get(HKEY_CURRENT_USER, L"v"), "<2>") << "still open";
}

TEST_F(RegistryTest, AHandleMayDoWhatItWasOpenedFor)
{
    KeyCloser made;
    ASSERT_EQ(Create(HKEY_CURRENT_USER, L"k", made.key), ERROR_SUCCESS);
    Set(made, L"v", "1");
    KeyCloser reading;
    ASSERT_EQ(Open(HKEY_CURRENT_USER, L"k", reading.key, KEY_READ), ERROR_SUCCESS);
    EXPECT_EQ(Get(reading, L"v"), "1");
    EXPECT_EQ(Set(reading, L"v", "2"), ERROR_ACCESS_DENIED);
    EXPECT_EQ(RegDeleteValueW(reading, L"v"), ERROR_ACCESS_DENIED);
    KeyCloser writing;
    ASSERT_EQ(Open(HKEY_CURRENT_USER, L"k", writing.key, KEY_WRITE), ERROR_SUCCESS);
    EXPECT_EQ(Set(writing, L"v", "2"), ERROR_SUCCESS);
    EXPECT_EQ(Get(writing, L"v"), "<5>");
    EXPECT_EQ(ValueNameAt(writing, 0), L"<5>");
    EXPECT_EQ(KeyName(writing, 0), L"<5>");
    // Creating below a handle asks the key, not the handle.
    KeyCloser below;
    EXPECT_EQ(Create(reading, L"below", below.key), ERROR_SUCCESS);
    KeyCloser twin; // a handle of its own, with all the access there is
    ASSERT_EQ(RegOpenKeyW(reading, nullptr, &twin.key), ERROR_SUCCESS);
    EXPECT_NE(twin.key, reading.key);
    EXPECT_EQ(RegDeleteValueW(twin, L"v"), ERROR_SUCCESS);
    EXPECT_EQ(RegDeleteValueW(twin, L"v"), ERROR_FILE_NOT_FOUND);
    HKEY same = nullptr;
    EXPECT_EQ(RegOpenKeyW(HKEY_LOCAL_MACHINE, L"", &same), ERROR_SUCCESS);
    EXPECT_EQ(same, HKEY_LOCAL_MACHINE);
}

TEST_F(RegistryTest, SizesAndRoom)
{
    KeyCloser key;
    ASSERT_EQ(Create(HKEY_CURRENT_USER, L"k", key.key), ERROR_SUCCESS);
    EXPECT_EQ(Set(key, nullptr, "default", 77), ERROR_SUCCESS);
    DWORD type = 0;
    DWORD size = 0;
    EXPECT_EQ(RegQueryValueExW(key, L"", nullptr, &type, nullptr, &size), ERROR_SUCCESS);
    EXPECT_EQ(size, 7U);
    EXPECT_EQ(type, 77U) << "any type number";
    BYTE bytes[10] = {};
    size = 6;
    EXPECT_EQ(RegQueryValueExW(key, nullptr, nullptr, nullptr, bytes, &size), ERROR_MORE_DATA);
    EXPECT_EQ(size, 7U);
    EXPECT_EQ(bytes[0], 0) << "nothing written";
    EXPECT_EQ(RegQueryValueExW(key, nullptr, nullptr, nullptr, bytes, nullptr), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(RegQueryValueExW(key, nullptr, &size, nullptr, nullptr, nullptr), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(RegSetValueExW(key, L"n", 0, REG_SZ, nullptr, 4), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(Set(key, L"empty", ""), ERROR_SUCCESS);
    EXPECT_EQ(Get(key, L"empty"), "");
    EXPECT_EQ(Set(key, std::wstring(16384, L'n').c_str(), ""), ERROR_INVALID_PARAMETER);

    wchar_t name[6];
    DWORD length = 5; // "empty" needs 6 with its terminator
    EXPECT_EQ(RegEnumValueW(key, 1, name, &length, nullptr, nullptr, nullptr, nullptr), ERROR_MORE_DATA);
    length = 6;
    EXPECT_EQ(RegEnumValueW(key, 1, name, &length, nullptr, nullptr, nullptr, nullptr), ERROR_SUCCESS);
    EXPECT_EQ(length, 5U);
    length = 6;
    size = 3;
    EXPECT_EQ(RegEnumValueW(key, 0, name, &length, nullptr, &type, bytes, &size), ERROR_MORE_DATA);
    EXPECT_EQ(size, 7U);
    EXPECT_EQ(RegEnumValueW(key, 0, nullptr, &length, nullptr, nullptr, nullptr, nullptr), ERROR_INVALID_PARAMETER);

    std::string const large(3000000, 'x');
    EXPECT_EQ(Set(key, L"large", large), ERROR_SUCCESS);
    KeyCloser below;
    Create(key, L"sub-key", below.key);
    DWORD subKeys;
    DWORD longestKey;
    DWORD values;
    DWORD longestName;
    DWORD largest;
    EXPECT_EQ(RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, &subKeys, &longestKey, nullptr, &values, &longestName,
                               &largest, nullptr, nullptr),
              ERROR_SUCCESS);
    EXPECT_EQ(subKeys, 1U);
    EXPECT_EQ(longestKey, 7U);
    EXPECT_EQ(values, 3U);
    EXPECT_EQ(longestName, 5U);
    EXPECT_EQ(largest, 3000000U);

    HKEY none = nullptr;
    EXPECT_EQ(
        RegCreateKeyExW(HKEY_CURRENT_USER, L"v", 0, nullptr, REG_OPTION_VOLATILE, KEY_READ, nullptr, &none, nullptr),
        ERROR_INVALID_PARAMETER)
        << "refused, not made lasting";
}

TEST_F(RegistryTest, EnumerationSurvivesChangesOnTheWay)
{
    KeyCloser key;
    ASSERT_EQ(Create(HKEY_CURRENT_USER, L"k", key.key), ERROR_SUCCESS);
    std::vector<std::wstring> names;
    for (int i = 0; i < 300; ++i)
    {
        names.push_back(L"v" + std::to_wstring(1000 + i));
        Set(key, names.back().c_str(), "x");
    }
    for (DWORD i = 0; i < 300; ++i)
        ASSERT_EQ(ValueNameAt(key, i), names[i]);
    EXPECT_EQ(ValueNameAt(key, 300), L"<259>");
    EXPECT_EQ(ValueNameAt(key, 7), names[7]);
    RegDeleteValueW(key, names[3].c_str());
    EXPECT_EQ(ValueNameAt(key, 8), names[9]) << "the index counts what is there now";
    for (std::wstring name; (name = ValueNameAt(key, 0)) != L"<259>";)
        ASSERT_EQ(RegDeleteValueW(key, name.c_str()), ERROR_SUCCESS);
}

TEST_F(RegistryTest, ValuesComeInTheOrderInWhichTheyWereFirstWritten)
{
    KeyCloser key;
    ASSERT_EQ(Create(HKEY_CURRENT_USER, L"Software\\Order", key.key), ERROR_SUCCESS);
    for (wchar_t const * const name : {L"zeta", L"Alpha", L"mid"})
        Set(key, name, "1");
    Set(key, L"ALPHA", "2"); // keeps its place and its name
    EXPECT_EQ(ValueNameAt(key, 0), L"zeta");
    EXPECT_EQ(ValueNameAt(key, 1), L"Alpha");
    EXPECT_EQ(ValueNameAt(key, 2), L"mid");
    RegDeleteValueW(key, L"zeta");
    Set(key, L"zeta", "3");
    EXPECT_EQ(ValueNameAt(key, 0), L"Alpha");
    EXPECT_EQ(ValueNameAt(key, 2), L"zeta");
    EXPECT_EQ(ValueNameAt(key, 3), L"<259>");
}

TEST_F(RegistryTest, ClassesAreTheUsersOverTheMachines)
{
    KeyCloser machine;
    ASSERT_EQ(Create(HKEY_LOCAL_MACHINE, L"Software\\Classes\\CLSID\\{1}", machine.key), ERROR_SUCCESS);
    Set(machine, L"path", "machine");
    Set(machine, L"model", "both");
    KeyCloser seen;
    ASSERT_EQ(Open(HKEY_CLASSES_ROOT, L"clsid\\{1}\\", seen.key), ERROR_SUCCESS);
    EXPECT_EQ(Get(seen, L"path"), "machine");
    EXPECT_EQ(Set(seen, L"path", "user"), ERROR_SUCCESS);
    EXPECT_EQ(Get(seen, L"PATH"), "user");
    EXPECT_EQ(Get(machine, L"path"), "machine");
    KeyCloser user;
    ASSERT_EQ(Open(HKEY_CURRENT_USER, L"Software\\Classes\\CLSID\\{1}", user.key), ERROR_SUCCESS);
    EXPECT_EQ(Get(user, L"path"), "user");
    EXPECT_EQ(Get(user, L"model"), "<2>");
    KeyCloser again;
    ASSERT_EQ(Open(HKEY_CLASSES_ROOT, L"CLSID\\{1}", again.key, KEY_READ), ERROR_SUCCESS);
    EXPECT_EQ(Get(again, L"model"), "both");
    EXPECT_EQ(ValueNameAt(again, 0), L"path") << "the user's first";
    EXPECT_EQ(ValueNameAt(again, 1), L"model");
    EXPECT_EQ(ValueNameAt(again, 2), L"<259>");

    KeyCloser mine;
    ASSERT_EQ(Create(HKEY_CLASSES_ROOT, L"CLSID\\{2}", mine.key), ERROR_SUCCESS);
    KeyCloser all;
    ASSERT_EQ(Open(HKEY_CLASSES_ROOT, L"CLSID", all.key, KEY_READ), ERROR_SUCCESS);
    EXPECT_EQ(KeyName(all, 0), L"{1}");
    EXPECT_EQ(KeyName(all, 1), L"{2}");
    EXPECT_EQ(KeyName(all, 2), L"<259>");
    DWORD count = 0;
    RegQueryInfoKeyW(all, nullptr, nullptr, nullptr, &count, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                     nullptr);
    EXPECT_EQ(count, 2U);
    EXPECT_EQ(RegDeleteKeyW(all, L"{1}"), ERROR_SUCCESS) << "the user's";
    EXPECT_EQ(Get(seen, L"path"), "machine") << "which no longer hides the machine's";
    EXPECT_EQ(RegDeleteKeyW(all, L"{1}"), ERROR_SUCCESS) << "the machine's";
    EXPECT_EQ(RegDeleteKeyW(all, L"{1}"), ERROR_FILE_NOT_FOUND);
}

TEST_F(RegistryTest, AnotherFolderIsAnotherRegistryAndOpenHandlesStay)
{
    KeyCloser first;
    ASSERT_EQ(Create(HKEY_CURRENT_USER, L"k", first.key), ERROR_SUCCESS);
    {
        RegistryFolder const second;
        HKEY key;
        EXPECT_EQ(Open(HKEY_CURRENT_USER, L"k", key), ERROR_FILE_NOT_FOUND);
        EXPECT_EQ(Set(first, L"v", "1"), ERROR_SUCCESS);
        EXPECT_FALSE(std::filesystem::exists(second.UserHive()));
    }
    KeyCloser again;
    ASSERT_EQ(Open(HKEY_CURRENT_USER, L"k", again.key), ERROR_SUCCESS);
    EXPECT_EQ(Get(again, L"v"), "1");
}

TEST_F(RegistryTest, AWriteToARemovedHiveIsNotLostInSilence)
{
    KeyCloser key;
    ASSERT_EQ(Create(HKEY_CURRENT_USER, L"k", key.key), ERROR_SUCCESS);
    for (auto const & file : std::filesystem::directory_iterator(folder.Path()))
        std::filesystem::remove(file);
    EXPECT_EQ(Set(key, L"v", "1"), ERROR_KEY_DELETED);
    KeyCloser again;
    ASSERT_EQ(Create(HKEY_CURRENT_USER, L"k", again.key), ERROR_SUCCESS);
    EXPECT_EQ(Set(again, L"v", "2"), ERROR_SUCCESS);
    EXPECT_EQ(Set(key, L"v", "1"), ERROR_KEY_DELETED) << "the id belongs to the other file";
    EXPECT_EQ(Get(again, L"v"), "2");
}

TEST_F(RegistryTest, NothingButTheHiveIsMade)
{
    KeyCloser key;
    ASSERT_EQ(Create(HKEY_CURRENT_USER, L"k", key.key), ERROR_SUCCESS);
    std::filesystem::perms const others = std::filesystem::perms::group_all | std::filesystem::perms::others_all;
    for (auto const & file : std::filesystem::directory_iterator(folder.Path()))
    {
        EXPECT_EQ(file.path().filename().string().rfind("user.hive", 0), 0U) << file.path();
        EXPECT_EQ(file.path().string().find(".new-"), std::string::npos) << file.path();
        EXPECT_EQ(file.status().permissions() & others, std::filesystem::perms::none) << file.path();
    }
}

TEST_F(RegistryTest, ForkedProcessesShareTheRegistry)
{
    KeyCloser key;
    ASSERT_EQ(Create(HKEY_CURRENT_USER, L"k", key.key), ERROR_SUCCESS);
    Set(key, L"before", "1");
    // Another thread is in the middle of something whenever a process is split off.
    std::atomic<bool> stop{false};
    std::atomic<int> failures{0};
    std::thread busy(
        [&]
        {
            for (int i = 0; !stop; ++i)
                if (Set(key, L"parent", std::to_string(i)) != ERROR_SUCCESS || Get(key, L"before") != "1")
                    ++failures;
        });
    for (int round = 0; round < 20; ++round)
    {
        std::wstring const name = L"child" + std::to_wstring(round);
        pid_t const child = ::fork();
        if (child == 0)
        {
            bool const fine = Get(key, L"before") == "1" && Set(key, name.c_str(), "2") == ERROR_SUCCESS;
            ::_exit(fine ? 0 : 1);
        }
        int status = -1;
        EXPECT_EQ(::waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
        EXPECT_EQ(Get(key, name.c_str()), "2");
    }
    stop = true;
    busy.join();
    EXPECT_EQ(failures, 0);
}

TEST_F(RegistryTest, MemoryThatRunsOutIsAStatus)
{
    KeyCloser key;
    ASSERT_EQ(Create(HKEY_CURRENT_USER, L"k", key.key), ERROR_SUCCESS);
    std::wstring const longName(100, L'n');
    std::string const value(100, 'v');
    LSTATUS status = ERROR_SUCCESS;
    wchar_t name[256];
    qvlib_test::SweepAllocations(
        [&]
        {
            HKEY below = nullptr;
            DWORD length = 256;
            status = RegCreateKeyExW(key, longName.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &below, nullptr);
            if (status == ERROR_SUCCESS)
                status = Set(below, longName.c_str(), value);
            if (status == ERROR_SUCCESS)
                status = RegEnumValueW(below, 0, name, &length, nullptr, nullptr, nullptr, nullptr);
            if (status == ERROR_SUCCESS)
                status = RegDeleteValueW(below, longName.c_str());
            if (status == ERROR_SUCCESS)
                status = RegDeleteKeyW(key, longName.c_str());
            if (below != nullptr)
                RegCloseKey(below);
        },
        [&] { EXPECT_EQ(status, ERROR_NOT_ENOUGH_MEMORY); });
    EXPECT_EQ(status, ERROR_SUCCESS);
}

TEST_F(RegistryTest, ThreadsMayShareEverything)
{
    KeyCloser key;
    ASSERT_EQ(Create(HKEY_CURRENT_USER, L"k", key.key), ERROR_SUCCESS);
    std::atomic<int> failures{0};
    OnThreads(4,
              [&](int t)
              {
                  for (int i = 0; i < 50; ++i)
                  {
                      std::wstring const own = L"own" + std::to_wstring(t);
                      HKEY below;
                      bool const fine = Create(key, own.c_str(), below) == ERROR_SUCCESS &&
                                        Set(below, L"v", std::to_string(i)) == ERROR_SUCCESS &&
                                        Get(below, L"v") == std::to_string(i) &&
                                        Set(key, own.c_str(), "x") == ERROR_SUCCESS &&
                                        RegCloseKey(below) == ERROR_SUCCESS && !ValueNameAt(key, 0).empty() &&
                                        RegDeleteKeyW(key, own.c_str()) == ERROR_SUCCESS;
                      failures += fine ? 0 : 1;
                  }
              });
    EXPECT_EQ(failures, 0);
    EXPECT_EQ(KeyName(key, 0), L"<259>");
}

TEST(ModulesTest, TheLookUpFindsWhatThePlatformHas)
{
    HMODULE const module = GetModuleHandleW(L"advapi32.DLL");
    EXPECT_EQ(GetProcAddress(module, "RegDeleteKeyExW"), reinterpret_cast<FARPROC>(&RegDeleteKeyExW));
    EXPECT_EQ(GetProcAddress(module, "RegDeleteKeyTransactedW"), nullptr);
    EXPECT_EQ(GetProcAddress(GetModuleHandleW(L"other.dll"), "RegDeleteKeyExW"), nullptr);
}

} // namespace

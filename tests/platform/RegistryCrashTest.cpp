// What the registry promises to processes that are killed, and to several at once.

#include "qvlib/host/registry.h"

#include "support/registry_folder.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <iostream>
#include <random>
#include <thread>
#include <vector>

namespace
{

LSTATUS SetNumber(HKEY key, std::wstring const & name, DWORD value)
{
    return RegSetValueExW(key, name.c_str(), 0, REG_DWORD, reinterpret_cast<BYTE const *>(&value), sizeof value);
}

bool HasNumber(HKEY key, std::wstring const & name, DWORD value)
{
    DWORD stored = 0;
    DWORD size = sizeof stored;
    return RegQueryValueExW(key, name.c_str(), nullptr, nullptr, reinterpret_cast<BYTE *>(&stored), &size) ==
               ERROR_SUCCESS &&
           stored == value;
}

std::wstring Path(DWORD number) { return L"Crash\\Part" + std::to_wstring(number % 7); }

LSTATUS Create(std::wstring const & path, HKEY & key)
{
    return RegCreateKeyExW(HKEY_CURRENT_USER, path.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS,
                           nullptr, &key, nullptr);
}

/// Writes number after number until it is killed, and acknowledges each when it is stored.
[[noreturn]] void WriteUntilKilled(int acknowledgements, DWORD first)
{
    for (DWORD number = first;; ++number)
    {
        HKEY key;
        if (Create(Path(number), key) != ERROR_SUCCESS ||
            SetNumber(key, L"n" + std::to_wstring(number), number) != ERROR_SUCCESS)
            ::_exit(1);
        RegCloseKey(key);
        if (::write(acknowledgements, &number, sizeof number) != sizeof number)
            ::_exit(2);
    }
}

std::string IntegrityOf(std::string const & path)
{
    sqlite3 * db = nullptr;
    std::string result = "cannot be opened";
    if (sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE, nullptr) == SQLITE_OK)
    {
        auto const tell = [](void * out, int, char ** cells, char **)
        {
            *static_cast<std::string *>(out) = cells[0];
            return 0;
        };
        result = "cannot be checked";
        sqlite3_exec(db, "PRAGMA integrity_check(1)", tell, &result, nullptr);
    }
    sqlite3_close(db);
    return result;
}

TEST(RegistryCrash, WhatWasAcknowledgedSurvivesAKillAtAnyMoment)
{
    char const * const wanted = std::getenv("QVLIB_CRASH_ROUNDS");
    int const rounds = wanted != nullptr ? std::atoi(wanted) : 200;
    std::random_device device;
    unsigned int const seed = device();
    RecordProperty("seed", std::to_string(seed));
    std::cout << "seed " << seed << '\n';
    std::mt19937 random(seed);
    RegistryFolder const folder;
    DWORD next = 0;
    std::size_t acknowledged = 0;
    for (int round = 0; round < rounds; ++round)
    {
        SCOPED_TRACE(testing::Message() << "seed " << seed << " round " << round);
        if (round % 20 == 0) // from nothing again, so that the making of a hive is hit too
        {
            for (char const * const part : {"", "-wal", "-shm"})
                ::unlink((folder.UserHive() + part).c_str());
            next = 0;
        }
        DWORD const first = next;
        int pipe[2];
        ASSERT_EQ(::pipe(pipe), 0);
        pid_t const child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0)
        {
            ::close(pipe[0]);
            WriteUntilKilled(pipe[1], first);
        }
        ::close(pipe[1]);
        std::this_thread::sleep_for(std::chrono::microseconds(random() % (round % 20 == 0 ? 4000 : 15000)));
        ::kill(child, SIGKILL);
        int status = 0;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        ASSERT_TRUE(WIFSIGNALED(status)) << "the writer failed with " << WEXITSTATUS(status);
        std::vector<DWORD> stored;
        for (DWORD number; ::read(pipe[0], &number, sizeof number) == sizeof number;)
            stored.push_back(number);
        ::close(pipe[0]);
        acknowledged += stored.size();
        for (DWORD const number : stored)
        {
            HKEY key = nullptr;
            ASSERT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, Path(number).c_str(), 0, KEY_READ, &key), ERROR_SUCCESS);
            ASSERT_TRUE(HasNumber(key, L"n" + std::to_wstring(number), number)) << number;
            RegCloseKey(key);
            next = number + 1;
        }
        if (round % 20 == 19 || round + 1 == rounds)
        {
            ASSERT_EQ(IntegrityOf(folder.UserHive()), "ok");
        }
    }
    EXPECT_GT(acknowledged, static_cast<std::size_t>(rounds)) << "the writers were killed too soon to show anything";
}

TEST(RegistryCrash, SeveralProcessesWriteAtOnceAndNothingIsLost)
{
    constexpr DWORD kWriters = 4;
    constexpr DWORD kNumbers = 250;
    RegistryFolder const folder;
    std::vector<pid_t> children;
    for (DWORD writer = 0; writer < kWriters; ++writer)
    {
        pid_t const child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0)
        {
            // All of them find no hive, and make one; all make the same keys.
            for (DWORD number = 0; number < kNumbers; ++number)
            {
                HKEY key;
                if (Create(L"Shared\\Part" + std::to_wstring(number % 5), key) != ERROR_SUCCESS ||
                    SetNumber(key, std::to_wstring(writer) + L"-" + std::to_wstring(number), number) != ERROR_SUCCESS ||
                    SetNumber(key, L"common", number) != ERROR_SUCCESS)
                    ::_exit(1);
                RegCloseKey(key);
            }
            ::_exit(0);
        }
        children.push_back(child);
    }
    for (pid_t const child : children)
    {
        int status = -1;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
    }
    for (DWORD part = 0; part < 5; ++part)
    {
        HKEY key = nullptr;
        ASSERT_EQ(
            RegOpenKeyExW(HKEY_CURRENT_USER, (L"shared\\part" + std::to_wstring(part)).c_str(), 0, KEY_READ, &key),
            ERROR_SUCCESS);
        for (DWORD writer = 0; writer < kWriters; ++writer)
            for (DWORD number = part; number < kNumbers; number += 5)
                EXPECT_TRUE(HasNumber(key, std::to_wstring(writer) + L"-" + std::to_wstring(number), number));
        DWORD values = 0;
        RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &values, nullptr, nullptr, nullptr,
                         nullptr);
        EXPECT_EQ(values, kWriters * kNumbers / 5 + 1);
        RegCloseKey(key);
    }
}

} // namespace

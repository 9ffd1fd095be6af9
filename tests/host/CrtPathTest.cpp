#include "qvlib/host/crt_path.h"

#include "support/tsv.h"

#include <gtest/gtest.h>

#include <string>

using qvlib_test::Table;

TEST(CrtPath, SplitsAsThePlatformDoes)
{
    Table const table("host/split_path.tsv");
    for (std::size_t row = 0; row < table.Rows(); ++row)
    {
        wchar_t drive[3], directory[256], name[256], extension[256];
        std::wstring const path = table.Wide(row, "path");
        EXPECT_EQ(table.Integer(row, "rc"),
                  _wsplitpath_s(path.c_str(), drive, 3, directory, 256, name, 256, extension, 256))
            << table.Raw(row, "path");
        EXPECT_EQ(table.Wide(row, "drive"), drive) << table.Raw(row, "path");
        EXPECT_EQ(table.Wide(row, "directory"), directory) << table.Raw(row, "path");
        EXPECT_EQ(table.Wide(row, "name"), name) << table.Raw(row, "path");
        EXPECT_EQ(table.Wide(row, "extension"), extension) << table.Raw(row, "path");
    }
}

TEST(CrtPath, JoinsAsThePlatformDoes)
{
    Table const table("host/make_path.tsv");
    for (std::size_t row = 0; row < table.Rows(); ++row)
    {
        char const * const columns[] = {"drive", "directory", "name", "extension"};
        std::wstring texts[4];
        wchar_t const * pieces[4] = {};
        for (std::size_t i = 0; i < 4; ++i)
            if (table.Raw(row, columns[i]) != "<null>")
                pieces[i] = (texts[i] = table.Wide(row, columns[i])).c_str();
        wchar_t path[260];
        EXPECT_EQ(table.Integer(row, "rc"), _wmakepath_s(path, 260, pieces[0], pieces[1], pieces[2], pieces[3])) << row;
        EXPECT_EQ(table.Wide(row, "path"), path) << row;
    }
}

TEST(CrtPath, EveryCapacityIsKept)
{
    std::wstring const whole = L"C:\\ab\\cd.ef";
    for (std::size_t capacity = 1; capacity <= whole.size() + 1; ++capacity)
    {
        std::wstring buffer(capacity + 1, L'#'); // the last is not ours
        int const result = _wmakepath_s(buffer.data(), capacity, L"C", L"\\ab", L"cd", L"ef");
        EXPECT_EQ(result, capacity > whole.size() ? 0 : 34);
        EXPECT_EQ(buffer.c_str(), capacity > whole.size() ? whole : std::wstring());
        EXPECT_EQ(buffer.back(), L'#');
    }
    wchar_t drive[3] = L"?", name[3] = L"??";
    EXPECT_EQ(_wsplitpath_s(whole.c_str(), drive, 3, nullptr, 0, name, 2, nullptr, 0), 34);
    EXPECT_EQ(std::wstring(drive) + name, L"");
    EXPECT_EQ(_wsplitpath_s(whole.c_str(), drive, 3, nullptr, 0, name, 3, nullptr, 0), 0);
    EXPECT_EQ(std::wstring(drive) + name, L"C:cd");
    EXPECT_EQ(_wsplitpath_s(nullptr, drive, 3, nullptr, 0, name, 3, nullptr, 0), 22);
    EXPECT_EQ(_wsplitpath_s(whole.c_str(), drive, 3, nullptr, 7, name, 3, nullptr, 0), 22);
    EXPECT_EQ(_wmakepath_s(nullptr, 260, L"C", nullptr, nullptr, nullptr), 22);
}

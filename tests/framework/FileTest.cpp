#include "qvlib/framework/file.h"
#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>

namespace
{

int CauseOf(std::function<void()> const & operation)
{
    try
    {
        operation();
    }
    catch (CFileException const & e)
    {
        return e.m_cause;
    }
    return CFileException::none;
}

class File : public ::testing::Test
{
protected:
    std::wstring Name(char const * name) const { return (m_folder / name).wstring(); }
    void Put(char const * name, char const * text) const { std::ofstream(m_folder / name) << text; }
    std::string Get(char const * name) const
    {
        std::ifstream in(m_folder / name);
        return {std::istreambuf_iterator<char>(in), {}};
    }

    qvlib_test::TempFolder m_folder;
};

} // namespace

TEST_F(File, WritesReadsAndMoves)
{
    std::wstring const name = Name("a.bin");
    CFile file(name.c_str(), CFile::modeCreate | CFile::modeReadWrite);
    file.Write("hello world", 11);
    EXPECT_EQ(file.GetPosition(), 11U);
    EXPECT_EQ(file.Seek(-5, CFile::end), 6U);
    char buffer[16] = {};
    EXPECT_EQ(file.Read(buffer, sizeof buffer), 5U);
    EXPECT_STREQ(buffer, "world");
    EXPECT_EQ(file.Read(buffer, 1), 0U);
    file.SetLength(3);
    EXPECT_EQ(file.GetPosition(), 3U);
    EXPECT_EQ(file.GetLength(), 3U);
    EXPECT_EQ(CauseOf([&] { file.Seek(-1, CFile::begin); }), CFileException::badSeek);
    EXPECT_EQ(file.GetFileName(), L"a.bin");
    EXPECT_EQ(file.GetFilePath(), name.c_str());
    file.Close();
    EXPECT_EQ(Get("a.bin"), "hel");
    EXPECT_EQ(CauseOf([&] { file.Write("x", 1); }), CFileException::invalidFile);
    EXPECT_EQ(CauseOf([&] { file.Read(buffer, 1); }), CFileException::invalidFile);
}

TEST_F(File, CreatesEmptiesOrKeepsAsItsFlagsSay)
{
    Put("b", "old");
    CFile(Name("b").c_str(), CFile::modeCreate | CFile::modeNoTruncate | CFile::modeWrite).Write("N", 1);
    EXPECT_EQ(Get("b"), "Nld");
    CFile(Name("b").c_str(), CFile::modeCreate | CFile::modeWrite);
    EXPECT_EQ(Get("b"), "");
    CFile reader(Name("b").c_str(), CFile::modeRead | CFile::shareDenyNone);
    EXPECT_NE(CauseOf([&] { reader.Write("x", 1); }), CFileException::none);
}

TEST_F(File, TellsWhyItDidNotOpen)
{
    Put("file", "");
    std::filesystem::create_directory(m_folder / "folder");
    struct
    {
        char const * name;
        int cause;
    } const rows[] = {
        {"missing", CFileException::fileNotFound},
        {"nowhere/missing", CFileException::badPath},
        {"file/below", CFileException::badPath},
        {"folder", CFileException::accessDenied},
    };
    for (auto const & row : rows)
    {
        CFile file;
        CFileException error;
        EXPECT_FALSE(file.Open(Name(row.name).c_str(), CFile::modeRead, &error)) << row.name;
        EXPECT_EQ(error.m_cause, row.cause) << row.name;
        EXPECT_EQ(error.m_strFileName, Name(row.name).c_str());
        EXPECT_EQ(CauseOf([&] { CFile(Name(row.name).c_str(), CFile::modeRead); }), row.cause) << row.name;
    }
    CFile file;
    EXPECT_FALSE(file.Open(nullptr, CFile::modeRead));
    EXPECT_FALSE(file.Open(Name("file").c_str(), 3));
}

TEST_F(File, AFileOpenedAloneIsAlone)
{
    Put("c", "kept");
    CFile alone(Name("c").c_str(), CFile::modeRead);
    EXPECT_EQ(CauseOf([&] { CFile(Name("c").c_str(), CFile::modeRead | CFile::shareDenyNone); }),
              CFileException::sharingViolation);
    EXPECT_EQ(CauseOf([&] { CFile(Name("c").c_str(), CFile::modeCreate | CFile::modeWrite); }),
              CFileException::sharingViolation);
    EXPECT_EQ(Get("c"), "kept"); // the refused opening has not emptied it
    alone.Close();
    CFile first(Name("c").c_str(), CFile::modeRead | CFile::shareDenyNone);
    CFile second(Name("c").c_str(), CFile::modeRead | CFile::shareDenyWrite);
    EXPECT_EQ(CauseOf([&] { CFile(Name("c").c_str(), CFile::modeRead); }), CFileException::sharingViolation);
}

TEST_F(File, ReadsAPlatformPathWithoutRegardToCase)
{
    ::setenv("QVLIB_DRIVE_Q", m_folder.Path().c_str(), 1);
    std::filesystem::create_directory(m_folder / "Sub");
    CFile(L"q:\\SUB\\Name.TXT", CFile::modeCreate | CFile::modeWrite).Write("1", 1);
    EXPECT_EQ(Get("Sub/Name.TXT"), "1");
    CFile again(L"Q:\\sub\\name.txt", CFile::modeRead);
    EXPECT_EQ(again.GetFileName(), L"name.txt");
    again.Close();
    CFile::Rename(L"Q:\\sub\\name.txt", L"Q:\\sub\\other");
    EXPECT_EQ(Get("Sub/other"), "1");
    Put("second", "2");
    EXPECT_EQ(CauseOf([] { CFile::Rename(L"Q:\\sub\\other", L"Q:\\second"); }), CFileException::accessDenied);
    CFile::Remove(L"Q:\\Sub\\OTHER");
    EXPECT_EQ(CauseOf([] { CFile::Remove(L"Q:\\Sub\\OTHER"); }), CFileException::fileNotFound);
    ::unsetenv("QVLIB_DRIVE_Q");
}

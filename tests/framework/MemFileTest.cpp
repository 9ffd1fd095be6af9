#include "qvlib/framework/memfile.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <random>
#include <string>

namespace
{

std::string Content(CMemFile const & file)
{
    return {reinterpret_cast<char const *>(file.GetData()), static_cast<std::size_t>(file.GetLength())};
}

} // namespace

TEST(MemFile, AgreesWithAModel)
{
    CMemFile file(1);
    std::string model;
    std::size_t position = 0;
    std::mt19937 random(7);
    for (int i = 0; i < 3000; ++i)
    {
        std::string const piece(random() % 50, static_cast<char>('a' + i % 26));
        switch (random() % 4)
        {
        case 0:
            position = random() % 4000;
            ASSERT_EQ(file.Seek(static_cast<LONGLONG>(position), CFile::begin), position);
            break;
        case 1:
            file.Write(piece.data(), static_cast<UINT>(piece.size()));
            if (!piece.empty())
            {
                if (model.size() < position + piece.size())
                    model.resize(position + piece.size());
                model.replace(position, piece.size(), piece);
                position += piece.size();
            }
            break;
        case 2:
        {
            char buffer[50];
            std::string const expected = position < model.size() ? model.substr(position, piece.size()) : "";
            ASSERT_EQ(std::string(buffer, file.Read(buffer, static_cast<UINT>(piece.size()))), expected);
            position += expected.size();
            break;
        }
        default:
            if (random() % 10 == 0)
            {
                position = random() % 4000;
                model.resize(position);
                file.SetLength(position);
            }
        }
        ASSERT_EQ(file.GetPosition(), position);
    }
    EXPECT_EQ(Content(file), model);
}

TEST(MemFile, AttachedMemoryNeverGrows)
{
    BYTE memory[4] = {'a', 'b', 'c', 'd'};
    CMemFile file(memory, sizeof memory);
    EXPECT_EQ(file.GetLength(), 4U);
    file.Write("xyz", 3);
    EXPECT_THROW(file.Write("12", 2), CMemoryException);
    EXPECT_THROW(file.SetLength(5), CMemoryException);
    EXPECT_EQ(std::memcmp(memory, "xyzd", 4), 0);
    EXPECT_EQ(file.Detach(), memory);
    EXPECT_EQ(file.GetLength(), 0U);
}

TEST(MemFile, OwnedMemoryCanBeHandedInAndOut)
{
    CMemFile file;
    file.Attach(static_cast<BYTE *>(std::malloc(2)), 2, 16);
    EXPECT_EQ(file.GetLength(), 0U); // room, but no content
    file.Write("longer than two", 15);
    BYTE * const memory = file.Detach();
    EXPECT_EQ(std::memcmp(memory, "longer than two", 15), 0);
    std::free(memory);
    file.Write("again", 5);
    EXPECT_EQ(Content(file), "again");
}

TEST(MemFile, RefusesWhatCannotBe)
{
    CMemFile file;
    EXPECT_THROW(file.Seek(-1, CFile::end), CFileException);
    EXPECT_THROW(file.Seek(0, 3), CFileException);
    EXPECT_THROW(file.Seek(std::numeric_limits<LONGLONG>::min(), CFile::current), CFileException);
    file.Seek(1, CFile::begin);
    EXPECT_THROW(file.Seek(std::numeric_limits<LONGLONG>::max(), CFile::current), CFileException);
    EXPECT_THROW(file.SetLength(~0ULL), CMemoryException);
    EXPECT_FALSE(file.Open(L"x", CFile::modeRead));
    EXPECT_EQ(file.GetLength(), 0U);
}

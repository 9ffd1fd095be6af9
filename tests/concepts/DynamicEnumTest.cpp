#include "concepts/message_log.h"
#include "support/archived.h"

#include <qvlib/DynamicEnum.h>
#include <qvlib/Exceptions.h>
#include <qvlib/XmlParser.h>

#include <gtest/gtest.h>

namespace
{

using namespace qvlib;
using qvlib_test::Bytes;
using qvlib_test::MessageLog;

std::shared_ptr<CTLDynamicEnumMetadata const> Load(wchar_t const * text)
{
    auto metadata = std::make_shared<CTLDynamicEnumMetadata>();
    EXPECT_TRUE(metadata->FromXml(*XmlParser::Load(text)));
    return metadata;
}

constexpr wchar_t const * kLetters = L"<DynamicEnum Name='Letters' Default='B'><Item Name='A' Code='1' Display='X'/>"
                                     L"<Item Name='B' Code='2' Display='Y' Rank='7'/></DynamicEnum>";

TEST(DynamicEnum, NothingChosenStandsForTheDefault)
{
    MessageLog log;
    CTLDynamicEnum letter(Load(kLetters));
    EXPECT_TRUE(letter.IsEmpty() && letter.IsDefault());
    EXPECT_EQ(letter.GetIndexOfValue(), 4294967295U);
    CTLDynamicEnum const untouched = letter;
    EXPECT_EQ(letter.GetCode(), 2);
    EXPECT_FALSE(letter.IsEmpty()) << "the default is kept once it was needed";
    EXPECT_TRUE(letter.IsDefault());
    EXPECT_FALSE(letter == untouched);
    EXPECT_EQ(letter.TryGetCustomAttribute(L"Rank").second, L"7");
    EXPECT_EQ(letter.ToDelimitedString(), L"A,X;B,Y;");
    letter.SetMetadata(letter.GetMetadata());
    EXPECT_TRUE(letter == untouched);
    EXPECT_TRUE(log.Texts().empty());

    CTLDynamicEnum const none(nullptr);
    EXPECT_THROW(none.GetName(), unexpected_error);
    EXPECT_EQ(log.Texts().back(), L"Failed Dynamic Enum:No Metadata, Context:GetDefinition, Line:968\n");
    EXPECT_EQ(none.ToDelimitedString(), L"");
    EXPECT_EQ(none.GetIndexOfValue(), 4294967295U);
    CTLDynamicEnum const noDefault(Load(L"<DynamicEnum/>"));
    EXPECT_EQ(noDefault.GetDefinition(), nullptr);
    EXPECT_EQ(log.Texts().back(), L"Failed Dynamic Enum:No Default, Context:GetDefinition, Line:974\n");
    EXPECT_THROW(static_cast<void>(noDefault == 0), unexpected_error);
}

TEST(DynamicEnum, AssignmentFindsOrEmptiesAndReports)
{
    MessageLog log;
    CTLDynamicEnum letter(Load(kLetters));
    letter = L"a";
    EXPECT_TRUE(letter == L"A");
    EXPECT_FALSE(letter == L"a") << "found in any case, compared exactly";
    letter = letter.GetName();
    EXPECT_TRUE(letter == std::wstring(L"A"));
    letter = 2;
    EXPECT_TRUE(letter == 2);
    letter = CGenericVal(L"A");
    letter = CGenericVal(2);
    letter = CQVString(L"a");
    EXPECT_EQ(letter.GetDisplay(), L"X");
    letter.FromDisplay(std::wstring(L"y"));
    EXPECT_EQ(letter.GetIndexOfValue(), 1U);
    EXPECT_TRUE(letter.TrySetValue(1U));
    EXPECT_FALSE(letter.TrySetValue(L"nosuch"));
    EXPECT_TRUE(letter == L"A") << "a try leaves what is chosen";
    EXPECT_THROW(letter.SetValue(9U), unexpected_error);
    EXPECT_TRUE(log.Texts().empty());

    letter = CGenericVal(1.0);
    EXPECT_TRUE(letter == L"A");
    EXPECT_EQ(log.Texts().back(), L"Failed Dynamic Enum:Value not number of string, Context:operator=, Line:1028\n");
    letter = L"nosuch";
    EXPECT_TRUE(letter.IsEmpty());
    EXPECT_EQ(log.Texts().back(), L"Failed Dynamic Enum:Letters, Context:nosuch, Line:992\n");
    letter = 99;
    EXPECT_EQ(log.Texts().back(), L"Failed Dynamic Enum:Letters, Context:Find code, Line:1010\n");
    letter.FromDisplay(L"Z");
    EXPECT_EQ(log.Texts().back(), L"Failed Dynamic Enum:Letters, Context:Z, Line:1054\n");
    CTLDynamicEnum none;
    none = 1;
    none = L"A";
    none.FromDisplay(L"X");
    std::wstring lines;
    for (std::size_t i = log.Texts().size() - 3; i < log.Texts().size(); ++i)
        lines += log.Texts()[i].substr(log.Texts()[i].rfind(L':'));
    EXPECT_EQ(lines, L":1004\n:986\n:1048\n");
    EXPECT_FALSE(none.TrySetValue(1U));
}

TEST(DynamicEnum, RecordsKeepTheNameAndSurviveEveryCut)
{
    auto const letters = Load(kLetters);
    CTLDynamicEnum letter(letters);
    EXPECT_EQ(qvlib_test::Stored(letter), (Bytes{1, 0, 0, 0, 1}));
    letter = 1;
    Bytes const bytes = qvlib_test::Stored(letter);
    EXPECT_EQ(bytes, (Bytes{1, 0, 0, 0, 0, 1, 0, 0, 0, 1, 1, 0, 0, 0, 'A', 0}));
    EXPECT_TRUE(qvlib_test::Loaded(bytes, CTLDynamicEnum(letters)) == letter);
    EXPECT_TRUE(qvlib_test::Loaded({0, 0, 0, 0, 9}, letter) == letter) << "an empty record empties nothing";
    EXPECT_EQ(qvlib_test::CauseOf([&] { qvlib_test::Loaded({2, 0, 0, 0, 1}, letter); }), CArchiveException::badSchema);
    EXPECT_THROW(qvlib_test::Loaded(bytes, CTLDynamicEnum(Load(L"<DynamicEnum/>"))), unexpected_error);
    for (std::size_t length = 0; length < bytes.size(); ++length)
    {
        CTLDynamicEnum read(letters);
        read = 2;
        Bytes const cut(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(length));
        if (length < 14)
            EXPECT_EQ(qvlib_test::CauseOf([&] { qvlib_test::LoadInto(read, cut); }), CArchiveException::endOfFile);
        else
            EXPECT_THROW(qvlib_test::LoadInto(read, cut), unexpected_error) << "no value has the empty name";
        EXPECT_TRUE(read == 2);
    }
}

} // namespace

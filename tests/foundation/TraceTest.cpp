#include "qvlib/Trace.h"
#include "qvlib/DebugConditions.h"
#include "qvlib/DeveloperMode.h"
#include "qvlib/Dump.h"
#include "qvlib/SystemError.h"
#include "qvlib/host/debug.h"
#include "qvlib/host/registry.h"

#include <gtest/gtest.h>

#include <cfenv>
#include <sstream>
#include <string>
#include <vector>

struct qvlib::CTLDebugConditionsAccess
{
    static unsigned long Get(unsigned long index) { return CTLDebugConditions::GetConditionValue(index); }
    static void Set(unsigned long index, unsigned long value) { CTLDebugConditions::SetConditionValue(index, value); }
};

namespace
{

class Trace : public ::testing::Test
{
protected:
    Trace()
    {
        m_before = qvlib::host::SetDebugSink([this](wchar_t const * text) { m_pieces.emplace_back(text); });
    }
    ~Trace() override { qvlib::host::SetDebugSink(m_before); }
    std::vector<std::wstring> Taken() { return std::exchange(m_pieces, {}); }

    using Pieces = std::vector<std::wstring>;
    Pieces m_pieces;
    qvlib::host::DebugSink m_before;
};

} // namespace

TEST_F(Trace, WritesEachPieceOnItsOwn)
{
    qvlib::CRTrace()();
    EXPECT_EQ(Taken(), Pieces{L"\n"});
    qvlib::CRTrace(L"a", 3, L"")();
    EXPECT_EQ(Taken(), (Pieces{L"a(3): ", L"\n"}));
    qvlib::CRTrace(L"", 3, L"Load")(L"%d %s", 7, L"records");
    EXPECT_EQ(Taken(), (Pieces{L"Load: ", L"7 records", L"\n"}));
    std::wstring const huge(100000, L'x'); // a message has no limit
    qvlib::CRTrace(L"f.cpp", -1, L"g")(L"%s!", huge.c_str());
    EXPECT_EQ(Taken(), (Pieces{L"f.cpp(-1): ", L"g: ", huge + L"!", L"\n"}));
}

TEST_F(Trace, TheDumpEntryPointsAreEmptyOnPurpose)
{
    qvlib::TLObjectDumpBegin(L"Thing");
    qvlib::TLObjectDumpSeparator();
    qvlib::TLObjectDumpEnd(L"Thing");
    EXPECT_TRUE(Taken().empty());
}

TEST_F(Trace, ANullFormatGivesALineWithoutAMessage)
{
    qvlib::CRTrace(L"a", 1)(nullptr);
    EXPECT_EQ(Taken(), (Pieces{L"a(1): ", L"\n"}));
}

TEST(Switches, AreReadOnceAndForAll)
{
    // The key is missing at the first read; what comes later is not seen.
    EXPECT_FALSE(qvlib::IsDeveloperMode());
    HKEY key = nullptr;
    ASSERT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, L"Software\\Quorvane Technologies\\Quorvane\\Common\\DeveloperMode", 0,
                              nullptr, 0, KEY_READ | KEY_WRITE, nullptr, &key, nullptr),
              ERROR_SUCCESS);
    DWORD const on = 2;
    for (wchar_t const * const name : {L"DeveloperMode", L"IgnoreAssert"})
        ASSERT_EQ(RegSetValueExW(key, name, 0, REG_DWORD, reinterpret_cast<BYTE const *>(&on), sizeof on),
                  ERROR_SUCCESS);
    EXPECT_FALSE(qvlib::IsDeveloperMode());
    EXPECT_TRUE(qvlib::TLIgnoreAssert()); // its first read finds the value
    RegDeleteValueW(key, L"IgnoreAssert");
    RegCloseKey(key);
    EXPECT_TRUE(qvlib::TLIgnoreAssert());
}

TEST(DebugConditions, GrowOnlyWhenWritten)
{
    using Access = qvlib::CTLDebugConditionsAccess;
    EXPECT_EQ(Access::Get(5), 0U);
    EXPECT_EQ(Access::Get(~0UL), 0U);
    Access::Set(5, 9);
    Access::Set(2, ~0UL);
    EXPECT_EQ(Access::Get(5), 9U);
    EXPECT_EQ(Access::Get(4), 0U);
    EXPECT_EQ(Access::Get(2), 0xFFFFFFFFU);
    EXPECT_EQ(Access::Get(6), 0U);
}

TEST(SystemError, HasTheSystemsWordsAndLineEnd)
{
    EXPECT_EQ(qvlib::QVFormatErrorMessage(0), L"The operation completed successfully.\r\n");
    EXPECT_EQ(qvlib::QVFormatErrorMessage(5), L"Access is denied.\r\n");
    EXPECT_EQ(qvlib::QVFormatErrorMessage(0x80070005UL), L"Access is denied.\r\n");
    EXPECT_EQ(qvlib::QVFormatErrorMessage(0x80004005UL), L"Unspecified error\r\n");
    EXPECT_EQ(qvlib::QVFormatErrorMessage(static_cast<unsigned long>(E_FAIL)), L"Unspecified error\r\n");
    EXPECT_EQ(qvlib::QVFormatErrorMessage(0x80030002UL), L"%1 could not be found.\r\n"); // inserts stay
    EXPECT_TRUE(qvlib::QVFormatErrorMessage(0x20000001UL).IsEmpty());
    EXPECT_TRUE(qvlib::QVFormatErrorMessage(0xFFFFFFFFUL).IsEmpty());
}

TEST(SystemError, ReadingTheFloatingPointStatusDoesNotClearIt)
{
    std::feclearexcept(FE_ALL_EXCEPT);
    EXPECT_EQ(qvlib::GetStatus87(), 0U);
    std::feraiseexcept(FE_DIVBYZERO);
    EXPECT_EQ(qvlib::GetStatus87(), 8U);
    EXPECT_EQ(qvlib::GetStatus87(), 8U);
    std::feclearexcept(FE_ALL_EXCEPT);
}

TEST(Dump, BannersStandBetweenRules)
{
    std::wstring const rule = std::wstring(80, L'-') + L"\n";
    std::wostringstream out;
    qvlib::TLDumpOutputBegin(out, L"Thing");
    qvlib::TLDumpOutputSeparator(out);
    qvlib::TLDumpOutputEnd(out, nullptr);
    EXPECT_EQ(out.str(), rule + L"Begin dump for Thing\n" + rule + rule + rule + L"End dump for \n" + rule);
}

#include "support/registry_folder.h"

#include "qvlib/ComIdentifiers.h"
#include "qvlib/framework/comutil.h"
#include "qvlib/framework/exceptions.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace
{

using qvlib::CQVString;

constexpr _GUID kId{0x12345678, 0x1234, 0x5678, {1, 2, 3, 4, 5, 6, 7, 0xAB}};
wchar_t const kIdText[] = L"{12345678-1234-5678-0102-0304050607AB}";
wchar_t const kUnknownText[] = L"{12345678-1234-5678-0102-0304050607AC}";

SCODE Thrown(std::function<void()> const & call)
{
    try
    {
        call();
        return S_OK;
    }
    catch (COleException const & error)
    {
        return error.m_sc;
    }
}

class ComIdentifiers : public ::testing::Test
{
protected:
    void SetUp() override
    {
        SetClassText(L"Some.Thing\\CLSID", kIdText);
        SetClassText(std::wstring(L"CLSID\\").append(kIdText).append(L"\\ProgID"), L"Some.Thing");
    }

private:
    RegistryFolder m_registry;
};

TEST_F(ComIdentifiers, TextsAndNamesGiveIdentifiers)
{
    EXPECT_TRUE(qvlib::AsGUID(kIdText) == kId);
    EXPECT_TRUE(qvlib::AsGUID(L"some.thing") == kId);
    EXPECT_TRUE(qvlib::AsGUIDFromGuidString(kIdText) == kId);
    EXPECT_TRUE(qvlib::AsGUIDFromProgID(L"Some.Thing") == kId);
    EXPECT_STREQ(qvlib::AsGUIDStringFromProgID(L"Some.Thing"), kIdText);
    EXPECT_STREQ(qvlib::AsProgID(kId), L"Some.Thing");
    EXPECT_STREQ(qvlib::AsProgID(kIdText), L"Some.Thing");
    EXPECT_STREQ(qvlib::AsProgIDFromGuidString(kIdText), L"Some.Thing");
}

TEST_F(ComIdentifiers, FailuresAreThrownOrReturnedAndLeaveTheResult)
{
    _GUID id = kId;
    CQVString text(L"old");
    EXPECT_EQ(qvlib::AsGUID(L"No.Thing", id), CO_E_CLASSSTRING);
    EXPECT_EQ(qvlib::AsGUIDFromGuidString(L"Some.Thing", id), CO_E_CLASSSTRING);
    EXPECT_EQ(qvlib::AsGUIDFromProgID(kIdText, id), CO_E_CLASSSTRING);
    EXPECT_TRUE(id == kId);
    EXPECT_EQ(qvlib::AsGUIDStringFromProgID(L"No.Thing", text), CO_E_CLASSSTRING);
    EXPECT_EQ(qvlib::AsProgID(GUID_NULL, text), REGDB_E_CLASSNOTREG);
    EXPECT_EQ(qvlib::AsProgIDFromGuidString(L"no text", text), CO_E_CLASSSTRING);
    EXPECT_EQ(qvlib::AsProgIDFromGuidString(kUnknownText, text), REGDB_E_CLASSNOTREG);
    EXPECT_STREQ(text, L"old");

    EXPECT_EQ(Thrown([] { qvlib::AsGUID(L"No.Thing"); }), CO_E_CLASSSTRING);
    EXPECT_EQ(Thrown([] { qvlib::AsProgID(GUID_NULL); }), REGDB_E_CLASSNOTREG);
    EXPECT_EQ(Thrown([] { qvlib::AsGUIDStringFromProgID(L"No.Thing"); }), CO_E_CLASSSTRING);
    EXPECT_EQ(Thrown([] { qvlib::AsProgIDFromGuidString(kUnknownText); }), REGDB_E_CLASSNOTREG);
}

TEST_F(ComIdentifiers, ATextWithoutANameStandsForItself)
{
    EXPECT_STREQ(qvlib::AsProgID(L"no identifier"), L"no identifier");
    CQVString text;
    EXPECT_EQ(qvlib::AsProgID(kUnknownText, text), S_OK);
    EXPECT_STREQ(text, kUnknownText);
    EXPECT_EQ(qvlib::AsProgID(text.GetString(), text), S_OK); // out of the result itself
    EXPECT_STREQ(text, kUnknownText);
}

TEST(ComConversions, IdentifiersAndVariantsAsTextAndNumber)
{
    CQVString text(L"old");
    EXPECT_STREQ(qvlib::AsString(text, kId), kIdText);
    EXPECT_STREQ(qvlib::AsString(text, _variant_t(L"text")), L"text");
    EXPECT_TRUE(qvlib::AsString(text, _variant_t(5)).IsEmpty()); // no other kind is converted

    unsigned long number = 7;
    EXPECT_TRUE(qvlib::AsULong(_variant_t(4294967295UL), number));
    EXPECT_EQ(number, 4294967295UL);
    EXPECT_TRUE(qvlib::AsULong(_variant_t(L" 12 "), number));
    EXPECT_EQ(number, 12UL);
    EXPECT_FALSE(qvlib::AsULong(_variant_t(-1.0), number));
    EXPECT_FALSE(qvlib::AsULong(_variant_t(L"abc"), number));
    EXPECT_EQ(number, 12UL);
}

} // namespace

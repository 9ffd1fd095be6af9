#include "qvlib/Exceptions.h"
#include "qvlib/framework/exceptions.h"
#include "support/allocation_sweep.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

using qvlib::argument_exception;
using qvlib::argument_out_of_range_exception;
using qvlib::invalid_enum_argument_exception;

TEST(Exceptions, WithoutAMessageTheyAreUnknown)
{
    EXPECT_STREQ(qvlib::unexpected_error().what(), "Unknown exception");
    EXPECT_STREQ(qvlib::unexpected_error(nullptr).what(), "Unknown exception");
    EXPECT_STREQ(qvlib::resource_error().what(), "Unknown exception");
    char const * const none = nullptr;
    EXPECT_STREQ(argument_exception(none, none, nullptr).what(), "Unknown exception");
    EXPECT_STREQ(qvlib::unexpected_error("a text").what(), "a text");
}

TEST(Exceptions, EachCopyOwnsItsMessage)
{
    std::string message = "first";
    char const * text = message.c_str();
    char const * const name = "name";
    std::runtime_error inner("inner");
    auto original = std::make_unique<argument_exception>(text, name, &inner);
    message = "other";
    argument_exception const copy(*original);
    argument_exception const moved(std::move(*original));
    EXPECT_STREQ(original->what(), "first"); // a move leaves its source whole
    EXPECT_NE(copy.what(), original->what());
    argument_exception assigned("x", name, nullptr);
    assigned = *original;
    original.reset();
    for (argument_exception const * one : {&copy, &moved, static_cast<argument_exception const *>(&assigned)})
    {
        EXPECT_STREQ(one->what(), "first");
        EXPECT_EQ(&one->ParamName(), &name); // the caller's pointer itself
        EXPECT_EQ(one->InnerException(), &inner);
    }
}

TEST(Exceptions, ANameGivenAsATemporaryOutlivesTheCall)
{
    auto original = std::make_unique<argument_out_of_range_exception>("index", nullptr);
    argument_out_of_range_exception const copy = *original;
    original.reset();
    EXPECT_STREQ(copy.ParamName(), "index");
    EXPECT_STREQ(copy.what(), "Argument out of range.");
}

TEST(Exceptions, TellWhichEnumerationWasMissed)
{
    char const * const name = "p";
    EXPECT_STREQ(invalid_enum_argument_exception(name, -1, "Mode", nullptr).what(), "-1 is not a Mode enum.");
    EXPECT_STREQ(invalid_enum_argument_exception("p", 7, "Colour", nullptr).what(), "7 is not a Colour enum.");
    EXPECT_STREQ(invalid_enum_argument_exception("message", nullptr).ParamName(), "");
}

TEST(Exceptions, ACopyThatFailsChangesNothing)
{
    argument_exception target("old", "name", nullptr);
    argument_exception const source("a message that is to be copied", "name", nullptr);
    qvlib_test::SweepAllocations([&] { target = source; }, [&] { EXPECT_STREQ(target.what(), "old"); });
    EXPECT_STREQ(target.what(), source.what());
}

TEST(FrameworkExceptions, CarryTheirCauses)
{
    try
    {
        AfxThrowArchiveException(CArchiveException::badSchema, L"a.bin");
    }
    catch (CException const & e)
    {
        auto const & archive = dynamic_cast<CArchiveException const &>(e);
        EXPECT_EQ(archive.m_cause, 7);
        EXPECT_EQ(archive.m_strFileName, L"a.bin");
        EXPECT_STREQ(e.what(), "archive: the data has an unknown version");
    }
    EXPECT_THROW(AfxThrowFileException(CFileException::diskFull), CFileException);
    EXPECT_THROW(AfxThrowMemoryException(), std::exception);
    EXPECT_STREQ(CArchiveException(99).what(), CArchiveException(1).what());
    EXPECT_STREQ(CFileException(-1).what(), CFileException(1).what());
}

TEST(FrameworkExceptions, StandForResultCodes)
{
    COleException const ole(E_ACCESSDENIED);
    EXPECT_EQ(COleException::Process(&ole), E_ACCESSDENIED);
    CMemoryException const memory;
    EXPECT_EQ(COleException::Process(&memory), E_OUTOFMEMORY);
    CInvalidArgException const argument;
    EXPECT_EQ(COleException::Process(&argument), E_INVALIDARG);
    CFileException const file;
    EXPECT_EQ(COleException::Process(&file), E_UNEXPECTED);
    EXPECT_EQ(COleException::Process(nullptr), E_UNEXPECTED);

    wchar_t text[8];
    EXPECT_TRUE(argument.GetErrorMessage(text, 8));
    EXPECT_STREQ(text, L"invalid");
    EXPECT_FALSE(argument.GetErrorMessage(text, 0));
}

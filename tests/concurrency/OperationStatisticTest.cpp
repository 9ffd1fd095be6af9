#include "qvlib/OperationStatistic.h"
#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>
#include <sys/stat.h>

using namespace qvlib; // the units

namespace
{

/// A drive C: of its own for each test.
class OperationStatistic : public testing::Test
{
protected:
    OperationStatistic() { ::setenv("QVLIB_DRIVE_C", m_folder.Path().c_str(), 1); }
    ~OperationStatistic() override { ::unsetenv("QVLIB_DRIVE_C"); }

    std::string Text() const
    {
        std::ifstream file(m_folder / "Statistic.txt", std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }

    qvlib_test::TempFolder m_folder;
};

std::string Report(std::string const & name, int count, char const * least, char const * greatest, char const * average,
                   char const * total, std::string const & label)
{
    std::string const rule(107, '-');
    std::string const head = "OPERATION STATISTICS " + name + ", ";
    return rule + "\n" + head + "Times called ------------ " + std::to_string(count) + ".\n" + head +
           "Min execution time ------ " + least + " " + label + ".\n" + head + "Max execution time ------ " + greatest +
           " " + label + ".\n" + head + "Avg execution time ------ " + average + " " + label + ".\n" + head +
           "Tot execution time ------ " + total + " " + label + ".\n" + rule + "\n\n";
}

} // namespace

TEST_F(OperationStatistic, AppendsItsFiguresAtItsEnd)
{
    {
        COperationStatistic statistic(L"L\u00e4den \u4e2d", TimeUnitMicroseconds);
        statistic.LogExecution(2.0);
        statistic.LogExecution(4.0);
        EXPECT_EQ(Text(), "");
    }
    std::string expected = Report("L\xc3\xa4"
                                  "den \xe4\xb8\xad",
                                  2, "2.000000", "4.000000", "3.000000", "6.000000", "mks");
    EXPECT_EQ(Text(), expected);

    // Nothing logged: noughts, and not the largest double, from which the least value starts.
    COperationStatistic(L"none", TimeUnitSeconds);
    expected += Report("none", 0, "0.000000", "0.000000", "0.000000", "0.000000", "s");
    EXPECT_EQ(Text(), expected);

    // Values below nought never raise the greatest one. A unit that is none has the label of milliseconds.
    {
        COperationStatistic statistic(L"%s%n", static_cast<ETimeUnit>(1));
        statistic.LogExecution(-1.5);
        COperationStatistic const copy = statistic; // writes a report of its own, first
        statistic.LogExecution(0.0);
    }
    expected += Report("%s%n", 1, "-1.500000", "0.000000", "-1.500000", "-1.500000", "ms");
    expected += Report("%s%n", 2, "-1.500000", "0.000000", "-0.750000", "-1.500000", "ms");
    EXPECT_EQ(Text(), expected);
    COperationStatistic(L"", TimeUnitNanoseconds);
    EXPECT_NE(Text().find("Tot execution time ------ 0.000000 ns."), std::string::npos);
}

TEST_F(OperationStatistic, PassesOverAFileThatCannotBeOpened)
{
    std::filesystem::create_directory(m_folder / "Statistic.txt"); // a folder stands in its place
    COperationStatistic statistic(L"lost", TimeUnitSeconds);
    statistic.LogExecution(std::numeric_limits<double>::max());
}

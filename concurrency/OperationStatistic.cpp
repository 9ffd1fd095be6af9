#include "qvlib/OperationStatistic.h"

#include "qvlib/Conversions.h"
#include "qvlib/host/file.h"

#include <string>

namespace qvlib
{

namespace
{

wchar_t const * Label(ETimeUnit unit) noexcept
{
    switch (unit)
    {
    case TimeUnitSeconds:
        return L"s";
    case TimeUnitMicroseconds:
        return L"mks";
    case TimeUnitNanoseconds:
        return L"ns";
    default:
        return L"ms";
    }
}

} // namespace

void COperationStatistic::LogExecution(double value) noexcept
{
    // The count is a 32-bit number that goes round, and taken without a sign in the average.
    double const before = static_cast<double>(static_cast<std::uint32_t>(m_count));
    m_count = static_cast<std::int32_t>(static_cast<std::uint32_t>(m_count) + 1);
    double const count = static_cast<double>(static_cast<std::uint32_t>(m_count));
    if (value < m_minimum)
        m_minimum = value;
    if (value > m_maximum)
        m_maximum = value;
    if (count != 0.0)
        m_average = (before * m_average + value) / count;
}

CQVString COperationStatistic::Report() const
{
    double const minimum = m_count == 0 ? 0.0 : m_minimum; // and not the largest double, from which it starts
    double const total = static_cast<double>(static_cast<std::uint32_t>(m_count)) * m_average;
    wchar_t const * const label = Label(m_unit);
    CQVString const rule(L'-', 107);
    CQVString text = rule + L"\n";
    text.AppendFormat(L"OPERATION STATISTICS %s, Times called ------------ %d.\n", m_name, m_count);
    text.AppendFormat(L"OPERATION STATISTICS %s, Min execution time ------ %f %s.\n", m_name, minimum, label);
    text.AppendFormat(L"OPERATION STATISTICS %s, Max execution time ------ %f %s.\n", m_name, m_maximum, label);
    text.AppendFormat(L"OPERATION STATISTICS %s, Avg execution time ------ %f %s.\n", m_name, m_average, label);
    text.AppendFormat(L"OPERATION STATISTICS %s, Tot execution time ------ %f %s.\n", m_name, total, label);
    text += rule + L"\n\n";
    return text;
}

COperationStatistic::~COperationStatistic()
{
    // The report is for people, and its loss must not stop a program.
    try
    {
        std::string const text = AsUtf8FromWStr(Report().GetString());
        host::NativeFile file;
        if (file.Open(L"C:\\Statistic.txt", {.read = false, .write = true, .create = true, .append = true}) ==
            ERROR_SUCCESS)
            file.Write(text.data(), text.size());
    }
    catch (...)
    {
    }
}

} // namespace qvlib

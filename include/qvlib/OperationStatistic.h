// COperationStatistic: collects how long an operation takes, and appends its figures to a text file at its end.
//
//     qvlib::COperationStatistic loads(L"Load", qvlib::TimeUnitMilliseconds);
//     for (auto const & file : files)
//     {
//         qvlib::CTLQuickStopWatch watch;
//         Load(file);
//         loads.LogExecution(watch.GetReading(qvlib::TimeUnitMilliseconds));
//     }
//
// The file is C:\Statistic.txt, which is a file of the drive's folder (host/path.h); its text is UTF-8. One report is
// one write at the end of the file, so that several processes can share it. A file that can't be opened is passed over.
// Every copy writes a report of its own.
//
// Objects are thread-compatible.
#pragma once

#include "qvlib/QVString.h"
#include "qvlib/StopWatch.h"
#include "qvlib/export.h"

#include <cstdint>
#include <limits>

namespace qvlib
{

struct QVLIB_API COperationStatistic
{
public:
    /// The unit is that of the values to come; it is only written beside them, nothing is converted.
    COperationStatistic(CQVString const & name, ETimeUnit unit) : m_name(name), m_unit(unit) {}
    COperationStatistic(COperationStatistic const &) = default;
    COperationStatistic & operator=(COperationStatistic const &) = default;
    /// Appends the report: the number of calls, the least, greatest and average value and the sum. 0 for each when
    /// nothing was logged.
    ~COperationStatistic();

    /// One more call that took `value`.
    void LogExecution(double value) noexcept;

private:
    QVLIB_LOCAL CQVString Report() const;

    CQVString m_name;
    std::int32_t m_count = 0;
    double m_minimum = std::numeric_limits<double>::max();
    double m_maximum = 0.0;
    double m_average = 0.0;
    ETimeUnit m_unit;
};

} // namespace qvlib

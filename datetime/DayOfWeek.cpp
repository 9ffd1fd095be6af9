#include "qvlib/DayOfWeek.h"

#include "qvlib/DateTime.h"

namespace qvlib
{

EDayOfWeek DayOfWeekX::TodaysDay() { return FromJulianDate(CDateTime::Now().GetJulianDate()); }

} // namespace qvlib

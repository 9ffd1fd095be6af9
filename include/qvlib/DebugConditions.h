// CTLDebugConditions: a table of numbers for the whole process, by which a debugging session steers the program.
//
// The library defines no condition. Who does declares qvlib::CTLDebugConditionsAccess, which the class lets in:
//
//     struct qvlib::CTLDebugConditionsAccess
//     {
//         static bool IsSlowDisk() { return CTLDebugConditions::GetConditionValue(kSlowDisk) != 0; }
//     };
//
// Thread-hostile: the table is not guarded, callers take turns.
#pragma once

#include "qvlib/export.h"

namespace qvlib
{

struct CTLDebugConditionsAccess;

class QVLIB_API CTLDebugConditions
{
public:
    CTLDebugConditions() noexcept = default;
    CTLDebugConditions(CTLDebugConditions const &) noexcept {}
    /// There is nothing to assign.
    CTLDebugConditions & operator=(CTLDebugConditions const &) noexcept { return *this; }
    CTLDebugConditions & operator=(CTLDebugConditions &&) noexcept { return *this; }

private:
    friend struct CTLDebugConditionsAccess;

    /// 0 for a condition that was never set; the table stays as it is.
    static unsigned long GetConditionValue(unsigned long index);
    /// Makes the table `index + 1` long where it is shorter, new conditions being 0.
    static void SetConditionValue(unsigned long index, unsigned long value);
};

} // namespace qvlib

// A value of every kind that archives and variants can hold.
#pragma once

#include "qvlib/DateTime.h"
#include "qvlib/GenericVal.h"

#include <vector>

namespace qvlib_test
{

inline std::vector<qvlib::CGenericVal> PlainValues()
{
    using qvlib::CGenericVal;
    return {CGenericVal(),
            CGenericVal(true),
            CGenericVal('c'),
            CGenericVal(static_cast<unsigned char>(200)),
            CGenericVal(static_cast<short>(-2)),
            CGenericVal(static_cast<unsigned short>(65535)),
            CGenericVal(-3),
            CGenericVal(4000000000U),
            CGenericVal(-4L),
            CGenericVal(4000000000UL),
            CGenericVal(-5LL),
            CGenericVal(18446744073709551615ULL),
            CGenericVal(1.5F),
            CGenericVal(2.5),
            CGenericVal(qvlib::CDateTime(44927.5)),
            CGenericVal(L"text of a value")};
}

} // namespace qvlib_test

#include "qvlib/DebugConditions.h"

#include "foundation/internal/narrow32.h"

#include <cstdint>
#include <vector>

namespace qvlib
{

namespace
{

std::vector<std::uint32_t> & Conditions()
{
    static std::vector<std::uint32_t> conditions;
    return conditions;
}

} // namespace

unsigned long CTLDebugConditions::GetConditionValue(unsigned long index)
{
    std::vector<std::uint32_t> const & conditions = Conditions();
    return index < conditions.size() ? conditions[index] : 0;
}

void CTLDebugConditions::SetConditionValue(unsigned long index, unsigned long value)
{
    std::uint32_t const position = internal::NarrowULong(index);
    std::uint32_t const stored = internal::NarrowULong(value);
    std::vector<std::uint32_t> & conditions = Conditions();
    if (position >= conditions.size())
        conditions.resize(std::size_t{position} + 1);
    conditions[position] = stored;
}

} // namespace qvlib

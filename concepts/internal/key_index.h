// The index of a list of fields by id and by name.
#pragma once

#include "concepts/internal/first_match_table.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace qvlib::internal
{

struct KeyIndex final : detail::IndexBase
{
    explicit KeyIndex(std::size_t expected) : byId(expected), byName(expected) {}

    /// Where the ids are small numbers, as most are, the position stands under the id itself.
    void MakeDirect(std::size_t count)
    {
        std::uint32_t highest = 0;
        byId.All(
            [&](std::uint32_t id, std::uint32_t)
            {
                highest = id > highest ? id : highest;
                return true;
            });
        if (highest >= 4 * count + 64)
            return;
        direct.assign(highest + 1, kNoPosition);
        byId.All(
            [&](std::uint32_t id, std::uint32_t at)
            {
                direct[id] = at;
                return true;
            });
    }
    std::uint32_t FindId(std::uint32_t id) const noexcept
    {
        if (id < direct.size())
            return direct[id];
        return direct.empty() ? byId.FindNumber(FirstMatchTable::Tag(id)) : kNoPosition;
    }

    FirstMatchTable byId;
    FirstMatchTable byName;
    std::vector<std::uint32_t> direct; // empty, or for all ids of the list
};

} // namespace qvlib::internal

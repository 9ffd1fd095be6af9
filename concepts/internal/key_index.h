// The index of a list of fields by id and by name.
#pragma once

#include "concepts/internal/first_match_table.h"

#include <cstddef>
#include <cstdint>
#include <cwchar>
#include <string>
#include <string_view>
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

    /// Keeps a copy of the names side by side: a look-up then does not go to a definition that lies anywhere.
    template <class Fields, class NameOf>
    void KeepNames(Fields const & fields, NameOf const & nameOf)
    {
        std::size_t total = 0;
        for (auto const & field : fields)
            total += nameOf(*field).size();
        names.reserve(total);
        nameAt.reserve(fields.size() + 1);
        nameAt.push_back(0);
        for (auto const & field : fields)
        {
            names.append(nameOf(*field));
            nameAt.push_back(names.size());
        }
    }
    bool IsKeptName(std::uint32_t position, std::wstring_view name) const noexcept
    {
        std::size_t const begin = nameAt[position];
        return nameAt[position + 1] - begin == name.size() &&
               std::wmemcmp(names.data() + begin, name.data(), name.size()) == 0;
    }
    std::uint32_t FindKeptName(std::uint32_t tag, std::wstring_view name) const noexcept
    {
        return byName.Find(tag, [&](std::uint32_t position) { return IsKeptName(position, name); });
    }

    FirstMatchTable byId;
    FirstMatchTable byName;
    std::vector<std::uint32_t> direct; // empty, or for all ids of the list
    std::wstring names;                // one behind the other
    std::vector<std::size_t> nameAt;   // where each begins, and the end
};

} // namespace qvlib::internal

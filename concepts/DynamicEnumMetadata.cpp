#include "qvlib/DynamicEnumMetadata.h"

#include "concepts/internal/first_match_table.h"
#include "qvlib/DelimitedString.h"
#include "qvlib/Exceptions.h"
#include "qvlib/TextFunctions.h"
#include "qvlib/host/crt.h"

#include <algorithm>
#include <cstdint>

namespace qvlib
{

namespace
{

using internal::EqualFolded;
using internal::FirstMatchTable;
using internal::kNoPosition;
using internal::kWalkLimit;
using internal::TableIndex;

constexpr unsigned int kNoIndex = 0xFFFFFFFFU;

// From each text by which a value is shown to the first value that has it. It keeps the texts: one value can have any
// number of them.
struct DisplayIndex final : detail::IndexBase
{
    struct Entry
    {
        std::wstring text;
        std::uint32_t value;
    };

    explicit DisplayIndex(std::size_t expected) : table(expected) { entries.reserve(expected); }

    std::uint32_t Find(std::wstring_view text) const noexcept
    {
        return table.Find(table.FoldedTag(text),
                          [&](std::uint32_t at) { return EqualFolded(entries[at].text.c_str(), text); });
    }
    void Add(std::wstring_view text, std::uint32_t value)
    {
        auto const at = static_cast<std::uint32_t>(entries.size());
        entries.push_back({std::wstring(text), value});
        if (table.Add(table.FoldedTag(text), at,
                      [&](std::uint32_t i) { return EqualFolded(entries[i].text.c_str(), text); }) != at)
            entries.pop_back();
    }

    FirstMatchTable table;
    std::vector<Entry> entries;
};

// Objects do not lie closer to each other than this: the lower bits tell nothing.
std::uint32_t AddressTag(void const * address) noexcept
{
    return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(address) >> 4);
}

} // namespace

CTLDynamicEnumMetadata::CTLDynamicEnumMetadata() = default;
CTLDynamicEnumMetadata::CTLDynamicEnumMetadata(CTLDynamicEnumMetadata const &) = default;
CTLDynamicEnumMetadata::CTLDynamicEnumMetadata(CTLDynamicEnumMetadata &&) noexcept = default;
CTLDynamicEnumMetadata & CTLDynamicEnumMetadata::operator=(CTLDynamicEnumMetadata const &) = default;
CTLDynamicEnumMetadata & CTLDynamicEnumMetadata::operator=(CTLDynamicEnumMetadata &&) noexcept = default;
CTLDynamicEnumMetadata::~CTLDynamicEnumMetadata() = default;

bool CTLDynamicEnumMetadata::operator==(CTLDynamicEnumMetadata const & other) const
{
    auto const same = [](ValuePtr const & a, ValuePtr const & b)
    { return a == b || (a != nullptr && b != nullptr && *a == *b); };
    return m_name == other.m_name && same(m_default, other.m_default) &&
           std::equal(m_values.begin(), m_values.end(), other.m_values.begin(), other.m_values.end(), same);
}

void CTLDynamicEnumMetadata::SetFilterKey(std::wstring key)
{
    if (m_filterKeys == nullptr)
        m_filterKeys = std::make_shared<std::set<std::wstring>>();
    m_filterKeys->insert(std::move(key));
}

void CTLDynamicEnumMetadata::TakeFilterKeys(CTLEnumValueDefinition const & value)
{
    if (auto const & filters = value.GetFilters())
        for (auto const & filter : *filters)
            SetFilterKey(filter.first);
}

void CTLDynamicEnumMetadata::AddValue(ValuePtr value)
{
    if (value == nullptr)
        throw unexpected_error();
    if (FindNamePosition(value->GetName()) == nullptr)
        Append(std::move(value));
}

// The index by name grows with the list, for AddValue asks it every time; the others are made anew when next needed.
void CTLDynamicEnumMetadata::Append(ValuePtr && value)
{
    auto const position = static_cast<std::uint32_t>(m_values.size());
    m_values.push_back(std::move(value));
    m_byDisplay.Drop();
    m_byCode.Drop();
    m_byAddress.Drop();
    auto * const names = m_byName.Extendable<TableIndex>();
    if (names == nullptr)
    {
        m_byName.Drop();
        return;
    }
    try
    {
        wchar_t const * const name = m_values.back()->m_name.c_str();
        names->table.Add(names->table.FoldedTag(name), position,
                         [&](std::uint32_t at) { return EqualFolded(m_values[at]->m_name.c_str(), name); });
        m_values.back()->m_mark.Indexed();
    }
    catch (...)
    {
        m_byName.Drop();
    }
}

CTLDynamicEnumMetadata::ValuePtr const * CTLDynamicEnumMetadata::FindNamePosition(std::wstring_view name) const noexcept
{
    std::wstring_view const text = internal::UpToNul(name);
    auto const same = [&](ValuePtr const & value) { return EqualFolded(value->m_name.c_str(), text); };
    if (m_values.size() > kWalkLimit)
    {
        auto const tag = [](FirstMatchTable const & table, ValuePtr const & value)
        { return table.FoldedTag(value->m_name.c_str()); };
        auto const * const index = m_byName.Get<TableIndex>(
            [&](TableIndex const & old)
            {
                for (std::uint32_t i = 0; i < m_values.size(); ++i)
                    if (old.table.Find(
                            tag(old.table, m_values[i]), [&](std::uint32_t at)
                            { return EqualFolded(m_values[at]->m_name.c_str(), m_values[i]->m_name.c_str()); }) > i)
                        return false;
                return true;
            },
            [&]
            {
                auto made = std::make_unique<TableIndex>(m_values.size());
                for (std::uint32_t i = 0; i < m_values.size(); ++i)
                {
                    m_values[i]->m_mark.Indexed();
                    made->table.Add(tag(made->table, m_values[i]), i,
                                    [&](std::uint32_t at)
                                    { return EqualFolded(m_values[at]->m_name.c_str(), m_values[i]->m_name.c_str()); });
                }
                return made;
            });
        if (index != nullptr)
        {
            auto const at = index->table.Find(index->table.FoldedTag(text),
                                              [&](std::uint32_t position) { return same(m_values[position]); });
            return at != kNoPosition ? &m_values[at] : nullptr;
        }
    }
    auto const found = std::find_if(m_values.begin(), m_values.end(), same);
    return found != m_values.end() ? &*found : nullptr;
}

CTLDynamicEnumMetadata::ValuePtr const *
CTLDynamicEnumMetadata::FindDisplayPosition(std::wstring_view display) const noexcept
{
    std::wstring_view const text = internal::UpToNul(display);
    auto const same = [&](ValuePtr const & value) { return value->HasDisplayText(text); };
    if (m_values.size() > kWalkLimit)
    {
        // Every text by which HasDisplay knows the value.
        auto const eachDisplay = [](CTLEnumValueDefinition const & value, auto const & visit)
        {
            if (!visit(std::wstring_view(value.GetDisplay().c_str())))
                return false;
            if (value.m_overrides != nullptr)
                for (auto const & [context, entries] : *value.m_overrides)
                    if (auto const found = entries.find(L"Display"); found != entries.end())
                        if (!visit(std::wstring_view(found->second.first.c_str())))
                            return false;
            return true;
        };
        auto const * const index = m_byDisplay.Get<DisplayIndex>(
            [&](DisplayIndex const & old)
            {
                std::vector<bool> stands(old.entries.size());
                for (std::uint32_t i = 0; i < m_values.size(); ++i)
                    if (!eachDisplay(*m_values[i],
                                     [&](std::wstring_view known)
                                     {
                                         std::uint32_t const at = old.Find(known);
                                         if (at == kNoPosition || old.entries[at].value > i)
                                             return false;
                                         stands[at] = stands[at] || old.entries[at].value == i;
                                         return true;
                                     }))
                        return false;
                return std::find(stands.begin(), stands.end(), false) == stands.end();
            },
            [&]
            {
                auto made = std::make_unique<DisplayIndex>(m_values.size());
                for (std::uint32_t i = 0; i < m_values.size(); ++i)
                {
                    m_values[i]->m_mark.Indexed();
                    eachDisplay(*m_values[i],
                                [&](std::wstring_view known)
                                {
                                    made->Add(known, i);
                                    return true;
                                });
                }
                return made;
            });
        if (index != nullptr)
        {
            std::uint32_t const at = index->Find(text);
            return at != kNoPosition ? &m_values[index->entries[at].value] : nullptr;
        }
    }
    auto const found = std::find_if(m_values.begin(), m_values.end(), same);
    return found != m_values.end() ? &*found : nullptr;
}

CTLDynamicEnumMetadata::ValuePtr const * CTLDynamicEnumMetadata::FindCodePosition(int code) const noexcept
{
    auto const same = [&](ValuePtr const & value) { return value->m_code == code; };
    if (m_values.size() > kWalkLimit)
    {
        auto const tag = [](int number) { return FirstMatchTable::Tag(static_cast<std::uint32_t>(number)); };
        auto const * const index = m_byCode.Get<TableIndex>(
            [&](TableIndex const & old)
            {
                for (std::uint32_t i = 0; i < m_values.size(); ++i)
                    if (old.table.FindNumber(tag(m_values[i]->m_code)) > i)
                        return false;
                return old.table.All([&](std::uint32_t key, std::uint32_t at)
                                     { return tag(m_values[at]->m_code) == key; });
            },
            [&]
            {
                auto made = std::make_unique<TableIndex>(m_values.size());
                for (std::uint32_t i = 0; i < m_values.size(); ++i)
                {
                    m_values[i]->m_mark.Indexed();
                    made->table.Add(tag(m_values[i]->m_code), i, [](std::uint32_t) { return true; });
                }
                return made;
            });
        if (index != nullptr)
        {
            auto const at = index->table.FindNumber(tag(code));
            return at != kNoPosition ? &m_values[at] : nullptr;
        }
    }
    auto const found = std::find_if(m_values.begin(), m_values.end(), same);
    return found != m_values.end() ? &*found : nullptr;
}

CTLDynamicEnumMetadata::ValuePtr CTLDynamicEnumMetadata::FindName(std::wstring const & name) const noexcept
{
    ValuePtr const * const found = FindNamePosition(name);
    return found != nullptr ? *found : nullptr;
}

CTLDynamicEnumMetadata::ValuePtr CTLDynamicEnumMetadata::FindName(wchar_t const * name) const noexcept
{
    ValuePtr const * const found = FindNamePosition(TLStringOrEmpty(name));
    return found != nullptr ? *found : nullptr;
}

CTLDynamicEnumMetadata::ValuePtr CTLDynamicEnumMetadata::FindDisplay(std::wstring const & display) const noexcept
{
    ValuePtr const * const found = FindDisplayPosition(display);
    return found != nullptr ? *found : nullptr;
}

CTLDynamicEnumMetadata::ValuePtr CTLDynamicEnumMetadata::FindDisplay(wchar_t const * display) const noexcept
{
    ValuePtr const * const found = FindDisplayPosition(TLStringOrEmpty(display));
    return found != nullptr ? *found : nullptr;
}

CTLDynamicEnumMetadata::ValuePtr CTLDynamicEnumMetadata::FindCode(int code) const noexcept
{
    ValuePtr const * const found = FindCodePosition(code);
    return found != nullptr ? *found : nullptr;
}

CTLDynamicEnumMetadata::ValuePtr const * CTLDynamicEnumMetadata::FindValuePosition(NameOrIdView key) const noexcept
{
    if (key.IsId())
        return FindCodePosition(static_cast<int>(key.Id()));
    return FindNamePosition(key.Name());
}

CTLDynamicEnumMetadata::ValuePtr const * CTLDynamicEnumMetadata::FindValuePosition(Find find,
                                                                                   CGenericVal const & value) const
{
    switch (static_cast<VARENUM>(value.GetType()))
    {
    case VarType::String:
    {
        CQVString const & string = value.GetString();
        std::wstring_view const text(string.GetString(), static_cast<std::size_t>(string.GetLength()));
        return find == ByName ? FindNamePosition(text) : FindDisplayPosition(text);
    }
    case VarType::Int:
        return FindCodePosition(value.GetInt());
    default:
        return nullptr;
    }
}

CTLDynamicEnumMetadata::ValuePtr CTLDynamicEnumMetadata::FindValue(NameOrIdView key) const noexcept
{
    ValuePtr const * const found = FindValuePosition(key);
    return found != nullptr ? *found : nullptr;
}

CTLDynamicEnumMetadata::ValuePtr CTLDynamicEnumMetadata::FindValue(Find find, CGenericVal const & value) const
{
    ValuePtr const * const found = FindValuePosition(find, value);
    return found != nullptr ? *found : nullptr;
}

CTLDynamicEnumMetadata::ValuePtr CTLDynamicEnumMetadata::First() const
{
    if (m_values.empty())
        throw unexpected_error();
    return m_values.front();
}

CTLDynamicEnumMetadata::ValuePtr CTLDynamicEnumMetadata::FirstOrDefault() const noexcept
{
    return m_values.empty() ? m_default : m_values.front();
}

unsigned int CTLDynamicEnumMetadata::GetIndexOfValue(ValuePtr const & value) const noexcept
{
    auto const same = [&](ValuePtr const & candidate) { return candidate == value; };
    if (m_values.size() > kWalkLimit)
    {
        // Which objects stand in the list changes only with the list, which drops the index.
        auto const * const index = m_byAddress.Get<TableIndex>(
            [](TableIndex const &) { return true; },
            [&]
            {
                auto made = std::make_unique<TableIndex>(m_values.size());
                for (std::uint32_t i = 0; i < m_values.size(); ++i)
                    made->table.Add(AddressTag(m_values[i].get()), i,
                                    [&](std::uint32_t at) { return m_values[at] == m_values[i]; });
                return made;
            });
        if (index != nullptr)
        {
            static_assert(kNoIndex == kNoPosition);
            return index->table.Find(AddressTag(value.get()),
                                     [&](std::uint32_t position) { return same(m_values[position]); });
        }
    }
    auto const found = std::find_if(m_values.begin(), m_values.end(), same);
    return found != m_values.end() ? static_cast<unsigned int>(found - m_values.begin()) : kNoIndex;
}

unsigned int CTLDynamicEnumMetadata::GetIndexOfValue(NameOrIdView key) const noexcept
{
    // The first match is the first of its object too.
    ValuePtr const * const found = FindValuePosition(key);
    return found != nullptr ? static_cast<unsigned int>(found - m_values.data()) : kNoIndex;
}

CTLDynamicEnumMetadata::ValuePtr CTLDynamicEnumMetadata::GetValueDefinitionByAttribute(std::wstring const & attribute,
                                                                                       std::wstring const & value) const
{
    for (auto const & candidate : m_values)
    {
        auto const found = candidate->m_attributes.find(attribute);
        if (found != candidate->m_attributes.end() && found->second == value)
            return candidate;
    }
    return nullptr;
}

std::shared_ptr<CTLDynamicEnumMetadata>
CTLDynamicEnumMetadata::CreateSupportedMetadata(std::wstring const & names) const
{
    return CreateSupportedMetadata(names.c_str());
}

std::shared_ptr<CTLDynamicEnumMetadata> CTLDynamicEnumMetadata::CreateSupportedMetadata(wchar_t const * names) const
{
    std::shared_ptr<CTLDynamicEnumMetadata> result;
    wchar_t const * cursor = TLStringOrEmpty(names);
    wchar_t const * token = nullptr;
    unsigned long length = 0;
    while (CDelimitedString::GetNextToken(cursor, token, length, L',', true))
    {
        ValuePtr const * const found = FindNamePosition({token, length});
        if (found == nullptr)
            continue;
        if (result == nullptr)
        {
            result = std::make_shared<CTLDynamicEnumMetadata>();
            result->m_name = m_name;
            result->m_default = *found;
        }
        result->m_values.push_back(*found); // a name listed twice is there twice: kept on purpose
    }
    return result;
}

std::shared_ptr<CTLDynamicEnumMetadata> CTLDynamicEnumMetadata::Filter(Settings const & criteria) const
{
    auto result = std::make_shared<CTLDynamicEnumMetadata>();
    result->m_name = m_name;
    result->m_default = m_default; // also when it is filtered out: kept on purpose, callers rely on it
    std::vector<std::pair<std::wstring const *, std::wstring>> wanted;
    for (auto const & value : m_values)
    {
        if (wanted.size() != criteria.size()) // with no values, an id for a key goes unseen
            for (auto const & [key, property] : criteria)
            {
                CQVString const text = property.value.GetAsString();
                wanted.emplace_back(&key.GetName(),
                                    std::wstring(text.GetString(), static_cast<std::size_t>(text.GetLength())));
            }
        if (std::all_of(wanted.begin(), wanted.end(),
                        [&](auto const & criterion)
                        { return value->IsValueIncludedInFilter(*criterion.first, criterion.second); }))
            result->AddValue(value);
    }
    return result;
}

void CTLDynamicEnumMetadata::FromDelimitedString(wchar_t const * name, CDelimitedString const & items,
                                                 std::wstring const & filterKey, std::wstring const & filterValue)
{
    m_name.assign(TLStringOrEmpty(name));
    std::vector<CQVString> tokens;
    items.GetStrings(tokens);
    int counter = 1;
    for (auto const & token : tokens)
    {
        CDelimitedString const parts(token);
        CQVString const valueName = parts.GetTokenAt(0);
        ValuePtr definition = FindName(valueName);
        if (definition == nullptr)
        {
            CQVString const display = parts.GetTokenAt(1);
            CQVString const code = parts.GetTokenAt(2);
            auto made = std::make_shared<CTLEnumValueDefinition>();
            made->SetName(valueName);
            made->SetDisplay(display);
            made->SetCode(code.IsEmpty() ? counter : _wtoi(code));
            definition = made;
            Append(ValuePtr(definition));
        }
        if (!filterKey.empty())
        {
            // Definitions are made writable, here or by who added them, and nobody shares this list yet.
            std::const_pointer_cast<CTLEnumValueDefinition>(definition)->AddFilter(filterKey, filterValue);
            TakeFilterKeys(*definition);
        }
        ++counter;
    }
    if (!m_values.empty())
        m_default = m_values.front();
}

} // namespace qvlib

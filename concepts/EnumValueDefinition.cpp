#include "qvlib/EnumValueDefinition.h"

#include "concepts/internal/first_match_table.h"
#include "qvlib/Conversions.h"
#include "qvlib/StringResourcesTable.h"
#include "qvlib/TextFunctions.h"
#include "qvlib/host/crt.h"

#include <algorithm>

namespace qvlib
{

namespace
{

template <class T>
bool SameContent(std::shared_ptr<T> const & a, std::shared_ptr<T> const & b)
{
    return a == b || (a != nullptr && b != nullptr && *a == *b);
}

} // namespace

CTLEnumValueDefinition::CTLEnumValueDefinition() = default;
CTLEnumValueDefinition::CTLEnumValueDefinition(std::wstring const & name, std::wstring const & display, int code)
    : m_name(name), m_display(display), m_code(code)
{
}
CTLEnumValueDefinition::CTLEnumValueDefinition(CTLEnumValueDefinition const &) = default;
CTLEnumValueDefinition::CTLEnumValueDefinition(CTLEnumValueDefinition &&) noexcept = default;
CTLEnumValueDefinition & CTLEnumValueDefinition::operator=(CTLEnumValueDefinition const &) = default;
CTLEnumValueDefinition & CTLEnumValueDefinition::operator=(CTLEnumValueDefinition &&) noexcept = default;
CTLEnumValueDefinition::~CTLEnumValueDefinition() = default;

bool CTLEnumValueDefinition::operator==(CTLEnumValueDefinition const & other) const
{
    return m_name == other.m_name && m_display == other.m_display && m_displayId == other.m_displayId &&
           m_code == other.m_code && m_attributes == other.m_attributes && SameContent(m_filters, other.m_filters) &&
           SameContent(m_overrides, other.m_overrides);
}

std::wstring const & CTLEnumValueDefinition::GetDisplay(Settings const & context) const
{
    if (m_overrides != nullptr)
        if (auto const found = m_overrides->find(context); found != m_overrides->end())
            return found->second.at(L"Display").first;
    return GetDisplay();
}

bool CTLEnumValueDefinition::HasDisplay(wchar_t const * text) const noexcept
{
    return HasDisplayText(TLStringOrEmpty(text));
}

bool CTLEnumValueDefinition::HasDisplayText(std::wstring_view wanted) const noexcept
{
    if (internal::EqualFolded(GetDisplay().c_str(), wanted))
        return true;
    if (m_overrides == nullptr)
        return false;
    return std::any_of(m_overrides->begin(), m_overrides->end(),
                       [&](auto const & context)
                       {
                           return std::any_of(context.second.begin(), context.second.end(),
                                              [&](auto const & entry) {
                                                  return entry.first == L"Display" &&
                                                         internal::EqualFolded(entry.second.first.c_str(), wanted);
                                              });
                       });
}

void CTLEnumValueDefinition::SetName(wchar_t const * name)
{
    m_mark.Changed();
    m_name.assign(TLStringOrEmpty(name));
}

void CTLEnumValueDefinition::SetDisplay(wchar_t const * display)
{
    m_mark.Changed();
    m_display.assign(TLStringOrEmpty(display));
}

void CTLEnumValueDefinition::SetCode(int code) noexcept
{
    m_mark.Changed();
    m_code = code;
}

void CTLEnumValueDefinition::AddFilter(std::wstring const & key, std::wstring const & value)
{
    if (m_filters == nullptr)
        m_filters = std::make_shared<Filters>();
    auto const [first, last] = m_filters->equal_range(key);
    if (std::none_of(first, last, [&](auto const & entry) { return entry.second == value; }))
        m_filters->emplace(key, value);
}

bool CTLEnumValueDefinition::IsValueIncludedInFilter(std::wstring const & key, std::wstring const & value) const
{
    if (m_filters == nullptr)
        return true;
    auto const [first, last] = m_filters->equal_range(key);
    return first == last || std::any_of(first, last, [&](auto const & entry) { return entry.second == value; });
}

// Copies of this definition, which carry marks of their own, may show the same overrides.
void CTLEnumValueDefinition::OverridesChange() const noexcept
{
    if (m_overrides.use_count() > 1)
        detail::DefinitionMark::MoveOn();
    else
        m_mark.Changed();
}

void CTLEnumValueDefinition::AddOverride(Settings const & context, std::wstring const & name,
                                         std::wstring const & value, std::wstring && displayId)
{
    if (m_overrides == nullptr)
        m_overrides = std::make_shared<Overrides>();
    OverridesChange();
    (*m_overrides)[context][name] = {value, std::move(displayId)};
}

std::pair<bool, std::wstring const &> CTLEnumValueDefinition::TryGetCustomAttribute(std::wstring const & name) const
{
    auto const found = m_attributes.find(name);
    if (found == m_attributes.end())
        return {false, TLStdWStringDefault()};
    return {true, found->second};
}

bool CTLEnumValueDefinition::ReadAttribute(std::wstring const & name, int & value) const
{
    auto const found = m_attributes.find(name);
    if (found == m_attributes.end())
        return false;
    wchar_t const * const text = found->second.c_str();
    wchar_t * end = nullptr;
    value = static_cast<int>(host::wcstol(text, &end, 10));
    return end == text + found->second.size();
}

bool CTLEnumValueDefinition::ReadAttribute(std::wstring const & name, double & value) const
{
    auto const found = m_attributes.find(name);
    if (found == m_attributes.end())
        return false;
    wchar_t const * const text = found->second.c_str();
    wchar_t * end = nullptr;
    value = host::wcstod(text, &end);
    return end == text + found->second.size();
}

bool CTLEnumValueDefinition::ReadAttribute(std::wstring const & name, bool & value) const
{
    auto const found = m_attributes.find(name);
    if (found == m_attributes.end())
        return false;
    value = AsBool(found->second.c_str());
    return true;
}

bool CTLEnumValueDefinition::ReadAttribute(Settings const & context, std::wstring const & name, bool & value) const
{
    if (m_overrides != nullptr)
        if (auto const found = m_overrides->find(context); found != m_overrides->end() && found->second.contains(name))
        {
            value = AsBool(name.c_str()); // the name, not the override's text: kept on purpose, callers rely on it
            return true;
        }
    return ReadAttribute(name, value);
}

unsigned int CTLEnumValueDefinition::ReplaceDisplayStrings(StringResourcesTable const & table)
{
    unsigned int count = 0;
    if (!m_displayId.empty())
        if (auto [found, text] = table.Find(m_displayId); found)
        {
            m_mark.Changed();
            m_display = std::move(text);
            ++count;
        }
    if (m_overrides == nullptr)
        return count;
    OverridesChange();
    for (auto & [context, entries] : *m_overrides)
        for (auto & [name, entry] : entries)
        {
            if (entry.second.empty())
                continue;
            if (auto [found, text] = table.Find(entry.second); found)
            {
                entry.first = std::move(text);
                ++count;
            }
        }
    return count;
}

} // namespace qvlib

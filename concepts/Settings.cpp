#include "qvlib/Settings.h"

#include "concepts/internal/properties.h"
#include "qvlib/Exceptions.h"
#include "qvlib/StringResourcesTable.h"

#include <algorithm>

namespace qvlib
{

Settings::Settings() = default;
Settings::Settings(Settings const &) = default;
Settings::Settings(Settings &&) noexcept = default;
Settings & Settings::operator=(Settings const &) = default;
Settings & Settings::operator=(Settings &&) noexcept = default;
Settings::~Settings() = default;

bool Settings::operator==(Settings const & other) const
{
    return m_name == other.m_name && m_properties.size() == other.m_properties.size() &&
           std::equal(m_properties.begin(), m_properties.end(), other.m_properties.begin(),
                      [](auto const & a, auto const & b) { return a.first == b.first && a.second == b.second; });
}

bool Settings::operator<(Settings const & other) const
{
    if (m_name != other.m_name)
        return m_name < other.m_name;
    return std::lexicographical_compare(
        m_properties.begin(), m_properties.end(), other.m_properties.begin(), other.m_properties.end(),
        [](auto const & a, auto const & b)
        {
            if (!(a.first == b.first))
                return a.first < b.first;
            if (a.second.value < b.second.value)
                return true;
            return a.second.value == b.second.value && a.second.displayId < b.second.displayId;
        });
}

CGenericVal Settings::GetProperty(NameOrIdView key) const
{
    auto const found = m_properties.find(key);
    if (found == m_properties.end())
        throw unexpected_error();
    return found->second.value;
}

CGenericVal Settings::TryGetProperty(NameOrIdView key) const
{
    auto const found = m_properties.find(key);
    return found != m_properties.end() ? found->second.value : CGenericVal();
}

bool Settings::TryGetProperty(NameOrIdView key, CGenericVal & out) const
{
    auto const found = m_properties.find(key);
    if (found == m_properties.end())
    {
        out.Empty();
        return false;
    }
    out = found->second.value;
    return true;
}

CGenericVal Settings::GetPropertyOrDefault(NameOrIdView key, CGenericVal const & fallback) const
{
    auto const found = m_properties.find(key);
    return found != m_properties.end() ? found->second.value : fallback;
}

void Settings::SetProperty(NameOrIdView key, CGenericVal const & value)
{
    CGenericVal own(value); // may lie in these properties, or fail to copy
    auto const at = m_properties.lower_bound(key);
    if (at != m_properties.end() && key.Equals(at->first))
    {
        at->second.value = std::move(own);
        at->second.displayId.clear();
    }
    else
        m_properties.emplace_hint(at, key.ToKey(), PropertyValue{std::move(own), std::wstring()});
}

bool Settings::RemoveProperty(NameOrIdView key)
{
    auto const found = m_properties.find(key);
    if (found == m_properties.end())
        return false;
    m_properties.erase(found);
    return true;
}

void Settings::Merge(Settings const & other)
{
    if (&other == this)
        return;
    for (auto const & [key, value] : other.m_properties)
        m_properties.insert_or_assign(key, value);
}

Settings & Settings::FromProperties(QRGenObjsLib::IQRProperties * properties)
{
    m_properties.clear();
    internal::ForEachProperty(properties,
                              [this](_variant_t const & key, _variant_t const & value)
                              {
                                  CGenericVal converted;
                                  converted.SetAsVariant(value); // what has no such form stays empty
                                  SetProperty(NameOrId().FromVariant(key), converted);
                              });
    return *this;
}

void Settings::ProcessStringResources(StringResourcesTable const & table)
{
    for (auto & [key, property] : m_properties)
    {
        if (property.displayId.empty())
            continue;
        auto const [found, text] = table.Find(property.displayId);
        if (found)
            property.value.SetString(CQVString(std::wstring_view(text)));
    }
}

} // namespace qvlib

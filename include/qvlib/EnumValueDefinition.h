// CTLEnumValueDefinition: one value of a dynamic enum.
//
// The name identifies the value, the code is what a record stores, the display is what a person sees (the name when it
// is empty), and the displayId is the key by which a StringResourcesTable replaces the display. Beside these a value
// has free-form attributes, filter tags, and overrides: other texts for its attributes in a given context.
//
//     auto const value = kinds->FindName(L"Spot");
//     Show(value->GetDisplay());
//     if (auto const [found, rank] = value->TryGetCustomAttribute<int>(L"Rank"); found)
//         Sort(rank);
//
// Thread rule: thread-compatible. Definitions change only before they are shared.
#pragma once

#include "qvlib/Settings.h"
#include "qvlib/detail/LazyIndex.h"
#include "qvlib/export.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace qvlib
{

class QVLIB_API CTLEnumValueDefinition
{
public:
    using Attributes = std::map<std::wstring, std::wstring>;
    using Filters = std::multimap<std::wstring, std::wstring>;

    /// Empty texts, code 0.
    CTLEnumValueDefinition();
    CTLEnumValueDefinition(std::wstring const & name, std::wstring const & display, int code);
    /// Copies share the filters and the overrides.
    CTLEnumValueDefinition(CTLEnumValueDefinition const &);
    CTLEnumValueDefinition(CTLEnumValueDefinition &&) noexcept;
    CTLEnumValueDefinition & operator=(CTLEnumValueDefinition const &);
    CTLEnumValueDefinition & operator=(CTLEnumValueDefinition &&) noexcept;
    ~CTLEnumValueDefinition();

    /// Deep.
    bool operator==(CTLEnumValueDefinition const & other) const;

    std::wstring const & GetName() const noexcept { return m_name; }
    int GetCode() const noexcept { return m_code; }
    /// The display as it stands, perhaps empty.
    std::wstring const & GetRawDisplay() const noexcept { return m_display; }
    Attributes const & GetAttributes() const noexcept { return m_attributes; }
    /// Filter key to allowed value; null when the value has no filters.
    std::shared_ptr<Filters> const & GetFilters() const noexcept { return m_filters; }

    /// The display, or the name when the display is empty.
    std::wstring const & GetDisplay() const noexcept { return m_display.empty() ? m_name : m_display; }
    /// The display in the context, where the value overrides anything in exactly that context; std::out_of_range when
    /// it does not override the display there. Elsewhere GetDisplay().
    std::wstring const & GetDisplay(Settings const & context) const;
    /// Whether the text is the display, or the display in any context, letters folded by ASCII.
    bool HasDisplay(wchar_t const * text) const noexcept;

    /// Null counts as empty.
    void SetName(wchar_t const * name);
    void SetDisplay(wchar_t const * display);
    void SetCode(int code) noexcept;

    /// Adds the pair unless it is there.
    void AddFilter(std::wstring const & key, std::wstring const & value);
    /// False only when the value has filters for the key and none of them is exactly `value`.
    bool IsValueIncludedInFilter(std::wstring const & key, std::wstring const & value) const;

    /// A free-form attribute: true and its text, or false and an empty text.
    std::pair<bool, std::wstring const &> TryGetCustomAttribute(std::wstring const & name) const;
    /// As a number (int, double): false and 0 when there is none; otherwise what the number parser made of the text,
    /// and whether it used all of it. As a bool: whether there is one, and AsBool of it.
    template <class T>
    std::pair<bool, T> TryGetCustomAttribute(std::wstring const & name) const
    {
        T value{};
        bool const good = ReadAttribute(name, value);
        return {good, value};
    }
    /// For bool only. Where the context overrides the attribute, the result is true and AsBool of the attribute's name
    /// (not of the override's text).
    template <class T>
    std::pair<bool, T> TryGetCustomAttribute(Settings const & context, std::wstring const & name) const
    {
        T value{};
        bool const good = ReadAttribute(context, name, value);
        return {good, value};
    }

    /// Replaces the display, and every override, that has a displayId which the table knows. How many were replaced.
    unsigned int ReplaceDisplayStrings(StringResourcesTable const & table);

    /// False, and nothing changed, when the element is no "Item". Filters and overrides add to those that are there.
    bool FromXml(XmlElement const & element);
    /// Filters and overrides are not written.
    std::shared_ptr<XmlElement> ToXml() const;

private:
    friend class CTLDynamicEnumMetadata;

    // Attribute name to the override's text and the displayId of that text.
    using Override = std::map<std::wstring, std::pair<std::wstring, std::wstring>>;
    using Overrides = std::map<Settings, Override>;

    bool ReadAttribute(std::wstring const & name, int & value) const;
    bool ReadAttribute(std::wstring const & name, double & value) const;
    bool ReadAttribute(std::wstring const & name, bool & value) const;
    bool ReadAttribute(Settings const & context, std::wstring const & name, bool & value) const;
    void AddOverride(Settings const & context, std::wstring const & name, std::wstring const & value,
                     std::wstring && displayId);
    void OverridesChange() const noexcept;
    bool HasDisplayText(std::wstring_view text) const noexcept;
    void ParseFilter(XmlElement const & element);
    void ParseOverrides(XmlElement const & element, XmlElement const & value);

    std::wstring m_name;
    std::wstring m_display;
    std::wstring m_displayId;
    Attributes m_attributes;
    std::shared_ptr<Filters> m_filters;
    std::shared_ptr<Overrides> m_overrides;
    std::int32_t m_code = 0;
    detail::DefinitionMark m_mark;
};

} // namespace qvlib

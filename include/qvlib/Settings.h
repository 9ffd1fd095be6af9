// Settings: a named bag of typed values, ordered by key.
//
// A property is a value and, where its text can be localised, the key of that text in a StringResourcesTable. Whole
// settings serve as keys too: they have an order, and two that differ only in a displayId are different.
//
//     qvlib::Settings context;
//     context.SetName(L"Desk");
//     context.SetProperty(L"Region", qvlib::CGenericVal(L"EMEA"));
//     qvlib::CGenericVal limit = context.GetPropertyOrDefault(L"Limit", qvlib::CGenericVal(100));
//
// Thread rule: thread-compatible.
#pragma once

#include "qvlib/GenericVal.h"
#include "qvlib/NameOrId.h"
#include "qvlib/export.h"

#include <cstddef>
#include <map>
#include <memory>
#include <string>

namespace QRGenObjsLib
{
struct IQRProperties;
}

namespace qvlib
{

class StringResourcesTable;
class XmlElement;

class QVLIB_API Settings
{
public:
    struct PropertyValue
    {
        CGenericVal value;
        /// Key into a StringResourcesTable; empty when the value is no localisable text.
        std::wstring displayId;

        bool operator==(PropertyValue const & other) const
        {
            return value == other.value && displayId == other.displayId;
        }
    };
    using Properties = std::map<NameOrId, PropertyValue, NameOrIdLess>;
    using const_iterator = Properties::const_iterator;

    Settings();
    Settings(Settings const &);
    Settings(Settings &&) noexcept;
    Settings & operator=(Settings const &);
    Settings & operator=(Settings &&) noexcept;
    ~Settings();

    /// Name, count, then key, value and displayId pair by pair.
    bool operator==(Settings const & other) const;
    /// By name, then by the properties in their order.
    bool operator<(Settings const & other) const;

    std::wstring const & GetName() const noexcept { return m_name; }
    /// To be changed in place.
    std::wstring & GetName() noexcept { return m_name; }
    void SetName(std::wstring const & name) { m_name = name; }

    /// The properties in key order, as pairs of NameOrId and PropertyValue.
    const_iterator begin() const noexcept { return m_properties.begin(); }
    const_iterator end() const noexcept { return m_properties.end(); }
    std::size_t size() const noexcept { return m_properties.size(); }
    bool empty() const noexcept { return m_properties.empty(); }
    /// Drops the properties; the name stays.
    void clear() noexcept { m_properties.clear(); }

    /// Whether the key is present.
    bool ContainsProperty(NameOrIdView key) const { return m_properties.find(key) != m_properties.end(); }
    /// A copy of the value; unexpected_error when the key is absent.
    CGenericVal GetProperty(NameOrIdView key) const;
    /// A copy of the value, or an empty value.
    CGenericVal TryGetProperty(NameOrIdView key) const;
    /// True and the value, or false and `out` emptied.
    bool TryGetProperty(NameOrIdView key, CGenericVal & out) const;
    /// A copy of the value, or of `fallback`.
    CGenericVal GetPropertyOrDefault(NameOrIdView key, CGenericVal const & fallback) const;
    /// Adds the property or replaces its value; its displayId is emptied either way. Nothing changes when memory runs
    /// out.
    void SetProperty(NameOrIdView key, CGenericVal const & value);
    /// Whether there was one to remove.
    bool RemoveProperty(NameOrIdView key);
    /// Takes over every property of `other`, value and displayId, over one of the same key; the name stays.
    void Merge(Settings const & other);

    /// Replaces the properties by the pairs of `properties`; null leaves none. A pair that cannot be fetched is passed
    /// over; no count at all is raised as a COM error; a key that is neither number nor text throws unexpected_error.
    Settings & FromProperties(QRGenObjsLib::IQRProperties * properties);

    /// False when the element is none of settings, or malformed; what was read before the fault stays.
    bool FromXml(XmlElement const & element);
    /// The type is left out for text, the displayId where it is empty.
    std::shared_ptr<XmlElement> ToXml() const;

    /// The readers of the XML form, piece by piece. False for a wrong element, key, type or value.
    static bool ParseSettings(Settings & settings, XmlElement const & element);
    static bool ParseProperty(NameOrId & key, PropertyValue & value, XmlElement const & element);
    static bool ParsePropertyKey(NameOrId & key, XmlElement const & element);
    static bool ParsePropertyValue(PropertyValue & value, XmlElement const & element);

    /// Replaces, in every property with a displayId that the table knows, the value by the table's text. The displayId
    /// stays, so another table can follow.
    void ProcessStringResources(StringResourcesTable const & table);

private:
    std::wstring m_name;
    Properties m_properties;
};

} // namespace qvlib

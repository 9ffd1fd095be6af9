// CTLDynamicEnumMetadata: an enumeration whose values are data.
//
// The values stand in declared order, which is the order of every search: the first match wins. Names and displays are
// found without regard to the case of ASCII letters, everything else exactly. Look-ups take time that does not grow
// with the number of values.
//
// A reporting conversion (CodeToName, DisplayToCode...) that finds nothing calls FailMessage, which by default shows a
// message box, and then gives its fallback; a program without a person in front calls
// EnableDynamicEnumFailMessage(false) or uses the Try forms.
//
//     auto kinds = std::make_shared<qvlib::CTLDynamicEnumMetadata>();
//     kinds->FromXml(*qvlib::XmlParser::Load(text));
//     auto const [known, code] = kinds->TryDisplayToCode(L"Spot deal");
//
// An enum is filled, has its display strings replaced, and is then shared as std::shared_ptr to const. Restricted and
// filtered enums share the value definitions of the enum they were made from.
//
// Thread rule: thread-compatible.
#pragma once

#include "qvlib/EnumValueDefinition.h"
#include "qvlib/GenericVal.h"
#include "qvlib/NameOrId.h"
#include "qvlib/detail/LazyIndex.h"
#include "qvlib/export.h"

#include <cstddef>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qvlib
{

class CDelimitedString;

/// Turns the message of failed look-ups on (as at the start) or off. Thread-safe.
QVLIB_API void EnableDynamicEnumFailMessage(bool enable) noexcept;
/// Unless `ok`, or the message is off: shows "Failed Dynamic Enum:<subject>, Context:<context>, Line:<line>" in a modal
/// message box and returns when it is closed. Null texts count as empty. Thread-safe.
QVLIB_API void FailMessage(bool ok, wchar_t const * subject, wchar_t const * context, int line);

class QVLIB_API CTLDynamicEnumMetadata
{
public:
    using ValuePtr = std::shared_ptr<CTLEnumValueDefinition const>;
    using Values = std::vector<ValuePtr>;

    /// What FindValue takes a text for.
    enum Find
    {
        ByDisplay = 0,
        ByName = 1
    };

    CTLDynamicEnumMetadata();
    CTLDynamicEnumMetadata(CTLDynamicEnumMetadata const &);
    CTLDynamicEnumMetadata(CTLDynamicEnumMetadata &&) noexcept;
    CTLDynamicEnumMetadata & operator=(CTLDynamicEnumMetadata const &);
    CTLDynamicEnumMetadata & operator=(CTLDynamicEnumMetadata &&) noexcept;
    ~CTLDynamicEnumMetadata();

    /// Deep: name, default and values; the filter keys play no part.
    bool operator==(CTLDynamicEnumMetadata const & other) const;

    std::wstring const & GetName() const noexcept { return m_name; }
    /// In declared order.
    Values const & GetValues() const noexcept { return m_values; }
    /// Null when there is none.
    ValuePtr const & GetDefault() const noexcept { return m_default; }
    /// Every filter key that a value has; null when there is none.
    std::shared_ptr<std::set<std::wstring>> const & GetFilterKeys() const noexcept { return m_filterKeys; }
    bool IsEmpty() const noexcept { return m_values.empty(); }

    /// Stored unchecked.
    void SetDefault(ValuePtr value) noexcept { m_default = std::move(value); }
    /// Adds to the filter keys, which copies share.
    void SetFilterKey(std::wstring key);
    /// Appends the value, or drops it when one of that name is there. Null throws unexpected_error.
    void AddValue(ValuePtr value);

    /// The first value of that name, display (in any context) or code; null when there is none. Null text is empty.
    ValuePtr FindName(std::wstring const & name) const noexcept;
    ValuePtr FindName(wchar_t const * name) const noexcept;
    ValuePtr FindDisplay(std::wstring const & display) const noexcept;
    ValuePtr FindDisplay(wchar_t const * display) const noexcept;
    ValuePtr FindCode(int code) const noexcept;
    /// An id is a code, a name is a name.
    ValuePtr FindValue(NameOrIdView key) const noexcept;
    /// A String is a name or a display, as `find` says; an Int is a code; any other tag finds nothing.
    ValuePtr FindValue(Find find, CGenericVal const & value) const;
    /// The first value; unexpected_error when there is none.
    ValuePtr First() const;
    /// The first value, or the default when there is none, which may be null.
    ValuePtr FirstOrDefault() const noexcept;
    /// The position of that very object; 4294967295 when it is not among the values.
    unsigned int GetIndexOfValue(ValuePtr const & value) const noexcept;
    unsigned int GetIndexOfValue(NameOrIdView key) const noexcept;
    /// The first value whose custom attribute is exactly `value`; null when there is none.
    ValuePtr GetValueDefinitionByAttribute(std::wstring const & attribute, std::wstring const & value) const;

    /// Reporting conversions: a look-up that fails is reported, and the result is 0 or the empty text. Texts are valid
    /// as long as the value is.
    std::wstring const & CodeToName(int code) const;
    std::wstring const & CodeToDisplay(int code) const;
    int NameToCode(std::wstring const & name) const;
    int NameToCode(wchar_t const * name) const;
    std::wstring const & NameToDisplay(std::wstring const & name) const;
    std::wstring const & NameToDisplay(wchar_t const * name) const;
    int DisplayToCode(std::wstring const & display) const;
    int DisplayToCode(wchar_t const * display) const;
    std::wstring const & DisplayToName(std::wstring const & display) const;
    std::wstring const & DisplayToName(wchar_t const * display) const;
    /// Of the value found, else of the default, else of the first value; reports only when there is none of these.
    std::wstring const & NameToDisplayOrDefault(std::wstring const & name) const;
    std::wstring const & DisplayToNameOrDefault(wchar_t const * display) const;

    /// Silent conversions: whether it was found, and the result. The first two take a name, then a display, and give
    /// the default's code or name with false (TryToName without `useDefault`: the text itself). Where there is no
    /// default to give they throw unexpected_error.
    std::pair<bool, int> TryToCode(std::wstring const & text) const;
    std::pair<bool, int> TryToCode(wchar_t const * text) const;
    std::pair<bool, std::wstring> TryToName(std::wstring const & text, bool useDefault) const;
    std::pair<bool, std::wstring> TryToName(wchar_t const * text, bool useDefault) const;
    std::pair<bool, int> TryDisplayToCode(std::wstring const & display) const;
    std::pair<bool, std::wstring> TryDisplayToName(std::wstring const & display) const;
    std::pair<bool, std::wstring> TryNameOrCodeToDisplay(NameOrIdView key) const;

    /// An enum of the values named in the comma-separated list, in the list's order, the first of them its default.
    /// Unknown names are passed over; null when none is known.
    std::shared_ptr<CTLDynamicEnumMetadata> CreateSupportedMetadata(std::wstring const & names) const;
    std::shared_ptr<CTLDynamicEnumMetadata> CreateSupportedMetadata(wchar_t const * names) const;
    /// An enum of the values that no property of `criteria` excludes. The default stays, excluded or not. A property
    /// with an id for a key throws unexpected_error.
    std::shared_ptr<CTLDynamicEnumMetadata> Filter(Settings const & criteria) const;
    /// Takes the name and the values of a list whose tokens read "name,display,code"; a missing code is the token's
    /// number. A value that is there keeps its display and code. With a filter key, each value listed gets the filter.
    /// The first value becomes the default.
    void FromDelimitedString(wchar_t const * name, CDelimitedString const & items, std::wstring const & filterKey,
                             std::wstring const & filterValue);

    /// False, and nothing changed, when the element is no "DynamicEnum".
    bool FromXml(XmlElement const & element);
    /// Filters and overrides are not written.
    std::shared_ptr<XmlElement> ToXml() const;

private:
    friend class CTLDynamicConcept;
    friend class CTLDynamicEnum;

    // Where the value stands in the list; null when there is none.
    QVLIB_LOCAL ValuePtr const * FindNamePosition(std::wstring_view name) const noexcept;
    QVLIB_LOCAL ValuePtr const * FindDisplayPosition(std::wstring_view display) const noexcept;
    QVLIB_LOCAL ValuePtr const * FindCodePosition(int code) const noexcept;
    QVLIB_LOCAL ValuePtr const * FindValuePosition(NameOrIdView key) const noexcept;
    QVLIB_LOCAL ValuePtr const * FindValuePosition(Find find, CGenericVal const & value) const;
    QVLIB_LOCAL void Append(ValuePtr && value);
    QVLIB_LOCAL void TakeFilterKeys(CTLEnumValueDefinition const & value);
    QVLIB_LOCAL CTLEnumValueDefinition const & DefaultOrThrow() const;

    std::wstring m_name;
    Values m_values;
    ValuePtr m_default;
    std::shared_ptr<std::set<std::wstring>> m_filterKeys;
    detail::LazyIndex m_byName;
    detail::LazyIndex m_byDisplay;
    detail::LazyIndex m_byCode;
    detail::LazyIndex m_byAddress;
};

} // namespace qvlib

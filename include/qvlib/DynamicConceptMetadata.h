// CTLDynamicConceptMetadata: the shape of a dynamic concept, a record whose fields are data.
//
// A shape is a list of fields in declared order. One of them may be the selector: a field of a dynamic enum type each
// value of which names an option of the concept, and for each option the shape lists required and optional fields. The
// library records these lists and answers questions about them; it enforces nothing.
//
//     auto shape = std::make_shared<qvlib::CTLDynamicConceptMetadata>();
//     shape->FromXml(*qvlib::XmlParser::Load(text));
//     for (auto const & kind : enums)
//         shape->BindFieldMetadata(kind); // makes "DynamicEnums.<name>" fields enum fields
//     qvlib::CTLDynamicConcept record(shape);
//
// What a reader may not expect: fields are found in declared order and the first match wins; a search for id 0 finds
// the first field without an id; required fields are asked for by a field's own key, its id where it has one. Look-ups
// take time that does not grow with the number of fields.
//
// A shape is filled, bound to its enums, and then shared as std::shared_ptr to const; whoever loads it owns it. Copies
// share the field definitions, so a copy shows a later binding of its source.
//
// Thread rule: thread-compatible; FromXml and BindFieldMetadata must be done before the shape is shared.
#pragma once

#include "qvlib/FieldDefinition.h"
#include "qvlib/NameOrId.h"
#include "qvlib/detail/LazyIndex.h"
#include "qvlib/export.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace qvlib
{

namespace internal
{
struct KeyIndex;
}

class QVLIB_API CTLDynamicConceptMetadata
{
public:
    using FieldPtr = std::shared_ptr<CTLFieldDefinition const>;
    using Fields = std::vector<FieldPtr>;

    /// No name, no fields, no selector.
    CTLDynamicConceptMetadata();
    CTLDynamicConceptMetadata(CTLDynamicConceptMetadata const &);
    CTLDynamicConceptMetadata(CTLDynamicConceptMetadata &&) noexcept;
    CTLDynamicConceptMetadata & operator=(CTLDynamicConceptMetadata const &);
    CTLDynamicConceptMetadata & operator=(CTLDynamicConceptMetadata &&) noexcept;
    ~CTLDynamicConceptMetadata();

    /// Deep: name, fields, selector, the lists of the options and the common required fields.
    bool operator==(CTLDynamicConceptMetadata const & other) const;

    std::wstring const & GetName() const noexcept { return m_name; }
    /// In declared order.
    Fields const & GetFields() const noexcept { return m_fields; }
    /// The fields that are required whatever the option.
    Fields const & GetCommonRequiredFields() const noexcept { return m_commonRequiredFields; }
    /// Neither fields nor common required fields.
    bool IsEmpty() const noexcept { return m_fields.empty() && m_commonRequiredFields.empty(); }

    /// The first field of that id or of exactly that name; null when there is none. Id 0 finds the first field without
    /// an id.
    FieldPtr FindField(NameOrIdView key) const noexcept;
    /// As FindField, but unexpected_error when there is none.
    FieldPtr GetField(NameOrIdView key) const;
    bool HasField(NameOrIdView key) const noexcept;
    /// The field's id; unexpected_error when there is no such field or it has no id.
    unsigned int IdOfName(NameOrIdView key) const;
    /// The field's name; unexpected_error when there is no such field or it has no name.
    std::wstring const & NameOfId(NameOrIdView key) const;

    /// Null when the concept has none.
    FieldPtr const & GetSelector() const noexcept { return m_selector; }
    /// Null when there is no selector or it is not bound.
    std::shared_ptr<CTLDynamicEnumMetadata const> const & GetSelectorTypeMetadata() const noexcept;

    /// Whether the option's required list holds a field of that very key: a field that has an id is asked for by its
    /// id, and by its name the answer is false. The common required fields play no part.
    bool IsRequiredField(NameOrIdView field, std::wstring const & option) const noexcept;
    bool IsRequiredField(NameOrIdView field, wchar_t const * option) const noexcept;
    /// The option's optional fields; null when the option has no such list.
    std::shared_ptr<Fields const> GetOptionalFields(std::wstring const & option) const noexcept;
    std::shared_ptr<Fields const> GetOptionalFields(wchar_t const * option) const noexcept;

    /// Binds every field of the type "DynamicEnums.<name>", matched exactly, to the enum. Whether there was one. The
    /// change shows through every holder of those fields.
    bool BindFieldMetadata(std::shared_ptr<CTLDynamicEnumMetadata const> const & metadata);

    /// A concept that knows only the options named in the comma-separated list, with an enum restricted likewise; the
    /// other fields are shared. It has no common required fields. Null when there is no bound selector, or none of the
    /// names exists.
    std::shared_ptr<CTLDynamicConceptMetadata> CreateSupportedMetadata(std::wstring const & supportedNames) const;
    std::shared_ptr<CTLDynamicConceptMetadata> CreateSupportedMetadata(wchar_t const * supportedNames) const;

    /// False when the element is no "DynamicConcept". What the document does not mention stays as it was. A malformed
    /// selector throws unexpected_error, and what was read so far stays.
    bool FromXml(XmlElement const & element);
    /// The common required fields, and options that have optional fields only, are not written.
    std::shared_ptr<XmlElement> ToXml() const;

protected:
    /// Appends the field of that name to a list of the option. An unknown name is passed over; duplicates are kept.
    void AddRelation(std::wstring const & option, std::wstring const & fieldName, bool required);

    /// The readers of the XML form. unexpected_error for an element of another name.
    void ParseFields(XmlElement const & element);
    void ParseSelector(XmlElement const & element);
    void ParseSelectorOption(XmlElement const & element);
    void ParseCommonRequiredFields(XmlElement const & element);

private:
    friend class CTLDynamicConcept;
    friend class DynamicConceptMetadataBuilder;

    // A list of an option. Documents state far more of them than anybody asks for: until then a list is positions only.
    class Relation
    {
    public:
        Fields const & All() const noexcept
        {
            if (m_incomplete.load(std::memory_order_acquire))
                Complete();
            return m_fields;
        }
        QVLIB_LOCAL void Append(FieldPtr const & field);
        // Makes room in a new list.
        QVLIB_LOCAL void Expect(std::size_t count);
        // Fields by their positions in a list that stays as it is.
        QVLIB_LOCAL void Append(std::shared_ptr<Fields const> const & owner, std::uint32_t const * positions,
                                std::size_t count);

        detail::LazyIndex keys;

    private:
        QVLIB_LOCAL void Complete() const noexcept;

        mutable Fields m_fields; // all or none, with room for all
        mutable std::vector<std::uint32_t> m_positions;
        mutable std::shared_ptr<Fields const> m_owner;
        mutable std::atomic<bool> m_incomplete{false};
    };
    using Relations = std::map<std::wstring, std::shared_ptr<Relation>, std::less<>>;

    QVLIB_LOCAL static bool Equal(Relations const & a, Relations const & b);
    QVLIB_LOCAL static std::shared_ptr<Fields const> FieldsOf(Relations const & relations,
                                                              std::wstring_view option) noexcept;
    QVLIB_LOCAL bool IsRequired(NameOrIdView field, std::wstring_view option) const noexcept;

    QVLIB_LOCAL void AppendField(FieldPtr && field);
    QVLIB_LOCAL void AddRelations(Relations & relations, std::wstring const & option, std::wstring const & list);
    QVLIB_LOCAL internal::KeyIndex const * FieldIndex() const noexcept;
    // Where the field stands in the list; null when there is none.
    QVLIB_LOCAL FieldPtr const * FindFieldPosition(NameOrIdView key) const noexcept;

    std::wstring m_name;
    Fields m_fields;
    Fields m_commonRequiredFields;
    FieldPtr m_selector;
    Relations m_requiredFields;
    Relations m_optionalFields;
    // A copy of m_fields for the positions in the lists of the options; null until a list is read.
    std::shared_ptr<Fields const> m_listOwner;
    detail::LazyIndex m_byKey;
    detail::LazyIndex m_byType;
};

} // namespace qvlib

// CTLFieldDefinition: one field of a dynamic concept: its name, id, type and free-form attributes.
//
// The type is text: the name of a VarType, or "DynamicEnums." and the name of a dynamic enum, or empty. Id 0 means that
// the field has no id. Definitions are shared between metadata objects and never change once shared, but for the
// binding to an enum, which happens after loading (CTLDynamicConceptMetadata::BindFieldMetadata).
//
//     for (auto const & field : metadata->GetFields())
//         if (auto const format = field->GetAttribute(L"Format"); format.HasValue())
//             Show(field->GetName(), *format.GetValue());
//
// Thread rule: thread-compatible.
#pragma once

#include "qvlib/NameOrId.h"
#include "qvlib/NullableValue.h"
#include "qvlib/VarType.h"
#include "qvlib/detail/LazyIndex.h"
#include "qvlib/export.h"

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <string>

namespace qvlib
{

class CTLDynamicConcept;
class CTLDynamicConceptMetadata;
class CTLDynamicEnumMetadata;
class XmlElement;

class QVLIB_API CTLFieldDefinition
{
public:
    CTLFieldDefinition();
    /// Copies share the enum metadata and the attributes.
    CTLFieldDefinition(CTLFieldDefinition const &);
    CTLFieldDefinition(CTLFieldDefinition &&) noexcept;
    CTLFieldDefinition & operator=(CTLFieldDefinition const &);
    CTLFieldDefinition & operator=(CTLFieldDefinition &&) noexcept;
    ~CTLFieldDefinition();

    /// Deep: name, id, type, enum metadata and attributes.
    bool operator==(CTLFieldDefinition const & other) const;

    std::wstring const & GetName() const noexcept { return m_name; }
    /// 0 when the field has none.
    unsigned int GetId() const noexcept { return m_id; }
    /// As written; empty when the field has none.
    std::wstring const & GetType() const noexcept { return m_type; }
    /// Null unless the field is bound to an enum.
    std::shared_ptr<CTLDynamicEnumMetadata const> const & GetTypeMetadata() const noexcept { return m_typeMetadata; }

    bool HasName() const noexcept { return !m_name.empty(); }
    bool HasId() const noexcept { return m_id != 0; }
    bool HasType() const noexcept { return !m_type.empty(); }
    bool HasTypeMetadata() const noexcept { return m_typeMetadata != nullptr; }
    /// Whether there is one at least.
    bool HasAttributes() const noexcept { return m_attributes != nullptr && !m_attributes->empty(); }
    /// Whether there is an attribute of exactly that name.
    bool HasAttribute(std::wstring const & name) const;
    /// Points into the definition, or holds nothing.
    NullableValue<std::wstring const *> GetAttribute(std::wstring const & name) const;

    /// The id where there is one, otherwise the name.
    NameOrId GetKey() const;

    /// Binds the field, in place of an earlier binding; null unbinds it.
    void SetTypeMetadata(std::shared_ptr<CTLDynamicEnumMetadata const> metadata) noexcept;

    /// False, and nothing changed, when the element is no "Field".
    bool FromXml(XmlElement const & element);
    /// The three attributes that every field has, empty ones too, then the free-form ones.
    std::shared_ptr<XmlElement> ToXml() const;

private:
    friend class CTLDynamicConcept;
    friend class CTLDynamicConceptMetadata;
    friend class DynamicConceptMetadataBuilder;

    static constexpr std::int32_t kTypeNotParsed = -1;
    // What the type text parses to, kept once known. A copy parses anew.
    class ParsedType
    {
    public:
        ParsedType() = default;
        ParsedType(ParsedType const &) noexcept {}
        ParsedType & operator=(ParsedType const &) noexcept
        {
            Set(kTypeNotParsed);
            return *this;
        }
        std::int32_t Get() const noexcept { return m_tag.load(std::memory_order_relaxed); }
        // Relaxed: every thread that parses stores the same.
        void Set(std::int32_t tag) const noexcept { m_tag.store(tag, std::memory_order_relaxed); }

    private:
        mutable std::atomic<std::int32_t> m_tag{kTypeNotParsed};
    };

    QVLIB_LOCAL VarType ParsedTypeOfText() const;
    QVLIB_LOCAL void BindTypeMetadata(std::shared_ptr<CTLDynamicEnumMetadata const> const & metadata) const noexcept;

    std::wstring m_name;
    std::wstring m_type;
    // Binding reaches through the shared pointers to const that everyone else holds.
    mutable std::shared_ptr<CTLDynamicEnumMetadata const> m_typeMetadata;
    std::shared_ptr<std::map<std::wstring, std::wstring>> m_attributes;
    std::uint32_t m_id = 0;
    ParsedType m_parsedType;
    detail::DefinitionMark m_mark;
};

} // namespace qvlib

#include "qvlib/FieldDefinition.h"

#include "qvlib/DynamicEnumMetadata.h"

namespace qvlib
{

CTLFieldDefinition::CTLFieldDefinition() = default;
CTLFieldDefinition::CTLFieldDefinition(CTLFieldDefinition const &) = default;
CTLFieldDefinition::CTLFieldDefinition(CTLFieldDefinition &&) noexcept = default;
CTLFieldDefinition & CTLFieldDefinition::operator=(CTLFieldDefinition const &) = default;
CTLFieldDefinition & CTLFieldDefinition::operator=(CTLFieldDefinition &&) noexcept = default;
CTLFieldDefinition::~CTLFieldDefinition() = default;

bool CTLFieldDefinition::operator==(CTLFieldDefinition const & other) const
{
    if (m_name != other.m_name || m_id != other.m_id || m_type != other.m_type)
        return false;
    if (m_typeMetadata != other.m_typeMetadata &&
        (m_typeMetadata == nullptr || other.m_typeMetadata == nullptr || !(*m_typeMetadata == *other.m_typeMetadata)))
        return false;
    if (HasAttributes() != other.HasAttributes())
        return false;
    return !HasAttributes() || m_attributes == other.m_attributes || *m_attributes == *other.m_attributes;
}

bool CTLFieldDefinition::HasAttribute(std::wstring const & name) const
{
    return m_attributes != nullptr && m_attributes->contains(name);
}

NullableValue<std::wstring const *> CTLFieldDefinition::GetAttribute(std::wstring const & name) const
{
    if (m_attributes != nullptr)
        if (auto const found = m_attributes->find(name); found != m_attributes->end())
            return &found->second;
    return {};
}

NameOrId CTLFieldDefinition::GetKey() const { return m_id != 0 ? NameOrId(m_id) : NameOrId(m_name); }

void CTLFieldDefinition::SetTypeMetadata(std::shared_ptr<CTLDynamicEnumMetadata const> metadata) noexcept
{
    m_typeMetadata = std::move(metadata);
}

void CTLFieldDefinition::BindTypeMetadata(std::shared_ptr<CTLDynamicEnumMetadata const> const & metadata) const noexcept
{
    m_typeMetadata = metadata;
}

VarType CTLFieldDefinition::ParsedTypeOfText() const
{
    std::int32_t const known = m_parsedType.Get();
    if (known != kTypeNotParsed)
        return static_cast<VARENUM>(known);
    VarType type;
    type.Parse(m_type.c_str()); // throws for an enum that is not bound, every time
    m_parsedType.Set(static_cast<VARENUM>(type));
    return type;
}

} // namespace qvlib

#include "qvlib/DynamicConceptMetadataBuilder.h"

#include "qvlib/Exceptions.h"
#include "qvlib/TextFunctions.h"

#include <algorithm>

namespace qvlib
{

void DynamicConceptMetadataBuilder::Create() { m_metadata = std::make_shared<CTLDynamicConceptMetadata>(); }

CTLDynamicConceptMetadata & DynamicConceptMetadataBuilder::Held() const
{
    if (m_metadata == nullptr)
        throw unexpected_error();
    return *m_metadata;
}

void DynamicConceptMetadataBuilder::SetName(std::wstring const & name) { Held().m_name = name; }

void DynamicConceptMetadataBuilder::AddFieldDefinition(std::shared_ptr<CTLFieldDefinition const> && field)
{
    Held().AppendField(std::move(field));
}

void DynamicConceptMetadataBuilder::AddFieldDefinitions(FieldDefinition const * fields, unsigned int count)
{
    CTLDynamicConceptMetadata & metadata = Held();
    for (FieldDefinition const * entry = fields; entry != fields + count; ++entry)
    {
        auto field = std::make_shared<CTLFieldDefinition>();
        field->m_name = TLStringOrEmpty(entry->name);
        field->m_id = entry->id;
        field->m_type = TLStringOrEmpty(entry->type);
        metadata.AppendField(std::move(field));
    }
}

std::shared_ptr<CTLDynamicConceptMetadata const> DynamicConceptMetadataBuilder::Release() noexcept
{
    return std::move(m_metadata);
}

std::vector<DynamicConceptMetadataUtils::FieldPtr>
DynamicConceptMetadataUtils::GetFieldsCollection(CTLDynamicConceptMetadata const * metadata,
                                                 std::wstring const & attribute)
{
    std::vector<FieldPtr> result;
    if (metadata != nullptr)
        std::copy_if(metadata->GetFields().begin(), metadata->GetFields().end(), std::back_inserter(result),
                     [&](FieldPtr const & field) { return field->HasAttribute(attribute); });
    return result;
}

std::function<boost::optional<DynamicConceptMetadataUtils::FieldPtr>()>
DynamicConceptMetadataUtils::GetFields(CTLDynamicConceptMetadata const * metadata, std::wstring const & attribute)
{
    static CTLDynamicConceptMetadata::Fields const s_none;
    auto const & fields = metadata != nullptr ? metadata->GetFields() : s_none;
    return [at = fields.begin(), end = fields.end(), attribute]() mutable -> boost::optional<FieldPtr>
    {
        while (at != end)
        {
            FieldPtr const & field = *at++;
            if (field->HasAttribute(attribute))
                return field;
        }
        return {};
    };
}

} // namespace qvlib

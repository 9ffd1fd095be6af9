// DynamicConceptMetadataBuilder makes a concept's shape from code; DynamicConceptMetadataUtils selects fields by
// attribute.
//
//     static constexpr qvlib::DynamicConceptMetadataBuilder::FieldDefinition kFields[] = {
//         {L"Amount", 1, L"Double"}, {L"Note", 0, L"String"}};
//     qvlib::DynamicConceptMetadataBuilder builder;
//     builder.Create();
//     builder.SetName(L"Ticket");
//     builder.AddFieldDefinitions(kFields, 2);
//     std::shared_ptr<qvlib::CTLDynamicConceptMetadata const> shape = builder.Release();
//
// Thread rule: thread-compatible.
#pragma once

#include "qvlib/DynamicConceptMetadata.h"
#include "qvlib/export.h"

#include <boost/optional/optional.hpp>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace qvlib
{

/// Create, then SetName and the Add operations in any order, then Release. SetName and the Add operations throw
/// unexpected_error when nothing is held. Copies of a builder share the object under construction.
class QVLIB_API DynamicConceptMetadataBuilder
{
public:
    /// For static tables. Null texts count as empty, id 0 as none.
    struct FieldDefinition
    {
        wchar_t const * name;
        unsigned int id;
        wchar_t const * type;
    };

    /// Holds a new, empty shape; one held before is let go.
    void Create();
    void SetName(std::wstring const & name);
    void AddFieldDefinition(std::shared_ptr<CTLFieldDefinition const> && field);
    void AddFieldDefinitions(FieldDefinition const * fields, unsigned int count);
    /// Hands the shape over and holds nothing; null when nothing was held.
    std::shared_ptr<CTLDynamicConceptMetadata const> Release() noexcept;

private:
    CTLDynamicConceptMetadata & Held() const;

    std::shared_ptr<CTLDynamicConceptMetadata> m_metadata;
};

struct QVLIB_API DynamicConceptMetadataUtils
{
    using FieldPtr = std::shared_ptr<CTLFieldDefinition const>;

    /// All fields that have the attribute, matched exactly, in declared order. Null metadata has no fields.
    static std::vector<FieldPtr> GetFieldsCollection(CTLDynamicConceptMetadata const * metadata,
                                                     std::wstring const & attribute);
    /// The same fields one at a time: each call gives the next, and an empty optional when there are no more. A copy of
    /// the function goes on from where it was copied. The metadata must outlive the function and must not change.
    static std::function<boost::optional<FieldPtr>()> GetFields(CTLDynamicConceptMetadata const * metadata,
                                                                std::wstring const & attribute);
};

} // namespace qvlib

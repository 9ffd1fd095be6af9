#include "qvlib/DynamicConceptMetadata.h"

#include "concepts/internal/key_index.h"
#include "qvlib/DynamicEnumMetadata.h"
#include "qvlib/Exceptions.h"
#include "qvlib/TextFunctions.h"

#include <algorithm>
#include <cstdint>
#include <mutex>
#include <utility>

namespace qvlib
{

namespace
{

using internal::FirstMatchTable;
using internal::KeyIndex;
using internal::kNoPosition;
using internal::kWalkLimit;

// From a type's text to the chain of the fields that have it, in declared order.
struct TypeIndex final : detail::IndexBase
{
    explicit TypeIndex(std::size_t expected) : first(64), next(expected, kNoPosition) {}
    FirstMatchTable first;
    std::vector<std::uint32_t> next;
};

auto const kAny = [](std::uint32_t) { return true; };

std::wstring_view TextOrEmpty(wchar_t const * text) noexcept { return TLStringOrEmpty(text); }

} // namespace

CTLDynamicConceptMetadata::CTLDynamicConceptMetadata() = default;
CTLDynamicConceptMetadata::CTLDynamicConceptMetadata(CTLDynamicConceptMetadata const &) = default;
CTLDynamicConceptMetadata::CTLDynamicConceptMetadata(CTLDynamicConceptMetadata &&) noexcept = default;
CTLDynamicConceptMetadata & CTLDynamicConceptMetadata::operator=(CTLDynamicConceptMetadata const &) = default;
CTLDynamicConceptMetadata & CTLDynamicConceptMetadata::operator=(CTLDynamicConceptMetadata &&) noexcept = default;
CTLDynamicConceptMetadata::~CTLDynamicConceptMetadata() = default;

namespace
{

bool SameField(CTLDynamicConceptMetadata::FieldPtr const & a, CTLDynamicConceptMetadata::FieldPtr const & b)
{
    return a == b || (a != nullptr && b != nullptr && *a == *b);
}

bool SameFields(CTLDynamicConceptMetadata::Fields const & a, CTLDynamicConceptMetadata::Fields const & b)
{
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), SameField);
}

} // namespace

bool CTLDynamicConceptMetadata::Equal(Relations const & a, Relations const & b)
{
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](auto const & left, auto const & right)
                      {
                          return left.first == right.first &&
                                 (left.second == right.second || SameFields(left.second->All(), right.second->All()));
                      });
}

bool CTLDynamicConceptMetadata::operator==(CTLDynamicConceptMetadata const & other) const
{
    return m_name == other.m_name && SameFields(m_fields, other.m_fields) && SameField(m_selector, other.m_selector) &&
           Equal(m_requiredFields, other.m_requiredFields) && Equal(m_optionalFields, other.m_optionalFields) &&
           SameFields(m_commonRequiredFields, other.m_commonRequiredFields);
}

void CTLDynamicConceptMetadata::AppendField(FieldPtr && field)
{
    if (field == nullptr)
        throw unexpected_error();
    m_byKey.Drop();
    m_byType.Drop();
    m_listOwner.reset();
    m_fields.push_back(std::move(field));
}

// The index of the fields; null for a list that is walked, and when memory runs out.
internal::KeyIndex const * CTLDynamicConceptMetadata::FieldIndex() const noexcept
{
    if (m_fields.size() <= kWalkLimit)
        return nullptr;
    auto const sameNameAs = [this](std::wstring_view name)
    { return [this, name](std::uint32_t at) { return m_fields[at]->m_name == name; }; };
    return m_byKey.Get<KeyIndex>(
        [&](KeyIndex const & old)
        {
            for (std::uint32_t i = 0; i < m_fields.size(); ++i)
            {
                CTLFieldDefinition const & field = *m_fields[i];
                if (old.byId.FindNumber(FirstMatchTable::Tag(field.m_id)) > i ||
                    old.byName.Find(old.byName.Tag(field.m_name), sameNameAs(field.m_name)) > i ||
                    !old.IsKeptName(i, field.m_name))
                    return false;
            }
            return old.byId.All([&](std::uint32_t id, std::uint32_t at) { return m_fields[at]->m_id == id; });
        },
        [&]
        {
            auto made = std::make_unique<KeyIndex>(m_fields.size());
            for (std::uint32_t i = 0; i < m_fields.size(); ++i)
            {
                CTLFieldDefinition const & field = *m_fields[i];
                field.m_mark.Indexed();
                made->byId.Add(FirstMatchTable::Tag(field.m_id), i, kAny);
                made->byName.Add(made->byName.Tag(field.m_name), i, sameNameAs(field.m_name));
            }
            made->MakeDirect(m_fields.size());
            made->KeepNames(m_fields,
                            [](CTLFieldDefinition const & field) -> std::wstring const & { return field.m_name; });
            return made;
        });
}

CTLDynamicConceptMetadata::FieldPtr const *
CTLDynamicConceptMetadata::FindFieldPosition(NameOrIdView key) const noexcept
{
    if (KeyIndex const * const index = FieldIndex())
    {
        std::uint32_t const at =
            key.IsId() ? index->FindId(key.Id()) : index->FindKeptName(index->byName.Tag(key.Name()), key.Name());
        return at != kNoPosition ? &m_fields[at] : nullptr;
    }
    // The first match in declared order. Id 0 finds the first field that has no id: kept on purpose, callers depend on
    // it.
    for (FieldPtr const & field : m_fields)
        if (key.IsId() ? field->m_id == key.Id() : field->m_name == key.Name())
            return &field;
    return nullptr;
}

CTLDynamicConceptMetadata::FieldPtr CTLDynamicConceptMetadata::FindField(NameOrIdView key) const noexcept
{
    FieldPtr const * const found = FindFieldPosition(key);
    return found != nullptr ? *found : nullptr;
}

CTLDynamicConceptMetadata::FieldPtr CTLDynamicConceptMetadata::GetField(NameOrIdView key) const
{
    FieldPtr const * const found = FindFieldPosition(key);
    if (found == nullptr)
        throw unexpected_error();
    return *found;
}

unsigned int CTLDynamicConceptMetadata::IdOfName(NameOrIdView key) const
{
    FieldPtr const * const found = FindFieldPosition(key);
    if (found == nullptr || !(*found)->HasId())
        throw unexpected_error();
    return (*found)->GetId();
}

std::wstring const & CTLDynamicConceptMetadata::NameOfId(NameOrIdView key) const
{
    FieldPtr const * const found = FindFieldPosition(key);
    if (found == nullptr || !(*found)->HasName())
        throw unexpected_error();
    return (*found)->GetName();
}

std::shared_ptr<CTLDynamicEnumMetadata const> const &
CTLDynamicConceptMetadata::GetSelectorTypeMetadata() const noexcept
{
    static std::shared_ptr<CTLDynamicEnumMetadata const> const s_none;
    return m_selector != nullptr ? m_selector->m_typeMetadata : s_none;
}

bool CTLDynamicConceptMetadata::HasField(NameOrIdView key) const noexcept { return FindFieldPosition(key) != nullptr; }

bool CTLDynamicConceptMetadata::IsRequiredField(NameOrIdView field, std::wstring const & option) const noexcept
{
    return IsRequired(field, option);
}

bool CTLDynamicConceptMetadata::IsRequiredField(NameOrIdView field, wchar_t const * option) const noexcept
{
    return IsRequired(field, TextOrEmpty(option));
}

bool CTLDynamicConceptMetadata::IsRequired(NameOrIdView key, std::wstring_view option) const noexcept
{
    auto const relation = m_requiredFields.find(option);
    if (relation == m_requiredFields.end())
        return false;
    // A field that has an id is asked for by that id alone: kept on purpose, callers ask by the key in normal form.
    if (key.IsId() && key.Id() == 0)
        return false;
    Fields const & fields = relation->second->All();
    if (fields.size() > kWalkLimit)
    {
        auto const sameNameAs = [&fields](std::wstring_view name)
        { return [&fields, name](std::uint32_t at) { return fields[at]->m_name == name; }; };
        auto const * const index = relation->second->keys.Get<KeyIndex>(
            [&](KeyIndex const & old)
            {
                for (std::uint32_t i = 0; i < fields.size(); ++i)
                {
                    CTLFieldDefinition const & field = *fields[i];
                    if ((field.HasId() ? old.byId.FindNumber(FirstMatchTable::Tag(field.m_id))
                                       : old.byName.Find(old.byName.Tag(field.m_name), sameNameAs(field.m_name))) > i)
                        return false;
                }
                return old.byId.All([&](std::uint32_t id, std::uint32_t at) { return fields[at]->m_id == id; }) &&
                       old.byName.All([&](std::uint32_t, std::uint32_t at) { return !fields[at]->HasId(); });
            },
            [&]
            {
                auto made = std::make_unique<KeyIndex>(0);
                for (std::uint32_t i = 0; i < fields.size(); ++i)
                {
                    CTLFieldDefinition const & field = *fields[i];
                    field.m_mark.Indexed();
                    if (field.HasId())
                        made->byId.Add(FirstMatchTable::Tag(field.m_id), i, kAny);
                    else
                        made->byName.Add(made->byName.Tag(field.m_name), i, sameNameAs(field.m_name));
                }
                made->MakeDirect(fields.size());
                return made;
            });
        if (index != nullptr)
            return (key.IsId()
                        ? index->FindId(key.Id())
                        : index->byName.Find(index->byName.Tag(key.Name()), sameNameAs(key.Name()))) != kNoPosition;
    }
    return std::any_of(fields.begin(), fields.end(),
                       [&](FieldPtr const & field) {
                           return field->HasId() ? key.IsId() && key.Id() == field->m_id
                                                 : key.IsName() && key.Name() == field->m_name;
                       });
}

void CTLDynamicConceptMetadata::Relation::Append(FieldPtr const & field)
{
    All();
    keys.Drop();
    m_fields.push_back(field);
}

void CTLDynamicConceptMetadata::Relation::Expect(std::size_t count)
{
    m_fields.reserve(count);
    m_positions.reserve(count);
}

void CTLDynamicConceptMetadata::Relation::Append(std::shared_ptr<Fields const> const & owner,
                                                 std::uint32_t const * positions, std::size_t count)
{
    keys.Drop();
    if (m_owner != owner)
        All();
    std::size_t const size = m_fields.size() + m_positions.size() + count;
    if (size > m_fields.capacity())
        m_fields.reserve(std::max(size, 2 * m_fields.capacity()));
    if (!m_fields.empty())
    {
        for (std::size_t i = 0; i < count; ++i)
            m_fields.push_back((*owner)[positions[i]]);
        return;
    }
    m_positions.insert(m_positions.end(), positions, positions + count);
    m_owner = owner;
    m_incomplete.store(true, std::memory_order_relaxed);
}

void CTLDynamicConceptMetadata::Relation::Complete() const noexcept
{
    // One lock for all: a list is completed once in its life.
    static std::mutex s_completing;
    std::lock_guard const lock(s_completing);
    if (!m_incomplete.load(std::memory_order_relaxed))
        return;
    // There is room for all: no memory is asked for.
    for (std::uint32_t const position : m_positions)
        m_fields.push_back((*m_owner)[position]);
    std::vector<std::uint32_t>().swap(m_positions);
    m_owner.reset();
    // Release: whoever sees the list as complete sees all of it.
    m_incomplete.store(false, std::memory_order_release);
}

std::shared_ptr<CTLDynamicConceptMetadata::Fields const>
CTLDynamicConceptMetadata::FieldsOf(Relations const & relations, std::wstring_view option) noexcept
{
    auto const found = relations.find(option);
    if (found == relations.end())
        return nullptr;
    return {found->second, &found->second->All()};
}

std::shared_ptr<CTLDynamicConceptMetadata::Fields const>
CTLDynamicConceptMetadata::GetOptionalFields(std::wstring const & option) const noexcept
{
    return FieldsOf(m_optionalFields, option);
}

std::shared_ptr<CTLDynamicConceptMetadata::Fields const>
CTLDynamicConceptMetadata::GetOptionalFields(wchar_t const * option) const noexcept
{
    return FieldsOf(m_optionalFields, TextOrEmpty(option));
}

void CTLDynamicConceptMetadata::AddRelation(std::wstring const & option, std::wstring const & fieldName, bool required)
{
    FieldPtr const * const field = FindFieldPosition(fieldName);
    if (field == nullptr)
        return;
    Relations & relations = required ? m_requiredFields : m_optionalFields;
    if (auto const entry = relations.find(option); entry != relations.end())
        return entry->second->Append(*field);
    auto made = std::make_shared<Relation>();
    made->Append(*field);
    relations.emplace(option, std::move(made));
}

bool CTLDynamicConceptMetadata::BindFieldMetadata(std::shared_ptr<CTLDynamicEnumMetadata const> const & metadata)
{
    if (metadata == nullptr)
        return false;
    std::wstring const type = L"DynamicEnums." + metadata->GetName();
    auto const sameTypeAs = [this](std::wstring_view text)
    { return [this, text](std::uint32_t at) { return m_fields[at]->m_type == text; }; };
    if (m_fields.size() > kWalkLimit)
    {
        auto const * const index = m_byType.Get<TypeIndex>(
            // Made anew whenever some definition changed: binding has the exclusion of all readers.
            [](TypeIndex const &) { return false; },
            [&]
            {
                auto made = std::make_unique<TypeIndex>(m_fields.size());
                std::vector<std::uint32_t> last(m_fields.size());
                for (std::uint32_t i = 0; i < m_fields.size(); ++i)
                {
                    CTLFieldDefinition const & field = *m_fields[i];
                    field.m_mark.Indexed();
                    std::uint32_t const first =
                        made->first.Add(made->first.Tag(field.m_type), i, sameTypeAs(field.m_type));
                    if (first != i)
                        made->next[last[first]] = i;
                    last[first] = i;
                }
                return made;
            });
        if (index != nullptr)
        {
            std::uint32_t const first = index->first.Find(index->first.Tag(type), sameTypeAs(type));
            for (std::uint32_t at = first; at != kNoPosition; at = index->next[at])
                m_fields[at]->BindTypeMetadata(metadata);
            return first != kNoPosition;
        }
    }
    bool bound = false;
    for (FieldPtr const & field : m_fields)
        if (field->m_type == type)
        {
            field->BindTypeMetadata(metadata);
            bound = true;
        }
    return bound;
}

std::shared_ptr<CTLDynamicConceptMetadata>
CTLDynamicConceptMetadata::CreateSupportedMetadata(std::wstring const & supportedNames) const
{
    return CreateSupportedMetadata(supportedNames.c_str());
}

std::shared_ptr<CTLDynamicConceptMetadata>
CTLDynamicConceptMetadata::CreateSupportedMetadata(wchar_t const * supportedNames) const
{
    auto const & selectorEnum = GetSelectorTypeMetadata();
    if (selectorEnum == nullptr)
        return nullptr;
    std::shared_ptr<CTLDynamicEnumMetadata const> const restricted =
        selectorEnum->CreateSupportedMetadata(supportedNames);
    if (restricted == nullptr)
        return nullptr;
    // The common required fields are left behind: kept on purpose, callers rely on it.
    auto result = std::make_shared<CTLDynamicConceptMetadata>();
    result->m_name = m_name;
    result->m_fields = m_fields;
    auto selector = std::make_shared<CTLFieldDefinition>(*m_selector);
    selector->SetTypeMetadata(restricted);
    result->m_selector = selector;
    auto const named = std::find_if(result->m_fields.begin(), result->m_fields.end(),
                                    [&](FieldPtr const & field) { return field->m_name == selector->m_name; });
    if (named != result->m_fields.end())
        *named = result->m_selector;
    for (auto const & value : restricted->GetValues())
    {
        std::wstring const & option = value->GetName();
        if (auto const found = m_requiredFields.find(option); found != m_requiredFields.end())
            result->m_requiredFields.insert(*found);
        if (auto const found = m_optionalFields.find(option); found != m_optionalFields.end())
            result->m_optionalFields.insert(*found);
    }
    return result;
}

} // namespace qvlib

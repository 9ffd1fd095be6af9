#include "qvlib/DynamicConcept.h"

#include "concepts/internal/key_index.h"
#include "qvlib/Exceptions.h"
#include "qvlib/TextFunctions.h"

#include <algorithm>

namespace qvlib
{

namespace
{

// The room that a record takes at its first item: with a shape as far as that has so many fields, and without one.
constexpr std::size_t kFirstRoom = 32;
constexpr std::size_t kFirstRoomWithoutShape = 4;

} // namespace

CTLDynamicConcept::CTLDynamicConcept(MetadataPtr metadata) { SetMetadata(std::move(metadata)); }
CTLDynamicConcept::CTLDynamicConcept(CTLDynamicConcept const &) = default;
CTLDynamicConcept::CTLDynamicConcept(CTLDynamicConcept &&) noexcept = default;
CTLDynamicConcept & CTLDynamicConcept::operator=(CTLDynamicConcept const & other)
{
    if (&other != this)
        *this = CTLDynamicConcept(other);
    return *this;
}
CTLDynamicConcept & CTLDynamicConcept::operator=(CTLDynamicConcept &&) noexcept = default;
CTLDynamicConcept::~CTLDynamicConcept() = default;

void CTLDynamicConcept::ThrowUnexpected() { throw unexpected_error(); }

CTLDynamicConcept & CTLDynamicConcept::operator=(std::wstring const & selector)
{
    SetSelector(CGenericVal(selector.c_str()));
    return *this;
}

CTLDynamicConcept & CTLDynamicConcept::operator=(wchar_t const * selector)
{
    SetSelector(CGenericVal(selector));
    return *this;
}

CTLDynamicConcept & CTLDynamicConcept::operator=(int selector)
{
    SetSelector(CGenericVal(selector));
    return *this;
}

bool CTLDynamicConcept::operator==(CTLDynamicConcept const & other) const
{
    return m_items.size() == other.m_items.size() && m_selectorEnum == other.m_selectorEnum &&
           std::equal(m_items.begin(), m_items.end(), other.m_items.begin(),
                      [](Item const & a, Item const & b) { return a.first == b.first && a.second == b.second; }) &&
           (m_metadata == other.m_metadata ||
            (m_metadata != nullptr && other.m_metadata != nullptr && *m_metadata == *other.m_metadata));
}

bool CTLDynamicConcept::operator<(CTLDynamicConcept const & other) const
{
    return std::lexicographical_compare(m_items.begin(), m_items.end(), other.m_items.begin(), other.m_items.end(),
                                        [](Item const & a, Item const & b)
                                        { return a.first < b.first || (a.first == b.first && a.second < b.second); });
}

void CTLDynamicConcept::SetMetadata(MetadataPtr metadata) noexcept
{
    if (metadata == m_metadata)
        return;
    Reset();
    m_metadata = std::move(metadata);
    m_selectorEnum.SetMetadata(m_metadata != nullptr ? m_metadata->GetSelectorTypeMetadata() : nullptr);
}

bool CTLDynamicConcept::IsDefault() const
{
    if (m_items.empty())
        return true;
    return m_metadata != nullptr && m_metadata->GetSelectorTypeMetadata() != nullptr && m_selectorEnum.IsDefault();
}

void CTLDynamicConcept::Reset() noexcept
{
    m_selectorEnum.Reset();
    m_items.clear();
}

bool CTLDynamicConcept::Defines(NameOrIdView key) const noexcept
{
    return m_metadata == nullptr || m_metadata->HasField(key);
}

// The metadata's look-up, with the common case in line.
inline CTLDynamicConceptMetadata::FieldPtr const * CTLDynamicConcept::FindField(NameOrIdView key) const noexcept
{
    if (key.IsId())
        if (auto const * const index = static_cast<internal::KeyIndex const *>(m_metadata->m_byKey.Current()))
            if (key.Id() < index->direct.size())
            {
                std::uint32_t const at = index->direct[key.Id()];
                return at != internal::kNoPosition ? &m_metadata->m_fields[at] : nullptr;
            }
    return m_metadata->FindFieldPosition(key);
}

NameOrIdView CTLDynamicConcept::Normal(NameOrIdView key) const noexcept
{
    if (key.IsId() || m_metadata == nullptr)
        return key;
    CTLDynamicConceptMetadata::FieldPtr const * const field = m_metadata->FindFieldPosition(key);
    return field != nullptr && (*field)->HasId() ? NameOrIdView((*field)->GetId()) : key;
}

// The first position whose key does not sort before `key`.
std::size_t CTLDynamicConcept::LowerBound(NameOrIdView key) const noexcept
{
    std::size_t low = 0;
    std::size_t high = m_items.size();
    if (high == 0)
        return 0;
    if (key.IsId())
    {
        NameOrIdView const first(m_items.front().first);
        if (first.IsName() || first.Id() >= key.Id())
            return 0;
        // Ids ascend without repeats, so none stands farther from the first than its number is, and in a record whose
        // fields are numbered through it stands just there.
        low = 1;
        if (std::size_t const distance = key.Id() - first.Id(); distance < high)
        {
            if (key.Equals(m_items[distance].first))
                return distance;
            high = distance;
        }
    }
    if (high == m_items.size() && key.IsAfter(m_items.back().first))
        return high;
    while (low < high)
    {
        std::size_t const middle = low + (high - low) / 2;
        if (key.IsAfter(m_items[middle].first))
            low = middle + 1;
        else
            high = middle;
    }
    return low;
}

CTLDynamicConcept::const_iterator CTLDynamicConcept::FindItemPosition(NameOrIdView key) const noexcept
{
    std::size_t const at = LowerBound(key);
    return at < m_items.size() && key.Equals(m_items[at].first) ? m_items.begin() + static_cast<std::ptrdiff_t>(at)
                                                                : m_items.end();
}

CTLDynamicConcept::Item const * CTLDynamicConcept::FindItem(NameOrIdView key) const noexcept
{
    std::size_t const at = LowerBound(key);
    return at < m_items.size() && key.Equals(m_items[at].first) ? &m_items[at] : nullptr;
}

CGenericVal const * CTLDynamicConcept::FindSlow(NameOrIdView key) const noexcept
{
    if (m_items.empty())
        return nullptr;
    Item const * const item = FindItem(Normal(key));
    return item != nullptr ? &item->second : nullptr;
}

// Puts the value in place. The key and the value may live in the items: both are read before anything moves.
template <class Value>
void CTLDynamicConcept::Store(NameOrIdView key, Value && value)
{
    // Items often come in key order.
    if (!m_items.empty() && m_items.size() < m_items.capacity() && key.IsAfter(m_items.back().first))
    {
        if (key.IsId())
            m_items.emplace_back(key.Id(), std::forward<Value>(value));
        else
            m_items.emplace_back(std::wstring(key.Name()), std::forward<Value>(value));
        return;
    }
    std::size_t const at = LowerBound(key);
    if (at < m_items.size() && key.Equals(m_items[at].first))
    {
        if constexpr (std::is_lvalue_reference_v<Value>)
            if (value.GetType().IsUserDefined())
            {
                m_items[at].second = CGenericVal(value); // copying a closure may throw
                return;
            }
        m_items[at].second = std::forward<Value>(value);
        return;
    }
    Item item(key.ToKey(), std::forward<Value>(value));
    if (m_items.capacity() == 0)
        m_items.reserve(m_metadata != nullptr ? std::min(m_metadata->GetFields().size(), kFirstRoom)
                                              : kFirstRoomWithoutShape);
    m_items.insert(m_items.begin() + static_cast<std::ptrdiff_t>(at), std::move(item));
}

template <class Value>
bool CTLDynamicConcept::SetInField(CTLFieldDefinition const & field, bool isSelector, NameOrIdView key, Value && value)
{
    if (field.HasTypeMetadata())
    {
        CTLDynamicEnumMetadata::ValuePtr const * const definition =
            field.m_typeMetadata->FindValuePosition(CTLDynamicEnumMetadata::ByName, value);
        if (definition == nullptr)
            return false;
        Store(key, CGenericVal((*definition)->GetCode()));
        if (isSelector)
            m_selectorEnum = static_cast<CGenericVal const &>(value);
        return true;
    }
    if (field.HasType() && value.GetType().IsString())
        if (VarType const type = field.ParsedTypeOfText(); !type.IsString())
        {
            // Text that is no number gives 0, not a refusal, for Parse takes what the number's first characters give:
            // kept on purpose, callers depend on it. Empty text and text that is no date are refused.
            CGenericVal parsed;
            if (!parsed.Parse(value.GetString(), type))
                return false;
            Store(key, std::move(parsed));
            return true;
        }
    Store(key, std::forward<Value>(value));
    return true;
}

template <class Value>
bool CTLDynamicConcept::SetChecked(NameOrIdView key, Value && value)
{
    if (m_metadata == nullptr)
    {
        Store(key, std::forward<Value>(value));
        return true;
    }
    CTLDynamicConceptMetadata::FieldPtr const * const field = FindField(key);
    if (field == nullptr)
        return false;
    if (key.IsName() && (*field)->HasId())
        key = NameOrIdView((*field)->GetId());
    if (*field != m_metadata->m_selector)
    {
        if (!(*field)->HasTypeMetadata() && !value.GetType().IsString())
        {
            Store(key, std::forward<Value>(value));
            return true;
        }
        return SetInField(**field, false, key, std::forward<Value>(value));
    }
    // The selector starts a new record, before the value is looked at and also with the value that it has: kept on
    // purpose, callers depend on it.
    NameOrId const ownKey = key.ToKey();
    CGenericVal own(std::forward<Value>(value));
    Reset();
    return SetInField(**field, true, ownKey, std::move(own));
}

bool CTLDynamicConcept::SetItem(NameOrIdView key, CGenericVal const & value) { return SetChecked(key, value); }

bool CTLDynamicConcept::SetItem(NameOrIdView key, CGenericVal && value) { return SetChecked(key, std::move(value)); }

bool CTLDynamicConcept::Remove(NameOrIdView key)
{
    auto const position = FindItemPosition(Normal(key));
    if (position == m_items.end())
        return false;
    m_items.erase(position);
    return true;
}

CGenericVal const * CTLDynamicConcept::TryGetSelector() const noexcept
{
    if (m_metadata == nullptr || m_metadata->GetSelector() == nullptr)
        return nullptr;
    return Find(m_metadata->GetSelector()->GetName());
}

CGenericVal const & CTLDynamicConcept::GetSelector() const
{
    CGenericVal const * const value = TryGetSelector();
    if (value == nullptr)
        ThrowUnexpected();
    return *value;
}

void CTLDynamicConcept::SetSelector(CGenericVal const & value)
{
    if (m_metadata == nullptr || m_metadata->GetSelector() == nullptr ||
        !SetItem(m_metadata->GetSelector()->GetName(), value))
        ThrowUnexpected();
}

void CTLDynamicConcept::FromDisplay(std::wstring const & text) { FromDisplay(text.c_str()); }

void CTLDynamicConcept::FromDisplay(wchar_t const * text)
{
    if (m_metadata == nullptr || m_metadata->GetSelectorTypeMetadata() == nullptr)
        ThrowUnexpected();
    SetSelector(CGenericVal(m_metadata->GetSelectorTypeMetadata()->DisplayToName(text).c_str()));
}

unsigned int CTLDynamicConcept::IdOfName(NameOrIdView key) const
{
    if (key.IsId())
        return key.Id();
    if (m_metadata == nullptr)
        ThrowUnexpected();
    return m_metadata->IdOfName(key);
}

std::wstring CTLDynamicConcept::NameOfId(NameOrIdView key) const
{
    if (key.IsName())
        return std::wstring(key.Name());
    if (m_metadata == nullptr)
        ThrowUnexpected();
    return m_metadata->NameOfId(key);
}

bool CTLDynamicConcept::Merge(CTLDynamicConcept const & other)
{
    bool const sameShape =
        m_metadata == nullptr || (other.m_metadata != nullptr && m_metadata->GetName() == other.m_metadata->GetName());
    bool changed = false;
    if (sameShape)
    {
        changed = !(m_selectorEnum == other.m_selectorEnum);
        m_selectorEnum = other.m_selectorEnum;
    }
    for (Item const & item : other.m_items)
    {
        NameOrIdView target(item.first);
        if (!sameShape)
        {
            if (target.IsId())
            {
                auto const * const source =
                    other.m_metadata != nullptr ? other.m_metadata->FindFieldPosition(target) : nullptr;
                if (source == nullptr || !(*source)->HasName())
                    continue;
                target = NameOrIdView((*source)->GetName());
            }
            auto const * const field = m_metadata->FindFieldPosition(target);
            if (field == nullptr)
                continue;
            target = (*field)->HasId() ? NameOrIdView((*field)->GetId()) : NameOrIdView((*field)->GetName());
        }
        auto const position = FindItemPosition(Normal(target));
        if (position == m_items.end())
        {
            if (!SetItem(target, item.second))
                ThrowUnexpected();
            changed = true;
        }
        else if (!(position->second == item.second))
        {
            // Straight into the place, past all checks: kept on purpose, callers depend on it.
            m_items[static_cast<std::size_t>(position - m_items.begin())].second = item.second;
            changed = true;
        }
    }
    return changed;
}

CTLDynamicConcept::Item CTLDynamicConcept::PrepareForStoring(Item const & item) const
{
    if (m_metadata == nullptr)
        return item;
    auto const * const field = m_metadata->FindFieldPosition(item.first);
    if (field == nullptr)
        ThrowUnexpected();
    NameOrId key = item.first.IsId() ? NameOrId((*field)->GetName()) : item.first;
    if (!(*field)->HasTypeMetadata())
        return {std::move(key), item.second};
    return {std::move(key), CGenericVal((*field)->GetTypeMetadata()->CodeToName(item.second.GetInt()).c_str())};
}

} // namespace qvlib

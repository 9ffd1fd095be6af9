// The stored forms of records: archive and registry. Both hold names, never ids and codes.
#include "concepts/internal/archive_key.h"
#include "qvlib/Conversions.h"
#include "qvlib/DynamicConcept.h"
#include "qvlib/Exceptions.h"
#include "qvlib/Registry.h"

#include <algorithm>

namespace qvlib
{

namespace
{

constexpr unsigned int kRoomForCount = 64;

} // namespace

void CTLDynamicConcept::Serialize(CArchive & archive)
{
    if (archive.IsStoring())
        archive << internal::kRecordVersion;
    else
        internal::LoadVersion(archive);
    m_selectorEnum.Serialize(archive);
    SerializeFields(archive);
}

void CTLDynamicConcept::SerializeFields(CArchive & archive)
{
    if (archive.IsStoring())
    {
        archive << internal::kRecordVersion << static_cast<unsigned int>(m_items.size());
        for (Item const & item : m_items)
            StoreField(archive, item);
        return;
    }
    internal::LoadVersion(archive);
    unsigned int count;
    archive >> count;
    // The count is only what the archive says: room for more is taken as items arrive.
    m_items.reserve(m_items.size() + std::min(count, kRoomForCount));
    for (; count != 0; --count)
        LoadField(archive);
}

void CTLDynamicConcept::SerializeField(CArchive & archive, Item & item)
{
    if (archive.IsStoring())
    {
        StoreField(archive, item);
        return;
    }
    internal::LoadVersion(archive);
    item.first.Serialize(archive);
    item.second.Serialize(archive);
}

// Writes the pair of PrepareForStoring without making it.
void CTLDynamicConcept::StoreField(CArchive & archive, Item const & item) const
{
    archive << internal::kRecordVersion;
    NameOrIdView key(item.first);
    CGenericVal const * value = &item.second;
    CGenericVal name;
    if (m_metadata != nullptr)
    {
        auto const * const field = m_metadata->FindFieldPosition(key);
        if (field == nullptr)
            ThrowUnexpected();
        if (key.IsId())
            key = NameOrIdView((*field)->GetName());
        if ((*field)->HasTypeMetadata())
        {
            name = CGenericVal((*field)->GetTypeMetadata()->CodeToName(value->GetInt()).c_str());
            value = &name;
        }
    }
    internal::StoreKey(archive, key);
    const_cast<CGenericVal *>(value)->Serialize(archive); // storing changes nothing
}

// What the metadata does not know, or does not take, is dropped.
void CTLDynamicConcept::LoadField(CArchive & archive)
{
    internal::LoadVersion(archive);
    internal::LoadedText name;
    NameOrIdView const key = internal::LoadKey(archive, name);
    CGenericVal value;
    value.Serialize(archive);
    SetItem(key, std::move(value));
}

bool CTLDynamicConcept::SerializeRegistry(CRegistry & registry, bool store)
{
    if (store)
        StoreInRegistry(registry);
    else
        LoadFromRegistry(registry);
    return true;
}

void CTLDynamicConcept::StoreInRegistry(CRegistry & registry) const
{
    CQVString text;
    for (Item const & item : m_items)
    {
        Item stored = PrepareForStoring(item);
        wchar_t const * const name =
            stored.first.IsName() ? stored.first.GetName().c_str() : AsString(text, stored.first.GetId()).GetString();
        stored.second.SerializeRegistry(registry, name, VarType::Empty, true);
    }
}

void CTLDynamicConcept::LoadFromRegistry(CRegistry & registry)
{
    CQVString name;
    for (unsigned long index = 0; registry.EnumValue(index, name); ++index)
    {
        long id = 0;
        NameOrIdView const key = AsLong(name, id) ? NameOrIdView(static_cast<unsigned int>(id)) : NameOrIdView(name);
        VarType type = VarType::String;
        if (m_metadata != nullptr)
        {
            auto const * const field = m_metadata->FindFieldPosition(key);
            if (field == nullptr)
                continue;
            if (!(*field)->HasTypeMetadata() && (*field)->HasType())
                type = (*field)->ParsedTypeOfText();
        }
        CGenericVal value;
        if (value.SerializeRegistry(registry, name, type, false))
            SetItem(key, std::move(value));
    }
}

} // namespace qvlib

// CTLDynamicConcept: a record whose shape is data: a list of field values, sorted by key, checked and normalised
// against its metadata on the way in.
//
// A key is kept in its normal form: the field's id where it has one, otherwise the name. The value of an enum field is
// kept as its code (an Int), whether it was given by name or by code. Text given to a field of another type is parsed
// into that type. Without metadata everything is taken as it comes.
//
//     qvlib::CTLDynamicConcept ticket(shape);
//     ticket = L"Spot";                                     // writes the selector, which empties the record first
//     ticket.Set(L"Amount", qvlib::CGenericVal(L"12.5"));   // parsed into a Double
//     if (!ticket.TrySet(L"Currency", qvlib::CGenericVal(L"nosuch")))
//         ...                                               // unknown field, or a value that the field cannot hold
//     double amount = ticket.Get(L"Amount").GetDouble();
//
// What a reader may not expect: writing the selector empties the record, even with the value that it has and even when
// the write then fails; stored forms use field names and enum value names, never ids and codes, and so survive
// renumbering; reading adds to what is there and drops in silence what the metadata does not know.
//
// Arguments may live in the record itself. Thread rule: thread-compatible.
#pragma once

#include "qvlib/DynamicConceptMetadata.h"
#include "qvlib/DynamicEnum.h"
#include "qvlib/GenericVal.h"
#include "qvlib/NameOrId.h"
#include "qvlib/export.h"
#include "qvlib/framework/comutil.h"
#include "qvlib/host/properties.h"

#include <boost/optional/optional.hpp>

#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

class CArchive;

namespace qvlib
{

class CRegistry;

class QVLIB_API CTLDynamicConcept
{
public:
    using MetadataPtr = std::shared_ptr<CTLDynamicConceptMetadata const>;
    using Item = std::pair<NameOrId, CGenericVal>;
    using Items = std::vector<Item>;
    using const_iterator = Items::const_iterator;

    /// An empty record; the metadata may be null.
    CTLDynamicConcept(MetadataPtr metadata = nullptr);
    CTLDynamicConcept(CTLDynamicConcept const &);
    CTLDynamicConcept(CTLDynamicConcept &&) noexcept;
    CTLDynamicConcept & operator=(CTLDynamicConcept const &);
    CTLDynamicConcept & operator=(CTLDynamicConcept &&) noexcept;
    ~CTLDynamicConcept();

    /// SetSelector with the name or the code.
    CTLDynamicConcept & operator=(std::wstring const & selector);
    CTLDynamicConcept & operator=(wchar_t const * selector);
    CTLDynamicConcept & operator=(int selector);

    /// Deep: items, selector and metadata.
    bool operator==(CTLDynamicConcept const & other) const;
    /// The items alone, pair by pair.
    bool operator<(CTLDynamicConcept const & other) const;

    /// Null when the record has none.
    MetadataPtr const & GetMetadata() const noexcept { return m_metadata; }
    bool HasMetadata() const noexcept { return m_metadata != nullptr; }
    /// Empties the record, unless it is the metadata that the record has.
    void SetMetadata(MetadataPtr metadata) noexcept;
    /// Mirrors the selector's value.
    CTLDynamicEnum const & GetSelectorEnum() const noexcept { return m_selectorEnum; }

    /// The pairs of key and value in key order.
    const_iterator begin() const noexcept { return m_items.begin(); }
    const_iterator end() const noexcept { return m_items.end(); }
    std::size_t size() const noexcept { return m_items.size(); }
    /// std::out_of_range past the end.
    Item const & at(unsigned int position) const { return m_items.at(position); }
    /// No items; the selector's mirror is not looked at.
    bool IsEmpty() const noexcept { return m_items.empty(); }
    /// No items, or the selector stands on its default.
    bool IsDefault() const;
    /// Drops the items and the selector's value; the metadata stays.
    void Reset() noexcept;

    /// Whether the metadata has the field; without metadata, true.
    bool Defines(NameOrIdView key) const noexcept;
    bool Contains(unsigned int id) const noexcept { return Find(id) != nullptr; }
    bool Contains(std::wstring const & name) const noexcept { return Find(name) != nullptr; }
    bool Contains(wchar_t const * name) const noexcept { return Find(name) != nullptr; }
    bool Contains(CQVString const & name) const noexcept { return Find(name) != nullptr; }
    bool Contains(NameOrId const & key) const noexcept { return Find(key) != nullptr; }
    /// The value, by id or name; unexpected_error when there is none.
    CGenericVal const & Get(NameOrIdView key) const
    {
        if (CGenericVal const * const value = Find(key))
            return *value;
        ThrowUnexpected();
    }
    /// Null when there is none.
    CGenericVal const * TryGet(NameOrIdView key) const noexcept { return Find(key); }
    /// A copy of the value, or nothing. T is CGenericVal, or a type that CGenericVal::GetValue gives: then nothing also
    /// when the value has another tag.
    template <class T>
    boost::optional<T> TryGetItem(NameOrIdView key) const
    {
        boost::optional<T> result;
        if (CGenericVal const * const value = Find(key))
        {
            T copy{};
            if (value->GetValue(copy))
                result = std::move(copy);
        }
        return result;
    }

    /// Writes a value. False for a field that the metadata does not know, text that does not parse into the field's
    /// type, and an enum value that does not exist; unexpected_error for text given to a field whose type is no VarType
    /// (an unbound enum field). Nothing changes then, nor when memory runs out, except by a write to the selector,
    /// which has emptied the record.
    bool TrySet(NameOrIdView key, CGenericVal const & value) { return SetItem(key, value); }
    bool TrySet(NameOrIdView key, CGenericVal && value) { return SetItem(key, std::move(value)); }
    /// unexpected_error instead of false.
    void Set(NameOrIdView key, CGenericVal const & value)
    {
        if (!SetItem(key, value))
            ThrowUnexpected();
    }
    void Set(NameOrIdView key, CGenericVal && value)
    {
        if (!SetItem(key, std::move(value)))
            ThrowUnexpected();
    }
    /// Whether there was an item to remove. Removing the selector's item leaves GetSelectorEnum as it is.
    bool Remove(NameOrIdView key);

    /// The selector's value; unexpected_error when TryGetSelector gives null.
    CGenericVal const & GetSelector() const;
    /// Null without metadata, selector, or a value of it.
    CGenericVal const * TryGetSelector() const noexcept;
    /// Empties the record and starts a new one of that option. unexpected_error when there is no selector or no such
    /// value.
    void SetSelector(CGenericVal const & value);
    /// The same by display text.
    void FromDisplay(std::wstring const & text);
    void FromDisplay(wchar_t const * text);
    /// Of the selector's value or its default; unexpected_error when there is neither.
    int GetCode() const { return m_selectorEnum.GetCode(); }
    std::wstring const & GetName() const { return m_selectorEnum.GetName(); }
    std::wstring const & GetDisplay() const { return m_selectorEnum.GetDisplay(); }

    /// An id gives itself, unchecked; a name the field's id. unexpected_error when there is no metadata to ask, no such
    /// field, or it has no id.
    unsigned int IdOfName(NameOrIdView key) const;
    /// A name gives itself, unchecked; an id the field's name.
    std::wstring NameOfId(NameOrIdView key) const;

    /// Overlays `other` on this record; whether that changed anything. Between shapes of different names items travel
    /// by field name, and what this shape does not know is dropped. unexpected_error when a new item is refused; what
    /// was merged before it stays.
    bool Merge(CTLDynamicConcept const & other);

    /// The pair in its stored form: the field's name for an id, the enum value's name for its code. unexpected_error
    /// for a key that the metadata does not know.
    Item PrepareForStoring(Item const & item) const;

    /// The archive records {version, selector, fields}, {version, count, items}, {version, key, value}. Loading adds to
    /// what is there. A version above 1 raises the archive exception with cause badSchema.
    void Serialize(CArchive & archive);
    void SerializeFields(CArchive & archive);
    void SerializeField(CArchive & archive, Item & item);
    /// One text value for each item, named by its key. Loading passes over what does not fit and adds to what is there.
    /// Always true.
    bool SerializeRegistry(CRegistry & registry, bool store);

    /// The items as they are, ids and codes kept; null when there are none.
    _com_ptr_t<QRGenObjsLib::IQRProperties> ToProperties() const;
    /// Replaces the items; null leaves none. unexpected_error for a pair that is refused.
    void FromProperties(QRGenObjsLib::IQRProperties * properties);
    /// The properties as a VT_DISPATCH variant, or an empty variant when there are no items.
    _variant_t ToVariant() const;
    /// Takes an object that is or gives such properties; any other variant leaves no items.
    void FromVariant(tagVARIANT const & value);

protected:
    /// The normal form of a key.
    NameOrId GetItemKey(unsigned int id) const noexcept { return NameOrId(id); }
    NameOrId GetItemKey(std::wstring const & name) const { return Normal(name).ToKey(); }
    NameOrId GetItemKey(NameOrId const & key) const { return Normal(key).ToKey(); }
    /// By a key in normal form: the pair or null, the position or the end.
    Item const * FindItem(NameOrIdView key) const noexcept;
    const_iterator FindItemPosition(NameOrIdView key) const noexcept;
    /// The one way in for all writes.
    bool SetItem(NameOrIdView key, CGenericVal const & value);
    bool SetItem(NameOrIdView key, CGenericVal && value);

private:
    [[noreturn]] static void ThrowUnexpected();

    NameOrIdView Normal(NameOrIdView key) const noexcept;
    QVLIB_LOCAL std::size_t LowerBound(NameOrIdView key) const noexcept;
    // The value under a key in any form.
    CGenericVal const * Find(NameOrIdView key) const noexcept
    {
        // Ids ascend without repeats: in a record whose fields are numbered through, an id stands as far from the first
        // item as it differs from the first id.
        if (key.IsId() && !m_items.empty() && m_items.front().first.IsId())
        {
            std::size_t const distance = key.Id() - NameOrIdView(m_items.front().first).Id();
            if (distance < m_items.size() && key.Equals(m_items[distance].first))
                return &m_items[distance].second;
        }
        return FindSlow(key);
    }
    CGenericVal const * FindSlow(NameOrIdView key) const noexcept;
    template <class Value>
    QVLIB_LOCAL bool SetChecked(NameOrIdView key, Value && value);
    QVLIB_LOCAL CTLDynamicConceptMetadata::FieldPtr const * FindField(NameOrIdView key) const noexcept;
    template <class Value>
    QVLIB_LOCAL bool SetInField(CTLFieldDefinition const & field, bool isSelector, NameOrIdView key, Value && value);
    template <class Value>
    QVLIB_LOCAL void Store(NameOrIdView key, Value && value);
    QVLIB_LOCAL void StoreField(CArchive & archive, Item const & item) const;
    QVLIB_LOCAL void LoadField(CArchive & archive);
    QVLIB_LOCAL void StoreInRegistry(CRegistry & registry) const;
    QVLIB_LOCAL void LoadFromRegistry(CRegistry & registry);

    MetadataPtr m_metadata;
    CTLDynamicEnum m_selectorEnum;
    Items m_items;
};

} // namespace qvlib

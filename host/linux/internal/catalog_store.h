// Where the collections of the catalog keep their objects.
#pragma once

#include "host/linux/internal/owned_variant.h"
#include "qvlib/host/comadmin.h"

#include <memory>
#include <span>
#include <string>
#include <vector>

namespace qvlib::host
{

/// A property that the objects of a collection have.
struct CatalogProperty
{
    enum Flag : unsigned
    {
        kPlain = 0,
        kRequired = 1, ///< not saved without it
        kGuid = 2,     ///< an identifier in braces
        kChoice = 4,   ///< 0 or 1
        kKey = 8,      ///< what the object is found by; fixed once it is saved
    };

    wchar_t const * name;
    VARTYPE type; ///< VT_BSTR, VT_I4, VT_BOOL or VT_UNKNOWN
    unsigned flags = kPlain;
    LONG value = 0; ///< of a number or truth value that was never set
};

/// An object's properties, one for each of its collection's, VT_EMPTY where nothing was set.
struct CatalogRecord
{
    std::wstring key;
    std::vector<OwnedVariant> values;
};

/// The objects of one collection. Every call works on what is stored now. Throws std::bad_alloc only.
class CatalogStore
{
public:
    CatalogStore(CatalogStore const &) = delete;
    CatalogStore & operator=(CatalogStore const &) = delete;
    virtual ~CatalogStore() = default;

    std::span<CatalogProperty const> Properties() const noexcept { return m_properties; }
    /// The collection's name.
    wchar_t const * Name() const noexcept { return m_name; }
    /// The place of a property, or -1. Names are the platform's, without regard to case.
    int Find(wchar_t const * name) const noexcept;

    virtual HRESULT Keys(std::vector<std::wstring> & keys) const = 0;
    /// COMADMIN_E_KEYMISSING when there is no such object.
    virtual HRESULT Load(std::wstring const & key, CatalogRecord & record) const = 0;
    /// COMADMIN_E_APPLICATIONEXISTS when there is one with that key.
    virtual HRESULT Insert(CatalogRecord const & record) = 0;
    /// Writes the properties marked in `changed`.
    virtual HRESULT Update(CatalogRecord const & record, std::vector<bool> const & changed) = 0;
    virtual HRESULT Remove(std::wstring const & key) = 0;
    /// The collection of that name under an object, or null.
    virtual std::shared_ptr<CatalogStore> Related(wchar_t const * name, std::wstring const & key) const;

protected:
    CatalogStore(wchar_t const * name, std::span<CatalogProperty const> properties) noexcept
        : m_name(name), m_properties(properties)
    {
    }

private:
    wchar_t const * m_name;
    std::span<CatalogProperty const> m_properties;
};

/// The store of a collection of the catalog itself, or null when there is none of that name.
std::shared_ptr<CatalogStore> OpenCatalogStore(wchar_t const * name);

/// The one written form of an identifier in braces, by which objects are found. False for any other text: a key becomes
/// part of a path.
bool CatalogKey(wchar_t const * text, std::wstring & key);

/// A copy of a text as a variant's; E_OUTOFMEMORY.
HRESULT SetText(OwnedVariant & variant, std::wstring_view text);

} // namespace qvlib::host

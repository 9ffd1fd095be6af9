// The catalog of applications and event subscriptions: its three interfaces, over the registry.
//
// A collection is a snapshot that `Populate` or `PopulateByKey` takes. What is added, changed or removed in it stays in
// it until `SaveChanges` writes all of it and tells how many objects that were.
//
//     _com_ptr_t<ICOMAdminCatalog> catalog;
//     catalog.CreateInstance(CLSID_COMAdminCatalog);
//     IDispatch * found = nullptr;
//     catalog->GetCollection(_bstr_t(L"Applications"), &found);
//
// Applications, and the event classes installed in them, stand under HKEY_CURRENT_USER\Software\Component Catalog, so
// that every process of the user sees them. Transient subscriptions live as long as the process that made them, since
// the subscriber is an object of it. Properties beyond those listed at CLSID_COMAdminCatalog are refused.
//
// Of the platform's interfaces those operations stand here that work; the order of the slots is this system's own. All
// but the catalog object itself belong to one thread at a time. Any number of processes may use the catalog at once: a
// change is written property by property, an object appears and goes in one step.
#pragma once

#if defined(_WIN32)
#include <comadmin.h>
#else

#include "qvlib/host/variant.h"

// Result codes of this family.
constexpr HRESULT COMADMIN_E_OBJECTINVALID = static_cast<HRESULT>(0x80110402U);    ///< a property is missing or bad
constexpr HRESULT COMADMIN_E_KEYMISSING = static_cast<HRESULT>(0x80110403U);       ///< gone since it was read
constexpr HRESULT COMADMIN_E_ALREADYINSTALLED = static_cast<HRESULT>(0x80110404U); ///< the component is there
constexpr HRESULT COMADMIN_E_APPLICATIONEXISTS = static_cast<HRESULT>(0x8011040BU);
constexpr HRESULT COMADMIN_E_COMPFILE_DOESNOTEXIST = static_cast<HRESULT>(0x80110424U);
constexpr HRESULT COMADMIN_E_NOTCHANGEABLE = static_cast<HRESULT>(0x8011042AU); ///< see the property "Changeable"
constexpr HRESULT COMADMIN_E_NOTDELETEABLE = static_cast<HRESULT>(0x8011042BU); ///< see the property "Deleteable"
constexpr HRESULT COMADMIN_E_OBJECT_DOES_NOT_EXIST = static_cast<HRESULT>(0x80110809U);

/// One application, event class or subscription, as a list of properties.
struct ICatalogObject : IDispatch
{
    /// A copy of the property, empty when it was never set. E_INVALIDARG for a name that the collection does not know.
    virtual HRESULT STDMETHODCALLTYPE get_Value(BSTR name, VARIANT * value) = 0;
    /// Sets the property, converted to its kind. E_INVALIDARG for an unknown name, an identifier that is not one in
    /// braces, an "Activation" other than 0 or 1, or a null object; DISP_E_TYPEMISMATCH and its like for a value that
    /// cannot be converted; COMADMIN_E_NOTCHANGEABLE for the "ID" of an object that was saved.
    virtual HRESULT STDMETHODCALLTYPE put_Value(BSTR name, VARIANT value) = 0;
    /// What PopulateByKey finds the object by, a text.
    virtual HRESULT STDMETHODCALLTYPE get_Key(VARIANT * key) = 0;
    /// The property "Name".
    virtual HRESULT STDMETHODCALLTYPE get_Name(VARIANT * name) = 0;
    /// VARIANT_FALSE once the object was removed from its collection.
    virtual HRESULT STDMETHODCALLTYPE get_Valid(VARIANT_BOOL * valid) = 0;

protected:
    ~ICatalogObject() = default;
};

/// A list of such objects. Positions count from 0.
struct ICatalogCollection : IDispatch
{
    virtual HRESULT STDMETHODCALLTYPE get_Count(long * count) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Item(long position, IDispatch ** object) = 0;
    /// Appends a new object, under a key of its own.
    virtual HRESULT STDMETHODCALLTYPE Add(IDispatch ** object) = 0;
    /// Takes the object out of the list; SaveChanges takes it out of the catalog.
    virtual HRESULT STDMETHODCALLTYPE Remove(long position) = 0;
    /// Reads all objects anew. What was not saved is dropped.
    virtual HRESULT STDMETHODCALLTYPE Populate() = 0;
    /// The same with just the objects whose keys the array of VT_VARIANT or VT_BSTR holds; those that there are not are
    /// passed over.
    virtual HRESULT STDMETHODCALLTYPE PopulateByKey(SAFEARRAY * keys) = 0;
    /// Writes additions, changes and removals, and tells how many objects were written or removed. All are checked
    /// before the first is written.
    virtual HRESULT STDMETHODCALLTYPE SaveChanges(long * changes) = 0;
    /// The collection of that name that belongs to the object with that key: "Components" of an application.
    virtual HRESULT STDMETHODCALLTYPE GetCollection(BSTR name, VARIANT key, IDispatch ** collection) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Name(VARIANT * name) = 0;

protected:
    ~ICatalogCollection() = default;
};

/// The catalog itself.
struct ICOMAdminCatalog : IDispatch
{
    /// "Applications" or "TransientSubscriptions", without regard to case and not yet populated.
    /// COMADMIN_E_OBJECT_DOES_NOT_EXIST for another.
    virtual HRESULT STDMETHODCALLTYPE GetCollection(BSTR name, IDispatch ** collection) = 0;
    /// Records a file of event classes with an application, which its id or its name tells. `dll` or `typeLibrary` must
    /// name a file that exists. COMADMIN_E_ALREADYINSTALLED when the application has it.
    virtual HRESULT STDMETHODCALLTYPE InstallEventClass(BSTR application, BSTR dll, BSTR typeLibrary,
                                                        BSTR proxyStubDll) = 0;

protected:
    ~ICOMAdminCatalog() = default;
};

inline constexpr IID IID_ICatalogObject{0x6EB22871, 0x8A19, 0x11D0, {0x81, 0xB6, 0x00, 0xA0, 0xC9, 0x23, 0x1C, 0x29}};
inline constexpr IID IID_ICatalogCollection{
    0x6EB22872, 0x8A19, 0x11D0, {0x81, 0xB6, 0x00, 0xA0, 0xC9, 0x23, 0x1C, 0x29}};
inline constexpr IID IID_ICOMAdminCatalog{0xDD662187, 0xDFC2, 0x11D1, {0xA2, 0xCF, 0x00, 0x80, 0x5F, 0xC7, 0x92, 0x35}};

/// The class of the catalog, for CoCreateInstance. The properties of its objects, (r) for those that must be set before
/// the object is saved:
///  - Applications: ID, Name (r), Description, CommandLine, CreatedBy (texts), Activation (0 in the caller's process, 1
///    in its own), Changeable, Deleteable, IsEnabled (truth values).
///  - Components: ID, Name, DLL, TypeLibrary, ProxyStubDLL (texts), IsEventClass (truth value).
///  - TransientSubscriptions: ID, Name, Description, EventCLSID (r), InterfaceID, MethodName, PublisherID,
///    FilterCriteria, UserName (texts), Enabled, PerUser (truth values), SubscriberInterface (r, an object).
inline constexpr CLSID CLSID_COMAdminCatalog{
    0xF618C514, 0xDFB8, 0x11D1, {0xA2, 0xCF, 0x00, 0x80, 0x5F, 0xC7, 0x92, 0x35}};

template <>
inline constexpr IID qvlib::host::kInterfaceId<ICatalogObject> = IID_ICatalogObject;
template <>
inline constexpr IID qvlib::host::kInterfaceId<ICatalogCollection> = IID_ICatalogCollection;
template <>
inline constexpr IID qvlib::host::kInterfaceId<ICOMAdminCatalog> = IID_ICOMAdminCatalog;

#endif

// COMPlusAdminCatalog: writes to the catalog of applications and event subscriptions.
//
//     using qvlib::COMPlusAdminCatalog;
//     COMPlusAdminCatalog::CreateApplication(L"{8C1F3A52-0E6B-4F0C-9B7E-2D5A9E0B7C11}", L"Sampler", L"Takes samples");
//     qvlib::CQVString subscription;
//     if (COMPlusAdminCatalog::CreateTransientSubscription(subscriber, eventClassId, subscription) == 0)
//         COMPlusAdminCatalog::RemoveTransientSubscription(subscription);
//
// Each operation opens the catalog, acts, saves and lets go of everything; one that fails has saved nothing. Result
// codes are mostly compared with 0 exactly, so that a success code such as 1 counts as failure. Failures come back as
// codes; no memory for a text throws _com_error with E_OUTOFMEMORY. On the platform the calling thread must have
// entered an apartment. Thread-safe.
#pragma once

#include "qvlib/QVString.h"
#include "qvlib/Variant.h"
#include "qvlib/export.h"
#include "qvlib/framework/comutil.h"
#include "qvlib/host/comadmin.h"

namespace qvlib
{

class QVLIB_API COMPlusAdminCatalog
{
public:
    // `result` may be null, else it receives the code of the operation; after a failure the pointer is null.

    /// The catalog itself, opened.
    static _com_ptr_t<ICOMAdminCatalog> GetAdminCatalog(long * result);
    /// A collection of the catalog, not yet populated: "Applications", "TransientSubscriptions".
    static _com_ptr_t<ICatalogCollection> GetCatalogCollection(wchar_t const * name, long * result);
    /// The same of a catalog that is open; a null one is E_POINTER.
    static _com_ptr_t<ICatalogCollection> GetCatalogCollection(wchar_t const * name, ICOMAdminCatalog * catalog,
                                                               long * result);
    /// A new object of the collection, to be saved with it.
    static _com_ptr_t<ICatalogObject> AddCatalogObject(ICatalogCollection * collection, long * result);
    /// Sets a property. True when the code is 0 exactly.
    static bool SetCatalogObjectValue(ICatalogObject * object, wchar_t const * name, tagVARIANT const & value,
                                      long * result);
    static bool SetCatalogObjectValue(ICatalogObject * object, wchar_t const * name, qrvariant_t const & value,
                                      long * result);

    /// Adds a library application, one that runs in its caller's process. `id` is an identifier in braces.
    static long CreateApplication(wchar_t const * id, wchar_t const * name, wchar_t const * description);
    /// 1 when there is no application with that id.
    static long RemoveApplication(wchar_t const * id);
    /// Installs the event classes of a file in an application, told by id or name. Null texts are handed on as null.
    static long InstallEventClass(wchar_t const * application, wchar_t const * dll, wchar_t const * typeLibrary,
                                  wchar_t const * proxyStubDll);
    /// Subscribes an object to an event class. The key of the subscription is stored in `subscriptionId`; 0 also when
    /// it could not be read, which leaves the text.
    static long CreateTransientSubscription(IUnknown * subscriber, wchar_t const * eventClassId,
                                            CQVString & subscriptionId);
    /// 1 when there is no subscription with that key.
    static long RemoveTransientSubscription(wchar_t const * subscriptionId);
    /// Removes the object with that key from a collection. 1 when there is none.
    static long RemoveCatalogObject(wchar_t const * collection, wchar_t const * key);
};

} // namespace qvlib

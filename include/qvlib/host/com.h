// Identifiers, interfaces, byte streams and class objects of the platform's component model, within one process.
//
// The names, slot orders and result codes are the platform's. Two things differ from what its users know:
//  - an interface's id is found by type with `qvlib::host::kInterfaceId<Interface>`, since `__uuidof` is an extension
//    of one compiler; a new interface specialises that variable template;
//  - class objects live in this process only, and nothing here asks for a CoInitialize first: <qvlib/host/apartment.h>
//    has it for threads that wait and run messages meanwhile.
//
//     IStream * stream = SHCreateMemStream(nullptr, 0);
//     IUnknown * unknown = nullptr;
//     if (SUCCEEDED(stream->QueryInterface(qvlib::host::kInterfaceId<IUnknown>, reinterpret_cast<void **>(&unknown))))
//         unknown->Release();
//     stream->Release();
//
// Interface destructors are protected and not virtual: an object goes by its Release alone.
#pragma once

#if defined(_WIN32)
#include <objbase.h>
#include <shlwapi.h>

namespace qvlib::host
{
template <class Interface>
inline constexpr IID kInterfaceId = __uuidof(Interface);
}
#else

#include "qvlib/export.h"
#include "qvlib/host/types.h"
#include <cstring>

/// A 128-bit identifier. Its bytes in memory, the first three fields little-endian, are its stored form.
struct _GUID
{
    std::uint32_t Data1;
    std::uint16_t Data2;
    std::uint16_t Data3;
    std::uint8_t Data4[8];
};

using GUID = _GUID;
using IID = GUID;
using CLSID = GUID;
using REFGUID = GUID const &;
using REFIID = IID const &;
using REFCLSID = CLSID const &;

inline bool operator==(_GUID const & left, _GUID const & right) noexcept
{
    return std::memcmp(&left, &right, sizeof(_GUID)) == 0;
}

inline constexpr GUID GUID_NULL{};

using OLECHAR = wchar_t;
using LPOLESTR = OLECHAR *;
using LPCOLESTR = OLECHAR const *;
/// A counted string, see <qvlib/host/variant.h>.
using BSTR = OLECHAR *;
using DISPID = LONG;

// Result codes of this family.
constexpr HRESULT CLASS_E_NOAGGREGATION = static_cast<HRESULT>(0x80040110U);
constexpr HRESULT CLASS_E_NOTLICENSED = static_cast<HRESULT>(0x80040112U);
constexpr HRESULT REGDB_E_CLASSNOTREG = static_cast<HRESULT>(0x80040154U);
constexpr HRESULT CO_E_CLASSSTRING = static_cast<HRESULT>(0x800401F3U);
constexpr HRESULT DISP_E_UNKNOWNINTERFACE = static_cast<HRESULT>(0x80020001U);
constexpr HRESULT DISP_E_NONAMEDARGS = static_cast<HRESULT>(0x80020007U);
constexpr HRESULT DISP_E_EXCEPTION = static_cast<HRESULT>(0x80020009U);
constexpr HRESULT DISP_E_BADPARAMCOUNT = static_cast<HRESULT>(0x8002000EU);
constexpr HRESULT STG_E_INVALIDFUNCTION = static_cast<HRESULT>(0x80030001U);
constexpr HRESULT STG_E_INVALIDPOINTER = static_cast<HRESULT>(0x80030009U);
constexpr HRESULT STG_E_MEDIUMFULL = static_cast<HRESULT>(0x80030070U);

/// The root of every interface. Thread-safe as far as the reference count goes.
struct IUnknown
{
    /// Stores the interface `iid` of this object with a new reference, or null and E_NOINTERFACE.
    virtual HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void ** object) = 0;
    virtual ULONG STDMETHODCALLTYPE AddRef() = 0;
    /// Gives a reference back; the object ends with its last one. Returns how many remain.
    virtual ULONG STDMETHODCALLTYPE Release() = 0;

protected:
    ~IUnknown() = default;
};

/// What a stream tells of itself.
struct STATSTG
{
    LPOLESTR pwcsName; ///< from CoTaskMemAlloc, or null
    DWORD type;        ///< STGTY_STREAM
    ULARGE_INTEGER cbSize;
    FILETIME mtime;
    FILETIME ctime;
    FILETIME atime;
    DWORD grfMode;
    DWORD grfLocksSupported;
    CLSID clsid;
    DWORD grfStateBits;
    DWORD reserved;
};

constexpr DWORD STGTY_STREAM = 2;
constexpr DWORD STATFLAG_DEFAULT = 0;
constexpr DWORD STATFLAG_NONAME = 1;
constexpr DWORD STGM_READWRITE = 2;
constexpr DWORD STGC_DEFAULT = 0;
constexpr DWORD STREAM_SEEK_SET = 0;
constexpr DWORD STREAM_SEEK_CUR = 1;
constexpr DWORD STREAM_SEEK_END = 2;

/// Bytes in or out, one after the other.
struct ISequentialStream : IUnknown
{
    /// Reads up to `count` bytes. Fewer than asked for is S_FALSE or S_OK; `read` (may be null) tells how many came.
    virtual HRESULT STDMETHODCALLTYPE Read(void * buffer, ULONG count, ULONG * read) = 0;
    virtual HRESULT STDMETHODCALLTYPE Write(void const * buffer, ULONG count, ULONG * written) = 0;

protected:
    ~ISequentialStream() = default;
};

/// A stream with a position and a size.
struct IStream : ISequentialStream
{
    virtual HRESULT STDMETHODCALLTYPE Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER * position) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetSize(ULARGE_INTEGER size) = 0;
    virtual HRESULT STDMETHODCALLTYPE CopyTo(IStream * target, ULARGE_INTEGER count, ULARGE_INTEGER * read,
                                             ULARGE_INTEGER * written) = 0;
    virtual HRESULT STDMETHODCALLTYPE Commit(DWORD flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE Revert() = 0;
    virtual HRESULT STDMETHODCALLTYPE LockRegion(ULARGE_INTEGER offset, ULARGE_INTEGER count, DWORD type) = 0;
    virtual HRESULT STDMETHODCALLTYPE UnlockRegion(ULARGE_INTEGER offset, ULARGE_INTEGER count, DWORD type) = 0;
    virtual HRESULT STDMETHODCALLTYPE Stat(STATSTG * status, DWORD flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE Clone(IStream ** stream) = 0;

protected:
    ~IStream() = default;
};

struct tagVARIANT;
struct ITypeInfo;

/// The arguments of a late-bound call, the last one first.
struct DISPPARAMS
{
    tagVARIANT * rgvarg;
    DISPID * rgdispidNamedArgs;
    UINT cArgs;
    UINT cNamedArgs;
};

/// How a late-bound call failed. The strings belong to the caller.
struct EXCEPINFO
{
    WORD wCode;
    WORD wReserved;
    BSTR bstrSource;
    BSTR bstrDescription;
    BSTR bstrHelpFile;
    DWORD dwHelpContext;
    PVOID pvReserved;
    HRESULT(STDMETHODCALLTYPE * pfnDeferredFillIn)(EXCEPINFO *);
    SCODE scode;
};

constexpr DISPID DISPID_VALUE = 0;
constexpr DISPID DISPID_UNKNOWN = -1;
constexpr WORD DISPATCH_METHOD = 1;
constexpr WORD DISPATCH_PROPERTYGET = 2;
constexpr WORD DISPATCH_PROPERTYPUT = 4;
constexpr WORD DISPATCH_PROPERTYPUTREF = 8;
constexpr DISPID DISPID_PROPERTYPUT = -3; ///< the name of a property's new value

/// Late-bound calls by name or number.
struct IDispatch : IUnknown
{
    virtual HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT * count) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT index, LCID locale, ITypeInfo ** info) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID reserved, LPOLESTR * names, UINT count, LCID locale,
                                                    DISPID * ids) = 0;
    virtual HRESULT STDMETHODCALLTYPE Invoke(DISPID member, REFIID reserved, LCID locale, WORD flags,
                                             DISPPARAMS * arguments, tagVARIANT * result, EXCEPINFO * exception,
                                             UINT * badArgument) = 0;

protected:
    ~IDispatch() = default;
};

/// Makes the objects of one class.
struct IClassFactory : IUnknown
{
    virtual HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown * outer, REFIID iid, void ** object) = 0;
    virtual HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) = 0;

protected:
    ~IClassFactory() = default;
};

/// What a licensed class demands.
struct LICINFO
{
    LONG cbLicInfo;
    BOOL fRuntimeKeyAvail; ///< RequestLicKey gives a key
    BOOL fLicVerified;     ///< the machine is licensed, so that CreateInstance makes objects without a key
};

/// Makes the objects of a licensed class.
struct IClassFactory2 : IClassFactory
{
    virtual HRESULT STDMETHODCALLTYPE GetLicInfo(LICINFO * info) = 0;
    virtual HRESULT STDMETHODCALLTYPE RequestLicKey(DWORD reserved, BSTR * key) = 0;
    /// CLASS_E_NOTLICENSED for a key that is not the class's. `reserved` is null.
    virtual HRESULT STDMETHODCALLTYPE CreateInstanceLic(IUnknown * outer, IUnknown * reserved, REFIID iid, BSTR key,
                                                        void ** object) = 0;

protected:
    ~IClassFactory2() = default;
};

inline constexpr IID IID_IUnknown{0x00000000, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID IID_IClassFactory{0x00000001, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID IID_IClassFactory2{0xB196B28F, 0xBAB4, 0x101A, {0xB6, 0x9C, 0x00, 0xAA, 0x00, 0x34, 0x1D, 0x07}};
inline constexpr IID IID_IStream{0x0000000C, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID IID_IDispatch{0x00020400, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID IID_ISequentialStream{
    0x0C733A30, 0x2A1C, 0x11CE, {0xAD, 0xE5, 0x00, 0xAA, 0x00, 0x44, 0x77, 0x3D}};

namespace qvlib::host
{

/// The id of an interface, by its type. An interface that has none here does not compile.
template <class Interface>
struct InterfaceIdMissing;
template <class Interface>
inline constexpr IID kInterfaceId = InterfaceIdMissing<Interface>::value;

template <>
inline constexpr IID kInterfaceId<IUnknown> = IID_IUnknown;
template <>
inline constexpr IID kInterfaceId<IClassFactory> = IID_IClassFactory;
template <>
inline constexpr IID kInterfaceId<IClassFactory2> = IID_IClassFactory2;
template <>
inline constexpr IID kInterfaceId<ISequentialStream> = IID_ISequentialStream;
template <>
inline constexpr IID kInterfaceId<IStream> = IID_IStream;
template <>
inline constexpr IID kInterfaceId<IDispatch> = IID_IDispatch;

} // namespace qvlib::host

/// Memory that passes from callee to caller. Null on exhaustion. Thread-safe.
QVLIB_API LPVOID CoTaskMemAlloc(SIZE_T size);
/// Gives such memory back; null does nothing.
QVLIB_API void CoTaskMemFree(LPVOID memory);

/// Reads "{xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx}", nothing before, behind or left out. A null text is the null id. Any
/// other text is CO_E_CLASSSTRING, and `clsid` is then the null id.
QVLIB_API HRESULT CLSIDFromString(LPCOLESTR text, CLSID * clsid);
/// Writes that form with capital digits. The caller frees it with CoTaskMemFree.
QVLIB_API HRESULT StringFromCLSID(REFCLSID clsid, LPOLESTR * text);
/// Writes that form and its terminator into a buffer of at least 39 characters. Returns 39, or 0 if it is smaller.
QVLIB_API int StringFromGUID2(REFGUID guid, LPOLESTR buffer, int capacity);
/// The class that HKEY_CLASSES_ROOT\<name>\CLSID names. CO_E_CLASSSTRING when there is none.
QVLIB_API HRESULT CLSIDFromProgID(LPCOLESTR name, CLSID * clsid);
/// The name under HKEY_CLASSES_ROOT\CLSID\<id>\ProgID, freed with CoTaskMemFree. REGDB_E_CLASSNOTREG when the class is
/// not registered or has no name.
QVLIB_API HRESULT ProgIDFromCLSID(REFCLSID clsid, LPOLESTR * name);

/// A stream over growing memory, starting with a copy of `size` bytes at `data` (null: empty) and the position 0. Holds
/// at most 2 GB. Its clones share the bytes and have a position of their own. Thread-safe. Null on exhaustion.
QVLIB_API IStream * SHCreateMemStream(BYTE const * data, UINT size);

constexpr DWORD CLSCTX_INPROC_SERVER = 1;
constexpr DWORD CLSCTX_ALL = 0x17;
constexpr DWORD REGCLS_MULTIPLEUSE = 1;

/// Makes a class of this process known to CoCreateInstance until `cookie` is revoked. The table keeps a reference to
/// `factory`, which must answer for IClassFactory; of two factories for one class the later wins. Thread-safe.
QVLIB_API HRESULT CoRegisterClassObject(REFCLSID clsid, IUnknown * factory, DWORD context, DWORD flags, DWORD * cookie);
/// E_INVALIDARG for an unknown cookie.
QVLIB_API HRESULT CoRevokeClassObject(DWORD cookie);
/// The class object of a class registered in this process or built into the library: what makes its objects.
/// REGDB_E_CLASSNOTREG for any other class. `server` is null: there is no other machine. Thread-safe.
QVLIB_API HRESULT CoGetClassObject(REFCLSID clsid, DWORD context, LPVOID server, REFIID iid, LPVOID * object);
/// Makes an object of a class registered in this process or built into the library. REGDB_E_CLASSNOTREG for any other
/// class; `object` is null after a failure. Thread-safe.
QVLIB_API HRESULT CoCreateInstance(REFCLSID clsid, IUnknown * outer, DWORD context, REFIID iid, LPVOID * object);

/// Sees to it that an object runs. Objects of this process do; E_INVALIDARG for null.
QVLIB_API HRESULT OleRun(IUnknown * object);

#endif

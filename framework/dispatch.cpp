// Late-bound calls of a CCmdTarget's members, by its dispatch maps.

#include "qvlib/framework/comutil.h"
#include "qvlib/framework/dispatchmap.h"
#include "qvlib/framework/exceptions.h"
#include "qvlib/host/crt.h"

#include <cstring>
#include <exception>
#include <new>

namespace
{

using qvlib::framework::kByReference;
using qvlib::framework::kMaxDispatchParameters;

/// What this framework numbers itself: the place in the map, from 1, and how far up the map stands.
DISPID NumberOf(AFX_DISPMAP_ENTRY const & entry, std::size_t index, int depth) noexcept
{
    return entry.id != DISPID_UNKNOWN ? entry.id : static_cast<DISPID>(depth << 16 | static_cast<int>(index + 1));
}

/// Calls `visit` with each entry and its number, those of the derived class first, until it answers true, and gives
/// that one.
template <class Visit>
AFX_DISPMAP_ENTRY const * FindEntry(CCmdTarget const & object, Visit const & visit)
{
    int depth = 0;
    for (AFX_DISPMAP const * map = object.GetDispatchMap(); map != nullptr;
         map = map->pfnGetBaseMap != nullptr ? map->pfnGetBaseMap() : nullptr, ++depth)
        for (std::size_t i = 0; map->pEntries != nullptr && map->pEntries[i].name != nullptr; ++i)
            if (visit(map->pEntries[i], NumberOf(map->pEntries[i], i, depth)))
                return &map->pEntries[i];
    return nullptr;
}

/// The arguments of one call, in the kinds that the member takes, the first one first. What had to be converted is
/// owned here; the rest are the caller's own.
class Arguments
{
public:
    Arguments() = default;
    Arguments(Arguments const &) = delete;
    Arguments & operator=(Arguments const &) = delete;
    ~Arguments()
    {
        for (std::size_t i = 0; i < m_count; ++i)
            if (m_owned[i])
                VariantClear(&m_values[i]);
    }

    HRESULT Take(DISPPARAMS const & from, char const * kinds, UINT * bad)
    {
        for (UINT i = 0; i < from.cArgs; ++i)
        {
            UINT const at = from.cArgs - 1 - i; // a caller hands the last one first
            if (HRESULT const result = Take(from.rgvarg[at], static_cast<unsigned char>(kinds[i])); FAILED(result))
            {
                if (bad != nullptr)
                    *bad = at;
                return result;
            }
        }
        return S_OK;
    }
    VARIANT * Values() noexcept { return m_values; }

private:
    HRESULT Take(VARIANT const & from, unsigned char kind)
    {
        VARIANT & value = m_values[m_count];
        value = VARIANT{};
        m_owned[m_count] = false;
        if ((kind & kByReference) != 0)
        {
            if (from.vt != (VT_BYREF | (kind & ~unsigned{kByReference})) || from.byref == nullptr)
                return DISP_E_TYPEMISMATCH;
            value = from;
        }
        else if (kind == VT_VARIANT)
            value = from.vt == (VT_BYREF | VT_VARIANT) && from.pvarVal != nullptr ? *from.pvarVal : from;
        else if (from.vt == kind)
            value = from;
        else
        {
            if (HRESULT const result = VariantChangeType(&value, &from, 0, kind); FAILED(result))
                return result;
            m_owned[m_count] = true;
        }
        ++m_count;
        return S_OK;
    }

    VARIANT m_values[kMaxDispatchParameters];
    bool m_owned[kMaxDispatchParameters];
    std::size_t m_count = 0;
};

/// Tells the caller of a failure inside a member.
HRESULT Report(EXCEPINFO * info, SCODE code, char const * text) noexcept
{
    if (info == nullptr)
        return DISP_E_EXCEPTION;
    *info = EXCEPINFO{};
    info->scode = code;
    try
    {
        CString const wide(text);
        info->bstrDescription = SysAllocStringLen(wide.GetString(), static_cast<UINT>(wide.GetLength()));
    }
    catch (...)
    {
        // The code must do.
    }
    return DISP_E_EXCEPTION;
}

/// What became of an exception that is being handled. No exception leaves an interface.
HRESULT ReportCurrent(EXCEPINFO * info) noexcept
{
    try
    {
        throw;
    }
    catch (CException const & error)
    {
        return Report(info, COleException::Process(&error), error.what());
    }
    catch (_com_error const & error)
    {
        return Report(info, error.Error(), error.what());
    }
    catch (std::bad_alloc const &)
    {
        return E_OUTOFMEMORY;
    }
    catch (std::exception const & error)
    {
        return Report(info, E_UNEXPECTED, error.what());
    }
    catch (...)
    {
        return Report(info, E_UNEXPECTED, "");
    }
}

} // namespace

HRESULT CCmdTarget::XDispatch::GetTypeInfoCount(UINT * count)
{
    if (count == nullptr)
        return E_POINTER;
    *count = 0;
    return S_OK;
}

HRESULT CCmdTarget::XDispatch::GetTypeInfo(UINT, LCID, ITypeInfo ** info)
{
    if (info != nullptr)
        *info = nullptr;
    return E_NOTIMPL;
}

HRESULT CCmdTarget::XDispatch::GetIDsOfNames(REFIID reserved, LPOLESTR * names, UINT count, LCID, DISPID * ids)
{
    if (reserved != GUID_NULL)
        return DISP_E_UNKNOWNINTERFACE;
    if (count == 0 || names == nullptr || ids == nullptr)
        return E_INVALIDARG;
    // Names behind the first are those of parameters, which the maps do not tell.
    for (UINT i = 0; i < count; ++i)
        ids[i] = DISPID_UNKNOWN;
    FindEntry(m_owner,
              [&](AFX_DISPMAP_ENTRY const & entry, DISPID id)
              {
                  if (names[0] == nullptr || _wcsicmp(entry.name, names[0]) != 0)
                      return false;
                  ids[0] = id;
                  return true;
              });
    return ids[0] != DISPID_UNKNOWN && count == 1 ? S_OK : DISP_E_UNKNOWNNAME;
}

HRESULT CCmdTarget::XDispatch::Invoke(DISPID member, REFIID reserved, LCID, WORD flags, DISPPARAMS * arguments,
                                      VARIANT * result, EXCEPINFO * exception, UINT * badArgument)
{
    if (reserved != GUID_NULL)
        return DISP_E_UNKNOWNINTERFACE;
    if (arguments == nullptr || (arguments->cArgs != 0 && arguments->rgvarg == nullptr))
        return E_INVALIDARG;
    if ((flags & DISPATCH_PROPERTYPUTREF) != 0)
        flags |= DISPATCH_PROPERTYPUT;
    AFX_DISPMAP_ENTRY const * const entry = FindEntry(m_owner, [&](AFX_DISPMAP_ENTRY const & candidate, DISPID id)
                                                      { return id == member && (candidate.kinds & flags) != 0; });
    if (entry == nullptr)
        return DISP_E_MEMBERNOTFOUND;
    // A property's new value is the one argument that has a name.
    UINT const named = entry->kinds == DISPATCH_PROPERTYPUT ? 1 : 0;
    if (arguments->cNamedArgs > named)
        return DISP_E_NONAMEDARGS;
    if (arguments->cArgs != std::strlen(entry->parameters))
        return DISP_E_BADPARAMCOUNT;

    if (result != nullptr)
        *result = VARIANT{};
    VARIANT answer{};
    // The object stays while it runs, even if the call drops its last reference.
    _com_ptr_t<IUnknown> const alive(this);
    try
    {
        Arguments taken;
        if (HRESULT const failed = taken.Take(*arguments, entry->parameters, badArgument); FAILED(failed))
            return failed;
        entry->call(m_owner, taken.Values(), answer);
    }
    catch (...)
    {
        return ReportCurrent(exception);
    }
    if (result != nullptr)
        *result = answer;
    else
        VariantClear(&answer);
    return S_OK;
}

// CTLNameValue: a value with a name; CTLNameValueVector: a list of them, in the order in which they were added.
//
//     qvlib::CTLNameValueVector list;
//     list.emplace_back(L"Port", qvlib::CGenericVal(8080));
//     if (qvlib::CTLNameValue const * port = list.Get(L"Port"))
//         Use(port->GetValue().GetInt());
//
// Names may repeat; Find and Get give the first. FindNoCase and GetNoCase look for the first entry with ANOTHER name:
// see there before use.
#pragma once

#include "qvlib/GenericVal.h"
#include "qvlib/QVString.h"
#include "qvlib/export.h"

#include <utility>
#include <vector>

namespace qvlib
{

/// Thread-compatible.
class CTLNameValue
{
public:
    CTLNameValue() noexcept = default;
    CTLNameValue(CQVString const & name, CGenericVal const & value) : m_name(name), m_value(value) {}

    CQVString const & GetName() const noexcept { return m_name; }
    void SetName(CQVString const & name) noexcept { m_name = name; }
    CGenericVal const & GetValue() const noexcept { return m_value; }
    /// To be changed in place.
    CGenericVal & GetValue() noexcept { return m_value; }
    void SetValue(CGenericVal const & value) { m_value = value; }
    /// Sets both. The arguments may lie in this object.
    void Set(CQVString const & name, CGenericVal const & value)
    {
        CQVString const kept(name);
        m_value = value;
        m_name = kept;
    }

    /// Names with regard to case; values as CGenericVal compares them.
    friend bool operator==(CTLNameValue const & a, CTLNameValue const & b)
    {
        return a.m_name == b.m_name && a.m_value == b.m_value;
    }
    /// By name, then by value.
    friend bool operator<(CTLNameValue const & a, CTLNameValue const & b)
    {
        int const names = a.m_name.Compare(b.m_name);
        return names != 0 ? names < 0 : a.m_value < b.m_value;
    }

private:
    CQVString m_name;
    CGenericVal m_value;
};

/// Thread-compatible.
class QVLIB_API CTLNameValueVector : public std::vector<CTLNameValue>
{
public:
    using std::vector<CTLNameValue>::vector;

    /// The first entry of that name, with regard to case, or the end. Null is the empty name.
    iterator Find(CQVString const & name);
    iterator Find(wchar_t const * name);
    const_iterator Find(CQVString const & name) const;
    const_iterator Find(wchar_t const * name) const;
    /// The same as a pointer, or null; valid until the list changes.
    CTLNameValue * Get(CQVString const & name) { return PointerTo(Find(name)); }
    CTLNameValue * Get(wchar_t const * name) { return PointerTo(Find(name)); }
    CTLNameValue const * Get(CQVString const & name) const { return PointerTo(Find(name)); }
    CTLNameValue const * Get(wchar_t const * name) const { return PointerTo(Find(name)); }

    /// The first entry whose name DIFFERS from `name` when ASCII letters are folded; the end when there is none.
    iterator FindNoCase(CQVString const & name) { return FindNoCase(name.GetString()); }
    iterator FindNoCase(wchar_t const * name);
    const_iterator FindNoCase(CQVString const & name) const { return FindNoCase(name.GetString()); }
    const_iterator FindNoCase(wchar_t const * name) const;
    /// The same as a pointer, or null.
    CTLNameValue * GetNoCase(CQVString const & name) { return PointerTo(FindNoCase(name)); }
    CTLNameValue * GetNoCase(wchar_t const * name) { return PointerTo(FindNoCase(name)); }
    CTLNameValue const * GetNoCase(CQVString const & name) const { return PointerTo(FindNoCase(name)); }
    CTLNameValue const * GetNoCase(wchar_t const * name) const { return PointerTo(FindNoCase(name)); }

private:
    CTLNameValue * PointerTo(iterator at) { return at == end() ? nullptr : &*at; }
    CTLNameValue const * PointerTo(const_iterator at) const { return at == end() ? nullptr : &*at; }
};

} // namespace qvlib

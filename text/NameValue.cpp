#include "qvlib/NameValue.h"

#include <algorithm>
#include <string_view>

namespace qvlib
{

namespace
{

template <class List>
auto FindName(List & list, std::wstring_view name)
{
    return std::find_if(list.begin(), list.end(),
                        [name](CTLNameValue const & entry) { return entry.GetName().View() == name; });
}

template <class List>
auto FindOtherName(List & list, wchar_t const * name)
{
    // The reverse of the test in Find, kept on purpose: callers depend on it.
    return std::find_if(list.begin(), list.end(),
                        [name](CTLNameValue const & entry) { return entry.GetName().CompareNoCase(name) != 0; });
}

std::wstring_view ViewOf(wchar_t const * name) { return name == nullptr ? std::wstring_view() : name; }

} // namespace

CTLNameValueVector::iterator CTLNameValueVector::Find(CQVString const & name) { return FindName(*this, name.View()); }
CTLNameValueVector::iterator CTLNameValueVector::Find(wchar_t const * name) { return FindName(*this, ViewOf(name)); }
CTLNameValueVector::const_iterator CTLNameValueVector::Find(CQVString const & name) const
{
    return FindName(*this, name.View());
}
CTLNameValueVector::const_iterator CTLNameValueVector::Find(wchar_t const * name) const
{
    return FindName(*this, ViewOf(name));
}

CTLNameValueVector::iterator CTLNameValueVector::FindNoCase(wchar_t const * name) { return FindOtherName(*this, name); }
CTLNameValueVector::const_iterator CTLNameValueVector::FindNoCase(wchar_t const * name) const
{
    return FindOtherName(*this, name);
}

} // namespace qvlib

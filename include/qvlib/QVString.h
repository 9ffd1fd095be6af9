// CQVString: the library's wide string.
//
// It adds nothing to the state of the framework's string (see framework/string.h for all that it can do): one pointer,
// shared characters, copied when one of several owners is changed. Positions and lengths count wchar_t, of which one is
// a code point on this system and a UTF-16 unit on others.
//
//     qvlib::CQVString name(L"Ada");
//     name += L" Lovelace";
//     std::wstring const copy = name.GetString();
//     std::unordered_map<qvlib::CQVString, int> ages{{name, 36}};
//
// Thread rule: thread-compatible.
#pragma once

#include "qvlib/framework/string.h"

namespace qvlib
{

class CQVString : public CStringT<wchar_t>
{
    using Base = CStringT<wchar_t>;

public:
    /// From nothing, wide text (null gives empty), wide text and a length, narrow (UTF-8) text, a repeated character,
    /// and, explicitly, std::wstring and std::wstring_view.
    using Base::Base;
    CQVString() noexcept = default;
    CQVString(Base const & text) noexcept : Base(text) {}
    CQVString(Base && text) noexcept : Base(std::move(text)) {}

    using Base::operator=;
    CQVString & operator=(Base const & text) noexcept
    {
        Base::operator=(text);
        return *this;
    }
    CQVString & operator=(Base && text) noexcept
    {
        Base::operator=(std::move(text));
        return *this;
    }
};

static_assert(sizeof(CQVString) == sizeof(void *));

} // namespace qvlib

template <>
struct std::hash<qvlib::CQVString> : std::hash<CStringT<wchar_t>>
{
};

// NameOrId: the key of settings, fields and records: either a name (wide text) or an id (unsigned, 32 bits).
//
// What a reader may not expect: id 0 is an ordinary value (and the default); an id never equals a name, not even the
// name "5" the id 5; every id sorts before every name; names compare case-sensitively.
//
// NameOrIdView is the same thing borrowed. Look-ups take it, so that a literal or a string can be given without its
// text being copied into a key.
//
//     qvlib::NameOrId key(L"Amount");
//     key == L"Amount";                 // true
//     key = 12u;                        // an id now
//     qvlib::NameOrId(7u) < key;        // ids by number
//     record.TryGet(L"Amount");         // no key is built: L"Amount" is viewed
//
// Thread rule: thread-compatible.
#pragma once

#include "qvlib/QVString.h"
#include "qvlib/export.h"

#include <cstddef>
#include <cstdint>
#include <new>
#include <string>
#include <string_view>
#include <utility>

class CArchive;
class _variant_t;
struct tagVARIANT;

namespace qvlib
{

class QVLIB_API NameOrId
{
public:
    /// The id 0.
    NameOrId() noexcept : m_id(0) {}
    NameOrId(NameOrId const & other) : m_isName(other.m_isName)
    {
        if (m_isName)
            ::new (&m_name) std::wstring(other.m_name);
        else
            m_id = other.m_id;
    }
    /// Takes the name over; the source keeps its kind and is left with an unspecified name.
    NameOrId(NameOrId && other) noexcept : m_isName(other.m_isName)
    {
        if (m_isName)
            ::new (&m_name) std::wstring(std::move(other.m_name));
        else
            m_id = other.m_id;
    }
    /// A constant cannot be emptied: the same as a copy.
    NameOrId(NameOrId const && other) : NameOrId(static_cast<NameOrId const &>(other)) {}
    /// A name; null gives the empty name.
    NameOrId(wchar_t const * name) : m_name(name != nullptr ? name : L""), m_isName(true) {}
    NameOrId(std::wstring const & name) : m_name(name), m_isName(true) {}
    NameOrId(std::wstring && name) noexcept : m_name(std::move(name)), m_isName(true) {}
    NameOrId(CQVString const & name) : m_name(name.GetString(), Length(name)), m_isName(true) {}
    explicit NameOrId(std::wstring_view name) : m_name(name), m_isName(true) {}
    /// An id.
    NameOrId(unsigned int id) noexcept : m_id(id) {}
    ~NameOrId()
    {
        if (m_isName)
            m_name.~basic_string();
    }

    /// Assignments have the strong guarantee: when memory runs out, the key is as it was.
    NameOrId & operator=(NameOrId const & other)
    {
        if (other.m_isName)
            SetName(other.m_name);
        else
            SetId(other.m_id);
        return *this;
    }
    NameOrId & operator=(NameOrId && other) noexcept
    {
        if (other.m_isName)
            SetName(std::move(other.m_name));
        else
            SetId(other.m_id);
        return *this;
    }
    NameOrId & operator=(NameOrId const && other) { return *this = static_cast<NameOrId const &>(other); }
    NameOrId & operator=(std::wstring const & name) { return SetName(name), *this; }
    NameOrId & operator=(std::wstring && name) noexcept { return SetName(std::move(name)), *this; }
    NameOrId & operator=(CQVString const & name) { return SetName(name), *this; }
    NameOrId & operator=(wchar_t const * name) { return SetName(name), *this; }
    NameOrId & operator=(unsigned int id) noexcept { return SetId(id), *this; }

    /// Becomes an id, a name.
    void SetId(unsigned int id) noexcept
    {
        Reset(false);
        m_id = id;
    }
    void SetName(std::wstring const & name) { SetName(name.data(), name.size()); }
    void SetName(std::wstring && name) noexcept
    {
        if (!m_isName)
            BecomeName(std::move(name));
        else if (&name != &m_name)
            m_name = std::move(name);
    }
    void SetName(CQVString const & name) { SetName(name.GetString(), Length(name)); }
    void SetName(wchar_t const * name)
    {
        std::wstring_view const text(name != nullptr ? name : L"");
        SetName(text.data(), text.size());
    }

    bool IsId() const noexcept { return !m_isName; }
    bool IsName() const noexcept { return m_isName; }
    /// unexpected_error when this is a name.
    unsigned int GetId() const
    {
        if (m_isName)
            ThrowWrongKind();
        return m_id;
    }
    /// unexpected_error when this is an id.
    std::wstring const & GetName() const
    {
        if (!m_isName)
            ThrowWrongKind();
        return m_name;
    }
    std::wstring & GetName()
    {
        if (!m_isName)
            ThrowWrongKind();
        return m_name;
    }

    /// Changes the kind where it differs: to the empty name or to the id 0. What is of that kind already stays.
    void Reset(bool toName) noexcept
    {
        if (toName == m_isName)
            return;
        if (toName)
            BecomeName(std::wstring());
        else
        {
            m_name.~basic_string();
            m_isName = false;
            m_id = 0;
        }
    }

    friend bool operator==(NameOrId const & a, NameOrId const & b) noexcept
    {
        return a.m_isName == b.m_isName && (a.m_isName ? a.m_name == b.m_name : a.m_id == b.m_id);
    }
    bool operator==(std::wstring const & name) const noexcept { return m_isName && m_name == name; }
    bool operator==(CQVString const & name) const noexcept { return m_isName && m_name == View(name); }
    bool operator==(wchar_t const * name) const noexcept
    {
        return m_isName && m_name == std::wstring_view(name != nullptr ? name : L"");
    }
    bool operator==(unsigned int id) const noexcept { return !m_isName && m_id == id; }

    friend bool operator<(NameOrId const & a, NameOrId const & b) noexcept
    {
        if (a.m_isName != b.m_isName)
            return b.m_isName;
        return a.m_isName ? a.m_name < b.m_name : a.m_id < b.m_id;
    }
    bool operator<(std::wstring const & name) const noexcept { return !m_isName || m_name < name; }
    bool operator<(CQVString const & name) const noexcept { return !m_isName || m_name < View(name); }
    bool operator<(wchar_t const * name) const noexcept
    {
        return !m_isName || m_name < std::wstring_view(name != nullptr ? name : L"");
    }
    bool operator<(unsigned int id) const noexcept { return !m_isName && m_id < id; }

    /// The name, or the id in decimal.
    std::wstring ToString() const;

    /// An id becomes VT_UINT, a name VT_BSTR.
    _variant_t ToVariant() const;
    operator _variant_t() const;
    /// VT_I4, VT_UI4, VT_INT and VT_UINT become an id of the same 32 bits, VT_BSTR and VT_LPWSTR a name; any other tag
    /// throws unexpected_error and changes nothing.
    NameOrId & FromVariant(tagVARIANT const & value);

    /// Stores or loads the record {version word, kind byte, name or id}. A version above 1 raises the archive exception
    /// with cause badSchema. A load that fails leaves the key as it was.
    void Serialize(CArchive & archive);

private:
    static std::size_t Length(CQVString const & text) noexcept { return static_cast<std::size_t>(text.GetLength()); }
    static std::wstring_view View(CQVString const & text) noexcept { return {text.GetString(), Length(text)}; }
    [[noreturn]] static void ThrowWrongKind();

    void SetName(wchar_t const * name, std::size_t length)
    {
        if (m_isName)
            m_name.assign(name, length);
        else
            BecomeName(std::wstring(name, length));
    }
    void BecomeName(std::wstring && name) noexcept
    {
        ::new (&m_name) std::wstring(std::move(name));
        m_isName = true;
    }
    // The text, unchecked: for those who know the kind.
    std::wstring const & GetStringRef() const noexcept { return m_name; }
    std::wstring & GetStringRef() noexcept { return m_name; }
    friend class NameOrIdView;

    union
    {
        std::uint32_t m_id;
        std::wstring m_name;
    };
    bool m_isName = false;
};

/// A borrowed key, two words to pass around. Whatever it was made from must outlive it: take it as an argument, do not
/// keep it.
class NameOrIdView
{
public:
    NameOrIdView(NameOrId const & key) noexcept
        : m_name(key.m_isName ? key.m_name.data() : nullptr), m_lengthOrId(key.m_isName ? key.m_name.size() : key.m_id)
    {
    }
    /// Null gives the empty name.
    NameOrIdView(wchar_t const * name) noexcept : NameOrIdView(std::wstring_view(name != nullptr ? name : L"")) {}
    NameOrIdView(std::wstring const & name) noexcept : m_name(name.data()), m_lengthOrId(name.size()) {}
    NameOrIdView(CQVString const & name) noexcept
        : m_name(name.GetString()), m_lengthOrId(static_cast<std::size_t>(name.GetLength()))
    {
    }
    explicit NameOrIdView(std::wstring_view name) noexcept
        : m_name(name.data() != nullptr ? name.data() : L""), m_lengthOrId(name.size())
    {
    }
    NameOrIdView(unsigned int id) noexcept : m_name(nullptr), m_lengthOrId(id) {}

    bool IsId() const noexcept { return m_name == nullptr; }
    bool IsName() const noexcept { return m_name != nullptr; }
    /// Only for an id, only for a name.
    std::uint32_t Id() const noexcept { return static_cast<std::uint32_t>(m_lengthOrId); }
    std::wstring_view Name() const noexcept { return {m_name, m_lengthOrId}; }
    NameOrId ToKey() const { return IsId() ? NameOrId(Id()) : NameOrId(Name()); }

    bool Equals(NameOrId const & key) const noexcept
    {
        if (IsId())
            return !key.m_isName && key.m_id == Id();
        return key.m_isName && Name() == key.m_name;
    }
    /// Whether `key` sorts before this one.
    bool IsAfter(NameOrId const & key) const noexcept
    {
        if (IsId())
            return !key.m_isName && key.m_id < Id();
        return !key.m_isName || std::wstring_view(key.m_name) < Name();
    }
    bool IsBefore(NameOrId const & key) const noexcept
    {
        if (IsId())
            return key.m_isName || Id() < key.m_id;
        return key.m_isName && Name() < std::wstring_view(key.m_name);
    }

private:
    wchar_t const * m_name; // null for an id
    std::size_t m_lengthOrId;
};

/// Orders keys, borrowed ones among them: for ordered containers that are searched by a view.
struct NameOrIdLess
{
    using is_transparent = void;
    bool operator()(NameOrId const & a, NameOrId const & b) const noexcept { return a < b; }
    bool operator()(NameOrId const & a, NameOrIdView b) const noexcept { return b.IsAfter(a); }
    bool operator()(NameOrIdView a, NameOrId const & b) const noexcept { return a.IsBefore(b); }
};

} // namespace qvlib

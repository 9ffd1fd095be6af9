#include "qvlib/Registry.h"

#include "qvlib/host/modules.h"

#include <limits>
#include <utility>
#include <vector>

namespace qvlib
{

namespace
{

constexpr DWORD kNameRoom = 261;   ///< of a value's name, terminator included
constexpr DWORD kSubKeyRoom = 256; ///< of a sub-key's name, terminator included
constexpr REGSAM kTreeAccess = 0x2001F;

/// What the recursive deletion works with: extra access flags, and a transaction if there is one.
class KeyTree
{
public:
    KeyTree(REGSAM flags, HANDLE transaction) : m_flags(flags), m_transaction(transaction) {}

    /// Deletes `name` below `parent` with everything in it. Goes down without recursion, so that no depth of the tree
    /// is too much.
    LSTATUS Delete(HKEY parent, wchar_t const * name)
    {
        LSTATUS status = Descend(parent, name);
        while (status == ERROR_SUCCESS && !m_levels.empty())
        {
            // The first sub-key each time: the one before it is gone by then.
            wchar_t subKey[kSubKeyRoom];
            DWORD length = kSubKeyRoom;
            status = RegEnumKeyExW(m_levels.back().key, 0, subKey, &length, nullptr, nullptr, nullptr, nullptr);
            if (status == ERROR_SUCCESS)
                status = Descend(m_levels.back().key, subKey);
            else if (status == ERROR_NO_MORE_ITEMS)
            {
                Level const done = m_levels.back();
                m_levels.pop_back();
                RegCloseKey(done.key);
                status = DeleteOne(m_levels.empty() ? parent : m_levels.back().key, done.name);
            }
        }
        for (Level const & level : m_levels)
            RegCloseKey(level.key);
        m_levels.clear();
        return status;
    }

private:
    struct Level
    {
        HKEY key;
        CQVString name;
    };
    using OpenTransacted = LSTATUS(WINAPI *)(HKEY, LPCWSTR, DWORD, REGSAM, HKEY *, HANDLE, void *);
    using DeleteTransacted = LSTATUS(WINAPI *)(HKEY, LPCWSTR, REGSAM, DWORD, HANDLE, void *);
    using DeleteExtended = LSTATUS(WINAPI *)(HKEY, LPCWSTR, REGSAM, DWORD);

    static FARPROC Find(char const * function) { return GetProcAddress(GetModuleHandleW(L"Advapi32.dll"), function); }

    LSTATUS Descend(HKEY parent, wchar_t const * name)
    {
        CQVString text(name);
        m_levels.reserve(m_levels.size() + 1); // so that no open key can get lost
        HKEY key = nullptr;
        LSTATUS status = ERROR_INVALID_PARAMETER;
        if (m_transaction == nullptr)
            status = RegOpenKeyExW(parent, name, 0, kTreeAccess | m_flags, &key);
        else if (auto const open = reinterpret_cast<OpenTransacted>(Find("RegOpenKeyTransactedW")))
            status = open(parent, name, 0, kTreeAccess | m_flags, &key, m_transaction, nullptr);
        if (status == ERROR_SUCCESS)
            m_levels.push_back({key, std::move(text)});
        return status;
    }

    LSTATUS DeleteOne(HKEY parent, wchar_t const * name) const
    {
        if (m_transaction != nullptr)
            if (auto const remove = reinterpret_cast<DeleteTransacted>(Find("RegDeleteKeyTransactedW")))
                return remove(parent, name, m_flags, 0, m_transaction, nullptr);
        static auto const remove = reinterpret_cast<DeleteExtended>(Find("RegDeleteKeyExW"));
        return remove != nullptr ? remove(parent, name, m_flags, 0) : RegDeleteKeyW(parent, name);
    }

    REGSAM const m_flags;
    HANDLE const m_transaction;
    std::vector<Level> m_levels;
};

} // namespace

CRegistry::CRegistry(HKEY root, wchar_t const * subKey, bool ownsRoot, bool create, unsigned long access)
{
    SetSubKey(root, subKey, ownsRoot, create, access);
}

CRegistry::CRegistry(HKEY root, bool ownsRoot) { SetSubKey(root, nullptr, ownsRoot, false, KEY_ALL_ACCESS); }

CRegistry::CRegistry(wchar_t const * subKey, bool create, unsigned long access)
{
    SetSubKey(HKEY_CURRENT_USER, subKey, true, create, access);
}

CRegistry::CRegistry(CRegistry const & other) { *this = other; }

CRegistry & CRegistry::operator=(CRegistry const & other)
{
    if (this == &other)
        return *this;
    HKEY root = nullptr;
    RegOpenKeyW(other.m_rootKey, nullptr, &root);
    CQVString const path = other.m_subKeyPath;
    SetSubKey(root, path.IsEmpty() ? nullptr : path.GetString(), true, false, KEY_ALL_ACCESS);
    return *this;
}

CRegistry::~CRegistry() { Destroy(); }

void CRegistry::CloseOpenKey()
{
    if (m_openKey != nullptr)
        RegCloseKey(m_openKey);
    m_openKey = nullptr;
    m_subKeyPath.Empty();
}

void CRegistry::Destroy()
{
    CloseOpenKey();
    if (m_ownsRoot && m_rootKey != nullptr)
        RegCloseKey(m_rootKey);
    m_rootKey = nullptr;
    m_ownsRoot = false;
}

bool CRegistry::Attach(HKEY root, bool ownsRoot)
{
    Destroy();
    m_rootKey = root;
    m_ownsRoot = ownsRoot;
    return true;
}

HKEY CRegistry::Detach()
{
    CloseOpenKey();
    m_ownsRoot = false;
    return std::exchange(m_rootKey, nullptr);
}

bool CRegistry::SetSubKey(HKEY root, wchar_t const * subKey, bool ownsRoot, bool create, unsigned long access)
{
    Attach(root, ownsRoot);
    if (SetSubKey(subKey, create, access))
        return true;
    Destroy();
    return false;
}

bool CRegistry::SetSubKey(wchar_t const * subKey, bool create, unsigned long access)
{
    CQVString path(subKey); // before anything is closed: it may be what `subKey` points into
    CloseOpenKey();
    if (subKey == nullptr)
        return true;
    auto const wanted = static_cast<REGSAM>(access);
    LSTATUS const status = create ? RegCreateKeyExW(m_rootKey, path, 0, nullptr, REG_OPTION_NON_VOLATILE, wanted,
                                                    nullptr, &m_openKey, nullptr)
                                  : RegOpenKeyExW(m_rootKey, path, 0, wanted, &m_openKey);
    if (status != ERROR_SUCCESS)
        return false;
    m_subKeyPath = std::move(path);
    return true;
}

void CRegistry::Root() { CloseOpenKey(); }

CRegistry * CRegistry::Down(wchar_t const * name, bool create)
{
    // Kept on purpose, callers depend on it: from the root this path starts with a backslash, and the registry refuses
    // it.
    CQVString path = m_subKeyPath;
    path.AppendChar(L'\\');
    path.Append(name);
    return SetSubKey(path, create, KEY_ALL_ACCESS) ? this : nullptr;
}

CRegistry * CRegistry::Up()
{
    int const end = m_subKeyPath.ReverseFind(L'\\');
    if (end < 0)
        return nullptr;
    CQVString const path(m_subKeyPath.GetString(), end);
    return SetSubKey(path, false, KEY_ALL_ACCESS) ? this : nullptr;
}

bool CRegistry::KeyExist(wchar_t const * name) const
{
    // Kept on purpose, callers depend on it: full access, so that what cannot be written to counts as absent.
    return CRegistry(OpenKey(), name, false, false, KEY_ALL_ACCESS).IsValid();
}

bool CRegistry::EnumValue(unsigned long index, CQVString & name) const
{
    if (index > std::numeric_limits<DWORD>::max())
        return false;
    wchar_t buffer[kNameRoom];
    DWORD length = kNameRoom;
    if (RegEnumValueW(OpenKey(), static_cast<DWORD>(index), buffer, &length, nullptr, nullptr, nullptr, nullptr) !=
        ERROR_SUCCESS)
        return false;
    name = CQVString(buffer, static_cast<int>(length));
    return true;
}

bool CRegistry::EnumKey(unsigned long index, CQVString & name) const
{
    // Kept on purpose, callers depend on it: values, not sub-keys.
    return EnumValue(index, name);
}

bool CRegistry::DeleteValue(wchar_t const * name) { return RegDeleteValueW(OpenKey(), name) == ERROR_SUCCESS; }

bool CRegistry::DeleteKey(wchar_t const * name, bool recursive)
{
    long const status = recursive ? RegDeleteKeyAndSubKeyes(OpenKey(), name) : RegDeleteKeyW(OpenKey(), name);
    return status == ERROR_SUCCESS;
}

long CRegistry::RegDeleteKeyAndSubKeyes(HKEY key, wchar_t const * name)
{
    // Without a name this would empty the key itself.
    if (name == nullptr || *name == L'\0')
        return ERROR_INVALID_PARAMETER;
    return KeyTree(0, nullptr).Delete(key, name);
}

} // namespace qvlib

#include "registry_store.h"

#include "failure.h"

#include "qvlib/Registry.h"
#include "qvlib/host/utf8.h"

#include <iterator>
#include <utility>

namespace qvconcept
{
namespace
{

using qvlib::host::FromUtf8;
using qvlib::host::ToUtf8;

std::string StatusText(LSTATUS status)
{
    switch (status)
    {
    case ERROR_FILE_NOT_FOUND:
        return "there is none";
    case ERROR_ACCESS_DENIED:
        return "access denied";
    case ERROR_BAD_PATHNAME:
        return "no valid path of a key";
    default:
        return "the registry gives error " + std::to_string(status);
    }
}

void Check(LSTATUS status, std::string const & what)
{
    if (status != ERROR_SUCCESS)
        throw Problem(what + ": " + StatusText(status));
}

bool TakePrefix(std::wstring & path, std::wstring_view prefix)
{
    if (path == prefix)
    {
        path.clear();
        return true;
    }
    if (path.size() <= prefix.size() || !path.starts_with(prefix) || path[prefix.size()] != L'\\')
        return false;
    path.erase(0, prefix.size() + 1);
    return true;
}

HKEY OpenHandle(KeyPath const & path, REGSAM access)
{
    HKEY key = nullptr;
    Check(RegOpenKeyExW(path.root, path.path.c_str(), 0, access, &key), "key " + path.text);
    return key;
}

} // namespace

KeyPath::KeyPath(std::string const & given) : root(HKEY_CURRENT_USER), path(FromUtf8(given)), text(given)
{
    if (TakePrefix(path, L"HKLM") || TakePrefix(path, L"HKEY_LOCAL_MACHINE"))
        root = HKEY_LOCAL_MACHINE;
    else if (!TakePrefix(path, L"HKCU"))
        TakePrefix(path, L"HKEY_CURRENT_USER");
    if (path.starts_with(L'\\') || path.ends_with(L'\\') || path.find(L"\\\\") != std::wstring::npos)
        throw CallError("key " + given + ": parts are separated by one backslash each");
    if (given.empty())
        throw CallError("the key is empty");
}

KeyPath KeyPath::Child(std::wstring const & name) const
{
    KeyPath child = *this;
    child.path += path.empty() ? name : L'\\' + name;
    child.text += '\\' + ToUtf8(name);
    return child;
}

Key Key::Open(KeyPath const & path) { return Key(OpenHandle(path, KEY_READ), path.text); }

Key Key::OpenForWriting(KeyPath const & path) { return Key(OpenHandle(path, KEY_READ | KEY_WRITE), path.text); }

Key Key::Create(KeyPath const & path)
{
    HKEY key = nullptr;
    Check(RegCreateKeyExW(path.root, path.path.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_READ | KEY_WRITE,
                          nullptr, &key, nullptr),
          "key " + path.text);
    return Key(key, path.text);
}

bool Key::Exists(KeyPath const & path)
{
    HKEY key = nullptr;
    LSTATUS const status = RegOpenKeyExW(path.root, path.path.c_str(), 0, KEY_READ, &key);
    if (status == ERROR_FILE_NOT_FOUND)
        return false;
    Check(status, "key " + path.text);
    RegCloseKey(key);
    return true;
}

void Key::Delete(KeyPath const & path) { Check(RegDeleteKeyW(path.root, path.path.c_str()), "key " + path.text); }

void Key::DeleteTree(KeyPath const & path)
{
    Check(static_cast<LSTATUS>(qvlib::CRegistry::RegDeleteKeyAndSubKeyes(path.root, path.path.c_str())),
          "key " + path.text);
}

Key::Key(Key && other) noexcept : m_key(std::exchange(other.m_key, nullptr)), m_text(std::move(other.m_text)) {}

Key::~Key()
{
    if (m_key)
        RegCloseKey(m_key);
}

std::vector<RegistryValue> Key::Values() const
{
    DWORD longest = 0;
    Check(RegQueryInfoKeyW(m_key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &longest, nullptr,
                           nullptr, nullptr),
          "key " + m_text);
    std::vector<RegistryValue> values;
    std::vector<wchar_t> name(longest + 1);
    for (DWORD index = 0;; ++index)
    {
        DWORD length = static_cast<DWORD>(name.size());
        LSTATUS const status = RegEnumValueW(m_key, index, name.data(), &length, nullptr, nullptr, nullptr, nullptr);
        if (status == ERROR_NO_MORE_ITEMS)
            return values;
        Check(status, "key " + m_text);
        values.push_back(Value(std::wstring(name.data(), length)));
    }
}

RegistryValue Key::Value(std::wstring const & name) const
{
    RegistryValue value{name, REG_NONE, {}};
    std::string const what = "value " + ToUtf8(name) + " of key " + m_text;
    // Another process may write a longer value between the two questions.
    for (LSTATUS status = ERROR_MORE_DATA; status == ERROR_MORE_DATA;)
    {
        DWORD size = 0;
        Check(RegQueryValueExW(m_key, name.c_str(), nullptr, &value.type, nullptr, &size), what);
        value.data.resize(size);
        BYTE none = 0;
        status =
            RegQueryValueExW(m_key, name.c_str(), nullptr, &value.type, size != 0 ? value.data.data() : &none, &size);
        if (status != ERROR_MORE_DATA)
            Check(status, what);
        if (size <= value.data.size())
            value.data.resize(size);
    }
    return value;
}

std::vector<std::wstring> Key::SubKeys() const
{
    std::vector<std::wstring> names;
    wchar_t name[256];
    for (DWORD index = 0;; ++index)
    {
        DWORD length = static_cast<DWORD>(std::size(name));
        LSTATUS const status = RegEnumKeyExW(m_key, index, name, &length, nullptr, nullptr, nullptr, nullptr);
        if (status == ERROR_NO_MORE_ITEMS)
            return names;
        Check(status, "key " + m_text);
        names.emplace_back(name, length);
    }
}

void Key::Set(RegistryValue const & value)
{
    Check(RegSetValueExW(m_key, value.name.c_str(), 0, value.type, value.data.data(),
                         static_cast<DWORD>(value.data.size())),
          "value " + ToUtf8(value.name) + " of key " + m_text);
}

void Key::DeleteValue(std::wstring const & name)
{
    Check(RegDeleteValueW(m_key, name.c_str()), "value " + ToUtf8(name) + " of key " + m_text);
}

NewKeys::NewKeys(KeyPath const & path)
{
    KeyPath part = path;
    std::vector<KeyPath> missing;
    while (!part.path.empty() && !Key::Exists(part))
    {
        missing.push_back(part);
        std::size_t const cut = part.path.rfind(L'\\');
        part.path.resize(cut == std::wstring::npos ? 0 : cut);
    }
    m_created.assign(missing.rbegin(), missing.rend());
    Key::Create(path);
}

NewKeys::~NewKeys()
{
    // A key that somebody else has used in the meantime has sub-keys and stays.
    for (auto key = m_created.rbegin(); key != m_created.rend(); ++key)
        RegDeleteKeyW(key->root, key->path.c_str());
}

} // namespace qvconcept

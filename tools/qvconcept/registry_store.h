// Keys and values of the registry as they are, whatever their type.
#pragma once

#include "qvlib/host/registry.h"

#include <string>
#include <string_view>
#include <vector>

namespace qvconcept
{

struct RegistryValue
{
    std::wstring name; ///< empty for the key's default value
    DWORD type;
    std::vector<BYTE> data;
};

/// Where a key lies: "Software\Example" is below the current user; "HKCU\" and "HKLM\", or the long names of these, may
/// stand in front.
struct KeyPath
{
    HKEY root;
    std::wstring path; ///< empty for the root itself
    std::string text;  ///< as given

    /// Throws CallError for a path that starts or ends with a backslash or has an empty part.
    explicit KeyPath(std::string const & given);
    KeyPath Child(std::wstring const & name) const;
};

/// An open key. Every operation throws Problem with the system's reason.
class Key
{
public:
    static Key Open(KeyPath const & path);
    static Key OpenForWriting(KeyPath const & path);
    static Key Create(KeyPath const & path);
    static bool Exists(KeyPath const & path);
    /// Deletes a key that has no sub-keys.
    static void Delete(KeyPath const & path);
    /// Deletes a key and everything below it.
    static void DeleteTree(KeyPath const & path);

    Key(Key && other) noexcept;
    Key(Key const &) = delete;
    Key & operator=(Key const &) = delete;
    ~Key();

    HKEY Handle() const { return m_key; }
    std::vector<RegistryValue> Values() const;
    /// Throws Problem when there is no such value.
    RegistryValue Value(std::wstring const & name) const;
    std::vector<std::wstring> SubKeys() const;
    void Set(RegistryValue const & value);
    void DeleteValue(std::wstring const & name);

private:
    Key(HKEY key, std::string text) : m_key(key), m_text(std::move(text)) {}

    HKEY m_key;
    std::string m_text;
};

/// Makes the way to a key. Unless kept, the keys that were not there before are taken away again.
class NewKeys
{
public:
    explicit NewKeys(KeyPath const & path);
    NewKeys(NewKeys const &) = delete;
    NewKeys & operator=(NewKeys const &) = delete;
    ~NewKeys();
    void Keep() { m_created.clear(); }

private:
    std::vector<KeyPath> m_created; // the outermost first
};

} // namespace qvconcept

// Texts and numbers as values of the registry, for the host's own use of it.
#pragma once

#include "qvlib/host/registry.h"

#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qvlib::host
{

/// Closes the key it holds.
class OpenKey
{
public:
    OpenKey() = default;
    OpenKey(OpenKey const &) = delete;
    OpenKey & operator=(OpenKey const &) = delete;
    OpenKey(OpenKey && other) noexcept : m_key(std::exchange(other.m_key, nullptr)) {}
    ~OpenKey()
    {
        if (m_key != nullptr)
            RegCloseKey(m_key);
    }

    HKEY Get() const noexcept { return m_key; }
    /// Where a call puts the key; empty before.
    HKEY * Place() noexcept { return &m_key; }

private:
    HKEY m_key = nullptr;
};

/// The text up to its terminator. ERROR_FILE_NOT_FOUND also for a value that is no text. Throws std::bad_alloc.
LSTATUS ReadText(HKEY key, LPCWSTR name, std::wstring & text);
LSTATUS ReadNumber(HKEY key, LPCWSTR name, DWORD & number);

/// A value with its bytes.
struct RegistryValue
{
    LPCWSTR name;
    DWORD type;
    std::vector<BYTE> data;

    static RegistryValue Text(LPCWSTR name, std::wstring_view text);
    static RegistryValue Number(LPCWSTR name, DWORD number);

    LSTATUS WriteTo(HKEY key) const noexcept;
};

/// Makes a key of the current user with all of its values, in one step. The last value tells that the key is whole: one
/// that has it is left as it is, with ERROR_ALREADY_EXISTS, and of several who make the key at once one succeeds.
/// Throws std::bad_alloc.
LSTATUS CreateWholeKey(LPCWSTR path, std::span<RegistryValue const> values);

} // namespace qvlib::host

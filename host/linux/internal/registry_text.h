// Texts and numbers as values of the registry, for the host's own use of it.
#pragma once

#include "qvlib/host/registry.h"

#include <string>
#include <string_view>
#include <utility>

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
LSTATUS WriteText(HKEY key, LPCWSTR name, std::wstring_view text);
LSTATUS ReadNumber(HKEY key, LPCWSTR name, DWORD & number);
LSTATUS WriteNumber(HKEY key, LPCWSTR name, DWORD number);

} // namespace qvlib::host

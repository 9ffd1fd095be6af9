#include "host/linux/internal/registry_text.h"

#include "qvlib/host/utf16.h"

#include <algorithm>
#include <vector>

namespace qvlib::host
{

LSTATUS ReadText(HKEY key, LPCWSTR name, std::wstring & text)
{
    std::vector<BYTE> data(512);
    DWORD type = REG_NONE;
    DWORD size = static_cast<DWORD>(data.size());
    LSTATUS status = RegQueryValueExW(key, name, nullptr, &type, data.data(), &size);
    while (status == ERROR_MORE_DATA && size > data.size()) // it may grow while we look
    {
        data.resize(size);
        status = RegQueryValueExW(key, name, nullptr, &type, data.data(), &size);
    }
    if (status != ERROR_SUCCESS)
        return status;
    if (type != REG_SZ && type != REG_EXPAND_SZ)
        return ERROR_FILE_NOT_FOUND;
    std::size_t const units = size / 2;
    text.resize(units);
    text.resize(DecodeUtf16(data.data(), units, text.data()));
    text.resize(std::min(text.size(), text.find(L'\0')));
    return ERROR_SUCCESS;
}

LSTATUS ReadNumber(HKEY key, LPCWSTR name, DWORD & number)
{
    DWORD type = REG_NONE;
    DWORD size = sizeof number;
    BYTE bytes[sizeof number] = {};
    LSTATUS const status = RegQueryValueExW(key, name, nullptr, &type, bytes, &size);
    if (status != ERROR_SUCCESS)
        return status == ERROR_MORE_DATA ? ERROR_FILE_NOT_FOUND : status;
    if (type != REG_DWORD || size != sizeof number)
        return ERROR_FILE_NOT_FOUND;
    number = DWORD{bytes[0]} | DWORD{bytes[1]} << 8 | DWORD{bytes[2]} << 16 | DWORD{bytes[3]} << 24;
    return ERROR_SUCCESS;
}

RegistryValue RegistryValue::Text(LPCWSTR name, std::wstring_view text)
{
    std::vector<BYTE> data(2 * Utf16Length(text.data(), text.size()) + 2);
    EncodeUtf16(text.data(), text.size(), data.data());
    return {name, REG_SZ, std::move(data)};
}

RegistryValue RegistryValue::Number(LPCWSTR name, DWORD number)
{
    return {name,
            REG_DWORD,
            {static_cast<BYTE>(number), static_cast<BYTE>(number >> 8), static_cast<BYTE>(number >> 16),
             static_cast<BYTE>(number >> 24)}};
}

LSTATUS RegistryValue::WriteTo(HKEY key) const noexcept
{
    return RegSetValueExW(key, name, 0, type, data.data(), static_cast<DWORD>(data.size()));
}

} // namespace qvlib::host

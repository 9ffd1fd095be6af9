// Identifiers as text, program identifiers in the registry, and memory that passes between components.

#include "qvlib/host/com.h"

#include "host/linux/internal/registry_text.h"

#include <new>
#include <string>
#include <string_view>

namespace
{

constexpr int kGuidLength = 38;              // "{xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx}"
constexpr std::size_t kMaxProgIdLength = 39; // the platform's limit

constexpr int HexDigit(wchar_t character) noexcept
{
    if (character >= L'0' && character <= L'9')
        return static_cast<int>(character - L'0');
    if (character >= L'A' && character <= L'F')
        return static_cast<int>(character - L'A') + 10;
    if (character >= L'a' && character <= L'f')
        return static_cast<int>(character - L'a') + 10;
    return -1;
}

// Where the digits of each byte of memory stand in the text.
constexpr int kDigitOf[16] = {7, 5, 3, 1, 12, 10, 17, 15, 20, 22, 25, 27, 29, 31, 33, 35};

bool ParseGuid(LPCOLESTR text, GUID & guid) noexcept
{
    unsigned char bytes[16];
    for (int i = 0; i < kGuidLength; ++i)
    {
        wchar_t const character = text[i];
        if (character == L'\0')
            return false;
        bool const dash = i == 9 || i == 14 || i == 19 || i == 24;
        if (i == 0                 ? character != L'{'
            : i == kGuidLength - 1 ? character != L'}'
            : dash                 ? character != L'-'
                                   : HexDigit(character) < 0)
            return false;
    }
    if (text[kGuidLength] != L'\0')
        return false;
    for (int i = 0; i < 16; ++i)
        bytes[i] = static_cast<unsigned char>(HexDigit(text[kDigitOf[i]]) * 16 + HexDigit(text[kDigitOf[i] + 1]));
    guid.Data1 = static_cast<std::uint32_t>(bytes[0]) | static_cast<std::uint32_t>(bytes[1]) << 8 |
                 static_cast<std::uint32_t>(bytes[2]) << 16 | static_cast<std::uint32_t>(bytes[3]) << 24;
    guid.Data2 = static_cast<std::uint16_t>(bytes[4] | bytes[5] << 8);
    guid.Data3 = static_cast<std::uint16_t>(bytes[6] | bytes[7] << 8);
    std::memcpy(guid.Data4, bytes + 8, sizeof guid.Data4);
    return true;
}

void WriteHex(wchar_t *& at, std::uint32_t value, int digits) noexcept
{
    for (int shift = (digits - 1) * 4; shift >= 0; shift -= 4)
        *at++ = L"0123456789ABCDEF"[value >> shift & 0xFU];
}

void WriteGuid(REFGUID guid, wchar_t * at) noexcept
{
    *at++ = L'{';
    WriteHex(at, guid.Data1, 8);
    *at++ = L'-';
    WriteHex(at, guid.Data2, 4);
    *at++ = L'-';
    WriteHex(at, guid.Data3, 4);
    for (int i = 0; i < 8; ++i)
    {
        if (i == 0 || i == 2)
            *at++ = L'-';
        WriteHex(at, guid.Data4[i], 2);
    }
    *at++ = L'}';
    *at = L'\0';
}

/// Reads the default text value of a key under HKEY_CLASSES_ROOT.
bool ReadClassesText(std::wstring const & path, std::wstring & text)
{
    qvlib::host::OpenKey key;
    return RegOpenKeyExW(HKEY_CLASSES_ROOT, path.c_str(), 0, KEY_QUERY_VALUE, key.Place()) == ERROR_SUCCESS &&
           qvlib::host::ReadText(key.Get(), nullptr, text) == ERROR_SUCCESS;
}

LPOLESTR AllocateText(std::wstring_view text) noexcept
{
    auto * const copy = static_cast<LPOLESTR>(CoTaskMemAlloc((text.size() + 1) * sizeof(wchar_t)));
    if (copy != nullptr)
    {
        text.copy(copy, text.size());
        copy[text.size()] = L'\0';
    }
    return copy;
}

} // namespace

LPVOID CoTaskMemAlloc(SIZE_T size) { return ::operator new(size, std::nothrow); }

void CoTaskMemFree(LPVOID memory) { ::operator delete(memory); }

HRESULT CLSIDFromString(LPCOLESTR text, CLSID * clsid)
{
    if (clsid == nullptr)
        return E_INVALIDARG;
    *clsid = GUID_NULL;
    return text == nullptr || ParseGuid(text, *clsid) ? S_OK : CO_E_CLASSSTRING;
}

HRESULT StringFromCLSID(REFCLSID clsid, LPOLESTR * text)
{
    if (text == nullptr)
        return E_INVALIDARG;
    wchar_t buffer[kGuidLength + 1];
    WriteGuid(clsid, buffer);
    *text = AllocateText({buffer, kGuidLength});
    return *text != nullptr ? S_OK : E_OUTOFMEMORY;
}

int StringFromGUID2(REFGUID guid, LPOLESTR buffer, int capacity)
{
    if (buffer == nullptr || capacity <= kGuidLength)
        return 0;
    WriteGuid(guid, buffer);
    return kGuidLength + 1;
}

HRESULT CLSIDFromProgID(LPCOLESTR name, CLSID * clsid)
{
    if (name == nullptr || clsid == nullptr)
        return E_INVALIDARG;
    *clsid = GUID_NULL;
    std::wstring_view const progId(name);
    if (progId.empty() || progId.size() > kMaxProgIdLength || progId.find(L'\\') != progId.npos)
        return CO_E_CLASSSTRING;
    try
    {
        std::wstring text;
        if (!ReadClassesText(std::wstring(progId).append(L"\\CLSID"), text) || !ParseGuid(text.c_str(), *clsid))
            return CO_E_CLASSSTRING;
        return S_OK;
    }
    catch (std::bad_alloc const &)
    {
        return E_OUTOFMEMORY;
    }
}

HRESULT ProgIDFromCLSID(REFCLSID clsid, LPOLESTR * name)
{
    if (name == nullptr)
        return E_INVALIDARG;
    *name = nullptr;
    try
    {
        wchar_t id[kGuidLength + 1];
        WriteGuid(clsid, id);
        std::wstring text;
        if (!ReadClassesText(std::wstring(L"CLSID\\").append(id).append(L"\\ProgID"), text))
            return REGDB_E_CLASSNOTREG;
        *name = AllocateText(text);
        return *name != nullptr ? S_OK : E_OUTOFMEMORY;
    }
    catch (std::bad_alloc const &)
    {
        return E_OUTOFMEMORY;
    }
}

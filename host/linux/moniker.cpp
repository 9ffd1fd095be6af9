#include "qvlib/host/moniker.h"

#include "host/linux/internal/object_table.h"
#include "host/linux/internal/without_members.h"

#include <cwchar>
#include <new>
#include <string_view>

namespace
{

using qvlib::detail::Counted;
using qvlib::host::Packet;

constexpr std::wstring_view kPrefix = L"objref:";
constexpr std::size_t kNameLength = 7 + 2 * qvlib::host::kPacketSize + 1; // the packet in hexadecimal, and a colon

class BindContext final : public Counted<IBindCtx>
{
};

/// Holds an object, and names it.
class ObjectMoniker final : public Counted<IMoniker>
{
public:
    explicit ObjectMoniker(IUnknown * object) noexcept : m_object(object) { m_object->AddRef(); }

    HRESULT STDMETHODCALLTYPE BindToObject(IBindCtx *, IMoniker *, REFIID iid, void ** object) override
    {
        return object != nullptr ? m_object->QueryInterface(iid, object) : E_POINTER;
    }

    HRESULT STDMETHODCALLTYPE GetDisplayName(IBindCtx *, IMoniker *, LPOLESTR * name) override
    {
        if (name == nullptr)
            return E_POINTER;
        *name = static_cast<LPOLESTR>(CoTaskMemAlloc((kNameLength + 1) * sizeof(wchar_t)));
        if (*name == nullptr)
            return E_OUTOFMEMORY;
        Packet packet;
        try
        {
            packet = qvlib::host::EnterObject(m_object, true);
        }
        catch (std::bad_alloc const &)
        {
            CoTaskMemFree(*name);
            *name = nullptr;
            return E_OUTOFMEMORY;
        }
        wchar_t * at = *name + kPrefix.copy(*name, kPrefix.size());
        for (unsigned char const byte : packet)
        {
            *at++ = L"0123456789abcdef"[byte >> 4];
            *at++ = L"0123456789abcdef"[byte & 15];
        }
        *at++ = L':';
        *at = L'\0';
        return S_OK;
    }

private:
    ~ObjectMoniker() override { m_object->Release(); }

    IUnknown * m_object;
};

/// Made from a name: leads to the object when it is bound.
class NameMoniker final : public Counted<IMoniker>
{
public:
    explicit NameMoniker(std::wstring_view name, Packet const & packet) noexcept : m_packet(packet)
    {
        m_name[name.copy(m_name, kNameLength)] = L'\0';
    }

    HRESULT STDMETHODCALLTYPE BindToObject(IBindCtx *, IMoniker *, REFIID iid, void ** object) override
    {
        if (object == nullptr)
            return E_POINTER;
        *object = nullptr;
        IUnknown * found = nullptr;
        if (HRESULT const result = qvlib::host::FindObject(m_packet, false, &found); FAILED(result))
            return result;
        HRESULT const result = found->QueryInterface(iid, object);
        found->Release();
        return result;
    }

    HRESULT STDMETHODCALLTYPE GetDisplayName(IBindCtx *, IMoniker *, LPOLESTR * name) override
    {
        if (name == nullptr)
            return E_POINTER;
        *name = static_cast<LPOLESTR>(CoTaskMemAlloc(sizeof m_name));
        if (*name == nullptr)
            return E_OUTOFMEMORY;
        std::wmemcpy(*name, m_name, kNameLength + 1);
        return S_OK;
    }

private:
    Packet m_packet;
    wchar_t m_name[kNameLength + 1];
};

int HexDigit(wchar_t character) noexcept
{
    constexpr std::wstring_view kDigits = L"0123456789abcdef";
    std::size_t const place = kDigits.find(character);
    return place != kDigits.npos ? static_cast<int>(place) : -1;
}

bool ParsePacket(std::wstring_view text, Packet & packet) noexcept
{
    if (text.size() < kNameLength || text.substr(0, kPrefix.size()) != kPrefix || text[kNameLength - 1] != L':')
        return false;
    for (std::size_t i = 0; i < packet.size(); ++i)
    {
        int const high = HexDigit(text[kPrefix.size() + 2 * i]);
        int const low = HexDigit(text[kPrefix.size() + 2 * i + 1]);
        if (high < 0 || low < 0)
            return false;
        packet[i] = static_cast<unsigned char>(high << 4 | low);
    }
    return true;
}

} // namespace

HRESULT CreateBindCtx(DWORD reserved, IBindCtx ** context)
{
    if (context == nullptr || reserved != 0)
        return E_INVALIDARG;
    *context = new (std::nothrow) BindContext;
    return *context != nullptr ? S_OK : E_OUTOFMEMORY;
}

HRESULT CreateObjrefMoniker(IUnknown * object, IMoniker ** moniker)
{
    if (moniker == nullptr)
        return E_INVALIDARG;
    *moniker = nullptr;
    if (object == nullptr)
        return E_INVALIDARG;
    *moniker = new (std::nothrow) ObjectMoniker(object);
    return *moniker != nullptr ? S_OK : E_OUTOFMEMORY;
}

HRESULT MkParseDisplayName(IBindCtx * context, LPCOLESTR text, ULONG * eaten, IMoniker ** moniker)
{
    if (context == nullptr || text == nullptr || eaten == nullptr || moniker == nullptr)
        return E_INVALIDARG;
    *eaten = 0;
    *moniker = nullptr;
    Packet packet;
    std::wstring_view const name(text, wcsnlen(text, kNameLength));
    if (!ParsePacket(name, packet))
        return MK_E_SYNTAX;
    *moniker = new (std::nothrow) NameMoniker(name, packet);
    if (*moniker == nullptr)
        return E_OUTOFMEMORY;
    *eaten = static_cast<ULONG>(kNameLength);
    return S_OK;
}

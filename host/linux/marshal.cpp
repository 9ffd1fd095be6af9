#include "qvlib/host/marshal.h"

#include "host/linux/internal/object_table.h"

#include <new>

namespace
{

using qvlib::host::Packet;

HRESULT ReadPacket(IStream * stream, Packet & packet)
{
    if (stream == nullptr)
        return E_INVALIDARG;
    ULONG read = 0;
    HRESULT const result = stream->Read(packet.data(), static_cast<ULONG>(packet.size()), &read);
    if (FAILED(result))
        return result;
    return read == packet.size() ? S_OK : E_UNEXPECTED;
}

} // namespace

HRESULT CoMarshalInterface(IStream * stream, REFIID iid, IUnknown * object, DWORD, void *, DWORD flags)
{
    if (stream == nullptr || object == nullptr || flags > MSHLFLAGS_TABLESTRONG)
        return E_INVALIDARG;
    void * wanted = nullptr;
    if (HRESULT const result = object->QueryInterface(iid, &wanted); FAILED(result))
        return result;
    static_cast<IUnknown *>(wanted)->Release();
    Packet packet;
    try
    {
        packet = qvlib::host::EnterObject(object, flags == MSHLFLAGS_NORMAL);
    }
    catch (std::bad_alloc const &)
    {
        return E_OUTOFMEMORY;
    }
    ULONG written = 0;
    HRESULT result = stream->Write(packet.data(), static_cast<ULONG>(packet.size()), &written);
    if (SUCCEEDED(result) && written == packet.size())
        return S_OK;
    IUnknown * entered = nullptr;
    if (SUCCEEDED(qvlib::host::FindObject(packet, true, &entered)))
        entered->Release();
    return FAILED(result) ? result : STG_E_MEDIUMFULL;
}

HRESULT CoUnmarshalInterface(IStream * stream, REFIID iid, void ** object)
{
    if (object == nullptr)
        return E_INVALIDARG;
    *object = nullptr;
    Packet packet;
    if (HRESULT const result = ReadPacket(stream, packet); FAILED(result))
        return result;
    IUnknown * found = nullptr;
    if (HRESULT const result = qvlib::host::FindObject(packet, false, &found); FAILED(result))
        return result;
    HRESULT const result = found->QueryInterface(iid, object);
    found->Release();
    return result;
}

HRESULT CoGetMarshalSizeMax(ULONG * size, REFIID, IUnknown * object, DWORD, void *, DWORD)
{
    if (size == nullptr || object == nullptr)
        return E_INVALIDARG;
    *size = static_cast<ULONG>(qvlib::host::kPacketSize);
    return S_OK;
}

HRESULT CoReleaseMarshalData(IStream * stream)
{
    Packet packet;
    if (HRESULT const result = ReadPacket(stream, packet); FAILED(result))
        return result;
    IUnknown * found = nullptr;
    if (HRESULT const result = qvlib::host::FindObject(packet, true, &found); FAILED(result))
        return result;
    found->Release();
    return S_OK;
}

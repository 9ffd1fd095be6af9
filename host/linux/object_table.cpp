#include "host/linux/internal/object_table.h"

#include "host/linux/internal/mutex.h"
#include "qvlib/host/marshal.h"

#include <unistd.h>

#include <cstring>
#include <map>
#include <new>

namespace qvlib::host
{
namespace
{

constexpr unsigned char kMark[8] = {'Q', 'V', 'O', 'B', 'J', 'R', 'E', 'F'};

using EntryId = std::array<unsigned char, 16>;

struct Entry
{
    IUnknown * object;
    bool once;
};

/// A kernel that has none to give is want of a resource, as memory is.
template <std::size_t Size>
std::array<unsigned char, Size> RandomBytes()
{
    std::array<unsigned char, Size> bytes;
    if (getentropy(bytes.data(), bytes.size()) != 0)
        throw std::bad_alloc();
    return bytes;
}

class ObjectTable
{
public:
    /// Never destroyed: what packets hold must not be called after its module has gone.
    static ObjectTable & Instance()
    {
        static ObjectTable & table = *new ObjectTable;
        return table;
    }

    Packet Enter(IUnknown * object, bool once)
    {
        EntryId const id = RandomBytes<sizeof(EntryId)>();
        {
            MutexLock const held(m_lock);
            m_entries.emplace(id, Entry{object, once});
        }
        object->AddRef();
        Packet packet;
        std::memcpy(packet.data(), kMark, sizeof kMark);
        std::memcpy(packet.data() + 8, m_process.data(), 8);
        std::memcpy(packet.data() + 16, id.data(), id.size());
        return packet;
    }

    HRESULT Find(Packet const & packet, bool release, IUnknown ** object)
    {
        if (std::memcmp(packet.data(), kMark, sizeof kMark) != 0 ||
            std::memcmp(packet.data() + 8, m_process.data(), m_process.size()) != 0)
            return RPC_E_INVALID_OBJREF;
        EntryId id;
        std::memcpy(id.data(), packet.data() + 16, id.size());
        MutexLock const held(m_lock);
        auto const found = m_entries.find(id);
        if (found == m_entries.end())
            return CO_E_OBJNOTREG;
        *object = found->second.object;
        if (found->second.once || release)
            m_entries.erase(found); // its reference is the caller's
        else
            (*object)->AddRef();
        return S_OK;
    }

private:
    ObjectTable() : m_process(RandomBytes<8>()) {}

    std::array<unsigned char, 8> const m_process;
    Mutex m_lock;
    std::map<EntryId, Entry> m_entries QVLIB_GUARDED_BY(m_lock);
};

} // namespace

Packet EnterObject(IUnknown * object, bool once) { return ObjectTable::Instance().Enter(object, once); }

HRESULT FindObject(Packet const & packet, bool release, IUnknown ** object)
{
    try
    {
        return ObjectTable::Instance().Find(packet, release, object);
    }
    catch (std::bad_alloc const &)
    {
        return E_OUTOFMEMORY;
    }
}

} // namespace qvlib::host

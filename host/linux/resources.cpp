#include "qvlib/host/resources.h"

#include "host/linux/internal/mutex.h"

#include <map>

namespace qvlib::host
{

namespace
{

struct Registry
{
    SharedMutex lock;
    std::map<unsigned int, std::wstring> texts QVLIB_GUARDED_BY(lock);
};

/// Lives as long as the process: modules may register and read while others are torn down.
Registry & TheRegistry()
{
    static Registry & registry = *new Registry;
    return registry;
}

} // namespace

void SetTextResource(unsigned int id, std::wstring_view text)
{
    std::wstring copy(text);
    Registry & registry = TheRegistry();
    WriterLock const guard(registry.lock);
    registry.texts.insert_or_assign(id, std::move(copy));
}

bool RemoveTextResource(unsigned int id)
{
    Registry & registry = TheRegistry();
    WriterLock const guard(registry.lock);
    return registry.texts.erase(id) != 0;
}

bool GetTextResource(unsigned int id, std::wstring & text)
{
    Registry & registry = TheRegistry();
    ReaderLock const guard(registry.lock);
    auto const found = registry.texts.find(id);
    if (found == registry.texts.end())
        return false;
    text = found->second;
    return true;
}

} // namespace qvlib::host

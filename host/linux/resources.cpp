#include "qvlib/host/resources.h"

#include <map>
#include <mutex>
#include <shared_mutex>

namespace qvlib::host
{

namespace
{

struct Registry
{
    std::shared_mutex lock;
    std::map<unsigned int, std::wstring> texts;
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
    std::unique_lock const guard(registry.lock);
    registry.texts.insert_or_assign(id, std::move(copy));
}

bool RemoveTextResource(unsigned int id)
{
    Registry & registry = TheRegistry();
    std::unique_lock const guard(registry.lock);
    return registry.texts.erase(id) != 0;
}

bool GetTextResource(unsigned int id, std::wstring & text)
{
    Registry & registry = TheRegistry();
    std::shared_lock const guard(registry.lock);
    auto const found = registry.texts.find(id);
    if (found == registry.texts.end())
        return false;
    text = found->second;
    return true;
}

} // namespace qvlib::host

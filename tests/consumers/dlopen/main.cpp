// A program that loads the library when it already runs, as a plug-in does: its threads, older and younger than the
// library, use what the library keeps for each of them, and it may let go of the library before they end.
#include <dlfcn.h>

#include <atomic>
#include <cstdio>
#include <cwchar>
#include <thread>

namespace
{

using Allocate = wchar_t * (*)(wchar_t const *);
using Free = void (*)(wchar_t *);

struct Strings
{
    Allocate allocate = nullptr;
    Free free = nullptr;
};

/// More strings at a time than a thread keeps.
bool Use(Strings const & strings)
{
    bool right = true;
    wchar_t * held[40] = {};
    for (int round = 0; round < 3; ++round)
    {
        for (wchar_t *& each : held)
            each = strings.allocate(L"text");
        for (wchar_t * const each : held)
        {
            right = right && std::wcscmp(each, L"text") == 0;
            strings.free(each);
        }
    }
    return right;
}

} // namespace

int main(int, char ** arguments)
{
    Strings strings;
    void * library = nullptr;
    std::atomic<int> stage = 0;
    std::atomic<bool> right = true;
    auto const use = [&]
    {
        if (!Use(strings))
            right = false;
    };
    std::thread older(
        [&]
        {
            stage.wait(0);
            use();
            stage.wait(1); // ends when the program has let go
        });
    std::thread(
        [&]
        {
            library = dlopen(arguments[1], RTLD_NOW | RTLD_LOCAL);
            if (library == nullptr)
                return;
            strings.allocate = reinterpret_cast<Allocate>(dlsym(library, "_Z14SysAllocStringPKw"));
            strings.free = reinterpret_cast<Free>(dlsym(library, "_Z13SysFreeStringPw"));
            use();
        })
        .join();
    if (strings.allocate == nullptr || strings.free == nullptr)
    {
        std::printf("%s\n", dlerror());
        std::_Exit(1);
    }
    stage = 1;
    stage.notify_all();
    use();
    std::thread(use).join();
    right = right && dlclose(library) == 0;
    // It stays: threads of its own may run.
    bool const stays = dlopen(arguments[1], RTLD_NOW | RTLD_NOLOAD) != nullptr;
    stage = 2;
    stage.notify_all();
    older.join();
    std::printf("%s, %s\n", right ? "right" : "wrong", stays ? "stays" : "gone");
    return right && stays ? 0 : 1;
}

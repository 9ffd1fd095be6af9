#include "qvlib/host/debug.h"

#include "host/linux/internal/mutex.h"
#include "host/linux/internal/system_messages.h"
#include "qvlib/host/error.h"
#include "qvlib/host/utf8.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace
{

// A function that may be replaced while other threads call it: a caller holds what it found until it is done.
template <class Function>
class Replaceable
{
public:
    std::shared_ptr<Function> Get()
    {
        qvlib::host::MutexLock const lock(m_mutex);
        return m_function;
    }
    Function Set(Function function)
    {
        auto made = function ? std::make_shared<Function>(std::move(function)) : nullptr;
        qvlib::host::MutexLock const lock(m_mutex);
        m_function.swap(made);
        return made ? *made : Function();
    }

private:
    qvlib::host::Mutex m_mutex;
    std::shared_ptr<Function> m_function QVLIB_GUARDED_BY(m_mutex);
};

// Never destroyed: static objects of the program may still speak in their destructors.
Replaceable<qvlib::host::DebugSink> & Sink()
{
    static auto & sink = *new Replaceable<qvlib::host::DebugSink>;
    return sink;
}

Replaceable<qvlib::host::MessageBoxHandler> & Handler()
{
    static auto & handler = *new Replaceable<qvlib::host::MessageBoxHandler>;
    return handler;
}

void WriteToStandardError(std::string_view text) noexcept
{
    while (!text.empty())
    {
        ssize_t const written = ::write(STDERR_FILENO, text.data(), text.size());
        if (written <= 0)
            return;
        text.remove_prefix(static_cast<std::size_t>(written));
    }
}

bool ReadIsTraced() noexcept
{
    char text[4096];
    int const file = ::open("/proc/self/status", O_RDONLY | O_CLOEXEC);
    if (file < 0)
        return false;
    ssize_t const length = ::read(file, text, sizeof text - 1);
    ::close(file);
    if (length <= 0)
        return false;
    text[length] = 0;
    char const * const tracer = std::strstr(text, "TracerPid:");
    return tracer != nullptr && std::atoi(tracer + std::strlen("TracerPid:")) != 0;
}

// Asked for every text, so the answer is kept for a second.
bool IsDebuggerAttached() noexcept
{
    static std::atomic<long long> askedAt{-1};
    static std::atomic<bool> attached{false};
    long long const now =
        std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now().time_since_epoch()).count();
    // Relaxed: two threads that ask twice, or one that takes the answer of a second ago, do no harm.
    if (askedAt.exchange(now, std::memory_order_relaxed) != now)
        attached.store(ReadIsTraced(), std::memory_order_relaxed);
    return attached.load(std::memory_order_relaxed);
}

} // namespace

void OutputDebugStringW(LPCWSTR text)
{
    if (text == nullptr)
        return;
    if (auto const sink = Sink().Get())
    {
        (*sink)(text);
        return;
    }
    char const * const wanted = std::getenv("QVLIB_TRACE");
    if ((wanted != nullptr && std::strcmp(wanted, "1") == 0) || IsDebuggerAttached())
        WriteToStandardError(qvlib::host::ToUtf8(text));
}

DWORD FormatMessageW(DWORD flags, [[maybe_unused]] LPCVOID source, DWORD messageId, [[maybe_unused]] DWORD languageId,
                     LPWSTR buffer, DWORD size, [[maybe_unused]] void * arguments)
{
    if (!(flags & FORMAT_MESSAGE_FROM_SYSTEM) || buffer == nullptr)
    {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    char const * const found = qvlib::host::SystemMessage(messageId);
    if (found == nullptr)
    {
        SetLastError(317); // the platform's "no text for this number"
        return 0;
    }
    std::size_t const length = std::strlen(found);
    std::size_t const needed = length + 3;
    LPWSTR target = buffer;
    if (flags & FORMAT_MESSAGE_ALLOCATE_BUFFER)
    {
        std::size_t const room = std::max<std::size_t>(needed, size);
        target = static_cast<LPWSTR>(::operator new(room * sizeof(wchar_t), std::nothrow));
        std::memcpy(buffer, &target, sizeof target); // `buffer` is the address of the caller's pointer
        if (target == nullptr)
        {
            SetLastError(ERROR_NOT_ENOUGH_MEMORY);
            return 0;
        }
    }
    else if (size < needed)
    {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return 0;
    }
    for (std::size_t i = 0; i < length; ++i)
        target[i] = static_cast<unsigned char>(found[i]);
    std::memcpy(target + length, L"\r\n", 3 * sizeof(wchar_t));
    return static_cast<DWORD>(length + 2);
}

HLOCAL LocalFree(HLOCAL block)
{
    ::operator delete(block);
    return nullptr;
}

int MessageBoxW(HWND owner, LPCWSTR text, LPCWSTR caption, UINT type)
{
    wchar_t const * const shownText = text ? text : L"";
    wchar_t const * const shownCaption = caption ? caption : L"Error"; // the platform's word for no caption
    if (auto const handler = Handler().Get())
        return (*handler)(owner, shownText, shownCaption, type);
    WriteToStandardError(qvlib::host::ToUtf8(shownCaption) + ": " + qvlib::host::ToUtf8(shownText) + "\n");
    return IDOK;
}

HWND GetDesktopWindow()
{
    static char desktop;
    return reinterpret_cast<HWND>(&desktop);
}

namespace qvlib::host
{

DebugSink SetDebugSink(DebugSink sink) { return Sink().Set(std::move(sink)); }

MessageBoxHandler SetMessageBoxHandler(MessageBoxHandler handler) { return Handler().Set(std::move(handler)); }

// The one place that writes there on purpose: the compiler may not know the address, the sanitizers need not tell of
// it.
__attribute__((no_sanitize("undefined"))) void WriteToAddressZero() noexcept
{
    int volatile * target = nullptr;
    __asm__ volatile("" : "+r"(target));
    *target = 0;
    __builtin_trap(); // where something stands at address zero
}

} // namespace qvlib::host

#include "qvlib/host/thread.h"

#include "host/linux/internal/futex.h"
#include "host/linux/internal/handles.h"
#include "host/linux/internal/mutex.h"
#include "host/linux/internal/thread_record.h"
#include "qvlib/host/error.h"
#include "qvlib/host/sync.h"

#include <algorithm>
#include <climits>
#include <memory>
#include <new>
#include <unordered_set>
#include <vector>

#include <pthread.h>
#include <sched.h>
#include <time.h>

namespace qvlib::host
{

struct ThreadRecord
{
    SlotCache slots;
    Waitable * object = nullptr; ///< pinned
    DWORD exitCode = 0;
    std::vector<std::pair<void (*)(void *), void *>> routines;

    void RunRoutines()
    {
        while (!routines.empty())
        {
            auto const [routine, argument] = routines.back();
            routines.pop_back();
            routine(argument);
        }
    }
};

constinit thread_local ThreadLocals t_thread;

namespace
{

constinit std::atomic<DWORD> g_lastThreadId{0};

void UseRecord(ThreadRecord * record) noexcept
{
    t_thread.record = record;
    t_thread.slots = record == nullptr ? nullptr : &record->slots;
}

/// The ids of the threads that live.
class LiveThreads
{
public:
    /// False when there is no memory for it.
    bool Add(DWORD id) noexcept
    try
    {
        MutexLock const held(m_mutex);
        m_ids.insert(id);
        return true;
    }
    catch (std::bad_alloc const &)
    {
        return false;
    }
    void Remove(DWORD id) noexcept
    {
        MutexLock const held(m_mutex);
        m_ids.erase(id);
    }
    bool Has(DWORD id) noexcept
    {
        MutexLock const held(m_mutex);
        return m_ids.count(id) != 0;
    }
    static LiveThreads & Get()
    {
        static LiveThreads & threads = *new LiveThreads; // threads may end after the program's static objects
        return threads;
    }

private:
    Mutex m_mutex;
    std::unordered_set<DWORD> m_ids QVLIB_GUARDED_BY(m_mutex);
};

/// A number that no thread has.
DWORD NewThreadId() noexcept
{
    for (;;)
    {
        DWORD const id = g_lastThreadId.fetch_add(4, std::memory_order_relaxed) + 4;
        // They go round after a thousand million threads, of which the first may still live.
        if (id != 0 && !LiveThreads::Get().Has(id))
            return id;
    }
}

/// The very last that happens on a thread, after its static objects are gone.
void EndThread(void * argument)
{
    std::unique_ptr<ThreadRecord> const record(static_cast<ThreadRecord *>(argument));
    record->RunRoutines();
    LiveThreads::Get().Remove(t_thread.id);
    if (Waitable * const object = record->object; object != nullptr)
    {
        object->m_code.store(record->exitCode, std::memory_order_release);
        object->Set();
        Unpin(*object);
    }
    UseRecord(nullptr);
    GiveBack(record->slots);
}

pthread_key_t EndOfThread()
{
    static pthread_key_t const key = []
    {
        pthread_key_t made = 0;
        ::pthread_key_create(&made, &EndThread);
        return made;
    }();
    return key;
}

/// Runs the routines of threads that CreateThread did not start while the thread's static objects still stand.
struct EndOfStaticObjects
{
    ~EndOfStaticObjects()
    {
        if (t_thread.record != nullptr)
            t_thread.record->RunRoutines();
    }
    void Touch() const noexcept {}
};
thread_local EndOfStaticObjects t_end;

/// A thread's object, pinned for the thread, without a handle.
Slot * NewThreadObject(DWORD id) noexcept
{
    Slot * const slot = TakeSlot();
    if (slot == nullptr)
        return nullptr;
    slot->m_id = id;
    slot->m_code.store(STILL_ACTIVE, std::memory_order_relaxed);
    slot->m_number.store(0, std::memory_order_relaxed);
    slot->m_pins = 1;
    return slot;
}

struct Start
{
    DWORD(WINAPI * function)(LPVOID);
    LPVOID argument;
    ThreadRecord * record;
};

void * Run(void * argument)
{
    Start const start = *std::unique_ptr<Start>(static_cast<Start *>(argument));
    Waitable & object = *start.record->object;
    t_thread.id = object.m_id;
    UseRecord(start.record);
    bool const endIsNoticed = ::pthread_setspecific(EndOfThread(), start.record) == 0;
    while (std::uint32_t const suspended = object.m_number.load(std::memory_order_acquire))
        FutexWait(object.m_number, suspended);
    DWORD const code = start.function(start.argument);
    start.record->RunRoutines();
    start.record->exitCode = code;
    if (!endIsNoticed) // for want of memory: its static objects have to outlive it
        EndThread(start.record);
    return nullptr;
}

int StartThread(SIZE_T stackSize, Start * start) noexcept
{
    constexpr SIZE_T kPage = 4096;
    constexpr SIZE_T kLeastStack = 64 * kPage;
    pthread_attr_t attributes;
    int error = ::pthread_attr_init(&attributes);
    if (error != 0)
        return error;
    error = ::pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    if (error == 0 && stackSize != 0)
        error = stackSize > SIZE_MAX - kPage
                    ? EINVAL
                    : ::pthread_attr_setstacksize(&attributes,
                                                  std::max(kLeastStack, (stackSize + kPage - 1) / kPage * kPage));
    pthread_t thread{};
    if (error == 0)
        error = ::pthread_create(&thread, &attributes, &Run, start);
    ::pthread_attr_destroy(&attributes);
    return error;
}

} // namespace

DWORD AssignThreadId() noexcept
{
    t_thread.id = NewThreadId();
    if (CurrentRecord() != nullptr) // so that its end is noticed
        LiveThreads::Get().Add(t_thread.id);
    return t_thread.id;
}

bool IsLiveThread(DWORD id) noexcept { return LiveThreads::Get().Has(id); }

ThreadRecord * CurrentRecord() noexcept
{
    if (t_thread.record == nullptr)
    {
        auto * const record = new (std::nothrow) ThreadRecord;
        if (record != nullptr && ::pthread_setspecific(EndOfThread(), record) != 0)
            delete record;
        else
            UseRecord(record);
    }
    return t_thread.record;
}

Waitable * CurrentThreadObject() noexcept
{
    ThreadRecord * const record = CurrentRecord();
    if (record == nullptr)
        return nullptr;
    if (record->object == nullptr)
    {
        Slot * const slot = NewThreadObject(CurrentThreadId());
        if (slot == nullptr)
            return nullptr;
        Publish(*slot, Waitable::kThread | Waitable::kManual | Waitable::kShared | Waitable::kClosed);
        record->object = slot;
    }
    return record->object;
}

void AtThreadExit(void (*routine)(void *), void * argument)
{
    ThreadRecord * const record = CurrentRecord();
    if (record == nullptr)
        throw std::bad_alloc();
    t_end.Touch();
    record->routines.emplace_back(routine, argument);
}

} // namespace qvlib::host

namespace host = qvlib::host;
using host::Waitable;

namespace
{

BOOL Refuse(LSTATUS status) noexcept
{
    SetLastError(static_cast<DWORD>(status));
    return FALSE;
}

} // namespace

HANDLE CreateThread(void *, SIZE_T stackSize, DWORD(WINAPI * start)(LPVOID), LPVOID argument, DWORD flags,
                    DWORD * threadId) noexcept
{
    if (start == nullptr)
    {
        Refuse(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    std::unique_ptr<host::ThreadRecord> record(new (std::nothrow) host::ThreadRecord);
    std::unique_ptr<host::Start> begin(new (std::nothrow) host::Start{start, argument, record.get()});
    DWORD const id = host::NewThreadId();
    host::Slot * const slot = record && begin ? host::NewThreadObject(id) : nullptr;
    if (slot == nullptr)
    {
        Refuse(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    slot->m_handles = 1;
    slot->m_number.store((flags & CREATE_SUSPENDED) != 0 ? 1 : 0, std::memory_order_relaxed);
    record->object = slot;
    HANDLE const handle = host::Publish(*slot, Waitable::kThread | Waitable::kManual | Waitable::kShared);
    if (threadId != nullptr)
        *threadId = id;
    if (!host::LiveThreads::Get().Add(id) || host::StartThread(stackSize, begin.get()) != 0)
    {
        host::LiveThreads::Get().Remove(id);
        host::Unpin(*slot);
        CloseHandle(handle);
        Refuse(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    begin.release();
    record.release();
    return handle;
}

DWORD ResumeThread(HANDLE thread) noexcept
{
    host::Target target;
    if (!target.Find(thread, Waitable::kThread))
    {
        Refuse(ERROR_INVALID_HANDLE);
        return 0xFFFFFFFF;
    }
    std::atomic<std::uint32_t> & suspended = target.object->m_number;
    std::uint32_t const before = suspended.exchange(0, std::memory_order_acq_rel);
    if (before != 0)
        host::FutexWake(&suspended, INT_MAX);
    return before;
}

BOOL GetExitCodeThread(HANDLE thread, DWORD * code) noexcept
{
    host::Target target;
    if (code == nullptr || !target.Find(thread, Waitable::kThread))
        return Refuse(ERROR_INVALID_HANDLE);
    *code = target.object->m_code.load(std::memory_order_acquire);
    return TRUE;
}

DWORD GetCurrentThreadId() noexcept { return host::CurrentThreadId(); }

DWORD GetThreadId(HANDLE thread) noexcept
{
    host::Target target;
    if (target.Find(thread, Waitable::kThread))
        return target.object->m_id;
    Refuse(ERROR_INVALID_HANDLE);
    return 0;
}

BOOL SwitchToThread() noexcept
{
    ::sched_yield();
    return TRUE;
}

void Sleep(DWORD milliseconds) noexcept
{
    if (milliseconds == 0)
    {
        ::sched_yield();
        return;
    }
    host::Moment const end = host::Deadline(milliseconds);
    std::atomic<std::uint32_t> const nobodyWakes{0};
    while (host::FutexWait(nobodyWakes, 0, end))
    {
    }
}

#include "qvlib/framework/winthread.h"

#include <memory>

IMPLEMENT_DYNAMIC(CWinThread, CCmdTarget)

namespace
{

// The object whose thread this is, as long as it lives.
thread_local CWinThread * t_current = nullptr;

constexpr UINT kPaint = 0x000F;      // WM_PAINT
constexpr UINT kCaretBlink = 0x0118; // the system's timer

} // namespace

// A message may delete the object in whose loop it is delivered. What stands on the stack then learns it here.
struct CWinThread::Watch
{
    explicit Watch(CWinThread & thread) noexcept : m_thread(&thread), m_outer(thread.m_watch) { thread.m_watch = this; }
    Watch(Watch const &) = delete;
    Watch & operator=(Watch const &) = delete;
    ~Watch()
    {
        if (m_thread != nullptr)
            m_thread->m_watch = m_outer;
    }

    bool Deleted() const noexcept { return m_thread == nullptr; }

    CWinThread * m_thread;
    Watch * m_outer;
};

CWinThread::~CWinThread()
{
    if (t_current == this || m_kept == nullptr)
        for (Watch * watch = m_watch; watch != nullptr; watch = watch->m_outer)
            watch->m_thread = nullptr;
    if (m_kept == nullptr)
        return;
    if (t_current == this)
        t_current = nullptr;
    else
    {
        // The thread has a few steps left in which it touches this object, or has not begun, or should not be running.
        m_canceled = true;
        ::ResumeThread(m_kept);
        ::PostThreadMessageW(m_keptId, WM_QUIT, 0, 0);
        ::WaitForSingleObject(m_kept, INFINITE);
    }
    ::CloseHandle(m_kept);
}

BOOL CWinThread::CreateThread(DWORD flags, UINT stackSize, SECURITY_ATTRIBUTES * attributes)
{
    if (m_hThread != nullptr || !ForgetLastThread())
        return FALSE;

    m_msgCur = {};
    m_end = End::Open;
    DWORD id = 0;
    HANDLE const thread = ::CreateThread(attributes, stackSize, &Start, this, flags | CREATE_SUSPENDED, &id);
    if (thread == nullptr)
    {
        m_end = End::LeavesIt;
        return FALSE;
    }
    m_kept = thread;
    m_keptId = id;
    m_nThreadID = id;
    m_hThread = thread;
    if ((flags & CREATE_SUSPENDED) == 0)
        ::ResumeThread(thread); // the object may be gone from here on
    return TRUE;
}

// Makes room for another thread where the last one is as good as over.
bool CWinThread::ForgetLastThread()
{
    if (m_kept == nullptr)
        return true;
    if (t_current == this)
        return false;
    ::WaitForSingleObject(m_kept, INFINITE);
    ::CloseHandle(m_kept);
    m_kept = nullptr;
    return true;
}

DWORD CWinThread::ResumeThread() { return ::ResumeThread(m_hThread); }

BOOL CWinThread::PostThreadMessage(UINT message, WPARAM wParam, LPARAM lParam)
{
    DWORD const id = m_nThreadID;
    return id != 0 ? ::PostThreadMessageW(id, message, wParam, lParam) : FALSE;
}

bool CWinThread::DeleteWhenEnded() noexcept
{
    End expected = End::Open;
    return m_end.compare_exchange_strong(expected, End::Deletes) || expected == End::Deletes;
}

DWORD WINAPI CWinThread::Start(LPVOID object)
{
    CWinThread * const self = static_cast<CWinThread *>(object);
    if (self->m_canceled)
        return 0;
    t_current = self;
    DWORD code;
    {
        Watch const watch(*self);
        code = self->RunHere(watch);
        if (watch.Deleted())
            return code;
    }
    bool const autoDelete = self->m_bAutoDelete != FALSE;
    // Once the object is left, whoever sees that may delete it: this is the last touch of it then.
    if (autoDelete || self->m_end.exchange(End::LeavesIt) == End::Deletes)
        delete self;
    t_current = nullptr;
    return code;
}

DWORD CWinThread::RunHere(Watch const & watch)
{
    if (m_procedure != nullptr)
        return m_procedure(m_parameter);
    BOOL const goesOn = InitInstance();
    if (watch.Deleted())
        return 0;
    return static_cast<DWORD>(goesOn != FALSE ? Run() : ExitInstance());
}

BOOL CWinThread::InitInstance() { return FALSE; }

int CWinThread::Run()
{
    Watch const watch(*this);
    LONG idleCount = 0; // -1: nothing more to do while idle
    for (;;)
    {
        if (idleCount >= 0)
        {
            MSG next;
            bool const idle = ::PeekMessageW(&next, nullptr, 0, 0, PM_NOREMOVE) == FALSE;
            if (watch.Deleted())
                return 0;
            if (idle)
            {
                BOOL const more = OnIdle(idleCount);
                if (watch.Deleted())
                    return 0;
                idleCount = more != FALSE ? idleCount + 1 : -1;
                continue;
            }
        }
        BOOL const goesOn = PumpMessage();
        if (watch.Deleted())
            return 0;
        if (goesOn == FALSE)
            return ExitInstance();
        if (IsIdleMessage(&m_msgCur) != FALSE)
            idleCount = 0;
    }
}

BOOL CWinThread::PreTranslateMessage(MSG * /*message*/) { return FALSE; }

BOOL CWinThread::PumpMessage()
{
    Watch const watch(*this);
    MSG message{};
    BOOL const taken = ::GetMessageW(&message, nullptr, 0, 0);
    if (watch.Deleted())
        return FALSE;
    // Field by field, as it was stored a moment ago: a wider read of several fields would wait for the cache.
    m_msgCur.hwnd = message.hwnd;
    m_msgCur.message = message.message;
    m_msgCur.wParam = message.wParam;
    m_msgCur.lParam = message.lParam;
    m_msgCur.time = message.time;
    m_msgCur.pt = message.pt;
    if (taken <= 0)
        return FALSE;
    if (PreTranslateMessage(&m_msgCur) == FALSE && !watch.Deleted())
    {
        ::TranslateMessage(&m_msgCur);
        ::DispatchMessageW(&m_msgCur);
    }
    return TRUE;
}

BOOL CWinThread::OnIdle(LONG count) { return count < 1 ? TRUE : FALSE; }

BOOL CWinThread::IsIdleMessage(MSG * message)
{
    return message->message != kPaint && message->message != kCaretBlink ? TRUE : FALSE;
}

int CWinThread::ExitInstance() { return static_cast<int>(m_msgCur.wParam); }

CWnd * CWinThread::GetMainWnd() { return m_pMainWnd; }

CWinThread * AfxBeginThread(AFX_THREADPROC procedure, LPVOID parameter, int /*priority*/, UINT stackSize, DWORD flags,
                            SECURITY_ATTRIBUTES * attributes)
{
    auto thread = std::make_unique<CWinThread>(procedure, parameter);
    return thread->CreateThread(flags, stackSize, attributes) != FALSE ? thread.release() : nullptr;
}

CWinThread * AfxGetThread() noexcept { return t_current; }

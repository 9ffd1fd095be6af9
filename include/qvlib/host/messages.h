// Windows without a screen, the message queues of threads, and the operations that move messages between them.
//
// A window here is an address for messages: it belongs to the thread that made it, its procedure runs on that thread
// alone, and it dies with it. There are message-only windows (parent HWND_MESSAGE) and nothing that is drawn.
//
//     LRESULT CALLBACK Echo(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
//     {
//         return message == WM_APP ? static_cast<LRESULT>(wParam) + 1 : DefWindowProcW(window, message, wParam,
//         lParam);
//     }
//
//     WNDCLASSEXW type{};
//     type.cbSize = sizeof type;
//     type.lpfnWndProc = &Echo;
//     type.lpszClassName = L"Echo";
//     RegisterClassExW(&type);
//     HWND const window = CreateWindowExW(0, L"Echo", nullptr, WS_CHILD, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr,
//                                         nullptr);
//     MSG message{};
//     while (GetMessageW(&message, nullptr, 0, 0) > 0)
//     {
//         TranslateMessage(&message);
//         DispatchMessageW(&message);
//     }
//
// Order. A thread that looks for messages first runs everything that other threads have sent to its windows, then takes
// posted messages in the order of their arrival, and the request to quit when no posted message is left for it.
//
// Queues. A thread that owns no window can own a queue all the same: every thread of the process has one as soon as
// somebody posts to it, also before it has looked for messages. A queue keeps up to kPostedMessageLimit posted
// messages; a post beyond that fails with ERROR_NOT_ENOUGH_QUOTA. Sent messages and the request to quit need no place
// in it.
//
// Handles. The handle of a window that is gone is never valid again, however many windows come after it.
//
// Failures are FALSE, 0 or null, and the status is in GetLastError: ERROR_INVALID_WINDOW_HANDLE for a window that is
// not there (or not any more). An exception that leaves a procedure passes through the operation that called it; a
// sender on another thread then gets 0.
//
// Thread rules: looking for messages, and destroying a window, is for the thread whose queue or window it is;
// everything else is thread-safe. Windows are of this process; no other one sees them.
#pragma once

#include "qvlib/export.h"
#include "qvlib/host/types.h"

#if !defined(_WIN32)

using ATOM = WORD;
struct HICON__;
using HICON = HICON__ *;
using HCURSOR = HICON;
struct HBRUSH__;
using HBRUSH = HBRUSH__ *;
struct HMENU__;
using HMENU = HMENU__ *;

/// A window's procedure: gets every message that reaches the window, on the window's thread.
using WNDPROC = LRESULT(CALLBACK *)(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

// Messages.
constexpr UINT WM_NULL = 0x0000;
constexpr UINT WM_CREATE = 0x0001;
constexpr UINT WM_DESTROY = 0x0002;
constexpr UINT WM_CLOSE = 0x0010;
constexpr UINT WM_QUIT = 0x0012;
constexpr UINT WM_NCCREATE = 0x0081;
constexpr UINT WM_NCDESTROY = 0x0082;
constexpr UINT WM_TIMER = 0x0113;
constexpr UINT WM_USER = 0x0400; ///< from here to 0x7FFF each window class has its own
constexpr UINT WM_APP = 0x8000;  ///< from here to 0xBFFF each program has its own

// Window classes and windows.
constexpr UINT CS_GLOBALCLASS = 0x4000;
constexpr DWORD WS_CHILD = 0x40000000;
/// The parent of every message-only window.
inline HWND const HWND_MESSAGE = reinterpret_cast<HWND>(static_cast<LONG_PTR>(-3));

// Places in a window that GetWindowLongPtrW reads.
constexpr int GWLP_WNDPROC = -4;
constexpr int GWLP_HINSTANCE = -6;
constexpr int GWLP_HWNDPARENT = -8;
constexpr int GWLP_ID = -12;
constexpr int GWL_STYLE = -16;
constexpr int GWL_EXSTYLE = -20;
constexpr int GWLP_USERDATA = -21;

// How PeekMessageW looks.
constexpr UINT PM_NOREMOVE = 0x0000;
constexpr UINT PM_REMOVE = 0x0001;
constexpr UINT PM_NOYIELD = 0x0002; ///< accepted, without effect

// Kinds of input. Only posted and sent messages come up here.
constexpr UINT QS_POSTMESSAGE = 0x0008;
constexpr UINT QS_SENDMESSAGE = 0x0040;
constexpr UINT QS_ALLPOSTMESSAGE = 0x0100;
constexpr UINT QS_ALLINPUT = 0x04FF;

// How MsgWaitForMultipleObjectsEx waits.
constexpr DWORD MWMO_WAITALL = 0x0001;
constexpr DWORD MWMO_INPUTAVAILABLE = 0x0004; ///< input that has been looked at and left counts, too

// How SendMessageTimeoutW waits.
constexpr UINT SMTO_NORMAL = 0x0000;
constexpr UINT SMTO_BLOCK = 0x0001; ///< runs no incoming messages meanwhile

/// How many posted messages a thread's queue keeps.
constexpr DWORD kPostedMessageLimit = 10000;

/// A window class. Of the fields, the style, the procedure, the instance and the name count; the extra bytes must be 0
/// and the rest is kept as it is.
struct WNDCLASSEXW
{
    UINT cbSize; ///< the record's size
    UINT style;
    WNDPROC lpfnWndProc;
    int cbClsExtra;
    int cbWndExtra;
    HINSTANCE hInstance;
    HICON hIcon;
    HCURSOR hCursor;
    HBRUSH hbrBackground;
    LPCWSTR lpszMenuName;
    LPCWSTR lpszClassName;
    HICON hIconSm;
};

/// What CreateWindowExW was called with; WM_NCCREATE and WM_CREATE bring its address in lParam.
struct CREATESTRUCTW
{
    LPVOID lpCreateParams;
    HINSTANCE hInstance;
    HMENU hMenu;
    HWND hwndParent;
    int cy;
    int cx;
    int y;
    int x;
    LONG style;
    LPCWSTR lpszName;
    LPCWSTR lpszClass;
    DWORD dwExStyle;
};

struct POINT
{
    LONG x;
    LONG y;
};

/// A message as it is taken from a queue.
struct MSG
{
    HWND hwnd; ///< null: for the thread, not for a window
    UINT message;
    WPARAM wParam;
    LPARAM lParam;
    DWORD time; ///< always 0
    POINT pt;   ///< always 0, 0
};

/// Makes a window class known to the process, without regard to who registers it: CS_GLOBALCLASS and the instance have
/// no effect. Names are one without regard to case. Gives a number that stands for the name; 0 with
/// ERROR_CLASS_ALREADY_EXISTS for a name that is taken, ERROR_INVALID_PARAMETER for a record without name, procedure or
/// right size.
QVLIB_API ATOM RegisterClassExW(WNDCLASSEXW const * type);
/// Fills the record of a class. The name in it is the class's own and stays valid while the class does. FALSE with
/// ERROR_CLASS_DOES_NOT_EXIST.
QVLIB_API BOOL GetClassInfoExW(HINSTANCE instance, LPCWSTR name, WNDCLASSEXW * type);
/// Forgets a class; FALSE with ERROR_CLASS_HAS_WINDOWS while one of its windows lives.
QVLIB_API BOOL UnregisterClassW(LPCWSTR name, HINSTANCE instance);

/// Makes a window of the calling thread. Its class is given by name (or the number of RegisterClassExW, as a pointer),
/// `parent` must be HWND_MESSAGE (else ERROR_NOT_SUPPORTED); `menu` is the window's id, of any pointer-sized value,
/// that GWLP_ID reads. The procedure gets WM_NCCREATE and WM_CREATE on the way; 0 for the one, -1 for the other, ends
/// it. The title, place and size only pass by in these. Null with ERROR_CANNOT_FIND_WND_CLASS for an unknown class,
/// ERROR_NO_MORE_USER_HANDLES beyond 65,536 windows.
QVLIB_API HWND CreateWindowExW(DWORD exStyle, LPCWSTR className, LPCWSTR title, DWORD style, int x, int y, int width,
                               int height, HWND parent, HMENU menu, HINSTANCE instance, LPVOID parameter);
/// Ends a window of the calling thread (another's: ERROR_ACCESS_DENIED). Its procedure gets WM_DESTROY and
/// WM_NCDESTROY, then the handle is not valid any more, messages posted to it are gone and those who wait for an answer
/// of it get 0. The windows that a thread leaves behind end with it, and without these messages.
QVLIB_API BOOL DestroyWindow(HWND window);
/// Whether the handle is that of a window that is there. FALSE for null.
QVLIB_API BOOL IsWindow(HWND window);
/// The id of the thread that owns the window, 0 when there is none; `process`, if not null, gets the process's id.
QVLIB_API DWORD GetWindowThreadProcessId(HWND window, DWORD * process);
/// Reads a place in a window (GWLP_...). Leaves the status 0 when the place holds 0.
QVLIB_API LONG_PTR GetWindowLongPtrW(HWND window, int index);
/// Changes GWLP_WNDPROC, GWLP_ID, GWLP_USERDATA, GWLP_HINSTANCE or the styles, from any thread, and gives what was
/// there. Messages that the window's thread takes from then on reach the new procedure.
QVLIB_API LONG_PTR SetWindowLongPtrW(HWND window, int index, LONG_PTR value);
/// The window's id. It is pointer-sized here, so that an address that was given as the id comes back whole.
QVLIB_API LONG_PTR GetDlgCtrlID(HWND window);

/// What is done with a message that a procedure does not know: WM_CLOSE destroys the window, WM_NCCREATE gives 1,
/// everything else 0.
QVLIB_API LRESULT CALLBACK DefWindowProcW(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
/// Calls a procedure that SetWindowLongPtrW gave.
QVLIB_API LRESULT CallWindowProcW(WNDPROC procedure, HWND window, UINT message, WPARAM wParam, LPARAM lParam);

/// Puts a message behind the others in the queue of the window's thread and returns at once; for a null window in that
/// of the calling thread. ERROR_NOT_ENOUGH_QUOTA when that queue is full.
QVLIB_API BOOL PostMessageW(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
/// Puts a message without a window in a thread's queue. The thread is one of this process that lives: started through
/// CreateThread, or one that has used the host (asked for its id, waited, looked for messages). Else FALSE with
/// ERROR_INVALID_THREAD_ID.
QVLIB_API BOOL PostThreadMessageW(DWORD threadId, UINT message, WPARAM wParam, LPARAM lParam);
/// Asks the calling thread's loop to end: once its posted messages are taken, it gets WM_QUIT with this code as wParam,
/// whatever range of messages it asks for. Asking twice leaves the second code.
QVLIB_API void PostQuitMessage(int exitCode);

/// Calls the procedure of the window and gives its result: at once for a window of the calling thread, else the
/// window's thread calls it when it next looks for messages (or waits for an answer itself), and the caller waits.
/// Messages that are sent to the caller meanwhile run, so that two threads may send to each other. 0 with a status when
/// the window or its thread ends first.
QVLIB_API LRESULT SendMessageW(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
/// The same with a limit in milliseconds: 0 with ERROR_TIMEOUT when there was no answer in time. A message that has not
/// begun by then is withdrawn; one that has runs to its end and its result is lost. `result` may be null. Within
/// one thread the limit does not count. Non-zero on success. Of the flags SMTO_BLOCK has an effect.
QVLIB_API LRESULT SendMessageTimeoutW(HWND window, UINT message, WPARAM wParam, LPARAM lParam, UINT flags, UINT timeout,
                                      DWORD_PTR * result);
/// Sends to a window of the calling thread as SendMessageW does; for another's, leaves the message to run ahead of the
/// posted ones and returns at once. ERROR_NOT_ENOUGH_QUOTA when kPostedMessageLimit of such messages wait there.
QVLIB_API BOOL SendNotifyMessageW(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
/// Answers the sender of the message that is being run before the procedure returns. FALSE when it came from this
/// thread or has its answer.
QVLIB_API BOOL ReplyMessage(LRESULT result);
/// Whether a message that another thread sent is being run.
QVLIB_API BOOL InSendMessage();

/// Looks for a message of the calling thread: those of `window` alone, or of all its windows and of the thread for
/// null, or of the thread alone for -1; with numbers between `first` and `last`, both 0 for all. FALSE when there is
/// none. Runs what other threads have sent first.
QVLIB_API BOOL PeekMessageW(MSG * message, HWND window, UINT first, UINT last, UINT flags);
/// Takes the next message, waiting for one. 0 for WM_QUIT, -1 for a window that is not there.
QVLIB_API BOOL GetMessageW(MSG * message, HWND window, UINT first, UINT last);
/// Makes characters of key presses, of which there are none: FALSE.
QVLIB_API BOOL TranslateMessage(MSG const * message);
/// Calls the procedure of the message's window and gives its result. 0 for a message without a window, or whose window
/// is gone.
QVLIB_API LRESULT DispatchMessageW(MSG const * message);
/// The kinds of input in the queue in the upper half; those that are new in the lower half, which are not new any more.
QVLIB_API DWORD GetQueueStatus(UINT kinds);
/// Waits for new input, running what other threads send.
QVLIB_API BOOL WaitMessage();

/// Waits for handles as WaitForMultipleObjects does, or for new input of the kinds in `wakeMask` (QS_...): then gives
/// WAIT_OBJECT_0 + count. Input that arrived since the calling thread last looked for messages, asked for the queue's
/// status or waited for input is new, and no longer once this has told of it. A handle that can be taken comes before
/// input. At most 63 handles. With `waitAll` the wait ends with all of the handles, or with input; the platform's would
/// wait for both. Sent messages are told of and left for PeekMessageW, unless the mask lacks QS_SENDMESSAGE: then they
/// run inside.
QVLIB_API DWORD MsgWaitForMultipleObjects(DWORD count, HANDLE const * handles, BOOL waitAll, DWORD timeout,
                                          DWORD wakeMask);
/// The same with flags (MWMO_...).
QVLIB_API DWORD MsgWaitForMultipleObjectsEx(DWORD count, HANDLE const * handles, DWORD timeout, DWORD wakeMask,
                                            DWORD flags);

/// A message number, from 0xC000 to 0xFFFF, that is the same for the same name (without regard to case) as long as the
/// process lives. 0 for no name, for one of more than 255 characters, and when the numbers are used up.
QVLIB_API UINT RegisterWindowMessageW(LPCWSTR name);

#endif

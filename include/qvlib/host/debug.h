// The platform's channels to whoever watches a program: the debugger channel, the texts of system statuses, and the
// message box.
//
// A program may take each over. Without a sink the debugger channel goes to the standard error stream, and only when
// the environment says QVLIB_TRACE=1 or a debugger is attached. Without a handler a message box is a line on the
// standard error stream; it never waits for a person.
//
//     qvlib::host::SetDebugSink([](wchar_t const * text) { log += text; });
//
// Everything here is thread-safe. A sink or handler is called on the thread that speaks, with no lock held.
#pragma once

#include <functional>

#include "qvlib/export.h"
#include "qvlib/host/types.h"

#if !defined(_WIN32)

/// Writes `text` (null does nothing) to the debugger channel as it stands; no line end is added.
QVLIB_API void OutputDebugStringW(LPCWSTR text);

constexpr DWORD FORMAT_MESSAGE_ALLOCATE_BUFFER = 0x0100;
constexpr DWORD FORMAT_MESSAGE_IGNORE_INSERTS = 0x0200;
constexpr DWORD FORMAT_MESSAGE_FROM_SYSTEM = 0x1000;

/// The English text of a system status or result code, with the line end "\r\n" that the system puts behind it. Only
/// FORMAT_MESSAGE_FROM_SYSTEM is known; `source`, `languageId` and `arguments` are ignored and inserts stay as they
/// are. With FORMAT_MESSAGE_ALLOCATE_BUFFER, `buffer` is the address of a pointer that receives text to be freed with
/// LocalFree, else a buffer of `size` characters. Returns the length, 0 for an unknown code or a buffer too small.
QVLIB_API DWORD FormatMessageW(DWORD flags, LPCVOID source, DWORD messageId, DWORD languageId, LPWSTR buffer,
                               DWORD size, void * arguments);
/// Frees what FormatMessageW allocated (null does nothing) and gives null.
QVLIB_API HLOCAL LocalFree(HLOCAL block);

constexpr UINT MB_OK = 0x0000;
constexpr UINT MB_ICONERROR = 0x0010;
constexpr UINT MB_ICONWARNING = 0x0030;
constexpr int IDOK = 1;

/// Shows `text` under `caption` (either may be null) by the program's handler, else as a line on the standard error
/// stream, and gives the handler's answer, else IDOK. `owner` is handed on.
QVLIB_API int MessageBoxW(HWND owner, LPCWSTR text, LPCWSTR caption, UINT type);
/// A handle that stands for the whole screen. Never null; good for nothing but naming an owner.
QVLIB_API HWND GetDesktopWindow();

#endif

namespace qvlib::host
{

/// Receives each text of the debugger channel.
using DebugSink = std::function<void(wchar_t const * text)>;
/// Receives each message box and answers with a button's number (IDOK...). Texts are never null.
using MessageBoxHandler = std::function<int(HWND owner, wchar_t const * text, wchar_t const * caption, UINT type)>;

/// Sets the sink of the debugger channel (an empty one restores the default) and gives the one before. A call that runs
/// on another thread meanwhile may still reach the old sink.
QVLIB_API DebugSink SetDebugSink(DebugSink sink);
/// Sets what shows message boxes (an empty one restores the default) and gives the handler before.
QVLIB_API MessageBoxHandler SetMessageBoxHandler(MessageBoxHandler handler);

/// Ends the process by a write to address zero, for a debugger or a memory dump to show the spot.
[[noreturn]] QVLIB_API void WriteToAddressZero() noexcept;

} // namespace qvlib::host

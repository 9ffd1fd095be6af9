// The platform's scalar types, handles, result codes and access masks, under the platform's names.
//
// The platform's quantities keep their widths whatever the machine's `long` is: a DWORD, LONG, HRESULT or LCID has 32
// bits here. The library's own interface says `long` and `unsigned long`, which convert to and from these.
#pragma once

#if defined(_WIN32)
#include <windows.h>
#else

#include <cstddef>
#include <cstdint>

#ifndef __int64
// A type name of the platform, so that `unsigned __int64` reads as it does there.
#define __int64 long long
#endif

#ifndef STDMETHODCALLTYPE
// The calling convention of interface methods; this platform has one convention for all.
#define STDMETHODCALLTYPE
#endif
#ifndef WINAPI
#define WINAPI
#endif
#ifndef CALLBACK
#define CALLBACK
#endif

using BYTE = unsigned char;
using WORD = std::uint16_t;
using USHORT = std::uint16_t;
using SHORT = std::int16_t;
using BOOL = int;
using INT = int;
using UINT = unsigned int;
using DWORD = std::uint32_t;
using LONG = std::int32_t;
using ULONG = std::uint32_t;
using LONGLONG = __int64;
using ULONGLONG = unsigned __int64;
using HRESULT = std::int32_t;
using SCODE = std::int32_t;
using LSTATUS = std::int32_t;
using LCID = std::uint32_t;
using LCTYPE = std::uint32_t;
using DATE = double;
using WCHAR = wchar_t;
using LPWSTR = wchar_t *;
using LPCWSTR = wchar_t const *;
using LPSTR = char *;
using LPCSTR = char const *;
using PVOID = void *;
using LPVOID = void *;
using LPCVOID = void const *;
using SIZE_T = std::size_t;
using INT_PTR = std::intptr_t;
using UINT_PTR = std::uintptr_t;
using LONG_PTR = std::intptr_t;
using ULONG_PTR = std::uintptr_t;
using DWORD_PTR = std::uintptr_t;
using WPARAM = UINT_PTR;
using LPARAM = LONG_PTR;
using LRESULT = LONG_PTR;
using COLORREF = std::uint32_t;
using REGSAM = std::uint32_t;

using HANDLE = void *;
using HGLOBAL = void *;
using HLOCAL = void *;
struct HWND__;
using HWND = HWND__ *;
struct HKEY__;
using HKEY = HKEY__ *;
struct HINSTANCE__;
using HINSTANCE = HINSTANCE__ *;
using HMODULE = HINSTANCE;

/// An iteration cursor of the framework's containers and of the library's lists. Opaque; null means finished.
struct __POSITION;
using POSITION = __POSITION *;

#ifndef TRUE
#define TRUE 1
#endif
#ifndef FALSE
#define FALSE 0
#endif

/// A platform result code is a failure when its top bit is set.
constexpr bool SUCCEEDED(HRESULT hr) { return hr >= 0; }
constexpr bool FAILED(HRESULT hr) { return hr < 0; }

constexpr HRESULT S_OK = 0;
constexpr HRESULT S_FALSE = 1;
constexpr HRESULT E_UNEXPECTED = static_cast<HRESULT>(0x8000FFFFU);
constexpr HRESULT E_NOTIMPL = static_cast<HRESULT>(0x80004001U);
constexpr HRESULT E_NOINTERFACE = static_cast<HRESULT>(0x80004002U);
constexpr HRESULT E_POINTER = static_cast<HRESULT>(0x80004003U);
constexpr HRESULT E_ABORT = static_cast<HRESULT>(0x80004004U);
constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005U);
constexpr HRESULT E_PENDING = static_cast<HRESULT>(0x8000000AU);
constexpr HRESULT E_ACCESSDENIED = static_cast<HRESULT>(0x80070005U);
constexpr HRESULT E_OUTOFMEMORY = static_cast<HRESULT>(0x8007000EU);
constexpr HRESULT E_INVALIDARG = static_cast<HRESULT>(0x80070057U);

// System status codes.
constexpr LSTATUS ERROR_SUCCESS = 0;
constexpr LSTATUS ERROR_FILE_NOT_FOUND = 2;
constexpr LSTATUS ERROR_PATH_NOT_FOUND = 3;
constexpr LSTATUS ERROR_TOO_MANY_OPEN_FILES = 4;
constexpr LSTATUS ERROR_ACCESS_DENIED = 5;
constexpr LSTATUS ERROR_INVALID_HANDLE = 6;
constexpr LSTATUS ERROR_NOT_ENOUGH_MEMORY = 8;
constexpr LSTATUS ERROR_OUTOFMEMORY = 14;
constexpr LSTATUS ERROR_NOT_SAME_DEVICE = 17;
constexpr LSTATUS ERROR_NO_MORE_FILES = 18;
constexpr LSTATUS ERROR_WRITE_PROTECT = 19;
constexpr LSTATUS ERROR_SEEK = 25;
constexpr LSTATUS ERROR_GEN_FAILURE = 31;
constexpr LSTATUS ERROR_SHARING_VIOLATION = 32;
constexpr LSTATUS ERROR_NOT_SUPPORTED = 50;
constexpr LSTATUS ERROR_FILE_EXISTS = 80;
constexpr LSTATUS ERROR_INVALID_PARAMETER = 87;
constexpr LSTATUS ERROR_DISK_FULL = 112;
constexpr LSTATUS ERROR_INSUFFICIENT_BUFFER = 122;
constexpr LSTATUS ERROR_INVALID_NAME = 123;
constexpr LSTATUS ERROR_NEGATIVE_SEEK = 131;
constexpr LSTATUS ERROR_FILENAME_EXCED_RANGE = 206;
constexpr LSTATUS ERROR_DIR_NOT_EMPTY = 145;
constexpr LSTATUS ERROR_BAD_PATHNAME = 161;
constexpr LSTATUS ERROR_ALREADY_EXISTS = 183;
constexpr LSTATUS ERROR_BAD_EXE_FORMAT = 193;
constexpr LSTATUS ERROR_DIRECTORY = 267;
constexpr LSTATUS ERROR_MORE_DATA = 234;
constexpr LSTATUS ERROR_NO_MORE_ITEMS = 259;
constexpr LSTATUS ERROR_INVALID_FLAGS = 1004;
constexpr LSTATUS ERROR_BADDB = 1009;
constexpr LSTATUS ERROR_CANTOPEN = 1011;
constexpr LSTATUS ERROR_CANTREAD = 1012;
constexpr LSTATUS ERROR_CANTWRITE = 1013;
constexpr LSTATUS ERROR_REGISTRY_IO_FAILED = 1016;
constexpr LSTATUS ERROR_KEY_DELETED = 1018;
constexpr LSTATUS ERROR_IO_DEVICE = 1117;
constexpr LSTATUS ERROR_NO_UNICODE_TRANSLATION = 1113;
constexpr LSTATUS ERROR_BUSY = 170;
constexpr LSTATUS ERROR_NO_MORE_USER_HANDLES = 1158;
constexpr LSTATUS ERROR_INVALID_WINDOW_HANDLE = 1400;
constexpr LSTATUS ERROR_CANNOT_FIND_WND_CLASS = 1407;
constexpr LSTATUS ERROR_CLASS_ALREADY_EXISTS = 1410;
constexpr LSTATUS ERROR_CLASS_DOES_NOT_EXIST = 1411;
constexpr LSTATUS ERROR_CLASS_HAS_WINDOWS = 1412;
constexpr LSTATUS ERROR_INVALID_INDEX = 1413;
constexpr LSTATUS ERROR_INVALID_THREAD_ID = 1444;
constexpr LSTATUS ERROR_TIMEOUT = 1460;
constexpr LSTATUS ERROR_NOT_ENOUGH_QUOTA = 1816;

/// A system status as a result code: 0 stays success, anything else becomes a failure of the system facility.
constexpr HRESULT HRESULT_FROM_WIN32(LSTATUS status)
{
    return status <= 0 ? static_cast<HRESULT>(status)
                       : static_cast<HRESULT>((static_cast<std::uint32_t>(status) & 0xFFFFU) | 0x80070000U);
}

/// Calendar fields of a moment. The month counts from 1, the day of the week from Sunday as 0.
struct SYSTEMTIME
{
    WORD wYear;
    WORD wMonth;
    WORD wDayOfWeek;
    WORD wDay;
    WORD wHour;
    WORD wMinute;
    WORD wSecond;
    WORD wMilliseconds;
};
using _SYSTEMTIME = SYSTEMTIME;

/// A moment as the count of 100-nanosecond steps since the start of 1601, in two halves.
struct FILETIME
{
    DWORD dwLowDateTime;
    DWORD dwHighDateTime;
};

/// A 64-bit number, whole and as two halves.
union LARGE_INTEGER
{
    struct
    {
        DWORD LowPart;
        LONG HighPart;
    } u;
    LONGLONG QuadPart;
};

union ULARGE_INTEGER
{
    struct
    {
        DWORD LowPart;
        DWORD HighPart;
    } u;
    ULONGLONG QuadPart;
};

constexpr UINT CP_ACP = 0;
constexpr UINT CP_UTF8 = 65001;

constexpr LCID LOCALE_INVARIANT = 0x007F;
constexpr LCID LOCALE_USER_DEFAULT = 0x0400;
constexpr LCID LOCALE_SYSTEM_DEFAULT = 0x0800;
/// The locale's own forms, not those that the user has set. There are no such settings here, so it changes nothing.
constexpr DWORD LOCALE_NOUSEROVERRIDE = 0x80000000U;

#endif

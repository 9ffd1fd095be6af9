// The platform's registry: keys in a tree, each with named, typed values, shared by all processes of a user.
//
// Names and status codes are the platform's. What differs here from what a reader may expect:
//
// - The current user's hive is the file user.hive in $XDG_CONFIG_HOME/qvlib (or ~/.config/qvlib), the machine's is
//   /etc/qvlib/machine.hive. When QVLIB_REGISTRY is set, both lie in the folder that it names. The environment is
//   looked at whenever a predefined key is used, so no thread may change it meanwhile; handles that are already open
//   stay with the hive they were opened in. A hive that does not exist reads as empty and is made by the first write.
// - A hive is an SQLite database in WAL mode, synchronous NORMAL. A write is in the file before the call returns, so
//   it outlives the process whatever way that ends, SIGKILL included. (Power loss may take the last writes, never the
//   database: that would cost a disk flush a write.) Any number of processes and threads may work at once.
// - HKEY_CLASSES_ROOT shows Software\Classes of the current user over the same key of the machine: a key or value is
//   looked for with the user first; writes go to the user.
// - A hive whose file is not writable, or carries no write permission at all, is read-only: opening a key in it for
//   writing gives ERROR_ACCESS_DENIED. A hive that another program keeps locked gives ERROR_BUSY after about two
//   seconds. A file that is not a hive, or is damaged, gives ERROR_BADDB and is left as it is.
// - Value data are the platform's bytes: text is UTF-16LE with its terminator, and sizes count bytes of it. Names of
//   keys and values are compared without regard to case (simple Unicode folding) and keep the case that they were
//   created with.
// - RegOpenKeyW and RegOpenKeyExW without a sub-key give a second handle to the same key, to be closed on its own;
//   for a predefined key they give that key itself.
// - Classes of keys, security and times of writing are not kept; volatile keys are refused.
//
// A key has at most 255 characters a name and lies at most 512 levels deep; a value name has at most 16383 characters.
// A path may end in a backslash; one that starts with a backslash, or has an empty part, is ERROR_BAD_PATHNAME.
//
// All functions are thread-safe, also over one handle, and work on both sides of fork(). A handle that is closed or
// never was one gives ERROR_INVALID_HANDLE, one whose key was deleted ERROR_KEY_DELETED. No function throws.
//
//     HKEY key;
//     if (RegCreateKeyExW(HKEY_CURRENT_USER, L"Software\\Example", 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS,
//                         nullptr, &key, nullptr) == ERROR_SUCCESS)
//     {
//         DWORD const count = 3;
//         RegSetValueExW(key, L"Count", 0, REG_DWORD, reinterpret_cast<BYTE const *>(&count), sizeof count);
//         RegCloseKey(key);
//     }
#pragma once

#include "qvlib/export.h"
#include "qvlib/host/types.h"

#if !defined(_WIN32)

// The predefined keys. They are always open; closing one does nothing.
#define HKEY_CLASSES_ROOT (reinterpret_cast<HKEY>(static_cast<LONG_PTR>(static_cast<LONG>(0x80000000U))))
#define HKEY_CURRENT_USER (reinterpret_cast<HKEY>(static_cast<LONG_PTR>(static_cast<LONG>(0x80000001U))))
#define HKEY_LOCAL_MACHINE (reinterpret_cast<HKEY>(static_cast<LONG_PTR>(static_cast<LONG>(0x80000002U))))

// Types of values. The registry keeps the number and does not look at it.
constexpr DWORD REG_NONE = 0;
constexpr DWORD REG_SZ = 1;
constexpr DWORD REG_EXPAND_SZ = 2;
constexpr DWORD REG_BINARY = 3;
constexpr DWORD REG_DWORD = 4;
constexpr DWORD REG_DWORD_LITTLE_ENDIAN = 4;
constexpr DWORD REG_DWORD_BIG_ENDIAN = 5;
constexpr DWORD REG_LINK = 6;
constexpr DWORD REG_MULTI_SZ = 7;
constexpr DWORD REG_QWORD = 11;
constexpr DWORD REG_QWORD_LITTLE_ENDIAN = 11;

// What a handle may be used for.
constexpr REGSAM KEY_QUERY_VALUE = 0x0001;
constexpr REGSAM KEY_SET_VALUE = 0x0002;
constexpr REGSAM KEY_CREATE_SUB_KEY = 0x0004;
constexpr REGSAM KEY_ENUMERATE_SUB_KEYS = 0x0008;
constexpr REGSAM KEY_NOTIFY = 0x0010;
constexpr REGSAM KEY_CREATE_LINK = 0x0020;
constexpr REGSAM KEY_WOW64_64KEY = 0x0100; // accepted, without effect: there is one view
constexpr REGSAM KEY_WOW64_32KEY = 0x0200; // accepted, without effect
constexpr REGSAM KEY_READ = 0x20019;
constexpr REGSAM KEY_EXECUTE = 0x20019;
constexpr REGSAM KEY_WRITE = 0x20006;
constexpr REGSAM KEY_ALL_ACCESS = 0xF003F;
#ifndef MAXIMUM_ALLOWED
#define MAXIMUM_ALLOWED 0x02000000
#endif

// Options and outcomes of creation.
constexpr DWORD REG_OPTION_NON_VOLATILE = 0;
constexpr DWORD REG_OPTION_VOLATILE = 1;
constexpr DWORD REG_CREATED_NEW_KEY = 1;
constexpr DWORD REG_OPENED_EXISTING_KEY = 2;

struct SECURITY_ATTRIBUTES;

/// Opens a key with as much access as the hive allows.
/// ERROR_FILE_NOT_FOUND when there is no such key; ERROR_BAD_PATHNAME, ERROR_INVALID_PARAMETER for a bad path.
/// `*result` is null after a failure; after success the caller closes it.
QVLIB_API LSTATUS RegOpenKeyW(HKEY key, LPCWSTR subKey, HKEY * result);

/// Opens a key with the access asked for; a handle is refused later what was not asked for here. `options` is 0.
QVLIB_API LSTATUS RegOpenKeyExW(HKEY key, LPCWSTR subKey, DWORD options, REGSAM access, HKEY * result);

/// Opens a key, creating it and whatever is missing on the way to it in one step. `reserved` is 0, `keyClass` is passed
/// over, `options` is REG_OPTION_NON_VOLATILE, `security` is null. `disposition` may be null.
QVLIB_API LSTATUS RegCreateKeyExW(HKEY key, LPCWSTR subKey, DWORD reserved, LPWSTR keyClass, DWORD options,
                                  REGSAM access, SECURITY_ATTRIBUTES const * security, HKEY * result,
                                  DWORD * disposition);

/// Closes a handle.
QVLIB_API LSTATUS RegCloseKey(HKEY key);

/// Reads a value; a null or empty name means the key's default value. `size` is in bytes, in and out. Without `data`
/// the size alone is told; with too little room ERROR_MORE_DATA, the size needed in `*size`, and `data` not written.
/// Needs KEY_QUERY_VALUE.
QVLIB_API LSTATUS RegQueryValueExW(HKEY key, LPCWSTR name, DWORD * reserved, DWORD * type, BYTE * data, DWORD * size);

/// Writes a value. Needs KEY_SET_VALUE. At most about 1,000,000,000 bytes.
QVLIB_API LSTATUS RegSetValueExW(HKEY key, LPCWSTR name, DWORD reserved, DWORD type, BYTE const * data, DWORD size);

/// The name, and if asked for the type and data, of the value at `index`; ERROR_NO_MORE_ITEMS past the end.
/// `nameLength` counts characters: the room with the terminator on the way in, the length without it on the way out.
/// Too little room for either gives ERROR_MORE_DATA. Values come in the order in which they were first written, so
/// that deleting one moves the indexes behind it. Needs KEY_QUERY_VALUE.
QVLIB_API LSTATUS RegEnumValueW(HKEY key, DWORD index, LPWSTR name, DWORD * nameLength, DWORD * reserved, DWORD * type,
                                BYTE * data, DWORD * size);

/// The name of the sub-key at `index`, ordered by folded name; lengths and failures as for RegEnumValueW. A class reads
/// as empty; `lastWrite` must be null. Needs KEY_ENUMERATE_SUB_KEYS.
QVLIB_API LSTATUS RegEnumKeyExW(HKEY key, DWORD index, LPWSTR name, DWORD * nameLength, DWORD * reserved,
                                LPWSTR keyClass, DWORD * classLength, FILETIME * lastWrite);

/// Deletes a key that has no sub-keys, with its values; ERROR_ACCESS_DENIED when it has some. An empty `subKey` means
/// the key of the handle. What the handle was opened for does not matter. Handles to the key stay to be closed.
QVLIB_API LSTATUS RegDeleteKeyW(HKEY key, LPCWSTR subKey);

/// The same; `access` chooses a view, of which there is one, and `reserved` is 0.
QVLIB_API LSTATUS RegDeleteKeyExW(HKEY key, LPCWSTR subKey, REGSAM access, DWORD reserved);

/// Deletes a value; ERROR_FILE_NOT_FOUND when there is none. Needs KEY_SET_VALUE.
QVLIB_API LSTATUS RegDeleteValueW(HKEY key, LPCWSTR name);

/// Counts and longest lengths of what the key holds: names in characters without a terminator, data in bytes. Each
/// pointer may be null; classes read as empty, `securitySize` as 0; `lastWrite` must be null. Needs KEY_QUERY_VALUE.
QVLIB_API LSTATUS RegQueryInfoKeyW(HKEY key, LPWSTR keyClass, DWORD * classLength, DWORD * reserved, DWORD * subKeys,
                                   DWORD * maxSubKeyLength, DWORD * maxClassLength, DWORD * values,
                                   DWORD * maxValueNameLength, DWORD * maxValueSize, DWORD * securitySize,
                                   FILETIME * lastWrite);

#endif

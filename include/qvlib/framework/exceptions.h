// The framework's exceptions: CException and its family, and the functions that throw them.
//
// They differ from what the framework's name suggests in one thing: they are ordinary C++ exceptions, thrown by value
// and caught by reference, and every one is a std::exception. Nothing is to be deleted by the catcher.
//
//     try
//     {
//         archive >> value;
//     }
//     catch (CArchiveException const & e)
//     {
//         if (e.m_cause == CArchiveException::endOfFile) ...
//     }
//
// All functions here are thread-safe; an exception object itself is thread-compatible.
#pragma once

#include <exception>

#include "qvlib/export.h"
#include "qvlib/framework/string.h"
#include "qvlib/host/types.h"

/// The framework's string: wide text, copies share their characters.
using CString = CStringT<wchar_t>;

/// The base of the framework's exceptions.
class QVLIB_API CException : public std::exception
{
public:
    CException() noexcept = default;
    CException(CException const &) = default;
    CException & operator=(CException const &) = default;
    ~CException() override;

    /// A short English text for logs. Never null, lives as long as the program.
    char const * what() const noexcept override;
    /// Copies the text of what() into `buffer` of `capacity` characters, cut to fit and terminated. False, with nothing
    /// written, when there is no room at all. `helpContext`, where given, becomes 0.
    BOOL GetErrorMessage(LPWSTR buffer, UINT capacity, UINT * helpContext = nullptr) const noexcept;
};

/// Memory could not be had.
class QVLIB_API CMemoryException : public CException
{
public:
    ~CMemoryException() override;
    char const * what() const noexcept override;
};

/// The operation is not there for this object.
class QVLIB_API CNotSupportedException : public CException
{
public:
    ~CNotSupportedException() override;
    char const * what() const noexcept override;
};

/// An argument was not acceptable: an index outside a container, a null cursor, a number too large for its field.
class QVLIB_API CInvalidArgException : public CException
{
public:
    ~CInvalidArgException() override;
    char const * what() const noexcept override;
};

/// An archive could not go on.
class QVLIB_API CArchiveException : public CException
{
public:
    enum
    {
        none = 0,
        genericException = 1,
        readOnly = 2,  ///< writing to an archive that loads
        endOfFile = 3, ///< the bytes ended inside a value
        writeOnly = 4, ///< reading from an archive that stores
        badIndex = 5,
        badClass = 6,
        badSchema = 7, ///< the record's version is not known
        bufferFull = 8,
    };

    /// `fileName` may be null.
    explicit CArchiveException(int cause = none, LPCWSTR fileName = nullptr);
    ~CArchiveException() override;
    char const * what() const noexcept override;

    int m_cause;           ///< one of the enumeration above
    CString m_strFileName; ///< the archive's file name, empty where it has none
};

/// A file operation failed.
class QVLIB_API CFileException : public CException
{
public:
    enum
    {
        none = 0,
        genericException = 1,
        fileNotFound = 2,
        badPath = 3,
        tooManyOpenFiles = 4,
        accessDenied = 5,
        invalidFile = 6,
        removeCurrentDir = 7,
        directoryFull = 8,
        badSeek = 9,
        hardIO = 10,
        sharingViolation = 11,
        lockViolation = 12,
        diskFull = 13,
        endOfFile = 14,
    };

    /// `osError` is a system status (ERROR_...), -1 when there is none; `fileName` may be null.
    explicit CFileException(int cause = none, LONG osError = -1, LPCWSTR fileName = nullptr);
    ~CFileException() override;
    char const * what() const noexcept override;

    /// The cause that a system status stands for.
    static int OsErrorToException(LONG osError) noexcept;

    int m_cause;
    LONG m_lOsError;
    CString m_strFileName;
};

/// A result code of the platform, as an exception.
class QVLIB_API COleException : public CException
{
public:
    explicit COleException(SCODE sc = S_OK) noexcept : m_sc(sc) {}
    ~COleException() override;
    char const * what() const noexcept override;

    /// The result code that stands for any exception: its own for a COleException, E_OUTOFMEMORY for a memory
    /// exception, E_NOTIMPL for one of a missing operation, E_INVALIDARG for a bad argument, else E_UNEXPECTED.
    static SCODE Process(CException const * exception) noexcept;

    SCODE m_sc;
};

[[noreturn]] QVLIB_API void AfxThrowMemoryException();
[[noreturn]] QVLIB_API void AfxThrowNotSupportedException();
[[noreturn]] QVLIB_API void AfxThrowInvalidArgException();
/// `fileName` may be null.
[[noreturn]] QVLIB_API void AfxThrowArchiveException(int cause, LPCWSTR fileName = nullptr);
/// `fileName` may be null.
[[noreturn]] QVLIB_API void AfxThrowFileException(int cause, LONG osError = -1, LPCWSTR fileName = nullptr);
[[noreturn]] QVLIB_API void AfxThrowOleException(SCODE sc);

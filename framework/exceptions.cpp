#include "qvlib/framework/exceptions.h"

#include <iterator>

CException::~CException() = default;
CMemoryException::~CMemoryException() = default;
CNotSupportedException::~CNotSupportedException() = default;
CInvalidArgException::~CInvalidArgException() = default;
CArchiveException::~CArchiveException() = default;
CFileException::~CFileException() = default;
COleException::~COleException() = default;

char const * CException::what() const noexcept { return "framework exception"; }
char const * CMemoryException::what() const noexcept { return "out of memory"; }
char const * CNotSupportedException::what() const noexcept { return "operation not supported"; }
char const * CInvalidArgException::what() const noexcept { return "invalid argument"; }
char const * COleException::what() const noexcept { return "platform result code"; }

BOOL CException::GetErrorMessage(LPWSTR buffer, UINT capacity, UINT * helpContext) const noexcept
{
    if (buffer == nullptr || capacity == 0)
        return FALSE;
    if (helpContext != nullptr)
        *helpContext = 0;
    for (char const * text = what(); *text != 0 && capacity > 1; --capacity)
        *buffer++ = static_cast<unsigned char>(*text++);
    *buffer = 0;
    return TRUE;
}

CArchiveException::CArchiveException(int cause, LPCWSTR fileName) : m_cause(cause), m_strFileName(fileName) {}

char const * CArchiveException::what() const noexcept
{
    static constexpr char const * kTexts[] = {
        "archive: no error",
        "archive: unknown error",
        "archive: writing to an archive that loads",
        "archive: the data ends too early",
        "archive: reading from an archive that stores",
        "archive: the data has an unexpected format",
        "archive: the data has an unexpected object",
        "archive: the data has an unknown version",
        "archive: the buffer is full",
    };
    bool const known = m_cause >= 0 && static_cast<std::size_t>(m_cause) < std::size(kTexts);
    return kTexts[known ? m_cause : genericException];
}

CFileException::CFileException(int cause, LONG osError, LPCWSTR fileName)
    : m_cause(cause), m_lOsError(osError), m_strFileName(fileName)
{
}

char const * CFileException::what() const noexcept
{
    static constexpr char const * kTexts[] = {
        "file: no error",
        "file: unknown error",
        "file: not found",
        "file: bad path",
        "file: too many open files",
        "file: access denied",
        "file: not an open file",
        "file: the current folder cannot be removed",
        "file: no room for another folder entry",
        "file: bad position",
        "file: hardware error",
        "file: in use by another",
        "file: a part is locked by another",
        "file: disk full",
        "file: end of file",
    };
    bool const known = m_cause >= 0 && static_cast<std::size_t>(m_cause) < std::size(kTexts);
    return kTexts[known ? m_cause : genericException];
}

int CFileException::OsErrorToException(LONG osError) noexcept
{
    switch (osError)
    {
    case ERROR_SUCCESS:
        return none;
    case ERROR_FILE_NOT_FOUND:
        return fileNotFound;
    case ERROR_PATH_NOT_FOUND:
    case ERROR_INVALID_NAME:
    case ERROR_FILENAME_EXCED_RANGE:
        return badPath;
    case ERROR_TOO_MANY_OPEN_FILES:
        return tooManyOpenFiles;
    case ERROR_ACCESS_DENIED:
    case ERROR_WRITE_PROTECT:
    case ERROR_FILE_EXISTS:
        return accessDenied;
    case ERROR_INVALID_HANDLE:
        return invalidFile;
    case ERROR_SEEK:
    case ERROR_NEGATIVE_SEEK:
        return badSeek;
    case ERROR_GEN_FAILURE:
    case ERROR_IO_DEVICE:
        return hardIO;
    case ERROR_SHARING_VIOLATION:
        return sharingViolation;
    case ERROR_DISK_FULL:
        return diskFull;
    default:
        return genericException;
    }
}

SCODE COleException::Process(CException const * exception) noexcept
{
    if (auto const * const ole = dynamic_cast<COleException const *>(exception))
        return ole->m_sc;
    if (dynamic_cast<CMemoryException const *>(exception) != nullptr)
        return E_OUTOFMEMORY;
    if (dynamic_cast<CNotSupportedException const *>(exception) != nullptr)
        return E_NOTIMPL;
    if (dynamic_cast<CInvalidArgException const *>(exception) != nullptr)
        return E_INVALIDARG;
    return E_UNEXPECTED;
}

void AfxThrowMemoryException() { throw CMemoryException(); }
void AfxThrowNotSupportedException() { throw CNotSupportedException(); }
void AfxThrowInvalidArgException() { throw CInvalidArgException(); }
void AfxThrowArchiveException(int cause, LPCWSTR fileName) { throw CArchiveException(cause, fileName); }
void AfxThrowFileException(int cause, LONG osError, LPCWSTR fileName)
{
    throw CFileException(cause, osError, fileName);
}
void AfxThrowOleException(SCODE sc) { throw COleException(sc); }

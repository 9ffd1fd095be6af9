#include "qvlib/framework/file.h"

namespace
{

void Check(LSTATUS status, CString const & path)
{
    if (status != ERROR_SUCCESS)
        AfxThrowFileException(CFileException::OsErrorToException(status), status, path);
}

} // namespace

CFile::CFile() noexcept = default;

CFile::CFile(LPCWSTR fileName, UINT openFlags)
{
    CFileException error;
    if (!CFile::Open(fileName, openFlags, &error))
        throw error;
}

CFile::~CFile() = default;

BOOL CFile::Open(LPCWSTR fileName, UINT openFlags, CFileException * error)
{
    UINT const access = openFlags & 3;
    UINT const sharing = openFlags & 0x70;
    qvlib::host::NativeFile::Mode mode;
    mode.read = access != modeWrite;
    mode.write = access != modeRead;
    mode.create = (openFlags & modeCreate) != 0;
    mode.truncate = mode.create && (openFlags & modeNoTruncate) == 0;
    mode.exclusive = sharing == shareCompat || sharing == shareExclusive;
    // A file that is made empty but can only be read would be of no use: it is made with both.
    mode.write = mode.write || mode.truncate;

    CString path(fileName);
    LSTATUS const status =
        access == 3 || path.IsEmpty() ? ERROR_INVALID_PARAMETER : m_file.Open(path.GetString(), mode);
    if (status == ERROR_SUCCESS)
    {
        m_path.Swap(path);
        return TRUE;
    }
    if (error != nullptr)
        *error = CFileException(path.IsEmpty() ? static_cast<int>(CFileException::badPath)
                                               : CFileException::OsErrorToException(status),
                                status, path);
    return FALSE;
}

UINT CFile::Read(void * buffer, UINT count)
{
    std::size_t done = 0;
    if (count != 0)
        Check(m_file.Read(buffer, count, done), m_path);
    return static_cast<UINT>(done);
}

void CFile::Write(void const * buffer, UINT count)
{
    if (count != 0)
        Check(m_file.Write(buffer, count), m_path);
}

ULONGLONG CFile::Seek(LONGLONG offset, UINT from)
{
    unsigned long long position = 0;
    Check(m_file.Seek(offset, from, position), m_path);
    return position;
}

ULONGLONG CFile::GetPosition() const
{
    unsigned long long position = 0;
    // Asking moves nothing, but the host's one operation for both is not const.
    Check(const_cast<qvlib::host::NativeFile &>(m_file).Seek(0, current, position), m_path);
    return position;
}

ULONGLONG CFile::GetLength() const
{
    unsigned long long length = 0;
    Check(m_file.Length(length), m_path);
    return length;
}

void CFile::SetLength(ULONGLONG length)
{
    Check(m_file.SetLength(length), m_path);
    Seek(static_cast<LONGLONG>(length), begin);
}

void CFile::Flush()
{
    if (m_file.IsOpen())
        Check(m_file.Flush(), m_path);
}

void CFile::Close()
{
    CString path;
    path.Swap(m_path);
    if (m_file.IsOpen())
        Check(m_file.Close(), path);
}

void CFile::Abort()
{
    m_path.Empty();
    static_cast<void>(m_file.Close());
}

CString CFile::GetFileName() const
{
    CString const path = GetFilePath();
    int const slash = path.ReverseFind(L'/');
    int const backslash = slash >= 0 ? slash : path.ReverseFind(L'\\'); // with a slash, a backslash is part of a name
    int const separator = backslash >= 0 ? backslash : path.ReverseFind(L':');
    return path.Mid(separator + 1);
}

CString CFile::GetFilePath() const { return m_path; }

void CFile::SetFilePath(LPCWSTR path) { m_path = path; }

UINT CFile::GetBufferPtr(UINT command, UINT, void **, void **)
{
    if (command != bufferCheck)
        AfxThrowNotSupportedException();
    return 0;
}

BOOL CFile::GetStatus(LPCWSTR fileName, CFileStatus & status)
{
    DWORD const attributes = GetFileAttributesW(fileName);
    if (attributes == INVALID_FILE_ATTRIBUTES)
        return FALSE;
    status.m_attribute = attributes;
    status.m_size = 0;
    status.m_szFullName = fileName;
    qvlib::host::NativeFile::Size(fileName, status.m_size);
    return TRUE;
}

void CFile::Remove(LPCWSTR fileName) { Check(qvlib::host::NativeFile::Remove(fileName), fileName); }

void CFile::Rename(LPCWSTR oldName, LPCWSTR newName)
{
    Check(qvlib::host::NativeFile::Rename(oldName, newName), oldName);
}

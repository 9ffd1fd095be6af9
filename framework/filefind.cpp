#include "qvlib/framework/filefind.h"

#include "qvlib/host/error.h"
#include "qvlib/host/path.h"

#include <string>
#include <utility>

BOOL CFileFind::FindFile(LPCWSTR name, DWORD)
{
    Close();
    LSTATUS status = m_folder.Open(name == nullptr ? L"*.*" : name);
    if (status == ERROR_SUCCESS)
    {
        m_more = m_folder.Next(m_ahead);
        if (m_more)
            return TRUE;
        m_folder.Close();
        status = ERROR_FILE_NOT_FOUND;
    }
    SetLastError(static_cast<DWORD>(status));
    return FALSE;
}

BOOL CFileFind::FindNextFile()
{
    if (!m_more)
    {
        SetLastError(static_cast<DWORD>(ERROR_NO_MORE_FILES));
        return FALSE;
    }
    std::swap(m_current, m_ahead);
    m_more = m_folder.Next(m_ahead);
    return m_more ? TRUE : FALSE;
}

void CFileFind::Close()
{
    m_folder.Close();
    m_current = {};
    m_more = false;
}

CString CFileFind::GetRoot() const
{
    std::wstring const & root = m_folder.Root();
    std::size_t length = root.size();
    if (length > 1 && root[length - 2] != L':')
        --length;
    return CString(root.data(), static_cast<int>(length));
}

CString CFileFind::GetFileName() const
{
    std::wstring name;
    qvlib::host::PlatformName(m_current.name, name);
    return CString(name.data(), static_cast<int>(name.size()));
}

CString CFileFind::GetFileTitle() const
{
    CString const name = GetFileName();
    int const dot = name.ReverseFind(L'.');
    return dot < 0 ? name : name.Left(dot);
}

CString CFileFind::GetFilePath() const
{
    if (m_current.name.empty())
        return {};
    std::wstring name;
    qvlib::host::PlatformName(m_current.name, name);
    std::wstring const & root = m_folder.Root();
    CString path;
    path.Preallocate(static_cast<int>(root.size() + name.size()));
    path.Append(root.data(), static_cast<int>(root.size()));
    path.Append(name.data(), static_cast<int>(name.size()));
    return path;
}

ULONGLONG CFileFind::GetLength() const
{
    DWORD attributes = 0;
    std::uint64_t size = 0;
    return !m_current.name.empty() && m_folder.Status(m_current, attributes, size) ? size : 0;
}

BOOL CFileFind::MatchesMask(DWORD mask) const
{
    if (m_current.name.empty())
        return FALSE;
    DWORD known = 0;
    if (m_current.isFolder)
        known |= FILE_ATTRIBUTE_DIRECTORY;
    if (m_current.isLink)
        known |= FILE_ATTRIBUTE_REPARSE_POINT;
    DWORD const kinds = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;
    if ((known & mask) != 0 || (mask & ~kinds) == 0)
        return (known & mask) != 0 ? TRUE : FALSE;
    std::uint64_t size = 0;
    return m_folder.Status(m_current, known, size) && (known & mask) != 0 ? TRUE : FALSE;
}

BOOL CFileFind::IsDots() const { return m_current.name == "." || m_current.name == ".." ? TRUE : FALSE; }

// CFileFind: the framework's finder, which reads what matches a path with wildcards in its last name.
//
//     CFileFind finder;
//     for (BOOL more = finder.FindFile(L"C:\\logs\\*.txt"); more;)
//     {
//         more = finder.FindNextFile(); // makes an entry current, and is FALSE when it is the last
//         Use(finder.GetFilePath());
//     }
//
// The finder looks one entry ahead. The dot entries are among what it reports. A symbolic link is an entry of its own,
// with the attribute 0x400 and never that of a directory, so a walk doesn't follow it. Objects are thread-compatible.
#pragma once

#include "qvlib/export.h"
#include "qvlib/framework/exceptions.h"
#include "qvlib/host/file.h"
#include "qvlib/host/folder.h"
#include "qvlib/host/types.h"

class QVLIB_API CFileFind
{
public:
    CFileFind() noexcept = default;
    CFileFind(CFileFind const &) = delete;
    CFileFind & operator=(CFileFind const &) = delete;
    virtual ~CFileFind() = default;

    /// Starts the search; null stands for "*.*". FALSE when the folder can't be read or nothing in it matches, the
    /// status then being in GetLastError. No entry is current yet.
    virtual BOOL FindFile(LPCWSTR name = nullptr, DWORD unused = 0);
    /// Makes the next entry current; nonzero when there is one behind it.
    virtual BOOL FindNextFile();
    /// Ends the search.
    void Close();

    // Of the current entry. Before the first, names are empty and attributes 0.

    /// The folder that is read, as it was given to FindFile, with no separator at its end but that of a root.
    virtual CString GetRoot() const;
    virtual CString GetFileName() const;
    /// The name without its extension.
    virtual CString GetFileTitle() const;
    virtual CString GetFilePath() const;
    /// The size in bytes of a file, 0 of anything else and of a file that is gone.
    ULONGLONG GetLength() const;
    /// Whether the entry has any of these attributes (FILE_ATTRIBUTE_).
    virtual BOOL MatchesMask(DWORD mask) const;
    /// Whether it is "." or "..".
    virtual BOOL IsDots() const;
    BOOL IsDirectory() const { return MatchesMask(FILE_ATTRIBUTE_DIRECTORY); }
    BOOL IsReadOnly() const { return MatchesMask(FILE_ATTRIBUTE_READONLY); }
    BOOL IsHidden() const { return MatchesMask(FILE_ATTRIBUTE_HIDDEN); }

private:
    qvlib::host::NativeFolder m_folder;
    qvlib::host::NativeFolder::Entry m_current;
    qvlib::host::NativeFolder::Entry m_ahead;
    bool m_more = false;
};

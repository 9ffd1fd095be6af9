// CFile: the framework's file, an unbuffered stream of bytes with a position.
//
// Read, Write, Seek and the rest are virtual, so that any stream can stand behind a CFile; CMemFile keeps its bytes in
// memory. A CFile itself is a file of the system. Names are the platform's ("C:\dir\name") or the system's own
// ("/dir/name"); host/path.h tells how one becomes the other.
//
//     CFile file(L"/tmp/data.bin", CFile::modeCreate | CFile::modeWrite);
//     file.Write("abc", 3);
//     file.Close(); // here a late failure would show; the destructor closes too, in silence
//
// Failures are CFileException, but for Open, which can also answer with false. Objects are thread-compatible.
#pragma once

#include "qvlib/export.h"
#include "qvlib/framework/exceptions.h"
#include "qvlib/host/file.h"
#include "qvlib/host/types.h"

/// What CFile::GetStatus tells.
struct CFileStatus
{
    ULONGLONG m_size = 0;  ///< bytes of a file, 0 of a directory
    DWORD m_attribute = 0; ///< FILE_ATTRIBUTE_, 0x10 for a directory
    CString m_szFullName;  ///< the path as it was asked for
};

class QVLIB_API CFile
{
public:
    enum OpenFlags : UINT
    {
        modeRead = 0x00000,
        modeWrite = 0x00001,
        modeReadWrite = 0x00002,
        shareCompat = 0x00000,    ///< the same as shareExclusive
        shareExclusive = 0x00010, ///< nobody else may have the file open through this class
        shareDenyWrite = 0x00020, ///< kept out: only those who ask for the file alone
        shareDenyRead = 0x00030,  ///< as shareDenyWrite
        shareDenyNone = 0x00040,
        modeNoInherit = 0x00080,   ///< always so: files do not pass to child processes
        modeCreate = 0x01000,      ///< makes the file, and empties one that is there
        modeNoTruncate = 0x02000,  ///< with modeCreate: leaves the content of one that is there
        typeText = 0x04000,        ///< no effect: bytes are never changed
        typeBinary = 0x08000,      ///< no effect
        osNoBuffer = 0x10000,      ///< no effect
        osWriteThrough = 0x20000,  ///< no effect
        osRandomAccess = 0x40000,  ///< no effect
        osSequentialScan = 0x80000 ///< no effect
    };
    enum SeekPosition : UINT
    {
        begin = 0,
        current = 1,
        end = 2
    };
    /// What GetBufferPtr is asked to do.
    enum BufferCommand : UINT
    {
        bufferRead,
        bufferWrite,
        bufferCommit,
        bufferCheck
    };
    /// What GetBufferPtr(bufferCheck) answers with.
    enum BufferFlags : UINT
    {
        bufferDirect = 1
    };

    /// A closed file.
    CFile() noexcept;
    /// Opens a file. Throws CFileException.
    CFile(LPCWSTR fileName, UINT openFlags);
    CFile(CFile const &) = delete;
    CFile & operator=(CFile const &) = delete;
    /// Closes the file if it is open; a failure of that is not seen.
    virtual ~CFile();

    /// Opens a file; one that is open must be closed first (else the cause is accessDenied). On failure false, the file
    /// stays as it was, and `error`, where given, tells why.
    virtual BOOL Open(LPCWSTR fileName, UINT openFlags, CFileException * error = nullptr);
    /// Reads up to `count` bytes and gives how many were read; fewer than asked only at the end of the file.
    virtual UINT Read(void * buffer, UINT count);
    /// Writes all of `count` bytes at the position, or throws.
    virtual void Write(void const * buffer, UINT count);
    /// Moves the position by `offset` from `from` (SeekPosition) and gives the new position. A place before the start
    /// throws with the cause badSeek; behind the end is allowed.
    virtual ULONGLONG Seek(LONGLONG offset, UINT from);
    virtual ULONGLONG GetPosition() const;
    virtual ULONGLONG GetLength() const;
    /// Cuts the file or lengthens it with zero bytes, and leaves the position at the new end.
    virtual void SetLength(ULONGLONG length);
    /// Hands what was written to the storage.
    virtual void Flush();
    virtual void Close();
    /// Closes and reports nothing.
    virtual void Abort();

    /// The last component of the path, and the path as it was given to Open.
    virtual CString GetFileName() const;
    virtual CString GetFilePath() const;
    /// Names a file that has no name of its own.
    virtual void SetFilePath(LPCWSTR path);

    ULONGLONG SeekToEnd() { return Seek(0, end); }
    void SeekToBegin() { Seek(0, begin); }

    /// Direct access to the bytes of a file that lies in memory. bufferCheck answers bufferDirect where there is such
    /// access, else 0, and only then may the others be asked:
    /// - bufferRead: up to `count` bytes from the position as [*start, *stop), position behind them; gives their
    /// number.
    /// - bufferWrite: room for at least `count` bytes at the position as [*start, *stop); gives at least `count`.
    /// - bufferCommit: the first `count` bytes of that room have been written; the position goes behind them.
    /// A pointer holds until the file's next operation.
    virtual UINT GetBufferPtr(UINT command, UINT count = 0, void ** start = nullptr, void ** stop = nullptr);

    /// Whether something stands at the path, and what; links are followed, and one that leads nowhere counts as
    /// nothing. FALSE leaves `status` as it was.
    static BOOL GetStatus(LPCWSTR fileName, CFileStatus & status);
    /// Deletes, and renames or moves, a file that is not open. Throw CFileException.
    static void Remove(LPCWSTR fileName);
    static void Rename(LPCWSTR oldName, LPCWSTR newName);

private:
    qvlib::host::NativeFile m_file;
    CString m_path;
};

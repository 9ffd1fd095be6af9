// CMemFile: a CFile whose bytes lie in memory.
//
//     CMemFile file;
//     CArchive archive(&file, CArchive::store);
//     archive << 42;
//     archive.Close();
//     ULONGLONG const size = file.GetLength(); // 4
//     BYTE * const bytes = file.Detach();      // now the caller's, to be released with std::free
//
// The memory grows by half of itself, and by no less than the step given at construction. Memory attached with a step
// of 0 never grows: a write beyond it throws CMemoryException. Objects are thread-compatible.
#pragma once

#include "qvlib/framework/file.h"

class QVLIB_API CMemFile : public CFile
{
public:
    /// An empty file that grows by at least `growBytes`; 0 makes one that never grows.
    explicit CMemFile(UINT growBytes = 1024) noexcept;
    /// A file over memory of the caller's, see Attach.
    CMemFile(BYTE * buffer, UINT size, UINT growBytes = 0);
    ~CMemFile() override;

    /// Takes over `size` bytes in place of what the file held. With `growBytes` 0 the memory stays the caller's, the
    /// file has these bytes as its content and can change but not lengthen it. Otherwise the memory must come from
    /// std::malloc and becomes the file's, which begins empty.
    void Attach(BYTE * buffer, UINT size, UINT growBytes = 0);
    /// Gives the memory away and leaves the file closed and empty. Null when there was none. Memory that the file has
    /// allocated is the caller's to release with std::free.
    BYTE * Detach();
    /// The bytes in place, GetLength() of them; null when there are none yet. Holds until the file's next operation.
    BYTE const * GetData() const noexcept { return m_data; }

    BOOL Open(LPCWSTR fileName, UINT openFlags, CFileException * error = nullptr) override;
    UINT Read(void * buffer, UINT count) override;
    void Write(void const * buffer, UINT count) override;
    ULONGLONG Seek(LONGLONG offset, UINT from) override;
    ULONGLONG GetPosition() const override;
    ULONGLONG GetLength() const override;
    void SetLength(ULONGLONG length) override;
    void Flush() override;
    /// Releases the file's own memory; the file is then empty.
    void Close() override;
    void Abort() override;
    UINT GetBufferPtr(UINT command, UINT count = 0, void ** start = nullptr, void ** stop = nullptr) override;

protected:
    /// Memory as the file takes and returns it, for a subclass that keeps it elsewhere. Null means that there is none.
    /// A subclass that overrides these calls Close in its own destructor.
    virtual BYTE * Realloc(BYTE * buffer, SIZE_T size);
    virtual void Free(BYTE * buffer);

private:
    void Reserve(SIZE_T capacity);

    BYTE * m_data = nullptr;
    SIZE_T m_capacity = 0;
    SIZE_T m_length = 0;
    SIZE_T m_position = 0;
    UINT m_growBytes;
    bool m_owned = true;
};

// A stream for tests: hands out its bytes in pieces of one size, keeps what is written, and can fail.
#pragma once

#include "qvlib/host/com.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string>

namespace qvlib_test
{

class PieceStream final : public IStream
{
public:
    PieceStream(std::string bytes, std::size_t piece) : m_bytes(std::move(bytes)), m_piece(piece) {}
    PieceStream() : PieceStream(std::string(), 1) {}

    /// Everything from this read or write on fails with the code.
    void FailAfter(std::size_t calls, HRESULT code)
    {
        m_failAfter = calls;
        m_code = code;
    }
    std::string const & Bytes() const { return m_bytes; }
    std::size_t Position() const { return m_position; }
    int References() const { return m_references; }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void ** object) override
    {
        *object = nullptr;
        if (!(iid == IID_IUnknown || iid == IID_IStream || iid == IID_ISequentialStream))
            return E_NOINTERFACE;
        *object = static_cast<IStream *>(this);
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return static_cast<ULONG>(++m_references); }
    ULONG STDMETHODCALLTYPE Release() override { return static_cast<ULONG>(--m_references); }
    HRESULT STDMETHODCALLTYPE Read(void * buffer, ULONG count, ULONG * read) override
    {
        if (m_failAfter-- == 0)
            return m_failAfter = 0, m_code;
        std::size_t const given = std::min({std::size_t{count}, m_piece, m_bytes.size() - m_position});
        std::memcpy(buffer, m_bytes.data() + m_position, given);
        m_position += given;
        *read = static_cast<ULONG>(given);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Write(void const * buffer, ULONG count, ULONG * written) override
    {
        if (m_failAfter-- == 0)
            return m_failAfter = 0, m_code;
        m_bytes.append(static_cast<char const *>(buffer), count);
        *written = count;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Seek(LARGE_INTEGER, DWORD, ULARGE_INTEGER *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetSize(ULARGE_INTEGER) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE CopyTo(IStream *, ULARGE_INTEGER, ULARGE_INTEGER *, ULARGE_INTEGER *) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE Commit(DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Revert() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Stat(STATSTG *, DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Clone(IStream **) override { return E_NOTIMPL; }

private:
    std::string m_bytes;
    std::size_t m_piece;
    std::size_t m_position = 0;
    std::size_t m_failAfter = static_cast<std::size_t>(-1);
    HRESULT m_code = E_FAIL;
    int m_references = 1;
};

} // namespace qvlib_test

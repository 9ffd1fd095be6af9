// StringStream: a byte stream over wide text, to read from or to write to.
//
// The bytes are UTF-16 units, little-endian, and every call moves whole units: the odd last byte of a request is
// ignored. A character above U+FFFF is two units; halves written by two calls come together. Reads and writes are all
// there is: every other operation is E_NOTIMPL.
//
//     qvlib::StringStream * stream = nullptr;
//     qvlib::StringStream::CreateForReading(&stream, L"<a/>");
//     auto root = qvlib::XmlParser::Load(stream);
//     stream->Release();
//
// A stream stays in the mode it was made in. Thread rule: the reference count is thread-safe, the rest
// thread-compatible.
#pragma once

#include "qvlib/QVString.h"
#include "qvlib/export.h"
#include "qvlib/host/com.h"

#include <atomic>
#include <sstream>
#include <string>

namespace qvlib
{

class QVLIB_API StringStream final : public IStream
{
public:
    /// Writing mode, empty.
    StringStream();
    /// Reading mode, over the text.
    explicit StringStream(std::wstring const & text);
    explicit StringStream(std::wstring && text);
    /// Reading mode, over the text up to its first NUL.
    explicit StringStream(CQVString const & text);
    /// Take over the text, the mode and the count.
    StringStream(StringStream && other);
    StringStream & operator=(StringStream && other);
    ~StringStream();

    /// Store a stream with one reference, the caller's, or null when there is no memory for it.
    static void CreateForReading(StringStream ** stream, CQVString const & text);
    static void CreateForWriting(StringStream ** stream);

    /// The whole text of the side in use. GetString ends it at the first NUL.
    std::wstring GetStdString() const;
    CQVString GetString() const;

    /// E_INVALIDARG for a null `object`.
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void ** object) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;
    /// S_OK also at the end, with a count of 0. E_INVALIDARG in writing mode, with no count stored. `read` must be
    /// given.
    HRESULT STDMETHODCALLTYPE Read(void * buffer, ULONG count, ULONG * read) override;
    /// Reports the whole request as written, its odd last byte too. E_INVALIDARG in reading mode, with no count stored.
    /// `written` must be given.
    HRESULT STDMETHODCALLTYPE Write(void const * buffer, ULONG count, ULONG * written) override;
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
    std::atomic<ULONG> m_references{1};
    std::wistringstream m_input;
    std::wostringstream m_output;
    bool m_writing;
    wchar_t m_half = 0; // reading: the low surrogate still to come; writing: the high one that came last
};

} // namespace qvlib

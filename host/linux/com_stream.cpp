// The stream over memory.

#include "host/linux/internal/mutex.h"
#include "qvlib/detail/counted.h"
#include "qvlib/host/com.h"

#include <algorithm>
#include <memory>
#include <new>
#include <vector>

namespace
{

constexpr ULONGLONG kMaxSize = 0x7FFFFFFF;

/// The bytes that a stream and its clones share.
struct SharedBytes
{
    qvlib::host::Mutex lock;
    std::vector<BYTE> bytes QVLIB_GUARDED_BY(lock);
};

/// Grows geometrically, as streams are written in small pieces.
void Resize(std::vector<BYTE> & bytes, std::size_t size)
{
    if (size > bytes.capacity())
        bytes.reserve(std::max(size, std::min<std::size_t>(bytes.capacity() * 2, kMaxSize)));
    bytes.resize(size);
}

void Tell(ULONG * out, std::size_t count) noexcept
{
    if (out != nullptr)
        *out = static_cast<ULONG>(count);
}

void Tell(ULARGE_INTEGER * out, ULONGLONG count) noexcept
{
    if (out != nullptr)
        out->QuadPart = count;
}

class MemoryStream final : public qvlib::detail::Counted<IStream>
{
public:
    MemoryStream(std::shared_ptr<SharedBytes> data, ULONGLONG position) noexcept
        : m_data(std::move(data)), m_position(position)
    {
    }

    HRESULT STDMETHODCALLTYPE Read(void * buffer, ULONG count, ULONG * read) override
    {
        Tell(read, 0);
        if (buffer == nullptr && count != 0)
            return STG_E_INVALIDPOINTER;
        qvlib::host::MutexLock const guard(m_data->lock);
        std::size_t const came = Available(count);
        if (came != 0)
            std::memcpy(buffer, m_data->bytes.data() + m_position, came);
        m_position += came;
        Tell(read, came);
        return came == count ? S_OK : S_FALSE;
    }
    HRESULT STDMETHODCALLTYPE Write(void const * buffer, ULONG count, ULONG * written) override
    {
        Tell(written, 0);
        if (buffer == nullptr && count != 0)
            return STG_E_INVALIDPOINTER;
        if (count == 0)
            return S_OK;
        qvlib::host::MutexLock const guard(m_data->lock);
        ULONGLONG const end = m_position + count; // the position is at most 2^63 - 1
        if (end > m_data->bytes.size())
        {
            if (HRESULT const result = SetBytes(end); FAILED(result))
                return result;
        }
        std::memcpy(m_data->bytes.data() + m_position, buffer, count);
        m_position = end;
        Tell(written, count);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER * position) override
    {
        qvlib::host::MutexLock const guard(m_data->lock);
        ULONGLONG base = 0;
        switch (origin)
        {
        case STREAM_SEEK_SET:
            break;
        case STREAM_SEEK_CUR:
            base = m_position;
            break;
        case STREAM_SEEK_END:
            base = m_data->bytes.size();
            break;
        default:
            return STG_E_INVALIDFUNCTION;
        }
        // Unsigned throughout: a move in front of the start and one past 2^63 - 1 both show as the top bit.
        ULONGLONG const target = base + static_cast<ULONGLONG>(move.QuadPart);
        if (target >> 63 != 0)
            return STG_E_INVALIDFUNCTION;
        m_position = target;
        Tell(position, target);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE SetSize(ULARGE_INTEGER size) override
    {
        qvlib::host::MutexLock const guard(m_data->lock);
        return SetBytes(size.QuadPart);
    }
    HRESULT STDMETHODCALLTYPE CopyTo(IStream * target, ULARGE_INTEGER count, ULARGE_INTEGER * read,
                                     ULARGE_INTEGER * written) override
    {
        Tell(read, 0);
        Tell(written, 0);
        if (target == nullptr)
            return STG_E_INVALIDPOINTER;
        BYTE piece[4096]; // the target may share our bytes, so nothing is handed out under the lock
        for (ULONGLONG done = 0; done < count.QuadPart;)
        {
            ULONG came = 0;
            Read(piece, static_cast<ULONG>(std::min<ULONGLONG>(sizeof piece, count.QuadPart - done)), &came);
            if (came == 0)
                break;
            done += came;
            Tell(read, done);
            ULONG went = 0;
            HRESULT const result = target->Write(piece, came, &went);
            if (written != nullptr)
                written->QuadPart += went;
            if (FAILED(result))
                return result;
        }
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Commit(DWORD) override { return S_OK; } // writes are never held back
    HRESULT STDMETHODCALLTYPE Revert() override { return S_OK; }
    HRESULT STDMETHODCALLTYPE LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override
    {
        return STG_E_INVALIDFUNCTION; // memory has no regions to lock
    }
    HRESULT STDMETHODCALLTYPE UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override
    {
        return STG_E_INVALIDFUNCTION;
    }
    HRESULT STDMETHODCALLTYPE Stat(STATSTG * status, DWORD) override
    {
        if (status == nullptr)
            return STG_E_INVALIDPOINTER;
        *status = STATSTG{}; // it has no name, whether one is asked for or not
        status->type = STGTY_STREAM;
        status->grfMode = STGM_READWRITE;
        qvlib::host::MutexLock const guard(m_data->lock);
        status->cbSize.QuadPart = m_data->bytes.size();
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Clone(IStream ** stream) override
    {
        if (stream == nullptr)
            return STG_E_INVALIDPOINTER;
        qvlib::host::MutexLock const guard(m_data->lock);
        *stream = new (std::nothrow) MemoryStream(m_data, m_position);
        return *stream != nullptr ? S_OK : E_OUTOFMEMORY;
    }

private:
    ~MemoryStream() override = default;

    std::size_t Available(ULONG count) const noexcept QVLIB_REQUIRES(m_data->lock)
    {
        std::size_t const size = m_data->bytes.size();
        return m_position >= size ? 0 : std::min<std::size_t>(count, size - m_position);
    }
    HRESULT SetBytes(ULONGLONG size) noexcept QVLIB_REQUIRES(m_data->lock)
    {
        if (size > kMaxSize)
            return STG_E_MEDIUMFULL;
        try
        {
            Resize(m_data->bytes, static_cast<std::size_t>(size));
            return S_OK;
        }
        catch (std::bad_alloc const &)
        {
            return STG_E_MEDIUMFULL;
        }
    }

    std::shared_ptr<SharedBytes> const m_data;
    ULONGLONG m_position QVLIB_GUARDED_BY(m_data->lock);
};

} // namespace

IStream * SHCreateMemStream(BYTE const * data, UINT size)
{
    try
    {
        auto shared = std::make_shared<SharedBytes>();
        if (data != nullptr)
        {
            qvlib::host::MutexLock const guard(shared->lock);
            shared->bytes.assign(data, data + size);
        }
        return new MemoryStream(std::move(shared), 0);
    }
    catch (std::bad_alloc const &)
    {
        return nullptr;
    }
}

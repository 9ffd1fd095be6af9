#include "qvlib/SharedValueHeap.h"

#include "qvlib/ArchiveSerialization.h"
#include "qvlib/framework/archive.h"

namespace qvlib
{

template class CSharedValueHeap<std::wstring, std::less<std::wstring>, CTLCriticalSection,
                                qvlib_sharedvalueheap_accessor>;

constinit std::atomic<void *> qvlib_sharedvalueheap_accessor::s_heap{nullptr};

/// The library's heap. It is forgotten when it ends, which may be long after the process gave its own reference back:
/// handles of static storage may end later than the library's statics.
class ProcessHeap final : public CSharedWideString::Heap
{
public:
    static void * Create()
    {
        auto * const made = new ProcessHeap;
        made->AddRef();
        void * stored = nullptr;
        if (qvlib_sharedvalueheap_accessor::s_heap.compare_exchange_strong(stored, AsStored(made),
                                                                           std::memory_order_acq_rel))
            return AsStored(made);
        made->Release(); // another thread got there first
        return stored;
    }
    static void GiveBack()
    {
        if (void * const heap = qvlib_sharedvalueheap_accessor::s_heap.load(std::memory_order_acquire))
            static_cast<CSharedWideString::Heap *>(heap)->Release();
    }

protected:
    void OnFinalRelease() override
    {
        void * self = AsStored(this);
        qvlib_sharedvalueheap_accessor::s_heap.compare_exchange_strong(self, nullptr, std::memory_order_acq_rel);
        CTLUnknown::OnFinalRelease();
    }

private:
    static void * AsStored(CSharedWideString::Heap * heap) noexcept { return heap; }
};

namespace
{

struct AtExit
{
    ~AtExit() { ProcessHeap::GiveBack(); }
} const g_atExit;

} // namespace

void * qvlib_sharedvalueheap_accessor::Create() { return ProcessHeap::Create(); }

CArchive & operator<<(CArchive & archive, CSharedWideString const & handle)
{
    archive << handle.IsNull();
    if (!handle.IsNull())
        SerializeString(archive, const_cast<std::wstring &>(*handle)); // storing only reads it
    return archive;
}

CArchive & operator>>(CArchive & archive, CSharedWideString & handle)
{
    bool isNull = false;
    archive >> isNull;
    if (isNull)
        return archive;
    std::wstring text;
    SerializeString(archive, text);
    handle = text;
    return archive;
}

CArchive & serialize_string_value(CSharedWideString & handle, CArchive & archive)
{
    std::wstring text;
    if (archive.IsStoring())
        return SerializeString(archive, handle.IsNull() ? text : const_cast<std::wstring &>(*handle));
    SerializeString(archive, text);
    handle = text;
    return archive;
}

} // namespace qvlib

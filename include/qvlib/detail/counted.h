// The reference count and the answers for interfaces of the library's own objects.
#pragma once

#include "qvlib/host/com.h"

#include <atomic>
#include <type_traits>

namespace qvlib::detail
{

/// An object that implements the interfaces, born with one reference, its maker's, and deleted with the last one.
/// References are counted on any thread.
template <class First, class... Rest>
class Counted : public First, public Rest...
{
public:
    Counted(Counted const &) = delete;
    Counted & operator=(Counted const &) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void ** object) override
    {
        if (object == nullptr)
            return E_POINTER;
        *object = nullptr;
        if (iid == IID_IUnknown)
            *object = static_cast<First *>(this);
        else
            (Offer<First>(iid, object) || ... || Offer<Rest>(iid, object));
        if (*object == nullptr)
            return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override
    {
        // Relaxed: whoever adds a reference already holds one.
        return m_references.fetch_add(1, std::memory_order_relaxed) + 1;
    }
    ULONG STDMETHODCALLTYPE Release() override
    {
        // The last one must see what the others did.
        ULONG const left = m_references.fetch_sub(1, std::memory_order_acq_rel) - 1;
        if (left == 0)
            delete this;
        return left;
    }

protected:
    Counted() = default;
    virtual ~Counted() = default;

private:
    // An interface stands for those that it derives from, too.
    template <class Interface>
    static bool Answers(REFIID iid) noexcept
    {
        return iid == host::kInterfaceId<Interface> ||
               (std::is_base_of_v<IDispatch, Interface> && iid == IID_IDispatch) ||
               (std::is_base_of_v<ISequentialStream, Interface> && iid == IID_ISequentialStream) ||
               (std::is_base_of_v<IClassFactory, Interface> && iid == IID_IClassFactory);
    }
    template <class Interface>
    bool Offer(REFIID iid, void ** object) noexcept
    {
        if (!Answers<Interface>(iid))
            return false;
        *object = static_cast<Interface *>(this);
        return true;
    }

    std::atomic<ULONG> m_references{1};
};

} // namespace qvlib::detail

// ITLUnknown and CTLUnknown: the bases of objects that others reach through IUnknown.
//
// ITLUnknown is for objects whose lifetime is not counted: they live on a stack or as a member, and their owner ends
// them. CTLUnknown<1> counts on any thread, CTLUnknown<0> on one. A counted object is born with NO reference, so its
// maker takes the first:
//
//     class CThing : public qvlib::CTLUnknown<1>
//     {
//     };
//     CThing * thing = new CThing;
//     thing->AddRef();
//     thing->Release(); // 0: the object is gone
//
// Both answer for IUnknown alone. A class with more interfaces overrides QueryInterface.
#pragma once

#include "qvlib/export.h"
#include "qvlib/host/com.h"

#include <atomic>
#include <cstdint>
#include <type_traits>

namespace qvlib
{

/// An object whose references are not counted. Thread-safe: it has no state.
class QVLIB_API ITLUnknown : public IUnknown
{
public:
    /// S_OK and this object with a reference for IUnknown. Any other id is E_NOINTERFACE, and `*object` stays as it was
    /// (kept on purpose: callers depend on it). E_POINTER without a place to store.
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void ** object) override;
    /// 1, and nothing else.
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;

protected:
    ~ITLUnknown() = default;
};

/// An object that ends with its last reference. `N` is 1 to count on any thread (thread-safe), 0 for one thread
/// (thread-affine).
template <int N>
class CTLUnknown : public ITLUnknown
{
    static_assert(N == 0 || N == 1);

public:
    CTLUnknown() noexcept = default;
    /// The count is copied with the rest: a copy of a referenced object is born with as many references. Kept on
    /// purpose: callers depend on it.
    CTLUnknown(CTLUnknown const & other) noexcept : ITLUnknown(other), m_references(other.Count()) {}
    /// Each keeps its own count.
    CTLUnknown & operator=(CTLUnknown const &) noexcept { return *this; }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void ** object) override
    {
        return ITLUnknown::QueryInterface(iid, object);
    }
    /// The new count.
    ULONG STDMETHODCALLTYPE AddRef() override { return Increase(); }
    /// The new count; at 0 OnFinalRelease has been called, and the object is gone.
    ULONG STDMETHODCALLTYPE Release() override
    {
        std::uint32_t const left = Decrease();
        if (left == 0)
            OnFinalRelease();
        return left;
    }
    virtual ~CTLUnknown() = default;

    /// The count now; another thread may have changed it since.
    unsigned long GetRefCount() const noexcept { return Count(); }

protected:
    // The count alone, up and down: the new value. Nothing is deleted at 0.
    unsigned long InternalAddRef() const noexcept { return Increase(); }
    unsigned long InternalRelease() const noexcept { return Decrease(); }

    /// The last reference went. Calls Delete.
    virtual void OnFinalRelease() { Delete(); }
    /// Deletes the object. Override it to keep the object for another use.
    virtual void Delete() { delete this; }

private:
    std::uint32_t Increase() const noexcept
    {
        if constexpr (N == 1)
            return m_references.fetch_add(1, std::memory_order_relaxed) + 1; // whoever adds already holds one
        else
            return ++m_references;
    }
    std::uint32_t Decrease() const noexcept
    {
        if constexpr (N == 1)
            return m_references.fetch_sub(1, std::memory_order_acq_rel) - 1; // the last one sees what others did
        else
            return --m_references;
    }
    std::uint32_t Count() const noexcept
    {
        if constexpr (N == 1)
            return m_references.load(std::memory_order_relaxed);
        else
            return m_references;
    }

    mutable std::conditional_t<N == 1, std::atomic<std::uint32_t>, std::uint32_t> m_references{0};
};

extern template class QVLIB_API CTLUnknown<0>;
extern template class QVLIB_API CTLUnknown<1>;

} // namespace qvlib

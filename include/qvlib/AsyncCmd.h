// CTLAsyncCmd: a piece of work that a command queue runs on its own thread, and the commands that tell when they are
// over.
//
//     struct Greet : qvlib::CTLAsyncCmd
//     {
//         void Execute() override { std::puts("hello"); }
//     };
//     queue.QueueCmd(new Greet, 0); // the queue deletes it
//
// Exactly one of Execute and Canceled is called for each command that a queue takes, and each once.
//
// Commands are made on one thread and deleted on another. Memory for small ones (up to 128 bytes) comes from lists of
// such blocks, which the two threads hand each other by the batch; at most 16 MB of each size are kept for reuse.
#pragma once

#include <cstddef>
#include <new>

#include "qvlib/export.h"

namespace qvlib
{

struct QVLIB_API CTLAsyncCmd
{
    CTLAsyncCmd() = default;
    CTLAsyncCmd(CTLAsyncCmd const &) = default;
    CTLAsyncCmd & operator=(CTLAsyncCmd const &) = default;
    virtual ~CTLAsyncCmd();

    /// Does the work; on the queue's thread, with no lock of the queue held.
    virtual void Execute() = 0;
    /// Called in place of Execute when the command is thrown away, on the thread that throws it away, with no lock of
    /// the queue held. Does nothing unless overridden.
    virtual void Canceled();

    // Thread-safe. A class that derives from this one may have its own instead.
    static void * operator new(std::size_t size);
    static void * operator new(std::size_t size, std::nothrow_t const & tag) noexcept;
    static void * operator new(std::size_t size, std::align_val_t alignment) { return ::operator new(size, alignment); }
    static void * operator new(std::size_t size, std::align_val_t alignment, std::nothrow_t const & tag) noexcept
    {
        return ::operator new(size, alignment, tag);
    }
    static void * operator new(std::size_t, void * place) noexcept { return place; }
    static void operator delete(void * memory, std::size_t size) noexcept;
    static void operator delete(void * memory, std::nothrow_t const &) noexcept { ::operator delete(memory); }
    static void operator delete(void * memory, std::size_t, std::align_val_t alignment) noexcept
    {
        ::operator delete(memory, alignment);
    }
    static void operator delete(void * memory, std::align_val_t alignment, std::nothrow_t const &) noexcept
    {
        ::operator delete(memory, alignment);
    }
    static void operator delete(void *, void *) noexcept {}
};

/// Runs or cancels another command and sets an event afterwards, also when that one throws.
class QVLIB_API CTLSyncAsyncCmd : public CTLAsyncCmd
{
public:
    /// Owns neither; both must live until the event is set. A null command counts as done.
    CTLSyncAsyncCmd(void * event, CTLAsyncCmd * command) noexcept : m_event(event), m_command(command) {}
    ~CTLSyncAsyncCmd() override;

    // Once the event is set, the waiter may end this object: neither touches it after that.
    void Execute() override;
    void Canceled() override;

private:
    void * m_event;
    CTLAsyncCmd * m_command;
};

/// Sets an event when it is run or cancelled.
class QVLIB_API CTLEmptySyncAsyncCmd : public CTLAsyncCmd
{
public:
    /// Does not own the event, which must live until it is set.
    explicit CTLEmptySyncAsyncCmd(void * event) noexcept : m_event(event) {}
    ~CTLEmptySyncAsyncCmd() override;

    void Execute() override;
    void Canceled() override;

private:
    void * m_event;
};

} // namespace qvlib

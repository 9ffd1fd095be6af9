// Marks by which clang's thread safety analysis (-Wthread-safety) proves that data is touched under its lock only.
//
//     class Counter
//     {
//         mutable Mutex m_mutex;                        // a class that is a QVLIB_CAPABILITY
//         int m_count QVLIB_GUARDED_BY(m_mutex) = 0;
//     };
//
// Other compilers read them as nothing. The analysis and its terms: https://clang.llvm.org/docs/ThreadSafetyAnalysis.html
#pragma once

#if defined(__clang__)
#define QVLIB_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define QVLIB_THREAD_ANNOTATION(x)
#endif

/// The class is a lock; `name` is what the analysis calls it in its messages.
#define QVLIB_CAPABILITY(name) QVLIB_THREAD_ANNOTATION(capability(name))
/// The class holds a lock from its constructor to its destructor.
#define QVLIB_SCOPED_CAPABILITY QVLIB_THREAD_ANNOTATION(scoped_lockable)
/// The member is read and written under the lock only; for a pointer, what it points to.
#define QVLIB_GUARDED_BY(lock) QVLIB_THREAD_ANNOTATION(guarded_by(lock))
#define QVLIB_PT_GUARDED_BY(lock) QVLIB_THREAD_ANNOTATION(pt_guarded_by(lock))
/// The caller holds the lock, before and after; or must not hold it.
#define QVLIB_REQUIRES(...) QVLIB_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define QVLIB_EXCLUDES(...) QVLIB_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
/// The function takes the lock, leaves it, alone or with other readers, or takes it when it answers the first argument.
#define QVLIB_ACQUIRE(...) QVLIB_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define QVLIB_RELEASE(...) QVLIB_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define QVLIB_ACQUIRE_SHARED(...) QVLIB_THREAD_ANNOTATION(acquire_shared_capability(__VA_ARGS__))
#define QVLIB_RELEASE_SHARED(...) QVLIB_THREAD_ANNOTATION(release_shared_capability(__VA_ARGS__))
#define QVLIB_TRY_ACQUIRE(...) QVLIB_THREAD_ANNOTATION(try_acquire_capability(__VA_ARGS__))
/// The function gives back a reference to the lock.
#define QVLIB_RETURN_CAPABILITY(lock) QVLIB_THREAD_ANNOTATION(lock_returned(lock))
/// The function's locking is more than the analysis can follow; a comment beside it says why it is right.
#define QVLIB_NO_THREAD_SAFETY_ANALYSIS QVLIB_THREAD_ANNOTATION(no_thread_safety_analysis)

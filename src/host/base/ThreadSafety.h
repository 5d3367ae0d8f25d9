// Clang's thread-safety attributes (-Wthread-safety), empty elsewhere.
//
// A lock type is a capability; a member names the lock that guards it; an
// operation says which locks it takes or needs. Clang checks each function on
// its own: a CriticalSection is recursive, but the analysis does not know it,
// so a function that already holds a lock must not take it again in its own
// body (taking it again in a callee that is not annotated is fine).
#pragma once

#if defined(__clang__)
#define QF_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define QF_THREAD_ANNOTATION(x)
#endif

#define QF_CAPABILITY(name) QF_THREAD_ANNOTATION(capability(name))
#define QF_SCOPED_CAPABILITY QF_THREAD_ANNOTATION(scoped_lockable)
#define QF_GUARDED_BY(lock) QF_THREAD_ANNOTATION(guarded_by(lock))
#define QF_ACQUIRE(...) QF_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define QF_RELEASE(...) QF_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define QF_TRY_ACQUIRE(...) QF_THREAD_ANNOTATION(try_acquire_capability(__VA_ARGS__))
#define QF_REQUIRES(...) QF_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define QF_RETURN_CAPABILITY(lock) QF_THREAD_ANNOTATION(lock_returned(lock))
#define QF_NO_THREAD_SAFETY_ANALYSIS QF_THREAD_ANNOTATION(no_thread_safety_analysis)

// The words by which clang checks who must hold which lock (-Wthread-safety, in clang-tidy's pass). Other compilers see
// nothing of them.
#pragma once

#if defined(__clang__)
#define SYNC_ANNOTATION(x) __attribute__((x))
#else
#define SYNC_ANNOTATION(x)
#endif

// On a class: it is a lock; it holds one for a scope.
#define SYNC_LOCK SYNC_ANNOTATION(capability("mutex"))
#define SYNC_SCOPED_LOCK SYNC_ANNOTATION(scoped_lockable)
// On a member: it, or what it points to, is touched only while the lock is held.
#define GUARDED_BY(lock) SYNC_ANNOTATION(guarded_by(lock))
#define POINTED_GUARDED_BY(lock) SYNC_ANNOTATION(pt_guarded_by(lock))
// On a function: the caller holds the lock; does not hold it; holds it afterwards; holds it no more.
#define REQUIRES_LOCK(...) SYNC_ANNOTATION(requires_capability(__VA_ARGS__))
#define EXCLUDES_LOCK(...) SYNC_ANNOTATION(locks_excluded(__VA_ARGS__))
#define ACQUIRES_LOCK(...) SYNC_ANNOTATION(acquire_capability(__VA_ARGS__))
#define RELEASES_LOCK(...) SYNC_ANNOTATION(release_capability(__VA_ARGS__))
#define TRIES_LOCK(...) SYNC_ANNOTATION(try_acquire_capability(__VA_ARGS__))
#define RETURNS_LOCK(lock) SYNC_ANNOTATION(lock_returned(lock))
// On a function whose locking clang cannot follow. A comment beside it says why.
#define LOCKING_NOT_CHECKED SYNC_ANNOTATION(no_thread_safety_analysis)

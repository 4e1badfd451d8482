// What Clang's analysis of thread safety is told: which lock guards a member, and which one a function takes, gives
// back or expects. scripts/style runs the analysis; other compilers see nothing. It does not read constructors,
// destructors and handlers of exceptions, nor a call through a base class that says nothing. The names are those of
// Clang's manual.
#pragma once

#ifdef __clang__
#define THREAD_ANNOTATION(...) __attribute__((__VA_ARGS__))
#else
#define THREAD_ANNOTATION(...)
#endif

// On classes: a lock, and a guard that holds one from its construction to its destruction.
#define CAPABILITY(name) THREAD_ANNOTATION(capability(name))
#define SCOPED_CAPABILITY THREAD_ANNOTATION(scoped_lockable)

// On members: read and written only by a thread that holds the lock; PT_GUARDED_BY says it of what a pointer points to.
#define GUARDED_BY(lock) THREAD_ANNOTATION(guarded_by(lock))
#define PT_GUARDED_BY(lock) THREAD_ANNOTATION(pt_guarded_by(lock))

// On functions, and on a lambda between its parameters and its body: the caller holds the lock, or must not; the
// function takes it or gives it back.
#define REQUIRES(...) THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define EXCLUDES(...) THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
#define ACQUIRE(...) THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define RELEASE(...) THREAD_ANNOTATION(release_capability(__VA_ARGS__))

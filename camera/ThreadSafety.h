#ifndef KORVANE_CAMERA_THREADSAFETY_H
#define KORVANE_CAMERA_THREADSAFETY_H

// Lock annotations for Clang's thread-safety analysis (-Wthread-safety):
// which mutex guards a field, which a function needs or takes. Other
// compilers see nothing.

#if defined(__clang__)
#define KORVANE_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define KORVANE_THREAD_ANNOTATION(x)
#endif

#define KORVANE_CAPABILITY(name) KORVANE_THREAD_ANNOTATION(capability(name))
#define KORVANE_SCOPED_CAPABILITY KORVANE_THREAD_ANNOTATION(scoped_lockable)
#define KORVANE_GUARDED_BY(mutex) KORVANE_THREAD_ANNOTATION(guarded_by(mutex))
#define KORVANE_PT_GUARDED_BY(mutex) KORVANE_THREAD_ANNOTATION(pt_guarded_by(mutex))
#define KORVANE_ACQUIRED_BEFORE(...) KORVANE_THREAD_ANNOTATION(acquired_before(__VA_ARGS__))
#define KORVANE_REQUIRES(...) KORVANE_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define KORVANE_ACQUIRE(...) KORVANE_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define KORVANE_RELEASE(...) KORVANE_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define KORVANE_EXCLUDES(...) KORVANE_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
#define KORVANE_NO_THREAD_SAFETY_ANALYSIS KORVANE_THREAD_ANNOTATION(no_thread_safety_analysis)

#endif

#pragma once

/// Clang's thread-safety attributes; nothing on other compilers.
#if defined(__clang__)
#define PXALOG_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define PXALOG_THREAD_ATTRIBUTE(x)
#endif

#define CAPABILITY(name) PXALOG_THREAD_ATTRIBUTE(capability(name))
#define SCOPED_CAPABILITY PXALOG_THREAD_ATTRIBUTE(scoped_lockable)
#define GUARDED_BY(lock) PXALOG_THREAD_ATTRIBUTE(guarded_by(lock))
#define REQUIRES(...) PXALOG_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define ACQUIRE(...) PXALOG_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define RELEASE(...) PXALOG_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define EXCLUDES(...) PXALOG_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))

#pragma once

// What clang's thread-safety analysis is told: which fields belong to which lock or isolation, and
// which operations need it. Other compilers are told nothing.

#if defined(__clang__)
#define VIEWER_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define VIEWER_THREAD_ANNOTATION(x)
#endif

/// The class is something that guards: a lock, an isolation. `kind` is the word for it.
#define VIEWER_CAPABILITY(kind) VIEWER_THREAD_ANNOTATION(capability(kind))
/// The field may be touched only while the named lock is held, or inside the named isolation.
#define VIEWER_GUARDED_BY(guard) VIEWER_THREAD_ANNOTATION(guarded_by(guard))
/// The operation may be called only while the named lock is held, or inside the named isolation.
#define VIEWER_REQUIRES(guard) VIEWER_THREAD_ANNOTATION(requires_capability(guard))
/// After this operation the analysis takes it that the object guards.
#define VIEWER_ASSERTS_ITSELF VIEWER_THREAD_ANNOTATION(assert_capability(this))

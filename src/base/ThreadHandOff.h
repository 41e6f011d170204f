#pragma once

// Qt's own waits (QThread::wait, QThread::isFinished, QFuture) synchronise inside Qt's libraries, which
// ThreadSanitizer doesn't see, since Debian builds them without it. Where our code relies on such a
// wait, it says so here: whatever a thread did before release(token) happened before whatever another
// thread does after a later acquire(token). Outside a ThreadSanitizer build both are nothing.
#if defined(__SANITIZE_THREAD__)
extern "C" void __tsan_acquire(void* address);
extern "C" void __tsan_release(void* address);
#endif

namespace ThreadHandOff {

inline void release([[maybe_unused]] const void* token) {
#if defined(__SANITIZE_THREAD__)
    __tsan_release(const_cast<void*>(token));
#endif
}

inline void acquire([[maybe_unused]] const void* token) {
#if defined(__SANITIZE_THREAD__)
    __tsan_acquire(const_cast<void*>(token));
#endif
}

} // namespace ThreadHandOff

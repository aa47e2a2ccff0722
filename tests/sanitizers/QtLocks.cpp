// Makes Qt's mutex visible to the race detector. Qt is not instrumented, and it locks by a futex of its own: whatever a
// QMutex guards would look like a race. A test program defines QMutex's functions anew, tells the detector what
// happens, and calls Qt's own. Only the build for the race detector contains this file.

#include <QtCore/QMutex>

#include <dlfcn.h>
#include <sanitizer/tsan_interface.h>

namespace {

/// Qt's own function of this mangled name: the next one after this program's.
template <typename Function>
Function next(const char *name)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

} // namespace

void QMutex::lock() noexcept
{
    static const auto lock = next<void (*)(QMutex *)>("_ZN6QMutex4lockEv");
    __tsan_mutex_pre_lock(this, __tsan_mutex_not_static);
    lock(this);
    __tsan_mutex_post_lock(this, __tsan_mutex_not_static, 0);
}

bool QMutex::tryLock(int timeout) noexcept
{
    static const auto tryLock = next<bool (*)(QMutex *, int)>("_ZN6QMutex7tryLockEi");
    __tsan_mutex_pre_lock(this, __tsan_mutex_try_lock);
    const bool locked = tryLock(this, timeout);
    __tsan_mutex_post_lock(this, __tsan_mutex_try_lock | (locked ? 0U : __tsan_mutex_try_lock_failed), 0);
    return locked;
}

void QMutex::unlock() noexcept
{
    static const auto unlock = next<void (*)(QMutex *)>("_ZN6QMutex6unlockEv");
    __tsan_mutex_pre_unlock(this, 0);
    unlock(this);
    __tsan_mutex_post_unlock(this, 0);
}

// watched_mutex.cpp - lets ThreadSanitizer see Qt's mutexes.
//
//  - Qt comes built without ThreadSanitizer, so its locking is invisible to it, and everything that a QMutex guards
//    would be reported. The program's own definitions of lock and unlock take precedence over Qt's; they call Qt's
//    and tell.
//  - With the order of locking known, ThreadSanitizer also reports locks that are taken in different orders.
//  - In other builds this file is empty.

#if defined(__SANITIZE_THREAD__)

#include <QtCore/QMutex>

#include <dlfcn.h>
#include <sanitizer/tsan_interface.h>

namespace
{

typedef void (*Operation)(QMutex *);

Operation qtsOwn(const char *name)
{
    return reinterpret_cast<Operation>(dlsym(RTLD_NEXT, name));
}

} // namespace

void QMutex::lock() noexcept
{
    static const Operation own = qtsOwn("_ZN6QMutex4lockEv");
    __tsan_mutex_pre_lock(this, 0);
    own(this);
    __tsan_mutex_post_lock(this, 0, 0);
}

void QMutex::unlock() noexcept
{
    static const Operation own = qtsOwn("_ZN6QMutex6unlockEv");
    __tsan_mutex_pre_unlock(this, 0);
    own(this);
    __tsan_mutex_post_unlock(this, 0);
}

/// What Qt does inside its own library cannot be judged. It counts the users of a shared text or byte array there too,
/// so ThreadSanitizer does not see why the last of them may free it.
extern "C" const char *__tsan_default_suppressions();
extern "C" const char *__tsan_default_suppressions()
{
    return "called_from_lib:libQt5Core.so\n"
           "race:QTypedArrayData<*>::deallocate\n";
}

#endif

// The in-process lock: a recursive pthread mutex inline in the owner's record.
// None of its operations can fail on a well-formed record, so only the try
// form reports, and only that the lock is busy.
#include <pthread.h>

#include "nu.h"
#include "report.hpp"

using namespace vesk::threads;

extern "C" {

VESK_API int64_t NuSMutexInit(NuSMutex *mutex) {
    pthread_mutexattr_t attr;
    pthread_mutexattr_init(&attr);
    pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(&mutex->mutex, &attr);
    pthread_mutexattr_destroy(&attr);
    return 0;
}

// The attributes of the handle family mean nothing to an in-process lock.
VESK_API int64_t NuSMutexInit2(NuSMutex *mutex, const NuPMutexattr *, VeskErr *) {
    return NuSMutexInit(mutex);
}

VESK_API int64_t NuSMutexDestroy(NuSMutex *mutex, VeskErr *) {
    pthread_mutex_destroy(&mutex->mutex);
    return 0;
}

VESK_API int64_t NuSMutexLock(NuSMutex *mutex) {
    pthread_mutex_lock(&mutex->mutex);
    return 0;
}

VESK_API int64_t NuSMutexTrylock(NuSMutex *mutex, VeskErr *err) {
    if (pthread_mutex_trylock(&mutex->mutex) == 0)
        return 1;
    return report_busy(err, "NuSMutexTrylock");
}

VESK_API int64_t NuSMutexUnlock(NuSMutex *mutex) {
    pthread_mutex_unlock(&mutex->mutex);
    return 0;
}

}  // extern "C"

// SPDX-License-Identifier: MIT
// The in-process lock: a recursive pthread mutex inline in the owner's record.
// None of its operations can fail on a well-formed record, so only the try
// form reports that the lock is busy. A null record is refused: with -1, and
// a report where there is a status record.
#include <pthread.h>

#include "nu.h"
#include "report.hpp"

using namespace vesk::threads;

extern "C" {

VESK_API int64_t NuSMutexInit(NuSMutex *mutex) {
    if (mutex == nullptr)
        return -1;
    pthread_mutexattr_t attr;
    pthread_mutexattr_init(&attr);
    pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(&mutex->mutex, &attr);
    pthread_mutexattr_destroy(&attr);
    return 0;
}

// The attributes of the handle family mean nothing to an in-process lock.
VESK_API int64_t NuSMutexInit2(NuSMutex *mutex, const NuPMutexattr *, VeskErr *err) {
    if (mutex == nullptr)
        return refuse_null(err, "NuSMutexInit2", "@mutex");
    return NuSMutexInit(mutex);
}

VESK_API int64_t NuSMutexDestroy(NuSMutex *mutex, VeskErr *err) {
    if (mutex == nullptr)
        return refuse_null(err, "NuSMutexDestroy", "@mutex");
    pthread_mutex_destroy(&mutex->mutex);
    return 0;
}

VESK_API int64_t NuSMutexLock(NuSMutex *mutex) {
    if (mutex == nullptr)
        return -1;
    pthread_mutex_lock(&mutex->mutex);
    return 0;
}

VESK_API int64_t NuSMutexTrylock(NuSMutex *mutex, VeskErr *err) {
    if (mutex == nullptr)
        return refuse_null(err, "NuSMutexTrylock", "@mutex");
    if (pthread_mutex_trylock(&mutex->mutex) == 0)
        return 1;
    return report_busy(err, "NuSMutexTrylock");
}

VESK_API int64_t NuSMutexUnlock(NuSMutex *mutex) {
    if (mutex == nullptr)
        return -1;
    pthread_mutex_unlock(&mutex->mutex);
    return 0;
}

}  // extern "C"

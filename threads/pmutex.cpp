// SPDX-License-Identifier: MIT
// Handle mutexes: one word that points to a shared block holding a robust,
// process-shared, recursive pthread mutex. Its owner may take it again; when
// the owner dies holding it, the next waiter gets it, consistent, with no
// error.
#include <cerrno>

#include "handle.hpp"
#include "report.hpp"

using namespace vesk::threads;

extern "C" {

VESK_API int64_t NuPMutexInit(NuPMutex *mutex, VeskErr *err) {
    if (mutex == nullptr)
        return refuse_null(err, "NuPMutexInit", "@mutex");
    return init_handle(mutex, BlockKind::mutex, nullptr, err);
}

VESK_API int64_t NuPMutexInit2(NuPMutex *mutex, const NuPMutexattr *attr, VeskErr *err) {
    if (mutex == nullptr)
        return refuse_null(err, "NuPMutexInit2", "@mutex");
    return init_handle(mutex, BlockKind::mutex, attr, err);
}

VESK_API int64_t NuPMutexDestroy(NuPMutex *mutex, VeskErr *err) {
    if (mutex == nullptr)
        return refuse_null(err, "NuPMutexDestroy", "@mutex");
    return destroy_handle(mutex);
}

VESK_API int64_t NuPMutexLock(NuPMutex mutex, VeskErr *err) {
    if (mutex == 0)
        return report_system(err, EINVAL);
    const int e = lock_block_mutex(&block_of(mutex)->mutex);
    return e == 0 ? 0 : report_system(err, e);
}

VESK_API int64_t NuPMutexTrylock(NuPMutex mutex, VeskErr *err) {
    if (mutex == 0)
        return report_system(err, EINVAL);
    const int e = trylock_block_mutex(&block_of(mutex)->mutex);
    if (e == 0)
        return 1;
    if (e == EBUSY)
        return report_busy(err, "NuPMutexTrylock");
    return report_system(err, e);
}

VESK_API int64_t NuPMutexUnlock(NuPMutex mutex, VeskErr *err) {
    if (mutex != 0 && pthread_mutex_unlock(&block_of(mutex)->mutex) == 0)
        return 0;
    VeskMkerr(nullptr, err, 0, 0, 0, VESK_FAC_NONE, VESK_E_PERM, 0, 1, "NuPMutexUnlock");
    return -1;
}

}  // extern "C"

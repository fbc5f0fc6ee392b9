// SPDX-License-Identifier: MIT
// Shared blocks on POSIX shared memory.
//
// Creation race: O_CREAT | O_EXCL decides which process creates and sets up
// a named block; the others wait until its size is right (never mapping a
// short file) and its `ready` word is set. Lifetime: `opens` counts handles
// in all processes; the handle that takes it to 0 removes the name. A handle
// that finds the count already at 0 met a dying block and starts again, so
// that a name never leads to a block whose name is going away.
//
// A handle that keeps its descriptor also holds a shared lock on the object
// (an open-file-description lock, which the kernel drops when the process
// dies). A closing handle that can then take the lock exclusively is the last
// live one, whatever the count says about processes that were killed, and
// removes the name. An opener takes its shared lock before it looks at the
// block and starts again if the name went meanwhile.
#include "shared_block_posix.hpp"

#include <fcntl.h>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>

namespace vesk::threads {
namespace {

// How long an opener waits for a creator to finish, in yields; a creator
// killed half way leaves a block that is never ready.
constexpr int kReadySpins = 2000000;

const char *prefix_of(BlockKind kind) {
    switch (kind) {
    case BlockKind::mutex:
        return "/vesk.mutex.";
    case BlockKind::event:
        return "/vesk.event.";
    case BlockKind::semaphore:
        break;
    }
    return "/vesk.lsem.";
}

// "/vesk.mutex.<name>", "/vesk.event.<name>" or "/vesk.lsem.<name>", '/'
// inside the name made '_'.
bool shm_name_of(BlockKind kind, const char *name, char (&out)[256]) {
    const char *prefix = prefix_of(kind);
    const size_t plen = std::strlen(prefix), nlen = std::strlen(name);
    if (plen + nlen >= sizeof out) {
        errno = ENAMETOOLONG;
        return false;
    }
    std::memcpy(out, prefix, plen);
    for (size_t i = 0; i <= nlen; ++i)
        out[plen + i] = name[i] == '/' ? '_' : name[i];
    return true;
}

void set_up(SharedBlock *b, BlockKind kind, int32_t initial) {
    b->kind = kind;
    b->value.store(initial, std::memory_order_relaxed);
    pthread_mutexattr_t ma;
    pthread_mutexattr_init(&ma);
    pthread_mutexattr_setpshared(&ma, PTHREAD_PROCESS_SHARED);
    pthread_mutexattr_setrobust(&ma, PTHREAD_MUTEX_ROBUST);
    if (kind == BlockKind::mutex)
        pthread_mutexattr_settype(&ma, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(&b->mutex, &ma);
    pthread_mutexattr_destroy(&ma);
    pthread_condattr_t ca;
    pthread_condattr_init(&ca);
    pthread_condattr_setpshared(&ca, PTHREAD_PROCESS_SHARED);
    pthread_condattr_setclock(&ca, CLOCK_MONOTONIC);
    pthread_cond_init(&b->cond, &ca);
    pthread_condattr_destroy(&ca);
    b->signalled = 0;
}

SharedBlock *map_fd(int fd) {
    void *p = mmap(nullptr, sizeof(SharedBlock), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    return p == MAP_FAILED ? nullptr : static_cast<SharedBlock *>(p);
}

bool wait_for_size(int fd) {
    for (int i = 0; i < kReadySpins; ++i) {
        struct stat st{};
        if (fstat(fd, &st) != 0)
            return false;
        if (st.st_size >= static_cast<off_t>(sizeof(SharedBlock)))
            return true;
        sched_yield();
    }
    errno = ETIMEDOUT;
    return false;
}

bool wait_until_ready(SharedBlock *b) {
    for (int i = 0; i < kReadySpins; ++i) {
        if (b->ready.load(std::memory_order_acquire) != 0)
            return true;
        sched_yield();
    }
    errno = ETIMEDOUT;
    return false;
}

// The shared lock of a handle that keeps its descriptor; waits only while a
// closing handle checks whether it is the last.
bool hold_shared(int fd) {
    struct flock fl{};
    fl.l_type = F_RDLCK;
    fl.l_whence = SEEK_SET;
    fl.l_len = 1;
    while (fcntl(fd, F_OFD_SETLKW, &fl) != 0)
        if (errno != EINTR)
            return false;
    return true;
}

bool still_named(int fd) {
    struct stat st{};
    return fstat(fd, &st) == 0 && st.st_nlink > 0;
}

// Whether no other live handle holds the object: this one's shared lock is
// given up and the exclusive lock tried, without waiting.
bool only_live_holder(int fd) {
    struct flock fl{};
    fl.l_type = F_UNLCK;
    fl.l_whence = SEEK_SET;
    fl.l_len = 1;
    fcntl(fd, F_OFD_SETLK, &fl);
    fl.l_type = F_WRLCK;
    return fcntl(fd, F_OFD_SETLK, &fl) == 0;
}

SharedBlock *create_named(const char *shm, BlockKind kind, int32_t initial, int fd) {
    if (ftruncate(fd, sizeof(SharedBlock)) != 0)
        return nullptr;
    SharedBlock *b = map_fd(fd);
    if (b == nullptr)
        return nullptr;
    set_up(b, kind, initial);
    std::strcpy(b->name, shm);
    b->opens.store(1, std::memory_order_relaxed);
    b->ready.store(1, std::memory_order_release);
    return b;
}

// One try at opening a block that exists: null with errno EAGAIN when it was
// dying and the caller should start again.
SharedBlock *open_existing(const char *shm, BlockKind kind, int *kept_fd) {
    const int fd = shm_open(shm, O_RDWR, 0);
    if (fd < 0)
        return nullptr;  // ENOENT: gone meanwhile, the caller starts again
    if (kept_fd != nullptr && (!hold_shared(fd) || !still_named(fd))) {
        close(fd);
        errno = ENOENT;
        return nullptr;
    }
    SharedBlock *b = wait_for_size(fd) ? map_fd(fd) : nullptr;
    const int e = errno;
    if (kept_fd == nullptr || b == nullptr)
        close(fd);
    else
        *kept_fd = fd;
    if (b == nullptr) {
        errno = e;
        return nullptr;
    }
    if (!wait_until_ready(b)) {
        munmap(b, sizeof *b);
        errno = ETIMEDOUT;
        return nullptr;
    }
    if (b->kind != kind) {
        munmap(b, sizeof *b);
        errno = EINVAL;
        return nullptr;
    }
    if (b->opens.fetch_add(1, std::memory_order_acq_rel) <= 0) {
        b->opens.fetch_sub(1, std::memory_order_acq_rel);
        munmap(b, sizeof *b);
        errno = EAGAIN;
        return nullptr;
    }
    return b;
}

// Drops the descriptor a failed open kept.
SharedBlock *without_kept_fd(SharedBlock *b, int *kept_fd) {
    if (b == nullptr && kept_fd != nullptr && *kept_fd >= 0) {
        const int e = errno;
        close(*kept_fd);
        *kept_fd = -1;
        errno = e;
    }
    return b;
}

SharedBlock *open_named(BlockKind kind, const char *name, int32_t initial, bool *created,
                        int *kept_fd) {
    char shm[256];
    if (!shm_name_of(kind, name, shm))
        return nullptr;
    for (;;) {
        const int fd = shm_open(shm, O_RDWR | O_CREAT | O_EXCL, 0600);
        if (fd >= 0) {
            SharedBlock *b = kept_fd == nullptr || hold_shared(fd)
                                 ? create_named(shm, kind, initial, fd)
                                 : nullptr;
            const int e = errno;
            if (kept_fd != nullptr && b != nullptr)
                *kept_fd = fd;
            else
                close(fd);
            if (b == nullptr) {
                shm_unlink(shm);
                errno = e;
            }
            if (created != nullptr)
                *created = b != nullptr;
            return b;
        }
        if (errno != EEXIST)
            return nullptr;
        SharedBlock *b = without_kept_fd(open_existing(shm, kind, kept_fd), kept_fd);
        if (b != nullptr || (errno != ENOENT && errno != EAGAIN))
            return b;
        sched_yield();
    }
}

SharedBlock *make_anonymous(BlockKind kind, int32_t initial) {
    void *p = mmap(nullptr, sizeof(SharedBlock), PROT_READ | PROT_WRITE,
                   MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (p == MAP_FAILED)
        return nullptr;
    auto *b = static_cast<SharedBlock *>(p);
    set_up(b, kind, initial);
    b->opens.store(1, std::memory_order_relaxed);
    b->ready.store(1, std::memory_order_release);
    return b;
}

}  // namespace

SharedBlock *open_block(BlockKind kind, const char *name, int32_t initial, bool *created,
                        int *kept_fd) {
    if (created != nullptr)
        *created = false;
    if (kept_fd != nullptr)
        *kept_fd = -1;
    if (name == nullptr) {
        SharedBlock *b = make_anonymous(kind, initial);
        if (created != nullptr)
            *created = b != nullptr;
        return b;
    }
    return open_named(kind, name, initial, created, kept_fd);
}

void close_block(SharedBlock *block, int kept_fd) {
    const bool last = block->opens.fetch_sub(1, std::memory_order_acq_rel) == 1;
    if (block->name[0] != '\0' && (last || (kept_fd >= 0 && only_live_holder(kept_fd))))
        shm_unlink(block->name);
    munmap(block, sizeof *block);
    if (kept_fd >= 0)
        close(kept_fd);
}

namespace {

// The one place where a dead owner's lock is taken over.
int recovered(int e, pthread_mutex_t *m) {
    if (e != EOWNERDEAD)
        return e;
    pthread_mutex_consistent(m);
    return 0;
}

}  // namespace

int lock_block_mutex(pthread_mutex_t *m) { return recovered(pthread_mutex_lock(m), m); }

int trylock_block_mutex(pthread_mutex_t *m) { return recovered(pthread_mutex_trylock(m), m); }

int timedlock_block_mutex(pthread_mutex_t *m, const timespec *deadline) {
#if defined(__SANITIZE_THREAD__)
    // ThreadSanitizer does not see pthread_mutex_clocklock take the lock, and
    // would then report every unlock; under it the same limit is given to
    // pthread_mutex_timedlock on the wall clock.
    timespec mono{}, wall{};
    clock_gettime(CLOCK_MONOTONIC, &mono);
    clock_gettime(CLOCK_REALTIME, &wall);
    wall.tv_sec += deadline->tv_sec - mono.tv_sec;
    wall.tv_nsec += deadline->tv_nsec - mono.tv_nsec;
    while (wall.tv_nsec < 0) {
        wall.tv_nsec += 1000000000L;
        --wall.tv_sec;
    }
    while (wall.tv_nsec >= 1000000000L) {
        wall.tv_nsec -= 1000000000L;
        ++wall.tv_sec;
    }
    return recovered(pthread_mutex_timedlock(m, &wall), m);
#else
    return recovered(pthread_mutex_clocklock(m, CLOCK_MONOTONIC, deadline), m);
#endif
}

int wait_block_cond(SharedBlock *block, const timespec *deadline) {
    pthread_mutex_t *m = &block->mutex;
    const int e = deadline == nullptr ? pthread_cond_wait(&block->cond, m)
                                      : pthread_cond_timedwait(&block->cond, m, deadline);
    return recovered(e, m);
}

namespace {

long futex(std::atomic<uint32_t> *word, int op, uint32_t value, const timespec *deadline,
           uint32_t mask) {
    return syscall(SYS_futex, reinterpret_cast<uint32_t *>(word), op, value, deadline, nullptr,
                   mask);
}

}  // namespace

int sleep_until_change(SharedBlock *block, const timespec *deadline) {
    const uint32_t seen = block->changes.load(std::memory_order_relaxed);
    block->sleepers.fetch_add(1, std::memory_order_relaxed);
    pthread_mutex_unlock(&block->mutex);
    // Shared, not private: other processes wake it. An absolute deadline of
    // the bitset wait is on CLOCK_MONOTONIC. A change made before the sleep
    // starts makes it return at once; a spurious return only costs a look.
    const long r = futex(&block->changes, FUTEX_WAIT_BITSET, seen, deadline,
                         FUTEX_BITSET_MATCH_ANY);
    const bool timed_out = r != 0 && errno == ETIMEDOUT;
    block->sleepers.fetch_sub(1, std::memory_order_relaxed);
    const int e = lock_block_mutex(&block->mutex);
    return e != 0 ? e : timed_out ? ETIMEDOUT : 0;
}

// Only holders of the mutex write the count: no read-modify-write needed.
void note_change(SharedBlock *block) {
    block->changes.store(block->changes.load(std::memory_order_relaxed) + 1,
                         std::memory_order_relaxed);
}

void wake_sleepers(SharedBlock *block) {
    if (block->sleepers.load(std::memory_order_relaxed) != 0)
        futex(&block->changes, FUTEX_WAKE, INT_MAX, nullptr, 0);
}

}  // namespace vesk::threads

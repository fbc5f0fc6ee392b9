// SPDX-License-Identifier: MIT
// Named handle objects between real processes: a mutex two processes share,
// a mutex whose owner is killed holding it, a condition signalled from
// another process.
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <thread>

#include "lock_support.hpp"
#include "nu.h"

namespace {

using vesk_test::unique_name;

// Opens a named mutex or condition: one handle per process.
template <class Init>
uintptr_t open_named(Init init, const std::string &name) {
    NuPMutexattr attr;
    NuPMutexattrInit(&attr);
    attr.name = name.c_str();
    uintptr_t h = 0;
    EXPECT_EQ(init(&h, &attr, nullptr), 0);
    return h;
}

int exit_code_of(pid_t child) {
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// A pipe to tell the parent that the child has reached a point.
struct Gate {
    int fd[2];
    Gate() { EXPECT_EQ(pipe(fd), 0); }
    ~Gate() {
        close(fd[0]);
        close(fd[1]);
    }
    void open() { EXPECT_EQ(write(fd[1], "x", 1), 1); }
    void wait() {
        char c;
        EXPECT_EQ(read(fd[0], &c, 1), 1);
    }
};

TEST(NamedPMutex, TwoProcessesShareItAndCountUnderIt) {
    const std::string name = unique_name("count");
    NuPMutex m = open_named(NuPMutexInit2, name);
    // The count lives in shared memory of its own, guarded by the named mutex.
    auto *counter = static_cast<long *>(
        mmap(nullptr, sizeof(long), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    *counter = 0;
    const pid_t child = fork();
    if (child == 0) {
        NuPMutex mine = open_named(NuPMutexInit2, name);  // by name, not inherited
        for (int i = 0; i < 20000; ++i) {
            NuPMutexLock(mine, nullptr);
            ++*counter;
            NuPMutexUnlock(mine, nullptr);
        }
        NuPMutexDestroy(&mine, nullptr);
        _exit(0);
    }
    for (int i = 0; i < 20000; ++i) {
        NuPMutexLock(m, nullptr);
        ++*counter;
        NuPMutexUnlock(m, nullptr);
    }
    EXPECT_EQ(exit_code_of(child), 0);
    EXPECT_EQ(*counter, 40000);
    munmap(counter, sizeof(long));
    NuPMutexDestroy(&m, nullptr);
}

TEST(NamedPMutex, TheNextWaiterGetsItWhenTheOwnerIsKilled) {
    const std::string name = unique_name("owner");
    NuPMutex m = open_named(NuPMutexInit2, name);
    Gate held;
    const pid_t child = fork();
    if (child == 0) {
        NuPMutex mine = open_named(NuPMutexInit2, name);
        NuPMutexLock(mine, nullptr);
        held.open();
        pause();  // killed here, holding the mutex
        _exit(1);
    }
    held.wait();
    EXPECT_EQ(NuPMutexTrylock(m, nullptr), 0) << "the child holds it";
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    EXPECT_EQ(NuPMutexLock(m, nullptr), 0);
    EXPECT_EQ(NuPMutexUnlock(m, nullptr), 0);
    EXPECT_EQ(NuPMutexTrylock(m, nullptr), 1) << "consistent after the owner's death";
    NuPMutexUnlock(m, nullptr);
    NuPMutexDestroy(&m, nullptr);
    // The killed child never gave its handle back, so the name stays behind.
    const std::string path = "/dev/shm/vesk.mutex." + name;
    EXPECT_EQ(access(path.c_str(), F_OK), 0);
    shm_unlink(("/vesk.mutex." + name).c_str());
}

TEST(NamedPCond, ASignalFromAnotherProcessEndsTheWait) {
    const std::string name = unique_name("event");
    NuPMutex m;
    ASSERT_EQ(NuPMutexInit(&m, nullptr), 0);
    NuPCond c = open_named(NuPCondInit2, name);
    Gate opened;
    const pid_t child = fork();
    if (child == 0) {
        NuPCond mine = open_named(NuPCondInit2, name);
        opened.open();
        usleep(50000);
        const bool sent = NuPCondSignal(mine, nullptr) == 0;
        NuPCondDestroy(&mine, nullptr);  // else its open count would keep the name
        _exit(sent ? 0 : 1);
    }
    opened.wait();
    NuPMutexLock(m, nullptr);
    EXPECT_EQ(NuPCondTimedwait_ms(c, m, 20000, nullptr), 0);
    NuPMutexUnlock(m, nullptr);
    EXPECT_EQ(exit_code_of(child), 0);
    NuPCondDestroy(&c, nullptr);
    NuPMutexDestroy(&m, nullptr);
    const std::string path = "/dev/shm/vesk.event." + name;
    EXPECT_NE(access(path.c_str(), F_OK), 0) << "both handles gone, the name too";
}

TEST(NamedPMutex, TheNameGoesWithTheLastHandle) {
    const std::string name = unique_name("life");
    NuPMutex a = open_named(NuPMutexInit2, name), b = open_named(NuPMutexInit2, name);
    ASSERT_EQ(NuPMutexLock(a, nullptr), 0);
    std::atomic<int> got{-2};
    // `b` is another mapping of the same mutex: another thread can't take it.
    std::thread([&] { got = static_cast<int>(NuPMutexTrylock(b, nullptr)); }).join();
    EXPECT_EQ(got.load(), 0);
    NuPMutexUnlock(a, nullptr);
    const std::string path = "/dev/shm/vesk.mutex." + name;
    NuPMutexDestroy(&a, nullptr);
    EXPECT_EQ(access(path.c_str(), F_OK), 0) << "b still names it";
    NuPMutexDestroy(&b, nullptr);
    EXPECT_NE(access(path.c_str(), F_OK), 0) << "gone with the last handle";
}

}  // namespace

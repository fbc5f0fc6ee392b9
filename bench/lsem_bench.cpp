// SPDX-License-Identifier: MIT
// Light semaphores beside System V semaphores and POSIX named semaphores.
// Uncontended: an increase and a decrease of one step each (items/s counts
// operations), and a list of 128 steps (+1, -1 alternating) applied whole,
// beside semop on the same list and 128 sem_post/sem_wait calls. Ping-pong:
// two processes, each waiting for the other's post on a semaphore of its
// own; items/s counts round trips.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <semaphore.h>
#include <signal.h>
#include <sys/ipc.h>
#include <sys/mman.h>
#include <sys/sem.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <vector>

#include "nu.h"

namespace {

std::string unique(const char *what) {
    return std::string("vesk-bench-") + what + "-" + std::to_string(getpid());
}

struct LightSem {
    NuLSem sem{};
    explicit LightSem(const std::string &name) {
        NuLSemattr attr;
        NuLSemattrInit(&attr);
        NuLSemattrSetshared(&attr, name.c_str());
        NuLSemOpen2(&sem, &attr, nullptr);
    }
    ~LightSem() { NuLSemClose(&sem); }
};

struct SysVSem {
    int id = semget(IPC_PRIVATE, 2, IPC_CREAT | 0600);
    ~SysVSem() { semctl(id, 0, IPC_RMID); }
};

struct PosixSem {
    std::string name;
    sem_t *sem;
    explicit PosixSem(const char *what)
        : name("/" + unique(what)), sem(sem_open(name.c_str(), O_CREAT | O_EXCL, 0600, 0)) {}
    ~PosixSem() {
        sem_close(sem);
        sem_unlink(name.c_str());
    }
};

std::vector<int32_t> alternating(int n) {
    std::vector<int32_t> steps;
    for (int i = 0; i < n; ++i)
        steps.push_back(i % 2 == 0 ? 1 : -1);
    return steps;
}

void BM_lsem_one_step(benchmark::State &state) {
    LightSem s(unique("one"));
    const int32_t up = 1, down = -1;
    for (auto _ : state) {
        NuLSemOp(&s.sem, 1, &up, nullptr);
        NuLSemOp(&s.sem, 1, &down, nullptr);
    }
    state.SetItemsProcessed(state.iterations() * 2);
}

void BM_semop_one_step(benchmark::State &state) {
    SysVSem s;
    sembuf up = {0, 1, 0}, down = {0, -1, 0};
    for (auto _ : state) {
        semop(s.id, &up, 1);
        semop(s.id, &down, 1);
    }
    state.SetItemsProcessed(state.iterations() * 2);
}

void BM_posix_sem_one_step(benchmark::State &state) {
    PosixSem s("one");
    for (auto _ : state) {
        sem_post(s.sem);
        sem_wait(s.sem);
    }
    state.SetItemsProcessed(state.iterations() * 2);
}

void BM_lsem_list(benchmark::State &state) {
    LightSem s(unique("list"));
    const std::vector<int32_t> steps = alternating(static_cast<int>(state.range(0)));
    for (auto _ : state)
        NuLSemOp(&s.sem, uint32_t(steps.size()), steps.data(), nullptr);
    state.SetItemsProcessed(state.iterations());
}

void BM_semop_list(benchmark::State &state) {
    SysVSem s;
    std::vector<sembuf> ops;
    for (int32_t step : alternating(static_cast<int>(state.range(0))))
        ops.push_back({0, static_cast<short>(step), 0});
    for (auto _ : state)
        semop(s.id, ops.data(), ops.size());
    state.SetItemsProcessed(state.iterations());
}

void BM_posix_sem_list(benchmark::State &state) {
    PosixSem s("list");
    const int pairs = static_cast<int>(state.range(0)) / 2;
    for (auto _ : state)
        for (int i = 0; i < pairs; ++i) {
            sem_post(s.sem);
            sem_wait(s.sem);
        }
    state.SetItemsProcessed(state.iterations());
}

// Ping-pong: the child waits on `ping` and posts `pong` until told to stop.
template <class WaitPing, class PostPong, class PostPing, class WaitPong>
void ping_pong(benchmark::State &state, WaitPing wait_ping, PostPong post_pong, PostPing post_ping,
               WaitPong wait_pong) {
    auto *stop = static_cast<std::atomic<int> *>(mmap(nullptr, sizeof(std::atomic<int>),
                                                      PROT_READ | PROT_WRITE,
                                                      MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    stop->store(0);
    const pid_t child = fork();
    if (child == 0) {
        for (;;) {
            wait_ping();
            if (stop->load() != 0)
                _exit(0);
            post_pong();
        }
    }
    for (auto _ : state) {
        post_ping();
        wait_pong();
    }
    stop->store(1);
    post_ping();
    waitpid(child, nullptr, 0);
    munmap(stop, sizeof(std::atomic<int>));
    state.SetItemsProcessed(state.iterations());
}

void BM_lsem_ping_pong(benchmark::State &state) {
    const std::string ping_name = unique("ping"), pong_name = unique("pong");
    LightSem ping(ping_name), pong(pong_name);
    const int32_t up = 1, down = -1;
    ping_pong(
        state, [&] { NuLSemOp(&ping.sem, 1, &down, nullptr); },
        [&] { NuLSemOp(&pong.sem, 1, &up, nullptr); },
        [&] { NuLSemOp(&ping.sem, 1, &up, nullptr); },
        [&] { NuLSemOp(&pong.sem, 1, &down, nullptr); });
}

void BM_semop_ping_pong(benchmark::State &state) {
    SysVSem s;
    auto op = [&](unsigned short num, short step) {
        sembuf b = {num, step, 0};
        semop(s.id, &b, 1);
    };
    ping_pong(
        state, [&] { op(0, -1); }, [&] { op(1, 1); }, [&] { op(0, 1); }, [&] { op(1, -1); });
}

void BM_posix_sem_ping_pong(benchmark::State &state) {
    PosixSem ping("ping"), pong("pong");
    ping_pong(
        state, [&] { sem_wait(ping.sem); }, [&] { sem_post(pong.sem); },
        [&] { sem_post(ping.sem); }, [&] { sem_wait(pong.sem); });
}

}  // namespace

BENCHMARK(BM_lsem_one_step);
BENCHMARK(BM_semop_one_step);
BENCHMARK(BM_posix_sem_one_step);
BENCHMARK(BM_lsem_list)->Arg(128);
BENCHMARK(BM_semop_list)->Arg(128);
BENCHMARK(BM_posix_sem_list)->Arg(128);
BENCHMARK(BM_lsem_ping_pong)->UseRealTime();
BENCHMARK(BM_semop_ping_pong)->UseRealTime();
BENCHMARK(BM_posix_sem_ping_pong)->UseRealTime();
BENCHMARK_MAIN();

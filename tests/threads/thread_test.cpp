// SPDX-License-Identifier: MIT
// Threads: exit codes through join, the start gate, priorities on both
// scales, detaching, cancellation state, caller's stacks and the refusals.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "lock_support.hpp"
#include "nu.h"

namespace {

using namespace std::chrono_literals;
using vesk_test::expect_report;
using vesk_test::Status;

uint32_t return_arg(void *arg) { return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(arg)); }

TEST(PThread, JoinDeliversEachThreadsExitCode) {
    std::vector<NuPThread> threads(8);
    for (size_t i = 0; i < threads.size(); ++i)
        ASSERT_EQ(NuPThreadCreate(&threads[i], return_arg,
                                  reinterpret_cast<void *>(0xFFFFFF00u + i), nullptr),
                  0);
    for (size_t i = 0; i < threads.size(); ++i) {
        uint32_t code = 1;
        EXPECT_EQ(NuPThreadJoin(threads[i], &code, nullptr), 0);
        EXPECT_EQ(code, 0xFFFFFF00u + i);
    }
    NuPThread t;
    ASSERT_EQ(NuPThreadCreate(&t, return_arg, nullptr, nullptr), 0);
    EXPECT_EQ(NuPThreadJoin(t, nullptr, nullptr), 0) << "no place for the exit code";
}

uint32_t mark_ran(void *p) { return static_cast<std::atomic<bool> *>(p)->store(true), 7; }

TEST(PThread, ASuspendedThreadRunsOnlyAfterResume) {
    std::atomic<bool> ran{false};
    NuPThread t;
    ASSERT_EQ(NuPThreadCreate2_suspended(&t, nullptr, mark_ran, &ran, nullptr), 0);
    std::this_thread::sleep_for(50ms);
    EXPECT_FALSE(ran.load());
    EXPECT_EQ(NuPThreadResume(t, nullptr), 0);
    uint32_t code = 0;
    EXPECT_EQ(NuPThreadJoin(t, &code, nullptr), 0);
    EXPECT_TRUE(ran.load());
    EXPECT_EQ(code, 7u);

    Status s;
    EXPECT_EQ(NuPThreadSuspend(t, &s.err), -3);
    expect_report(s, 100, 1026, 1,
                  "NuPThreadSuspend: function (operation) not implemented [in this "
                  "implementation].");
    EXPECT_EQ(s.err.syserr, ENOSYS);
}

// Set -> platform value -> read back, as the two conversions give them.
constexpr struct {
    int32_t set, platform, read;
} kPriorities[] = {{-4, -15, -4}, {-3, -12, -4}, {-2, -8, -3}, {-1, -4, -2}, {0, 0, 0},
                   {1, 3, 0},     {2, 7, 1},     {3, 11, 2},   {4, 15, 4}};

TEST(PThrattr, PrioritiesConvertAsTheTableSays) {
    NuPThrattr a;
    NuPThrattrInit(&a);
    for (const auto &p : kPriorities) {
        ASSERT_EQ(NuPThrattrSetpriority(&a, p.set, nullptr), 0);
        EXPECT_EQ(a.priority, p.platform) << p.set;
        int32_t read = 99;
        NuPThrattrGetpriority(&a, &read);
        EXPECT_EQ(read, p.read) << p.set;
    }
    for (int32_t bad : {5, -5}) {
        Status s;
        EXPECT_EQ(NuPThrattrSetpriority(&a, bad, &s.err), -4);
        expect_report(s, 0, 1029, 5,
                      "NuPThrattrSetpriority<@priority>: implementation does not support the "
                      "feature [of the standard].");
    }
}

uint32_t park(void *) { return 0; }

TEST(PThread, PrioritiesReachTheThreadAsNiceValues) {
    // Lowering a thread's priority is always allowed; raising it needs
    // privilege, so a fresh thread is used for each value.
    const bool privileged = geteuid() == 0;
    for (const auto &p : kPriorities) {
        if (p.set > 0 && !privileged)
            continue;
        SCOPED_TRACE(p.set);
        NuPThread t;
        ASSERT_EQ(NuPThreadCreate2_suspended(&t, nullptr, park, nullptr, nullptr), 0);
        EXPECT_EQ(NuPThreadSetpriority(t, p.set, nullptr), 0);
        int32_t read = 99;
        EXPECT_EQ(NuPThreadGetpriority(t, &read, nullptr), 0);
        EXPECT_EQ(read, p.read);
        NuPThreadResume(t, nullptr);
        NuPThreadJoin(t, nullptr, nullptr);
    }
    NuPThrattr a;
    NuPThrattrInit(&a);
    NuPThrattrSetpriority(&a, -2, nullptr);
    NuPThread t;
    ASSERT_EQ(NuPThreadCreate2_suspended(&t, &a, park, nullptr, nullptr), 0);
    int32_t read = 99;
    EXPECT_EQ(NuPThreadGetpriority(t, &read, nullptr), 0);
    EXPECT_EQ(read, -3) << "the attributes' priority is there before the routine runs";
    Status s;
    EXPECT_EQ(NuPThreadSetpriority(t, -5, &s.err), -4);
    expect_report(s, 0, 1029, 5,
                  "NuPThreadSetpriority<@priority>: implementation does not support the feature "
                  "[of the standard].");
    NuPThreadGetpriority(t, &read, nullptr);
    EXPECT_EQ(read, -3) << "a refused value leaves the thread alone";
    NuPThreadResume(t, nullptr);
    NuPThreadJoin(t, nullptr, nullptr);
}

// Raising a priority without the privilege for it: the child gives up
// root (and with it CAP_SYS_NICE) and any nice allowance first.
TEST(PThread, ARaiseWithoutPrivilegeIsTheSystemsRefusal) {
    const pid_t child = fork();
    ASSERT_NE(child, -1);
    if (child == 0) {
        const rlimit no_allowance{0, 0};
        if (setrlimit(RLIMIT_NICE, &no_allowance) != 0 || (geteuid() == 0 && setuid(65534) != 0))
            _exit(2);
        NuPThread t;
        if (NuPThreadCreate2_suspended(&t, nullptr, park, nullptr, nullptr) != 0)
            _exit(3);
        Status s;
        const bool refused = NuPThreadSetpriority(t, 1, &s.err) == -1 &&
                             s.err.status == 32769 && s.err.variant == 1 && s.err.syserr == 0 &&
                             std::string(s.buf) == std::to_string(EACCES) + ": runtime error.";
        NuPThreadResume(t, nullptr);
        NuPThreadJoin(t, nullptr, nullptr);
        _exit(refused ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0) << "1: not the refusal's report; 2, 3: set-up failed";
}

TEST(PThrattr, StackSizeFlagsAndTheirRefusals) {
    NuPThrattr a;
    NuPThrattrInit(&a);
    EXPECT_EQ(NuPThrattrIscancelable(&a) + NuPThrattrIsjoinable(&a), 0) << "neither bit at first";
    NuPThrattrEnablejoin(&a);
    EXPECT_EQ(a.flags, 0xF0000u | NU_PTHREAD_JOINABLE);
    Status s, small;
    int stand_in;
    EXPECT_EQ(NuPThrattrSetstackaddr(&a, &stand_in, &s.err), -1) << "no stack size yet";
    EXPECT_EQ(NuPThrattrSetstacksize(&a, 0xFFFFF, &small.err), -1);
    for (const Status *r : {&s, &small})
        expect_report(*r, 0, 259, 1, "@stacksize: invalid argument.");
    EXPECT_EQ(NuPThrattrSetstacksize(&a, 0x100000, nullptr), 0);
}

uint32_t note_stack(void *where) {
    int local = 0;
    return *static_cast<void **>(where) = &local, 0;
}

TEST(PThread, RunsOnACallersStack) {
    constexpr size_t kSize = 0x100000;
    void *stack = std::aligned_alloc(64, kSize);
    NuPThrattr a;
    NuPThrattrInit(&a);
    ASSERT_EQ(NuPThrattrSetstacksize(&a, kSize, nullptr), 0);
    ASSERT_EQ(NuPThrattrSetstackaddr(&a, stack, nullptr), 0);
    void *where = nullptr;
    NuPThread t;
    ASSERT_EQ(NuPThreadCreate2(&t, &a, note_stack, &where, nullptr), 0);
    NuPThreadJoin(t, nullptr, nullptr);
    const auto lo = reinterpret_cast<uintptr_t>(stack), at = reinterpret_cast<uintptr_t>(where);
    EXPECT_GE(at, lo);
    EXPECT_LT(at, lo + kSize);
    std::free(stack);
}

struct Detached {
    std::atomic<bool> go{true};
    std::atomic<pid_t> tid{0};
};

uint32_t note_tid(void *p) {
    auto *d = static_cast<Detached *>(p);
    while (!d->go)
        std::this_thread::sleep_for(1ms);
    d->tid = gettid();
    return 0;
}

// Bounded wait until the kernel has let the thread go: its routine and the
// library's bookkeeping after it are over by then.
void wait_gone(const Detached &d) {
    for (int i = 0; i < 10000 && d.tid == 0; ++i)
        std::this_thread::sleep_for(1ms);
    ASSERT_NE(d.tid, 0);
    const std::string task = "/proc/self/task/" + std::to_string(d.tid);
    for (int i = 0; i < 10000 && access(task.c_str(), F_OK) == 0; ++i)
        std::this_thread::sleep_for(1ms);
    ASSERT_NE(access(task.c_str(), F_OK), 0) << "the thread is still there";
}

// Whichever of the detach and the thread's end comes last frees the record;
// ASan tells a record left behind or freed twice.
TEST(PThread, ADetachedRecordGoesWithWhicheverEndsLast) {
    Detached first;
    first.go = false;
    NuPThread t;
    ASSERT_EQ(NuPThreadCreate(&t, note_tid, &first, nullptr), 0);
    EXPECT_EQ(NuPThreadDetach(t, nullptr), 0);
    first.go = true;
    wait_gone(first);

    Detached last;
    ASSERT_EQ(NuPThreadCreate(&t, note_tid, &last, nullptr), 0);
    wait_gone(last);
    EXPECT_EQ(NuPThreadDetach(t, nullptr), 0);

    Detached self;
    const auto detach_self = [](void *p) { return NuPThreadDetachself(nullptr) ? 1 : note_tid(p); };
    ASSERT_EQ(NuPThreadCreate(&t, detach_self, &self, nullptr), 0);
    wait_gone(self);
}

TEST(PThread, ACancelTypeOutsideTheTwoIsRefused) {
    Status s;
    EXPECT_EQ(NuPThreadSetcanceltype(7, &s.err), -1);
    expect_report(s, 0, 259, 1, "@type: invalid argument.");
}

}  // namespace

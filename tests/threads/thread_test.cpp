// Threads: exit codes through join, the start gate, priorities on both
// scales, detaching, cancellation state, caller's stacks and the refusals.
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
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

TEST(PThread, ASuspendedThreadRunsOnlyAfterResume) {
    std::atomic<bool> ran{false};
    NuPThread t;
    ASSERT_EQ(NuPThreadCreate2_suspended(
                  &t, nullptr,
                  [](void *p) -> uint32_t {
                      static_cast<std::atomic<bool> *>(p)->store(true);
                      return 7;
                  },
                  &ran, nullptr),
              0);
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
    NuPThread t;
    ASSERT_EQ(NuPThreadCreate2_suspended(&t, nullptr, park, nullptr, nullptr), 0);
    Status s;
    EXPECT_EQ(NuPThreadSetpriority(t, -5, &s.err), -4);
    expect_report(s, 0, 1029, 5,
                  "NuPThreadSetpriority<@priority>: implementation does not support the feature "
                  "[of the standard].");
    int32_t read = 99;
    NuPThreadGetpriority(t, &read, nullptr);
    EXPECT_EQ(read, 0) << "a refused value leaves the thread alone";
    NuPThreadResume(t, nullptr);
    NuPThreadJoin(t, nullptr, nullptr);
}

TEST(PThrattr, StackSizeFlagsAndTheirRefusals) {
    NuPThrattr a;
    NuPThrattrInit(&a);
    EXPECT_EQ(a.nLength, 12u);
    EXPECT_EQ(a.flags, 0xF0000u);
    EXPECT_EQ(NuPThrattrIscancelable(&a), 0);
    EXPECT_EQ(NuPThrattrIsjoinable(&a), 0);
    NuPThrattrEnablecancel(&a);
    NuPThrattrEnablejoin(&a);
    NuPThrattrDisablecancel(&a);
    EXPECT_EQ(NuPThrattrIscancelable(&a), 0);
    EXPECT_EQ(NuPThrattrIsjoinable(&a), 1);
    EXPECT_EQ(a.flags, 0xF0000u | NU_PTHREAD_JOINABLE);
    Status s;
    EXPECT_EQ(NuPThrattrSetstacksize(&a, 0xFFFFF, &s.err), -1);
    expect_report(s, 0, 259, 1, "@stacksize: invalid argument.");
    EXPECT_EQ(NuPThrattrSetstacksize(&a, 0x100000, nullptr), 0);
    uint32_t size = 0;
    NuPThrattrGetstacksize(&a, &size);
    EXPECT_EQ(size, 0x100000u);
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
    ASSERT_EQ(NuPThreadCreate2(
                  &t, &a,
                  [](void *p) -> uint32_t {
                      int local = 0;
                      *static_cast<void **>(p) = &local;
                      return 0;
                  },
                  &where, nullptr),
              0);
    NuPThreadJoin(t, nullptr, nullptr);
    const auto lo = reinterpret_cast<uintptr_t>(stack), at = reinterpret_cast<uintptr_t>(where);
    EXPECT_GE(at, lo);
    EXPECT_LT(at, lo + kSize);
    std::free(stack);
}

TEST(PThread, DetachedThreadsFreeTheirRecords) {
    std::atomic<int> done{0};
    NuPThread t;
    ASSERT_EQ(NuPThreadCreate(
                  &t, [](void *p) -> uint32_t { return ++*static_cast<std::atomic<int> *>(p); },
                  &done, nullptr),
              0);
    EXPECT_EQ(NuPThreadDetach(t, nullptr), 0);
    ASSERT_EQ(NuPThreadCreate(
                  &t,
                  [](void *p) -> uint32_t {
                      NuPThreadDetachself(nullptr);
                      return ++*static_cast<std::atomic<int> *>(p);
                  },
                  &done, nullptr),
              0);
    while (done < 2)
        std::this_thread::sleep_for(1ms);
    std::this_thread::sleep_for(20ms);  // let both threads leave; ASan checks the records
}

TEST(PThread, CancellationStateAndType) {
    std::thread([] {
        EXPECT_EQ(NuPThreadIscancelable(nullptr), 1);
        EXPECT_EQ(NuPThreadDisablecancel(nullptr), 0);
        EXPECT_EQ(NuPThreadIscancelable(nullptr), 0);
        EXPECT_EQ(NuPThreadEnablecancel(nullptr), 0);
        EXPECT_EQ(NuPThreadIscancelable(nullptr), 1);
        int32_t type = -1;
        EXPECT_EQ(NuPThreadSetcanceltype(NU_PTHREAD_CANCEL_ASYNCHRONOUS, nullptr), 0);
        NuPThreadGetcanceltype(&type, nullptr);
        EXPECT_EQ(type, NU_PTHREAD_CANCEL_ASYNCHRONOUS);
        EXPECT_EQ(NuPThreadSetcanceltype(NU_PTHREAD_CANCEL_DEFERRED, nullptr), 0);
        NuPThreadGetcanceltype(&type, nullptr);
        EXPECT_EQ(type, NU_PTHREAD_CANCEL_DEFERRED);
        Status s;
        EXPECT_EQ(NuPThreadSetcanceltype(7, &s.err), -1);
        expect_report(s, 0, 259, 1, "@type: invalid argument.");
    }).join();
}

}  // namespace

// SPDX-License-Identifier: MIT
// Events of both families: what init and destroy do to the record, the
// roll-back of a failed init, and waiters released by signal and broadcast
// across threads.
#include <unistd.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "lock_support.hpp"
#include "nu.h"

namespace {

using vesk_test::Status;
using vesk_test::unique_name;

bool shm_exists(const std::string &shm) { return access(("/dev/shm/" + shm).c_str(), F_OK) == 0; }

TEST(Event, InitClearsTheCallersFieldsAndDestroyOnlyTheFlag) {
    NuPVaxevent p;
    NuSVaxevent s;
    std::memset(&p, 0xA5, sizeof p);
    std::memset(&s, 0xA5, sizeof s);
    ASSERT_EQ(NuPVaxeventInit(&p, nullptr), 0);
    ASSERT_EQ(NuSVaxeventInit(&s, nullptr), 0);
    EXPECT_NE(p.mutex, 0u);
    EXPECT_NE(p.cond, 0u);
    EXPECT_EQ(p.flag, 0u);
    EXPECT_EQ(s.flag, 0u);
    EXPECT_EQ(p.area[0] | p.area[1] | s.area[0] | s.area[1], 0u);
    p.flag = s.flag = 1;
    p.area[0] = s.area[0] = 42;
    EXPECT_EQ(NuPVaxeventDestroy(&p, nullptr), 0);
    EXPECT_EQ(NuSVaxeventDestroy(&s, nullptr), 0);
    EXPECT_EQ(p.flag, 0u);
    EXPECT_EQ(s.flag, 0u);
    EXPECT_EQ(p.area[0], 42u);
    EXPECT_EQ(s.area[0], 42u);
    EXPECT_EQ(p.mutex | p.cond, 0u);
    EXPECT_EQ(NuPVaxeventDestroy(&p, nullptr), 0) << "destroyed before: both handles are 0";
}

TEST(Event, AFailedConditionLeavesNoMutexBehind) {
    const std::string mutex_name = unique_name("evmutex");
    const std::string cond_name(300, 'c');  // longer than any shared name
    NuPMutexattr mattr;
    NuPCondattr cattr;
    NuPMutexattrInit(&mattr);
    NuPCondattrInit(&cattr);
    mattr.name = mutex_name.c_str();
    cattr.name = cond_name.c_str();
    NuPVaxevent e{};
    e.flag = 9;
    Status st;
    EXPECT_EQ(NuPVaxeventInit2(&e, &mattr, &cattr, &st.err), -1);
    EXPECT_EQ(st.err.status, VESK_E_SYSTEM) << "the condition's own report";
    EXPECT_EQ(st.err.syserr, 0);
    EXPECT_EQ(e.mutex, 0u);
    EXPECT_EQ(e.cond, 0u);
    EXPECT_EQ(e.flag, 9u) << "nothing cleared on failure";
    EXPECT_FALSE(shm_exists("vesk.mutex." + mutex_name)) << "the mutex was closed again";
}

TEST(Event, HandleBroadcastReleasesOneWaiterAndTheFlagWakesNobody) {
    NuPVaxevent e;
    ASSERT_EQ(NuPVaxeventInit(&e, nullptr), 0);
    ASSERT_EQ(NuPVaxeventLock(&e, nullptr), 0);
    e.flag = 1;  // not looked at by any wait
    EXPECT_EQ(NuPVaxeventTimedwait_rel(&e, nullptr, nullptr), -6);
    EXPECT_EQ(NuPVaxeventUnlock(&e, nullptr), 0) << "a timed-out wait holds the mutex";

    std::atomic<int> released{0}, timed_out{0};
    std::vector<std::thread> waiters;
    for (int i = 0; i < 3; ++i)
        waiters.emplace_back([&] {
            NuPVaxeventLock(&e, nullptr);
            const int64_t r = NuPVaxeventTimedwait_ms(&e, 400, nullptr);
            (r == 0 ? released : timed_out)++;
            NuPVaxeventUnlock(&e, nullptr);
        });
    EXPECT_EQ(NuPVaxeventBroadcast(&e, nullptr), 0);
    for (std::thread &t : waiters)
        t.join();
    EXPECT_EQ(released, 1);
    EXPECT_EQ(timed_out, 2);
    EXPECT_EQ(NuPVaxeventDestroy(&e, nullptr), 0);
}

TEST(Event, InProcessBroadcastReleasesEveryWaiter) {
    NuSVaxevent e;
    ASSERT_EQ(NuSVaxeventInit2(&e, nullptr, nullptr, nullptr), 0);
    int waiting = 0;
    std::atomic<int> released{0};
    std::vector<std::thread> waiters;
    for (int i = 0; i < 3; ++i)
        waiters.emplace_back([&] {
            NuSVaxeventLock(&e, nullptr);
            ++waiting;
            while (e.flag == 0)
                if (NuSVaxeventTimedwait_ms(&e, 20000, nullptr) == 0 && e.flag != 0)
                    ++released;
            NuSVaxeventUnlock(&e, nullptr);
        });
    for (;;) {
        NuSVaxeventLock(&e, nullptr);
        const bool all = waiting == 3;
        if (all) {
            e.flag = 1;
            EXPECT_EQ(NuSVaxeventBroadcast(&e, nullptr), 0);
        }
        NuSVaxeventUnlock(&e, nullptr);
        if (all)
            break;
        std::this_thread::yield();
    }
    for (std::thread &t : waiters)
        t.join();
    EXPECT_EQ(released, 3) << "each waiter woke from its wait, none by its limit";
    EXPECT_EQ(NuSVaxeventDestroy(&e, nullptr), 0);
}

}  // namespace

// SPDX-License-Identifier: MIT
// Light semaphores within one process: the step lists and what they need,
// the reports of each refusal, the limits of the timed forms, opening and
// closing by name, and threads that wait on one another.
#include <pthread.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "lsem_support.hpp"
#include "threads/shared_block_posix.hpp"

namespace {

using vesk_test::LSem;
using vesk_test::lsem_name_exists;
using vesk_test::open_lsem;
using vesk_test::Status;
using vesk_test::unique_name;

constexpr int64_t kRefused = -100;  // a case refused before the lock
constexpr int64_t kNoFit = -200;    // a case that met a value it does not fit

struct StepCase {
    const char *what;
    std::vector<int32_t> steps;
    int32_t value;
    int64_t outcome;   // 0, kRefused or kNoFit
    int32_t after;     // the value afterwards
};

TEST(LSemSteps, ListsRunOnlyOnTheValuesTheyNeed) {
    const StepCase cases[] = {
        {"empty list", {}, 5, 0, 5},
        {"take one from 0", {-1}, 0, kNoFit, 0},
        {"take one from 1", {-1}, 1, 0, 0},
        {"zero step on 0", {0}, 0, 0, 0},
        {"zero step on 1", {0}, 1, kNoFit, 1},
        {"take then zero, on 1", {-1, 0}, 1, 0, 0},
        {"take then zero, on 2", {-1, 0}, 2, kNoFit, 2},
        {"take, zero, add, on 1", {-1, 0, 2}, 1, 0, 2},
        {"take, zero, add, on 0", {-1, 0, 2}, 0, kNoFit, 0},
        {"zero straight after an increase", {1, 0}, 0, kRefused, 0},
        {"add two, take three: needs 1", {2, -3}, 1, 0, 0},
        {"add two, take three, on 0", {2, -3}, 0, kNoFit, 0},
        {"add, take back, zero", {3, -3, 0}, 0, 0, 0},
        {"below zero after a zero step", {0, -1}, 0, kRefused, 0},
        {"second zero step after a change", {0, 1, 0}, 0, kRefused, 0},
        {"running sum past the top", {0x7FFFFFFF, 1}, 0, kRefused, 0},
        {"the top in one step", {0x7FFFFFFF}, 0, 0, 0x7FFFFFFF},
        {"needs more than any value", {INT32_MIN}, 0, kRefused, 0},
        {"an increase past the top waits", {1}, 0x7FFFFFFF, kNoFit, 0x7FFFFFFF},
        {"many small steps", std::vector<int32_t>(128, -1), 200, 0, 72},
    };
    LSem s("steps", 0);
    for (const StepCase &c : cases) {
        SCOPED_TRACE(c.what);
        ASSERT_EQ(NuLSemSet(&s.sem, static_cast<uint32_t>(c.value), nullptr), 0);
        Status st;
        static const int32_t kNone = 0;  // an empty list still has an array
        const int32_t *steps = c.steps.empty() ? &kNone : c.steps.data();
        const int64_t r = NuLSemTryop(&s.sem, uint32_t(c.steps.size()), steps, &st.err);
        if (c.outcome == 0) {
            EXPECT_EQ(r, 0) << st.buf;
        } else if (c.outcome == kRefused) {
            EXPECT_EQ(r, -1);
            EXPECT_STREQ(st.buf, "light-semaphore:operation(@opv): invalid argument.");
        } else {
            EXPECT_EQ(r, -1);
            EXPECT_STREQ(st.buf, "{semop:@sem}: wrong [object] state to perform operation.");
        }
        EXPECT_EQ(s.value(), c.after);
    }
}

TEST(LSemSteps, CountAndArrayAreRefusedBeforeAnythingElse) {
    const std::vector<int32_t> many(129, 1);
    Status st;
    // Even a record that is not open: the list is looked at first.
    NuLSem closed{};
    EXPECT_EQ(NuLSemOp(&closed, 129, many.data(), &st.err), -1);
    vesk_test::expect_report(st.err, VESK_FAC_NONE, VESK_E_INVAL, 0, 3,
                             "light-semaphore:operation(@opc): invalid argument.");
    EXPECT_EQ(NuLSemOp(&closed, 129, nullptr, &st.err), -1);
    EXPECT_STREQ(st.buf, "light-semaphore:operation(@opc): invalid argument.");
    EXPECT_EQ(NuLSemTryop(&closed, 1, nullptr, &st.err), -1);
    vesk_test::expect_report(st.err, VESK_FAC_NONE, VESK_E_FAULT, 0, 3,
                             "light-semaphore:operation(@opv): the argument points outside "
                             "an allocated address space of the process.");
    const int32_t one = 1;
    EXPECT_EQ(NuLSemOp(&closed, 1, &one, &st.err), -1);
    EXPECT_STREQ(st.buf, "light-semaphore:operation(@sem): invalid argument.");
}

TEST(LSemSet, StoresTheRangeAndRefusesAboveIt) {
    LSem s("set", 3);
    Status st;
    EXPECT_EQ(NuLSemTimedset_ms(&s.sem, 0x80000000u, 10, &st.err), -1);
    vesk_test::expect_report(st.err, VESK_FAC_NONE, VESK_E_INVAL, 0, 3,
                             "light-semaphore:set(@value): invalid argument.");
    EXPECT_EQ(s.value(), 3);
    EXPECT_EQ(NuLSemTimedset_ms(&s.sem, 0x7FFFFFFFu, 10, nullptr), 0);
    EXPECT_EQ(s.value(), 0x7FFFFFFF);
    const timespec past = {1, 0};
    EXPECT_EQ(NuLSemTimedset(&s.sem, 9, &past, nullptr), 0) << "a free lock is had even late";
    EXPECT_EQ(NuLSemTimedset(&s.sem, 4, nullptr, nullptr), 0);
    EXPECT_EQ(s.value(), 4);
}

TEST(LSemOpen, NamesAndTheReportsOfOpeningByCreating) {
    NuLSem sem{};
    Status st;
    NuLSemattr attr;
    ASSERT_EQ(NuLSemattrInit(&attr), 0);
    EXPECT_EQ(attr.access, 0xF0000u);
    EXPECT_EQ(attr.protection, 4u);
    EXPECT_EQ(NuLSemOpen2(&sem, &attr, &st.err), -1);
    vesk_test::expect_report(st.err, VESK_FAC_NONE, VESK_E_INVAL, 0, 3,
                             "light-semaphore:open(@semattr.name): invalid argument.");
    NuLSemattrSetshared(&attr, "");
    EXPECT_EQ(NuLSemOpen2(&sem, &attr, &st.err), -1);
    EXPECT_STREQ(st.buf, "light-semaphore:open(@semattr.name): invalid argument.");

    const std::string base = unique_name("n");
    const std::string longest = base + std::string(244 - base.size(), 'x');
    const std::string too_long = longest + "x";
    NuLSemattrSetshared(&attr, too_long.c_str());
    EXPECT_EQ(NuLSemOpen2(&sem, &attr, &st.err), -1);
    vesk_test::expect_report(st.err, VESK_FAC_NONE, VESK_E_INVAL, 0, 1,
                             "@semattr.name: invalid argument.");

    NuLSemattrSetshared(&attr, longest.c_str());
    NuLSemattrSetinitvalue(&attr, 7);
    const char *got = nullptr;
    uint32_t init = 0;
    EXPECT_EQ(NuLSemattrGetshared(&attr, &got), 0);
    EXPECT_EQ(NuLSemattrGetinitvalue(&attr, &init), 0);
    EXPECT_EQ(got, longest.c_str()) << "the name is not copied";
    EXPECT_EQ(init, 7u);
    Status first;
    ASSERT_EQ(NuLSemOpen2(&sem, &attr, &first.err), 0);
    vesk_test::expect_report(first.err, VESK_FAC_RUNTIME, VESK_E_NOTREADY, 0, 3,
                             "light-semaphore:open:FileMapping: resource not ready to use or no "
                             "such resource.");
    EXPECT_EQ(NuLSemValue(&sem), 7);

    NuLSem second{};
    Status again;
    NuLSemattrSetinitvalue(&attr, 99);
    ASSERT_EQ(NuLSemOpen2(&second, &attr, &again.err), 0);
    EXPECT_EQ(again.err.status, 0) << "opening what exists reports nothing";
    EXPECT_EQ(NuLSemValue(&second), 7) << "a later opener leaves the value alone";
    const int32_t take = -2;
    EXPECT_EQ(NuLSemOp(&second, 1, &take, nullptr), 0);
    EXPECT_EQ(NuLSemValue(&sem), 5) << "one value for both handles";

    EXPECT_EQ(NuLSemClose(&sem), 0);
    EXPECT_TRUE(lsem_name_exists(longest)) << "another handle is still open";
    EXPECT_EQ(NuLSemClose(&second), 0);
    EXPECT_FALSE(lsem_name_exists(longest));
    EXPECT_EQ(NuLSemClose(&second), 0) << "a closed record does nothing";
    EXPECT_EQ(NuLSemValue(&second), -1);

    ASSERT_EQ(NuLSemOpen2(&sem, &attr, nullptr), 0);
    EXPECT_EQ(NuLSemValue(&sem), 99) << "after the last close the name starts afresh";
    NuLSemClose(&sem);
    EXPECT_FALSE(lsem_name_exists(longest));
}

// Holds the semaphore's lock from another thread, as a process in the middle
// of a change does.
struct LockHolder {
    pthread_mutex_t *mutex;
    std::atomic<bool> held{false}, release{false};
    std::thread thread;
    explicit LockHolder(NuLSem &sem)
        : mutex(&static_cast<vesk::threads::SharedBlock *>(sem.view)->mutex),
          thread([this] {
              pthread_mutex_lock(mutex);
              held = true;
              while (!release)
                  std::this_thread::yield();
              pthread_mutex_unlock(mutex);
          }) {
        while (!held)
            std::this_thread::yield();
    }
    ~LockHolder() {
        release = true;
        thread.join();
    }
};

TEST(LSemLimits, BusyLockAndValueThatDoesNotFitAreTwoReports) {
    LSem s("limits", 0);
    const int32_t take = -1;
    {
        LockHolder holder(s.sem);
        Status st;
        EXPECT_EQ(NuLSemTryop(&s.sem, 1, &take, &st.err), -1);
        vesk_test::expect_report(st.err, VESK_FAC_NONE, VESK_E_TIMEDOUT, 0, 2,
                                 "@sem:wait-for-multiple-objects: operation timed out.");
        Status set;
        EXPECT_EQ(NuLSemTimedset_ms(&s.sem, 5, 20, &set.err), -6);
        EXPECT_STREQ(set.buf, "@sem:wait-for-multiple-objects: operation timed out.");
        const timespec past = {1, 0};
        EXPECT_EQ(NuLSemTimedop(&s.sem, 1, &take, &past, nullptr), -1) << "past: at once";
    }
    Status st;
    EXPECT_EQ(NuLSemTimedop_ms(&s.sem, 1, &take, 30, &st.err), -1);
    vesk_test::expect_report(st.err, VESK_FAC_NONE, VESK_E_WRONGSTATE, 0, 2,
                             "{semop:@sem}: wrong [object] state to perform operation.");
    // Only the low 32 bits count: 2^32 is a poll, not a wait of weeks.
    EXPECT_EQ(NuLSemTimedop_ms(&s.sem, 1, &take, int64_t{1} << 32, nullptr), -1);
    const timespec past = {1, 0};
    EXPECT_EQ(NuLSemTimedop(&s.sem, 1, &take, &past, nullptr), -1);
    EXPECT_EQ(s.value(), 0);
}

TEST(LSemWait, WaitersSleepUntilAnotherThreadChangesTheValue) {
    LSem s("wake", 0);
    const int32_t take_two[] = {-1, -1};
    std::atomic<int> done{0};
    std::vector<std::thread> waiters;
    for (int i = 0; i < 3; ++i)
        waiters.emplace_back([&, i] {
            NuLSem mine{};
            ASSERT_EQ(open_lsem(&mine, s.name, 0), 0);
            // No limit, whichever way it is written.
            const int64_t r = i == 0   ? NuLSemOp(&mine, 2, take_two, nullptr)
                              : i == 1 ? NuLSemTimedop_ms(&mine, 2, take_two,
                                                          0x1FFFFFFFFll, nullptr)
                                       : NuLSemTimedop(&mine, 2, take_two, nullptr, nullptr);
            EXPECT_EQ(r, 0);
            ++done;
            NuLSemClose(&mine);
        });
    const int32_t give[] = {2};
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(NuLSemOp(&s.sem, 1, give, nullptr), 0);
    for (std::thread &t : waiters)
        t.join();
    EXPECT_EQ(done, 3);
    EXPECT_EQ(s.value(), 0);
}

TEST(LSemWait, ThreadsCountingThroughOneSemaphoreKeepTheSum) {
    LSem s("count", 2);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&, t] {
            const int32_t down[] = {-1};
            const int32_t up_and_extra[] = {1, 1 + t % 2};
            for (int i = 0; i < 2000; ++i) {
                ASSERT_EQ(NuLSemOp(&s.sem, 1, down, nullptr), 0);
                ASSERT_EQ(NuLSemOp(&s.sem, 2, up_and_extra, nullptr), 0);
            }
        });
    for (std::thread &t : threads)
        t.join();
    EXPECT_EQ(s.value(), 2 + 2000 * (1 + 2 + 1 + 2));
}

}  // namespace

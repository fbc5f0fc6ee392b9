// SPDX-License-Identifier: MIT
// Light semaphores between real processes, each opening the name itself:
// children running random step lists whose sum is known, a holder killed in
// the middle of a change, a second opener, and a waiter woken from another
// process.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <random>
#include <thread>
#include <vector>

#include "lsem_support.hpp"
#include "support/child.hpp"
#include "support/status.hpp"
#include "threads/shared_block_posix.hpp"

namespace {

using namespace std::chrono_literals;
using vesk_test::LSem;
using vesk_test::open_lsem;
using vesk_test::run_in_child;

// A pipe on which a child tells the parent that it reached a point.
struct Gate {
    int fd[2];
    Gate() { EXPECT_EQ(pipe(fd), 0); }
    ~Gate() {
        close(fd[0]);
        close(fd[1]);
    }
    void open() { (void)!write(fd[1], "x", 1); }
    bool wait() {
        char c;
        return read(fd[0], &c, 1) == 1;
    }
};

int exit_code_of(pid_t child) {
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// A list that adds `n` in pieces, and one that takes it back again without
// ever needing more than `n`: each child only takes what it gave, so no list
// waits for ever whatever the others do.
std::vector<int32_t> giving(std::mt19937 &rng, int32_t n) {
    std::vector<int32_t> steps;
    while (n > 0) {
        const int32_t s = std::uniform_int_distribution<int32_t>(1, n)(rng);
        steps.push_back(s);
        n -= s;
    }
    return steps;
}

std::vector<int32_t> taking(std::mt19937 &rng, int32_t n) {
    std::vector<int32_t> steps = {-n};
    const int32_t churn = std::uniform_int_distribution<int32_t>(0, n)(rng);
    if (churn > 0) {  // give some back and take it again: still needs n alone
        steps.push_back(churn);
        steps.push_back(-churn);
    }
    return steps;
}

TEST(LSemProcesses, RandomListsFromSeveralChildrenLeaveTheKnownSum) {
    LSem s("sum", 0);
    constexpr int kChildren = 4, kRounds = 300;
    std::vector<pid_t> children;
    for (int c = 0; c < kChildren; ++c) {
        const pid_t pid = fork();
        if (pid == 0) {
            NuLSem mine{};
            CHILD_CHECK(open_lsem(&mine, s.name, 12345) == 0);
            std::mt19937 rng(static_cast<unsigned>(c + 1));
            for (int i = 0; i < kRounds; ++i) {
                const int32_t n = std::uniform_int_distribution<int32_t>(1, 50)(rng);
                const std::vector<int32_t> up = giving(rng, n), down = taking(rng, n);
                CHILD_CHECK(NuLSemOp(&mine, uint32_t(up.size()), up.data(), nullptr) == 0);
                CHILD_CHECK(NuLSemOp(&mine, uint32_t(down.size()), down.data(), nullptr) == 0);
            }
            const int32_t keep = c + 1;  // what each child leaves behind
            CHILD_CHECK(NuLSemOp(&mine, 1, &keep, nullptr) == 0);
            NuLSemClose(&mine);
            _exit(0);
        }
        children.push_back(pid);
    }
    // Meanwhile the parent waits for values that only the children make.
    const int32_t need_ten_and_back[] = {-10, 10};
    EXPECT_EQ(NuLSemOp(&s.sem, 2, need_ten_and_back, nullptr), 0);
    for (pid_t pid : children)
        EXPECT_EQ(exit_code_of(pid), 0);
    EXPECT_EQ(s.value(), 1 + 2 + 3 + 4);
}

TEST(LSemProcesses, AHolderKilledInTheMiddleLeavesTheValueAndTheOthersGoOn) {
    LSem s("killed", 40);
    Gate inside;
    const pid_t holder = fork();
    if (holder == 0) {
        NuLSem mine{};
        CHILD_CHECK(open_lsem(&mine, s.name, 0) == 0);
        const int32_t take = -3;
        CHILD_CHECK(NuLSemOp(&mine, 1, &take, nullptr) == 0);
        // Then into the critical section, where it is killed.
        auto *block = static_cast<vesk::threads::SharedBlock *>(mine.view);
        CHILD_CHECK(pthread_mutex_lock(&block->mutex) == 0);
        inside.open();
        pause();
        _exit(3);
    }
    ASSERT_TRUE(inside.wait());
    kill(holder, SIGKILL);
    EXPECT_EQ(exit_code_of(holder), 128 + SIGKILL);
    // The lock passes on; the value is what the holder's last change left.
    const int32_t take = -7;
    EXPECT_EQ(NuLSemOp(&s.sem, 1, &take, nullptr), 0);
    EXPECT_EQ(s.value(), 30);
    const vesk_test::ChildOutcome other = run_in_child(
        [&] {
            NuLSem mine{};
            CHILD_CHECK(open_lsem(&mine, s.name, 0) == 0);
            const int32_t give = 5;
            CHILD_CHECK(NuLSemTimedop_ms(&mine, 1, &give, 10000, nullptr) == 0);
            NuLSemClose(&mine);
        },
        30s);
    EXPECT_TRUE(other.ok()) << other.describe();
    EXPECT_EQ(s.value(), 35);
    // The killed holder never closed its handle; the last close here still
    // removes the name (checked as the test's handle goes).
}

TEST(LSemProcesses, ASecondOpenerElsewhereLeavesTheValueAlone) {
    LSem s("second", 17);
    const vesk_test::ChildOutcome out = run_in_child(
        [&] {
            NuLSem mine{};
            vesk_test::Status st;
            CHILD_CHECK(open_lsem(&mine, s.name, 1000, &st.err) == 0);
            CHILD_CHECK(st.err.status == 0);
            CHILD_CHECK(NuLSemValue(&mine) == 17);
            NuLSemClose(&mine);
        },
        30s);
    EXPECT_TRUE(out.ok()) << out.describe();
    EXPECT_EQ(s.value(), 17);
}

TEST(LSemProcesses, TheLastCloseAnywhereRemovesTheName) {
    const std::string name = vesk_test::unique_name("gone");
    const vesk_test::ChildOutcome out = run_in_child(
        [&] {
            NuLSem mine{};
            CHILD_CHECK(open_lsem(&mine, name, 8) == 0);
            CHILD_CHECK(vesk_test::lsem_name_exists(name));
            NuLSemClose(&mine);
        },
        30s);
    EXPECT_TRUE(out.ok()) << out.describe();
    EXPECT_FALSE(vesk_test::lsem_name_exists(name));
    NuLSem fresh{};
    ASSERT_EQ(open_lsem(&fresh, name, 2), 0);
    EXPECT_EQ(NuLSemValue(&fresh), 2);
    NuLSemClose(&fresh);
    EXPECT_FALSE(vesk_test::lsem_name_exists(name));
}

TEST(LSemProcesses, AWaiterInOneProcessIsReleasedByAPostInAnother) {
    LSem s("post", 0);
    Gate opened;
    const pid_t waiter = fork();
    if (waiter == 0) {
        NuLSem mine{};
        CHILD_CHECK(open_lsem(&mine, s.name, 0) == 0);
        opened.open();
        const int32_t take = -1;
        CHILD_CHECK(NuLSemOp(&mine, 1, &take, nullptr) == 0);
        NuLSemClose(&mine);
        _exit(0);
    }
    ASSERT_TRUE(opened.wait());
    std::this_thread::sleep_for(50ms);
    int status = 0;
    EXPECT_EQ(waitpid(waiter, &status, WNOHANG), 0) << "nothing to take yet: still waiting";
    const int32_t give = 1;
    EXPECT_EQ(NuLSemOp(&s.sem, 1, &give, nullptr), 0);
    EXPECT_EQ(exit_code_of(waiter), 0);
    EXPECT_EQ(s.value(), 0);
}

}  // namespace

// SPDX-License-Identifier: MIT
// Runs a piece of code in a forked child with a time limit, so that a crash or
// a hang is one failed case instead of a dead test program. Self-contained:
// POSIX and the C++ library only.
//
//   const vesk_test::ChildOutcome out = vesk_test::run_in_child([] { ... }, 10s);
//   EXPECT_TRUE(out.ok()) << out.describe();
//
// The callable runs in the child and may return void (the child then exits
// with 0) or an int, the child's exit code. A check inside it reports by
// exiting non-zero (CHILD_CHECK in status.hpp does). The child leaves with
// _exit, so no atexit handler or test-framework teardown runs twice.
#pragma once

#include <signal.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>

namespace vesk_test {

struct ChildOutcome {
    enum class End { exited, signalled, timed_out, not_started };
    End end = End::not_started;
    int number = 0;  // exit code, signal number, or errno of a failed fork

    bool ok() const { return end == End::exited && number == 0; }

    std::string describe() const {
        switch (end) {
        case End::exited:
            return "exited with " + std::to_string(number);
        case End::signalled:
            return std::string("killed by signal ") + std::to_string(number) + " (" +
                   strsignal(number) + ")";
        case End::timed_out:
            return "still running at the time limit, killed";
        case End::not_started:
            break;
        }
        return std::string("not started: ") + std::strerror(number);
    }
};

template <class Body>
ChildOutcome run_in_child(Body &&body, std::chrono::milliseconds limit) {
    ChildOutcome out;
    // Buffered output would otherwise be written by both processes.
    std::fflush(nullptr);
    const pid_t pid = fork();
    if (pid < 0) {
        out.number = errno;
        return out;
    }
    if (pid == 0) {
        if constexpr (std::is_void_v<std::invoke_result_t<Body>>) {
            std::forward<Body>(body)();
            std::fflush(nullptr);
            _exit(0);
        } else {
            const int code = static_cast<int>(std::forward<Body>(body)());
            std::fflush(nullptr);
            _exit(code);
        }
    }
    // Poll with a pause that grows to 10 ms: quick children are seen at once,
    // long ones cost little.
    const auto deadline = std::chrono::steady_clock::now() + limit;
    auto pause = std::chrono::microseconds(100);
    int status = 0;
    for (;;) {
        const pid_t done = waitpid(pid, &status, WNOHANG);
        if (done == pid)
            break;
        if (done < 0 && errno != EINTR) {
            out.number = errno;
            return out;
        }
        if (std::chrono::steady_clock::now() >= deadline) {
            kill(pid, SIGKILL);
            while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
            }
            out.end = ChildOutcome::End::timed_out;
            return out;
        }
        std::this_thread::sleep_for(pause);
        pause = std::min(pause * 2, std::chrono::microseconds(10'000));
    }
    if (WIFEXITED(status)) {
        out.end = ChildOutcome::End::exited;
        out.number = WEXITSTATUS(status);
    } else {
        out.end = ChildOutcome::End::signalled;
        out.number = WTERMSIG(status);
    }
    return out;
}

}  // namespace vesk_test

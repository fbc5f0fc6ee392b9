// SPDX-License-Identifier: MIT
// Sleeps: the milliseconds each form asks for, its limit and report, that it
// lasts, and what a signal does to it.
#include <gtest/gtest.h>

#include <pthread.h>
#include <signal.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <functional>
#include <optional>
#include <thread>
#include <utility>

#include "nu.h"
#include "os/time.hpp"

namespace {

using vesk::os::kSleepNoLimit;
using Ms = std::optional<uint32_t>;

int64_t monotonic_ns() {
    timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return ts.tv_sec * 1'000'000'000 + ts.tv_nsec;
}

TEST(Sleep, MillisecondsOfEachForm) {
    using namespace vesk::os;
    const std::pair<uint64_t, Ms> seconds[] = {
        {0, 0}, {1, 1000}, {4294967, 4294967000u}, {4294968, {}}, {UINT64_MAX, {}}};
    for (const auto &[in, ms] : seconds)
        EXPECT_EQ(sleep_ms_for_seconds(in), ms) << in;
    const std::pair<uint64_t, Ms> millis[] = {
        {0, 0}, {17, 17}, {0xFFFFFFFF, kSleepNoLimit}, {0x100000000, {}}};
    for (const auto &[in, ms] : millis)
        EXPECT_EQ(sleep_ms_for_milliseconds(in), ms) << in;
    const std::pair<int64_t, Ms> micros[] = {
        {-1, {}},  {INT64_MIN, {}}, {0, 1}, {500, 1}, {1999, 1}, {2000, 2},
        {4294967295999, kSleepNoLimit}, {4294967296000, {}}};
    for (const auto &[in, ms] : micros)
        EXPECT_EQ(sleep_ms_for_microseconds(in), ms) << in;
    // No limit: the count wraps modulo 2^32, and 0 becomes 1.
    const std::pair<timespec, uint32_t> requests[] = {
        {{0, 0}, 1},         {{0, 999'999}, 1},          {{0, 2'500'000}, 2},
        {{1, 500'000'000}, 1500}, {{4294967, 296'000'000}, 1}, {{4294968, 0}, 704}};
    for (const auto &[in, ms] : requests)
        EXPECT_EQ(sleep_ms_for_timespec(in), ms) << in.tv_sec << "." << in.tv_nsec;
}

// Each form sleeps by its own rule: seconds, milliseconds, at least one for
// the finer forms, and a timespec's remainder zeroed first.
TEST(Sleep, LastsAtLeastTheRequest) {
    timespec remainder{9, 9};
    const std::pair<int64_t, std::function<int64_t(VeskErr *)>> cases[] = {
        {0, [](VeskErr *e) { return NuSleep(0, e); }},  // gives up the processor
        {1'000'000'000, [](VeskErr *e) { return NuSleep(1, e); }},
        {30'000'000, [](VeskErr *e) { return NuMsleep(30, e); }},
        {20'000'000, [](VeskErr *) { return int64_t{msleep(20)}; }},
        {1'000'000, [](VeskErr *e) { return NuUsleep(500, e); }},
        {1'000'000, [&](VeskErr *e) {
             const timespec zero{0, 0};
             return NuNanosleep(&zero, &remainder, e);
         }},
        {30'000'000, [&](VeskErr *e) {
             const timespec request{0, 30'000'000};
             return NuNanosleep(&request, &remainder, e);
         }},
    };
    for (const auto &[at_least_ns, call] : cases) {
        SCOPED_TRACE(at_least_ns);
        VeskErr err{};
        err.status = 0x5EED;
        const int64_t start = monotonic_ns();
        EXPECT_EQ(call(&err), 0);
        EXPECT_GE(monotonic_ns() - start, at_least_ns);
        EXPECT_EQ(err.status, 0x5EED) << "reported on success";
    }
    EXPECT_TRUE(remainder.tv_sec == 0 && remainder.tv_nsec == 0);
}

std::atomic<int> signals_seen{0};

// Each sleep on a thread of its own, poked with SIGUSR1 (no SA_RESTART) until
// it returns; the first signal may come before the sleep begins.
TEST(Sleep, SignalCutsItShortWithEintr) {
    struct sigaction action {}, old{};
    action.sa_handler = [](int) { signals_seen.fetch_add(1); };
    sigemptyset(&action.sa_mask);
    sigaction(SIGUSR1, &action, &old);
    timespec remainder{};
    const std::pair<const char *, std::function<int64_t(VeskErr *)>> cases[] = {
        {"NuSleep", [](VeskErr *e) { return NuSleep(600, e); }},
        {"NuMsleep without limit", [](VeskErr *e) { return NuMsleep(0xFFFFFFFF, e); }},
        {"msleep without limit", [](VeskErr *) { return int64_t{msleep(0xFFFFFFFF)}; }},
        {"NuNanosleep", [&](VeskErr *e) {
             const timespec request{600, 0};
             return NuNanosleep(&request, &remainder, e);
         }},
    };
    for (const auto &[what, call] : cases) {
        SCOPED_TRACE(what);
        int64_t result = 0;
        int errnum = 0;
        VeskErr err{};
        err.status = 0x5EED;
        std::atomic<bool> done{false};
        std::thread sleeper([&] {
            result = call(&err);
            errnum = errno;
            done.store(true);
        });
        while (!done.load()) {
            pthread_kill(sleeper.native_handle(), SIGUSR1);
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        sleeper.join();
        EXPECT_EQ(result, -1);
        EXPECT_EQ(errnum, EINTR);
        EXPECT_EQ(err.status, 0x5EED) << "an interruption is not reported";
    }
    sigaction(SIGUSR1, &old, nullptr);
    // What was left of the sleep, as nanosleep gives it.
    EXPECT_GT(remainder.tv_sec * 1'000'000'000 + remainder.tv_nsec, 0);
    EXPECT_LE(remainder.tv_sec, 600);
    EXPECT_GT(signals_seen.load(), 0);
}

}  // namespace

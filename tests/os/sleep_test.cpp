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
#include <utility>
#include <thread>

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

TEST(Sleep, LastsAtLeastTheRequest) {
    timespec remainder{9, 9};
    const struct {
        const char *what;
        int64_t at_least_ns;
        std::function<int64_t(VeskErr *)> call;
    } cases[] = {
        {"NuSleep(0) gives up the processor", 0, [](VeskErr *e) { return NuSleep(0, e); }},
        {"NuMsleep(0)", 0, [](VeskErr *e) { return NuMsleep(0, e); }},
        {"NuSleep(1)", 1'000'000'000, [](VeskErr *e) { return NuSleep(1, e); }},
        {"NuMsleep(30)", 30'000'000, [](VeskErr *e) { return NuMsleep(30, e); }},
        {"msleep(20)", 20'000'000, [](VeskErr *) { return int64_t{msleep(20)}; }},
        {"NuUsleep(500)", 1'000'000, [](VeskErr *e) { return NuUsleep(500, e); }},
        {"NuUsleep(25000)", 25'000'000, [](VeskErr *e) { return NuUsleep(25'000, e); }},
        {"NuNanosleep of zero", 1'000'000,
         [&](VeskErr *e) {
             const timespec zero{0, 0};
             return NuNanosleep(&zero, &remainder, e);
         }},
        {"NuNanosleep of 30 ms", 30'000'000,
         [&](VeskErr *e) {
             const timespec request{0, 30'000'000};
             return NuNanosleep(&request, &remainder, e);
         }},
    };
    for (const auto &c : cases) {
        VeskErr err{};
        err.status = 0x5EED;
        const int64_t start = monotonic_ns();
        EXPECT_EQ(c.call(&err), 0) << c.what;
        EXPECT_GE(monotonic_ns() - start, c.at_least_ns) << c.what;
        EXPECT_EQ(err.status, 0x5EED) << c.what << " reported on success";
    }
    EXPECT_EQ(remainder.tv_sec, 0);
    EXPECT_EQ(remainder.tv_nsec, 0);
}

std::atomic<int> signals_seen{0};
void count_signal(int) { signals_seen.fetch_add(1); }

// A sleep on another thread, poked with SIGUSR1 until it returns. The first
// signal may come before the sleep begins, so the pokes go on.
struct Interrupted {
    int64_t result = 0;
    int errnum = 0;
    int64_t status = 0;
};
Interrupted interrupt(const std::function<int64_t(VeskErr *)> &sleep) {
    struct sigaction action {}, old{};
    action.sa_handler = count_signal; // no SA_RESTART
    sigemptyset(&action.sa_mask);
    sigaction(SIGUSR1, &action, &old);
    Interrupted out;
    std::atomic<bool> done{false};
    std::thread sleeper([&] {
        VeskErr err{};
        err.status = 0x5EED;
        out.result = sleep(&err);
        out.errnum = errno;
        out.status = err.status;
        done.store(true);
    });
    while (!done.load()) {
        pthread_kill(sleeper.native_handle(), SIGUSR1);
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    sleeper.join();
    sigaction(SIGUSR1, &old, nullptr);
    return out;
}

TEST(Sleep, SignalCutsItShortWithEintr) {
    timespec remainder{};
    const struct {
        const char *what;
        std::function<int64_t(VeskErr *)> call;
    } cases[] = {
        {"NuSleep", [](VeskErr *e) { return NuSleep(600, e); }},
        {"NuMsleep", [](VeskErr *e) { return NuMsleep(600'000, e); }},
        {"NuMsleep without limit", [](VeskErr *e) { return NuMsleep(0xFFFFFFFF, e); }},
        {"msleep without limit", [](VeskErr *) { return int64_t{msleep(0xFFFFFFFF)}; }},
        {"NuNanosleep", [&](VeskErr *e) {
             const timespec request{600, 0};
             return NuNanosleep(&request, &remainder, e);
         }},
    };
    for (const auto &c : cases) {
        const Interrupted got = interrupt(c.call);
        EXPECT_EQ(got.result, -1) << c.what;
        EXPECT_EQ(got.errnum, EINTR) << c.what;
        EXPECT_EQ(got.status, 0x5EED) << c.what << ": an interruption is not reported";
    }
    // What was left of the sleep, as nanosleep gives it.
    EXPECT_GT(remainder.tv_sec * 1'000'000'000 + remainder.tv_nsec, 0);
    EXPECT_LE(remainder.tv_sec, 600);
    EXPECT_GT(signals_seen.load(), 0);
}

}  // namespace

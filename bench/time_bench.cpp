// SPDX-License-Identifier: MIT
// The library's clocks beside the ones a Linux programmer would call.
//
// NuGettimeofday runs on the monotonic counter from an anchor, under a spin
// lock that all threads share, and reads the platform's wall clock only once
// a minute; it is measured beside clock_gettime(CLOCK_REALTIME) and glibc's
// gettimeofday, on one thread and on two (where the lock is contended).
// NuTick is measured beside clock_gettime(CLOCK_MONOTONIC). Every figure is
// nanoseconds per reading; no input size.
#include <benchmark/benchmark.h>

#include <sys/time.h>

#include <ctime>

#include "nu.h"

namespace {

// Calibrates before the clock is timed, so that no benchmark pays the
// first use's 72 ms sleep.
const bool calibrated = [] {
    timeval tv;
    return NuGettimeofday(&tv, nullptr) == 0 && NuTick() != 0;
}();

void BM_NuGettimeofday(benchmark::State &state) {
    timeval tv;
    for (auto _ : state) {
        NuGettimeofday(&tv, nullptr);
        benchmark::DoNotOptimize(tv);
    }
}

void BM_clock_gettime_REALTIME(benchmark::State &state) {
    timespec ts;
    for (auto _ : state) {
        clock_gettime(CLOCK_REALTIME, &ts);
        benchmark::DoNotOptimize(ts);
    }
}

void BM_gettimeofday(benchmark::State &state) {
    timeval tv;
    for (auto _ : state) {
        gettimeofday(&tv, nullptr);
        benchmark::DoNotOptimize(tv);
    }
}

void BM_NuTime(benchmark::State &state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(NuTime(nullptr, nullptr));
}

void BM_NuTick(benchmark::State &state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(NuTick());
}

void BM_clock_gettime_MONOTONIC(benchmark::State &state) {
    timespec ts;
    for (auto _ : state) {
        clock_gettime(CLOCK_MONOTONIC, &ts);
        benchmark::DoNotOptimize(ts);
    }
}

BENCHMARK(BM_NuGettimeofday);
BENCHMARK(BM_clock_gettime_REALTIME);
BENCHMARK(BM_gettimeofday);
BENCHMARK(BM_NuTime);
BENCHMARK(BM_NuTick);
BENCHMARK(BM_clock_gettime_MONOTONIC);

// Two threads reading at once: the anchor's lock word bounces between them.
BENCHMARK(BM_NuGettimeofday)->Threads(2);
BENCHMARK(BM_clock_gettime_REALTIME)->Threads(2);
BENCHMARK(BM_NuTick)->Threads(2);

}  // namespace

BENCHMARK_MAIN();

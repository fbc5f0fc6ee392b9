// SPDX-License-Identifier: MIT
// A report with its sentence beside formatting the same sentence alone.
//
// VeskMkerr with a message buffer looks the make row up on the default
// service, searches the code in the service's tree and formats the chosen
// variant; snprintf of the same format and path is the floor. Nanoseconds per
// report; the path is 20 characters.
#include <benchmark/benchmark.h>

#include <cstdio>

#include "vesk.h"

namespace {

constexpr const char *kPath = "/var/lib/vesk/config";

void BM_VeskMkerr_sentence(benchmark::State &state) {
    char msg[256];
    VeskErr err{};
    err.msg = msg;
    err.msgsize = sizeof msg;
    for (auto _ : state) {
        VeskMkerr(nullptr, &err, 0, 0, 0, 104, 33281, 2, 1, kPath);
        benchmark::DoNotOptimize(msg);
    }
}

void BM_snprintf_same_sentence(benchmark::State &state) {
    char msg[256];
    const char *format = "%s: no such file or directory.";
    benchmark::DoNotOptimize(format);
    for (auto _ : state) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
        std::snprintf(msg, sizeof msg, format, kPath);
#pragma GCC diagnostic pop
        benchmark::DoNotOptimize(msg);
    }
}

// The record alone, without a buffer: no service is asked.
void BM_VeskMkerr_no_buffer(benchmark::State &state) {
    VeskErr err{};
    for (auto _ : state) {
        VeskMkerr(nullptr, &err, 0, 0, 0, 104, 33281, 2, 1, kPath);
        benchmark::DoNotOptimize(err);
    }
}

}  // namespace

BENCHMARK(BM_VeskMkerr_sentence);
BENCHMARK(BM_snprintf_same_sentence);
BENCHMARK(BM_VeskMkerr_no_buffer);
BENCHMARK_MAIN();

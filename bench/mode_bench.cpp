// SPDX-License-Identifier: MIT
// NuMkcunmode per call beside what a program writes for itself to turn an
// fopen mode into open(2) flags: a look at the first letter and strchr for
// "+", "x" and "e"; and for a unix-style "rwc, 0644", strchr over the letters
// up to the comma and strtol for the octal permission. The hand-written
// parsers check nothing (a second access letter, an unknown letter, a bad
// permission all pass), which the library refuses with a report. Nanoseconds
// per mode string.
#include <benchmark/benchmark.h>
#include <fcntl.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "nu.h"

namespace {

struct Parsed {
    int flags;
    int perm;
};

Parsed hand_fopen_mode(const char *mode) {
    int flags = std::strchr(mode, '+') != nullptr ? O_RDWR : *mode == 'r' ? O_RDONLY : O_WRONLY;
    if (*mode == 'w')
        flags |= O_CREAT | O_TRUNC;
    if (*mode == 'a')
        flags |= O_CREAT | O_APPEND;
    if (std::strchr(mode, 'x') != nullptr)
        flags |= O_EXCL;
    if (std::strchr(mode, 'e') != nullptr)
        flags |= O_CLOEXEC;
    return {flags, 0644};
}

Parsed hand_unix_mode(const char *mode) {
    const size_t letters = std::strcspn(mode, ",");
    const auto has = [&](char c) {
        const char *at = std::strchr(mode, c);
        return at != nullptr && at < mode + letters;
    };
    int flags = has('r') && has('w') ? O_RDWR : has('w') ? O_WRONLY : O_RDONLY;
    if (has('a'))
        flags |= O_APPEND;
    if (has('c'))
        flags |= O_CREAT;
    if (has('z'))
        flags |= O_TRUNC;
    if (has('x'))
        flags |= O_EXCL;
    if (has('d'))
        flags |= O_CLOEXEC;
    const int perm = mode[letters] == ',' ? int(std::strtol(mode + letters + 1, nullptr, 8)) : 0;
    return {flags, perm};
}

// The library reads both languages; the hand-written pair needs the caller
// to pick one, which the prefix does here.
Parsed hand_either(const char *mode) {
    return std::strncmp(mode, "unix:", 5) == 0 ? hand_unix_mode(mode + 5) : hand_fopen_mode(mode);
}

void BM_NuMkcunmode(benchmark::State &state, const char *mode) {
    int32_t flags = 0, perm = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(NuMkcunmode(mode, &flags, &perm, nullptr));
        benchmark::DoNotOptimize(flags);
        benchmark::DoNotOptimize(perm);
    }
    state.SetLabel(mode);
}

void BM_hand_written(benchmark::State &state, const char *mode) {
    for (auto _ : state) {
        Parsed p = hand_either(mode);
        benchmark::DoNotOptimize(p);
    }
    state.SetLabel(mode);
}

#define MODE_PAIR(name, mode)                          \
    BENCHMARK_CAPTURE(BM_NuMkcunmode, name, mode);     \
    BENCHMARK_CAPTURE(BM_hand_written, name, mode)

MODE_PAIR(r, "r");
MODE_PAIR(w_plus, "w+");
MODE_PAIR(a_plus_b, "a+b");
MODE_PAIR(unix_octal, "unix:rwc, 0644");
MODE_PAIR(unix_long, "unix:rwazcxd, 0640");

// The clause form has no hand-written counterpart short of a parser.
BENCHMARK_CAPTURE(BM_NuMkcunmode, unix_clauses, "unix:wc,u=rw g=r o=r");

// Writing flags back as a unix mode string beside snprintf of the same text.
void BM_NuCunmode(benchmark::State &state) {
    char buffer[NU_UNMODE_SIZE];
    for (auto _ : state) {
        benchmark::DoNotOptimize(NuCunmode(buffer, NU_O_RDWR | NU_O_CREAT, 0644));
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_NuCunmode);

void BM_snprintf_unmode(benchmark::State &state) {
    char buffer[NU_UNMODE_SIZE];
    const char *access = "rw";
    for (auto _ : state) {
        benchmark::DoNotOptimize(std::snprintf(buffer, sizeof buffer, "unix: %sc, 0%03o", access, 0644));
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_snprintf_unmode);

}  // namespace

BENCHMARK_MAIN();

// SPDX-License-Identifier: MIT
// NuStrtok with plain delimiters (" \n") over 1 MB of words beside strtok_r,
// strsep and a std::string_view::find_first_of loop. Each iteration scans the
// whole text and counts its tokens; the text is copied back between
// iterations (outside the timing), since three of the four cut it. Bytes per
// second and ns per token; NuStrtok with NOCUT leaves the text as it is, as
// the string_view loop does; with the quote flags it takes its general path.
#include <benchmark/benchmark.h>

#include <cstring>
#include <random>
#include <string>
#include <string_view>

#include "nu.h"

namespace {

constexpr size_t kTextBytes = 1 << 20;
constexpr const char *kDelims = " \n";

const std::string &words() {
    static const std::string text = [] {
        std::mt19937 rng(11);
        std::string s;
        while (s.size() < kTextBytes - 16) {
            for (size_t n = 1 + rng() % 10; n > 0; --n)
                s += static_cast<char>('a' + rng() % 26);
            s += rng() % 12 == 0 ? '\n' : ' ';
        }
        return s;
    }();
    return text;
}

// Runs `scan` over a fresh copy of the text each iteration.
template <class Scan>
void run(benchmark::State &state, Scan scan) {
    const std::string &text = words();
    std::string work = text;
    size_t tokens = 0;
    for (auto _ : state) {
        state.PauseTiming();
        std::memcpy(work.data(), text.data(), text.size());
        state.ResumeTiming();
        tokens = scan(work.data());
        benchmark::DoNotOptimize(tokens);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
    state.counters["tokens"] = static_cast<double>(tokens);
    state.counters["ns/token"] = benchmark::Counter(
        static_cast<double>(tokens) * static_cast<double>(state.iterations()),
        benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void BM_NuStrtok(benchmark::State &state) {
    run(state, [](char *text) {
        char delims[] = " \n";
        NuSTRTOK tok;
        size_t n = 0;
        for (int64_t r = NuStrtok(text, delims, 0, &tok, nullptr); r == 1;
             r = NuStrtok(nullptr, nullptr, 0, &tok, nullptr))
            ++n;
        return n;
    });
}

void BM_NuStrtok_nocut(benchmark::State &state) {
    run(state, [](char *text) {
        char delims[] = " \n";
        NuSTRTOK tok;
        size_t n = 0;
        for (int64_t r = NuStrtok(text, delims, NU_TOK_NOCUT, &tok, nullptr); r == 1;
             r = NuStrtok(nullptr, nullptr, NU_TOK_NOCUT, &tok, nullptr))
            ++n;
        return n;
    });
}

// The same text with quotes turned on: the general path, a byte table built
// at every call (the text has no quotes, so the tokens are the same).
void BM_NuStrtok_quotes(benchmark::State &state) {
    run(state, [](char *text) {
        char delims[] = " \n";
        const uint32_t flags = NU_TOK_SQUOTE | NU_TOK_DQUOTE;
        NuSTRTOK tok;
        size_t n = 0;
        for (int64_t r = NuStrtok(text, delims, flags, &tok, nullptr); r == 1;
             r = NuStrtok(nullptr, nullptr, flags, &tok, nullptr))
            ++n;
        return n;
    });
}

void BM_strtok_r(benchmark::State &state) {
    run(state, [](char *text) {
        char *save = nullptr;
        size_t n = 0;
        for (char *t = strtok_r(text, kDelims, &save); t != nullptr;
             t = strtok_r(nullptr, kDelims, &save))
            ++n;
        return n;
    });
}

void BM_strsep(benchmark::State &state) {
    run(state, [](char *text) {
        size_t n = 0;
        for (char *t; (t = strsep(&text, kDelims)) != nullptr;)
            n += *t != 0;  // strsep gives the empty fields between delimiters too
        return n;
    });
}

void BM_string_view_find_first_of(benchmark::State &state) {
    run(state, [](char *text) {
        const std::string_view all(text, std::strlen(text));
        size_t n = 0, pos = all.find_first_not_of(kDelims);
        while (pos != std::string_view::npos) {
            const size_t end = all.find_first_of(kDelims, pos);
            ++n;
            if (end == std::string_view::npos)
                break;
            pos = all.find_first_not_of(kDelims, end);
        }
        return n;
    });
}

BENCHMARK(BM_NuStrtok);
BENCHMARK(BM_NuStrtok_nocut);
BENCHMARK(BM_NuStrtok_quotes);
BENCHMARK(BM_strtok_r);
BENCHMARK(BM_strsep);
BENCHMARK(BM_string_view_find_first_of);

}  // namespace

BENCHMARK_MAIN();

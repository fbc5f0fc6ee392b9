// SPDX-License-Identifier: MIT
// Growable strings beside what a user would write instead: NuSTRprintf beside
// glibc's asprintf (and std::format where the standard library has it),
// NuWCSprintf beside NuSTRprintf on the same format, and NuSTRcat of many
// short pieces beside std::string::append. Every iteration makes the string
// and frees it again. Nanoseconds per string; the "short" format gives 43
// characters, the "long" one 560, past the stack buffer the formatters try
// first.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#if __has_include(<format>)
#include <format>
#endif

#include "nu.h"

namespace {

const std::string kLongText(512, 'x');
const std::u16string kLongText16(512, u'x');

const char *text_for(int64_t size) { return size == 0 ? "kernel" : kLongText.c_str(); }
const char16_t *text16_for(int64_t size) { return size == 0 ? u"kernel" : kLongText16.c_str(); }

void BM_NuSTRprintf(benchmark::State &state) {
    const char *text = text_for(state.range(0));
    for (auto _ : state) {
        NuSTR s = nullptr;
        NuSTRprintf(&s, "%s/%s: %d items (%.2f%%) at %#x", text, "module", 1234, 56.789, 0xbeef);
        benchmark::DoNotOptimize(s);
        NuSTRfree(&s);
    }
}

void BM_asprintf(benchmark::State &state) {
    const char *text = text_for(state.range(0));
    for (auto _ : state) {
        char *s = nullptr;
        if (asprintf(&s, "%s/%s: %d items (%.2f%%) at %#x", text, "module", 1234, 56.789, 0xbeef) < 0)
            state.SkipWithError("asprintf failed");
        benchmark::DoNotOptimize(s);
        std::free(s);
    }
}

#if defined(__cpp_lib_format)
void BM_std_format(benchmark::State &state) {
    const char *text = text_for(state.range(0));
    for (auto _ : state) {
        std::string s = std::format("{}/{}: {} items ({:.2f}%) at {:#x}", text, "module", 1234,
                                    56.789, 0xbeef);
        benchmark::DoNotOptimize(s.data());
    }
}
BENCHMARK(BM_std_format)->Arg(0)->Arg(1);
#endif

void BM_NuWCSprintf(benchmark::State &state) {
    const char16_t *text = text16_for(state.range(0));
    for (auto _ : state) {
        NuWCS s = nullptr;
        NuWCSprintf(&s, u"%s/%s: %d items (%.2f%%) at %#x", text, u"module", 1234, 56.789, 0xbeef);
        benchmark::DoNotOptimize(s);
        NuWCSfree(&s);
    }
}

BENCHMARK(BM_NuSTRprintf)->ArgName("long")->Arg(0)->Arg(1);
BENCHMARK(BM_asprintf)->ArgName("long")->Arg(0)->Arg(1);
BENCHMARK(BM_NuWCSprintf)->ArgName("long")->Arg(0)->Arg(1);

// A string built from `pieces` pieces of 8 characters.
void BM_NuSTRcat(benchmark::State &state) {
    const int64_t pieces = state.range(0);
    for (auto _ : state) {
        NuSTR s = nullptr;
        for (int64_t i = 0; i < pieces; ++i)
            NuSTRcat(&s, "piece-8/");
        benchmark::DoNotOptimize(s);
        NuSTRfree(&s);
    }
    state.SetItemsProcessed(state.iterations() * pieces);
}

void BM_string_append(benchmark::State &state) {
    const int64_t pieces = state.range(0);
    for (auto _ : state) {
        std::string s;
        for (int64_t i = 0; i < pieces; ++i)
            s.append("piece-8/");
        benchmark::DoNotOptimize(s.data());
    }
    state.SetItemsProcessed(state.iterations() * pieces);
}

BENCHMARK(BM_NuSTRcat)->ArgName("pieces")->Arg(16)->Arg(1000);
BENCHMARK(BM_string_append)->ArgName("pieces")->Arg(16)->Arg(1000);

}  // namespace

BENCHMARK_MAIN();

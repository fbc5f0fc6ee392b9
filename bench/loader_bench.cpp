// SPDX-License-Identifier: MIT
// The module loader beside what a program would do by hand: a load + unload
// cycle of the file-URI module found in the first directory given, beside
// dlopen + dlsym + dlclose of the same file; and VeskMldIsloaded beside a
// lookup in a std::unordered_map<std::string, void *> of as many names.
#include <benchmark/benchmark.h>
#include <dlfcn.h>

#include <string>
#include <unordered_map>

#include "vesk.h"

namespace {

const char *const kDirs[] = {VESK_BENCH_MODULES_DIR};
const std::string kFile = std::string(VESK_BENCH_MODULES_DIR) + "/urifile.so";

void BM_MldLoadUnload(benchmark::State &state) {
    for (auto _ : state) {
        if (VeskMldLoad("urifile", kDirs, 1, 1, nullptr) != 1 || VeskMldUnload("urifile", nullptr) < 0)
            state.SkipWithError("the module did not load and unload");
    }
}
BENCHMARK(BM_MldLoadUnload);

void BM_RawDlopenDlsymDlclose(benchmark::State &state) {
    for (auto _ : state) {
        void *h = dlopen(kFile.c_str(), RTLD_NOW | RTLD_LOCAL);
        void *sym = h != nullptr ? dlsym(h, "_G_vesk_module") : nullptr;
        benchmark::DoNotOptimize(sym);
        if (h == nullptr || sym == nullptr)
            state.SkipWithError("dlopen failed");
        else
            dlclose(h);
    }
}
BENCHMARK(BM_RawDlopenDlsymDlclose);

// The library has its five built-in modules and the URI module up; the map
// holds six names as well.
void BM_MldIsloaded(benchmark::State &state) {
    VeskMldLoad("urifile", kDirs, 1, 1, nullptr);
    for (auto _ : state)
        benchmark::DoNotOptimize(VeskMldIsloaded("urifile", nullptr));
    VeskMldUnload("urifile", nullptr);
}
BENCHMARK(BM_MldIsloaded);

void BM_UnorderedMapLookup(benchmark::State &state) {
    std::unordered_map<std::string, void *> map;
    for (const char *k : {"stub", "kdv", "error", "ccsi", "ccsconv", "urifile"})
        map.emplace(k, nullptr);
    const char *name = "urifile";
    for (auto _ : state) {
        benchmark::DoNotOptimize(name);
        benchmark::DoNotOptimize(map.find(name) != map.end());
    }
}
BENCHMARK(BM_UnorderedMapLookup);

}  // namespace

BENCHMARK_MAIN();

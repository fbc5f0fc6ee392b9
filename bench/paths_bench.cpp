// SPDX-License-Identifier: MIT
// The POSIX path algebra beside std::filesystem::path on paths of the kind a
// build tool or a shell sees: normal forms (lexically_normal), paths relative
// to a root (lexically_relative), the directory (parent_path) and the
// extension (extension). Each iteration runs over the whole set of 16 paths;
// the figure is nanoseconds per path. The library starts from C strings and
// ends with a heap string, std::filesystem from path objects made beforehand
// and ends with a path object.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "nu.h"

namespace {

namespace fs = std::filesystem;

const std::vector<std::string> kPaths = {
    "/usr/lib/x86_64-linux-gnu/libstdc++.so.6.0.30",
    "/home/ada/src/vesk/build/dev/tests/paths",
    "./src/../include/vesk/nu.h",
    "/etc/ssl/certs/ca-certificates.crt",
    "build//release/./bin/vesk-tool",
    "docs/platform.md",
    "/var/log/journal/3f2a/system@0005e1.journal~",
    "../../third_party/googletest/include/gtest/gtest.h",
    "/opt/vesk/modules/libccsconv.so",
    "/home/ada/.config/vesk/settings.json",
    "a/b/c/d/e/f/g/h/i/j/k/l/m/n/o/p.txt",
    "/tmp/",
    "archive.tar.gz",
    "/srv/www/htdocs/./images//logo.png",
    "projects/vesk/paths/normal.hpp",
    "/proc/self/fd/3",
};

// Roots for the relative paths: each path's directory two levels up, so
// that every path lies under its root.
std::vector<std::pair<std::string, std::string>> relative_pairs() {
    std::vector<std::pair<std::string, std::string>> pairs;
    for (const std::string &p : kPaths) {
        const std::string normal = fs::path(p).lexically_normal().string();
        pairs.emplace_back(fs::path(normal).parent_path().parent_path().string(), normal);
    }
    return pairs;
}

std::vector<fs::path> as_paths() { return {kPaths.begin(), kPaths.end()}; }

void per_path(benchmark::State &state) {
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(kPaths.size()));
}

void BM_Normalise_vesk(benchmark::State &state) {
    NuSTR out = nullptr;
    for (auto _ : state)
        for (const std::string &p : kPaths)
            benchmark::DoNotOptimize(NuPosixNormalisePath(&out, p.c_str()));
    NuSTRfree(&out);
    per_path(state);
}
BENCHMARK(BM_Normalise_vesk);

void BM_Normalise_std(benchmark::State &state) {
    const std::vector<fs::path> paths = as_paths();
    for (auto _ : state)
        for (const fs::path &p : paths)
            benchmark::DoNotOptimize(p.lexically_normal());
    per_path(state);
}
BENCHMARK(BM_Normalise_std);

void BM_Relative_vesk(benchmark::State &state) {
    const auto pairs = relative_pairs();
    NuSTR out = nullptr;
    for (auto _ : state)
        for (const auto &[root, path] : pairs)
            benchmark::DoNotOptimize(NuPosixMakeRelativePath(&out, root.c_str(), path.c_str()));
    NuSTRfree(&out);
    per_path(state);
}
BENCHMARK(BM_Relative_vesk);

void BM_Relative_std(benchmark::State &state) {
    std::vector<std::pair<fs::path, fs::path>> pairs;
    for (const auto &[root, path] : relative_pairs())
        pairs.emplace_back(root, path);
    for (auto _ : state)
        for (const auto &[root, path] : pairs)
            benchmark::DoNotOptimize(path.lexically_relative(root));
    per_path(state);
}
BENCHMARK(BM_Relative_std);

void BM_Directory_vesk(benchmark::State &state) {
    NuSTR out = nullptr;
    for (auto _ : state)
        for (const std::string &p : kPaths)
            benchmark::DoNotOptimize(NuPosixTakeDirectory(&out, p.c_str()));
    NuSTRfree(&out);
    per_path(state);
}
BENCHMARK(BM_Directory_vesk);

void BM_Directory_std(benchmark::State &state) {
    const std::vector<fs::path> paths = as_paths();
    for (auto _ : state)
        for (const fs::path &p : paths)
            benchmark::DoNotOptimize(p.parent_path());
    per_path(state);
}
BENCHMARK(BM_Directory_std);

void BM_Extension_vesk(benchmark::State &state) {
    NuSTR out = nullptr;
    for (auto _ : state)
        for (const std::string &p : kPaths)
            benchmark::DoNotOptimize(NuPosixTakeExtension(&out, p.c_str()));
    NuSTRfree(&out);
    per_path(state);
}
BENCHMARK(BM_Extension_vesk);

void BM_Extension_std(benchmark::State &state) {
    const std::vector<fs::path> paths = as_paths();
    for (auto _ : state)
        for (const fs::path &p : paths)
            benchmark::DoNotOptimize(p.extension());
    per_path(state);
}
BENCHMARK(BM_Extension_std);

}  // namespace

BENCHMARK_MAIN();

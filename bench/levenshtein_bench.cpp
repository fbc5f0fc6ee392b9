// SPDX-License-Identifier: MIT
// NuLevenshtein beside the straightforward full-matrix dynamic programme on
// two 100-byte strings that differ in about a third of their places.
// Nanoseconds per distance. With unit costs the rows can't pass INT32_MAX;
// with costs of INT32_MAX / 50 they can, and the library holds its entries at
// a mark above INT32_MAX (against a full matrix in 64 bits, which can't wrap).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "nu.h"

namespace {

std::pair<std::string, std::string> inputs() {
    std::mt19937 rng(7);
    std::string a(100, 'a'), b;
    for (char &c : a)
        c = static_cast<char>('a' + rng() % 26);
    b = a;
    for (char &c : b)
        if (rng() % 3 == 0)
            c = static_cast<char>('a' + rng() % 26);
    return {a, b};
}

constexpr int32_t kHugeCost = INT32_MAX / 50;

template <class Cell>
Cell full_matrix(const std::string &a, const std::string &b, Cell cost) {
    std::vector<std::vector<Cell>> d(a.size() + 1, std::vector<Cell>(b.size() + 1));
    for (size_t i = 0; i <= a.size(); ++i)
        d[i][0] = static_cast<Cell>(i) * cost;
    for (size_t j = 0; j <= b.size(); ++j)
        d[0][j] = static_cast<Cell>(j) * cost;
    for (size_t i = 1; i <= a.size(); ++i)
        for (size_t j = 1; j <= b.size(); ++j)
            d[i][j] = std::min({d[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : cost),
                                d[i - 1][j] + cost, d[i][j - 1] + cost});
    return d[a.size()][b.size()];
}

void BM_NuLevenshtein(benchmark::State &state) {
    const auto [a, b] = inputs();
    for (auto _ : state)
        benchmark::DoNotOptimize(NuLevenshtein(a.c_str(), 100, b.c_str(), 100, 1, 1, 1));
}

void BM_full_matrix(benchmark::State &state) {
    const auto [a, b] = inputs();
    for (auto _ : state)
        benchmark::DoNotOptimize(full_matrix<int>(a, b, 1));
}

void BM_NuLevenshtein_huge_costs(benchmark::State &state) {
    const auto [a, b] = inputs();
    for (auto _ : state)
        benchmark::DoNotOptimize(
            NuLevenshtein(a.c_str(), 100, b.c_str(), 100, kHugeCost, kHugeCost, kHugeCost));
}

void BM_full_matrix_64bit_huge_costs(benchmark::State &state) {
    const auto [a, b] = inputs();
    for (auto _ : state)
        benchmark::DoNotOptimize(full_matrix<int64_t>(a, b, kHugeCost));
}

}  // namespace

BENCHMARK(BM_NuLevenshtein);
BENCHMARK(BM_full_matrix);
BENCHMARK(BM_NuLevenshtein_huge_costs);
BENCHMARK(BM_full_matrix_64bit_huge_costs);
BENCHMARK_MAIN();

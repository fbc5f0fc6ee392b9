// SPDX-License-Identifier: MIT
// Log messages beside what a user would write instead, a
// std::vector<std::pair<std::string, std::string>> searched linearly: reading
// a standard attribute and a dictionary attribute of a message of 15
// attributes (the ten standard ones set, five others), and the life of a
// small message (make it, add five attributes with the duplicate check, drop
// it). Nanoseconds per operation.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "vesk.h"

namespace {

using Attrs = std::vector<std::pair<std::string, std::string>>;

const char *const kStd[][2] = {
    {"Ident", "sshd"},  {"Facility", "auth"}, {"Time", "2024-05-01T12:00:00.123456Z"},
    {"Host", "db01.example.org"}, {"Sender", "session"}, {"PID", "4711"},
    {"UID", "1000"},    {"GID", "1000"},      {"Level", "6"},
    {"Message", "Accepted publickey for alice from 192.0.2.7 port 52144"},
};
const char *const kOthers[][2] = {
    {"session", "c3"}, {"tty", "pts/4"}, {"remote", "192.0.2.7"},
    {"method", "publickey"}, {"request-id", "7f3a9c2e-55aa-4b1c-9d0e-2f6b8c1d4e3a"},
};
// Five adds of a small message: three standard, two others.
const char *const kFive[][2] = {
    {"Message", "connection reset by peer"}, {"Level", "4"}, {"Host", "db01.example.org"},
    {"request-id", "7f3a9c2e-55aa-4b1c-9d0e-2f6b8c1d4e3a"}, {"user", "alice"},
};

VeskLogmsg *full_message() {
    VeskLogmsg *msg = VeskLogmsgOpen(nullptr);
    for (const auto &kv : kStd)
        VeskLogmsgAdd(msg, kv[0], kv[1], nullptr);
    for (const auto &kv : kOthers)
        VeskLogmsgAdd(msg, kv[0], kv[1], nullptr);
    return msg;
}

Attrs full_vector() {
    Attrs v;
    for (const auto &kv : kStd)
        v.emplace_back(kv[0], kv[1]);
    for (const auto &kv : kOthers)
        v.emplace_back(kv[0], kv[1]);
    return v;
}

const std::string *find(const Attrs &v, const char *key) {
    auto it = std::find_if(v.begin(), v.end(), [key](const auto &kv) { return kv.first == key; });
    return it == v.end() ? nullptr : &it->second;
}

// Arg 0: the standard "Message" (tenth of 15); arg 1: "request-id" (last).
const char *key_for(int64_t which) { return which == 0 ? "Message" : "request-id"; }

void BM_VeskLogmsgValue(benchmark::State &state) {
    VeskLogmsg *msg = full_message();
    const char *key = key_for(state.range(0));
    for (auto _ : state) {
        benchmark::DoNotOptimize(key);
        benchmark::DoNotOptimize(VeskLogmsgValue(msg, key, nullptr));
    }
    VeskLogmsgRelease(msg, 0, nullptr);
}

void BM_vector_find(benchmark::State &state) {
    const Attrs v = full_vector();
    const char *key = key_for(state.range(0));
    for (auto _ : state) {
        benchmark::DoNotOptimize(key);
        benchmark::DoNotOptimize(find(v, key));
    }
}

void BM_VeskLogmsg_open_5adds_release(benchmark::State &state) {
    for (auto _ : state) {
        VeskLogmsg *msg = VeskLogmsgOpen(nullptr);
        for (const auto &kv : kFive)
            VeskLogmsgAdd(msg, kv[0], kv[1], nullptr);
        benchmark::DoNotOptimize(msg);
        VeskLogmsgRelease(msg, 0, nullptr);
    }
}

void BM_vector_5adds(benchmark::State &state) {
    for (auto _ : state) {
        Attrs v;
        for (const auto &kv : kFive)
            if (find(v, kv[0]) == nullptr)
                v.emplace_back(kv[0], kv[1]);
        benchmark::DoNotOptimize(v.data());
    }
}

BENCHMARK(BM_VeskLogmsgValue)->ArgName("dictionary_key")->Arg(0)->Arg(1);
BENCHMARK(BM_vector_find)->ArgName("dictionary_key")->Arg(0)->Arg(1);
BENCHMARK(BM_VeskLogmsg_open_5adds_release);
BENCHMARK(BM_vector_5adds);

}  // namespace

BENCHMARK_MAIN();

// SPDX-License-Identifier: MIT
// The calls the runtime's lookups are measured against: a reference count
// behind a C++ virtual call and behind a plain function pointer. Two
// implementations of each exist and the callee is picked at run time, so
// neither call can be devirtualised or inlined.
#pragma once

#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdint>

namespace vesk_bench {

struct Counted {
    virtual ~Counted() = default;
    virtual int64_t retain_value(int64_t value) = 0;
};

class SharedCount final : public Counted {
public:
    int64_t retain_value(int64_t value) override {
        if (value >= 0)
            count_.store(static_cast<uint32_t>(value), std::memory_order_relaxed);
        return count_.load(std::memory_order_relaxed);
    }

private:
    std::atomic<uint32_t> count_{1};
};

class SoleCount final : public Counted {
public:
    int64_t retain_value(int64_t) override { return 1; }
};

using ValueFn = int64_t (*)(void *ctx, int64_t value);

inline int64_t count_value(void *ctx, int64_t value) {
    auto *count = static_cast<std::atomic<uint32_t> *>(ctx);
    if (value >= 0)
        count->store(static_cast<uint32_t>(value), std::memory_order_relaxed);
    return count->load(std::memory_order_relaxed);
}

inline int64_t sole_value(void *, int64_t) { return 1; }

// Which implementation runs is decided at run time, not by the compiler.
inline int runtime_choice() {
    int which = 0;
    benchmark::DoNotOptimize(which);
    return which;
}

inline void virtual_call(benchmark::State &state) {
    static SharedCount shared;
    static SoleCount sole;
    Counted *const chosen = runtime_choice() == 0 ? static_cast<Counted *>(&shared) : &sole;
    state.SetLabel("through a base pointer, callee not devirtualisable");
    for (auto _ : state) {
        Counted *object = chosen;
        benchmark::DoNotOptimize(object);
        benchmark::DoNotOptimize(object->retain_value(-1));
    }
}

inline void function_pointer_call(benchmark::State &state) {
    static std::atomic<uint32_t> plain_count{1};
    const ValueFn chosen = runtime_choice() == 0 ? count_value : sole_value;
    void *ctx = &plain_count;
    state.SetLabel("int64_t (*)(void *, int64_t)");
    for (auto _ : state) {
        ValueFn fn = chosen;
        benchmark::DoNotOptimize(fn);
        benchmark::DoNotOptimize(fn(ctx, -1));
    }
}

}  // namespace vesk_bench

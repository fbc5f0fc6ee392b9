// SPDX-License-Identifier: MIT
// Operation lookup beside the dispatch a C++ programmer would use instead.
//
// Every front-end call of the runtime walks from the object up its chain of
// records and compares identifiers; there is no cache. This program measures
// that walk in the two shapes a call on an instance takes, and the whole call
// (walk, then the row's function through a pointer of its real type), in the
// same run as a C++ virtual call and a call through a function pointer that
// do the same work as the row: read a 32-bit count, store it when asked.
//
// The records are those of bench/lookup_records.c: a class with four service
// elements (the one for 3.1006 third), its module with two (the one for
// 3.1930 second), and an instance in plain memory.
#include <benchmark/benchmark.h>

#include "call_baselines.hpp"

#include <atomic>
#include <cstdint>
#include <string>

#include "lookup_records.h"

namespace {

// The alternatives, a count behind a virtual call and behind a plain
// function pointer, come from call_baselines.hpp.
using namespace vesk_bench;

// ---------------------------------------------------------------------------
// The lookups
// ---------------------------------------------------------------------------

// One walk to measure and what it must find.
struct WalkCase {
    void *object;
    uint16_t family;      // the key is {count 2, opnum 4, comp 3, family}
    const VeskOps *ops;   // the set that must answer
    const void *holder;
    const void *pod;
    const char *shape;    // printed beside the figures
};

LkbInstance g_instance_memory;
WalkCase g_to_class;
WalkCase g_to_module;

// The key as a front end builds it on its own stack.
inline VeskOid value_key(uint16_t family) {
    return VeskOid{2, LKB_OP_VALUE, {VESK_CAT_OPS, family, 0, 0, 0, 0}};
}

// One lookup outside the timed loop, so that a figure is never that of a miss.
bool walk_is_right(benchmark::State &state, const WalkCase &c) {
    const VeskOid key = value_key(c.family);
    VeskClosure cl{};
    VeskOprow *row = VeskLookupop(c.object, &key, &cl, nullptr);
    const bool right = row == &c.ops->rows[LKB_OP_VALUE] && cl.self == c.object &&
                       cl.holder == c.holder && cl.pod == c.pod && cl.ops == c.ops &&
                       cl.opnum == LKB_OP_VALUE;
    if (!right)
        state.SkipWithError("the lookup does not reach the expected row");
    state.SetLabel(c.shape);
    return right;
}

void lookup_only(benchmark::State &state, const WalkCase &c) {
    if (!walk_is_right(state, c))
        return;
    VeskErr err{};
    for (auto _ : state) {
        void *object = c.object;
        benchmark::DoNotOptimize(object);
        const VeskOid key = value_key(c.family);
        VeskClosure cl;
        VeskOprow *row = VeskLookupop(object, &key, &cl, &err);
        benchmark::DoNotOptimize(row);
        benchmark::DoNotOptimize(cl);
    }
}

// What a front end does: look the row up, call its function with the
// closure it filled.
void front_end_call(benchmark::State &state, const WalkCase &c) {
    if (!walk_is_right(state, c))
        return;
    VeskErr err{};
    for (auto _ : state) {
        void *object = c.object;
        benchmark::DoNotOptimize(object);
        const VeskOid key = value_key(c.family);
        VeskClosure cl;
        VeskOprow *row = VeskLookupop(object, &key, &cl, &err);
        if (row == nullptr) {
            state.SkipWithError("lookup failed");
            break;
        }
        const auto fn = reinterpret_cast<LkbValueFn>(row->fn);
        benchmark::DoNotOptimize(fn(&cl, &err, -1));
    }
}

void set_up_records() {
    lkb_link();
    void *instance = lkb_instance_init(&g_instance_memory);
    VeskModule *module = lkb_module();
    g_to_class = {instance,
                  LKB_FAMILY_UCNTL,
                  lkb_ucntl_ops(),
                  instance,
                  &g_instance_memory.retain,
                  "level 1: class has 4 SEs, match is the 3rd; key 3.1006 row 4"};
    g_to_module = {instance,
                   LKB_FAMILY_CENSUS,
                   lkb_census_ops(),
                   module,
                   reinterpret_cast<char *>(module) + lkb_census_podoff(),
                   "level 2: class has 4 SEs, none matches; module has 2, match is the 2nd; "
                   "key 3.1930 row 4"};
}

void register_all() {
    benchmark::RegisterBenchmark("VeskLookupop/instance_to_class", lookup_only, g_to_class);
    benchmark::RegisterBenchmark("VeskLookupop/instance_to_module", lookup_only, g_to_module);
    benchmark::RegisterBenchmark("front_end_call/instance_to_class", front_end_call, g_to_class);
    benchmark::RegisterBenchmark("front_end_call/instance_to_module", front_end_call, g_to_module);
    benchmark::RegisterBenchmark("virtual_call", virtual_call);
    benchmark::RegisterBenchmark("function_pointer_call", function_pointer_call);
}

}  // namespace

int main(int argc, char **argv) {
    set_up_records();
    register_all();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

// SPDX-License-Identifier: MIT
// The whole front-end sequence beside the dispatch a C++ programmer would use.
//
// A call of an operation by number takes a frame of the thread's closure
// stack, walks from the object to the row (VeskLookupoporstub), copies the
// row's function into the frame, enters it, and gives the frame back. This
// program measures that sequence with the two ways of entering the function:
// through a pointer of the row's real type, as the library's own front ends
// do, and through __vesk_call_tramp, as a module's generic call does. Beside
// them, in the same run: the frames alone, the lookup with and without the
// stub answer, a C++ virtual call and a call through a function pointer that
// do the same work as the row (read a 32-bit count, store it when asked).
//
// The records are those of bench/lookup_records.c: an instance of a class
// whose four service elements answer the key 3.1006 at the third.
#include <benchmark/benchmark.h>

#include "call_baselines.hpp"

#include <atomic>
#include <cstdint>

#include "lookup_records.h"

namespace {

LkbInstance g_instance_memory;
void *g_instance;
constexpr const char *kShape = "instance -> class, 3rd of 4 SEs; key 3.1006 row 4";

constexpr const char *kShapeModule =
    "instance -> class -> module, none of 4 SEs, 2nd of 2; key 3.1930 row 4";

// The key as a front end builds it on its own stack: row 4 of 3.1006, or of
// 3.1930, which only the module answers.
inline VeskOid value_key(uint16_t family = LKB_FAMILY_UCNTL) {
    return VeskOid{2, LKB_OP_VALUE, {VESK_CAT_OPS, family, 0, 0, 0, 0}};
}

using TrampValueFn = int64_t (*)(VeskFrame *, VeskErr *, int64_t);

// The library's own way: the row's function through a pointer of its type.
inline int64_t typed_call(void *object, VeskErr *err, uint16_t family = LKB_FAMILY_UCNTL) {
    VeskFrame *frame = __vesk_closure_tramp_att();
    const VeskOid key = value_key(family);
    frame->fn = VeskLookupoporstub(object, &key, &frame->cl)->fn;
    const int64_t result = reinterpret_cast<LkbValueFn>(frame->fn)(&frame->cl, err, -1);
    __vesk_closure_tramp_det();
    return result;
}

// A module's generic way: the trampoline with the caller's own arguments.
inline int64_t tramp_call(void *object, VeskErr *err) {
    VeskFrame *frame = __vesk_closure_tramp_att();
    const VeskOid key = value_key();
    frame->fn = VeskLookupoporstub(object, &key, &frame->cl)->fn;
    const int64_t result = __vesk_call_tramp(frame, err, int64_t{-1});
    __vesk_closure_tramp_det();
    return result;
}

// Both sequences once outside the timed loop, so that a figure is never
// that of a stub answer.
bool reaches_the_row(benchmark::State &state) {
    VeskErr err{};
    VeskClosure cl{};
    const VeskOid key = value_key();
    const bool right = VeskLookupoporstub(g_instance, &key, &cl) ==
                           &lkb_ucntl_ops()->rows[LKB_OP_VALUE] &&
                       typed_call(g_instance, &err) == 1 && tramp_call(g_instance, &err) == 1 &&
                       typed_call(g_instance, &err, LKB_FAMILY_CENSUS) == 0;
    if (!right)
        state.SkipWithError("the front end does not reach the expected row");
    state.SetLabel(kShape);
    return right;
}

void front_end_typed(benchmark::State &state) {
    if (!reaches_the_row(state))
        return;
    VeskErr err{};
    for (auto _ : state) {
        void *object = g_instance;
        benchmark::DoNotOptimize(object);
        benchmark::DoNotOptimize(typed_call(object, &err));
    }
}

// Three records up: the walk passes the instance and the class and ends at
// the module, where a C++ call would still be one virtual call.
void front_end_typed_to_module(benchmark::State &state) {
    if (!reaches_the_row(state))
        return;
    state.SetLabel(kShapeModule);
    VeskErr err{};
    for (auto _ : state) {
        void *object = g_instance;
        benchmark::DoNotOptimize(object);
        benchmark::DoNotOptimize(typed_call(object, &err, LKB_FAMILY_CENSUS));
    }
}

void front_end_tramp(benchmark::State &state) {
    if (!reaches_the_row(state))
        return;
    VeskErr err{};
    for (auto _ : state) {
        void *object = g_instance;
        benchmark::DoNotOptimize(object);
        benchmark::DoNotOptimize(tramp_call(object, &err));
    }
}

// The parts of the sequence.
void frames_only(benchmark::State &state) {
    for (auto _ : state) {
        VeskFrame *frame = __vesk_closure_tramp_att();
        benchmark::DoNotOptimize(frame);
        __vesk_closure_tramp_det();
    }
}

void lookupop(benchmark::State &state) {
    state.SetLabel(kShape);
    VeskErr err{};
    for (auto _ : state) {
        void *object = g_instance;
        benchmark::DoNotOptimize(object);
        const VeskOid key = value_key();
        VeskClosure cl;
        benchmark::DoNotOptimize(VeskLookupop(object, &key, &cl, &err));
        benchmark::DoNotOptimize(cl);
    }
}

void lookupoporstub(benchmark::State &state) {
    state.SetLabel(kShape);
    for (auto _ : state) {
        void *object = g_instance;
        benchmark::DoNotOptimize(object);
        const VeskOid key = value_key();
        VeskClosure cl;
        benchmark::DoNotOptimize(VeskLookupoporstub(object, &key, &cl));
        benchmark::DoNotOptimize(cl);
    }
}

// The alternatives, a count behind a virtual call and behind a plain
// function pointer, come from call_baselines.hpp.
using namespace vesk_bench;

void register_all() {
    benchmark::RegisterBenchmark("front_end/typed_pointer", front_end_typed);
    benchmark::RegisterBenchmark("front_end/call_tramp", front_end_tramp);
    benchmark::RegisterBenchmark("front_end/typed_pointer_to_module", front_end_typed_to_module);
    benchmark::RegisterBenchmark("part/frames_att_det", frames_only);
    benchmark::RegisterBenchmark("part/VeskLookupop", lookupop);
    benchmark::RegisterBenchmark("part/VeskLookupoporstub", lookupoporstub);
    benchmark::RegisterBenchmark("alternative/virtual_call", virtual_call);
    benchmark::RegisterBenchmark("alternative/function_pointer_call", function_pointer_call);
}

}  // namespace

int main(int argc, char **argv) {
    lkb_link();
    g_instance = lkb_instance_init(&g_instance_memory);
    register_all();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

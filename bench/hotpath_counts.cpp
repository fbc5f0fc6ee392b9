// SPDX-License-Identifier: MIT
// The hot paths of the runtime, one function per path, for counting
// instructions under callgrind (scripts/callgrind_hotpaths.sh), beside the
// alternatives a user would pick. Instruction counts are exact and do not
// depend on the machine's load, so that one change can be compared with the
// next; the timings are in the Google Benchmark programs.
//
// Each hp_* function does one operation (or one pair); main calls each one
// `iterations` times, and the script divides the inclusive count by that.
#include <glib-object.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "call_baselines.hpp"
#include "nu.h"
#include "lifecycle_records.hpp"
#include "lookup_records.h"

namespace {

void *g_counted;     // Lcbench instance: stock Xucntl count, 1st of 2 SEs
void *g_tally;       // LkbTally instance: four SEs on the class, two on the module
GObject *g_gobject;
NuZmalloc *g_zone;   // 32-byte objects, recycled after the first get
vesk_bench::Counted *g_virtual;
LkbInstance g_tally_memory;

template <class T>
inline void keep(T value) {
    asm volatile("" : : "r"(value) : "memory");
}

inline VeskOid value_key(uint16_t family) {
    return VeskOid{2, LKB_OP_VALUE, {VESK_CAT_OPS, family, 0, 0, 0, 0}};
}

// The sequence a module runs to call a row by number through the exported
// entry points: take a frame, look up, call through the row's type, give back.
inline int64_t module_call(void *object, uint16_t family) {
    VeskFrame *frame = __vesk_closure_tramp_att();
    const VeskOid key = value_key(family);
    frame->fn = VeskLookupoporstub(object, &key, &frame->cl)->fn;
    const int64_t r = reinterpret_cast<LkbValueFn>(frame->fn)(&frame->cl, nullptr, -1);
    __vesk_closure_tramp_det();
    return r;
}

}  // namespace

extern "C" {

[[gnu::noinline]] void hp_vesk_retain_release() {
    keep(VeskRetain(g_counted, nullptr));
    keep(VeskRelease(g_counted, 0, nullptr));
}

[[gnu::noinline]] void hp_g_object_ref_unref() {
    keep(g_object_ref(g_gobject));
    g_object_unref(g_gobject);
}

// The library's own front end, instance -> class (1st of 2 SEs): a walk and
// a plain read of the count.
[[gnu::noinline]] void hp_frontend_instance_to_class() {
    keep(_VeskRetainvalue(g_counted, -1, nullptr));
}

// A module's call sequence, instance -> class, and instance -> class ->
// module (no SE of the class matches; the module's 2nd does).
[[gnu::noinline]] void hp_module_call_instance_to_class() {
    keep(module_call(g_tally, LKB_FAMILY_UCNTL));
}

[[gnu::noinline]] void hp_module_call_instance_to_module() {
    keep(module_call(g_tally, LKB_FAMILY_CENSUS));
}

[[gnu::noinline]] void hp_lookupop_instance_to_class() {
    const VeskOid key = value_key(LKB_FAMILY_UCNTL);
    VeskClosure cl;
    keep(VeskLookupop(g_tally, &key, &cl, nullptr));
    keep(&cl);
}

[[gnu::noinline]] void hp_frames_att_det() {
    keep(__vesk_closure_tramp_att());
    __vesk_closure_tramp_det();
}

// A zone's get and release of a recycled 32-byte object, beside malloc and
// free of as much.
[[gnu::noinline]] void hp_zone_get_release() {
    void *object = _NuZmallocGet(g_zone, nullptr);
    keep(object);
    keep(_NuZmPtrRelease(object));
}

[[gnu::noinline]] void hp_malloc_free() {
    void *block = std::malloc(32);
    keep(block);
    std::free(block);
}

[[gnu::noinline]] void hp_virtual_call() {
    vesk_bench::Counted *object = g_virtual;
    keep(object);
    keep(object->retain_value(-1));
}

}  // extern "C"

namespace {

struct Case {
    const char *name;
    void (*fn)();
};

constexpr Case kCases[] = {
    {"hp_vesk_retain_release", hp_vesk_retain_release},
    {"hp_g_object_ref_unref", hp_g_object_ref_unref},
    {"hp_frontend_instance_to_class", hp_frontend_instance_to_class},
    {"hp_module_call_instance_to_class", hp_module_call_instance_to_class},
    {"hp_module_call_instance_to_module", hp_module_call_instance_to_module},
    {"hp_lookupop_instance_to_class", hp_lookupop_instance_to_class},
    {"hp_frames_att_det", hp_frames_att_det},
    {"hp_virtual_call", hp_virtual_call},
    {"hp_zone_get_release", hp_zone_get_release},
    {"hp_malloc_free", hp_malloc_free},
};

// Each path once, checked, before anything is counted.
bool set_up() {
    lkb_link();
    g_tally = lkb_instance_init(&g_tally_memory);
    g_counted = lcbench::new_instance();
    g_gobject = static_cast<GObject *>(g_object_new(G_TYPE_OBJECT, nullptr));
    static vesk_bench::SharedCount shared;
    static vesk_bench::SoleCount sole;
    g_virtual = vesk_bench::runtime_choice() == 0 ? static_cast<vesk_bench::Counted *>(&shared)
                                                  : &sole;
    const bool counted = g_counted != nullptr && VeskRetain(g_counted, nullptr) == 2 &&
                         VeskRelease(g_counted, 0, nullptr) == 1 &&
                         _VeskRetainvalue(g_counted, -1, nullptr) == 1;
    const bool tally = module_call(g_tally, LKB_FAMILY_UCNTL) == 1 &&
                       module_call(g_tally, LKB_FAMILY_CENSUS) == 0;
    if (!counted || !tally)
        std::fprintf(stderr, "hotpath_counts: the %s records do not answer as expected\n",
                     counted ? "lookup" : "reference-count");
    g_zone = _NuZmallocOpen(nullptr, nullptr, nullptr, 0, 32, nullptr);
    void *first = _NuZmallocGet(g_zone, nullptr);
    const bool zone = first != nullptr && _NuZmPtrRelease(first) == 0 &&
                      _NuZmallocGet(g_zone, nullptr) == first && _NuZmPtrRelease(first) == 0;
    if (!zone)
        std::fprintf(stderr, "hotpath_counts: the zone does not recycle its object\n");
    return counted && tally && zone;
}

}  // namespace

int main(int argc, char **argv) {
    const long iterations = argc > 1 ? std::atol(argv[1]) : 100000;
    const char *only = argc > 2 ? argv[2] : nullptr;
    if (iterations <= 0 || !set_up()) {
        std::fprintf(stderr, "hotpath_counts: set-up failed\n");
        return 1;
    }
    for (const Case &c : kCases) {
        if (only != nullptr && std::strcmp(only, c.name) != 0)
            continue;
        for (long i = 0; i < iterations; ++i)
            c.fn();
    }
    std::printf("%ld iterations of each path\n", iterations);
    return 0;
}

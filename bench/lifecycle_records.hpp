// SPDX-License-Identifier: MIT
// The class that the reference-count benchmarks count on: "objects/Lcbench",
// whose instances carry the stock Xucntl count (3.1006.6, depth 1) and take
// the stock constructor (3.1003.3, depth 0), in a module linked the way a
// loader links a plug-in.
#pragma once

#include <cstddef>
#include <cstdint>

#include "vesk.h"

namespace lcbench {

struct Instance {
    VeskInstance head;
    int32_t count;
    int64_t payload[4];
};

inline int64_t class_on_link(VeskRecord *rec, VeskErr *status);

struct BenchClass {
    VeskClass cls;
    VESK_SEBLOCK_T(2) block;
};

inline BenchClass bench_class = {
    VESK_CLASS_INIT("objects/Lcbench", "Lcbench", "Lcbench", VESK_OID2(4, 991), class_on_link,
                    sizeof(Instance)),
    {VESK_SEBLOCK_HEAD(2),
     {VESK_SE_IMPORT(VESK_OID3(3, 1006, 6), 1, offsetof(Instance, count)),
      VESK_SE_IMPORT(VESK_OID3(3, 1003, 3), 0, 0)}},
};

inline int64_t class_on_link(VeskRecord *rec, VeskErr *status) {
    auto *c = reinterpret_cast<BenchClass *>(rec);
    return _VeskSelistPushback_nlk(&c->cls.selist, VESK_SEBLOCK(&c->block), status);
}

inline VeskClass *bench_clsv[] = {&bench_class.cls};

inline int64_t module_on_link(VeskRecord *rec, VeskErr *) {
    auto *m = reinterpret_cast<VeskModule *>(rec);
    m->clsv = bench_clsv;
    m->clsc = 1;
    return 0;
}

inline VeskModule bench_module = VESK_MODULE_INIT("modules/lcbench", "lcbench", "lcbench",
                                                  VESK_OID2(5, 991), module_on_link, "lcbench",
                                                  VESK_VERSION(1, 0, 0), __DATE__);

// Linked once; null if linking failed.
inline VeskClass *bench_cls() {
    static const bool linked = _VeskModDescribe(&bench_module, nullptr) >= 0 &&
                               _VeskModRegister(&bench_module, nullptr) > 0 &&
                               _VeskModPlug(&bench_module, nullptr) > 0;
    return linked ? &bench_class.cls : nullptr;
}

// An initialised instance holding one reference, or null.
inline void *new_instance() {
    VeskClass *cls = bench_cls();
    if (cls == nullptr)
        return nullptr;
    void *o = VeskAlloc(cls, 0, nullptr, 0, nullptr);
    if (o == nullptr || VeskInit(o, nullptr, 0, nullptr) < 0)
        return nullptr;
    return o;
}

}  // namespace lcbench

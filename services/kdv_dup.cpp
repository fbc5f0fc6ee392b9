// SPDX-License-Identifier: MIT
// "operations/duplicator/Dup": a clone of the same class, its PODs made by
// each set's pod_init in duplication mode. `self` is the object cloned.
#include "runtime/lifecycle.hpp"
#include "services/kdv.hpp"

namespace vesk::svc {
namespace {

int64_t clone(VeskClosure *cl, VeskErr *err, void *source, uint32_t flags, void *mem,
              uint32_t extra, void **params, void *pred) {
    VeskClass *cls = VeskXclassof(source);
    void *fresh = VeskAlloc(cls, flags, mem, extra, err);
    if (fresh == nullptr) {
        restamp(err, cl);
        return 0;
    }
    if (rt::clone_walk(fresh, source, cl->self, params, pred, err) < 0) {
        restamp(err, cl);
        _VeskDealloc(cls, fresh, flags | VESK_ROLLBACK, nullptr);
        return 0;
    }
    // Its PODs are made: the clone is initialised as its source is.
    static_cast<VeskInstance *>(fresh)->flags |= VESK_F_INITED;
    return reinterpret_cast<int64_t>(fresh);
}

int64_t dup4(VeskClosure *cl, VeskErr *err, void *source, uint32_t flags, void *mem,
             uint32_t extra) {
    return clone(cl, err, source, flags, mem, extra, nullptr, nullptr);
}

int64_t dup5(VeskClosure *cl, VeskErr *err, void *source, uint32_t flags, void *mem,
             uint32_t extra, void **params) {
    return clone(cl, err, source, flags, mem, extra, params, nullptr);
}

int64_t dupf(VeskClosure *cl, VeskErr *err, void *source, uint32_t flags, void *mem,
             uint32_t extra, void *pred) {
    return clone(cl, err, source, flags, mem, extra, nullptr, pred);
}

VESK_OPS_T(7) dup = {
    VESK_RECORD_INIT("operations/duplicator/Dup", "duplicator/Dup", "duplicator",
                     VESK_OID3(VESK_CAT_OPS, VESK_FAC_DUP, 4), nullptr),
    0,
    7,
    {
        VESK_STDROWS_NONE,
        VESK_ROW(dup4, "dup::clone-object", dup4),
        VESK_ROW(dup5, "dup::clone-object-with-params", dup5),
        VESK_ROW(dupf, "dup::clone-object-with-predicate", dupf),
    },
};

}  // namespace

VeskOps *dup_ops() { return VESK_OPS(&dup); }

}  // namespace vesk::svc

// SPDX-License-Identifier: MIT
// "operations/constructor/Ctor" and "operations/constructor/PoolCtor": how an
// instance is allocated, initialised, finalised and given back. `holder` is
// the class.
#include <cerrno>
#include <cstring>

#include "runtime/lifecycle.hpp"
#include "runtime/object.hpp"
#include "runtime/rwlock.hpp"
#include "services/kdv.hpp"

namespace vesk::svc {
namespace {

using rt::head;

constexpr int32_t kHoldsFull = 0x7fffffff;

VeskClass *class_of(const VeskClosure *cl) { return static_cast<VeskClass *>(cl->holder); }

VeskInstance *make_instance(void *at, VeskClass *cls, uint16_t flags) {
    auto *inst = static_cast<VeskInstance *>(at);
    inst->kind = VESK_KIND_INSTANCE;
    inst->flags = static_cast<uint16_t>(flags | VESK_F_SUPER);
    inst->super = cls;
    return inst;
}

// An instance out of a zone pool: the pool counts it, not the class.
int64_t alloc_from_pool(VeskClosure *cl, VeskErr *err, NuZmalloc *zone) {
    VeskClass *cls = class_of(cl);
    if (zone == nullptr) {
        report_in(cl, err, VESK_E_FAULT, EFAULT, 3, set_name(cl), row_name(cl),
                  "@memory(pool)");
        return -1;
    }
    if (zone->object_size < cls->instsize) {
        report_in(cl, err, VESK_E_INVAL, EINVAL, 3, set_name(cl), row_name(cl),
                  "@pool(user-object-size)");
        return -1;
    }
    void *object = _NuZmallocGet(zone, err);
    if (object == nullptr) {
        restamp(err, cl);
        return 0;
    }
    return reinterpret_cast<int64_t>(make_instance(object, cls, VESK_F_POOLED));
}

bool take_class_hold(VeskClosure *cl, VeskErr *err) {
    VeskClass *cls = class_of(cl);
    rt::WriteLocked locked(&cls->rec.lock);
    if (rt::holds_of(&cls->rec) >= kHoldsFull) {
        report_in(cl, err, VESK_E_AGAIN, EAGAIN, 3, set_name(cl), row_name(cl),
                  cls->rec.longkey);
        return false;
    }
    rt::holds_add(&cls->rec, 1);
    return true;
}

void give_class_hold(VeskClass *cls) {
    rt::WriteLocked locked(&cls->rec.lock);
    rt::holds_add(&cls->rec, -1);
}

int64_t alloc(VeskClosure *cl, VeskErr *err, uint32_t flags, void *mem, uint32_t extra) {
    VeskClass *cls = class_of(cl);
    if (cls->instsize == 0) {
        report_in(cl, err, VESK_E_INAPPROPRIATE_IMPL, ENODEV, 4,
                  "Useless attemp to create non-creatable object", cls->rec.longkey);
        return -1;
    }
    if ((flags & VESK_ALLOC_POOL) != 0)
        return alloc_from_pool(cl, err, static_cast<NuZmalloc *>(mem));
    if (!take_class_hold(cl, err))
        return 0;
    // The extra bytes lie behind the instance; their number, in a word of
    // its own ahead of it, keeps the instance aligned.
    const size_t size = extra == 0 ? cls->instsize : cls->instsize + VESK_EXTRASIZE_SLOT + extra;
    void *block = mem;
    if (block == nullptr && (block = _NuMalloc(size, err)) == nullptr) {
        give_class_hold(cls);
        restamp(err, cl);
        return 0;
    }
    if ((flags & VESK_ALLOC_NOCLEAR) == 0)
        std::memset(block, 0, size);
    uint16_t inst_flags = 0;
    void *at = block;
    if (extra != 0) {
        std::memcpy(block, &extra, sizeof extra);
        at = static_cast<char *>(block) + VESK_EXTRASIZE_SLOT;
        inst_flags |= VESK_F_EXTRASIZE;
    }
    if (mem != nullptr && (flags & VESK_ALLOC_GIVEMEM) == 0)
        inst_flags |= VESK_F_CALLERMEM;
    return reinterpret_cast<int64_t>(make_instance(at, cls, inst_flags));
}

VeskInstance *instance(void *self) { return static_cast<VeskInstance *>(rt::deref(self)); }

int64_t init(VeskClosure *, VeskErr *err, void *self, void **params, uint32_t nparams) {
    VeskInstance *inst = instance(self);
    if ((inst->flags & VESK_F_INITED) != 0)
        return 0;
    const int64_t r = rt::pod_init_walk(inst, params, nparams, err);
    if (r >= 0)
        inst->flags |= VESK_F_INITED;
    return r;
}

// A pooled instance is finalised by its pool when it goes back.
int64_t fini(VeskClosure *, VeskErr *err, void *self, uint32_t flags) {
    VeskInstance *inst = instance(self);
    if ((inst->flags & VESK_F_POOLED) != 0 && (flags & VESK_FINI_POOLED) == 0)
        return 0;
    const int64_t r = rt::pod_fini_walk(inst, flags & ~VESK_FINI_POOLED, err);
    if (r >= 0)
        inst->flags &= static_cast<uint16_t>(~VESK_F_INITED);
    return r;
}

int64_t dealloc(VeskClosure *cl, VeskErr *, void *self, uint32_t) {
    VeskInstance *inst = instance(self);
    if ((inst->flags & VESK_F_POOLED) != 0) {
        _NuZmPtrRelease(inst);
        return 0;
    }
    if ((inst->flags & VESK_F_CALLERMEM) == 0) {
        char *block = reinterpret_cast<char *>(inst);
        if ((inst->flags & VESK_F_EXTRASIZE) != 0)
            block -= VESK_EXTRASIZE_SLOT;
        NuMfree(block);
    }
    give_class_hold(class_of(cl));
    return 0;
}

// ---- PoolCtor: the class keeps a pool in its POD -------------------------------

struct PoolPod {
    uintptr_t granularity;  // given in the class's static data
    NuZmalloc *zone;
};

int64_t pool_init_once(VeskClosure *cl, VeskErr *err) {
    auto *pod = static_cast<PoolPod *>(cl->pod);
    pod->zone = _VeskPoolOpen(class_of(cl), pod->granularity, err);
    return pod->zone == nullptr ? -1 : 0;
}

int64_t pool_fini_once(VeskClosure *cl, VeskErr *) {
    auto *pod = static_cast<PoolPod *>(cl->pod);
    _NuZmallocClose(pod->zone, NU_ZMALLOC_DESTROY_NOW, nullptr);
    pod->zone = nullptr;
    return 0;
}

int64_t pool_alloc(VeskClosure *cl, VeskErr *err, uint32_t flags, void *, uint32_t extra);

VESK_OPS_T(8) ctor = {
    VESK_RECORD_INIT("operations/constructor/Ctor", "constructor/Ctor", "constructor",
                     VESK_OID3(VESK_CAT_OPS, VESK_FAC_CTOR, 3), nullptr),
    0,
    8,
    {
        VESK_STDROWS_NONE,
        VESK_ROW(alloc, "ctor::allocate-object-memory", alloc),
        VESK_ROW(init, "ctor::initialize-object", init),
        VESK_ROW(fini, "ctor::finalize-object", fini),
        VESK_ROW(dealloc, "ctor::deallocate-object-memory", dealloc),
    },
};

// init, fini and dealloc are Ctor's own functions.
VESK_OPS_T(8) pool_ctor = {
    VESK_RECORD_INIT("operations/constructor/PoolCtor", "constructor/PoolCtor", "constructor",
                     VESK_OID3(VESK_CAT_OPS, VESK_FAC_CTOR, 9), nullptr),
    sizeof(PoolPod),
    8,
    {
        VESK_ROW(init_once, "init-once", pool_init_once),
        VESK_ROW(fini_once, "fini-once", pool_fini_once),
        VESK_ROW_ABSENT(pod_init, "pod-init"),
        VESK_ROW_ABSENT(pod_fini, "pod-fini"),
        VESK_ROW(alloc, "ctor::allocate-object-memory", pool_alloc),
        VESK_ROW(init, "ctor::initialize-object", init),
        VESK_ROW(fini, "ctor::finalize-object", fini),
        VESK_ROW(dealloc, "ctor::deallocate-object-memory", dealloc),
    },
};

// Ctor's alloc, from the pool of the POD.
int64_t pool_alloc(VeskClosure *cl, VeskErr *err, uint32_t flags, void *, uint32_t extra) {
    VeskClosure as_ctor = *cl;
    as_ctor.ops = VESK_OPS(&ctor);
    return alloc(&as_ctor, err, flags | VESK_ALLOC_POOL, static_cast<PoolPod *>(cl->pod)->zone,
                 extra);
}

}  // namespace

VeskOps *ctor_ops() { return VESK_OPS(&ctor); }
VeskOps *pool_ctor_ops() { return VESK_OPS(&pool_ctor); }

}  // namespace vesk::svc

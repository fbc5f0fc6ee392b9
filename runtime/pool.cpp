// SPDX-License-Identifier: MIT
// Zone pools of instances of one class. An object handed out by a pool is a
// hold on its class for as long as it is out (or, in the _ooi form, for as
// long as the zone lasts once it has been built), so that the class can't be
// unplugged under it.
#include <cerrno>
#include <cstring>

#include "lifecycle.hpp"
#include "rwlock.hpp"

namespace vesk::rt {
namespace {

VeskClass *class_in(void *user_data) { return *static_cast<VeskClass **>(user_data); }

// An object going out: one more hold on the class, unless the count is full.
int64_t hold_class(void *user_data, void *) {
    VeskClass *cls = class_in(user_data);
    WriteLocked locked(&cls->rec.lock);
    if (holds_of(&cls->rec) >= 0x7FFFFFFF)
        return -1;
    holds_add(&cls->rec, 1);
    return 0;
}

// An object coming back: finalised, cleared, and its hold given back.
int64_t release_object(void *user_data, void *object) {
    VeskClass *cls = class_in(user_data);
    const int64_t r = _VeskFini(cls, object, VESK_FINI_POOLED, nullptr);
    std::memset(object, 0, cls->instsize);
    WriteLocked locked(&cls->rec.lock);
    holds_add(&cls->rec, -1);
    return r;
}

// The pool's end gives back the hold that opening it took.
int64_t destroy_pool(NuZmalloc *zone, uint32_t flags, VeskErr *status) {
    VeskClass *cls = class_in(zone->uctx.user_data);
    const int64_t r = _NuZmallocDestroyDefault(zone, flags, status);
    VeskEndcobject(cls, status);
    return r;
}

enum class Hooks { each_use, once_per_granule };

NuZmalloc *open_pool(VeskClass *cls, uintptr_t granularity, Hooks hooks, VeskErr *status) {
    if (cls->instsize == 0) {
        VeskMkerr(nullptr, status, 0, 0, 0, VESK_FAC_RUNTIME, VESK_E_INAPPROPRIATE_IMPL, ENODEV, 4,
                  "Useless attemp to create non-creatable object", cls->rec.longkey);
        return nullptr;
    }
    NuZmallocUctx_v2 uctx{};
    if (hooks == Hooks::each_use) {
        uctx.get_init = hold_class;
        uctx.release_fini = release_object;
    } else {
        uctx.once_init = hold_class;
        uctx.once_fini = release_object;
    }
    uctx.user_data = &cls;
    uctx.user_data_size = sizeof cls;  // the zone keeps its own copy
    return _NuZmallocOpen_v2(nullptr, nullptr, &uctx, granularity, cls->instsize, status);
}

NuZmalloc *open_held_pool(const VeskOid *key, uintptr_t granularity, Hooks hooks,
                          VeskErr *status) {
    auto *cls = static_cast<VeskClass *>(VeskGetcobject(key, status));
    if (cls == nullptr)
        return nullptr;
    NuZmalloc *zone = open_pool(cls, granularity, hooks, status);
    if (zone == nullptr) {
        VeskEndcobject(cls, nullptr);
        return nullptr;
    }
    zone->destroy = destroy_pool;
    return zone;
}

}  // namespace
}  // namespace vesk::rt

using namespace vesk::rt;

extern "C" {

VESK_API NuZmalloc *VeskPoolOpen(const VeskOid *key, uintptr_t granularity, VeskErr *status) {
    return open_held_pool(key, granularity, Hooks::each_use, status);
}

VESK_API NuZmalloc *VeskPoolOpen_ooi(const VeskOid *key, uintptr_t granularity, VeskErr *status) {
    return open_held_pool(key, granularity, Hooks::once_per_granule, status);
}

VESK_API NuZmalloc *_VeskPoolOpen(VeskClass *cls, uintptr_t granularity, VeskErr *status) {
    return cls == nullptr ? nullptr : open_pool(cls, granularity, Hooks::each_use, status);
}

}  // extern "C"

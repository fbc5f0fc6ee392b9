// SPDX-License-Identifier: MIT
// Operation lookup: the dispatch of the runtime. The walk itself is inline
// in lookup.hpp; here are the exported forms, which check what they are
// given and report a miss.
#include <cstdarg>

#include "lookup.hpp"
#include "object.hpp"
#include "report.hpp"

using namespace vesk::rt;

namespace {

[[gnu::cold, gnu::noinline]] void report_inappropriate(VeskErr *status, const VeskOid *key, const void *object) {
    report(status, VESK_E_INAPPROPRIATE, 0, 5, int{key->opnum},
           printable(VeskObjectLongkey(object)));
}

[[gnu::cold, gnu::noinline]] void report_no_element(VeskErr *status, const VeskOid *key) {
    report(status, VESK_E_NOMATCH, 0, 1, int{key->comp[1]});
}

// The miss of the reporting lookups: a report naming the object the walk
// started from, and null.
struct ReportMiss {
    VeskErr *status;
    const VeskOid *key;
    VeskOprow *operator()(void *self, VeskClosure *) const {
        if (status != nullptr)
            report_inappropriate(status, key, self);
        return nullptr;
    }
};

VeskOprow *lookup_by_walk(void *object, const VeskOid *key, VeskClosure *closure,
                          VeskErr *status) {
    return find_op_plain_checked(object, key, closure, ReportMiss{status, key});
}

VeskOprow *lookup_seobj_aware(void *object, const VeskOid *key, VeskClosure *closure,
                              VeskErr *status) {
    return find_op_checked(object, key, closure, ReportMiss{status, key});
}

// A reference bound to a set that matches the key: the set is the answer.
const VeskSeobj *bound_match(const void *object, const VeskOid *key) {
    if (object == nullptr || !is_kind(object, VESK_KIND_SEOBJ))
        return nullptr;
    const auto *ref = static_cast<const VeskSeobj *>(object);
    return bound_matches(ref, key) ? ref : nullptr;
}

}  // namespace

namespace vesk::rt {

VeskOid oid_from_args(uint16_t category, int opnum, int c1, va_list args) {
    VeskOid key{2, static_cast<uint16_t>(opnum), {category, static_cast<uint16_t>(c1)}};
    while (key.count < VESK_OID_MAXCOMP) {
        const int c = va_arg(args, int);
        if (c == -1)
            break;
        key.comp[key.count++] = static_cast<uint16_t>(c);
    }
    return key;
}

}  // namespace vesk::rt

namespace {

// The walk of the SE lookups, for a key that has been checked.
VeskSe *lookup_se(void *object, const VeskOid *key, void **holder, VeskErr *status) {
    Found f;
    if (!walk<false>(object, key, f)) {
        report_no_element(status, key);
        return nullptr;
    }
    if (holder != nullptr)
        *holder = f.holder;
    return f.se;
}

void *lookup_pod(void *object, const VeskOid *key, VeskErr *status) {
    void *holder = nullptr;
    const VeskSe *se = lookup_se(object, key, &holder, status);
    return se != nullptr ? pod_at(holder, se) : nullptr;
}

}  // namespace

extern "C" {

VESK_API VeskOprow *VeskLookupop(void *object, const VeskOid *key, VeskClosure *closure,
                                 VeskErr *status) {
    if (!key_ok(key, status, "VeskLookupop") ||
        !pointer_ok(closure, status, "VeskLookupop", "@closure"))
        return nullptr;
    return lookup_seobj_aware(object, key, closure, status);
}

VESK_API VeskOprow *_VeskLookupop(void *object, const VeskOid *key, VeskClosure *closure,
                                  VeskErr *status) {
    if (!key_ok(key, status, "_VeskLookupop") ||
        !pointer_ok(closure, status, "_VeskLookupop", "@closure"))
        return nullptr;
    return lookup_by_walk(object, key, closure, status);
}

VESK_API VeskOprow *VeskVlookupop(void *object, VeskClosure *closure, VeskErr *status, int opnum,
                                  int c1, ...) {
    if (!pointer_ok(closure, status, "VeskVlookupop", "@closure"))
        return nullptr;
    va_list args;
    va_start(args, c1);
    const VeskOid key = oid_from_args(VESK_CAT_OPS, opnum, c1, args);
    va_end(args);
    return lookup_seobj_aware(object, &key, closure, status);
}

VESK_API VeskOprow *_VeskVlookupop(void *object, VeskClosure *closure, VeskErr *status, int opnum,
                                   int c1, ...) {
    if (!pointer_ok(closure, status, "_VeskVlookupop", "@closure"))
        return nullptr;
    va_list args;
    va_start(args, c1);
    const VeskOid key = oid_from_args(VESK_CAT_OPS, opnum, c1, args);
    va_end(args);
    return lookup_by_walk(object, &key, closure, status);
}

VESK_API VeskSe *_VeskLookupSE(void *object, const VeskOid *key, void **holder, VeskErr *status) {
    if (!key_ok(key, status, "_VeskLookupSE"))
        return nullptr;
    return lookup_se(object, key, holder, status);
}

VESK_API VeskSe *VeskLookupSE(void *object, const VeskOid *key, void **holder, VeskErr *status) {
    if (!key_ok(key, status, "VeskLookupSE"))
        return nullptr;
    return lookup_se(deref(object), key, holder, status);
}

VESK_API void *_VeskLookupPOD(void *object, const VeskOid *key, VeskErr *status) {
    if (!key_ok(key, status, "_VeskLookupPOD"))
        return nullptr;
    return lookup_pod(object, key, status);
}

VESK_API void *VeskLookupPOD(void *object, const VeskOid *key, VeskErr *status) {
    if (!key_ok(key, status, "VeskLookupPOD"))
        return nullptr;
    if (const VeskSeobj *ref = bound_match(object, key))
        return ref->cl.pod;
    return lookup_pod(walk_start(object), key, status);
}

VESK_API VeskSeobj *VeskSeobject(void *object, const VeskOid *key, VeskSeobj *out,
                                 VeskErr *status) {
    if (!key_ok(key, status, "VeskSeobject") || !pointer_ok(out, status, "VeskSeobject", "@out"))
        return nullptr;
    if (const VeskSeobj *ref = bound_match(object, key)) {
        *out = *ref;
        out->cl.opnum = -1;
        return out;
    }
    object = walk_start(object);
    void *holder = nullptr;
    VeskSe *se = lookup_se(object, key, &holder, status);
    if (se == nullptr)
        return nullptr;
    out->kind = VESK_KIND_SEOBJ;
    out->flags = 0;
    out->cl = {object, holder, pod_at(holder, se), se->ops, -1};
    return out;
}

VESK_API VeskClosure *_VeskClosure(void *object, const VeskOid *key, VeskClosure *closure,
                                   VeskErr *status) {
    if (!key_ok(key, status, "_VeskClosure") ||
        !pointer_ok(closure, status, "_VeskClosure", "@closure"))
        return nullptr;
    void *holder = nullptr;
    VeskSe *se = lookup_se(object, key, &holder, status);
    if (se == nullptr)
        return nullptr;
    *closure = {object, holder, pod_at(holder, se), se->ops, -1};
    return closure;
}

}  // extern "C"

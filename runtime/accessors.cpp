// SPDX-License-Identifier: MIT
// Accessors: plain walks over the records above an object. No lock, no
// allocation; a linked chain is at most instance, class, module.
#include <cstring>

#include "object.hpp"
#include "rwlock.hpp"

using vesk::rt::deref;
using vesk::rt::head;
using vesk::rt::record;

namespace {

// The nearest record of `kind`, starting with `obj` itself and climbing by
// super while the record says super is valid.
const void *nearest_of_kind(const void *obj, unsigned kind) {
    for (const void *r = obj; r != nullptr; r = head(r)->super) {
        if (head(r)->kind == kind)
            return r;
        if ((head(r)->flags & VESK_F_SUPER) == 0)
            return nullptr;
    }
    return nullptr;
}

// The first record above `obj`, or null if the walk may not go on.
const void *above(const void *obj) {
    if (obj == nullptr || (head(obj)->flags & VESK_F_SUPER) == 0)
        return nullptr;
    return head(obj)->super;
}

// The nearest record that carries the identity fields (longkey .. oid).
const VeskRecord *identity_of(const void *obj) {
    for (const void *r = deref(obj); r != nullptr; r = head(r)->super) {
        if (head(r)->flags & VESK_F_IDENTITY)
            return record(r);
        if ((head(r)->flags & VESK_F_SUPER) == 0)
            return nullptr;
    }
    return nullptr;
}

int32_t primid(const void *rec) { return record(rec)->oid.comp[1]; }

}  // namespace

extern "C" {

VESK_API VeskClass *VeskClassof(const void *obj) {
    return static_cast<VeskClass *>(
        const_cast<void *>(nearest_of_kind(deref(obj), VESK_KIND_CLASS)));
}

VESK_API VeskClass *VeskXclassof(const void *obj) {
    return static_cast<VeskClass *>(
        const_cast<void *>(nearest_of_kind(above(deref(obj)), VESK_KIND_CLASS)));
}

VESK_API VeskModule *VeskModuleof(const void *obj) {
    return static_cast<VeskModule *>(
        const_cast<void *>(nearest_of_kind(deref(obj), VESK_KIND_MODULE)));
}

VESK_API VeskModule *VeskXmoduleof(const void *obj) {
    return static_cast<VeskModule *>(
        const_cast<void *>(nearest_of_kind(above(deref(obj)), VESK_KIND_MODULE)));
}

VESK_API uint32_t VeskInstsize(const void *obj) {
    const VeskClass *cls = VeskClassof(obj);
    return cls != nullptr ? cls->instsize : 0;
}

VESK_API int32_t VeskInstcount(const void *obj) {
    VeskClass *cls = VeskClassof(obj);
    if (cls == nullptr)
        return 0;
    return vesk::rt::holds_of(&cls->rec);
}

VESK_API uint32_t VeskExtrainstsz(const void *obj) {
    obj = deref(obj);
    if (obj == nullptr || head(obj)->kind != VESK_KIND_INSTANCE ||
        (head(obj)->flags & VESK_F_EXTRASIZE) == 0)
        return 0;
    uint32_t extra;
    std::memcpy(&extra, static_cast<const char *>(obj) - VESK_EXTRASIZE_SLOT, sizeof extra);
    return extra;
}

VESK_API const char *VeskObjectLongkey(const void *obj) {
    const VeskRecord *r = identity_of(obj);
    return r != nullptr ? r->longkey : nullptr;
}

VESK_API const char *VeskObjectShortkey(const void *obj) {
    const VeskRecord *r = identity_of(obj);
    return r != nullptr ? r->shortkey : nullptr;
}

VESK_API const char *VeskObjectName(const void *obj) {
    const VeskRecord *r = identity_of(obj);
    return r != nullptr ? r->name : nullptr;
}

VESK_API int32_t VeskObjectCategory(const void *obj) {
    const VeskRecord *r = identity_of(obj);
    return r != nullptr ? int32_t{r->oid.comp[0]} : -1;
}

VESK_API int32_t VeskObjectPrimID(const void *obj) {
    const VeskRecord *r = identity_of(obj);
    return r != nullptr ? int32_t{r->oid.comp[1]} : -1;
}

VESK_API VeskOid *VeskObjectOID(const void *obj, VeskOid *buffer) {
    const VeskRecord *r = identity_of(obj);
    if (r == nullptr || buffer == nullptr)
        return nullptr;
    const unsigned n = r->oid.count < VESK_OID_MAXCOMP ? r->oid.count : VESK_OID_MAXCOMP;
    std::memcpy(buffer, &r->oid, (n + 2) * sizeof(uint16_t));
    return buffer;
}

VESK_API int32_t VeskObjectCompare(const void *a, const void *b) {
    a = deref(a);
    b = deref(b);
    // Objects of one class compare equal whichever instances they are: step
    // instances up to their classes, classes and sets up to their modules,
    // comparing identifiers on the way.
    auto kind = [](const void *o) { return o != nullptr ? head(o)->kind : 0u; };

    while (kind(a) == VESK_KIND_INSTANCE) {
        if (kind(b) != VESK_KIND_INSTANCE)
            return 1;
        a = head(a)->super;
        b = head(b)->super;
    }
    if (kind(b) == VESK_KIND_INSTANCE)
        return -1;

    // Classes may stand on classes; compare each level.
    while (kind(a) == VESK_KIND_CLASS) {
        if (kind(b) != VESK_KIND_CLASS)
            return primid(a);
        if (const int32_t r = VeskOidcmp(&record(a)->oid, &record(b)->oid); r != 0)
            return r;
        a = head(a)->super;
        b = head(b)->super;
    }
    if (kind(b) == VESK_KIND_CLASS)
        return -primid(b);

    // An operation set stands directly on its module.
    if (kind(a) == VESK_KIND_OPS) {
        if (kind(b) != VESK_KIND_OPS)
            return primid(a);
        if (const int32_t r = VeskOidcmp(&record(a)->oid, &record(b)->oid); r != 0)
            return r;
        a = head(a)->super;
        b = head(b)->super;
    } else if (kind(b) == VESK_KIND_OPS) {
        return -primid(b);
    }

    if (a == nullptr || b == nullptr)
        return (a != nullptr) - (b != nullptr);
    return VeskOidcmp(&record(a)->oid, &record(b)->oid);
}

}  // extern "C"

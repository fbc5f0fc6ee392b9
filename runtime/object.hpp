// SPDX-License-Identifier: MIT
// Reading any object through the head that every record form shares.
//
// Instances, classes, operation sets, modules and kind-3 references all begin
// with a 16-bit kind, 16-bit flags and the upward pointer (`super`, or `self`
// in a reference). The runtime reads objects of unknown form through Head.
#pragma once

#include <cstddef>

#include "vesk.h"

namespace vesk::rt {

struct Head {
    uint16_t kind;
    uint16_t flags;
    void *super;
};

static_assert(offsetof(VeskRecord, super) == offsetof(Head, super));
static_assert(offsetof(VeskInstance, super) == offsetof(Head, super));
static_assert(offsetof(VeskSeobj, cl) + offsetof(VeskClosure, self) == offsetof(Head, super),
              "a reference's self must stand where super stands");
static_assert(offsetof(VeskClass, selist) == sizeof(VeskRecord) &&
                  offsetof(VeskModule, selist) == sizeof(VeskRecord),
              "classes and modules carry their selist at one place");
static_assert(sizeof(VeskOid) == 16 && sizeof(VeskRwlock) == 16);

inline const Head *head(const void *obj) { return static_cast<const Head *>(obj); }

inline bool is_kind(const void *obj, unsigned kind) { return head(obj)->kind == kind; }

// Follows a chain of kind-3 references to what they refer to.
inline const void *deref(const void *obj) {
    while (obj != nullptr && head(obj)->kind == VESK_KIND_SEOBJ)
        obj = head(obj)->super;
    return obj;
}
inline void *deref(void *obj) { return const_cast<void *>(deref(static_cast<const void *>(obj))); }

// The selist of a record that has VESK_F_SELIST (a class or a module).
inline VeskSelist *selist_of(const void *rec) {
    return &static_cast<VeskClass *>(const_cast<void *>(rec))->selist;
}

inline const VeskRecord *record(const void *obj) { return static_cast<const VeskRecord *>(obj); }

}  // namespace vesk::rt

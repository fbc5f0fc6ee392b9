// SPDX-License-Identifier: MIT
// "modules/kdv": the stock operation sets that make a plain class work, and
// what their operations share.
#pragma once

#include "services/status.hpp"
#include "vesk.h"

namespace vesk::svc {

// The sets of the module, by file.
VeskOps *ctor_ops();
VeskOps *pool_ctor_ops();
VeskOps *dup_ops();
VeskOps *destor_ops();
VeskOps *xucntl_ops();
VeskOps *zucntl_ops();
VeskOps *cucntl_ops();
VeskOps *pool_ucntl_ops();


// A report of a running operation: its set's family as facility.
template <class... Args>
void report_in(const VeskClosure *cl, VeskErr *err, int32_t code, int32_t syserr,
               uint32_t variant, Args... args) {
    VeskMkerr(nullptr, err, 0, 0, 0, cl->ops->rec.oid.comp[1], code, syserr, variant, args...);
}

// The set's family name and the running row's long name, as reports name them.
inline const char *set_name(const VeskClosure *cl) { return cl->ops->rec.name; }
inline const char *row_name(const VeskClosure *cl) { return cl->ops->rows[cl->opnum].opname; }

// The long key of the object an operation runs on, or of its class.
const char *longkey_of(const void *object);

}  // namespace vesk::svc

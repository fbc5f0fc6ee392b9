// SPDX-License-Identifier: MIT
// The pieces of linking shared by its files: starting a record, once-init
// and once-fini of service elements, resolving the rows of operation sets,
// and dropping a module file.
//
// Everything here runs with the write locks of the registries held by the
// caller (bootstrap or loader), on one thread, and takes no lock of its own.
#pragma once

#include <algorithm>
#include <cstdint>
#include <span>

#include "vesk.h"

namespace vesk::rt {

// 0, 1 and 2 in a row's fn are the placeholders of a static row (absent,
// import, alias), not functions.
inline bool is_function(VeskOpfn fn) { return reinterpret_cast<uintptr_t>(fn) > 2; }

// The two markers linking writes into rows it can't resolve.
inline VeskOpfn notconfigured_fn() { return VESK_FN(_VeskOpNotconfigured); }
inline VeskOpfn notsupported_fn() { return VESK_FN(_VeskOpNotsupported); }

inline int64_t smaller(int64_t a, int64_t b) { return std::min(a, b); }

// A module's sets and classes; empty while its on_link hasn't filled them.
inline std::span<VeskOps *> sets_of(const VeskModule *mod) {
    return mod->opsv != nullptr ? std::span(mod->opsv, mod->opsc) : std::span<VeskOps *>();
}
inline std::span<VeskClass *> classes_of(const VeskModule *mod) {
    return mod->clsv != nullptr ? std::span(mod->clsv, mod->clsc) : std::span<VeskClass *>();
}

// Runs on_start once (state bit 0x1). Its negative result, otherwise 1.
int64_t start_record(VeskRecord *rec, VeskErr *status);

// Imports the sets of the service elements of `rec` and of the records above
// it, and runs their init_once: 1 complete, 0 some import isn't there,
// negative when an init_once failed (what this call ran on `rec` is undone).
// `self` is the record being plugged.
int64_t once_init(VeskRecord *self, VeskRecord *rec, VeskErr *status);

// Runs fini_once of the elements of `rec` alone, last first, and puts imported
// elements back on the stub set, giving back the hold their import took. 0,
// or the first failure of a fini_once.
int64_t once_fini(VeskRecord *self, VeskRecord *rec, VeskErr *status);

// Connects the rows of a set: 1 complete (state bit 0x2), 0 some import isn't
// there, negative when an on_start failed.
int64_t resolve_set(VeskOps *set, VeskErr *status);

// Takes a set back to the rows it came with and gives back the holds its
// imports took.
void unresolve_set(VeskOps *set);

// A module that linking no longer needs: one load fewer, and at the last one
// a module from a file leaves namereg and its file is closed. The library's
// own modules (null handle) stay.
void drop_module(VeskModule *mod);

}  // namespace vesk::rt

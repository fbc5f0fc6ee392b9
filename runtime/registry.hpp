// SPDX-License-Identifier: MIT
// The four registries of live records, and their primitives for the loader
// and the linker. None of the primitives takes a lock: the caller holds the
// list's lock (a read lock to find, the write lock to enter or remove).
#pragma once

#include "rwlock.hpp"
#include "vesk.h"

namespace vesk::rt {

// One registry: a balanced tree of records, each linked by a node of its own.
struct Idreg {
    unsigned char ready;
    unsigned char ready_pad_[sizeof(void *) - 1];
    VeskRwlock lock;
    NuRTBT tree;
};

Idreg &namereg();  // modules by file key (namenode)
Idreg &opsreg();   // operation sets by identifier (idnode)
Idreg &objreg();   // classes by identifier
Idreg &modreg();   // modules by identifier

// Sets a list up once; a list already ready is left alone. Safe to race: the
// primitives and front ends below call it themselves, so a list works from its
// first use, bootstrap or not.
void idreg_init(Idreg &reg);

// By identifier, exact, with VeskOidlcmp: 0 or -1 / the record or null, after
// the reports of the registry (facility 1000).
int64_t enter_by_id(Idreg &reg, VeskRecord *rec, VeskErr *status);
VeskRecord *remove_by_id(Idreg &reg, const VeskOid *key, VeskErr *status);
VeskRecord *find_by_id(Idreg &reg, const VeskOid *key, VeskErr *status);

// Modules by file key in namereg: entered under modname, found and removed by
// a name.
int64_t enter_by_name(Idreg &reg, VeskModule *mod, VeskErr *status);
VeskModule *remove_by_name(Idreg &reg, const char *name, VeskErr *status);
VeskModule *find_by_name(Idreg &reg, const char *name, VeskErr *status);

// The write locks of linking (opsreg, objreg, modreg), for a scope, taken in
// the runtime's lock order and given back in reverse. A loader holds namereg
// around it; code running under these must not call the registry front ends,
// whose read locks would spin against its own thread.
class LinkLocked {
public:
    LinkLocked() : ops_(&opsreg().lock), obj_(&objreg().lock), mod_(&modreg().lock) {}

private:
    WriteLocked ops_, obj_, mod_;
};

// All four write locks: namereg first, then those of linking.
class RegistriesLocked {
public:
    RegistriesLocked() : names_(&namereg().lock) {}

private:
    WriteLocked names_;
    LinkLocked link_;
};

}  // namespace vesk::rt

// The four registries of live records, and their primitives for the loader
// and the linker. None of the primitives takes a lock: the caller holds the
// list's lock (a read lock to find, the write lock to enter or remove).
#pragma once

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

// Sets a list up once; a list already ready is left alone.
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

}  // namespace vesk::rt
